// The start of either program, before any window: the device's version, then the unattended
// backup when the command line asks for it - after which the program ends without a window.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/progress_sink.h"
#include "kinds/jobs.h"
#include "platform/device.h"
#include "settings/schedule.h"

namespace kestrav::kinds {

struct StartUp {
  int os_major_version = 0;    // below 5 Windows Mobile 2003 SE, else 2005 (the soft keys)
  bool scheduled_run = false;  // the command line was "/SchedBackup": the run is made, end now
  settings::ScheduledRun scheduled;  // what the scheduled run did
};

// Rows of a scheduled run go to the sink when there is one.
StartUp StartProgram(const platform::Device& device, std::u16string_view command_line,
                     engine::ProgressSink* sink);

// How long the unattended run waits for another job on its device: nobody is there to try again,
// so it waits out a job in hand, a long restore included - KESTRAV_SCHEDULED_WAIT seconds when it
// holds a number up to a day, else an hour.
int ScheduledWaitSeconds();

// What a start by the schedule's timer did, beyond the rows of its backup.
struct ScheduledStart {
  // Lines for the journal after the rows: a run without a schedule, each old backup deleted or
  // not, and the next run.
  std::vector<std::u16string> journal;
  // What went wrong, in one line, with what became of the next run; empty when nothing did.
  std::u16string failure;
};

// The start by the schedule's timer ("/SchedBackup"): StartProgram under the device's job lock,
// waiting ScheduledWaitSeconds for it. A start the safeguards refuse loses this run, not the
// schedule: the next run is armed as after a run.
ScheduledStart RunScheduledStart(const platform::Device& device, std::u16string_view command_line,
                                 engine::ProgressSink* sink, const FrontEnd& front_end);

// RunScheduledStart as either program makes it when its timer starts it: the rows and the journal
// lines on standard output, a failure as "<program>: <line>" on standard error. The exit status.
int RunScheduledStartOnConsole(const platform::Device& device, std::u16string_view command_line,
                               std::string_view program, const FrontEnd& front_end);

// When the device's schedule runs next, as the user reads it: the weekday, the local date and
// time, and the zone ("Saturday 2026-11-28 10:30:00 Europe/Berlin"); nothing when no run is armed.
// *passed (when given) tells whether that time has passed already, so that it never comes - which
// the handheld's mix of the UTC date and the local time of day can arm east of UTC.
std::optional<std::u16string> NextRunText(const platform::Device& device, bool* passed = nullptr);
inline constexpr char16_t kNextRunPassed[] =
    u"has passed already: as on the handheld, the run's date is the UTC date, here a day behind "
    u"the local one, so no run comes until the schedule is saved again";

}  // namespace kestrav::kinds
