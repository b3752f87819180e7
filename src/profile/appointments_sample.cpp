// The sample's appointments (docs/device-profile.md lists what they exercise).
//
// Location, categories, the sound file and recipients are written to the record file as they
// stand, unquoted: the sample keeps ";", line breaks and a leading quote out of them, and puts
// them in subjects and notes, which are quoted or written as bytes.
#include <array>
#include <string>
#include <vector>

#include "platform/outlook.h"
#include "profile/item_json.h"
#include "profile/sample_data.h"
#include "profile/samples.h"

namespace kestrav::profile {
namespace {

// The order a restore writes an appointment's properties in.
constexpr std::array<std::string_view, 19> kRestoreOrder = {"Body",
                                                            "BodyInk",
                                                            "AllDayEvent",
                                                            "BusyStatus",
                                                            "Categories",
                                                            "Duration",
                                                            "End",
                                                            "Location",
                                                            "ReminderMinutesBeforeStart",
                                                            "ReminderOptions",
                                                            "ReminderSet",
                                                            "ReminderSoundFile",
                                                            "Sensitivity",
                                                            "Start",
                                                            "Subject",
                                                            "recipients",
                                                            "MeetingStatus",
                                                            "recurrence",
                                                            "IsRecurring"};

constexpr int kMinutesPerDay = 24 * 60;

Json Recipient(const char* name, const char* address) {
  return {{"name", name}, {"address", address}};
}

// Start and end, and the duration in minutes they make.
void Times(Json& appointment, double start, double end) {
  appointment["Start"] = start;
  appointment["End"] = end;
  appointment["Duration"] = static_cast<int>((end - start) * kMinutesPerDay + 0.5);
}

Json Reminder(int minutes, const char* sound_file = nullptr) {
  Json reminder = {{"ReminderSet", true},
                   {"ReminderMinutesBeforeStart", minutes},
                   {"ReminderOptions", kReminderDialogAndSound}};
  if (sound_file != nullptr) reminder["ReminderSoundFile"] = sound_file;
  return reminder;
}

// A pattern from a day at a time of day for some minutes; its end is set by the caller.
Json Pattern(int type, double first_day, double start_time, int minutes) {
  return {{"RecurrenceType", type},
          {"Interval", 1},
          {"PatternStartDate", first_day},
          {"StartTime", start_time},
          {"EndTime", start_time + static_cast<double>(minutes) / kMinutesPerDay},
          {"Duration", minutes}};
}

// A deleted occurrence, and one moved by some minutes to a new length, as a record file keeps
// them: whole minutes after the original start.
Json Deleted(double original) {
  return {{"OriginalDate", original}, {"Deleted", true}};
}
Json Moved(double original, int shift_minutes, int length_minutes) {
  const double start = original + static_cast<double>(shift_minutes) / kMinutesPerDay;
  return {{"OriginalDate", original},
          {"Start", start},
          {"End", start + static_cast<double>(length_minutes) / kMinutesPerDay}};
}

// The appointments written by hand, each carrying something an appointments file must carry.
std::vector<Json> HandWrittenAppointments() {
  std::vector<Json> appointments;

  Json offsite = {{"Subject", "Company offsite, day one"},
                  {"AllDayEvent", true},
                  {"BusyStatus", kOutOfOffice},
                  {"Location", "Hotel Åre Fjällby, Åre"},
                  {"Categories", "Business, Travel"}};
  Times(offsite, OleDate(2007, 3, 19), OleDate(2007, 3, 20));
  appointments.push_back(offsite);

  Json dentist = {{"Subject", "Dentist \"Dr. Papadopoulos\""},
                  {"BusyStatus", kBusy},
                  {"Location", "Οδός Ερμού 12, Αθήνα"},
                  {"Body", "Bring the X-rays; ask about the \"new\" crown.\r\nPay at the desk."}};
  Times(dentist, OleDate(2007, 3, 14, 9, 30), OleDate(2007, 3, 14, 10, 15));
  dentist.update(Reminder(30, "\\Windows\\Alarm3.wav"));
  appointments.push_back(dentist);

  Json review = {
      {"Subject", "Quarterly review; budget, \"Q2\" plan"},
      {"BusyStatus", kBusy},
      {"Location", "Room 4.2, \"Fjord\" wing"},
      {"Categories", "Business"},
      {"Body", "Agenda:\r\n1. Figures, Q1\r\n2. \"Stretch\" goals; risks\r\n3. AOB"},
      {"recipients",
       {Recipient("Zoë Åkerlund", "zoe.akerlund@example.org"),
        Recipient("José Muñoz", "jose.munoz@example.com"),
        Recipient("Дмитрий Орлов", "d.orlov@example.org"),
        Recipient("田中 花子", "hanako.tanaka@example.jp"), Recipient("Front desk", "")}}};
  Times(review, OleDate(2007, 3, 22, 14, 0), OleDate(2007, 3, 22, 16, 0));
  review.update(Reminder(15));
  appointments.push_back(review);

  // Daily until an end date, one occurrence deleted and one moved an hour later and made
  // longer.
  Json standup = {{"Subject", "Stand-up"}, {"BusyStatus", kBusy}, {"Location", "Team corner"}};
  Times(standup, OleDate(2007, 3, 12, 9, 0), OleDate(2007, 3, 12, 9, 15));
  Json daily = Pattern(kDaily, OleDate(2007, 3, 12), 9.0 / 24, 15);
  daily["PatternEndDate"] = OleDate(2007, 3, 30);
  daily["Exceptions"] = {Deleted(OleDate(2007, 3, 16, 9, 0)),
                         Moved(OleDate(2007, 3, 20, 9, 0), 60, 30)};
  standup["recurrence"] = daily;
  appointments.push_back(standup);

  // Weekly on three days, for a count of occurrences.
  Json gym = {{"Subject", "Gym — Спортзал"}, {"Location", "Фитнес-клуб «Олимп»"}};
  Times(gym, OleDate(2007, 3, 5, 18, 30), OleDate(2007, 3, 5, 19, 30));
  Json weekly = Pattern(kWeekly, OleDate(2007, 3, 5), 18.5 / 24, 60);
  weekly["DayOfWeekMask"] = kMonday | kWednesday | kFriday;
  weekly["Occurrences"] = 12;
  gym["recurrence"] = weekly;
  appointments.push_back(gym);

  // Monthly on the second Tuesday, without end.
  Json book_club = {{"Subject", "Book club 📚"},
                    {"Location", "Café Ümit, Kreuzberg"},
                    {"Body", "This month: \"Мастер и Маргарита\".\r\nBring snacks, drinks."}};
  Times(book_club, OleDate(2007, 3, 13, 19, 0), OleDate(2007, 3, 13, 21, 0));
  Json month_nth = Pattern(kMonthNth, OleDate(2007, 3, 13), 19.0 / 24, 120);
  month_nth["Instance"] = 2;
  month_nth["DayOfWeekMask"] = kTuesday;
  month_nth["NoEndDate"] = true;
  month_nth["Exceptions"] = {Deleted(OleDate(2007, 4, 10, 19, 0))};
  book_club["recurrence"] = month_nth;
  book_club.update(Reminder(60));
  appointments.push_back(book_club);

  // Yearly, all day, without end.
  Json nowruz = {{"Subject", "نوروز — Nowruz"},
                 {"AllDayEvent", true},
                 {"BusyStatus", kFree},
                 {"Categories", "Holiday"}};
  Times(nowruz, OleDate(2007, 3, 21), OleDate(2007, 3, 22));
  Json yearly = Pattern(kYearly, OleDate(2007, 3, 21), 0, kMinutesPerDay);
  yearly["DayOfMonth"] = 21;
  yearly["MonthOfYear"] = 3;
  yearly["NoEndDate"] = true;
  nowruz["recurrence"] = yearly;
  appointments.push_back(nowruz);

  // Monthly on a day of the month, for six months.
  Json rent = {{"Subject", "Pay the rent, flat 3"}, {"Sensitivity", kPrivate}};
  Times(rent, OleDate(2007, 4, 1, 8, 0), OleDate(2007, 4, 1, 8, 10));
  Json monthly = Pattern(kMonthly, OleDate(2007, 4, 1), 8.0 / 24, 10);
  monthly["DayOfMonth"] = 1;
  monthly["Occurrences"] = 6;
  rent["recurrence"] = monthly;
  rent.update(Reminder(0));
  appointments.push_back(rent);

  // Yearly on the last Saturday of March, every second year, until an end date.
  Json cleaning = {{"Subject", "Spring cleaning\r\n(garage, attic)"}};
  Times(cleaning, OleDate(2007, 3, 31, 10, 0), OleDate(2007, 3, 31, 16, 0));
  Json year_nth = Pattern(kYearNth, OleDate(2007, 3, 31), 10.0 / 24, 360);
  year_nth["Interval"] = 2;
  year_nth["Instance"] = 5;
  year_nth["DayOfWeekMask"] = kSaturday;
  year_nth["MonthOfYear"] = 3;
  year_nth["PatternEndDate"] = OleDate(2015, 3, 28);
  cleaning["recurrence"] = year_nth;
  appointments.push_back(cleaning);

  Json tokyo = {{"Subject", "会議：東京支社"},
                {"BusyStatus", kTentative},
                {"Sensitivity", kPrivate},
                {"Location", "東京都千代田区丸の内1-1"},
                {"Body", "資料を持参すること。\r\nBring the slides, too."},
                {"recipients",
                 {Recipient("佐藤 健", "ken.sato@example.jp"),
                  Recipient("王小明", "xiaoming.wang@example.cn")}}};
  Times(tokyo, OleDate(2007, 3, 27, 3, 0), OleDate(2007, 3, 27, 4, 30));
  appointments.push_back(tokyo);

  Json flight = {{"Subject", "Flight LH 2471 → Munich"},
                 {"BusyStatus", kOutOfOffice},
                 {"Location", "Terminal 2, Gate \"B\" 12"},
                 {"Categories", "Travel"},
                 {"BodyInk", ByteList(std::array<std::uint8_t, 8>{0x01, 0x00, 0x05, 0x80, 0x7F,
                                                                  0xFF, 0x10, 0xAB})}};
  Times(flight, OleDate(2007, 3, 26, 6, 45), OleDate(2007, 3, 26, 8, 0));
  flight.update(Reminder(120, "\\Windows\\Alarm1.wav"));
  appointments.push_back(flight);

  Json lunch = {{"Subject", "Team lunch 🍕"},
                {"Location", "Trattoria \"Da Mario\", Via Roma 3"},
                {"Body", "Line one\r\nLine two; with \"quotes\", commas\r\nΚαλή όρεξη!"},
                {"recipients",
                 {Recipient("Ελένη Παπαδοπούλου", "eleni@example.gr"),
                  Recipient("محمد علي", "m.ali@example.org"),
                  Recipient("Chloé O'Brien", "chloe@example.ie")}}};
  Times(lunch, OleDate(2007, 3, 16, 12, 30), OleDate(2007, 3, 16, 13, 45));
  Json weekly_lunch = Pattern(kWeekly, OleDate(2007, 3, 16), 12.5 / 24, 75);
  weekly_lunch["Interval"] = 2;
  weekly_lunch["DayOfWeekMask"] = kFriday;
  weekly_lunch["NoEndDate"] = true;
  weekly_lunch["Exceptions"] = {Moved(OleDate(2007, 3, 30, 12, 30), -30, 90),
                                Deleted(OleDate(2007, 4, 13, 12, 30))};
  lunch["recurrence"] = weekly_lunch;
  appointments.push_back(lunch);
  return appointments;
}

constexpr std::array<const char*, 6> kTopics = {"Call with supplier", "Project sync", "Interview",
                                                "Site visit",         "Training",     "1:1"};
constexpr std::array<const char*, 4> kRooms = {"Room 1", "Room 2", "Online", "Reception"};

// A plain appointment; a recurring one repeats weekly on its day, for ten weeks.
Json PlainAppointment(std::size_t serial, bool recurs) {
  const int day = 1 + static_cast<int>(serial % 28);
  const int hour = 8 + static_cast<int>(serial % 9);
  Json appointment = {
      {"Subject", std::string(kTopics[serial % kTopics.size()]) + " #" + std::to_string(serial)},
      {"BusyStatus", kBusy},
      {"Location", kRooms[serial % kRooms.size()]}};
  Times(appointment, OleDate(2007, 3, day, hour, 0), OleDate(2007, 3, day, hour, 45));
  if (serial % 2 == 0) appointment.update(Reminder(15));
  if (recurs) {
    const double first_day = OleDate(2007, 3, day);
    Json weekly = Pattern(kWeekly, first_day, hour / 24.0, 45);
    // Day 0, 30 December 1899, was a Saturday.
    weekly["DayOfWeekMask"] = kSunday << ((static_cast<int>(first_day) + 6) % 7);
    weekly["Occurrences"] = 10;
    appointment["recurrence"] = weekly;
  }
  return appointment;
}

}  // namespace

bool FillSampleAppointments(const platform::Device& device, std::uint32_t scale,
                            std::string* error) {
  Json appointments = Json::array();
  const std::vector<Json> hand_written = HandWrittenAppointments();
  const std::size_t plain = kSampleAppointmentsPerScale - hand_written.size();
  for (std::uint32_t copy = 0; copy < scale; ++copy) {
    std::vector<Json> unit = hand_written;
    // A third of all recur: seven of the hand-written ones, every sixth plain one.
    for (std::size_t k = 0; k < plain; ++k)
      unit.push_back(PlainAppointment(copy * plain + k, k % 6 == 0));
    for (Json& appointment : unit)
      appointments.push_back(InRestoreOrder(CopyOf(appointment, copy), kRestoreOrder));
  }
  return LoadItemDocument(device, platform::OutlookFolderId::kCalendar, appointments, error);
}

}  // namespace kestrav::profile
