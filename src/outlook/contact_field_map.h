// The contact field map: for each of the sixty contact columns, which column of a record file
// feeds it. This is how a file written by other software, with its own columns and delimiter,
// becomes contacts; a file of this program's own contacts backup maps every column to itself.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "outlook/contact_record.h"
#include "records/record.h"

namespace kestrav::outlook {

inline constexpr std::uint16_t kUnmapped = 0xFFFF;

// Entry f holds the 0-based file column that feeds contact column f, or kUnmapped.
using ContactFieldMap = std::array<std::uint16_t, kContactColumnCount>;

// The delimiters a file to import may use, with the separator each stands for.
enum class FieldDelimiter : char16_t {
  kComma = u',',
  kSemicolon = u';',
  kTab = u'\t',
  kSpace = u' ',
};

// Every entry unmapped.
ContactFieldMap ClearedFieldMap();

// Maps file column `file_column` (a row of the file's first line) to contact column
// `contact_column`. With nothing chosen on either side the map stays as it is and the answer is
// the message box text: "No Value selected" when no file column is chosen (whatever the other
// side), "No Contact Field selected" when only the contact column is missing.
std::optional<std::u16string_view> MapField(ContactFieldMap& map, std::optional<int> file_column,
                                            std::optional<int> contact_column);
// Unmaps a contact column; "No Contact Field selected" when none is chosen.
std::optional<std::u16string_view> UnmapField(ContactFieldMap& map,
                                              std::optional<int> contact_column);

// Clears the map, then gives each contact column, in column order, the first field of the file's
// first line with its name, case ignored; a field is taken once, and an empty one never matches.
ContactFieldMap DefaultFieldMap(const records::Record& first_line);

// The sixty fields of a file record through the map, into *contact. Only contact columns below
// the file's column count are filled, even when a later one is mapped.
void MapContactRecord(records::RecordView file_record, std::size_t file_column_count,
                      const ContactFieldMap& map, records::Record* contact);

}  // namespace kestrav::outlook
