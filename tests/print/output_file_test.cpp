// Where a stream goes, and what is left of it when the job fails.
#include "apps/print/output_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/child_process.h"

namespace {

TEST(OutputFile, IsMadeAnewAndKept) {
  const ScratchFolder folder;
  const std::string path = folder.write("job", "what was there");
  OutputFile file;
  ASSERT_TRUE(file.open(path, false));
  EXPECT_TRUE(file.write("sheet", 5));
  EXPECT_TRUE(file.keep());
  EXPECT_EQ(folder.read("job"), "sheet");
}

TEST(OutputFile, GrowsBehindWhatIsThere) {
  const ScratchFolder folder;
  const std::string path = folder.write("job", "one ");
  OutputFile file;
  ASSERT_TRUE(file.open(path, true));
  EXPECT_TRUE(file.write("two", 3));
  EXPECT_TRUE(file.keep());
  EXPECT_EQ(folder.read("job"), "one two");
}

TEST(OutputFile, TakenBackNothingOfTheJobIsLeft) {
  const ScratchFolder folder;
  const std::string path = folder.write("job", "one ");
  OutputFile file;
  ASSERT_TRUE(file.open(path, true));
  EXPECT_TRUE(file.write("half a sh", 9));
  file.take_back();
  EXPECT_EQ(folder.read("job"), "one ");
  ASSERT_TRUE(file.open(folder.path() + "/new", false));
  file.take_back();
  EXPECT_FALSE(std::filesystem::exists(folder.path() + "/new"));
}

TEST(OutputFile, ADeviceIsLeftWhereItIs) {
  OutputFile file;
  ASSERT_TRUE(file.open("/dev/null", false));
  EXPECT_TRUE(file.write("x", 1));
  file.take_back();
  ASSERT_TRUE(file.open("/dev/null", false));
  EXPECT_TRUE(file.keep());
  EXPECT_TRUE(std::filesystem::exists("/dev/null"));
}

TEST(OutputFile, AFullDiskIsTold) {
  OutputFile file;
  ASSERT_TRUE(file.open("/dev/full", false));
  EXPECT_FALSE(file.write("x", 1));
  EXPECT_EQ(errno, ENOSPC);
  file.take_back();
}

}  // namespace
