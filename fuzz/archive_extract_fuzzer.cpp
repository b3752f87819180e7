// Reads any bytes as a backup archive: lists its members, then extracts it into a fresh folder.
//
// Whatever the archive holds, extraction must write nothing outside that folder, report only
// files inside it, and never write more bytes than the directory states for its members.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "platform/test_support/temporary_device.h"
#include "records/archive.h"

namespace {

namespace fs = std::filesystem;

constexpr std::u16string_view kArchive = u"\\Temp\\input.qbk";
constexpr std::u16string_view kDestination = u"\\Restore\\";

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

std::set<fs::path> EntriesOf(const fs::path& folder) {
  std::set<fs::path> entries;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    entries.insert(entry.path().filename());
  }
  return entries;
}

std::uintmax_t BytesBelow(const fs::path& folder) {
  std::uintmax_t bytes = 0;
  std::error_code ignored;
  for (fs::recursive_directory_iterator it(folder, ignored), end; it != end;
       it.increment(ignored)) {
    if (it->is_regular_file(ignored)) bytes += it->file_size(ignored);
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static kestrav::testing::TemporaryDevice fuzz_device;
  static const std::set<fs::path> profile_entries = EntriesOf(fuzz_device.folder());
  static const std::set<fs::path> device_root_entries = EntriesOf(fuzz_device.root());
  const kestrav::platform::Device& device = fuzz_device.device();
  fuzz_device.WriteFile(kArchive, std::string_view(reinterpret_cast<const char*>(data), size));

  std::vector<kestrav::records::ArchiveMember> members;
  const int listed = kestrav::records::ListMembers(device, kArchive, &members);
  std::uintmax_t stated_bytes = 0;
  for (const kestrav::records::ArchiveMember& member : members) stated_bytes += member.size;

  std::vector<std::u16string> extracted;
  kestrav::records::Extract(device, kArchive, kDestination, &extracted);

  // Nothing may appear anywhere in the profile but below the destination folder.
  const fs::path destination = fuzz_device.HostPath(kDestination);
  Require(EntriesOf(fuzz_device.folder()) == profile_entries);
  std::set<fs::path> root_entries = EntriesOf(fuzz_device.root());
  root_entries.erase("Restore");
  Require(root_entries == device_root_entries);
  Require(EntriesOf(fuzz_device.root() / "Temp") == std::set<fs::path>{"input.qbk"});
  for (const std::u16string& file : extracted) {
    Require(file.starts_with(kDestination));
    Require(fs::is_regular_file(fuzz_device.HostPath(file)));
  }
  if (listed == 0) Require(BytesBelow(destination) <= stated_bytes);

  std::error_code ignored;
  fs::remove_all(destination, ignored);
  return 0;
}
