// The destination of a stream, and its content after a failed job.
#include "apps/print/output_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "tests/support/child_process.h"

namespace k905 {

namespace {

using testing::ElementsAre;

std::vector<std::string> names_in(const ScratchFolder& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    names.push_back(entry.path().filename());
  }
  return names;
}

TEST(OutputFile, ReplacesTheFileOnCommit) {
  const ScratchFolder folder;
  const std::string path = folder.write("job", "what was there");
  OutputFile file;
  std::string error;
  ASSERT_TRUE(file.open(path, false, error));
  EXPECT_TRUE(file.write("sheet", 5));
  EXPECT_TRUE(file.commit());
  EXPECT_EQ(folder.read("job"), "sheet");
}

TEST(OutputFile, AppendsToAnExistingFile) {
  const ScratchFolder folder;
  const std::string path = folder.write("job", "one ");
  OutputFile file;
  std::string error;
  ASSERT_TRUE(file.open(path, true, error));
  EXPECT_TRUE(file.write("two", 3));
  EXPECT_TRUE(file.commit());
  EXPECT_EQ(folder.read("job"), "one two");
}

TEST(OutputFile, RollBackLeavesTheFileAsItWas) {
  const ScratchFolder folder;
  const std::string path = folder.write("job", "one ");
  OutputFile file;
  std::string error;
  ASSERT_TRUE(file.open(path, true, error));
  EXPECT_TRUE(file.write("half a sh", 9));
  file.roll_back();
  EXPECT_EQ(folder.read("job"), "one ");
  ASSERT_TRUE(file.open(folder.path() + "/new", false, error));
  file.roll_back();
  EXPECT_FALSE(std::filesystem::exists(folder.path() + "/new"));
}

TEST(OutputFile, DeviceIsNotRemoved) {
  OutputFile file;
  std::string error;
  ASSERT_TRUE(file.open("/dev/null", false, error));
  EXPECT_TRUE(file.write("x", 1));
  file.roll_back();
  ASSERT_TRUE(file.open("/dev/null", false, error));
  EXPECT_TRUE(file.commit());
  EXPECT_TRUE(std::filesystem::exists("/dev/null"));
}

TEST(OutputFile, FullDiskIsReported) {
  OutputFile file;
  std::string error;
  ASSERT_TRUE(file.open("/dev/full", false, error));
  EXPECT_FALSE(file.write("x", 1));
  EXPECT_EQ(errno, ENOSPC);
  file.roll_back();
}

TEST(OutputFile, FailureKeepsTheExistingFile) {
  const ScratchFolder folder;
  const std::string path = folder.write("job", "the last job");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  OutputFile file;
  std::string error;
  ASSERT_TRUE(file.open(path, false, error));
  EXPECT_TRUE(file.write("half a sh", 9));
  EXPECT_EQ(folder.read("job"), "the last job");
  file.roll_back();
  EXPECT_EQ(folder.read("job"), "the last job");
  EXPECT_THAT(names_in(folder), ElementsAre("job"));

  ASSERT_TRUE(file.open(path, false, error));
  EXPECT_TRUE(file.write("sheet", 5));
  EXPECT_TRUE(file.commit());
  EXPECT_EQ(folder.read("job"), "sheet");
  EXPECT_THAT(names_in(folder), ElementsAre("job"));
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U) << "the mode has changed";
}

TEST(OutputFile, AnEmptyFileIsNotRemoved) {
  const ScratchFolder folder;
  const std::string path = folder.write("job", "");
  OutputFile file;
  std::string error;
  for (const bool append : {false, true}) {
    ASSERT_TRUE(file.open(path, append, error));
    EXPECT_TRUE(file.write("half a sh", 9));
    file.roll_back();
    EXPECT_EQ(folder.read("job"), "");
  }
}

TEST(OutputFile, ALinkStaysALink) {
  const ScratchFolder folder;
  folder.write("job", "the last job");
  const std::string link = folder.path() + "/link";
  std::filesystem::create_symlink("job", link);
  OutputFile file;
  std::string error;
  ASSERT_TRUE(file.open(link, false, error));
  EXPECT_TRUE(file.write("sheet", 5));
  EXPECT_TRUE(file.commit());
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(folder.read("job"), "sheet");
}

TEST(OutputFile, MissingDeviceIsNotCreated) {
  const ScratchFolder folder;
  const std::string device = "/dev/k905_test_" + std::to_string(getpid());
  const std::string link = folder.path() + "/link";
  std::filesystem::create_symlink(device, link);
  const std::string around = folder.path() + "/around";
  std::filesystem::create_directory_symlink("/dev", around);
  for (const std::string& path : {device, "/dev/shm/k905_test_" + std::to_string(getpid()), link,
                                  around + device.substr(4)}) {
    for (const bool append : {false, true}) {
      OutputFile file;
      std::string error;
      EXPECT_FALSE(file.open(path, append, error)) << path;
      EXPECT_EQ(error, path + ": No such file or directory");
    }
  }
  EXPECT_FALSE(std::filesystem::exists(device));
  std::filesystem::remove(device);
}

TEST(OutputFile, HasOneWriterAtATime) {
  const ScratchFolder folder;
  const std::string path = folder.write("job", "one ");
  OutputFile first;
  OutputFile second;
  std::string error;
  ASSERT_TRUE(first.open(path, true, error));
  EXPECT_TRUE(first.write("two ", 4));
  EXPECT_FALSE(second.open(path, true, error));
  EXPECT_EQ(error, path + ": another program is printing to it");
  EXPECT_TRUE(first.commit());
  EXPECT_EQ(folder.read("job"), "one two ");
  ASSERT_TRUE(second.open(path, true, error));
  EXPECT_TRUE(second.write("three", 5));
  second.roll_back();
  EXPECT_EQ(folder.read("job"), "one two ");
}

TEST(OutputFile, ADeviceHasOneWriterAtATime) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(terminal, 0);
  ASSERT_EQ(grantpt(terminal), 0);
  ASSERT_EQ(unlockpt(terminal), 0);
  const std::string device = ptsname(terminal);
  OutputFile first;
  OutputFile second;
  std::string error;
  ASSERT_TRUE(first.open(device, false, error)) << error;
  EXPECT_FALSE(second.open(device, false, error));
  EXPECT_EQ(error, device + ": another program is printing to it");
  first.roll_back();
  EXPECT_TRUE(second.open(device, false, error)) << error;
  second.roll_back();
  close(terminal);
}

TEST(OutputFile, TheNullDeviceHasAnyNumberOfWriters) {
  OutputFile first;
  OutputFile second;
  std::string error;
  EXPECT_TRUE(first.open("/dev/null", false, error));
  EXPECT_TRUE(second.open("/dev/null", false, error));
}

}  // namespace

}  // namespace k905
