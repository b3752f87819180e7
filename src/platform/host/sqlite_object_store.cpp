#include "platform/host/sqlite_object_store.h"

#include <algorithm>
#include <bit>

#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

constexpr char kSchema[] = R"sql(
CREATE TABLE IF NOT EXISTS databases (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  name TEXT NOT NULL UNIQUE);
CREATE TABLE IF NOT EXISTS records (
  oid INTEGER PRIMARY KEY AUTOINCREMENT,
  database_id INTEGER NOT NULL REFERENCES databases(id));
CREATE INDEX IF NOT EXISTS records_by_database ON records (database_id, oid);
CREATE TABLE IF NOT EXISTS properties (
  oid INTEGER NOT NULL REFERENCES records(oid) ON DELETE CASCADE,
  position INTEGER NOT NULL,
  id INTEGER NOT NULL,
  flags INTEGER NOT NULL,
  integer INTEGER,
  real REAL,
  text TEXT,
  bytes BLOB,
  PRIMARY KEY (oid, id)) WITHOUT ROWID;
)sql";

void BindValue(SqliteStatement& statement, const PropertyValue& value) {
  statement.Bind(4, static_cast<std::int64_t>(value.flags));
  switch (value.type()) {
    case PropertyType::kDouble:
      // Kept as its bits: a SQL real would lose a NaN's payload (or the NaN) and -0.0.
      statement.Bind(5, std::bit_cast<std::int64_t>(value.real));
      break;
    case PropertyType::kString:
      statement.Bind(7, std::u16string_view(value.text));
      break;
    case PropertyType::kFileTime:
      statement.Bind(5, static_cast<std::int64_t>(value.file_time));
      break;
    case PropertyType::kBlob:
    case PropertyType::kStream:
    case PropertyType::kRecordId:
    case PropertyType::kAutoInt64:
      statement.Bind(8, value.bytes);
      break;
    default:
      statement.Bind(5, value.integer);
      break;
  }
}

PropertyValue ReadValue(const SqliteStatement& row) {
  PropertyValue value;
  value.id = static_cast<std::uint32_t>(row.Integer(0));
  value.flags = static_cast<std::uint16_t>(row.Integer(1));
  switch (value.type()) {
    case PropertyType::kDouble:
      // Volumes written before doubles were kept as bits hold them as reals.
      value.real = row.IsNull(3) ? std::bit_cast<double>(row.Integer(2)) : row.Real(3);
      break;
    case PropertyType::kString:
      value.text = row.Text(4);
      break;
    case PropertyType::kFileTime:
      value.file_time = static_cast<FileTime>(row.Integer(2));
      break;
    case PropertyType::kBlob:
    case PropertyType::kStream:
    case PropertyType::kRecordId:
    case PropertyType::kAutoInt64:
      value.bytes = row.Bytes(5);
      break;
    default:
      value.integer = row.Integer(2);
      break;
  }
  return value;
}

// The device's answer to a host failure of its store.
ErrorCode DeviceErrorOf(const StoreFailure& failure) {
  switch (failure.code & 0xFF) {
    case SQLITE_FULL:
      return kErrorDiskFull;
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return kErrorWriteProtect;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return kErrorSharingViolation;
    case SQLITE_IOERR:
      return kErrorWriteFault;
    case SQLITE_NOMEM:
      return kErrorNotEnoughMemory;
  }
  return kErrorGenFailure;
}

}  // namespace

std::u16string SqliteObjectStore::FailureText() {
  std::lock_guard lock(mutex_);
  for (const auto& [volume, database] : volumes_) {
    if (Failing(volume)) break;
  }
  if (!failure_) return {};
  return failed_volume_ + u": " + FromUtf8(failure_->message);
}

void SqliteObjectStore::EndReads() {
  std::lock_guard lock(mutex_);
  EndReadsLocked();
}

void SqliteObjectStore::EndReadsLocked() {
  // A volume may be mounted more than once: every read after a write must see it.
  for (auto& [volume, database] : volumes_) database->EndReading();
}

void SqliteObjectStore::BeginJobBatches(int writes_per_batch, std::chrono::milliseconds batch_age) {
  std::lock_guard lock(mutex_);
  batching_ = true;
  writes_per_batch_ = writes_per_batch;
  batch_age_ = batch_age;
  for (auto& [volume, database] : volumes_) database->BeginBatches(writes_per_batch, batch_age);
}

