// The backup and restore engine: a job runs on a worker thread and reports to a ProgressSink
// (log rows, item and overall progress, the cancel request); the front end may cancel it
// through a one-byte flag that the job polls between items.
#pragma once

#include "engine/progress_sink.h"
#include "engine/status_text.h"
