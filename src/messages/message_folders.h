// The message stores and folders as the user sees and chooses them: the names shown for stores,
// the folder labels of the tree, the folders a job takes (the backup's by exclusion, the
// restore's by inclusion, by default the folders its record file holds), and the 1044-byte record
// that keeps an exclusion for the scheduled backup.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
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

// A store's display name and a folder's name, as a key of a hashed set.
using FolderKey = std::pair<std::u16string, std::u16string>;
struct FolderKeyHash {
  std::size_t operator()(const FolderKey& key) const;
};
using FolderKeys = std::unordered_set<FolderKey, FolderKeyHash>;

// The stores and folders a pass takes, each looked up at once whatever their number: all but
// those the option leaves out, and once folders are included (the option's restore_folders, or
// Include), only those included and not left out. A folder is named by its store's display name
// and its own name, so it is taken or left wherever that name appears in the store.
class FolderChoice {
 public:
  explicit FolderChoice(const engine::MessagesOption& option);
  // From now on only what is included is taken, even when that is nothing.
  void Include(std::span<const engine::MessageFolderName> names);

  // Whether any folder of the store may be taken.
  bool TakesStore(std::u16string_view store) const;
  bool Takes(std::u16string_view store, std::u16string_view folder) const;

 private:
  static void Add(const engine::MessageFolderName& name, std::unordered_set<std::u16string>* stores,
                  FolderKeys* folders);

  std::unordered_set<std::u16string> stores_left_out_;
  FolderKeys folders_left_out_;
  bool including_ = false;
  std::unordered_set<std::u16string> stores_included_;
  FolderKeys folders_included_;
  std::unordered_set<std::u16string> stores_with_folders_included_;
};

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

// What a messages record file holds, read once to its end before a restore changes anything.
struct RecordFileSurvey {
  std::uint64_t records = 0;   // every record, folder records too
  std::uint64_t messages = 0;  // the records that are no folder records
  // The stores and folders the records name, each once, in the order first named: those of the
  // messages, and the folders and subfolders of the folder records. A restore takes these when
  // the user chooses none.
  std::vector<engine::MessageFolderName> folders;
  // Why the file cannot be restored (a system error code, kErrorCsvBadHeader or
  // kErrorCsvBadRecord) and the line at fault; 0 when it can.
  int error = 0;
  int line_number = 0;
};
// False, with the error kept in the survey, for a file that is no record file read to its end:
// one that cannot be read, holds no text, or has a record left open or longer than the reader
// takes.
bool SurveyRecordFile(const platform::Device& device, std::u16string_view file, char16_t separator,
                      RecordFileSurvey* survey);

// The folders a restore takes, by inclusion: each choice as for ExclusionsKeeping, matched
// against the stores and folders the device and the record file hold, so that a folder the
// device lacks can be chosen. Choices that name nothing of either are put in *unknown.
std::vector<engine::MessageFolderName> InclusionsOf(
    std::span<const StoreFolders> device_stores,
    std::span<const engine::MessageFolderName> file_folders,
    std::span<const std::u16string> choices, std::vector<std::u16string>* unknown);

// The messages on the device in the folders the choice takes; nothing when the messaging
// subsystem cannot be reached.
std::optional<std::uint64_t> CountMessages(const platform::Device& device,
                                           const FolderChoice& choice);
// The messages a restore of the record file in "delete all first" mode empties from the device:
// those of the folders the option chooses, by default the folders the file holds. Nothing when
// the file or the messaging subsystem cannot be read.
std::optional<std::uint64_t> CountMessagesDeletedFirst(const platform::Device& device,
                                                       std::u16string_view record_file,
                                                       char16_t separator,
                                                       const engine::MessagesOption& option);

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
