// The start of either program, before any window: the device's version, then the unattended
// backup when the command line asks for it - after which the program ends without a window.
#pragma once

#include <string_view>

#include "engine/progress_sink.h"
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

}  // namespace kestrav::kinds