bool SqliteObjectStore::EndJobBatches() {
  std::lock_guard lock(mutex_);
  batching_ = false;
  bool committed = true;
  for (auto& [volume, database] : volumes_) {
    if (!database->EndBatches()) {
      committed = false;
      Failing(volume);
    }
  }
  return committed;
}

bool SqliteObjectStore::CommitJobBatches() {
  std::lock_guard lock(mutex_);
  bool committed = true;
  for (auto& [volume, database] : volumes_) {
    if (!database->CommitBatch()) {
      committed = false;
      Failing(volume);
    }
  }
  return committed;
}

void SqliteObjectStore::YieldBatches(VolumeId volume) {
  // A volume may be mounted more than once, each mount its own connection: what one holds in its
  // batch is committed before another reads the file or waits on its lock to write.
  for (auto& [other, database] : volumes_) {
    if (other != volume) database->CommitBatch();
  }
}

void SqliteObjectStore::ClearFailure() {
  std::lock_guard lock(mutex_);
  failure_.reset();
  failed_volume_.clear();
  for (auto& [volume, database] : volumes_) database->ClearFailure();
}

bool SqliteObjectStore::Failing(VolumeId volume) {
  const auto found = volumes_.find(volume);
  if (found == volumes_.end()) return true;
  const std::optional<StoreFailure>& failure = found->second->failure();
  if (!failure) return false;
  if (!failure_) {
    failure_ = failure;
    failed_volume_ = volume_paths_[volume];
  }
  return true;
}

ErrorCode SqliteObjectStore::FailureError() const {
  return failure_ ? DeviceErrorOf(*failure_) : kErrorGenFailure;
}

ErrorCode SqliteObjectStore::MountVolume(std::u16string_view path, Disposition disposition,
                                         VolumeId* volume) {
  std::lock_guard lock(mutex_);
  // A store that failed stays failed until the failure is cleared, as a broken device's would.
  if (failure_) return FailureError();
  auto fail = [&](StoreFailure failure) {
    failure_ = std::move(failure);
    failed_volume_ = path;
    return FailureError();
  };
  FileAttributeData attributes;
  const ErrorCode found = files_.GetAttributes(path, &attributes);
  if (found == kErrorAccessDenied)
    return fail(StoreFailure{SQLITE_CANTOPEN, "the file is reached through a symbolic link"});
  const bool exists = found == kErrorSuccess && (attributes.attributes & kAttributeDirectory) == 0;
  if (!exists && disposition == Disposition::kOpenExisting) return kErrorFileNotFound;
  if (exists && disposition == Disposition::kCreateNew) return kErrorFileExists;
  StoreFailure opening;
  std::unique_ptr<SqliteDatabase> database =
      SqliteDatabase::Open(files_.HostPath(path), true, &opening, busy_timeout_milliseconds_);
  if (!database) return fail(opening);
  // A new volume keeps its text in UTF-16, so strings come back unit for unit, unpaired
  // surrogates included; the pragma does nothing to a volume that already has tables.
  if (!database->Execute("PRAGMA encoding = 'UTF-16le'") || !database->Execute(kSchema)) {
    return fail(database->failure().value_or(StoreFailure{SQLITE_NOTADB, "the file is damaged"}));
  }
  if (batching_) database->BeginBatches(writes_per_batch_, batch_age_);
  *volume = next_volume_++;
  volumes_[*volume] = std::move(database);
  volume_paths_[*volume] = path;
  return kErrorSuccess;
}

ErrorCode SqliteObjectStore::UnmountVolume(VolumeId volume) {
  std::lock_guard lock(mutex_);
  if (const auto found = volumes_.find(volume); found != volumes_.end())
    found->second->CommitBatch();
  Failing(volume);
  if (volumes_.erase(volume) == 0) return kErrorInvalidParameter;
  volume_paths_.erase(volume);
  std::erase_if(databases_, [&](const auto& entry) { return entry.second.volume == volume; });
  return kErrorSuccess;
}

ErrorCode SqliteObjectStore::CreateDatabase(VolumeId volume, std::u16string_view name) {
  std::lock_guard lock(mutex_);
  if (Failing(volume)) return volumes_.contains(volume) ? FailureError() : kErrorInvalidParameter;
  EndReadsLocked();
  YieldBatches(volume);
  SqliteStatement insert = volumes_[volume]->Prepare("INSERT INTO databases (name) VALUES (?)");
  if (volumes_[volume]->Writing() && insert.Bind(1, name).Run()) return kErrorSuccess;
  return Failing(volume) ? FailureError() : kErrorAlreadyExists;
}

