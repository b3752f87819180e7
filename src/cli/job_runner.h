// Runs a backup, restore or deletion on a worker thread while this thread prints its rows and
// bars, as the window's status page does. Ctrl+C is the Cancel button.
#pragma once

#include <functional>

#include "engine/progress_sink.h"
#include "platform/clock.h"

namespace kestrav::cli {

struct JobOutcome {
  bool canceled = false;
  int error_rows = 0;  // rows shown with the error mark
};

using Job = std::function<void(engine::ProgressSink* sink, engine::CancelFlag* cancel)>;

JobOutcome RunJob(const platform::Clock& clock, bool is_backup, const Job& job);

}  // namespace kestrav::cli
