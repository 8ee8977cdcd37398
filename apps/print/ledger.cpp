#include "apps/print/ledger.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>
#include <fcntl.h>
#include <sqlite3.h>

#include <cerrno>
#include <concepts>
#include <cstring>
#include <ctime>
#include <utility>

#include "apps/base/descriptor.h"

namespace k905 {

namespace {

using SQLite::Database;
using SQLite::Statement;

constexpr int kLockTimeoutMs = 20000;

constexpr int kApplicationId = 0x6b393035;  // "k905"

constexpr char kNotALedger[] = ": not a ledger of k905-print; move it away to start a new one";

// Folders and names are stored as the bytes of the file system. `printer_serial` and
// `printer_counter` are null unless the destination asks the printer. `open_sheets` has only
// sheets that are waiting or unfinished, so that it stays small.
constexpr char kTables[] = R"(
CREATE TABLE folder(
  folder TEXT PRIMARY KEY,
  since INTEGER NOT NULL
) WITHOUT ROWID;
CREATE TABLE file(
  folder TEXT NOT NULL,
  name TEXT NOT NULL,
  inode INTEGER NOT NULL,
  modified_s INTEGER NOT NULL,
  modified_ns INTEGER NOT NULL,
  changed_s INTEGER NOT NULL,
  changed_ns INTEGER NOT NULL,
  size INTEGER NOT NULL,
  hash INTEGER NOT NULL,
  refused INTEGER NOT NULL,
  PRIMARY KEY(folder, name)
) WITHOUT ROWID;
CREATE TABLE sheet(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  folder TEXT NOT NULL,
  name TEXT NOT NULL,
  size INTEGER NOT NULL,
  hash INTEGER NOT NULL,
  queue TEXT NOT NULL DEFAULT '',
  device TEXT NOT NULL DEFAULT '',
  settings TEXT NOT NULL DEFAULT '',
  hold TEXT NOT NULL DEFAULT '',
  ticket TEXT NOT NULL DEFAULT '',
  position INTEGER NOT NULL DEFAULT 0,
  job INTEGER NOT NULL DEFAULT 0,
  file_device INTEGER,
  file_inode INTEGER,
  file_length INTEGER,
  printer_serial TEXT,
  printer_counter INTEGER,
  time INTEGER NOT NULL,
  outcome TEXT NOT NULL,
  reason TEXT NOT NULL DEFAULT '',
  is_open INTEGER NOT NULL AS (outcome IN ('waiting', 'begun', 'sending', 'complete'))
);
CREATE INDEX sheets_of_file ON sheet(folder, name, id);
CREATE INDEX sheets_of_day ON sheet(folder, time);
CREATE INDEX open_sheets ON sheet(folder, name) WHERE is_open;
CREATE INDEX open_jobs ON sheet(ticket) WHERE is_open;
)";
constexpr char kEventColumn[] = R"(
ALTER TABLE sheet ADD COLUMN event TEXT NOT NULL DEFAULT '';
CREATE INDEX sheets_of_event ON sheet(event, ticket, position) WHERE event <> '';
)";

// What each version of the schema adds to the one before it.
constexpr const char* kSchemas[] = {kTables, kEventColumn};

constexpr std::pair<Outcome, const char*> kOutcomes[] = {
    {Outcome::waiting, "waiting"}, {Outcome::begun, "begun"},
    {Outcome::sending, "sending"}, {Outcome::complete, "complete"},
    {Outcome::printed, "printed"}, {Outcome::in_doubt, "in doubt"},
    {Outcome::refused, "refused"}, {Outcome::withdrawn, "withdrawn"},
};

Outcome outcome_named(const std::string& text) {
  for (const auto& [outcome, name] : kOutcomes) {
    if (text == name) {
      return outcome;
    }
  }
  throw LedgerError("unknown outcome \"" + text + "\"");
}

// SQLite has signed integers only; they keep the bits of unsigned ones.
std::int64_t column_value(std::integral auto number) { return static_cast<std::int64_t>(number); }
const std::string& column_value(const std::string& text) { return text; }

template <typename... Values>
Statement prepare(Database& database, const std::string& sql, const Values&... values) {
  Statement statement(database, sql);
  SQLite::bind(statement, column_value(values)...);
  return statement;
}

// The first column of the first row; 0 without a row.
template <typename... Values>
std::int64_t number(Database& database, const std::string& sql, const Values&... values) {
  Statement rows = prepare(database, sql, values...);
  return rows.executeStep() ? rows.getColumn(0).getInt64() : 0;
}

