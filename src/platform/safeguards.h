// Safeguards: what keeps a device's data safe on a host that other programs share, where the
// handheld had nothing to fear - one job at a time on a device, a device that can be written
// before a job starts changing it, a copy of its stores taken before a job changes them (so the
// change can be undone), and the cause when a store failed under a job.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/system_error.h"
#include "platform/time.h"

namespace kestrav::platform {

// The answer of TryLockJob when another job holds the lock.
inline constexpr ErrorCode kErrorLockViolation = 33;

// The job that holds a device's job lock, as it named itself.
struct JobHolder {
  std::u16string job;
  std::uint32_t process_id = 0;
  SystemTime started;  // UTC
};

// A device's job lock, held for as long as the object lives.
class JobLock {
 public:
  virtual ~JobLock() = default;
};

// A job's use of a folder it writes into, held for as long as the object lives.
class FolderUse {
 public:
  virtual ~FolderUse() = default;
};

// The job a copy of the stores was taken before, and when.
struct SnapshotInfo {
  std::u16string job;
  SystemTime taken;  // UTC
};

class Safeguards {
 public:
  virtual ~Safeguards() = default;

  // Takes the device's exclusive job lock for the named job, without waiting. When another job
  // holds it: kErrorLockViolation, with *holder telling which.
  virtual ErrorCode TryLockJob(std::u16string_view job, std::unique_ptr<JobLock>* lock,
                               JobHolder* holder) = 0;
  // Whether a job can work on the device now: its folders are real folders (no links) and the
  // temporary folder can be written; with stores_too, every store can be written as well (no
  // read-only file, no lock held by another program past the wait). *reason says why not.
  virtual ErrorCode CheckWritable(bool stores_too, std::u16string* reason) = 0;
  // Copies every store, replacing the last copy only once the new one is whole.
  virtual ErrorCode TakeSnapshot(std::u16string_view job, std::u16string* reason) = 0;
  // Once the job that took the last copy is over: when no store changed since the copy was
  // taken, the copy before it takes its place again, so that undo still leads back from the last
  // job that changed something. A job killed before this keeps its own copy in place.
  virtual void SettleSnapshot() = 0;
  // Puts the last copy back into the stores; kErrorFileNotFound when there is none.
  virtual ErrorCode RestoreSnapshot(SnapshotInfo* info, std::u16string* reason) = 0;
  // The job the last copy was taken before, without putting it back; kErrorFileNotFound when
  // there is none, so that a front end can say what undo would undo.
  virtual ErrorCode LastSnapshot(SnapshotInfo* info) = 0;
  // The store that failed under the device and why ("\pim.vol: the disk is full"), since the
  // last ClearStoreFailure; empty when none did.
  virtual std::u16string StoreFailure() = 0;
  virtual void ClearStoreFailure() = 0;

  // Marks the folder as one this job writes into for as long as *use lives. *alone tells whether
  // no other job, of this device or another, writes into it now: only then may what jobs left
  // there when they were killed be removed. Null *use and false *alone when the folder cannot
  // be opened.
  virtual void UseFolder(std::u16string_view folder, std::unique_ptr<FolderUse>* use,
                         bool* alone) = 0;
};

}  // namespace kestrav::platform
