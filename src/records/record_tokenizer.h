// Splits the lines of a record file into values.
//
// Outside quotes the separator ends a value and the line's end ends the record; a quote at the
// start of a value opens a quoted value. Inside, a quote closes the value only when the
// separator or the line's end follows it, so quotes written as they are inside a value read back.
// A quote in the middle of an unquoted value is an ordinary character.
#pragma once

#include <string>
#include <string_view>

#include "records/record.h"

namespace kestrav::records {

class RecordTokenizer {
 public:
  RecordTokenizer(char16_t separator, char16_t quote) : separator_(separator), quote_(quote) {}

  // Feeds one physical line, without its line end, to the record in hand. Returns true when the
  // record is complete; false when a quoted value is still open at the line's end, in which case
  // the next physical line continues that value after a CR LF. An empty line outside a quoted
  // value adds no value.
  bool Feed(std::u16string_view line, Record* values);

  // True between a line that left a quoted value open and the line that closes it.
  bool InQuotedValue() const { return in_quotes_; }

 private:
  char16_t separator_;
  char16_t quote_;
  bool in_quotes_ = false;
  std::u16string open_value_;  // a quoted value that spans lines, gathered so far
};

}  // namespace kestrav::records
