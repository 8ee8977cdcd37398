// Finished files are moved out of the watched folder, and no other file is lost.
#include "apps/print/finished_files.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "apps/print/photo_file.h"
#include "tests/support/child_process.h"

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

TEST_F(MoveFinishedFile, WritesTheReasonBesideIt) {
  EXPECT_TRUE(move(put("x"), "broken JPEG"));
  EXPECT_EQ(folder_.read("done/a.jpg.txt"), "broken JPEG\n");
}

TEST_F(MoveFinishedFile, LeavesAFileThatTookItsPlace) {
  const FileStamp printed = put("printed");
  put("another one");
  EXPECT_TRUE(move(printed));
  EXPECT_EQ(folder_.read("a.jpg"), "another one");
}

TEST_F(MoveFinishedFile, ReportsTheError) {
  const FileStamp stamp = put("x");
  folder_.write("done", "not a folder");
  EXPECT_FALSE(move(stamp));
  EXPECT_EQ(error_, folder_.path() + "/a.jpg: cannot be moved to " + folder_.path() +
                        "/done: Not a directory");
}

}  // namespace
