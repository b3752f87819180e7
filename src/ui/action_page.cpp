#include "ui/action_page.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "kinds/kinds.h"
#include "ui/texts.h"

namespace kestrav::ui {
namespace {

QString Text(std::u16string_view text) {
  return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

// The kind's icon: the desktop theme's, else a plain file.
QIcon KindIcon(engine::ItemKind kind, const QStyle* style) {
  const char* name = "text-x-generic";
  switch (kind) {
    case engine::ItemKind::kContacts:
      name = "x-office-address-book";
      break;
    case engine::ItemKind::kAppointments:
      name = "x-office-calendar";
      break;
    case engine::ItemKind::kTasks:
      name = "view-task";
      break;
    case engine::ItemKind::kCallLogs:
      name = "call-start";
      break;
    case engine::ItemKind::kSpeedDials:
      name = "call-outgoing";
      break;
    case engine::ItemKind::kMessages:
      name = "mail-message";
      break;
  }
  return QIcon::fromTheme(name, style->standardIcon(QStyle::SP_FileIcon));
}

}  // namespace

ActionPage::ActionPage(QWidget* parent) : QWidget(parent) {
  setAccessibleName(Text(texts::kBackupRestoreTab));
  auto* title = new QLabel(Text(texts::kUtilityTitle), this);
  title->setObjectName("1020");
  title->setAccessibleName(title->text());
  QFont bold = title->font();
  bold.setBold(true);
  title->setFont(bold);

  auto* action_label = new QLabel("&" + Text(texts::kActionLabel), this);
  action_label->setObjectName("1003");
  action_label->setAccessibleName(Text(texts::kActionLabel));
  action_ = new QComboBox(this);
  action_->setObjectName("1031");
  action_->setAccessibleName(Text(texts::kActionLabel));
  action_->addItems({Text(texts::kBackupAction), Text(texts::kRestoreAction)});
  action_label->setBuddy(action_);
  browse_ = new QPushButton("&" + Text(texts::kBrowse), this);
  browse_->setObjectName("1041");
  browse_->setAccessibleName(Text(texts::kBrowse));
  browse_->setEnabled(false);

  file_label_ = new QLabel(this);
  file_label_->setObjectName("FileToRestore");
  file_label_->setAccessibleName(Text(texts::kFileToRestoreName));
  file_label_->setWordWrap(true);
  file_label_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  file_label_->hide();

  kinds_ = new QTreeWidget(this);
  kinds_->setObjectName("1032");
  kinds_->setAccessibleName(Text(texts::kKindsHeader));
  kinds_->setColumnCount(1);
  kinds_->setHeaderLabels({Text(texts::kKindsHeader)});
  kinds_->setRootIsDecorated(false);
  kinds_->setSelectionBehavior(QAbstractItemView::SelectRows);
  kinds_->header()->setStretchLastSection(true);
  for (const kinds::KindRow& row : kinds::AllKinds()) {
    auto* item = new QTreeWidgetItem(kinds_, {Text(engine::KindInfo(row.kind).display_name)});
    item->setIcon(0, KindIcon(row.kind, style()));
    item->setData(0, Qt::UserRole, static_cast<unsigned>(row.kind));
    item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
    item->setCheckState(0, Qt::Unchecked);
  }
  // Space checks the current kind, as a click on its box does.
  kinds_->setCurrentItem(kinds_->topLevelItem(0));

  auto* next = new QPushButton("&" + Text(texts::kNext), this);
  next->setObjectName("1033");
  next->setAccessibleName(Text(texts::kNext));
  auto* options = new QPushButton("O&" + Text(texts::kOptionsButton).mid(1), this);
  options->setObjectName("1034");
  options->setAccessibleName(Text(texts::kOptionsButton));

  auto* action_row = new QHBoxLayout;
  action_row->addWidget(action_label);
  action_row->addWidget(action_, 1);
  action_row->addWidget(browse_);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(options);
  buttons->addStretch(1);
  buttons->addWidget(next);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(title);
  layout->addLayout(action_row);
  layout->addWidget(file_label_);
  layout->addWidget(kinds_, 1);
  layout->addLayout(buttons);
  setTabOrder(action_, browse_);
  setTabOrder(browse_, kinds_);
  setTabOrder(kinds_, options);
  setTabOrder(options, next);

  connect(action_, &QComboBox::currentIndexChanged, this, [this](int index) {
    browse_->setEnabled(index == 1);
    emit ActionChanged(index == 1);
  });
  connect(browse_, &QPushButton::clicked, this, &ActionPage::BrowsePressed);
  connect(next, &QPushButton::clicked, this, &ActionPage::NextPressed);
  connect(options, &QPushButton::clicked, this, &ActionPage::OptionsPressed);
}

bool ActionPage::is_restore() const {
  return action_->currentIndex() == 1;
}

void ActionPage::SetRestore(bool restore) {
  action_->setCurrentIndex(restore ? 1 : 0);
}

std::vector<engine::ItemKind> ActionPage::CheckedKinds() const {
  std::vector<engine::ItemKind> checked;
  for (int index = 0; index < kinds_->topLevelItemCount(); ++index) {
    const QTreeWidgetItem* item = kinds_->topLevelItem(index);
    if (item->checkState(0) == Qt::Checked)
      checked.push_back(static_cast<engine::ItemKind>(item->data(0, Qt::UserRole).toUInt()));
  }
  return checked;
}

void ActionPage::CheckOnly(const std::vector<engine::ItemKind>& kinds) {
  for (int index = 0; index < kinds_->topLevelItemCount(); ++index) {
    QTreeWidgetItem* item = kinds_->topLevelItem(index);
    const auto kind = static_cast<engine::ItemKind>(item->data(0, Qt::UserRole).toUInt());
    const bool checked = std::ranges::find(kinds, kind) != kinds.end();
    item->setCheckState(0, checked ? Qt::Checked : Qt::Unchecked);
  }
}

void ActionPage::ShowFileToRestore(const QString& path) {
  file_to_restore_ = path;
  file_label_->setText(QString::fromUtf16(texts::kFileToRestore).arg(path));
  file_label_->setVisible(!path.isEmpty());
}

void ActionPage::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
    emit NextPressed();
    return;
  }
  QWidget::keyPressEvent(event);
}

}  // namespace kestrav::ui
