// kestrav-screenshots FOLDER: pictures of the window for the README - every tab, a backup's and a
// restore's pages, the Options popup, the deletion dialog, the contacts import's mapping page and
// the folder browser - on a sample device standing on 15 March 2007, as PNG files.
#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QMenu>
#include <QPixmap>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <cstdio>
#include <string>

#include "engine/backup_job.h"
#include "kinds/jobs.h"
#include "platform/test_support/temporary_device.h"
#include "profile/sample_data.h"
#include "ui/action_page.h"
#include "ui/deletion_dialog.h"
#include "ui/field_mapping_page.h"
#include "ui/file_page.h"
#include "ui/folder_browser.h"
#include "ui/main_window.h"
#include "ui/wizard.h"

namespace {

using kestrav::ui::MainWindow;
using kestrav::ui::Tab;

void Settle() {
  QEventLoop loop;
  QTimer::singleShot(200, &loop, &QEventLoop::quit);
  loop.exec();
}

bool Save(QWidget* widget, const QDir& folder, const QString& name) {
  Settle();
  const bool saved = widget->grab().save(folder.filePath(name + ".png"));
  if (!saved) std::fprintf(stderr, "kestrav-screenshots: %s not written\n", qPrintable(name));
  return saved;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: kestrav-screenshots FOLDER\n");
    return 2;
  }
  const QDir folder(QString::fromLocal8Bit(argv[1]));
  kestrav::testing::TemporaryDevice device;
  std::string error;
  if (!kestrav::profile::FillSampleData(device.device(), 1, &error)) {
    std::fprintf(stderr, "kestrav-screenshots: %s\n", error.c_str());
    return 1;
  }
  MainWindow window(device.device(), device.device().os_major_version(), {}, {});
  window.resize(360, 480);
  window.show();

  // The status page after a backup of every kind.
  kestrav::engine::BackupJob job;
  job.archive_file = u"\\Storage Card\\Kestrav_20070315.qbk";
  for (const kestrav::kinds::KindRow& row : kestrav::kinds::AllKinds())
    job.kinds.push_back(row.kind);
  QEventLoop ended;
  QObject::connect(&window, &MainWindow::JobEnded, &ended, &QEventLoop::quit);
  window.StartJob(true,
                  [&](kestrav::engine::ProgressSink* sink, kestrav::engine::CancelFlag* cancel,
                      const kestrav::kinds::FrontEnd& front_end) {
                    return kestrav::kinds::RunBackup(device.device(), job, sink, cancel, front_end);
                  });
  ended.exec();

  bool saved = true;
  // A backup's two pages: contacts and messages checked, then the file page.
  window.ShowTab(Tab::kBackupRestore);
  window.action_page()->CheckOnly(
      {kestrav::engine::ItemKind::kContacts, kestrav::engine::ItemKind::kMessages});
  saved = Save(&window, folder, "backup-action") && saved;
  window.action_page()->findChild<QPushButton*>("1033")->click();
  saved = Save(&window, folder, "backup-file") && saved;
  window.file_page()->findChild<QPushButton*>("1034")->click();
  window.ShowTab(Tab::kMessagesFolders);
  saved = Save(&window, folder, "messages-folders") && saved;
  // A restore of the backup just made: its kinds checked, then the options of contacts.
  window.wizard()->OpenForRestore(
      QString::fromStdString(device.HostPath(job.archive_file).string()));
  saved = Save(&window, folder, "restore-action") && saved;
  window.action_page()->findChild<QPushButton*>("1034")->click();
  saved = Save(&window, folder, "restore-options") && saved;
  window.ShowTab(Tab::kBackupRestore);
  window.action_page()->CheckOnly({});

  const struct {
    Tab tab;
    const char* name;
  } tabs[] = {{Tab::kBackupRestore, "tab-backup-restore"},
              {Tab::kMessagesFolders, "tab-messages-folders"},
              {Tab::kOptions, "tab-options"},
              {Tab::kSchedule, "tab-schedule"},
              {Tab::kStatus, "tab-status"},
              {Tab::kAbout, "tab-about"}};
  for (const auto& [tab, name] : tabs) {
    window.ShowTab(tab);
    saved = Save(&window, folder, name) && saved;
  }
  window.ShowTab(Tab::kBackupRestore);

  QMenu* options = window.options_menu();
  options->popup(window.mapToGlobal(QPoint(window.width() / 2, window.height() / 2)));
  saved = Save(options, folder, "menu-options") && saved;
  QMenu* delete_all = options->findChild<QMenu*>("DeleteAll");
  delete_all->popup(options->mapToGlobal(QPoint(options->width(), 0)));
  saved = Save(delete_all, folder, "menu-delete-all") && saved;
  delete_all->hide();
  options->hide();

  kestrav::ui::DeletionDialog dialog("Contacts deletion", "Contacts deletion in progress...",
                                     &window);
  dialog.Start(25);
  dialog.SetPosition(10);
  saved = Save(&dialog, folder, "deletion-dialog") && saved;
  dialog.Finish();

  // The contacts import's "Contact Fields" page on a semicolon file.
  device.WriteFile(
      u"\\My Documents\\people.csv",
      "Name;First Name;Mobile Phone;Fax\r\nZo\xC3\xAB Lee;Zo\xC3\xAB;555-0101;555-0199\r\n");
  kestrav::ui::FieldMappingPage mapping(
      device.device(),
      QString::fromStdString(device.HostPath(u"\\My Documents\\people.csv").string()), &window);
  mapping.findChild<QRadioButton*>("SemicolonDelimiter")->setChecked(true);
  mapping.show();
  saved = Save(&mapping, folder, "field-mapping-page") && saved;

  device.device().files().CreateFolder(u"\\Storage Card\\Backups\\2007");
  kestrav::ui::FolderBrowser browser(device.device(), u"\\Storage Card\\Backups", &window);
  browser.show();
  saved = Save(&browser, folder, "folder-browser") && saved;
  return saved ? 0 : 1;
}
