// The device's clock: local and UTC time, the tick count, and local time for a given instant.
// Nothing reads the machine's clock directly, so a test can stand on any day it likes.
#pragma once

#include <cstdint>

#include "platform/time.h"

namespace kestrav::platform {

class Clock {
 public:
  virtual ~Clock() = default;

  virtual SystemTime LocalTime() const = 0;
  virtual SystemTime UtcTime() const = 0;

  // Milliseconds since an arbitrary start; wraps after 49.7 days as the device's does.
  virtual std::uint32_t TickCount() const = 0;

  // The local file time of a UTC file time, in the device's time zone.
  virtual FileTime UtcToLocal(FileTime utc) const = 0;
  // The UTC file time of a local file time: the reverse of UtcToLocal, except within the hour a
  // change of the clocks skips or repeats.
  virtual FileTime LocalToUtc(FileTime local) const = 0;
};

// A clock that shows what it is told: for tests, and for runs that must repeat exactly.
class FixedClock : public Clock {
 public:
  // local_offset_minutes: local time minus UTC.
  FixedClock(const SystemTime& utc, int local_offset_minutes, std::uint32_t tick_count = 0);

  SystemTime LocalTime() const override;
  SystemTime UtcTime() const override { return utc_; }
  std::uint32_t TickCount() const override { return tick_count_; }
  FileTime UtcToLocal(FileTime utc) const override;
  FileTime LocalToUtc(FileTime local) const override;

  void AdvanceTicks(std::uint32_t milliseconds) { tick_count_ += milliseconds; }

 private:
  SystemTime utc_;
  int local_offset_minutes_;
  std::uint32_t tick_count_;
};

}  // namespace kestrav::platform
