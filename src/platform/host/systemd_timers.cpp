#include "platform/host/systemd_timers.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "platform/host/host_file_system.h"
#include "platform/host/host_session.h"
#include "platform/host/system_clock.h"
#include "platform/text.h"
#include "platform/time.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

constexpr char kUnitPrefix[] = "kestrav-schedule-";
constexpr char kTimer[] = ".timer";
constexpr char kService[] = ".service";
constexpr char kProfileVariable[] = "KESTRAV_DEVICE=";
constexpr char kZoneVariable[] = "TZ=";
// Ours are a few hundred bytes; anything bigger is not one of ours.
constexpr std::size_t kUnitSizeLimit = 64 * 1024;
// The years systemd's calendar holds.
constexpr unsigned kFirstCalendarYear = 1970;
constexpr unsigned kLastCalendarYear = 2199;
// A Set that keeps losing the next number to other programs gives up after this many.
constexpr int kNumberAttempts = 64;

// FNV-1a: the same on every build and machine, unlike std::hash, so a profile keeps its units.
std::string ProfileKey(std::string_view profile) {
  std::uint64_t hash = 0xcbf29ce484222325ULL;
  for (const char byte : profile) {
    hash ^= static_cast<unsigned char>(byte);
    hash *= 0x100000001b3ULL;
  }
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
  return text;
}

// One folder, one key: links and "." or ".." resolved, no trailing separator.
std::string AbsoluteProfile(const fs::path& profile) {
  std::error_code failure;
  fs::path absolute = fs::weakly_canonical(profile, failure);
  if (failure) absolute = fs::absolute(profile, failure).lexically_normal();
  std::string text = absolute.string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

// A word as systemd reads it back: in double quotes, with C escapes for the quote, the backslash
// and control characters, "%%" for a percent sign (specifiers) and, where systemd substitutes
// variables, "$$" for a dollar sign.
std::string Quoted(std::string_view text, bool double_dollars) {
  std::string quoted = "\"";
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '"' || character == '\\') {
      quoted += '\\';
      quoted += character;
    } else if (character == '%' || (character == '$' && double_dollars)) {
      quoted += character;
      quoted += character;
    } else if (byte < 0x20 || byte == 0x7f) {
      char escape[5];
      std::snprintf(escape, sizeof escape, "\\x%02x", byte);
      quoted += escape;
    } else {
      quoted += character;
    }
  }
  return quoted + '"';
}

// Takes one word written by Quoted off the front of *line, with the blank after it.
bool Unquote(std::string_view* line, bool double_dollars, std::string* word) {
  std::string_view rest = *line;
  if (rest.empty() || rest.front() != '"') return false;
  rest.remove_prefix(1);
  word->clear();
  while (!rest.empty() && rest.front() != '"') {
    const char character = rest.front();
    std::size_t used = 2;
    if (character == '\\' && rest.size() >= 2 && (rest[1] == '"' || rest[1] == '\\')) {
      *word += rest[1];
    } else if (character == '\\' && rest.size() >= 4 && rest[1] == 'x') {
      unsigned value = 0;
      const auto [end, failure] = std::from_chars(rest.data() + 2, rest.data() + 4, value, 16);
      if (failure != std::errc() || end != rest.data() + 4) return false;
      *word += static_cast<char>(value);
      used = 4;
    } else if (character == '%' || (character == '$' && double_dollars)) {
      if (rest.size() < 2 || rest[1] != character) return false;
      *word += character;
    } else if (character == '\\') {
      return false;
    } else {
      *word += character;
      used = 1;
    }
    rest.remove_prefix(used);
  }
  if (rest.empty()) return false;
  rest.remove_prefix(1);
  if (!rest.empty() && rest.front() != ' ') return false;
  if (!rest.empty()) rest.remove_prefix(1);
  *line = rest;
  return true;
}

// systemd refuses to start an executable whose name holds quotes, backslashes or control
// characters, whatever the quoting.
bool SystemdStarts(std::string_view application) {
  if (!application.starts_with('/')) return false;
  return std::none_of(application.begin(), application.end(), [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return character == '"' || character == '\'' || character == '\\' || byte < 0x20 ||
           byte == 0x7f;
  });
}

