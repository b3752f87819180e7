// A backup or restore job as a front end starts it: on the thread the front end gives it, with
// the front end's status page and Cancel button.
#pragma once

#include <string>

#include "engine/backup_job.h"
#include "engine/progress_sink.h"
#include "engine/restore_pass.h"
#include "platform/device.h"

namespace kestrav::kinds {

// The folder a backup goes to by default: "DefDir" when the user set one, else "\Storage Card".
std::u16string DefaultBackupFolder(const platform::Device& device);
// The archive a backup writes by default: "Kestrav_" and today's date in that folder.
std::u16string DefaultArchiveFile(const platform::Device& device);

// Runs the backup of job.kinds into job.archive_file with every kind's worker, replacing the
// archive only once the new one is whole (engine::RunCheckedBackup). What went wrong, or empty.
std::u16string RunBackupJob(const platform::Device& device, engine::BackupJob& job,
                            engine::ProgressSink* sink, engine::CancelFlag* cancel);

// Runs a restore prepared with engine::PrepareRestore.
void RunRestoreJob(const platform::Device& device, engine::BackupJob& job,
                   engine::ProgressSink* sink, engine::CancelFlag* cancel);

}  // namespace kestrav::kinds
