#include "platform/host/system_clock.h"

#include <time.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>

namespace kestrav::platform::host {
namespace {

constexpr char kZoneDatabase[] = "/usr/share/zoneinfo/";
constexpr std::string_view kZoneDatabaseFolder = "zoneinfo/";

// A zone the database holds, named as systemd takes it: letters, digits, "-", "_", "+" and single
// "/" between them, naming a file that begins as a zone file does.
bool IsZoneName(std::string_view name) {
  if (name == "UTC") return true;  // systemd's fallback, with or without the database
  if (name.empty() || name.front() == '/' || name.back() == '/' || name.find("//") != name.npos)
    return false;
  const bool allowed = std::all_of(name.begin(), name.end(), [](char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '-' ||
           character == '_' || character == '+' || character == '/';
  });
  if (!allowed) return false;
  std::ifstream zone(kZoneDatabase + std::string(name), std::ios::binary);
  char magic[4] = {};
  return zone.read(magic, sizeof magic) && std::string_view(magic, sizeof magic) == "TZif";
}

// The zone a path into the database leads to.
std::string ZoneNameOfPath(std::string_view path) {
  const std::size_t folder = path.rfind(kZoneDatabaseFolder);
  if (folder == path.npos) return {};
  const std::string_view name = path.substr(folder + kZoneDatabaseFolder.size());
  return IsZoneName(name) ? std::string(name) : std::string();
}

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

std::string ZoneNameOfVariable(std::string_view variable) {
  if (variable.starts_with(':')) variable.remove_prefix(1);
  if (variable.empty()) return "UTC";
  if (variable.front() == '/') return ZoneNameOfPath(variable);
  return IsZoneName(variable) ? std::string(variable) : std::string();
}

std::string SystemZoneName() {
  std::error_code failure;
  const std::filesystem::path target = std::filesystem::read_symlink("/etc/localtime", failure);
  if (!failure) {
    if (std::string name = ZoneNameOfPath(target.string()); !name.empty()) return name;
  }
  std::ifstream file("/etc/timezone");
  std::string name;
  std::getline(file, name);
  return IsZoneName(name) ? name : std::string();
}

}  // namespace kestrav::platform::host
