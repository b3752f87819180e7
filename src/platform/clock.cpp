#include "platform/clock.h"

namespace kestrav::platform {

namespace {
constexpr std::int64_t kTicksPerMinute = 600'000'000;
}

FixedClock::FixedClock(const SystemTime& utc, int local_offset_minutes, std::uint32_t tick_count)
    : utc_(utc), local_offset_minutes_(local_offset_minutes), tick_count_(tick_count) {}

SystemTime FixedClock::LocalTime() const {
  FileTime utc = 0;
  SystemTime local = utc_;
  if (SystemTimeToFileTime(utc_, &utc)) FileTimeToSystemTime(UtcToLocal(utc), &local);
  return local;
}

FileTime FixedClock::UtcToLocal(FileTime utc) const {
  return ShiftFileTime(utc, local_offset_minutes_ * kTicksPerMinute);
}

FileTime FixedClock::LocalToUtc(FileTime local) const {
  return ShiftFileTime(local, -local_offset_minutes_ * kTicksPerMinute);
}

}  // namespace kestrav::platform
