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

namespace kestrav::ui {

// What a message box showed, once it was answered.
struct BoxSeen {
  QString title;
  QString text;
  bool answered = false;
};

// Clicks `button` on the next message box that shows, and keeps what it said.
inline std::shared_ptr<BoxSeen> AnswerNextBox(QMessageBox::StandardButton button) {
  auto seen = std::make_shared<BoxSeen>();
  auto* timer = new QTimer(qApp);
  QObject::connect(timer, &QTimer::timeout, [seen, timer, button] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr) return;
    timer->stop();
    timer->deleteLater();
    seen->title = box->windowTitle();
    seen->text = box->text();
    seen->answered = true;
    box->button(button)->click();
  });
  timer->start(5);
  return seen;
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
