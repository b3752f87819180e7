// What a job hands the messages worker: whether attachment contents go into the backup, the
// message folders the user left out, and the folders a restore puts messages into.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kestrav::engine {

// A message store, or one folder of it, by the display name of the store as the store table
// gives it ("SMS", not "Text Messages") and the folder's name; without a folder, the whole store.
struct MessageFolderName {
  std::u16string store;
  std::optional<std::u16string> folder;

  bool operator==(const MessageFolderName&) const = default;
};

// A store or folder left out of a backup or a restore.
using FolderExclusion = MessageFolderName;

struct MessagesOption {
  bool store_attachments = false;
  std::vector<FolderExclusion> exclusions;
  // A restore's choice, by inclusion: only the records of these stores and folders are
  // restored, and "delete all first" empties only these. None: the folders the file holds.
  std::vector<MessageFolderName> restore_folders;

  bool operator==(const MessagesOption&) const = default;
};

}  // namespace kestrav::engine
