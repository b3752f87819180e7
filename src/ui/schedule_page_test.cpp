#include "ui/schedule_page.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTimeEdit>
#include <QTreeWidget>
#include <QtTest>
#include <memory>

#include "engine/device_job.h"
#include "messages/message_folders.h"
#include "platform/test_support/temporary_device.h"
#include "settings/reg_key.h"
#include "settings/settings_keys.h"
#include "ui/main_window.h"
#include "ui/soft_key_bar.h"
#include "ui/test_boxes.h"

namespace kestrav::ui {
namespace {

using platform::kHkeyCurrentUser;

std::uint32_t Dword(testing::TemporaryDevice& device, const char16_t* name) {
  settings::RegKey key(device.device().registry());
  if (!key.OpenForRead(kHkeyCurrentUser, settings::kScheduleKey)) return 0xDEAD;
  return key.ReadDword(name);
}

std::u16string String(testing::TemporaryDevice& device, const char16_t* name) {
  settings::RegKey key(device.device().registry());
  if (!key.OpenForRead(kHkeyCurrentUser, settings::kScheduleKey)) return u"(no key)";
  const auto bytes = key.ReadString(name);
  if (!bytes) return u"(no value)";
  return std::u16string(reinterpret_cast<const char16_t*>(bytes->data()), bytes->size() / 2);
}

void WriteSchedule(testing::TemporaryDevice& device, std::uint32_t days, std::uint32_t keep,
                   std::uint32_t start) {
  platform::Registry& registry = device.device().registry();
  settings::WriteDwordValue(registry, settings::kScheduleKey, settings::kScheduleDaysValue, days);
  settings::WriteDwordValue(registry, settings::kScheduleKey, settings::kKeepFilesValue, keep);
  settings::WriteDwordValue(registry, settings::kScheduleKey, settings::kDeleteBackupsValue, 1);
  settings::WriteDwordValue(registry, settings::kScheduleKey, settings::kTurnOffValue, 1);
  settings::WriteDwordValue(registry, settings::kScheduleKey, settings::kBackupTimeValue, start);
}

QStringList CheckedDays(const QTreeWidget* days) {
  QStringList checked;
  for (int row = 0; row < days->topLevelItemCount(); ++row) {
    if (days->topLevelItem(row)->checkState(0) == Qt::Checked)
      checked << days->topLevelItem(row)->text(0);
  }
  return checked;
}

}  // namespace

class SchedulePageTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    // The schedule's timers land in a session of the test's own.
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
      qputenv(variable, session_.path().toUtf8());
  }

  void OpensWithEveryDayAndThreeFilesWhenNoScheduleIsSet() {
    testing::TemporaryDevice device;
    SchedulePage page(device.device());
    page.show();
    const QStringList ids = {"1020", "1003", "1050", "1052", "1057",
                             "1056", "1054", "1055", "1033", "1034"};
    for (const QString& id : ids) {
      auto* control = page.findChild<QWidget*>(id);
      QVERIFY2(control != nullptr, qPrintable(id));
      QVERIFY2(!control->accessibleName().isEmpty(), qPrintable(id));
    }
    QCOMPARE(page.findChild<QLabel*>("1020")->text(), QString("Kestrav schedule"));
    QCOMPARE(page.findChild<QLabel*>("1003")->text(), QString("Perform backup on every:"));
    auto* days = page.findChild<QTreeWidget*>("1050");
    QCOMPARE(days->headerItem()->text(0), QString("Days"));
    QCOMPARE(CheckedDays(days), QStringList({"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday",
                                             "Friday", "Saturday"}));
    QCOMPARE(page.findChild<QCheckBox*>("1057")->text(), QString("Turn off after backup"));
    QCOMPARE(page.findChild<QCheckBox*>("1056")->text(), QString("Delete old backup files"));
    QVERIFY(!page.findChild<QCheckBox*>("1056")->isChecked());
    auto* keep = page.findChild<QSpinBox*>("1055");
    QCOMPARE(keep->value(), 3);
    QCOMPARE(keep->minimum(), 1);
    QCOMPARE(keep->maximum(), 10);
    QVERIFY(!keep->isEnabled());
    QCOMPARE(page.findChild<QPushButton*>("1033")->text(), QString("Validate"));
    QCOMPARE(page.findChild<QPushButton*>("1034")->text(), QString("<< Back"));
    // The time of day is the machine's local time; the page says so.
    QVERIFY(page.findChild<QLabel*>("TimeNote")->text().contains("Local time"));
    QVERIFY(page.findChild<QLabel*>("TimeNote")->text().contains("UTC date"));
    QCOMPARE(page.findChild<QLabel*>("NextRun")->text(), QString("Next run: none armed"));

    // Ticking "Delete old backup files" lets the number be changed.
    page.findChild<QCheckBox*>("1056")->click();
    QVERIFY(keep->isEnabled());
  }

  void StoredScheduleShowsItsDaysAndTimeAndATenAsThree() {
    testing::TemporaryDevice device;
    WriteSchedule(device, 0x22, 10, 18 * 3600 + 30 * 60 + 5);  // Monday and Friday
    SchedulePage page(device.device());
    page.show();
    QCOMPARE(CheckedDays(page.findChild<QTreeWidget*>("1050")), QStringList({"Monday", "Friday"}));
    QCOMPARE(page.findChild<QTimeEdit*>("1052")->time(), QTime(18, 30, 5));
    QVERIFY(page.findChild<QCheckBox*>("1057")->isChecked());
    QVERIFY(page.findChild<QCheckBox*>("1056")->isChecked());
    QVERIFY(page.findChild<QSpinBox*>("1055")->isEnabled());
    QCOMPARE(page.findChild<QSpinBox*>("1055")->value(), 3);  // the stored 10

    WriteSchedule(device, 0x22, 9, 60);
    page.Load();
    QCOMPARE(page.findChild<QSpinBox*>("1055")->value(), 9);
    QCOMPARE(page.findChild<QTimeEdit*>("1052")->time(), QTime(0, 1, 0));
  }

  void ValidateByKeyboardSavesThePageAndTheWizardsChoices() {
    testing::TemporaryDevice device;
    SchedulePage page(device.device());
    page.show();
    QVERIFY(QTest::qWaitForWindowActive(&page));
    settings::ScheduleChoice wizard;
    wizard.backup_folder = u"\\Storage Card\\Backups";
    wizard.kinds = {engine::ItemKind::kContacts, engine::ItemKind::kMessages};
    wizard.store_attachments = true;
    wizard.compress = false;
    engine::FolderExclusion drafts{u"SMS", std::u16string(u"Drafts")};
    QVERIFY(messages::MakeExclusionRecord(drafts).has_value());
    wizard.exclusions = {drafts};
    page.SetWizardChoices(wizard);

    // Only Tuesday and Thursday: Space on a row flips its check box.
    auto* days = page.findChild<QTreeWidget*>("1050");
    days->setFocus();
    for (int row = 0; row < 7; ++row) {
      days->setCurrentItem(days->topLevelItem(row));
      if (row != 2 && row != 4) QTest::keyClick(days, Qt::Key_Space);
    }
    QCOMPARE(CheckedDays(days), QStringList({"Tuesday", "Thursday"}));
    QTest::keyClick(days, Qt::Key_Tab);
    auto* time = page.findChild<QTimeEdit*>("1052");
    QCOMPARE(QApplication::focusWidget(), time);
    time->setTime(QTime(6, 45, 0));
    // Tab goes through the picker's hours, minutes and seconds, then on.
    for (int press = 0; press < 3 && QApplication::focusWidget() == time; ++press)
      QTest::keyClick(time, Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), page.findChild<QWidget*>("1057"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), page.findChild<QWidget*>("1056"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), page.findChild<QWidget*>("1055"));
    for (int press = 0; press < 9; ++press)
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Up);
    QCOMPARE(page.findChild<QSpinBox*>("1055")->value(), 10);

    QSignalSpy validated(&page, &SchedulePage::Validated);
    const std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::Ok);
    auto* validate = page.findChild<QPushButton*>("1033");
    validate->setFocus();
    QTest::keyClick(validate, Qt::Key_Space);
    QTRY_VERIFY(box->answered);
    QCOMPARE(box->title, QString("Backup schedule"));
    QCOMPARE(box->text, QString("Backup schedule successfully updated!"));
    QCOMPARE(validated.count(), 1);

    QCOMPARE(Dword(device, u"SchedDays"), 0x14u);
    QCOMPARE(Dword(device, u"BckpTime"), 24300u);
    QCOMPARE(Dword(device, u"TurnOff"), 0u);
    QCOMPARE(Dword(device, u"DelBckp"), 1u);
    QCOMPARE(Dword(device, u"KpFiles"), 10u);
    QVERIFY(String(device, u"BckpFolder") == u"\\Storage Card\\Backups");
    QCOMPARE(Dword(device, u"BckpItems"), 12u);
    QCOMPARE(Dword(device, u"StoreAttachments"), 1u);
    QCOMPARE(Dword(device, u"ShouldCompress"), 0u);
    settings::RegKey exclusions(device.device().registry());
    QVERIFY(exclusions.OpenForRead(kHkeyCurrentUser, settings::kExclusionsKey));
    const auto record = exclusions.ReadBinary(u"BckpExclusions#0");
    QVERIFY(record.has_value());
    QCOMPARE(record->size(), std::size_t{1044});

    // Shown again, the saved 10 reads as 3.
    page.hide();
    page.show();
    QCOMPARE(page.findChild<QSpinBox*>("1055")->value(), 3);
    QCOMPARE(CheckedDays(days), QStringList({"Tuesday", "Thursday"}));
  }

  void AnotherJobOnTheDeviceIsSaidInOneBoxAndNothingIsSaved() {
    testing::TemporaryDevice device;
    engine::DeviceJobOptions options;
    options.name = u"restore";
    std::u16string refusal;
    const auto other = engine::DeviceJob::Begin(device.device(), options, &refusal);
    QVERIFY(other != nullptr);
    SchedulePage page(device.device());
    page.show();
    QSignalSpy validated(&page, &SchedulePage::Validated);
    const std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::Ok);
    page.Validate();
    QVERIFY(box->answered);
    QVERIFY2(box->text.startsWith("The schedule was not saved: ") && box->text.contains("restore"),
             qPrintable(box->text));
    QCOMPARE(validated.count(), 0);
    QCOMPARE(Dword(device, u"SchedDays"), 0xDEADu);  // no schedule key
  }

  void WindowsScheduleTabLeavesForTheWizardWhenSavedOrBack() {
    testing::TemporaryDevice device;
    MainWindow window(device.device(), device.device().os_major_version(), {}, {});
    window.show();
    window.ShowTab(Tab::kSchedule);
    SchedulePage* page = window.schedule_page();
    QCOMPARE(window.findChild<QTabWidget*>("Tabs")->currentWidget(), page);
    // Built when first shown, with every control showing.
    QVERIFY(page->findChild<QTreeWidget*>("1050")->isVisible());
    QVERIFY(page->findChild<QPushButton*>("1033")->isVisible());
    QTest::mouseClick(page->findChild<QPushButton*>("1034"), Qt::LeftButton);
    QCOMPARE(window.CurrentTab(), Tab::kBackupRestore);

    window.ShowTab(Tab::kSchedule);
    page->findChild<QTimeEdit*>("1052")->setTime(QTime(18, 30, 0));
    const std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::Ok);
    QTest::mouseClick(page->findChild<QPushButton*>("1033"), Qt::LeftButton);
    QTRY_VERIFY(box->answered);
    QCOMPARE(box->text, QString("Backup schedule successfully updated!"));
    QCOMPARE(window.CurrentTab(), Tab::kBackupRestore);
    QCOMPARE(window.soft_keys()->LeftText(), QString("Exit"));
  }

  void ScheduleSetOnThePageReadsBackWithTheCommandLine() {
    testing::TemporaryDevice device;
    device.files().CreateFolder(u"\\Storage Card\\Backups");
    settings::WriteStringValue(device.device().registry(), settings::kApplicationKey,
                               settings::kDefaultFolderValue, u"\\Storage Card\\Backups");
    SchedulePage page(device.device());
    page.show();
    auto* days = page.findChild<QTreeWidget*>("1050");
    for (int row = 0; row < 7; ++row)
      days->topLevelItem(row)->setCheckState(0, row == 1 || row == 3 ? Qt::Checked : Qt::Unchecked);
    page.findChild<QTimeEdit*>("1052")->setTime(QTime(18, 30, 0));
    page.findChild<QCheckBox*>("1057")->setChecked(true);
    page.findChild<QCheckBox*>("1056")->setChecked(true);
    page.findChild<QSpinBox*>("1055")->setValue(5);
    const std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::Ok);
    QTest::mouseClick(page.findChild<QPushButton*>("1033"), Qt::LeftButton);
    QTRY_VERIFY(box->answered);
    QCOMPARE(box->text, QString("Backup schedule successfully updated!"));
    // Saved on Thursday 15 March 2007: the next scheduled day is Monday.
    page.Load();
    QVERIFY2(page.findChild<QLabel*>("NextRun")->text().startsWith(
                 "Next run: Monday 2007-03-19 18:30:00 "),
             qPrintable(page.findChild<QLabel*>("NextRun")->text()));

    QProcess cli;
    cli.start(KESTRAV_CLI_PROGRAM,
              {"--device", QString::fromStdString(device.folder().string()), "schedule", "show"});
    QVERIFY(cli.waitForFinished(30000));
    QCOMPARE(cli.exitCode(), 0);
    QStringList lines = QString::fromUtf8(cli.readAllStandardOutput()).split('\n');
    QVERIFY(!lines.isEmpty() && lines.last().isEmpty());
    lines.removeLast();
    QVERIFY(lines.last().startsWith("Next run: "));
    lines.removeLast();  // the next run is by the machine's clock, not the device's
    QCOMPARE(lines, QStringList({"Days: Monday, Wednesday", "Start time: 18:30:00 local time",
                                 "Folder: \\Storage Card\\Backups\\",
                                 "Kinds: appointments, calllogs, contacts, messages, speeddials, "
                                 "tasks",
                                 "Old backups: deleted, keeping 5", "Turn off after backup: yes",
                                 "Compress: yes", "Message attachments: no",
                                 "Message folders left out: none"}));
  }

 private:
  QTemporaryDir session_;
};

}  // namespace kestrav::ui

QTEST_MAIN(kestrav::ui::SchedulePageTest)
#include "schedule_page_test.moc"
