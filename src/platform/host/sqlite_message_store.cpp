#include "platform/host/sqlite_message_store.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <limits>
#include <map>
#include <sstream>
#include <utility>

#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

constexpr char kSchema[] = R"sql(
CREATE TABLE IF NOT EXISTS stores (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  display_name TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS folders (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  store_id INTEGER NOT NULL REFERENCES stores(id) ON DELETE CASCADE,
  parent_id INTEGER REFERENCES folders(id) ON DELETE CASCADE,
  name TEXT NOT NULL);
CREATE INDEX IF NOT EXISTS folders_by_store ON folders (store_id, id);
CREATE TABLE IF NOT EXISTS messages (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  folder_id INTEGER NOT NULL REFERENCES folders(id) ON DELETE CASCADE,
  saved INTEGER NOT NULL DEFAULT 0,
  subject TEXT NOT NULL DEFAULT '',
  body TEXT NOT NULL DEFAULT '',
  body_type INTEGER NOT NULL DEFAULT 0);
CREATE INDEX IF NOT EXISTS messages_by_folder ON messages (folder_id, saved, id);
CREATE TABLE IF NOT EXISTS message_properties (
  message_id INTEGER NOT NULL REFERENCES messages(id) ON DELETE CASCADE,
  tag INTEGER NOT NULL,
  value,
  PRIMARY KEY (message_id, tag)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS recipients (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  message_id INTEGER NOT NULL REFERENCES messages(id) ON DELETE CASCADE,
  kind INTEGER NOT NULL CHECK (kind IN (1, 2, 3)),
  display_name TEXT NOT NULL,
  address TEXT NOT NULL,
  address_type TEXT NOT NULL);
CREATE INDEX IF NOT EXISTS recipients_by_message ON recipients (message_id, id);
CREATE TABLE IF NOT EXISTS attachments (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  message_id INTEGER NOT NULL REFERENCES messages(id) ON DELETE CASCADE,
  file_name TEXT NOT NULL,
  method INTEGER NOT NULL,
  contents BLOB NOT NULL);
CREATE INDEX IF NOT EXISTS attachments_by_message ON attachments (message_id, id);
CREATE TABLE IF NOT EXISTS unsaved_messages (
  message_id INTEGER PRIMARY KEY REFERENCES messages(id) ON DELETE CASCADE,
  process INTEGER NOT NULL,
  process_start INTEGER NOT NULL);
)sql";

enum class EntryKind : std::uint8_t { kStore = 1, kFolder = 2, kMessage = 3 };

// An entry id: its kind, then its row as 8 bytes, least significant first.
constexpr std::size_t kEntryIdBytes = 9;

EntryId MakeEntryId(EntryKind kind, std::int64_t row) {
  EntryId id{static_cast<std::uint8_t>(kind)};
  for (int byte = 0; byte < 8; ++byte)
    id.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(row) >> (8 * byte)));
  return id;
}

// The row an entry id of that kind names; 0 (never a row) for anything else.
std::int64_t RowOf(const EntryId& id, EntryKind kind) {
  if (id.size() != kEntryIdBytes || id[0] != static_cast<std::uint8_t>(kind)) return 0;
  std::uint64_t row = 0;
  for (int byte = 0; byte < 8; ++byte)
    row |= static_cast<std::uint64_t>(id[1 + byte]) << (8 * byte);
  return static_cast<std::int64_t>(row);
}

// The device's answer to a host failure under the file.
HResult DeviceAnswerOf(const StoreFailure& failure) {
  switch (failure.code & 0xFF) {
    case SQLITE_FULL:
      return kENotEnoughDisk;
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return kENoAccess;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return kEBusy;
    case SQLITE_IOERR:
      return kEDiskError;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return kECorruptData;
    case SQLITE_NOMEM:
      return kEOutOfMemory;
  }
  return kEFail;
}

// When a process started, in clock ticks after the machine's boot; nothing when there is no such
// process. With its id, it names a process for good: ids are given again, start times are not.
std::optional<std::int64_t> ProcessStart(std::int64_t process) {
  std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
  std::string line;
  if (!std::getline(stat, line)) return std::nullopt;
  // The command name, in parentheses, may hold blanks; the fields after it are numbered from 3.
  const std::size_t name_end = line.rfind(')');
  if (name_end == std::string::npos) return std::nullopt;
  std::istringstream fields(line.substr(name_end + 1));
  std::string field;
  for (int number = 3; number <= 22; ++number) fields >> field;
  std::int64_t start = 0;
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), start);
  if (error != std::errc() || end != field.data() + field.size()) return std::nullopt;
  return start;
}

// When this process started: read once, for every message it makes.
std::int64_t OwnStart() {
  static const std::int64_t start = ProcessStart(::getpid()).value_or(0);
  return start;
}

// Removes the messages that a program ended before saving them left in the file: made, never
// saved, and no longer anybody's. A message being made by a live program is left alone. Nothing
// to sweep, or a file that cannot be written now, leaves it for another time.
void SweepUnsavedMessages(SqliteDatabase& database) {
  std::vector<std::int64_t> left;
  {
    SqliteStatement query =
        database.Prepare("SELECT message_id, process, process_start FROM unsaved_messages");
    while (query.Step()) {
      if (ProcessStart(query.Integer(1)) != query.Integer(2)) left.push_back(query.Integer(0));
    }
  }
  if (left.empty()) return;
  bool swept = database.Execute("BEGIN IMMEDIATE");
  SqliteStatement remove = database.Prepare("DELETE FROM messages WHERE id = ? AND saved = 0");
  for (const std::int64_t message : left) {
    remove.Reset();
    swept = swept && remove.Bind(1, message).Run();
  }
  if (!swept || !database.Execute("COMMIT")) database.Execute("ROLLBACK");
  database.ClearFailure();
}

