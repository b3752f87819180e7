// A small owner of a SQLite database and its prepared statements, for the stand-in stores.
//
// A database is used by one thread at a time: its store holds a lock around every call.
//
// Every statement commits at once, as the device's stores do; two processes may share one
// database file (a window and a scheduled run), so connections wait on each other's locks, for a
// bounded time.
//
// The host can fail where the device's stores never did: a full disk, a read-only file, a lock
// held by another program past the wait, an input/output error, a damaged file. The first such
// failure of a database is kept, so that a store can answer as a failed device from then on and
// a front end can name the cause.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrav::platform::host {

// How long a connection waits for another program's lock before it fails.
inline constexpr int kStoreBusyTimeoutMilliseconds = 10'000;

// A failure of the host under a store.
struct StoreFailure {
  int code = 0;         // SQLite's result code
  std::string message;  // what failed, in plain words
};

// The plain words for a SQLite result code that is a host failure.
std::string StoreFailureText(int code,
                             int busy_timeout_milliseconds = kStoreBusyTimeoutMilliseconds);

class SqliteDatabase;

class SqliteStatement {
 public:
  SqliteStatement() = default;
  SqliteStatement(sqlite3_stmt* statement, SqliteDatabase* database)
      : statement_(statement), database_(database) {}

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

  bool IsNull(int column) const;
  std::int64_t Integer(int column) const;
  double Real(int column) const;
  std::u16string Text(int column) const;
  std::vector<std::uint8_t> Bytes(int column) const;

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
  SqliteDatabase* database_ = nullptr;
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
  // Opens (creating when asked) the database file, never through a link in its place; null when
  // it cannot be opened, with the reason in *failure when one is given.
  static std::unique_ptr<SqliteDatabase> Open(
      const std::filesystem::path& file, bool create, StoreFailure* failure = nullptr,
      int busy_timeout_milliseconds = kStoreBusyTimeoutMilliseconds);

  // Runs statements without results; false on an error.
  bool Execute(std::string_view sql);
  // A prepared statement; an empty one (whose steps fail) when the SQL is wrong.
  SqliteStatement Prepare(std::string_view sql);
  // The same, prepared once and kept for the database's lifetime: for statements run per record.
  CachedStatement Cached(std::string_view sql);
  std::int64_t LastInsertId() const;
  int Changes() const;
  std::string ErrorMessage() const;
  // Whether the file could be opened only for reading.
  bool ReadOnly() const;

  // The first host failure met by this database's statements, kept until cleared.
  const std::optional<StoreFailure>& failure() const { return failure_; }
  void ClearFailure() { failure_.reset(); }
  // Notes a result code: a host failure is kept (the first one), anything else is not. A
  // constraint that refused a row is the store's own answer, not a failure of the host.
  void NoteResult(int code);

  sqlite3* handle() const { return database_.get(); }

  // Reads that follow each other share one read transaction, up to a bound, so that a pass over
  // many records does not take and drop the file's locks for every statement. Call Reading
  // before a read; EndReading before a write, and when a pass lets go of the database, from
  // which point other programs' changes are seen again.
  void Reading();
  void EndReading();
  // The read transaction in progress, numbered from 1; 0 when none is. What a read found holds
  // for as long as its transaction does.
  std::uint64_t read_transaction() const { return reading_ ? read_transactions_ : 0; }

 private:
  struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };
  SqliteDatabase(sqlite3* database, int busy_timeout_milliseconds)
      : database_(database), busy_timeout_milliseconds_(busy_timeout_milliseconds) {}

  // Declared first so that the statements are finalized before the database closes.
  std::unique_ptr<sqlite3, Closer> database_;
  std::map<std::string, SqliteStatement, std::less<>> cache_;
  int busy_timeout_milliseconds_;
  std::optional<StoreFailure> failure_;
  bool reading_ = false;
  int reads_ = 0;
  std::uint64_t read_transactions_ = 0;
};

}  // namespace kestrav::platform::host
