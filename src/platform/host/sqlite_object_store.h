// The object store kept in SQLite files: each mounted volume ("\pim.vol") is one file below the
// device's root. Every write commits at once, or with its job batch (SqliteDatabase).
//
// When the host fails under a volume (a full disk, a read-only file, another program's lock held
// past the wait, an input/output error, a damaged file, a link in the file's place), the store
// answers from then on as a failed device does: a mount fails, an open finds no database, a seek
// or a read finds no record, a write creates none, a delete fails. So every pass over the store
// ends as it would on a device whose store broke, and never loops; the failure is kept, with its
// cause, until it is cleared.
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
  // busy_timeout_milliseconds: how long a call waits for another program's lock before the
  // store fails.
  explicit SqliteObjectStore(HostFileSystem& files,
                             int busy_timeout_milliseconds = kStoreBusyTimeoutMilliseconds)
      : files_(files), busy_timeout_milliseconds_(busy_timeout_milliseconds) {}

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

  // The volume and the cause of the first host failure, as "\pim.vol: the disk is full";
  // empty when there was none since the last ClearFailure.
  std::u16string FailureText();
  void ClearFailure();
  int busy_timeout_milliseconds() const { return busy_timeout_milliseconds_; }

  // Reads in a row share a read transaction (SqliteDatabase::Reading), and any write of this
  // store ends them all first. EndReads ends them too, so that a change another connection is
  // about to make is seen by the next read.
  void EndReads();

  // Job batches (SqliteDatabase::BeginBatches) for every volume, those mounted later included,
  // until EndJobBatches commits them; false when a commit failed, its failure kept.
  void BeginJobBatches(
      int writes_per_batch = kWritesPerBatch,
      std::chrono::milliseconds batch_age = std::chrono::milliseconds(kBatchMilliseconds));
  bool EndJobBatches();
  // Commits the batches open now, which go on; false when a commit failed, its failure kept.
  bool CommitJobBatches();

 private:
  struct OpenDatabaseState {
    VolumeId volume;
    std::int64_t database_id;
    ObjectId position;  // the smallest object id the next read may return
    // The record the last seek reached, and the read transaction it was reached in: while that
    // transaction lasts, a read at that position needs no search.
    ObjectId sought = 0;
    std::uint64_t sought_in = 0;
  };

  // The state of an open database on a volume that still works; null otherwise.
  OpenDatabaseState* Find(DatabaseHandle database);
  // Whether the volume has failed; its first failure becomes the store's.
  bool Failing(VolumeId volume);
  ErrorCode FailureError() const;
  void EndReadsLocked();
  // Commits the batches of the connections other than the volume's.
  void YieldBatches(VolumeId volume);
  // The properties of a record in written order.
  std::vector<PropertyValue> LoadProperties(SqliteDatabase& volume, ObjectId object_id);

  HostFileSystem& files_;
  const int busy_timeout_milliseconds_;
  std::mutex mutex_;
  std::map<VolumeId, std::unique_ptr<SqliteDatabase>> volumes_;
  std::map<VolumeId, std::u16string> volume_paths_;
  std::optional<StoreFailure> failure_;
  std::u16string failed_volume_;
  std::map<DatabaseHandle, OpenDatabaseState> databases_;
  bool batching_ = false;
  int writes_per_batch_ = kWritesPerBatch;
  std::chrono::milliseconds batch_age_{kBatchMilliseconds};
  VolumeId next_volume_ = 1;
  DatabaseHandle next_database_ = 1;
};

}  // namespace kestrav::platform::host
