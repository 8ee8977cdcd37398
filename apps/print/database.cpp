#include "apps/print/database.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "apps/base/descriptor.h"

namespace k905 {

namespace {

constexpr int kPatienceMs = 20000;

}  // namespace

void Database::open(const std::string& path) {
  // SQLite gives its own files the same permissions.
  if (!Descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))) {
    throw DatabaseError(std::strerror(errno));
  }
  sqlite3* database = nullptr;
  const int status = sqlite3_open_v2(path.c_str(), &database,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(database);
  if (status != SQLITE_OK) {
    throw DatabaseError(sqlite3_errstr(status));
  }
  sqlite3_busy_timeout(database, kPatienceMs);
}

void Database::run_all(const std::string& statements) const {
  if (sqlite3_exec(database_.get(), statements.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw DatabaseError(sqlite3_errmsg(database_.get()));
  }
}

Transaction::~Transaction() {
  if (!is_committed_) {
    try {
      database_.run("ROLLBACK");
    } catch (
        const DatabaseError&) {  // NOLINT(bugprone-empty-catch): rolled back with the connection
    }
  }
}

}  // namespace k905
