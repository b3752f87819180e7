#include <cstdio>

#include "cli/cli.h"
#include "profile/sample_data.h"

namespace kestrav::cli {
namespace {

struct InitOptions {
  int os_major_version = platform::kWindowsMobile2005;
  unsigned code_page = 1252;
  bool sample = false;
  std::uint32_t scale = 1;
};

int Init(CommandContext& context, const InitOptions& options) {
  const std::filesystem::path folder = context.ProfileFolder();
  std::string error;
  if (!platform::host::CreateDeviceProfile(folder, {options.os_major_version, options.code_page},
                                           &error)) {
    return context.Fail(error);
  }
  if (options.sample) {
    platform::host::HostDevice* host = context.Profile();
    if (host == nullptr) return kExitFailure;
    if (!profile::FillSampleData(host->device(), options.scale, &error)) return context.Fail(error);
  }
  std::printf("Device profile created: %s (Windows Mobile %s, code page %u)\n",
              folder.string().c_str(),
              options.os_major_version == platform::kWindowsMobile2003 ? "2003 SE" : "2005",
              options.code_page);
  return kExitSuccess;
}

}  // namespace

void AddDeviceCommand(CLI::App& app, CommandContext& context) {
  CLI::App* device = app.add_subcommand("device", "Create, show and set a stand-in device");
  device->require_subcommand(1);
  CLI::App* init = device->add_subcommand("init", "Create a new device profile");
  auto options = std::make_shared<InitOptions>();
  init->add_option("--os", options->os_major_version,
                   "OS major version: 4 (Windows Mobile 2003 SE) or 5 (Windows Mobile 2005)")
      ->check(CLI::IsMember({4, 5}));
  init->add_option("--code-page", options->code_page, "The device's ANSI code page");
  init->add_flag("--sample", options->sample, "Fill the databases with sample data");
  init->add_option("--scale", options->scale, "With --sample: N times as much sample data")
      ->check(CLI::Range(1u, 100000u));
  init->callback([&context, options] {
    context.action = [&context, options] { return Init(context, *options); };
  });
  AddDeviceInfoCommand(*device, context);
  AddDeviceDataCommands(*device, context);
}

}  // namespace kestrav::cli
