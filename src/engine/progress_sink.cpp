#include "engine/progress_sink.h"

#include "engine/texts.h"
#include "platform/format.h"

namespace kestrav::engine {
namespace {

std::optional<std::uint32_t> UpperBound(const StatusReport& report) {
  if (report.upper_bound == 0) return std::nullopt;
  return report.upper_bound;
}

StatusReport LogReport(std::optional<std::u16string_view> text, LogIcon icon, bool last) {
  StatusReport report{StatusMessage::kLogLine,
                      static_cast<std::uint32_t>(icon) | (last ? 1u << 16 : 0u), 0, std::nullopt};
  if (text) report.text.emplace(*text);
  return report;
}

}  // namespace

ProgressSink::ProgressSink(const platform::Clock& clock, Delivery delivery)
    : clock_(clock), delivery_(delivery), receiver_(std::this_thread::get_id()) {}

ProgressSink::~ProgressSink() = default;

std::uint64_t ProgressSink::Enqueue(StatusReport report) {
  queue_.push_back(std::move(report));
  queued_.notify_all();
  return next_sequence_++;
}

void ProgressSink::CountErrorLine(const StatusReport& report) {
  if (report.message == StatusMessage::kLogLine && report.text &&
      (report.parameter & 0xFFFF) == static_cast<std::uint32_t>(LogIcon::kError)) {
    ++error_lines_;
  }
}

bool ProgressSink::Post(StatusReport report) {
  if (delivery_ == Delivery::kOnReportingThread) return Send(std::move(report));
  CountErrorLine(report);
  {
    std::lock_guard lock(mutex_);
    if (closed_) return false;
    Enqueue(std::move(report));
  }
  ReportsPending();
  return true;
}

bool ProgressSink::Send(StatusReport report) {
  CountErrorLine(report);
  if (delivery_ == Delivery::kOnReportingThread) {
    std::lock_guard handling(handling_);
    if (!IsOpen()) return false;
    Handle(report);
    return true;
  }
  if (std::this_thread::get_id() == receiver_) {
    // The receiver sending to itself: what is queued goes first, then this report.
    DispatchPending();
    if (!IsOpen()) return false;
    Handle(report);
    return true;
  }
  std::uint64_t sequence = 0;
  {
    std::lock_guard lock(mutex_);
    if (closed_) return false;
    sequence = Enqueue(std::move(report));
  }
  ReportsPending();
  std::unique_lock lock(mutex_);
  handled_.wait(lock, [&] { return closed_ || handled_until_ > sequence; });
  return handled_until_ > sequence;
}

void ProgressSink::DispatchPending() {
  std::deque<StatusReport> batch;
  {
    std::lock_guard lock(mutex_);
    if (closed_) return;
    batch.swap(queue_);
  }
  for (const StatusReport& report : batch) {
    if (!IsOpen()) return;  // closed by a handler: the rest is dropped
    Handle(report);
    std::lock_guard lock(mutex_);
    ++handled_until_;
    handled_.notify_all();
  }
}

void ProgressSink::WaitForReports(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  queued_.wait_for(lock, timeout, [&] { return closed_ || !queue_.empty(); });
}

void ProgressSink::Close() {
  std::lock_guard lock(mutex_);
  closed_ = true;
  queue_.clear();
  queued_.notify_all();
  handled_.notify_all();
}

bool ProgressSink::IsOpen() const {
  std::lock_guard lock(mutex_);
  return !closed_;
}

void ProgressSink::Handle(const StatusReport& report) {
  switch (report.message) {
    case StatusMessage::kLogLine: {
      if (!report.text) return;
      const platform::SystemTime now = clock_.LocalTime();
      AddRow(LogRow{platform::Format(texts::kRowTime, now.hour, now.minute, now.second),
                    static_cast<LogIcon>(report.parameter & 0xFFFF), *report.text,
                    (report.parameter >> 16) == 1});
      return;
    }
    case StatusMessage::kItemProgress:
      SetItemProgress(report.parameter, UpperBound(report));
      return;
    case StatusMessage::kOverallProgress:
      SetOverallProgress(report.parameter, UpperBound(report));
      return;
    case StatusMessage::kCancelRequest: {
      const platform::SystemTime now = clock_.LocalTime();
      AddRow(LogRow{platform::Format(texts::kRowTime, now.hour, now.minute, now.second),
                    LogIcon::kError,
                    job_is_backup_ ? texts::kCancelingBackup : texts::kCancelingRestore, false});
      return;
    }
  }
}

bool PostLog(ProgressSink* sink, std::optional<std::u16string_view> text, LogIcon icon, bool last) {
  return sink != nullptr && sink->Post(LogReport(text, icon, last));
}

bool SendLog(ProgressSink* sink, std::optional<std::u16string_view> text, LogIcon icon, bool last) {
  return sink != nullptr && sink->Send(LogReport(text, icon, last));
}

void RequestCancel(ProgressSink* sink, CancelFlag* cancel) {
  // The page shows its cancel line before the job can see the flag and end.
  if (sink != nullptr) sink->Send(StatusReport{StatusMessage::kCancelRequest, 0, 0, std::nullopt});
  cancel->store(1);
}

bool PostProgress(ProgressSink* sink, std::uint32_t position, std::uint32_t upper_bound,
                  bool overall) {
  return sink != nullptr && sink->Post(StatusReport{overall ? StatusMessage::kOverallProgress
                                                            : StatusMessage::kItemProgress,
                                                    position, upper_bound, std::nullopt});
}

}  // namespace kestrav::engine
