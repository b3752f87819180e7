// kestrav: the window. Its command line is the handheld program's: "/SchedBackup" makes the
// unattended backup before any window exists (a timer needs no display), anything else is a file
// to open for restore.
#include <QApplication>
#include <QIcon>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "kinds/start_up.h"
#include "platform/host/host_device.h"
#include "platform/text.h"
#include "profile/profile.h"
#include "settings/file_types.h"
#include "settings/schedule.h"
#include "ui/main_window.h"

namespace {

// The command line as the handheld passed it: the words after the program's name, one blank
// apart.
std::u16string CommandLine(int argc, char** argv) {
  std::string line;
  for (int index = 1; index < argc; ++index) {
    if (index > 1) line += ' ';
    line += argv[index];
  }
  return kestrav::platform::FromUtf8(line);
}

// Whether Qt has a screen to open the window on; without one it would end the program at once.
bool HasDisplay() {
  for (const char* variable : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && value[0] != '\0') return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace kestrav;
  std::string error;
  const std::unique_ptr<platform::host::HostDevice> host =
      platform::host::HostDevice::OpenProfile(profile::ProfileFolder({}), &error);
  if (!host) {
    std::fprintf(stderr, "kestrav: %s (create one with \"kestrav-cli device init\")\n",
                 error.c_str());
    return 1;
  }
  const platform::Device& device = host->device();
  const std::u16string command_line = CommandLine(argc, argv);
  kinds::FrontEnd front_end;
  front_end.shown_path = [&host](std::u16string_view path) {
    return platform::FromUtf8(host->files().HostPath(path).string());
  };

  settings::EnsureFileTypesRegistered(device);
  const int os_major_version = kinds::StartProgram(device, u"", nullptr).os_major_version;
  if (settings::IsScheduleCommandLine(command_line))
    return kinds::RunScheduledStartOnConsole(device, command_line, "kestrav", front_end);

  if (!HasDisplay()) {
    std::fprintf(stderr, "kestrav: no display to show the window on\n");
    return 0;
  }
  QApplication application(argc, argv);
  QApplication::setApplicationName("Kestrav");
  QApplication::setWindowIcon(QIcon::fromTheme("kestrav", QApplication::windowIcon()));
  ui::MainWindow window(device, os_major_version, QString::fromStdU16String(command_line),
                        front_end);
  window.show();
  return application.exec();
}
