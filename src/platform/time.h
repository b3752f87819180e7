// Points in time as the device keeps them: a calendar time split into fields, and a file time
// counting 100-nanosecond intervals since 1 January 1601 (UTC unless a name says local).
#pragma once

#include <cstdint>

namespace kestrav::platform {

struct SystemTime {
  std::uint16_t year = 0;
  std::uint16_t month = 0;        // 1 to 12
  std::uint16_t day_of_week = 0;  // 0 Sunday to 6 Saturday
  std::uint16_t day = 0;          // 1 to 31
  std::uint16_t hour = 0;
  std::uint16_t minute = 0;
  std::uint16_t second = 0;
  std::uint16_t milliseconds = 0;

  bool operator==(const SystemTime&) const = default;
};

using FileTime = std::uint64_t;

// Splits a file time into fields; fails for a time past the year 30827.
bool FileTimeToSystemTime(FileTime file_time, SystemTime* system_time);

// Joins fields into a file time; fails when a field is out of its range (month 13, day 32,
// a year before 1601). The day of the week is ignored.
bool SystemTimeToFileTime(const SystemTime& system_time, FileTime* file_time);

// OLE dates, as the object model trades dates: days since 30 December 1899 as a double, the
// fraction the time of day; before that day the whole part counts back and the fraction still
// counts forward (-1.25 is 29 December 1899, 06:00). Both conversions cover 1 January 100 to
// 31 December 9999 and fail outside it.
//
// The date's fields, rounded to the nearest second (milliseconds 0).
bool OleDateToSystemTime(double ole_date, SystemTime* system_time);
// The date of the fields, milliseconds ignored; fails for a field out of its range. The day of
// the week is ignored.
bool SystemTimeToOleDate(const SystemTime& system_time, double* ole_date);

// The latest file time: the device reads file times as signed 64-bit numbers.
inline constexpr FileTime kLastFileTime = 0x7FFFFFFFFFFFFFFF;

// The file time of an instant `ticks` 100-nanosecond intervals from `time`, held to 0 and
// kLastFileTime.
FileTime ShiftFileTime(FileTime time, std::int64_t ticks);

// Where the host's clock meets the device's: seconds since 1970-01-01 UTC with the nanoseconds
// within the second (0 to 999,999,999), and back. A time before 1601 is 0, one past
// kLastFileTime (the year 30828) is kLastFileTime; no product in nanoseconds is formed, so every
// date a host file can carry converts.
FileTime FileTimeFromUnixTime(std::int64_t seconds, std::int64_t nanoseconds);
struct UnixTime {
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;  // 0 to 999,999,999, after the seconds
};
// A file time past kLastFileTime is taken as kLastFileTime.
UnixTime FileTimeToUnixTime(FileTime file_time);

}  // namespace kestrav::platform
