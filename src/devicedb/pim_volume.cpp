#include "devicedb/pim_volume.h"

#include <algorithm>
#include <functional>
#include <string_view>

#include "devicedb/texts.h"
#include "engine/status_text.h"

namespace kestrav::devicedb {
namespace {

using platform::DatabaseHandle;
using platform::kInvalidDatabaseHandle;
using platform::ObjectStore;
using platform::PropertyType;
using platform::PropertyValue;

struct PimDatabaseInfo {
  const char16_t* database_name;
  const char16_t* connecting;
  const char16_t* disconnecting;
  const char16_t* none_found;
  const char16_t* database_contains;
  const char16_t* deleting;
  const char16_t* deleted;
  const char16_t* deleted_plural;
};

const PimDatabaseInfo& InfoOf(PimDatabase kind) {
  static constexpr PimDatabaseInfo kCallLogs{
      .database_name = kCallLogDatabase,
      .connecting = texts::kConnectingCallLogs,
      .disconnecting = texts::kDisconnectingCallLogs,
      .none_found = texts::kNoCallLogsFound,
      .database_contains = texts::kCallLogsDatabaseContains,
      .deleting = texts::kDeletingCallLogs,
      .deleted = texts::kCallLogDeleted,
      .deleted_plural = texts::kCallLogsDeleted,
  };
  static constexpr PimDatabaseInfo kSpeedDials{
      .database_name = kSpeedDialDatabase,
      .connecting = texts::kConnectingSpeedDials,
      .disconnecting = texts::kDisconnectingSpeedDials,
      .none_found = texts::kNoSpeedDialsFound,
      .database_contains = texts::kSpeedDialsDatabaseContains,
      .deleting = texts::kDeletingSpeedDials,
      .deleted = texts::kSpeedDialDeleted,
      .deleted_plural = texts::kSpeedDialsDeleted,
  };
  return kind == PimDatabase::kCallLogs ? kCallLogs : kSpeedDials;
}

void SendLine(engine::ProgressSink* sink, std::u16string_view text) {
  engine::SendLog(sink, text, engine::LogIcon::kInformation);
}

// Deletes the first record until none is left, telling on_deleted the number deleted after each
// success. A delete that fails is not counted and the next seek meets its record again: there is
// no retry limit, only the cancel flag (when there is one) ends the loop early.
void DeleteEveryRecord(ObjectStore& store, DatabaseHandle database,
                       const engine::CancelFlag* cancel,
                       const std::function<void(std::uint32_t)>& on_deleted) {
  std::uint32_t deleted = 0;
  while (cancel == nullptr || cancel->load() == 0) {
    const platform::ObjectId first = store.Seek(database, 0);
    if (first == 0) return;
    if (store.Delete(database, first) == platform::kErrorSuccess) on_deleted(++deleted);
  }
}

// A database string ends at its first NUL, as the device's strings do.
std::u16string_view TerminatedText(const std::u16string& text) {
  return std::u16string_view(text.c_str());
}

}  // namespace

bool CeDbSession::Connect(PimDatabase kind) {
  const PimDatabaseInfo& info = InfoOf(kind);
  SendLine(sink_, info.connecting);
  if (store_.MountVolume(kPimVolume, platform::Disposition::kOpenExisting, &volume) !=
      platform::kErrorSuccess) {
    return false;
  }
  mounted = true;
  database = store_.OpenDatabase(volume, info.database_name);
  if (kind == PimDatabase::kSpeedDials) contacts = store_.OpenDatabase(volume, kContactsDatabase);
  return true;
}

void CeDbSession::Disconnect(PimDatabase kind) {
  SendLine(sink_, InfoOf(kind).disconnecting);
  for (DatabaseHandle* handle : {&database, &contacts}) {
    if (*handle == kInvalidDatabaseHandle) continue;
    store_.CloseDatabase(*handle);
    *handle = kInvalidDatabaseHandle;
  }
  SendLine(sink_, texts::kDisconnected);
}

void CeDbSession::Unmount() {
  if (!mounted) return;
  store_.UnmountVolume(volume);
  mounted = false;
  database = kInvalidDatabaseHandle;
  contacts = kInvalidDatabaseHandle;
}

void CeDbSession::DeleteAll(PimDatabase kind) {
  const PimDatabaseInfo& info = InfoOf(kind);
  const std::uint32_t count = RecordCount(store_, database);
  if (count == 0) {
    SendLine(sink_, info.none_found);
    return;
  }
  engine::PostProgress(sink_, 0, count, false);
  database_contents_text =
      info.database_contains + engine::CountText(count, texts::kRecord, texts::kRecords);
  SendLine(sink_, info.deleting);
  DeleteEveryRecord(store_, database, cancel_, [this](std::uint32_t deleted) {
    engine::PostProgress(sink_, deleted, 0, false);
  });
  const long dropped = static_cast<long>(count) - static_cast<long>(RecordCount(store_, database));
  SendLine(sink_, engine::CountText(dropped, info.deleted, info.deleted_plural));
}

HeldPimDatabase::~HeldPimDatabase() {
  if (handle_ != kInvalidDatabaseHandle) store_.CloseDatabase(handle_);
  if (mounted_) store_.UnmountVolume(volume_);
}

platform::ErrorCode HeldPimDatabase::Open(std::u16string_view name) {
  const platform::ErrorCode mount =
      store_.MountVolume(kPimVolume, platform::Disposition::kOpenExisting, &volume_);
  if (mount != platform::kErrorSuccess) return mount;
  mounted_ = true;
  handle_ = store_.OpenDatabase(volume_, name);
  return handle_ == kInvalidDatabaseHandle ? platform::kErrorFileNotFound : platform::kErrorSuccess;
}

std::uint32_t RecordCount(ObjectStore& store, DatabaseHandle database) {
  std::uint32_t count = 0;
  return store.RecordCount(database, &count) == platform::kErrorSuccess ? count : 0;
}

bool ValueEquality(const PropertyValue& database_value, const PropertyValue& file_value) {
  // Equal flags make the file value's "not found" bit the database value's.
  if (database_value.flags != file_value.flags ||
      (database_value.flags & platform::kPropertyNotFound) != 0) {
    return false;
  }
  switch (database_value.type()) {
    case PropertyType::kString:
      return TerminatedText(database_value.text) == TerminatedText(file_value.text);
    case PropertyType::kInt16:
    case PropertyType::kUInt16:
      return static_cast<std::uint16_t>(database_value.integer) ==
             static_cast<std::uint16_t>(file_value.integer);
    case PropertyType::kInt32:
    case PropertyType::kBool:
    case PropertyType::kUInt32:
    case PropertyType::kAutoInt32:
      return static_cast<std::uint32_t>(database_value.integer) ==
             static_cast<std::uint32_t>(file_value.integer);
    case PropertyType::kDouble:
      return database_value.real == file_value.real;
    case PropertyType::kFileTime:
      return database_value.file_time == file_value.file_time;
    case PropertyType::kBlob:
    case PropertyType::kStream:
    case PropertyType::kRecordId:
    case PropertyType::kAutoInt64:
      return database_value.bytes == file_value.bytes;
  }
  return false;
}

std::uint16_t FindProperty(std::span<const PropertyValue> properties, std::uint32_t property_id) {
  const auto found = std::ranges::find(properties, property_id, &PropertyValue::id);
  if (found == properties.end()) return kPropertyAbsent;
  // A record holds at most 0xFFFF properties (its count is 16-bit), so the index fits below
  // kPropertyAbsent.
  return static_cast<std::uint16_t>(found - properties.begin());
}

bool DeleteAllFromMenu(ObjectStore& store, PimDatabase kind, DeletionProgress& progress) {
  platform::VolumeId volume = 0;
  DatabaseHandle database = kInvalidDatabaseHandle;
  if (store.MountVolume(kPimVolume, platform::Disposition::kOpenExisting, &volume) ==
      platform::kErrorSuccess) {
    database = store.OpenDatabase(volume, InfoOf(kind).database_name);
  }
  const bool opened = database != kInvalidDatabaseHandle;
  if (opened) {
    const std::uint32_t count = RecordCount(store, database);
    if (count > 0) {
      progress.Start(count);
      DeleteEveryRecord(store, database, nullptr,
                        [&progress](std::uint32_t deleted) { progress.SetPosition(deleted); });
    }
    store.CloseDatabase(database);
  }
  // The volume stays mounted: the menu's deletion has never unmounted it.
  progress.Finish();
  return opened;
}

}  // namespace kestrav::devicedb
