#include "export/icalendar.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "export/content_line.h"

namespace kestrav::exporting {
namespace {

constexpr std::array<std::string_view, 7> kWeekdayCodes = {"SU", "MO", "TU", "WE",
                                                           "TH", "FR", "SA"};

std::string DateValue(const CalendarDate& date) {
  char text[16];
  std::snprintf(text, sizeof text, "%04d%02d%02d", date.year, date.month, date.day);
  return text;
}

CalendarDate DayOf(const LocalDateTime& time) {
  return {time.year, time.month, time.day};
}

std::string DateTimeValue(const LocalDateTime& time) {
  char text[24];
  std::snprintf(text, sizeof text, "%04d%02d%02dT%02d%02d%02d", time.year, time.month, time.day,
                time.hour, time.minute, time.second);
  return text;
}

std::string UtcValue(const LocalDateTime& time, const CalendarContext& context) {
  return DateTimeValue(context.to_utc(time)) + 'Z';
}

// "NAME;VALUE=DATE:day", "NAME;TZID=zone:time" or the floating "NAME:time".
std::string TimeProperty(std::string_view name, const LocalDateTime& time, bool as_date,
                         const CalendarContext& context) {
  std::string line(name);
  if (as_date) return line + ";VALUE=DATE:" + DateValue(DayOf(time));
  if (!context.zone_id.empty()) line += ";TZID=" + context.zone_id;
  return line + ':' + DateTimeValue(time);
}

std::string_view ClassText(Classification classification) {
  switch (classification) {
    case Classification::kPublic:
      return "PUBLIC";
    case Classification::kPrivate:
      return "PRIVATE";
    case Classification::kConfidential:
      return "CONFIDENTIAL";
  }
  return "PUBLIC";
}

std::string_view BusyText(BusyStatus status) {
  switch (status) {
    case BusyStatus::kFree:
      return "FREE";
    case BusyStatus::kTentative:
      return "TENTATIVE";
    case BusyStatus::kBusy:
      return "BUSY";
    case BusyStatus::kOutOfOffice:
      return "OOF";
  }
  return "BUSY";
}

std::string Weekdays(unsigned mask, int position) {
  std::string days;
  for (std::size_t day = 0; day < kWeekdayCodes.size(); ++day) {
    if ((mask & (1u << day)) == 0) continue;
    if (!days.empty()) days += ',';
    if (position != 0) days += std::to_string(position);
    days += kWeekdayCodes[day];
  }
  return days;
}

int CountOf(unsigned mask) {
  int count = 0;
  for (unsigned bit = 1; bit <= 0x40; bit <<= 1) count += (mask & bit) != 0 ? 1 : 0;
  return count;
}

// The rule's text; `until` is the UNTIL value as the series' start type wants it.
std::string RuleText(const CalendarRecurrence& rule, const std::string& until) {
  using Frequency = CalendarRecurrence::Frequency;
  const unsigned weekdays = rule.weekdays & kAllWeekdays;
  std::string text = "RRULE:FREQ=";
  switch (rule.frequency) {
    case Frequency::kDaily:
      // A daily series on chosen weekdays ("every weekday") is a weekly one on those days.
      text += weekdays != 0 ? "WEEKLY" : "DAILY";
      break;
    case Frequency::kWeekly:
      text += "WEEKLY";
      break;
    case Frequency::kMonthly:
      text += "MONTHLY";
      break;
    case Frequency::kYearly:
      text += "YEARLY";
      break;
  }
  if (rule.interval > 1) text += ";INTERVAL=" + std::to_string(rule.interval);
  if (rule.frequency == Frequency::kWeekly && rule.interval > 1) {
    // The handheld counts its weeks from Sunday.
    text += ";WKST=SU";
  }
  if (rule.month != 0) text += ";BYMONTH=" + std::to_string(rule.month);
  if (weekdays != 0) {
    if (rule.position != 0 && CountOf(weekdays) > 1) {
      text += ";BYDAY=" + Weekdays(weekdays, 0) + ";BYSETPOS=" + std::to_string(rule.position);
    } else {
      text += ";BYDAY=" + Weekdays(weekdays, rule.position);
    }
  } else if (rule.month_day > 28) {
    // A day past the month's end falls on its last day.
    text += ";BYMONTHDAY=28";
    for (int day = 29; day <= rule.month_day; ++day) text += ',' + std::to_string(day);
    text += ";BYSETPOS=-1";
  } else if (rule.month_day != 0) {
    text += ";BYMONTHDAY=" + std::to_string(rule.month_day);
  }
  if (rule.count > 0) {
    text += ";COUNT=" + std::to_string(rule.count);
  } else if (!until.empty()) {
    text += ";UNTIL=" + until;
  }
  return text;
}

// The series ends with the last moment of its last day: every occurrence that day is in it.
std::string UntilValue(const CalendarRecurrence& rule, bool as_date,
                       const CalendarContext& context) {
  if (rule.count > 0 || !rule.until) return {};
  if (as_date) return DateValue(*rule.until);
  const LocalDateTime last = {rule.until->year, rule.until->month, rule.until->day, 23, 59, 59};
  return context.zone_id.empty() ? DateTimeValue(last) : UtcValue(last, context);
}

// Dates of an all-day event: its end is the day after its last, at least one day after its start.
CalendarDate AllDayEnd(const LocalDateTime& start, const LocalDateTime& end) {
  long long end_day = DaysFromDate(DayOf(end));
  if (end.hour != 0 || end.minute != 0 || end.second != 0) ++end_day;
  const long long start_day = DaysFromDate(DayOf(start));
  if (end_day <= start_day) end_day = start_day + 1;
  return DateFromDays(end_day);
}

void Line(std::string_view text, std::string* out) {
  AppendContentLine(text, out);
}

void TextLine(std::string_view name, const std::string& value, std::string* out) {
  if (!value.empty()) Line(std::string(name) + ':' + EscapeText(value), out);
}

void AppendAlarm(const std::string& trigger, const std::string& summary, std::string* out) {
  Line("BEGIN:VALARM", out);
  Line("ACTION:DISPLAY", out);
  Line("DESCRIPTION:" + EscapeText(summary.empty() ? std::string("Reminder") : summary), out);
  Line(trigger, out);
  Line("END:VALARM", out);
}

// The properties an event and each of its moved occurrences share.
void AppendEventBody(const CalendarEvent& event, std::string* out) {
  TextLine("SUMMARY", event.summary, out);
  TextLine("LOCATION", event.location, out);
  TextLine("DESCRIPTION", event.description, out);
  if (!event.categories.empty()) Line("CATEGORIES:" + EscapedList(event.categories), out);
  Line("CLASS:" + std::string(ClassText(event.classification)), out);
  Line(event.busy_status == BusyStatus::kFree ? "TRANSP:TRANSPARENT" : "TRANSP:OPAQUE", out);
  if (event.busy_status == BusyStatus::kTentative) Line("STATUS:TENTATIVE", out);
  Line("X-MICROSOFT-CDO-BUSYSTATUS:" + std::string(BusyText(event.busy_status)), out);
  for (const CalendarAttendee& attendee : event.attendees) {
    std::string line = "ATTENDEE";
    if (!attendee.name.empty()) line += ";CN=" + QuotedParameter(attendee.name);
    Line(line + ":mailto:" + attendee.address, out);
  }
  if (event.alarm_minutes_before) {
    const int minutes = *event.alarm_minutes_before;
    AppendAlarm(minutes >= 0 ? "TRIGGER:-PT" + std::to_string(minutes) + 'M'
                             : "TRIGGER:PT" + std::to_string(-minutes) + 'M',
                event.summary, out);
  }
}

void AppendStamp(const std::string& uid, const CalendarContext& context, std::string* out) {
  Line("UID:" + EscapeText(uid), out);
  Line("DTSTAMP:" + DateTimeValue(context.stamp) + 'Z', out);
}

}  // namespace

long long DaysFromDate(const CalendarDate& date) {
  // Days from civil, counting eras of 400 years from 1 March of year 0.
  const int year = date.year - (date.month <= 2 ? 1 : 0);
  const long long era = (year >= 0 ? year : year - 399) / 400;
  const unsigned year_of_era = static_cast<unsigned>(year - era * 400);
  const unsigned month = static_cast<unsigned>(date.month);
  const unsigned day_of_year =
      (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + static_cast<unsigned>(date.day) - 1;
  const unsigned day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + static_cast<long long>(day_of_era) - 719468;
}

CalendarDate DateFromDays(long long days) {
  days += 719468;
  const long long era = (days >= 0 ? days : days - 146096) / 146097;
  const unsigned day_of_era = static_cast<unsigned>(days - era * 146097);
  const unsigned year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const unsigned day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const unsigned month_index = (5 * day_of_year + 2) / 153;
  const int day = static_cast<int>(day_of_year - (153 * month_index + 2) / 5 + 1);
  const int month = static_cast<int>(month_index < 10 ? month_index + 3 : month_index - 9);
  const int year =
      static_cast<int>(static_cast<long long>(year_of_era) + era * 400) + (month <= 2 ? 1 : 0);
  return {year, month, day};
}

void AppendCalendarBegin(const CalendarContext& context, std::string* out) {
  Line("BEGIN:VCALENDAR", out);
  Line("VERSION:2.0", out);
  Line("PRODID:-//Kestrav//Kestrav export//EN", out);
  Line("CALSCALE:GREGORIAN", out);
  out->append(context.zone_component);
}

void AppendCalendarEnd(std::string* out) {
  Line("END:VCALENDAR", out);
}

void AppendCalendarEvent(const CalendarEvent& event, const CalendarContext& context,
                         std::string* out) {
  const bool as_date = event.all_day;
  auto end_property = [&](const LocalDateTime& start, const LocalDateTime& end) {
    if (as_date) return "DTEND;VALUE=DATE:" + DateValue(AllDayEnd(start, end));
    return TimeProperty("DTEND", end, false, context);
  };

  Line("BEGIN:VEVENT", out);
  AppendStamp(event.uid, context, out);
  Line(TimeProperty("DTSTART", event.start, as_date, context), out);
  Line(end_property(event.start, event.end), out);
  if (event.recurrence) {
    Line(RuleText(*event.recurrence, UntilValue(*event.recurrence, as_date, context)), out);
    for (const CalendarOccurrenceChange& change : event.changes) {
      if (change.deleted)
        Line(TimeProperty("EXDATE", change.original_start, as_date, context), out);
    }
  }
  AppendEventBody(event, out);
  Line("END:VEVENT", out);

  if (!event.recurrence) return;
  for (const CalendarOccurrenceChange& change : event.changes) {
    if (change.deleted) continue;
    Line("BEGIN:VEVENT", out);
    AppendStamp(event.uid, context, out);
    Line(TimeProperty("RECURRENCE-ID", change.original_start, as_date, context), out);
    Line(TimeProperty("DTSTART", change.start, as_date, context), out);
    Line(end_property(change.start, change.end), out);
    AppendEventBody(event, out);
    Line("END:VEVENT", out);
  }
}

void AppendCalendarTodo(const CalendarTodo& todo, const CalendarContext& context,
                        std::string* out) {
  Line("BEGIN:VTODO", out);
  AppendStamp(todo.uid, context, out);
  const std::optional<CalendarDate> start =
      todo.start ? todo.start : (todo.recurrence ? todo.recurrence_start : std::nullopt);
  if (start) Line("DTSTART;VALUE=DATE:" + DateValue(*start), out);
  if (todo.due) Line("DUE;VALUE=DATE:" + DateValue(*todo.due), out);
  if (todo.recurrence && start) {
    Line(RuleText(*todo.recurrence, todo.recurrence->count > 0 || !todo.recurrence->until
                                        ? std::string()
                                        : DateValue(*todo.recurrence->until)),
         out);
    for (const CalendarDate& day : todo.deleted_occurrences) {
      Line("EXDATE;VALUE=DATE:" + DateValue(day), out);
    }
  }
  TextLine("SUMMARY", todo.summary, out);
  TextLine("DESCRIPTION", todo.description, out);
  if (!todo.categories.empty()) Line("CATEGORIES:" + EscapedList(todo.categories), out);
  Line("CLASS:" + std::string(ClassText(todo.classification)), out);
  Line("PRIORITY:" + std::to_string(todo.priority), out);
  if (todo.complete) {
    Line("STATUS:COMPLETED", out);
    Line("PERCENT-COMPLETE:100", out);
    if (todo.completed) Line("COMPLETED:" + UtcValue(*todo.completed, context), out);
  } else {
    Line("STATUS:NEEDS-ACTION", out);
  }
  if (todo.alarm_time) {
    AppendAlarm("TRIGGER;VALUE=DATE-TIME:" + UtcValue(*todo.alarm_time, context), todo.summary,
                out);
  }
  Line("END:VTODO", out);
}

}  // namespace kestrav::exporting
