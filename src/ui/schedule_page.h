// The "Schedule" tab's page: the weekdays, the start time, "Turn off after backup", "Delete old
// backup files" with the number of files to keep, "Validate" and "<< Back". It opens with the
// schedule as settings::LoadSchedulePage reads it (each time it shows), and "Validate" saves
// it with settings::SaveSchedule, behind the device's job lock, as kestrav-cli's "schedule set"
// does, together with the wizard's current folder, kinds, attachments, compression and exclusions.
#pragma once

#include <QWidget>
#include <optional>

#include "platform/device.h"
#include "settings/schedule.h"

class QCheckBox;
class QLabel;
class QPushButton;
class QSpinBox;
class QTimeEdit;
class QTreeWidget;

namespace kestrav::ui {

class SchedulePage : public QWidget {
  Q_OBJECT

 public:
  SchedulePage(const platform::Device& device, QWidget* parent = nullptr);

  // What "Validate" saves along with the page's own choices: the wizard's current folder, kinds,
  // attachments, compression and exclusions. Until the wizard sets them, the page saves the
  // folder, kinds, attachments and compression of the schedule saved, or kestrav-cli's defaults
  // when none is (the default backup folder, every kind, compressed, no attachments).
  void SetWizardChoices(const settings::ScheduleChoice& wizard);

  // Fills the page from the schedule saved, as when it shows.
  void Load();
  // "Validate": saves, then says so; Validated once the box is answered.
  void Validate();

 signals:
  void Validated();
  void Back();

 protected:
  void setVisible(bool visible) override;
  void showEvent(QShowEvent* event) override;

 private:
  void Build();
  settings::ScheduleChoice Choice() const;
  void ShowFailure(const QString& text);

  const platform::Device& device_;
  std::optional<settings::ScheduleChoice> wizard_;

  QTreeWidget* days_ = nullptr;
  QTimeEdit* start_time_ = nullptr;
  QLabel* next_run_ = nullptr;
  QCheckBox* turn_off_ = nullptr;
  QCheckBox* delete_old_ = nullptr;
  QSpinBox* keep_files_ = nullptr;
  QPushButton* validate_ = nullptr;
  QPushButton* back_ = nullptr;
};

}  // namespace kestrav::ui
