#include "platform/host/host_safeguards.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "platform/test_support/temporary_device.h"

namespace kestrav::platform::host {
namespace {

// What another program finds in a store: its records (all of them calls here) and the verdict
// of SQLite's integrity check, as "4 ok".
std::string SeenByAnotherProgram(const std::filesystem::path& volume) {
  sqlite3* other = nullptr;
  sqlite3_stmt* statement = nullptr;
  sqlite3_open_v2(volume.c_str(), &other, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_prepare_v2(other,
                     "SELECT (SELECT COUNT(*) FROM records) || ' ' || integrity_check "
                     "FROM pragma_integrity_check",
                     -1, &statement, nullptr);
  std::string seen = "unreadable";
  if (sqlite3_step(statement) == SQLITE_ROW)
    seen = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
  sqlite3_finalize(statement);
  sqlite3_close(other);
  return seen;
}

class HostSafeguardsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(store_.MountVolume(u"\\pim.vol", Disposition::kOpenExisting, &volume_),
              kErrorSuccess);
    database_ = store_.OpenDatabase(volume_, u"clog.db");
  }

  void AddCall(std::int64_t number) {
    PropertyValue value;
    value.id = MakePropertyId(1, PropertyType::kInt32);
    value.integer = number;
    ASSERT_NE(store_.Write(database_, 0, {value}), 0u);
  }

  std::uint32_t Count() {
    std::uint32_t count = 0;
    store_.RecordCount(database_, &count);
    return count;
  }

  std::string FromAnotherProgram() { return SeenByAnotherProgram(device_.HostPath(u"\\pim.vol")); }

  testing::TemporaryDevice device_;
  SqliteObjectStore store_{device_.files(), 50};
  SqliteMessageRuntime messages_{device_.files()};
  HostSafeguards safeguards_{device_.folder(), device_.files(), store_, messages_, device_.clock()};
  VolumeId volume_ = 0;
  DatabaseHandle database_ = kInvalidDatabaseHandle;
};

TEST_F(HostSafeguardsTest, OneJobAtATimeAndTheHolderIsNamed) {
  std::unique_ptr<JobLock> first;
  JobHolder holder;
  ASSERT_EQ(safeguards_.TryLockJob(u"restore", &first, &holder), kErrorSuccess);
  std::unique_ptr<JobLock> second;
  ASSERT_EQ(safeguards_.TryLockJob(u"backup", &second, &holder), kErrorLockViolation);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(holder.job, u"restore");
  EXPECT_EQ(holder.process_id, static_cast<std::uint32_t>(::getpid()));
  EXPECT_EQ(holder.started, testing::FifteenthOfMarch2007());
  first.reset();
  EXPECT_EQ(safeguards_.TryLockJob(u"backup", &second, &holder), kErrorSuccess);
}

// Refused before anything changes: a folder of the profile that is a link, a store another
// program holds locked.
TEST_F(HostSafeguardsTest, AProfileThatCannotBeWrittenIsNamed) {
  std::u16string reason;
  EXPECT_EQ(safeguards_.CheckWritable(true, &reason), kErrorSuccess) << ToUtf8(reason);

  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(device_.HostPath(u"\\pim.vol").c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_EQ(safeguards_.CheckWritable(false, &reason), kErrorSuccess);
  EXPECT_EQ(safeguards_.CheckWritable(true, &reason), kErrorWriteProtect);
  EXPECT_EQ(ToUtf8(reason), device_.HostPath(u"\\pim.vol").string() +
                                ": another program held its lock for longer than 50 ms");
  sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(other);

  testing::TemporaryFolder elsewhere;
  std::filesystem::remove(device_.HostPath(u"\\Temp"));
  std::filesystem::create_directory_symlink(elsewhere.path(), device_.HostPath(u"\\Temp"));
  EXPECT_EQ(safeguards_.CheckWritable(false, &reason), kErrorAccessDenied);
  EXPECT_EQ(ToUtf8(reason), device_.HostPath(u"\\Temp").string() +
                                ": is a symbolic link; a device profile's folders must be folders");
}

TEST_F(HostSafeguardsTest, TheSnapshotPutsTheStoresBack) {
  SnapshotInfo info;
  std::u16string reason;
  EXPECT_EQ(safeguards_.RestoreSnapshot(&info, &reason), kErrorFileNotFound);
  EXPECT_EQ(safeguards_.LastSnapshot(&info), kErrorFileNotFound);
  for (int number = 0; number < 3; ++number) AddCall(number);
  ASSERT_EQ(safeguards_.TakeSnapshot(u"restore of a.qbk", &reason), kErrorSuccess)
      << ToUtf8(reason);
  while (const ObjectId first = store_.Seek(database_, 0)) store_.Delete(database_, first);
  AddCall(99);
  // A second snapshot replaces the first whole; undo goes back to the latest.
  ASSERT_EQ(safeguards_.TakeSnapshot(u"delete-all call logs", &reason), kErrorSuccess);
  AddCall(100);
  ASSERT_EQ(Count(), 2u);
  // Asking which job undo would undo changes nothing.
  ASSERT_EQ(safeguards_.LastSnapshot(&info), kErrorSuccess);
  EXPECT_EQ(info.job, u"delete-all call logs");
  ASSERT_EQ(Count(), 2u);

  ASSERT_EQ(safeguards_.RestoreSnapshot(&info, &reason), kErrorSuccess) << ToUtf8(reason);
  EXPECT_EQ(info.job, u"delete-all call logs");
  EXPECT_EQ(info.taken, testing::FifteenthOfMarch2007());
  EXPECT_EQ(Count(), 1u);
  EXPECT_FALSE(std::filesystem::exists(device_.folder() / "undo.partial"));

  sqlite3* check = nullptr;
  ASSERT_EQ(sqlite3_open(device_.HostPath(u"\\pim.vol").c_str(), &check), SQLITE_OK);
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(check, "PRAGMA journal_mode", -1, &statement, nullptr);
  ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
  EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)), "wal");
  sqlite3_finalize(statement);
  sqlite3_close(check);
}

