#include "platform/host/sqlite_registry.h"

#include <cstring>

#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

constexpr char kSchema[] = R"sql(
CREATE TABLE IF NOT EXISTS registry_keys (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  parent INTEGER NOT NULL,
  name TEXT NOT NULL,
  folded_name TEXT NOT NULL,
  UNIQUE (parent, folded_name));
CREATE TABLE IF NOT EXISTS registry_values (
  key_id INTEGER NOT NULL REFERENCES registry_keys(id) ON DELETE CASCADE,
  name TEXT NOT NULL,
  folded_name TEXT NOT NULL,
  type INTEGER NOT NULL,
  data BLOB NOT NULL,
  PRIMARY KEY (key_id, folded_name));
)sql";

// A simple one-to-one case fold of the letters of Latin, Greek and Cyrillic names. The folded
// name is stored and looked up, so this mapping must not change once profiles exist.
char16_t FoldCase(char16_t unit) {
  const auto shifted = [unit](int offset) { return static_cast<char16_t>(unit + offset); };
  const bool odd = (unit & 1) != 0;
  if (unit < 0x80) return AsciiLower(unit);
  if (unit >= 0xC0 && unit <= 0xDE && unit != 0xD7) return shifted(0x20);
  // Latin Extended-A and the extended Cyrillic letters come in capital-small pairs.
  if ((unit >= 0x100 && unit <= 0x137 && unit != 0x130) || (unit >= 0x14A && unit <= 0x177) ||
      (unit >= 0x460 && unit <= 0x481) || (unit >= 0x48A && unit <= 0x4BF) ||
      (unit >= 0x4D0 && unit <= 0x52F)) {
    return static_cast<char16_t>(unit | 1);
  }
  if ((unit >= 0x139 && unit <= 0x148) || (unit >= 0x179 && unit <= 0x17E) ||
      (unit >= 0x4C1 && unit <= 0x4CE)) {
    return odd ? shifted(1) : unit;
  }
  if (unit == 0x178) return 0xFF;
  if (unit == 0x386) return 0x3AC;
  if (unit >= 0x388 && unit <= 0x38A) return shifted(0x25);
  if (unit == 0x38C) return 0x3CC;
  if (unit == 0x38E || unit == 0x38F) return shifted(0x3F);
  if (unit >= 0x391 && unit <= 0x3AB && unit != 0x3A2) return shifted(0x20);
  if (unit == 0x3C2) return 0x3C3;  // final sigma
  if (unit >= 0x400 && unit <= 0x40F) return shifted(0x50);
  if (unit >= 0x410 && unit <= 0x42F) return shifted(0x20);
  if (unit >= 0xFF21 && unit <= 0xFF3A) return shifted(0x20);  // fullwidth Latin
  return unit;
}

std::u16string Folded(std::u16string_view name) {
  std::u16string folded(name);
  for (char16_t& unit : folded) unit = FoldCase(unit);
  return folded;
}

// Runs a call that reads before it writes under the database's write lock, so another process
// on the same file cannot create or delete keys in between; its changes commit together.
template <typename Body>
ErrorCode InWriteTransaction(SqliteDatabase& database, Body body) {
  if (!database.Execute("BEGIN IMMEDIATE")) return kErrorGenFailure;
  const ErrorCode error = body();
  if (error == kErrorSuccess && database.Execute("COMMIT")) return kErrorSuccess;
  database.Execute("ROLLBACK");
  return error == kErrorSuccess ? kErrorGenFailure : error;
}

bool IsRoot(RegistryKey key) {
  return key == kHkeyClassesRoot || key == kHkeyCurrentUser || key == kHkeyLocalMachine;
}

// Roots are stored as keys under parent 0 named by their handle value.
std::u16string RootName(RegistryKey key) {
  return FromUtf8(std::to_string(key));
}

}  // namespace

std::unique_ptr<SqliteRegistry> SqliteRegistry::Open(const std::filesystem::path& file,
                                                     bool create, StoreFailure* failure) {
  std::unique_ptr<SqliteDatabase> database = SqliteDatabase::Open(file, create, failure);
  if (!database) return nullptr;
  if (!database->Execute(kSchema)) {
    if (failure != nullptr) {
      *failure = database->failure().value_or(StoreFailure{SQLITE_NOTADB, "the file is damaged"});
    }
    return nullptr;
  }
  for (RegistryKey root : {kHkeyClassesRoot, kHkeyCurrentUser, kHkeyLocalMachine}) {
    const std::u16string name = RootName(root);
    database
        ->Prepare(
            "INSERT OR IGNORE INTO registry_keys (parent, name, folded_name) VALUES (0, ?, ?)")
        .Bind(1, name)
        .Bind(2, name)
        .Run();
  }
  return std::unique_ptr<SqliteRegistry>(new SqliteRegistry(std::move(database)));
}

