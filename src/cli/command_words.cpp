#include "cli/command_words.h"

#include <algorithm>
#include <array>
#include <cctype>

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
    // Typed as the user likes it: "Contacts", " calllogs", "Call Logs".
    std::string word;
    for (const char character : list.substr(start, comma - start)) {
      if (character != ' ')
        word += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
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

namespace {

// The reason for choices that name nothing, with the stores there are.
std::string UnknownChoiceReason(const std::u16string& choice,
                                const std::vector<messages::StoreFolders>& stores,
                                std::string_view where) {
  std::string shown;
  for (const messages::StoreFolders& store : stores) {
    shown += (shown.empty() ? "" : ", ") +
             platform::ToUtf8(messages::ShownStoreName(store.display_name));
  }
  return "--folders " + platform::ToUtf8(choice) + ": no such store or folder " +
         std::string(where) + " (stores: " + shown + ")";
}

std::vector<std::u16string> WideChoices(const std::vector<std::string>& choices) {
  std::vector<std::u16string> wide;
  for (const std::string& choice : choices) wide.push_back(platform::FromUtf8(choice));
  return wide;
}

}  // namespace

bool ChooseMessageFolders(const platform::Device& device, const std::vector<std::string>& choices,
                          engine::MessagesOption* option, std::string* error) {
  option->exclusions.clear();
  if (choices.empty()) return true;
  std::vector<messages::StoreFolders> stores;
  if (platform::Failed(messages::ListMessageFolders(device, &stores))) {
    *error = "--folders: the message stores cannot be read";
    return false;
  }
  std::vector<std::u16string> unknown;
  option->exclusions = messages::ExclusionsKeeping(stores, WideChoices(choices), &unknown);
  if (unknown.empty()) return true;
  *error = UnknownChoiceReason(unknown.front(), stores, "on the device");
  return false;
}

bool ChooseRestoreFolders(const platform::Device& device, std::u16string_view record_file,
                          char16_t separator, const std::vector<std::string>& choices,
                          engine::MessagesOption* option, std::string* error) {
  option->restore_folders.clear();
  if (choices.empty()) return true;
  std::vector<messages::StoreFolders> stores;
  if (platform::Failed(messages::ListMessageFolders(device, &stores))) {
    *error = "--folders: the message stores cannot be read";
    return false;
  }
  // A file the restore will refuse names nothing; the restore says why.
  messages::RecordFileSurvey survey;
  messages::SurveyRecordFile(device, record_file, separator, &survey);
  std::vector<std::u16string> unknown;
  option->restore_folders =
      messages::InclusionsOf(stores, survey.folders, WideChoices(choices), &unknown);
  if (unknown.empty()) return true;
  *error = UnknownChoiceReason(unknown.front(), stores, "on the device or in the file");
  return false;
}

}  // namespace kestrav::cli
