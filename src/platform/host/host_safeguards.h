// The safeguards of a device profile on the host.
//
// - The job lock is an exclusive flock on <profile>/job.lock, which also names the job that
//   holds it; the kernel releases it when its process ends, however it ends.
// - The stores are the object-store volumes of the profile ("\pim.vol", and "\cemail.vol" when
//   there is one). A snapshot is SQLite's online backup of each into <profile>/undo/, written
//   first into <profile>/undo.partial/ and swapped in whole, so a kill never leaves half a
//   snapshot in place of the last one. The copy it replaces waits in <profile>/undo.previous/
//   until the job is over, and takes its place back when the job changed no store (SQLite's
//   data_version, read on the connection the copy was taken through). Putting a copy back is
//   again an online backup, one transaction a store. The registry is settings, not data a job
//   changes: it is not copied.
// - From the snapshot until the job is over, the stores commit the job's writes in batches
//   (SqliteDatabase); settling the snapshot commits the last one.
#pragma once

#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <vector>

#include "platform/clock.h"
#include "platform/host/host_file_system.h"
#include "platform/host/sqlite_message_store.h"
#include "platform/host/sqlite_object_store.h"
#include "platform/safeguards.h"

namespace kestrav::platform::host {

class HostSafeguards : public Safeguards {
 public:
  HostSafeguards(std::filesystem::path profile, HostFileSystem& files, SqliteObjectStore& store,
                 SqliteMessageRuntime& messages, const Clock& clock)
      : profile_(std::move(profile)),
        files_(files),
        store_(store),
        messages_(messages),
        clock_(clock) {}

  ErrorCode TryLockJob(std::u16string_view job, std::unique_ptr<JobLock>* lock,
                       JobHolder* holder) override;
  ErrorCode CheckWritable(bool stores_too, std::u16string* reason) override;
  ErrorCode TakeSnapshot(std::u16string_view job, std::u16string* reason) override;
  ErrorCode RestoreSnapshot(SnapshotInfo* info, std::u16string* reason) override;
  ErrorCode LastSnapshot(SnapshotInfo* info) override;
  void SettleSnapshot() override;
  // The object store's failure, else the message store's.
  std::u16string StoreFailure() override;
  void ClearStoreFailure() override;
  // A shared lock on the folder itself, which the kernel lets go when the process ends however
  // it ends; alone when an exclusive one could be had first.
  void UseFolder(std::u16string_view folder, std::unique_ptr<FolderUse>* use, bool* alone) override;

 private:
  // A store as it was when the last copy was taken: a connection kept open for SQLite to say
  // whether another connection committed a change since, and the version it gave then.
  struct WatchedStore {
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> connection{nullptr, sqlite3_close_v2};
    std::int64_t data_version = 0;
  };
  bool StoresChangedSinceSnapshot();
  // Commits the stores' job batches and writes each write on its own again.
  void EndJobBatches();

  std::filesystem::path profile_;
  HostFileSystem& files_;
  SqliteObjectStore& store_;
  SqliteMessageRuntime& messages_;
  const Clock& clock_;
  bool settling_ = false;  // a copy was taken and its job is not over
  std::vector<WatchedStore> watched_;
  std::vector<std::u16string> absent_at_snapshot_;  // volumes a job may make
};

}  // namespace kestrav::platform::host
