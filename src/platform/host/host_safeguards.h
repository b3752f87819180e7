// The safeguards of a device profile on the host.
//
// - The job lock is an exclusive flock on <profile>/job.lock, which also names the job that
//   holds it; the kernel releases it when its process ends, however it ends.
// - The stores are the object-store volumes of the profile ("\pim.vol", and "\cemail.vol" when
//   there is one). A snapshot is SQLite's online backup of each into <profile>/undo/, written
//   first into <profile>/undo.partial/ and swapped in whole, so a kill never leaves half a
//   snapshot in place of the last one. Putting it back is again an online backup, one
//   transaction a store. The registry is settings, not data a job changes: it is not copied.
#pragma once

#include <filesystem>

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
  // The object store's failure, else the message store's.
  std::u16string StoreFailure() override;
  void ClearStoreFailure() override;

 private:
  std::filesystem::path profile_;
  HostFileSystem& files_;
  SqliteObjectStore& store_;
  SqliteMessageRuntime& messages_;
  const Clock& clock_;
};

}  // namespace kestrav::platform::host
