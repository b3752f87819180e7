#include "platform/host/host_session.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/host/host_file_system.h"
#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDeleted = " (deleted)";
constexpr std::string_view kCommandLineProgram = "kestrav-cli";
constexpr std::string_view kWindowProgram = "kestrav";

}  // namespace

fs::path UserFolder(const char* variable, std::string_view below_home) {
  // A relative folder is to be ignored, as the XDG rules say.
  if (const char* folder = std::getenv(variable); folder != nullptr && folder[0] == '/')
    return fs::path(folder);
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/')
    return fs::path(home) / below_home;
  return {};
}

std::u16string RunningProgramPath() {
  std::error_code failure;
  std::string program = fs::read_symlink("/proc/self/exe", failure).string();
  if (failure) return {};
  struct stat running {};
  struct stat named {};
  const bool same = ::stat("/proc/self/exe", &running) == 0 &&
                    ::stat(program.c_str(), &named) == 0 && running.st_dev == named.st_dev &&
                    running.st_ino == named.st_ino;
  if (!same) {
    // Replaced while it runs (an upgrade), the program reads as "<path> (deleted)": the program
    // now at that path is the one to start. None there, none to start.
    if (!program.ends_with(kDeleted)) return {};
    program.resize(program.size() - kDeleted.size());
    if (::stat(program.c_str(), &named) != 0 || !S_ISREG(named.st_mode) ||
        ::access(program.c_str(), X_OK) != 0) {
      return {};
    }
  }
  // A name that is not UTF-8 would come back as another.
  return IsUtf8(program) ? FromUtf8(program) : std::u16string();
}

std::u16string WindowProgramPath() {
  return WindowProgramBeside(RunningProgramPath());
}

std::u16string WindowProgramBeside(std::u16string_view running) {
  const fs::path program(ToUtf8(running));
  if (program.filename() != kCommandLineProgram) return std::u16string(running);
  const fs::path window = program.parent_path() / kWindowProgram;
  struct stat status {};
  if (::stat(window.c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
      ::access(window.c_str(), X_OK) != 0) {
    return std::u16string(running);
  }
  return FromUtf8(window.string());
}

fs::path LauncherOf(const fs::path& program) {
  const fs::path launcher = program.parent_path() / kCommandLineProgram;
  struct stat status {};
  if (::stat(launcher.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
      ::access(launcher.c_str(), X_OK) == 0) {
    return launcher;
  }
  return program;
}

std::u16string RunningLauncherPath() {
  const std::u16string program = RunningProgramPath();
  if (program.empty()) return program;
  const std::string launcher = LauncherOf(fs::path(ToUtf8(program))).string();
  return IsUtf8(launcher) ? FromUtf8(launcher) : std::u16string();
}

bool IsUtf8(std::string_view text) {
  return ToUtf8(FromUtf8(text)) == text;
}

ErrorCode WriteError(int error_number) {
  switch (error_number) {
    case EEXIST:
    case ENOTDIR:
      return kErrorAccessDenied;
    case EIO:
      return kErrorWriteFault;
    default:
      return ErrorFromErrno(error_number);
  }
}

ErrorCode WriteWholeFile(const fs::path& file, std::string_view text, bool replace) {
  std::string temporary =
      (file.parent_path() / ("." + file.filename().string() + ".XXXXXX")).string();
  const int descriptor = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (descriptor < 0) return WriteError(errno);
  int error_number = 0;
  for (std::size_t written = 0; written < text.size() && error_number == 0;) {
    const ssize_t count = ::write(descriptor, text.data() + written, text.size() - written);
    if (count >= 0) written += static_cast<std::size_t>(count);
    if (count < 0 && errno != EINTR) error_number = errno;
  }
  if (error_number == 0 && (::fchmod(descriptor, 0644) != 0 || ::fsync(descriptor) != 0))
    error_number = errno;
  if (::close(descriptor) != 0 && error_number == 0) error_number = errno;
  ErrorCode error = error_number == 0 ? kErrorSuccess : WriteError(error_number);
  if (error == kErrorSuccess && replace) {
    if (::rename(temporary.c_str(), file.c_str()) == 0) return kErrorSuccess;
    error = WriteError(errno);
  } else if (error == kErrorSuccess && ::link(temporary.c_str(), file.c_str()) != 0) {
    error = errno == EEXIST ? kErrorFileExists : WriteError(errno);
  }
  ::unlink(temporary.c_str());
  return error;
}

ErrorCode ReadWholeFile(const fs::path& file, std::size_t limit, bool follow_links,
                        std::string* text) {
  const int descriptor =
      ::open(file.c_str(), O_RDONLY | O_CLOEXEC | (follow_links ? 0 : O_NOFOLLOW));
  if (descriptor < 0) return ErrorFromErrno(errno);
  text->clear();
  char buffer[4096];
  ErrorCode error = kErrorSuccess;
  for (;;) {
    const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) error = ErrorFromErrno(errno);
    if (count <= 0) break;
    text->append(buffer, static_cast<std::size_t>(count));
    if (text->size() > limit) {
      error = kErrorGenFailure;
      break;
    }
  }
  ::close(descriptor);
  return error;
}

}  // namespace kestrav::platform::host