bool IsPropertyType(std::uint32_t tag) {
  switch (tag & 0xFFFF) {
    case kMessageBinaryType:
    case static_cast<std::uint16_t>(PropertyType::kString):
    case static_cast<std::uint16_t>(PropertyType::kInt32):
    case static_cast<std::uint16_t>(PropertyType::kFileTime):
      return true;
  }
  return false;
}

void BindPropertyValue(SqliteStatement& statement, int index, const PropertyValue& value) {
  switch (value.id & 0xFFFF) {
    case kMessageBinaryType:
      statement.Bind(index, value.bytes);
      break;
    case static_cast<std::uint16_t>(PropertyType::kString):
      statement.Bind(index, std::u16string_view(value.text));
      break;
    case static_cast<std::uint16_t>(PropertyType::kFileTime):
      statement.Bind(index, static_cast<std::int64_t>(value.file_time));
      break;
    default:
      statement.Bind(index, static_cast<std::int64_t>(static_cast<std::int32_t>(value.integer)));
      break;
  }
}

void ReadPropertyValue(const SqliteStatement& row, int column, PropertyValue* value) {
  switch (value->id & 0xFFFF) {
    case kMessageBinaryType:
      value->bytes = row.Bytes(column);
      break;
    case static_cast<std::uint16_t>(PropertyType::kString):
      value->text = row.Text(column);
      break;
    case static_cast<std::uint16_t>(PropertyType::kFileTime):
      value->file_time = static_cast<FileTime>(row.Integer(column));
      break;
    default:
      value->integer = static_cast<std::int32_t>(row.Integer(column));
      break;
  }
}

std::uint32_t ClampedCount(std::int64_t count) {
  return static_cast<std::uint32_t>(
      std::clamp<std::int64_t>(count, 0, std::numeric_limits<std::uint32_t>::max()));
}

// What a session's objects share: the connection, and the one attachment blob kept open between
// chunks.
class Session {
 public:
  Session(SqliteMessageRuntime& runtime, std::unique_ptr<SqliteDatabase> database)
      : runtime_(runtime), database_(std::move(database)) {
    if (database_) runtime_.Attach(*database_);
  }
  ~Session() {
    if (!database_) return;
    LetGo();
    database_->CommitBatch();
    HandOverFailure();
    runtime_.Detach(*database_);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  SqliteDatabase& database() { return *database_; }
  bool has_file() const { return database_ != nullptr; }

  // Whether the session can change the file, after letting go of any open blob and of the reads
  // in hand.
  HResult Ready() {
    LetGo();
    if (database_) {
      runtime_.CommitBatches(database_.get());
      if (!database_->Writing()) HandOverFailure();
    }
    return Usable();
  }
  // Whether the session can read. The reads of a message's parts share one read transaction
  // with the listing before them (up to a bound), so a backup does not take and drop the file's
  // locks for every call; a listing (fresh) starts a new one, and sees what others changed.
  HResult ReadyToRead(bool fresh = false) {
    LetGo();
    const HResult usable = Usable();
    if (Failed(usable) || !database_) return usable;
    runtime_.CommitBatches(database_.get());
    if (fresh) database_->EndReading();
    database_->Reading();
    return usable;
  }
  HResult Usable() {
    if (!logged_on_) return kEFail;
    HandOverFailure();
    return runtime_.FailureResult();
  }
  // The answer to a call that did not work out: the host's failure when there was one, else
  // `otherwise`.
  HResult Answer(HResult otherwise) {
    HandOverFailure();
    const HResult failure = runtime_.FailureResult();
    return Failed(failure) ? failure : otherwise;
  }
  HResult Logoff() {
    if (!logged_on_) return kEFail;
    LetGo();
    if (database_) {
      database_->EndReading();
      database_->CommitBatch();
      HandOverFailure();
    }
    logged_on_ = false;
    return kSOk;
  }
  bool Healthy() { return database_ != nullptr && !Failed(runtime_.FailureResult()); }

  // Runs statements in one transaction, kept only when `work` says so.
  template <typename Work>
  bool Transaction(Work work) {
    if (!database_->BeginWrite()) return false;
    if (work() && database_->CommitWrite()) return true;
    database_->RollbackWrite();
    return false;
  }

  struct OpenBlob {
    const void* owner = nullptr;
    std::int64_t number = 0;
    bool writing = false;
    std::uint64_t position = 0;  // the next byte to write
    std::uint64_t size = 0;
    sqlite3_blob* handle = nullptr;
  };
  // The blob open for this owner's attachment in this mode, or null.
  OpenBlob* BlobOf(const void* owner, std::int64_t number, bool writing) {
    return blob_ && blob_->owner == owner && blob_->number == number && blob_->writing == writing
               ? &*blob_
               : nullptr;
  }
  OpenBlob& Keep(OpenBlob blob) { return blob_.emplace(blob); }
  bool Owns(const void* owner) const { return blob_ && blob_->owner == owner; }
  // Closes the open blob; an attachment whose contents were not written to their end is not
  // kept.
  void LetGo() {
    if (!blob_) return;
    const OpenBlob blob = *blob_;
    blob_.reset();
    database_->NoteResult(sqlite3_blob_close(blob.handle));
    if (blob.writing) database_->RollbackWrite();
  }
  // Closes a blob written to its end and keeps it.
  bool Finish() {
    const OpenBlob blob = *blob_;
    blob_.reset();
    database_->NoteResult(sqlite3_blob_close(blob.handle));
    if (database_->CommitWrite()) return true;
    database_->RollbackWrite();
    return false;
  }

 private:
  // The connection's host failure becomes the runtime's, so that every session answers it.
  void HandOverFailure() {
    if (!database_ || !database_->failure()) return;
    runtime_.NoteFailure(*database_->failure());
    database_->ClearFailure();
  }

  SqliteMessageRuntime& runtime_;
  std::unique_ptr<SqliteDatabase> database_;
  bool logged_on_ = true;
  std::optional<OpenBlob> blob_;
};

// Opens an attachment's contents for reading or writing; the SQLite result.
int OpenContents(SqliteDatabase& database, std::int64_t number, bool writing,
                 sqlite3_blob** handle) {
  *handle = nullptr;
  const int result = sqlite3_blob_open(database.handle(), "main", "attachments", "contents", number,
                                       writing ? 1 : 0, handle);
  // A row that went, or a value that is no blob, is the store's answer, not a host failure.
  if (result != SQLITE_ERROR) database.NoteResult(result);
  if (result != SQLITE_OK) {
    sqlite3_blob_close(*handle);
    *handle = nullptr;
  }
  return result;
}

// No bound on the rows a read takes (SQLite's LIMIT -1).
constexpr std::int64_t kAllRows = -1;

// A message's recipients after the one numbered *last, at most `most` of them; *last becomes the
// number of the last one read.
HResult ReadRecipients(Session& session, std::int64_t message, std::int64_t most,
                       std::int64_t* last, std::vector<MessageRecipient>* recipients) {
  recipients->clear();
  if (const HResult ready = session.ReadyToRead(); Failed(ready)) return ready;
  const CachedStatement query = session.database().Cached(
      "SELECT id, kind, display_name, address, address_type FROM recipients "
      "WHERE message_id = ? AND id > ? ORDER BY id LIMIT ?");
  query->Bind(1, message).Bind(2, *last).Bind(3, most);
  while (query->Step()) {
    const std::int64_t kind = query->Integer(1);
    if (kind < static_cast<std::int64_t>(RecipientKind::kTo) ||
        kind > static_cast<std::int64_t>(RecipientKind::kBcc)) {
      recipients->clear();
      return kECorruptData;
    }
    *last = query->Integer(0);
    recipients->push_back(MessageRecipient{static_cast<RecipientKind>(kind), query->Text(2),
                                           query->Text(3), query->Text(4)});
  }
  if (!query->Failed()) return kSOk;
  recipients->clear();
  return session.Answer(kEFail);
}

// The same for the rows of a message's attachment table.
HResult ReadAttachments(Session& session, std::int64_t message, std::int64_t most,
                        std::int64_t* last, std::vector<MessageAttachment>* attachments) {
  attachments->clear();
  if (const HResult ready = session.ReadyToRead(); Failed(ready)) return ready;
  // length() reads only the size of the contents, never the contents.
  const CachedStatement query = session.database().Cached(
      "SELECT id, file_name, method, length(contents) FROM attachments "
      "WHERE message_id = ? AND id > ? ORDER BY id LIMIT ?");
  query->Bind(1, message).Bind(2, *last).Bind(3, most);
  while (query->Step()) {
    *last = query->Integer(0);
    attachments->push_back(MessageAttachment{query->Integer(0), query->Text(1),
                                             static_cast<std::int32_t>(query->Integer(2)),
                                             ClampedCount(query->Integer(3))});
  }
  if (!query->Failed()) return kSOk;
  attachments->clear();
  return session.Answer(kEFail);
}

// A message's table read a piece at a time: each piece starts after the last row of the one
// before, so no piece walks the rows already read.
template <typename Row, auto read>
class SqliteTable : public MessageTable<Row> {
 public:
  SqliteTable(std::shared_ptr<Session> session, std::int64_t message)
      : session_(std::move(session)), message_(message) {}

