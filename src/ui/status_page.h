// The "Status" tab: the job's title (1020), its log (1044) and the item (1045) and overall (1046)
// progress bars. A job's sink fills it; the page keeps up with 100,000 rows because it shows new
// rows in batches (ShowPendingRows, once a repaint), not once a row.
#pragma once

#include <QWidget>
#include <cstdint>
#include <optional>

#include "engine/progress_sink.h"
#include "ui/status_model.h"

class QLabel;
class QProgressBar;
class QTreeView;

namespace kestrav::ui {

class StatusPage : public QWidget {
  Q_OBJECT

 public:
  explicit StatusPage(QWidget* parent = nullptr);

  // A new job: its title, an empty log and empty bars.
  void BeginJob(bool is_backup);
  // A row of the log, shown at the next ShowPendingRows or at once when it is the job's last
  // line, after which the columns fit the wider of their contents and headers.
  void AddRow(const engine::LogRow& row);
  // A bar's new position, and its new range first when one is given.
  void SetItemProgress(std::uint32_t position, std::optional<std::uint32_t> upper_bound);
  void SetOverallProgress(std::uint32_t position, std::optional<std::uint32_t> upper_bound);
  // Shows the rows that wait for the next repaint now.
  void ShowPendingRows();

  const StatusModel& model() const { return *model_; }

 signals:
  // The page was closed: its job's later reports go nowhere.
  void Closed();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void FitColumns();

  QLabel* title_;
  QTreeView* log_;
  QProgressBar* item_bar_;
  QProgressBar* overall_bar_;
  bool item_bar_halved_ = false;
  bool overall_bar_halved_ = false;
  StatusModel* model_;
};

}  // namespace kestrav::ui
