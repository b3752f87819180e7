// The small dialog (137 x 27 dialog units) a "Delete All..." shows while the kind's deletion runs
// on its own thread: the kind's caption, its label ("Contacts deletion in progress...") and the
// progress bar 1001. The deletion reports through a DeletionProgress that any thread may call.
#pragma once

#include <QDialog>
#include <QString>
#include <cstdint>

#include "devicedb/pim_volume.h"

class QLabel;
class QProgressBar;

namespace kestrav::ui {

class DeletionDialog : public QDialog {
  Q_OBJECT

 public:
  DeletionDialog(const QString& caption, const QString& label, QWidget* parent = nullptr);

  // The deletion's progress, handed on to this dialog on its own thread.
  devicedb::DeletionProgress& progress() { return progress_; }

  QProgressBar* bar() const { return bar_; }

 public slots:
  // Only when there are records: the bar's range becomes 1..count and the dialog shows.
  void Start(std::uint32_t count);
  void SetPosition(std::uint32_t deleted);
  // Whatever happened: the dialog hides.
  void Finish();

 protected:
  // The deletion cannot be stopped halfway: Escape does not close the dialog.
  void reject() override {}

 private:
  class Progress : public devicedb::DeletionProgress {
   public:
    explicit Progress(DeletionDialog* dialog) : dialog_(dialog) {}
    void Start(std::uint32_t count) override;
    void SetPosition(std::uint32_t deleted) override;
    void Finish() override;

   private:
    DeletionDialog* dialog_;
  };

  QLabel* label_;
  QProgressBar* bar_;
  Progress progress_{this};
};

// A dialog's size in pixels for a size in dialog units of the font it shows: a unit is a quarter
// of the average character width across, an eighth of the character height down.
QSize DialogUnitsToPixels(const QFontMetrics& metrics, int width_units, int height_units);

}  // namespace kestrav::ui
