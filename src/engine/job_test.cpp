#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <set>

#include "engine/backup_job.h"
#include "engine/restore_pass.h"
#include "engine/testing/recording_sink.h"
#include "platform/format.h"
#include "platform/test_support/temporary_device.h"
#include "records/archive.h"

namespace kestrav::engine {
namespace {

using kestrav::testing::TemporaryDevice;

// A kind that backs up a fixed number of records and restores by reading its file back, logging
// as a kind does. It can raise the job's cancel flag after a given record.
class CountingWorker : public KindWorker {
 public:
  CountingWorker(int records, int cancel_after, bool fails, CancelFlag* cancel,
                 std::vector<std::u16string>* restored)
      : records_(records),
        cancel_after_(cancel_after),
        fails_(fails),
        cancel_(cancel),
        restored_(restored) {}

  void Backup(const PassContext& pass, records::CsvRecordFile& file) override {
    file.WriteRecord({u"Name", u"Number"});
    for (int i = 0; i < records_ && !pass.Canceled(); ++i) {
      file.WriteRecord({platform::Format(u"record %d", i), u"0"});
      SendLog(pass.sink, platform::Format(u"%d saved.", i + 1), LogIcon::kInformation);
      if (i + 1 == cancel_after_) cancel_->store(1);
    }
    if (fails_) SendLog(pass.sink, u"a record could not be read", LogIcon::kError);
  }

  void Restore(const PassContext& pass) override {
    restored_->push_back(pass.record_file);
    SendLog(pass.sink, platform::Format(u"mode %d", static_cast<int>(pass.mode)),
            LogIcon::kInformation);
  }

  void SetTally(RestoreTally tally) { tally_ = tally; }

 private:
  int records_;
  int cancel_after_;
  bool fails_;
  CancelFlag* cancel_;
  std::vector<std::u16string>* restored_;
};

class JobTest : public ::testing::Test {
 protected:
  // Runs the backup on this thread; the sink is dispatched afterwards, in order.
  void Backup(std::vector<ItemKind> kinds) {
    job_.kinds = std::move(kinds);
    RunBackup(device_.device(), job_, Factory());
    sink_.DispatchPending();
  }

  BackupJob MakeJob() {
    BackupJob job;
    job.sink = &sink_;
    job.cancel = &cancel_;
    job.archive_file = u"\\Kestrav_20070315.qbk";
    return job;
  }

  KindWorkerFactory Factory() {
    return [this](ItemKind kind) -> std::unique_ptr<KindWorker> {
      if (kind == ItemKind::kMessages) return nullptr;
      return std::make_unique<CountingWorker>(2, cancel_after_[kind], failing_.contains(kind),
                                              &cancel_, &restored_);
    };
  }

  std::vector<std::u16string> MemberNames() {
    std::vector<records::ArchiveMember> members;
    records::ListMembers(device_.device(), job_.archive_file, &members);
    std::vector<std::u16string> names;
    for (const auto& member : members) names.push_back(member.name);
    return names;
  }

