#include <algorithm>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>

#include "engine/backup_job.h"
#include "engine/status_text.h"
#include "engine/texts.h"
#include "platform/format.h"
#include "records/archive.h"

namespace kestrav::engine {
namespace {

// Record files are opened with read and write sharing.
constexpr std::uint32_t kRecordFileShareMode = 3;
// How many archives that lack kinds may stand beside one archive, numbered.
constexpr int kIncompleteArchiveNames = 99;

}  // namespace

std::u16string MakeRecordFileName(const platform::Device& device, ItemKind kind) {
  const platform::SystemTime today = device.clock().LocalTime();
  const ItemKindInfo& info = KindInfo(kind);
  return platform::Format(texts::kRecordFileName,
                          platform::WithTrailingSeparator(device.files().TempFolder()),
                          info.file_prefix, today.year, today.month, today.day, info.extension);
}

std::u16string MakeArchiveFileName(const platform::Device& device, std::u16string_view folder) {
  const platform::SystemTime today = device.clock().LocalTime();
  return platform::Format(texts::kArchiveFileName, platform::WithTrailingSeparator(folder),
                          today.year, today.month, today.day, kArchiveExtension);
}

void StartKind(const platform::Device& device, KindWorker& worker, const PassContext& pass) {
  const std::u16string_view word = KindInfo(pass.kind).word;
  if (pass.operation == Operation::kRestore) {
    SendLog(pass.sink, platform::Format(texts::kStartingRestore, word), LogIcon::kInformation);
    worker.Restore(pass);
    worker.EndRestore(pass);
    return;
  }
  SendLog(pass.sink, platform::Format(texts::kStartingBackup, word), LogIcon::kInformation);
  platform::FileSystem& files = device.files();
  // A file left by an earlier backup of the same day goes first.
  if (files.FileExists(pass.record_file)) files.DeleteFile(pass.record_file);
  records::CsvRecordFile file(device, pass.separator);
  if (!file.Open(pass.record_file, kRecordFileShareMode)) {
    SendLog(pass.sink, platform::Format(texts::kCouldNotCreateFile, pass.record_file),
            LogIcon::kError);
    SendLog(pass.sink, file.ErrorText(), LogIcon::kError);
    return;
  }
  worker.Backup(pass, file);
  // Writes are buffered, so a full disk may show only now: a record file cut short is not
  // archived as if it were whole.
  if (!file.Close()) {
    SendLog(pass.sink, file.ErrorText(), LogIcon::kError);
    files.DeleteFile(pass.record_file);
    return;
  }
  if (pass.Canceled()) files.DeleteFile(pass.record_file);
}

namespace {

// The record files of the kinds read so far, added to the archive on a thread of its own while
// the pass reads the next kinds: one at a time, in the order they came, as the archive takes one
// addition at a time. Reading is quicker than deflating, so a file may wait its turn; past
// kMostWaiting the pass waits too, so that the temporary folder holds at most three record files
// at once: the one being added, the one waiting and the one being written.
class ArchiveAdditions {
 public:
  struct Addition {
    ItemKind kind;
    std::u16string record_file;
    bool reported_errors;
  };
  using AddFunction = std::function<void(const Addition&)>;

  explicit ArchiveAdditions(AddFunction add) : add_(std::move(add)) {}
  ~ArchiveAdditions() { Finish(); }
  ArchiveAdditions(const ArchiveAdditions&) = delete;
  ArchiveAdditions& operator=(const ArchiveAdditions&) = delete;

  // Queues the addition, once fewer than kMostWaiting wait; without a thread to spare, adds it
  // here and now.
  void Hand(Addition addition) {
    if (!thread_.joinable()) {
      try {
        thread_ = std::thread(&ArchiveAdditions::Work, this);
      } catch (const std::system_error&) {
        add_(addition);
        return;
      }
    }
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return waiting_.size() < kMostWaiting; });
    waiting_.push_back(std::move(addition));
    changed_.notify_all();
  }

  // Returns once every addition handed over is done.
  void Finish() {
    if (!thread_.joinable()) return;
    {
      std::lock_guard lock(mutex_);
      finishing_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }

 private:
  static constexpr std::size_t kMostWaiting = 1;

  void Work() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return finishing_ || !waiting_.empty(); });
      if (waiting_.empty()) return;
      const Addition addition = std::move(waiting_.front());
      waiting_.pop_front();
      changed_.notify_all();
      lock.unlock();
      add_(addition);
      lock.lock();
    }
  }

  const AddFunction add_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Addition> waiting_;
  bool finishing_ = false;
};

}  // namespace

