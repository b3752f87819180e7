// The "About" tab: the program's icon and name, what it does, and the program file's version.
#pragma once

#include <QWidget>

namespace kestrav::ui {

class AboutPage : public QWidget {
  Q_OBJECT

 public:
  explicit AboutPage(QWidget* parent = nullptr);
};

// The program file's version as the page shows it, "%u.%u.%u.%u": the project's version.
QString ProgramVersionText();

}  // namespace kestrav::ui
