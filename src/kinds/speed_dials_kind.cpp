#include "devicedb/speed_dials.h"
#include "devicedb/texts.h"
#include "kinds/rows.h"
#include "kinds/texts.h"

namespace kestrav::kinds {

const KindRow kSpeedDialsRow = {
    .kind = engine::ItemKind::kSpeedDials,
    .make_worker = [](const platform::Device& device) -> std::unique_ptr<engine::KindWorker> {
      return std::make_unique<devicedb::SpeedDialWorker>(device);
    },
    .delete_all =
        [](const platform::Device& device, devicedb::DeletionProgress& progress) {
          return DeleteAllRecords(device, devicedb::PimDatabase::kSpeedDials, progress,
                                  devicedb::texts::kSpeedDialDeleted,
                                  devicedb::texts::kSpeedDialsDeleted);
        },
    .count_items =
        [](const platform::Device& device) {
          return CountRecords(device, devicedb::kSpeedDialDatabase);
        },
    .menu_label = texts::kSpeedDialsMenu,
    .delete_confirm = texts::kSpeedDialsDeleteConfirm,
    .delete_confirm_caption = texts::kSpeedDialsDeleteConfirmCaption,
    .deletion_caption = texts::kSpeedDialsDeletionCaption,
    .deletion_label = texts::kSpeedDialsDeletionLabel,
    .restore_options_title = texts::kSpeedDialsOptionsTitle,
    .restore_options = {texts::kSpeedDialsDeleteAllFirst, texts::kSpeedDialsAddOnlyNew},
};

}  // namespace kestrav::kinds
