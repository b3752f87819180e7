#include "outlook/contact_field_map.h"

#include <algorithm>
#include <vector>

#include "outlook/texts.h"
#include "platform/text.h"

namespace kestrav::outlook {

ContactFieldMap ClearedFieldMap() {
  ContactFieldMap map;
  map.fill(kUnmapped);
  return map;
}

std::optional<std::u16string_view> MapField(ContactFieldMap& map, std::optional<int> file_column,
                                            std::optional<int> contact_column) {
  if (!file_column || *file_column < 0 || *file_column >= kUnmapped) return texts::kNoValueSelected;
  if (!contact_column || *contact_column < 0 ||
      static_cast<std::size_t>(*contact_column) >= kContactColumnCount) {
    return texts::kNoContactFieldSelected;
  }
  map[*contact_column] = static_cast<std::uint16_t>(*file_column);
  return std::nullopt;
}

std::optional<std::u16string_view> UnmapField(ContactFieldMap& map,
                                              std::optional<int> contact_column) {
  if (!contact_column || *contact_column < 0 ||
      static_cast<std::size_t>(*contact_column) >= kContactColumnCount) {
    return texts::kNoContactFieldSelected;
  }
  map[*contact_column] = kUnmapped;
  return std::nullopt;
}

ContactFieldMap DefaultFieldMap(const records::Record& first_line) {
  ContactFieldMap map = ClearedFieldMap();
  // A field once taken is blanked in this copy, so it cannot be matched again.
  std::vector<std::u16string> names;
  names.reserve(first_line.size());
  for (std::size_t column = 0; column < first_line.size() && column < kUnmapped; ++column)
    names.emplace_back(first_line[column]);
  const auto& columns = ContactColumns();
  for (std::size_t contact = 0; contact < kContactColumnCount; ++contact) {
    for (std::size_t column = 0; column < names.size(); ++column) {
      if (!names[column].empty() &&
          platform::EqualsIgnoringAsciiCase(names[column], columns[contact].header)) {
        map[contact] = static_cast<std::uint16_t>(column);
        names[column].clear();
        break;
      }
    }
  }
  return map;
}

void MapContactRecord(records::RecordView file_record, std::size_t file_column_count,
                      const ContactFieldMap& map, records::Record* contact) {
  // Deliberately the file's column count, not sixty: a file with fewer columns leaves the
  // contact columns from that count on empty, mapped or not.
  const std::size_t bound = std::min(file_column_count, kContactColumnCount);
  contact->clear();
  for (std::size_t column = 0; column < kContactColumnCount; ++column) {
    contact->push_back(column < bound && map[column] != kUnmapped ? file_record.Value(map[column])
                                                                  : std::u16string_view());
  }
}

}  // namespace kestrav::outlook
