#include "records/record_tokenizer.h"

namespace kestrav::records {

void RecordTokenizer::Reset() {
  in_quotes_ = false;
  value_.clear();
}

bool RecordTokenizer::Feed(std::u16string_view line, std::vector<std::u16string>* values) {
  size_t i = 0;
  if (in_quotes_) {
    // The line break that split the quoted value becomes part of it.
    value_.append(u"\r\n");
  } else if (line.empty()) {
    return true;  // an empty line holds no value
  }
  const size_t size = line.size();
  for (;;) {
    if (in_quotes_) {
      // Copy up to the next quote that is followed by the separator or the line's end.
      for (;;) {
        const size_t quote = line.find(quote_, i);
        if (quote == std::u16string_view::npos) {
          value_.append(line.substr(i));
          return false;
        }
        if (quote + 1 == size || line[quote + 1] == separator_) {
          value_.append(line.substr(i, quote - i));
          i = quote + 1;
          in_quotes_ = false;
          break;
        }
        value_.append(line.substr(i, quote + 1 - i));
        i = quote + 1;
      }
    } else if (i < size && line[i] == quote_ && value_.empty()) {
      in_quotes_ = true;
      ++i;
      continue;
    } else {
      size_t end = line.find(separator_, i);
      if (end == std::u16string_view::npos) end = size;
      value_.append(line.substr(i, end - i));
      i = end;
    }
    // Here i is at a separator or at the line's end: the value is complete.
    values->push_back(std::move(value_));
    value_.clear();
    if (i >= size) return true;
    ++i;  // past the separator
    if (i == size) {
      values->emplace_back();  // a separator at the end leaves an empty last value
      return true;
    }
  }
}

}  // namespace kestrav::records
