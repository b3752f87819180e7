#include "records/archive.h"

#include <gtest/gtest.h>
#include <minizip/unzip.h>
#include <minizip/zip.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <utility>

#include "platform/test_support/temporary_device.h"
#include "platform/text.h"

namespace kestrav::records {
namespace {

namespace fs = std::filesystem;
using testing::TemporaryDevice;

constexpr std::u16string_view kSource = u"\\Temp\\contacts_20070315.csc";
constexpr std::u16string_view kArchive = u"\\Temp\\backup.qbk";
constexpr std::size_t kEndRecordBytes = 22;

// Record lines that deflate into dynamic blocks: varied enough not to vanish.
std::string SampleRecords(std::size_t size) {
  std::string text;
  for (std::uint64_t line = 0; text.size() < size; ++line) {
    text += "contact;" + std::to_string(line * 7919 % 100003) + ";Smith;+44 20 " +
            std::to_string(line * 104729 % 9973) + "\r\n";
  }
  text.resize(size);
  return text;
}

std::uint32_t ReadLittleEndian(std::string_view bytes, std::size_t offset, int width) {
  std::uint32_t value = 0;
  for (int index = width - 1; index >= 0; --index) {
    value = value << 8 | static_cast<unsigned char>(bytes.at(offset + index));
  }
  return value;
}

void WriteLittleEndian32(std::string& bytes, std::size_t offset, std::uint32_t value) {
  for (int index = 0; index < 4; ++index) {
    bytes.at(offset + index) = static_cast<char>(value >> 8 * index);
  }
}

// Where the first central header starts, as the end record (no archive comment) says.
std::size_t CentralDirectoryOffset(std::string_view archive) {
  return ReadLittleEndian(archive, archive.size() - kEndRecordBytes + 16, 4);
}

struct DosDate {
  unsigned year, month, day, hour, minute, second;
  bool operator==(const DosDate&) const = default;
};

DosDate DecodeDosDate(std::string_view bytes, std::size_t time_offset) {
  const std::uint32_t time = ReadLittleEndian(bytes, time_offset, 2);
  const std::uint32_t date = ReadLittleEndian(bytes, time_offset + 2, 2);
  return {(date >> 9) + 1980, date >> 5 & 0xF,  date & 0x1F,
          time >> 11,         time >> 5 & 0x3F, (time & 0x1F) * 2};
}

platform::FileTime UtcFileTime(std::uint16_t year, std::uint16_t month, std::uint16_t day) {
  platform::SystemTime time;
  time.year = year;
  time.month = month;
  time.day = day;
  time.hour = 10;
  time.minute = 20;
  time.second = 30;
  platform::FileTime file_time = 0;
  EXPECT_TRUE(platform::SystemTimeToFileTime(time, &file_time));
  return file_time;
}

// An archive written by minizip directly, holding names and data that AddFile never writes.
struct RawMember {
  std::string name;
  std::string data;
  int method = kMethodDeflated;
};

void WriteRawArchive(const fs::path& path, const std::vector<RawMember>& members) {
  zipFile archive = zipOpen64(path.c_str(), APPEND_STATUS_CREATE);
  ASSERT_NE(archive, nullptr);
  for (const RawMember& member : members) {
    zip_fileinfo info{};
    ASSERT_EQ(zipOpenNewFileInZip(archive, member.name.c_str(), &info, nullptr, 0, nullptr, 0,
                                  nullptr, member.method, Z_DEFAULT_COMPRESSION),
              ZIP_OK);
    ASSERT_EQ(
        zipWriteInFileInZip(archive, member.data.data(), static_cast<unsigned>(member.data.size())),
        ZIP_OK);
    ASSERT_EQ(zipCloseFileInZip(archive), ZIP_OK);
  }
  ASSERT_EQ(zipClose(archive, nullptr), ZIP_OK);
}

// A member's data as minizip's own reader inflates it and checks its CRC.
std::string ReadWithMinizip(const fs::path& archive, const std::string& name) {
  std::string data;
  unzFile file = unzOpen64(archive.c_str());
  if (file == nullptr || unzLocateFile(file, name.c_str(), 1) != UNZ_OK ||
      unzOpenCurrentFile(file) != UNZ_OK) {
    ADD_FAILURE() << "minizip cannot open " << name;
  } else {
    std::array<char, 1 << 16> buffer;
    int read = 0;
    while ((read = unzReadCurrentFile(file, buffer.data(), buffer.size())) > 0) {
      data.append(buffer.data(), static_cast<std::size_t>(read));
    }
    EXPECT_EQ(read, 0) << name;
    EXPECT_EQ(unzCloseCurrentFile(file), UNZ_OK) << name;
  }
  if (file != nullptr) unzClose(file);
  return data;
}

// Every file and folder below a host folder, relative to it.
std::set<std::string> TreeOf(const fs::path& folder) {
  std::set<std::string> entries;
  std::error_code ignored;
  for (fs::recursive_directory_iterator it(folder, ignored), end; it != end;
       it.increment(ignored)) {
    entries.insert(fs::relative(it->path(), folder).string());
  }
  return entries;
}

class ArchiveTest : public ::testing::Test {
 protected:
  const platform::Device& device() { return temporary_.device(); }
  fs::path HostPath(std::u16string_view path) const { return temporary_.HostPath(path); }
  std::string ReadFile(std::u16string_view path) const { return temporary_.ReadFile(path); }
  void WriteFile(std::u16string_view path, std::string_view bytes) {
    temporary_.WriteFile(path, bytes);
  }

