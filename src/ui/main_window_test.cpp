#include "ui/main_window.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDate>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QtTest>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>

#include "engine/backup_job.h"
#include "engine/device_job.h"
#include "kinds/jobs.h"
#include "platform/test_support/temporary_device.h"
#include "profile/profile.h"
#include "profile/sample_data.h"
#include "records/archive.h"
#include "settings/file_types.h"
#include "settings/schedule.h"
#include "ui/action_page.h"
#include "ui/deletion_dialog.h"
#include "ui/soft_key_bar.h"
#include "ui/status_page.h"
#include "ui/test_boxes.h"

namespace kestrav::ui {
namespace {

QStringList ActionIds(const QMenu* menu) {
  QStringList ids;
  for (const QAction* action : menu->actions()) {
    ids << (action->menu() != nullptr ? action->menu()->objectName() : action->objectName());
  }
  return ids;
}

QStringList ActionTexts(const QMenu* menu) {
  QStringList texts;
  for (const QAction* action : menu->actions()) texts << action->text();
  return texts;
}

std::unique_ptr<MainWindow> MakeWindow(testing::TemporaryDevice& device,
                                       const QString& command_line = {}) {
  auto window = std::make_unique<MainWindow>(device.device(), device.device().os_major_version(),
                                             command_line, kinds::FrontEnd{});
  window->show();
  return window;
}

QString LeftKey(const MainWindow& window) {
  return window.soft_keys()->LeftText();
}

}  // namespace

class MainWindowTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    // Timers, file types and shortcuts land in a session of the test's own.
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
      qputenv(variable, QByteArray::fromStdString(session_.path().string()));
  }

  void TabsMenuKeysAndAboutCarryTheirTextsAndIds() {
    testing::TemporaryDevice device;
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    auto* tabs = window->findChild<QTabWidget*>("Tabs");
    QStringList tab_texts;
    for (int index = 0; index < tabs->count(); ++index) tab_texts << tabs->tabText(index);
    QCOMPARE(tab_texts, QStringList({"Backup-Restore", "Messages Folders", "Options", "Schedule",
                                     "Status", "About"}));
    QCOMPARE(window->CurrentTab(), Tab::kBackupRestore);

    const QList<QAction*> top = window->menuBar()->actions();
    QCOMPARE(top.size(), 2);
    QCOMPARE(top[0]->objectName(), QString("57665"));
    QCOMPARE(top[0]->text(), QString("Exit"));
    QCOMPARE(top[1]->menu(), window->options_menu());
    QCOMPARE(window->options_menu()->objectName(), QString("128"));
    QCOMPARE(ActionIds(window->options_menu()),
             QStringList({"32789", "DeleteAll", "32791", "32790", "Undo", "57664"}));
    QCOMPARE(ActionTexts(window->options_menu()),
             QStringList({"Backup/Restore", "Delete All...", "Clear Schedule", "Create Shortcut",
                          "Undo", "About..."}));
    const QMenu* delete_all = window->options_menu()->findChild<QMenu*>("DeleteAll");
    QCOMPARE(ActionIds(delete_all), QStringList({"32787", "32788", "32783", "32784", "32785"}));
    QCOMPARE(ActionTexts(delete_all),
             QStringList({"Appointments", "Call Logs", "Contacts", "Speed Dials", "Tasks"}));

    QCOMPARE(window->findChild<QPushButton*>("57665")->text(), QString("Exit"));
    for (const char* id : {"1020", "1044", "1045", "1046"})
      QVERIFY2(window->status_page()->findChild<QWidget*>(id) != nullptr, id);
    // Every control says what it is to a screen reader.
    for (const QAbstractButton* button : window->findChildren<QAbstractButton*>()) {
      if (button->isVisible())
        QVERIFY2(!button->accessibleName().isEmpty() || !button->text().isEmpty(),
                 qPrintable(button->objectName()));
    }

    QCOMPARE(window->findChild<QLabel*>("ProgramTitle")->text(), QString("Kestrav v1.0"));
    QCOMPARE(window->findChild<QLabel*>("Asterisks")->text(), QString("****************"));
    QVERIFY(QRegularExpression("^\\d+\\.\\d+\\.\\d+\\.\\d+$")
                .match(window->findChild<QLabel*>("Version")->text())
                .hasMatch());
    auto* description = window->findChild<QPlainTextEdit*>("Description");
    QVERIFY(description->isReadOnly());
    QVERIFY(description->toPlainText().startsWith(
        "This tool allows to backup and restore Personal Information.WM2005 backup can be "
        "restored on a WM2003SE ppc and vice versa.\n"));
  }

  void SoftKeysAreLaidOutByTheDevicesVersion() {
    for (const int version : {platform::kWindowsMobile2003, platform::kWindowsMobile2005}) {
      testing::TemporaryDevice device(version);
      const std::unique_ptr<MainWindow> window = MakeWindow(device);
      QVERIFY(QTest::qWaitForWindowExposed(window.get()));
      const int left = window->soft_keys()->left_key()->x();
      const int options = window->soft_keys()->options_key()->x();
      QCOMPARE(left < options, version >= platform::kWindowsMobile2005);
    }
  }

  void AboutOkAndExitFlows() {
    testing::TemporaryDevice device;
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    window->ShowTab(Tab::kSchedule);
    window->findChild<QAction*>("57664")->trigger();
    QCOMPARE(window->CurrentTab(), Tab::kAbout);
    QCOMPARE(LeftKey(*window), QString("Ok"));
    window->ExitCommand();  // "Ok": back to the page the About page was opened from
    QCOMPARE(window->CurrentTab(), Tab::kSchedule);
    QCOMPARE(LeftKey(*window), QString("Exit"));
    window->ShowTab(Tab::kAbout);  // by its tab, as by the menu
    QCOMPARE(LeftKey(*window), QString("Ok"));
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    QTest::keyClick(window.get(), Qt::Key_Escape);
    QCOMPARE(window->CurrentTab(), Tab::kSchedule);
    QTest::keyClick(window.get(), Qt::Key_Escape);  // never Exit
    QVERIFY(window->isVisible());
    window->findChild<QAction*>("32789")->trigger();
    QCOMPARE(window->CurrentTab(), Tab::kBackupRestore);
    window->ExitCommand();
    QVERIFY(!window->isVisible());
  }

  void ThePopupShowsTheScheduleAndTheShortcutAsTheyStand() {
    testing::TemporaryDevice device;
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    QMenu* menu = window->options_menu();
    auto* clear = window->findChild<QAction*>("32791");
    auto* shortcut = window->findChild<QAction*>("32790");
    emit menu->aboutToShow();
    QVERIFY(!clear->isEnabled());
    QVERIFY(shortcut->isCheckable());
    QCOMPARE(shortcut->isChecked(), settings::IsShortcutChecked(device.device()));

    settings::ScheduleChoice choice;
    choice.days = 0x7F;
    choice.start_seconds = 23 * 3600;
    choice.backup_folder = u"\\Storage Card";
    choice.kinds = {engine::ItemKind::kContacts};
    bool armed = false;
    QVERIFY(settings::SaveSchedule(device.device(), choice, &armed));
    QVERIFY(armed);
    emit menu->aboutToShow();
    QVERIFY(clear->isEnabled());
    clear->trigger();
    emit menu->aboutToShow();
    QVERIFY(!clear->isEnabled());
  }

  void DeleteAllContactsThroughTheMenu() {
    testing::TemporaryDevice device;
    std::string error;
    QVERIFY2(profile::FillSampleData(device.device(), 1, &error), error.c_str());
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    QSignalSpy ended(window.get(), &MainWindow::DeletionEnded);
    auto* contacts = window->findChild<QAction*>("32783");

    // "No" deletes nothing.
    const std::shared_ptr<BoxSeen> refused = AnswerNextBox(QMessageBox::No);
    contacts->trigger();
    QVERIFY(refused->answered);
    QCOMPARE(refused->title, QString("Contacts delete confirm"));
    QCOMPARE(refused->text,
             QString("Are you sure you want to delete all contacts from Outlook database? "));
    QVERIFY(!window->busy());
    QCOMPARE(ended.count(), 0);

    std::shared_ptr<BoxSeen> confirm = AnswerNextBox(QMessageBox::Yes);
    contacts->trigger();
    QVERIFY(confirm->answered);
    QVERIFY(window->busy());
    auto* dialog = window->findChild<DeletionDialog*>("DeletionDialog");
    QVERIFY(dialog != nullptr);
    QCOMPARE(dialog->windowTitle(), QString("Contacts deletion"));
    QCOMPARE(dialog->findChild<QLabel*>("DeletionLabel")->text(),
             QString("Contacts deletion in progress..."));
    QVERIFY(dialog->findChild<QProgressBar*>("1001") != nullptr);
    std::shared_ptr<BoxSeen> result = AnswerNextBox(QMessageBox::Ok);
    QVERIFY(ended.wait(60'000));
    QCOMPARE(result->title, QString("Contacts deletion"));
    QCOMPARE(result->text, QString("25 contacts successfully deleted."));
    QVERIFY(!window->busy());

    // The device holds none now.
    confirm = AnswerNextBox(QMessageBox::Yes);
    result = AnswerNextBox(QMessageBox::Ok);
    contacts->trigger();
    QVERIFY(ended.wait(60'000));
    QCOMPARE(result->text, QString("No contact found, nothing deleted."));

    // Call logs end without a box; the sample's calls are gone all the same.
    confirm = AnswerNextBox(QMessageBox::Yes);
    window->findChild<QAction*>("32788")->trigger();
    QVERIFY(ended.wait(60'000));
    QVERIFY(QApplication::activeModalWidget() == nullptr);
    std::string calls;
    QVERIFY(profile::DumpData(device.device(), "calllogs", &calls, &error));
    QVERIFY2(calls.starts_with("[]"), calls.substr(0, 200).c_str());
    // The popup's undo names the last job that changed the device.
    emit window->options_menu()->aboutToShow();
    QCOMPARE(window->findChild<QAction*>("Undo")->text(),
             QString("Undo the deletion of all call logs"));
  }

  void WhileAJobRunsExitAndDeleteAllDoNothingAndCancelStopsIt() {
    testing::TemporaryDevice device;
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    QSignalSpy ended(window.get(), &MainWindow::JobEnded);
    std::atomic<bool> waiting = false;
    QVERIFY(window->StartJob(
        true, [&](engine::ProgressSink*, engine::CancelFlag* cancel, const kinds::FrontEnd&) {
          waiting = true;
          while (cancel->load() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
          return kinds::JobOutcome{true, u"the backup was canceled"};
        }));
    QVERIFY(window->busy());
    QCOMPARE(window->CurrentTab(), Tab::kStatus);
    QCOMPARE(LeftKey(*window), QString("Cancel"));
    QVERIFY(!window->StartJob(true, {}));

    window->findChild<QAction*>("32783")->trigger();  // no confirmation shows
    QVERIFY(QApplication::activeModalWidget() == nullptr);
    window->findChild<QAction*>("57665")->trigger();  // the menu's Exit is the left key: Cancel
    QCOMPARE(LeftKey(*window), QString("Exit"));
    QCOMPARE(window->CurrentTab(), Tab::kStatus);  // the page the job was started on
    QVERIFY(!window->close());                     // still busy until the job has seen the flag
    QVERIFY(window->isVisible());

    const std::shared_ptr<BoxSeen> failure = AnswerNextBox(QMessageBox::Ok);
    QVERIFY(ended.wait(10'000));
    QCOMPARE(failure->text, QString("the backup was canceled"));
    QVERIFY(!window->busy());
    const StatusModel& rows = window->status_page()->model();
    QVERIFY(rows.rowCount() >= 2);
    QCOMPARE(rows.data(rows.index(1, 1)).toString(), QString("Canceling backup..."));
    QVERIFY(window->close());
  }

  void AJobWaitsForAnotherOnTheDeviceSayingSoAndCancelEndsTheWait() {
    testing::TemporaryDevice device;
    std::u16string refusal;
    const std::unique_ptr<engine::DeviceJob> scheduled =
        engine::DeviceJob::Begin(device.device(), {.name = u"scheduled backup"}, &refusal);
    QVERIFY(scheduled != nullptr);
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    QSignalSpy ended(window.get(), &MainWindow::JobEnded);
    engine::BackupJob job;
    job.archive_file = u"\\Storage Card\\Kestrav_20070315.qbk";
    job.kinds = {engine::ItemKind::kContacts};
    QVERIFY(window->StartJob(true, [&](engine::ProgressSink* sink, engine::CancelFlag* cancel,
                                       const kinds::FrontEnd& front_end) {
      return kinds::RunBackup(device.device(), job, sink, cancel, front_end);
    }));
    const StatusModel& rows = window->status_page()->model();
    QTRY_VERIFY(rows.rowCount() >= 2);
    QVERIFY(rows.data(rows.index(1, 1))
                .toString()
                .startsWith("Waiting for the scheduled backup started by process "));
    const std::shared_ptr<BoxSeen> failure = AnswerNextBox(QMessageBox::Ok);
    window->ExitCommand();
    QVERIFY(ended.wait(10'000));
    QVERIFY(failure->text.startsWith("canceled while waiting for the scheduled backup"));
    QVERIFY(!device.files().FileExists(job.archive_file));
  }

  void ABackupAndACanceledOneThroughTheWindow() {
    testing::TemporaryDevice device;
    std::string error;
    QVERIFY2(profile::FillSampleData(device.device(), 1, &error), error.c_str());
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    QSignalSpy ended(window.get(), &MainWindow::JobEnded);
    engine::BackupJob job;
    job.archive_file = u"\\Storage Card\\Kestrav_20070315.qbk";
    for (const kinds::KindRow& row : kinds::AllKinds()) job.kinds.push_back(row.kind);
    const MainWindow::Job backup = [&](engine::ProgressSink* sink, engine::CancelFlag* cancel,
                                       const kinds::FrontEnd& front_end) {
      return kinds::RunBackup(device.device(), job, sink, cancel, front_end);
    };
    QVERIFY(window->StartJob(true, backup));
    QVERIFY(ended.wait(120'000));
    QVERIFY(QApplication::activeModalWidget() == nullptr);  // no failure box
    std::vector<records::ArchiveMember> members;
    QCOMPARE(records::TestArchive(device.device(), job.archive_file, &members), 0);
    QCOMPARE(members.size(), job.kinds.size());
    const std::string archive = device.ReadFile(job.archive_file);

    // A second backup over it, canceled at once: the archive that was there stays.
    const std::shared_ptr<BoxSeen> failure = AnswerNextBox(QMessageBox::Ok);
    QVERIFY(window->StartJob(true, backup));
    window->ExitCommand();
    QVERIFY(ended.wait(120'000));
    QCOMPARE(failure->text,
             QString("the backup was canceled; the archive that was there is as it was"));
    QCOMPARE(device.ReadFile(job.archive_file), archive);
    std::string contacts;
    QVERIFY(profile::DumpData(device.device(), "contacts", &contacts, &error));
    QVERIFY(contacts.size() > 1000);  // a backup leaves the device as it was
  }

  void AFileOnTheCommandLineOpensForRestore() {
    testing::TemporaryDevice device;
    const QString path =
        QString::fromStdString(device.HostPath(u"\\My Documents\\old backup.csl").string());
    device.WriteFile(u"\\My Documents\\old backup.csl", testing::Utf16FileBytes(u"Header\r\n"));
    std::unique_ptr<MainWindow> window = MakeWindow(device, "\"" + path + "\" ");
    QTRY_COMPARE(window->action_page()->file_to_restore(), path);
    QVERIFY(window->action_page()->is_restore());
    QCOMPARE(window->action_page()->CheckedKinds(),
             std::vector<engine::ItemKind>{engine::ItemKind::kCallLogs});
    window = MakeWindow(device, "\"" + path + ".missing\"");
    QTest::qWait(20);
    QCOMPARE(window->action_page()->file_to_restore(), QString());
    window = MakeWindow(device, QString::fromStdString(device.root().string()));  // a folder
    QTest::qWait(20);
    QCOMPARE(window->action_page()->file_to_restore(), QString());
  }

  void TheScheduledStartNeedsNoDisplay() {
    testing::TemporaryDevice device;
    settings::ScheduleChoice choice;
    choice.days = 0x7F;
    choice.start_seconds = 10 * 3600;
    choice.backup_folder = u"\\Storage Card";
    choice.kinds = {engine::ItemKind::kContacts, engine::ItemKind::kTasks};
    bool armed = false;
    QVERIFY(settings::SaveSchedule(device.device(), choice, &armed));

    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
      environment.remove(variable);
    environment.insert("KESTRAV_DEVICE", QString::fromStdString(device.folder().string()));
    program.setProcessEnvironment(environment);
    program.start(KESTRAV_WINDOW_PROGRAM, {"/schedbackup", "now"});
    QVERIFY(program.waitForFinished(120'000));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QVERIFY2(program.exitCode() == 0, program.readAllStandardError().constData());
    const QString archive =
        "Kestrav_" + QDate::currentDate().toString("yyyyMMdd") + ".qbk";  // the host's day
    QVERIFY2(std::filesystem::exists(device.HostPath(u"\\Storage Card") / archive.toStdString()),
             program.readAllStandardOutput().constData());

    // Without a display and without the schedule's word, no window can be made: exit 0 at once.
    program.start(KESTRAV_WINDOW_PROGRAM, {});
    QVERIFY(program.waitForFinished(60'000));
    QCOMPARE(program.exitCode(), 0);
  }

 private:
  testing::TemporaryFolder session_;
};

}  // namespace kestrav::ui

QTEST_MAIN(kestrav::ui::MainWindowTest)
#include "main_window_test.moc"
