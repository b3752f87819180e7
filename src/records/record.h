// Records as read from a record file: Record owns the values of one, RecordView reads one where
// it lies, and RecordTable holds every record of a loaded file.
//
// Values sit back to back in one buffer with their end offsets beside it. A table keeps all its
// records' values in one such buffer, so loading a file costs no allocation per record, and a
// record cut or padded to the header's width stores only the values it holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrav::records {

// The values of one record where they are stored; it holds while they are not changed. Columns
// from the stored values up to the view's width read as empty values.
class RecordView {
 public:
  RecordView() = default;

  std::size_t size() const { return width_; }
  bool empty() const { return width_ == 0; }
  std::u16string_view operator[](std::size_t column) const {
    if (column >= stored_) return std::u16string_view();
    const std::uint32_t begin = column == 0 ? 0 : ends_[column - 1];
    return std::u16string_view(text_ + begin, ends_[column] - begin);
  }
  // The value of a column, or an empty value for a column the record does not reach.
  std::u16string_view Value(std::size_t column) const { return (*this)[column]; }

  // Same width and same values, however they are stored.
  bool operator==(const RecordView& other) const;

 private:
  friend class Record;
  friend class RecordTable;
  // ends: the end of each stored value, counted from text.
  RecordView(const char16_t* text, const std::uint32_t* ends, std::size_t stored, std::size_t width)
      : text_(text), ends_(ends), stored_(stored), width_(width) {}

  const char16_t* text_ = nullptr;
  const std::uint32_t* ends_ = nullptr;
  std::size_t stored_ = 0;
  std::size_t width_ = 0;
};

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

  void push_back(std::u16string_view value) {
    if (!value.empty()) text_.append(value);  // most values of most records are empty
    ends_.push_back(static_cast<std::uint32_t>(text_.size()));
  }
  void clear();

  // A record reads as a view of itself, so code that reads rows takes a Record as well.
  operator RecordView() const {
    return RecordView(text_.data(), ends_.data(), ends_.size(), ends_.size());
  }
  bool operator==(const Record& other) const = default;

 private:
  friend class RecordTable;

  std::u16string text_;
  // A record is bounded by the reader (64 Mi units), so its offsets fit 32 bits.
  std::vector<std::uint32_t> ends_;
};

// The records of a loaded file. Each costs one 16-byte entry, 4 bytes a stored value and its
// text; totals across records take 64 bits, so no file can overflow them.
class RecordTable {
 public:
  class Iterator {
   public:
    using value_type = RecordView;
    using difference_type = std::ptrdiff_t;

    Iterator() = default;
    Iterator(const RecordTable* table, std::size_t row) : table_(table), row_(row) {}
    RecordView operator*() const { return (*table_)[row_]; }
    Iterator& operator++() {
      ++row_;
      return *this;
    }
    Iterator operator++(int) { return Iterator(table_, row_++); }
    bool operator==(const Iterator& other) const = default;

   private:
    const RecordTable* table_ = nullptr;
    std::size_t row_ = 0;
  };

  RecordTable() : starts_(1) {}

  std::size_t size() const { return starts_.size() - 1; }
  bool empty() const { return size() == 0; }
  RecordView operator[](std::size_t row) const;
  Iterator begin() const { return Iterator(this, 0); }
  Iterator end() const { return Iterator(this, size()); }

  // Empties the table. With a width, each record appended is cut to it and reads as that many
  // columns, the ones it lacks empty; without, each record keeps its own width.
  void Reset(std::optional<std::size_t> row_width);
  // Makes room for that many units of values at once, so that appending does not move them.
  void Reserve(std::size_t text_units);
  void Append(const Record& record);

 private:
  // Where a record's text and end offsets begin; record i runs to entry i + 1.
  struct Start {
    std::uint64_t text;
    std::uint64_t ends;
  };

  std::optional<std::size_t> row_width_;
  std::u16string text_;
  std::vector<std::uint32_t> ends_;  // counted from the start of their record's text
  std::vector<Start> starts_;
};

}  // namespace kestrav::records