  int Add(std::u16string_view source, int method = kMethodDeflated) {
    return AddFile(device(), source, kArchive, method, nullptr);
  }

  TemporaryDevice temporary_;
};

using ArchiveAddFile = ArchiveTest;
using ArchiveExtract = ArchiveTest;

TEST_F(ArchiveAddFile, RoundTripsBothMethodsWithProgressPerChunk) {
  const std::string contents = SampleRecords(150000);
  WriteFile(kSource, contents);
  for (const int method : {kMethodStored, kMethodDeflated}) {
    SCOPED_TRACE(method);
    fs::remove(HostPath(kArchive));
    std::vector<std::pair<std::uint32_t, std::uint32_t>> calls;
    ASSERT_EQ(AddFile(device(), kSource, kArchive, method,
                      [&calls](std::uint32_t position, std::uint32_t upper_bound) {
                        calls.emplace_back(position, upper_bound);
                      }),
              0);
    const std::vector<std::pair<std::uint32_t, std::uint32_t>> expected = {
        {0, 150000}, {65536, 0}, {131072, 0}, {150000, 0}};
    EXPECT_EQ(calls, expected);

    std::vector<ArchiveMember> members;
    ASSERT_EQ(ListMembers(device(), kArchive, &members), 0);
    ASSERT_EQ(members.size(), 1u);
    EXPECT_EQ(members[0].name, u"contacts_20070315.csc");
    EXPECT_EQ(members[0].method, method);
    EXPECT_EQ(members[0].size, 150000u);
    EXPECT_EQ(members[0].packed_size < 150000u / 2, method == kMethodDeflated);
  }
}

// Blocks deflated apart must join into one stream that every reader inflates whole: a file of
// many blocks, one that ends on a block's end (and inflates far beyond its packed size), an
// empty one, and a stored member beside them.
TEST_F(ArchiveAddFile, MembersOfManyBlocksReadBackWhole) {
  const std::vector<std::pair<std::string, std::string>> files = {
      {"varied.csc", SampleRecords(3 * 1024 * 1024 + 12345)},
      {"zeros.csc", std::string(8 * 128 * 1024, '\0')},
      {"empty.csc", ""},
      {"stored.cst", "task;1\r\n"}};
  for (const auto& [name, contents] : files) {
    WriteFile(u"\\Temp\\" + platform::FromUtf8(name), contents);
    ASSERT_EQ(Add(u"\\Temp\\" + platform::FromUtf8(name),
                  name.ends_with(".cst") ? kMethodStored : kMethodDeflated),
              0);
  }
  std::vector<ArchiveMember> members;
  ASSERT_EQ(TestArchive(device(), kArchive, &members), 0);
  ASSERT_EQ(members.size(), files.size());
  // The destination's missing parents are created too.
  ASSERT_EQ(Extract(device(), kArchive, u"\\Restore\\Here", nullptr), 0);
  for (std::size_t index = 0; index < files.size(); ++index) {
    const auto& [name, contents] = files[index];
    SCOPED_TRACE(name);
    EXPECT_EQ(members[index].size, contents.size());
    EXPECT_TRUE(ReadFile(u"\\Restore\\Here\\" + platform::FromUtf8(name)) == contents);
    EXPECT_TRUE(ReadWithMinizip(HostPath(kArchive), name) == contents);
  }
  if (std::system("command -v unzip >/dev/null 2>&1") == 0) {
    const std::string command = "unzip -tq '" + HostPath(kArchive).string() + "' >/dev/null 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0);
  }
}

// The same file reached by another path is the archive too.
TEST_F(ArchiveAddFile, RefusesToAddTheArchiveToItself) {
  WriteFile(kSource, "x");
  ASSERT_EQ(Add(kSource), 0);
  const std::string before = ReadFile(kArchive);
  EXPECT_EQ(Add(kArchive), kArchiveOwnMember);
  EXPECT_EQ(Add(platform::FromUtf8(HostPath(kArchive).string())), kArchiveOwnMember);
  EXPECT_EQ(ReadFile(kArchive), before);
}

TEST_F(ArchiveAddFile, MissingNamesAndSources) {
  WriteFile(kSource, "x");
  EXPECT_EQ(AddFile(device(), u"", kArchive, kMethodDeflated, nullptr), kArchiveMissingName);
  EXPECT_EQ(AddFile(device(), kSource, u"", kMethodDeflated, nullptr), kArchiveMissingName);
  EXPECT_EQ(AddFile(device(), u"\\Temp\\", kArchive, kMethodDeflated, nullptr),
            kArchiveMissingName);
  EXPECT_EQ(Extract(device(), u"", u"\\Restore", nullptr), kArchiveMissingName);
  std::vector<ArchiveMember> members;
  EXPECT_EQ(ListMembers(device(), u"", &members), kArchiveMissingName);

  EXPECT_EQ(Add(u"\\Temp\\missing.csc"), static_cast<int>(platform::kErrorFileNotFound));
  EXPECT_FALSE(fs::exists(HostPath(kArchive)));
  EXPECT_EQ(Extract(device(), kArchive, u"\\Restore", nullptr),
            static_cast<int>(platform::kErrorFileNotFound));
}

TEST_F(ArchiveAddFile, StoresTheUtcDateWithTheMonthOneHigher) {
  WriteFile(u"\\Temp\\march.csc", "m");
  WriteFile(u"\\Temp\\december.csc", "d");
  auto& files = temporary_.files();
  ASSERT_EQ(files.SetLastWriteTime(u"\\Temp\\march.csc", UtcFileTime(2007, 3, 15)),
            platform::kErrorSuccess);
  ASSERT_EQ(files.SetLastWriteTime(u"\\Temp\\december.csc", UtcFileTime(2007, 12, 24)),
            platform::kErrorSuccess);
  ASSERT_EQ(Add(u"\\Temp\\march.csc"), 0);
  ASSERT_EQ(Add(u"\\Temp\\december.csc"), 0);

  // Read the headers' DOS dates here rather than through minizip.
  const std::string bytes = ReadFile(kArchive);
  const std::size_t central = CentralDirectoryOffset(bytes);
  const std::size_t second_central = central + 46 + ReadLittleEndian(bytes, central + 28, 2);
  EXPECT_EQ(DecodeDosDate(bytes, central + 12), (DosDate{2007, 4, 15, 10, 20, 30}));
  EXPECT_EQ(DecodeDosDate(bytes, second_central + 12), (DosDate{2007, 13, 24, 10, 20, 30}));

  // Read back with the shift undone.
  std::vector<ArchiveMember> members;
  ASSERT_EQ(ListMembers(device(), kArchive, &members), 0);
  EXPECT_EQ(members.at(1).date.month, 12);
  ASSERT_EQ(Extract(device(), kArchive, u"\\Restore", nullptr), 0);
  platform::FileAttributeData data;
  ASSERT_EQ(temporary_.files().GetAttributes(u"\\Restore\\december.csc", &data),
            platform::kErrorSuccess);
  EXPECT_EQ(data.last_write_time, UtcFileTime(2007, 12, 24));
}

TEST_F(ArchiveAddFile, KeepsTheFileAttributesAsInternalAttributes) {
  // A record file is UTF-16LE. Plain ANSI text that deflates is marked as text by zlib, and
  // minizip then writes 1 in place of the attributes.
  const std::string record_file("\xFF\xFEN\0a\0m\0e\0\r\0\n\0", 14);
  WriteFile(u"\\Temp\\deflated.csc", record_file);
  WriteFile(u"\\Temp\\stored.csc", record_file);
  WriteFile(u"\\Temp\\ansi.csc", "Name\r\n");
  WriteFile(u"\\Temp\\ansi_stored.csc", "Name\r\n");
  ASSERT_EQ(Add(u"\\Temp\\deflated.csc"), 0);
  ASSERT_EQ(Add(u"\\Temp\\stored.csc", kMethodStored), 0);
  ASSERT_EQ(Add(u"\\Temp\\ansi.csc"), 0);
  ASSERT_EQ(Add(u"\\Temp\\ansi_stored.csc", kMethodStored), 0);

  const std::string bytes = ReadFile(kArchive);
  std::vector<std::uint32_t> internal_attributes;
  for (std::size_t central = CentralDirectoryOffset(bytes);
       ReadLittleEndian(bytes, central, 4) == 0x02014b50u;
       central += 46 + ReadLittleEndian(bytes, central + 28, 2)) {
    internal_attributes.push_back(ReadLittleEndian(bytes, central + 36, 2));
    EXPECT_EQ(ReadLittleEndian(bytes, central + 38, 4), 0u);     // external attributes
    EXPECT_EQ(ReadLittleEndian(bytes, central + 30, 2), 0u);     // extra field
    EXPECT_EQ(ReadLittleEndian(bytes, central + 32, 2), 0u);     // comment
    EXPECT_EQ(ReadLittleEndian(bytes, central + 8, 2) & 1, 0u);  // encryption
  }
  EXPECT_EQ(internal_attributes, (std::vector<std::uint32_t>{0x20, 0x20, 1, 0x20}));
}

TEST_F(ArchiveExtract, CorruptOrTruncatedArchiveExtractsNothing) {
  WriteFile(u"\\Temp\\a.csc", SampleRecords(5000));
  WriteFile(u"\\Temp\\b.csc", SampleRecords(7000));
  ASSERT_EQ(Add(u"\\Temp\\a.csc"), 0);
  ASSERT_EQ(Add(u"\\Temp\\b.csc"), 0);
  const std::string good = ReadFile(kArchive);

  std::string no_end_record = good;
  no_end_record.replace(no_end_record.size() - kEndRecordBytes, kEndRecordBytes,
                        std::string(kEndRecordBytes, '\xEE'));
  std::string bad_central_header = good;
  bad_central_header[CentralDirectoryOffset(good)] = 'X';
  std::string second_header_broken = good;
  const std::size_t central = CentralDirectoryOffset(good);
  second_header_broken[central + 46 + ReadLittleEndian(good, central + 28, 2)] = 'X';

  const std::vector<std::pair<const char*, std::string>> damaged_archives = {
      {"end record overwritten", no_end_record},
      {"first central header broken", bad_central_header},
      {"second central header broken", second_header_broken},
      {"cut in half", good.substr(0, good.size() / 2)},
      {"end record cut short", good.substr(0, good.size() - 8)},
      {"end record signature alone", std::string("PK\x05\x06", 4)},
      {"empty", std::string()}};
  for (const auto& [damage, bytes] : damaged_archives) {
    SCOPED_TRACE(damage);
    WriteFile(kArchive, bytes);
    std::vector<std::u16string> extracted;
    EXPECT_NE(Extract(device(), kArchive, u"\\Restore", &extracted), 0);
    EXPECT_NE(TestArchive(device(), kArchive, nullptr), 0);
    EXPECT_TRUE(extracted.empty());
    EXPECT_TRUE(TreeOf(HostPath(u"\\Restore")).empty());
    fs::remove_all(HostPath(u"\\Restore"));
  }
}

// Extract, ExtractMembers and TestArchive all find the damage.
TEST_F(ArchiveExtract, DamagedMemberRemovesOnlyItsOwnFile) {
  const fs::path archive = HostPath(kArchive);
  for (const int method : {kMethodStored, kMethodDeflated}) {
    SCOPED_TRACE(method);
    WriteRawArchive(archive, {{"first.csc", "kept", kMethodDeflated},
                              {"second.csc", SampleRecords(300000), method},
                              {"third.csc", "never reached", kMethodDeflated}});
    std::string bytes = ReadFile(kArchive);
    const std::size_t central = CentralDirectoryOffset(bytes);
    const std::size_t second_central = central + 46 + ReadLittleEndian(bytes, central + 28, 2);
    const std::size_t second_local = ReadLittleEndian(bytes, second_central + 42, 4);
    const std::size_t data = second_local + 30 + ReadLittleEndian(bytes, second_local + 26, 2);
    const std::size_t packed = ReadLittleEndian(bytes, second_local + 18, 4);
    bytes.replace(data + packed / 2, 64, std::string(64, '\xA5'));
    WriteFile(kArchive, bytes);

    std::vector<std::u16string> extracted;
    const int result = Extract(device(), kArchive, u"\\Restore", &extracted);
    EXPECT_TRUE(result == Z_DATA_ERROR || result == UNZ_CRCERROR) << result;
    if (method == kMethodStored) {
      EXPECT_EQ(result, UNZ_CRCERROR);
    }
    EXPECT_EQ(extracted, std::vector<std::u16string>{u"\\Restore\\first.csc"});
    EXPECT_EQ(TreeOf(HostPath(u"\\Restore")), std::set<std::string>{"first.csc"});
    EXPECT_EQ(ReadFile(u"\\Restore\\first.csc"), "kept");
    EXPECT_EQ(TestArchive(device(), kArchive, nullptr), result);

    fs::remove_all(HostPath(u"\\Restore"));
    const MemberToExtract chosen[] = {{0, u"kept.csc"}, {1, u"damaged.csc"}, {2, u"never.csc"}};
    extracted.clear();
    EXPECT_EQ(ExtractMembers(device(), kArchive, u"\\Restore", chosen, &extracted), result);
    EXPECT_EQ(extracted, std::vector<std::u16string>{u"\\Restore\\kept.csc"});
    EXPECT_EQ(TreeOf(HostPath(u"\\Restore")), std::set<std::string>{"kept.csc"});
    fs::remove_all(HostPath(u"\\Restore"));
  }
}

// "#" in a name below stands for a NUL, patched into both headers after writing.
TEST_F(ArchiveExtract, RefusesNamesThatLeaveTheFolderBeforeWritingAnything) {
  fs::create_directories(HostPath(u"\\Restore\\Inner"));
  const std::set<std::string> before = TreeOf(temporary_.root());
  for (const std::string name :
       {"../x", "/etc/x", "a/../../x", "C:x", "\\x", "a\\..\\..\\x", "..", "sub/..", "cut#.csc"}) {
    SCOPED_TRACE(name);
    WriteRawArchive(HostPath(u"\\Hostile.qbk"), {{"harmless.csc", "first member", kMethodDeflated},
                                                 {name, "escaped", kMethodDeflated}});
    std::string bytes = ReadFile(u"\\Hostile.qbk");
    std::string with_nul = name;
    std::replace(with_nul.begin(), with_nul.end(), '#', '\0');
    for (std::size_t at = bytes.find(name); at != std::string::npos;
         at = bytes.find(name, at + name.size())) {
      bytes.replace(at, name.size(), with_nul);
    }
    WriteFile(u"\\Hostile.qbk", bytes);

    std::vector<std::u16string> extracted;
    EXPECT_EQ(Extract(device(), u"\\Hostile.qbk", u"\\Restore\\Inner", &extracted),
              kArchiveUnsafeMemberName);
    EXPECT_TRUE(extracted.empty());
    std::set<std::string> after = TreeOf(temporary_.root());
    after.erase("Hostile.qbk");
    EXPECT_EQ(after, before);
  }
}

TEST_F(ArchiveExtract, NameLongerThanTheMaximumIsRefusedByEveryReader) {
  std::vector<ArchiveMember> members;
  WriteRawArchive(HostPath(kArchive), {{std::string(1024, 'n'), "fits"}});
  EXPECT_EQ(ListMembers(device(), kArchive, &members), 0);
  WriteRawArchive(HostPath(kArchive), {{"first.csc", "x"}, {std::string(1025, 'n'), "too long"}});
  EXPECT_EQ(ListMembers(device(), kArchive, &members), kArchiveMemberNameTooLong);
  EXPECT_EQ(Extract(device(), kArchive, u"\\Restore", nullptr), kArchiveMemberNameTooLong);
  const MemberToExtract second[] = {{1, u"second.csc"}};
  EXPECT_EQ(ExtractMembers(device(), kArchive, u"\\Restore", second, nullptr),
            kArchiveMemberNameTooLong);
  EXPECT_FALSE(fs::exists(HostPath(u"\\Restore")));
}

// A folder link or a file link planted in the destination leads nowhere.
TEST_F(ArchiveExtract, LinksInsideTheDestinationAreNotFollowed) {
  const testing::TemporaryFolder outside;
  fs::create_directories(HostPath(u"\\Restore"));
  fs::create_directory_symlink(outside.path(), HostPath(u"\\Restore\\link"));
  fs::create_symlink(outside.path() / "target.csc", HostPath(u"\\Restore\\file.csc"));
  const int refused = static_cast<int>(platform::kErrorAccessDenied);
  for (const std::string name : {"link/x.csc", "file.csc"}) {
    SCOPED_TRACE(name);
    WriteRawArchive(HostPath(kArchive), {{name, "escaped"}});
    std::vector<std::u16string> extracted;
    EXPECT_EQ(Extract(device(), kArchive, u"\\Restore", &extracted), refused);
    EXPECT_TRUE(extracted.empty());
  }
  const MemberToExtract into_link[] = {{0, u"file.csc"}};
  EXPECT_EQ(ExtractMembers(device(), kArchive, u"\\Restore", into_link, nullptr), refused);
  EXPECT_TRUE(TreeOf(outside.path()).empty());
}

// Names that are not plain and positions past the end are refused before anything is written.
TEST_F(ArchiveExtract, ExtractMembersWritesOnlyTheChosenOnesUnderTheirNames) {
  WriteRawArchive(HostPath(kArchive), {{"a.csc", "first", kMethodDeflated},
                                       {"sub/b.csc", "second", kMethodStored},
                                       {"c.csc", "third", kMethodDeflated}});
  for (const MemberToExtract& refused : {MemberToExtract{0, u"sub\\x.csc"},
                                         {0, u"x/y"},
                                         {0, u".."},
                                         {0, u"."},
                                         {0, u""},
                                         {3, u"x.csc"}}) {
    const MemberToExtract chosen[] = {{2, u"fine.csc"}, refused};
    EXPECT_EQ(ExtractMembers(device(), kArchive, u"\\Restore", chosen, nullptr),
              refused.position == 3 ? kArchiveBadGlobalInfo : kArchiveUnsafeMemberName);
  }
  EXPECT_FALSE(fs::exists(HostPath(u"\\Restore")));

  const MemberToExtract chosen[] = {{2, u"one.csc"}, {1, u"two.csc"}};
  std::vector<std::u16string> extracted;
  ASSERT_EQ(ExtractMembers(device(), kArchive, u"\\Restore", chosen, &extracted), 0);
  EXPECT_EQ(extracted, (std::vector<std::u16string>{u"\\Restore\\one.csc", u"\\Restore\\two.csc"}));
  EXPECT_EQ(TreeOf(HostPath(u"\\Restore")), (std::set<std::string>{"one.csc", "two.csc"}));
  EXPECT_EQ(ReadFile(u"\\Restore\\one.csc"), "third");
  EXPECT_EQ(ReadFile(u"\\Restore\\two.csc"), "second");
}

TEST_F(ArchiveExtract, CreatesTheFoldersOfMemberNames) {
  WriteRawArchive(HostPath(kArchive), {{"sub/dir/f.txt", "deep", kMethodDeflated},
                                       {"sub\\other\\g.txt", "back", kMethodStored},
                                       {"empty/", "", kMethodStored}});
  std::vector<std::u16string> extracted;
  ASSERT_EQ(Extract(device(), kArchive, u"\\Restore", &extracted), 0);
  EXPECT_EQ(ReadFile(u"\\Restore\\sub\\dir\\f.txt"), "deep");
  EXPECT_EQ(ReadFile(u"\\Restore\\sub\\other\\g.txt"), "back");
  EXPECT_TRUE(fs::is_directory(HostPath(u"\\Restore\\empty")));
  EXPECT_EQ(extracted.size(), 2u);
}

TEST_F(ArchiveExtract, DestinationUnderAFileIsRefused) {
  WriteFile(kSource, "x");
  ASSERT_EQ(Add(kSource), 0);
  WriteFile(u"\\Blocker", "a file");
  EXPECT_EQ(Extract(device(), kArchive, u"\\Blocker\\Restore", nullptr), kArchiveDestinationError);
}

// The sizes are patched alike in the local and the central header, so that only the data
// disagrees with them; the CRC still matches the data.
TEST_F(ArchiveExtract, MemberSizeOtherThanItsHeaderSaysLeavesNoFile) {
  constexpr std::uint32_t kActualSize = 100000;
  for (const int method : {kMethodStored, kMethodDeflated}) {
    for (const auto& [stated_size, expected] :
         {std::pair{100u, kArchiveMemberTooLarge}, std::pair{kActualSize + 10, Z_DATA_ERROR}}) {
      SCOPED_TRACE(::testing::Message() << "method " << method << ", stated " << stated_size);
      WriteRawArchive(HostPath(kArchive), {{"bomb.csc", std::string(kActualSize, 'A'), method}});
      std::string bytes = ReadFile(kArchive);
      WriteLittleEndian32(bytes, 22, stated_size);
      WriteLittleEndian32(bytes, CentralDirectoryOffset(bytes) + 24, stated_size);
      WriteFile(kArchive, bytes);
      EXPECT_EQ(Extract(device(), kArchive, u"\\Restore", nullptr), expected);
      EXPECT_EQ(TestArchive(device(), kArchive, nullptr), expected);
      EXPECT_TRUE(TreeOf(HostPath(u"\\Restore")).empty());
    }
  }
}

}  // namespace
}  // namespace kestrav::records
