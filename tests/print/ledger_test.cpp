// The ledger keeps what was ordered and printed: after a restart, and when a photo is renamed.
#include "apps/print/ledger.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "apps/print/history.h"
#include "apps/print/old_journal.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_guard.h"

namespace k905 {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kFolder[] = "/srv/in";
std::int64_t now = 1000;

KnownFile file_of(std::uint64_t size) {
  KnownFile file;
  file.content = {size, 0xfedcba9876543210};
  file.stamp = {0xffffffffffffffff, size, 13569465600, 999999999, 13569465601, 1};
  return file;
}

class LedgerTest : public testing::Test {
 protected:
  LedgerTest() {
    now = 1000;
    reopen();
  }

  void reopen() {
    ledger_ = std::make_unique<Ledger>([] { return now; });
    std::string error;
    ASSERT_TRUE(ledger_->open(path(), error)) << error;
  }

  void order(const std::string& name, int sheets = 1, std::uint64_t size = 7) {
    const KnownFile file = file_of(size);
    ledger_->order(kFolder, name, file.content, &file, sheets);
  }

  // Records a job with this ticket, up to this outcome.
  void print(const std::string& name, const std::string& ticket, Outcome outcome,
             int pages_per_sheet = 1) {
    std::vector<Ledger::JobSheet> sheets;
    for (const SheetEntry& sheet : ledger_->waiting(kFolder, name)) {
      sheets.push_back({sheet.id, static_cast<int>(sheets.size()) / pages_per_sheet});
    }
    ASSERT_TRUE(
        ledger_->begin(ticket, sheets, {"booth", "", "PageSize=w288h432", "night"}, limit_));
    ledger_->record_sending(ticket, 17, std::nullopt);
    ledger_->set_outcome(ticket, outcome);
  }

  [[nodiscard]] std::vector<std::string> outcomes() const {
    std::vector<std::string> texts;
    for (const SheetEntry& sheet : ledger_->history()) {
      texts.push_back(sheet.name + " " + text_of(sheet.outcome));
    }
    return texts;
  }

  [[nodiscard]] std::string path() const { return folder_.path() + "/ledger"; }

  ScratchFolder folder_;
  std::unique_ptr<Ledger> ledger_;
  SheetLimit limit_;
};

TEST_F(LedgerTest, KeepsItsEntriesOverARestart) {
  const std::string name = "a b%\n\xff\xc3\xa4.jpg";
  order(name, 2);
  ASSERT_TRUE(ledger_->begin("ticket", {{1, 0}}, {"", "/tmp/job.prn", "PageSize=w288h432", ""}));
  ledger_->record_sending("ticket", 0, FilePlace{0xfffffffffffffff0, 12, 5000000000});
  reopen();
  const auto file = ledger_->find_file(kFolder, name);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->content, file_of(7).content);
  EXPECT_EQ(file->stamp, file_of(7).stamp);
  EXPECT_FALSE(file->refused);
  EXPECT_THAT(ledger_->names_waiting(kFolder), ElementsAre(name));
  const auto unfinished = ledger_->unfinished(kFolder);
  ASSERT_THAT(unfinished, SizeIs(1));
  EXPECT_EQ(unfinished[0].id, 1);
  EXPECT_EQ(unfinished[0].target.device, "/tmp/job.prn");
  EXPECT_EQ(unfinished[0].ticket, "ticket");
  EXPECT_EQ(unfinished[0].outcome, Outcome::sending);
  ASSERT_TRUE(unfinished[0].place);
  EXPECT_EQ(unfinished[0].place->device, 0xfffffffffffffff0);
  EXPECT_EQ(unfinished[0].place->inode, 12U);
  EXPECT_EQ(unfinished[0].place->length, 5000000000);
}

