#include "ui/folder_browser.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QtTest>
#include <filesystem>
#include <memory>
#include <vector>

#include "platform/test_support/temporary_device.h"
#include "ui/test_boxes.h"

namespace kestrav::ui {
namespace {

namespace fs = std::filesystem;

QStringList ChildLabels(const QTreeWidgetItem* item) {
  QStringList labels;
  for (int index = 0; index < item->childCount(); ++index) labels << item->child(index)->text(0);
  labels.sort();
  return labels;
}

QTreeWidgetItem* Child(QTreeWidgetItem* item, const QString& label) {
  for (int index = 0; index < item->childCount(); ++index) {
    if (item->child(index)->text(0) == label) return item->child(index);
  }
  return nullptr;
}

// The editor of the label being edited, once it shows.
QLineEdit* LabelEditor(FolderBrowser& browser) {
  QLineEdit* editor = nullptr;
  const bool shown = QTest::qWaitFor([&] {
    editor = browser.tree()->viewport()->findChild<QLineEdit*>();
    return editor != nullptr && editor->isVisible();
  });
  return shown ? editor : nullptr;
}

QTimer* UncreatedFolderTimer(FolderBrowser& browser) {
  return browser.findChild<QTimer*>("3");
}

}  // namespace

class FolderBrowserTest : public QObject {
  Q_OBJECT

 private slots:
  void ShowsTheDevicesFoldersUnderMyDeviceAndHandsBackTheChosenOne() {
    testing::TemporaryDevice device;
    platform::FileSystem& files = device.device().files();
    QCOMPARE(files.CreateFolder(u"\\Storage Card\\Backups\\2007"), platform::kErrorSuccess);
    device.WriteFile(u"\\Storage Card\\Kestrav_20070315.qbk", "PK");

    FolderBrowser browser(device.device(), u"\\storage card\\Backups", nullptr);
    browser.show();
    QTreeWidget* tree = browser.tree();
    QCOMPARE(tree->topLevelItemCount(), 1);
    QTreeWidgetItem* root = tree->topLevelItem(0);
    QCOMPARE(root->text(0), QString("My Device"));
    QCOMPARE(ChildLabels(root), QStringList({"My Documents", "Storage Card", "Temp", "Windows"}));
    QTreeWidgetItem* card = Child(root, "Storage Card");
    QCOMPARE(ChildLabels(card), QStringList({"Backups"}));  // files are not shown
    QCOMPARE(tree->currentItem(), Child(card, "Backups"));
    QCOMPARE(browser.chosen_folder(), std::u16string(u"\\Storage Card\\Backups"));

    // Down by the keyboard into 2007, then OK.
    tree->setFocus();
    QTest::keyClick(tree, Qt::Key_Right);
    QTest::keyClick(tree, Qt::Key_Down);
    QCOMPARE(browser.chosen_folder(), std::u16string(u"\\Storage Card\\Backups\\2007"));
    QTest::keyClick(tree, Qt::Key_Return);
    QCOMPARE(browser.result(), int(QDialog::Accepted));

    // A folder that is not there opens at its deepest one that is; the root is "\".
    FolderBrowser missing(device.device(), u"\\Storage Card\\Gone\\Deeper", nullptr);
    QCOMPARE(missing.chosen_folder(), std::u16string(u"\\Storage Card"));
    missing.tree()->setCurrentItem(missing.tree()->topLevelItem(0));
    QCOMPARE(missing.chosen_folder(), std::u16string(u"\\"));
    // "My Device" is a folder too: new folders go into the root.
    bool offered = false;
    QTimer::singleShot(0, [&] {
      if (auto* popup = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
        offered = true;
        popup->close();
      }
    });
    missing.ShowContextMenu(missing.tree()->topLevelItem(0), QPoint(10, 10));
    QVERIFY(offered);
  }

