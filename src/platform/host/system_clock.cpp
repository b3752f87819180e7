#include "platform/host/system_clock.h"

#include <chrono>
#include <ctime>

namespace kestrav::platform::host {
namespace {

FileTime NowUtc() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return FileTimeFromUnixNanoseconds(
      std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
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
  const std::int64_t nanoseconds = FileTimeToUnixNanoseconds(utc);
  std::time_t seconds = static_cast<std::time_t>(nanoseconds / 1'000'000'000);
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return utc;
  return static_cast<FileTime>(static_cast<std::int64_t>(utc) +
                               static_cast<std::int64_t>(local.tm_gmtoff) * 10'000'000);
}

FileTime SystemClock::LocalToUtc(FileTime local) const {
  // The offset at the local time read as UTC is off by at most one change of the clocks; the
  // offset at the instant that first guess names is the one in force then.
  const std::int64_t first_offset =
      static_cast<std::int64_t>(UtcToLocal(local)) - static_cast<std::int64_t>(local);
  const FileTime guess = static_cast<FileTime>(static_cast<std::int64_t>(local) - first_offset);
  const std::int64_t offset =
      static_cast<std::int64_t>(UtcToLocal(guess)) - static_cast<std::int64_t>(guess);
  return static_cast<FileTime>(static_cast<std::int64_t>(local) - offset);
}

}  // namespace kestrav::platform::host
