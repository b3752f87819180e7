// The rows of the status page's log: the time, the icon and the text of each. Rows reach the
// model one by one but the view learns of them in batches (Commit), once per repaint at most,
// so a job that logs a row per item does not make the view lay itself out a row at a time.
#pragma once

#include <QAbstractTableModel>
#include <QIcon>
#include <QString>
#include <array>
#include <vector>

#include "engine/progress_sink.h"

namespace kestrav::ui {

class StatusModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kTimeColumn = 0, kStatusColumn = 1, kColumnCount = 2 };

  explicit StatusModel(QObject* parent = nullptr);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;

  // Keeps a row for the next Commit.
  void Append(const engine::LogRow& row);
  // Shows the rows appended since the last commit; false when there were none.
  bool Commit();
  bool HasUncommittedRows() const { return committed_rows_ < rows_.size(); }
  // Empties the log for the next job.
  void Clear();

  engine::LogIcon IconOf(int row) const { return rows_[row].icon; }

 private:
  // A row as kept: the time's eight characters inline, so a row costs one string.
  struct Row {
    std::array<char16_t, 8> time;
    engine::LogIcon icon;
    QString text;
  };

  std::vector<Row> rows_;
  std::size_t committed_rows_ = 0;
  QIcon information_icon_;
  QIcon error_icon_;
};

}  // namespace kestrav::ui
