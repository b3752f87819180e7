// The restore pass and the checks before it starts.
//
// The front end hands over the kinds the user checked and the restore entries it found (a
// record file, or an archive member, each with its kind and mode). Preparation prunes the
// entries to the checked kinds, extracts each archive once - only the members still wanted, each
// entry from its own member - into a folder of the device's temporary folder, and builds one
// worker per entry; if any of that fails, nothing starts, nothing extracted stays, and the front
// end shows the message. The files extracted for a restore are removed once its pass has run:
// the archive still holds them, and the temporary folder should not keep a copy of the user's
// data.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/backup_job.h"

namespace kestrav::engine {

struct RestoreEntry {
  ItemKind kind;
  std::u16string file;  // the record file, or the archive that holds it
  bool from_archive = false;
  RestoreMode mode = RestoreMode::kDeleteAllFirst;
  std::size_t member = 0;  // from an archive: the member's place in its directory, from 0
};

// A message box the front end shows instead of starting the job.
struct RestoreRefusal {
  std::u16string text;
  std::u16string title;
  // What was wrong with an archive, in this port's words, for a front end to add after the
  // message ("a member's name is too long"); empty otherwise.
  std::u16string cause = {};
};

// Fills job.restores from the entries; returns the refusal when the job may not start
// (and then leaves no worker behind). A kind the factory has no worker for is passed over: the
// front ends refuse such kinds before they get here.
std::optional<RestoreRefusal> PrepareRestore(const platform::Device& device, BackupJob& job,
                                             const std::vector<ItemKind>& checked_kinds,
                                             std::vector<RestoreEntry> entries,
                                             const KindWorkerFactory& factory);

// Runs the prepared workers in turn, reports the end and calls job.job_finished.
void RunRestore(const platform::Device& device, BackupJob& job);

// After RunRestore: what the restore did not bring back, a clause a kind joined by "; " ("2 of the
// 40 call logs in the file were not restored"), including a file whose count of records disagrees
// with what it holds; empty when every record the files hold came back. A file a kind refused
// is left out: its own error line says so.
std::u16string RestoreShortfall(const BackupJob& job);

// After RunRestore: what came back less than whole although the file held all it could, for the
// front end to repeat after the rows ("7 attachments came back without their contents: the
// backup did not hold them"); empty when nothing did.
std::u16string RestoreNotice(const BackupJob& job);

// The folder of the temporary folder that a restore extracts archive members into, ending with
// its separator.
std::u16string RestoreFolder(const platform::Device& device);

// The message for a file handed to a restore that is not a valid archive.
RestoreRefusal InvalidFileFormat(std::u16string_view file);
// The message for an archive that cannot be read or extracted, with the archive's error.
RestoreRefusal ArchiveInvalid(std::u16string_view archive, int archive_error);

}  // namespace kestrav::engine
