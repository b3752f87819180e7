#include "platform/host/systemd_timers.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "platform/host/host_session.h"
#include "platform/host/logind_power.h"
#include "platform/host/system_clock.h"
#include "platform/test_support/temporary_device.h"
#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

constexpr char kManagerState[] = "systemctl --user is-system-running";

// Records each command line; answers with the first answer whose line it starts with, else with
// a quiet success.
class RecordingCommands : public HostCommands {
 public:
  CommandRun Run(std::string_view program, const std::vector<std::string>& arguments) override {
    std::string line(program);
    for (const std::string& argument : arguments) line += ' ' + argument;
    lines.push_back(line);
    for (const auto& [beginning, run] : answers) {
      if (line.starts_with(beginning)) return run;
    }
    return {true, 0, "", ""};
  }
  bool Ran(std::string_view part) const {
    return std::any_of(lines.begin(), lines.end(),
                       [part](const std::string& line) { return line.find(part) != line.npos; });
  }

  std::vector<std::pair<std::string, CommandRun>> answers;
  std::vector<std::string> lines;
};

std::string ReadText(const fs::path& file) {
  std::ifstream in(file);
  return {std::istreambuf_iterator<char>(in), {}};
}

class SystemdTimersTest : public ::testing::Test {
 protected:
  SystemdTimersTest() {
    commands.answers = {{kManagerState, {true, 0, "running\n", ""}}};
    fs::create_directories(program.parent_path());
    fs::copy_file("/bin/true", program);
    trigger.application = FromUtf8(program.string());
    trigger.arguments = u"/SchedBackup \"quoted\" 100% $HOME back\\slash";
    trigger.start = {2099, 3, 0, 15, 10, 20, 30, 0};  // a Sunday
  }

  fs::path Unit(NotificationHandle handle, const char* suffix) const {
    return units / notifications.UnitName(handle, suffix);
  }

  kestrav::testing::TemporaryFolder folder;
  const fs::path units = folder.path() / "config" / "systemd" / "user";
  // A real executable at a path that needs systemd's quoting.
  const fs::path program = folder.path() / "Program Files" / "kestrav 100% $x ü" / "kestrav-cli";
  RecordingCommands commands;
  // An hour east of UTC in March, as Berlin is.
  FixedClock clock{SystemTime{2099, 3, 0, 15, 8}, 60};
  SystemdNotifications notifications{folder.path() / "profile", units, commands, clock,
                                     "Europe/Berlin"};
  NotificationTrigger trigger;
};

// What systemd makes of the units: their settings must all be taken, and the executable found.
void ExpectSystemdTakes(const fs::path& folder, const fs::path& timer, const fs::path& service) {
  SpawnedHostCommands host;
  const fs::path runtime = folder / "runtime";
  fs::create_directories(runtime);
  const CommandRun verify =
      host.Run("env", {"XDG_RUNTIME_DIR=" + runtime.string(), "systemd-analyze", "--user", "verify",
                       "--man=no", timer.string(), service.string()});
  EXPECT_TRUE(verify.Succeeded() && verify.errors.empty())
      << verify.errors << ReadText(timer) << ReadText(service);
}

std::string CalendarOf(const fs::path& timer) {
  const std::string text = ReadText(timer);
  const std::size_t start = text.find("OnCalendar=") + 11;
  return text.substr(start, text.find('\n', start) - start);
}

// The window beside kestrav-cli arms kestrav-cli, as kestrav-cli does itself; alone, or beside
// something that cannot run, a program arms itself.
TEST(Launcher, IsTheKestravCliBesideTheProgramWhenItCanRun) {
  kestrav::testing::TemporaryFolder folder;
  const fs::path window = folder.path() / "kestrav";
  const fs::path cli = folder.path() / "kestrav-cli";
  fs::copy_file("/bin/true", window);
  EXPECT_EQ(LauncherOf(window), window);
  fs::create_directory(cli);
  EXPECT_EQ(LauncherOf(window), window);
  fs::remove(cli);
  std::ofstream(cli) << "not a program";
  EXPECT_EQ(LauncherOf(window), window);
  fs::permissions(cli, fs::perms::owner_exec, fs::perm_options::add);
  EXPECT_EQ(LauncherOf(window), cli);
  EXPECT_EQ(LauncherOf(cli), cli);
}

