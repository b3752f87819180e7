#include "settings/schedule.h"

#include <gtest/gtest.h>

#include <map>

#include "kinds/kinds.h"
#include "platform/format.h"
#include "platform/test_support/temporary_device.h"
#include "settings/reg_key.h"

namespace kestrav::settings {
namespace {

using platform::NotificationHandle;
using platform::NotificationTrigger;
using platform::SystemTime;

constexpr char16_t kProgram[] = u"/opt/Kestrav/bin/kestrav-cli";

// The notifications the device holds, as a recording fake.
class FakeNotifications : public platform::Notifications {
 public:
  platform::ErrorCode GetHandles(std::vector<NotificationHandle>* handles) override {
    handles->clear();
    for (const auto& [handle, trigger] : set) handles->push_back(handle);
    return platform::kErrorSuccess;
  }
  platform::ErrorCode Get(NotificationHandle handle, NotificationTrigger* trigger) override {
    if (!set.contains(handle)) return platform::kErrorFileNotFound;
    *trigger = set[handle];
    return platform::kErrorSuccess;
  }
  platform::ErrorCode Set(const NotificationTrigger& trigger, NotificationHandle* handle) override {
    *handle = next_handle++;
    set[*handle] = trigger;
    return platform::kErrorSuccess;
  }
  platform::ErrorCode Clear(NotificationHandle handle) override {
    return set.erase(handle) == 1 ? platform::kErrorSuccess : platform::kErrorFileNotFound;
  }
  std::u16string ProgramPath() override { return kProgram; }

  std::map<NotificationHandle, NotificationTrigger> set;
  NotificationHandle next_handle = 1;
};

class FakePower : public platform::Power {
 public:
  platform::ErrorCode GetSystemPowerState(std::uint32_t* flags) override {
    *flags = state;
    return platform::kErrorSuccess;
  }
  platform::ErrorCode SetSystemPowerState(std::uint32_t new_state) override {
    state = new_state;
    return platform::kErrorSuccess;
  }
  void PressOffKey() override { ++off_key_presses; }

  std::uint32_t state = 0;
  int off_key_presses = 0;
};

SystemTime Utc(int year, int month, int day, int hour, int minute = 0, int second = 0) {
  platform::FileTime time = 0;
  platform::SystemTimeToFileTime({.year = static_cast<std::uint16_t>(year),
                                  .month = static_cast<std::uint16_t>(month),
                                  .day = static_cast<std::uint16_t>(day),
                                  .hour = static_cast<std::uint16_t>(hour),
                                  .minute = static_cast<std::uint16_t>(minute),
                                  .second = static_cast<std::uint16_t>(second)},
                                 &time);
  SystemTime with_weekday;
  platform::FileTimeToSystemTime(time, &with_weekday);
  return with_weekday;
}

constexpr std::uint8_t kMonday = 1 << 1;
constexpr std::uint8_t kSunday = 1 << 0;
constexpr std::uint32_t kNine = 9 * 3600;

class ScheduleTest : public ::testing::Test {
 protected:
  ScheduleTest() { device_.device().AttachScheduling(&notifications_, &power_); }

  const platform::Device& device() { return device_.device(); }
  void StandOn(SystemTime utc) { device_.clock() = platform::FixedClock(utc, 60); }
  // The start time of the one notification armed; nothing when none is.
  std::optional<SystemTime> Armed() {
    if (notifications_.set.empty()) return std::nullopt;
    EXPECT_EQ(notifications_.set.size(), 1u);
    const NotificationTrigger& trigger = notifications_.set.begin()->second;
    EXPECT_EQ(trigger.application, kProgram);
    EXPECT_EQ(trigger.arguments, u"/SchedBackup");
    return trigger.start;
  }

