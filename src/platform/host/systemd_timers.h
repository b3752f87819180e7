// The device's timed launches as systemd user timers.
//
// A notification of a device profile is a pair of units in the user's unit folder:
//   kestrav-schedule-<key>-<n>.timer    elapses once, at the trigger's start in local time; when
//                                       the machine was off then, at its next start
//   kestrav-schedule-<key>-<n>.service  runs the application with its arguments, with
//                                       KESTRAV_DEVICE naming the profile, and TZ as the program
//                                       that set it had it
// <key> is 16 hex digits of a hash of the profile's path, so one profile neither sees nor
// touches another's; n is the handle, one past the highest this profile holds. The units are
// written whether or not the user's systemd manager runs; only a running one is asked to load
// and start them, and Note() says when that could not be done.
//
// Local time is the program's: without TZ the system's zone, which is the manager's too, so the
// calendar names no zone; with TZ the zone it names in the time zone database, by name; with a TZ
// of rules alone, the same instant in UTC.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/host/host_commands.h"
#include "platform/notifications.h"

namespace kestrav::platform::host {

class SystemdNotifications : public Notifications {
 public:
  // Where systemd looks for a user's own units: $XDG_CONFIG_HOME/systemd/user, else
  // ~/.config/systemd/user; empty when the environment names no home.
  static std::filesystem::path UserUnitFolder();

  // zone_variable: TZ as this program has it; nothing when it is not set. The clock is the
  // device's, whose local time follows it.
  SystemdNotifications(const std::filesystem::path& profile, std::filesystem::path unit_folder,
                       HostCommands& commands, const Clock& clock,
                       std::optional<std::string> zone_variable);

  // This profile's notifications, oldest first.
  ErrorCode GetHandles(std::vector<NotificationHandle>* handles) override;
  // A unit damaged or written by someone else reads as kErrorGenFailure, a missing one as
  // kErrorInvalidHandle. The start comes back to the second, in the zone of StartZone.
  ErrorCode Get(NotificationHandle handle, NotificationTrigger* trigger) override;
  // Only time triggers between 1970 and 2199 (what systemd's calendar holds), an absolute
  // application path without quotes, backslashes or control characters (what systemd will
  // start), and a profile path and TZ in UTF-8 (what systemd passes to a program; Note() says
  // which was not). The arguments become the program's words, split at blanks. A time trigger
  // has no use for an end or an event, and they are not kept.
  ErrorCode Set(const NotificationTrigger& trigger, NotificationHandle* handle) override;
  // Stops and disables the timer (a running launch is left to finish) and removes both units.
  ErrorCode Clear(NotificationHandle handle) override;
  // The launcher of the running program (RunningLauncherPath): kestrav-cli beside it when there.
  std::u16string ProgramPath() override;

  // The zone a notification's start is in, by its name in the time zone database: the one its
  // timer names, else the system's. Empty when that has no name or the timer cannot be read.
  std::u16string StartZone(NotificationHandle handle) override;
  // Whether a notification's start has passed by the device's clock, so that its timer never
  // elapses. False when that cannot be told: a timer set in a zone other than this program's.
  bool StartHasPassed(NotificationHandle handle) override;

  // Whether the user's systemd manager took units at the last Set or Clear; asked now when
  // neither has run yet.
  bool ManagerRunning();
  // What the last Set or Clear left undone beyond its code: units written but not started, or
  // systemctl's complaint. Empty when all went through.
  std::u16string Note() override { return note_; }
  // "kestrav-schedule-<key>-<handle><suffix>", suffix ".timer" or ".service".
  std::string UnitName(NotificationHandle handle, std::string_view suffix) const;

 private:
  // The timer's calendar for a start in local time; false outside what systemd's calendar holds.
  bool Calendar(const SystemTime& start, std::string* text) const;
  // The timer unit's text, and the start and zone (empty when none is named) of its calendar.
  ErrorCode ReadCalendar(NotificationHandle handle, std::string* timer, SystemTime* start,
                         std::string* zone);
  bool AskManager();
  // Runs "systemctl --user" with these arguments; on failure the note says why.
  bool Systemctl(const std::vector<std::string>& arguments);
  ErrorCode ListHandles(std::string_view suffix, std::vector<NotificationHandle>* handles);
  // Disables the timer, and stops it when the manager runs; false when the manager refused.
  bool Disable(NotificationHandle handle, bool manager_running);
  // Removes both units; a running manager then forgets them.
  ErrorCode RemoveUnits(NotificationHandle handle, bool manager_running);

  std::string profile_;  // absolute, as KESTRAV_DEVICE names it
  std::string unit_prefix_;
  std::filesystem::path unit_folder_;
  HostCommands& commands_;
  const Clock& clock_;
  std::optional<std::string> zone_variable_;
  std::optional<bool> manager_running_;
  std::u16string note_;
};

}  // namespace kestrav::platform::host
