#include "ui/main_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QShortcut>
#include <QStackedWidget>
#include <QTabWidget>
#include <QVBoxLayout>

#include "engine/device_job.h"
#include "kinds/start_up.h"
#include "platform/format.h"
#include "settings/file_types.h"
#include "settings/schedule.h"
#include "ui/about_page.h"
#include "ui/action_page.h"
#include "ui/deletion_dialog.h"
#include "ui/file_page.h"
#include "ui/messages_folders_page.h"
#include "ui/restore_options_page.h"
#include "ui/schedule_page.h"
#include "ui/soft_key_bar.h"
#include "ui/status_page.h"
#include "ui/texts.h"
#include "ui/wizard.h"

namespace kestrav::ui {
namespace {

// The "Delete All..." submenu: the kinds in its order, each with its command id.
struct DeleteAllItem {
  engine::ItemKind kind;
  int command;
};
constexpr DeleteAllItem kDeleteAllItems[] = {
    {engine::ItemKind::kAppointments, 32787}, {engine::ItemKind::kCallLogs, 32788},
    {engine::ItemKind::kContacts, 32783},     {engine::ItemKind::kSpeedDials, 32784},
    {engine::ItemKind::kTasks, 32785},
};

// The command line opened once the window stands (the timer with id 1 on the handheld).
constexpr int kCommandLineDelayMilliseconds = 0;

constexpr char16_t kWaitingForJob[] = u"Waiting for %s to end (at most %d s)...";
constexpr char16_t kMarkedRows[] = u"rows with the error icon";

QString Text(std::u16string_view text) {
  return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

QString Id(int command) {
  return QString::number(command);
}

// The command line as a path: blanks around it and the quotes of the open command taken off.
QString CommandLinePath(const QString& command_line) {
  QString path = command_line.trimmed();
  if (path.startsWith(u'"')) {
    const qsizetype end = path.indexOf(u'"', 1);
    path = end < 0 ? path.mid(1) : path.mid(1, end - 1);
  }
  return path;
}

}  // namespace

MainWindow::MainWindow(const platform::Device& device, int os_major_version, QString command_line,
                       kinds::FrontEnd front_end, QWidget* parent)
    : QMainWindow(parent),
      device_(device),
      os_major_version_(os_major_version),
      command_line_(std::move(command_line)),
      front_end_(std::move(front_end)) {
  setWindowTitle("Kestrav");
  setObjectName("MainWindow");
  front_end_.marked_rows = kMarkedRows;
  front_end_.undo_command = texts::kUndoWayBack;

  tabs_ = new QTabWidget(this);
  tabs_->setObjectName("Tabs");
  tabs_->setAccessibleName("Pages");
  tabs_->setDocumentMode(true);
  tabs_->setUsesScrollButtons(true);
  // "Backup-Restore" holds the action page and, for a backup, the file page after it.
  auto* backup_restore = new QStackedWidget(tabs_);
  backup_restore->setObjectName("BackupRestorePage");
  backup_restore->setAccessibleName(Text(texts::kBackupRestoreTab));
  action_page_ = new ActionPage(backup_restore);
  action_page_->setObjectName("ActionPage");
  file_page_ = new FilePage(device_, backup_restore);
  file_page_->setObjectName("FilePage");
  backup_restore->addWidget(action_page_);
  backup_restore->addWidget(file_page_);
  tabs_->addTab(backup_restore, Text(texts::kBackupRestoreTab));
  messages_folders_page_ = new MessagesFoldersPage(device_, tabs_);
  messages_folders_page_->setObjectName("MessagesFoldersPage");
  tabs_->addTab(messages_folders_page_, Text(texts::kMessagesFoldersTab));
  restore_options_page_ = new RestoreOptionsPage(tabs_);
  restore_options_page_->setObjectName("OptionsPage");
  tabs_->addTab(restore_options_page_, Text(texts::kOptionsTab));
  schedule_page_ = new SchedulePage(device_, tabs_);
  tabs_->addTab(schedule_page_, Text(texts::kScheduleTab));
  // Saved or left, the schedule page goes back to the wizard, with the soft keys as they were.
  for (const auto leave : {&SchedulePage::Validated, &SchedulePage::Back}) {
    connect(schedule_page_, leave, this, [this] {
      if (!busy_) soft_keys_->RestoreLayout();
      ShowTab(Tab::kBackupRestore);
    });
  }
  status_page_ = new StatusPage(tabs_);
  tabs_->addTab(status_page_, Text(texts::kStatusTab));
  about_page_ = new AboutPage(tabs_);
  tabs_->addTab(about_page_, Text(texts::kAboutTab));
  connect(tabs_, &QTabWidget::currentChanged, this, [this](int index) {
    // Leaving the About page by its tab is as its "Ok"; reaching it by its tab, as "About...".
    const QString left = soft_keys_->LeftText();
    if (index == static_cast<int>(Tab::kAbout) && left == Text(texts::kExit)) {
      soft_keys_->SetLeftText(Text(texts::kOk));
    } else if (index != static_cast<int>(Tab::kAbout) && left == Text(texts::kOk)) {
      soft_keys_->SetLeftText(Text(texts::kExit));
    }
    if (index != static_cast<int>(Tab::kAbout)) main_tab_ = static_cast<Tab>(index);
    // The stores are read once the user looks at them, not at every start.
    if (index == static_cast<int>(Tab::kMessagesFolders)) messages_folders_page_->Load();
  });
  wizard_ = new Wizard(device_, this, backup_restore, action_page_, file_page_,
                       messages_folders_page_, restore_options_page_, front_end_);

  BuildMenu();
  soft_keys_ = new SoftKeyBar(os_major_version_, options_menu_, this);
  connect(soft_keys_, &SoftKeyBar::LeftPressed, this, &MainWindow::ExitCommand);
  // Escape leaves the About page as its "Ok" does, and goes back a wizard page; it never cancels
  // a job or ends the program.
  connect(new QShortcut(QKeySequence::Cancel, this), &QShortcut::activated, this, [this] {
    if (soft_keys_->LeftText() == Text(texts::kOk)) {
      ExitCommand();
      return;
    }
    wizard_->Escape();
  });

  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(tabs_, 1);
  layout->addWidget(soft_keys_);
  setCentralWidget(central);

  job_runner_ = new JobRunner(status_page_, device_.clock(), this);
  connect(job_runner_, &JobRunner::Finished, this, &MainWindow::OnJobFinished);

  command_line_timer_.setSingleShot(true);
  command_line_timer_.setInterval(kCommandLineDelayMilliseconds);
  connect(&command_line_timer_, &QTimer::timeout, this, &MainWindow::OpenCommandLineFile);
  command_line_timer_.start();

  // The handheld's screen is the least the window needs; the desktop may give it more.
  resize(QSize(240, 320).expandedTo(minimumSizeHint()));
}

MainWindow::~MainWindow() {
  // A deletion runs to its end; its reports to the dialog go nowhere once the window is gone.
  if (deletion_.joinable()) deletion_.join();
}

void MainWindow::BuildMenu() {
  QAction* exit = menuBar()->addAction(Text(texts::kExit));
  exit->setObjectName(Id(kExitCommand));
  connect(exit, &QAction::triggered, this, &MainWindow::ExitCommand);

  options_menu_ = menuBar()->addMenu("&" + Text(texts::kOptionsMenu));
  options_menu_->setObjectName("128");
  QAction* backup_restore = options_menu_->addAction(Text(texts::kBackupRestoreItem));
  backup_restore->setObjectName(Id(kBackupRestoreCommand));
  connect(backup_restore, &QAction::triggered, this, [this] { ShowTab(Tab::kBackupRestore); });

  QMenu* delete_all = options_menu_->addMenu(Text(texts::kDeleteAllItem));
  delete_all->setObjectName("DeleteAll");
  for (const DeleteAllItem& item : kDeleteAllItems) {
    const kinds::KindRow* row = kinds::FindKind(item.kind);
    if (row == nullptr || row->delete_all == nullptr) continue;
    QAction* action = delete_all->addAction(Text(row->menu_label));
    action->setObjectName(Id(item.command));
    connect(action, &QAction::triggered, this, [this, row] { DeleteAll(*row); });
  }

  clear_schedule_ = options_menu_->addAction(Text(texts::kClearScheduleItem));
  clear_schedule_->setObjectName(Id(kClearScheduleCommand));
  connect(clear_schedule_, &QAction::triggered, this, [this] { settings::ClearSchedule(device_); });

  create_shortcut_ = options_menu_->addAction(Text(texts::kCreateShortcutItem));
  create_shortcut_->setObjectName(Id(kCreateShortcutCommand));
  create_shortcut_->setCheckable(true);
  connect(create_shortcut_, &QAction::triggered, this, [this](bool now_checked) {
    // The action has already flipped its mark: the toggle goes by the mark the popup showed.
    settings::ToggleShortcut(device_, !now_checked);
  });

  undo_ = options_menu_->addAction(Text(texts::kUndoItem));
  undo_->setObjectName("Undo");
  connect(undo_, &QAction::triggered, this, &MainWindow::Undo);

  QAction* about = options_menu_->addAction(Text(texts::kAboutItem));
  about->setObjectName(Id(kAboutCommand));
  connect(about, &QAction::triggered, this, &MainWindow::ShowAbout);

  connect(options_menu_, &QMenu::aboutToShow, this, &MainWindow::UpdateOptionsMenu);
  UpdateOptionsMenu();
}

void MainWindow::UpdateOptionsMenu() {
  create_shortcut_->setChecked(settings::IsShortcutChecked(device_));
  const std::optional<std::u16string> job_to_undo = kinds::JobToUndo(device_);
  undo_->setText(job_to_undo ? Text(platform::Format(texts::kUndoJobItem, *job_to_undo))
                             : Text(texts::kUndoItem));
  undo_->setEnabled(job_to_undo.has_value() && !busy_);
  platform::Notifications* notifications = device_.notifications();
  clear_schedule_->setEnabled(
      notifications != nullptr &&
      settings::FindScheduleNotification(device_, notifications->ProgramPath()).has_value());
}

void MainWindow::OpenCommandLineFile() {
  const QString path = CommandLinePath(command_line_);
  if (path.isEmpty()) return;
  // A relative path is the file manager's folder's; a path that names no file is ignored.
  const QString absolute = QFileInfo(path).absoluteFilePath();
  if (device_.files().FileExists(absolute.toStdU16String())) wizard_->OpenForRestore(absolute);
}

void MainWindow::ShowTab(Tab tab) {
  tabs_->setCurrentIndex(static_cast<int>(tab));
}

Tab MainWindow::CurrentTab() const {
  return static_cast<Tab>(tabs_->currentIndex());
}

void MainWindow::ExitCommand() {
  const QString text = soft_keys_->LeftText();
  if (text == Text(texts::kExit)) {
    if (!busy_) close();
    return;
  }
  if (text == Text(texts::kCancel)) job_runner_->Cancel();
  ReturnToMainPage();
}

void MainWindow::ReturnToMainPage() {
  soft_keys_->SetLeftText(Text(texts::kExit));
  soft_keys_->RestoreLayout();
  ShowTab(main_tab_);
}

void MainWindow::ShowAbout() {
  const bool job_running = soft_keys_->LeftText() == Text(texts::kCancel);
  ShowTab(Tab::kAbout);
  // While a job runs the left key stays its Cancel.
  if (!job_running) soft_keys_->SetLeftText(Text(texts::kOk));
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (busy_) {
    event->ignore();
    return;
  }
  event->accept();
}

bool MainWindow::StartJob(bool is_backup, Job job) {
  if (busy_) return false;
  const bool started = job_runner_->Start(
      is_backup,
      [this, job = std::move(job)](engine::ProgressSink* sink, engine::CancelFlag* cancel) {
        // A job that waits for another says so on the page, and Cancel ends its wait.
        kinds::FrontEnd front_end = front_end_;
        front_end.wait_seconds = kinds::ScheduledWaitSeconds();
        front_end.waiting = [sink](const platform::JobHolder& holder, int seconds) {
          engine::PostLog(sink,
                          platform::Format(kWaitingForJob, engine::JobHolderText(holder), seconds),
                          engine::LogIcon::kInformation);
        };
        return job(sink, cancel, front_end);
      });
  if (!started) return false;
  busy_ = true;
  soft_keys_->SetLeftText(Text(texts::kCancel));
  ShowTab(Tab::kStatus);
  return true;
}

void MainWindow::OnJobFinished(const JobOutcome& outcome) {
  busy_ = false;
  if (soft_keys_->LeftText() == Text(texts::kCancel)) {
    soft_keys_->SetLeftText(Text(texts::kExit));
    soft_keys_->RestoreLayout();
  }
  if (!outcome.failure.empty()) ShowFailure(outcome.failure, outcome.failure_title);
  emit JobEnded();
}

void MainWindow::ShowFailure(const std::u16string& failure, const std::u16string& title) {
  QMessageBox box(QMessageBox::Warning, title.empty() ? windowTitle() : Text(title), Text(failure),
                  QMessageBox::Ok, this);
  box.setObjectName("FailureBox");
  box.exec();
}

void MainWindow::Undo() {
  const std::optional<std::u16string> job_to_undo = kinds::JobToUndo(device_);
  if (busy_ || !job_to_undo) return;
  QMessageBox confirm(QMessageBox::Question, Text(texts::kUndoItem),
                      Text(platform::Format(texts::kUndoConfirm, *job_to_undo)),
                      QMessageBox::Yes | QMessageBox::No, this);
  confirm.setObjectName("UndoConfirm");
  confirm.setDefaultButton(QMessageBox::No);
  if (confirm.exec() != QMessageBox::Yes) return;
  StartJob(false, [&device = device_](engine::ProgressSink* sink, engine::CancelFlag* cancel,
                                      const kinds::FrontEnd& front_end) {
    const kinds::UndoOutcome outcome = kinds::RunUndo(device, cancel, front_end);
    if (!outcome.done.empty())
      engine::PostLog(sink, outcome.done, engine::LogIcon::kInformation, true);
    return kinds::JobOutcome{false, outcome.failure};
  });
}

void MainWindow::DeleteAll(const kinds::KindRow& row) {
  if (busy_) return;
  QMessageBox confirm(QMessageBox::Question, Text(row.delete_confirm_caption),
                      Text(row.delete_confirm), QMessageBox::Yes | QMessageBox::No, this);
  confirm.setObjectName("DeleteConfirm");
  confirm.setDefaultButton(QMessageBox::No);
  if (confirm.exec() != QMessageBox::Yes) return;
  // The box's own loop may have let a job start meanwhile.
  if (busy_) return;
  busy_ = true;
  deletion_dialog_ = new DeletionDialog(Text(row.deletion_caption), Text(row.deletion_label), this);
  if (deletion_.joinable()) deletion_.join();
  deletion_ =
      std::thread([this, &row, progress = &deletion_dialog_->progress(), front_end = front_end_] {
        const kinds::DeletionOutcome outcome =
            kinds::RunDeleteAll(device_, row, *progress, front_end);
        QMetaObject::invokeMethod(
            this, [this, &row, outcome] { OnDeletionEnded(row, outcome); }, Qt::QueuedConnection);
      });
}

void MainWindow::OnDeletionEnded(const kinds::KindRow& row, const kinds::DeletionOutcome& outcome) {
  deletion_.join();
  // The dialog's last reports are queued before this: it has hidden by now.
  deletion_dialog_->deleteLater();
  deletion_dialog_ = nullptr;
  busy_ = false;
  if (outcome.result && row.deletion_result_shown) {
    QMessageBox box(QMessageBox::Information, Text(row.deletion_caption), Text(*outcome.result),
                    QMessageBox::Ok, this);
    box.setObjectName("DeletionResult");
    box.exec();
  }
  if (!outcome.failure.empty()) ShowFailure(outcome.failure);
  emit DeletionEnded();
}

}  // namespace kestrav::ui
