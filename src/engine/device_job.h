// DeviceJob: what a job goes through on a host that other programs share, before its pass and
// after it. The window, the command line and the scheduled run all take this way.
//
// Begin takes the device's exclusive job lock (waiting a bounded time for a job that holds it),
// checks that the device can be written, and clears what a killed job left in the temporary
// folder. A job that changes the stores (restore, import, delete-all) then takes a snapshot of
// them before its first change, which undo puts back. After the pass, StoreFailure tells whether
// a store failed under it. The lock goes with the object.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "engine/progress_sink.h"
#include "platform/device.h"

namespace kestrav::engine {

struct DeviceJobOptions {
  std::u16string name;          // how the job names itself to a job that waits for it
  bool changes_stores = false;  // every store must then be writable, not only the folders
  int wait_seconds = 60;        // how long to wait for another job; 0 gives up at once
  // Told once, when another job holds the lock and this one starts waiting.
  std::function<void(const platform::JobHolder& holder)> waiting = nullptr;
  // The job's Cancel button, which also ends the wait.
  const CancelFlag* cancel = nullptr;
};

class DeviceJob {
 public:
  // Null, with the reason in *refusal, when the job may not start; nothing has changed then.
  static std::unique_ptr<DeviceJob> Begin(const platform::Device& device,
                                          const DeviceJobOptions& options, std::u16string* refusal);
  ~DeviceJob();
  DeviceJob(const DeviceJob&) = delete;
  DeviceJob& operator=(const DeviceJob&) = delete;

  // Copies the stores as they are now, for undo; false with the reason. When the job is over
  // without having changed a store, the copy before this one is kept for undo instead.
  bool TakeSnapshot(std::u16string* reason);
  // The store that failed under the job and why; empty when none did.
  std::u16string StoreFailure() const;

 private:
  DeviceJob(const platform::Device& device, std::u16string name,
            std::unique_ptr<platform::JobLock> lock)
      : device_(device), name_(std::move(name)), lock_(std::move(lock)) {}

  const platform::Device& device_;
  std::u16string name_;
  std::unique_ptr<platform::JobLock> lock_;
  bool snapshot_taken_ = false;
};

// The job a lock holder is, for a line that tells the user: "the restore started by process 4242
// at 2007-03-15 10:20:30 UTC", or "another job" when it has not named itself yet.
std::u16string JobHolderText(const platform::JobHolder& holder);

// Removes what a job leaves in the temporary folder while it runs - record files named as a
// backup names them, the folder a restore extracts into - so that a job that was killed leaves
// nothing behind for long. Only while holding the job lock.
void ClearJobLeftovers(const platform::Device& device);

}  // namespace kestrav::engine
