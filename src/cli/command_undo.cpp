#include <cstdio>

#include "cli/cli.h"
#include "platform/format.h"
#include "platform/text.h"

namespace kestrav::cli {
namespace {

int Undo(CommandContext& context) {
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const std::unique_ptr<engine::DeviceJob> job = context.BeginJob(host->device(), u"undo", true);
  if (!job) return kExitFailure;
  platform::SnapshotInfo info;
  std::u16string reason;
  if (host->device().safeguards()->RestoreSnapshot(&info, &reason) != platform::kErrorSuccess)
    return context.Fail(reason);
  const platform::SystemTime& taken = info.taken;
  std::printf("%s\n",
              platform::ToUtf8(platform::Format(u"The device is back as it was before the %s, "
                                                u"started %.4d-%.2d-%.2d %.2d:%.2d:%.2d UTC.",
                                                info.job, taken.year, taken.month, taken.day,
                                                taken.hour, taken.minute, taken.second))
                  .c_str());
  return kExitSuccess;
}

}  // namespace

void AddUndoCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "undo",
      "Put the device back as it was before the last job that changed it (a restore, an "
      "import, a delete-all or a device load)");
  command->callback([&context] { context.action = [&context] { return Undo(context); }; });
}

}  // namespace kestrav::cli
