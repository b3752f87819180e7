#include "kinds/start_up.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "kinds/console_sink.h"
#include "kinds/kinds.h"
#include "kinds/texts.h"
#include "platform/format.h"
#include "platform/system_error.h"
#include "platform/text.h"

namespace kestrav::kinds {
namespace {

constexpr int kScheduledWaitSeconds = 60 * 60;
constexpr int kLongestWaitSeconds = 24 * 60 * 60;

constexpr char16_t kNoSchedule[] =
    u"No backup is made: no schedule is set, or its start time is 00:00, which never runs.";
constexpr char16_t kDeletedOldBackup[] = u"Deleted old backup %s";
constexpr char16_t kOldBackupKept[] = u"Could not delete old backup %s: %s";
constexpr char16_t kNextRun[] = u"Next run: %s";
constexpr char16_t kNotArmed[] = u"the next run could not be armed: %s";
constexpr char16_t kNextRunHasPassed[] = u"the next run, %s, %s";
constexpr char16_t kNextRunArmed[] = u"the next run is armed for %s";
constexpr char16_t kDidNotRun[] = u"the scheduled backup did not run: %s";
constexpr char16_t kRunFailed[] = u"the scheduled backup failed: %s";
constexpr char16_t kMadeBut[] = u"the scheduled backup is made, but %s";
constexpr char16_t kScheduledBackup[] = u"the scheduled backup";
constexpr char16_t kScheduledJob[] = u"scheduled backup";

// What became of the next run, for the line that says what became of this one: empty when no
// schedule is set that runs; `failed` when no run will come.
struct NextRun {
  std::u16string text;
  bool failed = false;
  std::u16string armed;  // when it is armed and to come: its time as the user reads it
};

NextRun NextRunAfter(const platform::Device& device,
                     const std::optional<platform::SystemTime>& next,
                     platform::ErrorCode arm_error) {
  if (arm_error != platform::kErrorSuccess) {
    platform::Notifications* notifications = device.notifications();
    const std::u16string note = notifications != nullptr ? notifications->Note() : u"";
    return {platform::Format(kNotArmed, note.empty() ? platform::SystemErrorText(arm_error) : note),
            true,
            {}};
  }
  bool passed = false;
  const std::optional<std::u16string> armed = next ? NextRunText(device, &passed) : std::nullopt;
  if (!armed) return {};
  if (passed) return {platform::Format(kNextRunHasPassed, *armed, kNextRunPassed), true, {}};
  return {platform::Format(kNextRunArmed, *armed), false, *armed};
}

std::u16string WithNextRun(std::u16string line, const NextRun& next_run) {
  return next_run.text.empty() ? line : line + u"; " + next_run.text;
}

}  // namespace

StartUp StartProgram(const platform::Device& device, std::u16string_view command_line,
                     engine::ProgressSink* sink) {
  StartUp start;
  start.os_major_version = device.os_major_version();
  start.scheduled_run = settings::HandleScheduleCommandLine(
      device, command_line, WorkerFactory(device), sink, &start.scheduled);
  return start;
}

int ScheduledWaitSeconds() {
  const char* text = std::getenv("KESTRAV_SCHEDULED_WAIT");
  if (text == nullptr) return kScheduledWaitSeconds;
  const std::string_view digits = text;
  int seconds = 0;
  const auto [end, failure] =
      std::from_chars(digits.data(), digits.data() + digits.size(), seconds);
  if (failure != std::errc() || end != digits.data() + digits.size() || seconds < 0 ||
      seconds > kLongestWaitSeconds) {
    return kScheduledWaitSeconds;
  }
  return seconds;
}

ScheduledStart RunScheduledStart(const platform::Device& device, std::u16string_view command_line,
                                 engine::ProgressSink* sink, const FrontEnd& front_end) {
  ScheduledStart outcome;
  FrontEnd waiting_long = front_end;
  waiting_long.wait_seconds = ScheduledWaitSeconds();
  std::u16string refusal;
  const std::unique_ptr<engine::DeviceJob> job =
      BeginJob(device, kScheduledJob, false, nullptr, waiting_long, &refusal);
  if (!job) {
    // This run is lost, not the schedule: the next run is armed as after a run.
    platform::ErrorCode arm_error = platform::kErrorSuccess;
    const std::optional<platform::SystemTime> next = settings::ArmRunAfterToday(device, &arm_error);
    outcome.failure =
        WithNextRun(platform::Format(kDidNotRun, refusal), NextRunAfter(device, next, arm_error));
    return outcome;
  }
  const StartUp start = StartProgram(device, command_line, sink);
  const settings::ScheduledRun& run = start.scheduled;
  if (!run.due) outcome.journal.push_back(kNoSchedule);
  // The journal keeps what the run deleted; a delete that failed leaves the file, and the run
  // goes on, as the handheld's did.
  for (const settings::DeletedBackup& deleted : run.deleted) {
    outcome.journal.push_back(deleted.result == platform::kErrorSuccess
                                  ? platform::Format(kDeletedOldBackup, deleted.path)
                                  : platform::Format(kOldBackupKept, deleted.path,
                                                     platform::SystemErrorText(deleted.result)));
  }
  const NextRun next_run = run.due ? NextRunAfter(device, run.next_run, run.arm_error) : NextRun{};
  if (!run.failure.empty()) {
    outcome.failure = WithNextRun(platform::Format(kRunFailed, run.failure), next_run);
    return outcome;
  }
  if (next_run.failed) {
    outcome.failure = platform::Format(kMadeBut, next_run.text);
    return outcome;
  }
  if (!next_run.armed.empty())
    outcome.journal.push_back(platform::Format(kNextRun, next_run.armed));
  if (const std::u16string failure = job->StoreFailure(); !failure.empty())
    outcome.failure = platform::Format(texts::kStoreFailed, kScheduledBackup, failure);
  return outcome;
}

int RunScheduledStartOnConsole(const platform::Device& device, std::u16string_view command_line,
                               std::string_view program, const FrontEnd& front_end) {
  ScheduledStart outcome;
  {
    ConsoleSink sink(device.clock(), stdout, IsTerminal(stdout));
    sink.SetJobIsBackup(true);
    outcome = RunScheduledStart(device, command_line, &sink, front_end);
  }
  for (const std::u16string& line : outcome.journal)
    std::printf("%s\n", PrintableText(line).c_str());
  std::fflush(stdout);
  if (outcome.failure.empty()) return 0;
  std::fprintf(stderr, "%.*s: %s\n", static_cast<int>(program.size()), program.data(),
               platform::ToUtf8(outcome.failure).c_str());
  return 1;
}

std::optional<std::u16string> NextRunText(const platform::Device& device, bool* passed) {
  if (passed != nullptr) *passed = false;
  platform::Notifications* notifications = device.notifications();
  if (notifications == nullptr) return std::nullopt;
  const std::optional<platform::NotificationHandle> handle =
      settings::FindScheduleNotification(device, notifications->ProgramPath());
  platform::NotificationTrigger trigger;
  if (!handle || notifications->Get(*handle, &trigger) != platform::kErrorSuccess ||
      trigger.start.day_of_week > 6) {
    return std::nullopt;
  }
  const platform::SystemTime& start = trigger.start;
  const std::u16string zone = notifications->StartZone(*handle);
  if (passed != nullptr) *passed = notifications->StartHasPassed(*handle);
  return platform::Format(u"%s %.4d-%.2d-%.2d %.2d:%.2d:%.2d %s",
                          settings::kDayNames[start.day_of_week], start.year, start.month,
                          start.day, start.hour, start.minute, start.second,
                          zone.empty() ? std::u16string(u"local time") : zone);
}

}  // namespace kestrav::kinds
