#include "apps/print/ledger.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <type_traits>
#include <utility>

namespace {

// "k905" and the layout below.
constexpr int kApplicationId = 0x6b393035;
constexpr int kLayout = 1;
constexpr int kPatienceMs = 20000;  // for another process that writes

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
    "file_inode, "
    "file_length, time, outcome, reason";

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

// A statement with its values; steps through the rows.
class Query {
 public:
  template <typename... Values>
  Query(sqlite3* database, const std::string& sql, const Values&... values) : database_(database) {
    check(sqlite3_prepare_v2(database, sql.c_str(), -1, &statement_, nullptr) == SQLITE_OK);
    (bind(values), ...);
  }
  ~Query() { sqlite3_finalize(statement_); }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  // True: there is a row, read from its first column on.
  bool next() {
    column_ = 0;
    const int status = sqlite3_step(statement_);
    check(status == SQLITE_ROW || status == SQLITE_DONE);
    return status == SQLITE_ROW;
  }
  void run() {
    while (next()) {
    }
  }

  template <typename Number = std::int64_t>
  Number number() {
    return static_cast<Number>(sqlite3_column_int64(statement_, column_++));
  }
  std::string text() {
    const int column = column_++;
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return bytes == nullptr
               ? ""
               : std::string(bytes,
                             static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
  }
  [[nodiscard]] bool is_null() const {
    return sqlite3_column_type(statement_, column_) == SQLITE_NULL;
  }

 private:
  void bind(const std::string& text) {
    check(sqlite3_bind_text64(statement_, ++bound_, text.data(), text.size(), SQLITE_STATIC,
                              SQLITE_UTF8) == SQLITE_OK);
  }
  template <typename Number>
  requires std::is_integral_v<Number>
  void bind(Number number) {
    check(sqlite3_bind_int64(statement_, ++bound_, static_cast<std::int64_t>(number)) == SQLITE_OK);
  }
  void bind(std::nullptr_t) { check(sqlite3_bind_null(statement_, ++bound_) == SQLITE_OK); }

  void check(bool good) const {
    if (!good) {
      throw LedgerError(sqlite3_errmsg(database_));
    }
  }

  sqlite3* database_;
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
  int column_ = 0;
};

// All or nothing: without commit() what was changed meanwhile is taken back.
class Transaction {
 public:
  explicit Transaction(sqlite3* database) : database_(database) {
    Query(database_, "BEGIN IMMEDIATE").run();
  }
  ~Transaction() {
    if (!committed_) {
      sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit() {
    Query(database_, "COMMIT").run();
    committed_ = true;
  }

 private:
  sqlite3* database_;
  bool committed_ = false;
};

SheetEntry entry_in(Query& row) {
  SheetEntry entry;
  entry.id = row.number();
  entry.folder = row.text();
  entry.name = row.text();
  entry.content.size = row.number<std::uint64_t>();
  entry.content.hash = row.number<std::uint64_t>();
  entry.target.queue = row.text();
  entry.target.device = row.text();
  entry.target.settings = row.text();
  entry.target.hold = row.text();
  entry.ticket = row.text();
  entry.number = row.number<int>();
  const bool has_place = !row.is_null();
  FilePlace place;
  place.device = row.number<std::uint64_t>();
  place.inode = row.number<std::uint64_t>();
  place.length = row.number();
  if (has_place) {
    entry.place = place;
  }
  entry.time = row.number();
  entry.outcome = outcome_named(row.text());
  entry.reason = row.text();
  return entry;
}

template <typename... Values>
std::vector<SheetEntry> entries(sqlite3* database, const std::string& condition,
                                const Values&... values) {
  std::vector<SheetEntry> found;
  Query rows(database, std::string("SELECT ") + kSheetColumns + " FROM sheet " + condition,
             values...);
  while (rows.next()) {
    found.push_back(entry_in(rows));
  }
  return found;
}

std::optional<SheetEntry> first_of(std::vector<SheetEntry> found) {
  return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
}

void put_file(sqlite3* database, const std::string& folder, const std::string& name,
              const KnownFile& file) {
  const FileStamp& stamp = file.stamp;
  Query(database, "INSERT OR REPLACE INTO file VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", folder, name,
        stamp.inode, stamp.modified_s, stamp.modified_ns, stamp.changed_s, stamp.changed_ns,
        file.content.size, file.content.hash, file.refused)
      .run();
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
Ledger::~Ledger() = default;

void Ledger::Closer::operator()(sqlite3* database) const { sqlite3_close(database); }

bool Ledger::open(const std::string& path, std::string& error) {
  path_ = path;
  // Names of photos are nobody else's business. SQLite gives its own files the same permissions.
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (file < 0) {
    error = path + ": " + std::strerror(errno);
    return false;
  }
  close(file);
  sqlite3* database = nullptr;
  const int status = sqlite3_open_v2(path.c_str(), &database,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(database);
  if (status != SQLITE_OK) {
    error = path + ": " + sqlite3_errstr(status);
    return false;
  }
  sqlite3_busy_timeout(database, kPatienceMs);
  return prepare(error);
}

bool Ledger::prepare(std::string& error) {
  sqlite3* database = database_.get();
  try {
    // The deletion of the rollback journal is what commits: it has to reach the disk as well.
    Query(database, "PRAGMA synchronous = EXTRA").run();
    Transaction transaction(database);
    const auto value_of = [database](const char* pragma) {
      Query query(database, pragma);
      return query.next() ? query.number() : 0;
    };
    const std::int64_t application = value_of("PRAGMA application_id");
    const std::int64_t layout = value_of("PRAGMA user_version");
    const bool is_empty = value_of("SELECT count(*) FROM sqlite_schema") == 0;
    if (!is_empty && (application != kApplicationId || layout != kLayout)) {
      error = path_ + (application == kApplicationId
                           ? ": made by a newer version of k905-print"
                           : ": not a ledger of k905-print; move it away to start a new one");
      return false;
    }
    if (is_empty) {
      const std::string sql = kTables + std::string("PRAGMA application_id = ") +
                              std::to_string(kApplicationId) +
                              "; PRAGMA user_version = " + std::to_string(kLayout);
      if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw LedgerError(sqlite3_errmsg(database));
      }
    }
    transaction.commit();
    return true;
  } catch (const LedgerError& problem) {
    error = path_ + ": " +
            (sqlite3_errcode(database) == SQLITE_NOTADB
                 ? "not a ledger of k905-print; move it away to start a new one"
                 : problem.what());
    return false;
  }
}

std::int64_t Ledger::version_of_others() const {
  Query query(database_.get(), "PRAGMA data_version");
  return query.next() ? query.number() : 0;
}

bool Ledger::is_folder_known(const std::string& folder) const {
  return Query(database_.get(), "SELECT 1 FROM folder WHERE folder = ?", folder).next();
}

void Ledger::add_folder(const std::string& folder) {
  Query(database_.get(), "INSERT OR IGNORE INTO folder VALUES(?, ?)", folder, now()).run();
}

std::optional<KnownFile> Ledger::find_file(const std::string& folder,
                                           const std::string& name) const {
  Query row(database_.get(),
            "SELECT inode, modified_s, modified_ns, changed_s, changed_ns, size, hash, refused "
            "FROM file WHERE folder = ? AND name = ?",
            folder, name);
  if (!row.next()) {
    return std::nullopt;
  }
  KnownFile file;
  file.stamp.inode = row.number<std::uint64_t>();
  file.stamp.modified_s = row.number();
  file.stamp.modified_ns = row.number();
  file.stamp.changed_s = row.number();
  file.stamp.changed_ns = row.number();
  file.content.size = file.stamp.size = row.number<std::uint64_t>();
  file.content.hash = row.number<std::uint64_t>();
  file.refused = row.number() != 0;
  return file;
}

void Ledger::set_file(const std::string& folder, const std::string& name, const KnownFile& file) {
  put_file(database_.get(), folder, name, file);
}

void Ledger::rename_file(const std::string& folder, const std::string& from,
                         const std::string& to) {
  sqlite3* database = database_.get();
  Transaction transaction(database);
  Query(database, "UPDATE OR REPLACE file SET name = ? WHERE folder = ? AND name = ?", to, folder,
        from)
      .run();
  Query(
      database,
      "UPDATE sheet SET name = ? WHERE folder = ? AND name = ? AND is_open AND outcome = 'waiting'",
      to, folder, from)
      .run();
  transaction.commit();
}

void Ledger::forget_file(const std::string& folder, const std::string& name) {
  sqlite3* database = database_.get();
  Transaction transaction(database);
  Query(database, "DELETE FROM file WHERE folder = ? AND name = ?", folder, name).run();
  Query(database,
        "UPDATE sheet SET outcome = 'withdrawn', reason = 'the file was removed', time = ? "
        "WHERE folder = ? AND name = ? AND is_open AND outcome = 'waiting'",
        now(), folder, name)
      .run();
  transaction.commit();
}

void Ledger::order(const std::string& folder, const std::string& name, const Content& content,
                   const KnownFile* file, int sheets) {
  sqlite3* database = database_.get();
  Transaction transaction(database);
  if (file != nullptr) {
    put_file(database, folder, name, *file);
  }
  for (int sheet = 0; sheet < sheets; ++sheet) {
    Query(database,
          "INSERT INTO sheet(folder, name, size, hash, time, outcome) "
          "VALUES(?, ?, ?, ?, ?, 'waiting')",
          folder, name, content.size, content.hash, now())
        .run();
  }
  transaction.commit();
}

void Ledger::refuse(const std::string& folder, const std::string& name, const KnownFile& file,
                    const std::string& reason) {
  sqlite3* database = database_.get();
  Transaction transaction(database);
  put_file(database, folder, name, file);
  Query(database,
        "INSERT INTO sheet(folder, name, size, hash, time, outcome, reason) "
        "VALUES(?, ?, ?, ?, ?, 'refused', ?)",
        folder, name, file.content.size, file.content.hash, now(), reason)
      .run();
  transaction.commit();
}

std::vector<SheetEntry> Ledger::waiting(const std::string& folder, const std::string& name) const {
  return entries(database_.get(),
                 "WHERE folder = ? AND name = ? AND is_open AND outcome = 'waiting' ORDER BY id",
                 folder, name);
}

std::vector<std::string> Ledger::names_waiting(const std::string& folder) const {
  std::vector<std::string> names;
  Query rows(database_.get(),
             "SELECT DISTINCT name FROM sheet WHERE folder = ? AND is_open AND outcome = 'waiting'",
             folder);
  while (rows.next()) {
    names.push_back(rows.text());
  }
  return names;
}

void Ledger::withdraw(std::int64_t id, const std::string& reason) {
  Query(database_.get(),
        "UPDATE sheet SET outcome = 'withdrawn', reason = ?, time = ? WHERE id = ?", reason, now(),
        id)
      .run();
}

void Ledger::begin(const std::string& ticket, const std::vector<JobSheet>& sheets,
                   const SheetTarget& target) {
  sqlite3* database = database_.get();
  Transaction transaction(database);
  for (const JobSheet& sheet : sheets) {
    Query(
        database,
        "UPDATE sheet SET ticket = ?, position = ?, queue = ?, device = ?, settings = ?, hold = ?, "
        "job = 0, file_device = NULL, file_inode = NULL, file_length = NULL, reason = '', "
        "outcome = 'begun', time = ? WHERE id = ?",
        ticket, sheet.position, target.queue, target.device, target.settings, target.hold, now(),
        sheet.id)
        .run();
  }
  transaction.commit();
}

void Ledger::note_sending(const std::string& ticket, int number,
                          const std::optional<FilePlace>& place) {
  const char sql[] =
      "UPDATE sheet SET job = ?, file_device = ?, file_inode = ?, file_length = ?, "
      "outcome = 'sending', time = ? WHERE ticket = ? AND is_open AND outcome = 'begun'";
  sqlite3* database = database_.get();
  if (place) {
    Query(database, sql, number, place->device, place->inode, place->length, now(), ticket).run();
  } else {
    Query(database, sql, number, nullptr, nullptr, nullptr, now(), ticket).run();
  }
}

void Ledger::set_outcome(const std::string& ticket, Outcome outcome, const std::string& reason) {
  Query(database_.get(),
        "UPDATE sheet SET outcome = ?, reason = ?, time = ? "
        "WHERE ticket = ? AND is_open AND outcome <> 'waiting'",
        std::string(text_of(outcome)), reason, now(), ticket)
      .run();
}

std::vector<SheetEntry> Ledger::unfinished(const std::string& folder) const {
  return entries(database_.get(),
                 "WHERE folder = ? AND is_open AND outcome <> 'waiting' ORDER BY ticket, id",
                 folder);
}

std::optional<SheetEntry> Ledger::find_sheet(std::int64_t id) const {
  return first_of(entries(database_.get(), "WHERE id = ?", id));
}

std::optional<SheetEntry> Ledger::newest_sheet(const std::string& folder,
                                               const std::string& name) const {
  return first_of(entries(database_.get(), "WHERE folder = ? AND name = ? ORDER BY id DESC LIMIT 1",
                          folder, name));
}

std::optional<SheetEntry> Ledger::last_printed(const std::string& folder, const std::string& name,
                                               const Content& content) const {
  return first_of(entries(database_.get(),
                          "WHERE folder = ? AND name = ? AND size = ? AND hash = ? "
                          "AND outcome IN ('printed', 'in doubt') ORDER BY id DESC LIMIT 1",
                          folder, name, content.size, content.hash));
}

int Ledger::sheets_since(const std::string& folder, std::int64_t time) const {
  Query row(database_.get(),
            "SELECT count(*) FROM (SELECT DISTINCT ticket, position FROM sheet "
            "WHERE folder = ? AND time >= ? AND outcome IN "
            "('begun', 'sending', 'complete', 'printed', 'in doubt'))",
            folder, time);
  return row.next() ? row.number<int>() : 0;
}

std::vector<SheetEntry> Ledger::history() const { return entries(database_.get(), "ORDER BY id"); }

void Ledger::add_earlier(const std::string& folder, const std::vector<Earlier>& photos,
                         const std::string& reason) {
  sqlite3* database = database_.get();
  Transaction transaction(database);
  for (const Earlier& photo : photos) {
    if (find_file(folder, photo.name)) {
      continue;
    }
    put_file(database, folder, photo.name, photo.file);
    // When is not known, and it must not count as printed today.
    Query(database,
          "INSERT INTO sheet(folder, name, size, hash, time, outcome, reason) "
          "VALUES(?, ?, ?, ?, 0, ?, ?)",
          folder, photo.name, photo.file.content.size, photo.file.content.hash,
          std::string(text_of(photo.outcome)), reason)
        .run();
  }
  transaction.commit();
}
