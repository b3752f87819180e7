#include "outlook/appointments.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <tuple>

#include "outlook/item_fields.h"
#include "outlook/testing/failing_outlook.h"
#include "outlook/testing/item_handset.h"
#include "platform/text.h"

namespace kestrav::outlook {
namespace {

using engine::RestoreMode;
using platform::ItemProperty;
using platform::OutlookItem;
using testing::Cat;
using testing::kConnect;
using testing::kDisconnect;
using testing::Lines;
using testing::Quoted;

constexpr char16_t kFile[] = u"\\appointments.csa";
constexpr double kTenOClock = 39156.5;  // 15 March 2007, 12:00
constexpr double kSixOClock = 39156.75;

const std::u16string& Header() {
  return testing::kAppointmentsHeader;
}

struct Calendar : testing::ItemHandset<AppointmentsWorker> {
  explicit Calendar(int os = platform::kWindowsMobile2005)
      : ItemHandset(os, engine::ItemKind::kAppointments, platform::OutlookFolderId::kCalendar,
                    platform::OutlookItemType::kAppointment, kFile) {}

  void Add(std::u16string subject, double start, double end) {
    ItemHandset::Add([&](OutlookItem& item) {
      item.SetText(ItemProperty::kSubject, subject);
      item.SetDate(ItemProperty::kStart, start);
      item.SetDate(ItemProperty::kEnd, end);
    });
  }

