#include "ui/status_page.h"

#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTreeView>
#include <QtTest>
#include <atomic>
#include <filesystem>
#include <string>

#include "engine/backup_job.h"
#include "kinds/jobs.h"
#include "kinds/kinds.h"
#include "platform/test_support/temporary_device.h"
#include "profile/sample_data.h"
#include "ui/job_runner.h"
#include "ui/qt_progress_sink.h"

namespace kestrav::ui {
namespace {

using engine::LogIcon;

QString Cell(const StatusModel& model, int row, int column) {
  return model.data(model.index(row, column)).toString();
}

// Runs the event loop until the runner's Finished, and gives its outcome. (QTest::qWaitFor
// sleeps between rounds, which would hold every sent row back.)
JobOutcome WaitForEnd(JobRunner& runner) {
  JobOutcome outcome;
  QEventLoop loop;
  const QMetaObject::Connection connection =
      QObject::connect(&runner, &JobRunner::Finished, [&](const JobOutcome& ended) {
        outcome = ended;
        loop.exit(0);
      });
  QTimer::singleShot(120'000, &loop, [&] { loop.exit(1); });
  if (loop.exec() != 0) qFatal("the job did not end");
  QObject::disconnect(connection);
  return outcome;
}

// Spins until the job's thread has seen the flag, with a bound.
bool WaitForFlag(const std::atomic<bool>& flag) {
  for (int wait = 0; wait < 10'000 && !flag.load(); ++wait)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return flag.load();
}

}  // namespace

class StatusPageTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    page_ = std::make_unique<StatusPage>();
    page_->resize(240, 320);
    page_->show();
  }
  void cleanup() { page_.reset(); }

  void RowsIconsBarsAndFittedColumns() {
    JobRunner runner(page_.get(), device_.clock());
    const QString long_text =
        QStringLiteral("3. contact 'Bartholomew Featherstonehaugh-Smythe' saved.");
    QVERIFY(runner.Start(true, [&](engine::ProgressSink* sink, engine::CancelFlag*) {
      engine::SendLog(sink, u"Starting contacts backup...", LogIcon::kInformation);
      engine::PostProgress(sink, 2, 6, true);
      engine::PostProgress(sink, 50, 200, false);
      engine::PostProgress(sink, 80, 0, false);              // moves the bar in the range it has
      engine::PostLog(sink, std::nullopt, LogIcon::kError);  // no row
      engine::SendLog(sink, long_text.toStdU16String(), LogIcon::kInformation);
      engine::PostLog(sink, u"Cannot open database", LogIcon::kError);
      engine::PostLog(sink, u"Backup ended successfully in 00:00:01.250", LogIcon::kInformation,
                      true);
      return JobOutcome{};
    }));
    QVERIFY(!runner.Start(true, [](auto, auto) { return JobOutcome{}; }));
    const JobOutcome outcome = WaitForEnd(runner);
    QVERIFY(!outcome.canceled);
    QVERIFY(!runner.IsRunning());

    QCOMPARE(page_->findChild<QLabel*>("1020")->text(), QStringLiteral("Kestrav status"));
    const StatusModel& model = page_->model();
    QCOMPARE(model.rowCount(), 5);
    QCOMPARE(Cell(model, 0, 0), QStringLiteral("11:20:30"));  // local time, an hour past UTC
    QCOMPARE(Cell(model, 0, 1), QStringLiteral("Preparing backup..."));
    QCOMPARE(Cell(model, 2, 1), long_text);
    QCOMPARE(Cell(model, 3, 1), QStringLiteral("Cannot open database"));
    QCOMPARE(model.IconOf(0), LogIcon::kInformation);
    QCOMPARE(model.IconOf(3), LogIcon::kError);
    QVERIFY(!model.data(model.index(3, 0), Qt::DecorationRole).value<QIcon>().isNull());
    QCOMPARE(model.headerData(0, Qt::Horizontal).toString(), QStringLiteral("Time"));
    QCOMPARE(model.headerData(1, Qt::Horizontal).toString(), QStringLiteral("Status"));

    auto* item_bar = page_->findChild<QProgressBar*>("1045");
    auto* overall_bar = page_->findChild<QProgressBar*>("1046");
    QCOMPARE(item_bar->maximum(), 200);
    QCOMPARE(item_bar->value(), 80);
    QCOMPARE(overall_bar->maximum(), 6);
    QCOMPARE(overall_bar->value(), 2);

    // After the last line the whole text shows, and the last row is in view.
    auto* log = page_->findChild<QTreeView*>("1044");
    const QFontMetrics metrics(log->font());
    QVERIFY(log->columnWidth(1) > metrics.horizontalAdvance(long_text));
    QVERIFY(log->columnWidth(0) >= log->header()->sectionSizeHint(0));
    QVERIFY(log->columnWidth(1) >= log->header()->sectionSizeHint(1));
    QVERIFY(log->viewport()->rect().intersects(log->visualRect(model.index(4, 1))));
    for (QWidget* control : {static_cast<QWidget*>(log), static_cast<QWidget*>(item_bar),
                             static_cast<QWidget*>(overall_bar)})
      QVERIFY(!control->accessibleName().isEmpty());

    // The next job, a restore, starts on an empty page with fresh bars; a member of 4 GB keeps
    // its proportion on the item bar.
    QVERIFY(runner.Start(false, [](engine::ProgressSink* sink, engine::CancelFlag*) {
      engine::PostProgress(sink, 3'000'000'000u, 4'000'000'000u, false);
      return JobOutcome{false, u"a store failed"};
    }));
    QCOMPARE(WaitForEnd(runner).failure, std::u16string(u"a store failed"));
    QCOMPARE(page_->findChild<QLabel*>("1020")->text(), QStringLiteral("PIM restore status"));
    QCOMPARE(model.rowCount(), 1);
    QCOMPARE(Cell(model, 0, 1), QStringLiteral("Preparing restore..."));
    QCOMPARE(qint64{item_bar->value()} * 4, qint64{item_bar->maximum()} * 3);
    QCOMPARE(overall_bar->maximum(), 100);
    QCOMPARE(overall_bar->value(), 0);
  }

