// Runs one backup, restore or deletion at a time on a worker thread that reports to the status
// page, and tells the window when it is over. The window's Cancel key calls Cancel.
#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <thread>

#include "engine/progress_sink.h"
#include "kinds/jobs.h"
#include "platform/clock.h"
#include "ui/qt_progress_sink.h"
#include "ui/status_page.h"

namespace kestrav::ui {

using kinds::JobOutcome;

class JobRunner : public QObject {
  Q_OBJECT

 public:
  using Job = std::function<JobOutcome(engine::ProgressSink*, engine::CancelFlag*)>;

  JobRunner(StatusPage* page, const platform::Clock& clock, QObject* parent = nullptr);
  // Waits for a running job: it always runs to its end, even when nobody watches.
  ~JobRunner() override;
  JobRunner(const JobRunner&) = delete;
  JobRunner& operator=(const JobRunner&) = delete;

  // Starts the job with the page's title and first row for a backup or a restore; false when a
  // job runs already.
  bool Start(bool is_backup, Job job);
  // Logs the cancel line and sets the running job's cancel flag; nothing when no job runs.
  void Cancel();
  bool IsRunning() const { return worker_.joinable(); }

 signals:
  // On the GUI thread, after the job's last row.
  void Finished(kestrav::kinds::JobOutcome outcome);

 private:
  void OnJobEnded();

  QPointer<StatusPage> page_;
  const platform::Clock& clock_;
  std::unique_ptr<QtProgressSink> sink_;
  engine::CancelFlag cancel_ = 0;
  JobOutcome outcome_;
  std::thread worker_;
};

}  // namespace kestrav::ui
