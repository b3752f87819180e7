// What a job hands the messages worker: whether attachment contents go into the backup, and the
// message folders the user left out.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kestrav::engine {

// A message folder left out of a backup or a restore, by the display name of its store as the
// store table gives it ("SMS", not "Text Messages") and the folder's name; without a folder, the
// whole store.
struct FolderExclusion {
  std::u16string store;
  std::optional<std::u16string> folder;

  bool operator==(const FolderExclusion&) const = default;
};

struct MessagesOption {
  bool store_attachments = false;
  std::vector<FolderExclusion> exclusions;

  bool operator==(const MessagesOption&) const = default;
};

}  // namespace kestrav::engine
