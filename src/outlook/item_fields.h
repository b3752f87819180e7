// The fields of the appointments (".csa") and tasks (".cst") record files: how a typed property
// becomes a field and back, the recurrence block and its exception entries, and the line
// writer and reader both kinds share. Layouts are in docs/outlook-items.md.
//
// Binary fields are byte lists written through the value writer (so quoted); raw texts are
// written as they stand. Reading never trusts a length: a field of the wrong size reads as the
// property's empty value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/outlook.h"
#include "records/file_signature.h"
#include "records/record.h"
#include "records/record_file.h"

namespace kestrav::outlook {

inline constexpr std::size_t kRecurrenceBlockSize = 88;
inline constexpr std::size_t kExceptionEntrySize = 16;

using Bytes = std::vector<std::uint8_t>;

// A 16-bit boolean as the object model holds it: FF FF true, 00 00 false; any byte not zero
// reads as true.
Bytes BooleanBytes(bool value);
bool BooleanFromBytes(std::span<const std::uint8_t> bytes);
// A 32-bit integer, little-endian; any size but 4 reads as 0.
Bytes IntegerBytes(std::int32_t value);
std::int32_t IntegerFromBytes(std::span<const std::uint8_t> bytes);
// An OLE date as its 8 bytes; any size but 8 reads as no date (kOleDateNone).
Bytes DateBytes(double ole_date);
double DateFromBytes(std::span<const std::uint8_t> bytes);
// A text as its UTF-16LE units; read back up to the first zero unit, an odd last byte dropped.
Bytes TextBytes(std::u16string_view text);
std::u16string TextFromBytes(std::span<const std::uint8_t> bytes);

// The recurrence block of an item: the pattern, or 88 zero bytes for an item that does not recur.
Bytes RecurrenceBlock(const std::optional<platform::RecurrencePattern>& pattern);
// The pattern's exceptions, 16 bytes each; none for an item that does not recur.
Bytes ExceptionEntries(const std::optional<platform::RecurrencePattern>& pattern);
// The pattern of a block and its exception entries; nothing when the block is not 88 bytes or
// says the item does not recur. The entries are the whole 16-byte entries of the field.
std::optional<platform::RecurrencePattern> RecurrenceFromFields(
    std::span<const std::uint8_t> block, std::span<const std::uint8_t> exceptions);

// The header line: the signature as the line's one field.
void WriteSignatureLine(records::CsvRecordFile& file, const records::FileSignature& signature);
// Whether a header is exactly the one field of this signature.
bool IsSignatureHeader(const records::Record& header, const records::FileSignature& signature);

// One line written field by field, the separator between fields and CR LF at the end.
class ItemLineWriter {
 public:
  explicit ItemLineWriter(records::CsvRecordFile& file) : file_(file) {}

  // Through the value writer, quoted when the quoting rule asks.
  void Value(std::u16string_view text);
  // As it stands, whatever it holds.
  void Raw(std::u16string_view text);
  // A byte list through the value writer; no bytes give an empty field.
  void Bytes(std::span<const std::uint8_t> bytes);
  void End();

 private:
  void Separate();

  records::CsvRecordFile& file_;
  bool first_ = true;
};

// The fields of one row in order; fields beyond the row read as empty.
class ItemLineReader {
 public:
  explicit ItemLineReader(records::RecordView row) : row_(row) {}

  // Places the reader at a field, counted from 0.
  ItemLineReader& At(std::size_t position) {
    next_ = position;
    return *this;
  }
  std::size_t left() const { return next_ < row_.size() ? row_.size() - next_ : 0; }

  std::u16string_view Text() { return row_.Value(next_++); }
  outlook::Bytes Bytes();
  bool Boolean() { return BooleanFromBytes(Bytes()); }
  std::int32_t Integer() { return IntegerFromBytes(Bytes()); }
  double Date() { return DateFromBytes(Bytes()); }

 private:
  records::RecordView row_;
  std::size_t next_ = 0;
};

// An item's property, or its empty value when it cannot be read.
std::u16string ItemText(platform::OutlookItem& item, platform::ItemProperty property);
double ItemDate(platform::OutlookItem& item, platform::ItemProperty property);
bool ItemBoolean(platform::OutlookItem& item, platform::ItemProperty property);
std::int32_t ItemInteger(platform::OutlookItem& item, platform::ItemProperty property);
outlook::Bytes ItemBytes(platform::OutlookItem& item, platform::ItemProperty property);
std::optional<platform::RecurrencePattern> ItemRecurrence(platform::OutlookItem& item);

// Sets the item's recurrence from the line's block and exceptions, or clears it.
void ApplyRecurrence(platform::OutlookItem& item,
                     const std::optional<platform::RecurrencePattern>& pattern);

}  // namespace kestrav::outlook