  TemporaryDevice device_;
  testing::RecordingSink sink_{device_.clock()};
  CancelFlag cancel_ = 0;
  BackupJob job_ = MakeJob();
  std::map<ItemKind, int> cancel_after_;
  std::set<ItemKind> failing_;  // kinds whose backup reports an error row
  std::vector<std::u16string> restored_;
};

TEST_F(JobTest, BackupWritesEachKindToTheArchiveAndCleansUp) {
  // A file of the same name left by an earlier backup that day is replaced, not overwritten.
  device_.WriteFile(u"\\Temp\\clogs_20070315.csl", std::string(4096, 'x'));
  Backup({ItemKind::kContacts, ItemKind::kMessages, ItemKind::kCallLogs});
  EXPECT_EQ(sink_.Rows(), (std::vector<std::u16string>{
                              u"Starting contacts backup...",
                              u"1 saved.",
                              u"2 saved.",
                              u"Adding contacts to backup file...",
                              u"Starting call logs backup...",
                              u"1 saved.",
                              u"2 saved.",
                              u"Adding call logs to backup file...",
                              u"Backup ended successfully in 00:00:00.000 [last]",
                          }));
  EXPECT_EQ(sink_.events.front(), u"overall 0/3");
  EXPECT_EQ(MemberNames(),
            (std::vector<std::u16string>{u"contacts_20070315.csc", u"clogs_20070315.csl"}));
  EXPECT_TRUE(device_.files().Find(u"\\Temp\\*").empty());

  std::vector<std::u16string> extracted;
  ASSERT_EQ(records::Extract(device_.device(), job_.archive_file, u"\\Out", &extracted), 0);
  const std::string call_logs = device_.ReadFile(u"\\Out\\clogs_20070315.csl");
  EXPECT_EQ(call_logs.substr(0, 4), std::string("\xFF\xFEN\0", 4));
  EXPECT_EQ(call_logs.size(),
            2 + 2 * std::u16string(u"Name;Number\r\nrecord 0;0\r\nrecord 1;0\r\n").size());
}

TEST_F(JobTest, FilesWaitingForTheArchiveAreAddedInTheKindsOrder) {
  Backup({ItemKind::kSpeedDials, ItemKind::kContacts, ItemKind::kAppointments, ItemKind::kTasks,
          ItemKind::kCallLogs});
  EXPECT_EQ(MemberNames(),
            (std::vector<std::u16string>{u"speeddials_20070315.csd", u"contacts_20070315.csc",
                                         u"appts_20070315.csa", u"tasks_20070315.cst",
                                         u"clogs_20070315.csl"}));
  ASSERT_EQ(job_.archived.size(), 5u);
  EXPECT_EQ(job_.archived[4].kind, ItemKind::kCallLogs);
  EXPECT_EQ(job_.archived[4].result, 0);
  EXPECT_TRUE(device_.files().Find(u"\\Temp\\*").empty());
}

TEST_F(JobTest, BackupWithoutKindsEndsAtOnce) {
  Backup({});
  EXPECT_EQ(sink_.events, (std::vector<std::u16string>{
                              u"overall 0/-1",
                              u"11:20:30 Backup ended successfully in 00:00:00.000 [last]",
                          }));
  EXPECT_FALSE(device_.files().Exists(job_.archive_file));
}

TEST_F(JobTest, CanceledBackupLeavesNoArchiveAndNoRecordFile) {
  cancel_after_[ItemKind::kTasks] = 1;
  Backup({ItemKind::kContacts, ItemKind::kCallLogs, ItemKind::kTasks, ItemKind::kSpeedDials});
  const std::vector<std::u16string> rows = sink_.Rows();
  EXPECT_EQ(rows[rows.size() - 4], u"Starting tasks backup...");
  EXPECT_EQ(rows[rows.size() - 3], u"1 saved.");
  EXPECT_EQ(rows[rows.size() - 2], u"Starting speed dials backup...");
  EXPECT_EQ(sink_.events.back(), u"11:20:30 ! Backup has been canceled by user. [last]");
  EXPECT_FALSE(device_.files().Exists(job_.archive_file));
  EXPECT_TRUE(device_.files().Find(u"\\Temp\\*").empty());
}

TEST_F(JobTest, KindWhoseFileCannotBeCreatedIsSkipped) {
  std::filesystem::remove_all(device_.HostPath(u"\\Temp"));
  Backup({ItemKind::kContacts});
  EXPECT_EQ(sink_.Rows(), (std::vector<std::u16string>{
                              u"Starting contacts backup...",
                              u"! Coudln't create file '\\Temp\\contacts_20070315.csc' for "
                              u"following reason:",
                              u"! Error (3) : The system cannot find the path specified.",
                              u"Adding contacts to backup file...",
                              u"Backup ended successfully in 00:00:00.000 [last]",
                          }));
}

// The checked backup replaces an archive only with a whole new one, and keeps the kinds that
// worked when some did not.
TEST_F(JobTest, CheckedBackupKeepsWhatWorkedAndReplacesOnlyWithAWholeArchive) {
  const std::u16string incomplete = u"\\Kestrav_20070315-incomplete.qbk";
  device_.WriteFile(job_.archive_file, "old archive");
  device_.WriteFile(job_.archive_file + u".partial", "left by a killed backup");
  auto checked = [&](std::vector<ItemKind> kinds) {
    job_.kinds = std::move(kinds);
    const std::u16string fault = RunCheckedBackup(device_.device(), job_, Factory());
    sink_.DispatchPending();
    EXPECT_FALSE(device_.files().Exists(job_.archive_file + u".partial"));
    return fault;
  };
  auto members_of = [&](const std::u16string& archive) {
    std::vector<records::ArchiveMember> members;
    EXPECT_EQ(records::ListMembers(device_.device(), archive, &members), 0);
    std::vector<std::u16string> names;
    for (const auto& member : members) names.push_back(member.name);
    return names;
  };

  cancel_after_[ItemKind::kCallLogs] = 1;
  EXPECT_EQ(checked({ItemKind::kContacts, ItemKind::kCallLogs}), u"the backup was canceled");
  EXPECT_EQ(device_.ReadFile(job_.archive_file), "old archive");
  EXPECT_EQ(job_.written_archive, u"");
  cancel_ = 0;
  cancel_after_.clear();

  // A kind without its member: the others go beside the archive, which stays as it was.
  EXPECT_EQ(checked({ItemKind::kContacts, ItemKind::kMessages, ItemKind::kTasks}),
            u"the archive lacks the messages");
  EXPECT_EQ(device_.ReadFile(job_.archive_file), "old archive");
  EXPECT_EQ(job_.written_archive, incomplete);
  EXPECT_EQ(job_.missing_kinds, std::vector<ItemKind>{ItemKind::kMessages});
  EXPECT_EQ(members_of(incomplete),
            (std::vector<std::u16string>{u"contacts_20070315.csc", u"tasks_20070315.cst"}));
  // A kind that reported errors is kept and named; the next incomplete archive takes a number.
  failing_ = {ItemKind::kCallLogs};
  EXPECT_EQ(checked({ItemKind::kContacts, ItemKind::kCallLogs, ItemKind::kMessages}),
            u"the archive lacks the messages; the call logs reported errors and may be incomplete");
  EXPECT_EQ(job_.written_archive, u"\\Kestrav_20070315-incomplete-2.qbk");
  EXPECT_EQ(job_.incomplete_kinds, std::vector<ItemKind>{ItemKind::kCallLogs});
  failing_.clear();

  // No kind at all: nothing is written.
  std::filesystem::remove_all(device_.HostPath(u"\\Temp"));
  EXPECT_EQ(checked({ItemKind::kContacts}), u"no kind could be backed up");
  EXPECT_EQ(device_.ReadFile(job_.archive_file), "old archive");
  EXPECT_EQ(job_.written_archive, u"");
  ASSERT_EQ(device_.files().CreateFolder(u"\\Temp"), platform::kErrorSuccess);

  EXPECT_EQ(checked({ItemKind::kContacts, ItemKind::kCallLogs}), u"");
  EXPECT_EQ(job_.written_archive, job_.archive_file);
  EXPECT_EQ(MemberNames(),
            (std::vector<std::u16string>{u"contacts_20070315.csc", u"clogs_20070315.csl"}));

  // Where no archive stands, the kinds that worked take its name.
  ASSERT_EQ(device_.files().DeleteFile(job_.archive_file), platform::kErrorSuccess);
  EXPECT_EQ(checked({ItemKind::kMessages, ItemKind::kContacts}), u"the archive lacks the messages");
  EXPECT_EQ(job_.written_archive, job_.archive_file);
  EXPECT_EQ(MemberNames(), std::vector<std::u16string>{u"contacts_20070315.csc"});
}

// The disk fills while the archive is written: the user is told so, and nothing is left behind.
TEST_F(JobTest, ABackupThatFillsTheDiskSaysSo) {
  device_.WriteFile(job_.archive_file, "old archive");
  job_.kinds = {ItemKind::kContacts, ItemKind::kTasks, ItemKind::kCallLogs};
  std::u16string fault;
  {
    // Room for each record file and the first member, not for the archive of all three.
    const kestrav::testing::FileSizeLimit disk_full_past(300);
    fault = RunCheckedBackup(device_.device(), job_, Factory());
  }
  sink_.DispatchPending();
  EXPECT_EQ(fault, u"the archive could not be written: There is not enough space on the disk.");
  EXPECT_EQ(device_.ReadFile(job_.archive_file), "old archive");
  EXPECT_FALSE(device_.files().Exists(job_.archive_file + u".partial"));
  EXPECT_EQ(job_.written_archive, u"");
  EXPECT_TRUE(device_.files().Find(u"\\Temp\\*").empty());
}

TEST_F(JobTest, RestorePreparationRefusals) {
  const std::vector<RestoreEntry> entries = {{ItemKind::kContacts, u"\\a.csc"}};
  std::optional<RestoreRefusal> refusal =
      PrepareRestore(device_.device(), job_, {}, entries, Factory());
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->text, u"No backup/restore action has been selected.");
  EXPECT_EQ(refusal->title, u"Action selection error");

