#include "apps/print/ledger.h"

#include <ctime>
#include <utility>

namespace {

using k905::Database;
using k905::Query;
using k905::Transaction;

// "k905" and the layout below.
constexpr int kApplicationId = 0x6b393035;
constexpr int kLayout = 1;

constexpr char kNotALedger[] = ": not a ledger of k905-print; move it away to start a new one";

// A folder and a name are bytes as the file system has them. `printer_serial` and `printer_counter`
// are for destinations that ask the printer. Only what is not finished is in `open_sheets`, so that
// it stays small whatever was printed.
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

constexpr char kSheetColumns[] =
    "id, folder, name, size, hash, queue, device, settings, hold, ticket, job, file_device, "
    "file_inode, file_length, time, outcome, reason";

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

template <typename... Values>
std::vector<SheetEntry> entries(const Database& database, const std::string& condition,
                                const Values&... values) {
  std::vector<SheetEntry> found;
  Query rows = database.query(std::string("SELECT ") + kSheetColumns + " FROM sheet " + condition,
                              values...);
  while (rows.next()) {
    SheetEntry& entry = found.emplace_back();
    FilePlace place;
    std::optional<std::uint64_t> device;
    std::string outcome;
    rows.read(entry.id, entry.folder, entry.name, entry.content.size, entry.content.hash,
              entry.target.queue, entry.target.device, entry.target.settings, entry.target.hold,
              entry.ticket, entry.number, device, place.inode, place.length, entry.time, outcome,
              entry.reason);
    entry.outcome = outcome_named(outcome);
    if (device) {
      place.device = *device;
      entry.place = place;
    }
  }
  return found;
}

std::optional<SheetEntry> first_of(std::vector<SheetEntry> found) {
  return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
}

std::int64_t system_time() { return std::time(nullptr); }

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

bool Ledger::open(const std::string& path, std::string& error) {
  try {
    database_.open(path);
    // The deletion of the rollback journal is what commits: it has to reach the disk as well.
    database_.run("PRAGMA synchronous = EXTRA");
    Transaction transaction(database_);
    const std::int64_t application = database_.number("PRAGMA application_id");
    if (database_.number("SELECT count(*) FROM sqlite_schema") == 0) {
      database_.run_all(kTables + std::string("PRAGMA application_id = ") +
                        std::to_string(kApplicationId) +
                        "; PRAGMA user_version = " + std::to_string(kLayout));
    } else if (application != kApplicationId) {
      error = path + kNotALedger;
      return false;
    } else if (database_.number("PRAGMA user_version") != kLayout) {
      error = path + ": made by a newer version of k905-print";
      return false;
    }
    transaction.commit();
    return true;
  } catch (const LedgerError& problem) {
    error =
        path + (database_.is_not_a_database() ? kNotALedger : std::string(": ") + problem.what());
    return false;
  }
}

std::int64_t Ledger::version_of_others() const { return database_.number("PRAGMA data_version"); }

bool Ledger::is_folder_known(const std::string& folder) const {
  return database_.number("SELECT 1 FROM folder WHERE folder = ?", folder) != 0;
}

void Ledger::add_folder(const std::string& folder) {
  database_.run("INSERT OR IGNORE INTO folder VALUES(?, ?)", folder, now());
}

std::optional<KnownFile> Ledger::find_file(const std::string& folder,
                                           const std::string& name) const {
  Query row = database_.query(
      "SELECT inode, modified_s, modified_ns, changed_s, changed_ns, size, hash, refused "
      "FROM file WHERE folder = ? AND name = ?",
      folder, name);
  if (!row.next()) {
    return std::nullopt;
  }
  KnownFile file;
  FileStamp& stamp = file.stamp;
  row.read(stamp.inode, stamp.modified_s, stamp.modified_ns, stamp.changed_s, stamp.changed_ns,
           stamp.size, file.content.hash, file.refused);
  file.content.size = stamp.size;
  return file;
}

void Ledger::set_file(const std::string& folder, const std::string& name, const KnownFile& file) {
  const FileStamp& stamp = file.stamp;
  database_.run("INSERT OR REPLACE INTO file VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", folder, name,
                stamp.inode, stamp.modified_s, stamp.modified_ns, stamp.changed_s, stamp.changed_ns,
                file.content.size, file.content.hash, file.refused);
}

void Ledger::rename_file(const std::string& folder, const std::string& from,
                         const std::string& to) {
  Transaction transaction(database_);
  database_.run("UPDATE OR REPLACE file SET name = ? WHERE folder = ? AND name = ?", to, folder,
                from);
  database_.run(
      "UPDATE sheet SET name = ? WHERE folder = ? AND name = ? AND is_open AND outcome = 'waiting'",
      to, folder, from);
  transaction.commit();
}

void Ledger::forget_file(const std::string& folder, const std::string& name) {
  Transaction transaction(database_);
  database_.run("DELETE FROM file WHERE folder = ? AND name = ?", folder, name);
  database_.run(
      "UPDATE sheet SET outcome = 'withdrawn', reason = 'the file was removed', time = ? "
      "WHERE folder = ? AND name = ? AND is_open AND outcome = 'waiting'",
      now(), folder, name);
  transaction.commit();
}

void Ledger::add_sheet(const std::string& folder, const std::string& name, const Content& content,
                       std::int64_t time, Outcome outcome, const std::string& reason) {
  database_.run(
      "INSERT INTO sheet(folder, name, size, hash, time, outcome, reason) "
      "VALUES(?, ?, ?, ?, ?, ?, ?)",
      folder, name, content.size, content.hash, time, std::string(text_of(outcome)), reason);
}

void Ledger::order(const std::string& folder, const std::string& name, const Content& content,
                   const KnownFile* file, int sheets) {
  Transaction transaction(database_);
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
  Transaction transaction(database_);
  set_file(folder, name, file);
  add_sheet(folder, name, file.content, now(), Outcome::refused, reason);
  transaction.commit();
}

std::vector<SheetEntry> Ledger::waiting(const std::string& folder, const std::string& name) const {
  return entries(database_,
                 "WHERE folder = ? AND name = ? AND is_open AND outcome = 'waiting' ORDER BY id",
                 folder, name);
}

std::vector<std::string> Ledger::names_waiting(const std::string& folder) const {
  std::vector<std::string> names;
  Query rows = database_.query(
      "SELECT DISTINCT name FROM sheet WHERE folder = ? AND is_open AND outcome = 'waiting'",
      folder);
  while (rows.next()) {
    rows.read(names.emplace_back());
  }
  return names;
}

void Ledger::withdraw(std::int64_t id, const std::string& reason) {
  database_.run("UPDATE sheet SET outcome = 'withdrawn', reason = ?, time = ? WHERE id = ?", reason,
                now(), id);
}

void Ledger::begin(const std::string& ticket, const std::vector<JobSheet>& sheets,
                   const SheetTarget& target) {
  Transaction transaction(database_);
  for (const JobSheet& sheet : sheets) {
    database_.run(
        "UPDATE sheet SET ticket = ?, position = ?, queue = ?, device = ?, settings = ?, hold = ?, "
        "job = 0, file_device = NULL, file_inode = NULL, file_length = NULL, reason = '', "
        "outcome = 'begun', time = ? WHERE id = ?",
        ticket, sheet.position, target.queue, target.device, target.settings, target.hold, now(),
        sheet.id);
  }
  transaction.commit();
}

void Ledger::note_sending(const std::string& ticket, int number,
                          const std::optional<FilePlace>& place) {
  using Part = std::optional<std::uint64_t>;
  database_.run(
      "UPDATE sheet SET job = ?, file_device = ?, file_inode = ?, file_length = ?, "
      "outcome = 'sending', time = ? WHERE ticket = ? AND is_open AND outcome = 'begun'",
      number, place ? Part(place->device) : Part(), place ? Part(place->inode) : Part(),
      place ? Part(place->length) : Part(), now(), ticket);
}

void Ledger::set_outcome(const std::string& ticket, Outcome outcome, const std::string& reason) {
  database_.run(
      "UPDATE sheet SET outcome = ?, reason = ?, time = ? "
      "WHERE ticket = ? AND is_open AND outcome <> 'waiting'",
      std::string(text_of(outcome)), reason, now(), ticket);
}

std::vector<SheetEntry> Ledger::unfinished(const std::string& folder) const {
  return entries(database_,
                 "WHERE folder = ? AND is_open AND outcome <> 'waiting' ORDER BY ticket, id",
                 folder);
}

std::optional<SheetEntry> Ledger::find_sheet(std::int64_t id) const {
  return first_of(entries(database_, "WHERE id = ?", id));
}

std::optional<SheetEntry> Ledger::newest_sheet(const std::string& folder,
                                               const std::string& name) const {
  return first_of(
      entries(database_, "WHERE folder = ? AND name = ? ORDER BY id DESC LIMIT 1", folder, name));
}

std::optional<SheetEntry> Ledger::last_printed(const std::string& folder, const std::string& name,
                                               const Content& content) const {
  return first_of(entries(database_,
                          "WHERE folder = ? AND name = ? AND size = ? AND hash = ? "
                          "AND outcome IN ('printed', 'in doubt') ORDER BY id DESC LIMIT 1",
                          folder, name, content.size, content.hash));
}

int Ledger::sheets_since(const std::string& folder, std::int64_t time) const {
  return static_cast<int>(
      database_.number("SELECT count(*) FROM (SELECT DISTINCT ticket, position FROM sheet "
                       "WHERE folder = ? AND time >= ? AND outcome IN "
                       "('begun', 'sending', 'complete', 'printed', 'in doubt'))",
                       folder, time));
}

std::vector<SheetEntry> Ledger::history() const { return entries(database_, "ORDER BY id"); }

void Ledger::add_earlier(const std::string& folder, const std::vector<Earlier>& photos,
                         const std::string& reason) {
  Transaction transaction(database_);
  for (const Earlier& photo : photos) {
    if (!find_file(folder, photo.name)) {
      set_file(folder, photo.name, photo.file);
      // When is not known, and it must not count as printed today.
      add_sheet(folder, photo.name, photo.file.content, 0, photo.outcome, reason);
    }
  }
  transaction.commit();
}
