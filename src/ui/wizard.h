// The backup and restore flows across the wizard's pages. A backup goes from the action page to
// the file page, then to the status page while it runs. A restore stays on the action page: its
// "Browse" (or the file manager) gives the file, whose kinds come checked; "Options" opens each
// checked kind's restore options in turn; "Next >>" starts it. Every check before a job has its
// message box; the jobs are those of kestrav-cli, run through the window's StartJob (the busy
// flag, the job lock, the snapshot before a restore, the backup replaced only once whole).
#pragma once

#include <QMessageBox>
#include <QObject>
#include <QString>
#include <deque>
#include <optional>
#include <vector>

#include "engine/restore_pass.h"
#include "kinds/contacts_import.h"
#include "kinds/jobs.h"
#include "platform/device.h"
#include "settings/schedule.h"

class QStackedWidget;
class QWidget;

namespace kestrav::ui {

class ActionPage;
class FilePage;
class MainWindow;
class MessagesFoldersPage;
class RestoreOptionsPage;

class Wizard : public QObject {
  Q_OBJECT

 public:
  Wizard(const platform::Device& device, MainWindow* window, QStackedWidget* backup_restore,
         ActionPage* action_page, FilePage* file_page, MessagesFoldersPage* messages_page,
         RestoreOptionsPage* options_page, kinds::FrontEnd front_end);

  // A file to restore, from the file manager or Browse: its kinds checked on the action page, in
  // restore mode. A ".csv" or ".txt" file opens the contact fields page; once its map is
  // accepted the file stands on the action page as the contacts to restore, its mode chosen with
  // "Options" as for any restore. Any other file that is neither a backup nor a record file gets
  // its box and is not kept.
  void OpenForRestore(const QString& path);
  // Escape on a wizard page: "<< Back" on the file page, leaving the options page as it is.
  // False when the page in view has nothing to go back to.
  bool Escape();
  // What the schedule saves along with its own page: the folder, kinds, attachments, compression
  // and message folders chosen in the wizard now.
  settings::ScheduleChoice ScheduleChoice() const;
  // The restore entries of the file chosen, each with its mode.
  const std::vector<engine::RestoreEntry>& entries() const { return entries_; }

 private:
  void OnActionChanged(bool restore);
  void OnBrowse();
  void OnOptions();
  void OnActionNext();
  void OnFileNext();
  void OnKindChosen(engine::ItemKind kind, engine::RestoreMode mode);
  void OpenNextOptions();
  void ShowActionPage();
  // The file chosen for a restore on the action page, the kinds of its entries checked.
  void ShowFileToRestore(const QString& path, std::vector<engine::RestoreEntry> entries);
  // The restore's kinds: those checked that the file holds, in the list's order.
  std::vector<engine::ItemKind> KindsToRestore() const;
  // A message box of the handheld's; true when the answer is Yes.
  bool Box(QMessageBox::Icon icon, std::u16string_view title, const std::u16string& text,
           bool yes_no = false);
  void StartBackup(const std::u16string& archive);
  void StartRestore(const std::vector<engine::ItemKind>& kinds);

  // The folder browser for the file page's folder, the schedule page with the wizard's choices,
  // and the contact fields page for a file of contacts to import.
  void BrowseFolder();
  void OpenSchedulePage();
  void ImportContacts(const QString& path);

  const platform::Device& device_;
  MainWindow* window_;
  QStackedWidget* backup_restore_;
  ActionPage* action_page_;
  FilePage* file_page_;
  MessagesFoldersPage* messages_page_;
  RestoreOptionsPage* options_page_;
  kinds::FrontEnd front_end_;

  std::u16string restore_file_;
  // The file of another program's contacts chosen for the restore, with its map.
  std::optional<kinds::ContactsImport> import_;
  std::vector<engine::RestoreEntry> entries_;
  std::deque<engine::ItemKind> options_to_open_;
};

}  // namespace kestrav::ui
