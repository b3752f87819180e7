// Runs a backup, restore or deletion on a worker thread while this thread prints its rows and
// bars, as the window's status page does. Ctrl+C is the Cancel button.
#pragma once

#include <functional>

#include "cli/cli.h"
#include "engine/backup_job.h"
#include "engine/progress_sink.h"
#include "engine/restore_pass.h"
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

// Fails with the message box a restore shows instead of starting, and the archive's fault after
// it when there is one: "Restore error: The compressed file ... (a member's name is too long)".
int FailWithRefusal(const CommandContext& context, const engine::RestoreRefusal& refusal);

// Takes the snapshot undo puts back, runs a prepared restore job, and says in one line what went
// wrong, if anything did: a store that failed, a cancel, records that did not come back, error
// rows - each with the way back (kestrav-cli undo). `what` names the job ("restore", "import").
int RunCheckedRestore(const CommandContext& context, const platform::Device& device,
                      engine::DeviceJob& device_job, engine::BackupJob& job, std::string_view what);

}  // namespace kestrav::cli
