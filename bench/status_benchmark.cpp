// The window's status page under load, for bench/run-status-benchmark. Two runs:
//   rows N          a job of N rows through the job runner onto a shown page: the event loop's
//                   worst delay while it runs, and the process's memory before and after
//   backup PROFILE ARCHIVE   a backup of every kind of a device profile through the job runner,
//                   as the window runs one: its time
// Runs on whatever display Qt is given (Xvfb in the script, or QT_QPA_PLATFORM=offscreen).
#include <CLI/CLI.hpp>
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include "engine/backup_job.h"
#include "kinds/jobs.h"
#include "kinds/kinds.h"
#include "platform/host/host_device.h"
#include "platform/host/system_clock.h"
#include "platform/text.h"
#include "ui/job_runner.h"
#include "ui/status_page.h"

namespace {

using kestrav::ui::JobOutcome;
using kestrav::ui::JobRunner;

// A line of /proc/self/status in KiB: "VmRSS", "VmHWM".
long MemoryKib(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(field + ":", 0) == 0) return std::stol(line.substr(field.size() + 1));
  }
  return -1;
}

// Runs the event loop until the job ends; the outcome.
JobOutcome RunToEnd(JobRunner& runner) {
  JobOutcome outcome;
  QEventLoop loop;
  QObject::connect(&runner, &JobRunner::Finished, [&](const JobOutcome& ended) {
    outcome = ended;
    loop.quit();
  });
  loop.exec();
  return outcome;
}

// Settles the shown page before a measurement.
void Settle() {
  QElapsedTimer settling;
  settling.start();
  while (settling.elapsed() < 200) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

int RunRows(int rows) {
  kestrav::platform::host::SystemClock clock;
  kestrav::ui::StatusPage page;
  page.resize(240, 320);
  page.show();
  Settle();
  const long before_kib = MemoryKib("VmRSS");

  // A timer that should fire every 5 ms: how late it fires is how long the loop was busy.
  constexpr int kTickMilliseconds = 5;
  QElapsedTimer since_tick;
  qint64 worst_gap = 0;
  QTimer ticker;
  ticker.setTimerType(Qt::PreciseTimer);
  QObject::connect(&ticker, &QTimer::timeout,
                   [&] { worst_gap = std::max(worst_gap, since_tick.restart()); });

  JobRunner runner(&page, clock);
  QElapsedTimer elapsed;
  elapsed.start();
  since_tick.start();
  ticker.start(kTickMilliseconds);
  runner.Start(true, [rows](kestrav::engine::ProgressSink* sink, kestrav::engine::CancelFlag*) {
    for (int row = 1; row <= rows; ++row) {
      const std::u16string text =
          u"contact '" + kestrav::platform::FromUtf8(std::to_string(row)) + u"' saved.";
      // Workers send their rows; the job driver posts its own.
      if (row % 2 == 0)
        kestrav::engine::SendLog(sink, text, kestrav::engine::LogIcon::kInformation);
      else
        kestrav::engine::PostLog(sink, text, kestrav::engine::LogIcon::kInformation);
      if (row % 1000 == 0)
        kestrav::engine::PostProgress(sink, static_cast<std::uint32_t>(row),
                                      static_cast<std::uint32_t>(rows), false);
    }
    kestrav::engine::PostLog(sink, u"Backup ended successfully in 00:00:00.000",
                             kestrav::engine::LogIcon::kInformation, true);
    return JobOutcome{};
  });
  RunToEnd(runner);
  const qint64 job_milliseconds = elapsed.elapsed();
  ticker.stop();
  Settle();
  std::printf(
      "rows %d\njob_seconds %.3f\nworst_loop_delay_ms %lld\nrss_before_kib %ld\n"
      "rss_after_kib %ld\npeak_kib %ld\n",
      page.model().rowCount(), job_milliseconds / 1000.0,
      static_cast<long long>(std::max<qint64>(0, worst_gap - kTickMilliseconds)), before_kib,
      MemoryKib("VmRSS"), MemoryKib("VmHWM"));
  return 0;
}

int RunBackup(const std::string& profile, const std::string& archive) {
  std::string error;
  const std::unique_ptr<kestrav::platform::host::HostDevice> host =
      kestrav::platform::host::HostDevice::OpenProfile(profile, &error);
  if (!host) {
    std::fprintf(stderr, "kestrav-status-benchmark: %s\n", error.c_str());
    return 1;
  }
  const kestrav::platform::Device& device = host->device();
  kestrav::ui::StatusPage page;
  page.resize(240, 320);
  page.show();
  kestrav::engine::BackupJob job;
  job.archive_file = kestrav::platform::FromUtf8(archive);
  for (const kestrav::kinds::KindRow& row : kestrav::kinds::AllKinds())
    job.kinds.push_back(row.kind);
  JobRunner runner(&page, device.clock());
  QElapsedTimer elapsed;
  elapsed.start();
  runner.Start(true, [&](kestrav::engine::ProgressSink* sink, kestrav::engine::CancelFlag* cancel) {
    return JobOutcome{false, kestrav::kinds::RunBackupJob(device, job, sink, cancel)};
  });
  const JobOutcome outcome = RunToEnd(runner);
  std::printf("backup_seconds %.3f\nrows %d\n", elapsed.elapsed() / 1000.0,
              page.model().rowCount());
  if (!outcome.failure.empty()) {
    std::fprintf(stderr, "kestrav-status-benchmark: %s\n",
                 kestrav::platform::ToUtf8(outcome.failure).c_str());
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  CLI::App app{"The status page under load"};
  app.require_subcommand(1);
  int rows = 100'000;
  CLI::App* rows_command = app.add_subcommand("rows", "a job of many rows");
  rows_command->add_option("count", rows);
  std::string profile;
  std::string archive;
  CLI::App* backup_command = app.add_subcommand("backup", "a backup of a device profile");
  backup_command->add_option("profile", profile)->required();
  backup_command->add_option("archive", archive, "the archive as a device path")->required();
  CLI11_PARSE(app, argc, argv);
  if (rows_command->parsed()) return RunRows(rows);
  return RunBackup(profile, archive);
}
