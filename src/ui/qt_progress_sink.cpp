#include "ui/qt_progress_sink.h"

#include <QThread>
#include <utility>

namespace kestrav::ui {
namespace {

// One round of the page a frame at most.
constexpr int kRepaintMilliseconds = 16;

}  // namespace

QtProgressSink::QtProgressSink(StatusPage* page, const platform::Clock& clock, QObject* parent)
    : QObject(parent),
      engine::ProgressSink(clock, engine::Delivery::kOnReportingThread),
      page_(page) {
  repaint_timer_.setSingleShot(true);
  repaint_timer_.setInterval(kRepaintMilliseconds);
  connect(&repaint_timer_, &QTimer::timeout, this, &QtProgressSink::ShowReports);
  if (page == nullptr) {
    Close();
    return;
  }
  connect(page, &StatusPage::Closed, this, &QtProgressSink::CloseAndRelease);
  // A page being destroyed is no page to show reports on any more.
  connect(page, &QObject::destroyed, this, [this] { Close(); });
}

QtProgressSink::~QtProgressSink() {
  CloseAndRelease();
}

void QtProgressSink::CloseAndRelease() {
  // What the job reported before the page closed still reaches it.
  ShowReports();
  Close();
}

void QtProgressSink::Take(BarState* bar, std::uint32_t position,
                          std::optional<std::uint32_t> upper_bound) {
  bar->changed = true;
  bar->position = position;
  if (upper_bound) bar->upper_bound = upper_bound;
}

void QtProgressSink::AddRow(const engine::LogRow& row) {
  std::lock_guard lock(inbox_mutex_);
  inbox_.rows.push_back(row);
  ScheduleShowLocked();
}

void QtProgressSink::SetItemProgress(std::uint32_t position,
                                     std::optional<std::uint32_t> upper_bound) {
  std::lock_guard lock(inbox_mutex_);
  Take(&inbox_.item_bar, position, upper_bound);
  ScheduleShowLocked();
}

void QtProgressSink::SetOverallProgress(std::uint32_t position,
                                        std::optional<std::uint32_t> upper_bound) {
  std::lock_guard lock(inbox_mutex_);
  Take(&inbox_.overall_bar, position, upper_bound);
  ScheduleShowLocked();
}

void QtProgressSink::ScheduleShowLocked() {
  // One round in waiting takes everything that comes before it.
  if (show_scheduled_) return;
  show_scheduled_ = true;
  if (QThread::currentThread() == thread()) {
    repaint_timer_.start();
  } else {
    QMetaObject::invokeMethod(
        this, [this] { repaint_timer_.start(); }, Qt::QueuedConnection);
  }
}

void QtProgressSink::ShowReports() {
  Inbox taken;
  {
    std::lock_guard lock(inbox_mutex_);
    std::swap(taken, inbox_);
    show_scheduled_ = false;
  }
  repaint_timer_.stop();
  if (!page_) return;
  for (const engine::LogRow& row : taken.rows) page_->AddRow(row);
  page_->ShowPendingRows();
  if (taken.item_bar.changed)
    page_->SetItemProgress(taken.item_bar.position, taken.item_bar.upper_bound);
  if (taken.overall_bar.changed)
    page_->SetOverallProgress(taken.overall_bar.position, taken.overall_bar.upper_bound);
}

}  // namespace kestrav::ui
