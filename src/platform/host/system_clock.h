// The host's clock and time zone as the device's clock.
#pragma once

#include "platform/clock.h"

namespace kestrav::platform::host {

class SystemClock : public Clock {
 public:
  SystemTime LocalTime() const override;
  SystemTime UtcTime() const override;
  std::uint32_t TickCount() const override;
  FileTime UtcToLocal(FileTime utc) const override;
  FileTime LocalToUtc(FileTime local) const override;
};

}  // namespace kestrav::platform::host
