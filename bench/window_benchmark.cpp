// kestrav-window-benchmark: the window under load.
//   kestrav-window-benchmark rows N        a job of N rows onto the shown window's status page:
//                                          the event loop's worst delay and the memory before
//                                          and after
//   kestrav-window-benchmark backup PROFILE ARCHIVE
//                                          a backup of every kind through the window's job
//                                          runner, as the action page starts one: its seconds
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include "engine/backup_job.h"
#include "kinds/jobs.h"
#include "platform/format.h"
#include "platform/host/host_device.h"
#include "platform/test_support/temporary_device.h"
#include "platform/text.h"
#include "ui/main_window.h"

namespace {

using namespace kestrav;

long ResidentKibibytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  }
  return -1;
}

void WaitForJob(ui::MainWindow& window) {
  QEventLoop ended;
  QObject::connect(&window, &ui::MainWindow::JobEnded, &ended, &QEventLoop::quit);
  ended.exec();
}

int Rows(std::uint32_t count) {
  testing::TemporaryDevice device;
  ui::MainWindow window(device.device(), device.device().os_major_version(), {}, {});
  window.show();
  QEventLoop settle;
  QTimer::singleShot(200, &settle, &QEventLoop::quit);
  settle.exec();
  const long before = ResidentKibibytes();
  // The longest the event loop left a 10 ms timer waiting beyond its time.
  QElapsedTimer clock;
  clock.start();
  qint64 last = 0;
  qint64 worst = 0;
  QTimer probe;
  QObject::connect(&probe, &QTimer::timeout, [&] {
    const qint64 now = clock.elapsed();
    worst = std::max(worst, now - last - 10);
    last = now;
  });
  probe.start(10);
  window.StartJob(
      true, [count](engine::ProgressSink* sink, engine::CancelFlag*, const kinds::FrontEnd&) {
        for (std::uint32_t row = 1; row <= count; ++row) {
          engine::PostLog(sink, platform::Format(u"%u. contact 'Row number %u' saved.", row, row),
                          engine::LogIcon::kInformation, row == count);
        }
        return kinds::JobOutcome{};
      });
  last = clock.elapsed();
  WaitForJob(window);
  const qint64 job_time = clock.elapsed();
  probe.stop();
  std::printf(
      "%u rows in %lld ms; worst event-loop delay %lld ms; resident memory %ld KiB "
      "before, %ld KiB after\n",
      count, static_cast<long long>(job_time), static_cast<long long>(worst), before,
      ResidentKibibytes());
  return 0;
}

int Backup(const char* profile, const char* archive) {
  std::string error;
  const std::unique_ptr<platform::host::HostDevice> host =
      platform::host::HostDevice::OpenProfile(profile, &error);
  if (!host) {
    std::fprintf(stderr, "kestrav-window-benchmark: %s\n", error.c_str());
    return 1;
  }
  const platform::Device& device = host->device();
  ui::MainWindow window(device, device.os_major_version(), {}, {});
  window.show();
  engine::BackupJob job;
  job.archive_file = platform::FromUtf8(archive);
  for (const kinds::KindRow& row : kinds::AllKinds()) job.kinds.push_back(row.kind);
  kinds::JobOutcome outcome;
  QElapsedTimer clock;
  clock.start();
  window.StartJob(true, [&](engine::ProgressSink* sink, engine::CancelFlag* cancel,
                            const kinds::FrontEnd& front_end) {
    outcome = kinds::RunBackup(device, job, sink, cancel, front_end);
    return outcome;
  });
  WaitForJob(window);
  std::printf("%.2f\n", clock.elapsed() / 1000.0);
  return outcome.failure.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "rows" && argc == 3) return Rows(static_cast<std::uint32_t>(std::stoul(argv[2])));
  if (mode == "backup" && argc == 4) return Backup(argv[2], argv[3]);
  std::fprintf(stderr, "usage: kestrav-window-benchmark rows N | backup PROFILE ARCHIVE\n");
  return 2;
}
