#include "outlook/item_fields.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "records/value_text.h"

namespace kestrav::outlook {
namespace {

using platform::Failed;
using platform::ItemProperty;
using platform::OutlookItem;
using platform::RecurrenceException;
using platform::RecurrencePattern;

constexpr double kMinutesPerDay = 24 * 60;
constexpr std::uint16_t kTrue16 = 0xFFFF;

// Offsets in the recurrence block.
constexpr std::size_t kRecursAt = 0;
constexpr std::size_t kRecurrenceTypeAt = 4;
constexpr std::size_t kIntervalAt = 8;
constexpr std::size_t kInstanceAt = 12;
constexpr std::size_t kDayOfWeekMaskAt = 16;
constexpr std::size_t kDayOfMonthAt = 20;
constexpr std::size_t kMonthOfYearAt = 24;
constexpr std::size_t kOccurrencesAt = 28;
constexpr std::size_t kDurationAt = 32;
constexpr std::size_t kNoEndDateAt = 36;
constexpr std::size_t kPatternStartDateAt = 40;
constexpr std::size_t kPatternEndDateAt = 48;
constexpr std::size_t kStartTimeAt = 56;
constexpr std::size_t kEndTimeAt = 64;
constexpr std::size_t kExceptionCountAt = 72;

// Offsets in an exception entry.
constexpr std::size_t kOriginalDateAt = 0;
constexpr std::size_t kDeletedAt = 8;
constexpr std::size_t kMovedDurationAt = 10;
constexpr std::size_t kStartShiftAt = 12;

void Put(std::span<std::uint8_t> bytes, std::size_t at, std::uint64_t value, std::size_t size) {
  for (std::size_t k = 0; k < size; ++k)
    bytes[at + k] = static_cast<std::uint8_t>(value >> (8 * k));
}

void PutInteger(std::span<std::uint8_t> bytes, std::size_t at, std::int32_t value) {
  Put(bytes, at, static_cast<std::uint32_t>(value), 4);
}

void PutReal(std::span<std::uint8_t> bytes, std::size_t at, double value) {
  Put(bytes, at, std::bit_cast<std::uint64_t>(value), 8);
}

// The caller has checked that the bytes reach at + size.
std::uint64_t Get(std::span<const std::uint8_t> bytes, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t k = 0; k < size; ++k) value |= std::uint64_t{bytes[at + k]} << (8 * k);
  return value;
}

std::int32_t GetInteger(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::int32_t>(Get(bytes, at, 4));
}

double GetReal(std::span<const std::uint8_t> bytes, std::size_t at) {
  return std::bit_cast<double>(Get(bytes, at, 8));
}

// Whole minutes between two OLE dates, held within the limits.
std::int64_t MinutesBetween(double from, double to, std::int64_t lowest, std::int64_t highest) {
  const double minutes = std::round((to - from) * kMinutesPerDay);
  if (!(minutes >= static_cast<double>(lowest))) return lowest;
  if (minutes > static_cast<double>(highest)) return highest;
  return static_cast<std::int64_t>(minutes);
}

}  // namespace

Bytes BooleanBytes(bool value) {
  const std::uint8_t byte = value ? 0xFF : 0x00;
  return {byte, byte};
}

bool BooleanFromBytes(std::span<const std::uint8_t> bytes) {
  return std::ranges::any_of(bytes, [](std::uint8_t byte) { return byte != 0; });
}

Bytes IntegerBytes(std::int32_t value) {
  Bytes bytes(4);
  PutInteger(bytes, 0, value);
  return bytes;
}

std::int32_t IntegerFromBytes(std::span<const std::uint8_t> bytes) {
  return bytes.size() == 4 ? GetInteger(bytes, 0) : 0;
}

Bytes DateBytes(double ole_date) {
  Bytes bytes(8);
  PutReal(bytes, 0, ole_date);
  return bytes;
}

double DateFromBytes(std::span<const std::uint8_t> bytes) {
  return bytes.size() == 8 ? GetReal(bytes, 0) : platform::kOleDateNone;
}

