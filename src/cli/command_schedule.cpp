#include <cctype>
#include <cstdio>

#include "cli/cli.h"
#include "cli/command_words.h"
#include "kinds/jobs.h"
#include "kinds/start_up.h"
#include "messages/message_folders.h"
#include "platform/format.h"
#include "platform/host/systemd_timers.h"
#include "platform/system_error.h"
#include "platform/text.h"
#include "settings/schedule.h"

namespace kestrav::cli {
namespace {

constexpr std::string_view kDayWords[] = {"sun", "mon", "tue", "wed", "thu", "fri", "sat"};

struct SetOptions {
  std::string days = "all";
  std::string time;
  std::string folder;
  std::string kinds;
  int keep = 0;
  bool turn_off = false;
  bool store = false;
  bool attachments = false;
  std::vector<std::string> exclude;
};

// A day as typed: "mon", "Monday", "MON"; 7 when it is none.
std::size_t DayOfWord(std::string_view word) {
  std::string lower;
  for (const char character : word)
    lower += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  for (std::size_t day = 0; day < 7; ++day) {
    const std::string full = platform::ToUtf8(settings::kDayNames[day]);
    std::string full_lower;
    for (const char character : full)
      full_lower += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    if (lower == kDayWords[day] || lower == full_lower) return day;
  }
  return 7;
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// Days as a user writes them: "mon,thu", "mon-fri" (a range may wrap: "fri-mon"), "weekdays",
// "weekend", "all", in any case, with blanks.
bool ParseDays(std::string_view list, std::uint8_t* days, std::string* error) {
  *days = 0;
  while (!list.empty()) {
    const std::string_view item = list.substr(0, list.find(','));
    list.remove_prefix(std::min(list.size(), item.size() + 1));
    const std::string_view word = Trimmed(item);
    std::string lower;
    for (const char character : word)
      lower += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    if (lower == "all") {
      *days |= 0x7F;
    } else if (lower == "weekdays") {
      *days |= 0x3E;
    } else if (lower == "weekend") {
      *days |= 0x41;
    } else if (const std::size_t dash = word.find('-'); dash != std::string_view::npos) {
      const std::size_t first = DayOfWord(Trimmed(word.substr(0, dash)));
      const std::size_t last = DayOfWord(Trimmed(word.substr(dash + 1)));
      if (first == 7 || last == 7) {
        *error = "--days: \"" + std::string(word) + "\" is no range of days (mon-fri)";
        return false;
      }
      for (std::size_t day = first;; day = (day + 1) % 7) {
        *days |= static_cast<std::uint8_t>(1u << day);
        if (day == last) break;
      }
    } else if (const std::size_t day = DayOfWord(word); day < 7) {
      *days |= static_cast<std::uint8_t>(1u << day);
    } else if (!word.empty()) {
      *error = "--days: \"" + std::string(word) +
               "\" is no day (sun, mon, tue, wed, thu, fri, sat, a range such as mon-fri, "
               "weekdays, weekend or all)";
      return false;
    }
  }
  if (*days == 0) *error = "--days: no day given";
  return *days != 0;
}

// "HH:MM" or "HH:MM:SS" as seconds after midnight.
bool ParseTime(std::string_view text, std::uint32_t* seconds) {
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  char tail = 0;
  const std::string copy(text);
  const int read = std::sscanf(copy.c_str(), "%2u:%2u:%2u%c", &hour, &minute, &second, &tail);
  if ((read != 2 && read != 3) || hour > 23 || minute > 59 || second > 59) return false;
  if (read == 2 && copy.size() != 5) return false;
  *seconds = (hour * 60 + minute) * 60 + second;
  return true;
}

// The next run as the user reads it, or why there is none.
std::string NextRunText(platform::host::HostDevice& host) {
  bool passed = false;
  if (const std::optional<std::u16string> next = kinds::NextRunText(host.device(), &passed))
    return platform::ToUtf8(passed ? *next + u", which " + kinds::kNextRunPassed : *next);
  return "none armed (saved on a scheduled day after its start time, the schedule arms no run "
         "until it is saved again)";
}

// What the host's timer service did with the last change, when it could not start the timer.
void SayWhetherTimersRun(platform::host::HostDevice& host) {
  platform::host::SystemdNotifications* timers = host.notifications();
  if (timers != nullptr && !timers->Note().empty())
    std::printf("%s\n", platform::ToUtf8(timers->Note()).c_str());
}

int Show(CommandContext& context) {
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const platform::Device& device = host->device();
  const std::optional<settings::ScheduleChoice> schedule = settings::ReadSchedule(device);
  if (!schedule) {
    std::printf("No backup schedule is set.\n");
    return kExitSuccess;
  }
  std::string days;
  for (std::size_t day = 0; day < 7; ++day) {
    if ((schedule->days & (1u << day)) != 0)
      days += (days.empty() ? "" : ", ") + platform::ToUtf8(settings::kDayNames[day]);
  }
  std::string kinds;
  for (const engine::ItemKind kind : schedule->kinds)
    kinds += (kinds.empty() ? "" : ", ") + KindCommandWord(kind);
  std::string excluded;
  for (const engine::FolderExclusion& exclusion : schedule->exclusions) {
    excluded += (excluded.empty() ? "" : ", ") +
                platform::ToUtf8(messages::ShownStoreName(exclusion.store)) +
                (exclusion.folder ? "/" + platform::ToUtf8(*exclusion.folder) : "");
  }
  const std::uint32_t start = schedule->start_seconds;
  std::printf("Days: %s\n", days.empty() ? "none" : days.c_str());
  std::printf("Start time: %.2u:%.2u:%.2u local time\n", start / 3600, start % 3600 / 60,
              start % 60);
  std::printf("Folder: %s\n", platform::ToUtf8(schedule->backup_folder).c_str());
  std::printf("Kinds: %s\n", kinds.empty() ? "none" : kinds.c_str());
  if (schedule->delete_old)
    std::printf("Old backups: deleted, keeping %u\n", schedule->keep_files);
  else
    std::printf("Old backups: kept\n");
  std::printf("Turn off after backup: %s\n", schedule->turn_off ? "yes" : "no");
  std::printf("Compress: %s\n", schedule->compress ? "yes" : "no");
  std::printf("Message attachments: %s\n", schedule->store_attachments ? "yes" : "no");
  std::printf("Message folders left out: %s\n", excluded.empty() ? "none" : excluded.c_str());
  if (start == 0)
    std::printf("Next run: none, as on the handheld a start time of 00:00 never runs\n");
  else
    std::printf("Next run: %s\n", NextRunText(*host).c_str());
  return kExitSuccess;
}

int Set(CommandContext& context, const SetOptions& options) {
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const platform::Device& device = host->device();
  settings::ScheduleChoice choice;
  std::string reason;
  if (!ParseDays(options.days, &choice.days, &reason)) return context.Fail(reason);
  if (!ParseTime(options.time, &choice.start_seconds))
    return context.Fail("--time " + options.time + ": expected HH:MM or HH:MM:SS (local time)");
  choice.kinds = KindsWithWorkers();
  if (!options.kinds.empty() && !ParseKinds(options.kinds, &choice.kinds, &reason))
    return context.Fail(reason);
  // A device folder ("\Storage Card\Backups") stays as it is; a host folder is made absolute, so
  // that the unattended run, which starts in another folder, writes and prunes this one.
  if (options.folder.empty())
    choice.backup_folder = kinds::DefaultBackupFolder(device);
  else if (options.folder.starts_with('\\'))
    choice.backup_folder = platform::FromUtf8(options.folder);
  else
    choice.backup_folder = CommandLinePath(options.folder);
  std::u16string folder = choice.backup_folder;
  if (folder.size() > 1 && folder.back() == u'\\') folder.pop_back();
  if (!device.files().Exists(folder) || device.files().FileExists(folder)) {
    return context.Fail("--folder " + platform::ToUtf8(choice.backup_folder) +
                        ": no such folder on the device");
  }
  choice.delete_old = options.keep != 0;
  choice.keep_files = options.keep != 0 ? static_cast<std::uint32_t>(options.keep) : 3;
  choice.turn_off = options.turn_off;
  choice.compress = !options.store;
  choice.store_attachments = options.attachments;
  for (const std::string& path : options.exclude) {
    const std::u16string wide = platform::FromUtf8(path);
    const std::size_t slash = wide.find(u'/');
    engine::FolderExclusion exclusion{messages::StoreNameOfShown(wide.substr(0, slash)),
                                      std::nullopt};
    if (slash != std::u16string::npos) exclusion.folder = wide.substr(slash + 1);
    if (!messages::MakeExclusionRecord(exclusion))
      return context.Fail("--exclude " + path + ": the names are too long");
    choice.exclusions.push_back(std::move(exclusion));
  }
  const std::unique_ptr<engine::DeviceJob> job = context.BeginJob(device, u"schedule set", false);
  if (!job) return kExitFailure;
  const std::optional<settings::ScheduleChoice> before = settings::ReadSchedule(device);
  bool armed = false;
  platform::ErrorCode arm_error = platform::kErrorSuccess;
  if (!settings::SaveSchedule(device, choice, &armed, &arm_error))
    return context.FailOnStoreFailure(*job, "the schedule could not be saved", true);
  if (arm_error != platform::kErrorSuccess) {
    platform::host::SystemdNotifications* timers = host->notifications();
    const std::u16string why = timers != nullptr && !timers->Note().empty()
                                   ? timers->Note()
                                   : platform::SystemErrorText(arm_error);
    return context.Fail(u"the schedule is saved, but its timer could not be set: " + why);
  }
  bool passed = false;
  const std::optional<std::u16string> next = kinds::NextRunText(device, &passed);
  if (passed) {
    return context.Fail(u"the schedule is saved, but its next run, " + *next + u", " +
                        kinds::kNextRunPassed);
  }
  std::printf("%s\n", platform::ToUtf8(settings::kScheduleUpdated).c_str());
  if (choice.start_seconds == 0) {
    std::printf("Note: as on the handheld, a start time of 00:00 never runs a backup.\n");
  }
  if (choice.exclusions.empty() && before && !before->exclusions.empty()) {
    // Saving writes only the exclusions given; those saved before stay in force.
    std::printf(
        "Note: the message folders left out before stay left out; \"schedule clear\" "
        "removes them.\n");
  }
  if (choice.exclusions.size() > 1) {
    // Each saved value begins with the first record, and the run reads each value's first.
    std::printf(
        "Note: as on the handheld, the scheduled run leaves out only the first folder "
        "given to --exclude.\n");
  }
  if (choice.start_seconds != 0) std::printf("Next run: %s\n", NextRunText(*host).c_str());
  SayWhetherTimersRun(*host);
  return kExitSuccess;
}

int Clear(CommandContext& context) {
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const std::unique_ptr<engine::DeviceJob> job =
      context.BeginJob(host->device(), u"schedule clear", false);
  if (!job) return kExitFailure;
  const bool was_set = settings::ReadSchedule(host->device()).has_value();
  // The timer goes even when the settings went another way first.
  if (!settings::ClearSchedule(host->device()) && was_set)
    return context.Fail("the schedule could not be cleared");
  if (!was_set) {
    std::printf("No backup schedule is set.\n");
    return kExitSuccess;
  }
  std::printf("The backup schedule is cleared.\n");
  SayWhetherTimersRun(*host);
  return kExitSuccess;
}

}  // namespace

void AddScheduleCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "schedule", "Show, set or clear the unattended backup (a systemd user timer)");
  command->require_subcommand(1);
  command->add_subcommand("show", "Show the schedule and its next run")->callback([&context] {
    context.action = [&context] { return Show(context); };
  });
  CLI::App* set = command->add_subcommand(
      "set", "Set the schedule, as the window's Schedule page saves it, and arm its next run");
  auto options = std::make_shared<SetOptions>();
  set->add_option("--days", options->days,
                  "Comma-separated days: sun, mon, tue, wed, thu, fri, sat, ranges such as "
                  "mon-fri, weekdays, weekend, or all (default)");
  set->add_option("--time", options->time, "The start time, HH:MM or HH:MM:SS, local time")
      ->required();
  set->add_option("--folder", options->folder,
                  "The folder the backups go to: a device folder (\"\\Storage Card\\Backups\") or "
                  "a host folder (default: the default backup folder)");
  set->add_option("--kinds", options->kinds, "Comma-separated kinds (default: every kind)");
  set->add_option("--keep", options->keep,
                  "Delete old backups after each run, keeping this many (1 to 10)")
      ->check(CLI::Range(1, 10));
  set->add_flag("--turn-off", options->turn_off, "Suspend the machine after the backup");
  set->add_flag("--store", options->store, "Store the record files without compressing them");
  set->add_flag("--attachments", options->attachments,
                "Back up the contents of message attachments");
  set->add_option("--exclude", options->exclude,
                  "A message store or folder to leave out, by its shown name "
                  "(\"Text Messages\", \"Mail/Inbox\"); may be repeated");
  set->callback([&context, options] {
    context.action = [&context, options] { return Set(context, *options); };
  });
  command->add_subcommand("clear", "Clear the schedule and its timer")->callback([&context] {
    context.action = [&context] { return Clear(context); };
  });
}

}  // namespace kestrav::cli