TEST_F(LedgerTest, QueriedPrinterAndItsLastLifeCounterAreKept) {
  order("a.jpg");
  ASSERT_TRUE(ledger_->begin("one", {{1, 0}}, {"", "/dev/usb/lp0", "", ""}));
  ledger_->record_sending("one", 0, std::nullopt, {"A17", 1200});
  reopen();
  EXPECT_EQ(ledger_->find_sheet(1)->printer.serial_number, "A17");
  EXPECT_EQ(ledger_->find_sheet(1)->printer.life_counter, 1200);
  // As after a crash.
  ledger_->set_outcome("one", Outcome::waiting);
  EXPECT_EQ(ledger_->find_sheet(1)->printer.life_counter, 1200);
  ASSERT_TRUE(ledger_->begin("two", {{1, 0}}, {"", "/dev/usb/lp1", "", ""}));
  EXPECT_EQ(ledger_->find_sheet(1)->printer.serial_number, "");
  EXPECT_EQ(ledger_->find_sheet(1)->printer.life_counter, 0);
  ledger_->record_sending("two", 0, std::nullopt, {"B9", 7});
  ledger_->set_outcome("two", Outcome::printed, "", {"B9", 8});
  EXPECT_THAT(history_line(*ledger_->find_sheet(1)),
              testing::EndsWith("  /dev/usb/lp1  serial number B9  life counter 8"));
}

TEST_F(LedgerTest, JobAdvancesStepByStep) {
  order("a.jpg", 2);
  print("a.jpg", "one", Outcome::complete);
  EXPECT_THAT(ledger_->waiting(kFolder, "a.jpg"), IsEmpty());
  const auto unfinished = ledger_->unfinished(kFolder);
  ASSERT_THAT(unfinished, SizeIs(2));
  EXPECT_EQ(unfinished[1].number, 17);
  EXPECT_EQ(unfinished[1].target.queue, "booth");
  EXPECT_EQ(unfinished[1].target.hold, "night");
  ledger_->set_outcome("one", Outcome::printed);
  EXPECT_THAT(ledger_->unfinished(kFolder), IsEmpty());
  // A finished outcome does not change.
  ledger_->set_outcome("one", Outcome::waiting);
  EXPECT_THAT(outcomes(), ElementsAre("a.jpg printed", "a.jpg printed"));
  const auto last = ledger_->last_printed(kFolder, "a.jpg", file_of(7).content);
  ASSERT_TRUE(last);
  EXPECT_EQ(last->id, 2);
  EXPECT_FALSE(ledger_->last_printed(kFolder, "a.jpg", file_of(8).content));
}

TEST_F(LedgerTest, RemovedFileIsForgottenWithItsWaitingSheets) {
  order("a.jpg");
  print("a.jpg", "one", Outcome::printed);
  order("a.jpg", 1, 8);
  ledger_->forget_file(kFolder, "a.jpg");
  EXPECT_FALSE(ledger_->find_file(kFolder, "a.jpg"));
  EXPECT_THAT(outcomes(), ElementsAre("a.jpg printed", "a.jpg withdrawn"));
}

TEST_F(LedgerTest, RenamedFileKeepsItsEntries) {
  order("a.jpg");
  order("b.jpg", 1, 9);
  ledger_->rename_file(kFolder, "a.jpg", "b.jpg");
  EXPECT_FALSE(ledger_->find_file(kFolder, "a.jpg"));
  EXPECT_EQ(ledger_->find_file(kFolder, "b.jpg")->content.size, 7U);
  EXPECT_THAT(outcomes(), ElementsAre("b.jpg waiting", "b.jpg waiting"));
}

TEST_F(LedgerTest, SheetsOfALocalDayAreCountedOnce) {
  const EnvironmentGuard zone("TZ", "EET-2");  // 3 January 1970 begins at 165600
  tzset();
  now = 165599;
  order("yesterday.jpg");
  print("yesterday.jpg", "one", Outcome::printed);
  EXPECT_EQ(ledger_->sheets_today(kFolder), 1);
  now = 165600;
  order("shared.jpg", 2);
  print("shared.jpg", "two", Outcome::printed, 2);
  order("copies.jpg", 3);
  print("copies.jpg", "three", Outcome::in_doubt);
  order("failed.jpg");
  print("failed.jpg", "four", Outcome::waiting);
  EXPECT_EQ(ledger_->sheets_today(kFolder), 4);
  EXPECT_EQ(ledger_->sheets_today("/srv/other"), 0);
}

