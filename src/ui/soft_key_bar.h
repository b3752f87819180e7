// The soft-key bar at the window's foot: the left key is command 57665, reading "Exit" on the main
// pages, "Cancel" while a job runs and "Ok" on the About page; the right key opens the "Options"
// popup. Windows Mobile 2003 SE (below version 5) lays the keys out as a menu bar, the popup first;
// later versions as two soft keys sharing the width, the left key on the left.
#pragma once

#include <QWidget>

class QMenu;
class QPushButton;

namespace kestrav::ui {

class SoftKeyBar : public QWidget {
  Q_OBJECT

 public:
  SoftKeyBar(int os_major_version, QMenu* options_menu, QWidget* parent = nullptr);

  QString LeftText() const;
  void SetLeftText(const QString& text);
  // Lays the keys out again for the device's version, as after a job or the About page.
  void RestoreLayout();

  QPushButton* left_key() const { return left_key_; }
  QPushButton* options_key() const { return options_key_; }

 signals:
  void LeftPressed();

 private:
  int os_major_version_;
  QPushButton* left_key_;
  QPushButton* options_key_;
};

}  // namespace kestrav::ui
