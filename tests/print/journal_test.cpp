// What has been printed stays known: over a restart, and whatever a picture is called.
#include "apps/print/journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/child_process.h"

namespace {

using testing::HasSubstr;

JournalEntry entry(std::uint64_t size) {
  JournalEntry made;
  made.stamp = {size, 1234567890123456789, 0xfedcba9876543210};
  return made;
}

TEST(Journal, KnowsAfterARestartWhatItKnewBefore) {
  const ScratchFolder folder;
  const std::string path = folder.path() + "/journal";
  const std::string name = "a b%\n\xff\xc3\xa4.jpg";
  std::string error;
  {
    Journal journal;
    ASSERT_TRUE(journal.open(path, error)) << error;
    journal.set(name, entry(7));
    JournalEntry begun = entry(8);
    begun.begun_job = 17;
    begun.job_title = "two words";
    journal.set("b.png", begun);
    journal.set("c.png", entry(9));
    journal.remove("c.png");
    ASSERT_TRUE(journal.keep(error)) << error;
  }
  Journal journal;
  ASSERT_TRUE(journal.open(path, error)) << error;
  ASSERT_EQ(journal.entries().size(), 2U);
  ASSERT_NE(journal.find(name), nullptr);
  EXPECT_EQ(journal.find(name)->stamp.size, 7U);
  EXPECT_EQ(journal.find(name)->stamp.changed_ns, 1234567890123456789);
  EXPECT_EQ(journal.find(name)->stamp.checksum, 0xfedcba9876543210);
  EXPECT_EQ(journal.find(name)->begun_job, 0);
  ASSERT_NE(journal.find("b.png"), nullptr);
  EXPECT_EQ(journal.find("b.png")->begun_job, 17);
  EXPECT_EQ(journal.find("b.png")->job_title, "two words");
  EXPECT_EQ(journal.find("c.png"), nullptr);
}

TEST(Journal, ReplacesItsFileInOneStep) {
  const ScratchFolder folder;
  const std::string path = folder.path() + "/journal";
  Journal journal;
  std::string error;
  ASSERT_TRUE(journal.open(path, error));
  struct stat before {};
  ASSERT_EQ(stat(path.c_str(), &before), 0);
  // A second name for the old file: the new one must not be written over it.
  std::filesystem::create_hard_link(path, folder.path() + "/old");
  journal.set("a.jpg", entry(1));
  ASSERT_TRUE(journal.keep(error));
  EXPECT_EQ(folder.read("old"), "k905-print journal 1\n");
  EXPECT_THAT(*folder.read("journal"), HasSubstr("taken fedcba9876543210 1 "));
  EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST(Journal, ABrokenOneIsNoEmptyOne) {
  for (const char* text :
       {"", "something else\n", "k905-print journal 1\ntaken xyz\n",
        "k905-print journal 1\ntaken 1 2 3 a%4\n", "k905-print journal 1\nbegun 1 2 3 a x y\n",
        "k905-print journal 1\ntaken 1 2 3 a b\n"}) {
    const ScratchFolder folder;
    const std::string path = folder.write("journal", text);
    Journal journal;
    std::string error;
    EXPECT_FALSE(journal.open(path, error)) << text;
    EXPECT_EQ(error, path + ": not a journal of k905-print; move it away to begin a new one");
    EXPECT_EQ(folder.read("journal"), text);
  }
}

TEST(Journal, TwoCannotWriteTheSame) {
  const ScratchFolder folder;
  const std::string path = folder.path() + "/journal";
  Journal first;
  Journal second;
  std::string error;
  ASSERT_TRUE(first.open(path, error));
  EXPECT_FALSE(second.open(path, error));
  EXPECT_EQ(error, path + ": another k905-print is at work with this journal");
}

TEST(Journal, WithoutAPlaceItSaysSoAtOnce) {
  Journal journal;
  std::string error;
  EXPECT_FALSE(journal.open("/nowhere/at/all", error));
  EXPECT_EQ(error, "/nowhere/at/all.lock: No such file or directory");
}

TEST(ChecksumOfFile, IsThatOfItsBytes) {
  const ScratchFolder folder;
  // The 64-bit FNV-1a of "a".
  EXPECT_EQ(checksum_of_file(folder.write("a", "a")), 0xaf63dc4c8601ec8c);
  EXPECT_EQ(checksum_of_file(folder.write("none", "")), 0xcbf29ce484222325);
  EXPECT_EQ(checksum_of_file(folder.path() + "/missing"), std::nullopt);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
