#include "ui/status_model.h"

#include <QApplication>
#include <QStyle>
#include <algorithm>

namespace kestrav::ui {

StatusModel::StatusModel(QObject* parent)
    : QAbstractTableModel(parent),
      information_icon_(QApplication::style()->standardIcon(QStyle::SP_MessageBoxInformation)),
      error_icon_(QApplication::style()->standardIcon(QStyle::SP_MessageBoxCritical)) {}

int StatusModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(committed_rows_);
}

int StatusModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumnCount;
}

QVariant StatusModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const Row& row = rows_[index.row()];
  if (role == Qt::DisplayRole || role == Qt::AccessibleTextRole) {
    if (index.column() == kTimeColumn) {
      const std::size_t length =
          std::find(row.time.begin(), row.time.end(), u'\0') - row.time.begin();
      return QString::fromUtf16(row.time.data(), static_cast<qsizetype>(length));
    }
    return row.text;
  }
  if (role == Qt::DecorationRole && index.column() == kTimeColumn)
    return row.icon == engine::LogIcon::kError ? error_icon_ : information_icon_;
  return {};
}

QVariant StatusModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  if (section == kTimeColumn) return QStringLiteral("Time");
  if (section == kStatusColumn) return QStringLiteral("Status");
  return {};
}

void StatusModel::Append(const engine::LogRow& row) {
  Row kept{{}, row.icon, QString::fromStdU16String(row.text)};
  std::copy_n(row.time.begin(), std::min(row.time.size(), kept.time.size()), kept.time.begin());
  rows_.push_back(std::move(kept));
}

bool StatusModel::Commit() {
  if (!HasUncommittedRows()) return false;
  beginInsertRows({}, static_cast<int>(committed_rows_), static_cast<int>(rows_.size()) - 1);
  committed_rows_ = rows_.size();
  endInsertRows();
  return true;
}

void StatusModel::Clear() {
  beginResetModel();
  rows_.clear();
  rows_.shrink_to_fit();
  committed_rows_ = 0;
  endResetModel();
}

}  // namespace kestrav::ui
