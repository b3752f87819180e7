// The device's shell: the class registry that ties a file extension to a file type and a type to
// its description, icon and open command, the Start menu's Programs folder with its shortcut
// (link) files, and the path of the running program. Every call answers with a system error code.
#pragma once

#include <string>
#include <string_view>

#include "platform/system_error.h"

namespace kestrav::platform {

class Shell {
 public:
  virtual ~Shell() = default;

  // The class registry. A type is named by its id ("cbckpfile"), an extension (".csc") names the
  // type it belongs to. The icon names the picture the type shows; the open command is the
  // command line that opens a file of the type, "%1" standing for the file.
  virtual ErrorCode ReadExtensionType(std::u16string_view extension, std::u16string* type_id) = 0;
  virtual ErrorCode ReadTypeIcon(std::u16string_view type_id, std::u16string* icon) = 0;
  virtual ErrorCode ReadOpenCommand(std::u16string_view type_id, std::u16string* command) = 0;
  virtual ErrorCode WriteExtensionType(std::u16string_view extension,
                                       std::u16string_view type_id) = 0;
  virtual ErrorCode WriteTypeDescription(std::u16string_view type_id,
                                         std::u16string_view description) = 0;
  virtual ErrorCode WriteTypeIcon(std::u16string_view type_id, std::u16string_view icon) = 0;
  virtual ErrorCode WriteOpenCommand(std::u16string_view type_id, std::u16string_view command) = 0;

  // The Start menu's Programs folder, and the link files in it: kErrorSuccess from FindLink when
  // the link is there. CreateLink makes a new link that starts the target (a quoted program
  // path), and fails when one is already there.
  virtual ErrorCode ProgramsFolder(std::u16string* folder) = 0;
  virtual ErrorCode FindLink(std::u16string_view link) = 0;
  virtual ErrorCode DeleteLink(std::u16string_view link) = 0;
  virtual ErrorCode CreateLink(std::u16string_view link, std::u16string_view target) = 0;

  // The full path of the running program.
  virtual ErrorCode ProgramPath(std::u16string* path) = 0;
};

}  // namespace kestrav::platform