// "YYYY-MM-DD HH:MM:SS", and the zone after a blank when one is named.
bool CalendarText(const SystemTime& start, std::string_view zone, std::string* text) {
  FileTime unused = 0;
  if (!SystemTimeToFileTime(start, &unused) || start.year < kFirstCalendarYear ||
      start.year > kLastCalendarYear) {
    return false;
  }
  char buffer[48];  // room for any field values, as the compiler checks
  std::snprintf(buffer, sizeof buffer, "%04u-%02u-%02u %02u:%02u:%02u", start.year, start.month,
                start.day, start.hour, start.minute, start.second);
  *text = buffer;
  if (!zone.empty()) *text += ' ' + std::string(zone);
  return true;
}

bool ParseCalendar(std::string_view text, SystemTime* start, std::string* zone) {
  constexpr std::string_view kShape = "0000-00-00 00:00:00";
  if (text.size() < kShape.size()) return false;
  for (std::size_t index = 0; index < kShape.size(); ++index) {
    const bool digit = std::isdigit(static_cast<unsigned char>(text[index])) != 0;
    if (kShape[index] == '0' ? !digit : text[index] != kShape[index]) return false;
  }
  zone->clear();
  if (text.size() > kShape.size()) {
    if (text[kShape.size()] != ' ') return false;
    *zone = text.substr(kShape.size() + 1);
    if (zone->empty() || zone->find_first_of(" \t") != std::string::npos) return false;
  }
  const auto number = [text](std::size_t at, std::size_t length) {
    std::uint16_t value = 0;
    for (std::size_t index = at; index < at + length; ++index)
      value = static_cast<std::uint16_t>(value * 10 + (text[index] - '0'));
    return value;
  };
  SystemTime parsed;
  parsed.year = number(0, 4);
  parsed.month = number(5, 2);
  parsed.day = number(8, 2);
  parsed.hour = number(11, 2);
  parsed.minute = number(14, 2);
  parsed.second = number(17, 2);
  FileTime time = 0;
  if (parsed.year < kFirstCalendarYear || parsed.year > kLastCalendarYear ||
      !SystemTimeToFileTime(parsed, &time)) {
    return false;
  }
  return FileTimeToSystemTime(time, start);  // which fills in the day of the week
}

// The value of the one line "key=value" of a unit; none when the key is missing or repeated.
std::optional<std::string_view> Setting(std::string_view unit, std::string_view key) {
  std::optional<std::string_view> found;
  while (!unit.empty()) {
    const std::size_t end = unit.find('\n');
    const std::string_view line = unit.substr(0, end);
    unit = end == std::string_view::npos ? std::string_view() : unit.substr(end + 1);
    if (!line.starts_with(key) || line.size() <= key.size() || line[key.size()] != '=') continue;
    if (found) return std::nullopt;
    found = line.substr(key.size() + 1);
  }
  return found;
}

// A launch due while the machine sleeps runs when it wakes. WakeSystem= is left out: a user's
// manager lacks the privilege to arm a waking clock (systemd.timer(5)), and the timer would not
// arm at all.
std::string TimerUnit(std::string_view calendar, std::string_view service) {
  return "[Unit]\nDescription=Kestrav timed launch\n\n[Timer]\nOnCalendar=" +
         std::string(calendar) + "\nPersistent=true\nUnit=" + std::string(service) +
         "\n\n[Install]\nWantedBy=timers.target\n";
}

// The service's environment: the profile, and the time zone the program that set the timer
// kept its local time in, so that the run keeps it too.
std::vector<std::string> EnvironmentWords(std::string_view profile,
                                          const std::optional<std::string>& zone_variable) {
  std::vector<std::string> words = {kProfileVariable + std::string(profile)};
  if (zone_variable) words.push_back(kZoneVariable + *zone_variable);
  return words;
}

std::string ServiceUnit(const std::vector<std::string>& environment, std::string_view application,
                        std::string_view arguments) {
  // The executable's own name is taken as it stands; only the arguments get variables.
  std::string command = Quoted(application, false);
  for (std::size_t start = arguments.find_first_not_of(" \t"); start != std::string_view::npos;) {
    const std::size_t end = arguments.find_first_of(" \t", start);
    command += ' ' + Quoted(arguments.substr(start, end - start), true);
    start = arguments.find_first_not_of(" \t", end);
  }
  std::string assignments;
  for (const std::string& word : environment)
    assignments += (assignments.empty() ? "" : " ") + Quoted(word, false);
  return "[Unit]\nDescription=Kestrav timed launch\n\n[Service]\nType=oneshot\nEnvironment=" +
         assignments + "\nExecStart=" + command + "\n";
}

