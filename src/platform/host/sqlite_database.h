// A small owner of a SQLite database and its prepared statements, for the stand-in stores.
//
// Every statement commits at once, as the device's stores do; two processes may share one
// database file (a window and a scheduled run), so connections wait on each other's locks.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrav::platform::host {

class SqliteStatement {
 public:
  SqliteStatement() = default;
  explicit SqliteStatement(sqlite3_stmt* statement) : statement_(statement) {}

  // Binding by 1-based index; each returns *this so bindings chain.
  SqliteStatement& Bind(int index, std::int64_t value);
  SqliteStatement& Bind(int index, double value);
  SqliteStatement& Bind(int index, std::u16string_view text);
  SqliteStatement& Bind(int index, const std::vector<std::uint8_t>& bytes);
  SqliteStatement& BindNull(int index);

  // Steps once: true while a row is available, false when done or on an error (see Failed).
  bool Step();
  // Steps to the end; true when it ended without an error.
  bool Run();
  // Clears bindings and rewinds, to run the statement again.
  void Reset();
  bool Failed() const { return failed_; }

  std::int64_t Integer(int column) const;
  double Real(int column) const;
  std::u16string Text(int column) const;
  std::vector<std::uint8_t> Bytes(int column) const;

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
  bool failed_ = false;
};

// A statement of the database's cache, lent for one use: it is rewound and its bindings cleared
// when the use ends, so no read stays open between calls.
class CachedStatement {
 public:
  explicit CachedStatement(SqliteStatement& statement) : statement_(statement) {}
  ~CachedStatement() { statement_.Reset(); }
  CachedStatement(const CachedStatement&) = delete;
  CachedStatement& operator=(const CachedStatement&) = delete;

  SqliteStatement* operator->() const { return &statement_; }
  SqliteStatement& operator*() const { return statement_; }

 private:
  SqliteStatement& statement_;
};

class SqliteDatabase {
 public:
  // Opens (creating when asked) the database file; null when it cannot be opened.
  static std::unique_ptr<SqliteDatabase> Open(const std::filesystem::path& file, bool create);

  // Runs statements without results; false on an error.
  bool Execute(std::string_view sql);
  // A prepared statement; an empty one (whose steps fail) when the SQL is wrong.
  SqliteStatement Prepare(std::string_view sql);
  // The same, prepared once and kept for the database's lifetime: for statements run per record.
  CachedStatement Cached(std::string_view sql);
  std::int64_t LastInsertId() const;
  int Changes() const;
  std::string ErrorMessage() const;

 private:
  struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };
  explicit SqliteDatabase(sqlite3* database) : database_(database) {}

  // Declared first so that the statements are finalized before the database closes.
  std::unique_ptr<sqlite3, Closer> database_;
  std::map<std::string, SqliteStatement, std::less<>> cache_;
};

}  // namespace kestrav::platform::host
