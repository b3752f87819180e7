// The device's shell on the Linux desktop, after the freedesktop.org (XDG) rules.
//
// The class registry lives in the desktop's own files, so the desktop and the program never
// disagree about a type, and every profile of one user meets the one desktop:
//   $XDG_DATA_HOME/mime/packages/kestrav.xml   the shared-mime-info package: one <mime-type>
//       per type id (MimeTypeOf), holding each extension written to it as a glob, its
//       description as its comment and its icon name, and what tells its files by their
//       contents (the record files' UTF-16LE byte order mark; for the archive the ZIP magic, as
//       a sub-class of application/zip). `update-mime-database $XDG_DATA_HOME/mime` then makes
//       the database the desktop reads, once the type has its glob, comment and icon.
//   $XDG_DATA_HOME/applications/kestrav-open.desktop   the entry, not shown in menus, that opens
//       the types (MimeType=) with the open command (Exec="<program>" %f);
//   $XDG_CONFIG_HOME/mimeapps.list   [Default Applications] names that entry for each type.
// Reads ask what the desktop itself reads: the type an extension's glob maps to and a type's
// icon come from the database, a type's open command from the entry its default names. An
// installed copy counts as the user's own: the databases of the shared folders ($XDG_DATA_DIRS)
// are read after the user's, and a type the user chose no default for opens with the installed
// menu entry (<shared folder>/applications/<InstalledEntryName>), which lists the seven types. The
// desktop names icons from the icon theme, so a type's icon is its MIME icon name
// ("application-x-kestrav-contacts") whatever resource the device's text names.
//
// The Programs folder is "\Windows\Start Menu\Programs", as the device names it; a link
// "<name>.lnk" in it is the desktop entry $XDG_DATA_HOME/applications/<name>.desktop, shown in
// the applications menu, that starts the link's target.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/host_commands.h"
#include "platform/shell.h"

namespace kestrav::platform::host {

class XdgShell : public Shell {
 public:
  // $XDG_DATA_HOME, else ~/.local/share; $XDG_CONFIG_HOME, else ~/.config. Empty when the
  // environment names no home.
  static std::filesystem::path DataHome();
  static std::filesystem::path ConfigHome();
  // $XDG_DATA_DIRS, else /usr/local/share and /usr/share: where installed copies are.
  static std::vector<std::filesystem::path> SharedDataFolders();
  // The desktop entry a package or `cmake --install` puts into the shared folders.
  static std::string_view InstalledEntryName();
  // The MIME type of a type id; empty for an id the desktop holds no type for.
  static std::string MimeTypeOf(std::u16string_view type_id);

  XdgShell(std::filesystem::path data_home, std::filesystem::path config_home,
           HostCommands& commands, std::vector<std::filesystem::path> shared_data_folders = {});

  // The type id an extension's glob maps to in the database; the MIME type itself when the type
  // is not one of the device's.
  ErrorCode ReadExtensionType(std::u16string_view extension, std::u16string* type_id) override;
  ErrorCode ReadTypeIcon(std::u16string_view type_id, std::u16string* icon) override;
  // The command of the entry the type's default names (with none named, the installed entry's),
  // in the device's form "\"<program>\" %1"; an Exec of another form comes back as it stands.
  // kErrorFileNotFound when the default is another program's.
  ErrorCode ReadOpenCommand(std::u16string_view type_id, std::u16string* command) override;
  // Only for the types MimeTypeOf knows, and for texts without control characters.
  ErrorCode WriteExtensionType(std::u16string_view extension, std::u16string_view type_id) override;
  ErrorCode WriteTypeDescription(std::u16string_view type_id,
                                 std::u16string_view description) override;
  ErrorCode WriteTypeIcon(std::u16string_view type_id, std::u16string_view icon) override;
  // Only a command of the form "\"<program>\" %1": the desktop appends the file itself.
  ErrorCode WriteOpenCommand(std::u16string_view type_id, std::u16string_view command) override;

  ErrorCode ProgramsFolder(std::u16string* folder) override;
  // Links outside the Programs folder are not there (kErrorPathNotFound).
  ErrorCode FindLink(std::u16string_view link) override;
  ErrorCode DeleteLink(std::u16string_view link) override;
  // The target is a program path, quoted or not.
  ErrorCode CreateLink(std::u16string_view link, std::u16string_view target) override;
  // The window program (WindowProgramPath), which opens the files and the menu entry starts.
  ErrorCode ProgramPath(std::u16string* path) override;

  // The user's data folder; empty when the environment names no home, and then every call fails.
  const std::filesystem::path& data_home() const { return data_home_; }
  std::filesystem::path MimeFolder() const { return data_home_ / "mime"; }
  std::filesystem::path PackageFile() const;
  std::filesystem::path OpenerEntry() const;
  std::filesystem::path DefaultsFile() const;
  // The desktop entry a link of the Programs folder is.
  ErrorCode LinkEntry(std::u16string_view link, std::filesystem::path* entry) const;

 private:
  class Package;

  // Loads the package and lets `change` alter the type's <mime-type>. A package then other than
  // it was is written, and the database made again when the type is whole; a database older
  // than the package is made again.
  template <typename Change>
  ErrorCode ChangeType(std::u16string_view type_id, Change change);
  ErrorCode UpdateDatabase();
  // The user's data folder, then the shared ones: where the desktop looks for a file, in order.
  std::vector<std::filesystem::path> DataFolders() const;

  std::filesystem::path data_home_;
  std::filesystem::path config_home_;
  std::vector<std::filesystem::path> shared_data_folders_;
  HostCommands& commands_;
};

}  // namespace kestrav::platform::host
