#include "platform/host/xdg_shell.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include "platform/host/host_file_system.h"
#include "platform/host/host_session.h"
#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

struct DesktopType {
  std::u16string_view type_id;
  std::string_view mime_type;
};

constexpr std::array<DesktopType, 7> kTypes = {{
    {u"cbckpfile", "application/x-kestrav-contacts"},
    {u"abckpfile", "application/x-kestrav-appointments"},
    {u"tbckpfile", "application/x-kestrav-tasks"},
    {u"lbckpfile", "application/x-kestrav-call-logs"},
    {u"dbckpfile", "application/x-kestrav-speed-dials"},
    {u"mbckpfile", "application/x-kestrav-messages"},
    {u"pbckpfile", "application/x-kestrav-backup"},
}};
constexpr std::string_view kArchiveType = "application/x-kestrav-backup";

constexpr char16_t kProgramsFolder[] = u"\\Windows\\Start Menu\\Programs";
constexpr std::u16string_view kLinkSuffix = u".lnk";
constexpr char kOpenerName[] = "kestrav-open.desktop";
constexpr char kInstalledEntry[] = KESTRAV_INSTALLED_ENTRY;
constexpr char kProgramIcon[] = "kestrav";
constexpr char kEntryGroup[] = "Desktop Entry";
constexpr char kDefaultsGroup[] = "Default Applications";
constexpr char kMimeNamespace[] = "http://www.freedesktop.org/standards/shared-mime-info";
// The desktop's files are small; anything bigger is not one the desktop keeps.
constexpr std::size_t kFileSizeLimit = 1024 * 1024;

const xmlChar* Xml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

bool HasControlCharacters(std::u16string_view text) {
  return std::ranges::any_of(text, [](char16_t unit) { return unit < 0x20 || unit == 0x7f; });
}

// The text of an attribute; empty when it is missing.
std::string Attribute(xmlNode* node, const char* name) {
  xmlChar* value = xmlGetProp(node, Xml(name));
  if (value == nullptr) return {};
  std::string text(reinterpret_cast<const char*>(value));
  xmlFree(value);
  return text;
}

bool IsElement(const xmlNode* node, const char* name) {
  return node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, Xml(name)) != 0;
}

std::vector<xmlNode*> Children(xmlNode* parent, const char* name) {
  std::vector<xmlNode*> found;
  for (xmlNode* child = parent->children; child != nullptr; child = child->next) {
    if (IsElement(child, name)) found.push_back(child);
  }
  return found;
}

// Puts the new element in the place of the first of its name and drops the others, so a type
// written twice alike reads the same.
void ReplaceChild(xmlNode* parent, xmlNode* replacement) {
  std::vector<xmlNode*> old = Children(parent, reinterpret_cast<const char*>(replacement->name));
  if (old.empty()) {
    xmlAddChild(parent, replacement);
    return;
  }
  xmlReplaceNode(old.front(), replacement);
  for (xmlNode* node : old) {
    xmlUnlinkNode(node);
    xmlFreeNode(node);
  }
}

xmlNode* NewElement(xmlNode* parent, const char* name) {
  return xmlNewDocNode(parent->doc, parent->ns, Xml(name), nullptr);
}

// Lines of a key file ("[Group]", "key=value"), as desktop entries and mimeapps.list are.
std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
  }
  return lines;
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r'))
    text.remove_suffix(1);
  return text;
}

bool IsGroup(std::string_view line) {
  line = Trimmed(line);
  return line.starts_with('[') && line.ends_with(']');
}

// The value of "key=value" when the line sets this key.
std::optional<std::string_view> KeyOfLine(std::string_view line, std::string_view key) {
  if (line.starts_with('#')) return std::nullopt;
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos || Trimmed(line.substr(0, equals)) != key)
    return std::nullopt;
  return Trimmed(line.substr(equals + 1));
}

