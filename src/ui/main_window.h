// The program's one window: the six tabs (the wizard's pages among them), the menu with "Exit"
// (57665) and the "Options" popup, the soft-key bar, and the busy flag that keeps Exit and "Delete
// All..." still while a backup, restore or deletion runs. Jobs run through the status page's job
// runner; deletions on a thread of their own under the deletion dialog. The window holds no logic
// of its own: the jobs, the settings and the safeguards are those kestrav-cli calls.
#pragma once

#include <QMainWindow>
#include <QTimer>
#include <memory>
#include <thread>

#include "kinds/jobs.h"
#include "kinds/kinds.h"
#include "platform/device.h"
#include "ui/job_runner.h"

class QAction;
class QMenu;
class QTabWidget;

namespace kestrav::ui {

class AboutPage;
class ActionPage;
class DeletionDialog;
class FilePage;
class MessagesFoldersPage;
class SchedulePage;
class RestoreOptionsPage;
class SoftKeyBar;
class StatusPage;
class Wizard;

// The tabs, in the order the window shows them.
enum class Tab { kBackupRestore, kMessagesFolders, kOptions, kSchedule, kStatus, kAbout };

// The menu's command ids.
inline constexpr int kExitCommand = 57665;
inline constexpr int kAboutCommand = 57664;
inline constexpr int kBackupRestoreCommand = 32789;
inline constexpr int kClearScheduleCommand = 32791;
inline constexpr int kCreateShortcutCommand = 32790;

class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  // front_end names paths as the user reads them; the window adds how its jobs wait.
  MainWindow(const platform::Device& device, int os_major_version, QString command_line,
             kinds::FrontEnd front_end, QWidget* parent = nullptr);
  ~MainWindow() override;

  // Starts a backup or restore on the status page, with "Cancel" on the left key; false when a
  // job or a deletion runs. The job gets the window's front end (JobFrontEnd).
  using Job = std::function<kinds::JobOutcome(engine::ProgressSink*, engine::CancelFlag*,
                                              const kinds::FrontEnd&)>;
  bool StartJob(bool is_backup, Job job);
  bool busy() const { return busy_; }

  // The left soft key's command ("Exit", "Cancel" or "Ok", as it reads).
  void ExitCommand();
  void ShowTab(Tab tab);
  Tab CurrentTab() const;

  ActionPage* action_page() const { return action_page_; }
  FilePage* file_page() const { return file_page_; }
  MessagesFoldersPage* messages_folders_page() const { return messages_folders_page_; }
  RestoreOptionsPage* restore_options_page() const { return restore_options_page_; }
  Wizard* wizard() const { return wizard_; }
  SchedulePage* schedule_page() const { return schedule_page_; }
  StatusPage* status_page() const { return status_page_; }
  SoftKeyBar* soft_keys() const { return soft_keys_; }
  QMenu* options_menu() const { return options_menu_; }

 signals:
  // A job or a deletion ended and its boxes were answered.
  void JobEnded();
  void DeletionEnded();

 protected:
  // Closing by the frame is Exit: nothing while the busy flag is set.
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildMenu();
  void UpdateOptionsMenu();
  void OpenCommandLineFile();
  void ShowAbout();
  void ReturnToMainPage();
  void DeleteAll(const kinds::KindRow& row);
  void OnDeletionEnded(const kinds::KindRow& row, const kinds::DeletionOutcome& outcome);
  void OnJobFinished(const JobOutcome& outcome);
  void ShowFailure(const std::u16string& failure, const std::u16string& title = {});
  void Undo();

  const platform::Device& device_;
  int os_major_version_;
  QString command_line_;
  kinds::FrontEnd front_end_;
  bool busy_ = false;
  Tab main_tab_ = Tab::kBackupRestore;

  QTabWidget* tabs_;
  ActionPage* action_page_;
  FilePage* file_page_;
  MessagesFoldersPage* messages_folders_page_;
  RestoreOptionsPage* restore_options_page_;
  Wizard* wizard_;
  SchedulePage* schedule_page_;
  StatusPage* status_page_;
  AboutPage* about_page_;
  QMenu* options_menu_;
  QAction* clear_schedule_;
  QAction* create_shortcut_;
  QAction* undo_;
  SoftKeyBar* soft_keys_;
  JobRunner* job_runner_;
  QTimer command_line_timer_;

  DeletionDialog* deletion_dialog_ = nullptr;
  std::thread deletion_;
};

}  // namespace kestrav::ui
