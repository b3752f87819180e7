#include "platform/host/xdg_shell.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "platform/host/host_session.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

constexpr char16_t kProgram[] = u"/opt/Kestrav Suite/bin/kestrav";
constexpr char16_t kCommand[] = u"\"/opt/Kestrav Suite/bin/kestrav\" %1";

struct TypeRow {
  const char16_t* extension;
  const char16_t* type_id;
  const char16_t* description;
  const char* mime_type;
};

constexpr std::array<TypeRow, 7> kRows = {{
    {u".csc", u"cbckpfile", u"Contacts Backup", "application/x-kestrav-contacts"},
    {u".csd", u"dbckpfile", u"Dials Backup", "application/x-kestrav-speed-dials"},
    {u".cst", u"tbckpfile", u"Tasks Backup", "application/x-kestrav-tasks"},
    {u".csa", u"abckpfile", u"Appointments Backup", "application/x-kestrav-appointments"},
    {u".csl", u"lbckpfile", u"Call Logs Backup", "application/x-kestrav-call-logs"},
    {u".csm", u"mbckpfile", u"Messages Backup", "application/x-kestrav-messages"},
    {u".qbk", u"pbckpfile", u"Kestrav", "application/x-kestrav-backup"},
}};

// An archive as Info-ZIP's readers know it: one stored member "a.csc" holding a byte order mark.
constexpr char kArchive[] =
    "PK\x03\x04\x14\x00\x00\x00\x00\x00\x8f\x52\x6f\x36\x96\x30\xf8\x88\x02\x00\x00\x00\x02\x00"
    "\x00\x00\x05\x00\x00\x00"
    "a.csc\xff\xfe"
    "PK\x01\x02\x14\x03\x14\x00\x00\x00\x00\x00\x8f\x52\x6f\x36\x96\x30\xf8\x88\x02\x00\x00\x00"
    "\x02\x00\x00\x00\x05\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x80\x01\x00\x00\x00\x00"
    "a.csc"
    "PK\x05\x06\x00\x00\x00\x00\x01\x00\x01\x00\x33\x00\x00\x00\x25\x00\x00\x00\x00\x00";

class XdgShellTest : public ::testing::Test {
 protected:
  XdgShellTest() : shell_(folder_.path() / "data", folder_.path() / "config", commands_) {}

