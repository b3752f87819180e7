#include "kinds/rows.h"
#include "kinds/texts.h"
#include "outlook/contacts.h"

namespace kestrav::kinds {

const KindRow kContactsRow = {
    .kind = engine::ItemKind::kContacts,
    .make_worker = [](const platform::Device& device) -> std::unique_ptr<engine::KindWorker> {
      return std::make_unique<outlook::ContactsWorker>(device);
    },
    .delete_all = [](const platform::Device& device,
                     devicedb::DeletionProgress& progress) -> std::optional<std::u16string> {
      const std::optional<std::uint32_t> deleted = outlook::DeleteAllContacts(device, progress);
      if (!deleted) return std::nullopt;
      return outlook::ContactsDeletedText(*deleted);
    },
    .count_items = outlook::CountContacts,
    .menu_label = texts::kContactsMenu,
    .delete_confirm = texts::kContactsDeleteConfirm,
    .delete_confirm_caption = texts::kContactsDeleteConfirmCaption,
    .deletion_caption = texts::kContactsDeletionCaption,
    .deletion_label = texts::kContactsDeletionLabel,
    .deletion_result_shown = true,
    .restore_options_title = texts::kContactsOptionsTitle,
    .restore_options = {texts::kContactsDeleteAllFirst, texts::kContactsAddOnlyNew,
                        texts::kContactsAddNewAndUpdate, texts::kContactsAllowDuplicates},
};

}  // namespace kestrav::kinds