SheetEntry entry_in(const Statement& row) {
  const auto text = [&row](const char* column) { return row.getColumn(column).getString(); };
  const auto number = [&row](const char* column) { return row.getColumn(column).getInt64(); };
  SheetEntry entry;
  entry.id = number("id");
  entry.folder = text("folder");
  entry.name = text("name");
  entry.content.size = static_cast<std::uint64_t>(number("size"));
  entry.content.hash = static_cast<std::uint64_t>(number("hash"));
  entry.target = {text("queue"), text("device"), text("settings"), text("hold")};
  entry.event = text("event");
  entry.ticket = text("ticket");
  entry.number = static_cast<int>(number("job"));
  if (!row.getColumn("file_device").isNull()) {
    entry.place = {static_cast<std::uint64_t>(number("file_device")),
                   static_cast<std::uint64_t>(number("file_inode")), number("file_length")};
  }
  entry.printer = {text("printer_serial"), static_cast<int>(number("printer_counter"))};
  entry.time = number("time");
  entry.outcome = outcome_named(text("outcome"));
  entry.reason = text("reason");
  return entry;
}

template <typename... Values>
std::vector<SheetEntry> entries(Database& database, const std::string& condition,
                                const Values&... values) {
  std::vector<SheetEntry> found;
  Statement rows = prepare(database, "SELECT * FROM sheet " + condition, values...);
  while (rows.executeStep()) {
    found.push_back(entry_in(rows));
  }
  return found;
}

// The number of sheets that were printed, may have been, or are begun.
template <typename... Values>
int count_sheets(Database& database, const std::string& condition, const Values&... values) {
  return static_cast<int>(number(
      database,
      "SELECT count(*) FROM (SELECT DISTINCT ticket, position FROM sheet WHERE " + condition +
          " AND outcome IN ('begun', 'sending', 'complete', 'printed', 'in doubt'))",
      values...));
}

std::optional<SheetEntry> first_of(std::vector<SheetEntry> found) {
  return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
}

std::int64_t system_time() { return std::time(nullptr); }

std::unique_ptr<Database> open_database(const std::string& path) {
  // Readable by its owner only; SQLite gives its own files the same permissions.
  if (!Descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))) {
    throw LedgerError(std::strerror(errno));
  }
  return std::make_unique<Database>(path, SQLite::OPEN_READWRITE, kLockTimeoutMs);
}

// A transaction: its changes are rolled back unless commit() is called.
struct Transaction : SQLite::Transaction {
  explicit Transaction(Database& database)
      : SQLite::Transaction(database, SQLite::TransactionBehavior::IMMEDIATE) {}
};

}  // namespace

const char* text_of(Outcome outcome) {
  for (const auto& [known, name] : kOutcomes) {
    if (known == outcome) {
      return name;
    }
  }
  return "";
}

Ledger::Ledger(Clock clock) : clock_(clock != nullptr ? clock : system_time) {}
Ledger::~Ledger() = default;

bool Ledger::open(const std::string& path, std::string& error) {
  try {
    database_ = open_database(path);
    // Deleting the rollback journal commits the transaction, so the deletion must reach the disk as
    // well.
    database_->exec("PRAGMA synchronous = EXTRA");
    Transaction transaction(*database_);
    if (number(*database_, "SELECT count(*) FROM sqlite_schema") == 0) {
      database_->exec("PRAGMA application_id = " + std::to_string(kApplicationId));
    } else if (number(*database_, "PRAGMA application_id") != kApplicationId) {
      error = path + kNotALedger;
      return false;
    }
    auto version = static_cast<std::size_t>(number(*database_, "PRAGMA user_version"));
    if (version > std::size(kSchemas)) {
      error = path + ": made by a newer version of k905-print";
      return false;
    }
    for (; version < std::size(kSchemas); ++version) {
      database_->exec(kSchemas[version] + ("PRAGMA user_version = " + std::to_string(version + 1)));
    }
    transaction.commit();
    return true;
  } catch (const LedgerError& problem) {
    const bool is_database = problem.getErrorCode() != SQLITE_NOTADB;
    error = path + (is_database ? std::string(": ") + problem.what() : kNotALedger);
    return false;
  }
}

template <typename... Values>
void Ledger::run(const char* sql, const Values&... values) {
  prepare(*database_, sql, values...).exec();
}

std::int64_t Ledger::data_version() const { return number(*database_, "PRAGMA data_version"); }

bool Ledger::is_folder_known(const std::string& folder) const {
  return number(*database_, "SELECT 1 FROM folder WHERE folder = ?", folder) != 0;
}

