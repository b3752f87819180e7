#include "settings/file_types.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <vector>

#include "platform/host/host_commands.h"
#include "platform/host/xdg_shell.h"
#include "platform/test_support/temporary_device.h"
#include "settings/reg_key.h"

namespace kestrav::settings {
namespace {

using platform::ErrorCode;
using platform::kErrorAccessDenied;
using platform::kErrorFileExists;
using platform::kErrorFileNotFound;
using platform::kErrorSuccess;

// The shell as a recording fake: its class registry, its links and every call made to it.
class FakeShell : public platform::Shell {
 public:
  ErrorCode ReadExtensionType(std::u16string_view extension, std::u16string* type_id) override {
    calls.push_back(u"read " + std::u16string(extension));
    return Read(extensions, extension, type_id);
  }
  ErrorCode ReadTypeIcon(std::u16string_view type_id, std::u16string* icon) override {
    calls.push_back(u"read icon " + std::u16string(type_id));
    return Read(icons, type_id, icon);
  }
  ErrorCode ReadOpenCommand(std::u16string_view type_id, std::u16string* command) override {
    calls.push_back(u"read command " + std::u16string(type_id));
    return Read(commands, type_id, command);
  }
  ErrorCode WriteExtensionType(std::u16string_view extension,
                               std::u16string_view type_id) override {
    return Write(u"extension", extensions, extension, type_id);
  }
  ErrorCode WriteTypeDescription(std::u16string_view type_id,
                                 std::u16string_view description) override {
    return Write(u"description", descriptions, type_id, description);
  }
  ErrorCode WriteTypeIcon(std::u16string_view type_id, std::u16string_view icon) override {
    return Write(u"icon", icons, type_id, icon);
  }
  ErrorCode WriteOpenCommand(std::u16string_view type_id, std::u16string_view command) override {
    return Write(u"command", commands, type_id, command);
  }
  ErrorCode ProgramsFolder(std::u16string* folder) override {
    *folder = programs_folder;
    return kErrorSuccess;
  }
  ErrorCode FindLink(std::u16string_view link) override {
    return links.contains(std::u16string(link)) ? kErrorSuccess : kErrorFileNotFound;
  }
  ErrorCode DeleteLink(std::u16string_view link) override {
    calls.push_back(u"delete " + std::u16string(link));
    if (link_held) return kErrorAccessDenied;
    return links.erase(std::u16string(link)) == 1 ? kErrorSuccess : kErrorFileNotFound;
  }
  ErrorCode CreateLink(std::u16string_view link, std::u16string_view target) override {
    calls.push_back(u"create " + std::u16string(link) + u" -> " + std::u16string(target));
    if (links.contains(std::u16string(link))) return kErrorFileExists;
    if (creation_fails) return kErrorAccessDenied;
    links[std::u16string(link)] = target;
    return kErrorSuccess;
  }
  ErrorCode ProgramPath(std::u16string* path) override {
    *path = program;
    return kErrorSuccess;
  }

  using Values = std::map<std::u16string, std::u16string, std::less<>>;
  Values extensions, descriptions, icons, commands, links;
  std::vector<std::u16string> calls;
  std::u16string program = u"/opt/Kestrav/bin/kestrav";
  std::u16string programs_folder = u"\\Windows\\Start Menu\\Programs";
  bool link_held = false;
  bool creation_fails = false;

 private:
  static ErrorCode Read(const Values& values, std::u16string_view key, std::u16string* value) {
    const auto found = values.find(key);
    if (found == values.end()) return kErrorFileNotFound;
    *value = found->second;
    return kErrorSuccess;
  }
  ErrorCode Write(std::u16string_view what, Values& values, std::u16string_view key,
                  std::u16string_view value) {
    calls.push_back(std::u16string(what) + u" " + std::u16string(key) + u" = " +
                    std::u16string(value));
    values[std::u16string(key)] = value;
    return kErrorSuccess;
  }
};

class FileTypesTest : public ::testing::Test {
 protected:
  FileTypesTest() { device_.device().AttachShell(&shell_); }

  const platform::Device& device() { return device_.device(); }
  std::optional<std::u16string> Recorded() {
    return ReadStringValue(device().registry(), kApplicationKey, kShortcutValue);
  }