DatabaseHandle SqliteObjectStore::OpenDatabase(VolumeId volume, std::u16string_view name) {
  std::lock_guard lock(mutex_);
  if (Failing(volume)) return kInvalidDatabaseHandle;
  YieldBatches(volume);
  volumes_[volume]->Reading();
  SqliteStatement query = volumes_[volume]->Prepare("SELECT id FROM databases WHERE name = ?");
  if (!query.Bind(1, name).Step()) {
    Failing(volume);
    return kInvalidDatabaseHandle;
  }
  const DatabaseHandle handle = next_database_++;
  databases_[handle] = OpenDatabaseState{volume, query.Integer(0), 0};
  return handle;
}

ErrorCode SqliteObjectStore::CloseDatabase(DatabaseHandle database) {
  std::lock_guard lock(mutex_);
  const auto found = databases_.find(database);
  if (found == databases_.end()) return kErrorInvalidHandle;
  if (const auto volume = volumes_.find(found->second.volume); volume != volumes_.end())
    volume->second->EndReading();
  databases_.erase(found);
  return kErrorSuccess;
}

SqliteObjectStore::OpenDatabaseState* SqliteObjectStore::Find(DatabaseHandle database) {
  const auto found = databases_.find(database);
  if (found == databases_.end() || Failing(found->second.volume)) return nullptr;
  YieldBatches(found->second.volume);
  return &found->second;
}

ErrorCode SqliteObjectStore::RecordCount(DatabaseHandle database, std::uint32_t* count) {
  std::lock_guard lock(mutex_);
  OpenDatabaseState* state = Find(database);
  if (state == nullptr) return failure_ ? FailureError() : kErrorInvalidHandle;
  volumes_[state->volume]->Reading();
  const CachedStatement query =
      volumes_[state->volume]->Cached("SELECT COUNT(*) FROM records WHERE database_id = ?");
  if (!query->Bind(1, state->database_id).Step()) {
    return Failing(state->volume) ? FailureError() : kErrorGenFailure;
  }
  *count = static_cast<std::uint32_t>(query->Integer(0));
  return kErrorSuccess;
}

std::vector<PropertyValue> SqliteObjectStore::LoadProperties(SqliteDatabase& volume,
                                                             ObjectId object_id) {
  // Sorted here rather than by SQL: a record's few properties sort faster than a sorter starts.
  std::vector<std::pair<std::int64_t, PropertyValue>> positioned;
  const CachedStatement query = volume.Cached(
      "SELECT id, flags, integer, real, text, bytes, position FROM properties WHERE oid = ?");
  query->Bind(1, static_cast<std::int64_t>(object_id));
  while (query->Step()) positioned.emplace_back(query->Integer(6), ReadValue(*query));
  std::ranges::sort(positioned, {}, &std::pair<std::int64_t, PropertyValue>::first);
  std::vector<PropertyValue> properties;
  properties.reserve(positioned.size());
  for (auto& [position, value] : positioned) properties.push_back(std::move(value));
  return properties;
}

ObjectId SqliteObjectStore::ReadNext(DatabaseHandle database,
                                     const std::vector<std::uint32_t>* property_ids,
                                     std::vector<PropertyValue>* properties) {
  std::lock_guard lock(mutex_);
  properties->clear();
  OpenDatabaseState* state = Find(database);
  if (state == nullptr) return 0;
  SqliteDatabase& volume = *volumes_[state->volume];
  volume.Reading();
  ObjectId object_id = 0;
  if (state->sought != 0 && state->sought == state->position && state->sought_in != 0 &&
      state->sought_in == volume.read_transaction()) {
    object_id = state->sought;
  } else {
    const CachedStatement query = volume.Cached(
        "SELECT oid FROM records WHERE database_id = ? AND oid >= ? ORDER BY oid LIMIT 1");
    if (!query->Bind(1, state->database_id)
             .Bind(2, static_cast<std::int64_t>(state->position))
             .Step()) {
      return 0;
    }
    object_id = static_cast<ObjectId>(query->Integer(0));
  }
  state->position = object_id + 1;
  if (property_ids == nullptr) {
    *properties = LoadProperties(volume, object_id);
  } else {
    // Only the properties asked for, each found by its key.
    const CachedStatement query = volume.Cached(
        "SELECT id, flags, integer, real, text, bytes FROM properties WHERE oid = ? AND id = ?");
    for (const std::uint32_t id : *property_ids) {
      query->Reset();
      if (query->Bind(1, static_cast<std::int64_t>(object_id))
              .Bind(2, static_cast<std::int64_t>(id))
              .Step()) {
        properties->push_back(ReadValue(*query));
      } else {
        PropertyValue missing;
        missing.id = id;
        missing.flags = kPropertyNotFound;
        properties->push_back(missing);
      }
    }
  }
  // A record whose properties could not all be read is no record.
  if (Failing(state->volume)) {
    properties->clear();
    return 0;
  }
  return object_id;
}

