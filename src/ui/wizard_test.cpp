// The wizard's pages and flows through the window's own controls: each page's texts, ids and
// first state, the checks before a job with their boxes, and a backup and a restore from end to
// end.
#include "ui/wizard.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QtTest>
#include <atomic>
#include <memory>
#include <thread>

#include "kinds/jobs.h"
#include "platform/test_support/temporary_device.h"
#include "platform/text.h"
#include "profile/profile.h"
#include "profile/sample_data.h"
#include "profile/samples.h"
#include "settings/reg_key.h"
#include "settings/schedule.h"
#include "settings/settings_keys.h"
#include "ui/action_page.h"
#include "ui/field_mapping_page.h"
#include "ui/file_page.h"
#include "ui/folder_browser.h"
#include "ui/main_window.h"
#include "ui/messages_folders_page.h"
#include "ui/restore_options_page.h"
#include "ui/schedule_page.h"
#include "ui/status_page.h"
#include "ui/test_boxes.h"

namespace kestrav::ui {
namespace {

using engine::ItemKind;
using engine::RestoreMode;

std::unique_ptr<MainWindow> MakeWindow(testing::TemporaryDevice& device) {
  kinds::FrontEnd front_end;
  front_end.shown_path = [&device](std::u16string_view path) {
    return platform::FromUtf8(device.files().HostPath(path).string());
  };
  auto window = std::make_unique<MainWindow>(device.device(), device.device().os_major_version(),
                                             QString(), front_end);
  window->show();
  window->activateWindow();
  return window;
}

template <typename Control>
Control* Find(const QWidget* page, const char* id) {
  auto* control = page->findChild<Control*>(id);
  if (control == nullptr) qFatal("no control %s", id);
  return control;
}

// A button's or label's text as the user reads it, without its mnemonic mark.
template <typename Control>
QString Shown(const QWidget* page, const char* id) {
  return Find<Control>(page, id)->text().remove(u'&');
}

QTreeWidgetItem* KindItem(const MainWindow& window, const QString& name) {
  const QList<QTreeWidgetItem*> found =
      Find<QTreeWidget>(window.action_page(), "1032")->findItems(name, Qt::MatchExactly);
  return found.isEmpty() ? nullptr : found.first();
}

// Checks or unchecks a kind as a user does: the kind made current, then Space.
void ToggleKind(const MainWindow& window, const QString& name) {
  auto* list = Find<QTreeWidget>(window.action_page(), "1032");
  list->setFocus();
  list->setCurrentItem(KindItem(window, name));
  QTest::keyClick(list, Qt::Key_Space);
}

// Gives the window the keyboard again, as after a message box closed.
bool Activate(MainWindow& window) {
  window.activateWindow();
  return QTest::qWaitForWindowActive(&window);
}

bool OnFilePage(const MainWindow& window) {
  return window.CurrentTab() == Tab::kBackupRestore && window.file_page()->isVisible();
}

std::string Dump(testing::TemporaryDevice& device, const char* what) {
  std::string json;
  std::string error;
  if (!profile::DumpData(device.device(), what, &json, &error)) return "failed: " + error;
  return json;
}

}  // namespace

class WizardTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
      qputenv(variable, QByteArray::fromStdString(session_.path().string()));
  }

  void TheActionPageOpensForABackupAndWantsAKind() {
    testing::TemporaryDevice device;
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    const ActionPage* page = window->action_page();
    QCOMPARE(Shown<QLabel>(page, "1020"), QString("Kestrav and restore utility"));
    QCOMPARE(Shown<QLabel>(page, "1003"), QString("Action:"));
    auto* action = Find<QComboBox>(page, "1031");
    QCOMPARE(action->count(), 2);
    QCOMPARE(action->itemText(0), QString("Backup"));
    QCOMPARE(action->itemText(1), QString("Restore"));
    QCOMPARE(action->currentText(), QString("Backup"));
    QCOMPARE(Shown<QPushButton>(page, "1041"), QString("Browse"));
    QVERIFY(!Find<QPushButton>(page, "1041")->isEnabled());  // a backup has nothing to browse
    QCOMPARE(Shown<QPushButton>(page, "1033"), QString("Next >>"));
    QCOMPARE(Shown<QPushButton>(page, "1034"), QString("Options"));
    auto* list = Find<QTreeWidget>(page, "1032");
    QCOMPARE(list->headerItem()->text(0), QString("Backup/restore types selection"));
    QStringList names;
    for (int row = 0; row < list->topLevelItemCount(); ++row) {
      names << list->topLevelItem(row)->text(0);
      QCOMPARE(list->topLevelItem(row)->checkState(0), Qt::Unchecked);
      QVERIFY(!list->topLevelItem(row)->icon(0).isNull());
    }
    QCOMPARE(names, QStringList({"Contacts", "Appointments", "Tasks", "Call logs", "Speed dials",
                                 "Messages"}));
    for (const char* id : {"1020", "1003", "1031", "1041", "1032", "1033", "1034"})
      QVERIFY2(!Find<QWidget>(page, id)->accessibleName().isEmpty(), id);

    // Enter is "Next >>": with no kind checked, the selection error, and the page stays.
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    action->setFocus();
    std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::Ok);
    QTest::keyClick(action, Qt::Key_Return);
    QVERIFY(box->answered);
    QCOMPARE(box->title, QString("Action selection error"));
    QCOMPARE(box->text, QString("No backup/restore action has been selected."));
    QVERIFY(!OnFilePage(*window));
    QVERIFY(!window->busy());

    // A kind checked with Space, then Alt+N: the file page.
    ToggleKind(*window, "Call logs");
    QCOMPARE(window->action_page()->CheckedKinds(), std::vector{ItemKind::kCallLogs});
    QVERIFY(Activate(*window));
    QTest::keyClick(window.get(), Qt::Key_N, Qt::AltModifier);
    QTRY_VERIFY(OnFilePage(*window));  // a mnemonic clicks as the button shows it pressed
    // Escape is "<< Back".
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    QVERIFY(!OnFilePage(*window));
  }

  void TheFilePageOnTheFifteenthOfMarch2007() {
    testing::TemporaryDevice device;
    std::unique_ptr<MainWindow> window = MakeWindow(device);
    ToggleKind(*window, "Call logs");
    Find<QPushButton>(window->action_page(), "1033")->click();
    const FilePage* page = window->file_page();
    QCOMPARE(Shown<QLabel>(page, "1036"), QString("Select the backup file name and directory:"));
    QCOMPARE(Find<QLineEdit>(page, "1038")->text(), QString("\\Storage Card"));
    QCOMPARE(Find<QLineEdit>(page, "1040")->text(), QString("Kestrav_20070315"));
    QCOMPARE(Shown<QCheckBox>(page, "1047"), QString("Set as default backup folder"));
    QVERIFY(!Find<QCheckBox>(page, "1047")->isChecked());
    QCOMPARE(Shown<QCheckBox>(page, "1043"), QString("Compress backup"));
    QVERIFY(Find<QCheckBox>(page, "1043")->isChecked());
    QCOMPARE(Shown<QPushButton>(page, "1041"), QString("Browse"));
    QCOMPARE(Shown<QPushButton>(page, "1049"), QString("Schedule"));
    QCOMPARE(Shown<QPushButton>(page, "1034"), QString("<< Back"));
    QCOMPARE(Shown<QPushButton>(page, "1033"), QString("Next >>"));

    // "<< Back" and "Next >>" keep what was typed.
    Find<QLineEdit>(page, "1040")->setText("Mine");
    Find<QLineEdit>(page, "1038")->setText("\\Nowhere");
    Find<QPushButton>(page, "1034")->click();
    QVERIFY(!OnFilePage(*window));
    Find<QPushButton>(window->action_page(), "1033")->click();
    QCOMPARE(Find<QLineEdit>(page, "1040")->text(), QString("Mine"));

    // A folder that is not there is said before anything starts.
    std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::Ok);
    Find<QPushButton>(page, "1033")->click();
    QCOMPARE(box->text,
             QString::fromStdString(device.HostPath(u"\\Nowhere").string() + ": no such folder"));
    QVERIFY(!window->busy());

    // Moving on with "Set as default backup folder" stores the folder, uncompressed as asked.
    QSignalSpy ended(window.get(), &MainWindow::JobEnded);
    Find<QLineEdit>(page, "1038")->setText("\\My Documents");
    Find<QCheckBox>(page, "1047")->click();
    Find<QCheckBox>(page, "1043")->click();
    Find<QPushButton>(page, "1033")->click();
    QVERIFY(window->busy());
    QCOMPARE(window->CurrentTab(), Tab::kStatus);
    QVERIFY(ended.wait(60'000));
    QCOMPARE(settings::ReadStringValue(device.device().registry(), settings::kApplicationKey,
                                       settings::kDefaultFolderValue),
             std::optional<std::u16string>(u"\\My Documents"));
    const std::string archive = device.ReadFile(u"\\My Documents\\Mine.qbk");
    QVERIFY(archive.starts_with("PK\x03\x04"));
    QCOMPARE(archive[8], '\0');  // compression method 0: stored

    // The same file again: overwrite only on Yes.
    window->ShowTab(Tab::kBackupRestore);
    box = AnswerNextBox(QMessageBox::No);
    Find<QPushButton>(page, "1033")->click();
    QCOMPARE(box->title, QString("Overwrite confirm"));
    QCOMPARE(box->text, QString("The file \"\\My Documents\\Mine.qbk\" already exists, do you "
                                "want to overwrite it?"));
    QVERIFY(!window->busy());
    box = AnswerNextBox(QMessageBox::Yes);
    Find<QPushButton>(page, "1033")->click();
    QVERIFY(box->answered);
    QVERIFY(window->busy());
    QVERIFY(ended.wait(60'000));

    // A new window fills the page from "DefDir".
    window = MakeWindow(device);
    ToggleKind(*window, "Tasks");
    Find<QPushButton>(window->action_page(), "1033")->click();
    QCOMPARE(Find<QLineEdit>(window->file_page(), "1038")->text(), QString("\\My Documents"));
    QVERIFY(Find<QCheckBox>(window->file_page(), "1047")->isChecked());
  }

  void TheMessagesFoldersPageLeavesOutWhatIsUnchecked() {
    testing::TemporaryDevice device;
    std::string error;
    QVERIFY2(profile::FillSampleData(device.device(), 1, &error), error.c_str());
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    // "Options" of a backup is the messages folders.
    Find<QPushButton>(window->action_page(), "1034")->click();
    QCOMPARE(window->CurrentTab(), Tab::kMessagesFolders);
    const MessagesFoldersPage* page = window->messages_folders_page();
    QCOMPARE(Shown<QLabel>(page, "1036"), QString("Select account and directories to backup:"));
    auto* tree = Find<QTreeWidget>(page, "1035");
    QStringList stores;
    for (int row = 0; row < tree->topLevelItemCount(); ++row)
      stores << tree->topLevelItem(row)->text(0);
    QVERIFY2(stores.contains("Text Messages") && stores.contains("Outlook E-Mail") &&
                 stores.contains("Mail"),
             qPrintable(stores.join(", ")));
    QCOMPARE(page->Option(), engine::MessagesOption{});  // everything checked

    const auto item = [tree](const QString& label) {
      return tree->findItems(label, Qt::MatchExactly | Qt::MatchRecursive).value(0);
    };
    QVERIFY(item("Inbox(6)") != nullptr && item("Inbox(6)")->parent()->text(0) == "Text Messages");
    QCOMPARE(item("2026(2)")->parent()->text(0), QString("Projects(2)"));
    item("Sent Items(5)")->setCheckState(0, Qt::Unchecked);
    item("Outlook E-Mail")->setCheckState(0, Qt::Unchecked);
    const std::vector<engine::FolderExclusion> left_out = page->Option().exclusions;
    QCOMPARE(left_out.size(), std::size_t{2});
    QVERIFY(std::ranges::find(left_out, engine::FolderExclusion{u"SMS", u"Sent Items"}) !=
            left_out.end());
    QVERIFY(std::ranges::find(left_out, engine::FolderExclusion{u"ActiveSync", std::nullopt}) !=
            left_out.end());

    // Attachments: asked first, and "No" leaves the box unchecked.
    auto* attachments = Find<QCheckBox>(page, "1042");
    QCOMPARE(attachments->text().remove(u'&'), QString("Backup attachments (if they exist)"));
    std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::No);
    attachments->click();
    QCOMPARE(box->title, QString("Backup infos"));
    QCOMPARE(box->text, QString("Storing attachment file contents, will increase considerably the "
                                "backup time!\r\nAre you sure you want to select this option?"));
    QVERIFY(!attachments->isChecked());
    box = AnswerNextBox(QMessageBox::Yes);
    attachments->click();
    QVERIFY(box->answered);
    QVERIFY(page->Option().store_attachments);

    // The same page chooses what a restore takes.
    Find<QComboBox>(window->action_page(), "1031")->setCurrentIndex(1);
    QCOMPARE(Shown<QLabel>(page, "1036"), QString("Select account and directories to restore:"));
  }

  void TheOptionsPageNeverYieldsAllowDuplicates() {
    RestoreOptionsPage page;
    page.show();
    QSignalSpy chosen(&page, &RestoreOptionsPage::Chosen);
    page.Open(ItemKind::kContacts, RestoreMode::kDeleteAllFirst);
    QCOMPARE(Shown<QLabel>(&page, "1020"), QString("Restore contacts options"));
    const char* ids[] = {"1006", "1010", "1007", "1008"};
    const QStringList contacts = {
        "Delete all existing contacts from the database before restoration.",
        "Add only new contacts to the database.",
        "Add new contacts and update existing contacts in the Database.",
        "Allow duplicates to be created."};
    for (int index = 0; index < 4; ++index) {
      QCOMPARE(Shown<QRadioButton>(&page, ids[index]), contacts[index]);
      QVERIFY(Find<QRadioButton>(&page, ids[index])->isVisible());
    }
    QVERIFY(Find<QRadioButton>(&page, "1006")->isChecked());

    // "Allow duplicates to be created." leaves the mode as it was.
    Find<QRadioButton>(&page, "1008")->click();
    Find<QPushButton>(&page, "1")->click();
    QCOMPARE(chosen.takeFirst().at(1).value<RestoreMode>(), RestoreMode::kDeleteAllFirst);
    page.Open(ItemKind::kContacts, RestoreMode::kAddOnlyNew);
    QVERIFY(Find<QRadioButton>(&page, "1006")->isChecked());  // whatever the mode
    Find<QRadioButton>(&page, "1008")->click();
    QCOMPARE(page.ModeOfChoice(), RestoreMode::kAddOnlyNew);
    Find<QRadioButton>(&page, "1006")->click();  // nor does "delete all first" change it
    QCOMPARE(page.ModeOfChoice(), RestoreMode::kAddOnlyNew);
    Find<QRadioButton>(&page, "1007")->click();
    QCOMPARE(page.ModeOfChoice(), RestoreMode::kAddNewAndUpdate);
    Find<QRadioButton>(&page, "1010")->click();
    QTest::keyClick(&page, Qt::Key_Return);  // Enter is OK
    QCOMPARE(chosen.takeFirst().at(1).value<RestoreMode>(), RestoreMode::kAddOnlyNew);

    // Call logs offer two choices; the others are hidden.
    page.Open(ItemKind::kCallLogs, RestoreMode::kDeleteAllFirst);
    QCOMPARE(Shown<QLabel>(&page, "1020"), QString("Restore call logs options"));
    QCOMPARE(Shown<QRadioButton>(&page, "1006"),
             QString("Delete all existing logged calls from the database before restoration."));
    QCOMPARE(Shown<QRadioButton>(&page, "1010"),
             QString("Add only unlogged calls to the Database."));
    QVERIFY(!Find<QRadioButton>(&page, "1007")->isVisible());
    QVERIFY(!Find<QRadioButton>(&page, "1008")->isVisible());
  }

  void ARestoresChecksHaveTheirBoxes() {
    testing::TemporaryDevice device;
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    const auto host = [&device](std::u16string_view path) {
      return QString::fromStdString(device.HostPath(path).string());
    };

    device.WriteFile(u"\\My Documents\\notes.doc", "hello");
    std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::Ok);
    window->wizard()->OpenForRestore(host(u"\\My Documents\\notes.doc"));
    QCOMPARE(box->title, QString("PIM restore error"));
    QCOMPARE(box->text,
             "The format of the file \"" + host(u"\\My Documents\\notes.doc") + "\" is invalid.");
    QVERIFY(window->action_page()->file_to_restore().isEmpty());

    device.WriteFile(u"\\My Documents\\broken.qbk", std::string("PK\x03\x04 not an archive", 20));
    box = AnswerNextBox(QMessageBox::Ok);
    window->wizard()->OpenForRestore(host(u"\\My Documents\\broken.qbk"));
    QCOMPARE(box->title, QString("Restore error"));
    QVERIFY2(box->text.startsWith("The compressed file \"" + host(u"\\My Documents\\broken.qbk") +
                                  "\" is invalid or corrupt, nothing done."),
             qPrintable(box->text));

    // A record file whose records cannot be read: the rows, then the reader's box.
    device.WriteFile(u"\\My Documents\\calls.csl",
                     testing::Utf16FileBytes(u"A;B\r\n\"never closed;x\r\n"));
    window->wizard()->OpenForRestore(host(u"\\My Documents\\calls.csl"));
    QSignalSpy restored(window.get(), &MainWindow::JobEnded);
    box = AnswerNextBox(QMessageBox::Ok);
    QTest::keyClick(window->action_page(), Qt::Key_Return);
    QVERIFY(restored.wait(60'000));
    QCOMPARE(box->title, QString("CSV File Error"));
    QCOMPARE(box->text, QString("Error (ERROR_CSV_BAD_RECORD) : Bad record found at line 2."));
    window->ShowTab(Tab::kBackupRestore);

    // An archive of contacts and call logs, picked with Browse: its kinds come checked.
    engine::BackupJob backup;
    backup.archive_file = u"\\Storage Card\\two.qbk";
    backup.kinds = {ItemKind::kCallLogs, ItemKind::kContacts};
    QVERIFY(kinds::RunBackup(device.device(), backup, nullptr, nullptr, {}).failure.empty());
    Find<QComboBox>(window->action_page(), "1031")->setCurrentIndex(1);
    PickInNextFileDialog(host(u"\\Storage Card\\two.qbk"));
    Find<QPushButton>(window->action_page(), "1041")->click();
    QCOMPARE(window->action_page()->file_to_restore(), host(u"\\Storage Card\\two.qbk"));
    QCOMPARE(window->action_page()->CheckedKinds(),
             (std::vector{ItemKind::kContacts, ItemKind::kCallLogs}));

    // "Options" opens each checked kind's options in turn; call logs show two choices.
    Find<QPushButton>(window->action_page(), "1034")->click();
    QCOMPARE(window->CurrentTab(), Tab::kOptions);
    const RestoreOptionsPage* options = window->restore_options_page();
    QCOMPARE(Shown<QLabel>(options, "1020"), QString("Restore contacts options"));
    Find<QRadioButton>(options, "1007")->click();
    Find<QPushButton>(options, "1")->click();
    QCOMPARE(Shown<QLabel>(options, "1020"), QString("Restore call logs options"));
    QVERIFY(!Find<QRadioButton>(options, "1007")->isVisible());
    Find<QPushButton>(options, "1")->click();
    QCOMPARE(window->CurrentTab(), Tab::kBackupRestore);
    const std::vector<engine::RestoreEntry>& entries = window->wizard()->entries();
    QCOMPARE(entries.size(), std::size_t{2});
    for (const engine::RestoreEntry& entry : entries) {
      QCOMPARE(entry.mode, entry.kind == ItemKind::kContacts ? RestoreMode::kAddNewAndUpdate
                                                             : RestoreMode::kDeleteAllFirst);
    }

    // Only kinds the file lacks: nothing to restore.
    ToggleKind(*window, "Contacts");
    ToggleKind(*window, "Call logs");
    ToggleKind(*window, "Tasks");
    box = AnswerNextBox(QMessageBox::Ok);
    Find<QPushButton>(window->action_page(), "1033")->click();
    QCOMPARE(box->title, QString("Restore error"));
    QCOMPARE(box->text, QString("No restore type has been selected. Nothing done."));
    box = AnswerNextBox(QMessageBox::Ok);
    Find<QPushButton>(window->action_page(), "1034")->click();
    QCOMPARE(box->text, QString("No restore type has been selected. Nothing done."));
    QVERIFY(!window->busy());

    // While a job runs, "Next >>" does nothing else: not even its checks.
    ToggleKind(*window, "Tasks");
    QVERIFY(window->StartJob(
        false, [](engine::ProgressSink*, engine::CancelFlag* cancel, const kinds::FrontEnd&) {
          while (cancel->load() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
          return kinds::JobOutcome{true, {}};
        }));
    QSignalSpy ended(window.get(), &MainWindow::JobEnded);
    Find<QPushButton>(window->action_page(), "1033")->click();
    QVERIFY(QApplication::activeModalWidget() == nullptr);
    window->ExitCommand();
    QVERIFY(ended.wait(10'000));
  }

  // The file page's "Browse" and "Schedule" and a restore's file of contacts open their pages.
  void TheFolderBrowserTheScheduleAndTheContactFieldsOpenFromTheWizard() {
    testing::TemporaryDevice device;
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    ToggleKind(*window, "Call logs");
    Find<QPushButton>(window->action_page(), "1033")->click();
    const FilePage* page = window->file_page();
    OnNextDialog<FolderBrowser>([](FolderBrowser* browser) {
      browser->tree()->setCurrentItem(
          browser->tree()
              ->findItems("My Documents", Qt::MatchExactly | Qt::MatchRecursive)
              .value(0));
      QMetaObject::invokeMethod(browser, "accept");
    });
    Find<QPushButton>(page, "1041")->click();
    QCOMPARE(Find<QLineEdit>(page, "1038")->text(), QString("\\My Documents"));

    // "Validate" saves the wizard's folder and kinds with the schedule.
    Find<QPushButton>(page, "1049")->click();
    QCOMPARE(window->CurrentTab(), Tab::kSchedule);
    std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::Ok);
    Find<QPushButton>(window->schedule_page(), "1033")->click();
    QTRY_VERIFY(box->answered);  // saved, the page says, whether its next run comes or not
    const std::optional<settings::ScheduleChoice> saved = settings::ReadSchedule(device.device());
    QVERIFY(saved.has_value());
    QCOMPARE(saved->kinds, std::vector{ItemKind::kCallLogs});
    QVERIFY(saved->backup_folder.starts_with(u"\\My Documents"));

    // A semicolon file of contacts: the map, then the file stands for the contacts to restore,
    // their options chosen as for any restore: added to those there, not in their place.
    std::string error;
    QVERIFY2(profile::FillSampleContacts(device.device(), 1, &error), error.c_str());
    device.WriteFile(u"\\My Documents\\people.csv",
                     "Name;First Name;Mobile Phone\r\nAnn Lee;Ann;555-0101\r\n");
    OnNextDialog<FieldMappingPage>([](FieldMappingPage* mapping) {
      Find<QRadioButton>(mapping, "SemicolonDelimiter")->click();
      Find<QPushButton>(mapping, "Default")->click();
      QTest::keyClick(mapping, Qt::Key_Return);
    });
    window->wizard()->OpenForRestore(
        QString::fromStdString(device.HostPath(u"\\My Documents\\people.csv").string()));
    QCOMPARE(window->action_page()->CheckedKinds(), std::vector{ItemKind::kContacts});
    Find<QPushButton>(window->action_page(), "1034")->click();
    QCOMPARE(Shown<QLabel>(window->restore_options_page(), "1020"),
             QString("Restore contacts options"));
    Find<QRadioButton>(window->restore_options_page(), "1010")->click();
    Find<QPushButton>(window->restore_options_page(), "1")->click();
    QCOMPARE(window->CurrentTab(), Tab::kBackupRestore);
    QSignalSpy ended(window.get(), &MainWindow::JobEnded);
    Find<QPushButton>(window->action_page(), "1033")->click();
    QVERIFY(ended.wait(60'000));
    const std::string contacts = Dump(device, "contacts");
    QVERIFY(contacts.find("Ann Lee") != std::string::npos);
    QVERIFY(contacts.find("zoe.akerlund@example.org") != std::string::npos);
  }

  // A folder made in the browser that the file page opens takes the backup.
  void ABackupGoesIntoAFolderMadeInTheBrowser() {
    testing::TemporaryDevice device;
    std::string error;
    QVERIFY2(profile::FillSampleData(device.device(), 1, &error), error.c_str());
    const std::unique_ptr<MainWindow> window = MakeWindow(device);
    ToggleKind(*window, "Call logs");
    Find<QPushButton>(window->action_page(), "1033")->click();
    const FilePage* page = window->file_page();
    std::shared_ptr<BoxSeen> question;
    OnNextDialog<FolderBrowser>([&question](FolderBrowser* browser) {
      QCOMPARE(browser->chosen_folder(), std::u16string(u"\\Storage Card"));
      browser->NewFolder(browser->tree()->currentItem());
      QLineEdit* editor = nullptr;
      QVERIFY(QTest::qWaitFor([&] {
        editor = browser->tree()->viewport()->findChild<QLineEdit*>();
        return editor != nullptr && editor->isVisible();
      }));
      editor->selectAll();
      QTest::keyClicks(editor, "Backups");
      question = AnswerNextBox(QMessageBox::Yes);
      QTest::keyClick(editor, Qt::Key_Return);
      QTRY_VERIFY(question->answered);
      QMetaObject::invokeMethod(browser, "accept");
    });
    Find<QPushButton>(page, "1041")->click();
    QVERIFY(question != nullptr);
    QCOMPARE(question->text,
             QString("Are you sure you want to create folder \"\\Storage Card\\Backups\"?"));
    QCOMPARE(Find<QLineEdit>(page, "1038")->text(), QString("\\Storage Card\\Backups"));

    QSignalSpy ended(window.get(), &MainWindow::JobEnded);
    Find<QPushButton>(page, "1033")->click();
    QVERIFY(ended.wait(60'000));
    QVERIFY(QApplication::activeModalWidget() == nullptr);  // no failure box
    // Read back by a reader of its own: one call logs member, every CRC right.
    QProcess reader;
    reader.start("python3",
                 {"-c",
                  "import sys, zipfile\n"
                  "archive = zipfile.ZipFile(sys.argv[1])\n"
                  "assert archive.testzip() is None\n"
                  "print(*archive.namelist())",
                  QString::fromStdString(
                      device.HostPath(u"\\Storage Card\\Backups\\Kestrav_20070315.qbk").string())});
    QVERIFY(reader.waitForFinished(60'000));
    QVERIFY2(reader.exitCode() == 0, reader.readAllStandardError().constData());
    QVERIFY2(reader.readAllStandardOutput().trimmed().endsWith(".csl"), "no call logs member");
  }

  // A user's round trip: the sample backed up with its attachments, then restored onto an empty
  // handheld with contacts added as new; the two handhelds then hold the same. A restore canceled
  // part way is undone from the menu.
  void ABackupAndARestoreThroughTheWindowsControls() {
    testing::TemporaryDevice first;
    std::string error;
    QVERIFY2(profile::FillSampleData(first.device(), 1, &error), error.c_str());
    std::unique_ptr<MainWindow> window = MakeWindow(first);
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    for (const char* kind :
         {"Contacts", "Appointments", "Tasks", "Call logs", "Speed dials", "Messages"})
      ToggleKind(*window, kind);
    Find<QPushButton>(window->action_page(), "1034")->click();
    QVERIFY(Activate(*window));
    std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::Yes);
    QTest::keyClick(window.get(), Qt::Key_A, Qt::AltModifier);  // Backup attachments
    QTRY_VERIFY(box->answered);
    window->ShowTab(Tab::kBackupRestore);
    Find<QPushButton>(window->action_page(), "1033")->click();
    QSignalSpy backed_up(window.get(), &MainWindow::JobEnded);
    QTest::mouseClick(Find<QPushButton>(window->file_page(), "1033"), Qt::LeftButton);
    QVERIFY(backed_up.wait(120'000));
    QVERIFY(QApplication::activeModalWidget() == nullptr);  // no failure box
    const StatusModel& rows = window->status_page()->model();
    QVERIFY(rows.data(rows.index(rows.rowCount() - 1, 1))
                .toString()
                .startsWith("Backup ended successfully in "));
    const QString archive =
        QString::fromStdString(first.HostPath(u"\\Storage Card\\Kestrav_20070315.qbk").string());

    testing::TemporaryDevice second;
    window = MakeWindow(second);
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    Find<QComboBox>(window->action_page(), "1031")->setCurrentIndex(1);
    PickInNextFileDialog(archive);
    QTest::keyClick(window.get(), Qt::Key_B, Qt::AltModifier);  // Browse
    QTRY_COMPARE(window->action_page()->CheckedKinds().size(), std::size_t{6});
    QVERIFY(Activate(*window));
    QTest::keyClick(window.get(), Qt::Key_P, Qt::AltModifier);  // Options: contacts first
    QTRY_COMPARE(Shown<QLabel>(window->restore_options_page(), "1020"),
                 QString("Restore contacts options"));
    Find<QRadioButton>(window->restore_options_page(), "1010")->click();
    QTest::keyClick(window.get(), Qt::Key_Escape);  // the other kinds as they are
    QCOMPARE(window->CurrentTab(), Tab::kBackupRestore);
    QSignalSpy restored(window.get(), &MainWindow::JobEnded);
    Find<QPushButton>(window->action_page(), "1033")->click();
    QVERIFY(restored.wait(120'000));
    QVERIFY(QApplication::activeModalWidget() == nullptr);  // no failure box
    const StatusModel& restore_rows = window->status_page()->model();
    QVERIFY(restore_rows.data(restore_rows.index(restore_rows.rowCount() - 1, 1))
                .toString()
                .startsWith("Restore ended successfully in "));

    QProcess compare;
    compare.start("python3", {KESTRAV_COMPARE_HANDHELDS, KESTRAV_CLI_PROGRAM,
                              QString::fromStdString(first.folder().string()),
                              QString::fromStdString(second.folder().string())});
    QVERIFY(compare.waitForFinished(120'000));
    QVERIFY2(compare.exitCode() == 0, compare.readAllStandardError().constData());

    // A restore of many contacts, deleting first, canceled part way: undo puts them back.
    testing::TemporaryDevice many;
    QVERIFY2(profile::FillSampleContacts(many.device(), 400, &error), error.c_str());
    engine::BackupJob backup;
    backup.archive_file = u"\\Storage Card\\many.qbk";
    backup.kinds = {ItemKind::kContacts};
    QVERIFY(kinds::RunBackup(many.device(), backup, nullptr, nullptr, {}).failure.empty());
    const QString many_archive =
        QString::fromStdString(many.HostPath(backup.archive_file).string());
    const std::string contacts = Dump(second, "contacts");
    window->wizard()->OpenForRestore(many_archive);
    box = AnswerNextBox(QMessageBox::Ok);
    Find<QPushButton>(window->action_page(), "1033")->click();
    QTRY_VERIFY(restore_rows.rowCount() >= 10);
    QVERIFY(window->busy());
    window->ExitCommand();
    QVERIFY(restored.wait(120'000));
    QVERIFY(box->answered);
    QVERIFY2(box->text.contains("\"Undo\" in the Options menu puts the device back as it was "
                                "before this restore"),
             qPrintable(box->text));
    QVERIFY(Dump(second, "contacts") != contacts);
    QMenu* menu = window->options_menu();
    emit menu->aboutToShow();
    auto* undo = window->findChild<QAction*>("Undo");
    QVERIFY(undo->isEnabled());
    QCOMPARE(undo->text(), "Undo the restore of " + many_archive);
    box = AnswerNextBox(QMessageBox::Yes);
    undo->trigger();
    QVERIFY(box->answered);
    QVERIFY(restored.wait(60'000));
    QCOMPARE(restore_rows.data(restore_rows.index(restore_rows.rowCount() - 1, 1)).toString(),
             "The device is back as it was before the restore of " + many_archive +
                 ", started 2007-03-15 10:20:30 UTC.");
    QCOMPARE(Dump(second, "contacts"), contacts);
  }

 private:
  testing::TemporaryFolder session_;
};

}  // namespace kestrav::ui

QTEST_MAIN(kestrav::ui::WizardTest)
#include "wizard_test.moc"
