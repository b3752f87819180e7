#include "cli/command_words.h"

#include <algorithm>
#include <array>

#include "kinds/kinds.h"
#include "messages/message_folders.h"
#include "platform/text.h"

namespace kestrav::cli {
namespace {

struct ModeName {
  engine::RestoreMode mode;
  std::string_view name;
};

constexpr std::array<ModeName, 4> kModeNames = {{
    {engine::RestoreMode::kDeleteAllFirst, "delete-all"},
    {engine::RestoreMode::kAddOnlyNew, "add-new"},
    {engine::RestoreMode::kAddNewAndUpdate, "add-update"},
    {engine::RestoreMode::kAllowDuplicates, "duplicates"},
}};

}  // namespace

std::string KindCommandWord(engine::ItemKind kind) {
  std::string word = platform::ToUtf8(engine::KindInfo(kind).word);
  std::erase(word, ' ');
  return word;
}

bool ParseKinds(std::string_view list, std::vector<engine::ItemKind>* kinds, std::string* error) {
  kinds->clear();
  std::size_t start = 0;
  while (start <= list.size()) {
    const std::size_t comma = std::min(list.find(',', start), list.size());
    const std::string_view word = list.substr(start, comma - start);
    const auto& all = engine::AllItemKinds();
    const auto found = std::ranges::find_if(
        all, [&](const engine::ItemKindInfo& info) { return KindCommandWord(info.kind) == word; });
    if (found == all.end()) {
      std::string known;
      for (const engine::ItemKindInfo& info : all)
        known += (known.empty() ? "" : ", ") + KindCommandWord(info.kind);
      *error = "unknown kind \"" + std::string(word) + "\" (kinds: " + known + ")";
      return false;
    }
    if (std::ranges::find(*kinds, found->kind) == kinds->end()) kinds->push_back(found->kind);
    start = comma + 1;
  }
  return true;
}

bool ParseRestoreMode(std::string_view name, engine::RestoreMode* mode) {
  const auto found = std::ranges::find(kModeNames, name, &ModeName::name);
  if (found == kModeNames.end()) return false;
  *mode = found->mode;
  return true;
}

std::string OfferedModeNames(engine::ItemKind kind) {
  std::string names;
  for (const ModeName& mode : kModeNames) {
    if (kinds::OffersMode(kind, mode.mode))
      names += (names.empty() ? "" : ", ") + std::string(mode.name);
  }
  return names;
}

std::vector<engine::ItemKind> KindsWithWorkers() {
  std::vector<engine::ItemKind> listed;
  for (const kinds::KindRow& row : kinds::AllKinds()) listed.push_back(row.kind);
  return listed;
}

std::string NoWorkerReason(engine::ItemKind kind) {
  if (kinds::FindKind(kind) != nullptr) return {};
  return KindCommandWord(kind) + ": this version of kestrav-cli cannot back up or restore " +
         platform::ToUtf8(engine::KindInfo(kind).word) + " yet";
}

bool ChooseMessageFolders(const platform::Device& device, const std::vector<std::string>& choices,
                          engine::MessagesOption* option, std::string* error) {
  option->exclusions.clear();
  if (choices.empty()) return true;
  std::vector<messages::StoreFolders> stores;
  if (platform::Failed(messages::ListMessageFolders(device, &stores))) {
    *error = "--folders: the message stores cannot be read";
    return false;
  }
  std::vector<std::u16string> wide;
  for (const std::string& choice : choices) wide.push_back(platform::FromUtf8(choice));
  std::vector<std::u16string> unknown;
  option->exclusions = messages::ExclusionsKeeping(stores, wide, &unknown);
  if (unknown.empty()) return true;
  std::string shown;
  for (const messages::StoreFolders& store : stores) {
    shown += (shown.empty() ? "" : ", ") +
             platform::ToUtf8(messages::ShownStoreName(store.display_name));
  }
  *error = "--folders " + platform::ToUtf8(unknown.front()) +
           ": no such store or folder on the device (stores: " + shown + ")";
  return false;
}

}  // namespace kestrav::cli
