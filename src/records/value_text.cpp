#include "records/value_text.h"

#include <cstring>

#include "platform/format.h"

namespace kestrav::records {

using platform::Format;
using platform::PropertyType;

std::u16string ByteListText(std::span<const std::uint8_t> bytes) {
  std::u16string text;
  text.reserve(bytes.size() * 5);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text += Format(i == 0 ? u"0x%.2x" : u",0x%.2x", static_cast<unsigned>(bytes[i]));
  }
  return text;
}

std::optional<std::u16string> PropertyValueText(const platform::PropertyValue& value) {
  switch (value.type()) {
    case PropertyType::kInt16:
      return Format(u"%d", static_cast<std::int16_t>(value.integer));
    case PropertyType::kUInt16:
      return Format(u"%u", static_cast<unsigned>(static_cast<std::uint16_t>(value.integer)));
    case PropertyType::kInt32:
    case PropertyType::kBool:
    case PropertyType::kAutoInt32:
      return Format(u"%d", static_cast<std::int32_t>(value.integer));
    case PropertyType::kUInt32:
      return Format(u"%u", static_cast<std::uint32_t>(value.integer));
    case PropertyType::kDouble:
      return Format(u"%f", value.real);
    case PropertyType::kString:
      return value.text;
    case PropertyType::kFileTime: {
      std::uint8_t bytes[sizeof value.file_time];
      std::memcpy(bytes, &value.file_time, sizeof bytes);  // low address first, as on the device
      return ByteListText(bytes);
    }
    case PropertyType::kBlob:
    case PropertyType::kStream:
    case PropertyType::kRecordId:
    case PropertyType::kAutoInt64:
      return ByteListText(value.bytes);
  }
  return std::nullopt;
}

std::u16string UInt64Text(std::uint64_t value) {
  return Format(u"%I64u", static_cast<unsigned long long>(value));
}

std::u16string LocalDateText(const platform::Clock& clock, platform::FileTime utc) {
  platform::SystemTime local;
  platform::FileTimeToSystemTime(clock.UtcToLocal(utc), &local);
  return Format(u"%.4d,%.2d,%.2d,%.2d,%.2d,%.2d", local.year, local.month, local.day, local.hour,
                local.minute, local.second);
}

}  // namespace kestrav::records
