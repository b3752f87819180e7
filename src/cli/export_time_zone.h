// The host's local time zone for exported calendars: its name (TZ, else /etc/localtime), its
// VTIMEZONE component and the UTC time of a wall-clock time, all from the system's zone data
// through libical, so that no zone rule is written here.
#pragma once

#include <string>

#include "export/icalendar.h"

namespace kestrav::cli {

class ExportTimeZone {
 public:
  // The host's zone; Loaded() is false when it cannot be named or found.
  ExportTimeZone();

  bool Loaded() const { return zone_ != nullptr; }
  // The zone's name as the system names it ("Europe/Stockholm").
  const std::string& name() const { return name_; }
  // The zone's identifier and VTIMEZONE component, as the calendar's context takes them.
  const std::string& Identifier() const { return identifier_; }
  std::string Component() const;
  // A wall-clock time of the zone in UTC; a time the clocks skip counts as after the change.
  exporting::LocalDateTime ToUtc(const exporting::LocalDateTime& local) const;

 private:
  std::string name_;
  std::string identifier_;
  void* zone_ = nullptr;
};

}  // namespace kestrav::cli
