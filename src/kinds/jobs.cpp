#include "kinds/jobs.h"

#include "kinds/kinds.h"
#include "settings/reg_key.h"

namespace kestrav::kinds {

std::u16string DefaultBackupFolder(const platform::Device& device) {
  const std::optional<std::u16string> chosen = settings::ReadStringValue(
      device.registry(), settings::kApplicationKey, settings::kDefaultFolderValue);
  return chosen && !chosen->empty() ? *chosen : std::u16string(settings::kDefaultFolder);
}

std::u16string DefaultArchiveFile(const platform::Device& device) {
  return engine::MakeArchiveFileName(device, DefaultBackupFolder(device));
}

std::u16string RunBackupJob(const platform::Device& device, engine::BackupJob& job,
                            engine::ProgressSink* sink, engine::CancelFlag* cancel) {
  job.sink = sink;
  job.cancel = cancel;
  return engine::RunCheckedBackup(device, job, WorkerFactory(device));
}

void RunRestoreJob(const platform::Device& device, engine::BackupJob& job,
                   engine::ProgressSink* sink, engine::CancelFlag* cancel) {
  job.sink = sink;
  job.cancel = cancel;
  engine::RunRestore(device, job);
}

}  // namespace kestrav::kinds