SqliteRegistry::SqliteRegistry(std::unique_ptr<SqliteDatabase> database)
    : database_(std::move(database)) {}

bool SqliteRegistry::KeyExists(std::int64_t key_id) {
  SqliteStatement statement = database_->Prepare("SELECT 1 FROM registry_keys WHERE id = ?");
  return statement.Bind(1, key_id).Step();
}

ErrorCode SqliteRegistry::Resolve(RegistryKey key, bool for_writing, std::int64_t* key_id) {
  if (IsRoot(key)) {
    SqliteStatement statement =
        database_->Prepare("SELECT id FROM registry_keys WHERE parent = 0 AND folded_name = ?");
    if (!statement.Bind(1, RootName(key)).Step()) return kErrorInvalidHandle;
    *key_id = statement.Integer(0);
    return kErrorSuccess;
  }
  const auto handle = handles_.find(key);
  if (handle == handles_.end() || !KeyExists(handle->second.key_id)) return kErrorInvalidHandle;
  if (for_writing && !handle->second.writable) return kErrorAccessDenied;
  *key_id = handle->second.key_id;
  return kErrorSuccess;
}

ErrorCode SqliteRegistry::Walk(std::int64_t from, std::u16string_view path, bool create,
                               std::int64_t* key_id) {
  std::int64_t current = from;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find(u'\\', start);
    if (end == std::u16string_view::npos) end = path.size();
    const std::u16string_view part = path.substr(start, end - start);
    start = end + 1;
    if (part.empty()) continue;
    SqliteStatement find =
        database_->Prepare("SELECT id FROM registry_keys WHERE parent = ? AND folded_name = ?");
    if (find.Bind(1, current).Bind(2, Folded(part)).Step()) {
      current = find.Integer(0);
      continue;
    }
    if (find.Failed()) return kErrorGenFailure;
    if (!create) return kErrorFileNotFound;
    SqliteStatement insert = database_->Prepare(
        "INSERT INTO registry_keys (parent, name, folded_name) VALUES (?, ?, ?)");
    if (!insert.Bind(1, current).Bind(2, part).Bind(3, Folded(part)).Run()) return kErrorGenFailure;
    current = database_->LastInsertId();
  }
  *key_id = current;
  return kErrorSuccess;
}

RegistryKey SqliteRegistry::NewHandle(std::int64_t key_id, bool writable) {
  while (IsRoot(next_handle_) || handles_.contains(next_handle_) || next_handle_ == 0)
    ++next_handle_;
  handles_[next_handle_] = OpenHandle{key_id, writable};
  return next_handle_++;
}

ErrorCode SqliteRegistry::OpenKey(RegistryKey parent, std::u16string_view path,
                                  std::uint32_t access, RegistryKey* key) {
  std::lock_guard lock(mutex_);
  std::int64_t parent_id = 0;
  std::int64_t key_id = 0;
  if (ErrorCode error = Resolve(parent, false, &parent_id); error != kErrorSuccess) return error;
  if (ErrorCode error = Walk(parent_id, path, false, &key_id); error != kErrorSuccess) {
    return error;
  }
  *key = NewHandle(key_id, (access & ~kKeyRead) != 0);
  return kErrorSuccess;
}

ErrorCode SqliteRegistry::CreateKey(RegistryKey parent, std::u16string_view path,
                                    RegistryKey* key) {
  std::lock_guard lock(mutex_);
  std::int64_t key_id = 0;
  const ErrorCode created = InWriteTransaction(*database_, [&] {
    std::int64_t parent_id = 0;
    if (ErrorCode error = Resolve(parent, true, &parent_id); error != kErrorSuccess) return error;
    return Walk(parent_id, path, true, &key_id);
  });
  if (created != kErrorSuccess) return created;
  *key = NewHandle(key_id, true);
  return kErrorSuccess;
}

ErrorCode SqliteRegistry::CloseKey(RegistryKey key) {
  std::lock_guard lock(mutex_);
  if (IsRoot(key)) return kErrorSuccess;
  return handles_.erase(key) == 1 ? kErrorSuccess : kErrorInvalidHandle;
}

ErrorCode SqliteRegistry::QueryValue(RegistryKey key, std::u16string_view name, std::uint32_t* type,
                                     std::uint8_t* data, std::uint32_t* size) {
  std::lock_guard lock(mutex_);
  std::int64_t key_id = 0;
  if (ErrorCode error = Resolve(key, false, &key_id); error != kErrorSuccess) return error;
  SqliteStatement statement = database_->Prepare(
      "SELECT type, data FROM registry_values WHERE key_id = ? AND folded_name = ?");
  if (!statement.Bind(1, key_id).Bind(2, Folded(name)).Step()) return kErrorFileNotFound;
  const std::vector<std::uint8_t> bytes = statement.Bytes(1);
  if (type != nullptr) *type = static_cast<std::uint32_t>(statement.Integer(0));
  const auto stored = static_cast<std::uint32_t>(bytes.size());
  if (data == nullptr) {
    if (size != nullptr) *size = stored;
    return kErrorSuccess;
  }
  if (size == nullptr) return kErrorInvalidParameter;
  if (*size < stored) {
    *size = stored;
    return kErrorMoreData;
  }
  if (stored > 0) std::memcpy(data, bytes.data(), stored);
  *size = stored;
  return kErrorSuccess;
}