TEST_F(SystemdTimersTest, SetWritesUnitsSystemdAcceptsAndGetReadsTheTriggerBack) {
  NotificationHandle handle = 0;
  ASSERT_EQ(notifications.Set(trigger, &handle), kErrorSuccess);
  EXPECT_EQ(handle, 1u);
  // systemd judges the units itself; it also finds the executable only if the quoting is right.
  ExpectSystemdTakes(folder.path(), Unit(handle, ".timer"), Unit(handle, ".service"));
  // The time entered is local time, in the zone the program keeps it in, and the run keeps it.
  const std::string calendar = CalendarOf(Unit(handle, ".timer"));
  EXPECT_EQ(calendar, "2099-03-15 10:20:30 Europe/Berlin");
  const CommandRun elapse =
      SpawnedHostCommands().Run("env", {"TZ=UTC", "systemd-analyze", "calendar", calendar});
  EXPECT_NE(elapse.output.find("Next elapse: Sun 2099-03-15 09:20:30 UTC"), std::string::npos)
      << elapse.output << elapse.errors;
  EXPECT_NE(ReadText(Unit(handle, ".service")).find(" \"TZ=Europe/Berlin\"\n"), std::string::npos);
  EXPECT_EQ(notifications.StartZone(handle), u"Europe/Berlin");

  NotificationTrigger read;
  ASSERT_EQ(notifications.Get(handle, &read), kErrorSuccess);
  EXPECT_EQ(read, trigger);
  EXPECT_EQ(commands.lines,
            (std::vector<std::string>{
                kManagerState, "systemctl --user daemon-reload",
                "systemctl --user enable --now " + Unit(handle, ".timer").filename().string()}));
  EXPECT_TRUE(notifications.ManagerRunning());
  EXPECT_TRUE(notifications.Note().empty());
}