// A job that changed nothing - a file refused outright - leaves undo where the last job that
// changed something put it.
TEST_F(HostSafeguardsTest, AJobThatChangedNothingKeepsTheCopyBeforeIt) {
  SnapshotInfo info;
  std::u16string reason;
  ASSERT_EQ(safeguards_.TakeSnapshot(u"restore of nothing.qbk", &reason), kErrorSuccess);
  safeguards_.SettleSnapshot();
  EXPECT_EQ(safeguards_.RestoreSnapshot(&info, &reason), kErrorFileNotFound);

  AddCall(1);
  ASSERT_EQ(safeguards_.TakeSnapshot(u"restore of a.qbk", &reason), kErrorSuccess);
  AddCall(2);
  safeguards_.SettleSnapshot();
  ASSERT_EQ(safeguards_.TakeSnapshot(u"restore of refused.qbk", &reason), kErrorSuccess);
  safeguards_.SettleSnapshot();
  EXPECT_FALSE(std::filesystem::exists(device_.folder() / "undo.previous"));
  ASSERT_EQ(safeguards_.LastSnapshot(&info), kErrorSuccess);
  EXPECT_EQ(info.job, u"restore of a.qbk");

  ASSERT_EQ(safeguards_.RestoreSnapshot(&info, &reason), kErrorSuccess) << ToUtf8(reason);
  EXPECT_EQ(info.job, u"restore of a.qbk");
  EXPECT_EQ(Count(), 1u);
}

// Between the copy and the job's end, writes commit in batches: other programs see them batch by
// batch, the job itself at once (through a second mount too), and the job's end commits the rest.
TEST_F(HostSafeguardsTest, AJobsWritesCommitInBatches) {
  std::u16string reason;
  ASSERT_EQ(safeguards_.TakeSnapshot(u"restore of a.qbk", &reason), kErrorSuccess);
  store_.BeginJobBatches(4, std::chrono::hours(1));
  for (int number = 0; number < 6; ++number) AddCall(number);
  EXPECT_EQ(FromAnotherProgram(), "4 ok");
  EXPECT_EQ(Count(), 6u);

  VolumeId second_mount = 0;
  ASSERT_EQ(store_.MountVolume(u"\\pim.vol", Disposition::kOpenExisting, &second_mount),
            kErrorSuccess);
  const DatabaseHandle calls = store_.OpenDatabase(second_mount, u"clog.db");
  std::uint32_t count = 0;
  EXPECT_EQ(store_.RecordCount(calls, &count), kErrorSuccess);
  EXPECT_EQ(count, 6u);
  EXPECT_EQ(FromAnotherProgram(), "6 ok");
  AddCall(6);
  store_.UnmountVolume(second_mount);

  safeguards_.SettleSnapshot();
  EXPECT_EQ(FromAnotherProgram(), "7 ok");
  AddCall(7);  // after the job, each write commits at once again
  EXPECT_EQ(FromAnotherProgram(), "8 ok");
  SnapshotInfo info;
  ASSERT_EQ(safeguards_.RestoreSnapshot(&info, &reason), kErrorSuccess) << ToUtf8(reason);
  EXPECT_EQ(Count(), 0u);
}

// A job killed with a batch open leaves every store whole, with the batches before it, and undo
// takes the store back to where the job began.
TEST_F(HostSafeguardsTest, AKillInTheMiddleOfABatchLosesOnlyThatBatch) {
  AddCall(1);
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t job = ::fork();
  ASSERT_GE(job, 0);
  if (job == 0) {
    // The job's own process, with its own connections, as kestrav-cli would be.
    SqliteObjectStore store(device_.files());
    SqliteMessageRuntime messages(device_.files());
    HostSafeguards safeguards(device_.folder(), device_.files(), store, messages, device_.clock());
    std::u16string reason;
    VolumeId volume = 0;
    if (safeguards.TakeSnapshot(u"restore of a.qbk", &reason) != kErrorSuccess ||
        store.MountVolume(u"\\pim.vol", Disposition::kOpenExisting, &volume) != kErrorSuccess)
      ::_exit(1);
    store.BeginJobBatches(10, std::chrono::hours(1));
    const DatabaseHandle calls = store.OpenDatabase(volume, u"clog.db");
    PropertyValue value;
    value.id = MakePropertyId(1, PropertyType::kInt32);
    for (int number = 0; number < 25; ++number) {
      value.integer = number;
      if (store.Write(calls, 0, {value}) == 0) ::_exit(1);
    }
    (void)!::write(ready[1], "x", 1);
    ::pause();
    ::_exit(0);
  }
  ::close(ready[1]);
  char signal_byte = 0;
  const bool written = ::read(ready[0], &signal_byte, 1) == 1;
  ::close(ready[0]);
  ::kill(job, SIGKILL);
  int status = 0;
  ::waitpid(job, &status, 0);
  ASSERT_TRUE(written) << "the job did not get to write its calls";
  ASSERT_TRUE(WIFSIGNALED(status));

  EXPECT_EQ(FromAnotherProgram(), "21 ok");  // the call before the job and two batches of ten
  SnapshotInfo info;
  std::u16string reason;
  ASSERT_EQ(safeguards_.RestoreSnapshot(&info, &reason), kErrorSuccess) << ToUtf8(reason);
  EXPECT_EQ(info.job, u"restore of a.qbk");
  EXPECT_EQ(Count(), 1u);
}

}  // namespace
}  // namespace kestrav::platform::host
