#include "devicedb/call_logs.h"
#include "devicedb/texts.h"
#include "kinds/rows.h"
#include "kinds/texts.h"

namespace kestrav::kinds {

const KindRow kCallLogsRow = {
    .kind = engine::ItemKind::kCallLogs,
    .make_worker = [](const platform::Device& device) -> std::unique_ptr<engine::KindWorker> {
      return std::make_unique<devicedb::CallLogWorker>(device);
    },
    .delete_all =
        [](const platform::Device& device, devicedb::DeletionProgress& progress) {
          return DeleteAllRecords(device, devicedb::PimDatabase::kCallLogs, progress,
                                  devicedb::texts::kCallLogDeleted,
                                  devicedb::texts::kCallLogsDeleted);
        },
    .count_items =
        [](const platform::Device& device) {
          return CountRecords(device, devicedb::kCallLogDatabase);
        },
    .menu_label = texts::kCallLogsMenu,
    .delete_confirm = texts::kCallLogsDeleteConfirm,
    .delete_confirm_caption = texts::kCallLogsDeleteConfirmCaption,
    .deletion_caption = texts::kCallLogsDeletionCaption,
    .deletion_label = texts::kCallLogsDeletionLabel,
    .restore_options_title = texts::kCallLogsOptionsTitle,
    .restore_options = {texts::kCallLogsDeleteAllFirst, texts::kCallLogsAddOnlyNew},
};

}  // namespace kestrav::kinds
