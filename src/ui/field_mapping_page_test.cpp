#include "ui/field_mapping_page.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTreeWidget>
#include <QtTest>
#include <fstream>
#include <memory>

#include "kinds/jobs.h"
#include "platform/test_support/temporary_device.h"
#include "settings/reg_key.h"
#include "ui/status_page.h"
#include "ui/test_boxes.h"

namespace kestrav::ui {
namespace {

// Writes a file in the device's "My Documents" and gives its host path.
QString WriteFile(testing::TemporaryDevice& device, const char16_t* name, std::string_view bytes) {
  const std::u16string path = u"\\My Documents\\" + std::u16string(name);
  device.WriteFile(path, bytes);
  return QString::fromStdString(device.HostPath(path).string());
}

QStringList Column(const QTreeWidget* list, int column) {
  QStringList texts;
  for (int row = 0; row < list->topLevelItemCount(); ++row)
    texts << list->topLevelItem(row)->text(column);
  return texts;
}

QString MappedFrom(const FieldMappingPage& page, int contact_column) {
  return page.findChild<QTreeWidget*>("FieldList")->topLevelItem(contact_column)->text(1);
}

void Click(const FieldMappingPage& page, const char* id) {
  QWidget* control = page.findChild<QWidget*>(id);
  QVERIFY2(control != nullptr, id);
  QTest::mouseClick(control, Qt::LeftButton);
}

void SelectRow(const FieldMappingPage& page, const char* list_id, int row) {
  auto* list = page.findChild<QTreeWidget*>(list_id);
  list->scrollToItem(list->topLevelItem(row));
  QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                    list->visualItemRect(list->topLevelItem(row)).center());
}

}  // namespace

class FieldMappingPageTest : public QObject {
  Q_OBJECT

 private slots:
  void ThePageHasTheTextsAndEveryControlIsNamedAndReachable() {
    testing::TemporaryDevice device;
    FieldMappingPage page(device.device(), WriteFile(device, u"a.csv", "Name\r\n"), nullptr);
    QCOMPARE(page.windowTitle(), QString("Contact Fields"));
    QCOMPARE(page.findChild<QLabel*>("Title")->text(),
             QString("Map fields from the file to Contact Fields"));
    QCOMPARE(page.findChild<QLabel*>("FieldDelimiterLabel")->text(), QString("Field delimiter:"));
    auto* fields = page.findChild<QTreeWidget*>("FieldList");
    QCOMPARE(fields->headerItem()->text(0), QString("Field"));
    QCOMPARE(fields->headerItem()->text(1), QString("Mapped From"));
    QCOMPARE(fields->topLevelItemCount(), 60);
    QCOMPARE(fields->topLevelItem(21)->text(0), QString("Mobile Phone"));
    QCOMPARE(page.findChild<QTreeWidget*>("ValueList")->headerItem()->text(0), QString("Value"));
    QStringList delimiters;
    for (const char* id :
         {"CommaDelimiter", "SemicolonDelimiter", "TabDelimiter", "SpaceDelimiter"})
      delimiters << page.findChild<QRadioButton*>(id)->text();
    QCOMPARE(delimiters, (QStringList{" , ", " ; ", " TAB ", " SPACE "}));
    QVERIFY(page.findChild<QRadioButton*>("CommaDelimiter")->isChecked());
    for (QWidget* control : page.findChildren<QWidget*>()) {
      if (qobject_cast<QPushButton*>(control) == nullptr &&
          qobject_cast<QRadioButton*>(control) == nullptr &&
          qobject_cast<QTreeWidget*>(control) == nullptr)
        continue;
      QVERIFY2(!control->accessibleName().isEmpty(), qPrintable(control->objectName()));
      QVERIFY2(control->focusPolicy() & Qt::TabFocus, qPrintable(control->objectName()));
    }
    for (const char* id : {"Map", "Unmap", "Clear", "Default"})
      QCOMPARE(page.findChild<QPushButton*>(id)->text(), QString(id));
  }

  // Map with nothing chosen on the left says so whatever the right holds, and focus goes back to
  // the list that lacks a choice; Default ignores case and takes a file column once.
  void MapErrorsDefaultAndClear() {
    testing::TemporaryDevice device;
    FieldMappingPage page(
        device.device(),
        WriteFile(device, u"b.csv", "name,FIRST NAME,First Name,Notes\r\nx,y,z,w\r\n"), nullptr);
    page.show();
    QCOMPARE(Column(page.findChild<QTreeWidget*>("ValueList"), 0),
             (QStringList{"name", "FIRST NAME", "First Name", "Notes"}));
    QCOMPARE(MappedFrom(page, 0), QString("name"));
    QCOMPARE(MappedFrom(page, 2), QString("FIRST NAME"));
    QCOMPARE(MappedFrom(page, 58), QString("Notes"));

    SelectRow(page, "FieldList", 1);
    std::shared_ptr<BoxSeen> box = AnswerNextBox(QMessageBox::Ok);
    Click(page, "Map");
    QCOMPARE(box->title, QString("Map Error"));
    QCOMPARE(box->text, QString("No Value selected"));
    QCOMPARE(box->icon, QMessageBox::Critical);
    QCOMPARE(page.focusWidget(), page.findChild<QTreeWidget*>("ValueList"));

    page.findChild<QTreeWidget*>("FieldList")->clearSelection();
    SelectRow(page, "ValueList", 3);
    box = AnswerNextBox(QMessageBox::Ok);
    Click(page, "Map");
    QCOMPARE(box->text, QString("No Contact Field selected"));
    QCOMPARE(page.focusWidget(), page.findChild<QTreeWidget*>("FieldList"));
    box = AnswerNextBox(QMessageBox::Ok);
    Click(page, "Unmap");
    QCOMPARE(box->text, QString("No Contact Field selected"));

    // One file column may feed several contact columns.
    SelectRow(page, "FieldList", 1);
    Click(page, "Map");
    QCOMPARE(MappedFrom(page, 1), QString("Notes"));
    QCOMPARE(MappedFrom(page, 58), QString("Notes"));
    Click(page, "Unmap");
    QCOMPARE(MappedFrom(page, 1), QString());
    Click(page, "Clear");
    QCOMPARE(Column(page.findChild<QTreeWidget*>("FieldList"), 1), QStringList(60, QString()));
    Click(page, "Default");
    QCOMPARE(MappedFrom(page, 0), QString("name"));
  }