  bool Installed(const std::string& program) {
    if (commands_.Run("sh", {"-c", "command -v " + program}).Succeeded()) return true;
    std::cout << "[ SKIPPED  ] " << program << " is not installed; its check is left out\n";
    return false;
  }
  // A desktop tool run with the test's folders, set for it alone; the GNOME branch of xdg-utils
  // asks GLib, which reads the shared-mime-info database.
  CommandRun Desktop(const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<std::string> words = {"XDG_DATA_HOME=" + (folder_.path() / "data").string(),
                                      "XDG_CONFIG_HOME=" + (folder_.path() / "config").string(),
                                      "XDG_CURRENT_DESKTOP=GNOME", program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return commands_.Run("env", words);
  }
  void Register(std::u16string_view command) {
    for (const TypeRow& row : kRows) {
      EXPECT_EQ(shell_.WriteExtensionType(row.extension, row.type_id), kErrorSuccess);
      EXPECT_EQ(shell_.WriteTypeDescription(row.type_id, row.description), kErrorSuccess);
      EXPECT_EQ(shell_.WriteTypeIcon(row.type_id, std::u16string(kProgram) + u",-207"),
                kErrorSuccess);
      EXPECT_EQ(shell_.WriteOpenCommand(row.type_id, command), kErrorSuccess);
    }
  }
  std::string Read(const fs::path& file) {
    std::string text;
    ReadWholeFile(file, 1 << 20, true, &text);
    return text;
  }

  kestrav::testing::TemporaryFolder folder_;
  SpawnedHostCommands commands_;
  XdgShell shell_;
};

TEST_F(XdgShellTest, TheSevenTypesAreTheDesktopsAndOpenWithTheProgram) {
  if (!Installed("update-mime-database")) GTEST_SKIP() << "no shared-mime-info";
  Register(kCommand);
  for (const TypeRow& row : kRows) {
    std::u16string answer;
    EXPECT_EQ(shell_.ReadExtensionType(row.extension, &answer), kErrorSuccess);
    EXPECT_EQ(answer, row.type_id);
    EXPECT_EQ(shell_.ReadOpenCommand(row.type_id, &answer), kErrorSuccess);
    EXPECT_EQ(answer, kCommand);
    EXPECT_EQ(shell_.ReadTypeIcon(row.type_id, &answer), kErrorSuccess);
    EXPECT_EQ(ToUtf8(answer), std::string(row.mime_type).replace(11, 1, "-"));
  }
  std::u16string answer;
  EXPECT_EQ(shell_.ReadExtensionType(u".QBK", &answer), kErrorSuccess);
  EXPECT_EQ(answer, u"pbckpfile");
  EXPECT_TRUE(fs::exists(shell_.MimeFolder() / "mime.cache"));
  EXPECT_EQ(Read(shell_.OpenerEntry()),
            "[Desktop Entry]\nType=Application\nName=Kestrav\n"
            "Exec=\"/opt/Kestrav Suite/bin/kestrav\" %f\nIcon=kestrav\nTerminal=false\n"
            "NoDisplay=true\nMimeType=application/x-kestrav-contacts;"
            "application/x-kestrav-speed-dials;application/x-kestrav-tasks;"
            "application/x-kestrav-appointments;application/x-kestrav-call-logs;"
            "application/x-kestrav-messages;application/x-kestrav-backup;\n");

  if (Installed("desktop-file-validate")) {
    const CommandRun run = commands_.Run("desktop-file-validate", {shell_.OpenerEntry()});
    EXPECT_TRUE(run.Succeeded() && run.output.empty()) << run.output << run.errors;
  }
  if (!Installed("xdg-mime") || !Installed("gio")) return;
  const fs::path files = folder_.path() / "files";
  fs::create_directories(files);
  for (const TypeRow& row : kRows) {
    const fs::path file = files / ("Kestrav_20070315" + ToUtf8(row.extension));
    std::ofstream(file, std::ios::binary)
        << (row.mime_type == std::string("application/x-kestrav-backup")
                ? std::string(kArchive, sizeof kArchive - 1)
                : kestrav::testing::Utf16FileBytes(u"Name;Title\r\n"));
    CommandRun run = Desktop("xdg-mime", {"query", "filetype", file.string()});
    EXPECT_EQ(run.output, std::string(row.mime_type) + "\n") << run.errors;
    run = Desktop("xdg-mime", {"query", "default", row.mime_type});
    EXPECT_EQ(run.output, "kestrav-open.desktop\n") << run.errors;
  }
}

TEST_F(XdgShellTest, TheUsersOtherChoicesStayAndAMovedProgramIsSeen) {
  if (!Installed("update-mime-database")) GTEST_SKIP() << "no shared-mime-info";
  fs::create_directories(folder_.path() / "config");
  std::ofstream(folder_.path() / "config" / "mimeapps.list")
      << "[Added Associations]\ntext/plain=gedit.desktop;\n\n[Default Applications]\n"
         "text/plain=gedit.desktop;\napplication/x-kestrav-contacts=ark.desktop;\n";
  std::u16string answer;
  EXPECT_EQ(shell_.ReadOpenCommand(u"cbckpfile", &answer), kErrorFileNotFound);
  Register(kCommand);
  EXPECT_EQ(Read(shell_.DefaultsFile()),
            "[Added Associations]\ntext/plain=gedit.desktop;\n\n[Default Applications]\n"
            "text/plain=gedit.desktop;\napplication/x-kestrav-contacts=kestrav-open.desktop;\n"
            "application/x-kestrav-speed-dials=kestrav-open.desktop;\n"
            "application/x-kestrav-tasks=kestrav-open.desktop;\n"
            "application/x-kestrav-appointments=kestrav-open.desktop;\n"
            "application/x-kestrav-call-logs=kestrav-open.desktop;\n"
            "application/x-kestrav-messages=kestrav-open.desktop;\n"
            "application/x-kestrav-backup=kestrav-open.desktop;\n");

  // A program in a folder whose name needs every escape still reads back as it was written.
  const std::u16string moved = u"\"/home/ann/a \"b\" `c` $d 100% \\e/kestrav\" %1";
  EXPECT_EQ(shell_.WriteOpenCommand(u"pbckpfile", moved), kErrorSuccess);
  EXPECT_EQ(shell_.ReadOpenCommand(u"pbckpfile", &answer), kErrorSuccess);
  EXPECT_EQ(answer, moved);
  if (Installed("desktop-file-validate")) {
    const CommandRun run = commands_.Run("desktop-file-validate", {shell_.OpenerEntry()});
    EXPECT_TRUE(run.Succeeded() && run.output.empty()) << run.output << run.errors;
  }

  // A database that went is made again by the next registration, though the package holds it.
  fs::remove(shell_.MimeFolder() / "globs2");
  EXPECT_EQ(shell_.ReadExtensionType(u".csc", &answer), kErrorFileNotFound);
  EXPECT_EQ(shell_.WriteExtensionType(u".csc", u"cbckpfile"), kErrorSuccess);
  EXPECT_EQ(shell_.ReadExtensionType(u".csc", &answer), kErrorSuccess);

  // Only the device's types, and only commands the desktop can give a file to.
  EXPECT_EQ(shell_.WriteExtensionType(u".zip", u"zipfile"), kErrorInvalidParameter);
  EXPECT_EQ(shell_.WriteOpenCommand(u"cbckpfile", u"kestrav %1"), kErrorInvalidParameter);
  EXPECT_EQ(shell_.WriteTypeDescription(u"cbckpfile", u"two\nlines"), kErrorInvalidParameter);
}

TEST_F(XdgShellTest, ALinkInTheProgramsFolderIsAnEntryOfTheApplicationsMenu) {
  std::u16string folder;
  ASSERT_EQ(shell_.ProgramsFolder(&folder), kErrorSuccess);
  EXPECT_EQ(folder, u"\\Windows\\Start Menu\\Programs");
  const std::u16string link = folder + u"\\Kestrav.lnk";
  const fs::path entry = folder_.path() / "data" / "applications" / "Kestrav.desktop";

  EXPECT_EQ(shell_.FindLink(link), kErrorFileNotFound);
  EXPECT_EQ(shell_.CreateLink(link, u"\"/opt/Kestrav Suite/bin/kestrav\""), kErrorSuccess);
  EXPECT_EQ(shell_.FindLink(link), kErrorSuccess);
  EXPECT_EQ(Read(entry),
            "[Desktop Entry]\nType=Application\nName=Kestrav\n"
            "Exec=\"/opt/Kestrav Suite/bin/kestrav\"\nIcon=kestrav\nTerminal=false\n"
            "Categories=Utility;Archiving;\n");
  if (Installed("desktop-file-validate")) {
    const CommandRun run = commands_.Run("desktop-file-validate", {entry.string()});
    EXPECT_TRUE(run.Succeeded() && run.output.empty()) << run.output << run.errors;
  }
  EXPECT_EQ(shell_.CreateLink(link, u"\"/usr/bin/kestrav\""), kErrorFileExists);
  EXPECT_EQ(shell_.DeleteLink(link), kErrorSuccess);
  EXPECT_EQ(shell_.FindLink(link), kErrorFileNotFound);
  EXPECT_EQ(shell_.DeleteLink(link), kErrorFileNotFound);

  // The desktop has no links anywhere else.
  EXPECT_EQ(shell_.FindLink(u"\\Kestrav.lnk"), kErrorPathNotFound);
  EXPECT_EQ(shell_.CreateLink(u"\\Windows\\Kestrav.lnk", u"\"/usr/bin/kestrav\""),
            kErrorPathNotFound);
  EXPECT_EQ(shell_.CreateLink(folder + u"\\..\\x.lnk", u"\"/usr/bin/kestrav\""), kErrorInvalidName);
}

// A package's copy in a shared folder: the types of share/kestrav.xml and the menu entry.
TEST_F(XdgShellTest, AnInstalledCopyOpensTheTypesWithTheProgramItNames) {
  if (!Installed("update-mime-database")) GTEST_SKIP() << "no shared-mime-info";
  const fs::path shared = folder_.path() / "shared";
  XdgShell shell(folder_.path() / "data", folder_.path() / "config", commands_,
                 {folder_.path() / "empty", shared});
  std::u16string answer;
  EXPECT_EQ(shell.ReadExtensionType(u".qbk", &answer), kErrorFileNotFound);
  EXPECT_EQ(shell.ReadOpenCommand(u"pbckpfile", &answer), kErrorFileNotFound);

  fs::create_directories(shared / "mime" / "packages");
  fs::copy_file(KESTRAV_INSTALLED_TYPES, shared / "mime" / "packages" / "kestrav.xml");
  ASSERT_TRUE(commands_.Run("update-mime-database", {(shared / "mime").string()}).Succeeded());
  fs::create_directories(shared / "applications");
  std::ofstream(shared / "applications" / std::string(XdgShell::InstalledEntryName()))
      << "[Desktop Entry]\nType=Application\nName=Kestrav\n"
         "Exec=\"/opt/Kestrav Suite/bin/kestrav\" %f\nIcon=kestrav\nTerminal=false\n"
         "MimeType=application/x-kestrav-contacts;application/x-kestrav-speed-dials;"
         "application/x-kestrav-tasks;application/x-kestrav-appointments;"
         "application/x-kestrav-call-logs;application/x-kestrav-messages;"
         "application/x-kestrav-backup;\n";
  for (const TypeRow& row : kRows) {
    EXPECT_EQ(shell.ReadExtensionType(row.extension, &answer), kErrorSuccess);
    EXPECT_EQ(answer, row.type_id);
    EXPECT_EQ(shell.ReadOpenCommand(row.type_id, &answer), kErrorSuccess);
    EXPECT_EQ(answer, kCommand);
    EXPECT_EQ(shell.ReadTypeIcon(row.type_id, &answer), kErrorSuccess);
    EXPECT_EQ(ToUtf8(answer), std::string(row.mime_type).replace(11, 1, "-"));
  }
  // Reading wrote nothing of the user's.
  EXPECT_FALSE(fs::exists(folder_.path() / "data"));
  EXPECT_FALSE(fs::exists(folder_.path() / "config"));

  // The user's choice stands: another program's, the installed entry named, or their own copy.
  fs::create_directories(folder_.path() / "config");
  std::ofstream(shell.DefaultsFile())
      << "[Default Applications]\n"
         "application/x-kestrav-contacts=ark.desktop;\n"
         "application/x-kestrav-tasks=org.kestrav.Kestrav.desktop;\n";
  EXPECT_EQ(shell.ReadOpenCommand(u"cbckpfile", &answer), kErrorFileNotFound);
  EXPECT_EQ(shell.ReadOpenCommand(u"tbckpfile", &answer), kErrorSuccess);
  EXPECT_EQ(answer, kCommand);
  EXPECT_EQ(shell.WriteExtensionType(u".csc", u"cbckpfile"), kErrorSuccess);
  EXPECT_EQ(shell.WriteOpenCommand(u"cbckpfile", u"\"/home/ann/kestrav\" %1"), kErrorSuccess);
  EXPECT_EQ(shell.ReadOpenCommand(u"cbckpfile", &answer), kErrorSuccess);
  EXPECT_EQ(answer, u"\"/home/ann/kestrav\" %1");
  EXPECT_EQ(shell.ReadOpenCommand(u"abckpfile", &answer), kErrorSuccess);
  EXPECT_EQ(answer, kCommand);
}

TEST(SharedDataFolders, AreTheAbsoluteFoldersOfTheVariableOrTheDefaults) {
  const char* before = std::getenv("XDG_DATA_DIRS");
  const std::string saved = before != nullptr ? before : "";
  setenv("XDG_DATA_DIRS", "/opt/share:relative:/usr/share/", 1);
  EXPECT_EQ(XdgShell::SharedDataFolders(), (std::vector<fs::path>{"/opt/share", "/usr/share/"}));
  setenv("XDG_DATA_DIRS", "", 1);
  EXPECT_EQ(XdgShell::SharedDataFolders(),
            (std::vector<fs::path>{"/usr/local/share", "/usr/share"}));
  if (before != nullptr) {
    setenv("XDG_DATA_DIRS", saved.c_str(), 1);
  } else {
    unsetenv("XDG_DATA_DIRS");
  }
}

TEST(WindowProgram, IsTheWindowBesideTheCommandLineProgramWhenItIsThere) {
  kestrav::testing::TemporaryFolder folder;
  const std::u16string command_line = FromUtf8((folder.path() / "kestrav-cli").string());
  const fs::path window = folder.path() / "kestrav";
  EXPECT_EQ(WindowProgramBeside(command_line), command_line);
  std::ofstream(window) << "#!/bin/sh\n";
  // A file that cannot be started is no program.
  EXPECT_EQ(WindowProgramBeside(command_line), command_line);
  fs::permissions(window, fs::perms::owner_exec, fs::perm_options::add);
  EXPECT_EQ(WindowProgramBeside(command_line), FromUtf8(window.string()));
  // The window program, or any other, stays itself.
  EXPECT_EQ(WindowProgramBeside(u"/usr/bin/kestrav"), u"/usr/bin/kestrav");
  EXPECT_EQ(WindowProgramBeside(u"/opt/kestrav-cli2"), u"/opt/kestrav-cli2");
}

}  // namespace
}  // namespace kestrav::platform::host
