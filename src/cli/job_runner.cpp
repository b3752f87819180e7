#include "cli/job_runner.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <thread>

#include "engine/restore_pass.h"
#include "kinds/console_sink.h"
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
    bars_shown = kinds::IsTerminal(stdout) ? 1 : 0;
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

void RunJob(const platform::Clock& clock, bool is_backup, std::vector<engine::ItemKind> kinds,
            const Job& job) {
  kinds::ConsoleSink sink(clock, stdout, kinds::IsTerminal(stdout));
  sink.SetJobIsBackup(is_backup);
  sink.SetJobKinds(std::move(kinds));
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
}

int FailWithRefusal(const CommandContext& context, const engine::RestoreRefusal& refusal) {
  return context.Fail(refusal.title + u": " + refusal.text +
                      (refusal.cause.empty() ? u"" : u" (" + refusal.cause + u")"));
}

int RunCheckedRestore(const CommandContext& context, const platform::Device& device,
                      engine::DeviceJob& device_job, engine::BackupJob& job,
                      std::u16string_view what, const kinds::FrontEnd& front_end) {
  kinds::JobOutcome outcome;
  std::vector<engine::ItemKind> kinds;
  for (const engine::BackupJob::PreparedRestore& restore : job.restores)
    kinds.push_back(restore.pass.kind);
  RunJob(device.clock(), false, std::move(kinds),
         [&](engine::ProgressSink* sink, engine::CancelFlag* cancel) {
           outcome =
               kinds::RunCheckedRestore(device, device_job, job, sink, cancel, what, front_end);
         });
  // Told whatever the outcome: the rows scrolled past, and the user may want a fuller backup.
  if (const std::u16string notice = engine::RestoreNotice(job); !notice.empty())
    std::printf("Note: %s (back up with --attachments to keep them)\n",
                platform::ToUtf8(notice).c_str());
  if (!outcome.failure.empty()) return context.Fail(outcome.failure);
  return kExitSuccess;
}

}  // namespace kestrav::cli
