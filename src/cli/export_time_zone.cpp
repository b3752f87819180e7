#include "cli/export_time_zone.h"

#include <libical/ical.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace kestrav::cli {
namespace {

constexpr std::string_view kZoneFolder = "zoneinfo/";

// "Europe/Stockholm" from TZ (":Europe/Stockholm", or a path into the zone folder), else from the
// target of /etc/localtime, else from /etc/timezone.
std::string HostZoneName() {
  std::string name;
  if (const char* tz = std::getenv("TZ"); tz != nullptr && *tz != '\0') {
    name = tz;
    if (name.front() == ':') name.erase(0, 1);
  } else {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::read_symlink("/etc/localtime", error);
    if (!error) {
      name = target.string();
    } else {
      std::ifstream file("/etc/timezone");
      std::getline(file, name);
    }
  }
  if (const std::size_t folder = name.rfind(kZoneFolder); folder != std::string::npos) {
    name.erase(0, folder + kZoneFolder.size());
  }
  return name;
}

icaltimezone* Zone(void* zone) {
  return static_cast<icaltimezone*>(zone);
}

}  // namespace

ExportTimeZone::ExportTimeZone() : name_(HostZoneName()) {
  if (name_.empty()) return;
  identifier_ = name_;
  zone_ = icaltimezone_get_builtin_timezone(name_.c_str());
  // libical answers "UTC" with a zone of no VTIMEZONE; the zone data's Etc folder has one.
  if (zone_ == nullptr || icaltimezone_get_component(Zone(zone_)) == nullptr) {
    identifier_ = "Etc/" + name_;
    zone_ = icaltimezone_get_builtin_timezone(identifier_.c_str());
  }
}

std::string ExportTimeZone::Component() const {
  icalcomponent* zone_component = icaltimezone_get_component(Zone(zone_));
  if (zone_component == nullptr) return {};
  // Named by the zone's own name, which calendar programs know without reading the component.
  icalcomponent* component = icalcomponent_new_clone(zone_component);
  icalproperty* identifier = icalcomponent_get_first_property(component, ICAL_TZID_PROPERTY);
  if (identifier != nullptr) icalproperty_set_tzid(identifier, identifier_.c_str());
  const char* text = icalcomponent_as_ical_string(component);
  std::string result = text != nullptr ? text : "";
  icalcomponent_free(component);
  return result;
}

exporting::LocalDateTime ExportTimeZone::ToUtc(const exporting::LocalDateTime& local) const {
  icaltimetype time = icaltime_null_time();
  time.year = local.year;
  time.month = local.month;
  time.day = local.day;
  time.hour = local.hour;
  time.minute = local.minute;
  time.second = local.second;
  time = icaltime_set_timezone(&time, Zone(zone_));
  const icaltimetype utc = icaltime_convert_to_zone(time, icaltimezone_get_utc_timezone());
  return {utc.year, utc.month, utc.day, utc.hour, utc.minute, utc.second};
}

}  // namespace kestrav::cli