  HResult QueryRows(std::size_t most, std::vector<Row>* rows) override {
    rows->clear();
    if (most == 0) return kSOk;
    return read(*session_, message_,
                static_cast<std::int64_t>(
                    std::min<std::size_t>(most, std::numeric_limits<std::int64_t>::max())),
                &last_, rows);
  }

 private:
  std::shared_ptr<Session> session_;
  std::int64_t message_;
  std::int64_t last_ = 0;
};

class SqliteMessage : public Message {
 public:
  SqliteMessage(std::shared_ptr<Session> session, std::int64_t row, bool saved)
      : session_(std::move(session)),
        row_(row),
        entry_id_(MakeEntryId(EntryKind::kMessage, row)),
        saved_(saved) {}

  ~SqliteMessage() override {
    if (session_->Owns(this)) session_->LetGo();
    if (saved_ || !session_->Healthy()) return;
    // Another message's attachment being written stays open: its transaction takes this too.
    session_->database().Writing();
    session_->database()
        .Cached("DELETE FROM messages WHERE id = ? AND saved = 0")
        ->Bind(1, row_)
        .Run();
  }

  const EntryId& entry_id() const override { return entry_id_; }

  HResult GetProperties(const std::vector<std::uint32_t>& tags,
                        std::vector<PropertyValue>* properties) override {
    properties->clear();
    if (const HResult ready = session_->ReadyToRead(); Failed(ready)) return ready;
    // One look at the message's properties, whatever the number asked for.
    const CachedStatement query = session_->database().Cached(
        "SELECT tag, value FROM message_properties WHERE message_id = ?");
    query->Bind(1, row_);
    for (const std::uint32_t tag : tags) {
      PropertyValue value;
      value.id = tag;
      value.flags = kPropertyNotFound;
      properties->push_back(std::move(value));
    }
    while (query->Step()) {
      const auto tag = static_cast<std::uint32_t>(query->Integer(0));
      for (PropertyValue& value : *properties) {
        if (value.id != tag || !IsPropertyType(tag)) continue;
        value.flags = 0;
        ReadPropertyValue(*query, 1, &value);
      }
    }
    return query->Failed() ? Failure(properties) : kSOk;
  }

