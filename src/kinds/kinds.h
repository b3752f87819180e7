// The kinds of data as both front ends know them: one row a kind, with the kind's worker, its
// "Delete All..." deletion and the texts the window shows for it. The front ends reach the kinds
// only through this table, so a new kind is its worker and one row (README, "Adding a kind").
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "devicedb/pim_volume.h"
#include "engine/backup_job.h"
#include "engine/item_kind.h"
#include "engine/kind_worker.h"
#include "platform/device.h"

namespace kestrav::kinds {

// "Delete All..." of one kind: deletes every item under the deletion dialog, posting no rows.
// A kind without the entry (messages) has none, and no texts for it.
// The message shown at the end, or nothing when the kind's store could not be reached.
using DeleteAll = std::optional<std::u16string> (*)(const platform::Device& device,
                                                    devicedb::DeletionProgress& progress);

struct KindRow {
  engine::ItemKind kind;
  std::unique_ptr<engine::KindWorker> (*make_worker)(const platform::Device& device);
  DeleteAll delete_all;
  // The items of the kind on the device; nothing when its store cannot be reached.
  std::optional<std::uint64_t> (*count_items)(const platform::Device& device);
  std::u16string_view menu_label;              // the "Delete All..." entry: "Call Logs"
  std::u16string_view delete_confirm;          // "Are you sure you want to delete all Call Logs? "
  std::u16string_view delete_confirm_caption;  // "Call Logs delete confirm"
  std::u16string_view deletion_caption;        // the deletion dialog's: "Call Logs deletion"
  std::u16string_view deletion_label;          // "Call Logs deletion in progress..."
  // Whether the window shows the deletion's message in a box at its end: the Outlook kinds do,
  // the databases of "\pim.vol" show none.
  bool deletion_result_shown = false;
  std::u16string_view restore_options_title;  // "Restore call logs options"
  // The restore options page's choice for each RestoreMode; empty for a mode the kind does not
  // offer.
  std::array<std::u16string_view, 4> restore_options;
};

// The kinds this build backs up and restores, in the order the window lists them.
std::span<const KindRow> AllKinds();
// The kind's row; null for a kind this build has no worker for.
const KindRow* FindKind(engine::ItemKind kind);

// The kind's worker on the device; null for a kind without a row, or a device without stores.
std::unique_ptr<engine::KindWorker> MakeWorker(const platform::Device& device,
                                               engine::ItemKind kind);
// MakeWorker for the engine's passes.
engine::KindWorkerFactory WorkerFactory(const platform::Device& device);

// The items a restore deletes from the device before it adds the file's, when the kind is
// restored "delete all first": every item of the kind, or for messages those of the folders
// restored. Nothing when the store cannot be reached or the kind is restored another way.
std::optional<std::uint64_t> CountItemsDeletedFirst(
    const platform::Device& device, const engine::BackupJob::PreparedRestore& restore,
    char16_t separator);

// Whether the kind's restore options offer the mode.
bool OffersMode(engine::ItemKind kind, engine::RestoreMode mode);

}  // namespace kestrav::kinds
