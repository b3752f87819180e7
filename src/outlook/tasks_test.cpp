#include "outlook/tasks.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "outlook/item_fields.h"
#include "outlook/testing/item_handset.h"

namespace kestrav::outlook {
namespace {

using engine::RestoreMode;
using platform::ItemProperty;
using platform::OutlookItem;
using testing::Lines;
using testing::Quoted;

constexpr char16_t kFile[] = u"\\tasks.cst";
constexpr double kStart = 39150.0;
constexpr double kDue = 39160.0;
constexpr double kDone = 39158.0;
constexpr double kNone = platform::kOleDateNone;

const std::u16string& Header() {
  return testing::kTasksHeader;
}

struct TaskList : testing::ItemHandset<TasksWorker> {
  explicit TaskList(int os = platform::kWindowsMobile2005)
      : ItemHandset(os, engine::ItemKind::kTasks, platform::OutlookFolderId::kTasks,
                    platform::OutlookItemType::kTask, kFile) {}

  void Add(std::u16string subject, double completed) {
    ItemHandset::Add([&](OutlookItem& item) {
      item.SetText(ItemProperty::kSubject, subject);
      item.SetDate(ItemProperty::kStartDate, kStart);
      item.SetDate(ItemProperty::kDueDate, kDue);
      item.SetDate(ItemProperty::kDateCompleted, completed);
    });
  }