  HResult SetProperties(const std::vector<PropertyValue>& properties) override {
    if (const HResult ready = session_->Ready(); Failed(ready)) return ready;
    if (!std::ranges::all_of(properties,
                             [](const PropertyValue& value) { return IsPropertyType(value.id); })) {
      return kEInvalidArgument;
    }
    SqliteDatabase& database = session_->database();
    const bool written = session_->Transaction([&] {
      for (const PropertyValue& value : properties) {
        const bool removing = (value.flags & kPropertyDelete) != 0;
        const CachedStatement change = database.Cached(
            removing ? "DELETE FROM message_properties WHERE message_id = ?1 AND tag = ?2"
                     : "INSERT OR REPLACE INTO message_properties (message_id, tag, value) "
                       "VALUES (?1, ?2, ?3)");
        change->Bind(1, row_).Bind(2, static_cast<std::int64_t>(value.id));
        if (!removing) BindPropertyValue(*change, 3, value);
        if (!change->Run()) return false;
      }
      return true;
    });
    return written ? kSOk : session_->Answer(kEFail);
  }

  HResult GetSubject(std::u16string* subject) override {
    subject->clear();
    if (const HResult ready = session_->ReadyToRead(); Failed(ready)) return ready;
    const CachedStatement query =
        session_->database().Cached("SELECT subject FROM messages WHERE id = ?");
    if (!query->Bind(1, row_).Step()) return session_->Answer(kENotFound);
    *subject = query->Text(0);
    return kSOk;
  }

  HResult SetSubject(std::u16string_view subject) override {
    if (const HResult ready = session_->Ready(); Failed(ready)) return ready;
    return Update(session_->database()
                      .Cached("UPDATE messages SET subject = ? WHERE id = ?")
                      ->Bind(1, subject)
                      .Bind(2, row_));
  }

  HResult GetBody(std::u16string* body, std::int32_t* body_type) override {
    body->clear();
    *body_type = 0;
    if (const HResult ready = session_->ReadyToRead(); Failed(ready)) return ready;
    const CachedStatement query =
        session_->database().Cached("SELECT body, body_type FROM messages WHERE id = ?");
    if (!query->Bind(1, row_).Step()) return session_->Answer(kENotFound);
    *body = query->Text(0);
    *body_type = static_cast<std::int32_t>(query->Integer(1));
    return kSOk;
  }

  HResult SetBody(std::u16string_view body, std::int32_t body_type) override {
    if (const HResult ready = session_->Ready(); Failed(ready)) return ready;
    return Update(session_->database()
                      .Cached("UPDATE messages SET body = ?, body_type = ? WHERE id = ?")
                      ->Bind(1, body)
                      .Bind(2, static_cast<std::int64_t>(body_type))
                      .Bind(3, row_));
  }

  HResult GetRecipients(std::vector<MessageRecipient>* recipients) override {
    std::int64_t last = 0;
    return ReadRecipients(*session_, row_, kAllRows, &last, recipients);
  }

  HResult SetRecipients(const std::vector<MessageRecipient>& recipients) override {
    return WriteRecipients(recipients, true);
  }

  HResult OpenRecipientTable(std::unique_ptr<MessageTable<MessageRecipient>>* table) override {
    *table = std::make_unique<SqliteTable<MessageRecipient, ReadRecipients>>(session_, row_);
    return kSOk;
  }

  HResult AddRecipients(const std::vector<MessageRecipient>& recipients) override {
    return WriteRecipients(recipients, false);
  }

  HResult GetAttachments(std::vector<MessageAttachment>* attachments) override {
    std::int64_t last = 0;
    return ReadAttachments(*session_, row_, kAllRows, &last, attachments);
  }

  HResult OpenAttachmentTable(std::unique_ptr<MessageTable<MessageAttachment>>* table) override {
    *table = std::make_unique<SqliteTable<MessageAttachment, ReadAttachments>>(session_, row_);
    return kSOk;
  }

