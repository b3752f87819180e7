// Reads any bytes as a backup archive: lists its members, tests it, then extracts it into a fresh
// folder, whole and member by member under flat names ("0", "1", ...).
//
// Whatever the archive holds, the test must write nothing, and extraction must write nothing
// outside that folder, report only files inside it, and never write more bytes than the
// directory states for its members. An archive the test passes extracts member by member.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "platform/test_support/temporary_device.h"
#include "platform/text.h"
#include "records/archive.h"

namespace {

namespace fs = std::filesystem;
using kestrav::records::ArchiveMember;

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

// The device's profile as it was made, against which every extraction is checked.
class Profile {
 public:
  explicit Profile(kestrav::testing::TemporaryDevice& device)
      : device_(device),
        entries_(EntriesOf(device.folder())),
        root_entries_(EntriesOf(device.root())) {}

  // Nothing may appear anywhere in the profile but below the destination folder, and only the
  // files reported, holding no more than stated_bytes; then the destination is removed.
  void RequireOnlyBelowDestination(const std::vector<std::u16string>& extracted,
                                   std::uintmax_t stated_bytes) const {
    Require(EntriesOf(device_.folder()) == entries_);
    std::set<fs::path> root_entries = EntriesOf(device_.root());
    root_entries.erase("Restore");
    Require(root_entries == root_entries_);
    Require(EntriesOf(device_.root() / "Temp") == std::set<fs::path>{"input.qbk"});
    for (const std::u16string& file : extracted) {
      Require(file.starts_with(kDestination));
      Require(fs::is_regular_file(device_.HostPath(file)));
    }
    const fs::path destination = device_.HostPath(kDestination);
    Require(BytesBelow(destination) <= stated_bytes);
    std::error_code ignored;
    fs::remove_all(destination, ignored);
  }

 private:
  kestrav::testing::TemporaryDevice& device_;
  const std::set<fs::path> entries_;
  const std::set<fs::path> root_entries_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static kestrav::testing::TemporaryDevice fuzz_device;
  static const Profile profile(fuzz_device);
  const kestrav::platform::Device& device = fuzz_device.device();
  fuzz_device.WriteFile(kArchive, std::string_view(reinterpret_cast<const char*>(data), size));

  std::vector<ArchiveMember> members;
  const int listed = kestrav::records::ListMembers(device, kArchive, &members);
  std::uintmax_t stated_bytes = 0;
  for (const ArchiveMember& member : members) {
    stated_bytes =
        member.size > UINTMAX_MAX - stated_bytes ? UINTMAX_MAX : stated_bytes + member.size;
  }
  // A directory that cannot be read whole bounds nothing.
  if (listed != 0) stated_bytes = UINTMAX_MAX;

  std::vector<ArchiveMember> tested;
  const int test = kestrav::records::TestArchive(device, kArchive, &tested);
  profile.RequireOnlyBelowDestination({}, 0);
  Require(listed != 0 || tested.size() == members.size());

  std::vector<std::u16string> extracted;
  kestrav::records::Extract(device, kArchive, kDestination, &extracted);
  profile.RequireOnlyBelowDestination(extracted, stated_bytes);

  std::vector<kestrav::records::MemberToExtract> every_member;
  for (std::size_t position = 0; position < members.size(); ++position) {
    every_member.push_back({position, kestrav::platform::FromUtf8(std::to_string(position))});
  }
  extracted.clear();
  const int extracted_members =
      kestrav::records::ExtractMembers(device, kArchive, kDestination, every_member, &extracted);
  Require(test != 0 || extracted_members == 0);
  profile.RequireOnlyBelowDestination(extracted, stated_bytes);
  return 0;
}
