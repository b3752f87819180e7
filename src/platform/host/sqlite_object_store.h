// The object store kept in SQLite files: each mounted volume ("\pim.vol") is one file below the
// device's root. Every write commits at once.
#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "platform/host/host_file_system.h"
#include "platform/host/sqlite_database.h"
#include "platform/object_store.h"

namespace kestrav::platform::host {

class SqliteObjectStore : public ObjectStore {
 public:
  explicit SqliteObjectStore(HostFileSystem& files) : files_(files) {}

  ErrorCode MountVolume(std::u16string_view path, Disposition disposition,
                        VolumeId* volume) override;
  ErrorCode UnmountVolume(VolumeId volume) override;
  ErrorCode CreateDatabase(VolumeId volume, std::u16string_view name) override;
  DatabaseHandle OpenDatabase(VolumeId volume, std::u16string_view name) override;
  ErrorCode CloseDatabase(DatabaseHandle database) override;
  ErrorCode RecordCount(DatabaseHandle database, std::uint32_t* count) override;
  ObjectId ReadNext(DatabaseHandle database, const std::vector<std::uint32_t>* property_ids,
                    std::vector<PropertyValue>* properties) override;
  ObjectId Seek(DatabaseHandle database, ObjectId object_id) override;
  ObjectId Write(DatabaseHandle database, ObjectId object_id,
                 const std::vector<PropertyValue>& properties) override;
  ErrorCode Delete(DatabaseHandle database, ObjectId object_id) override;

 private:
  struct OpenDatabaseState {
    VolumeId volume;
    std::int64_t database_id;
    ObjectId position;  // the smallest object id the next read may return
  };

  OpenDatabaseState* Find(DatabaseHandle database);
  // The properties of a record in written order.
  std::vector<PropertyValue> LoadProperties(SqliteDatabase& volume, ObjectId object_id);

  HostFileSystem& files_;
  std::mutex mutex_;
  std::map<VolumeId, std::unique_ptr<SqliteDatabase>> volumes_;
  std::map<DatabaseHandle, OpenDatabaseState> databases_;
  VolumeId next_volume_ = 1;
  DatabaseHandle next_database_ = 1;
};

}  // namespace kestrav::platform::host
