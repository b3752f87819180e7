#include "platform/time.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace kestrav::platform {
namespace {

using std::chrono::days;
using std::chrono::sys_days;

constexpr std::uint64_t kTicksPerMillisecond = 10'000;
constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::uint64_t kTicksPerDay = kTicksPerSecond * 86'400;
// Days from 1601-01-01 to 1970-01-01.
constexpr std::int64_t kDaysFrom1601To1970 = 134'774;
constexpr std::int64_t kTicksFrom1601To1970 = kDaysFrom1601To1970 * 86'400 * 10'000'000LL;
// Days from 1899-12-30, the OLE dates' day 0, to 1970-01-01.
constexpr std::int64_t kDaysFrom1899To1970 = 25'569;
// 0100-01-01 and 9999-12-31 23:59:59, the OLE dates' bounds.
constexpr double kFirstOleDate = -657'434.0;
constexpr double kLastOleDate = 2'958'465.0 + 86'399.0 / 86'400.0;
constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr auto kTicksPerSecondSigned = static_cast<std::int64_t>(kTicksPerSecond);

// start + ticks, held to 0 and kLastFileTime.
FileTime HeldFileTime(std::int64_t start, std::int64_t ticks) {
  std::int64_t sum = 0;
  if (__builtin_add_overflow(start, ticks, &sum)) return ticks > 0 ? kLastFileTime : 0;
  return sum < 0 ? 0 : static_cast<FileTime>(sum);
}

}  // namespace

bool FileTimeToSystemTime(FileTime file_time, SystemTime* system_time) {
  if (file_time >= 0x8000000000000000ULL) return false;
  const auto day_number = static_cast<std::int64_t>(file_time / kTicksPerDay);
  std::uint64_t rest = file_time % kTicksPerDay;
  const sys_days day{days{day_number - kDaysFrom1601To1970}};
  const std::chrono::year_month_day date{day};
  const std::chrono::weekday weekday{day};
  system_time->year = static_cast<std::uint16_t>(static_cast<int>(date.year()));
  system_time->month = static_cast<std::uint16_t>(static_cast<unsigned>(date.month()));
  system_time->day = static_cast<std::uint16_t>(static_cast<unsigned>(date.day()));
  system_time->day_of_week = static_cast<std::uint16_t>(weekday.c_encoding());
  system_time->hour = static_cast<std::uint16_t>(rest / (kTicksPerSecond * 3600));
  rest %= kTicksPerSecond * 3600;
  system_time->minute = static_cast<std::uint16_t>(rest / (kTicksPerSecond * 60));
  rest %= kTicksPerSecond * 60;
  system_time->second = static_cast<std::uint16_t>(rest / kTicksPerSecond);
  rest %= kTicksPerSecond;
  system_time->milliseconds = static_cast<std::uint16_t>(rest / kTicksPerMillisecond);
  return true;
}

bool SystemTimeToFileTime(const SystemTime& system_time, FileTime* file_time) {
  const std::chrono::year_month_day date{std::chrono::year{system_time.year},
                                         std::chrono::month{system_time.month},
                                         std::chrono::day{system_time.day}};
  if (system_time.year < 1601 || system_time.year > 30827 || !date.ok() || system_time.hour > 23 ||
      system_time.minute > 59 || system_time.second > 59 || system_time.milliseconds > 999) {
    return false;
  }
  const std::int64_t day_number = sys_days{date}.time_since_epoch().count() + kDaysFrom1601To1970;
  *file_time = static_cast<std::uint64_t>(day_number) * kTicksPerDay +
               (system_time.hour * 3600ULL + system_time.minute * 60ULL + system_time.second) *
                   kTicksPerSecond +
               system_time.milliseconds * kTicksPerMillisecond;
  return true;
}

