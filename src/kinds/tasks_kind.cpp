#include "kinds/rows.h"
#include "kinds/texts.h"
#include "outlook/tasks.h"

namespace kestrav::kinds {

const KindRow kTasksRow = {
    .kind = engine::ItemKind::kTasks,
    .make_worker = [](const platform::Device& device) -> std::unique_ptr<engine::KindWorker> {
      return std::make_unique<outlook::TasksWorker>(device);
    },
    .delete_all = [](const platform::Device& device,
                     devicedb::DeletionProgress& progress) -> std::optional<std::u16string> {
      const std::optional<std::uint32_t> deleted = outlook::DeleteAllTasks(device, progress);
      if (!deleted) return std::nullopt;
      return outlook::TasksDeletedText(*deleted);
    },
    .count_items = outlook::CountTasks,
    .menu_label = texts::kTasksMenu,
    .delete_confirm = texts::kTasksDeleteConfirm,
    .delete_confirm_caption = texts::kTasksDeleteConfirmCaption,
    .deletion_caption = texts::kTasksDeletionCaption,
    .deletion_label = texts::kTasksDeletionLabel,
    .deletion_result_shown = true,
    .restore_options_title = texts::kTasksOptionsTitle,
    .restore_options = {texts::kTasksDeleteAllFirst, texts::kTasksAddOnlyNew,
                        texts::kTasksAddNewAndUpdate},
};

}  // namespace kestrav::kinds
