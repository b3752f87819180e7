#include "engine/restore_pass.h"

#include <algorithm>
#include <map>

#include "engine/status_text.h"
#include "engine/texts.h"
#include "platform/format.h"
#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::engine {
namespace {

// The name an archive member is extracted under: its place and its kind's extension, so that two
// members of one name in different folders of the archive never meet.
std::u16string ExtractedName(const RestoreEntry& entry) {
  return platform::Format(u"%u%s", static_cast<unsigned long long>(entry.member),
                          KindInfo(entry.kind).extension);
}

void RemoveExtractedFiles(const platform::Device& device, BackupJob& job) {
  for (const std::u16string& file : job.extracted_files) device.files().DeleteFile(file);
  job.extracted_files.clear();
  device.files().RemoveFolder(RestoreFolder(device));
}

}  // namespace

std::u16string RestoreFolder(const platform::Device& device) {
  return platform::WithTrailingSeparator(
      platform::WithTrailingSeparator(device.files().TempFolder()) + texts::kRestoreFolderName);
}

RestoreRefusal InvalidFileFormat(std::u16string_view file) {
  return {platform::Format(texts::kFileFormatInvalid, file), texts::kPimRestoreError};
}

RestoreRefusal ArchiveInvalid(std::u16string_view archive, int archive_error) {
  return {platform::Format(texts::kArchiveInvalid, archive), texts::kRestoreError,
          records::ArchiveErrorText(archive_error)};
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

  job.restores.clear();
  job.extracted_files.clear();
  std::vector<std::pair<const RestoreEntry*, std::unique_ptr<KindWorker>>> prepared;
  for (const RestoreEntry& entry : entries) {
    if (std::unique_ptr<KindWorker> worker = factory(entry.kind))
      prepared.emplace_back(&entry, std::move(worker));
  }

  // Each archive once, with only the members still wanted, under names of their own.
  std::map<std::u16string, std::vector<records::MemberToExtract>> wanted;
  for (const auto& [entry, worker] : prepared) {
    if (!entry->from_archive) continue;
    std::vector<records::MemberToExtract>& members = wanted[entry->file];
    if (std::ranges::find(members, entry->member, &records::MemberToExtract::position) ==
        members.end()) {
      members.push_back({entry->member, ExtractedName(*entry)});
    }
  }
  const std::u16string folder = RestoreFolder(device);
  for (const auto& [archive, members] : wanted) {
    if (const int result =
            records::ExtractMembers(device, archive, folder, members, &job.extracted_files);
        result != 0) {
      RemoveExtractedFiles(device, job);
      return ArchiveInvalid(archive, result);
    }
  }

  for (auto& [entry, worker] : prepared) {
    PassContext pass;
    pass.kind = entry->kind;
    pass.operation = Operation::kRestore;
    pass.mode = entry->mode;
    pass.separator = job.separator;
    pass.messages_option = job.messages_option;
    pass.record_file = entry->from_archive ? folder + ExtractedName(*entry) : entry->file;
    job.restores.push_back({std::move(pass), std::move(worker)});
  }
  return std::nullopt;
}

void RunRestore(const platform::Device& device, BackupJob& job) {
  const std::uint32_t start = device.clock().TickCount();
  PostProgress(job.sink, 0, static_cast<std::uint32_t>(job.restores.size()), true);
  for (std::size_t index = 0; index < job.restores.size(); ++index) {
    BackupJob::PreparedRestore& restore = job.restores[index];
    restore.pass.sink = job.sink;
    restore.pass.cancel = job.cancel;
    StartKind(device, *restore.worker, restore.pass);
    PostProgress(job.sink, static_cast<std::uint32_t>(index), 0, true);
  }
  const std::uint32_t end = device.clock().TickCount();
  if (job.cancel == nullptr || job.cancel->load() == 0) {
    PostLog(job.sink, texts::kRestoreEnded + ElapsedTimeText(start, end), LogIcon::kInformation,
            true);
  } else {
    PostLog(job.sink, texts::kRestoreCanceled, LogIcon::kError, true);
  }
  RemoveExtractedFiles(device, job);
  if (job.job_finished) job.job_finished();
}

std::u16string RestoreNotice(const BackupJob& job) {
  std::uint64_t without_contents = 0;
  for (const BackupJob::PreparedRestore& restore : job.restores)
    without_contents += restore.worker->tally().attachments_without_contents;
  if (without_contents == 0) return {};
  return platform::Format(without_contents == 1 ? texts::kAttachmentWithoutContents
                                                : texts::kAttachmentsWithoutContents,
                          static_cast<unsigned long long>(without_contents));
}

std::u16string RestoreShortfall(const BackupJob& job) {
  std::u16string shortfall;
  auto add = [&shortfall](std::u16string clause) {
    shortfall += (shortfall.empty() ? u"" : u"; ") + clause;
  };
  for (const BackupJob::PreparedRestore& restore : job.restores) {
    const RestoreTally& tally = restore.worker->tally();
    if (!tally.file_accepted) continue;
    const std::u16string_view word = KindInfo(restore.pass.kind).word;
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