  HResult ReadAttachment(std::int64_t number, std::uint64_t offset, std::span<std::uint8_t> buffer,
                         std::size_t* read) override {
    *read = 0;
    Session::OpenBlob* blob = session_->BlobOf(this, number, false);
    if (blob == nullptr) {
      if (const HResult ready = session_->Ready(); Failed(ready)) return ready;
      if (!Holds(number)) return session_->Answer(kENotFound);
      sqlite3_blob* handle = nullptr;
      if (OpenContents(session_->database(), number, false, &handle) != SQLITE_OK)
        return session_->Answer(kENotFound);
      blob = &session_->Keep(Session::OpenBlob{
          this, number, false, 0, static_cast<std::uint64_t>(sqlite3_blob_bytes(handle)), handle});
    } else if (const HResult usable = session_->Usable(); Failed(usable)) {
      return usable;
    }
    if (offset >= blob->size) {
      session_->LetGo();
      return kSOk;
    }
    const std::size_t length =
        static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), blob->size - offset));
    const int result = sqlite3_blob_read(blob->handle, buffer.data(), static_cast<int>(length),
                                         static_cast<int>(offset));
    if (result != SQLITE_OK) {
      session_->database().NoteResult(result);
      session_->LetGo();
      return session_->Answer(kEFail);
    }
    *read = length;
    if (offset + length == blob->size) session_->LetGo();
    return kSOk;
  }

  HResult AddAttachment(std::u16string_view file_name, std::int32_t method, std::uint32_t size,
                        std::int64_t* number) override {
    *number = 0;
    if (const HResult ready = session_->Ready(); Failed(ready)) return ready;
    SqliteDatabase& database = session_->database();
    if (size >
        static_cast<std::uint32_t>(sqlite3_limit(database.handle(), SQLITE_LIMIT_LENGTH, -1)))
      return kEInvalidArgument;
    // The transaction stays open while the contents are written, so that an attachment is
    // kept whole or not at all.
    if (!database.BeginWrite()) return session_->Answer(kEFail);
    // zeroblob() makes the contents without holding them in memory.
    if (!database
             .Cached("INSERT INTO attachments (message_id, file_name, method, contents) "
                     "VALUES (?, ?, ?, zeroblob(?))")
             ->Bind(1, row_)
             .Bind(2, file_name)
             .Bind(3, static_cast<std::int64_t>(method))
             .Bind(4, static_cast<std::int64_t>(size))
             .Run()) {
      database.RollbackWrite();
      return session_->Answer(kEFail);
    }
    const std::int64_t added = database.LastInsertId();
    if (size == 0) {
      if (!database.CommitWrite()) {
        database.RollbackWrite();
        return session_->Answer(kEFail);
      }
      *number = added;
      return kSOk;
    }
    sqlite3_blob* handle = nullptr;
    if (OpenContents(database, added, true, &handle) != SQLITE_OK) {
      database.RollbackWrite();
      return session_->Answer(kEFail);
    }
    session_->Keep(Session::OpenBlob{this, added, true, 0, size, handle});
    *number = added;
    return kSOk;
  }

  HResult WriteAttachment(std::int64_t number, std::uint64_t offset,
                          std::span<const std::uint8_t> chunk) override {
    if (const HResult usable = session_->Usable(); Failed(usable)) return usable;
    Session::OpenBlob* blob = session_->BlobOf(this, number, true);
    if (blob == nullptr || chunk.size() > kAttachmentChunkBytes || offset != blob->position ||
        chunk.size() > blob->size - blob->position) {
      return kEInvalidArgument;
    }
    const int result = sqlite3_blob_write(blob->handle, chunk.data(),
                                          static_cast<int>(chunk.size()), static_cast<int>(offset));
    if (result != SQLITE_OK) {
      session_->database().NoteResult(result);
      session_->LetGo();
      return session_->Answer(kEFail);
    }
    blob->position += chunk.size();
    if (blob->position == blob->size && !session_->Finish()) return session_->Answer(kEFail);
    return kSOk;
  }

  HResult Save() override {
    if (const HResult ready = session_->Ready(); Failed(ready)) return ready;
    if (saved_) return kSOk;
    SqliteDatabase& database = session_->database();
    bool found = false;
    const bool written = session_->Transaction([&] {
      if (!database.Cached("UPDATE messages SET saved = 1 WHERE id = ?")->Bind(1, row_).Run())
        return false;
      found = database.Changes() == 1;
      return database.Cached("DELETE FROM unsaved_messages WHERE message_id = ?")
          ->Bind(1, row_)
          .Run();
    });
    if (!written) return session_->Answer(kEFail);
    if (!found) return kENotFound;
    saved_ = true;
    return kSOk;
  }

 private:
  // Replacing, the recipients there go first, in the same transaction.
  HResult WriteRecipients(const std::vector<MessageRecipient>& recipients, bool replacing) {
    if (const HResult ready = session_->Ready(); Failed(ready)) return ready;
    if (!std::ranges::all_of(recipients, [](const MessageRecipient& recipient) {
          return recipient.kind == RecipientKind::kTo || recipient.kind == RecipientKind::kCc ||
                 recipient.kind == RecipientKind::kBcc;
        })) {
      return kEInvalidArgument;
    }
    SqliteDatabase& database = session_->database();
    const bool written = session_->Transaction([&] {
      if (replacing &&
          !database.Cached("DELETE FROM recipients WHERE message_id = ?")->Bind(1, row_).Run())
        return false;
      const CachedStatement insert = database.Cached(
          "INSERT INTO recipients (message_id, kind, display_name, address, address_type) "
          "VALUES (?, ?, ?, ?, ?)");
      for (const MessageRecipient& recipient : recipients) {
        insert->Reset();
        if (!insert->Bind(1, row_)
                 .Bind(2, static_cast<std::int64_t>(recipient.kind))
                 .Bind(3, std::u16string_view(recipient.display_name))
                 .Bind(4, std::u16string_view(recipient.address))
                 .Bind(5, std::u16string_view(recipient.address_type))
                 .Run()) {
          return false;
        }
      }
      return true;
    });
    return written ? kSOk : session_->Answer(kEFail);
  }
  HResult Update(SqliteStatement& update) {
    if (!update.Run()) return session_->Answer(kEFail);
    return session_->database().Changes() == 1 ? kSOk : kENotFound;
  }
  template <typename Rows>
  HResult Failure(Rows* rows) {
    rows->clear();
    return session_->Answer(kEFail);
  }
  bool Holds(std::int64_t number) {
    return session_->database()
        .Cached("SELECT 1 FROM attachments WHERE id = ? AND message_id = ?")
        ->Bind(1, number)
        .Bind(2, row_)
        .Step();
  }

  std::shared_ptr<Session> session_;
  std::int64_t row_;
  EntryId entry_id_;
  bool saved_;
};

class SqliteMessageFolder : public MessageFolder {
 public:
  SqliteMessageFolder(std::shared_ptr<Session> session, std::int64_t row, std::u16string name)
      : session_(std::move(session)),
        row_(row),
        entry_id_(MakeEntryId(EntryKind::kFolder, row)),
        name_(std::move(name)) {}