  std::vector<std::u16string> Subjects() {
    return Read<std::u16string>(
        [](OutlookItem& item) { return ItemText(item, ItemProperty::kSubject); });
  }
};

// A task's line with the dates given and every other field empty or zero.
std::u16string PlainLine(std::u16string_view subject, double completed, double start = kStart,
                         double due = kDue) {
  const std::u16string zero = u"\"0x00,0x00,0x00,0x00\";";
  return std::u16string(subject) + u";;;;\"0x00,0x00\";" + Quoted(DateBytes(completed)) + u";" +
         Quoted(DateBytes(due)) + u";" + zero + u"\"0x00,0x00\";" + zero + u"\"0x00,0x00\";;" +
         Quoted(DateBytes(kNone)) + u";" + zero + Quoted(DateBytes(start)) + u";\"0x00,0x00\";" +
         Quoted(std::vector<std::uint8_t>(kRecurrenceBlockSize, 0)) + u";\r\n";
}

// A finished, recurring task with every property set; its subject is raw text, so its comma
// is not quoted (an appointment's would be).
void SetChore(OutlookItem& item) {
  item.SetText(ItemProperty::kSubject, u"Pay rent, flat");
  item.SetText(ItemProperty::kBody, u"A");
  const std::uint8_t ink[] = {9};
  item.SetBytes(ItemProperty::kBodyInk, ink);
  item.SetText(ItemProperty::kCategories, u"Home");
  item.SetBoolean(ItemProperty::kComplete, true);
  item.SetDate(ItemProperty::kDateCompleted, kDone);
  item.SetDate(ItemProperty::kDueDate, kDue);
  item.SetInteger(ItemProperty::kImportance, 2);
  item.SetInteger(ItemProperty::kReminderOptions, 1);
  item.SetBoolean(ItemProperty::kReminderSet, true);
  item.SetText(ItemProperty::kReminderSoundFile, u"ding.wav");
  item.SetDate(ItemProperty::kReminderTime, kDue);
  item.SetInteger(ItemProperty::kSensitivity, 1);
  item.SetDate(ItemProperty::kStartDate, kStart);
  item.SetBoolean(ItemProperty::kTeamTask, true);
  // Every field of a pattern is set here or in the appointments tests' meeting, so that each
  // must come back.
  platform::RecurrencePattern pattern;
  pattern.recurrence_type = 6;  // yearly, the nth weekday
  pattern.interval = 2;
  pattern.instance = 5;             // the last
  pattern.day_of_week_mask = 0x40;  // Saturday
  pattern.day_of_month = 1;
  pattern.month_of_year = 3;
  pattern.occurrences = 12;
  pattern.pattern_end_date = kDue;
  item.SetRecurrence(pattern);
}

std::u16string ChoreLine() {
  std::vector<std::uint8_t> block(kRecurrenceBlockSize, 0);
  block[0] = 1;                                            // recurs
  block[4] = 6;                                            // yearly, the nth weekday
  block[8] = 2;                                            // every second year
  block[12] = 5;                                           // the last
  block[16] = 0x40;                                        // Saturday
  block[20] = 1;                                           // the first of the month
  block[24] = 3;                                           // March
  block[28] = 12;                                          // twelve times
  std::ranges::copy(DateBytes(kDue), block.begin() + 48);  // until the due date
  return u"Pay rent, flat;\"0x41,0x00\";0x09;Home;\"0xff,0xff\";"
         u"\"0x00,0x00,0x00,0x00,0xc0,0x1e,0xe3,0x40\";\"0x00,0x00,0x00,0x00,0x00,0x1f,0xe3,0x40\";"
         u"\"0x02,0x00,0x00,0x00\";\"0xff,0xff\";\"0x01,0x00,0x00,0x00\";\"0xff,0xff\";ding.wav;"
         u"\"0x00,0x00,0x00,0x00,0x00,0x1f,0xe3,0x40\";\"0x01,0x00,0x00,0x00\";"
         u"\"0x00,0x00,0x00,0x00,0xc0,0x1d,0xe3,0x40\";\"0xff,0xff\";" +
         Quoted(block) + u";\r\n";
}

TEST(TaskFile, SameBytesOnBothGenerationsAndAcrossThem) {
  const std::u16string file = Header() + ChoreLine() + PlainLine(u"Call", kNone);
  for (int os : {platform::kWindowsMobile2003, platform::kWindowsMobile2005}) {
    TaskList phone(os);
    phone.ItemHandset::Add(SetChore);
    phone.Add(u"Call", kNone);
    EXPECT_EQ(phone.Backup(), file) << "OS " << os;
    EXPECT_EQ(phone.page.Rows()[4], u"1. task 'Pay rent, flat' saved.");

    TaskList other(os == 4 ? 5 : 4);
    other.Restore(file, RestoreMode::kDeleteAllFirst);
    EXPECT_EQ(other.Backup(), file) << "restored from OS " << os;
    // An update sets every field, so an empty one clears what the task held; but BodyInk.
    std::u16string cleared = PlainLine(u"Pay rent, flat", kDone);
    other.Restore(Header() + cleared, RestoreMode::kAddNewAndUpdate);
    cleared.replace(cleared.find(u";;;;"), 4, u";;0x09;;");
    EXPECT_EQ(other.Backup(), Header() + cleared + PlainLine(u"Call", kNone));
  }
}

// A task is found by its subject, case and all, and its start, due and completion dates, each
// alone enough to tell two apart; the chore's other fields all differ from the plain task's.
TEST(TaskRestore, FoundByTheSubjectAndEachOfTheThreeDates) {
  TaskList phone;
  phone.Add(u"Pay rent, flat", kDone);
  const Lines rows = phone.Restore(Header() + ChoreLine() + PlainLine(u"pay rent, flat", kDone) +
                                       PlainLine(u"Pay rent, flat", kDone, kStart + 1) +
                                       PlainLine(u"Pay rent, flat", kDone, kStart, kDue + 1) +
                                       PlainLine(u"Pay rent, flat", kNone),
                                   RestoreMode::kAddOnlyNew);
  EXPECT_EQ(testing::RecordOutcomes(rows),
            (Lines{u"0. task 'Pay rent, flat' already exists. Nothing done.",
                   u"2. 'pay rent, flat' inserted.", u"3. 'Pay rent, flat' inserted.",
                   u"4. 'Pay rent, flat' inserted.", u"5. 'Pay rent, flat' inserted."}));
}

TEST(TaskRestore, EachModeWithItsLines) {
  const std::u16string file = Header() + PlainLine(u"Call", kNone) + PlainLine(u"Call", kDone);
  TaskList adding;
  adding.Add(u"Call", kNone);
  const Lines added = adding.Restore(file, RestoreMode::kAddOnlyNew);
  EXPECT_EQ(Lines(added.begin() + 1, added.begin() + 11),
            (Lines{u"Valid tasks CSV header format.", u"Retrieving file records...",
                   u"2 records found in file.", u"Connecting to Outlook...",
                   u"Successfully connected to Outlook.", u"Inserting tasks in the database...",
                   u"0. task 'Call' already exists. Nothing done.", u"2. 'Call' inserted.",
                   u"1 task inserted in the database.", u"0 task updated in the database."}));
  EXPECT_EQ(adding.Subjects().size(), 2u);

  TaskList updating;
  updating.Add(u"Call", kDone);
  const Lines updated = updating.Restore(file, RestoreMode::kAddNewAndUpdate);
  EXPECT_EQ(Lines(updated.begin() + 7, updated.begin() + 11),
            (Lines{u"1. 'Call' inserted.", u"2. 'Call' updated.",
                   u"1 task inserted in the database.", u"1 task updated in the database."}));

  TaskList deleting;
  deleting.Add(u"Old", kNone);
  const Lines deleted = deleting.Restore(file, RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(Lines(deleted.begin() + 6, deleted.begin() + 10),
            (Lines{u"The tasks database contains 1 record.", u"Deleting tasks from the database...",
                   u"1 task deleted from the database.", u"Inserting tasks in the database..."}));
  EXPECT_EQ(deleting.Subjects(), (std::vector<std::u16string>{u"Call", u"Call"}));
}

TEST(TaskRestore, RefusedEmptyAndCanceled) {
  TaskList phone;
  const std::u16string line = PlainLine(u"Call", kNone);
  EXPECT_EQ(phone.Restore(testing::kAppointmentsHeader + line, RestoreMode::kAddOnlyNew),
            (Lines{u"Retrieving file records...", u"! Invalid file format. Nothing done."}));
  EXPECT_EQ(phone.Restore(Header(), RestoreMode::kAddOnlyNew).back(),
            u"No tasks found. Nothing done");
  phone.page.cancel_after = u"Inserting tasks in the database...";
  const Lines canceled = phone.Restore(Header() + line, RestoreMode::kAddOnlyNew);
  EXPECT_EQ(Lines(canceled.end() - 5, canceled.end() - 2),
            (Lines{u"! Tasks restore has been canceled.", u"0 task inserted in the database.",
                   u"0 task updated in the database."}));
  phone.page.cancel = 0;
  phone.page.cancel_after = u"1. task 'Call' saved.";
  phone.Add(u"Call", kNone);
  phone.Add(u"Call", kNone);
  phone.Backup();
  EXPECT_EQ(phone.page.Rows()[5], u"! Tasks backup has been canceled.");
}

TEST(TaskDeletion, DeletesEveryTaskAndSaysHowMany) {
  TaskList phone;
  phone.Add(u"Call", kNone);
  testing::SilentDeletion dialog;
  EXPECT_EQ(DeleteAllTasks(phone.device.device(), dialog), 1u);
  EXPECT_TRUE(phone.Subjects().empty());
  EXPECT_EQ(TasksDeletedText(0), u"No task found, nothing deleted.");
  EXPECT_EQ(TasksDeletedText(3), u"3 tasks successfully deleted.");
}

}  // namespace
}  // namespace kestrav::outlook
