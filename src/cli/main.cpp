#include <cstdlib>
#include <iostream>

#include "cli/cli.h"
#include "platform/text.h"

namespace kestrav::cli {

platform::host::HostDevice* CommandContext::Profile() {
  if (!profile_) {
    std::string error;
    profile_ = platform::host::HostDevice::OpenProfile(ProfileFolder(), &error);
    if (!profile_) Fail(error + " (create one with \"kestrav-cli device init\")");
  }
  return profile_.get();
}

std::filesystem::path CommandContext::ProfileFolder() const {
  if (!device_option.empty()) return device_option;
  if (const char* chosen = std::getenv("KESTRAV_DEVICE"); chosen != nullptr && *chosen != 0)
    return chosen;
  if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data != 0)
    return std::filesystem::path(data) / "kestrav" / "device";
  const char* home = std::getenv("HOME");
  return std::filesystem::path(home != nullptr ? home : ".") / ".local" / "share" / "kestrav" /
         "device";
}

platform::host::HostDevice* CommandContext::Device() {
  if (!device_) {
    std::error_code ignored;
    const std::filesystem::path temp = std::filesystem::temp_directory_path(ignored);
    device_ = platform::host::HostDevice::Create({}, platform::FromUtf8(temp.string()));
  }
  return device_.get();
}

int CommandContext::Fail(std::string_view reason) const {
  std::cerr << "kestrav-cli: " << reason << '\n';
  return kExitFailure;
}

int CommandContext::Fail(std::u16string_view reason) const {
  return Fail(platform::ToUtf8(reason));
}

std::u16string CommandLinePath(const std::string& path) {
  // Relative paths are made absolute so that a path never reads as a device path.
  std::error_code ignored;
  return platform::FromUtf8(std::filesystem::absolute(path, ignored).string());
}

}  // namespace kestrav::cli

int main(int argc, char** argv) {
  using namespace kestrav::cli;
  CLI::App app{"kestrav-cli - back up and restore a handheld's personal information"};
  app.require_subcommand(1);
  CommandContext context;
  app.add_option("--device", context.device_option,
                 "The device profile folder (default: $KESTRAV_DEVICE, else "
                 "$XDG_DATA_HOME/kestrav/device)");
  AddBackupCommand(app, context);
  AddRestoreCommand(app, context);
  AddDeleteAllCommand(app, context);
  AddImportContactsCommand(app, context);
  AddListCommand(app, context);
  AddExtractCommand(app, context);
  AddAddCommand(app, context);
  AddDeviceCommand(app, context);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  }
  if (!context.action) return kExitFailure;
  return context.action();
}
