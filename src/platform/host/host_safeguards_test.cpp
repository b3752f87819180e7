#include "platform/host/host_safeguards.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>

#include "platform/test_support/temporary_device.h"

namespace kestrav::platform::host {
namespace {

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

}  // namespace
}  // namespace kestrav::platform::host
