// What the stand-ins of the user's session share: the user's own folders, the running program,
// and small files of the session read and written whole.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/system_error.h"

namespace kestrav::platform::host {

// The folder an XDG variable names ("XDG_CONFIG_HOME"), when it names an absolute one, else the
// folder below the home folder (".config"); empty when the environment names no home.
std::filesystem::path UserFolder(const char* variable, std::string_view below_home);

// The running program's path; after the program was replaced while it runs, the path of the
// program that replaced it. Empty when no program is there to start, or its path is not UTF-8.
std::u16string RunningProgramPath();

// The window program that opens the program's files and starts from the applications menu: the
// running program, except that kestrav-cli names the `kestrav` installed beside it when there is
// one, so that a registration made from the command line opens files in the window.
std::u16string WindowProgramPath();
// The same choice for a given running program's path.
std::u16string WindowProgramBeside(std::u16string_view running);
// The program a schedule's timer starts for the program at this path: "kestrav-cli" in the same
// folder when it is there to run, so that the window and kestrav-cli, installed side by side, arm
// one and the same launcher and each finds and clears the other's schedule; else the program.
std::filesystem::path LauncherOf(const std::filesystem::path& program);
// LauncherOf the running program (RunningProgramPath); empty as that is.
std::u16string RunningLauncherPath();

// Whether the bytes are UTF-8 that reads back as itself.
bool IsUtf8(std::string_view text);

// The code of a failed write: something in the way of a folder is a place the device may not
// write, and a failing disk a write fault.
ErrorCode WriteError(int error_number);

// Writes a file whole, into a temporary file beside it first. A new file is then linked in under
// its name, which fails (kErrorFileExists) rather than replace a file another program put there
// meanwhile; a replacement is renamed over the file, so a reader sees the old or the new one.
ErrorCode WriteWholeFile(const std::filesystem::path& file, std::string_view text, bool replace);

// Reads a file of at most `limit` bytes whole (kErrorGenFailure for a bigger one); with
// follow_links false, a link in the file's place is refused.
ErrorCode ReadWholeFile(const std::filesystem::path& file, std::size_t limit, bool follow_links,
                        std::string* text);

}  // namespace kestrav::platform::host
