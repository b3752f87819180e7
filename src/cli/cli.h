// kestrav-cli: the jobs of the window without a window.
//
// Each command lives in a file of its own and registers itself with the command line parser;
// a command's action returns the program's exit status: 0 on success, non-zero after a
// one-line reason on standard error.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "engine/device_job.h"
#include "kinds/jobs.h"
#include "platform/device.h"
#include "platform/host/host_device.h"

namespace kestrav::cli {

// What every command shares: the device the command works on, made on first use.
class CommandContext {
 public:
  // A device without a profile, for the commands that only handle archives and record files.
  platform::host::HostDevice* Device();
  // The device of the chosen profile; null after printing the reason when it cannot be opened.
  platform::host::HostDevice* Profile();
  // The chosen profile's folder: --device, else KESTRAV_DEVICE, else
  // $XDG_DATA_HOME/kestrav/device (~/.local/share/kestrav/device).
  std::filesystem::path ProfileFolder() const;

  // Prints "kestrav-cli: " and the reason on standard error; returns the failure status.
  int Fail(std::string_view reason) const;
  int Fail(std::u16string_view reason) const;

  // Starts a job on the device (engine::DeviceJob): waits up to --wait seconds for another job,
  // saying so on standard error. Null when the job may not start, after printing the reason - or,
  // when *refusal is given, with the reason there, for the caller to say.
  std::unique_ptr<engine::DeviceJob> BeginJob(const platform::Device& device, std::u16string name,
                                              bool changes_stores,
                                              std::u16string* refusal = nullptr) const;
  // How this program's jobs wait for another job (--wait, saying so on standard error) and name
  // the host's files in the line that says how they ended.
  kinds::FrontEnd FrontEnd(platform::host::HostDevice& host) const;
  // After a job: fails with `what` and the store that failed under the job and its cause, when
  // one did; otherwise returns kExitSuccess, or fails with `what` alone when always_fail is set.
  int FailOnStoreFailure(const engine::DeviceJob& job, std::string_view what,
                         bool always_fail = false) const;

  // The --device option.
  std::string device_option;
  // The --wait option: how long a job waits for another job on the same device.
  int wait_seconds = 60;
  // A fixed clock the profile's device stands on (KESTRAV_CLOCK), for repeatable runs.
  std::optional<platform::FixedClock> fixed_clock;
  // The command's action to run once the command line is parsed.
  std::function<int()> action;

 private:
  std::unique_ptr<platform::host::HostDevice> device_;
  std::unique_ptr<platform::host::HostDevice> profile_;
};

inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;

// Whether standard input is a terminal that a question can be asked on.
bool CanAsk();
// Asks the question (ending with its blank) on the terminal; true only for "y" or "yes", false
// without a terminal to ask on.
bool AnsweredYes(std::string_view question);

// A host path given on the command line, as the device's file system takes it.
std::u16string CommandLinePath(const std::string& path);

// The unattended backup, when the whole command line is "/SchedBackup" (any case, or followed by
// a blank and more), as a timer starts the program: its rows on standard output, then the
// program's exit status. Nothing when the command line is another.
std::optional<int> RunScheduledStart(CommandContext& context, std::u16string_view command_line);
void AddListCommand(CLI::App& app, CommandContext& context);
void AddExtractCommand(CLI::App& app, CommandContext& context);
// "show": the items of a backup; "verify": every member, record and attachment of backups checked.
void AddShowCommand(CLI::App& app, CommandContext& context);
void AddVerifyCommand(CLI::App& app, CommandContext& context);
// "export": a backup's items in the formats other programs read.
void AddExportCommand(CLI::App& app, CommandContext& context);
void AddAddCommand(CLI::App& app, CommandContext& context);
void AddBackupCommand(CLI::App& app, CommandContext& context);
void AddRestoreCommand(CLI::App& app, CommandContext& context);
void AddDeleteAllCommand(CLI::App& app, CommandContext& context);
void AddImportContactsCommand(CLI::App& app, CommandContext& context);
void AddUndoCommand(CLI::App& app, CommandContext& context);
void AddScheduleCommand(CLI::App& app, CommandContext& context);
void AddDesktopCommand(CLI::App& app, CommandContext& context);
// "help [COMMAND...]": the program's or a command's --help.
void AddHelpCommand(CLI::App& app, CommandContext& context);
// The commands the command line names, each followed by a blank ("schedule set "), for pointing
// to their own --help; empty when it names none.
std::string CommandWordsOf(const CLI::App& app, int argc, const char* const* argv);
// "device init", and "device dump" and "device load" (AddDeviceDataCommands).
void AddDeviceCommand(CLI::App& app, CommandContext& context);
void AddDeviceDataCommands(CLI::App& device_command, CommandContext& context);
// "device info": what the profile holds and the backups in its default backup folder.
void AddDeviceInfoCommand(CLI::App& device_command, CommandContext& context);

}  // namespace kestrav::cli
