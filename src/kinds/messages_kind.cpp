#include "kinds/rows.h"
#include "kinds/texts.h"
#include "messages/message_folders.h"
#include "messages/messages_worker.h"

namespace kestrav::kinds {

// The window's "Delete All..." menu has no messages entry.
const KindRow kMessagesRow = {
    .kind = engine::ItemKind::kMessages,
    .make_worker = [](const platform::Device& device) -> std::unique_ptr<engine::KindWorker> {
      return std::make_unique<messages::MessagesWorker>(device);
    },
    .delete_all = nullptr,
    .count_items =
        [](const platform::Device& device) {
          return messages::CountMessages(device, messages::FolderChoice(engine::MessagesOption{}));
        },
    .menu_label = {},
    .delete_confirm = {},
    .delete_confirm_caption = {},
    .deletion_caption = {},
    .deletion_label = {},
    .restore_options_title = texts::kMessagesOptionsTitle,
    .restore_options = {texts::kMessagesDeleteAllFirst, texts::kMessagesAddOnlyNew},
};

}  // namespace kestrav::kinds
