// Appointments and tasks as iCalendar: a calendar's head (with the time zone its times are in),
// one VEVENT or VTODO at a time, and its end. Times come as the handheld's wall-clock times.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "export/vcard.h"

namespace kestrav::exporting {

struct LocalDateTime {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;

  bool operator==(const LocalDateTime&) const = default;
};

// Weekday bits as the handheld counts them: bit 0 Sunday to bit 6 Saturday.
inline constexpr unsigned kAllWeekdays = 0x7F;

struct CalendarRecurrence {
  enum class Frequency { kDaily, kWeekly, kMonthly, kYearly };
  Frequency frequency = Frequency::kDaily;
  int interval = 1;
  unsigned weekdays = 0;
  // The nth of the weekdays in the month or year, 1 to 4, or -1 for the last; 0 for none.
  int position = 0;
  // The day of the month, 1 to 31 (a day past a month's end means its last day); 0 for none.
  int month_day = 0;
  int month = 0;
  // At most one of the two ends: a number of occurrences, or the day of the last one.
  int count = 0;
  std::optional<CalendarDate> until;
};

// An occurrence deleted from a series, or moved to a start and end of its own.
struct CalendarOccurrenceChange {
  LocalDateTime original_start;
  bool deleted = true;
  LocalDateTime start;
  LocalDateTime end;
};

struct CalendarAttendee {
  std::string name;
  std::string address;
};

enum class Classification { kPublic, kPrivate, kConfidential };
enum class BusyStatus { kFree, kTentative, kBusy, kOutOfOffice };

struct CalendarEvent {
  std::string uid;
  std::string summary;
  std::string description;
  std::string location;
  std::vector<std::string> categories;
  // An all-day event's times are read as days: its end is the first day after it.
  bool all_day = false;
  LocalDateTime start;
  LocalDateTime end;
  Classification classification = Classification::kPublic;
  BusyStatus busy_status = BusyStatus::kBusy;
  std::optional<int> alarm_minutes_before;
  std::vector<CalendarAttendee> attendees;
  std::optional<CalendarRecurrence> recurrence;
  std::vector<CalendarOccurrenceChange> changes;
};

struct CalendarTodo {
  std::string uid;
  std::string summary;
  std::string description;
  std::vector<std::string> categories;
  Classification classification = Classification::kPublic;
  std::optional<CalendarDate> start;
  std::optional<CalendarDate> due;
  bool complete = false;
  std::optional<LocalDateTime> completed;
  // 1 high, 5 normal, 9 low.
  int priority = 5;
  std::optional<LocalDateTime> alarm_time;
  std::optional<CalendarRecurrence> recurrence;
  // The series' first day when the task itself has no start.
  std::optional<CalendarDate> recurrence_start;
  std::vector<CalendarDate> deleted_occurrences;
};

// The time zone the calendar's times are in, and its stamp.
struct CalendarContext {
  // The zone's identifier and VTIMEZONE component (content lines); both empty for floating times.
  std::string zone_id;
  std::string zone_component;
  // A wall-clock time in UTC; for the times iCalendar wants in UTC even when the others float.
  std::function<LocalDateTime(const LocalDateTime&)> to_utc;
  // DTSTAMP of every component, UTC.
  LocalDateTime stamp;
};

void AppendCalendarBegin(const CalendarContext& context, std::string* out);
void AppendCalendarEvent(const CalendarEvent& event, const CalendarContext& context,
                         std::string* out);
void AppendCalendarTodo(const CalendarTodo& todo, const CalendarContext& context, std::string* out);
void AppendCalendarEnd(std::string* out);

// Days since 1 January 1970 of a date, and back: for all-day ends and the days around them.
long long DaysFromDate(const CalendarDate& date);
CalendarDate DateFromDays(long long days);

}  // namespace kestrav::exporting