Bytes TextBytes(std::u16string_view text) {
  Bytes bytes;
  bytes.reserve(text.size() * 2);
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

std::u16string TextFromBytes(std::span<const std::uint8_t> bytes) {
  std::u16string text;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const auto unit = static_cast<char16_t>(Get(bytes, at, 2));
    if (unit == 0) break;
    text.push_back(unit);
  }
  return text;
}

Bytes RecurrenceBlock(const std::optional<RecurrencePattern>& pattern) {
  Bytes block(kRecurrenceBlockSize, 0);
  if (!pattern) return block;
  PutInteger(block, kRecursAt, 1);
  PutInteger(block, kRecurrenceTypeAt, pattern->recurrence_type);
  PutInteger(block, kIntervalAt, pattern->interval);
  PutInteger(block, kInstanceAt, pattern->instance);
  PutInteger(block, kDayOfWeekMaskAt, pattern->day_of_week_mask);
  PutInteger(block, kDayOfMonthAt, pattern->day_of_month);
  PutInteger(block, kMonthOfYearAt, pattern->month_of_year);
  PutInteger(block, kOccurrencesAt, pattern->occurrences);
  PutInteger(block, kDurationAt, pattern->duration);
  Put(block, kNoEndDateAt, pattern->no_end_date ? kTrue16 : 0, 2);
  PutReal(block, kPatternStartDateAt, pattern->pattern_start_date);
  PutReal(block, kPatternEndDateAt, pattern->pattern_end_date);
  PutReal(block, kStartTimeAt, pattern->start_time);
  PutReal(block, kEndTimeAt, pattern->end_time);
  Put(block, kExceptionCountAt, pattern->exceptions.size(), 4);
  return block;
}

Bytes ExceptionEntries(const std::optional<RecurrencePattern>& pattern) {
  if (!pattern) return {};
  Bytes entries(pattern->exceptions.size() * kExceptionEntrySize, 0);
  std::size_t at = 0;
  for (const RecurrenceException& exception : pattern->exceptions) {
    PutReal(entries, at + kOriginalDateAt, exception.original_date);
    if (exception.deleted) {
      Put(entries, at + kDeletedAt, kTrue16, 2);
    } else {
      // A moved occurrence keeps its start to the minute and up to 65535 minutes of length.
      const std::int64_t shift = MinutesBetween(exception.original_date, exception.start,
                                                std::numeric_limits<std::int32_t>::min(),
                                                std::numeric_limits<std::int32_t>::max());
      Put(entries, at + kMovedDurationAt,
          static_cast<std::uint64_t>(MinutesBetween(exception.start, exception.end, 0, 0xFFFF)), 2);
      PutInteger(entries, at + kStartShiftAt, static_cast<std::int32_t>(shift));
    }
    at += kExceptionEntrySize;
  }
  return entries;
}

std::optional<RecurrencePattern> RecurrenceFromFields(std::span<const std::uint8_t> block,
                                                      std::span<const std::uint8_t> exceptions) {
  if (block.size() != kRecurrenceBlockSize || GetInteger(block, kRecursAt) == 0)
    return std::nullopt;
  RecurrencePattern pattern;
  pattern.recurrence_type = GetInteger(block, kRecurrenceTypeAt);
  pattern.interval = GetInteger(block, kIntervalAt);
  pattern.instance = GetInteger(block, kInstanceAt);
  pattern.day_of_week_mask = GetInteger(block, kDayOfWeekMaskAt);
  pattern.day_of_month = GetInteger(block, kDayOfMonthAt);
  pattern.month_of_year = GetInteger(block, kMonthOfYearAt);
  pattern.occurrences = GetInteger(block, kOccurrencesAt);
  pattern.duration = GetInteger(block, kDurationAt);
  pattern.no_end_date = Get(block, kNoEndDateAt, 2) != 0;
  pattern.pattern_start_date = GetReal(block, kPatternStartDateAt);
  pattern.pattern_end_date = GetReal(block, kPatternEndDateAt);
  pattern.start_time = GetReal(block, kStartTimeAt);
  pattern.end_time = GetReal(block, kEndTimeAt);
  // The entries themselves say how many there are, not the count in the block.
  for (std::size_t at = 0; at + kExceptionEntrySize <= exceptions.size();
       at += kExceptionEntrySize) {
    RecurrenceException& exception = pattern.exceptions.emplace_back();
    exception.original_date = GetReal(exceptions, at + kOriginalDateAt);
    exception.deleted = Get(exceptions, at + kDeletedAt, 2) != 0;
    if (!exception.deleted) {
      exception.start =
          exception.original_date + GetInteger(exceptions, at + kStartShiftAt) / kMinutesPerDay;
      exception.end =
          exception.start +
          static_cast<double>(Get(exceptions, at + kMovedDurationAt, 2)) / kMinutesPerDay;
    }
  }
  return pattern;
}

