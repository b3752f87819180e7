// The program's seven file types in the shell, so that opening a backup file starts the program
// with its path, and the Start-menu shortcut the "Create Shortcut" menu item makes and removes.
// Every failure is silent: registration is tried again at the next start.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/device.h"

namespace kestrav::settings {

struct FileType {
  std::u16string_view extension;  // ".csc"
  std::u16string_view type_id;    // "cbckpfile"
  std::u16string_view description;
  std::uint32_t icon_id;  // the program's icon resource
};

// The seven types in the order the registration test looks at them, and in the order
// registration writes them.
std::span<const FileType> FileTypesInTestOrder();
std::span<const FileType> FileTypesInRegistrationOrder();

// "\"<program>\" %1": the command that opens a file of the types.
std::u16string OpenCommandText(std::u16string_view program);
// "<program>,-<icon id>".
std::u16string IconText(std::u16string_view program, std::uint32_t icon_id);
// "\"<program>\"": the shortcut's target, and what "Shortcut" records.
std::u16string QuotedProgramPath(std::u16string_view program);
// The shortcut's link file in the Programs folder.
std::u16string ShortcutLinkFile(std::u16string_view programs_folder);

// Whether every type maps its extension to its id and opens with this program; the first type
// that does not ends the test.
bool FileTypesRegistered(const platform::Device& device);
// Writes all seven types again, whatever they held.
void RegisterFileTypes(const platform::Device& device);
// The start's step: registers the types when the test finds them not registered.
void EnsureFileTypesRegistered(const platform::Device& device);

// Whether "Create Shortcut" shows checked: "Shortcut" holds this program's quoted path.
bool IsShortcutChecked(const platform::Device& device);
// "Create Shortcut": checked, removes the shortcut and its record; otherwise makes it afresh and
// records it, even when the shortcut could not be made.
void ToggleShortcut(const platform::Device& device, bool checked);

}  // namespace kestrav::settings
