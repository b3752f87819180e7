// How typed values become the text of one column of a record file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/property_value.h"

namespace kestrav::records {

// The bytes as "0x01,0xab,0x00": lower-case hex, two digits each; no bytes give no text.
std::u16string ByteListText(std::span<const std::uint8_t> bytes);

// A device database value by its type code: integers and booleans in decimal, doubles as
// "%f", strings as they are, file times and byte blocks as byte lists, 32-bit auto values in
// decimal. A type with no text gives nothing: the column stays absent.
std::optional<std::u16string> PropertyValueText(const platform::PropertyValue& value);

// Reads a byte list back: items separated by ",", each a hexadecimal number of at most two
// digits with an optional "0x". Empty text gives no bytes. False (and no bytes) for any other
// text.
bool ParseByteList(std::u16string_view text, std::vector<std::uint8_t>* bytes);

// The value of property `id` from its value text, the reverse of PropertyValueText: integers as
// the C library's base-10 conversions read them (leading blanks skipped, reading stops at the
// first character that does not fit, out-of-range values clamped to 32 bits), doubles as a
// decimal number, strings as they are, file times and byte blocks from byte lists (a file time
// takes the first 8 bytes, low address first). Text that cannot be read gives 0 or no bytes, as
// the device's conversions do.
// Reads a byte list as the contacts reader always has, accepting what ParseByteList refuses: the
// text split at ",", each piece read as wcstoul reads base 16 (blanks skipped, "0x" allowed,
// stopping at the first other character, too large a number saturating) giving one byte, its low
// 8 bits; empty pieces give none.
std::vector<std::uint8_t> ParseLenientByteList(std::u16string_view text);

platform::PropertyValue ParsePropertyValue(std::uint32_t id, std::u16string_view text);

// The message store's forms: a 64-bit unsigned integer in decimal, and a UTC file time as the
// local date "%.4d,%.2d,%.2d,%.2d,%.2d,%.2d" (year, month, day, hour, minute, second).
std::u16string UInt64Text(std::uint64_t value);
std::u16string LocalDateText(const platform::Clock& clock, platform::FileTime utc);
// Reads LocalDateText back into a UTC file time: six decimal numbers separated by ",", a date and
// time that exist. False for any other text.
bool ParseLocalDateText(const platform::Clock& clock, std::u16string_view text,
                        platform::FileTime* utc);

}  // namespace kestrav::records
