#include "settings/file_types.h"

#include <array>

#include "engine/item_kind.h"
#include "platform/format.h"
#include "platform/text.h"
#include "settings/reg_key.h"

namespace kestrav::settings {
namespace {

using engine::ItemKind;
using platform::kErrorSuccess;

FileType KindType(ItemKind kind, std::uint32_t icon_id) {
  const engine::ItemKindInfo& info = engine::KindInfo(kind);
  return {info.extension, info.file_type_id, info.file_type_description, icon_id};
}

const FileType& Contacts() {
  static const FileType type = KindType(ItemKind::kContacts, 207);
  return type;
}
const FileType& SpeedDials() {
  static const FileType type = KindType(ItemKind::kSpeedDials, 208);
  return type;
}
const FileType& Tasks() {
  static const FileType type = KindType(ItemKind::kTasks, 205);
  return type;
}
const FileType& Appointments() {
  static const FileType type = KindType(ItemKind::kAppointments, 206);
  return type;
}
const FileType& CallLogs() {
  static const FileType type = KindType(ItemKind::kCallLogs, 209);
  return type;
}
const FileType& Messages() {
  static const FileType type = KindType(ItemKind::kMessages, 212);
  return type;
}
constexpr FileType kArchive = {engine::kArchiveExtension, engine::kArchiveFileTypeId,
                               engine::kArchiveFileTypeDescription, 219};

constexpr char16_t kShortcutName[] = u"Kestrav.lnk";

// The running program, as the shell names it; nothing when the shell cannot tell.
bool ProgramPath(platform::Shell& shell, std::u16string* program) {
  return shell.ProgramPath(program) == kErrorSuccess && !program->empty();
}

bool TypeRegistered(platform::Shell& shell, const FileType& type, std::u16string_view program) {
  std::u16string type_id;
  if (shell.ReadExtensionType(type.extension, &type_id) != kErrorSuccess ||
      !platform::EqualsIgnoringAsciiCase(type_id, type.type_id)) {
    return false;
  }
  // The icon is looked at as well, but whatever it holds, the verdict stands on the extension and
  // the open command alone.
  std::u16string icon;
  shell.ReadTypeIcon(type.type_id, &icon);
  std::u16string command;
  return shell.ReadOpenCommand(type.type_id, &command) == kErrorSuccess &&
         platform::EqualsIgnoringAsciiCase(command, OpenCommandText(program));
}

bool LinkExists(platform::Shell& shell, std::u16string_view link) {
  return shell.FindLink(link) == kErrorSuccess;
}

}  // namespace

std::span<const FileType> FileTypesInTestOrder() {
  static const std::array<FileType, 7> order = {Contacts(), SpeedDials(), Tasks(),   Appointments(),
                                                kArchive,   Messages(),   CallLogs()};
  return order;
}

std::span<const FileType> FileTypesInRegistrationOrder() {
  static const std::array<FileType, 7> order = {Contacts(), SpeedDials(), Tasks(), Appointments(),
                                                CallLogs(), Messages(),   kArchive};
  return order;
}

std::u16string OpenCommandText(std::u16string_view program) {
  return platform::Format(u"\"%s\" %%1", program);
}

std::u16string IconText(std::u16string_view program, std::uint32_t icon_id) {
  return platform::Format(u"%s,-%u", program, icon_id);
}

std::u16string QuotedProgramPath(std::u16string_view program) {
  return platform::Format(u"\"%s\"", program);
}

std::u16string ShortcutLinkFile(std::u16string_view programs_folder) {
  std::u16string link(programs_folder);
  if (!link.ends_with(u'\\')) link += u'\\';
  return link + kShortcutName;
}

bool FileTypesRegistered(const platform::Device& device) {
  platform::Shell* shell = device.shell();
  std::u16string program;
  if (shell == nullptr || !ProgramPath(*shell, &program)) return false;
  for (const FileType& type : FileTypesInTestOrder()) {
    if (!TypeRegistered(*shell, type, program)) return false;
  }
  return true;
}

void RegisterFileTypes(const platform::Device& device) {
  platform::Shell* shell = device.shell();
  std::u16string program;
  if (shell == nullptr || !ProgramPath(*shell, &program)) return;
  for (const FileType& type : FileTypesInRegistrationOrder()) {
    shell->WriteExtensionType(type.extension, type.type_id);
    shell->WriteTypeDescription(type.type_id, type.description);
    shell->WriteTypeIcon(type.type_id, IconText(program, type.icon_id));
    shell->WriteOpenCommand(type.type_id, OpenCommandText(program));
  }
}

void EnsureFileTypesRegistered(const platform::Device& device) {
  if (!FileTypesRegistered(device)) RegisterFileTypes(device);
}

bool IsShortcutChecked(const platform::Device& device) {
  platform::Shell* shell = device.shell();
  std::u16string program;
  if (shell == nullptr || !device.is_whole() || !ProgramPath(*shell, &program)) return false;
  const std::optional<std::u16string> recorded =
      ReadStringValue(device.registry(), kApplicationKey, kShortcutValue);
  return recorded && platform::EqualsIgnoringAsciiCase(*recorded, QuotedProgramPath(program));
}

void ToggleShortcut(const platform::Device& device, bool checked) {
  platform::Shell* shell = device.shell();
  if (shell == nullptr || !device.is_whole()) return;
  // A folder the shell cannot name is empty, and the link is looked for at the root.
  std::u16string folder;
  if (shell->ProgramsFolder(&folder) != kErrorSuccess) folder.clear();
  const std::u16string link = ShortcutLinkFile(folder);
  if (checked) {
    if (LinkExists(*shell, link)) shell->DeleteLink(link);
    RegKey key(device.registry());
    if (key.OpenForWrite(platform::kHkeyCurrentUser, kApplicationKey))
      key.DeleteValue(kShortcutValue);
    return;
  }
  std::u16string program;
  if (!ProgramPath(*shell, &program)) return;
  const std::u16string target = QuotedProgramPath(program);
  if (LinkExists(*shell, link)) shell->DeleteLink(link);
  // A link left behind that could not go keeps its place, and no other is made over it.
  if (!LinkExists(*shell, link)) shell->CreateLink(link, target);
  WriteStringValue(device.registry(), kApplicationKey, kShortcutValue, target);
}

}  // namespace kestrav::settings
