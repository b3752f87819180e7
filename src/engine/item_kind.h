// The six kinds of data a backup holds, as bit values so that a set of kinds fits in one
// integer, with their names, record file extensions, temporary file prefixes and file types.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace kestrav::engine {

enum class ItemKind : std::uint32_t {
  kAppointments = 1,
  kCallLogs = 2,
  kContacts = 4,
  kMessages = 8,
  kSpeedDials = 16,
  kTasks = 32,
};

// How restored items meet the items already on the device. Each kind says which it offers.
enum class RestoreMode : int {
  kDeleteAllFirst = 0,
  kAddOnlyNew = 1,
  kAddNewAndUpdate = 2,
  kAllowDuplicates = 3,
};

struct ItemKindInfo {
  ItemKind kind;
  std::u16string_view display_name;  // "Call logs", as the window shows it
  std::u16string_view word;          // "call logs", as the log lines say it
  std::u16string_view extension;     // ".csl"
  std::u16string_view file_prefix;   // "clogs_"
  std::u16string_view file_type_id;  // "lbckpfile"
  std::u16string_view file_type_description;
};

// The archive itself.
inline constexpr std::u16string_view kArchiveExtension = u".qbk";
inline constexpr std::u16string_view kArchiveFileTypeId = u"pbckpfile";
inline constexpr std::u16string_view kArchiveFileTypeDescription = u"Kestrav";

// Every kind, in the order the window lists them.
std::span<const ItemKindInfo> AllItemKinds();
const ItemKindInfo& KindInfo(ItemKind kind);
// The kind whose record file has this extension (compared without regard to case).
std::optional<ItemKind> KindOfExtension(std::u16string_view extension);

}  // namespace kestrav::engine
