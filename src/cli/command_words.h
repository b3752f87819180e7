// The kinds and restore modes as the command line names them.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/item_kind.h"
#include "engine/messages_option.h"
#include "platform/device.h"

namespace kestrav::cli {

// The kind's word without its spaces: "calllogs", "contacts", "speeddials".
std::string KindCommandWord(engine::ItemKind kind);
// A comma-separated list of kind words, in the order given, each once. False with the reason.
bool ParseKinds(std::string_view list, std::vector<engine::ItemKind>* kinds, std::string* error);
// "delete-all", "add-new", "add-update", "duplicates".
bool ParseRestoreMode(std::string_view name, engine::RestoreMode* mode);
// The names of the modes the kind offers, comma-separated: "delete-all, add-new".
std::string OfferedModeNames(engine::ItemKind kind);

// The kinds this build backs up and restores, in the order the window lists them.
std::vector<engine::ItemKind> KindsWithWorkers();
// Empty when this build backs up and restores the kind; otherwise the reason it is refused.
std::string NoWorkerReason(engine::ItemKind kind);

// The messages folders of --folders, each a shown store name ("Text Messages") or a store and a
// folder ("Text Messages/Inbox"), as the exclusions that leave only them in; none chosen leaves
// every folder in. False with the reason when a choice names nothing on the device.
bool ChooseMessageFolders(const platform::Device& device, const std::vector<std::string>& choices,
                          engine::MessagesOption* option, std::string* error);
// The messages folders of --folders for a restore from the record file, by inclusion: each choice
// as above, matched against the device's stores and folders and those the file holds, so that a
// folder the device lacks can be chosen. None chosen leaves the restore the folders the file
// holds. False with the reason when a choice names nothing of either.
bool ChooseRestoreFolders(const platform::Device& device, std::u16string_view record_file,
                          char16_t separator, const std::vector<std::string>& choices,
                          engine::MessagesOption* option, std::string* error);

}  // namespace kestrav::cli
