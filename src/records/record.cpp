#include "records/record.h"

#include <algorithm>

namespace kestrav::records {

bool RecordView::operator==(const RecordView& other) const {
  if (width_ != other.width_) return false;
  // Beyond both records' stored values every column reads empty on both sides.
  const std::size_t stored = std::max(stored_, other.stored_);
  for (std::size_t column = 0; column < stored; ++column) {
    if ((*this)[column] != other[column]) return false;
  }
  return true;
}

Record::Record(std::initializer_list<std::u16string_view> values) {
  ends_.reserve(values.size());
  for (std::u16string_view value : values) push_back(value);
}

std::u16string_view Record::operator[](std::size_t column) const {
  const std::uint32_t begin = column == 0 ? 0 : ends_[column - 1];
  return std::u16string_view(text_).substr(begin, ends_[column] - begin);
}

void Record::clear() {
  text_.clear();
  ends_.clear();
}

RecordView RecordTable::operator[](std::size_t row) const {
  const Start& start = starts_[row];
  const std::size_t stored = starts_[row + 1].ends - start.ends;
  return RecordView(text_.data() + start.text, ends_.data() + start.ends, stored,
                    row_width_.value_or(stored));
}

void RecordTable::Reset(std::optional<std::size_t> row_width) {
  row_width_ = row_width;
  text_.clear();
  ends_.clear();
  starts_.assign(1, Start{0, 0});
}

void RecordTable::Reserve(std::size_t text_units) {
  text_.reserve(text_units);
}

void RecordTable::Append(const Record& record) {
  std::size_t stored = record.size();
  if (row_width_) {
    // Values past the width are cut, and trailing empty ones read the same when not stored.
    stored = std::min(stored, *row_width_);
    while (stored > 0 && record[stored - 1].empty()) --stored;
  }
  text_.append(record.text_, 0, stored == 0 ? 0 : record.ends_[stored - 1]);
  ends_.insert(ends_.end(), record.ends_.begin(), record.ends_.begin() + stored);
  starts_.push_back(Start{text_.size(), ends_.size()});
}

}  // namespace kestrav::records
