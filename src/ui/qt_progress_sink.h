// The status page as a job's ProgressSink: the job reports from its worker thread, the page
// takes the reports on the GUI thread. Made on the GUI thread; a report wakes the GUI thread
// once, however many follow before it gets there, and the GUI thread then takes them all.
#pragma once

#include <QObject>
#include <QPointer>
#include <atomic>

#include "engine/progress_sink.h"
#include "platform/clock.h"
#include "ui/status_page.h"

namespace kestrav::ui {

class QtProgressSink : public QObject, public engine::ProgressSink {
  Q_OBJECT

 public:
  // Closes itself when the page closes or goes.
  QtProgressSink(StatusPage* page, const platform::Clock& clock, QObject* parent = nullptr);
  ~QtProgressSink() override;

 protected:
  void AddRow(const engine::LogRow& row) override;
  void SetItemProgress(std::uint32_t position, std::optional<std::uint32_t> upper_bound) override;
  void SetOverallProgress(std::uint32_t position,
                          std::optional<std::uint32_t> upper_bound) override;
  void ReportsPending() override;

 private:
  void Dispatch();

  QPointer<StatusPage> page_;
  std::atomic<bool> wake_queued_ = false;
};

}  // namespace kestrav::ui
