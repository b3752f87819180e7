// A small owner of a SQLite database and its prepared statements, for the stand-in stores.
//
// A database is used by one thread at a time: its store holds a lock around every call.
//
// Every write commits at once, as the device's stores do, except in job batches: while a job
// holds the device's job lock and the copy it can be undone from, the writes of a connection
// gather into one transaction that commits every kWritesPerBatch writes, once a write finds the
// batch older than kBatchMilliseconds, and when the job ends. A kill loses at most the batch open
// then, never leaves a write half done, and the job's copy still undoes it all. Two processes may
// share one database file (a window and a scheduled run), so connections wait on each other's
// locks, for a bounded time.
//
// The host can fail where the device's stores never did: a full disk, a read-only file, a lock
// held by another program past the wait, an input/output error, a damaged file. The first such
// failure of a database is kept, so that a store can answer as a failed device from then on and
// a front end can name the cause.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrav::platform::host {

// Sets SQLite up for this process before its first connection: without memory statistics, which
// nothing here reads and which cost a lock on every allocation. Every connection is opened after
// it.
void ConfigureSqlite();

// How long a connection waits for another program's lock before it fails.
inline constexpr int kStoreBusyTimeoutMilliseconds = 10'000;

// The bounds of a job batch: the writes it gathers, and its age past which the next write commits
// it first. Other programs see a job's writes batch by batch.
inline constexpr int kWritesPerBatch = 2'000;
inline constexpr int kBatchMilliseconds = 1'000;

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
  ~SqliteDatabase();
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;

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

  // Writes. A write that is one statement calls Writing first; one of several statements runs
  // them between BeginWrite and CommitWrite (or RollbackWrite, which undoes them all). Outside
  // job batches each write is its own transaction; inside, a savepoint of the batch's.
  bool Writing();
  bool BeginWrite();
  bool CommitWrite();
  void RollbackWrite();

  // Job batches (see above), from BeginBatches to EndBatches; a connection closed meanwhile
  // commits its batch. CommitBatch commits the batch open now, so that another connection to
  // the same file can read what it holds and write without waiting for it; a batch with a write
  // in progress (an attachment written in chunks) stays, and others wait for it as before.
  void BeginBatches(
      int writes_per_batch = kWritesPerBatch,
      std::chrono::milliseconds batch_age = std::chrono::milliseconds(kBatchMilliseconds));
  bool EndBatches();
  bool CommitBatch();
  bool batching() const { return batching_; }

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
  // Whether a transaction is open on the connection: a read's, or a job batch's.
  bool InTransaction() const;

  // Declared first so that the statements are finalized before the database closes.
  std::unique_ptr<sqlite3, Closer> database_;
  std::map<std::string, SqliteStatement, std::less<>> cache_;
  int busy_timeout_milliseconds_;
  std::optional<StoreFailure> failure_;
  bool reading_ = false;
  bool read_began_ = false;  // the read opened its own transaction, not a batch's
  int reads_ = 0;
  bool batching_ = false;
  bool batch_open_ = false;
  bool write_open_ = false;  // between BeginWrite and its end
  int writes_per_batch_ = kWritesPerBatch;
  std::chrono::milliseconds batch_age_{kBatchMilliseconds};
  int batch_writes_ = 0;
  std::chrono::steady_clock::time_point batch_began_;
  std::uint64_t read_transactions_ = 0;
};

}  // namespace kestrav::platform::host
