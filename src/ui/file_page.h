// The second page of a backup: the folder (1038) and the name (1040) of the archive, "Browse"
// (1041) for the folder, "Set as default backup folder" (1047), "Compress backup" (1043),
// "Schedule" (1049), "<< Back" (1034) and "Next >>" (1033). Filled from the device's settings
// and today's date the first time it opens; "<< Back" and "Next >>" keep what the user typed.
#pragma once

#include <QWidget>
#include <string>

#include "platform/device.h"

class QCheckBox;
class QLineEdit;

namespace kestrav::ui {

class FilePage : public QWidget {
  Q_OBJECT

 public:
  explicit FilePage(const platform::Device& device, QWidget* parent = nullptr);

  // Fills the page as it opens: "DefDir" or "\Storage Card", today's "Kestrav_20070315", "Set as
  // default backup folder" checked when "DefDir" is set, "Compress backup" checked.
  void Fill();
  bool filled() const { return filled_; }

  std::u16string folder() const;
  void SetFolder(const std::u16string& folder);
  // The archive the page names: the folder, the name, and ".qbk" unless the name has it.
  std::u16string ArchiveFile() const;
  bool set_as_default() const;
  bool compress() const;

 signals:
  void BrowsePressed();
  void SchedulePressed();
  void BackPressed();
  void NextPressed();

 protected:
  // Enter is "Next >>", wherever the focus is on the page.
  void keyPressEvent(QKeyEvent* event) override;

 private:
  const platform::Device& device_;
  bool filled_ = false;
  QLineEdit* folder_;
  QLineEdit* name_;
  QCheckBox* set_as_default_;
  QCheckBox* compress_;
};

}  // namespace kestrav::ui
