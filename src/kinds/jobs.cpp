#include "kinds/jobs.h"

#include "kinds/texts.h"
#include "platform/format.h"
#include "records/texts.h"
#include "settings/reg_key.h"

namespace kestrav::kinds {
namespace {

bool Canceled(const engine::CancelFlag* cancel) {
  return cancel != nullptr && cancel->load() != 0;
}

// The line after a backup's rows: empty when the archive is whole and in place.
std::u16string BackupFailure(const engine::BackupJob& job, std::u16string_view fault, bool canceled,
                             bool replacing, const FrontEnd& front_end) {
  // An archive that was there is replaced only by a whole new one.
  const std::u16string kept = replacing ? texts::kArchiveKept : u"";
  if (canceled) return texts::kBackupWasCanceled + kept;
  const std::u16string archive = front_end.Shown(job.archive_file);
  if (job.written_archive.empty()) return archive + u": " + std::u16string(fault) + kept;
  if (fault.empty()) return {};
  // The kinds that worked are kept; what is missing is said, and where they went.
  std::u16string line =
      platform::Format(texts::kSeeMarkedRows, archive, fault, front_end.marked_rows);
  if (job.written_archive == job.archive_file) return line + texts::kHoldsKindsThatWorked;
  return line + kept +
         platform::Format(texts::kBackupWithKindsThatWorked, front_end.Shown(job.written_archive));
}

}  // namespace

std::u16string DefaultBackupFolder(const platform::Device& device) {
  const std::optional<std::u16string> chosen = settings::ReadStringValue(
      device.registry(), settings::kApplicationKey, settings::kDefaultFolderValue);
  return chosen && !chosen->empty() ? *chosen : std::u16string(settings::kDefaultFolder);
}

std::u16string DefaultArchiveFile(const platform::Device& device) {
  return engine::MakeArchiveFileName(device, DefaultBackupFolder(device));
}

std::u16string DefaultArchiveName(const platform::Device& device) {
  const std::u16string file = engine::MakeArchiveFileName(device, u"");
  std::u16string_view name = platform::BaseName(file);
  name.remove_suffix(platform::ExtensionOf(name).size());
  return std::u16string(name);
}

std::optional<std::u16string> MissingFolderOf(const platform::Device& device,
                                              std::u16string_view archive) {
  std::u16string folder(platform::FolderOf(archive));
  if (folder.size() > 1) folder.pop_back();
  if (folder.empty() || (device.files().Exists(folder) && !device.files().FileExists(folder)))
    return std::nullopt;
  return folder;
}

std::unique_ptr<engine::DeviceJob> BeginJob(const platform::Device& device, std::u16string name,
                                            bool changes_stores, const engine::CancelFlag* cancel,
                                            const FrontEnd& front_end, std::u16string* refusal) {
  engine::DeviceJobOptions options{.name = std::move(name),
                                   .changes_stores = changes_stores,
                                   .wait_seconds = front_end.wait_seconds,
                                   .cancel = cancel};
  if (front_end.waiting) {
    options.waiting = [&front_end](const platform::JobHolder& holder) {
      front_end.waiting(holder, front_end.wait_seconds);
    };
  }
  return engine::DeviceJob::Begin(device, options, refusal);
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

JobOutcome RunBackup(const platform::Device& device, engine::BackupJob& job,
                     engine::ProgressSink* sink, engine::CancelFlag* cancel,
                     const FrontEnd& front_end) {
  std::u16string refusal;
  const std::unique_ptr<engine::DeviceJob> device_job =
      BeginJob(device, u"backup to " + job.archive_file, false, cancel, front_end, &refusal);
  if (!device_job) return {false, refusal};
  const bool replacing = device.files().FileExists(job.archive_file);
  const std::u16string fault = RunBackupJob(device, job, sink, cancel);
  const bool canceled = Canceled(cancel);
  return {canceled, BackupFailure(job, fault, canceled, replacing, front_end)};
}

JobOutcome RunCheckedRestore(const platform::Device& device, engine::DeviceJob& device_job,
                             engine::BackupJob& job, engine::ProgressSink* sink,
                             engine::CancelFlag* cancel, std::u16string_view what,
                             const FrontEnd& front_end) {
  if (std::u16string reason; !device_job.TakeSnapshot(&reason))
    return {false, platform::Format(texts::kNothingRestored, reason)};
  RunRestoreJob(device, job, sink, cancel);
  const bool canceled = Canceled(cancel);
  const std::u16string way_back = platform::Format(texts::kWayBack, front_end.undo_command, what);
  if (const std::u16string failure = device_job.StoreFailure(); !failure.empty())
    return {canceled, platform::Format(texts::kCutShort, what, failure) + way_back};
  if (canceled) return {true, platform::Format(texts::kJobWasCanceled, what) + way_back};
  if (const std::u16string shortfall = engine::RestoreShortfall(job); !shortfall.empty())
    return {false, shortfall + way_back};
  if (sink != nullptr && sink->error_lines() > 0)
    return {false,
            platform::Format(texts::kReportedErrors, what, front_end.marked_rows) + way_back};
  return {};
}

JobOutcome RunRestoreOf(const platform::Device& device, std::u16string_view file,
                        const std::vector<engine::ItemKind>& checked_kinds,
                        std::vector<engine::RestoreEntry> entries,
                        const engine::MessagesOption& messages_option, engine::ProgressSink* sink,
                        engine::CancelFlag* cancel, const FrontEnd& front_end) {
  std::u16string refusal;
  const std::unique_ptr<engine::DeviceJob> device_job = BeginJob(
      device, platform::Format(texts::kRestoreJob, file), true, cancel, front_end, &refusal);
  if (!device_job) return {Canceled(cancel), refusal};
  engine::BackupJob job;
  if (const auto box = engine::PrepareRestore(device, job, checked_kinds, std::move(entries),
                                              WorkerFactory(device));
      box) {
    return {false, box->cause.empty() ? box->text : box->text + u" (" + box->cause + u")",
            box->title};
  }
  for (engine::BackupJob::PreparedRestore& restore : job.restores) {
    if (restore.pass.kind == engine::ItemKind::kMessages)
      restore.pass.messages_option = messages_option;
  }
  JobOutcome outcome =
      RunCheckedRestore(device, *device_job, job, sink, cancel, texts::kRestoreWhat, front_end);
  // A record file a kind could not read is the handheld's own box, in the reader's words.
  for (const engine::BackupJob::PreparedRestore& restore : job.restores) {
    if (restore.worker == nullptr || restore.worker->tally().file_error.empty()) continue;
    outcome.failure = restore.worker->tally().file_error;
    outcome.failure_title = records::texts::kCsvFileErrorTitle;
    break;
  }
  return outcome;
}

std::optional<std::u16string> JobToUndo(const platform::Device& device) {
  platform::SnapshotInfo info;
  platform::Safeguards* safeguards = device.safeguards();
  if (safeguards == nullptr || safeguards->LastSnapshot(&info) != platform::kErrorSuccess)
    return std::nullopt;
  return info.job;
}

UndoOutcome RunUndo(const platform::Device& device, const engine::CancelFlag* cancel,
                    const FrontEnd& front_end) {
  UndoOutcome outcome;
  const std::unique_ptr<engine::DeviceJob> job =
      BeginJob(device, texts::kUndoJob, true, cancel, front_end, &outcome.failure);
  if (!job) return outcome;
  platform::SnapshotInfo info;
  if (device.safeguards()->RestoreSnapshot(&info, &outcome.failure) != platform::kErrorSuccess)
    return outcome;
  const platform::SystemTime& taken = info.taken;
  outcome.done = platform::Format(texts::kUndone, info.job, taken.year, taken.month, taken.day,
                                  taken.hour, taken.minute, taken.second);
  return outcome;
}

DeletionOutcome RunDeleteAll(const platform::Device& device, const KindRow& row,
                             devicedb::DeletionProgress& progress, const FrontEnd& front_end,
                             std::u16string_view job_name) {
  const std::u16string_view word = engine::KindInfo(row.kind).word;
  std::u16string refusal;
  const std::unique_ptr<engine::DeviceJob> job = BeginJob(
      device,
      job_name.empty() ? platform::Format(texts::kDeletionJob, word) : std::u16string(job_name),
      true, nullptr, front_end, &refusal);
  if (!job) return {std::nullopt, refusal};
  if (std::u16string reason; !job->TakeSnapshot(&reason)) return {std::nullopt, reason};
  DeletionOutcome outcome;
  outcome.result = row.delete_all(device, progress);
  const std::u16string store_failure = job->StoreFailure();
  const std::u16string what = outcome.result ? std::u16string(texts::kNotEverythingDeleted)
                                             : platform::Format(texts::kCannotBeReached, word);
  if (!store_failure.empty())
    outcome.failure = platform::Format(texts::kStoreFailed, what, store_failure);
  else if (!outcome.result)
    outcome.failure = what;
  return outcome;
}

}  // namespace kestrav::kinds
