#include "platform/host/system_clock.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <ctime>

namespace kestrav::platform::host {
namespace {

FileTime NowUtc() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return FileTimeFromUnixTime(now.tv_sec, now.tv_nsec);
}

}  // namespace

SystemTime SystemClock::LocalTime() const {
  SystemTime time;
  FileTimeToSystemTime(UtcToLocal(NowUtc()), &time);
  return time;
}

SystemTime SystemClock::UtcTime() const {
  SystemTime time;
  FileTimeToSystemTime(NowUtc(), &time);
  return time;
}

std::uint32_t SystemClock::TickCount() const {
  const auto since_start = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(since_start).count());
}

FileTime SystemClock::UtcToLocal(FileTime utc) const {
  const std::time_t seconds = FileTimeToUnixTime(utc).seconds;
  std::tm local{};
  // Past the years the C library counts, the offset stays unknown: none is added.
  if (localtime_r(&seconds, &local) == nullptr) return utc;
  return ShiftFileTime(utc, static_cast<std::int64_t>(local.tm_gmtoff) * 10'000'000);
}

FileTime SystemClock::LocalToUtc(FileTime local) const {
  local = std::min(local, kLastFileTime);
  // The offset at the local time read as UTC is off by at most one change of the clocks; the
  // offset at the instant that first guess names is the one in force then.
  const std::int64_t first_offset =
      static_cast<std::int64_t>(UtcToLocal(local)) - static_cast<std::int64_t>(local);
  const FileTime guess = ShiftFileTime(local, -first_offset);
  const std::int64_t offset =
      static_cast<std::int64_t>(UtcToLocal(guess)) - static_cast<std::int64_t>(guess);
  return ShiftFileTime(local, -offset);
}

}  // namespace kestrav::platform::host
