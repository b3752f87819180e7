#include "cli/backup_view.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "engine/item_kind.h"
#include "messages/message_folders.h"
#include "platform/text.h"
#include "platform/time.h"

namespace kestrav::cli {
namespace {

using nlohmann::ordered_json;
using platform::ToUtf8;

bool IsBackupFile(const std::filesystem::path& path) {
  const std::u16string extension = platform::FromUtf8(path.extension().string());
  if (engine::KindOfExtension(extension)) return true;
  std::string lower = path.extension().string();
  std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return platform::FromUtf8(lower) == engine::kArchiveExtension;
}

std::string TimeText(const platform::SystemTime& time, bool seconds) {
  char text[48];
  if (seconds) {
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", time.year, time.month,
                  time.day, time.hour, time.minute, time.second);
  } else {
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u", time.year, time.month, time.day,
                  time.hour, time.minute);
  }
  return text;
}

std::string DateText(double ole_date) {
  platform::SystemTime time;
  if (ole_date == platform::kOleDateNone || !platform::OleDateToSystemTime(ole_date, &time))
    return "-";
  char text[24];
  std::snprintf(text, sizeof text, "%04u-%02u-%02u", time.year, time.month, time.day);
  return text;
}

// A date for scripts: ISO 8601 local time without a zone, or null for none.
ordered_json OleDateJson(double ole_date) {
  platform::SystemTime time;
  if (ole_date == platform::kOleDateNone || !platform::OleDateToSystemTime(ole_date, &time))
    return nullptr;
  std::string text = TimeText(time, true);
  text[10] = 'T';
  return text;
}

ordered_json FileTimeJson(const platform::Clock& clock, platform::FileTime utc) {
  std::string text = FileTimeText(clock, utc);
  if (text.size() > 10) text[10] = 'T';
  return text;
}

constexpr std::array<const char*, 7> kDayNames = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 5> kInstances = {"1st", "2nd", "3rd", "4th", "last"};

std::string Days(std::int32_t mask) {
  std::string days;
  for (std::size_t day = 0; day < kDayNames.size(); ++day) {
    if ((mask & (1 << day)) == 0) continue;
    days += (days.empty() ? "" : ", ") + std::string(kDayNames[day]);
  }
  return days.empty() ? "no day" : days;
}

std::string Instance(std::int32_t instance) {
  return instance >= 1 && instance <= 5 ? kInstances[instance - 1] : std::to_string(instance);
}

ordered_json RecurrenceJson(const std::optional<platform::RecurrencePattern>& recurrence) {
  if (!recurrence) return nullptr;
  const platform::RecurrencePattern& pattern = *recurrence;
  ordered_json exceptions = ordered_json::array();
  for (const platform::RecurrenceException& exception : pattern.exceptions) {
    exceptions.push_back({{"original_date", OleDateJson(exception.original_date)},
                          {"deleted", exception.deleted},
                          {"start", OleDateJson(exception.start)},
                          {"end", OleDateJson(exception.end)}});
  }
  return {{"words", RecurrenceWords(pattern)},
          {"type", pattern.recurrence_type},
          {"interval", pattern.interval},
          {"instance", pattern.instance},
          {"day_of_week_mask", pattern.day_of_week_mask},
          {"day_of_month", pattern.day_of_month},
          {"month_of_year", pattern.month_of_year},
          {"pattern_start_date", OleDateJson(pattern.pattern_start_date)},
          {"pattern_end_date", OleDateJson(pattern.pattern_end_date)},
          {"occurrences", pattern.occurrences},
          {"no_end_date", pattern.no_end_date},
          {"start_time", OleDateJson(pattern.start_time)},
          {"end_time", OleDateJson(pattern.end_time)},
          {"duration", pattern.duration},
          {"exceptions", exceptions}};
}

std::string Hex(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", number);
  return text;
}

}  // namespace

std::vector<std::filesystem::path> BackupsOf(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::is_directory(path, error)) return {path};
  std::vector<std::filesystem::path> backups;
  for (const auto& entry : std::filesystem::directory_iterator(path, error)) {
    std::error_code ignored;
    if (entry.is_regular_file(ignored) && IsBackupFile(entry.path()))
      backups.push_back(entry.path());
  }
  std::ranges::sort(backups);
  return backups;
}

ScratchFolder::ScratchFolder() {
  std::error_code error;
  const std::filesystem::path temp = std::filesystem::temp_directory_path(error);
  if (error) return;
  std::string pattern = (temp / "kestrav-inspect-XXXXXX").string();
  if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
}