ErrorCode ReadUnit(const fs::path& file, std::string* text) {
  const ErrorCode error = ReadWholeFile(file, kUnitSizeLimit, false, text);
  return error == kErrorFileNotFound ? kErrorInvalidHandle : error;
}

ErrorCode RemoveFile(const fs::path& file) {
  return ::unlink(file.c_str()) == 0 || errno == ENOENT ? kErrorSuccess : WriteError(errno);
}

}  // namespace

fs::path SystemdNotifications::UserUnitFolder() {
  const fs::path config = UserFolder("XDG_CONFIG_HOME", ".config");
  return config.empty() ? config : config / "systemd" / "user";
}

SystemdNotifications::SystemdNotifications(const fs::path& profile, fs::path unit_folder,
                                           HostCommands& commands, const Clock& clock,
                                           std::optional<std::string> zone_variable)
    : profile_(AbsoluteProfile(profile)),
      unit_prefix_(kUnitPrefix + ProfileKey(profile_) + "-"),
      unit_folder_(std::move(unit_folder)),
      commands_(commands),
      clock_(clock),
      zone_variable_(std::move(zone_variable)) {}

std::string SystemdNotifications::UnitName(NotificationHandle handle,
                                           std::string_view suffix) const {
  return unit_prefix_ + std::to_string(handle) + std::string(suffix);
}

ErrorCode SystemdNotifications::ListHandles(std::string_view suffix,
                                            std::vector<NotificationHandle>* handles) {
  handles->clear();
  std::error_code failure;
  for (fs::directory_iterator entries(unit_folder_, failure), end; !failure && entries != end;
       entries.increment(failure)) {
    const std::string name = entries->path().filename().string();
    if (!name.starts_with(unit_prefix_) || !name.ends_with(suffix)) continue;
    const std::string_view number = std::string_view(name).substr(
        unit_prefix_.size(), name.size() - unit_prefix_.size() - suffix.size());
    NotificationHandle handle = 0;
    const auto [end_of_number, parse_failure] =
        std::from_chars(number.data(), number.data() + number.size(), handle);
    // The number exactly as UnitName writes it: no sign, no leading zero.
    if (parse_failure == std::errc() && end_of_number == number.data() + number.size() &&
        number.front() != '0') {
      handles->push_back(handle);
    }
  }
  if (failure && failure != std::errc::no_such_file_or_directory)
    return ErrorFromErrno(failure.value());
  std::sort(handles->begin(), handles->end());
  return kErrorSuccess;
}

ErrorCode SystemdNotifications::GetHandles(std::vector<NotificationHandle>* handles) {
  return ListHandles(kTimer, handles);
}

ErrorCode SystemdNotifications::ReadCalendar(NotificationHandle handle, std::string* timer,
                                             SystemTime* start, std::string* zone) {
  if (ErrorCode error = ReadUnit(unit_folder_ / UnitName(handle, kTimer), timer)) return error;
  const auto calendar = Setting(*timer, "OnCalendar");
  if (!calendar || !ParseCalendar(*calendar, start, zone)) return kErrorGenFailure;
  return kErrorSuccess;
}

ErrorCode SystemdNotifications::Get(NotificationHandle handle, NotificationTrigger* trigger) {
  std::string timer;
  std::string service;
  NotificationTrigger found;
  std::string zone;
  if (ErrorCode error = ReadCalendar(handle, &timer, &found.start, &zone)) return error;
  if (ErrorCode error = ReadUnit(unit_folder_ / UnitName(handle, kService), &service))
    return error == kErrorInvalidHandle ? kErrorGenFailure : error;

  const auto unit = Setting(timer, "Unit");
  auto environment = Setting(service, "Environment");
  auto command = Setting(service, "ExecStart");
  std::string profile;
  std::string application;
  if (unit != UnitName(handle, kService) || !environment || !command ||
      !Unquote(&*environment, false, &profile) || profile != kProfileVariable + profile_ ||
      !Unquote(&*command, false, &application)) {
    return kErrorGenFailure;
  }
  // The time zone the timer was set in may follow.
  std::string zone_word;
  if (!environment->empty() && (!Unquote(&*environment, false, &zone_word) ||
                                !zone_word.starts_with(kZoneVariable) || !environment->empty())) {
    return kErrorGenFailure;
  }
  found.application = FromUtf8(application);
  std::string arguments;
  for (std::string word; !command->empty();) {
    if (!Unquote(&*command, true, &word)) return kErrorGenFailure;
    arguments += (arguments.empty() ? "" : " ") + word;
  }
  found.arguments = FromUtf8(arguments);
  *trigger = found;
  return kErrorSuccess;
}

