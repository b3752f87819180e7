// The folder browser: the device's folders as a tree under "My Device", in which the user picks
// a folder or creates one in place (the "&Options" / "New Folder" context menu, then the new
// folder's label). The folders listed, the name offered, the checks of the label and the creation
// are settings/folder_tree.h's; this dialog shows them.
#pragma once

#include <QDialog>
#include <string>

#include "platform/device.h"

class QDialogButtonBox;
class QMenu;
class QTimer;
class QTreeWidget;
class QTreeWidgetItem;

namespace kestrav::ui {

class FolderBrowser : public QDialog {
  Q_OBJECT

 public:
  // Opens with start_folder (a device path such as u"\\Storage Card\\Backups") selected, or its
  // deepest folder that exists; modal: exec() == Accepted when a folder was chosen.
  FolderBrowser(const platform::Device& device, std::u16string start_folder,
                QWidget* parent = nullptr);

  // The folder selected, a device path: u"\\" for "My Device".
  std::u16string chosen_folder() const;

  QTreeWidget* tree() const { return tree_; }
  // The folder item's context menu: the item is selected and, when it is a folder, the "&Options"
  // popup with "New Folder" shows at global_position.
  void ShowContextMenu(QTreeWidgetItem* item, const QPoint& global_position);
  // "New Folder" on a folder item: a child with the name offered, selected, its label open for
  // editing.
  void NewFolder(QTreeWidgetItem* parent);

 private:
  QTreeWidgetItem* AddItem(QTreeWidgetItem* parent, const std::u16string& name,
                           std::uint32_t attributes, bool created);
  void FillChildren(QTreeWidgetItem* item);
  std::u16string PathOf(const QTreeWidgetItem* item) const;
  void SelectStartFolder(std::u16string_view start_folder);
  void OnLabelEditEnded(bool canceled, const QString& text);
  void RemoveUncreatedFolder();
  void ShowError(const QString& caption, const QString& text);
  void UpdateOkButton();

  const platform::Device& device_;
  QTreeWidget* tree_;
  QDialogButtonBox* buttons_;
  // The folder whose label is being edited, until it is created or taken out.
  QTreeWidgetItem* new_item_ = nullptr;
  QTimer* uncreated_folder_timer_;
};

}  // namespace kestrav::ui
