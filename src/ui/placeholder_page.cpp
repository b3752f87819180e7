#include "ui/placeholder_page.h"

#include <QLabel>
#include <QVBoxLayout>

#include "ui/texts.h"

namespace kestrav::ui {

PlaceholderPage::PlaceholderPage(const QString& name, QWidget* parent) : QWidget(parent) {
  setAccessibleName(name);
  auto* notice = new QLabel(QString::fromUtf16(texts::kPageToCome), this);
  notice->setWordWrap(true);
  file_label_ = new QLabel(this);
  file_label_->setObjectName("FileToRestore");
  file_label_->setWordWrap(true);
  file_label_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  file_label_->hide();
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(notice);
  layout->addWidget(file_label_);
  layout->addStretch(1);
}

void PlaceholderPage::OpenForRestore(const QString& path) {
  file_to_restore_ = path;
  file_label_->setText(QString::fromUtf16(texts::kFileToRestore).arg(path));
  file_label_->show();
}

}  // namespace kestrav::ui
