#include "profile/sample_data.h"

#include "platform/host/outlook_properties.h"
#include "platform/outlook.h"
#include "platform/text.h"
#include "platform/time.h"
#include "profile/samples.h"
#include "records/value_text.h"

namespace kestrav::profile {

double OleDate(int year, int month, int day, int hour, int minute) {
  platform::SystemTime date;
  date.year = static_cast<std::uint16_t>(year);
  date.month = static_cast<std::uint16_t>(month);
  date.day = static_cast<std::uint16_t>(day);
  date.hour = static_cast<std::uint16_t>(hour);
  date.minute = static_cast<std::uint16_t>(minute);
  double ole_date = 0;
  platform::SystemTimeToOleDate(date, &ole_date);
  return ole_date;
}

std::string ByteList(std::span<const std::uint8_t> bytes) {
  return platform::ToUtf8(records::ByteListText(bytes));
}

Json InRestoreOrder(const Json& item, std::span<const std::string_view> order) {
  Json ordered = Json::object();
  for (const std::string_view key : order) {
    const std::string name(key);
    if (name == "IsRecurring") {
      ordered[name] = item.contains("recurrence");
    } else if (name == "MeetingStatus") {
      ordered[name] = item.contains("recipients") ? 1 : 0;
    } else if (const auto given = item.find(name); given != item.end()) {
      ordered[name] = *given;
    } else if (const auto property = platform::host::ItemPropertyByName(key)) {
      switch (platform::host::ItemPropertyType(*property)) {
        case platform::host::ItemValueType::kBoolean:
          ordered[name] = false;
          break;
        case platform::host::ItemValueType::kInteger:
          ordered[name] = 0;
          break;
        case platform::host::ItemValueType::kDate:
          ordered[name] = platform::kOleDateNone;
          break;
        default:  // an unset text or ink is no property at all
          break;
      }
    }
  }
  for (const auto& entry : item.items()) {
    if (!ordered.contains(entry.key())) ordered[entry.key()] = entry.value();
  }
  return ordered;
}

Json CopyOf(Json item, std::uint32_t copy, const std::string& subject_key) {
  if (copy > 0)
    item[subject_key] = item[subject_key].get<std::string>() + " " + std::to_string(copy + 1);
  return item;
}

bool FillSampleData(const platform::Device& device, std::uint32_t scale, std::string* error) {
  // Contacts before the speed dials that point at them.
  return FillSampleCallLogs(device, scale, error) && FillSampleContacts(device, scale, error) &&
         FillSampleSpeedDials(device, scale, error) &&
         FillSampleAppointments(device, scale, error) && FillSampleTasks(device, scale, error) &&
         FillSampleMessages(device, scale, error);
}

}  // namespace kestrav::profile
