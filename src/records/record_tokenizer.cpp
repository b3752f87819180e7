#include "records/record_tokenizer.h"

#include "records/unit_search.h"

namespace kestrav::records {

bool RecordTokenizer::Feed(std::u16string_view line, Record* values) {
  if (!in_quotes_ && line.empty()) return true;
  if (in_quotes_) open_value_.append(u"\r\n");  // the line break that split the value

  // Only separators and quotes can change what is being read: walk from one to the next.
  std::size_t value_start = 0;    // where the value in hand begins
  std::size_t content_start = 0;  // inside quotes: where the quoted text begins
  bool closed = false;            // a quoted value has just closed; its separator comes next
  auto close_quoted_value = [&](std::size_t end) {
    const std::u16string_view piece = line.substr(content_start, end - content_start);
    if (open_value_.empty()) {
      values->push_back(piece);
    } else {
      open_value_.append(piece);
      values->push_back(open_value_);
      open_value_.clear();
    }
    in_quotes_ = false;
    closed = true;
  };
  ForEachUnitOf(line, separator_, quote_, [&](std::size_t at) {
    const bool is_quote = line[at] == quote_;
    if (in_quotes_) {
      if (is_quote && (at + 1 == line.size() || line[at + 1] == separator_)) close_quoted_value(at);
    } else if (closed) {
      value_start = at + 1;  // the separator right after a closing quote
      closed = false;
    } else if (!is_quote) {
      values->push_back(line.substr(value_start, at - value_start));
      value_start = at + 1;
    } else if (at == value_start) {
      in_quotes_ = true;
      content_start = at + 1;
    }
  });
  if (in_quotes_) {
    open_value_.append(line.substr(content_start));
    return false;
  }
  // The last value runs to the line's end; after a separator at the end it is empty.
  if (!closed) values->push_back(line.substr(value_start));
  return true;
}

}  // namespace kestrav::records
