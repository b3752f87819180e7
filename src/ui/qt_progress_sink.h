// The status page as a job's ProgressSink: the job reports from its worker thread, the page
// takes the reports on the GUI thread. Made on the GUI thread; a report wakes the GUI thread
// once, however many follow before it gets there, and the GUI thread then takes them all.
// A job that posts faster than the page takes its reports waits once the page is kMostBehind
// reports behind, so the queue stays small and one round of the GUI thread stays short.
#pragma once

#include <QObject>
#include <QPointer>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

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

  static constexpr std::uint64_t kMostBehind = 2000;

 protected:
  void AddRow(const engine::LogRow& row) override;
  void SetItemProgress(std::uint32_t position, std::optional<std::uint32_t> upper_bound) override;
  void SetOverallProgress(std::uint32_t position,
                          std::optional<std::uint32_t> upper_bound) override;
  void ReportsPending() override;

 private:
  void Dispatch();
  void CloseAndRelease();

  QPointer<StatusPage> page_;
  std::atomic<bool> wake_queued_ = false;
  std::atomic<std::uint64_t> reports_queued_ = 0;
  std::mutex taken_mutex_;
  std::condition_variable taken_changed_;
  std::uint64_t reports_taken_ = 0;  // at least this many reports have been handled
};

}  // namespace kestrav::ui
