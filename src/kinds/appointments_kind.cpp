#include "kinds/rows.h"
#include "kinds/texts.h"
#include "outlook/appointments.h"

namespace kestrav::kinds {

const KindRow kAppointmentsRow = {
    .kind = engine::ItemKind::kAppointments,
    .make_worker = [](const platform::Device& device) -> std::unique_ptr<engine::KindWorker> {
      return std::make_unique<outlook::AppointmentsWorker>(device);
    },
    .delete_all = [](const platform::Device& device,
                     devicedb::DeletionProgress& progress) -> std::optional<std::u16string> {
      const std::optional<std::uint32_t> deleted = outlook::DeleteAllAppointments(device, progress);
      if (!deleted) return std::nullopt;
      return outlook::AppointmentsDeletedText(*deleted);
    },
    .count_items = outlook::CountAppointments,
    .menu_label = texts::kAppointmentsMenu,
    .delete_confirm = texts::kAppointmentsDeleteConfirm,
    .delete_confirm_caption = texts::kAppointmentsDeleteConfirmCaption,
    .deletion_caption = texts::kAppointmentsDeletionCaption,
    .deletion_label = texts::kAppointmentsDeletionLabel,
    .deletion_result_shown = true,
    .restore_options_title = texts::kAppointmentsOptionsTitle,
    .restore_options = {texts::kAppointmentsDeleteAllFirst, texts::kAppointmentsAddOnlyNew,
                        texts::kAppointmentsAddNewAndUpdate},
};

}  // namespace kestrav::kinds