TEST_F(SystemdTimersTest, TheCalendarKeepsTheProgramsZoneAndSystemdTakesEveryUnit) {
  EXPECT_EQ(ZoneNameOfVariable(":America/New_York"), "America/New_York");
  EXPECT_EQ(ZoneNameOfVariable("/usr/share/zoneinfo/Asia/Tokyo"), "Asia/Tokyo");
  EXPECT_EQ(ZoneNameOfVariable(""), "UTC");
  for (const char* none : {"CET-1CEST,M3.5.0,M10.5.0/3", "Europe/../Europe/Berlin", "Mars/Olympus"})
    EXPECT_EQ(ZoneNameOfVariable(none), "") << none;

  // No TZ: the system's zone is the manager's, and a calendar without a zone is in it. A zone of
  // rules alone has no name systemd knows: the instant goes in UTC, and reads back so.
  const std::pair<std::optional<std::string>, std::string> zones[] = {
      {std::nullopt, "2099-03-15 10:20:30"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", "2099-03-15 09:20:30 UTC"},
      {"/usr/share/zoneinfo/America/New_York", "2099-03-15 10:20:30 America/New_York"}};
  for (const auto& [variable, calendar] : zones) {
    SystemdNotifications zoned(folder.path() / "profile", units, commands, clock, variable);
    NotificationHandle handle = 0;
    ASSERT_EQ(zoned.Set(trigger, &handle), kErrorSuccess);
    EXPECT_EQ(CalendarOf(Unit(handle, ".timer")), calendar);
    ExpectSystemdTakes(folder.path(), Unit(handle, ".timer"), Unit(handle, ".service"));
    NotificationTrigger read;
    ASSERT_EQ(zoned.Get(handle, &read), kErrorSuccess);
    EXPECT_EQ(read.start.hour, calendar.ends_with("UTC") ? 9 : 10);
    const std::string zone = calendar.substr(std::min(calendar.size(), std::size_t{20}));
    EXPECT_EQ(zoned.StartZone(handle), FromUtf8(zone.empty() ? SystemZoneName() : zone));
    EXPECT_FALSE(zoned.StartHasPassed(handle)) << calendar;
  }

  // 08:30 in Berlin is 07:30 UTC: passed at 08:00 UTC, and no timer would elapse. A program in
  // another zone cannot tell.
  NotificationTrigger early = trigger;
  early.start.hour = 8;
  early.start.minute = 30;
  NotificationHandle handle = 0;
  ASSERT_EQ(notifications.Set(early, &handle), kErrorSuccess);
  EXPECT_TRUE(notifications.StartHasPassed(handle));
  EXPECT_FALSE(SystemdNotifications(folder.path() / "profile", units, commands, clock, "Asia/Tokyo")
                   .StartHasPassed(handle));

  // systemd drops an environment assignment that is not UTF-8 (and no quoting helps): the run
  // would miss its profile, so no timer is set for such a profile.
  const fs::path odd_profile = folder.path() / "profile \xff";
  fs::create_directories(odd_profile);
  SystemdNotifications odd(odd_profile, units, commands, clock, std::nullopt);
  const std::size_t units_before = std::distance(fs::directory_iterator(units), {});
  EXPECT_EQ(odd.Set(trigger, &handle), kErrorInvalidName);
  EXPECT_NE(odd.Note().find(u"is not UTF-8"), std::u16string::npos);
  EXPECT_EQ(std::distance(fs::directory_iterator(units), {}), units_before);
}

TEST_F(SystemdTimersTest, EachProfileSeesAndClearsOnlyItsOwn) {
  SystemdNotifications other(folder.path() / "other profile", units, commands, clock, std::nullopt);
  std::vector<NotificationHandle> handles = {7};
  // No unit folder yet: no notification, as for a user who never had a timer.
  ASSERT_EQ(notifications.GetHandles(&handles), kErrorSuccess);
  EXPECT_TRUE(handles.empty());
  NotificationHandle first = 0, second = 0, others = 0;
  ASSERT_EQ(notifications.Set(trigger, &first), kErrorSuccess);
  ASSERT_EQ(other.Set(trigger, &others), kErrorSuccess);
  ASSERT_EQ(notifications.Set(trigger, &second), kErrorSuccess);
  ASSERT_EQ(notifications.GetHandles(&handles), kErrorSuccess);
  EXPECT_EQ(handles, (std::vector<NotificationHandle>{1, 2}));
  ASSERT_EQ(other.GetHandles(&handles), kErrorSuccess);
  EXPECT_EQ(handles, (std::vector<NotificationHandle>{1}));
  EXPECT_EQ(other.Clear(2), kErrorInvalidHandle);

  commands.lines.clear();
  ASSERT_EQ(notifications.Clear(first), kErrorSuccess);
  EXPECT_EQ(commands.lines, (std::vector<std::string>{kManagerState,
                                                      "systemctl --user disable --now " +
                                                          Unit(first, ".timer").filename().string(),
                                                      "systemctl --user daemon-reload"}));
  EXPECT_FALSE(fs::exists(Unit(first, ".timer")));
  EXPECT_FALSE(fs::exists(Unit(first, ".service")));
  EXPECT_EQ(notifications.Get(first, &trigger), kErrorInvalidHandle);
  NotificationTrigger read;
  EXPECT_EQ(other.Get(others, &read), kErrorSuccess);
  // One past the highest, so the handles keep the order they were set in.
  ASSERT_EQ(notifications.Set(trigger, &first), kErrorSuccess);
  EXPECT_EQ(first, 3u);
}

TEST_F(SystemdTimersTest, OnlyARunningManagerStartsTimersAndARefusalLeavesNothingSet) {
  const std::pair<CommandRun, bool> states[] = {
      {{true, 1, "degraded\n", ""}, true},  // a failed unit elsewhere: still takes timers
      {{true, 1, "offline\n", ""}, false},
      {{}, false},  // systemctl missing, or hanging until killed
  };
  for (const auto& [state, running] : states) {
    commands.answers = {{kManagerState, state}};
    commands.lines.clear();
    NotificationHandle handle = 0;
    ASSERT_EQ(notifications.Set(trigger, &handle), kErrorSuccess) << state.output;
    EXPECT_EQ(notifications.ManagerRunning(), running) << state.output;
    // Without a manager the timer is linked to start at the next login, not started now.
    EXPECT_EQ(commands.Ran("enable --now"), running) << state.output;
    EXPECT_EQ(notifications.Note().empty(), running) << state.output;
    EXPECT_TRUE(fs::exists(Unit(handle, ".timer")));
  }

  commands.answers = {{kManagerState, {true, 0, "running\n", ""}},
                      {"systemctl --user enable", {true, 1, "", "Access denied\n"}},
                      {"systemctl --user disable", {true, 1, "", "Unit is masked\n"}}};
  NotificationHandle handle = 0;
  EXPECT_EQ(notifications.Set(trigger, &handle), kErrorGenFailure);
  EXPECT_NE(notifications.Note().find(u"Access denied"), std::u16string::npos);
  EXPECT_FALSE(fs::exists(Unit(4, ".timer")));
  // A timer the manager will not stop keeps its units, for a later Clear.
  EXPECT_EQ(notifications.Clear(1), kErrorGenFailure);
  EXPECT_TRUE(fs::exists(Unit(1, ".timer")));
}

TEST_F(SystemdTimersTest, DamagedForeignOrImpossibleUnitsGiveErrorCodes) {
  NotificationHandle handle = 0;
  ASSERT_EQ(notifications.Set(trigger, &handle), kErrorSuccess);
  const std::string written = ReadText(Unit(handle, ".service"));
  NotificationTrigger read;
  const std::pair<std::string, std::string> edits[] = {
      {"\"/SchedBackup\"", "/SchedBackup"},
      {"KESTRAV_DEVICE=", "KESTRAV_DEVICE=/another"},
      {"ExecStart=", "ExecStart=/bin/true\nExecStart="},
      {"$$HOME", "$HOME"},
      {written, written.substr(0, written.size() / 2)},
  };
  for (const auto& [from, to] : edits) {
    std::string text = written;
    std::ofstream(Unit(handle, ".service")) << text.replace(text.find(from), from.size(), to);
    EXPECT_EQ(notifications.Get(handle, &read), kErrorGenFailure) << to;
  }
  std::ofstream(Unit(handle, ".timer")) << std::string("\0\xff[Timer", 8);
  EXPECT_EQ(notifications.Get(handle, &read), kErrorGenFailure);
  EXPECT_EQ(notifications.Clear(handle), kErrorSuccess);

  NotificationTrigger quoted = trigger;
  quoted.application = u"/opt/\"kestrav\"/kestrav-cli";
  EXPECT_EQ(notifications.Set(quoted, &handle), kErrorInvalidName);
  NotificationTrigger too_late = trigger;
  too_late.start.year = 2200;
  EXPECT_EQ(notifications.Set(too_late, &handle), kErrorInvalidParameter);
}

TEST_F(SystemdTimersTest, UnwritableUnitFolderGivesAFailureCode) {
  std::ofstream(folder.path() / "config") << "a file where the folder should be";
  NotificationHandle handle = 0;
  EXPECT_EQ(notifications.Set(trigger, &handle), kErrorAccessDenied);

  const fs::path read_only = folder.path() / "read-only";
  fs::create_directory(read_only);
  fs::permissions(read_only, fs::perms::owner_read | fs::perms::owner_exec);
  SystemdNotifications locked(folder.path() / "profile", read_only, commands, clock, std::nullopt);
  // Root writes whatever the folder's permissions say: the attempt runs as nobody then, in a
  // process of its own.
  fs::permissions(folder.path(), fs::perms::owner_all | fs::perms::others_exec);
  const auto set_where_denied = [&] {
    constexpr uid_t kNobody = 65534;
    if (::geteuid() == 0 && (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) std::_Exit(2);
    NotificationHandle denied = 0;
    const bool refused = locked.Set(trigger, &denied) == kErrorAccessDenied;
    std::_Exit(refused && !commands.Ran("enable") ? 0 : 1);
  };
  EXPECT_EXIT(set_where_denied(), ::testing::ExitedWithCode(0), "");
  EXPECT_FALSE(commands.Ran("enable"));
  fs::permissions(read_only, fs::perms::owner_all);
}

TEST(SpawnedHostCommands, MissingHangingAndTalkativeProgramsEndAsTheyShould) {
  SpawnedHostCommands commands(std::chrono::milliseconds(300));
  EXPECT_FALSE(commands.Run("kestrav-no-such-program", {}).exited);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(commands.Run("sh", {"-c", "sleep 20 & sleep 20"}).exited);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));

  const CommandRun talkative =
      commands.Run("sh", {"-c", "head -c 100000 /dev/zero; echo complaint >&2; exit 3"});
  EXPECT_TRUE(talkative.exited);
  EXPECT_EQ(talkative.exit_status, 3);
  EXPECT_EQ(talkative.output.size(), kCommandOutputLimit);
  EXPECT_EQ(talkative.errors, "complaint\n");
}

TEST(LogindPower, TheOffKeyAsksForASuspend) {
  RecordingCommands commands;
  LogindPower power(commands);
  EXPECT_EQ(power.SetSystemPowerState(kPowerStateOn), kErrorSuccess);
  power.PressOffKey();
  EXPECT_EQ(commands.lines, std::vector<std::string>{"systemctl suspend --no-ask-password"});
}

}  // namespace
}  // namespace kestrav::platform::host
