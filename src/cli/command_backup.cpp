#include "cli/cli.h"

namespace kestrav::cli {}
namespace kestrav::cli {
void AddBackupCommand(CLI::App&, CommandContext&) {}
void AddRestoreCommand(CLI::App&, CommandContext&) {}
void AddDeleteAllCommand(CLI::App&, CommandContext&) {}
void AddDeviceCommand(CLI::App&, CommandContext&) {}
}  // namespace kestrav::cli
