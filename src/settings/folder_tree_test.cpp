#include "settings/folder_tree.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/host/host_device.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::settings {
namespace {

namespace fs = std::filesystem;

std::vector<std::u16string> Names(const std::vector<FolderItem>& items) {
  std::vector<std::u16string> names;
  for (const FolderItem& item : items) names.push_back(item.name);
  std::sort(names.begin(), names.end());
  return names;
}

TEST(FolderTreeTest, ListsFoldersOnlyFromTheRootDown) {
  testing::TemporaryDevice device;
  platform::FileSystem& files = device.device().files();
  device.WriteFile(u"\\Storage Card\\Kestrav_20070315.qbk", "PK");
  ASSERT_EQ(files.CreateFolder(u"\\Storage Card\\Backups\\2007"), platform::kErrorSuccess);

  // "\pim.vol" and "\cemail.vol" are files of the root: not shown.
  EXPECT_EQ(Names(ChildFolders(files, u"")),
            (std::vector<std::u16string>{u"My Documents", u"Storage Card", u"Temp", u"Windows"}));
  const std::vector<FolderItem> card = ChildFolders(files, u"\\Storage Card");
  ASSERT_EQ(card.size(), 1u);
  EXPECT_EQ(card[0].name, u"Backups");
  EXPECT_NE(card[0].attributes & platform::kAttributeDirectory, 0u);
  EXPECT_EQ(Names(ChildFolders(files, ChildPath(u"\\Storage Card", u"Backups"))),
            std::vector<std::u16string>{u"2007"});
  EXPECT_TRUE(ChildFolders(files, u"\\No such folder").empty());
}

TEST(FolderTreeTest, NewFolderNameSkipsExistingFoldersButNotFiles) {
  testing::TemporaryDevice device;
  platform::FileSystem& files = device.device().files();
  EXPECT_EQ(NewFolderName(files, u"\\Storage Card"), u"New Folder");
  ASSERT_EQ(files.CreateFolder(u"\\Storage Card\\New Folder"), platform::kErrorSuccess);
  ASSERT_EQ(files.CreateFolder(u"\\Storage Card\\New Folder(1)"), platform::kErrorSuccess);
  EXPECT_EQ(NewFolderName(files, u"\\Storage Card"), u"New Folder(2)");
  // At the root, the children's paths are "\New Folder"...
  ASSERT_EQ(files.CreateFolder(u"\\New Folder"), platform::kErrorSuccess);
  EXPECT_EQ(NewFolderName(files, u""), u"New Folder(1)");

  // A file of the name is no folder: the name is offered, and its creation fails.
  device.WriteFile(u"\\My Documents\\New Folder", "not a folder");
  EXPECT_EQ(NewFolderName(files, u"\\My Documents"), u"New Folder");
  const FolderCreation creation = CreateNewFolder(files, u"\\My Documents\\New Folder");
  EXPECT_FALSE(creation.created);
  EXPECT_EQ(creation.error.caption, u"Folder creation error");
  EXPECT_EQ(creation.error.text, u"Couldn't create folder \"\\My Documents\\New Folder\"!");
  EXPECT_EQ(device.ReadFile(u"\\My Documents\\New Folder"), "not a folder");
}

TEST(FolderTreeTest, CreationMakesMissingParentsAndStopsAtTheFirstFailure) {
  testing::TemporaryDevice device;
  platform::FileSystem& files = device.device().files();
  const FolderCreation creation = CreateNewFolder(files, u"\\Storage Card\\A\\B\\C");
  EXPECT_TRUE(creation.created);
  EXPECT_NE(creation.attributes & platform::kAttributeDirectory, 0u);
  EXPECT_TRUE(fs::is_directory(device.HostPath(u"\\Storage Card\\A\\B\\C")));
  // An existing folder is reached, not an error.
  EXPECT_TRUE(CreateNewFolder(files, u"\\Storage Card\\A").created);

  // A file where a parent should be: nothing below it is made.
  device.WriteFile(u"\\Storage Card\\notes.txt", "x");
  const FolderCreation blocked = CreateNewFolder(files, u"\\Storage Card\\notes.txt\\D\\E");
  EXPECT_FALSE(blocked.created);
  EXPECT_EQ(blocked.error.text, u"Couldn't create folder \"\\Storage Card\\notes.txt\\D\\E\"!");
  EXPECT_EQ(device.ReadFile(u"\\Storage Card\\notes.txt"), "x");

  // Nothing is made outside the device.
  CreateNewFolder(files, u"\\..\\outside");
  EXPECT_FALSE(fs::exists(device.root().parent_path() / "outside"));
}

// Writes a line to a file of /proc, as a new user namespace's maps are set.
bool WriteProcFile(const char* path, const std::string& text) {
  const int descriptor = ::open(path, O_WRONLY);
  if (descriptor < 0) return false;
  const bool written =
      ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  ::close(descriptor);
  return written;
}

// In a mount namespace of its own (and a user namespace, for a user who may not mount), binds
// `host` onto `target`. False when this machine allows neither.
bool BindInPrivateNamespace(const fs::path& host, const fs::path& target) {
  const uid_t user = ::getuid();
  const gid_t group = ::getgid();
  if (::unshare(CLONE_NEWNS) != 0) {
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    if (!WriteProcFile("/proc/self/setgroups", "deny") ||
        !WriteProcFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") ||
        !WriteProcFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1")) {
      return false;
    }
  }
  // The binding stays in this namespace.
  if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  return ::mount(host.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

TEST(FolderTreeTest, HostFolderBoundAsTheStorageCardIsInTheTree) {
  testing::TemporaryDevice device;
  testing::TemporaryFolder card;
  fs::create_directories(card.path() / "Photos");
  std::ofstream(card.path() / "notes.txt") << "x";
  // The binding is made in a child of its own, so that it never reaches the test's machine.
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (!BindInPrivateNamespace(card.path(), device.HostPath(u"\\Storage Card"))) ::_exit(2);
    // The device as a program started after the binding finds it.
    const auto bound = platform::host::HostDevice::Create(device.root(), u"\\Temp\\");
    if (bound == nullptr) ::_exit(1);
    platform::FileSystem& files = bound->device().files();
    const std::vector<FolderItem> folders = ChildFolders(files, u"\\Storage Card");
    const bool listed = folders.size() == 1 && folders[0].name == u"Photos";
    const bool created = CreateNewFolder(files, u"\\Storage Card\\Photos\\2007").created;
    ::_exit(listed && created ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "no mount namespace on this machine";
  EXPECT_EQ(WEXITSTATUS(status), 0);
  // The new folder went into the host folder bound there.
  EXPECT_TRUE(fs::is_directory(card.path() / "Photos" / "2007"));
}

}  // namespace
}  // namespace kestrav::settings
