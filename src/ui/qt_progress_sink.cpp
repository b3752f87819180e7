#include "ui/qt_progress_sink.h"

namespace kestrav::ui {

QtProgressSink::QtProgressSink(StatusPage* page, const platform::Clock& clock, QObject* parent)
    : QObject(parent),
      engine::ProgressSink(clock, engine::Delivery::kOnReceiverThread),
      page_(page) {
  if (page == nullptr) {
    Close();
    return;
  }
  connect(page, &StatusPage::Closed, this, [this] { Close(); });
  connect(page, &QObject::destroyed, this, [this] { Close(); });
}

QtProgressSink::~QtProgressSink() {
  // A worker still waiting in Send must not wait on a sink that is gone.
  Close();
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
  // Runs on the worker thread: one wake-up in flight is enough, it takes every report queued.
  if (wake_queued_.exchange(true)) return;
  QMetaObject::invokeMethod(this, &QtProgressSink::Dispatch, Qt::QueuedConnection);
}

void QtProgressSink::Dispatch() {
  wake_queued_ = false;
  DispatchPending();
}

}  // namespace kestrav::ui
