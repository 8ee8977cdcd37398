// Which files of a folder are pictures that nobody is still writing.
#include "apps/print/folder_watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <thread>

#include "tests/support/child_process.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr milliseconds kSettle{60};

std::vector<std::string> ready_names(FolderWatch& watch) {
  std::vector<std::string> names;
  for (const FolderPicture& picture : watch.ready().value_or(std::vector<FolderPicture>{})) {
    names.push_back(picture.name);
  }
  return names;
}

// Looks until the settling time has surely passed.
std::vector<std::string> names_after_settling(FolderWatch& watch) {
  (void)watch.ready();
  std::this_thread::sleep_for(2 * kSettle);
  return ready_names(watch);
}

TEST(FolderWatch, GivesThePicturesThatAreThere) {
  const ScratchFolder folder;
  folder.write("b.JPG", "x");
  folder.write("a.png", "x");
  FolderWatch watch(folder.path(), kSettle);
  EXPECT_THAT(names_after_settling(watch), ElementsAre("a.png", "b.JPG"));
  // Until they are gone: what was printed is the journal's business.
  EXPECT_THAT(ready_names(watch), ElementsAre("a.png", "b.JPG"));
}

TEST(FolderWatch, PassesOverWhatIsNoPicture) {
  const ScratchFolder folder;
  for (const char* name : {".hidden.jpg", "a.jpg.part", "readme.txt", "jpg", "empty.tmp"}) {
    folder.write(name, "x");
  }
  folder.write("empty.jpg", "");  // nothing has come yet
  std::filesystem::create_directory(folder.path() + "/folder.jpg");
  std::filesystem::create_symlink("nowhere", folder.path() + "/dangling.jpg");
  FolderWatch watch(folder.path(), kSettle);
  EXPECT_THAT(names_after_settling(watch), IsEmpty());
}

TEST(FolderWatch, APictureSettlesFirst) {
  const ScratchFolder folder;
  FolderWatch watch(folder.path(), std::chrono::seconds(100));
  folder.write("a.jpg", "x");
  EXPECT_THAT(names_after_settling(watch), IsEmpty());
}

TEST(FolderWatch, AnUnfinishedPictureWaitsForItsWriter) {
  const ScratchFolder folder;
  FolderWatch watch(folder.path(), kSettle);
  std::FILE* writer = std::fopen((folder.path() + "/a.jpg").c_str(), "w");
  std::fputs("half", writer);
  std::fflush(writer);
  // Long after it last changed.
  EXPECT_THAT(names_after_settling(watch), IsEmpty());
  EXPECT_THAT(names_after_settling(watch), IsEmpty());
  std::fputs(" and half", writer);
  std::fclose(writer);
  EXPECT_THAT(names_after_settling(watch), ElementsAre("a.jpg"));
  EXPECT_EQ(watch.ready()->front().size, 13U);
}

TEST(FolderWatch, AMovedPictureIsWhole) {
  const ScratchFolder folder;
  FolderWatch watch(folder.path(), kSettle);
  folder.write("a.part", "x");
  std::filesystem::rename(folder.path() + "/a.part", folder.path() + "/a.jpg");
  EXPECT_THAT(names_after_settling(watch), ElementsAre("a.jpg"));
}

TEST(FolderWatch, ALinkedPictureIsWhole) {
  const ScratchFolder folder;
  folder.write("a.part", "x");
  FolderWatch watch(folder.path(), kSettle);
  std::filesystem::create_hard_link(folder.path() + "/a.part", folder.path() + "/a.jpg");
  EXPECT_THAT(names_after_settling(watch), ElementsAre("a.jpg"));
}

TEST(FolderWatch, WaitingEndsWhenSomethingIsPutThere) {
  const ScratchFolder folder;
  FolderWatch watch(folder.path(), kSettle);
  folder.write("a.jpg", "x");
  const auto begin = std::chrono::steady_clock::now();
  watch.wait(std::chrono::seconds(30));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(FolderWatch, AFolderThatIsGoneIsNoEmptyFolder) {
  FolderWatch watch("/nowhere/at/all", kSettle);
  EXPECT_FALSE(watch.ready());
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