ScratchFolder::~ScratchFolder() {
  if (path_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::u16string ScratchFolder::folder() const {
  return platform::FromUtf8(path_.string() + "/");
}

std::string OleDateText(double ole_date) {
  platform::SystemTime time;
  if (ole_date == platform::kOleDateNone || !platform::OleDateToSystemTime(ole_date, &time))
    return "-";
  return TimeText(time, false);
}

std::string FileTimeText(const platform::Clock& clock, platform::FileTime utc) {
  platform::SystemTime time;
  if (!platform::FileTimeToSystemTime(clock.UtcToLocal(utc), &time)) return "-";
  return TimeText(time, true);
}

std::string RecurrenceWords(const platform::RecurrencePattern& pattern) {
  const std::string every =
      pattern.interval > 1 ? "every " + std::to_string(pattern.interval) + " " : "";
  std::string words;
  switch (pattern.recurrence_type) {
    case 0:
      words = pattern.interval > 1 ? every + "days" : "daily";
      break;
    case 1:
      words = (pattern.interval > 1 ? every + "weeks" : "weekly") + std::string(" on ") +
              Days(pattern.day_of_week_mask);
      break;
    case 2:
      words = (pattern.interval > 1 ? every + "months" : "monthly") + std::string(" on day ") +
              std::to_string(pattern.day_of_month);
      break;
    case 3:
      words = (pattern.interval > 1 ? every + "months" : "monthly") + std::string(" on the ") +
              Instance(pattern.instance) + " " + Days(pattern.day_of_week_mask);
      break;
    case 5:
      words = "yearly on " + std::to_string(pattern.day_of_month) + "/" +
              std::to_string(pattern.month_of_year);
      break;
    case 6:
      words = "yearly on the " + Instance(pattern.instance) + " " + Days(pattern.day_of_week_mask) +
              " of month " + std::to_string(pattern.month_of_year);
      break;
    default:
      words = "recurrence type " + std::to_string(pattern.recurrence_type);
      break;
  }
  if (pattern.no_end_date) {
    words += ", no end";
  } else if (pattern.occurrences > 0) {
    words += ", " + std::to_string(pattern.occurrences) + " times";
  } else {
    words += ", until " + DateText(pattern.pattern_end_date);
  }
  if (!pattern.exceptions.empty()) {
    words += ", " + std::to_string(pattern.exceptions.size()) +
             (pattern.exceptions.size() == 1 ? " exception" : " exceptions");
  }
  return words;
}

std::string SizeText(std::uint64_t bytes) {
  char text[32];
  if (bytes < 1024) {
    std::snprintf(text, sizeof text, "%llu B", static_cast<unsigned long long>(bytes));
  } else if (bytes < 1024 * 1024) {
    std::snprintf(text, sizeof text, "%.1f KiB", static_cast<double>(bytes) / 1024);
  } else {
    std::snprintf(text, sizeof text, "%.1f MiB", static_cast<double>(bytes) / (1024 * 1024));
  }
  return text;
}

std::string KindWord(engine::ItemKind kind) {
  return ToUtf8(engine::KindInfo(kind).word);
}

ordered_json ContactJson(const outlook::DecodedContact& contact) {
  ordered_json fields = ordered_json::object();
  const auto& columns = outlook::ContactColumns();
  for (std::size_t column = 0; column < columns.size(); ++column) {
    // The picture and the notes are given decoded below; the ink stays a byte list.
    if (column == outlook::kPictureColumn ||
        columns[column].source == outlook::ContactSource::kNotes)
      continue;
    if (!contact.fields[column].empty())
      fields[ToUtf8(columns[column].header)] = ToUtf8(contact.fields[column]);
  }
  ordered_json dates = ordered_json::object();
  for (std::size_t column = 0; column < columns.size(); ++column) {
    if (contact.dates[column])
      dates[ToUtf8(columns[column].header)] = DateText(*contact.dates[column]);
  }
  return {{"name", ToUtf8(contact.name())},
          {"fields", fields},
          {"dates", dates},
          {"notes", ToUtf8(contact.notes)},
          {"picture_bytes", contact.picture.size()}};
}

ordered_json AppointmentJson(const outlook::DecodedAppointment& appointment) {
  ordered_json recipients = ordered_json::array();
  for (const platform::Recipient& recipient : appointment.recipients)
    recipients.push_back(
        {{"name", ToUtf8(recipient.name)}, {"address", ToUtf8(recipient.address)}});
  return {{"subject", ToUtf8(appointment.subject)},
          {"start", OleDateJson(appointment.start)},
          {"end", OleDateJson(appointment.end)},
          {"all_day_event", appointment.all_day_event},
          {"duration", appointment.duration},
          {"location", ToUtf8(appointment.location)},
          {"categories", ToUtf8(appointment.categories)},
          {"body", ToUtf8(appointment.body)},
          {"body_ink_bytes", appointment.body_ink.size()},
          {"busy_status", appointment.busy_status},
          {"sensitivity", appointment.sensitivity},
          {"meeting_status", appointment.meeting_status},
          {"reminder",
           {{"set", appointment.reminder_set},
            {"minutes_before_start", appointment.reminder_minutes_before_start},
            {"options", appointment.reminder_options},
            {"sound_file", ToUtf8(appointment.reminder_sound_file)}}},
          {"is_recurring", appointment.is_recurring},
          {"recurrence", RecurrenceJson(appointment.recurrence)},
          {"stated_recipient_count", appointment.stated_recipient_count},
          {"recipients", recipients}};
}

ordered_json TaskJson(const outlook::DecodedTask& task) {
  return {{"subject", ToUtf8(task.subject)},
          {"start_date", OleDateJson(task.start_date)},
          {"due_date", OleDateJson(task.due_date)},
          {"complete", task.complete},
          {"date_completed", OleDateJson(task.date_completed)},
          {"importance", task.importance},
          {"categories", ToUtf8(task.categories)},
          {"body", ToUtf8(task.body)},
          {"body_ink_bytes", task.body_ink.size()},
          {"sensitivity", task.sensitivity},
          {"team_task", task.team_task},
          {"reminder",
           {{"set", task.reminder_set},
            {"time", OleDateJson(task.reminder_time)},
            {"options", task.reminder_options},
            {"sound_file", ToUtf8(task.reminder_sound_file)}}},
          {"is_recurring", task.is_recurring},
          {"recurrence", RecurrenceJson(task.recurrence)}};
}

ordered_json CallLogJson(const platform::Clock& clock, const devicedb::DecodedCallLog& call) {
  static constexpr std::array<const char*, 3> kDirections = {"outgoing", "incoming", "missed"};
  const std::optional<std::uint64_t> duration = call.duration_seconds();
  return {{"start", call.start ? FileTimeJson(clock, *call.start) : ordered_json(nullptr)},
          {"end", call.end ? FileTimeJson(clock, *call.end) : ordered_json(nullptr)},
          {"direction", kDirections[static_cast<std::size_t>(call.direction())]},
          {"number", ToUtf8(call.number)},
          {"name", call.name ? ordered_json(ToUtf8(*call.name)) : ordered_json(nullptr)},
          {"number_type", ToUtf8(call.number_type)},
          {"duration_seconds", duration ? ordered_json(*duration) : ordered_json(nullptr)},
          {"properties", call.properties.size()}};
}

ordered_json SpeedDialJson(const devicedb::DecodedSpeedDial& dial) {
  ordered_json link = nullptr;
  if (dial.has_head) {
    link = {{"contact_id", dial.contact_id},
            {"phone_property", Hex(dial.phone_property)},
            {"phone_text", ToUtf8(dial.phone_text)}};
  }
  return {{"position", dial.position ? ordered_json(*dial.position) : ordered_json(nullptr)},
          {"label", ToUtf8(dial.label)},
          {"link", link},
          {"properties", dial.properties.size()}};
}

ordered_json MessageJson(const platform::Clock& clock, const messages::MessageRecord& message) {
  if (message.is_folder) {
    return {{"folder_record", true},
            {"store", ToUtf8(message.account)},
            {"folder", ToUtf8(message.folder)},
            {"subfolder", ToUtf8(message.subject)}};
  }
  ordered_json properties = ordered_json::object();
  for (const platform::PropertyValue& property : message.properties) {
    switch (property.id) {
      case platform::kTagSenderName:
        properties["sender_name"] = ToUtf8(property.text);
        break;
      case platform::kTagSenderAddress:
        properties["sender_address"] = ToUtf8(property.text);
        break;
      case platform::kTagSenderAddressType:
        properties["sender_address_type"] = ToUtf8(property.text);
        break;
      case platform::kTagSubjectPrefix:
        properties["subject_prefix"] = ToUtf8(property.text);
        break;
      case platform::kTagMessageClass:
        properties["class"] = ToUtf8(property.text);
        break;
      case platform::kTagMessageSize:
        properties["size"] = property.integer;
        break;
      case platform::kTagMessageFlags:
        properties["flags"] = property.integer;
        break;
      case platform::kTagDeliveryTime:
        properties["delivery_time"] = FileTimeJson(clock, property.file_time);
        break;
      case platform::kTagLastModificationTime:
        properties["modify_time"] = FileTimeJson(clock, property.file_time);
        break;
      default:
        break;
    }
  }
  ordered_json recipients = ordered_json::array();
  messages::ItemList recipient_items(message.recipients);
  platform::MessageRecipient recipient;
  for (std::u16string_view item; recipient_items.Next(&item);) {
    if (!messages::ReadRecipient(item, &recipient)) continue;
    recipients.push_back({{"kind", static_cast<int>(recipient.kind)},
                          {"name", ToUtf8(recipient.display_name)},
                          {"address", ToUtf8(recipient.address)},
                          {"address_type", ToUtf8(recipient.address_type)}});
  }
  ordered_json attachments = ordered_json::array();
  messages::ItemList attachment_items(message.attachments);
  messages::AttachmentItem attachment;
  for (std::u16string_view item; attachment_items.Next(&item);) {
    if (!messages::ReadAttachment(item, &attachment)) continue;
    attachments.push_back({{"name", ToUtf8(attachment.file_name)},
                           {"method", attachment.method},
                           {"size", attachment.size},
                           {"contents_stored", attachment.contents.has_value()}});
  }
  return {{"folder_record", false},
          {"store", ToUtf8(message.account)},
          {"store_shown", ToUtf8(messages::ShownStoreName(message.account))},
          {"folder", ToUtf8(message.folder)},
          {"subject", ToUtf8(message.subject)},
          {"body_type", message.body_type},
          {"body", ToUtf8(message.body)},
          {"properties", properties},
          {"recipients", recipients},
          {"attachments", attachments}};
}

}  // namespace kestrav::cli
