// A tab whose page the next version builds ("Backup-Restore", "Messages Folders", "Options",
// "Schedule"). The Backup-Restore one keeps the file the command line opened for restore.
#pragma once

#include <QWidget>

class QLabel;

namespace kestrav::ui {

class PlaceholderPage : public QWidget {
  Q_OBJECT

 public:
  PlaceholderPage(const QString& name, QWidget* parent = nullptr);

  // A file chosen for restore (opened from the file manager), kept for the restore.
  void OpenForRestore(const QString& path);
  const QString& file_to_restore() const { return file_to_restore_; }

 private:
  QLabel* file_label_;
  QString file_to_restore_;
};

}  // namespace kestrav::ui
