#include "platform/host/sqlite_database.h"

namespace kestrav::platform::host {

void ConfigureSqlite() {
  // Only before SQLite starts; later calls change nothing, so once is enough.
  static const bool configured = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) == SQLITE_OK;
  static_cast<void>(configured);
}

std::string StoreFailureText(int code, int busy_timeout_milliseconds) {
  switch (code & 0xFF) {
    case SQLITE_FULL:
      return "the disk is full";
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return "the file cannot be written";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "another program held its lock for longer than " +
             (busy_timeout_milliseconds % 1000 == 0
                  ? std::to_string(busy_timeout_milliseconds / 1000) + " s"
                  : std::to_string(busy_timeout_milliseconds) + " ms");
    case SQLITE_IOERR:
      return code == SQLITE_IOERR_WRITE || code == SQLITE_IOERR_FSYNC
                 ? "a write to the disk failed"
                 : "the disk reported an input/output error";
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return "the file is damaged";
    case SQLITE_CANTOPEN:
      return "the file cannot be opened";
    case SQLITE_NOMEM:
      return "there is not enough memory";
  }
  return sqlite3_errstr(code);
}

SqliteStatement& SqliteStatement::Bind(int index, std::int64_t value) {
  if (statement_ && sqlite3_bind_int64(statement_.get(), index, value) != SQLITE_OK) failed_ = true;
  return *this;
}

SqliteStatement& SqliteStatement::Bind(int index, double value) {
  if (statement_ && sqlite3_bind_double(statement_.get(), index, value) != SQLITE_OK)
    failed_ = true;
  return *this;
}

SqliteStatement& SqliteStatement::Bind(int index, std::u16string_view text) {
  if (statement_ && sqlite3_bind_text16(statement_.get(), index, text.data(),
                                        static_cast<int>(text.size() * sizeof(char16_t)),
                                        SQLITE_TRANSIENT) != SQLITE_OK) {
    failed_ = true;
  }
  return *this;
}

SqliteStatement& SqliteStatement::Bind(int index, const std::vector<std::uint8_t>& bytes) {
  // A zero-length blob stays a blob, not a null.
  if (statement_ &&
      sqlite3_bind_blob(statement_.get(), index,
                        bytes.empty() ? static_cast<const void*>("") : bytes.data(),
                        static_cast<int>(bytes.size()), SQLITE_TRANSIENT) != SQLITE_OK) {
    failed_ = true;
  }
  return *this;
}

SqliteStatement& SqliteStatement::BindNull(int index) {
  if (statement_ && sqlite3_bind_null(statement_.get(), index) != SQLITE_OK) failed_ = true;
  return *this;
}

bool SqliteStatement::Step() {
  if (!statement_ || failed_) {
    failed_ = true;
    return false;
  }
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) {
    failed_ = true;
    if (database_ != nullptr) database_->NoteResult(result);
  }
  return false;
}

bool SqliteStatement::Run() {
  while (Step()) {
  }
  return !failed_;
}

void SqliteStatement::Reset() {
  if (!statement_) return;
  sqlite3_reset(statement_.get());
  sqlite3_clear_bindings(statement_.get());
  failed_ = false;
}

bool SqliteStatement::IsNull(int column) const {
  return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

std::int64_t SqliteStatement::Integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

double SqliteStatement::Real(int column) const {
  return sqlite3_column_double(statement_.get(), column);
}

std::u16string SqliteStatement::Text(int column) const {
  const auto* text = static_cast<const char16_t*>(sqlite3_column_text16(statement_.get(), column));
  const int bytes = sqlite3_column_bytes16(statement_.get(), column);
  return text == nullptr ? std::u16string() : std::u16string(text, bytes / sizeof(char16_t));
}

std::vector<std::uint8_t> SqliteStatement::Bytes(int column) const {
  const auto* data =
      static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_.get(), column));
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return data == nullptr ? std::vector<std::uint8_t>()
                         : std::vector<std::uint8_t>(data, data + size);
}

std::unique_ptr<SqliteDatabase> SqliteDatabase::Open(const std::filesystem::path& file, bool create,
                                                     StoreFailure* failure,
                                                     int busy_timeout_milliseconds) {
  ConfigureSqlite();
  sqlite3* handle = nullptr;
  // The stores serialize their calls themselves, so SQLite need not lock for every call.
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_NOMUTEX |
                    (create ? SQLITE_OPEN_CREATE : 0);
  if (const int result = sqlite3_open_v2(file.c_str(), &handle, flags, nullptr);
      result != SQLITE_OK) {
    if (failure != nullptr) *failure = StoreFailure{result, StoreFailureText(result)};
    sqlite3_close_v2(handle);
    return nullptr;
  }
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_timeout(handle, busy_timeout_milliseconds);
  std::unique_ptr<SqliteDatabase> database(new SqliteDatabase(handle, busy_timeout_milliseconds));
  database->Execute("PRAGMA foreign_keys = ON");
  // Every call commits at once; with a write-ahead log a commit does not wait for the disk,
  // and a crash still never leaves a half-written store.
  database->Execute("PRAGMA journal_mode = WAL");
  database->Execute("PRAGMA synchronous = NORMAL");
  // A file that can only be read stays readable: its failure shows when something is written.
  database->ClearFailure();
  return database;
}