ObjectId SqliteObjectStore::Seek(DatabaseHandle database, ObjectId object_id) {
  std::lock_guard lock(mutex_);
  OpenDatabaseState* state = Find(database);
  if (state == nullptr) return 0;
  volumes_[state->volume]->Reading();
  const CachedStatement query = volumes_[state->volume]->Cached(
      object_id == 0 ? "SELECT oid FROM records WHERE database_id = ?1 ORDER BY oid LIMIT 1"
                     : "SELECT oid FROM records WHERE database_id = ?1 AND oid = ?2");
  query->Bind(1, state->database_id);
  if (object_id != 0) query->Bind(2, static_cast<std::int64_t>(object_id));
  if (!query->Step()) return 0;
  const auto reached = static_cast<ObjectId>(query->Integer(0));
  state->position = reached;
  state->sought = reached;
  state->sought_in = volumes_[state->volume]->read_transaction();
  return reached;
}

ObjectId SqliteObjectStore::Write(DatabaseHandle database, ObjectId object_id,
                                  const std::vector<PropertyValue>& properties) {
  std::lock_guard lock(mutex_);
  OpenDatabaseState* state = Find(database);
  if (state == nullptr) return 0;
  SqliteDatabase& volume = *volumes_[state->volume];
  EndReadsLocked();
  if (!volume.BeginWrite()) return 0;
  ObjectId target = object_id;
  bool written = true;
  if (target == 0) {
    written = volume.Cached("INSERT INTO records (database_id) VALUES (?)")
                  ->Bind(1, state->database_id)
                  .Run();
    target = static_cast<ObjectId>(volume.LastInsertId());
  } else {
    const CachedStatement exists =
        volume.Cached("SELECT 1 FROM records WHERE oid = ? AND database_id = ?");
    written = exists->Bind(1, static_cast<std::int64_t>(target)).Bind(2, state->database_id).Step();
  }
  std::int64_t position = 0;
  if (written) {
    const CachedStatement next_position =
        volume.Cached("SELECT COALESCE(MAX(position), -1) + 1 FROM properties WHERE oid = ?");
    written = next_position->Bind(1, static_cast<std::int64_t>(target)).Step();
    position = written ? next_position->Integer(0) : 0;
  }
  const CachedStatement insert = volume.Cached(
      "INSERT INTO properties (oid, id, position, flags, integer, real, text, bytes) "
      "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8) ON CONFLICT (oid, id) DO UPDATE SET "
      "flags = excluded.flags, integer = excluded.integer, real = excluded.real, "
      "text = excluded.text, bytes = excluded.bytes");
  for (const PropertyValue& value : properties) {
    if (!written) break;
    if ((value.flags & kPropertyDelete) != 0) {
      written = volume.Cached("DELETE FROM properties WHERE oid = ? AND id = ?")
                    ->Bind(1, static_cast<std::int64_t>(target))
                    .Bind(2, static_cast<std::int64_t>(value.id))
                    .Run();
      continue;
    }
    insert->Reset();
    insert->Bind(1, static_cast<std::int64_t>(target)).Bind(2, static_cast<std::int64_t>(value.id));
    insert->Bind(3, position++);
    BindValue(*insert, value);
    written = insert->Run();
  }
  if (written && volume.CommitWrite()) return target;
  volume.RollbackWrite();
  return 0;
}

ErrorCode SqliteObjectStore::Delete(DatabaseHandle database, ObjectId object_id) {
  std::lock_guard lock(mutex_);
  OpenDatabaseState* state = Find(database);
  if (state == nullptr) return failure_ ? FailureError() : kErrorInvalidHandle;
  SqliteDatabase& volume = *volumes_[state->volume];
  EndReadsLocked();
  const CachedStatement remove =
      volume.Cached("DELETE FROM records WHERE oid = ? AND database_id = ?");
  if (!volume.Writing() ||
      !remove->Bind(1, static_cast<std::int64_t>(object_id)).Bind(2, state->database_id).Run()) {
    return Failing(state->volume) ? FailureError() : kErrorGenFailure;
  }
  return volume.Changes() == 1 ? kErrorSuccess : kErrorFileNotFound;
}

}  // namespace kestrav::platform::host