void RunBackup(const platform::Device& device, BackupJob& job, const KindWorkerFactory& factory) {
  job.archived.clear();
  const std::uint32_t start = device.clock().TickCount();
  auto canceled = [&] { return job.cancel != nullptr && job.cancel->load() != 0; };
  ArchiveAdditions additions([&](const ArchiveAdditions::Addition& addition) {
    // A file still waiting when the job is canceled is not added: the archive goes with it.
    if (canceled()) {
      device.files().DeleteFile(addition.record_file);
      return;
    }
    // A failed addition is not reported among the rows: the kind's own lines have told what it
    // did. The front end is told after the pass.
    const int result =
        records::AddFile(device, addition.record_file, job.archive_file, job.compression_method,
                         [&job](std::uint32_t position, std::uint32_t upper_bound) {
                           PostProgress(job.sink, position, upper_bound, false);
                         });
    job.archived.push_back({addition.kind, std::u16string(platform::BaseName(addition.record_file)),
                            result, addition.reported_errors});
    device.files().DeleteFile(addition.record_file);
  });
  auto error_rows = [&job] { return job.sink != nullptr ? job.sink->error_lines() : 0; };
  PostProgress(job.sink, 0, static_cast<std::uint32_t>(job.kinds.size()), true);
  for (std::size_t index = 0; index < job.kinds.size(); ++index) {
    const ItemKind kind = job.kinds[index];
    std::unique_ptr<KindWorker> worker = factory(kind);
    if (worker) {
      PassContext pass;
      pass.kind = kind;
      pass.operation = Operation::kBackup;
      pass.sink = job.sink;
      pass.cancel = job.cancel;
      pass.separator = job.separator;
      pass.record_file = MakeRecordFileName(device, kind);
      pass.messages_option = job.messages_option;
      const int errors_before = error_rows();
      StartKind(device, *worker, pass);
      const bool reported_errors = error_rows() > errors_before;
      if (!canceled()) {
        PostLog(job.sink, platform::Format(texts::kAddingToBackupFile, KindInfo(kind).word),
                LogIcon::kInformation);
        additions.Hand({kind, pass.record_file, reported_errors});
      } else {
        device.files().DeleteFile(pass.record_file);
      }
    }
    PostProgress(job.sink, static_cast<std::uint32_t>(index), 0, true);
  }
  additions.Finish();
  const std::uint32_t end = device.clock().TickCount();
  if (canceled()) {
    if (device.files().FileExists(job.archive_file)) device.files().DeleteFile(job.archive_file);
    PostLog(job.sink, texts::kBackupCanceled, LogIcon::kError, true);
  } else {
    PostLog(job.sink, texts::kBackupEnded + ElapsedTimeText(start, end), LogIcon::kInformation,
            true);
  }
}

}  // namespace kestrav::engine