  refusal = PrepareRestore(device_.device(), job_, {ItemKind::kTasks}, entries, Factory());
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->text, u"No restore type has been selected. Nothing done.");
  EXPECT_EQ(refusal->title, u"Restore error");

  device_.WriteFile(u"\\broken.qbk", "PK\x03\x04 not an archive");
  refusal = PrepareRestore(
      device_.device(), job_, {ItemKind::kContacts, ItemKind::kTasks},
      {{ItemKind::kContacts, u"\\a.csc"}, {ItemKind::kTasks, u"\\broken.qbk", true}}, Factory());
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->text,
            u"The compressed file \"\\broken.qbk\" is invalid or corrupt, nothing done.");
  EXPECT_EQ(refusal->title, u"Restore error");
  EXPECT_TRUE(job_.restores.empty());
  EXPECT_TRUE(device_.files().Find(u"\\Temp\\*").empty());
}

TEST_F(JobTest, RestoreRunsEachKindFromItsExtractedFileAndRemovesIt) {
  // An archive of a contacts, a call-log and a second contacts member, and a member that is no
  // record file: the archive is extracted once, each entry from its own member, and only them.
  Backup({ItemKind::kContacts, ItemKind::kCallLogs});
  device_.WriteFile(u"\\Storage Card\\other.csc", "x");
  device_.WriteFile(u"\\Storage Card\\photo.jpg", "x");
  ASSERT_EQ(
      records::AddFile(device_.device(), u"\\Storage Card\\other.csc", job_.archive_file, 8, {}),
      0);
  ASSERT_EQ(
      records::AddFile(device_.device(), u"\\Storage Card\\photo.jpg", job_.archive_file, 8, {}),
      0);
  sink_.events.clear();
  bool finished = false;
  job_.job_finished = [&] { finished = true; };
  ASSERT_FALSE(PrepareRestore(
      device_.device(), job_, {ItemKind::kCallLogs, ItemKind::kContacts},
      {{ItemKind::kContacts, job_.archive_file, true, RestoreMode::kAddOnlyNew, 0},
       {ItemKind::kCallLogs, job_.archive_file, true, RestoreMode::kDeleteAllFirst, 1},
       {ItemKind::kContacts, job_.archive_file, true, RestoreMode::kAddOnlyNew, 2}},
      Factory()));
  ASSERT_EQ(job_.restores.size(), 3u);
  EXPECT_EQ(device_.files().Find(u"\\Temp\\Kestrav restore\\*").size(), 3u);
  RunRestore(device_.device(), job_);
  sink_.DispatchPending();
  EXPECT_EQ(restored_, (std::vector<std::u16string>{u"\\Temp\\Kestrav restore\\0.csc",
                                                    u"\\Temp\\Kestrav restore\\1.csl",
                                                    u"\\Temp\\Kestrav restore\\2.csc"}));
  EXPECT_EQ(sink_.Rows(), (std::vector<std::u16string>{
                              u"Starting contacts restore...",
                              u"mode 1",
                              u"Starting call logs restore...",
                              u"mode 0",
                              u"Starting contacts restore...",
                              u"mode 1",
                              u"Restore ended successfully in 00:00:00.000 [last]",
                          }));
  EXPECT_TRUE(finished);
  EXPECT_TRUE(device_.files().Find(u"\\Temp\\*").empty());

  // What the kinds say they brought back: a file refused, or read whole, is no shortfall.
  EXPECT_EQ(RestoreShortfall(job_), u"");
  auto set_tally = [this](std::size_t index, RestoreTally tally) {
    static_cast<CountingWorker&>(*job_.restores[index].worker).SetTally(tally);
  };
  set_tally(0, {true, 25, 25, std::nullopt});
  set_tally(1, {true, 40, 38, 41});
  set_tally(2, {false, 0, 0, std::nullopt});
  EXPECT_EQ(RestoreShortfall(job_),
            u"2 of the 40 call logs in the file were not restored; the call logs file says it "
            u"holds 41 records but holds 40");
}

}  // namespace
}  // namespace kestrav::engine
