#include "platform/host/host_file_system.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>

#include "platform/test_support/temporary_device.h"
#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

using testing::TemporaryDevice;

std::unique_ptr<File> OpenFile(FileSystem& files, std::u16string_view path, Disposition disposition,
                               ErrorCode expected = kErrorSuccess) {
  std::unique_ptr<File> file;
  EXPECT_EQ(files.Open(path, kGenericRead | kGenericWrite, 0, disposition, &file), expected);
  return file;
}

TEST(HostFileSystem, DevicePathsStayUnderTheRoot) {
  TemporaryDevice temporary;
  HostFileSystem& files = temporary.files();
  EXPECT_EQ(files.HostPath(u"\\Temp\\a.csc"), temporary.root() / "Temp" / "a.csc");
  EXPECT_EQ(files.HostPath(u"\\..\\..\\etc\\passwd"), temporary.root() / "etc" / "passwd");
  EXPECT_EQ(files.HostPath(u"\\Storage Card\\.\\x\\..\\y"),
            temporary.root() / "Storage Card" / "y");
  EXPECT_EQ(files.HostPath(u"/tmp/host file"), std::filesystem::path("/tmp/host file"));
  EXPECT_EQ(files.HostPath(u"/tmp/x\\..\\y"), std::filesystem::path("/tmp/x\\..\\y"));
  EXPECT_EQ(files.HostPath(u"\\Temp\\caf\u00e9"), temporary.root() / "Temp" / "caf\xc3\xa9");
  EXPECT_EQ(files.TempFolder(), u"\\Temp\\");
}

// Nothing below the root is reached through a link: not a link in a file's place, not a folder
// of the profile replaced by a link to a folder outside it.
TEST(HostFileSystem, LinksBelowTheRootAreRefused) {
  TemporaryDevice temporary;
  testing::TemporaryFolder outside;
  std::ofstream(outside.path() / "clogs_20070315.csl") << "precious";
  temporary.WriteFile(u"\\My Documents\\precious.txt", "keep");
  std::filesystem::create_symlink(temporary.HostPath(u"\\My Documents\\precious.txt"),
                                  temporary.HostPath(u"\\Storage Card\\clogs_20070315.csl"));
  std::filesystem::remove(temporary.HostPath(u"\\Temp"));
  std::filesystem::create_directory_symlink(outside.path(), temporary.HostPath(u"\\Temp"));
  FileSystem& files = temporary.files();
  std::unique_ptr<File> file;
  for (const char16_t* path :
       {u"\\Storage Card\\clogs_20070315.csl", u"\\Temp\\clogs_20070315.csl", u"\\Temp\\new.csl"}) {
    EXPECT_EQ(files.Open(path, kGenericRead | kGenericWrite, 3, Disposition::kOpenAlways, &file),
              kErrorAccessDenied);
    EXPECT_EQ(files.Open(path, kGenericRead, 0, Disposition::kOpenExisting, &file),
              kErrorAccessDenied);
    FileAttributeData data;
    EXPECT_EQ(files.GetAttributes(path, &data), kErrorAccessDenied);
    EXPECT_EQ(files.DeleteFile(path), kErrorAccessDenied);
    EXPECT_EQ(files.SetLastWriteTime(path, 0), kErrorAccessDenied);
  }
  EXPECT_EQ(files.CreateFolder(u"\\Temp\\x"), kErrorAccessDenied);
  EXPECT_EQ(files.Rename(u"\\Temp\\clogs_20070315.csl", u"\\x.csl"), kErrorAccessDenied);
  EXPECT_TRUE(files.Find(u"\\Temp\\*").empty());
  EXPECT_TRUE(files.Find(u"\\Storage Card\\*").empty());
  EXPECT_EQ(temporary.ReadFile(u"\\My Documents\\precious.txt"), "keep");
  EXPECT_EQ(std::filesystem::file_size(outside.path() / "clogs_20070315.csl"), 8u);
  EXPECT_FALSE(std::filesystem::exists(outside.path() / "new.csl"));
  EXPECT_FALSE(std::filesystem::exists(outside.path() / "x"));
}