  void AHundredThousandRowsReachTheListInBatches() {
    JobRunner runner(page_.get(), device_.clock());
    constexpr int kRows = 100'000;
    int inserts = 0;
    connect(&page_->model(), &QAbstractItemModel::rowsInserted, [&] { ++inserts; });
    int ticks = 0;
    QTimer ticker;
    connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
    ticker.start(5);
    QVERIFY(runner.Start(true, [](engine::ProgressSink* sink, engine::CancelFlag*) {
      for (int row = 1; row <= kRows; ++row) {
        const std::u16string text =
            std::u16string(u"contact ") + QString::number(row).toStdU16String();
        // Workers send their rows, the job driver posts its own: both kinds of traffic.
        if (row % 2 == 0)
          engine::SendLog(sink, text, LogIcon::kInformation);
        else
          engine::PostLog(sink, text, LogIcon::kInformation);
      }
      engine::PostLog(sink, u"Backup ended successfully in 00:00:09.000", LogIcon::kInformation,
                      true);
      return JobOutcome{};
    }));
    WaitForEnd(runner);
    const StatusModel& model = page_->model();
    QCOMPARE(model.rowCount(), kRows + 2);
    QCOMPARE(Cell(model, kRows, 1), QStringLiteral("contact 100000"));
    // The list learned of the rows a repaint at a time, not a row at a time, and the event loop
    // went on answering meanwhile.
    QVERIFY2(inserts < kRows / 20, qPrintable(QString::number(inserts)));
    QVERIFY(ticks > 0);
  }

  void AJobNeverWaitsForTheGuiThread() {
    JobRunner runner(page_.get(), device_.clock());
    constexpr int kRows = 20'000;
    std::atomic<bool> done = false;
    QVERIFY(runner.Start(true, [&](engine::ProgressSink* sink, engine::CancelFlag*) {
      for (int row = 0; row < kRows; ++row) {
        const std::u16string text = u"row " + QString::number(row).toStdU16String();
        if (row % 2 == 0)
          engine::SendLog(sink, text, LogIcon::kInformation);
        else
          engine::PostLog(sink, text, LogIcon::kInformation);
      }
      done = true;
      return JobOutcome{};
    }));
    // The GUI thread takes nothing meanwhile, and sent rows still return.
    QVERIFY(WaitForFlag(done));
    WaitForEnd(runner);
    const StatusModel& model = page_->model();
    QCOMPARE(model.rowCount(), kRows + 1);
    for (int row = 0; row < kRows; ++row)
      QCOMPARE(Cell(model, row + 1, 1), QStringLiteral("row %1").arg(row));
  }

