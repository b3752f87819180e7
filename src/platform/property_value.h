// A typed value of a device database record: the property identifier (identifier in the high
// 16 bits, type code in the low 16 bits), the property's flags, and the value itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/time.h"

namespace kestrav::platform {

enum class PropertyType : std::uint16_t {
  kInt16 = 2,
  kInt32 = 3,
  kDouble = 5,
  kBool = 11,
  kUInt16 = 18,
  kUInt32 = 19,
  kString = 31,
  kFileTime = 64,
  kBlob = 65,
  kStream = 100,
  kRecordId = 101,
  kAutoInt32 = 102,
  kAutoInt64 = 103,
};

// Set in a property's flags when the record does not hold the property.
inline constexpr std::uint16_t kPropertyNotFound = 0x0100;
// Set in a property's flags, when writing, to remove the property from the record.
inline constexpr std::uint16_t kPropertyDelete = 0x0200;

struct PropertyValue {
  std::uint32_t id = 0;
  std::uint16_t flags = 0;
  // kInt16, kUInt16, kInt32, kUInt32, kBool and kAutoInt32 hold their value here, as the
  // device's value union does: read through the type's own width.
  std::int64_t integer = 0;
  double real = 0;                  // kDouble
  std::u16string text;              // kString
  FileTime file_time = 0;           // kFileTime
  std::vector<std::uint8_t> bytes;  // kBlob, kStream, kRecordId, kAutoInt64

  PropertyType type() const { return static_cast<PropertyType>(id & 0xFFFF); }

  bool operator==(const PropertyValue&) const = default;
};

inline constexpr std::uint32_t MakePropertyId(std::uint16_t identifier, PropertyType type) {
  return (static_cast<std::uint32_t>(identifier) << 16) | static_cast<std::uint16_t>(type);
}

}  // namespace kestrav::platform
