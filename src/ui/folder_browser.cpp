#include "ui/folder_browser.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QShortcut>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "platform/text.h"
#include "settings/folder_tree.h"

namespace kestrav::ui {
namespace {

// What each item keeps besides its label.
constexpr int kNameRole = Qt::UserRole;
constexpr int kAttributesRole = Qt::UserRole + 1;
constexpr int kCreatedRole = Qt::UserRole + 2;  // false for a new folder not made yet
constexpr int kFilledRole = Qt::UserRole + 3;   // its children are listed

constexpr char16_t kTitle[] = u"Backup folder";

QString Text(std::u16string_view text) {
  return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

// Keeps a label edit's text out of the tree and tells how the edit ended: with the text typed
// (Enter, or leaving the edit) or cancelled (Escape). The item takes the text only once its
// folder is made.
class LabelDelegate : public QStyledItemDelegate {
 public:
  using Ended = std::function<void(bool canceled, const QString& text)>;
  LabelDelegate(Ended ended, QObject* parent)
      : QStyledItemDelegate(parent), ended_(std::move(ended)) {
    connect(this, &QAbstractItemDelegate::closeEditor, this, [this] {
      const bool canceled = !committed_;
      const QString text = text_;
      committed_ = false;
      text_.clear();
      // The boxes come once the editor is gone.
      QMetaObject::invokeMethod(
          this, [this, canceled, text] { ended_(canceled, text); }, Qt::QueuedConnection);
    });
  }

  void setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex&) const override {
    committed_ = true;
    text_ = static_cast<QLineEdit*>(editor)->text();
  }

 private:
  Ended ended_;
  mutable bool committed_ = false;
  mutable QString text_;
};

}  // namespace

FolderBrowser::FolderBrowser(const platform::Device& device, std::u16string start_folder,
                             QWidget* parent)
    : QDialog(parent), device_(device) {
  setWindowTitle(Text(kTitle));
  setObjectName("FolderBrowser");
  setAccessibleName(Text(kTitle));
  setModal(true);

  tree_ = new QTreeWidget(this);
  tree_->setObjectName("FolderTree");
  tree_->setAccessibleName("Folders");
  tree_->setHeaderHidden(true);
  tree_->setColumnCount(1);
  tree_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  tree_->setItemDelegate(new LabelDelegate(
      [this](bool canceled, const QString& text) { OnLabelEditEnded(canceled, text); }, tree_));
  tree_->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(tree_, &QWidget::customContextMenuRequested, this, [this](const QPoint& position) {
    QTreeWidgetItem* item = tree_->itemAt(position);
    if (item != nullptr) ShowContextMenu(item, tree_->viewport()->mapToGlobal(position));
  });
  // The context menu from the keyboard, on the selected folder.
  auto* menu_key = new QShortcut(QKeySequence(Qt::SHIFT | Qt::Key_F10), tree_);
  menu_key->setContext(Qt::WidgetShortcut);
  connect(menu_key, &QShortcut::activated, this, [this] {
    if (QTreeWidgetItem* item = tree_->currentItem())
      ShowContextMenu(item, tree_->viewport()->mapToGlobal(tree_->visualItemRect(item).center()));
  });
  connect(tree_, &QTreeWidget::itemExpanded, this, &FolderBrowser::FillChildren);
  connect(tree_, &QTreeWidget::currentItemChanged, this, &FolderBrowser::UpdateOkButton);

  buttons_ = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  buttons_->setObjectName("FolderBrowserButtons");
  buttons_->button(QDialogButtonBox::Ok)->setAccessibleName("OK");
  buttons_->button(QDialogButtonBox::Cancel)->setAccessibleName("Cancel");
  connect(buttons_, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(tree_, 1);
  layout->addWidget(buttons_);

  uncreated_folder_timer_ = new QTimer(this);
  uncreated_folder_timer_->setObjectName(QString::number(settings::kUncreatedFolderTimerId));
  uncreated_folder_timer_->setInterval(settings::kUncreatedFolderTimerMilliseconds);
  uncreated_folder_timer_->setSingleShot(true);
  connect(uncreated_folder_timer_, &QTimer::timeout, this, &FolderBrowser::RemoveUncreatedFolder);

  // The root stands for "\": it has no name of its own in the paths below it.
  platform::FileAttributeData root;
  device_.files().GetAttributes(u"\\", &root);
  QTreeWidgetItem* my_device = AddItem(nullptr, u"", root.attributes, true);
  my_device->setText(0, Text(settings::kMyDevice));
  my_device->setIcon(0, style()->standardIcon(QStyle::SP_ComputerIcon));
  SelectStartFolder(start_folder);
  resize(QSize(240, 320).expandedTo(minimumSizeHint()));
}

QTreeWidgetItem* FolderBrowser::AddItem(QTreeWidgetItem* parent, const std::u16string& name,
                                        std::uint32_t attributes, bool created) {
  auto* item = parent == nullptr ? new QTreeWidgetItem(tree_) : new QTreeWidgetItem(parent);
  item->setText(0, Text(name));
  item->setData(0, kNameRole, Text(name));
  item->setData(0, kAttributesRole, attributes);
  item->setData(0, kCreatedRole, created);
  item->setData(0, kFilledRole, false);
  item->setIcon(0, style()->standardIcon(QStyle::SP_DirIcon));
  item->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
  return item;
}

void FolderBrowser::FillChildren(QTreeWidgetItem* item) {
  if (item->data(0, kFilledRole).toBool() || !item->data(0, kCreatedRole).toBool()) return;
  item->setData(0, kFilledRole, true);
  for (const settings::FolderItem& folder : settings::ChildFolders(device_.files(), PathOf(item))) {
    AddItem(item, folder.name, folder.attributes, true);
  }
  item->setChildIndicatorPolicy(QTreeWidgetItem::DontShowIndicatorWhenChildless);
}

std::u16string FolderBrowser::PathOf(const QTreeWidgetItem* item) const {
  if (item->parent() == nullptr) return {};
  return settings::ChildPath(PathOf(item->parent()),
                             item->data(0, kNameRole).toString().toStdU16String());
}

void FolderBrowser::SelectStartFolder(std::u16string_view start_folder) {
  QTreeWidgetItem* item = tree_->topLevelItem(0);
  // Down the device path's folders while they are in the tree; a host path stays at the root.
  std::u16string_view rest = platform::IsHostPath(start_folder) ? u"" : start_folder;
  while (!rest.empty()) {
    while (!rest.empty() && platform::IsPathSeparator(rest.front())) rest.remove_prefix(1);
    std::size_t end = 0;
    while (end < rest.size() && !platform::IsPathSeparator(rest[end])) ++end;
    const std::u16string_view name = rest.substr(0, end);
    rest.remove_prefix(end);
    if (name.empty()) break;
    FillChildren(item);
    QTreeWidgetItem* child = nullptr;
    for (int index = 0; index < item->childCount() && child == nullptr; ++index) {
      const std::u16string child_name =
          item->child(index)->data(0, kNameRole).toString().toStdU16String();
      if (platform::EqualsIgnoringAsciiCase(child_name, name)) child = item->child(index);
    }
    if (child == nullptr) break;
    item->setExpanded(true);
    item = child;
  }
  tree_->topLevelItem(0)->setExpanded(true);
  tree_->setCurrentItem(item);
  tree_->scrollToItem(item);
}

std::u16string FolderBrowser::chosen_folder() const {
  const QTreeWidgetItem* item = tree_->currentItem();
  if (item == nullptr || item->parent() == nullptr) return u"\\";
  return PathOf(item);
}

void FolderBrowser::ShowContextMenu(QTreeWidgetItem* item, const QPoint& global_position) {
  tree_->setCurrentItem(item);
  const std::uint32_t attributes = item->data(0, kAttributesRole).toUInt();
  if ((attributes & platform::kAttributeDirectory) == 0) return;
  QMenu menu(Text(settings::kFolderOptionsMenu), this);
  menu.setObjectName("FolderOptions");
  QAction* new_folder = menu.addAction(Text(settings::kNewFolderCommand));
  new_folder->setObjectName("NewFolder");
  if (menu.exec(global_position) == new_folder) NewFolder(item);
}

void FolderBrowser::NewFolder(QTreeWidgetItem* parent) {
  // One new folder at a time: one still waiting to be taken out goes now.
  if (new_item_ != nullptr) RemoveUncreatedFolder();
  FillChildren(parent);
  parent->setExpanded(true);
  new_item_ = AddItem(parent, settings::NewFolderName(device_.files(), PathOf(parent)), 0, false);
  new_item_->setChildIndicatorPolicy(QTreeWidgetItem::DontShowIndicator);
  new_item_->setFlags(new_item_->flags() | Qt::ItemIsEditable);
  tree_->setCurrentItem(new_item_);
  tree_->editItem(new_item_, 0);
}

void FolderBrowser::OnLabelEditEnded(bool canceled, const QString& text) {
  if (new_item_ == nullptr) return;
  QTreeWidgetItem* parent = new_item_->parent();
  const settings::LabelEditEnd end =
      settings::EndLabelEdit(PathOf(parent), canceled, text.toStdU16String());
  switch (end.step) {
    case settings::LabelEditEnd::Step::kCanceled:
      uncreated_folder_timer_->start();
      return;
    case settings::LabelEditEnd::Step::kInvalidName:
      ShowError(Text(end.box.caption), Text(end.box.text));
      uncreated_folder_timer_->start();
      return;
    case settings::LabelEditEnd::Step::kConfirm:
      break;
  }
  QMessageBox question(QMessageBox::Question, Text(end.box.caption), Text(end.box.text),
                       QMessageBox::Yes | QMessageBox::No, this);
  question.setObjectName("FolderCreationQuestion");
  if (question.exec() != QMessageBox::Yes) {
    tree_->setCurrentItem(parent);
    delete new_item_;
    new_item_ = nullptr;
    return;
  }
  const settings::FolderCreation creation = settings::CreateNewFolder(device_.files(), end.path);
  if (!creation.created) {
    ShowError(Text(creation.error.caption), Text(creation.error.text));
    uncreated_folder_timer_->start();
    return;
  }
  new_item_->setText(0, text);
  new_item_->setData(0, kNameRole, text);
  new_item_->setData(0, kAttributesRole, creation.attributes);
  new_item_->setData(0, kCreatedRole, true);
  new_item_->setFlags(new_item_->flags() & ~Qt::ItemIsEditable);
  new_item_->setChildIndicatorPolicy(QTreeWidgetItem::DontShowIndicatorWhenChildless);
  new_item_ = nullptr;
  UpdateOkButton();
}

void FolderBrowser::RemoveUncreatedFolder() {
  uncreated_folder_timer_->stop();
  if (new_item_ == nullptr) return;
  tree_->setCurrentItem(new_item_->parent());
  delete new_item_;
  new_item_ = nullptr;
}

void FolderBrowser::ShowError(const QString& caption, const QString& text) {
  QMessageBox box(QMessageBox::Critical, caption, text, QMessageBox::Ok, this);
  box.setObjectName("FolderError");
  box.exec();
  tree_->setFocus();
}

void FolderBrowser::UpdateOkButton() {
  // A new folder can be chosen once it is made.
  const QTreeWidgetItem* item = tree_->currentItem();
  buttons_->button(QDialogButtonBox::Ok)
      ->setEnabled(item != nullptr && item->data(0, kCreatedRole).toBool());
}

}  // namespace kestrav::ui
