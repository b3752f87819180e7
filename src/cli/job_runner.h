// Runs a backup, restore or deletion on a worker thread while this thread prints its rows and
// bars, as the window's status page does. Ctrl+C is the Cancel button.
#pragma once

#include <functional>

#include "engine/backup_job.h"
#include "engine/progress_sink.h"
#include "platform/clock.h"
#include "platform/device.h"

namespace kestrav::cli {

struct JobOutcome {
  bool canceled = false;
  int error_rows = 0;  // rows shown with the error mark
};

using Job = std::function<void(engine::ProgressSink* sink, engine::CancelFlag* cancel)>;

JobOutcome RunJob(const platform::Clock& clock, bool is_backup, const Job& job);

// Runs a prepared restore job (engine::PrepareRestore) with RunJob.
JobOutcome RunRestoreJob(const platform::Device& device, engine::BackupJob& job);

}  // namespace kestrav::cli
