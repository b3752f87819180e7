#include "cli/cli.h"

namespace kestrav::cli {

void AddDeviceDataCommands(CLI::App&, CommandContext&) {}

}  // namespace kestrav::cli