namespace kestrav::engine {
namespace {

// "the appointments", "the appointments and messages", "the contacts, tasks and messages".
std::u16string KindWords(const std::vector<ItemKind>& kinds) {
  std::u16string words = u"the ";
  for (std::size_t index = 0; index < kinds.size(); ++index) {
    if (index > 0) words += index + 1 == kinds.size() ? u" and " : u", ";
    words += KindInfo(kinds[index]).word;
  }
  return words;
}

// A name beside the archive for one that lacks kinds: "Kestrav_20070315-incomplete.qbk", then
// "-incomplete-2" and on, the first that is free; empty when none is.
std::u16string IncompleteArchiveName(platform::FileSystem& files, std::u16string_view archive) {
  std::u16string stem(archive);
  std::u16string extension;
  if (const std::size_t dot = stem.rfind(u'.');
      dot != std::u16string::npos && dot > platform::FolderOf(stem).size()) {
    extension = stem.substr(dot);
    stem.resize(dot);
  }
  for (int number = 1; number <= kIncompleteArchiveNames; ++number) {
    std::u16string name = stem + texts::kIncompleteArchiveSuffix;
    if (number > 1) name += platform::Format(u"-%d", number);
    name += extension;
    if (!files.Exists(name)) return name;
  }
  return {};
}

}  // namespace

std::u16string RunCheckedBackup(const platform::Device& device, BackupJob& job,
                                const KindWorkerFactory& factory) {
  platform::FileSystem& files = device.files();
  const std::u16string archive = job.archive_file;
  const std::u16string partial = archive + texts::kPartialArchiveSuffix;
  job.written_archive.clear();
  job.missing_kinds.clear();
  job.incomplete_kinds.clear();
  // What a killed backup left: the writer would add to it instead of starting afresh.
  if (files.Exists(partial)) {
    if (const platform::ErrorCode error = files.DeleteFile(partial);
        error != platform::kErrorSuccess) {
      return platform::Format(texts::kPartialArchiveInTheWay, partial,
                              platform::SystemErrorText(error));
    }
  }
  // Jobs writing into the folder are counted while this one runs: the ".partial" archives that
  // killed backups left there are removed when no other job writes there now.
  std::unique_ptr<platform::FolderUse> folder_use;
  if (platform::Safeguards* safeguards = device.safeguards()) {
    const std::u16string folder(platform::FolderOf(archive));
    bool alone = false;
    safeguards->UseFolder(folder.empty() ? u"\\" : folder, &folder_use, &alone);
    if (alone) {
      for (const platform::FoundFile& found : files.Find(
               folder + u"*" + std::u16string(kArchiveExtension) + texts::kPartialArchiveSuffix))
        files.DeleteFile(folder + found.name);
    }
  }
  job.archive_file = partial;
  RunBackup(device, job, factory);
  job.archive_file = archive;
  // A canceled pass has removed what it wrote.
  if (job.cancel != nullptr && job.cancel->load() != 0) return texts::kBackupWasCanceled;
  auto drop = [&](std::u16string fault) {
    files.DeleteFile(partial);
    return fault;
  };
  // A store that failed under the pass may have given less than the device holds, of any kind.
  if (platform::Safeguards* safeguards = device.safeguards()) {
    if (const std::u16string failure = safeguards->StoreFailure(); !failure.empty())
      return drop(platform::Format(texts::kStoreFailedUnderBackup, failure));
  }
  // An addition that found the disk full is why an archive is damaged or empty: that is the
  // reason worth telling.
  const auto refused = std::ranges::find(job.archived, static_cast<int>(platform::kErrorDiskFull),
                                         &BackupJob::ArchivedKind::result);
  auto not_written = [&] {
    return drop(
        platform::Format(texts::kArchiveNotWritten, records::ArchiveErrorText(refused->result)));
  };
  std::vector<records::ArchiveMember> members;
  // Nothing was added when every addition failed: there is no archive to test then.
  if (std::ranges::any_of(job.archived, [](const BackupJob::ArchivedKind& archived) {
        return archived.result == 0;
      })) {
    if (const int tested = records::TestArchive(device, partial, &members); tested != 0) {
      if (refused != job.archived.end()) return not_written();
      return drop(
          platform::Format(texts::kArchiveWrittenDamaged, records::ArchiveErrorText(tested)));
    }
  }
  for (const ItemKind kind : job.kinds) {
    const auto archived = std::ranges::find(job.archived, kind, &BackupJob::ArchivedKind::kind);
    if (archived == job.archived.end() || archived->result != 0 ||
        std::ranges::find(members, archived->member, &records::ArchiveMember::name) ==
            members.end()) {
      job.missing_kinds.push_back(kind);
    } else if (archived->reported_errors) {
      job.incomplete_kinds.push_back(kind);
    }
  }
  if (members.empty())
    return refused != job.archived.end() ? not_written() : drop(texts::kNothingBackedUp);
  std::u16string target = archive;
  // An archive already there may hold every kind: one that lacks some goes beside it.
  if ((!job.missing_kinds.empty() || !job.incomplete_kinds.empty()) && files.Exists(archive)) {
    target = IncompleteArchiveName(files, archive);
    if (target.empty()) return drop(platform::Format(texts::kNoNameForIncomplete, archive));
  }
  if (const platform::ErrorCode error = files.Rename(partial, target);
      error != platform::kErrorSuccess) {
    return drop(platform::Format(texts::kArchiveNotInPlace, platform::SystemErrorText(error)));
  }
  job.written_archive = target;
  std::u16string fault;
  if (!job.missing_kinds.empty())
    fault = platform::Format(texts::kArchiveLacksKinds, KindWords(job.missing_kinds));
  if (!job.incomplete_kinds.empty()) {
    if (!fault.empty()) fault += u"; ";
    fault += platform::Format(texts::kKindsMayBeIncomplete, KindWords(job.incomplete_kinds));
  }
  return fault;
}

}  // namespace kestrav::engine
