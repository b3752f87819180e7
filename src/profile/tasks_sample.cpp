// The sample's tasks (docs/device-profile.md lists what they exercise).
//
// A task's subject, categories and sound file are written to the record file as they stand,
// unquoted: the sample keeps ";", line breaks and a leading quote out of them, and puts them in
// notes, which are written as bytes.
#include <array>
#include <string>
#include <vector>

#include "platform/outlook.h"
#include "profile/item_json.h"
#include "profile/sample_data.h"
#include "profile/samples.h"

namespace kestrav::profile {
namespace {

// The order a restore writes a task's properties in.
constexpr std::array<std::string_view, 17> kRestoreOrder = {
    "Body",         "BodyInk",     "Categories",      "Complete",    "DateCompleted",
    "DueDate",      "Importance",  "ReminderOptions", "ReminderSet", "ReminderSoundFile",
    "ReminderTime", "Sensitivity", "StartDate",       "TeamTask",    "Subject",
    "recurrence",   "IsRecurring"};

Json Reminder(double when, const char* sound_file) {
  return {{"ReminderSet", true},
          {"ReminderTime", when},
          {"ReminderOptions", kReminderDialogAndSound},
          {"ReminderSoundFile", sound_file}};
}

// A task's pattern from a day: tasks recur by whole days.
Json Pattern(int type, int interval, double first_day) {
  return {{"RecurrenceType", type}, {"Interval", interval}, {"PatternStartDate", first_day}};
}

// The tasks written by hand, each carrying something a tasks file must carry.
std::vector<Json> HandWrittenTasks() {
  std::vector<Json> tasks;

  Json passport = {{"Subject", "Renew passport, \"urgent\""},
                   {"Importance", kHigh},
                   {"StartDate", OleDate(2007, 3, 12)},
                   {"DueDate", OleDate(2007, 3, 30)},
                   {"Categories", "Personal, Travel"},
                   {"Body", "Photos: 2; form \"A-1\", signed.\r\nFee, cash or card."}};
  passport.update(Reminder(OleDate(2007, 3, 28, 9, 0), "\\Windows\\Alarm2.wav"));
  tasks.push_back(passport);

  tasks.push_back({{"Subject", "Steuererklärung 2006 abgeben"},
                   {"Complete", true},
                   {"DateCompleted", OleDate(2007, 3, 9)},
                   {"StartDate", OleDate(2007, 2, 15)},
                   {"DueDate", OleDate(2007, 3, 15)},
                   {"Importance", kHigh},
                   {"Body", "Belege: Ärztin, Fahrtkosten; Spenden.\r\nAn das Finanzamt Köln."}});

  tasks.push_back({{"Subject", "Купить подарок для Ольги"},
                   {"Importance", kLow},
                   {"DueDate", OleDate(2007, 3, 8)},
                   {"Categories", "Personal"}});

  // Weekly on Saturdays, without end.
  Json plants = {{"Subject", "Water the plants 🌱"},
                 {"StartDate", OleDate(2007, 3, 3)},
                 {"DueDate", OleDate(2007, 3, 3)}};
  Json weekly = Pattern(kWeekly, 1, OleDate(2007, 3, 3));
  weekly["DayOfWeekMask"] = kSaturday;
  weekly["NoEndDate"] = true;
  plants["recurrence"] = weekly;
  tasks.push_back(plants);

  // Monthly on the 5th, six times.
  Json subscription = {
      {"Subject", "تجديد الاشتراك الشهري"},
      {"StartDate", OleDate(2007, 3, 5)},
      {"DueDate", OleDate(2007, 3, 5)},
      {"Body", "الدفع قبل اليوم الخامس.\r\nPay before the 5th; keep the receipt."}};
  Json monthly = Pattern(kMonthly, 1, OleDate(2007, 3, 5));
  monthly["DayOfMonth"] = 5;
  monthly["Occurrences"] = 6;
  subscription["recurrence"] = monthly;
  subscription.update(Reminder(OleDate(2007, 3, 4, 18, 0), "\\Windows\\Notify.wav"));
  tasks.push_back(subscription);

  tasks.push_back({{"Subject", "Αναφορά προόδου, Q1"},
                   {"TeamTask", true},
                   {"StartDate", OleDate(2007, 3, 19)},
                   {"DueDate", OleDate(2007, 3, 31)},
                   {"Categories", "Business"}});

  tasks.push_back({{"Subject", "年度報告書を提出する"},
                   {"Sensitivity", kPrivate},
                   {"Importance", kHigh},
                   {"DueDate", OleDate(2007, 3, 31)},
                   {"Body", "第4四半期の数字を確認。\r\nCheck the Q4 figures first."}});

  tasks.push_back(
      {{"Subject", "Call José Muñoz re: contract"},
       {"DueDate", OleDate(2007, 3, 21)},
       {"BodyInk", ByteList(std::array<std::uint8_t, 6>{0x02, 0x00, 0x10, 0xFE, 0x80, 0x01})}});

  // Every seven days until an end date, one occurrence skipped.
  Json backup = {{"Subject", "Back up the phone"},
                 {"StartDate", OleDate(2007, 3, 4)},
                 {"DueDate", OleDate(2007, 3, 4)},
                 {"Categories", "Home"}};
  Json daily = Pattern(kDaily, 7, OleDate(2007, 3, 4));
  daily["PatternEndDate"] = OleDate(2007, 6, 24);
  daily["Exceptions"] = {{{"OriginalDate", OleDate(2007, 3, 18)}, {"Deleted", true}}};
  backup["recurrence"] = daily;
  tasks.push_back(backup);
  return tasks;
}

constexpr std::array<const char*, 5> kChores = {"Follow up with supplier", "Order toner",
                                                "Review minutes", "Book meeting room",
                                                "Update the wiki"};

// A plain task: some done, some with a due date, some without any date.
Json PlainTask(std::size_t serial) {
  Json task = {
      {"Subject", std::string(kChores[serial % kChores.size()]) + " #" + std::to_string(serial)}};
  const int day = 1 + static_cast<int>(serial % 28);
  if (serial % 3 != 2) task["DueDate"] = OleDate(2007, 3, day);
  if (serial % 3 == 0) {
    task["Complete"] = true;
    task["DateCompleted"] = OleDate(2007, 3, day);
  }
  if (serial % 4 == 1) task["Importance"] = kHigh;
  return task;
}

}  // namespace

bool FillSampleTasks(const platform::Device& device, std::uint32_t scale, std::string* error) {
  Json tasks = Json::array();
  const std::vector<Json> hand_written = HandWrittenTasks();
  const std::size_t plain = kSampleTasksPerScale - hand_written.size();
  for (std::uint32_t copy = 0; copy < scale; ++copy) {
    std::vector<Json> unit = hand_written;
    for (std::size_t k = 0; k < plain; ++k) unit.push_back(PlainTask(copy * plain + k));
    for (Json& task : unit) {
      if (!task.contains("Importance")) task["Importance"] = kNormal;
      tasks.push_back(InRestoreOrder(CopyOf(task, copy), kRestoreOrder));
    }
  }
  return LoadItemDocument(device, platform::OutlookFolderId::kTasks, tasks, error);
}

}  // namespace kestrav::profile