  const EntryId& entry_id() const override { return entry_id_; }
  const std::u16string& name() const override { return name_; }

  HResult GetContents(std::vector<EntryId>* messages) override {
    messages->clear();
    if (const HResult ready = session_->ReadyToRead(true); Failed(ready)) return ready;
    const CachedStatement query = session_->database().Cached(
        "SELECT id FROM messages WHERE folder_id = ? AND saved = 1 ORDER BY id");
    query->Bind(1, row_);
    while (query->Step()) messages->push_back(MakeEntryId(EntryKind::kMessage, query->Integer(0)));
    if (!query->Failed()) return kSOk;
    messages->clear();
    return session_->Answer(kEFail);
  }

  HResult OpenMessage(const EntryId& message, std::unique_ptr<Message>* opened) override {
    opened->reset();
    if (const HResult ready = session_->ReadyToRead(); Failed(ready)) return ready;
    const std::int64_t row = RowOf(message, EntryKind::kMessage);
    const CachedStatement query = session_->database().Cached(
        "SELECT 1 FROM messages WHERE id = ? AND folder_id = ? AND saved = 1");
    if (!query->Bind(1, row).Bind(2, row_).Step()) return session_->Answer(kENotFound);
    *opened = std::make_unique<SqliteMessage>(session_, row, true);
    return kSOk;
  }

  HResult CreateMessage(std::unique_ptr<Message>* created) override {
    created->reset();
    if (const HResult ready = session_->Ready(); Failed(ready)) return ready;
    SqliteDatabase& database = session_->database();
    std::int64_t row = 0;
    // Owned by this process until it is saved, so that one it never saves can be found.
    const bool made = session_->Transaction([&] {
      if (!database.Cached("INSERT INTO messages (folder_id) VALUES (?)")->Bind(1, row_).Run())
        return false;
      row = database.LastInsertId();
      return database
          .Cached(
              "INSERT INTO unsaved_messages (message_id, process, process_start) VALUES (?, ?, ?)")
          ->Bind(1, row)
          .Bind(2, static_cast<std::int64_t>(::getpid()))
          .Bind(3, OwnStart())
          .Run();
    });
    if (!made) return session_->Answer(kEFail);
    *created = std::make_unique<SqliteMessage>(session_, row, false);
    return kSOk;
  }

  HResult DeleteMessages(const std::vector<EntryId>& messages) override {
    if (const HResult ready = session_->Ready(); Failed(ready)) return ready;
    SqliteDatabase& database = session_->database();
    std::size_t deleted = 0;
    const bool done = session_->Transaction([&] {
      const CachedStatement remove =
          database.Cached("DELETE FROM messages WHERE id = ? AND folder_id = ? AND saved = 1");
      for (const EntryId& message : messages) {
        remove->Reset();
        if (!remove->Bind(1, RowOf(message, EntryKind::kMessage)).Bind(2, row_).Run()) return false;
        deleted += static_cast<std::size_t>(database.Changes());
      }
      return true;
    });
    if (!done) return session_->Answer(kEFail);
    return deleted == messages.size() ? kSOk : kWPartialCompletion;
  }

 private:
  std::shared_ptr<Session> session_;
  std::int64_t row_;
  EntryId entry_id_;
  std::u16string name_;
};

class SqliteMessageStore : public MessageStore {
 public:
  SqliteMessageStore(std::shared_ptr<Session> session, std::int64_t row,
                     std::u16string display_name)
      : session_(std::move(session)),
        row_(row),
        entry_id_(MakeEntryId(EntryKind::kStore, row)),
        display_name_(std::move(display_name)) {}

  const EntryId& entry_id() const override { return entry_id_; }
  const std::u16string& display_name() const override { return display_name_; }

  HResult GetHierarchy(std::vector<MessageFolderRow>* folders) override {
    folders->clear();
    if (const HResult ready = session_->ReadyToRead(true); Failed(ready)) return ready;
    struct Found {
      std::int64_t id;
      std::int64_t parent;
      MessageFolderRow row;
    };
    std::vector<Found> found;
    const CachedStatement query = session_->database().Cached(
        "SELECT f.id, f.parent_id, f.name, (SELECT COUNT(*) FROM messages m "
        "WHERE m.folder_id = f.id AND m.saved = 1) FROM folders f WHERE f.store_id = ? "
        "ORDER BY f.id");
    query->Bind(1, row_);
    while (query->Step()) {
      const std::int64_t id = query->Integer(0);
      const std::int64_t parent = query->IsNull(1) ? 0 : query->Integer(1);
      found.push_back(
          Found{id, parent,
                MessageFolderRow{MakeEntryId(EntryKind::kFolder, id),
                                 parent == 0 ? EntryId() : MakeEntryId(EntryKind::kFolder, parent),
                                 query->Text(2), ClampedCount(query->Integer(3))}});
    }
    if (query->Failed()) return session_->Answer(kEFail);
    // Depth first from the top-level folders, without recursion so that no depth exhausts the
    // stack; a folder whose parent is not in the store is never reached, and none twice.
    std::multimap<std::int64_t, std::size_t> children;
    for (std::size_t index = 0; index < found.size(); ++index)
      children.emplace(found[index].parent, index);
    std::vector<bool> reached(found.size(), false);
    std::vector<std::size_t> pending;
    const auto push_children = [&](std::int64_t parent) {
      // The last sister first, so that sisters come out in the order they were made.
      const auto [first, last] = children.equal_range(parent);
      for (auto child = std::make_reverse_iterator(last);
           child != std::make_reverse_iterator(first); ++child) {
        if (!reached[child->second]) pending.push_back(child->second);
      }
    };
    push_children(0);
    while (!pending.empty()) {
      const std::size_t index = pending.back();
      pending.pop_back();
      if (reached[index]) continue;
      reached[index] = true;
      folders->push_back(std::move(found[index].row));
      push_children(found[index].id);
    }
    return kSOk;
  }

