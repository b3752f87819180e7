#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "cli/cli.h"
#include "platform/host/xdg_shell.h"
#include "platform/text.h"
#include "settings/file_types.h"

namespace kestrav::cli {
namespace {

// The device with its desktop shell; null after printing the reason when there is none.
platform::host::HostDevice* DesktopDevice(CommandContext& context) {
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return nullptr;
  if (host->shell() == nullptr || host->shell()->data_home().empty()) {
    context.Fail("no desktop: neither XDG_DATA_HOME nor HOME names a folder");
    return nullptr;
  }
  return host;
}

std::string ProgramText(platform::host::XdgShell& shell) {
  std::u16string program;
  shell.ProgramPath(&program);
  return platform::ToUtf8(program);
}

// The applications menu's entry the shortcut is.
std::filesystem::path ShortcutEntry(platform::host::XdgShell& shell) {
  std::u16string folder;
  shell.ProgramsFolder(&folder);
  std::filesystem::path entry;
  shell.LinkEntry(settings::ShortcutLinkFile(folder), &entry);
  return entry;
}

bool ShortcutThere(platform::host::XdgShell& shell) {
  std::u16string folder;
  shell.ProgramsFolder(&folder);
  return shell.FindLink(settings::ShortcutLinkFile(folder)) == platform::kErrorSuccess;
}

int Show(CommandContext& context) {
  platform::host::HostDevice* host = DesktopDevice(context);
  if (host == nullptr) return kExitFailure;
  platform::host::XdgShell& shell = *host->shell();
  std::printf("Program: %s\n", ProgramText(shell).c_str());
  std::printf("File types: %s\n", settings::FileTypesRegistered(host->device())
                                      ? "registered, opened by this program"
                                      : "not registered for this program");
  std::printf("Create Shortcut: %s\n",
              settings::IsShortcutChecked(host->device()) ? "checked" : "not checked");
  std::printf("Menu entry: %s%s\n", ShortcutEntry(shell).c_str(),
              ShortcutThere(shell) ? "" : " (not there)");
  return kExitSuccess;
}

int Register(CommandContext& context) {
  platform::host::HostDevice* host = DesktopDevice(context);
  if (host == nullptr) return kExitFailure;
  settings::RegisterFileTypes(host->device());
  if (!settings::FileTypesRegistered(host->device())) {
    return context.Fail("the file types could not be registered in " +
                        host->shell()->MimeFolder().string() +
                        " (is update-mime-database, of shared-mime-info, installed?)");
  }
  std::printf("The seven file types open with %s.\n", ProgramText(*host->shell()).c_str());
  return kExitSuccess;
}

// "Create Shortcut" as the menu does it, from the state asked for rather than the check mark.
int Shortcut(CommandContext& context, const std::string& state) {
  platform::host::HostDevice* host = DesktopDevice(context);
  if (host == nullptr) return kExitFailure;
  const bool on = state == "on";
  settings::ToggleShortcut(host->device(), !on);
  platform::host::XdgShell& shell = *host->shell();
  const std::filesystem::path entry_path = ShortcutEntry(shell);
  const std::string entry = entry_path.string();
  // Made means an entry file there now; something else in its place is no menu entry.
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::symlink_status(entry_path, ignored);
  if (on ? !std::filesystem::is_regular_file(status) : std::filesystem::exists(status)) {
    return context.Fail(on ? "the menu entry " + entry + " could not be made"
                           : "the menu entry " + entry + " could not be removed");
  }
  std::printf(on ? "Kestrav is in the applications menu: %s\n"
                 : "Kestrav is no longer in the applications menu: %s removed\n",
              entry.c_str());
  return kExitSuccess;
}

}  // namespace

void AddDesktopCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "desktop",
      "The backup files' types and the applications menu entry on the desktop, as the window "
      "registers them at its start and its \"Create Shortcut\" menu item makes them");
  command->require_subcommand(1);

  CLI::App* show = command->add_subcommand(
      "show", "Say whether the file types open with the window program and the shortcut is set");
  show->callback([&context] { context.action = [&context] { return Show(context); }; });

  CLI::App* register_command = command->add_subcommand(
      "register", "Register the seven file types again, opened by the window program");
  register_command->callback(
      [&context] { context.action = [&context] { return Register(context); }; });

  auto state = std::make_shared<std::string>();
  CLI::App* shortcut = command->add_subcommand(
      "shortcut", "Put Kestrav into the applications menu (on) or take it out (off)");
  shortcut->add_option("state", *state, "on or off")
      ->required()
      ->check(CLI::IsMember({"on", "off"}));
  shortcut->callback([&context, state] {
    context.action = [&context, state] { return Shortcut(context, *state); };
  });
}

}  // namespace kestrav::cli
