// For the window's tests: answering the message boxes and file dialogs the window opens, as a
// user would, once they show.
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QTimer>
#include <functional>
#include <memory>
#include <vector>

namespace kestrav::ui {

// What a message box showed, once it was answered.
struct BoxSeen {
  QString title;
  QString text;
  QMessageBox::Icon icon = QMessageBox::NoIcon;
  bool answered = false;
};

// Clicks the buttons on the next message boxes that show, one a box, and keeps what each said.
inline std::vector<std::shared_ptr<BoxSeen>> AnswerBoxes(
    std::vector<QMessageBox::StandardButton> buttons) {
  std::vector<std::shared_ptr<BoxSeen>> seen;
  for (std::size_t index = 0; index < buttons.size(); ++index)
    seen.push_back(std::make_shared<BoxSeen>());
  auto* timer = new QTimer(qApp);
  auto next = std::make_shared<std::size_t>(0);
  QObject::connect(timer, &QTimer::timeout, [seen, timer, buttons, next] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr || !box->isVisible()) return;
    BoxSeen& answer = *seen[*next];
    answer.title = box->windowTitle();
    answer.text = box->text();
    answer.icon = box->icon();
    answer.answered = true;
    box->button(buttons[(*next)++])->click();
    if (*next == buttons.size()) {
      timer->stop();
      timer->deleteLater();
    }
  });
  timer->start(5);
  return seen;
}

// Clicks `button` on the next message box that shows, and keeps what it said.
inline std::shared_ptr<BoxSeen> AnswerNextBox(QMessageBox::StandardButton button) {
  return AnswerBoxes({button})[0];
}

// Calls `act` on the next modal dialog of type Dialog that shows.
template <typename Dialog>
void OnNextDialog(std::function<void(Dialog*)> act) {
  auto* timer = new QTimer(qApp);
  QObject::connect(timer, &QTimer::timeout, [timer, act] {
    auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
    if (dialog == nullptr) return;
    timer->stop();
    timer->deleteLater();
    act(dialog);
  });
  timer->start(5);
}

// Picks `file` in the next file dialog that shows.
inline void PickInNextFileDialog(const QString& file) {
  auto* timer = new QTimer(qApp);
  QObject::connect(timer, &QTimer::timeout, [timer, file] {
    auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
    if (dialog == nullptr) return;
    timer->stop();
    timer->deleteLater();
    dialog->selectFile(file);
    QMetaObject::invokeMethod(dialog, "accept");
  });
  timer->start(5);
}

}  // namespace kestrav::ui
