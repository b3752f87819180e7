// BackupJob: one backup or restore run, as the front end fills it and the job thread reads it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/item_kind.h"
#include "engine/kind_worker.h"
#include "engine/progress_sink.h"
#include "platform/device.h"

namespace kestrav::engine {

struct BackupJob {
  ProgressSink* sink = nullptr;    // the status page that receives the job's reports
  CancelFlag* cancel = nullptr;    // set by the front end to cancel; read between kinds and items
  std::u16string archive_file;     // the archive to create or add to
  std::vector<ItemKind> kinds;     // in the order they are processed
  char16_t separator = u';';       // the record files' column separator
  int compression_method = 8;      // 8 deflated, 0 stored
  MessagesOption messages_option;  // passed to the messages worker unchanged
  // A restore's prepared kinds, in order (see restore_pass.h): each worker with its pass, whose
  // sink and cancel flag are the job's when the pass runs.
  struct PreparedRestore {
    PassContext pass;
    std::unique_ptr<KindWorker> worker;
  };
  std::vector<PreparedRestore> restores;
  // The files extracted for those workers, removed once the pass has run.
  std::vector<std::u16string> extracted_files;
  // Called at the very end of a restore pass, so the front end can give back its buttons.
  std::function<void()> job_finished;
  // Filled by the backup pass: each kind added to the archive, its member, the archive's answer
  // to the addition, and whether the kind's pass reported an error row.
  struct ArchivedKind {
    ItemKind kind;
    std::u16string member;
    int result;
    bool reported_errors = false;
  };
  std::vector<ArchivedKind> archived;
  // Filled by the checked backup: where the archive it wrote is now (empty when it kept none),
  // the kinds that archive lacks, and those whose pass reported errors, so may hold less than the
  // device does.
  std::u16string written_archive;
  std::vector<ItemKind> missing_kinds;
  std::vector<ItemKind> incomplete_kinds;
};

// The record file of a kind in the device's temporary folder, named by the local date:
// "<temp>contacts_20070315.csc". Two backups on one day reuse the same names.
std::u16string MakeRecordFileName(const platform::Device& device, ItemKind kind);

// The archive a backup writes by default: "<folder>Kestrav_20070315.qbk" by the local date.
std::u16string MakeArchiveFileName(const platform::Device& device, std::u16string_view folder);

// The per-kind step shared by both passes, chosen by the pass's operation: a backup opens a fresh
// record file and runs the kind's backup into it; a restore runs the kind's restore from its
// record file.
void StartKind(const platform::Device& device, KindWorker& worker, const PassContext& pass);

// The backup pass: every kind of the job to its record file, each file added to the archive and
// deleted; a canceled backup leaves no archive behind.
void RunBackup(const platform::Device& device, BackupJob& job, const KindWorkerFactory& factory);

// The backup pass as the front ends run it, so that no backup is ever lost to a failed one. The
// pass writes beside job.archive_file, under its name and ".partial"; the archive written is then
// tested - every member's data matches its checksum, every kind of the job has its member - and
// only then takes the archive's name, in one rename that replaces an archive of that name. So an
// archive being replaced stays whole until the new one is, and a backup canceled or killed leaves
// it as it was. The pass's rows stay the device's.
//
// A kind that failed is skipped as the pass skips it, and the archive keeps the kinds that worked:
// it takes the archive's name when there is no archive of that name, and otherwise a name of its
// own beside it ("Kestrav_20070315-incomplete.qbk"), so that an archive holding every kind is
// never replaced by one holding fewer. job.written_archive, missing_kinds and incomplete_kinds
// say what came of it. Returns what went wrong, for the front end to say after the rows; empty
// when the new archive is whole and in place.
std::u16string RunCheckedBackup(const platform::Device& device, BackupJob& job,
                                const KindWorkerFactory& factory);

}  // namespace kestrav::engine
