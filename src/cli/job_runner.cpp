#include "cli/job_runner.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <thread>

#include "cli/console_sink.h"
#include "engine/restore_pass.h"
#include "kinds/jobs.h"
#include "platform/text.h"

namespace kestrav::cli {
namespace {

volatile std::sig_atomic_t interrupted = 0;
// Whether progress bars stand on the terminal's last line, which the last words must not join.
volatile std::sig_atomic_t bars_shown = 0;

extern "C" void OnInterrupt(int) {
  if (interrupted == 0) {
    interrupted = 1;
    return;
  }
  // A second Ctrl+C, like the window's button once it reads "Exit", ends the program at once.
  // Every store commits call by call and a backup replaces its archive only once it is whole,
  // so nothing the user had is lost; the next job clears what this one left.
  static constexpr char kStopped[] = "\nkestrav-cli: stopped at once by a second Ctrl+C\n";
  const char* text = bars_shown != 0 ? kStopped : kStopped + 1;
  [[maybe_unused]] const ssize_t written =
      ::write(STDERR_FILENO, text, sizeof kStopped - 1 - (text - kStopped));
  ::_exit(1);
}

// Ctrl+C asks the job to stop instead of killing the program mid-write; the previous handler
// comes back when the job is over.
class InterruptGuard {
 public:
  InterruptGuard() {
    interrupted = 0;
    bars_shown = IsTerminal(stdout) ? 1 : 0;
    struct sigaction action = {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previous_);
  }
  ~InterruptGuard() { sigaction(SIGINT, &previous_, nullptr); }
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

 private:
  struct sigaction previous_ = {};
};

}  // namespace

JobOutcome RunJob(const platform::Clock& clock, bool is_backup, const Job& job) {
  ConsoleSink sink(clock, stdout, IsTerminal(stdout));
  sink.SetJobIsBackup(is_backup);
  engine::CancelFlag cancel = 0;
  std::atomic<bool> done = false;
  InterruptGuard guard;
  std::thread worker([&] {
    job(&sink, &cancel);
    done = true;
  });
  bool cancel_requested = false;
  sink.RunUntil([&] {
    if (interrupted != 0 && !cancel_requested) {
      cancel_requested = true;
      engine::RequestCancel(&sink, &cancel);
    }
    return done.load();
  });
  worker.join();
  return {cancel.load() != 0, sink.error_lines()};
}

JobOutcome RunRestoreJob(const platform::Device& device, engine::BackupJob& job) {
  return RunJob(device.clock(), false, [&](engine::ProgressSink* sink, engine::CancelFlag* cancel) {
    kinds::RunRestoreJob(device, job, sink, cancel);
  });
}

int FailWithRefusal(const CommandContext& context, const engine::RestoreRefusal& refusal) {
  return context.Fail(refusal.title + u": " + refusal.text +
                      (refusal.cause.empty() ? u"" : u" (" + refusal.cause + u")"));
}

int RunCheckedRestore(const CommandContext& context, const platform::Device& device,
                      engine::DeviceJob& device_job, engine::BackupJob& job,
                      std::string_view what) {
  if (std::u16string reason; !device_job.TakeSnapshot(&reason)) {
    return context.Fail(platform::ToUtf8(reason) + " (nothing was restored)");
  }
  const JobOutcome outcome = RunRestoreJob(device, job);
  // Told whatever the outcome: the rows scrolled past, and the user may want a fuller backup.
  if (const std::u16string notice = engine::RestoreNotice(job); !notice.empty())
    std::printf("Note: %s (back up with --attachments to keep them)\n",
                platform::ToUtf8(notice).c_str());
  const std::string way_back =
      "; kestrav-cli undo puts the device back as it was before this " + std::string(what);
  const std::u16string failure = device_job.StoreFailure();
  if (!failure.empty()) {
    return context.Fail(
        "the " + std::string(what) +
        " was cut short: a store of the device failed: " + platform::ToUtf8(failure) + way_back);
  }
  if (outcome.canceled)
    return context.Fail("the " + std::string(what) + " was canceled" + way_back);
  if (const std::u16string shortfall = engine::RestoreShortfall(job); !shortfall.empty())
    return context.Fail(platform::ToUtf8(shortfall) + way_back);
  if (outcome.error_rows > 0) {
    return context.Fail("the " + std::string(what) + " reported errors (rows marked (!))" +
                        way_back);
  }
  return kExitSuccess;
}

}  // namespace kestrav::cli
