#include "ui/job_runner.h"

namespace kestrav::ui {
namespace {

constexpr char16_t kPreparingBackup[] = u"Preparing backup...";
constexpr char16_t kPreparingRestore[] = u"Preparing restore...";

}  // namespace

JobRunner::JobRunner(StatusPage* page, const platform::Clock& clock, QObject* parent)
    : QObject(parent), page_(page), clock_(clock) {}

JobRunner::~JobRunner() {
  if (!worker_.joinable()) return;
  sink_->Close();
  worker_.join();
}

bool JobRunner::Start(bool is_backup, Job job) {
  if (IsRunning()) return false;
  sink_ = std::make_unique<QtProgressSink>(page_, clock_);
  sink_->SetJobIsBackup(is_backup);
  if (page_) page_->BeginJob(is_backup);
  // Sent from the GUI thread itself: on the page before the job can add a row.
  engine::SendLog(sink_.get(), is_backup ? kPreparingBackup : kPreparingRestore,
                  engine::LogIcon::kInformation);
  cancel_ = 0;
  outcome_ = {};
  worker_ = std::thread([this, job = std::move(job)] {
    outcome_ = job(sink_.get(), &cancel_);
    QMetaObject::invokeMethod(this, &JobRunner::OnJobEnded, Qt::QueuedConnection);
  });
  return true;
}

void JobRunner::Cancel() {
  if (!IsRunning() || cancel_.load() != 0) return;
  engine::RequestCancel(sink_.get(), &cancel_);
}

void JobRunner::OnJobEnded() {
  worker_.join();
  // The rows the job reported since the last repaint are still in the sink.
  sink_->ShowReports();
  sink_.reset();
  JobOutcome outcome = std::move(outcome_);
  outcome.canceled = outcome.canceled || cancel_.load() != 0;
  emit Finished(outcome);
}

}  // namespace kestrav::ui