void Ledger::add_folder(const std::string& folder) {
  run("INSERT OR IGNORE INTO folder VALUES(?, ?)", folder, now());
}

std::optional<KnownFile> Ledger::find_file(const std::string& folder,
                                           const std::string& name) const {
  Statement row =
      prepare(*database_, "SELECT * FROM file WHERE folder = ? AND name = ?", folder, name);
  if (!row.executeStep()) {
    return std::nullopt;
  }
  const auto number = [&row](const char* column) { return row.getColumn(column).getInt64(); };
  const auto size = static_cast<std::uint64_t>(number("size"));
  return KnownFile{.stamp = {.inode = static_cast<std::uint64_t>(number("inode")),
                             .size = size,
                             .modified_s = number("modified_s"),
                             .modified_ns = number("modified_ns"),
                             .changed_s = number("changed_s"),
                             .changed_ns = number("changed_ns")},
                   .content = {size, static_cast<std::uint64_t>(number("hash"))},
                   .refused = number("refused") != 0};
}

void Ledger::set_file(const std::string& folder, const std::string& name, const KnownFile& file) {
  const FileStamp& stamp = file.stamp;
  run("INSERT OR REPLACE INTO file VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", folder, name, stamp.inode,
      stamp.modified_s, stamp.modified_ns, stamp.changed_s, stamp.changed_ns, file.content.size,
      file.content.hash, file.refused);
}

void Ledger::rename_file(const std::string& folder, const std::string& from,
                         const std::string& to) {
  Transaction transaction(*database_);
  run("UPDATE OR REPLACE file SET name = ? WHERE folder = ? AND name = ?", to, folder, from);
  run("UPDATE sheet SET name = ? WHERE folder = ? AND name = ? AND is_open AND outcome = 'waiting'",
      to, folder, from);
  transaction.commit();
}

void Ledger::forget_file(const std::string& folder, const std::string& name) {
  Transaction transaction(*database_);
  run("DELETE FROM file WHERE folder = ? AND name = ?", folder, name);
  run("UPDATE sheet SET outcome = 'withdrawn', reason = 'the file was removed', time = ? "
      "WHERE folder = ? AND name = ? AND is_open AND outcome = 'waiting'",
      now(), folder, name);
  transaction.commit();
}

void Ledger::add_sheet(const std::string& folder, const std::string& name, const Content& content,
                       std::int64_t time, Outcome outcome, const std::string& reason) {
  run("INSERT INTO sheet(folder, name, size, hash, time, outcome, reason) "
      "VALUES(?, ?, ?, ?, ?, ?, ?)",
      folder, name, content.size, content.hash, time, std::string(text_of(outcome)), reason);
}

void Ledger::order(const std::string& folder, const std::string& name, const Content& content,
                   const KnownFile* file, int sheets) {
  Transaction transaction(*database_);
  if (file != nullptr) {
    set_file(folder, name, *file);
  }
  for (int sheet = 0; sheet < sheets; ++sheet) {
    add_sheet(folder, name, content, now(), Outcome::waiting, "");
  }
  transaction.commit();
}

void Ledger::refuse(const std::string& folder, const std::string& name, const KnownFile& file,
                    const std::string& reason) {
  Transaction transaction(*database_);
  set_file(folder, name, file);
  add_sheet(folder, name, file.content, now(), Outcome::refused, reason);
  transaction.commit();
}

std::vector<SheetEntry> Ledger::waiting(const std::string& folder, const std::string& name) const {
  return entries(*database_,
                 "WHERE folder = ? AND name = ? AND is_open AND outcome = 'waiting' ORDER BY id",
                 folder, name);
}

std::vector<std::string> Ledger::names_waiting(const std::string& folder) const {
  std::vector<std::string> names;
  Statement rows = prepare(
      *database_,
      "SELECT DISTINCT name FROM sheet WHERE folder = ? AND is_open AND outcome = 'waiting'",
      folder);
  while (rows.executeStep()) {
    names.push_back(rows.getColumn(0).getString());
  }
  return names;
}

void Ledger::withdraw(std::int64_t id, const std::string& reason) {
  run("UPDATE sheet SET outcome = 'withdrawn', reason = ?, time = ? WHERE id = ?", reason, now(),
      id);
}

