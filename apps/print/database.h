// A SQLite database: statements with values, rows, transactions. Everything throws DatabaseError.
#pragma once

#include <sqlite3.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace k905 {

class DatabaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A statement that is being run.
class Query {
 public:
  template <typename... Values>
  Query(sqlite3* database, const std::string& sql, const Values&... values) : database_(database) {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK);
    statement_.reset(statement);
    (bind(values), ...);
  }

  // True: there is a row.
  bool next() {
    const int status = sqlite3_step(statement_.get());
    check(status == SQLITE_ROW || status == SQLITE_DONE);
    return status == SQLITE_ROW;
  }

  // The row's columns, from the first on. An optional is empty where the column is null.
  template <typename... Values>
  void read(Values&... values) const {
    int column = 0;
    (read_column(column++, values), ...);
  }

 private:
  void bind(const std::string& text) {
    check(sqlite3_bind_text64(statement_.get(), ++bound_, text.data(), text.size(), SQLITE_STATIC,
                              SQLITE_UTF8) == SQLITE_OK);
  }
  void bind(std::integral auto number) {
    check(sqlite3_bind_int64(statement_.get(), ++bound_, static_cast<std::int64_t>(number)) ==
          SQLITE_OK);
  }
  template <typename Value>
  void bind(const std::optional<Value>& value) {
    if (value) {
      bind(*value);
    } else {
      check(sqlite3_bind_null(statement_.get(), ++bound_) == SQLITE_OK);
    }
  }

  void read_column(int column, std::string& text) const {
    const auto* bytes =
        reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
    text = bytes == nullptr ? std::string() : std::string(bytes, size);
  }
  void read_column(int column, std::integral auto& number) const {
    number = static_cast<std::remove_reference_t<decltype(number)>>(
        sqlite3_column_int64(statement_.get(), column));
  }
  template <typename Value>
  void read_column(int column, std::optional<Value>& value) const {
    value.reset();
    if (sqlite3_column_type(statement_.get(), column) != SQLITE_NULL) {
      read_column(column, value.emplace());
    }
  }

  void check(bool good) const {
    if (!good) {
      throw DatabaseError(sqlite3_errmsg(database_));
    }
  }

  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  sqlite3* database_;
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
  int bound_ = 0;
};

class Database {
 public:
  // Opens the file, or creates it for its owner only. Other processes that write are waited for.
  void open(const std::string& path);

  template <typename... Values>
  [[nodiscard]] Query query(const std::string& sql, const Values&... values) const {
    return Query(database_.get(), sql, values...);
  }
  template <typename... Values>
  void run(const std::string& sql, const Values&... values) const {
    Query statement = query(sql, values...);
    while (statement.next()) {
    }
  }
  // The first column of the first row; 0 without a row.
  template <typename... Values>
  [[nodiscard]] std::int64_t number(const std::string& sql, const Values&... values) const {
    Query statement = query(sql, values...);
    std::int64_t number = 0;
    if (statement.next()) {
      statement.read(number);
    }
    return number;
  }
  void run_all(const std::string& statements) const;

  // Whether the last error was that the file is not a database.
  [[nodiscard]] bool is_not_a_database() const {
    return sqlite3_errcode(database_.get()) == SQLITE_NOTADB;
  }

 private:
  struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Closer> database_;
};

// All or nothing: without commit() what was changed meanwhile is taken back.
class Transaction {
 public:
  explicit Transaction(const Database& database) : database_(database) {
    database.run("BEGIN IMMEDIATE");
  }
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit() {
    database_.run("COMMIT");
    is_committed_ = true;
  }

 private:
  const Database& database_;
  bool is_committed_ = false;
};

}  // namespace k905
