#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "cli/cli.h"
#include "cli/job_runner.h"
#include "kinds/start_up.h"
#include "platform/host/systemd_timers.h"
#include "platform/system_error.h"
#include "platform/text.h"
#include "settings/schedule.h"

namespace kestrav::cli {
namespace {

// How long the unattended backup waits for another job on its device: KESTRAV_SCHEDULED_WAIT
// seconds when it holds a number up to a day, else kScheduledWaitSeconds.
int ScheduledWaitSeconds() {
  const char* text = std::getenv("KESTRAV_SCHEDULED_WAIT");
  if (text == nullptr) return kScheduledWaitSeconds;
  const std::string_view digits = text;
  int seconds = 0;
  const auto [end, failure] =
      std::from_chars(digits.data(), digits.data() + digits.size(), seconds);
  if (failure != std::errc() || end != digits.data() + digits.size() || seconds < 0 ||
      seconds > 24 * 60 * 60) {
    return kScheduledWaitSeconds;
  }
  return seconds;
}

// What became of the next run, for the line that says what became of this one: empty when no
// schedule is set that runs; `failed` when no run will come.
struct NextRun {
  std::u16string text;
  bool failed = false;
  std::string armed;  // when it is armed and to come: its time as the user reads it
};

NextRun NextRunAfter(platform::host::HostDevice& host,
                     const std::optional<platform::SystemTime>& next,
                     platform::ErrorCode arm_error) {
  if (arm_error != platform::kErrorSuccess) {
    const platform::host::SystemdNotifications* timers = host.notifications();
    return {u"the next run could not be armed: " + (timers != nullptr && !timers->note().empty()
                                                        ? timers->note()
                                                        : platform::SystemErrorText(arm_error)),
            true, ""};
  }
  bool passed = false;
  const std::optional<std::string> armed =
      next ? NextScheduledRunText(host, &passed) : std::nullopt;
  if (!armed) return {};
  if (passed)
    return {platform::FromUtf8("the next run, " + *armed + ", " + kNextRunPassed), true, ""};
  return {u"the next run is armed for " + platform::FromUtf8(*armed), false, *armed};
}

std::u16string WithNextRun(std::u16string line, const NextRun& next_run) {
  return next_run.text.empty() ? line : line + u"; " + next_run.text;
}

}  // namespace

std::optional<int> RunScheduledStart(CommandContext& context, std::u16string_view command_line) {
  if (!settings::IsScheduleCommandLine(command_line)) return std::nullopt;
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const platform::Device& device = host->device();
  // Nobody is there to try again: the run waits out a job in hand, a long restore included.
  context.wait_seconds = ScheduledWaitSeconds();
  std::u16string refusal;
  const std::unique_ptr<engine::DeviceJob> job =
      context.BeginJob(device, u"scheduled backup", false, &refusal);
  if (!job) {
    // This run is lost, not the schedule: the next run is armed as after a run.
    platform::ErrorCode arm_error = platform::kErrorSuccess;
    const std::optional<platform::SystemTime> next = settings::ArmRunAfterToday(device, &arm_error);
    return context.Fail(WithNextRun(u"the scheduled backup did not run: " + refusal,
                                    NextRunAfter(*host, next, arm_error)));
  }
  kinds::StartUp start;
  RunJob(device.clock(), true, [&](engine::ProgressSink* sink, engine::CancelFlag*) {
    start = kinds::StartProgram(device, command_line, sink);
  });
  const settings::ScheduledRun& run = start.scheduled;
  if (!run.due) {
    std::printf(
        "No backup is made: no schedule is set, or its start time is 00:00, which never "
        "runs.\n");
  }
  // The journal keeps what the run deleted; a delete that failed leaves the file, and the run
  // goes on, as the handheld's did.
  for (const settings::DeletedBackup& deleted : run.deleted) {
    if (deleted.result == platform::kErrorSuccess) {
      std::printf("Deleted old backup %s\n", PrintableName(deleted.path).c_str());
    } else {
      std::printf("Could not delete old backup %s: %s\n", PrintableName(deleted.path).c_str(),
                  platform::ToUtf8(platform::SystemErrorText(deleted.result)).c_str());
    }
  }
  const NextRun next_run = run.due ? NextRunAfter(*host, run.next_run, run.arm_error) : NextRun{};
  if (!run.failure.empty())
    return context.Fail(WithNextRun(u"the scheduled backup failed: " + run.failure, next_run));
  if (next_run.failed) return context.Fail(u"the scheduled backup is made, but " + next_run.text);
  if (!next_run.armed.empty()) std::printf("Next run: %s\n", next_run.armed.c_str());
  return context.FailOnStoreFailure(*job, "the scheduled backup");
}

}  // namespace kestrav::cli