std::optional<std::string> KeyValue(std::string_view text, std::string_view group,
                                    std::string_view key) {
  bool in_group = false;
  for (const std::string_view line : Lines(text)) {
    if (IsGroup(line)) {
      in_group = Trimmed(line) == "[" + std::string(group) + "]";
    } else if (in_group) {
      if (const auto value = KeyOfLine(line, key)) return std::string(*value);
    }
  }
  return std::nullopt;
}

// The text with the key set in its group: the first line that sets it takes the value, others
// go; a group without it gets it as its last line, and a missing group comes at the end.
std::string WithKeyValue(std::string_view text, std::string_view group, std::string_view key,
                         std::string_view value) {
  const std::string header = "[" + std::string(group) + "]";
  const std::string setting = std::string(key) + "=" + std::string(value);
  std::vector<std::string> lines;
  bool in_group = false;
  bool set = false;
  const auto close_group = [&] {
    if (in_group && !set) {
      // After the group's last setting, before the blank lines that part it from the next.
      auto place = lines.end();
      while (place != lines.begin() && Trimmed(*(place - 1)).empty()) --place;
      lines.insert(place, setting);
      set = true;
    }
  };
  for (const std::string_view line : Lines(text)) {
    if (IsGroup(line)) {
      close_group();
      in_group = Trimmed(line) == header;
    } else if (in_group && KeyOfLine(line, key)) {
      if (!set) lines.push_back(setting);
      set = true;
      continue;
    }
    lines.emplace_back(line);
  }
  close_group();
  if (!set) {
    if (!lines.empty() && !Trimmed(lines.back()).empty()) lines.emplace_back();
    lines.push_back(header);
    lines.push_back(setting);
  }
  std::string joined;
  for (const std::string& line : lines) joined += line + "\n";
  return joined;
}

// A string value of a key file: "\" written "\\", so the text comes back as it stands.
std::string KeyFileString(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    if (character == '\\') escaped += '\\';
    escaped += character;
  }
  return escaped;
}

std::string KeyFileText(std::string_view value) {
  std::string text;
  for (std::size_t index = 0; index < value.size(); ++index) {
    if (value[index] != '\\' || index + 1 == value.size()) {
      text += value[index];
      continue;
    }
    switch (value[++index]) {
      case 's':
        text += ' ';
        break;
      case 'n':
        text += '\n';
        break;
      case 't':
        text += '\t';
        break;
      case 'r':
        text += '\r';
        break;
      default:
        text += value[index];
    }
  }
  return text;
}

// One argument of an Exec line, quoted: '"', '`', '$' and '\' after a backslash, '%' doubled.
std::string ExecArgument(std::string_view argument) {
  std::string quoted = "\"";
  for (const char character : argument) {
    if (character == '"' || character == '`' || character == '$' || character == '\\')
      quoted += '\\';
    if (character == '%') quoted += '%';
    quoted += character;
  }
  return quoted + '"';
}

// The argument ExecArgument quoted, from the front of an Exec line; the rest stays in *line.
std::optional<std::string> ExecArgumentText(std::string_view* line) {
  std::string_view rest = *line;
  if (!rest.starts_with('"')) return std::nullopt;
  rest.remove_prefix(1);
  std::string argument;
  while (!rest.empty() && rest.front() != '"') {
    if ((rest.front() == '\\' || rest.front() == '%') && rest.size() >= 2) {
      if (rest.front() == '%' && rest[1] != '%') return std::nullopt;
      rest.remove_prefix(1);
    }
    argument += rest.front();
    rest.remove_prefix(1);
  }
  if (rest.empty()) return std::nullopt;
  *line = rest.substr(1);
  return argument;
}

// The program of a device command line "\"<program>\" %1".
std::optional<std::string> ProgramOfCommand(std::u16string_view command) {
  constexpr std::u16string_view kFileArgument = u"\" %1";
  if (!command.starts_with(u'"') || !command.ends_with(kFileArgument) ||
      command.size() < 1 + kFileArgument.size())
    return std::nullopt;
  const std::u16string_view program = command.substr(1, command.size() - 1 - kFileArgument.size());
  if (program.empty() || HasControlCharacters(program)) return std::nullopt;
  return ToUtf8(program);
}