TEST_F(LedgerTest, SheetsOfAnEventAreCountedOnAllDaysAndInAllFolders) {
  limit_.event = "party";
  order("shared.jpg", 2);
  print("shared.jpg", "one", Outcome::printed, 2);
  now += 100 * 86400;
  order("copies.jpg", 3);
  print("copies.jpg", "two", Outcome::in_doubt);
  order("failed.jpg");
  print("failed.jpg", "three", Outcome::waiting);
  ledger_->order("/srv/other", "a.jpg", {7, 7}, nullptr, 1);
  const std::int64_t other_sheet = ledger_->waiting("/srv/other", "a.jpg")[0].id;
  ASSERT_TRUE(ledger_->begin("four", {{other_sheet, 0}}, {}, limit_));
  limit_.event = "another";
  order("b.jpg");
  print("b.jpg", "five", Outcome::printed);
  EXPECT_EQ(ledger_->sheets_of_event("party"), 5);
  EXPECT_EQ(ledger_->sheets_of_event("another"), 1);
  EXPECT_THAT(history_line(ledger_->history().back()), testing::EndsWith("  event another"));
}

// Two programs that at the same time found that one more sheet is allowed.
TEST_F(LedgerTest, NoSheetIsStartedAboveTheLimitOfItsEvent) {
  limit_ = {1, "party"};
  order("a.jpg");
  ledger_->order("/srv/other", "b.jpg", {7, 7}, nullptr, 1);
  const std::int64_t other_sheet = ledger_->waiting("/srv/other", "b.jpg")[0].id;
  print("a.jpg", "one", Outcome::printed);
  EXPECT_FALSE(ledger_->begin("two", {{other_sheet, 0}}, {"booth", "", "", ""}, limit_));
  EXPECT_THAT(ledger_->waiting("/srv/other", "b.jpg"), SizeIs(1));
  EXPECT_EQ(ledger_->find_sheet(other_sheet)->target.queue, "");
}

TEST_F(LedgerTest, LedgerOfTheFirstSchemaIsUpgraded) {
  order("a.jpg");
  print("a.jpg", "one", Outcome::printed);
  ledger_.reset();
  SQLite::Database(path(), SQLite::OPEN_READWRITE)
      .exec(
          "DROP INDEX sheets_of_event; ALTER TABLE sheet DROP COLUMN event; "
          "PRAGMA user_version = 1");
  reopen();
  limit_.event = "party";
  order("b.jpg");
  print("b.jpg", "two", Outcome::printed);
  EXPECT_THAT(outcomes(), ElementsAre("a.jpg printed", "b.jpg printed"));
  EXPECT_EQ(ledger_->sheets_of_event("party"), 1);
}

TEST_F(LedgerTest, ARefusedFileHasItsReason) {
  KnownFile file = file_of(7);
  file.refused = true;
  ledger_->refuse(kFolder, "a.jpg", file, "broken JPEG");
  EXPECT_TRUE(ledger_->find_file(kFolder, "a.jpg")->refused);
  EXPECT_EQ(ledger_->history()[0].reason, "broken JPEG");
}

TEST_F(LedgerTest, DetectsChangesByOtherProcesses) {
  const std::int64_t before = ledger_->data_version();
  order("a.jpg");
  EXPECT_EQ(ledger_->data_version(), before);
  Ledger other;
  std::string error;
  ASSERT_TRUE(other.open(path(), error));
  other.add_folder(kFolder);
  EXPECT_NE(ledger_->data_version(), before);
  EXPECT_TRUE(ledger_->is_folder_known(kFolder));
}