// A folder held open keeps every name below it: no "..", no absolute name, no link on the way.
TEST(HostFileSystem, AnOpenedFolderIsNeverLeft) {
  testing::TemporaryFolder host;
  HostFileSystem files({}, u"/tmp");
  const std::u16string extraction = FromUtf8((host.path() / "out").string());
  std::filesystem::create_directories(host.path() / "elsewhere");
  std::unique_ptr<Folder> folder;
  ASSERT_EQ(files.OpenFolder(extraction, true, &folder), kErrorSuccess);
  std::filesystem::create_directory_symlink(host.path() / "elsewhere",
                                            host.path() / "out" / "link");
  std::unique_ptr<File> file;
  for (const char16_t* name : {u"..\\escaped", u"/etc/escaped", u"link\\x.csc", u"link/x.csc"}) {
    EXPECT_EQ(folder->Open(name, kGenericWrite, Disposition::kCreateAlways, &file),
              kErrorAccessDenied)
        << ToUtf8(name);
  }
  EXPECT_EQ(folder->CreateFolder(u"link\\deeper"), kErrorAccessDenied);
  EXPECT_TRUE(std::filesystem::is_empty(host.path() / "elsewhere"));
  EXPECT_FALSE(std::filesystem::exists(host.path() / "escaped"));

  ASSERT_EQ(folder->CreateFolder(u"a\\b"), kErrorSuccess);
  ASSERT_EQ(folder->Open(u"a\\b/c.csc", kGenericWrite, Disposition::kCreateNew, &file),
            kErrorSuccess);
  std::size_t written = 0;
  ASSERT_EQ(file->Write("abc", 3, &written), kErrorSuccess);
  constexpr FileTime kFifteenthOfMarch2007 = 128184276300000000;
  ASSERT_EQ(file->SetLastWriteTime(kFifteenthOfMarch2007), kErrorSuccess);
  ASSERT_EQ(file->SetAttributes(kAttributeReadOnly), kErrorSuccess);
  ASSERT_EQ(file->Close(), kErrorSuccess);
  FileAttributeData data;
  ASSERT_EQ(files.GetAttributes(extraction + u"/a\\b/c.csc", &data), kErrorPathNotFound)
      << "a host path's backslash is an ordinary character";
  ASSERT_EQ(files.GetAttributes(extraction + u"/a/b/c.csc", &data), kErrorSuccess);
  EXPECT_EQ(data.last_write_time, kFifteenthOfMarch2007);
  EXPECT_EQ(data.attributes, kAttributeArchive | kAttributeReadOnly);
  EXPECT_EQ(folder->DeleteFile(u"a/b/c.csc"), kErrorSuccess);
  EXPECT_EQ(folder->DeleteFile(u"a/b/c.csc"), kErrorFileNotFound);
}

TEST(HostFileSystem, DispositionsAndTheirErrors) {
  TemporaryDevice temporary;
  FileSystem& files = temporary.files();
  OpenFile(files, u"\\Temp\\missing", Disposition::kOpenExisting, kErrorFileNotFound);
  OpenFile(files, u"\\No Folder\\x", Disposition::kCreateAlways, kErrorPathNotFound);

  auto file = OpenFile(files, u"\\Temp\\a", Disposition::kCreateNew);
  ASSERT_NE(file, nullptr);
  std::size_t written = 0;
  ASSERT_EQ(file->Write("hello", 5, &written), kErrorSuccess);
  EXPECT_EQ(written, 5u);
  EXPECT_EQ(file->Close(), kErrorSuccess);
  OpenFile(files, u"\\Temp\\a", Disposition::kCreateNew, kErrorFileExists);

  // Open-always keeps what the file holds; create-always empties it.
  file = OpenFile(files, u"\\Temp\\a", Disposition::kOpenAlways);
  std::uint64_t position = 0;
  ASSERT_EQ(file->Seek(0, SeekOrigin::kEnd, &position), kErrorSuccess);
  EXPECT_EQ(position, 5u);
  ASSERT_EQ(file->Seek(1, SeekOrigin::kBegin, nullptr), kErrorSuccess);
  char buffer[8] = {};
  std::size_t read = 0;
  ASSERT_EQ(file->Read(buffer, sizeof buffer, &read), kErrorSuccess);
  EXPECT_EQ(std::string(buffer, read), "ello");
  ASSERT_EQ(file->Read(buffer, sizeof buffer, &read), kErrorSuccess);
  EXPECT_EQ(read, 0u);
  file.reset();
  OpenFile(files, u"\\Temp\\a", Disposition::kCreateAlways);
  EXPECT_EQ(temporary.ReadFile(u"\\Temp\\a"), "");

  OpenFile(files, u"\\Temp", Disposition::kOpenExisting, kErrorAccessDenied);
}

