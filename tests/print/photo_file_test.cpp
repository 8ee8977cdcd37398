// A photo's bytes are read once, and a temporary read error is distinguished from a permanent one.
#include "apps/print/photo_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/child_process.h"

namespace k905 {

namespace {

TEST(PhotoFile, KeepsTheBytesItHashed) {
  const ScratchFolder folder;
  const std::string path = folder.write("a.jpg", "a");
  PhotoFile photo;
  std::string error;
  ASSERT_EQ(photo.read(path, error), PhotoRead::complete);
  folder.write("a.jpg", "something else");
  EXPECT_EQ(read_file(photo.copy()), "a");
  EXPECT_EQ(photo.content().size, 1U);
  // The 64-bit FNV-1a of "a".
  EXPECT_EQ(photo.content().hash, 0xaf63dc4c8601ec8c);
}

TEST(PhotoFile, EmptyFileHasTheHashOfNoBytes) {
  const ScratchFolder folder;
  PhotoFile photo;
  std::string error;
  ASSERT_EQ(photo.read(folder.write("a.jpg", ""), error), PhotoRead::complete);
  EXPECT_EQ(photo.content(), (Content{0, 0xcbf29ce484222325}));
}

TEST(PhotoFile, NonregularFileIsMissing) {
  const ScratchFolder folder;
  std::string error;
  EXPECT_EQ(PhotoFile().read(folder.path() + "/none", error), PhotoRead::missing);
  EXPECT_EQ(PhotoFile().read(folder.path(), error), PhotoRead::missing);
  // Opening a FIFO would wait for a writer.
  ASSERT_EQ(mkfifo((folder.path() + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(PhotoFile().read(folder.path() + "/pipe", error), PhotoRead::missing);
}

TEST(PhotoFile, ReadErrorMayBeTemporary) {
  const ScratchFolder folder;
  std::filesystem::create_symlink("loop.jpg", folder.path() + "/loop.jpg");
  PhotoFile photo;
  std::string error;
  EXPECT_EQ(photo.read(folder.path() + "/loop.jpg", error), PhotoRead::failed);
  EXPECT_EQ(error, "Too many levels of symbolic links");
}

TEST(PhotoFile, FileAboveTheSizeLimitIsNotRead) {
  const ScratchFolder folder;
  const std::string path = folder.write("a.jpg", "");
  std::filesystem::resize_file(path, kLargestPhotoFile + 1);
  PhotoFile photo;
  std::string error;
  EXPECT_EQ(photo.read(path, error), PhotoRead::too_large);
  EXPECT_EQ(error, "the file is too large (536870913 bytes)");
}

// Nanoseconds since 1970 in 64 bits end in 2262.
TEST(PhotoFile, ATimeInTheFarFutureIsKept) {
  const ScratchFolder folder;
  const std::string path = folder.write("a.jpg", "a");
  constexpr std::int64_t start_of_2400 = 13569465600;
  const timespec times[2] = {{start_of_2400, 5}, {start_of_2400, 5}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  ASSERT_EQ(status.st_mtim.tv_sec, start_of_2400) << "the file system cannot keep this time";
  PhotoFile photo;
  std::string error;
  ASSERT_EQ(photo.read(path, error), PhotoRead::complete);
  EXPECT_EQ(photo.stamp().modified_s, start_of_2400);
  EXPECT_EQ(photo.stamp().modified_ns, 5);
}

}  // namespace

}  // namespace k905
