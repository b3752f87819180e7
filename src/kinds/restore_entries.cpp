#include "kinds/restore_entries.h"

#include <algorithm>

#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::kinds {
std::optional<engine::RestoreRefusal> RestoreEntriesOf(const platform::Device& device,
                                                       const std::u16string& file,
                                                       std::vector<engine::RestoreEntry>* entries) {
  entries->clear();
  const std::u16string_view extension = platform::ExtensionOf(file);
  if (platform::EqualsIgnoringAsciiCase(extension, engine::kArchiveExtension)) {
    std::vector<records::ArchiveMember> members;
    if (const int result = records::ListMembers(device, file, &members); result != 0)
      return engine::ArchiveInvalid(file, result);
    if (members.empty()) {
      engine::RestoreRefusal refusal = engine::InvalidFileFormat(file);
      refusal.cause = u"the archive is empty: there is nothing to restore";
      return refusal;
    }
    for (std::size_t position = 0; position < members.size(); ++position) {
      if (records::IsMacResourceMember(members[position].name)) continue;
      const auto kind = engine::KindOfExtension(platform::ExtensionOf(members[position].name));
      if (kind)
        entries->push_back({*kind, file, true, engine::RestoreMode::kDeleteAllFirst, position});
    }
  } else if (const auto kind = engine::KindOfExtension(extension); kind) {
    entries->push_back({*kind, file, false});
  }
  if (entries->empty()) return engine::InvalidFileFormat(file);
  return std::nullopt;
}

std::vector<engine::ItemKind> KindsOf(const std::vector<engine::RestoreEntry>& entries) {
  std::vector<engine::ItemKind> kinds;
  for (const engine::RestoreEntry& entry : entries)
    if (std::ranges::find(kinds, entry.kind) == kinds.end()) kinds.push_back(entry.kind);
  return kinds;
}

}  // namespace kestrav::kinds