  void NewFolderFromTheKeyboardIsNamedAfterThoseThereAndCreated() {
    testing::TemporaryDevice device;
    platform::FileSystem& files = device.device().files();
    QCOMPARE(files.CreateFolder(u"\\Storage Card\\New Folder"), platform::kErrorSuccess);
    QCOMPARE(files.CreateFolder(u"\\Storage Card\\New Folder(1)"), platform::kErrorSuccess);
    FolderBrowser browser(device.device(), u"\\Storage Card", nullptr);
    browser.show();
    QVERIFY(QTest::qWaitForWindowActive(&browser));

    // Shift+F10 opens the "&Options" popup on the selected folder.
    QMenu* popup = nullptr;
    QTimer::singleShot(0, [&] {
      popup = qobject_cast<QMenu*>(QApplication::activePopupWidget());
      if (popup == nullptr) return;
      QCOMPARE(popup->title(), QString("&Options"));
      QCOMPARE(popup->actions().size(), 1);
      QCOMPARE(popup->actions()[0]->text(), QString("New Folder"));
      popup->setActiveAction(popup->actions()[0]);
      QTest::keyClick(popup, Qt::Key_Return);
    });
    QTest::keyClick(browser.tree(), Qt::Key_F10, Qt::ShiftModifier);
    QVERIFY(popup != nullptr);

    QLineEdit* editor = LabelEditor(browser);
    QVERIFY(editor != nullptr);
    QCOMPARE(editor->text(), QString("New Folder(2)"));
    QCOMPARE(browser.tree()->currentItem()->text(0), QString("New Folder(2)"));
    QVERIFY(!browser.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->isEnabled());

    editor->selectAll();
    QTest::keyClicks(editor, "Backups");
    const std::shared_ptr<BoxSeen> question = AnswerNextBox(QMessageBox::Yes);
    QTest::keyClick(editor, Qt::Key_Return);
    QTRY_VERIFY(question->answered);
    QCOMPARE(question->title, QString("Folder creation"));
    QCOMPARE(question->text,
             QString("Are you sure you want to create folder \"\\Storage Card\\Backups\"?"));
    QVERIFY(fs::is_directory(device.HostPath(u"\\Storage Card\\Backups")));
    QCOMPARE(browser.tree()->currentItem()->text(0), QString("Backups"));
    QCOMPARE(browser.chosen_folder(), std::u16string(u"\\Storage Card\\Backups"));
    QVERIFY(!UncreatedFolderTimer(browser)->isActive());
    QVERIFY(browser.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->isEnabled());
  }

  void AFileOfTheNameFailsWithItsBoxAndTheTimerTakesTheItemOut() {
    testing::TemporaryDevice device;
    device.WriteFile(u"\\Storage Card\\New Folder", "a file");
    FolderBrowser browser(device.device(), u"\\Storage Card", nullptr);
    browser.show();
    QTreeWidgetItem* card = browser.tree()->currentItem();
    browser.NewFolder(card);
    QLineEdit* editor = LabelEditor(browser);
    QCOMPARE(editor->text(), QString("New Folder"));

    const auto boxes = AnswerBoxes({QMessageBox::Yes, QMessageBox::Ok});
    QTest::keyClick(editor, Qt::Key_Return);
    QTRY_VERIFY(boxes[1]->answered);
    const BoxSeen* error = boxes[1].get();
    QCOMPARE(error->title, QString("Folder creation error"));
    QCOMPARE(error->text, QString("Couldn't create folder \"\\Storage Card\\New Folder\"!"));
    QCOMPARE(error->icon, QMessageBox::Critical);
    QTimer* timer = UncreatedFolderTimer(browser);
    QVERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 200);
    QCOMPARE(card->childCount(), 1);
    QTRY_COMPARE(card->childCount(), 0);
    QCOMPARE(browser.tree()->currentItem(), card);
    QCOMPARE(device.ReadFile(u"\\Storage Card\\New Folder"), std::string("a file"));
  }

  void CancelledEmptyOrRefusedLabelsCreateNothing() {
    testing::TemporaryDevice device;
    FolderBrowser browser(device.device(), u"\\My Documents", nullptr);
    browser.show();
    QTreeWidgetItem* documents = browser.tree()->currentItem();
    QTimer* timer = UncreatedFolderTimer(browser);

    // Escape: no box, and the timer takes the item out.
    browser.NewFolder(documents);
    QTest::keyClick(LabelEditor(browser), Qt::Key_Escape);
    QTRY_VERIFY(timer->isActive());
    QVERIFY(browser.isVisible());  // Escape ended the edit, not the dialog
    QTRY_COMPARE(documents->childCount(), 0);

    // An empty label: its error box, then the timer.
    browser.NewFolder(documents);
    QLineEdit* editor = LabelEditor(browser);
    editor->clear();
    const std::shared_ptr<BoxSeen> invalid = AnswerNextBox(QMessageBox::Ok);
    QTest::keyClick(editor, Qt::Key_Return);
    QTRY_VERIFY(invalid->answered);
    QCOMPARE(invalid->title, QString("Folder name error"));
    QCOMPARE(invalid->text, QString("Invalid folder name"));
    QCOMPARE(invalid->icon, QMessageBox::Critical);
    QTRY_VERIFY(timer->isActive());
    QTRY_COMPARE(documents->childCount(), 0);

    // No to the question: the item goes at once, without the timer.
    browser.NewFolder(documents);
    const std::shared_ptr<BoxSeen> question = AnswerNextBox(QMessageBox::No);
    QTest::keyClick(LabelEditor(browser), Qt::Key_Return);
    QTRY_VERIFY(question->answered);
    QTRY_COMPARE(documents->childCount(), 0);
    QVERIFY(!timer->isActive());
    QCOMPARE(browser.tree()->currentItem(), documents);

    QVERIFY(fs::is_empty(device.HostPath(u"\\My Documents")));
  }
};

}  // namespace kestrav::ui

QTEST_MAIN(kestrav::ui::FolderBrowserTest)
#include "folder_browser_test.moc"
