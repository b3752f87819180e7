#include "messages/message_folders.h"

#include <algorithm>
#include <unordered_map>

#include "messages/message_record.h"
#include "messages/texts.h"
#include "platform/format.h"
#include "records/record_file.h"
#include "records/record_reader.h"

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

std::size_t FolderKeyHash::operator()(const FolderKey& key) const {
  const std::hash<std::u16string> hash;
  return hash(key.first) * 31 + hash(key.second);
}

void FolderChoice::Add(const engine::MessageFolderName& name,
                       std::unordered_set<std::u16string>* stores, FolderKeys* folders) {
  if (name.folder) {
    folders->emplace(name.store, *name.folder);
  } else {
    stores->insert(name.store);
  }
}

FolderChoice::FolderChoice(const engine::MessagesOption& option) {
  for (const FolderExclusion& exclusion : option.exclusions)
    Add(exclusion, &stores_left_out_, &folders_left_out_);
  if (!option.restore_folders.empty()) Include(option.restore_folders);
}

void FolderChoice::Include(std::span<const engine::MessageFolderName> names) {
  including_ = true;
  for (const engine::MessageFolderName& name : names) {
    Add(name, &stores_included_, &folders_included_);
    if (name.folder) stores_with_folders_included_.insert(name.store);
  }
}

bool FolderChoice::TakesStore(std::u16string_view store) const {
  const std::u16string key(store);
  if (stores_left_out_.contains(key)) return false;
  return !including_ || stores_included_.contains(key) ||
         stores_with_folders_included_.contains(key);
}

bool FolderChoice::Takes(std::u16string_view store, std::u16string_view folder) const {
  const std::u16string store_key(store);
  if (stores_left_out_.contains(store_key)) return false;
  const FolderKey key(store, folder);
  if (folders_left_out_.contains(key)) return false;
  return !including_ || stores_included_.contains(store_key) || folders_included_.contains(key);
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

std::optional<std::uint64_t> CountMessages(const platform::Device& device,
                                           const FolderChoice& choice) {
  std::vector<StoreFolders> stores;
  if (Failed(ListMessageFolders(device, &stores))) return std::nullopt;
  std::uint64_t count = 0;
  for (const StoreFolders& store : stores) {
    for (const platform::MessageFolderRow& folder : store.folders)
      if (choice.Takes(store.display_name, folder.name)) count += folder.message_count;
  }
  return count;
}

std::optional<std::uint64_t> CountMessagesDeletedFirst(const platform::Device& device,
                                                       std::u16string_view record_file,
                                                       char16_t separator,
                                                       const engine::MessagesOption& option) {
  FolderChoice choice(option);
  if (option.restore_folders.empty()) {
    RecordFileSurvey survey;
    if (!SurveyRecordFile(device, record_file, separator, &survey)) return std::nullopt;
    choice.Include(survey.folders);
  }
  return CountMessages(device, choice);
}

std::vector<FolderExclusion> ExclusionsKeeping(std::span<const StoreFolders> stores,
                                               std::span<const std::u16string> choices,
                                               std::vector<std::u16string>* unknown) {
  // Each choice, and whether it named something.
  std::unordered_map<std::u16string_view, bool> chosen;
  for (const std::u16string& choice : choices) chosen.emplace(choice, false);
  const auto take = [&](const std::u16string& path) {
    const auto found = chosen.find(path);
    if (found == chosen.end()) return false;
    found->second = true;
    return true;
  };
  std::vector<FolderExclusion> exclusions;
  for (const StoreFolders& store : stores) {
    const std::u16string shown = ShownStoreName(store.display_name);
    const bool whole_store = take(shown);
    std::vector<FolderExclusion> folders_left_out;
    for (const platform::MessageFolderRow& folder : store.folders) {
      if (!take(shown + u"/" + folder.name) && !whole_store)
        folders_left_out.push_back({store.display_name, folder.name});
    }
    if (whole_store) continue;
    if (folders_left_out.size() == store.folders.size()) {
      exclusions.push_back({store.display_name, std::nullopt});
    } else {
      exclusions.insert(exclusions.end(), folders_left_out.begin(), folders_left_out.end());
    }
  }
  for (const std::u16string& choice : choices) {
    if (!chosen.at(choice)) unknown->push_back(choice);
  }
  return exclusions;
}

bool SurveyRecordFile(const platform::Device& device, std::u16string_view file, char16_t separator,
                      RecordFileSurvey* survey) {
  *survey = RecordFileSurvey();
  // Asked before the reader holds the file, which it holds alone.
  const bool text = records::LooksLikeText(device, file);
  records::RecordReader reader(device, separator);
  bool good = reader.Open(file);
  survey->error = reader.LastError();
  if (good && !text) {
    good = false;
    survey->error = records::kErrorCsvBadHeader;
  }
  FolderKeys named;
  const auto name = [&](std::u16string_view store, std::u16string_view folder) {
    // A record without a folder is never restored: it names none.
    if (!folder.empty() && named.emplace(store, folder).second)
      survey->folders.push_back({std::u16string(store), std::u16string(folder)});
  };
  records::Record record;
  while (good && reader.Next(&record)) {
    ++survey->records;
    const std::u16string_view account = record.Value(kAccountColumn);
    name(account, record.Value(kFolderColumn));
    if (IsFolderRecord(record)) {
      name(account, record.Value(kSubjectColumn));
    } else {
      ++survey->messages;
    }
  }
  if (good && reader.LastError() != 0) {
    good = false;
    survey->error = reader.LastError();
  }
  survey->line_number = reader.LineNumber();
  return good;
}

std::vector<engine::MessageFolderName> InclusionsOf(
    std::span<const StoreFolders> device_stores,
    std::span<const engine::MessageFolderName> file_folders,
    std::span<const std::u16string> choices, std::vector<std::u16string>* unknown) {
  // What each choice a user can type names.
  std::unordered_map<std::u16string, engine::MessageFolderName> named;
  const auto name = [&](const std::u16string& store, const std::u16string* folder) {
    const std::u16string shown = ShownStoreName(store);
    named.try_emplace(shown, engine::MessageFolderName{store, std::nullopt});
    if (folder != nullptr)
      named.try_emplace(shown + u"/" + *folder, engine::MessageFolderName{store, *folder});
  };
  for (const StoreFolders& store : device_stores) {
    name(store.display_name, nullptr);
    for (const platform::MessageFolderRow& folder : store.folders)
      name(store.display_name, &folder.name);
  }
  for (const engine::MessageFolderName& folder : file_folders)
    name(folder.store, folder.folder ? &*folder.folder : nullptr);
  std::vector<engine::MessageFolderName> inclusions;
  for (const std::u16string& choice : choices) {
    const auto found = named.find(choice);
    if (found == named.end()) {
      unknown->push_back(choice);
    } else if (std::ranges::find(inclusions, found->second) == inclusions.end()) {
      inclusions.push_back(found->second);
    }
  }
  return inclusions;
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