ErrorCode SqliteRegistry::SetValue(RegistryKey key, std::u16string_view name, std::uint32_t type,
                                   const std::uint8_t* data, std::uint32_t size) {
  std::lock_guard lock(mutex_);
  std::int64_t key_id = 0;
  if (ErrorCode error = Resolve(key, true, &key_id); error != kErrorSuccess) return error;
  const std::vector<std::uint8_t> bytes = size == 0 || data == nullptr
                                              ? std::vector<std::uint8_t>()
                                              : std::vector<std::uint8_t>(data, data + size);
  SqliteStatement statement = database_->Prepare(
      "INSERT INTO registry_values (key_id, name, folded_name, type, data) VALUES (?, ?, ?, ?, ?) "
      "ON CONFLICT (key_id, folded_name) DO UPDATE SET type = excluded.type, data = excluded.data");
  statement.Bind(1, key_id).Bind(2, name).Bind(3, Folded(name));
  statement.Bind(4, static_cast<std::int64_t>(type)).Bind(5, bytes);
  return statement.Run() ? kErrorSuccess : kErrorGenFailure;
}

ErrorCode SqliteRegistry::DeleteValue(RegistryKey key, std::u16string_view name) {
  std::lock_guard lock(mutex_);
  std::int64_t key_id = 0;
  if (ErrorCode error = Resolve(key, true, &key_id); error != kErrorSuccess) return error;
  SqliteStatement statement =
      database_->Prepare("DELETE FROM registry_values WHERE key_id = ? AND folded_name = ?");
  if (!statement.Bind(1, key_id).Bind(2, Folded(name)).Run()) return kErrorGenFailure;
  return database_->Changes() == 1 ? kErrorSuccess : kErrorFileNotFound;
}

ErrorCode SqliteRegistry::DeleteKey(RegistryKey parent, std::u16string_view name) {
  std::lock_guard lock(mutex_);
  if (name.empty()) return kErrorBadPathname;
  return InWriteTransaction(*database_, [&] {
    std::int64_t parent_id = 0;
    std::int64_t key_id = 0;
    if (ErrorCode error = Resolve(parent, true, &parent_id); error != kErrorSuccess) return error;
    if (ErrorCode error = Walk(parent_id, name, false, &key_id); error != kErrorSuccess) {
      return error;
    }
    SqliteStatement children = database_->Prepare("SELECT 1 FROM registry_keys WHERE parent = ?");
    if (children.Bind(1, key_id).Step()) return kErrorAccessDenied;
    SqliteStatement statement = database_->Prepare("DELETE FROM registry_keys WHERE id = ?");
    return statement.Bind(1, key_id).Run() ? kErrorSuccess : kErrorGenFailure;
  });
}

ErrorCode SqliteRegistry::EnumKey(RegistryKey key, std::uint32_t index, std::u16string* name) {
  std::lock_guard lock(mutex_);
  std::int64_t key_id = 0;
  if (ErrorCode error = Resolve(key, false, &key_id); error != kErrorSuccess) return error;
  SqliteStatement statement = database_->Prepare(
      "SELECT name FROM registry_keys WHERE parent = ? ORDER BY id LIMIT 1 OFFSET ?");
  if (!statement.Bind(1, key_id).Bind(2, static_cast<std::int64_t>(index)).Step()) {
    return kErrorNoMoreItems;
  }
  *name = statement.Text(0);
  return kErrorSuccess;
}

ErrorCode SqliteRegistry::QueryInfoKey(RegistryKey key, std::uint32_t* subkeys,
                                       std::uint32_t* values) {
  std::lock_guard lock(mutex_);
  std::int64_t key_id = 0;
  if (ErrorCode error = Resolve(key, false, &key_id); error != kErrorSuccess) return error;
  SqliteStatement statement = database_->Prepare(
      "SELECT (SELECT COUNT(*) FROM registry_keys WHERE parent = ?1), "
      "(SELECT COUNT(*) FROM registry_values WHERE key_id = ?1)");
  if (!statement.Bind(1, key_id).Step()) return kErrorGenFailure;
  if (subkeys != nullptr) *subkeys = static_cast<std::uint32_t>(statement.Integer(0));
  if (values != nullptr) *values = static_cast<std::uint32_t>(statement.Integer(1));
  return kErrorSuccess;
}

}  // namespace kestrav::platform::host