  HResult OpenFolder(const EntryId& folder, std::unique_ptr<MessageFolder>* opened) override {
    opened->reset();
    if (const HResult ready = session_->ReadyToRead(true); Failed(ready)) return ready;
    const std::int64_t row = RowOf(folder, EntryKind::kFolder);
    const CachedStatement query =
        session_->database().Cached("SELECT name FROM folders WHERE id = ? AND store_id = ?");
    if (!query->Bind(1, row).Bind(2, row_).Step()) return session_->Answer(kENotFound);
    *opened = std::make_unique<SqliteMessageFolder>(session_, row, query->Text(0));
    return kSOk;
  }

  HResult OpenFolderByName(std::u16string_view name,
                           std::unique_ptr<MessageFolder>* opened) override {
    opened->reset();
    std::vector<MessageFolderRow> folders;
    if (const HResult listed = GetHierarchy(&folders); Failed(listed)) return listed;
    const auto named = std::ranges::find(folders, name, &MessageFolderRow::name);
    if (named == folders.end()) return kENotFound;
    return OpenFolder(named->entry_id, opened);
  }

  HResult CreateFolder(const EntryId& parent, std::u16string_view name,
                       std::unique_ptr<MessageFolder>* created) override {
    created->reset();
    if (const HResult ready = session_->Ready(); Failed(ready)) return ready;
    SqliteDatabase& database = session_->database();
    std::optional<std::int64_t> parent_row;
    if (!parent.empty()) {
      parent_row = RowOf(parent, EntryKind::kFolder);
      const CachedStatement query =
          database.Cached("SELECT 1 FROM folders WHERE id = ? AND store_id = ?");
      if (!query->Bind(1, *parent_row).Bind(2, row_).Step()) return session_->Answer(kENotFound);
    }
    const CachedStatement insert =
        database.Cached("INSERT INTO folders (store_id, parent_id, name) VALUES (?, ?, ?)");
    insert->Bind(1, row_);
    if (parent_row)
      insert->Bind(2, *parent_row);
    else
      insert->BindNull(2);
    if (!insert->Bind(3, name).Run()) return session_->Answer(kEFail);
    *created = std::make_unique<SqliteMessageFolder>(session_, database.LastInsertId(),
                                                     std::u16string(name));
    return kSOk;
  }

 private:
  std::shared_ptr<Session> session_;
  std::int64_t row_;
  EntryId entry_id_;
  std::u16string display_name_;
};

class SqliteMessageSession : public MessageSession {
 public:
  explicit SqliteMessageSession(std::shared_ptr<Session> session) : session_(std::move(session)) {}
  ~SqliteMessageSession() override { session_->Logoff(); }

  HResult GetStores(std::vector<MessageStoreRow>* stores) override {
    stores->clear();
    if (const HResult ready = session_->ReadyToRead(true); Failed(ready)) return ready;
    if (!session_->has_file()) return kSOk;
    const CachedStatement query =
        session_->database().Cached("SELECT id, display_name FROM stores ORDER BY id");
    while (query->Step())
      stores->push_back({MakeEntryId(EntryKind::kStore, query->Integer(0)), query->Text(1)});
    if (!query->Failed()) return kSOk;
    stores->clear();
    return session_->Answer(kEFail);
  }

  HResult OpenStore(const EntryId& store, std::unique_ptr<MessageStore>* opened) override {
    opened->reset();
    if (const HResult ready = session_->ReadyToRead(true); Failed(ready)) return ready;
    if (!session_->has_file()) return kENotFound;
    const std::int64_t row = RowOf(store, EntryKind::kStore);
    const CachedStatement query =
        session_->database().Cached("SELECT display_name FROM stores WHERE id = ?");
    if (!query->Bind(1, row).Step()) return session_->Answer(kENotFound);
    *opened = std::make_unique<SqliteMessageStore>(session_, row, query->Text(0));
    return kSOk;
  }

  HResult Logoff() override { return session_->Logoff(); }

 private:
  std::shared_ptr<Session> session_;
};

}  // namespace

HResult SqliteMessageRuntime::Initialize() {
  std::lock_guard lock(mutex_);
  ++initialized_;
  return kSOk;
}

void SqliteMessageRuntime::Uninitialize() {
  std::lock_guard lock(mutex_);
  if (initialized_ > 0) --initialized_;
}

HResult SqliteMessageRuntime::Logon(std::unique_ptr<MessageSession>* session) {
  session->reset();
  {
    std::lock_guard lock(mutex_);
    if (initialized_ == 0) return kENotInitialized;
  }
  if (const HResult failure = FailureResult(); Failed(failure)) return failure;
  bool absent = false;
  std::unique_ptr<SqliteDatabase> database = Connect(false, &absent);
  if (!database && !absent) return FailureResult();
  if (database) SweepUnsavedMessages(*database);
  *session =
      std::make_unique<SqliteMessageSession>(std::make_shared<Session>(*this, std::move(database)));
  return kSOk;
}