// The first desktop entry a list value ("a.desktop;b.desktop;") names.
std::string_view FirstOfList(std::string_view list) {
  return Trimmed(list.substr(0, list.find(';')));
}

ErrorCode ReadSessionFile(const fs::path& file, std::string* text) {
  return ReadWholeFile(file, kFileSizeLimit, true, text);
}

// The type of the heaviest glob of a database's "globs2" that is the pattern.
std::optional<std::string> GlobType(std::string_view globs, std::u16string_view pattern) {
  // "weight:type:pattern[:flags]"
  int best_weight = -1;
  std::string best_type;
  for (const std::string_view line : Lines(globs)) {
    if (line.starts_with('#')) continue;
    const std::size_t first = line.find(':');
    const std::size_t second = line.find(':', first == std::string_view::npos ? first : first + 1);
    if (second == std::string_view::npos) continue;
    const std::string_view glob = line.substr(second + 1, line.find(':', second + 1) - second - 1);
    if (!EqualsIgnoringAsciiCase(FromUtf8(glob), pattern)) continue;
    int weight = 0;
    for (const char digit : line.substr(0, first)) {
      if (digit < '0' || digit > '9' || weight > 1000) break;
      weight = weight * 10 + (digit - '0');
    }
    if (weight > best_weight) {
      best_weight = weight;
      best_type = line.substr(first + 1, second - first - 1);
    }
  }
  if (best_weight < 0) return std::nullopt;
  return best_type;
}

// The icon name a database's "icons" gives the type.
std::optional<std::string> TypeIcon(std::string_view icons, const std::string& mime_type) {
  for (const std::string_view line : Lines(icons)) {
    if (line.starts_with(mime_type + ":")) return std::string(line.substr(mime_type.size() + 1));
  }
  return std::nullopt;
}

// Compares timestamps to the nanosecond.
bool NotOlder(const struct stat& file, const struct stat& than) {
  return file.st_mtim.tv_sec > than.st_mtim.tv_sec ||
         (file.st_mtim.tv_sec == than.st_mtim.tv_sec &&
          file.st_mtim.tv_nsec >= than.st_mtim.tv_nsec);
}

}  // namespace