bool Ledger::begin(const std::string& ticket, const std::vector<JobSheet>& sheets,
                   const SheetTarget& target, const SheetLimit& limit) {
  Transaction transaction(*database_);
  for (const JobSheet& sheet : sheets) {
    run("UPDATE sheet SET ticket = ?, position = ?, queue = ?, device = ?, settings = ?, hold = ?, "
        "event = ?, job = 0, file_device = NULL, file_inode = NULL, file_length = NULL, "
        "printer_serial = NULL, printer_counter = NULL, reason = '', "
        "outcome = 'begun', time = ? WHERE id = ?",
        ticket, sheet.position, target.queue, target.device, target.settings, target.hold,
        limit.event, now(), sheet.id);
  }
  if (!limit.event.empty() && limit.sheets != 0 && sheets_of_event(limit.event) > limit.sheets) {
    return false;
  }
  transaction.commit();
  return true;
}

void Ledger::record_sending(const std::string& ticket, int number,
                            const std::optional<FilePlace>& place, const KnownPrinter& printer) {
  Statement update =
      prepare(*database_,
              "UPDATE sheet SET job = ?1, printer_serial = nullif(?4, ''), "
              "printer_counter = nullif(?5, 0), "
              "file_device = ?6, file_inode = ?7, file_length = ?8, "
              "outcome = 'sending', time = ?2 WHERE ticket = ?3 AND is_open AND outcome = 'begun'",
              number, now(), ticket, printer.serial_number, printer.life_counter);
  if (place) {  // otherwise the three are null
    update.bind(6, column_value(place->device));
    update.bind(7, column_value(place->inode));
    update.bind(8, place->length);
  }
  update.exec();
}

void Ledger::set_outcome(const std::string& ticket, Outcome outcome, const std::string& reason,
                         const KnownPrinter& printer) {
  run("UPDATE sheet SET outcome = ?, reason = ?, time = ?, "
      "printer_serial = coalesce(nullif(?, ''), printer_serial), "
      "printer_counter = coalesce(nullif(?, 0), printer_counter) "
      "WHERE ticket = ? AND is_open AND outcome <> 'waiting'",
      std::string(text_of(outcome)), reason, now(), printer.serial_number, printer.life_counter,
      ticket);
}

std::vector<SheetEntry> Ledger::unfinished(const std::string& folder) const {
  return entries(*database_,
                 "WHERE folder = ? AND is_open AND outcome <> 'waiting' ORDER BY ticket, id",
                 folder);
}

std::optional<SheetEntry> Ledger::find_sheet(std::int64_t id) const {
  return first_of(entries(*database_, "WHERE id = ?", id));
}

std::optional<SheetEntry> Ledger::newest_sheet(const std::string& folder,
                                               const std::string& name) const {
  return first_of(
      entries(*database_, "WHERE folder = ? AND name = ? ORDER BY id DESC LIMIT 1", folder, name));
}

std::optional<SheetEntry> Ledger::last_printed(const std::string& folder, const std::string& name,
                                               const Content& content) const {
  return first_of(entries(*database_,
                          "WHERE folder = ? AND name = ? AND size = ? AND hash = ? "
                          "AND outcome IN ('printed', 'in doubt') ORDER BY id DESC LIMIT 1",
                          folder, name, content.size, content.hash));
}

int Ledger::sheets_today(const std::string& folder) const {
  return count_sheets(
      *database_,
      "folder = ? AND time >= CAST(strftime('%s', ?, 'unixepoch', 'localtime', 'start of day', "
      "'utc') AS INTEGER)",
      folder, now());
}

int Ledger::sheets_of_event(const std::string& event) const {
  return count_sheets(*database_, "event = ? AND event <> ''", event);
}

// `time`: an older file, removed since, may have had the same inode number.
bool Ledger::has_later_job_in_file(const SheetEntry& sheet) const {
  return sheet.place &&
         number(*database_,
                "SELECT 1 FROM sheet WHERE file_device = ? AND file_inode = ? AND file_length >= ? "
                "AND ticket <> ? AND time >= ? AND outcome IN ('sending', 'printed', 'in doubt')",
                sheet.place->device, sheet.place->inode, sheet.place->length, sheet.ticket,
                sheet.time) != 0;
}

std::vector<SheetEntry> Ledger::history() const { return entries(*database_, "ORDER BY id"); }

void Ledger::add_earlier(const std::string& folder, const std::vector<Earlier>& photos,
                         const std::string& reason) {
  Transaction transaction(*database_);
  for (const Earlier& photo : photos) {
    if (!find_file(folder, photo.name)) {
      set_file(folder, photo.name, photo.file);
      // The time is unknown, and the sheet must not count for today.
      add_sheet(folder, photo.name, photo.file.content, 0, photo.outcome, reason);
    }
  }
  transaction.commit();
}

}  // namespace k905
