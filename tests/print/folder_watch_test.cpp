// Which files of a folder are complete photos, and the events of the others.
#include "apps/print/folder_watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/support/child_process.h"

namespace k905 {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

// Without a quiet time, a photo that is not open for writing is reported by the next call.
FolderWatchSetup without_quiet_time(const std::string& folder) {
  return {.folder = folder, .quiet_time = milliseconds(0)};
}

FolderEvents events_of(FolderWatch& watch) {
  auto found = watch.take();
  EXPECT_TRUE(found) << std::strerror(errno);
  return found.value_or(FolderEvents{});
}

std::vector<std::string> ready_names(FolderWatch& watch) {
  std::vector<std::string> names;
  for (const auto& [name, arrived] : events_of(watch).ready) {
    names.push_back(name);
  }
  return names;
}

std::vector<std::string> arrived_names(FolderWatch& watch) {
  std::vector<std::string> names;
  for (const auto& [name, arrived] : events_of(watch).ready) {
    if (arrived) {
      names.push_back(name);
    }
  }
  return names;
}

// "NAME" for files that left the folder, "NAME > NEW NAME" for renamed ones.
std::vector<std::string> removed_names(const FolderEvents& events) {
  std::vector<std::string> names;
  for (const auto& [name, renamed_to] : events.removed) {
    names.push_back(renamed_to.empty() ? name : name + " > " + renamed_to);
  }
  return names;
}

TEST(FolderWatch, ReportsExistingPhotosOnce) {
  const ScratchFolder folder;
  folder.write("b.JPG", "x");
  folder.write("a.png", "x");
  FolderWatch watch(without_quiet_time(folder.path()));
  EXPECT_THAT(ready_names(watch), ElementsAre("a.png", "b.JPG"));
  EXPECT_THAT(ready_names(watch), IsEmpty());
}

TEST(FolderWatch, IgnoresFilesThatAreNotPhotos) {
  const ScratchFolder folder;
  for (const char* name : {".hidden.jpg", "a.jpg.part", "jpg", "empty.tmp"}) {
    folder.write(name, "x");
  }
  std::filesystem::create_directory(folder.path() + "/folder.jpg");
  std::filesystem::create_symlink("nowhere", folder.path() + "/dangling.jpg");
  FolderWatch watch(without_quiet_time(folder.path()));
  const FolderEvents events = events_of(watch);
  EXPECT_THAT(events.ready, IsEmpty());
  EXPECT_THAT(events.unsupported_files, IsEmpty());
}

TEST(FolderWatch, NamesTheFirstFileOfATypeThatIsNotRead) {
  const ScratchFolder folder;
  folder.write("a.cr2", "x");
  FolderWatch watch(without_quiet_time(folder.path()));
  EXPECT_THAT(events_of(watch).unsupported_files, ElementsAre("a.cr2"));
  folder.write("b.CR2", "x");
  folder.write("c.doc", "x");
  EXPECT_THAT(events_of(watch).unsupported_files, ElementsAre("c.doc"));
}

TEST(FolderWatch, NewPhotoIsReportedWhenItNoLongerChanges) {
  const ScratchFolder folder;
  folder.write("a.jpg", "x");
  FolderWatch watch({.folder = folder.path(), .quiet_time = std::chrono::hours(1)});
  EXPECT_THAT(ready_names(watch), IsEmpty());
  folder.write("b.jpg", "x");
  EXPECT_THAT(ready_names(watch), IsEmpty());
}

TEST(FolderWatch, AnUnfinishedPhotoWaitsForItsWriter) {
  const ScratchFolder folder;
  FolderWatch watch(without_quiet_time(folder.path()));
  std::ofstream writer(folder.path() + "/a.jpg");
  writer << "half" << std::flush;
  EXPECT_THAT(ready_names(watch), IsEmpty());
  EXPECT_THAT(ready_names(watch), IsEmpty());
  writer << " and half" << std::flush;
  writer.close();
  EXPECT_THAT(arrived_names(watch), ElementsAre("a.jpg"));
}

TEST(FolderWatch, AMovedOrLinkedPhotoIsComplete) {
  const ScratchFolder folder;
  folder.write("a.part", "x");
  folder.write("b.part", "x");
  FolderWatch watch(without_quiet_time(folder.path()));
  EXPECT_THAT(ready_names(watch), IsEmpty());
  std::filesystem::rename(folder.path() + "/a.part", folder.path() + "/a.jpg");
  std::filesystem::create_hard_link(folder.path() + "/b.part", folder.path() + "/b.jpg");
  EXPECT_THAT(arrived_names(watch), ElementsAre("a.jpg", "b.jpg"));
}

TEST(FolderWatch, RemovalAndReturnAreBothReported) {
  const ScratchFolder folder;
  folder.write("a.jpg", "x");
  FolderWatch watch(without_quiet_time(folder.path()));
  (void)watch.take();
  std::filesystem::remove(folder.path() + "/a.jpg");
  folder.write("a.jpg", "x");
  const FolderEvents events = events_of(watch);
  EXPECT_THAT(removed_names(events), ElementsAre("a.jpg"));
  ASSERT_EQ(events.ready.size(), 1U);
  EXPECT_TRUE(events.ready[0].arrived);
}

TEST(FolderWatch, ARenamedPhotoIsNotANewOne) {
  const ScratchFolder folder;
  folder.write("a.jpg", "x");
  FolderWatch watch(without_quiet_time(folder.path()));
  (void)watch.take();
  std::filesystem::rename(folder.path() + "/a.jpg", folder.path() + "/b.jpg");
  const FolderEvents events = events_of(watch);
  EXPECT_THAT(removed_names(events), ElementsAre("a.jpg > b.jpg"));
  ASSERT_EQ(events.ready.size(), 1U);
  EXPECT_EQ(events.ready[0].name, "b.jpg");
  EXPECT_FALSE(events.ready[0].arrived);
}

TEST(FolderWatch, PhotoThatIsMovedAwayIsReportedAsRemoved) {
  const ScratchFolder folder;
  folder.write("a.jpg", "x");
  folder.write("b.jpg", "x");
  FolderWatch watch(without_quiet_time(folder.path()));
  (void)watch.take();
  std::filesystem::rename(folder.path() + "/a.jpg", folder.path() + ".away");
  std::filesystem::rename(folder.path() + "/b.jpg", folder.path() + "/b.done");
  std::filesystem::remove(folder.path() + ".away");
  std::vector<std::string> removed = removed_names(events_of(watch));
  for (const std::string& name : removed_names(events_of(watch))) {
    removed.push_back(name);
  }
  EXPECT_THAT(removed, ElementsAre("a.jpg", "b.jpg"));
}

TEST(FolderWatch, ChangedPermissionsAreNotReportedAsAnArrival) {
  const ScratchFolder folder;
  folder.write("a.jpg", "x");
  FolderWatch watch(without_quiet_time(folder.path()));
  (void)watch.take();
  std::filesystem::permissions(folder.path() + "/a.jpg", std::filesystem::perms::owner_all);
  const FolderEvents events = events_of(watch);
  ASSERT_EQ(events.ready.size(), 1U);
  EXPECT_FALSE(events.ready[0].arrived);
}

// The kernel drops events if too many are pending, possibly one that a file was closed.
TEST(FolderWatch, AfterLostEventsTheFolderIsScanned) {
  const ScratchFolder folder;
  FolderWatch watch(without_quiet_time(folder.path()));
  std::ofstream writer(folder.path() + "/a.jpg");
  writer << "half" << std::flush;
  EXPECT_THAT(ready_names(watch), IsEmpty());
  int most = 0;
  std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> most;
  ASSERT_GT(most, 0);
  // The kernel merges two equal consecutive events.
  for (int events = 0; events <= most; events += 2) {
    folder.write("x", "");
    std::filesystem::remove(folder.path() + "/x");
  }
  writer << " and half" << std::flush;
  writer.close();
  folder.write("b.jpg", "x");
  EXPECT_THAT(ready_names(watch), ElementsAre("a.jpg", "b.jpg"));
}

TEST(FolderWatch, WithoutEventsTheFolderIsRead) {
  const ScratchFolder folder;
  folder.write("a.jpg", "x");
  FolderWatchSetup setup = without_quiet_time(folder.path());
  setup.scan_folder = true;
  setup.scan_interval = milliseconds(0);
  FolderWatch watch(setup);
  close(watch.events_descriptor());
  EXPECT_THAT(ready_names(watch), ElementsAre("a.jpg"));
  EXPECT_THAT(ready_names(watch), IsEmpty());
  folder.write("b.jpg", "x");
  EXPECT_THAT(arrived_names(watch), ElementsAre("b.jpg"));
  folder.write("b.jpg", "other");
  EXPECT_THAT(arrived_names(watch), ElementsAre("b.jpg"));
  std::filesystem::remove(folder.path() + "/b.jpg");
  EXPECT_THAT(removed_names(events_of(watch)), ElementsAre("b.jpg"));
}

// As after unmounting: the folder that is now at the path contains none of the previous photos.
TEST(FolderWatch, AfterTheFolderIsReplacedNothingCountsAsRemoved) {
  const ScratchFolder folder;
  const std::string path = folder.path() + "/in";
  std::filesystem::create_directory(path);
  folder.write("in/a.jpg", "x");
  FolderWatchSetup setup = without_quiet_time(path);
  setup.scan_folder = true;
  setup.scan_interval = milliseconds(0);
  FolderWatch watch(setup);
  EXPECT_THAT(ready_names(watch), ElementsAre("a.jpg"));
  std::filesystem::rename(path, folder.path() + "/away");
  EXPECT_FALSE(watch.take());
  EXPECT_EQ(errno, ENOENT);
  std::filesystem::create_directory(path);
  EXPECT_THAT(removed_names(events_of(watch)), IsEmpty());
  folder.write("in/b.jpg", "x");
  EXPECT_THAT(arrived_names(watch), ElementsAre("b.jpg"));
}

TEST(FolderWatch, WaitEndsWhenAFileArrives) {
  const ScratchFolder folder;
  FolderWatch watch({.folder = folder.path()});
  (void)watch.take();
  folder.write("a.jpg", "x");
  const auto begin = std::chrono::steady_clock::now();
  watch.wait(std::chrono::hours(1));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::minutes(30));
}

TEST(FolderWatch, MissingFolderIsAnError) {
  FolderWatch watch(without_quiet_time("/nowhere/at/all"));
  EXPECT_FALSE(watch.take());
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace

}  // namespace k905
