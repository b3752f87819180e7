#include "ui/restore_options_page.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "kinds/kinds.h"
#include "ui/texts.h"

namespace kestrav::ui {
namespace {

QString Text(std::u16string_view text) {
  return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

RestoreOptionsPage::RestoreOptionsPage(QWidget* parent) : QWidget(parent) {
  setAccessibleName(Text(texts::kOptionsTab));
  title_ = new QLabel(this);
  title_->setObjectName("1020");
  QFont bold = title_->font();
  bold.setBold(true);
  title_->setFont(bold);
  title_->setWordWrap(true);
  auto* group = new QButtonGroup(this);
  const auto choice = [this, group](const char* id) {
    auto* button = new QRadioButton(this);
    button->setObjectName(id);
    group->addButton(button);
    return button;
  };
  delete_all_first_ = choice("1006");
  add_only_new_ = choice("1010");
  add_new_and_update_ = choice("1007");
  allow_duplicates_ = choice("1008");
  ok_ = new QPushButton("&" + Text(texts::kOkButton), this);
  ok_->setObjectName("1");
  ok_->setAccessibleName(Text(texts::kOkButton));

  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(ok_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(title_);
  for (QRadioButton* button :
       {delete_all_first_, add_only_new_, add_new_and_update_, allow_duplicates_}) {
    // The kinds' texts are long; the handheld's screen is narrow.
    button->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    layout->addWidget(button);
  }
  layout->addStretch(1);
  layout->addLayout(buttons);
  connect(ok_, &QPushButton::clicked, this, &RestoreOptionsPage::Accept);
  Close();
}

void RestoreOptionsPage::Open(engine::ItemKind kind, engine::RestoreMode mode) {
  const kinds::KindRow* row = kinds::FindKind(kind);
  if (row == nullptr) return Close();
  kind_ = kind;
  mode_ = mode;
  title_->setText(Text(row->restore_options_title));
  title_->setAccessibleName(title_->text());
  QRadioButton* buttons[] = {delete_all_first_, add_only_new_, add_new_and_update_,
                             allow_duplicates_};
  for (std::size_t index = 0; index < std::size(buttons); ++index) {
    const std::u16string_view text = row->restore_options[index];
    buttons[index]->setText(Text(text));
    buttons[index]->setAccessibleName(Text(text));
    // A narrow window cuts the longer texts short; the tip shows them whole.
    buttons[index]->setToolTip(Text(text));
    buttons[index]->setVisible(!text.empty());
  }
  delete_all_first_->setChecked(true);
  ok_->setEnabled(true);
}

void RestoreOptionsPage::Close() {
  kind_.reset();
  title_->setText(Text(texts::kNoKindToRestore));
  title_->setAccessibleName(title_->text());
  for (QRadioButton* button :
       {delete_all_first_, add_only_new_, add_new_and_update_, allow_duplicates_})
    button->hide();
  ok_->setEnabled(false);
}

engine::RestoreMode RestoreOptionsPage::ModeOfChoice() const {
  if (add_new_and_update_->isChecked()) return engine::RestoreMode::kAddNewAndUpdate;
  if (add_only_new_->isChecked()) return engine::RestoreMode::kAddOnlyNew;
  // The handheld tests 1010 a second time here, where 1008 was meant: never true by now.
  if (add_only_new_->isChecked()) return engine::RestoreMode::kAllowDuplicates;
  return mode_;
}

void RestoreOptionsPage::Accept() {
  if (!kind_) return;
  emit Chosen(*kind_, ModeOfChoice());
}

void RestoreOptionsPage::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
    Accept();
    return;
  }
  QWidget::keyPressEvent(event);
}

}  // namespace kestrav::ui
