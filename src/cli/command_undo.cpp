#include <cstdio>

#include "cli/cli.h"
#include "kinds/jobs.h"
#include "platform/text.h"

namespace kestrav::cli {
namespace {

int Undo(CommandContext& context) {
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const kinds::UndoOutcome outcome =
      kinds::RunUndo(host->device(), nullptr, context.FrontEnd(*host));
  if (!outcome.failure.empty()) return context.Fail(outcome.failure);
  std::printf("%s\n", platform::ToUtf8(outcome.done).c_str());
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
