// The "Messages Folders" tab: the device's message stores and their folders as a tree with check
// boxes (1035, "Inbox(12)" and the like, every one checked at first), the line above it (1036)
// that says whether they are chosen for a backup or a restore, and "Backup attachments (if they
// exist)" (1042), which asks first. What is left unchecked is left out of the job.
#pragma once

#include <QWidget>

#include "engine/messages_option.h"
#include "platform/device.h"

class QCheckBox;
class QLabel;
class QTreeWidget;
class QTreeWidgetItem;

namespace kestrav::ui {

class MessagesFoldersPage : public QWidget {
  Q_OBJECT

 public:
  explicit MessagesFoldersPage(const platform::Device& device, QWidget* parent = nullptr);

  // Lists the device's stores and folders the first time it is called, all checked.
  void Load();
  void SetRestore(bool restore);
  // The stores and folders left unchecked, as the job leaves them out, and the attachments
  // choice.
  engine::MessagesOption Option() const;
  bool store_attachments() const;

 private:
  void AddFolders(QTreeWidgetItem* store_item, const std::u16string& store,
                  const std::vector<platform::MessageFolderRow>& folders);
  void CollectLeftOut(const QTreeWidgetItem* item,
                      std::vector<engine::FolderExclusion>* left_out) const;
  void OnAttachmentsClicked(bool checked);

  const platform::Device& device_;
  bool loaded_ = false;
  QLabel* prompt_;
  QTreeWidget* tree_;
  QCheckBox* attachments_;
};

}  // namespace kestrav::ui
