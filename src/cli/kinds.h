// The kinds and restore modes as the command line names them, and the workers this build has.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/item_kind.h"
#include "engine/kind_worker.h"
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

// The worker of a kind on the device; null for a kind this build cannot back up or restore yet.
std::unique_ptr<engine::KindWorker> MakeKindWorker(const platform::Device& device,
                                                   engine::ItemKind kind);
// The kinds that have a worker, in the order the window lists them.
std::vector<engine::ItemKind> KindsWithWorkers(const platform::Device& device);
// The reason a kind without a worker is refused.
std::string NoWorkerReason(engine::ItemKind kind);

}  // namespace kestrav::cli
