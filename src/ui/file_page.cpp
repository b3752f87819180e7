#include "ui/file_page.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "engine/item_kind.h"
#include "kinds/jobs.h"
#include "platform/file_system.h"
#include "platform/text.h"
#include "settings/reg_key.h"
#include "settings/settings_keys.h"
#include "ui/texts.h"

namespace kestrav::ui {
namespace {

QString Text(std::u16string_view text) {
  return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

QPushButton* Button(const char* id, std::u16string_view text, const QString& with_mnemonic,
                    QWidget* parent) {
  auto* button = new QPushButton(with_mnemonic, parent);
  button->setObjectName(id);
  button->setAccessibleName(Text(text));
  return button;
}

}  // namespace

FilePage::FilePage(const platform::Device& device, QWidget* parent)
    : QWidget(parent), device_(device) {
  setAccessibleName(Text(texts::kBackupRestoreTab));
  auto* prompt = new QLabel(Text(texts::kSelectBackupFile), this);
  prompt->setObjectName("1036");
  prompt->setAccessibleName(prompt->text());
  prompt->setWordWrap(true);
  folder_ = new QLineEdit(this);
  folder_->setObjectName("1038");
  folder_->setAccessibleName(Text(texts::kBackupFolderName));
  prompt->setBuddy(folder_);
  name_ = new QLineEdit(this);
  name_->setObjectName("1040");
  name_->setAccessibleName(Text(texts::kBackupFileName));
  auto* browse = Button("1041", texts::kBrowse, "&" + Text(texts::kBrowse), this);
  set_as_default_ = new QCheckBox(Text(texts::kSetAsDefault).replace("default", "&default"), this);
  set_as_default_->setObjectName("1047");
  set_as_default_->setAccessibleName(Text(texts::kSetAsDefault));
  compress_ = new QCheckBox(Text(texts::kCompressBackup).replace("Compress", "Co&mpress"), this);
  compress_->setObjectName("1043");
  compress_->setAccessibleName(Text(texts::kCompressBackup));
  auto* schedule = Button("1049", texts::kScheduleButton, "&" + Text(texts::kScheduleButton), this);
  auto* back = Button("1034", texts::kBack, Text(texts::kBack).replace("Back", "&Back"), this);
  auto* next = Button("1033", texts::kNext, "&" + Text(texts::kNext), this);

  auto* folder_row = new QHBoxLayout;
  folder_row->addWidget(folder_, 1);
  folder_row->addWidget(browse);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(back);
  buttons->addStretch(1);
  buttons->addWidget(next);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(prompt);
  layout->addLayout(folder_row);
  layout->addWidget(name_);
  layout->addWidget(set_as_default_);
  layout->addWidget(compress_);
  layout->addWidget(schedule, 0, Qt::AlignLeft);
  layout->addStretch(1);
  layout->addLayout(buttons);
  setTabOrder(folder_, browse);
  setTabOrder(browse, name_);
  setTabOrder(name_, set_as_default_);
  setTabOrder(set_as_default_, compress_);
  setTabOrder(compress_, schedule);
  setTabOrder(schedule, back);
  setTabOrder(back, next);

  connect(browse, &QPushButton::clicked, this, &FilePage::BrowsePressed);
  connect(schedule, &QPushButton::clicked, this, &FilePage::SchedulePressed);
  connect(back, &QPushButton::clicked, this, &FilePage::BackPressed);
  connect(next, &QPushButton::clicked, this, &FilePage::NextPressed);
}

void FilePage::Fill() {
  const std::optional<std::u16string> default_folder = settings::ReadStringValue(
      device_.registry(), settings::kApplicationKey, settings::kDefaultFolderValue);
  folder_->setText(Text(kinds::DefaultBackupFolder(device_)));
  name_->setText(Text(kinds::DefaultArchiveName(device_)));
  set_as_default_->setChecked(default_folder && !default_folder->empty());
  compress_->setChecked(true);
  filled_ = true;
}

std::u16string FilePage::folder() const {
  return folder_->text().trimmed().toStdU16String();
}

void FilePage::SetFolder(const std::u16string& folder) {
  folder_->setText(Text(folder));
}

std::u16string FilePage::ArchiveFile() const {
  std::u16string name = name_->text().trimmed().toStdU16String();
  if (!platform::EqualsIgnoringAsciiCase(platform::ExtensionOf(name), engine::kArchiveExtension))
    name += engine::kArchiveExtension;
  return platform::WithTrailingSeparator(folder()) + name;
}

bool FilePage::set_as_default() const {
  return set_as_default_->isChecked();
}

bool FilePage::compress() const {
  return compress_->isChecked();
}

void FilePage::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
    emit NextPressed();
    return;
  }
  QWidget::keyPressEvent(event);
}

}  // namespace kestrav::ui
