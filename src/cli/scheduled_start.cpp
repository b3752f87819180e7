#include "cli/cli.h"
#include "cli/job_runner.h"
#include "kinds/start_up.h"
#include "settings/schedule.h"

namespace kestrav::cli {

std::optional<int> RunScheduledStart(CommandContext& context, std::u16string_view command_line) {
  if (!settings::IsScheduleCommandLine(command_line)) return std::nullopt;
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const platform::Device& device = host->device();
  // Nobody is there to try again: the run waits out a job in hand, a long restore included.
  context.wait_seconds = std::max(context.wait_seconds, kScheduledWaitSeconds);
  const std::unique_ptr<engine::DeviceJob> job =
      context.BeginJob(device, u"scheduled backup", false);
  if (!job) return kExitFailure;
  kinds::StartUp start;
  RunJob(device.clock(), true, [&](engine::ProgressSink* sink, engine::CancelFlag*) {
    start = kinds::StartProgram(device, command_line, sink);
  });
  if (!start.failure.empty()) return context.Fail(u"the scheduled backup failed: " + start.failure);
  return context.FailOnStoreFailure(*job, "the scheduled backup");
}

}  // namespace kestrav::cli
