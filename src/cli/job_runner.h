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

using Job = std::function<void(engine::ProgressSink* sink, engine::CancelFlag* cancel)>;

// The job's kinds, in the order it takes them, label its overall bar.
void RunJob(const platform::Clock& clock, bool is_backup, std::vector<engine::ItemKind> kinds,
            const Job& job);

// Fails with the message box a restore shows instead of starting, and the archive's fault after
// it when there is one: "Restore error: The compressed file ... (a member's name is too long)".
int FailWithRefusal(const CommandContext& context, const engine::RestoreRefusal& refusal);

// Runs a prepared restore job under its job lock (kinds::RunCheckedRestore) and says in one line
// what went wrong, if anything did, with the way back. `what` names the job ("restore",
// "import").
int RunCheckedRestore(const CommandContext& context, const platform::Device& device,
                      engine::DeviceJob& device_job, engine::BackupJob& job,
                      std::u16string_view what, const kinds::FrontEnd& front_end);

}  // namespace kestrav::cli
