#include "platform/host/host_commands.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

extern char** environ;

namespace kestrav::platform::host {
namespace {

using Clock = std::chrono::steady_clock;

class Pipe {
 public:
  Pipe() {
    if (::pipe2(ends_, O_CLOEXEC) != 0) ends_[0] = ends_[1] = -1;
  }
  ~Pipe() {
    CloseReading();
    CloseWriting();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  bool valid() const { return ends_[0] >= 0; }
  int reading() const { return ends_[0]; }
  int writing() const { return ends_[1]; }
  void CloseReading() { Close(ends_[0]); }
  void CloseWriting() { Close(ends_[1]); }

 private:
  static void Close(int& end) {
    if (end >= 0) ::close(end);
    end = -1;
  }

  int ends_[2] = {-1, -1};
};

class SpawnSetup {
 public:
  SpawnSetup(const Pipe& output, const Pipe& errors) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, output.writing(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, errors.writing(), STDERR_FILENO);
    posix_spawnattr_init(&attributes_);
    // A group of its own, so the time limit can end the program's own children too; and the
    // signal handling a freshly started program expects, whatever this one changed.
    posix_spawnattr_setflags(
        &attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setpgroup(&attributes_, 0);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
  }
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;

  const posix_spawn_file_actions_t* actions() const { return &actions_; }
  const posix_spawnattr_t* attributes() const { return &attributes_; }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

int MillisecondsLeft(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

// Reads what is there into *kept, up to the limit; false once the writer has closed its end.
bool Drain(int descriptor, std::string* kept) {
  char buffer[16 * 1024];
  const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
  if (count < 0) return errno == EINTR;
  if (count == 0) return false;
  const std::size_t room = kCommandOutputLimit - kept->size();
  kept->append(buffer, std::min(static_cast<std::size_t>(count), room));
  return true;
}

// Reads both pipes until the program closes them; false when the deadline came first.
bool ReadUntilClosed(Pipe& output, Pipe& errors, CommandRun* run, Clock::time_point deadline) {
  pollfd open_pipes[2] = {{output.reading(), POLLIN, 0}, {errors.reading(), POLLIN, 0}};
  std::string* kept[2] = {&run->output, &run->errors};
  while (open_pipes[0].fd >= 0 || open_pipes[1].fd >= 0) {
    const int left = MillisecondsLeft(deadline);
    if (left == 0) return false;
    const int ready = ::poll(open_pipes, 2, left);
    if (ready < 0 && errno != EINTR) return false;
    for (int index = 0; ready > 0 && index < 2; ++index) {
      if (open_pipes[index].fd < 0 || open_pipes[index].revents == 0) continue;
      // A negative descriptor is skipped by poll: the pipe is done.
      if (!Drain(open_pipes[index].fd, kept[index])) open_pipes[index].fd = -1;
    }
  }
  return true;
}

// Waits for the program's end; false when the deadline came first.
bool WaitForExit(pid_t child, int* status, Clock::time_point deadline) {
  for (;;) {
    const pid_t waited = ::waitpid(child, status, WNOHANG);
    if (waited == child) return true;
    if (waited < 0 && errno != EINTR) return false;
    if (MillisecondsLeft(deadline) == 0) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace

CommandRun SpawnedHostCommands::Run(std::string_view program,
                                    const std::vector<std::string>& arguments) {
  CommandRun run;
  Pipe output;
  Pipe errors;
  if (!output.valid() || !errors.valid()) return run;
  const std::string program_name(program);
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program_name.c_str()));
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  const SpawnSetup setup(output, errors);
  pid_t child = -1;
  if (::posix_spawnp(&child, program_name.c_str(), setup.actions(), setup.attributes(), argv.data(),
                     environ) != 0) {
    return run;
  }
  output.CloseWriting();
  errors.CloseWriting();

  const Clock::time_point deadline = Clock::now() + time_limit_;
  int status = 0;
  if (!ReadUntilClosed(output, errors, &run, deadline) || !WaitForExit(child, &status, deadline)) {
    ::kill(-child, SIGKILL);
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return run;
  }
  run.exited = WIFEXITED(status);
  if (run.exited) run.exit_status = WEXITSTATUS(status);
  return run;
}

}  // namespace kestrav::platform::host
