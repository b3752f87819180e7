#include "records/archive.h"

#include <gtest/gtest.h>
#include <minizip/unzip.h>
#include <minizip/zip.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <set>
#include <utility>

#include "platform/test_support/temporary_device.h"
#include "platform/text.h"
#include "records/parallel_deflate.h"

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

std::uint64_t ReadLittleEndian(std::string_view bytes, std::size_t offset, int width) {
  std::uint64_t value = 0;
  for (int index = width - 1; index >= 0; --index) {
    value = value << 8 | static_cast<unsigned char>(bytes.at(offset + index));
  }
  return value;
}

std::string LittleEndian(std::uint64_t value, int width) {
  std::string bytes;
  for (int index = 0; index < width; ++index) bytes += static_cast<char>(value >> 8 * index);
  return bytes;
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

// A piece of a host file, read without the rest of it.
std::string ReadPart(const fs::path& path, std::uint64_t offset, std::size_t count) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(offset));
  std::string bytes(count, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(count));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

void WritePart(const fs::path& path, std::uint64_t offset, std::string_view bytes) {
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(static_cast<std::streamoff>(offset));
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  ASSERT_TRUE(file.good());
}

bool HasCommand(const std::string& name) {
  return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

// Runs a shell command quietly; true when it exits with 0.
bool Succeeds(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

std::string Quoted(const fs::path& path) {
  return "'" + path.string() + "'";
}

// Headers laid out by hand for archives that no writer of ours makes: stored members dated
// 15 March 2007, 10:20:30.
constexpr std::uint32_t kDosTime = 10 << 11 | 20 << 5 | 30 / 2;
constexpr std::uint32_t kDosDate = (2007 - 1980) << 9 | 3 << 5 | 15;

std::uint32_t Crc(std::string_view data) {
  return static_cast<std::uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size())));
}

std::string LocalHeader(std::string_view name, std::string_view data) {
  return std::string("PK\x03\x04", 4) + LittleEndian(20, 2) + LittleEndian(0, 2) +
         LittleEndian(kMethodStored, 2) + LittleEndian(kDosTime, 2) + LittleEndian(kDosDate, 2) +
         LittleEndian(Crc(data), 4) + LittleEndian(data.size(), 4) + LittleEndian(data.size(), 4) +
         LittleEndian(name.size(), 2) + LittleEndian(0, 2) + std::string(name) + std::string(data);
}

// A central header whose packed size may differ from the data's size.
std::string CentralHeader(std::string_view name, std::string_view data, std::uint32_t local_offset,
                          std::size_t packed_size) {
  return std::string("PK\x01\x02", 4) + LittleEndian(20, 2) + LittleEndian(20, 2) +
         LittleEndian(0, 2) + LittleEndian(kMethodStored, 2) + LittleEndian(kDosTime, 2) +
         LittleEndian(kDosDate, 2) + LittleEndian(Crc(data), 4) + LittleEndian(packed_size, 4) +
         LittleEndian(data.size(), 4) + LittleEndian(name.size(), 2) + LittleEndian(0, 2) +
         LittleEndian(0, 2) + LittleEndian(0, 2) + LittleEndian(0, 2) + LittleEndian(0, 4) +
         LittleEndian(local_offset, 4) + std::string(name);
}

std::string CentralHeader(std::string_view name, std::string_view data,
                          std::uint32_t local_offset) {
  return CentralHeader(name, data, local_offset, data.size());
}

