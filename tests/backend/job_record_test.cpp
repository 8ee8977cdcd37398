#include "apps/backend/job_record.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/child_process.h"

namespace k905::backend {
namespace {

const JobRecord kRecord{.job = 12,
                        .identity = "urn:uuid:1",
                        .printer = "K9051234",
                        .printed = 3,
                        .reported = 2,
                        .sending = 4,
                        .life = 10023,
                        .buffers = 2,
                        .asked = true,
                        .ended = 1234567};

JobRecord loaded(const RecordFolder& records, int job, const std::string& identity) {
  JobRecord record;
  EXPECT_EQ(records.load(job, identity, record), "");
  return record;
}

std::vector<JobRecord> undecided_on(const RecordFolder& records, const std::string& printer) {
  std::vector<JobRecord> found;
  EXPECT_EQ(records.find_undecided_sheets(printer, found), "");
  return found;
}

class Records : public testing::Test {
 protected:
  [[nodiscard]] std::string folder() const { return (root_ / "k905").string(); }

  [[nodiscard]] std::string content() const { return read_file(folder() + "/job-12"); }

  ScratchFolder scratch_;
  std::filesystem::path root_ = scratch_.path();
};

TEST_F(Records, RecordIsReadBackAsItWasSaved) {
  RecordFolder records;
  ASSERT_EQ(records.open(folder(), -1, -1), 0);
  ASSERT_EQ(records.save(kRecord), 0);
  EXPECT_EQ(loaded(records, 12, "urn:uuid:1"), kRecord);
}

TEST_F(Records, RecordOfAnEarlierJobWithThisNumberIsNotUsed) {
  RecordFolder records;
  ASSERT_EQ(records.open(folder(), -1, -1), 0);
  ASSERT_EQ(records.save(kRecord), 0);
  const JobRecord fresh{.job = 12, .identity = "urn:uuid:2", .printer = ""};
  EXPECT_EQ(loaded(records, 12, "urn:uuid:2"), fresh);
  EXPECT_EQ(loaded(records, 13, "urn:uuid:1").printed, 0U);
}

TEST_F(Records, UndecidedSheetsAreThoseOfThePrinter) {
  RecordFolder records;
  ASSERT_EQ(records.open(folder(), -1, -1), 0);
  JobRecord decided = kRecord;
  decided.job = 13;
  decided.sending = 0;
  JobRecord elsewhere = kRecord;
  elsewhere.job = 14;
  elsewhere.printer = "other";
  JobRecord undecidable = kRecord;
  undecidable.job = 15;
  undecidable.life = -1;
  for (const JobRecord& record : {kRecord, decided, elsewhere, undecidable}) {
    ASSERT_EQ(records.save(record), 0);
  }
  EXPECT_EQ(undecided_on(records, "K9051234"), std::vector{kRecord});
}

TEST_F(Records, DamagedRecordIsIgnored) {
  RecordFolder records;
  ASSERT_EQ(records.open(folder(), -1, -1), 0);
  ASSERT_EQ(records.save(kRecord), 0);
  for (const char* const text : {"", "k905 job record 2\njob=12\n", "k905 job record 1\njob=x\n",
                                 "k905 job record 1\nprinted\n"}) {
    std::ofstream(folder() + "/job-12") << text;
    EXPECT_EQ(loaded(records, 12, "urn:uuid:1").printed, 0U) << text;
  }
  EXPECT_TRUE(undecided_on(records, "K9051234").empty());
}

// Otherwise the job would begin again at its first sheet, and a sheet of another job would move the
// life counter that decides about this one.
TEST_F(Records, RecordThatCannotBeReadIsNamedToItsJobAndToEveryOther) {
  RecordFolder records;
  ASSERT_EQ(records.open(folder(), -1, -1), 0);
  std::filesystem::create_directory(folder() + "/job-12");
  JobRecord record = kRecord;
  EXPECT_EQ(records.load(12, "urn:uuid:1", record), "job-12: Is a directory");
  EXPECT_EQ(record, kRecord);
  std::vector<JobRecord> found;
  EXPECT_EQ(records.find_undecided_sheets("K9051234", found), "job-12: Is a directory");
}

// Whatever part of the newest version reached the disk, the version before it is used.
TEST_F(Records, TruncatedVersionIsSkipped) {
  for (const std::size_t cut : {0U, 1U, 30U, 100U, 120U}) {
    RecordFolder records;
    ASSERT_EQ(records.open(folder(), -1, -1), 0);
    std::string before;
    for (const unsigned printed : {3U, 4U, 5U, 6U}) {
      JobRecord record = kRecord;
      record.printed = printed;
      ASSERT_EQ(records.save(record), 0);
      EXPECT_EQ(loaded(records, 12, "urn:uuid:1").printed, printed);
      if (printed < 6) {
        before = content();
      }
    }
    std::string after = content();
    std::size_t changed = 0;
    while (after[changed] == before[changed]) {
      ++changed;
    }
    const std::size_t begin = changed / 4096 * 4096;
    const std::string partly_written =
        after.substr(begin, cut) + before.substr(begin + cut, 4096 - cut);
    std::ofstream(folder() + "/job-12") << after.replace(begin, 4096, partly_written);
    EXPECT_EQ(loaded(records, 12, "urn:uuid:1").printed, 5U) << cut;
  }
}

// An unsynced save and the save after it reach the disk together, in any order and in parts.
TEST_F(Records, RecordBeforeAnUnsyncedSaveIsIntact) {
  for (const unsigned saves : {1U, 2U, 3U}) {
    RecordFolder records;
    ASSERT_EQ(records.open(folder(), -1, -1), 0);
    JobRecord record = kRecord;
    for (unsigned i = 0; i < saves; ++i) {
      ASSERT_EQ(records.save(record), 0);
    }
    const std::string saved = content();
    record.printed = 4;
    record.sending = 0;
    ASSERT_EQ(records.save_unsynced(record), 0);
    EXPECT_EQ(loaded(records, 12, "urn:uuid:1"), record);  // by a later process
    record.sending = 5;
    ASSERT_EQ(records.save(record), 0);
    const std::string last = content();
    for (unsigned blocks = 0; blocks < 8; ++blocks) {
      for (const std::size_t written : {4096U, 100U}) {
        std::string mixed = saved;
        for (unsigned block = 0; block < 3; ++block) {
          if ((blocks >> block & 1U) != 0) {
            mixed.replace(std::size_t{4096} * block, written, last, std::size_t{4096} * block,
                          written);
          }
        }
        std::ofstream(folder() + "/job-12") << mixed;
        const JobRecord found = loaded(records, 12, "urn:uuid:1");
        EXPECT_TRUE(found == kRecord || found.printed == 4) << blocks << " " << written;
      }
    }
  }
}

TEST_F(Records, SuccessiveUnsyncedSavesAreKept) {
  RecordFolder records;
  ASSERT_EQ(records.open(folder(), -1, -1), 0);
  JobRecord record = kRecord;
  for (const unsigned printed : {4U, 5U, 6U, 7U}) {
    record.printed = printed;
    ASSERT_EQ(records.save_unsynced(record), 0);
    EXPECT_EQ(loaded(records, 12, "urn:uuid:1").printed, printed);
  }
  ASSERT_EQ(records.sync(), 0);
}

TEST_F(Records, SavingAgainChangesNeitherFileNorFolder) {
  RecordFolder records;
  ASSERT_EQ(records.open(folder(), -1, -1), 0);
  ASSERT_EQ(records.save(kRecord), 0);
  struct stat first {};
  struct stat later {};
  ASSERT_EQ(stat((folder() + "/job-12").c_str(), &first), 0);
  for (int i = 0; i < 5; ++i) {
    ASSERT_EQ(records.save(kRecord), 0);
  }
  ASSERT_EQ(stat((folder() + "/job-12").c_str(), &later), 0);
  EXPECT_EQ(later.st_ino, first.st_ino);
  EXPECT_EQ(later.st_size, first.st_size);
  EXPECT_EQ(later.st_blocks, first.st_blocks);
}

// After a job is unlocked, another process may put a new file in the place of the first.
TEST_F(Records, RecordOfAnUnlockedJobIsSavedInTheCurrentFile) {
  RecordFolder one;
  RecordFolder two;
  ASSERT_EQ(one.open(folder(), -1, -1), 0);
  ASSERT_EQ(two.open(folder(), -1, -1), 0);
  ASSERT_EQ(one.save(kRecord), 0);
  one.unlock_job(12);
  JobRecord record = kRecord;
  record.printed = 4;
  ASSERT_EQ(two.save(record), 0);
  record.printed = 5;
  ASSERT_EQ(one.save(record), 0);
  EXPECT_EQ(loaded(one, 12, "urn:uuid:1").printed, 5U);
}

TEST_F(Records, LongNamesAreReadBack) {
  JobRecord record = kRecord;
  record.identity = std::string(9000, 'i');
  record.printer = std::string(9000, 'p');
  RecordFolder records;
  ASSERT_EQ(records.open(folder(), -1, -1), 0);
  ASSERT_EQ(records.save(record), 0);
  EXPECT_EQ(loaded(records, 12, record.identity).printed, 3U);
  EXPECT_EQ(undecided_on(records, record.printer).size(), 1U);
}

TEST_F(Records, LineEndsInNamesCannotAddFields) {
  JobRecord record = kRecord;
  record.identity = "me\nprinted=99";
  const std::optional<JobRecord> read = parse_record(to_text(record));
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->printed, 3U);
  RecordFolder records;
  ASSERT_EQ(records.open(folder(), -1, -1), 0);
  ASSERT_EQ(records.save(record), 0);
  EXPECT_EQ(loaded(records, 12, "me\nprinted=99").printed, 3U);
}

TEST_F(Records, LinkInPlaceOfTheFolderIsRefused) {
  std::filesystem::create_directory(root_ / "victim");
  std::filesystem::create_directory_symlink(root_ / "victim", folder());
  RecordFolder records;
  EXPECT_NE(records.open(folder(), -1, -1), 0);
  EXPECT_EQ(records.save(kRecord), 0);  // nothing is saved
  EXPECT_TRUE(std::filesystem::is_empty(root_ / "victim"));
}

TEST_F(Records, LinkInPlaceOfARecordIsNotFollowed) {
  RecordFolder records;
  ASSERT_EQ(records.open(folder(), -1, -1), 0);
  std::ofstream(root_ / "victim") << "untouched";
  std::filesystem::create_symlink(root_ / "victim", folder() + "/new-job-12");
  EXPECT_EQ(records.save(kRecord), ELOOP);
  EXPECT_EQ(std::filesystem::file_size(root_ / "victim"), 9U);
}

TEST_F(Records, OnePrinterHasOneUserAtATime) {
  RecordFolder one;
  RecordFolder two;
  ASSERT_EQ(one.open(folder(), -1, -1), 0);
  ASSERT_EQ(two.open(folder(), -1, -1), 0);
  const PrinterAddress printer = *parse_printer_name("/dev/usb/lp0");
  EXPECT_TRUE(one.try_lock_printer(printer));
  EXPECT_TRUE(one.try_lock_printer(printer));
  EXPECT_FALSE(two.try_lock_printer(printer));
  RecordFolder three;
  ASSERT_EQ(three.open(folder(), -1, -1), 0);
  EXPECT_TRUE(three.try_lock_printer(*parse_printer_name("host:9100")));
}

// k905-status must not ask a printer while a sheet is being sent to it.
TEST_F(Records, TheGroupCanSeeWhetherAPrinterIsInUseAndNothingElse) {
  RecordFolder records;
  const mode_t usual = umask(077);  // as the scheduler sets it
  EXPECT_EQ(records.open(folder(), -1, -1), 0);
  EXPECT_TRUE(records.try_lock_printer(*parse_printer_name("host:9100")));
  EXPECT_TRUE(records.try_lock_job(12));
  EXPECT_EQ(records.save(kRecord), 0);
  umask(usual);
  const auto mode_of = [this](const std::string& name) {
    struct stat status {};
    EXPECT_EQ(stat((folder() + name).c_str(), &status), 0);
    return status.st_mode & 0777U;
  };
  EXPECT_EQ(mode_of("/"), 0710U);
  EXPECT_EQ(mode_of("/lock-host:9100"), 0640U);
  EXPECT_EQ(mode_of("/jobs.lock"), 0600U);
  EXPECT_EQ(mode_of("/job-12"), 0600U);
}

TEST_F(Records, OneJobHasOneProcessAtATime) {
  RecordFolder one;
  ASSERT_EQ(one.open(folder(), -1, -1), 0);
  EXPECT_TRUE(one.try_lock_job(12));
  EXPECT_TRUE(one.try_lock_job(12));
  {
    RecordFolder two;
    ASSERT_EQ(two.open(folder(), -1, -1), 0);
    EXPECT_FALSE(two.try_lock_job(12));
    EXPECT_TRUE(two.try_lock_job(13));
    one.unlock_job(12);
    EXPECT_TRUE(two.try_lock_job(12));
    EXPECT_FALSE(one.try_lock_job(12));
  }
  RecordFolder three;
  ASSERT_EQ(three.open(folder(), -1, -1), 0);
  EXPECT_TRUE(three.try_lock_job(13));
}

}  // namespace
}  // namespace k905::backend