std::u16string SystemdNotifications::StartZone(NotificationHandle handle) {
  std::string timer;
  SystemTime start;
  std::string zone;
  if (ReadCalendar(handle, &timer, &start, &zone) != kErrorSuccess) return {};
  return FromUtf8(zone.empty() ? SystemZoneName() : zone);
}

ErrorCode SystemdNotifications::Set(const NotificationTrigger& trigger,
                                    NotificationHandle* handle) {
  note_.clear();
  std::string calendar;
  const std::string application = ToUtf8(trigger.application);
  if (trigger.type != kNotificationTypeTime || !Calendar(trigger.start, &calendar))
    return kErrorInvalidParameter;
  if (!SystemdStarts(application)) {
    note_ = application.empty()
                ? u"the program to start is gone, or its path is not UTF-8"
                : u"systemd starts no program whose path holds quotes, backslashes or control "
                  u"characters: " +
                      trigger.application;
    return kErrorInvalidName;
  }
  const std::vector<std::string> environment = EnvironmentWords(profile_, zone_variable_);
  for (const std::string& word : environment) {
    if (!IsUtf8(word)) {
      // systemd drops an assignment that is not UTF-8, and the run would miss its profile.
      note_ = u"systemd passes only UTF-8 to a program, and " + FromUtf8(word) + u" is not UTF-8";
      return kErrorInvalidName;
    }
  }
  if (unit_folder_.empty()) return kErrorPathNotFound;
  std::error_code failure;
  fs::create_directories(unit_folder_, failure);
  if (failure) return WriteError(failure.value());

  // Services count too: one left without its timer still holds its number.
  std::vector<NotificationHandle> timers;
  std::vector<NotificationHandle> services;
  if (ErrorCode error = ListHandles(kTimer, &timers)) return error;
  if (ErrorCode error = ListHandles(kService, &services)) return error;
  NotificationHandle number = 1;
  if (!timers.empty()) number = std::max(number, timers.back() + 1);
  if (!services.empty()) number = std::max(number, services.back() + 1);

  // The service claims the number, so another program setting at the same time takes the next.
  const std::string service_text = ServiceUnit(environment, application, ToUtf8(trigger.arguments));
  ErrorCode written = kErrorFileExists;
  for (int attempt = 0; attempt < kNumberAttempts && written == kErrorFileExists; ++attempt) {
    written = WriteWholeFile(unit_folder_ / UnitName(number, kService), service_text, false);
    if (written == kErrorFileExists) ++number;
  }
  if (written != kErrorSuccess) return written;
  written = WriteWholeFile(unit_folder_ / UnitName(number, kTimer),
                           TimerUnit(calendar, UnitName(number, kService)), false);
  if (written != kErrorSuccess) {
    RemoveFile(unit_folder_ / UnitName(number, kService));
    return written;
  }

  const std::string timer = UnitName(number, kTimer);
  if (!AskManager()) {
    // Linked into timers.target, the timer starts with the user's manager at the next login.
    const bool linked = Systemctl({"enable", timer});
    note_ =
        u"The systemd user manager does not run here: " + FromUtf8(timer) +
        (linked ? u" is written and enabled, and starts with the manager at your next login."
                : u" is written but not enabled (" + note_ +
                      u"); \"systemctl --user enable --now " + FromUtf8(timer) + u"\" starts it.");
    *handle = number;
    return kErrorSuccess;
  }
  if (!Systemctl({"daemon-reload"}) || !Systemctl({"enable", "--now", timer})) {
    // The device never keeps half a notification: what was written goes again.
    const std::u16string refusal = note_;
    Disable(number, true);
    RemoveUnits(number, true);
    note_ = refusal;
    return kErrorGenFailure;
  }
  *handle = number;
  return kErrorSuccess;
}

