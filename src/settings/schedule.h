// The scheduled backup: the schedule page's load and save, the timed launch that starts the
// program with "/SchedBackup", the unattended run it makes, and the pruning of old backups.
//
// The schedule lives in the registry (settings_keys.h); the launch is one notification of the
// device's (platform/notifications.h) naming the running program, at a local time. The
// deliberate quirks are kept: the next run takes the UTC date with the local time of day entered,
// a save on a scheduled day after its time arms nothing, the search for the next day looks five
// days ahead at most and never matches a Sunday reached by wrapping, and a start time of midnight
// never runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/item_kind.h"
#include "engine/kind_worker.h"
#include "engine/messages_option.h"
#include "engine/progress_sink.h"
#include "platform/device.h"

namespace kestrav::settings {

inline constexpr char16_t kScheduleArgument[] = u"/SchedBackup";
// What the unattended run answers when the device is to be switched off (the off key).
inline constexpr int kSwitchOffAnswer = 223;

// The schedule page's weekday rows, Sunday first: row i is bit i of the day mask.
inline constexpr std::u16string_view kDayNames[] = {
    u"Sunday", u"Monday", u"Tuesday", u"Wednesday", u"Thursday", u"Friday", u"Saturday"};

inline constexpr char16_t kScheduleUpdated[] = u"Backup schedule successfully updated!";
inline constexpr char16_t kScheduleUpdatedCaption[] = u"Backup schedule";

// The schedule page as it opens.
struct SchedulePage {
  std::uint8_t days = 0x7F;  // bit 0 Sunday ... bit 6 Saturday
  bool turn_off = false;
  bool delete_old = false;
  std::uint32_t keep_files = 3;  // the up-down position, 1 to 9 (a stored 10 shows as 3)
  // The start time on today's UTC date; nothing when the schedule holds none that reads.
  std::optional<platform::SystemTime> start;
};
SchedulePage LoadSchedulePage(const platform::Device& device);

// What "Validate" saves: the page's choices and the wizard's.
struct ScheduleChoice {
  std::uint8_t days = 0;
  std::uint32_t start_seconds = 0;  // seconds after midnight
  bool turn_off = false;
  bool delete_old = false;
  std::uint32_t keep_files = 3;  // the up-down position; above 65535 (its error) saves 3
  std::u16string backup_folder;
  std::vector<engine::ItemKind> kinds;
  bool store_attachments = false;
  bool compress = true;
  std::vector<engine::FolderExclusion> exclusions;
};
// Everything the schedule holds, as a ScheduleChoice; nothing when no schedule is set. The
// exclusions are those the unattended run reads.
std::optional<ScheduleChoice> ReadSchedule(const platform::Device& device);
// Writes the schedule, then arms its next run (today allowed). False when a value could not be
// written; *armed tells whether a run is armed now, and *arm_error (when given) the notification
// service's answer when it would not set one.
bool SaveSchedule(const platform::Device& device, const ScheduleChoice& choice, bool* armed,
                  platform::ErrorCode* arm_error = nullptr);

// The notification of the running program's schedule: the first one that starts `program` with
// "/SchedBackup" (both compared without regard to case).
std::optional<platform::NotificationHandle> FindScheduleNotification(const platform::Device& device,
                                                                     std::u16string_view program);
// Clears the schedule's notification and arms the next run after today's (allow_today: today's
// too, if its time is still to come). The time armed, in local time; nothing when none is armed -
// with *error (when given) the notification service's answer when it failed, else success.
std::optional<platform::SystemTime> ArmNextRun(const platform::Device& device, std::uint8_t days,
                                               std::uint32_t start_seconds, bool allow_today,
                                               platform::ErrorCode* error = nullptr);
// Arms the run after today's from the schedule saved, as the unattended run does after its
// backup: for a start that could not make its run, so that the schedule goes on. Nothing, with
// *error success, when no schedule is saved that ever runs; otherwise as ArmNextRun.
std::optional<platform::SystemTime> ArmRunAfterToday(const platform::Device& device,
                                                     platform::ErrorCode* error);
// Clears the notification and deletes the schedule from the registry.
bool ClearSchedule(const platform::Device& device);

// An old backup that the run deleted, or tried to: the delete's answer is not acted on.
struct DeletedBackup {
  std::u16string path;
  platform::ErrorCode result = platform::kErrorSuccess;
};

// What an unattended run did, for a front end that tells the user.
struct ScheduledRun {
  bool due = false;        // a schedule that runs was set: the backup was made, the next armed
  std::u16string failure;  // what went wrong with the backup; empty when it went right
  std::vector<DeletedBackup> deleted;
  std::optional<platform::SystemTime> next_run;  // in local time; nothing when none is armed
  // The notification service's answer when it would not arm the next run.
  platform::ErrorCode arm_error = platform::kErrorSuccess;
};

// The unattended run: the day's backup of the scheduled kinds into the scheduled folder, old
// backups pruned, the next run armed. Rows go to the sink when there is one, and what the run did
// to *run when given. kSwitchOffAnswer when the device is to be switched off, else 0.
int RunScheduledBackup(const platform::Device& device, const engine::KindWorkerFactory& factory,
                       engine::ProgressSink* sink, ScheduledRun* run = nullptr);

// Deletes the oldest ".qbk" files of the folder (which ends in "\") by last write time, keeping
// `keep`; the files it deleted or tried to, oldest first.
std::vector<DeletedBackup> DeleteOldBackups(const platform::Device& device,
                                            std::u16string_view folder, std::uint32_t keep);

// Whether a command line asks for the unattended run: "/SchedBackup" in any case, alone or
// followed by a blank and more.
bool IsScheduleCommandLine(std::u16string_view command_line);
// For such a command line, the device is switched fully on, the unattended run made, and the
// device switched off when the schedule says so; true. False for any other, with nothing done.
bool HandleScheduleCommandLine(const platform::Device& device, std::u16string_view command_line,
                               const engine::KindWorkerFactory& factory, engine::ProgressSink* sink,
                               ScheduledRun* run = nullptr);

}  // namespace kestrav::settings