  std::vector<std::tuple<std::u16string, double, double>> Appointments() {
    return Read<std::tuple<std::u16string, double, double>>([](OutlookItem& item) {
      return std::tuple(ItemText(item, ItemProperty::kSubject),
                        ItemDate(item, ItemProperty::kStart), ItemDate(item, ItemProperty::kEnd));
    });
  }
};

// A weekly all-day meeting, marked personal, with two recipients, one occurrence deleted and one
// moved an hour later and made ninety minutes long.
void SetMeeting(OutlookItem& item) {
  item.SetText(ItemProperty::kSubject, u"Team, weekly");
  item.SetText(ItemProperty::kBody, u"Hi");
  item.SetBoolean(ItemProperty::kAllDayEvent, true);
  item.SetInteger(ItemProperty::kSensitivity, 1);
  const std::uint8_t ink[] = {1, 2};
  item.SetBytes(ItemProperty::kBodyInk, ink);
  item.SetInteger(ItemProperty::kBusyStatus, 2);
  item.SetText(ItemProperty::kCategories, u"Work, Home");
  item.SetInteger(ItemProperty::kDuration, 360);
  item.SetDate(ItemProperty::kEnd, kSixOClock);
  item.SetText(ItemProperty::kLocation, u"Room 1");
  item.SetInteger(ItemProperty::kReminderMinutesBeforeStart, 15);
  item.SetInteger(ItemProperty::kReminderOptions, 4);
  item.SetBoolean(ItemProperty::kReminderSet, true);
  item.SetText(ItemProperty::kReminderSoundFile, u"\\Windows\\Alarm1.wav");
  item.SetDate(ItemProperty::kStart, kTenOClock);
  item.AddRecipient({u"Ann", u"ann@example.org"});
  item.AddRecipient({u"Bob", u""});
  platform::RecurrencePattern weekly;
  weekly.recurrence_type = 1;
  weekly.interval = 1;
  weekly.day_of_week_mask = 0x10;
  weekly.pattern_start_date = 39156.0;
  weekly.no_end_date = true;
  weekly.start_time = 0.5;
  weekly.end_time = 0.75;
  weekly.duration = 360;
  weekly.exceptions = {{.original_date = 39163.5, .deleted = true},
                       {.original_date = 39170.5,
                        .start = 39170.5 + 1.0 / 24,
                        .end = 39170.5 + 1.0 / 24 + 1.5 / 24}};
  item.SetRecurrence(weekly);
}

// The meeting's line, every field as its bytes stand.
std::u16string MeetingLine() {
  std::vector<std::uint8_t> block(kRecurrenceBlockSize, 0);
  const auto put = [&block](std::size_t at, std::initializer_list<std::uint8_t> bytes) {
    std::ranges::copy(bytes, block.begin() + static_cast<std::ptrdiff_t>(at));
  };
  put(0, {1});                                    // recurs
  put(4, {1});                                    // weekly
  put(8, {1});                                    // every week
  put(16, {0x10});                                // Thursday
  put(32, {0x68, 0x01});                          // 360 minutes
  put(36, {0xff, 0xff});                          // no end
  put(40, {0, 0, 0, 0, 0x80, 0x1e, 0xe3, 0x40});  // from 15 March 2007
  put(56, {0, 0, 0, 0, 0, 0, 0xe0, 0x3f});        // 12:00
  put(64, {0, 0, 0, 0, 0, 0, 0xe8, 0x3f});        // 18:00
  put(72, {2});                                   // two exceptions
  const std::u16string exceptions =
      u"\"0x00,0x00,0x00,0x00,0x70,0x1f,0xe3,0x40,0xff,0xff,0x00,0x00,0x00,0x00,0x00,0x00,"
      u"0x00,0x00,0x00,0x00,0x50,0x20,0xe3,0x40,0x00,0x00,0x5a,0x00,0x3c,0x00,0x00,0x00\"";
  return u"\"Team, weekly\";\"0xff,0xff\";\"0x48,0x00,0x69,0x00\";\"0x01,0x02\";"
         u"\"0x02,0x00,0x00,0x00\";Work, Home;\"0x68,0x01,0x00,0x00\";"
         u"\"0x00,0x00,0x00,0x00,0x98,0x1e,0xe3,0x40\";\"0xff,0xff\";Room 1;"
         u"\"0x01,0x00,0x00,0x00\";\"0x0f,0x00,0x00,0x00\";\"0x04,0x00,0x00,0x00\";\"0xff,0xff\";"
         u"\\Windows\\Alarm1.wav;\"0x01,0x00,0x00,0x00\";\"0x00,0x00,0x00,0x00,0x90,0x1e,0xe3,"
         u"0x40\";"
         u"\"0x02,0x00,0x00,0x00\";Ann;ann@example.org;Bob;;" +
         Quoted(block) + u";" + exceptions + u"\r\n";
}

// A plain appointment's line: empty texts, zeros, and an all-zero recurrence block.
std::u16string PlainLine(std::u16string_view subject, double start, double end) {
  const std::u16string zero = u"\"0x00,0x00,0x00,0x00\";";
  return std::u16string(subject) + u";\"0x00,0x00\";;;" + zero + u";" + zero +
         Quoted(DateBytes(end)) + u";\"0x00,0x00\";;" + zero + zero + zero + u"\"0x00,0x00\";;" +
         zero + Quoted(DateBytes(start)) + u";" + zero +
         Quoted(std::vector<std::uint8_t>(kRecurrenceBlockSize, 0)) + u";\r\n";
}

// Either generation writes the same file, and a backup of one restored on the other backs up
// the same again: recipients, recurrence and exceptions included.
TEST(AppointmentFile, SameBytesOnBothGenerationsAndAcrossThem) {
  const std::u16string file =
      Header() + MeetingLine() + PlainLine(u"Lunch", kTenOClock, kSixOClock);
  for (int os : {platform::kWindowsMobile2003, platform::kWindowsMobile2005}) {
    Calendar phone(os);
    phone.ItemHandset::Add(SetMeeting);
    phone.Add(u"Lunch", kTenOClock, kSixOClock);
    EXPECT_EQ(phone.Backup(), file) << "OS " << os;

    Calendar other(os == 4 ? 5 : 4);
    other.Add(u"Old", kTenOClock, kSixOClock);
    other.Restore(file, RestoreMode::kDeleteAllFirst);
    EXPECT_EQ(other.Backup(), file) << "restored from OS " << os;
  }
  EXPECT_EQ(Calendar().Backup(), Header());
}

// A meeting of 1,000 guests that recurs daily with 300 occurrences deleted: a restore adds every
// guest and exception, and a backup writes the 4,800 bytes of exceptions, longer than one piece of
// the line writer, as one quoted list.
TEST(AppointmentFile, LongListsComeBackByteForByte) {
  std::u16string guests;
  for (int k = 0; k < 1000; ++k) {
    const std::u16string number = platform::FromUtf8(std::to_string(k));
    guests += u"Guest " + number + u";g" + number + u"@example.org;";
  }
  std::vector<std::uint8_t> block(kRecurrenceBlockSize, 0);
  block[0] = 1;                  // recurs, daily
  block[8] = 1;                  // every day
  block[36] = block[37] = 0xff;  // no end
  block[72] = 0x2c;              // 300 exceptions
  block[73] = 0x01;
  std::vector<std::uint8_t> deleted;
  for (int k = 0; k < 300; ++k) {
    std::ranges::copy(DateBytes(kTenOClock + k), std::back_inserter(deleted));
    deleted.insert(deleted.end(), {0xff, 0xff, 0, 0, 0, 0, 0, 0});
  }
  const std::u16string zero = u"\"0x00,0x00,0x00,0x00\";";
  const std::u16string file =
      Header() + u"Board;\"0x00,0x00\";;;" + zero + u";" + zero + Quoted(DateBytes(kSixOClock)) +
      u";\"0xff,0xff\";;\"0x01,0x00,0x00,0x00\";" + zero + zero + u"\"0x00,0x00\";;" + zero +
      Quoted(DateBytes(kTenOClock)) + u";\"0xe8,0x03,0x00,0x00\";" + guests + Quoted(block) + u";" +
      Quoted(deleted) + u"\r\n";
  Calendar phone;
  phone.Restore(file, RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(phone.Backup(), file);
}

TEST(AppointmentFile, MovedOccurrenceKeepsItsMinutes) {
  platform::RecurrencePattern pattern;
  pattern.exceptions = {{.original_date = 39170.5, .start = 39170.0, .end = 39220.0}};
  const std::optional<platform::RecurrencePattern> back =
      RecurrenceFromFields(RecurrenceBlock(pattern), ExceptionEntries(pattern));
  ASSERT_TRUE(back && back->exceptions.size() == 1);
  EXPECT_DOUBLE_EQ(back->exceptions[0].start, 39170.0);                 // twelve hours earlier
  EXPECT_DOUBLE_EQ(back->exceptions[0].end, 39170.0 + 65535.0 / 1440);  // cut to 65535 minutes
  // A block of another size, or one that says the item does not recur, is no recurrence; a cut
  // exception entry is dropped.
  EXPECT_FALSE(RecurrenceFromFields(std::vector<std::uint8_t>(87, 1), {}));
  EXPECT_FALSE(RecurrenceFromFields(RecurrenceBlock(std::nullopt), {}));
  EXPECT_TRUE(RecurrenceFromFields(RecurrenceBlock(pattern), std::vector<std::uint8_t>(15, 0))
                  ->exceptions.empty());
}

// The backup loop and its cancel are the contacts'; the texts are the kind's.
TEST(AppointmentBackup, LinesAndTotals) {
  Calendar phone;
  phone.Add(u"Dentist", kTenOClock, kSixOClock);
  phone.Add(u"", kTenOClock, kSixOClock);
  phone.Backup();
  EXPECT_EQ(phone.page.Rows(),
            Cat({kConnect,
                 {u"Retrieving appointments infos...", u"2 appointments to be retrieved.",
                  u"1. appointment 'Dentist' saved.", u"2. appointment '' saved.",
                  u"2 appointments successfully saved."},
                 kDisconnect}));
}

// A device holding "Dentist" 12:00-18:00; the file holds the same, "Dentist" ending at 00:00,
// an appointment without a subject and "Gym".
TEST(AppointmentRestore, EachModeWithItsLines) {
  const double midnight = 39157.0;
  const std::u16string file = Header() + PlainLine(u"Dentist", kTenOClock, kSixOClock) +
                              PlainLine(u"Dentist", kTenOClock, midnight) +
                              PlainLine(u"", kTenOClock, kSixOClock) +
                              PlainLine(u"Gym", kTenOClock, kSixOClock);
  const Lines read = {u"Retrieving file records...", u"Valid appointments CSV header format.",
                      u"Retrieving file records...", u"4 records found in file."};
  const auto run = [&](Calendar& phone, RestoreMode mode) {
    phone.Add(u"Dentist", kTenOClock, kSixOClock);
    return phone.Restore(file, mode);
  };

  Calendar adding;
  EXPECT_EQ(
      run(adding, RestoreMode::kAddOnlyNew),
      Cat({read,
           kConnect,
           {u"Inserting appointments in the database...",
            u"0. appointment 'Dentist' already exists. Nothing done.", u"2. 'Dentist' inserted.",
            u"3. '' inserted.", u"4. 'Gym' inserted.", u"3 appointments inserted in the database.",
            u"0 appointment updated in the database."},
           kDisconnect}));
  // Everything is there now: a second run finds every one but the one without a subject.
  const Lines again = adding.Restore(file, RestoreMode::kAddOnlyNew);
  EXPECT_EQ(std::ranges::count_if(again,
                                  [](const std::u16string& line) {
                                    return line.ends_with(u"already exists. Nothing done.");
                                  }),
            3);

  // Updating, and allowing duplicates, which appointments do not offer but still look for the
  // existing item in: both update what they find.
  for (const RestoreMode mode : {RestoreMode::kAddNewAndUpdate, RestoreMode::kAllowDuplicates}) {
    Calendar updating;
    const Lines updated = run(updating, mode);
    EXPECT_EQ(Lines(updated.begin() + 7, updated.end() - 2),
              (Lines{u"1. 'Dentist' updated.", u"2. 'Dentist' inserted.", u"3. '' inserted.",
                     u"4. 'Gym' inserted.", u"3 appointments inserted in the database.",
                     u"1 appointment updated in the database."}));
  }

  Calendar deleting;
  const Lines deleted = run(deleting, RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(Lines(deleted.begin() + 6, deleted.begin() + 9),
            (Lines{u"The appointments database contains 1 record.",
                   u"Deleting appointments from the database...",
                   u"1 appointment deleted from the database."}));
  EXPECT_EQ(deleting.Appointments().size(), 4u);
  EXPECT_EQ(std::get<2>(deleting.Appointments()[1]), midnight);
}

// An appointment is found by its subject, case and all, its start and its end, each alone
// enough to tell two apart; the meeting's other fields all differ from the plain one's.
TEST(AppointmentRestore, FoundBySubjectStartAndEndAlone) {
  const double hour = 1.0 / 24;
  Calendar phone;
  phone.Add(u"Team, weekly", kTenOClock, kSixOClock);
  const Lines rows = phone.Restore(
      Header() + MeetingLine() + PlainLine(u"\"team, weekly\"", kTenOClock, kSixOClock) +
          PlainLine(u"\"Team, weekly\"", kTenOClock + hour, kSixOClock) +
          PlainLine(u"\"Team, weekly\"", kTenOClock, kSixOClock + hour),
      RestoreMode::kAddOnlyNew);
  EXPECT_EQ(testing::RecordOutcomes(rows),
            (Lines{u"0. appointment 'Team, weekly' already exists. Nothing done.",
                   u"2. 'team, weekly' inserted.", u"3. 'Team, weekly' inserted.",
                   u"4. 'Team, weekly' inserted."}));
}

TEST(AppointmentRestore, RefusedEmptyAndCanceledFiles) {
  Calendar phone;
  const Lines refused = {u"Retrieving file records...", u"! Invalid file format. Nothing done."};
  const std::u16string line = PlainLine(u"Gym", kTenOClock, kSixOClock);
  std::u16string off = Header();
  off.replace(off.find(u"0x21"), 4, u"0x22");
  std::u16string two_fields = Header();
  two_fields.insert(two_fields.find(u"\r\n"), u";x");
  for (const std::u16string& header : {off, two_fields, testing::kTasksHeader})
    EXPECT_EQ(phone.Restore(header + line, RestoreMode::kAddOnlyNew), refused);
  EXPECT_EQ(phone.Restore(Header(), RestoreMode::kAddOnlyNew),
            (Lines{u"Retrieving file records...", u"Valid appointments CSV header format.",
                   u"Retrieving file records...", u"0 record found in file.",
                   u"No appointments found. Nothing done"}));
  // Canceled before the kind began: told so, even for an empty file.
  phone.page.cancel = 1;
  EXPECT_EQ(phone.Restore(Header(), RestoreMode::kAddOnlyNew).back(),
            u"! Appointments restore has been canceled.");
  EXPECT_TRUE(phone.Appointments().empty());
}

TEST(AppointmentRestore, AFailedSaveIsToldAndNotCounted) {
  Calendar phone;
  phone.Add(u"Gym", kTenOClock, kSixOClock);
  testing::FailingOutlookDevice failing(phone.device);
  failing.failures.save = true;
  phone.harness.WriteRecordFile(Header() + PlainLine(u"Gym", kTenOClock, kSixOClock) +
                                PlainLine(u"Swim", kTenOClock, kSixOClock));
  AppointmentsWorker worker(failing.device);
  const Lines rows = phone.harness.Restore(worker, RestoreMode::kAddNewAndUpdate);
  EXPECT_EQ(Lines(rows.end() - 6, rows.end() - 2),
            (Lines{u"1. appointment 'Gym' couldn't be updated.",
                   u"2. appointment 'Swim' couldn't be inserted.",
                   u"0 appointment inserted in the database.",
                   u"0 appointment updated in the database."}));
}

TEST(AppointmentDeletion, DeletesEveryAppointmentAndSaysHowMany) {
  Calendar phone;
  phone.Add(u"Gym", kTenOClock, kSixOClock);
  testing::SilentDeletion dialog;
  EXPECT_EQ(DeleteAllAppointments(phone.device.device(), dialog), 1u);
  EXPECT_TRUE(phone.Appointments().empty());
  EXPECT_EQ(AppointmentsDeletedText(0), u"No appointment found, nothing deleted.");
  EXPECT_EQ(AppointmentsDeletedText(2), u"2 appointments successfully deleted.");
}

}  // namespace
}  // namespace kestrav::outlook
