#include "profile/sample_data.h"

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

bool FillSampleData(const platform::Device& device, std::uint32_t scale, std::string* error) {
  // Contacts before the speed dials that point at them.
  return FillSampleCallLogs(device, scale, error) && FillSampleContacts(device, scale, error) &&
         FillSampleSpeedDials(device, scale, error);
}

}  // namespace kestrav::profile