  kestrav::testing::TemporaryDevice device_;
  FakeNotifications notifications_;
  FakePower power_;
};

TEST_F(ScheduleTest, TheNextRunKeepsTheDevicesSearch) {
  StandOn(Utc(2026, 11, 23, 8));  // a Monday
  EXPECT_EQ(ArmNextRun(device(), kMonday, kNine, true), Utc(2026, 11, 23, 9));
  EXPECT_EQ(Armed(), Utc(2026, 11, 23, 9));
  // After the day's time: the old notification goes and none comes.
  StandOn(Utc(2026, 11, 23, 10));
  EXPECT_EQ(ArmNextRun(device(), kMonday, kNine, true), std::nullopt);
  EXPECT_EQ(Armed(), std::nullopt);
  // After a run, five days on, not seven.
  EXPECT_EQ(ArmNextRun(device(), kMonday, kNine, false), Utc(2026, 11, 28, 9));
  // Sunday is found first thing from a Saturday, never by wrapping from a Friday.
  StandOn(Utc(2026, 11, 28, 10));
  EXPECT_EQ(ArmNextRun(device(), kSunday, kNine, true), Utc(2026, 11, 29, 9));
  StandOn(Utc(2026, 11, 27, 10));
  EXPECT_EQ(ArmNextRun(device(), kSunday, kNine, true), Utc(2026, 12, 2, 9));
  EXPECT_EQ(Armed(), Utc(2026, 12, 2, 9));

  // Only the running program's own schedule is found, whatever the case of its words.
  notifications_.set.begin()->second.arguments = u"/schedbackup now";
  notifications_.set.begin()->second.application = u"/OPT/Kestrav/bin/KESTRAV-CLI";
  EXPECT_TRUE(FindScheduleNotification(device(), kProgram));
  EXPECT_FALSE(FindScheduleNotification(device(), u"/usr/bin/kestrav"));
  notifications_.set.begin()->second.arguments = u"/Sched";
  EXPECT_FALSE(FindScheduleNotification(device(), kProgram));
}

TEST_F(ScheduleTest, ThePageLoadsWhatValidateSaved) {
  const SchedulePage fresh = LoadSchedulePage(device());
  EXPECT_EQ(fresh.days, 0x7F);
  EXPECT_EQ(fresh.keep_files, 3u);
  EXPECT_FALSE(fresh.start);

  StandOn(Utc(2026, 11, 23, 8));
  ScheduleChoice choice{.days = kMonday | kSunday,
                        .start_seconds = kNine + 30 * 60 + 15,
                        .turn_off = true,
                        .delete_old = true,
                        .keep_files = 10,
                        .backup_folder = u"\\Storage Card\\Backups",
                        .kinds = {engine::ItemKind::kMessages, engine::ItemKind::kContacts},
                        .store_attachments = true,
                        .compress = false,
                        .exclusions = {{u"SMS", std::nullopt}, {u"Mail", u"Inbox"}}};
  bool armed = false;
  ASSERT_TRUE(SaveSchedule(device(), choice, &armed));
  EXPECT_TRUE(armed);
  const SchedulePage page = LoadSchedulePage(device());
  EXPECT_EQ(page.days, kMonday | kSunday);
  EXPECT_TRUE(page.turn_off);
  EXPECT_TRUE(page.delete_old);
  EXPECT_EQ(page.keep_files, 3u);  // a stored 10 shows as 3
  EXPECT_EQ(page.start, Utc(2026, 11, 23, 9, 30, 15));
  RegKey key(device().registry());
  ASSERT_TRUE(key.OpenForRead(platform::kHkeyCurrentUser, kScheduleKey));
  EXPECT_EQ(key.ReadDword(kBackupItemsValue), 12u);
  EXPECT_EQ(key.ReadDword(kShouldCompressValue), 0u);
  ASSERT_TRUE(key.OpenForRead(platform::kHkeyCurrentUser, kExclusionsKey));
  EXPECT_EQ(key.ReadBinary(u"BckpExclusions#1")->size(), 2088u);

  EXPECT_EQ(ReadSchedule(device())->backup_folder, u"\\Storage Card\\Backups\\");
  // A host folder, as the host's file dialog gives one, takes the host's separator.
  choice.backup_folder = u"/home/zoe/Backups";
  SaveSchedule(device(), choice, &armed);
  EXPECT_EQ(ReadSchedule(device())->backup_folder, u"/home/zoe/Backups/");

  ASSERT_TRUE(ClearSchedule(device()));
  EXPECT_EQ(Armed(), std::nullopt);
  EXPECT_FALSE(key.OpenForRead(platform::kHkeyCurrentUser, kScheduleKey));
}

TEST_F(ScheduleTest, TheUnattendedRunBacksUpPrunesArmsAndSwitchesOff) {
  StandOn(Utc(2007, 3, 15, 10));  // a Thursday
  const engine::KindWorkerFactory factory = kinds::WorkerFactory(device());
  platform::FileSystem& files = device().files();
  for (int day = 10; day <= 14; ++day) {
    const std::u16string name = platform::Format(u"\\Storage Card\\Kestrav_200703%.2d.qbk", day);
    device_.WriteFile(name, "old");
    platform::FileTime written = 0;
    platform::SystemTimeToFileTime(Utc(2007, 3, day, 9), &written);
    files.SetLastWriteTime(name, written);
  }
  device_.WriteFile(u"\\Storage Card\\notes.txt", "kept");

  // A start time of midnight never runs.
  bool armed = false;
  ScheduleChoice choice{.days = 0x7F,
                        .start_seconds = 0,
                        .turn_off = true,
                        .delete_old = true,
                        .keep_files = 2,
                        .backup_folder = u"\\Storage Card",
                        .kinds = {engine::ItemKind::kCallLogs, engine::ItemKind::kContacts},
                        .store_attachments = false,
                        .compress = true,
                        .exclusions = {}};
  SaveSchedule(device(), choice, &armed);
  EXPECT_FALSE(HandleScheduleCommandLine(device(), u"/SchedBackupNow", factory, nullptr));
  EXPECT_TRUE(HandleScheduleCommandLine(device(), u"/SCHEDBACKUP", factory, nullptr));
  EXPECT_FALSE(files.FileExists(u"\\Storage Card\\Kestrav_20070315.qbk"));
  EXPECT_EQ(power_.off_key_presses, 0);

  choice.start_seconds = kNine;
  SaveSchedule(device(), choice, &armed);
  ScheduledRun run;
  EXPECT_TRUE(
      HandleScheduleCommandLine(device(), u"/schedbackup from the timer", factory, nullptr, &run));
  EXPECT_EQ(power_.state, platform::kPowerStateOn);
  EXPECT_EQ(power_.off_key_presses, 1);
  EXPECT_TRUE(run.due);
  EXPECT_EQ(run.failure, u"");
  EXPECT_TRUE(files.FileExists(u"\\Storage Card\\Kestrav_20070315.qbk"));
  // The two newest backups stay (the day's and the 14th); other names are not touched.
  std::vector<std::u16string> left;
  for (const platform::FoundFile& found : files.Find(u"\\Storage Card\\*"))
    left.push_back(found.name);
  std::sort(left.begin(), left.end());
  EXPECT_EQ(left, (std::vector<std::u16string>{u"Kestrav_20070314.qbk", u"Kestrav_20070315.qbk",
                                               u"notes.txt"}));
  // Each deleted file is told, oldest first.
  ASSERT_EQ(run.deleted.size(), 4u);
  EXPECT_EQ(run.deleted[0].path, u"\\Storage Card\\Kestrav_20070310.qbk");
  EXPECT_EQ(run.deleted[3].result, platform::kErrorSuccess);
  // Re-armed for the next day, today not allowed.
  EXPECT_EQ(Armed(), Utc(2007, 3, 16, 9));
  EXPECT_EQ(run.next_run, Utc(2007, 3, 16, 9));
}

// A start that cannot make its run (the device busy, a folder that is a link) still leaves the
// next run armed, as a run would; a schedule that never runs stays without one.
TEST_F(ScheduleTest, AStartWithoutItsRunArmsTheNextAsARunWould) {
  platform::ErrorCode error = platform::kErrorGenFailure;
  EXPECT_EQ(ArmRunAfterToday(device(), &error), std::nullopt);
  EXPECT_EQ(error, platform::kErrorSuccess);

  StandOn(Utc(2026, 11, 23, 8));  // a Monday, before the start time
  ScheduleChoice choice;
  choice.days = kMonday;
  choice.start_seconds = kNine;
  bool armed = false;
  SaveSchedule(device(), choice, &armed);
  EXPECT_EQ(Armed(), Utc(2026, 11, 23, 9));
  // Today is not taken again, even before its time: the five-day search as after a run.
  EXPECT_EQ(ArmRunAfterToday(device(), &error), Utc(2026, 11, 28, 9));
  EXPECT_EQ(Armed(), Utc(2026, 11, 28, 9));
  // Midnight never runs, and is not re-armed either.
  choice.start_seconds = 0;
  SaveSchedule(device(), choice, &armed);
  EXPECT_EQ(ArmRunAfterToday(device(), &error), std::nullopt);
}

}  // namespace
}  // namespace kestrav::settings
