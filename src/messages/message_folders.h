// The message stores and folders as the user sees and chooses them: the names shown for stores,
// the folder labels of the tree, the folders left out of a job, and the 1044-byte record that
// keeps one of those for the scheduled backup.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/messages_option.h"
#include "platform/device.h"
#include "platform/message_store.h"

namespace kestrav::messages {

// "ActiveSync" shows as "Outlook E-Mail", "SMS" as "Text Messages", any other store as it is.
std::u16string ShownStoreName(std::u16string_view display_name);
// The reverse: the display name of the store shown under that name.
std::u16string StoreNameOfShown(std::u16string_view shown);
// A folder in the tree: "Inbox(12)".
std::u16string FolderLabel(std::u16string_view name, std::uint32_t message_count);

// Whether the option leaves the store out (no folder), or the folder of the store.
bool IsExcluded(const engine::MessagesOption& option, std::u16string_view store,
                std::optional<std::u16string_view> folder = std::nullopt);

// A store of the device with its folders, depth first.
struct StoreFolders {
  std::u16string display_name;
  std::vector<platform::MessageFolderRow> folders;
};
// The device's stores and folders; false with the failing answer when the messaging subsystem
// cannot be reached. A store that cannot be opened is passed over.
platform::HResult ListMessageFolders(const platform::Device& device,
                                     std::vector<StoreFolders>* stores);

// The exclusions that leave in only what the user chose: each choice is a shown store name
// ("Text Messages") or a shown store name and a folder name ("Text Messages/Inbox"). Choices that
// name nothing on the device are put in *unknown.
std::vector<engine::FolderExclusion> ExclusionsKeeping(std::span<const StoreFolders> stores,
                                                       std::span<const std::u16string> choices,
                                                       std::vector<std::u16string>* unknown);

// The exclusion record: the 32-bit little-endian words at bytes 0, 4 and 8 - 1 for a store left
// out or 2 for a folder, the length of the store's display name and of the folder's name in
// UTF-16 units - then from byte 12 the two names, UTF-16LE, one after the other, the rest zero.
inline constexpr std::size_t kExclusionRecordBytes = 1044;
inline constexpr std::size_t kExclusionNameUnits = (kExclusionRecordBytes - 12) / 2;
using ExclusionRecord = std::array<std::uint8_t, kExclusionRecordBytes>;
// Nothing when the two names together are longer than kExclusionNameUnits.
std::optional<ExclusionRecord> MakeExclusionRecord(const engine::FolderExclusion& exclusion);
// Nothing for bytes that hold no exclusion record (a short value, an unknown kind, lengths that
// do not fit).
std::optional<engine::FolderExclusion> ReadExclusionRecord(std::span<const std::uint8_t> bytes);

}  // namespace kestrav::messages
