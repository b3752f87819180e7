#include "ui/messages_folders_page.h"

#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <map>

#include "messages/message_folders.h"
#include "ui/texts.h"

namespace kestrav::ui {
namespace {

QString Text(std::u16string_view text) {
  return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

// Where a tree item keeps the store's display name and, for a folder, the folder's name.
constexpr int kStoreRole = Qt::UserRole;
constexpr int kFolderRole = Qt::UserRole + 1;

}  // namespace

MessagesFoldersPage::MessagesFoldersPage(const platform::Device& device, QWidget* parent)
    : QWidget(parent), device_(device) {
  setAccessibleName(Text(texts::kMessagesFoldersTab));
  prompt_ = new QLabel(Text(texts::kSelectFoldersToBackup), this);
  prompt_->setObjectName("1036");
  prompt_->setAccessibleName(prompt_->text());
  prompt_->setWordWrap(true);
  tree_ = new QTreeWidget(this);
  tree_->setObjectName("1035");
  tree_->setAccessibleName(Text(texts::kMessagesFoldersTab));
  tree_->setHeaderHidden(true);
  prompt_->setBuddy(tree_);
  attachments_ =
      new QCheckBox(Text(texts::kBackupAttachments).replace("attachments", "&attachments"), this);
  attachments_->setObjectName("1042");
  attachments_->setAccessibleName(Text(texts::kBackupAttachments));
  connect(attachments_, &QCheckBox::clicked, this, &MessagesFoldersPage::OnAttachmentsClicked);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(prompt_);
  layout->addWidget(tree_, 1);
  layout->addWidget(attachments_);
}

void MessagesFoldersPage::Load() {
  if (loaded_) return;
  loaded_ = true;
  std::vector<messages::StoreFolders> stores;
  // A device whose messages cannot be reached shows no store; its jobs say why.
  messages::ListMessageFolders(device_, &stores);
  for (const messages::StoreFolders& store : stores) {
    auto* item = new QTreeWidgetItem(tree_, {Text(messages::ShownStoreName(store.display_name))});
    item->setData(0, kStoreRole, Text(store.display_name));
    item->setFlags(item->flags() | Qt::ItemIsUserCheckable | Qt::ItemIsAutoTristate);
    item->setCheckState(0, Qt::Checked);
    AddFolders(item, store.display_name, store.folders);
  }
  tree_->expandAll();
  if (tree_->topLevelItemCount() > 0) tree_->setCurrentItem(tree_->topLevelItem(0));
}

void MessagesFoldersPage::AddFolders(QTreeWidgetItem* store_item, const std::u16string& store,
                                     const std::vector<platform::MessageFolderRow>& folders) {
  // The hierarchy comes depth first, so a folder's parent is always listed before it.
  std::map<platform::EntryId, QTreeWidgetItem*> items;
  for (const platform::MessageFolderRow& folder : folders) {
    const auto parent = items.find(folder.parent_id);
    QTreeWidgetItem* parent_item = parent == items.end() ? store_item : parent->second;
    auto* item = new QTreeWidgetItem(
        parent_item, {Text(messages::FolderLabel(folder.name, folder.message_count))});
    item->setData(0, kStoreRole, Text(store));
    item->setData(0, kFolderRole, Text(folder.name));
    item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
    item->setCheckState(0, Qt::Checked);
    if (parent_item != store_item)
      parent_item->setFlags(parent_item->flags() | Qt::ItemIsAutoTristate);
    items.emplace(folder.entry_id, item);
  }
}

void MessagesFoldersPage::SetRestore(bool restore) {
  prompt_->setText(Text(restore ? texts::kSelectFoldersToRestore : texts::kSelectFoldersToBackup));
  prompt_->setAccessibleName(prompt_->text());
}

void MessagesFoldersPage::CollectLeftOut(const QTreeWidgetItem* item,
                                         std::vector<engine::FolderExclusion>* left_out) const {
  if (item->checkState(0) == Qt::Unchecked) {
    const QVariant folder = item->data(0, kFolderRole);
    left_out->push_back(
        {item->data(0, kStoreRole).toString().toStdU16String(),
         folder.isValid() ? std::optional(folder.toString().toStdU16String()) : std::nullopt});
    return;
  }
  for (int index = 0; index < item->childCount(); ++index)
    CollectLeftOut(item->child(index), left_out);
}

engine::MessagesOption MessagesFoldersPage::Option() const {
  engine::MessagesOption option;
  option.store_attachments = attachments_->isChecked();
  for (int index = 0; index < tree_->topLevelItemCount(); ++index)
    CollectLeftOut(tree_->topLevelItem(index), &option.exclusions);
  return option;
}

bool MessagesFoldersPage::store_attachments() const {
  return attachments_->isChecked();
}

void MessagesFoldersPage::OnAttachmentsClicked(bool checked) {
  if (!checked) return;
  QMessageBox question(QMessageBox::Question, Text(texts::kBackupInfosCaption),
                       Text(texts::kAttachmentsWarning), QMessageBox::Yes | QMessageBox::No, this);
  question.setObjectName("BackupInfos");
  question.setDefaultButton(QMessageBox::No);
  if (question.exec() != QMessageBox::Yes) attachments_->setChecked(false);
}

}  // namespace kestrav::ui