TEST(HostFileSystem, AttributesAndTimes) {
  TemporaryDevice temporary;
  FileSystem& files = temporary.files();
  temporary.WriteFile(u"\\Temp\\a", "12345");
  FileAttributeData data;
  ASSERT_EQ(files.GetAttributes(u"\\Temp\\a", &data), kErrorSuccess);
  EXPECT_EQ(data.attributes, kAttributeArchive);
  EXPECT_EQ(data.size, 5u);
  ASSERT_EQ(files.GetAttributes(u"\\Temp", &data), kErrorSuccess);
  EXPECT_EQ(data.attributes, kAttributeDirectory);
  EXPECT_EQ(files.GetAttributes(u"\\Temp\\b", &data), kErrorFileNotFound);
  EXPECT_EQ(files.GetAttributes(u"\\Nowhere\\b", &data), kErrorPathNotFound);

  ASSERT_EQ(files.SetAttributes(u"\\Temp\\a", kAttributeReadOnly | kAttributeArchive),
            kErrorSuccess);
  ASSERT_EQ(files.SetAttributes(u"\\Temp\\a", kAttributeNormal), kErrorSuccess);
  ASSERT_EQ(files.GetAttributes(u"\\Temp\\a", &data), kErrorSuccess);
  EXPECT_EQ(data.attributes, kAttributeArchive);

  constexpr FileTime kFifteenthOfMarch2007 = 128184276300000000;
  ASSERT_EQ(files.SetLastWriteTime(u"\\Temp\\a", kFifteenthOfMarch2007), kErrorSuccess);
  ASSERT_EQ(files.GetAttributes(u"\\Temp\\a", &data), kErrorSuccess);
  EXPECT_EQ(data.last_write_time, kFifteenthOfMarch2007);
  EXPECT_FALSE(files.FileExists(u"\\Temp"));

  // Past 2262 a time in nanoseconds no longer fits 64 bits; file times still do, both ways.
  SystemTime year_2300{.year = 2300, .month = 1, .day = 1};
  FileTime in_2300 = 0;
  ASSERT_TRUE(SystemTimeToFileTime(year_2300, &in_2300));
  const timespec host_times[2] = {{0, UTIME_OMIT}, {10'413'792'000, 0}};  // 2300-01-01 UTC
  ASSERT_EQ(::utimensat(AT_FDCWD, temporary.HostPath(u"\\Temp\\a").c_str(), host_times, 0), 0);
  ASSERT_EQ(files.GetAttributes(u"\\Temp\\a", &data), kErrorSuccess);
  EXPECT_EQ(data.last_write_time, in_2300);
  ASSERT_EQ(files.SetLastWriteTime(u"\\Temp\\a", in_2300 + 10'000'000), kErrorSuccess);
  struct stat status {};
  ASSERT_EQ(::stat(temporary.HostPath(u"\\Temp\\a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_sec, 10'413'792'001);
}

TEST(HostFileSystem, FoldersDeletionAndSearch) {
  TemporaryDevice temporary;
  FileSystem& files = temporary.files();
  ASSERT_EQ(files.CreateFolder(u"\\Storage Card\\Backups\\2007"), kErrorSuccess);
  EXPECT_EQ(files.CreateFolder(u"\\Storage Card\\Backups"), kErrorSuccess);
  temporary.WriteFile(u"\\Storage Card\\Backups\\Kestrav_20070315.qbk", "x");
  temporary.WriteFile(u"\\Storage Card\\Backups\\kestrav_20070316.QBK", "x");
  temporary.WriteFile(u"\\Storage Card\\Backups\\notes.txt", "x");
  EXPECT_EQ(files.CreateFolder(u"\\Storage Card\\Backups\\notes.txt"), kErrorAlreadyExists);

  std::vector<FoundFile> found = files.Find(u"\\Storage Card\\Backups\\Kestrav_*.qbk");
  std::vector<std::u16string> names;
  for (const FoundFile& file : found) names.push_back(file.name);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::u16string>{u"Kestrav_20070315.qbk", u"kestrav_20070316.QBK"}));
  EXPECT_EQ(files.Find(u"\\Storage Card\\Backups\\?otes.*").size(), 1u);
  EXPECT_EQ(files.Find(u"\\Storage Card\\Backups\\*").size(), 4u);
  EXPECT_TRUE(files.Find(u"\\Missing\\*").empty());

  // Only names that give back this very file are found: not a name that is no UTF-8 (it would
  // come back as its look-alike with U+FFFD), not a "\\" in a device folder (a path into a
  // subfolder). In a host folder "\\" is a character like any other.
  const std::filesystem::path backups = temporary.HostPath(u"\\Storage Card\\Backups");
  std::ofstream(backups / "Kestrav_\xff.qbk") << "stale";
  std::ofstream(backups / "Kestrav_\xef\xbf\xbd.qbk") << "recent";
  std::ofstream(backups / "2007\\x.qbk") << "not 2007/x.qbk";
  std::ofstream(backups / "2007" / "x.qbk") << "in 2007";
  names.clear();
  for (const FoundFile& file : files.Find(u"\\Storage Card\\Backups\\*.qbk"))
    names.push_back(file.name);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::u16string>{u"Kestrav_20070315.qbk", u"Kestrav_\ufffd.qbk",
                                                u"kestrav_20070316.QBK"}));
  const std::u16string host_folder = FromUtf8(backups.string()) + u"/";
  EXPECT_EQ(files.Find(host_folder + u"2007\\*.qbk").size(), 1u);
  EXPECT_EQ(files.Find(host_folder + u"*.qbk").size(), 4u);
  for (const char* name : {"Kestrav_\xff.qbk", "Kestrav_\xef\xbf\xbd.qbk", "2007\\x.qbk"})
    std::filesystem::remove(backups / name);
  std::filesystem::remove(backups / "2007" / "x.qbk");

  EXPECT_EQ(files.DeleteFile(u"\\Storage Card\\Backups\\notes.txt"), kErrorSuccess);
  EXPECT_EQ(files.DeleteFile(u"\\Storage Card\\Backups\\notes.txt"), kErrorFileNotFound);
  EXPECT_EQ(files.DeleteFile(u"\\Storage Card\\Backups\\2007"), kErrorAccessDenied);

  // A rename replaces the file of the new name whole; the same file keeps its identity.
  FileAttributeData before;
  FileAttributeData after;
  ASSERT_EQ(files.GetAttributes(u"\\Storage Card\\Backups\\Kestrav_20070315.qbk", &before),
            kErrorSuccess);
  ASSERT_EQ(files.Rename(u"\\Storage Card\\Backups\\Kestrav_20070315.qbk",
                         u"\\Storage Card\\Backups\\kestrav_20070316.QBK"),
            kErrorSuccess);
  ASSERT_EQ(files.GetAttributes(u"\\Storage Card\\Backups\\kestrav_20070316.QBK", &after),
            kErrorSuccess);
  EXPECT_EQ(after.file_index, before.file_index);
  EXPECT_EQ(after.volume_serial_number, before.volume_serial_number);
  EXPECT_EQ(files.Find(u"\\Storage Card\\Backups\\*").size(), 2u);
  EXPECT_EQ(files.RemoveFolder(u"\\Storage Card\\Backups"), kErrorDirectoryNotEmpty);
  EXPECT_EQ(files.RemoveFolder(u"\\Storage Card\\Backups\\2007"), kErrorSuccess);
  EXPECT_FALSE(files.Exists(u"\\Storage Card\\Backups\\2007"));
}

TEST(PathHelpers, BothSeparators) {
  EXPECT_EQ(BaseName(u"\\Temp\\contacts_20070315.csc"), u"contacts_20070315.csc");
  EXPECT_EQ(BaseName(u"/tmp/x/clogs.csl"), u"clogs.csl");
  EXPECT_EQ(FolderOf(u"\\Temp\\a.csc"), u"\\Temp\\");
  EXPECT_EQ(FolderOf(u"a.csc"), u"");
  EXPECT_EQ(WithTrailingSeparator(u"\\Temp"), u"\\Temp\\");
  EXPECT_EQ(WithTrailingSeparator(u"/tmp/x"), u"/tmp/x/");
  // In a host path "\\" is an ordinary character of a name.
  EXPECT_EQ(BaseName(u"/tmp/x\\..\\..\\important.qbk"), u"x\\..\\..\\important.qbk");
  EXPECT_EQ(FolderOf(u"/tmp/a\\b"), u"/tmp/");
  EXPECT_EQ(WithTrailingSeparator(u"/tmp/x\\"), u"/tmp/x\\/");
}

}  // namespace
}  // namespace kestrav::platform::host
