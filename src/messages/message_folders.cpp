#include "messages/message_folders.h"

#include <algorithm>

#include "messages/texts.h"
#include "platform/format.h"

namespace kestrav::messages {

using engine::FolderExclusion;
using platform::Failed;
using platform::HResult;

namespace {

enum ExclusionKind : std::uint32_t { kStoreLeftOut = 1, kFolderLeftOut = 2 };

void PutWord(std::uint32_t word, std::uint8_t* bytes) {
  for (int byte = 0; byte < 4; ++byte) bytes[byte] = static_cast<std::uint8_t>(word >> (8 * byte));
}

std::uint32_t WordAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
  std::uint32_t word = 0;
  for (int byte = 0; byte < 4; ++byte)
    word |= static_cast<std::uint32_t>(bytes[offset + byte]) << (8 * byte);
  return word;
}

}  // namespace

std::u16string ShownStoreName(std::u16string_view display_name) {
  if (display_name == texts::kActiveSyncStore) return texts::kActiveSyncShown;
  if (display_name == texts::kSmsStore) return texts::kSmsShown;
  return std::u16string(display_name);
}

std::u16string StoreNameOfShown(std::u16string_view shown) {
  if (shown == texts::kActiveSyncShown) return texts::kActiveSyncStore;
  if (shown == texts::kSmsShown) return texts::kSmsStore;
  return std::u16string(shown);
}

std::u16string FolderLabel(std::u16string_view name, std::uint32_t message_count) {
  return platform::Format(texts::kFolderLabel, name, message_count);
}

bool IsExcluded(const engine::MessagesOption& option, std::u16string_view store,
                std::optional<std::u16string_view> folder) {
  return std::ranges::any_of(option.exclusions, [&](const FolderExclusion& exclusion) {
    return exclusion.store == store && (!exclusion.folder || exclusion.folder == folder);
  });
}

HResult ListMessageFolders(const platform::Device& device, std::vector<StoreFolders>* stores) {
  stores->clear();
  platform::MessageRuntime& runtime = device.messages();
  HResult result = runtime.Initialize();
  if (Failed(result)) return result;
  std::unique_ptr<platform::MessageSession> session;
  std::vector<platform::MessageStoreRow> rows;
  result = runtime.Logon(&session);
  if (!Failed(result)) result = session->GetStores(&rows);
  for (const platform::MessageStoreRow& row : Failed(result) ? decltype(rows)() : rows) {
    std::unique_ptr<platform::MessageStore> store;
    StoreFolders listed{row.display_name, {}};
    if (Failed(session->OpenStore(row.entry_id, &store)) ||
        Failed(store->GetHierarchy(&listed.folders))) {
      continue;
    }
    stores->push_back(std::move(listed));
  }
  if (session) session->Logoff();
  runtime.Uninitialize();
  return result;
}

std::vector<FolderExclusion> ExclusionsKeeping(std::span<const StoreFolders> stores,
                                               std::span<const std::u16string> choices,
                                               std::vector<std::u16string>* unknown) {
  std::vector<bool> used(choices.size(), false);
  // Whether a choice names the store whole, or its folder.
  const auto chosen = [&](const std::u16string& path) {
    bool found = false;
    for (std::size_t index = 0; index < choices.size(); ++index) {
      if (choices[index] == path) used[index] = found = true;
    }
    return found;
  };
  std::vector<FolderExclusion> exclusions;
  for (const StoreFolders& store : stores) {
    const std::u16string shown = ShownStoreName(store.display_name);
    const bool whole_store = chosen(shown);
    std::vector<FolderExclusion> folders_left_out;
    for (const platform::MessageFolderRow& folder : store.folders) {
      if (!chosen(shown + u"/" + folder.name) && !whole_store)
        folders_left_out.push_back({store.display_name, folder.name});
    }
    if (whole_store) continue;
    if (folders_left_out.size() == store.folders.size()) {
      exclusions.push_back({store.display_name, std::nullopt});
    } else {
      exclusions.insert(exclusions.end(), folders_left_out.begin(), folders_left_out.end());
    }
  }
  for (std::size_t index = 0; index < choices.size(); ++index) {
    if (!used[index]) unknown->push_back(choices[index]);
  }
  return exclusions;
}

std::optional<ExclusionRecord> MakeExclusionRecord(const FolderExclusion& exclusion) {
  const std::u16string folder = exclusion.folder.value_or(std::u16string());
  if (exclusion.store.size() + folder.size() > kExclusionNameUnits) return std::nullopt;
  ExclusionRecord record{};
  PutWord(exclusion.folder ? kFolderLeftOut : kStoreLeftOut, &record[0]);
  PutWord(static_cast<std::uint32_t>(exclusion.store.size()), &record[4]);
  PutWord(static_cast<std::uint32_t>(folder.size()), &record[8]);
  std::size_t offset = 12;
  for (const std::u16string_view name :
       {std::u16string_view(exclusion.store), std::u16string_view(folder)}) {
    for (char16_t unit : name) {
      record[offset++] = static_cast<std::uint8_t>(unit);
      record[offset++] = static_cast<std::uint8_t>(unit >> 8);
    }
  }
  return record;
}

std::optional<FolderExclusion> ReadExclusionRecord(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kExclusionRecordBytes) return std::nullopt;
  const std::uint32_t kind = WordAt(bytes, 0);
  const std::uint32_t store_units = WordAt(bytes, 4);
  const std::uint32_t folder_units = WordAt(bytes, 8);
  if ((kind != kStoreLeftOut && kind != kFolderLeftOut) || store_units > kExclusionNameUnits ||
      folder_units > kExclusionNameUnits - store_units ||
      (kind == kStoreLeftOut && folder_units != 0)) {
    return std::nullopt;
  }
  const auto name_at = [&](std::size_t first_unit, std::size_t units) {
    std::u16string name;
    for (std::size_t unit = first_unit; unit < first_unit + units; ++unit) {
      name.push_back(static_cast<char16_t>(bytes[12 + 2 * unit] | (bytes[13 + 2 * unit] << 8)));
    }
    return name;
  };
  FolderExclusion exclusion{name_at(0, store_units), std::nullopt};
  if (kind == kFolderLeftOut) exclusion.folder = name_at(store_units, folder_units);
  return exclusion;
}

}  // namespace kestrav::messages