bool OleDateToSystemTime(double ole_date, SystemTime* system_time) {
  // Not written as a range test on purpose: a NaN fails it too.
  if (!(ole_date >= kFirstOleDate - 0.5 / kSecondsPerDay &&
        ole_date < kLastOleDate + 0.5 / kSecondsPerDay)) {
    return false;
  }
  auto whole_days = static_cast<std::int64_t>(ole_date);  // towards 0, as the fraction reads
  auto seconds = static_cast<std::int64_t>(
      std::llround(std::abs(ole_date - static_cast<double>(whole_days)) * kSecondsPerDay));
  if (seconds >= kSecondsPerDay) {
    // Rounded up into the next day: one day later, whichever side of day 0 the date is.
    ++whole_days;
    seconds -= kSecondsPerDay;
  }
  const sys_days day{days{whole_days - kDaysFrom1899To1970}};
  const std::chrono::year_month_day date{day};
  system_time->year = static_cast<std::uint16_t>(static_cast<int>(date.year()));
  system_time->month = static_cast<std::uint16_t>(static_cast<unsigned>(date.month()));
  system_time->day = static_cast<std::uint16_t>(static_cast<unsigned>(date.day()));
  system_time->day_of_week = static_cast<std::uint16_t>(std::chrono::weekday{day}.c_encoding());
  system_time->hour = static_cast<std::uint16_t>(seconds / 3600);
  system_time->minute = static_cast<std::uint16_t>(seconds / 60 % 60);
  system_time->second = static_cast<std::uint16_t>(seconds % 60);
  system_time->milliseconds = 0;
  return system_time->year <= 9999;
}

bool SystemTimeToOleDate(const SystemTime& system_time, double* ole_date) {
  const std::chrono::year_month_day date{std::chrono::year{system_time.year},
                                         std::chrono::month{system_time.month},
                                         std::chrono::day{system_time.day}};
  if (system_time.year < 100 || system_time.year > 9999 || !date.ok() || system_time.hour > 23 ||
      system_time.minute > 59 || system_time.second > 59) {
    return false;
  }
  const std::int64_t day_number = sys_days{date}.time_since_epoch().count() + kDaysFrom1899To1970;
  const double time_of_day =
      static_cast<double>(system_time.hour * 3600 + system_time.minute * 60 + system_time.second) /
      kSecondsPerDay;
  // Before day 0 the fraction still counts forward from the day's start.
  *ole_date = day_number < 0 ? static_cast<double>(day_number) - time_of_day
                             : static_cast<double>(day_number) + time_of_day;
  return true;
}

FileTime ShiftFileTime(FileTime time, std::int64_t ticks) {
  return HeldFileTime(static_cast<std::int64_t>(std::min(time, kLastFileTime)), ticks);
}

FileTime FileTimeFromUnixTime(std::int64_t seconds, std::int64_t nanoseconds) {
  // The seconds whose ticks, with the offset of 1970, fit a signed 64-bit number.
  constexpr std::int64_t kLatestSeconds =
      (static_cast<std::int64_t>(kLastFileTime) - kTicksFrom1601To1970) / kTicksPerSecondSigned;
  constexpr std::int64_t kEarliestSeconds = -kTicksFrom1601To1970 / kTicksPerSecondSigned - 1;
  if (seconds > kLatestSeconds) return kLastFileTime;
  if (seconds < kEarliestSeconds) return 0;
  return HeldFileTime(seconds * kTicksPerSecondSigned + kTicksFrom1601To1970, nanoseconds / 100);
}

UnixTime FileTimeToUnixTime(FileTime file_time) {
  const std::int64_t ticks =
      static_cast<std::int64_t>(std::min(file_time, kLastFileTime)) - kTicksFrom1601To1970;
  UnixTime time{ticks / kTicksPerSecondSigned, ticks % kTicksPerSecondSigned * 100};
  // Before 1970 the division rounds towards 0; the nanoseconds count forward from the second.
  if (time.nanoseconds < 0) {
    time.nanoseconds += 1'000'000'000;
    --time.seconds;
  }
  return time;
}

}  // namespace kestrav::platform
