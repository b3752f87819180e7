#include "records/record.h"

namespace kestrav::records {

Record::Record(std::initializer_list<std::u16string_view> values) {
  ends_.reserve(values.size());
  for (std::u16string_view value : values) push_back(value);
}

std::u16string_view Record::operator[](std::size_t column) const {
  const std::uint32_t begin = column == 0 ? 0 : ends_[column - 1];
  return std::u16string_view(text_).substr(begin, ends_[column] - begin);
}

void Record::push_back(std::u16string_view value) {
  text_.append(value);
  ends_.push_back(static_cast<std::uint32_t>(text_.size()));
}

void Record::resize(std::size_t columns) {
  if (columns < ends_.size()) {
    text_.resize(columns == 0 ? 0 : ends_[columns - 1]);
    ends_.resize(columns);
  } else {
    ends_.resize(columns, static_cast<std::uint32_t>(text_.size()));
  }
}

void Record::clear() {
  text_.clear();
  ends_.clear();
}

}  // namespace kestrav::records
