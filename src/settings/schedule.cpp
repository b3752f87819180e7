#include "settings/schedule.h"

#include <algorithm>

#include "engine/backup_job.h"
#include "messages/message_folders.h"
#include "platform/format.h"
#include "platform/text.h"
#include "settings/reg_key.h"

namespace kestrav::settings {
namespace {

using platform::kHkeyCurrentUser;
using platform::SystemTime;

constexpr std::uint64_t kTicksPerDay = 864'000'000'000;
constexpr char16_t kScheduleSubkey[] = u"Schedule";
constexpr char16_t kBackupExtension[] = u".qbk";

// The date of `day` with the time of day of `seconds` after midnight.
SystemTime AtTimeOfDay(SystemTime day, std::uint32_t seconds) {
  day.hour = static_cast<std::uint16_t>(seconds / 3600);
  day.minute = static_cast<std::uint16_t>(seconds % 3600 / 60);
  day.second = static_cast<std::uint16_t>(seconds % 60);
  day.milliseconds = 0;
  return day;
}

bool StartsWithIgnoringCase(std::u16string_view text, std::u16string_view start) {
  return text.size() >= start.size() &&
         platform::EqualsIgnoringAsciiCase(text.substr(0, start.size()), start);
}

// The days from today to the next scheduled day after it: five at most, and a Sunday reached by
// going past Saturday is never tested - the search the device has always made.
std::uint32_t DaysToNextRun(std::uint8_t days, std::uint16_t today) {
  std::uint32_t day = today + 1u;
  if (day > 6) day = 0;
  for (std::uint32_t offset = 1; offset <= 5; ++offset, ++day) {
    if (day > 6) {
      day = 0;
      continue;
    }
    if ((days & (1u << day)) != 0) return offset;
  }
  return 5;
}

// The kinds of "BckpItems" in bit order.
std::vector<engine::ItemKind> KindsOfBits(std::uint32_t bits) {
  std::vector<engine::ItemKind> kinds;
  for (std::uint32_t bit = 0; bit <= 5; ++bit) {
    if ((bits & (1u << bit)) != 0) kinds.push_back(static_cast<engine::ItemKind>(1u << bit));
  }
  return kinds;
}

// The scheduled folder as the run takes it: the stored text up to any NUL, ending in "\"; the
// default when none is stored.
std::u16string ScheduledFolder(RegKey& key) {
  const std::optional<RegistryBytes> value = key.ReadString(kBackupFolderValue);
  if (!value) return kDefaultBackupFolder;
  std::u16string folder(reinterpret_cast<const char16_t*>(value->data()), value->size() / 2);
  folder = folder.substr(0, folder.find(u'\0'));
  // "\" for a device folder; a host folder (from the host's file dialog) takes "/".
  return platform::WithTrailingSeparator(folder);
}

std::vector<engine::FolderExclusion> ScheduledExclusions(const platform::Device& device) {
  std::vector<engine::FolderExclusion> exclusions;
  for (const ExclusionRecord& record : ReadExclusions(device.registry())) {
    if (auto exclusion = messages::ReadExclusionRecord(record))
      exclusions.push_back(std::move(*exclusion));
  }
  return exclusions;
}

}  // namespace

SchedulePage LoadSchedulePage(const platform::Device& device) {
  SchedulePage page;
  RegKey key(device.registry());
  if (!key.OpenForRead(kHkeyCurrentUser, kScheduleKey)) return page;
  page.days = static_cast<std::uint8_t>(key.ReadDword(kScheduleDaysValue) & 0x7F);
  page.turn_off = key.ReadDword(kTurnOffValue) != 0;
  const std::uint32_t keep = key.ReadDword(kKeepFilesValue);
  page.delete_old = key.ReadDword(kDeleteBackupsValue) != 0;
  // The control offers 10, but a stored 10 shows as 3.
  page.keep_files = keep >= 1 && keep <= 9 ? keep : kDefaultKeepFiles;
  const std::uint32_t start = key.ReadDword(kBackupTimeValue);
  if (key.LastError() == platform::kErrorSuccess)
    page.start = AtTimeOfDay(device.clock().UtcTime(), start);
  return page;
}

std::optional<ScheduleChoice> ReadSchedule(const platform::Device& device) {
  RegKey key(device.registry());
  if (!key.OpenForRead(kHkeyCurrentUser, kScheduleKey)) return std::nullopt;
  ScheduleChoice choice;
  choice.days = static_cast<std::uint8_t>(key.ReadDword(kScheduleDaysValue) & 0x7F);
  choice.start_seconds = key.ReadDword(kBackupTimeValue);
  choice.turn_off = key.ReadDword(kTurnOffValue) != 0;
  choice.delete_old = key.ReadDword(kDeleteBackupsValue) != 0;
  choice.keep_files = key.ReadDword(kKeepFilesValue);
  choice.backup_folder = ScheduledFolder(key);
  choice.kinds = KindsOfBits(key.ReadDword(kBackupItemsValue));
  choice.store_attachments = key.ReadDword(kStoreAttachmentsValue) == 1;
  choice.compress = key.ReadDword(kShouldCompressValue) == 1;
  key.Close();
  choice.exclusions = ScheduledExclusions(device);
  return choice;
}

bool SaveSchedule(const platform::Device& device, const ScheduleChoice& choice, bool* armed,
                  platform::ErrorCode* arm_error) {
  platform::Registry& registry = device.registry();
  const std::uint32_t keep = choice.keep_files > 65535 ? kDefaultKeepFiles : choice.keep_files;
  bool written = WriteDwordValue(registry, kScheduleKey, kScheduleDaysValue, choice.days);
  written = WriteDwordValue(registry, kScheduleKey, kKeepFilesValue, keep) && written;
  written =
      WriteDwordValue(registry, kScheduleKey, kDeleteBackupsValue, choice.delete_old) && written;
  written = WriteDwordValue(registry, kScheduleKey, kTurnOffValue, choice.turn_off) && written;
  written =
      WriteDwordValue(registry, kScheduleKey, kBackupTimeValue, choice.start_seconds) && written;
  written =
      WriteStringValue(registry, kScheduleKey, kBackupFolderValue, choice.backup_folder) && written;
  if (!choice.exclusions.empty()) {
    std::vector<ExclusionRecord> records;
    for (const engine::FolderExclusion& exclusion : choice.exclusions) {
      if (const auto record = messages::MakeExclusionRecord(exclusion)) records.push_back(*record);
    }
    written = WriteExclusions(registry, records) && written;
  }
  std::uint32_t bits = 0;
  for (const engine::ItemKind kind : choice.kinds) bits |= static_cast<std::uint32_t>(kind);
  written = WriteDwordValue(registry, kScheduleKey, kBackupItemsValue, bits) && written;
  written =
      WriteDwordValue(registry, kScheduleKey, kStoreAttachmentsValue, choice.store_attachments) &&
      written;
  written =
      WriteDwordValue(registry, kScheduleKey, kShouldCompressValue, choice.compress) && written;
  *armed = ArmNextRun(device, choice.days, choice.start_seconds, true, arm_error).has_value();
  return written;
}

std::optional<platform::NotificationHandle> FindScheduleNotification(const platform::Device& device,
                                                                     std::u16string_view program) {
  platform::Notifications* notifications = device.notifications();
  std::vector<platform::NotificationHandle> handles;
  if (notifications == nullptr || notifications->GetHandles(&handles) != platform::kErrorSuccess)
    return std::nullopt;
  for (const platform::NotificationHandle handle : handles) {
    platform::NotificationTrigger trigger;
    if (notifications->Get(handle, &trigger) != platform::kErrorSuccess) continue;
    if (trigger.type == platform::kNotificationTypeTime && !trigger.application.empty() &&
        StartsWithIgnoringCase(trigger.arguments, kScheduleArgument) &&
        platform::EqualsIgnoringAsciiCase(trigger.application, program)) {
      return handle;
    }
  }
  return std::nullopt;
}

std::optional<SystemTime> ArmNextRun(const platform::Device& device, std::uint8_t days,
                                     std::uint32_t start_seconds, bool allow_today,
                                     platform::ErrorCode* error) {
  platform::ErrorCode ignored = platform::kErrorSuccess;
  if (error == nullptr) error = &ignored;
  *error = platform::kErrorSuccess;
  platform::Notifications* notifications = device.notifications();
  if (notifications == nullptr) {
    *error = platform::kErrorInvalidHandle;
    return std::nullopt;
  }
  const std::u16string program = notifications->ProgramPath();
  if (const auto handle = FindScheduleNotification(device, program)) notifications->Clear(*handle);

  // The UTC date with the time of day entered, which the notification takes as local time.
  const SystemTime now = device.clock().UtcTime();
  platform::FileTime now_time = 0;
  platform::FileTime target = 0;
  if (!platform::SystemTimeToFileTime(now, &now_time) ||
      !platform::SystemTimeToFileTime(AtTimeOfDay(now, start_seconds), &target)) {
    return std::nullopt;
  }
  if (allow_today && (days & (1u << now.day_of_week)) != 0) {
    // Saved on a scheduled day after its time: nothing is armed.
    if (target <= now_time) return std::nullopt;
  } else {
    target += DaysToNextRun(days, now.day_of_week) * kTicksPerDay;
  }
  platform::NotificationTrigger trigger;
  trigger.application = program;
  trigger.arguments = kScheduleArgument;
  if (!platform::FileTimeToSystemTime(target, &trigger.start)) return std::nullopt;
  platform::NotificationHandle handle = 0;
  *error = notifications->Set(trigger, &handle);
  if (*error != platform::kErrorSuccess) return std::nullopt;
  return trigger.start;
}

std::optional<SystemTime> ArmRunAfterToday(const platform::Device& device,
                                           platform::ErrorCode* error) {
  *error = platform::kErrorSuccess;
  RegKey key(device.registry());
  if (!key.OpenForRead(kHkeyCurrentUser, kScheduleKey)) return std::nullopt;
  const std::uint32_t days = key.ReadDword(kScheduleDaysValue);
  const std::uint32_t start = key.ReadDword(kBackupTimeValue);
  key.Close();
  // What the run itself would skip, and so never re-arm.
  if (days == 0 || start == 0) return std::nullopt;
  return ArmNextRun(device, static_cast<std::uint8_t>(days), start, false, error);
}

bool ClearSchedule(const platform::Device& device) {
  if (platform::Notifications* notifications = device.notifications()) {
    if (const auto handle = FindScheduleNotification(device, notifications->ProgramPath()))
      notifications->Clear(*handle);
  }
  return DeleteSubkey(device.registry(), kHkeyCurrentUser, kApplicationKey, kScheduleSubkey, true);
}

int RunScheduledBackup(const platform::Device& device, const engine::KindWorkerFactory& factory,
                       engine::ProgressSink* sink, ScheduledRun* run) {
  ScheduledRun ignored;
  if (run == nullptr) run = &ignored;
  *run = ScheduledRun{};
  RegKey key(device.registry());
  if (!key.OpenForRead(kHkeyCurrentUser, kScheduleKey)) return 0;
  const std::uint32_t days = key.ReadDword(kScheduleDaysValue);
  const std::uint32_t start = key.ReadDword(kBackupTimeValue);
  // A start time of midnight never runs.
  if (days == 0 || start == 0) return 0;
  const SystemTime now = device.clock().LocalTime();
  const bool turn_off = key.ReadDword(kTurnOffValue) != 0;
  const std::uint32_t keep = key.ReadDword(kKeepFilesValue);
  const bool delete_old = key.ReadDword(kDeleteBackupsValue) != 0;
  const bool compress = key.ReadDword(kShouldCompressValue) == 1;
  const std::uint32_t bits = key.ReadDword(kBackupItemsValue);
  const std::u16string folder = ScheduledFolder(key);

  engine::BackupJob job;
  job.sink = sink;
  job.archive_file = platform::Format(u"%sKestrav_%.4d%.2d%.2d%s", folder, now.year, now.month,
                                      now.day, kBackupExtension);
  job.kinds = KindsOfBits(bits);
  job.separator = u';';
  job.compression_method = compress ? 8 : 0;
  if ((bits & static_cast<std::uint32_t>(engine::ItemKind::kMessages)) != 0) {
    job.messages_option.store_attachments = key.ReadDword(kStoreAttachmentsValue) == 1;
    job.messages_option.exclusions = ScheduledExclusions(device);
  }
  key.Close();
  run->due = true;
  // The day's file is replaced, and only by a whole new one.
  const std::u16string fault = engine::RunCheckedBackup(device, job, factory);
  if (!fault.empty()) {
    run->failure = job.archive_file + u": " + fault;
    // The kinds that worked are kept, beside a day's archive that holds them all.
    if (job.written_archive == job.archive_file)
      run->failure += u"; it holds the kinds that worked";
    else if (!job.written_archive.empty())
      run->failure += u"; the kinds that worked are in " + job.written_archive;
  }
  // A value of 0 is no value: the default holds.
  if (delete_old)
    run->deleted = DeleteOldBackups(device, folder, keep != 0 ? keep : kDefaultKeepFiles);
  run->next_run =
      ArmNextRun(device, static_cast<std::uint8_t>(days), start, false, &run->arm_error);
  return turn_off ? kSwitchOffAnswer : 0;
}

std::vector<DeletedBackup> DeleteOldBackups(const platform::Device& device,
                                            std::u16string_view folder, std::uint32_t keep) {
  std::vector<DeletedBackup> deleted;
  std::vector<platform::FoundFile> found =
      device.files().Find(platform::Format(u"%s*%s", folder, kBackupExtension));
  if (found.size() <= keep) return deleted;
  // By last write time, oldest first: the high half compared signed and the low half unsigned
  // is the time read as a signed 64-bit number.
  std::sort(found.begin(), found.end(),
            [](const platform::FoundFile& first, const platform::FoundFile& second) {
              return static_cast<std::int64_t>(first.data.last_write_time) <
                     static_cast<std::int64_t>(second.data.last_write_time);
            });
  for (std::size_t index = 0; index < found.size() - keep; ++index) {
    const std::u16string path = platform::Format(u"%s%s", folder, found[index].name);
    deleted.push_back({path, device.files().DeleteFile(path)});
  }
  return deleted;
}

bool IsScheduleCommandLine(std::u16string_view command_line) {
  return platform::EqualsIgnoringAsciiCase(command_line, kScheduleArgument) ||
         StartsWithIgnoringCase(command_line, u"/SchedBackup ");
}

bool HandleScheduleCommandLine(const platform::Device& device, std::u16string_view command_line,
                               const engine::KindWorkerFactory& factory, engine::ProgressSink* sink,
                               ScheduledRun* run) {
  if (!IsScheduleCommandLine(command_line)) return false;
  platform::Power* power = device.power();
  std::uint32_t state = 0;
  if (power != nullptr && power->GetSystemPowerState(&state) == platform::kErrorSuccess &&
      (state & platform::kPowerStateOn) == 0) {
    power->SetSystemPowerState(platform::kPowerStateOn);
  }
  if (RunScheduledBackup(device, factory, sink, run) == kSwitchOffAnswer && power != nullptr)
    power->PressOffKey();
  return true;
}

}  // namespace kestrav::settings
