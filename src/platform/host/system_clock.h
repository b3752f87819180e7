// The host's clock and time zone as the device's clock, and the names the host gives its zones.
#pragma once

#include <string>
#include <string_view>

#include "platform/clock.h"

namespace kestrav::platform::host {

// Local time is that of the zone TZ names, else the system's (/etc/localtime).
class SystemClock : public Clock {
 public:
  SystemTime LocalTime() const override;
  SystemTime UtcTime() const override;
  std::uint32_t TickCount() const override;
  FileTime UtcToLocal(FileTime utc) const override;
  FileTime LocalToUtc(FileTime local) const override;
};

// The name of a zone of the time zone database that TZ names - "Europe/Berlin", ":Europe/Berlin",
// a path into the database, or "" for UTC - as systemd accepts it in a calendar; empty when TZ
// names none (a rule such as "CET-1CEST,M3.5.0,M10.5.0/3").
std::string ZoneNameOfVariable(std::string_view variable);
// The name of the system's zone: where /etc/localtime leads into the time zone database, else
// /etc/timezone; empty when neither names one.
std::string SystemZoneName();

}  // namespace kestrav::platform::host
