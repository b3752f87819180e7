#include "ui/qt_progress_sink.h"

#include <QThread>
#include <algorithm>
#include <chrono>

namespace kestrav::ui {

QtProgressSink::QtProgressSink(StatusPage* page, const platform::Clock& clock, QObject* parent)
    : QObject(parent),
      engine::ProgressSink(clock, engine::Delivery::kOnReceiverThread),
      page_(page) {
  if (page == nullptr) {
    Close();
    return;
  }
  connect(page, &StatusPage::Closed, this, &QtProgressSink::CloseAndRelease);
  connect(page, &QObject::destroyed, this, &QtProgressSink::CloseAndRelease);
}

QtProgressSink::~QtProgressSink() {
  // A worker still waiting in Send must not wait on a sink that is gone.
  CloseAndRelease();
}

void QtProgressSink::CloseAndRelease() {
  Close();
  taken_changed_.notify_all();
}

void QtProgressSink::AddRow(const engine::LogRow& row) {
  if (page_) page_->AddRow(row);
}

void QtProgressSink::SetItemProgress(std::uint32_t position,
                                     std::optional<std::uint32_t> upper_bound) {
  if (page_) page_->SetItemProgress(position, upper_bound);
}

void QtProgressSink::SetOverallProgress(std::uint32_t position,
                                        std::optional<std::uint32_t> upper_bound) {
  if (page_) page_->SetOverallProgress(position, upper_bound);
}

void QtProgressSink::ReportsPending() {
  // One wake-up in flight is enough: it takes every report queued.
  const std::uint64_t queued = ++reports_queued_;
  if (!wake_queued_.exchange(true))
    QMetaObject::invokeMethod(this, &QtProgressSink::Dispatch, Qt::QueuedConnection);
  if (QThread::currentThread() == thread()) return;
  std::unique_lock lock(taken_mutex_);
  // Timed, for a sink closed by a caller that does not wake this wait.
  while (queued > reports_taken_ + kMostBehind && IsOpen())
    taken_changed_.wait_for(lock, std::chrono::milliseconds(20));
}

void QtProgressSink::Dispatch() {
  wake_queued_ = false;
  // Every report counted so far was queued before this round takes the queue.
  const std::uint64_t counted = reports_queued_.load();
  DispatchPending();
  {
    std::lock_guard lock(taken_mutex_);
    reports_taken_ = std::max(reports_taken_, counted);
  }
  taken_changed_.notify_all();
}

}  // namespace kestrav::ui
