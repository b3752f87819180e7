#include "ui/status_page.h"

#include <QCloseEvent>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>
#include <limits>

namespace kestrav::ui {
namespace {

constexpr char16_t kBackupTitle[] = u"Kestrav status";
constexpr char16_t kRestoreTitle[] = u"PIM restore status";

// The bars count in int; a range beyond it (an archive member of 2 GiB or more) is counted in
// halves, so the bar keeps its proportion.
void SetBar(QProgressBar* bar, bool* halved, std::uint32_t position,
            std::optional<std::uint32_t> upper_bound) {
  constexpr std::uint32_t kLargest = std::numeric_limits<int>::max();
  if (upper_bound) {
    *halved = *upper_bound > kLargest;
    bar->setRange(0, static_cast<int>(*halved ? *upper_bound / 2 : *upper_bound));
  }
  const std::uint32_t value = *halved ? position / 2 : std::min(position, kLargest);
  bar->setValue(std::min(static_cast<int>(value), bar->maximum()));
}

QProgressBar* MakeBar(const char* id, const QString& accessible_name, QWidget* parent) {
  auto* bar = new QProgressBar(parent);
  bar->setObjectName(QString::fromLatin1(id));
  bar->setAccessibleName(accessible_name);
  bar->setRange(0, 100);  // a fresh bar's range until the job gives one
  bar->setValue(0);
  bar->setTextVisible(false);
  bar->setMaximumHeight(bar->fontMetrics().height());
  return bar;
}

}  // namespace

StatusPage::StatusPage(QWidget* parent)
    : QWidget(parent),
      title_(new QLabel(QString::fromStdU16String(kBackupTitle), this)),
      log_(new QTreeView(this)),
      item_bar_(MakeBar("1045", QStringLiteral("Item progress"), this)),
      overall_bar_(MakeBar("1046", QStringLiteral("Overall progress"), this)),
      model_(new StatusModel(this)) {
  title_->setObjectName(QStringLiteral("1020"));
  title_->setAccessibleName(QStringLiteral("Status title"));
  title_->setWordWrap(true);

  log_->setObjectName(QStringLiteral("1044"));
  log_->setAccessibleName(QStringLiteral("Status log"));
  log_->setModel(model_);
  // A flat list whose rows all have one height: the view need not measure 100,000 of them.
  log_->setRootIsDecorated(false);
  log_->setItemsExpandable(false);
  log_->setUniformRowHeights(true);
  log_->setAllColumnsShowFocus(true);
  log_->setSelectionBehavior(QAbstractItemView::SelectRows);
  log_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  log_->setTextElideMode(Qt::ElideNone);
  log_->header()->setStretchLastSection(false);
  log_->header()->setSectionsMovable(false);

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(4, 4, 4, 4);
  layout->setSpacing(4);
  layout->addWidget(title_);
  layout->addWidget(log_, 1);
  layout->addWidget(item_bar_);
  layout->addWidget(overall_bar_);
}

void StatusPage::BeginJob(bool is_backup) {
  title_->setText(QString::fromStdU16String(is_backup ? kBackupTitle : kRestoreTitle));
  model_->Clear();
  SetBar(item_bar_, &item_bar_halved_, 0, 100);
  SetBar(overall_bar_, &overall_bar_halved_, 0, 100);
}

void StatusPage::AddRow(const engine::LogRow& row) {
  model_->Append(row);
  if (row.last) {
    ShowPendingRows();
    FitColumns();
  }
}

void StatusPage::SetItemProgress(std::uint32_t position, std::optional<std::uint32_t> upper_bound) {
  SetBar(item_bar_, &item_bar_halved_, position, upper_bound);
}

void StatusPage::SetOverallProgress(std::uint32_t position,
                                    std::optional<std::uint32_t> upper_bound) {
  SetBar(overall_bar_, &overall_bar_halved_, position, upper_bound);
}

void StatusPage::ShowPendingRows() {
  if (model_->Commit()) log_->scrollToBottom();
}

void StatusPage::FitColumns() {
  // Each column as wide as the wider of its contents and its header, drawn once at the end.
  log_->setUpdatesEnabled(false);
  for (int column = 0; column < StatusModel::kColumnCount; ++column)
    log_->resizeColumnToContents(column);
  log_->setUpdatesEnabled(true);
}

void StatusPage::closeEvent(QCloseEvent* event) {
  emit Closed();
  QWidget::closeEvent(event);
}

}  // namespace kestrav::ui
