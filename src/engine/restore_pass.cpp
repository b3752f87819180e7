#include "engine/restore_pass.h"

#include <algorithm>

#include "engine/status_text.h"
#include "engine/texts.h"
#include "platform/format.h"
#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::engine {

std::u16string RestoreFolder(const platform::Device& device) {
  return platform::WithTrailingSeparator(
      platform::WithTrailingSeparator(device.files().TempFolder()) + texts::kRestoreFolderName);
}

RestoreRefusal InvalidFileFormat(std::u16string_view file) {
  return {platform::Format(texts::kFileFormatInvalid, file), texts::kPimRestoreError};
}

RestoreRefusal ArchiveInvalid(std::u16string_view archive) {
  return {platform::Format(texts::kArchiveInvalid, archive), texts::kRestoreError};
}

std::optional<RestoreRefusal> PrepareRestore(const platform::Device& device, BackupJob& job,
                                             const std::vector<ItemKind>& checked_kinds,
                                             std::vector<RestoreEntry> entries,
                                             const KindWorkerFactory& factory) {
  if (checked_kinds.empty())
    return RestoreRefusal{texts::kNoActionSelected, texts::kActionSelectionError};
  std::erase_if(entries, [&](const RestoreEntry& entry) {
    return std::ranges::find(checked_kinds, entry.kind) == checked_kinds.end();
  });
  if (entries.empty()) return RestoreRefusal{texts::kNoRestoreType, texts::kRestoreError};

  const std::u16string temp_folder = platform::WithTrailingSeparator(device.files().TempFolder());
  job.restore_workers.clear();
  job.extracted_files.clear();
  for (const RestoreEntry& entry : entries) {
    std::unique_ptr<KindWorker> worker = factory(entry.kind);
    if (!worker) continue;
    const ItemKindInfo& info = KindInfo(entry.kind);
    worker->operation = info.restore_operation;
    worker->mode = entry.mode;
    worker->cancel = job.cancel;
    worker->sink = job.sink;
    worker->separator = job.separator;
    worker->messages_option = job.messages_option;
    worker->record_file = entry.file;
    if (entry.from_archive) {
      std::vector<std::u16string> extracted;
      if (records::Extract(device, entry.file, temp_folder, &extracted) != 0) {
        for (const std::u16string& file : extracted) device.files().DeleteFile(file);
        for (const std::u16string& file : job.extracted_files) device.files().DeleteFile(file);
        job.restore_workers.clear();
        job.extracted_files.clear();
        return ArchiveInvalid(entry.file);
      }
      const auto member = std::ranges::find_if(extracted, [&](const std::u16string& file) {
        return platform::EqualsIgnoringAsciiCase(platform::ExtensionOf(file), info.extension);
      });
      if (member != extracted.end()) worker->record_file = *member;
      for (std::u16string& file : extracted) {
        if (std::ranges::find(job.extracted_files, file) == job.extracted_files.end()) {
          job.extracted_files.push_back(std::move(file));
        }
      }
    }
    job.restore_workers.push_back(std::move(worker));
  }
  return std::nullopt;
}

void RunRestore(const platform::Device& device, BackupJob& job) {
  const std::uint32_t start = device.clock().TickCount();
  PostProgress(job.sink, 0, static_cast<std::uint32_t>(job.restore_workers.size()), true);
  for (std::size_t index = 0; index < job.restore_workers.size(); ++index) {
    StartKind(device, *job.restore_workers[index]);
    PostProgress(job.sink, static_cast<std::uint32_t>(index), 0, true);
  }
  const std::uint32_t end = device.clock().TickCount();
  if (job.cancel == nullptr || job.cancel->load() == 0) {
    PostLog(job.sink, texts::kRestoreEnded + ElapsedTimeText(start, end), LogIcon::kInformation,
            true);
  } else {
    PostLog(job.sink, texts::kRestoreCanceled, LogIcon::kError, true);
  }
  for (const std::u16string& file : job.extracted_files) device.files().DeleteFile(file);
  job.extracted_files.clear();
  if (job.job_finished) job.job_finished();
}

std::u16string RestoreShortfall(const BackupJob& job) {
  std::u16string shortfall;
  auto add = [&shortfall](std::u16string clause) {
    shortfall += (shortfall.empty() ? u"" : u"; ") + clause;
  };
  for (const std::unique_ptr<KindWorker>& worker : job.restore_workers) {
    const RestoreTally& tally = worker->tally;
    const std::optional<ItemKind> kind = KindOfOperation(worker->operation);
    if (!tally.file_accepted || !kind) continue;
    const std::u16string_view word = KindInfo(*kind).word;
    if (tally.restored < tally.records) {
      add(platform::Format(texts::kRecordsNotRestored,
                           static_cast<unsigned long long>(tally.records - tally.restored),
                           static_cast<unsigned long long>(tally.records), word));
    }
    if (tally.announced && *tally.announced != tally.records) {
      add(platform::Format(texts::kAnnouncedOtherwise, word,
                           static_cast<unsigned long long>(*tally.announced),
                           static_cast<unsigned long long>(tally.records)));
    }
  }
  return shortfall;
}

}  // namespace kestrav::engine
