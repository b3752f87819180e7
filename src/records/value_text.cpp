#include "records/value_text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "platform/format.h"

namespace kestrav::records {

using platform::Format;
using platform::PropertyType;

std::u16string ByteListText(std::span<const std::uint8_t> bytes) {
  // Every byte's ",0x%.2x", formatted once: a picture or a call's file time is a long list of
  // them, and a backup writes tens of thousands.
  static const auto kBytes = [] {
    std::array<std::u16string, 256> texts;
    for (unsigned byte = 0; byte < texts.size(); ++byte) texts[byte] = Format(u",0x%.2x", byte);
    return texts;
  }();
  std::u16string text;
  text.reserve(bytes.size() * 5);
  for (const std::uint8_t byte : bytes) text += kBytes[byte];
  // The first byte has no comma before it.
  if (!text.empty()) text.erase(0, 1);
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

namespace {

int HexDigit(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
  if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
  return -1;
}

// The leading part of a value text that a C number conversion could read, as narrow text:
// conversions stop at the first character outside ASCII anyway.
std::string NumberPrefix(std::u16string_view text) {
  std::string narrow;
  for (const char16_t unit : text.substr(0, 64)) {
    if (unit == 0 || unit > 0x7F) break;
    narrow.push_back(static_cast<char>(unit));
  }
  return narrow;
}

// _wtol: base 10, clamped to the 32-bit range.
std::int32_t SignedNumber(std::u16string_view text) {
  const std::string narrow = NumberPrefix(text);
  const long long value = std::strtoll(narrow.c_str(), nullptr, 10);
  if (value > std::numeric_limits<std::int32_t>::max())
    return std::numeric_limits<std::int32_t>::max();
  if (value < std::numeric_limits<std::int32_t>::min())
    return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(value);
}

// wcstoul with base 10 on 32 bits: a minus sign negates modulo 2^32; too large clamps.
std::uint32_t UnsignedNumber(std::u16string_view text) {
  const std::string narrow = NumberPrefix(text);
  std::size_t start = narrow.find_first_not_of(" \t\n\v\f\r");
  if (start == std::string::npos) return 0;
  bool negative = false;
  if (narrow[start] == '-' || narrow[start] == '+') {
    negative = narrow[start] == '-';
    ++start;
  }
  if (start >= narrow.size() || narrow[start] < '0' || narrow[start] > '9') return 0;
  errno = 0;
  const unsigned long long magnitude = std::strtoull(narrow.c_str() + start, nullptr, 10);
  if (errno == ERANGE || magnitude > std::numeric_limits<std::uint32_t>::max())
    return std::numeric_limits<std::uint32_t>::max();
  const auto value = static_cast<std::uint32_t>(magnitude);
  return negative ? 0u - value : value;
}

}  // namespace

bool ParseByteList(std::u16string_view text, std::vector<std::uint8_t>* bytes) {
  bytes->clear();
  if (text.empty()) return true;
  bytes->reserve(text.size() / 5 + 1);
  std::size_t start = 0;
  for (;;) {
    const std::size_t comma = std::min(text.find(u',', start), text.size());
    std::u16string_view item = text.substr(start, comma - start);
    if (item.size() > 2 && item[0] == u'0' && (item[1] == u'x' || item[1] == u'X'))
      item.remove_prefix(2);
    if (item.empty() || item.size() > 2) {
      bytes->clear();
      return false;
    }
    int value = 0;
    for (const char16_t unit : item) {
      const int digit = HexDigit(unit);
      if (digit < 0) {
        bytes->clear();
        return false;
      }
      value = value * 16 + digit;
    }
    bytes->push_back(static_cast<std::uint8_t>(value));
    if (comma == text.size()) return true;
    start = comma + 1;
  }
}

std::vector<std::uint8_t> ParseLenientByteList(std::u16string_view text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 5 + 1);
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t comma = std::min(text.find(u',', start), text.size());
    std::size_t at = start;
    while (at < comma && (text[at] == u' ' || text[at] == u'\t')) ++at;
    if (comma - at > 2 && text[at] == u'0' && (text[at + 1] == u'x' || text[at + 1] == u'X'))
      at += 2;
    std::uint64_t value = 0;
    for (; at < comma && HexDigit(text[at]) >= 0; ++at)
      value = std::min<std::uint64_t>(value * 16 + HexDigit(text[at]), 0xFFFFFFFFu);
    if (comma > start) bytes.push_back(static_cast<std::uint8_t>(value));
    start = comma + 1;
  }
  return bytes;
}

platform::PropertyValue ParsePropertyValue(std::uint32_t id, std::u16string_view text) {
  platform::PropertyValue value;
  value.id = id;
  switch (value.type()) {
    case PropertyType::kInt16:
      value.integer = static_cast<std::int16_t>(SignedNumber(text));
      break;
    case PropertyType::kUInt16:
      value.integer = static_cast<std::uint16_t>(UnsignedNumber(text));
      break;
    case PropertyType::kInt32:
    case PropertyType::kBool:
    case PropertyType::kAutoInt32:
      value.integer = SignedNumber(text);
      break;
    case PropertyType::kUInt32:
      value.integer = UnsignedNumber(text);
      break;
    case PropertyType::kDouble:
      value.real = std::strtod(NumberPrefix(text).c_str(), nullptr);
      break;
    case PropertyType::kString:
      value.text = text;
      break;
    case PropertyType::kFileTime: {
      std::vector<std::uint8_t> bytes;
      ParseByteList(text, &bytes);
      bytes.resize(sizeof value.file_time);
      std::memcpy(&value.file_time, bytes.data(), sizeof value.file_time);
      break;
    }
    case PropertyType::kBlob:
    case PropertyType::kStream:
    case PropertyType::kRecordId:
    case PropertyType::kAutoInt64:
      ParseByteList(text, &value.bytes);
      break;
  }
  return value;
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

bool ParseLocalDateText(const platform::Clock& clock, std::u16string_view text,
                        platform::FileTime* utc) {
  std::array<std::uint16_t, 6> parts{};
  std::size_t part = 0;
  std::size_t digits = 0;
  std::uint32_t number = 0;
  for (std::size_t index = 0; index <= text.size(); ++index) {
    if (index == text.size() || text[index] == u',') {
      if (digits == 0 || part == parts.size()) return false;
      parts[part++] = static_cast<std::uint16_t>(number);
      digits = 0;
      number = 0;
    } else if (text[index] >= u'0' && text[index] <= u'9' && digits < 4) {
      number = number * 10 + static_cast<std::uint32_t>(text[index] - u'0');
      ++digits;
    } else {
      return false;
    }
  }
  if (part != parts.size()) return false;
  const platform::SystemTime local{.year = parts[0],
                                   .month = parts[1],
                                   .day = parts[2],
                                   .hour = parts[3],
                                   .minute = parts[4],
                                   .second = parts[5]};
  platform::FileTime local_time = 0;
  if (!platform::SystemTimeToFileTime(local, &local_time)) return false;
  *utc = clock.LocalToUtc(local_time);
  return true;
}

}  // namespace kestrav::records