  // The whole way a semicolon file goes: read with the comma it is one field; " ; " splits it;
  // the map is made with the keyboard and the mouse; OK keeps it; the job imports the contacts
  // onto the profile through the window, and the next page opens as this one closed.
  void ASemicolonCsvImportedThroughTheMap() {
    testing::TemporaryDevice device;
    const QString file =
        WriteFile(device, u"people.csv",
                  "Full Name;Given;Mobile\r\nZo\xC3\xAB Lee;Zo\xC3\xAB;555-0101\r\nBob Ray;Bob;"
                  "555-0102\r\n");
    auto page = std::make_unique<FieldMappingPage>(device.device(), file, nullptr);
    page->show();
    auto* values = page->findChild<QTreeWidget*>("ValueList");
    QCOMPARE(Column(values, 0), QStringList{"Full Name;Given;Mobile"});
    auto* semicolon = page->findChild<QRadioButton*>("SemicolonDelimiter");
    semicolon->setFocus();
    QTest::keyClick(semicolon, Qt::Key_Space);
    QCOMPARE(Column(values, 0), (QStringList{"Full Name", "Given", "Mobile"}));

    SelectRow(*page, "ValueList", 0);
    SelectRow(*page, "FieldList", 0);
    Click(*page, "Map");
    // The keyboard: one row down in each list.
    values->setFocus();
    QTest::keyClick(values, Qt::Key_Down);
    auto* fields = page->findChild<QTreeWidget*>("FieldList");
    fields->setFocus();
    QTest::keyClick(fields, Qt::Key_Down);
    QTest::keyClick(fields, Qt::Key_Down);
    page->findChild<QPushButton*>("Map")->setFocus();
    QTest::keyClick(page->findChild<QPushButton*>("Map"), Qt::Key_Space);
    QCOMPARE(MappedFrom(*page, 0), QString("Full Name"));
    QCOMPARE(MappedFrom(*page, 2), QString("Given"));
    // Mapped, though a file of three columns leaves the 22nd contact column empty.
    SelectRow(*page, "ValueList", 2);
    SelectRow(*page, "FieldList", 21);
    Click(*page, "Map");
    QCOMPARE(MappedFrom(*page, 21), QString("Mobile"));

    QTest::keyClick(page.get(), Qt::Key_Return);
    QCOMPARE(page->result(), int(QDialog::Accepted));
    QCOMPARE(settings::ReadStringValue(device.device().registry(), settings::kApplicationKey,
                                       u"ImportFieldMap"),
             std::optional<std::u16string>(u"Name=Full Name,First Name=Given,Mobile Phone=Mobile"));
    settings::RegKey key(device.device().registry());
    QVERIFY(key.OpenForRead(platform::kHkeyCurrentUser, settings::kApplicationKey));
    QCOMPARE(key.ReadDword(u"ImportDelimiter"), 59u);

    MainWindow window(device.device(), device.device().os_major_version(), {}, kinds::FrontEnd{});
    window.show();
    QSignalSpy ended(&window, &MainWindow::JobEnded);
    QVERIFY(window.StartJob(
        false, ImportJob(device.device(), page->Import(), engine::RestoreMode::kAddOnlyNew)));
    QVERIFY(ended.wait(30'000));
    QVERIFY(QApplication::activeModalWidget() == nullptr);
    const StatusModel& rows = window.status_page()->model();
    QStringList texts;
    for (int row = 0; row < rows.rowCount(); ++row)
      texts << rows.data(rows.index(row, 1)).toString();
    QVERIFY2(texts.contains(QString::fromUtf8("1. 'Zo\xC3\xAB Lee' inserted.")),
             qPrintable(texts.join('\n')));
    QVERIFY(texts.contains("2 contacts inserted in the database."));
    QCOMPARE(texts.back(),
             QString("\"Mobile Phone\" was mapped but stayed empty: only contact columns within "
                     "the file's column count (3) are filled; a first line of 22 columns or more "
                     "(empty names "
                     "will do) keeps it."));

    // The next file with those columns, in another order, opens mapped by their names.
    const QString next = WriteFile(device, u"next.csv", "Mobile;Full Name;Given\r\n");
    page = std::make_unique<FieldMappingPage>(device.device(), next, nullptr);
    QVERIFY(page->findChild<QRadioButton*>("SemicolonDelimiter")->isChecked());
    QCOMPARE(MappedFrom(*page, 0), QString("Full Name"));
    QCOMPARE(MappedFrom(*page, 21), QString("Mobile"));
    QCOMPARE(page->map()[0], 1);
  }
};

}  // namespace kestrav::ui

QTEST_MAIN(kestrav::ui::FieldMappingPageTest)
#include "field_mapping_page_test.moc"
