// Host programs the stand-ins run (systemctl, systemd-analyze): started without a shell, with
// empty standard input, and given a time limit, so a program that hangs or is missing ends as a
// failed run rather than holding the device up.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kestrav::platform::host {

// At most this much of a program's standard output, and of its standard error, is kept; the
// rest is read and dropped, so a talkative program never blocks on a full pipe.
inline constexpr std::size_t kCommandOutputLimit = 64 * 1024;

struct CommandRun {
  // The program started and exited by itself within the time limit. False when it is missing,
  // cannot be started, was killed at the time limit or died by a signal.
  bool exited = false;
  int exit_status = -1;
  std::string output;  // standard output
  std::string errors;  // standard error

  bool Succeeded() const { return exited && exit_status == 0; }
};

class HostCommands {
 public:
  virtual ~HostCommands() = default;

  // Runs the program, looked up on PATH unless it holds a "/", with these arguments.
  virtual CommandRun Run(std::string_view program, const std::vector<std::string>& arguments) = 0;
};

// Runs programs as child processes of this one, each in a process group of its own so the time
// limit ends whatever it started too.
class SpawnedHostCommands : public HostCommands {
 public:
  explicit SpawnedHostCommands(std::chrono::milliseconds time_limit = std::chrono::seconds(30))
      : time_limit_(time_limit) {}

  CommandRun Run(std::string_view program, const std::vector<std::string>& arguments) override;

 private:
  std::chrono::milliseconds time_limit_;
};

}  // namespace kestrav::platform::host