bool SqliteDatabase::Execute(std::string_view sql) {
  const std::string text(sql);
  const int result = sqlite3_exec(database_.get(), text.c_str(), nullptr, nullptr, nullptr);
  NoteResult(result);
  return result == SQLITE_OK;
}

SqliteStatement SqliteDatabase::Prepare(std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  if (const int result = sqlite3_prepare_v2(database_.get(), sql.data(),
                                            static_cast<int>(sql.size()), &statement, nullptr);
      result != SQLITE_OK) {
    NoteResult(result);
    sqlite3_finalize(statement);
    return SqliteStatement();
  }
  return SqliteStatement(statement, this);
}

void SqliteDatabase::NoteResult(int code) {
  const int primary = code & 0xFF;
  if (primary == SQLITE_OK || primary == SQLITE_ROW || primary == SQLITE_DONE ||
      primary == SQLITE_CONSTRAINT || failure_) {
    return;
  }
  failure_ = StoreFailure{code, StoreFailureText(code, busy_timeout_milliseconds_)};
}

void SqliteDatabase::Reading() {
  // Bounded, so that other programs' changes are never kept out of sight for long.
  static constexpr int kReadsPerTransaction = 256;
  if (reading_ && ++reads_ < kReadsPerTransaction) return;
  EndReading();
  // Inside a job batch a read sees the batch, its own connection's writes included.
  read_began_ = !InTransaction() && Execute("BEGIN");
  reading_ = read_began_ || InTransaction();
  reads_ = 0;
  ++read_transactions_;
}

void SqliteDatabase::EndReading() {
  if (!reading_) return;
  reading_ = false;
  if (read_began_) Execute("COMMIT");
  read_began_ = false;
}

bool SqliteDatabase::InTransaction() const {
  return sqlite3_get_autocommit(database_.get()) == 0;
}

bool SqliteDatabase::Writing() {
  EndReading();
  // A failed statement may have rolled the batch back; the next write starts another.
  if (batch_open_ && !InTransaction()) batch_open_ = false;
  if (!batching_) return true;
  if (batch_open_ && (batch_writes_ >= writes_per_batch_ ||
                      std::chrono::steady_clock::now() - batch_began_ >= batch_age_)) {
    if (!CommitBatch()) return false;
  }
  if (!batch_open_) {
    if (!Execute("BEGIN IMMEDIATE")) return false;
    batch_open_ = true;
    batch_writes_ = 0;
    batch_began_ = std::chrono::steady_clock::now();
  }
  ++batch_writes_;
  return true;
}

bool SqliteDatabase::BeginWrite() {
  if (!Writing()) return false;
  write_open_ = Execute(batching_ ? "SAVEPOINT write" : "BEGIN IMMEDIATE");
  return write_open_;
}

bool SqliteDatabase::CommitWrite() {
  write_open_ = false;
  return Execute(batching_ ? "RELEASE write" : "COMMIT");
}

void SqliteDatabase::RollbackWrite() {
  write_open_ = false;
  if (!InTransaction()) return;
  if (batching_)
    Execute("ROLLBACK TO write; RELEASE write");
  else
    Execute("ROLLBACK");
}

void SqliteDatabase::BeginBatches(int writes_per_batch, std::chrono::milliseconds batch_age) {
  writes_per_batch_ = writes_per_batch;
  batch_age_ = batch_age;
  batching_ = true;
}

bool SqliteDatabase::EndBatches() {
  const bool committed = CommitBatch();
  batching_ = false;
  return committed;
}

bool SqliteDatabase::CommitBatch() {
  if (!batch_open_ || write_open_) return true;
  EndReading();
  batch_open_ = false;
  if (!InTransaction()) return false;  // rolled back by a failure, which is kept
  if (Execute("COMMIT")) return true;
  Execute("ROLLBACK");
  return false;
}

SqliteDatabase::~SqliteDatabase() {
  // A write left unfinished is not kept; the writes of the batch before it are.
  if (write_open_) RollbackWrite();
  CommitBatch();
}

bool SqliteDatabase::ReadOnly() const {
  return sqlite3_db_readonly(database_.get(), "main") == 1;
}

CachedStatement SqliteDatabase::Cached(std::string_view sql) {
  auto found = cache_.find(sql);
  if (found == cache_.end()) found = cache_.emplace(std::string(sql), Prepare(sql)).first;
  return CachedStatement(found->second);
}

std::int64_t SqliteDatabase::LastInsertId() const {
  return sqlite3_last_insert_rowid(database_.get());
}

int SqliteDatabase::Changes() const {
  return sqlite3_changes(database_.get());
}

std::string SqliteDatabase::ErrorMessage() const {
  return sqlite3_errmsg(database_.get());
}

}  // namespace kestrav::platform::host