  testing::TemporaryDevice device_;
  FakeShell shell_;
};

TEST_F(FileTypesTest, RegistrationWritesEveryTypeInItsOrderAndOnlyWhenTheTestFails) {
  EnsureFileTypesRegistered(device());
  std::vector<std::u16string> expected = {u"read .csc"};
  const std::u16string program = u"/opt/Kestrav/bin/kestrav";
  for (const auto& [extension, type_id, description, icon] :
       std::vector<std::array<std::u16string, 4>>{
           {u".csc", u"cbckpfile", u"Contacts Backup", u"207"},
           {u".csd", u"dbckpfile", u"Dials Backup", u"208"},
           {u".cst", u"tbckpfile", u"Tasks Backup", u"205"},
           {u".csa", u"abckpfile", u"Appointments Backup", u"206"},
           {u".csl", u"lbckpfile", u"Call Logs Backup", u"209"},
           {u".csm", u"mbckpfile", u"Messages Backup", u"212"},
           {u".qbk", u"pbckpfile", u"Kestrav", u"219"}}) {
    expected.push_back(u"extension " + extension + u" = " + type_id);
    expected.push_back(u"description " + type_id + u" = " + description);
    expected.push_back(u"icon " + type_id + u" = " + program + u",-" + icon);
    expected.push_back(u"command " + type_id + u" = \"" + program + u"\" %1");
  }
  EXPECT_EQ(shell_.calls, expected);

  // Registered now: the next start looks at all seven in the test's order and writes nothing.
  shell_.calls.clear();
  EnsureFileTypesRegistered(device());
  expected.clear();
  for (const char16_t* extension :
       {u".csc", u".csd", u".cst", u".csa", u".qbk", u".csm", u".csl"}) {
    const std::u16string type_id = shell_.extensions[extension];
    expected.insert(expected.end(), {u"read " + std::u16string(extension), u"read icon " + type_id,
                                     u"read command " + type_id});
  }
  EXPECT_EQ(shell_.calls, expected);
}

TEST_F(FileTypesTest, TheFirstTypeThatFailsEndsTheTestAndTheIconNeverDecides) {
  RegisterFileTypes(device());
  // Case does not count, and an icon that is wrong or missing changes nothing.
  shell_.extensions[u".csc"] = u"CBCKPFILE";
  shell_.commands[u"dbckpfile"] = u"\"/OPT/Kestrav/BIN/KESTRAV\" %1";
  shell_.icons[u"cbckpfile"] = u"elsewhere,-1";
  shell_.icons.erase(u"tbckpfile");
  EXPECT_TRUE(FileTypesRegistered(device()));

  shell_.commands[u"tbckpfile"] = u"\"/usr/bin/other\" %1";
  shell_.extensions.erase(u".csl");
  shell_.calls.clear();
  EXPECT_FALSE(FileTypesRegistered(device()));
  EXPECT_EQ(shell_.calls, (std::vector<std::u16string>{
                              u"read .csc", u"read icon cbckpfile", u"read command cbckpfile",
                              u"read .csd", u"read icon dbckpfile", u"read command dbckpfile",
                              u"read .cst", u"read icon tbckpfile", u"read command tbckpfile"}));

  // An extension naming another type fails before its command is read.
  shell_.commands[u"tbckpfile"] = u"\"/opt/Kestrav/bin/kestrav\" %1";
  shell_.extensions[u".csl"] = u"lbckpfile";
  shell_.extensions[u".qbk"] = u"zipfile";
  shell_.calls.clear();
  EXPECT_FALSE(FileTypesRegistered(device()));
  EXPECT_EQ(shell_.calls.back(), u"read .qbk");
}

TEST_F(FileTypesTest, AMovedProgramRewritesAllSevenTypes) {
  EnsureFileTypesRegistered(device());
  shell_.program = u"/home/ann/Kestrav/kestrav";
  shell_.calls.clear();
  EnsureFileTypesRegistered(device());
  EXPECT_EQ(shell_.calls.size(), 3u + 7 * 4);
  EXPECT_EQ(shell_.commands[u"pbckpfile"], u"\"/home/ann/Kestrav/kestrav\" %1");
  EXPECT_EQ(shell_.icons[u"mbckpfile"], u"/home/ann/Kestrav/kestrav,-212");
  EXPECT_TRUE(FileTypesRegistered(device()));
}

TEST_F(FileTypesTest, TheShortcutIsMadeRecordedAndRemoved) {
  const std::u16string link = u"\\Windows\\Start Menu\\Programs\\Kestrav.lnk";
  EXPECT_FALSE(IsShortcutChecked(device()));
  ToggleShortcut(device(), false);
  EXPECT_EQ(shell_.links, (FakeShell::Values{{link, u"\"/opt/Kestrav/bin/kestrav\""}}));
  EXPECT_EQ(Recorded(), u"\"/opt/Kestrav/bin/kestrav\"");
  EXPECT_TRUE(IsShortcutChecked(device()));

  // Made again while there: the old link goes first.
  shell_.calls.clear();
  ToggleShortcut(device(), false);
  EXPECT_EQ(shell_.calls,
            (std::vector<std::u16string>{u"delete " + link,
                                         u"create " + link + u" -> \"/opt/Kestrav/bin/kestrav\""}));

  // The record is compared without regard to case, and only with this program's path.
  WriteStringValue(device().registry(), kApplicationKey, kShortcutValue,
                   u"\"/OPT/KESTRAV/bin/kestrav\"");
  EXPECT_TRUE(IsShortcutChecked(device()));
  shell_.program = u"/usr/bin/kestrav";
  EXPECT_FALSE(IsShortcutChecked(device()));

  ToggleShortcut(device(), true);
  EXPECT_TRUE(shell_.links.empty());
  EXPECT_EQ(Recorded(), std::nullopt);
  EXPECT_FALSE(IsShortcutChecked(device()));
}

TEST_F(FileTypesTest, AShortcutThatCannotBeMadeIsRecordedAllTheSame) {
  // A link left behind that cannot be deleted: nothing is made over it.
  const std::u16string link = u"\\Windows\\Start Menu\\Programs\\Kestrav.lnk";
  shell_.links[link] = u"\"/old/kestrav\"";
  shell_.link_held = true;
  ToggleShortcut(device(), false);
  EXPECT_EQ(shell_.calls, std::vector<std::u16string>{u"delete " + link});
  EXPECT_EQ(shell_.links[link], u"\"/old/kestrav\"");
  EXPECT_EQ(Recorded(), u"\"/opt/Kestrav/bin/kestrav\"");

  // Removing it still deletes the record.
  ToggleShortcut(device(), true);
  EXPECT_EQ(Recorded(), std::nullopt);

  // A creation that fails records as well.
  shell_.links.clear();
  shell_.link_held = false;
  shell_.creation_fails = true;
  ToggleShortcut(device(), false);
  EXPECT_TRUE(shell_.links.empty());
  EXPECT_EQ(Recorded(), u"\"/opt/Kestrav/bin/kestrav\"");
}

// The same steps on the desktop itself, in folders of the test's own.
TEST(FileTypesOnTheDesktop, AMovedProgramRegistersAgainAndTheShortcutIsAnApplication) {
  testing::TemporaryDevice device;
  testing::TemporaryFolder folder;
  platform::host::SpawnedHostCommands commands;
  if (!commands.Run("sh", {"-c", "command -v update-mime-database"}).Succeeded())
    GTEST_SKIP() << "update-mime-database is not installed (shared-mime-info)";
  platform::host::XdgShell shell(folder.path() / "data", folder.path() / "config", commands);
  device.device().AttachShell(&shell);
  std::u16string program;
  ASSERT_EQ(shell.ProgramPath(&program), kErrorSuccess);

  EXPECT_FALSE(FileTypesRegistered(device.device()));
  EnsureFileTypesRegistered(device.device());
  EXPECT_TRUE(FileTypesRegistered(device.device()));
  // Where the program was before it moved.
  shell.WriteOpenCommand(u"mbckpfile", u"\"/media/old/kestrav\" %1");
  EXPECT_FALSE(FileTypesRegistered(device.device()));
  EnsureFileTypesRegistered(device.device());
  EXPECT_TRUE(FileTypesRegistered(device.device()));

  const std::filesystem::path entry = folder.path() / "data" / "applications" / "Kestrav.desktop";
  ToggleShortcut(device.device(), IsShortcutChecked(device.device()));
  EXPECT_TRUE(std::filesystem::exists(entry));
  EXPECT_TRUE(IsShortcutChecked(device.device()));
  ToggleShortcut(device.device(), IsShortcutChecked(device.device()));
  EXPECT_FALSE(std::filesystem::exists(entry));
  EXPECT_FALSE(IsShortcutChecked(device.device()));
}

TEST(ShortcutLinkFile, TakesASeparatorOnlyWhenTheFolderHasNone) {
  EXPECT_EQ(ShortcutLinkFile(u"\\Windows\\Programs"), u"\\Windows\\Programs\\Kestrav.lnk");
  EXPECT_EQ(ShortcutLinkFile(u"\\Windows\\Programs\\"), u"\\Windows\\Programs\\Kestrav.lnk");
  EXPECT_EQ(ShortcutLinkFile(u"\\"), u"\\Kestrav.lnk");
}

}  // namespace
}  // namespace kestrav::settings
