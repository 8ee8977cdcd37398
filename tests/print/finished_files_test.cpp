// Finished files are moved out of the watched folder, and no other file is lost.
#include "apps/print/finished_files.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <utility>

#include "apps/print/photo_file.h"
#include "tests/support/child_process.h"

namespace k905 {

namespace {

std::function<void()> before_rename;  // called once

}  // namespace

// Replaces the function of the C library.
extern "C" int renameat2(int from_folder, const char* from, int to_folder, const char* to,
                         unsigned flags) noexcept {
  if (const auto event = std::exchange(before_rename, nullptr)) {
    event();
  }
  return static_cast<int>(syscall(SYS_renameat2, from_folder, from, to_folder, to, flags));
}

namespace {

class MoveFinishedFile : public testing::Test {
 protected:
  FileStamp put(const std::string& bytes) const {
    folder_.write("a.jpg", bytes);
    PhotoFile photo;
    std::string error;
    EXPECT_EQ(photo.read(folder_.path() + "/a.jpg", error), PhotoRead::complete);
    return photo.stamp();
  }

  [[nodiscard]] bool move(const FileStamp& stamp, const std::string& reason = "") {
    return move_finished_file(folder_.path(), "a.jpg", stamp, "done", reason, error_);
  }

  ScratchFolder folder_;
  std::string error_;
};

TEST_F(MoveFinishedFile, KeepsFilesOfTheSameName) {
  EXPECT_TRUE(move(put("one")));
  EXPECT_TRUE(move(put("two")));
  EXPECT_EQ(folder_.read("done/a.jpg"), "one");
  EXPECT_EQ(folder_.read("done/a-2.jpg"), "two");
  EXPECT_FALSE(folder_.read("a.jpg"));
}

TEST_F(MoveFinishedFile, WritesTheReasonNextToIt) {
  EXPECT_TRUE(move(put("x"), "broken JPEG"));
  EXPECT_EQ(folder_.read("done/a.jpg.txt"), "broken JPEG\n");
}

TEST_F(MoveFinishedFile, DoesNotMoveAFileThatReplacedIt) {
  const FileStamp printed = put("printed");
  put("another one");
  EXPECT_TRUE(move(printed));
  EXPECT_EQ(folder_.read("a.jpg"), "another one");
}

// Two photos take the name of the printed one: one before it is moved, the other one after it.
TEST_F(MoveFinishedFile, MovesAPhotoBackThatTookTheNameDuringTheMove) {
  const FileStamp printed = put("printed");
  before_rename = [this] { put("another one"); };
  EXPECT_TRUE(move(printed));
  EXPECT_EQ(folder_.read("a.jpg"), "another one");
  EXPECT_FALSE(folder_.read("done/a.jpg"));

  const FileStamp again = put("printed again");
  before_rename = [this] {
    put("the next one");
    before_rename = [this] { put("the last one"); };
  };
  EXPECT_TRUE(move(again));
  EXPECT_EQ(folder_.read("a.jpg"), "the last one");
  EXPECT_EQ(folder_.read("a-2.jpg"), "the next one");
  EXPECT_FALSE(folder_.read("done/a.jpg"));
}

TEST_F(MoveFinishedFile, ReportsTheError) {
  const FileStamp stamp = put("x");
  folder_.write("done", "not a folder");
  EXPECT_FALSE(move(stamp));
  EXPECT_EQ(error_, folder_.path() + "/a.jpg: cannot be moved to " + folder_.path() +
                        "/done: Not a directory");
}

}  // namespace

}  // namespace k905
