// Tasks: the device's tasks to a ".cst" record file and back, and the deletion of every task.
//
// The file opens with the task signature; each line is one task, its subject as raw text (unlike
// an appointment's) and its other properties in alphabetical order, then its recurrence block
// and its recurrence exceptions (docs/outlook-items.md).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "devicedb/pim_volume.h"
#include "engine/kind_worker.h"
#include "platform/device.h"

namespace kestrav::outlook {

class TasksWorker : public engine::KindWorker {
 public:
  explicit TasksWorker(const platform::Device& device) : device_(device) {}

  // Every task of the tasks folder, in collection order, after the signature line.
  void Backup(const engine::PassContext& pass, records::CsvRecordFile& file) override;
  // Restores the record file under the mode: kDeleteAllFirst empties the folder first,
  // kAddOnlyNew passes over tasks already there (same subject, start, due and completion dates)
  // and kAddNewAndUpdate updates them.
  void Restore(const engine::PassContext& pass) override;

 private:
  const platform::Device& device_;
};

// "Delete All..." tasks: removes the first task until none is left, under the deletion dialog,
// with no status lines. The number deleted, or nothing when Outlook or the tasks folder could
// not be reached.
std::optional<std::uint32_t> DeleteAllTasks(const platform::Device& device,
                                            devicedb::DeletionProgress& progress);

// The message that ends "Delete All..." tasks.
std::u16string TasksDeletedText(std::uint32_t deleted);

// The tasks on the device, or nothing when Outlook or the folder could not be reached.
std::optional<std::uint64_t> CountTasks(const platform::Device& device);

}  // namespace kestrav::outlook
