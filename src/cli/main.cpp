#include <iostream>

#include "cli/cli.h"
#include "platform/text.h"

namespace kestrav::cli {

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
  AddListCommand(app, context);
  AddExtractCommand(app, context);
  AddAddCommand(app, context);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  }
  if (!context.action) return kExitFailure;
  return context.action();
}
