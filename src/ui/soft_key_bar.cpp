#include "ui/soft_key_bar.h"

#include <QHBoxLayout>
#include <QMenu>
#include <QPushButton>

#include "platform/device.h"
#include "ui/texts.h"

namespace kestrav::ui {

SoftKeyBar::SoftKeyBar(int os_major_version, QMenu* options_menu, QWidget* parent)
    : QWidget(parent), os_major_version_(os_major_version) {
  setObjectName("SoftKeyBar");
  setAccessibleName("Soft keys");
  left_key_ = new QPushButton(QString::fromUtf16(texts::kExit), this);
  left_key_->setObjectName("57665");
  left_key_->setAccessibleName(left_key_->text());
  options_key_ = new QPushButton(QString::fromUtf16(texts::kOptionsMenu), this);
  options_key_->setObjectName("OptionsKey");
  options_key_->setAccessibleName(options_key_->text());
  options_key_->setMenu(options_menu);
  for (QPushButton* key : {left_key_, options_key_}) key->setAutoDefault(false);
  connect(left_key_, &QPushButton::clicked, this, &SoftKeyBar::LeftPressed);
  new QHBoxLayout(this);
  layout()->setContentsMargins(0, 0, 0, 0);
  RestoreLayout();
}

QString SoftKeyBar::LeftText() const {
  return left_key_->text();
}

void SoftKeyBar::SetLeftText(const QString& text) {
  left_key_->setText(text);
  left_key_->setAccessibleName(text);
}

void SoftKeyBar::RestoreLayout() {
  auto* row = static_cast<QHBoxLayout*>(layout());
  while (row->count() > 0) delete row->takeAt(0);
  if (os_major_version_ < platform::kWindowsMobile2005) {
    // The menu bar of Windows Mobile 2003 SE: the popup, then the command, packed to the left.
    row->addWidget(options_key_);
    row->addWidget(left_key_);
    row->addStretch(1);
  } else {
    row->addWidget(left_key_, 1);
    row->addWidget(options_key_, 1);
  }
}

}  // namespace kestrav::ui