std::unique_ptr<SqliteDatabase> SqliteMessageRuntime::Connect(bool create, bool* absent) {
  CommitBatches(nullptr);
  FileAttributeData attributes;
  const ErrorCode found = files_.GetAttributes(kMessageStoreFile, &attributes);
  if (found == kErrorAccessDenied) {
    NoteFailure(StoreFailure{SQLITE_CANTOPEN, "the file is reached through a symbolic link"});
    return nullptr;
  }
  if (!create && (found == kErrorFileNotFound || found == kErrorPathNotFound)) {
    *absent = true;
    return nullptr;
  }
  StoreFailure opening;
  std::unique_ptr<SqliteDatabase> database = SqliteDatabase::Open(
      files_.HostPath(kMessageStoreFile), create, &opening, busy_timeout_milliseconds_);
  if (!database) {
    NoteFailure(opening);
    return nullptr;
  }
  // Text kept in UTF-16, so that it comes back unit for unit; nothing to a file with tables.
  if (!database->Execute("PRAGMA encoding = 'UTF-16le'") || !database->Execute(kSchema)) {
    NoteFailure(database->failure().value_or(StoreFailure{SQLITE_NOTADB, "the file is damaged"}));
    return nullptr;
  }
  return database;
}

HResult SqliteMessageRuntime::CreateStore(std::u16string_view display_name, EntryId* store) {
  store->clear();
  if (const HResult failure = FailureResult(); Failed(failure)) return failure;
  bool absent = false;
  std::unique_ptr<SqliteDatabase> database = Connect(true, &absent);
  if (!database) return FailureResult();
  std::int64_t row = 0;
  bool written = database->Execute("BEGIN IMMEDIATE");
  if (written) {
    written = database->Prepare("INSERT INTO stores (display_name) VALUES (?)")
                  .Bind(1, display_name)
                  .Run();
    row = database->LastInsertId();
    SqliteStatement insert =
        database->Prepare("INSERT INTO folders (store_id, parent_id, name) VALUES (?, NULL, ?)");
    for (const char16_t* name : kWellKnownMessageFolders) {
      insert.Reset();
      written = written && insert.Bind(1, row).Bind(2, std::u16string_view(name)).Run();
    }
    written = written && database->Execute("COMMIT");
    if (!written) database->Execute("ROLLBACK");
  }
  if (!written) {
    if (database->failure()) NoteFailure(*database->failure());
    return Failed(FailureResult()) ? FailureResult() : kEFail;
  }
  *store = MakeEntryId(EntryKind::kStore, row);
  return kSOk;
}

HResult SqliteMessageRuntime::CreateFolder(const EntryId& parent_folder, std::u16string_view name,
                                           EntryId* folder) {
  folder->clear();
  if (const HResult failure = FailureResult(); Failed(failure)) return failure;
  bool absent = false;
  std::unique_ptr<SqliteDatabase> database = Connect(false, &absent);
  if (!database) return absent ? kENotFound : FailureResult();
  SqliteStatement insert = database->Prepare(
      "INSERT INTO folders (store_id, parent_id, name) "
      "SELECT store_id, id, ? FROM folders WHERE id = ?");
  if (!insert.Bind(1, name).Bind(2, RowOf(parent_folder, EntryKind::kFolder)).Run()) {
    if (database->failure()) NoteFailure(*database->failure());
    return Failed(FailureResult()) ? FailureResult() : kEFail;
  }
  if (database->Changes() != 1) return kENotFound;
  *folder = MakeEntryId(EntryKind::kFolder, database->LastInsertId());
  return kSOk;
}

HResult SqliteMessageRuntime::NoteFailure(const StoreFailure& failure) {
  std::lock_guard lock(mutex_);
  if (!failure_) failure_ = failure;
  return DeviceAnswerOf(*failure_);
}

HResult SqliteMessageRuntime::FailureResult() {
  std::lock_guard lock(mutex_);
  return failure_ ? DeviceAnswerOf(*failure_) : kSOk;
}

std::u16string SqliteMessageRuntime::FailureText() {
  std::lock_guard lock(mutex_);
  if (!failure_) return {};
  return std::u16string(kMessageStoreFile) + u": " + FromUtf8(failure_->message);
}

void SqliteMessageRuntime::ClearFailure() {
  std::lock_guard lock(mutex_);
  failure_.reset();
}

void SqliteMessageRuntime::BeginJobBatches(int writes_per_batch,
                                           std::chrono::milliseconds batch_age) {
  std::lock_guard lock(mutex_);
  batching_thread_ = std::this_thread::get_id();
  writes_per_batch_ = writes_per_batch;
  batch_age_ = batch_age;
  for (const auto& [connection, thread] : connections_) {
    if (thread == batching_thread_) connection->BeginBatches(writes_per_batch, batch_age);
  }
}

bool SqliteMessageRuntime::EndJobBatches() {
  {
    std::lock_guard lock(mutex_);
    batching_thread_.reset();
  }
  return CommitBatches(nullptr, true);
}

void SqliteMessageRuntime::Attach(SqliteDatabase& connection) {
  std::lock_guard lock(mutex_);
  connections_.emplace_back(&connection, std::this_thread::get_id());
  if (batching_thread_ == std::this_thread::get_id())
    connection.BeginBatches(writes_per_batch_, batch_age_);
}

void SqliteMessageRuntime::Detach(SqliteDatabase& connection) {
  std::lock_guard lock(mutex_);
  std::erase_if(connections_, [&](const auto& entry) { return entry.first == &connection; });
}

bool SqliteMessageRuntime::CommitBatches(const SqliteDatabase* except, bool ending) {
  bool committed = true;
  std::optional<StoreFailure> failed;
  {
    std::lock_guard lock(mutex_);
    // A session of another thread is that thread's to use: it is left alone, and waits on the
    // lock as any other program would.
    for (const auto& [connection, thread] : connections_) {
      if (connection == except || thread != std::this_thread::get_id()) continue;
      if (ending ? connection->EndBatches() : connection->CommitBatch()) continue;
      committed = false;
      if (!failed) failed = connection->failure();
    }
  }
  if (failed) NoteFailure(*failed);
  return committed;
}

}  // namespace kestrav::platform::host