ErrorCode SystemdNotifications::Clear(NotificationHandle handle) {
  note_.clear();
  struct stat status {};
  if (::lstat((unit_folder_ / UnitName(handle, kTimer)).c_str(), &status) != 0 &&
      ::lstat((unit_folder_ / UnitName(handle, kService)).c_str(), &status) != 0) {
    return kErrorInvalidHandle;
  }
  // A timer the manager would not stop keeps its units, so a later Clear can try again.
  const bool manager_running = AskManager();
  if (!Disable(handle, manager_running)) return kErrorGenFailure;
  return RemoveUnits(handle, manager_running);
}

bool SystemdNotifications::Disable(NotificationHandle handle, bool manager_running) {
  const std::string timer = UnitName(handle, kTimer);
  if (manager_running) return Systemctl({"disable", "--now", timer});
  // Without a manager this only drops the link an earlier enable left, which would dangle once
  // the units are gone; nothing else can have armed the timer.
  commands_.Run("systemctl", {"--user", "disable", timer});
  return true;
}

ErrorCode SystemdNotifications::RemoveUnits(NotificationHandle handle, bool manager_running) {
  if (ErrorCode error = RemoveFile(unit_folder_ / UnitName(handle, kTimer))) return error;
  if (ErrorCode error = RemoveFile(unit_folder_ / UnitName(handle, kService))) return error;
  if (manager_running) Systemctl({"daemon-reload"});
  return kErrorSuccess;
}

bool SystemdNotifications::StartHasPassed(NotificationHandle handle) {
  std::string timer;
  SystemTime start;
  std::string zone;
  FileTime time = 0;
  FileTime now = 0;
  if (ReadCalendar(handle, &timer, &start, &zone) != kErrorSuccess ||
      !SystemTimeToFileTime(start, &time) || !SystemTimeToFileTime(clock_.UtcTime(), &now)) {
    return false;
  }
  const bool local = zone_variable_ ? zone == ZoneNameOfVariable(*zone_variable_) : zone.empty();
  if (!local && zone != "UTC") return false;
  return (local ? clock_.LocalToUtc(time) : time) <= now;
}

bool SystemdNotifications::Calendar(const SystemTime& start, std::string* text) const {
  // Without TZ the program's local time is the system's, as the manager's is: no zone is named,
  // so the timer keeps to the local time when the system's zone changes, as the device's did.
  if (!zone_variable_) return CalendarText(start, "", text);
  if (std::string zone = ZoneNameOfVariable(*zone_variable_); !zone.empty())
    return CalendarText(start, zone, text);
  // A zone by rule alone, which systemd cannot name: the same instant in UTC.
  FileTime local = 0;
  SystemTime utc;
  return SystemTimeToFileTime(start, &local) &&
         FileTimeToSystemTime(clock_.LocalToUtc(local), &utc) && CalendarText(utc, "UTC", text);
}

std::u16string SystemdNotifications::ProgramPath() {
  return RunningLauncherPath();
}

bool SystemdNotifications::ManagerRunning() {
  return manager_running_.has_value() ? *manager_running_ : AskManager();
}

bool SystemdNotifications::AskManager() {
  // The state it prints counts, not the exit status: a "degraded" manager (some unit failed)
  // exits non-zero yet takes units like a running one. "offline", or no answer, is no manager.
  const CommandRun run = commands_.Run("systemctl", {"--user", "is-system-running"});
  const std::string_view state = std::string_view(run.output).substr(0, run.output.find('\n'));
  manager_running_ = run.exited && (state == "running" || state == "degraded" ||
                                    state == "starting" || state == "initializing");
  return *manager_running_;
}

bool SystemdNotifications::Systemctl(const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {"--user"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const CommandRun run = commands_.Run("systemctl", command);
  if (run.Succeeded()) return true;
  std::string words = "systemctl";
  for (const std::string& argument : command) words += ' ' + argument;
  const std::string complaint = run.errors.substr(0, run.errors.find('\n'));
  note_ = FromUtf8(words + ": " +
                   (!run.exited         ? std::string("did not finish")
                    : complaint.empty() ? "failed with status " + std::to_string(run.exit_status)
                                        : complaint));
  return false;
}

}  // namespace kestrav::platform::host
