// Record: the values of one record as read from a record file.
//
// The values sit back to back in one buffer with their end offsets beside it, so a table of a
// hundred thousand records costs two allocations a record rather than one a value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace kestrav::records {

class Record {
 public:
  Record() = default;
  Record(std::initializer_list<std::u16string_view> values);

  std::size_t size() const { return ends_.size(); }
  bool empty() const { return ends_.empty(); }
  // The value of a column; the view holds while the record is not changed.
  std::u16string_view operator[](std::size_t column) const;
  // The value of a column, or an empty value for a column the record does not reach.
  std::u16string_view Value(std::size_t column) const {
    return column < size() ? (*this)[column] : std::u16string_view();
  }

  void push_back(std::u16string_view value);
  // Cuts the record to the given number of columns, or pads it with empty values.
  void resize(std::size_t columns);
  void clear();

  bool operator==(const Record& other) const = default;

 private:
  std::u16string text_;
  std::vector<std::uint32_t> ends_;
};

}  // namespace kestrav::records
