// ProgressSink: the status page a job reports to, and the calls a job reports with.
//
// A job on its worker thread reports through four messages: a log line (1319), item progress
// (1320), overall progress (1321) and the cancel request (1328). Post queues a message and
// returns at once; Send waits until the sink has handled it. Posted and sent messages are
// handled in the order they were made, so the rows read in the order the work happened. The
// thread that made the sink receives: it calls DispatchPending, which turns messages into rows
// and bar positions through the virtual handlers. A send from the receiving thread itself is
// handled at once. Once closed, a sink takes no more messages: every later report is a silent
// no-op, and the job goes on to its end.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "platform/clock.h"

namespace kestrav::engine {

enum class StatusMessage : std::uint32_t {
  kLogLine = 1319,
  kItemProgress = 1320,
  kOverallProgress = 1321,
  kCancelRequest = 1328,
};

enum class LogIcon : std::uint16_t { kInformation = 0, kError = 1 };

// One message as the page receives it. For a log line, parameter holds the icon in its low 16
// bits and 1 in its high 16 bits for the job's last line; for progress, parameter is the new
// position and upper_bound, when not 0, the new upper bound of the range (lower bound 0).
struct StatusReport {
  StatusMessage message;
  std::uint32_t parameter = 0;
  std::uint32_t upper_bound = 0;
  std::optional<std::u16string> text;
};

// A row of the page's log: the local time of arrival as "HH:MM:SS", the icon and the text.
struct LogRow {
  std::u16string time;
  LogIcon icon;
  std::u16string text;
  bool last;  // the job's last line: the page fits its columns to their contents
};

// Where reports are handled: on the thread that made the sink, which dispatches them (a window
// must touch its controls from its own thread), or at once on the reporting thread, one at a
// time (a console, which any thread may write to).
enum class Delivery { kOnReceiverThread, kOnReportingThread };

class ProgressSink {
 public:
  // The clock gives each row its time of arrival.
  explicit ProgressSink(const platform::Clock& clock,
                        Delivery delivery = Delivery::kOnReceiverThread);
  virtual ~ProgressSink();
  ProgressSink(const ProgressSink&) = delete;
  ProgressSink& operator=(const ProgressSink&) = delete;

  // Queues a report; false (and nothing queued) once the sink is closed.
  bool Post(StatusReport report);
  // Queues a report and waits until it has been handled; false when the sink is or becomes
  // closed before that.
  bool Send(StatusReport report);

  // Receiving side: handles every report queued so far, in order.
  void DispatchPending();
  // Receiving side: waits until a report is queued, the sink closes, or the time passes.
  void WaitForReports(std::chrono::milliseconds timeout);

  // The window goes: queued reports are dropped and waiting senders released.
  void Close();
  bool IsOpen() const;

  // Whether the running job is a backup; chooses the cancel text.
  void SetJobIsBackup(bool backup) { job_is_backup_ = backup; }

  // The log lines with the error icon reported so far, shown or not.
  int error_lines() const { return error_lines_.load(); }

 protected:
  virtual void AddRow(const LogRow& row) = 0;
  virtual void SetItemProgress(std::uint32_t position,
                               std::optional<std::uint32_t> upper_bound) = 0;
  virtual void SetOverallProgress(std::uint32_t position,
                                  std::optional<std::uint32_t> upper_bound) = 0;
  // Called on the reporting thread after a report is queued, for a receiver whose own event
  // loop must be woken to dispatch it.
  virtual void ReportsPending() {}

 private:
  void Handle(const StatusReport& report);
  void CountErrorLine(const StatusReport& report);
  std::uint64_t Enqueue(StatusReport report);

  const platform::Clock& clock_;
  const Delivery delivery_;
  const std::thread::id receiver_;
  std::mutex handling_;  // one report at a time, for delivery on the reporting thread
  bool job_is_backup_ = true;
  std::atomic<int> error_lines_ = 0;

  mutable std::mutex mutex_;
  std::condition_variable queued_;
  std::condition_variable handled_;
  std::deque<StatusReport> queue_;
  std::uint64_t next_sequence_ = 0;  // sequence number of the next report queued
  std::uint64_t handled_until_ = 0;  // every report below this number has been handled
  bool closed_ = false;
};

// The job's cancel flag: set by the front end, read by the job between items without a lock; a
// late read only delays the stop by one item.
using CancelFlag = std::atomic<std::uint8_t>;

// The front end's cancel command: sets the flag and sends the cancel request to the page.
void RequestCancel(ProgressSink* sink, CancelFlag* cancel);

// The job's reporting calls. Each does nothing and returns false when the sink is gone (null or
// closed). A null text posts a log line that adds no row.
bool PostLog(ProgressSink* sink, std::optional<std::u16string_view> text, LogIcon icon,
             bool last = false);
bool SendLog(ProgressSink* sink, std::optional<std::u16string_view> text, LogIcon icon,
             bool last = false);
// Posts overall progress when overall is set, item progress otherwise; an upper bound of 0
// leaves the range as it is.
bool PostProgress(ProgressSink* sink, std::uint32_t position, std::uint32_t upper_bound,
                  bool overall);

}  // namespace kestrav::engine