  void AClosedPageMakesLaterReportsNoOps() {
    JobRunner runner(page_.get(), device_.clock());
    std::atomic<bool> first_shown = false;
    std::atomic<bool> page_closed = false;
    std::atomic<bool> later_reports_taken = true;
    QVERIFY(runner.Start(true, [&](engine::ProgressSink* sink, engine::CancelFlag*) {
      engine::SendLog(sink, u"Starting contacts backup...", LogIcon::kInformation);
      first_shown = true;
      WaitForFlag(page_closed);
      later_reports_taken = engine::SendLog(sink, u"sent", LogIcon::kInformation) ||
                            engine::PostLog(sink, u"posted", LogIcon::kInformation, true) ||
                            engine::PostProgress(sink, 1, 2, true);
      return JobOutcome{};
    }));
    QVERIFY(QTest::qWaitFor([&] { return first_shown.load(); }));
    page_->close();
    page_closed = true;
    WaitForEnd(runner);  // the job still runs to its end
    QVERIFY(!later_reports_taken);
    QCOMPARE(page_->model().rowCount(), 2);
    QCOMPARE(page_->findChild<QProgressBar*>("1046")->value(), 0);

    // A page that goes mid-job takes nothing with it either.
    std::atomic<bool> page_gone = false;
    QVERIFY(runner.Start(true, [&](engine::ProgressSink* sink, engine::CancelFlag*) {
      WaitForFlag(page_gone);
      return JobOutcome{engine::SendLog(sink, u"sent", LogIcon::kInformation), {}};
    }));
    page_.reset();
    page_gone = true;
    QVERIFY(!WaitForEnd(runner).canceled);
  }

  void CancelLogsItsRowAndSetsTheFlag() {
    JobRunner runner(page_.get(), device_.clock());
    std::atomic<bool> started = false;
    QVERIFY(runner.Start(false, [&](engine::ProgressSink* sink, engine::CancelFlag* cancel) {
      engine::SendLog(sink, u"Starting contacts restore...", LogIcon::kInformation);
      started = true;
      for (int wait = 0; wait < 10'000 && cancel->load() == 0; ++wait)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      if (cancel->load() == 0) return JobOutcome{false, u"never canceled"};
      engine::PostLog(sink, u"Restore has been canceled by user.", LogIcon::kError, true);
      return JobOutcome{};
    }));
    QVERIFY(QTest::qWaitFor([&] { return started.load(); }));
    QVERIFY(runner.IsRunning());
    runner.Cancel();
    runner.Cancel();  // a second press adds nothing
    const JobOutcome outcome = WaitForEnd(runner);
    QVERIFY(outcome.canceled);
    QVERIFY(outcome.failure.empty());
    const StatusModel& model = page_->model();
    QCOMPARE(model.rowCount(), 4);
    QCOMPARE(Cell(model, 2, 1), QStringLiteral("Canceling restore..."));
    QCOMPARE(model.IconOf(2), LogIcon::kError);
    QCOMPARE(Cell(model, 3, 1), QStringLiteral("Restore has been canceled by user."));
    runner.Cancel();  // no job: nothing
    QCOMPARE(model.rowCount(), 4);
  }

  void ABackupOfASampleDeviceMakesItsRowsAndArchive() {
    std::string error;
    QVERIFY2(profile::FillSampleData(device_.device(), 1, &error), error.c_str());
    engine::BackupJob job;
    job.archive_file = u"\\backup.qbk";
    for (const kinds::KindRow& row : kinds::AllKinds()) job.kinds.push_back(row.kind);
    JobRunner runner(page_.get(), device_.clock());
    QVERIFY(runner.Start(true, [&](engine::ProgressSink* sink, engine::CancelFlag* cancel) {
      return JobOutcome{false, kinds::RunBackupJob(device_.device(), job, sink, cancel)};
    }));
    const JobOutcome outcome = WaitForEnd(runner);
    QVERIFY(!outcome.canceled);
    QCOMPARE(outcome.failure, std::u16string());
    const StatusModel& model = page_->model();
    QVERIFY(model.rowCount() > 25);  // a row a contact at least
    QVERIFY(Cell(model, model.rowCount() - 1, 1).startsWith("Backup ended successfully in "));
    QCOMPARE(page_->findChild<QProgressBar*>("1046")->maximum(),
             static_cast<int>(job.kinds.size()));
    QCOMPARE(device_.ReadFile(u"\\backup.qbk").substr(0, 4), std::string("PK\x03\x04"));
  }

 private:
  testing::TemporaryDevice device_;
  std::unique_ptr<StatusPage> page_;
};

}  // namespace kestrav::ui

QTEST_MAIN(kestrav::ui::StatusPageTest)
#include "status_page_test.moc"