void WriteSignatureLine(records::CsvRecordFile& file, const records::FileSignature& signature) {
  ItemLineWriter line(file);
  line.Bytes(signature);
  line.End();
}

bool IsSignatureHeader(const records::Record& header, const records::FileSignature& signature) {
  Bytes bytes;
  return header.size() == 1 && records::ParseByteList(header[0], &bytes) &&
         std::ranges::equal(bytes, signature);
}

void ItemLineWriter::Separate() {
  if (!first_) {
    const char16_t separator = file_.separator();
    file_.WriteRaw(&separator, sizeof separator);
  }
  first_ = false;
}

void ItemLineWriter::Value(std::u16string_view text) {
  Separate();
  file_.WriteValue(text);
}

void ItemLineWriter::Raw(std::u16string_view text) {
  Separate();
  file_.WriteRaw(text.data(), text.size() * sizeof(char16_t));
}

void ItemLineWriter::Bytes(std::span<const std::uint8_t> bytes) {
  // A list of two bytes or more holds a comma, so the value writer always quotes it: a long one
  // (the exceptions of a recurrence) is written between its quotes a piece at a time.
  constexpr std::size_t kPieceBytes = 4096;
  if (bytes.size() < 2) {
    Value(records::ByteListText(bytes));
    return;
  }
  Separate();
  constexpr char16_t kQuote = u'"';
  constexpr char16_t kComma = u',';
  file_.WriteRaw(&kQuote, sizeof kQuote);
  for (std::size_t at = 0; at < bytes.size(); at += kPieceBytes) {
    if (at > 0) file_.WriteRaw(&kComma, sizeof kComma);
    const std::u16string piece =
        records::ByteListText(bytes.subspan(at, std::min(kPieceBytes, bytes.size() - at)));
    file_.WriteRaw(piece.data(), piece.size() * sizeof(char16_t));
  }
  file_.WriteRaw(&kQuote, sizeof kQuote);
}

void ItemLineWriter::End() {
  constexpr char16_t kLineEnd[] = u"\r\n";
  file_.WriteRaw(kLineEnd, 2 * sizeof(char16_t));
}

Bytes ItemLineReader::Bytes() {
  return records::ParseLenientByteList(Text());
}

std::u16string ItemText(OutlookItem& item, ItemProperty property) {
  std::u16string text;
  if (Failed(item.GetText(property, &text))) text.clear();
  return text;
}

double ItemDate(OutlookItem& item, ItemProperty property) {
  double date = platform::kOleDateNone;
  return Failed(item.GetDate(property, &date)) ? platform::kOleDateNone : date;
}

bool ItemBoolean(OutlookItem& item, ItemProperty property) {
  bool value = false;
  return !Failed(item.GetBoolean(property, &value)) && value;
}

std::int32_t ItemInteger(OutlookItem& item, ItemProperty property) {
  std::int32_t value = 0;
  return Failed(item.GetInteger(property, &value)) ? 0 : value;
}

Bytes ItemBytes(OutlookItem& item, ItemProperty property) {
  outlook::Bytes bytes;
  if (Failed(item.GetBytes(property, &bytes))) bytes.clear();
  return bytes;
}

std::optional<RecurrencePattern> ItemRecurrence(OutlookItem& item) {
  std::optional<RecurrencePattern> pattern;
  if (Failed(item.GetRecurrence(&pattern))) pattern.reset();
  return pattern;
}

void ApplyRecurrence(OutlookItem& item, const std::optional<RecurrencePattern>& pattern) {
  if (pattern) {
    item.SetRecurrence(*pattern);
  } else {
    item.ClearRecurrence();
  }
}

}  // namespace kestrav::outlook
