#include "ui/deletion_dialog.h"

#include <QFontMetrics>
#include <QLabel>
#include <QMetaObject>
#include <QProgressBar>
#include <QVBoxLayout>
#include <algorithm>
#include <limits>

namespace kestrav::ui {
namespace {

constexpr int kWidthUnits = 137;
constexpr int kHeightUnits = 27;

int BarValue(std::uint32_t value) {
  return static_cast<int>(std::min<std::uint32_t>(value, std::numeric_limits<int>::max()));
}

}  // namespace

QSize DialogUnitsToPixels(const QFontMetrics& metrics, int width_units, int height_units) {
  const int average_width =
      metrics.horizontalAdvance("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz") / 52;
  return {width_units * average_width / 4, height_units * metrics.height() / 8};
}

DeletionDialog::DeletionDialog(const QString& caption, const QString& label, QWidget* parent)
    : QDialog(parent) {
  setWindowTitle(caption);
  setObjectName("DeletionDialog");
  setAccessibleName(caption);
  setModal(true);
  label_ = new QLabel(label, this);
  label_->setObjectName("DeletionLabel");
  bar_ = new QProgressBar(this);
  bar_->setObjectName("1001");
  bar_->setAccessibleName(label);
  bar_->setTextVisible(false);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(label_);
  layout->addWidget(bar_);
  // The handheld's size as the least: the label and the bar never get squeezed below it.
  setMinimumSize(DialogUnitsToPixels(fontMetrics(), kWidthUnits, kHeightUnits)
                     .expandedTo(layout->minimumSize()));
}

void DeletionDialog::Start(std::uint32_t count) {
  bar_->setRange(1, BarValue(std::max<std::uint32_t>(count, 1)));
  bar_->setValue(1);
  show();
}

void DeletionDialog::SetPosition(std::uint32_t deleted) {
  bar_->setValue(BarValue(deleted));
}

void DeletionDialog::Finish() {
  hide();
}

// The deletion's thread hands each report on to the dialog's thread without waiting for it.
void DeletionDialog::Progress::Start(std::uint32_t count) {
  QMetaObject::invokeMethod(
      dialog_, [dialog = dialog_, count] { dialog->Start(count); }, Qt::QueuedConnection);
}

void DeletionDialog::Progress::SetPosition(std::uint32_t deleted) {
  QMetaObject::invokeMethod(
      dialog_, [dialog = dialog_, deleted] { dialog->SetPosition(deleted); }, Qt::QueuedConnection);
}

void DeletionDialog::Progress::Finish() {
  QMetaObject::invokeMethod(
      dialog_, [dialog = dialog_] { dialog->Finish(); }, Qt::QueuedConnection);
}

}  // namespace kestrav::ui
