#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <optional>

#include "cli/cli.h"
#include "kinds/start_up.h"
#include "platform/format.h"
#include "platform/text.h"
#include "profile/profile.h"
#include "settings/schedule.h"

namespace kestrav::cli {

platform::host::HostDevice* CommandContext::Profile() {
  if (!profile_) {
    std::string error;
    profile_ = platform::host::HostDevice::OpenProfile(ProfileFolder(), &error,
                                                       fixed_clock ? &*fixed_clock : nullptr);
    if (!profile_) {
      const bool missing = !std::filesystem::exists(ProfileFolder() / "device.json");
      Fail(missing ? error + " (create one with \"kestrav-cli device init\")" : error);
    }
  }
  return profile_.get();
}

std::filesystem::path CommandContext::ProfileFolder() const {
  return profile::ProfileFolder(device_option);
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

kinds::FrontEnd CommandContext::FrontEnd(platform::host::HostDevice& host) const {
  return {.wait_seconds = wait_seconds,
          .waiting =
              [](const platform::JobHolder& holder, int seconds) {
                std::cerr << "kestrav-cli: waiting for "
                          << platform::ToUtf8(engine::JobHolderText(holder)) << " to end (at most "
                          << seconds << " s)..." << std::endl;
              },
          .shown_path =
              [&host](std::u16string_view path) {
                return platform::FromUtf8(host.files().HostPath(path).string());
              }};
}

std::unique_ptr<engine::DeviceJob> CommandContext::BeginJob(const platform::Device& device,
                                                            std::u16string name,
                                                            bool changes_stores,
                                                            std::u16string* refusal) const {
  std::u16string reason;
  std::unique_ptr<engine::DeviceJob> job = kinds::BeginJob(device, std::move(name), changes_stores,
                                                           nullptr, FrontEnd(*profile_), &reason);
  if (!job && refusal != nullptr) *refusal = reason;
  if (!job && refusal == nullptr) Fail(reason);
  return job;
}

int CommandContext::FailOnStoreFailure(const engine::DeviceJob& job, std::string_view what,
                                       bool always_fail) const {
  const std::u16string failure = job.StoreFailure();
  if (failure.empty()) return always_fail ? Fail(what) : kExitSuccess;
  return Fail(std::string(what) + ": a store of the device failed: " + platform::ToUtf8(failure));
}

std::optional<int> RunScheduledStart(CommandContext& context, std::u16string_view command_line) {
  if (!settings::IsScheduleCommandLine(command_line)) return std::nullopt;
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  return kinds::RunScheduledStartOnConsole(host->device(), command_line, "kestrav-cli",
                                           context.FrontEnd(*host));
}

std::u16string CommandLinePath(const std::string& path) {
  // Relative paths are made absolute so that a path never reads as a device path.
  std::error_code ignored;
  return platform::FromUtf8(std::filesystem::absolute(path, ignored).string());
}

}  // namespace kestrav::cli

namespace {

// KESTRAV_CLOCK="2026-11-23T09:00:00Z": the UTC time the device stands on, its local time that
// of the host's zone (TZ) then; for runs that must repeat exactly, as the tests' are.
std::optional<kestrav::platform::FixedClock> FixedClockOfEnvironment() {
  const char* text = std::getenv("KESTRAV_CLOCK");
  unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  char zone = 0;
  if (text == nullptr ||
      std::sscanf(text, "%4u-%2u-%2uT%2u:%2u:%2u%c", &year, &month, &day, &hour, &minute, &second,
                  &zone) != 7 ||
      zone != 'Z')
    return std::nullopt;
  kestrav::platform::FileTime time = 0;
  kestrav::platform::SystemTime utc{.year = static_cast<std::uint16_t>(year),
                                    .month = static_cast<std::uint16_t>(month),
                                    .day = static_cast<std::uint16_t>(day),
                                    .hour = static_cast<std::uint16_t>(hour),
                                    .minute = static_cast<std::uint16_t>(minute),
                                    .second = static_cast<std::uint16_t>(second)};
  if (!kestrav::platform::SystemTimeToFileTime(utc, &time) ||
      !kestrav::platform::FileTimeToSystemTime(time, &utc))
    return std::nullopt;
  const std::time_t seconds = kestrav::platform::FileTimeToUnixTime(time).seconds;
  std::tm local{};
  const long offset_seconds = localtime_r(&seconds, &local) != nullptr ? local.tm_gmtoff : 0;
  return kestrav::platform::FixedClock(utc, static_cast<int>(offset_seconds / 60));
}

}  // namespace

int main(int argc, char** argv) {
  using namespace kestrav::cli;
  // A write past a file-size limit fails with "disk full" instead of killing the program.
  std::signal(SIGXFSZ, SIG_IGN);
  CommandContext context;
  context.fixed_clock = FixedClockOfEnvironment();
  // A timer starts the program with "/SchedBackup" as its whole command line.
  std::string command_line;
  for (int index = 1; index < argc; ++index)
    command_line += (index > 1 ? " " : "") + std::string(argv[index]);
  if (const std::optional<int> status =
          RunScheduledStart(context, kestrav::platform::FromUtf8(command_line)))
    return *status;

  CLI::App app{"kestrav-cli - back up and restore a handheld's personal information"};
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("kestrav-cli ") + KESTRAV_VERSION);
  // --device and --wait are taken after the command too: "kestrav-cli backup --device DIR".
  app.fallthrough();
  app.add_option("--device", context.device_option,
                 "The device profile folder (default: $KESTRAV_DEVICE, else "
                 "$XDG_DATA_HOME/kestrav/device)");
  app.add_option("--wait", context.wait_seconds,
                 "Seconds a job waits for another job on the same device before it gives up "
                 "(default 60; 0 gives up at once)")
      ->check(CLI::Range(0, 24 * 60 * 60));
  AddBackupCommand(app, context);
  AddRestoreCommand(app, context);
  AddDeleteAllCommand(app, context);
  AddImportContactsCommand(app, context);
  AddUndoCommand(app, context);
  AddListCommand(app, context);
  AddExtractCommand(app, context);
  AddShowCommand(app, context);
  AddVerifyCommand(app, context);
  AddExportCommand(app, context);
  AddAddCommand(app, context);
  AddDeviceCommand(app, context);
  AddScheduleCommand(app, context);
  AddDesktopCommand(app, context);
  AddHelpCommand(app, context);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help, --version
    std::string what = error.what();
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr &&
        what.starts_with("A subcommand")) {
      // The word the user typed where a command belongs is the one left over.
      const std::vector<std::string> left_over = app.remaining();
      what = left_over.empty() ? "a command is needed" : "no command \"" + left_over.front() + "\"";
    }
    std::cerr << "kestrav-cli: " << what << " (see kestrav-cli " << CommandWordsOf(app, argc, argv)
              << "--help)\n";
    return kExitFailure;
  }
  if (!context.action) return kExitFailure;
  return context.action();
}
