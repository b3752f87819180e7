// The jobs as a front end starts them - backup, restore, "Delete All..." - on the thread the
// front end gives them, with its status page and Cancel button, behind the device's safeguards
// (engine/device_job.h), each ending with one line that says what went wrong, if anything did.
// Both programs run their jobs through here, so they wait, refuse and report alike.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devicedb/pim_volume.h"
#include "engine/backup_job.h"
#include "engine/device_job.h"
#include "engine/progress_sink.h"
#include "engine/restore_pass.h"
#include "kinds/kinds.h"
#include "platform/device.h"

namespace kestrav::kinds {

// How a front end's jobs wait for another job on the device, and how the line that says how a
// job ended names what its user sees.
struct FrontEnd {
  // How long a job waits for another job on the device; 0 gives up at once.
  int wait_seconds = 60;
  // Told once, on the job's thread, when another job holds the device and this one starts to
  // wait: which job holds it, and how many seconds this one waits at most.
  std::function<void(const platform::JobHolder& holder, int wait_seconds)> waiting;
  // A device path as the user reads it; the path as it stands when not given.
  std::function<std::u16string(std::u16string_view device_path)> shown_path;
  // The rows that carry the error mark, as the user sees them.
  std::u16string marked_rows = u"rows marked (!)";
  // What the user gives to undo the last job that changed the device.
  std::u16string undo_command = u"kestrav-cli undo";

  std::u16string Shown(std::u16string_view device_path) const {
    return shown_path ? shown_path(device_path) : std::u16string(device_path);
  }
};

// How a job ended, for the front end to say after its rows.
struct JobOutcome {
  bool canceled = false;   // the job ran, and was canceled
  std::u16string failure;  // what went wrong, in one line; empty when nothing did
  // The caption when the failure is one of the handheld's own boxes ("Restore error"); empty for
  // the lines of this port.
  std::u16string failure_title = {};
};

// The folder a backup goes to by default: "DefDir" when the user set one, else "\Storage Card".
std::u16string DefaultBackupFolder(const platform::Device& device);
// The archive a backup writes by default: "Kestrav_" and today's date in that folder.
std::u16string DefaultArchiveFile(const platform::Device& device);
// That archive's name without its folder and extension, as the backup file page offers it:
// "Kestrav_20070315".
std::u16string DefaultArchiveName(const platform::Device& device);
// The folder of the archive when it is missing or is no folder, for a backup to refuse before it
// starts (the handheld would end "successfully" with no archive); nothing when it stands.
std::optional<std::u16string> MissingFolderOf(const platform::Device& device,
                                              std::u16string_view archive);

// Takes the device's job lock, waiting as the front end does; the job's cancel flag (when given)
// ends the wait. Null, with the reason in *refusal, when the job may not start.
std::unique_ptr<engine::DeviceJob> BeginJob(const platform::Device& device, std::u16string name,
                                            bool changes_stores, const engine::CancelFlag* cancel,
                                            const FrontEnd& front_end, std::u16string* refusal);

// Runs the backup of job.kinds into job.archive_file with every kind's worker, replacing the
// archive only once the new one is whole (engine::RunCheckedBackup). What went wrong, or empty.
std::u16string RunBackupJob(const platform::Device& device, engine::BackupJob& job,
                            engine::ProgressSink* sink, engine::CancelFlag* cancel);

// Runs a restore prepared with engine::PrepareRestore.
void RunRestoreJob(const platform::Device& device, engine::BackupJob& job,
                   engine::ProgressSink* sink, engine::CancelFlag* cancel);

// A backup as a front end runs it: the job lock, then RunBackupJob. The failure names the
// archive, says whether an archive that stood there is kept, and where a backup that holds only
// the kinds that worked went.
JobOutcome RunBackup(const platform::Device& device, engine::BackupJob& job,
                     engine::ProgressSink* sink, engine::CancelFlag* cancel,
                     const FrontEnd& front_end);

// A restore prepared under the job lock: the stores' snapshot for undo, then RunRestoreJob. The
// failure - a store that failed, a cancel, records that did not come back, error rows - ends with
// the way back. `what` names the job ("restore", "import").
JobOutcome RunCheckedRestore(const platform::Device& device, engine::DeviceJob& device_job,
                             engine::BackupJob& job, engine::ProgressSink* sink,
                             engine::CancelFlag* cancel, std::u16string_view what,
                             const FrontEnd& front_end);

// A restore of a file as a front end runs it once the user chose the kinds, each entry's mode and
// the messages folders: the job lock, the chosen entries extracted and their workers built (a
// refusal comes back as the handheld's box, with its caption), then RunCheckedRestore. A record
// file that a kind could not read ends as the handheld's "CSV File Error" box.
JobOutcome RunRestoreOf(const platform::Device& device, std::u16string_view file,
                        const std::vector<engine::ItemKind>& checked_kinds,
                        std::vector<engine::RestoreEntry> entries,
                        const engine::MessagesOption& messages_option, engine::ProgressSink* sink,
                        engine::CancelFlag* cancel, const FrontEnd& front_end);

// The job that undo would undo, as it named itself ("restore of \Storage Card\a.qbk"); nothing
// when no job has changed the device yet.
std::optional<std::u16string> JobToUndo(const platform::Device& device);

// How an undo ended.
struct UndoOutcome {
  std::u16string done;     // which job was undone and when it started; empty on failure
  std::u16string failure;  // what went wrong, in one line; empty when nothing did
};
// Undo: under the job lock, the stores put back as they were before the last job that changed
// them.
UndoOutcome RunUndo(const platform::Device& device, const engine::CancelFlag* cancel,
                    const FrontEnd& front_end);

// How a "Delete All..." ended.
struct DeletionOutcome {
  std::optional<std::u16string> result;  // the kind's own message, when the deletion ran
  std::u16string failure;                // what went wrong, in one line; empty when nothing did
};

// "Delete All..." of the row's kind (which has the entry) as a front end runs it once the user
// confirmed: the job lock, the stores' snapshot for undo, then the kind's deletion under the
// dialog. The job is named as other programs and undo see it: job_name, else "deletion of all
// <kind>".
DeletionOutcome RunDeleteAll(const platform::Device& device, const KindRow& row,
                             devicedb::DeletionProgress& progress, const FrontEnd& front_end,
                             std::u16string_view job_name = {});

}  // namespace kestrav::kinds