// Members, their directory and an end record that states the given number of entries.
std::string CraftedArchive(std::string_view members, std::string_view directory,
                           std::uint16_t entries) {
  return std::string(members) + std::string(directory) + std::string("PK\x05\x06", 4) +
         LittleEndian(0, 2) + LittleEndian(0, 2) + LittleEndian(entries, 2) +
         LittleEndian(entries, 2) + LittleEndian(directory.size(), 4) +
         LittleEndian(members.size(), 4) + LittleEndian(0, 2);
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
      {"varied.csc", SampleRecords(2 * kDeflateBlockBytes + 12345)},
      {"zeros.csc", std::string(2 * kDeflateBlockBytes, '\0')},
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
  if (HasCommand("unzip")) {
    EXPECT_TRUE(Succeeds("unzip -tq " + Quoted(HostPath(kArchive))));
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

// A disk that fills while the member is written: the host's reason comes back, not a data error.
TEST_F(ArchiveAddFile, AFullDiskIsTheReasonGiven) {
  WriteFile(kSource, SampleRecords(300000));
  for (const int method : {kMethodStored, kMethodDeflated}) {
    SCOPED_TRACE(method);
    fs::remove(HostPath(kArchive));
    const kestrav::testing::FileSizeLimit disk_full_past(8 * 1024);
    EXPECT_EQ(Add(kSource, method), static_cast<int>(platform::kErrorDiskFull));
  }
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
    internal_attributes.push_back(
        static_cast<std::uint32_t>(ReadLittleEndian(bytes, central + 36, 2)));
    EXPECT_EQ(ReadLittleEndian(bytes, central + 38, 4), 0u);     // external attributes
    EXPECT_EQ(ReadLittleEndian(bytes, central + 30, 2), 0u);     // extra field
    EXPECT_EQ(ReadLittleEndian(bytes, central + 32, 2), 0u);     // comment
    EXPECT_EQ(ReadLittleEndian(bytes, central + 8, 2) & 1, 0u);  // encryption
    // Below 4 GiB nothing of ZIP64: version 2.0 needed, no extra field in the local header.
    const std::size_t local = ReadLittleEndian(bytes, central + 42, 4);
    EXPECT_EQ(ReadLittleEndian(bytes, central + 6, 2), 20u);
    EXPECT_EQ(ReadLittleEndian(bytes, local + 4, 2), 20u);
    EXPECT_EQ(ReadLittleEndian(bytes, local + 28, 2), 0u);
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

// A name past the maximum is listed cut, with its fault; extraction refuses the archive unless
// such members are passed over.
TEST_F(ArchiveExtract, NameLongerThanTheMaximumIsListedCutAndNeverExtracted) {
  std::vector<ArchiveMember> members;
  WriteRawArchive(HostPath(kArchive), {{std::string(1024, 'n'), "fits"}});
  EXPECT_EQ(ListMembers(device(), kArchive, &members), 0);
  EXPECT_EQ(members.at(0).fault, 0);
  WriteRawArchive(HostPath(kArchive), {{"first.csc", "x"}, {std::string(1025, 'n'), "too long"}});
  members.clear();
  ASSERT_EQ(ListMembers(device(), kArchive, &members), 0);
  ASSERT_EQ(members.size(), 2u);
  EXPECT_EQ(members[0].fault, 0);
  EXPECT_EQ(members[1].name, std::u16string(60, u'n') + u"...");
  EXPECT_EQ(members[1].fault, kArchiveMemberNameTooLong);
  EXPECT_EQ(Extract(device(), kArchive, u"\\Restore", nullptr), kArchiveMemberNameTooLong);
  EXPECT_FALSE(fs::exists(HostPath(u"\\Restore")));

  std::vector<std::u16string> extracted;
  std::vector<ArchiveMember> skipped;
  EXPECT_EQ(Extract(device(), kArchive, u"\\Restore", &extracted, &skipped), 0);
  EXPECT_EQ(extracted, std::vector<std::u16string>{u"\\Restore\\first.csc"});
  ASSERT_EQ(skipped.size(), 1u);
  EXPECT_EQ(MemberFaultText(skipped[0]), u"has a name too long to read");
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

// Crafted as zip bombs craft them - entries sharing one member's data, a member whose data holds
// the next one - or with an end record that miscounts the directory; the same pieces put together
// rightly read back. Info-ZIP's unzip refuses them too.
TEST_F(ArchiveExtract, RefusesOverlappingMembersAndMiscountedDirectoriesWritingNothing) {
  const std::string first = LocalHeader("a.csc", "first");
  const std::string second = LocalHeader("b.csc", "second");
  const std::string directory =
      CentralHeader("a.csc", "first", 0) +
      CentralHeader("b.csc", "second", static_cast<std::uint32_t>(first.size()));
  WriteFile(kArchive, CraftedArchive(first + second, directory, 2));
  std::vector<ArchiveMember> members;
  ASSERT_EQ(TestArchive(device(), kArchive, &members), 0);
  ASSERT_EQ(members.size(), 2u);
  EXPECT_EQ(members[1].size, 6u);

  const std::string holder = LocalHeader("a.csc", second);  // "b.csc" whole as its data
  // Info-ZIP's unzip reads a member whose data runs into the directory while its local header
  // gives the right size.
  struct Refused {
    const char* damage;
    std::string bytes;
    bool refused_by_unzip = true;
  };
  const Refused refused[] = {
      {"two entries share one member",
       CraftedArchive(first,
                      CentralHeader("a.csc", "first", 0) + CentralHeader("b.csc", "first", 0), 2)},
      {"a member's data holds the next member",
       CraftedArchive(holder,
                      CentralHeader("a.csc", second, 0) + CentralHeader("b.csc", "second", 35), 2)},
      {"a member's data runs into the directory",
       CraftedArchive(first, CentralHeader("a.csc", "first", 0, 6), 1), false},
      {"the end record counts one entry of two", CraftedArchive(first + second, directory, 1)},
      {"the end record counts three entries of two", CraftedArchive(first + second, directory, 3)}};
  const MemberToExtract chosen[] = {{0, u"chosen.csc"}};
  for (const auto& [damage, bytes, refused_by_unzip] : refused) {
    SCOPED_TRACE(damage);
    WriteFile(kArchive, bytes);
    std::vector<std::u16string> extracted;
    EXPECT_EQ(ListMembers(device(), kArchive, &members), kArchiveBadGlobalInfo);
    EXPECT_EQ(TestArchive(device(), kArchive, nullptr), kArchiveBadGlobalInfo);
    EXPECT_EQ(Extract(device(), kArchive, u"\\Restore", &extracted), kArchiveBadGlobalInfo);
    EXPECT_EQ(ExtractMembers(device(), kArchive, u"\\Restore", chosen, &extracted),
              kArchiveBadGlobalInfo);
    EXPECT_TRUE(extracted.empty());
    EXPECT_FALSE(fs::exists(HostPath(u"\\Restore")));
    if (refused_by_unzip && HasCommand("unzip")) {
      EXPECT_FALSE(Succeeds("unzip -tq " + Quoted(HostPath(kArchive))));
    }
  }
}

// Info-ZIP's "zip -fz" gives every member ZIP64 fields, with the sizes only there: a deflated
// and a stored member, read back whole by every reader, the restore's among them.
TEST_F(ArchiveExtract, SizesInZip64FieldsOfOtherWritersAreRead) {
  if (!HasCommand("zip")) {
    GTEST_SKIP() << "Info-ZIP zip is not installed; its ZIP64 archives are not tried";
  }
  const std::string contacts = SampleRecords(20000);
  WriteFile(u"\\Temp\\contacts.csc", contacts);
  WriteFile(u"\\Temp\\tasks.cst", "task;1\r\n");
  ASSERT_TRUE(Succeeds("cd " + Quoted(HostPath(u"\\Temp")) +
                       " && zip -q -fz -n .cst ../zip64.qbk contacts.csc tasks.cst"));
  const std::u16string archive = u"\\zip64.qbk";
  ASSERT_EQ(ReadLittleEndian(ReadFile(archive), 22, 4), 0xFFFFFFFFu);  // zip wrote ZIP64 sizes

  std::vector<ArchiveMember> members;
  ASSERT_EQ(ListMembers(device(), archive, &members), 0);
  ASSERT_EQ(members.size(), 2u);
  EXPECT_EQ(members[0].size, contacts.size());
  EXPECT_EQ(members[0].method, kMethodDeflated);
  EXPECT_LT(members[0].packed_size, contacts.size() / 2);
  EXPECT_EQ(members[1].size, 8u);
  EXPECT_EQ(members[1].method, kMethodStored);
  EXPECT_EQ(members[1].packed_size, 8u);
  ASSERT_EQ(Extract(device(), archive, u"\\Restore", nullptr), 0);
  EXPECT_TRUE(ReadFile(u"\\Restore\\contacts.csc") == contacts);
  EXPECT_EQ(ReadFile(u"\\Restore\\tasks.cst"), "task;1\r\n");
  const MemberToExtract chosen[] = {{1, u"restored.cst"}, {0, u"restored.csc"}};
  ASSERT_EQ(ExtractMembers(device(), archive, u"\\Restore", chosen, nullptr), 0);
  EXPECT_EQ(ReadFile(u"\\Restore\\restored.cst"), "task;1\r\n");
  EXPECT_TRUE(ReadFile(u"\\Restore\\restored.csc") == contacts);
}

// The ZIP64 sizes are chosen before any data is written, from the file's size: a member gets
// them when its data, or what deflate could make of it, reaches 0xFFFFFFFF. Deflate grows data
// that does not deflate by a few bytes a block, never past the bound that choice takes.
TEST_F(ArchiveAddFile, Zip64IsChosenWhereTheDataCouldReachFourGibibytes) {
  std::mt19937 random(2007);
  std::string noise(5 * kDeflateBlockBytes + 777, '\0');
  for (char& byte : noise) byte = static_cast<char>(random());
  WriteFile(kSource, noise);
  ASSERT_EQ(Add(kSource), 0);
  std::vector<ArchiveMember> members;
  ASSERT_EQ(TestArchive(device(), kArchive, &members), 0);
  EXPECT_GT(members.at(0).packed_size, noise.size());
  EXPECT_LE(members.at(0).packed_size, DeflatedSizeBound(noise.size()));

  EXPECT_FALSE(MemberNeedsZip64(0xFFFFFFFE, kMethodStored));
  EXPECT_TRUE(MemberNeedsZip64(0xFFFFFFFF, kMethodStored));
  EXPECT_FALSE(MemberNeedsZip64(0xFFFFFFFFull - 8 * 1024 * 1024, kMethodDeflated));
  EXPECT_TRUE(MemberNeedsZip64(0xFFFFFFFFull - 1024 * 1024, kMethodDeflated));
}

// Whether this build runs under AddressSanitizer, where reading gigabytes takes minutes.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

// A 4.5 GiB record file (sparse: zeros that take no room) stored, then a small one deflated
// after it, 4 GiB into the archive, where its offset and the directory's need ZIP64 fields and
// end records. The big member's local header is read here as the ZIP format lays it out, since
// the readers below do not all look at it; they read the rest. The big member as minizip 1.1
// used to write it, its local sizes left 0, reads back too.
TEST_F(ArchiveAddFile, MemberOfFourAndAHalfGibibytesIsAWholeZip64Member) {
  if (kSanitized) {
    GTEST_SKIP() << "the 4.5 GiB archive is left to the build without sanitizers: under them "
                    "its reading would take minutes";
  }
  constexpr std::uint64_t kBigSize = 4608ull << 20;
  const fs::path archive = HostPath(kArchive);
  if (const auto space = fs::space(temporary_.folder());
      space.available < kBigSize + (1ull << 30)) {
    GTEST_SKIP() << "the temporary folder " << temporary_.folder() << " has "
                 << space.available / (1 << 20) << " MiB free, too little for a 4.5 GiB archive";
  }
  const std::u16string big = u"\\Temp\\messages_20070315.csm";
  WriteFile(big, "");
  fs::resize_file(HostPath(big), kBigSize);
  WriteFile(kSource, "contact;1\r\n");
  ASSERT_EQ(Add(big, kMethodStored), 0);
  ASSERT_EQ(Add(kSource), 0);
  // The big member's local header: version 4.5, both sizes 0xFFFFFFFF, a 20-byte extra field:
  // ID 1, 16 bytes, the size and the packed size in 64 bits.
  const std::string big_name = "messages_20070315.csm";
  const std::string local = ReadPart(archive, 0, 30 + big_name.size() + 20);
  EXPECT_EQ(ReadLittleEndian(local, 4, 2), 45u);
  EXPECT_EQ(ReadLittleEndian(local, 18, 4), 0xFFFFFFFFu);
  EXPECT_EQ(ReadLittleEndian(local, 22, 4), 0xFFFFFFFFu);
  EXPECT_EQ(ReadLittleEndian(local, 28, 2), 20u);
  EXPECT_EQ(local.substr(30 + big_name.size(), 4), std::string("\x01\x00\x10\x00", 4));
  EXPECT_EQ(ReadLittleEndian(local, 34 + big_name.size(), 8), kBigSize);
  EXPECT_EQ(ReadLittleEndian(local, 42 + big_name.size(), 8), kBigSize);

  std::vector<ArchiveMember> members;
  ASSERT_EQ(ListMembers(device(), kArchive, &members), 0);
  ASSERT_EQ(members.size(), 2u);
  EXPECT_EQ(members[0].size, kBigSize);
  EXPECT_EQ(members[0].packed_size, kBigSize);
  EXPECT_EQ(members[1].size, 11u);
  // Every byte read back and its CRC checked, nothing written.
  EXPECT_EQ(TestArchive(device(), kArchive, nullptr), 0);
  const MemberToExtract small[] = {{1, u"contacts.csc"}};
  ASSERT_EQ(ExtractMembers(device(), kArchive, u"\\Restore", small, nullptr), 0);
  EXPECT_EQ(ReadFile(u"\\Restore\\contacts.csc"), "contact;1\r\n");

  // Python's zipfile reads every byte; Info-ZIP's unzip takes a minute over 4.5 GiB, so it
  // reads the member after them, through the ZIP64 end records and offset.
  EXPECT_TRUE(Succeeds("python3 -m zipfile -t " + Quoted(archive)));
  if (HasCommand("unzip")) {
    EXPECT_TRUE(Succeeds("unzip -tq " + Quoted(archive) + " contacts_20070315.csc"));
  }
  const std::array<std::string, 3> seven_zip_names = {"7z", "7zz", "7za"};
  const auto seven_zip = std::ranges::find_if(seven_zip_names, HasCommand);
  if (seven_zip != seven_zip_names.end()) {
    EXPECT_TRUE(Succeeds(*seven_zip + " t " + Quoted(archive)));
  } else {
    std::cout << "7-Zip (7z, 7zz or 7za) is not installed; its test of the archive is skipped\n";
  }

  // minizip 1.1 wrote this member with version 2.0, sizes 0 and no extra field in the local
  // header: the same bytes here, the extra field turned into one that readers pass over.
  WritePart(archive, 4, LittleEndian(20, 2));
  WritePart(archive, 18, LittleEndian(0, 8));
  WritePart(archive, 30 + big_name.size(), LittleEndian(0x9999, 2));
  EXPECT_EQ(TestArchive(device(), kArchive, nullptr), 0);
}

}  // namespace
}  // namespace kestrav::records