// The shared-mime-info package as a tree: what was there, or a new package when nothing (or
// nothing readable) was.
class XdgShell::Package {
 public:
  explicit Package(const std::string& text) {
    if (!text.empty()) {
      document_ = xmlReadMemory(
          text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
          XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    }
    xmlNode* root = document_ != nullptr ? xmlDocGetRootElement(document_) : nullptr;
    if (root == nullptr || !IsElement(root, "mime-info")) {
      if (document_ != nullptr) xmlFreeDoc(document_);
      document_ = xmlNewDoc(Xml("1.0"));
      root = xmlNewDocNode(document_, nullptr, Xml("mime-info"), nullptr);
      xmlSetNs(root, xmlNewNs(root, Xml(kMimeNamespace), nullptr));
      xmlDocSetRootElement(document_, root);
    }
  }
  ~Package() { xmlFreeDoc(document_); }
  Package(const Package&) = delete;
  Package& operator=(const Package&) = delete;

  // The type's element, made when missing, holding what tells its files by their contents.
  xmlNode* Type(std::string_view mime_type) {
    xmlNode* root = xmlDocGetRootElement(document_);
    xmlNode* type = nullptr;
    for (xmlNode* candidate : Children(root, "mime-type")) {
      if (Attribute(candidate, "type") == mime_type) type = candidate;
    }
    if (type == nullptr) {
      type = xmlAddChild(root, NewElement(root, "mime-type"));
      xmlSetProp(type, Xml("type"), Xml(std::string(mime_type).c_str()));
    }
    const bool archive = mime_type == kArchiveType;
    if (archive) {
      xmlNode* parent = NewElement(type, "sub-class-of");
      xmlSetProp(parent, Xml("type"), Xml("application/zip"));
      ReplaceChild(type, parent);
    }
    xmlNode* magic = NewElement(type, "magic");
    xmlSetProp(magic, Xml("priority"), Xml("50"));
    xmlNode* match = xmlAddChild(magic, NewElement(type, "match"));
    xmlSetProp(match, Xml("type"), Xml("string"));
    xmlSetProp(match, Xml("offset"), Xml("0"));
    // The archive's first local header; a record file's byte order mark.
    xmlSetProp(match, Xml("value"), Xml(archive ? "PK\\003\\004" : "\\xff\\xfe"));
    ReplaceChild(type, magic);
    return type;
  }

  // The glob belongs to this type alone: every other type of the package gives it up.
  void SetGlob(xmlNode* type, const std::string& pattern) {
    const std::u16string wide = FromUtf8(pattern);
    bool held = false;
    for (xmlNode* other : Children(xmlDocGetRootElement(document_), "mime-type")) {
      for (xmlNode* glob : Children(other, "glob")) {
        if (!EqualsIgnoringAsciiCase(FromUtf8(Attribute(glob, "pattern")), wide)) continue;
        if (other == type && !held) {
          held = true;
          continue;
        }
        xmlUnlinkNode(glob);
        xmlFreeNode(glob);
      }
    }
    if (!held) {
      xmlNode* glob = xmlAddChild(type, NewElement(type, "glob"));
      xmlSetProp(glob, Xml("pattern"), Xml(pattern.c_str()));
    }
  }

  void SetComment(xmlNode* type, const std::string& comment) {
    xmlNode* element = NewElement(type, "comment");
    xmlNodeAddContent(element, Xml(comment.c_str()));
    ReplaceChild(type, element);
  }

  void SetIcon(xmlNode* type, const std::string& name) {
    xmlNode* element = NewElement(type, "icon");
    xmlSetProp(element, Xml("name"), Xml(name.c_str()));
    ReplaceChild(type, element);
  }

  static bool IsWhole(xmlNode* type) {
    return !Children(type, "glob").empty() && !Children(type, "comment").empty() &&
           !Children(type, "icon").empty();
  }

  std::string Text() const {
    xmlChar* memory = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(document_, &memory, &size, "UTF-8", 1);
    std::string text(reinterpret_cast<const char*>(memory), static_cast<std::size_t>(size));
    xmlFree(memory);
    return text;
  }

 private:
  xmlDoc* document_ = nullptr;
};

fs::path XdgShell::DataHome() {
  return UserFolder("XDG_DATA_HOME", ".local/share");
}

fs::path XdgShell::ConfigHome() {
  return UserFolder("XDG_CONFIG_HOME", ".config");
}

std::vector<fs::path> XdgShell::SharedDataFolders() {
  const char* variable = std::getenv("XDG_DATA_DIRS");
  std::string_view list =
      variable != nullptr && *variable != 0 ? variable : "/usr/local/share:/usr/share";
  std::vector<fs::path> folders;
  while (!list.empty()) {
    const std::size_t end = list.find(':');
    const std::string_view folder = list.substr(0, end);
    // A relative folder is to be ignored, as the XDG rules say.
    if (folder.starts_with('/')) folders.emplace_back(folder);
    list = end == std::string_view::npos ? std::string_view() : list.substr(end + 1);
  }
  return folders;
}

std::string_view XdgShell::InstalledEntryName() {
  return kInstalledEntry;
}

std::string XdgShell::MimeTypeOf(std::u16string_view type_id) {
  for (const DesktopType& type : kTypes) {
    if (EqualsIgnoringAsciiCase(type.type_id, type_id)) return std::string(type.mime_type);
  }
  return {};
}

XdgShell::XdgShell(fs::path data_home, fs::path config_home, HostCommands& commands,
                   std::vector<fs::path> shared_data_folders)
    : data_home_(std::move(data_home)),
      config_home_(std::move(config_home)),
      shared_data_folders_(std::move(shared_data_folders)),
      commands_(commands) {
  // Once, before any thread of the program parses.
  xmlInitParser();
}

fs::path XdgShell::PackageFile() const {
  return MimeFolder() / "packages" / "kestrav.xml";
}

fs::path XdgShell::OpenerEntry() const {
  return data_home_ / "applications" / kOpenerName;
}

fs::path XdgShell::DefaultsFile() const {
  return config_home_ / "mimeapps.list";
}

std::vector<fs::path> XdgShell::DataFolders() const {
  std::vector<fs::path> folders;
  if (!data_home_.empty()) folders.push_back(data_home_);
  folders.insert(folders.end(), shared_data_folders_.begin(), shared_data_folders_.end());
  return folders;
}

ErrorCode XdgShell::ReadExtensionType(std::u16string_view extension, std::u16string* type_id) {
  const std::u16string pattern = u"*" + std::u16string(extension);
  // The first database that knows the extension answers: the user's before an installed one.
  for (const fs::path& folder : DataFolders()) {
    std::string globs;
    if (ReadSessionFile(folder / "mime" / "globs2", &globs) != kErrorSuccess) continue;
    const std::optional<std::string> found = GlobType(globs, pattern);
    if (!found) continue;
    const auto known = std::ranges::find(kTypes, std::string_view(*found), &DesktopType::mime_type);
    *type_id = known != kTypes.end() ? std::u16string(known->type_id) : FromUtf8(*found);
    return kErrorSuccess;
  }
  return kErrorFileNotFound;
}

ErrorCode XdgShell::ReadTypeIcon(std::u16string_view type_id, std::u16string* icon) {
  const std::string mime_type = MimeTypeOf(type_id);
  if (mime_type.empty()) return kErrorFileNotFound;
  for (const fs::path& folder : DataFolders()) {
    std::string icons;
    if (ReadSessionFile(folder / "mime" / "icons", &icons) != kErrorSuccess) continue;
    if (const std::optional<std::string> found = TypeIcon(icons, mime_type)) {
      *icon = FromUtf8(*found);
      return kErrorSuccess;
    }
  }
  return kErrorFileNotFound;
}

ErrorCode XdgShell::ReadOpenCommand(std::u16string_view type_id, std::u16string* command) {
  const std::string mime_type = MimeTypeOf(type_id);
  if (mime_type.empty()) return kErrorFileNotFound;
  // The user's choice, else the installed entry; another program's entry is not ours to read.
  std::string entry_name = kInstalledEntry;
  if (!config_home_.empty()) {
    std::string defaults;
    const ErrorCode read = ReadSessionFile(DefaultsFile(), &defaults);
    if (read != kErrorSuccess && read != kErrorFileNotFound && read != kErrorPathNotFound)
      return read;
    if (const std::optional<std::string> chosen = KeyValue(defaults, kDefaultsGroup, mime_type))
      entry_name = FirstOfList(*chosen);
  }
  if (entry_name != kOpenerName && entry_name != kInstalledEntry) return kErrorFileNotFound;
  std::string entry;
  ErrorCode read = kErrorFileNotFound;
  for (const fs::path& folder : DataFolders()) {
    read = ReadSessionFile(folder / "applications" / entry_name, &entry);
    if (read == kErrorSuccess) break;
  }
  if (read != kErrorSuccess) return read;
  const std::optional<std::string> types = KeyValue(entry, kEntryGroup, "MimeType");
  const std::optional<std::string> exec = KeyValue(entry, kEntryGroup, "Exec");
  if (!types || !exec || (";" + *types).find(";" + mime_type + ";") == std::string::npos)
    return kErrorFileNotFound;
  const std::string line = KeyFileText(*exec);
  std::string_view rest = line;
  const std::optional<std::string> program = ExecArgumentText(&rest);
  *command = program && rest == " %f" ? u"\"" + FromUtf8(*program) + u"\" %1" : FromUtf8(line);
  return kErrorSuccess;
}

template <typename Change>
ErrorCode XdgShell::ChangeType(std::u16string_view type_id, Change change) {
  const std::string mime_type = MimeTypeOf(type_id);
  if (mime_type.empty()) return kErrorInvalidParameter;
  if (data_home_.empty()) return kErrorPathNotFound;
  std::error_code failure;
  fs::create_directories(PackageFile().parent_path(), failure);
  if (failure) return WriteError(failure.value());
  std::string before;
  const ErrorCode read = ReadSessionFile(PackageFile(), &before);
  if (read != kErrorSuccess && read != kErrorFileNotFound) return read;
  Package package(before);
  xmlNode* type = package.Type(mime_type);
  change(package, type);
  const std::string after = package.Text();
  if (after != before) {
    if (ErrorCode error = WriteWholeFile(PackageFile(), after, true)) return error;
    // A type goes to the desktop whole, once it has its glob, comment and icon: the three
    // writes of a new type make the database once, not three times.
    return Package::IsWhole(type) ? UpdateDatabase() : kErrorSuccess;
  }
  // Unchanged, but a database that failed to follow it, or went, is made again.
  struct stat package_status {};
  struct stat database_status {};
  if (::stat(PackageFile().c_str(), &package_status) == 0 &&
      ::stat((MimeFolder() / "globs2").c_str(), &database_status) == 0 &&
      NotOlder(database_status, package_status)) {
    return kErrorSuccess;
  }
  return UpdateDatabase();
}

ErrorCode XdgShell::UpdateDatabase() {
  return commands_.Run("update-mime-database", {MimeFolder().string()}).Succeeded()
             ? kErrorSuccess
             : kErrorGenFailure;
}

ErrorCode XdgShell::WriteExtensionType(std::u16string_view extension, std::u16string_view type_id) {
  if (extension.size() < 2 || !extension.starts_with(u'.') || HasControlCharacters(extension) ||
      extension.find_first_of(u"/\\*?[]") != std::u16string_view::npos) {
    return kErrorInvalidParameter;
  }
  const std::string pattern = "*" + ToUtf8(extension);
  return ChangeType(type_id,
                    [&](Package& package, xmlNode* type) { package.SetGlob(type, pattern); });
}

ErrorCode XdgShell::WriteTypeDescription(std::u16string_view type_id,
                                         std::u16string_view description) {
  if (HasControlCharacters(description)) return kErrorInvalidParameter;
  const std::string comment = ToUtf8(description);
  return ChangeType(type_id,
                    [&](Package& package, xmlNode* type) { package.SetComment(type, comment); });
}

ErrorCode XdgShell::WriteTypeIcon(std::u16string_view type_id, std::u16string_view icon) {
  if (HasControlCharacters(icon)) return kErrorInvalidParameter;
  // The MIME icon name: "application/x-kestrav-contacts" shows "application-x-kestrav-contacts".
  std::string name = MimeTypeOf(type_id);
  std::ranges::replace(name, '/', '-');
  return ChangeType(type_id, [&](Package& package, xmlNode* type) { package.SetIcon(type, name); });
}

ErrorCode XdgShell::WriteOpenCommand(std::u16string_view type_id, std::u16string_view command) {
  const std::string mime_type = MimeTypeOf(type_id);
  const std::optional<std::string> program = ProgramOfCommand(command);
  if (mime_type.empty() || !program) return kErrorInvalidParameter;
  if (data_home_.empty() || config_home_.empty()) return kErrorPathNotFound;
  std::error_code failure;
  fs::create_directories(OpenerEntry().parent_path(), failure);
  if (!failure) fs::create_directories(config_home_, failure);
  if (failure) return WriteError(failure.value());

  std::string entry;
  const ErrorCode read = ReadSessionFile(OpenerEntry(), &entry);
  if (read != kErrorSuccess && read != kErrorFileNotFound) return read;
  std::string types = KeyValue(entry, kEntryGroup, "MimeType").value_or("");
  if (!types.empty() && !types.ends_with(';')) types += ';';
  if ((";" + types).find(";" + mime_type + ";") == std::string::npos) types += mime_type + ";";
  const std::string opener = "[Desktop Entry]\nType=Application\nName=Kestrav\nExec=" +
                             KeyFileString(ExecArgument(*program) + " %f") +
                             "\nIcon=" + kProgramIcon +
                             "\nTerminal=false\nNoDisplay=true\nMimeType=" + types + "\n";
  // Files already as they should be are left alone: registration writes seven types in a row.
  if (opener != entry) {
    if (ErrorCode error = WriteWholeFile(OpenerEntry(), opener, true)) return error;
  }

  // The user's list may be a link into their own dotfiles: the file it names is changed.
  fs::path defaults_file = DefaultsFile();
  if (struct stat status{};
      ::lstat(defaults_file.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
    defaults_file = fs::canonical(defaults_file, failure);
    if (failure) return ErrorFromErrno(failure.value());
  }
  std::string defaults;
  const ErrorCode defaults_read = ReadSessionFile(defaults_file, &defaults);
  if (defaults_read != kErrorSuccess && defaults_read != kErrorFileNotFound) return defaults_read;
  const std::string chosen =
      WithKeyValue(defaults, kDefaultsGroup, mime_type, std::string(kOpenerName) + ";");
  return chosen == defaults ? kErrorSuccess : WriteWholeFile(defaults_file, chosen, true);
}

ErrorCode XdgShell::ProgramsFolder(std::u16string* folder) {
  *folder = kProgramsFolder;
  return kErrorSuccess;
}

ErrorCode XdgShell::LinkEntry(std::u16string_view link, fs::path* entry) const {
  const std::u16string_view folder = kProgramsFolder;
  if (link.size() <= folder.size() + 1 || link[folder.size()] != u'\\' ||
      !EqualsIgnoringAsciiCase(link.substr(0, folder.size()), folder)) {
    return kErrorPathNotFound;
  }
  const std::u16string_view name = link.substr(folder.size() + 1);
  if (name.size() <= kLinkSuffix.size() ||
      !EqualsIgnoringAsciiCase(name.substr(name.size() - kLinkSuffix.size()), kLinkSuffix) ||
      name.starts_with(u'.') || HasControlCharacters(name) ||
      name.find_first_of(u"/\\") != std::u16string_view::npos) {
    return kErrorInvalidName;
  }
  if (data_home_.empty()) return kErrorPathNotFound;
  *entry = data_home_ / "applications" /
           (ToUtf8(name.substr(0, name.size() - kLinkSuffix.size())) + ".desktop");
  return kErrorSuccess;
}

ErrorCode XdgShell::FindLink(std::u16string_view link) {
  fs::path entry;
  if (ErrorCode error = LinkEntry(link, &entry)) return error;
  struct stat status {};
  return ::lstat(entry.c_str(), &status) == 0 ? kErrorSuccess : ErrorFromErrno(errno);
}

ErrorCode XdgShell::DeleteLink(std::u16string_view link) {
  fs::path entry;
  if (ErrorCode error = LinkEntry(link, &entry)) return error;
  if (::unlink(entry.c_str()) == 0) return kErrorSuccess;
  return errno == ENOENT ? kErrorFileNotFound : WriteError(errno);
}

ErrorCode XdgShell::CreateLink(std::u16string_view link, std::u16string_view target) {
  fs::path entry;
  if (ErrorCode error = LinkEntry(link, &entry)) return error;
  std::u16string_view program = target;
  if (program.size() >= 2 && program.starts_with(u'"') && program.ends_with(u'"'))
    program = program.substr(1, program.size() - 2);
  if (program.empty() || HasControlCharacters(program)) return kErrorInvalidParameter;
  std::error_code failure;
  fs::create_directories(entry.parent_path(), failure);
  if (failure) return WriteError(failure.value());
  const std::string name = entry.stem().string();
  return WriteWholeFile(entry,
                        "[Desktop Entry]\nType=Application\nName=" + KeyFileString(name) +
                            "\nExec=" + KeyFileString(ExecArgument(ToUtf8(program))) + "\nIcon=" +
                            kProgramIcon + "\nTerminal=false\nCategories=Utility;Archiving;\n",
                        false);
}

ErrorCode XdgShell::ProgramPath(std::u16string* path) {
  *path = WindowProgramPath();
  return path->empty() ? kErrorFileNotFound : kErrorSuccess;
}

}  // namespace kestrav::platform::host