TEST_F(LedgerTest, IsAccessibleToItsOwnerOnly) {
  struct stat status {};
  ASSERT_EQ(stat(path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(LedgerTest, HistoryHasALineForEachSheet) {
  order("a\n.jpg");
  print("a\n.jpg", "one", Outcome::printed);
  std::string text;
  for (const SheetEntry& sheet : ledger_->history()) {
    text += history_line(sheet) + "\n";
  }
  EXPECT_THAT(text, testing::StartsWith("1  1970-01-01 "));
  EXPECT_THAT(text, testing::EndsWith("  printed  /srv/in/a .jpg  job 17 on booth\n"));
}

TEST(Ledger, FileThatIsNotALedgerIsUnchanged) {
  const ScratchFolder folder;
  const std::string text(5000, 'x');
  const std::string path = folder.write("ledger", text);
  Ledger ledger;
  std::string error;
  EXPECT_FALSE(ledger.open(path, error));
  EXPECT_EQ(error, path + ": not a ledger of k905-print; move it away to start a new one");
  EXPECT_EQ(folder.read("ledger"), text);
}

TEST(Ledger, NewerVersionIsNotWritten) {
  const ScratchFolder folder;
  const std::string path = folder.path() + "/ledger";
  std::string error;
  ASSERT_TRUE(Ledger().open(path, error)) << error;
  SQLite::Database(path, SQLite::OPEN_READWRITE).exec("PRAGMA user_version = 3");
  EXPECT_FALSE(Ledger().open(path, error));
  EXPECT_EQ(error, path + ": made by a newer version of k905-print");
}

TEST_F(LedgerTest, ASheetInDoubtCountsAsPrinted) {
  order("a.jpg");
  print("a.jpg", "one", Outcome::in_doubt);
  EXPECT_TRUE(ledger_->last_printed(kFolder, "a.jpg", file_of(7).content));
}

TEST(Ledger, MissingFolderIsReported) {
  Ledger ledger;
  std::string error;
  EXPECT_FALSE(ledger.open("/nowhere/at/all", error));
  EXPECT_EQ(error, "/nowhere/at/all: No such file or directory");
}

TEST_F(LedgerTest, ImportsAnOldJournalOnce) {
  const std::string text =
      "k905-print journal 1\n"
      "taken fedcba9876543210 7 1234567890123456789 a%20b.jpg\n"
      "begun 0000000000000001 8 -5 c.jpg 12 two%20words\n";
  const std::string journal = folder_.write("old.journal", text);
  std::string error;
  EXPECT_TRUE(is_old_journal(journal));
  ASSERT_TRUE(import_old_journal(journal, kFolder, *ledger_, error)) << error;
  EXPECT_EQ(ledger_->find_file(kFolder, "a b.jpg")->content, (Content{7, 0xfedcba9876543210}));
  EXPECT_THAT(outcomes(), ElementsAre("a b.jpg printed", "c.jpg in doubt"));
  EXPECT_EQ(folder_.read("old.journal"), std::nullopt);
  // As after a crash before the journal was renamed.
  folder_.write("old.journal", text);
  ASSERT_TRUE(import_old_journal(journal, kFolder, *ledger_, error)) << error;
  EXPECT_THAT(ledger_->history(), SizeIs(2));
  EXPECT_EQ(folder_.read("old.journal.imported"), text);
  EXPECT_TRUE(import_old_journal(journal, kFolder, *ledger_, error));
}

TEST_F(LedgerTest, MalformedJournalIsNotTreatedAsEmpty) {
  for (const char* text :
       {"", "something else\n", "k905-print journal 1\ntaken xyz\n",
        "k905-print journal 1\ntaken 1 2 3 a%4\n", "k905-print journal 1\nbegun 1 2 3 a x\n",
        "k905-print journal 1\ntaken 1 2 3 a b\n"}) {
    const std::string path = folder_.write("old.journal", text);
    std::string error;
    EXPECT_FALSE(import_old_journal(path, kFolder, *ledger_, error)) << text;
    EXPECT_EQ(folder_.read("old.journal"), text);
  }
  EXPECT_THAT(ledger_->history(), IsEmpty());
}

}  // namespace

}  // namespace k905
