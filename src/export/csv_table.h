// Comma-separated tables as spreadsheets read them: UTF-8, a header row, CR LF, a field between
// double quotes (its quotes doubled) when it holds a comma, a quote or a line break.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kestrav::exporting {

// The UTF-8 byte order mark some spreadsheets need to take a file as UTF-8.
inline constexpr std::string_view kUtf8ByteOrderMark = "\xEF\xBB\xBF";

// Appends one row of fields ending with CR LF.
void AppendCsvRow(const std::vector<std::string>& fields, std::string* out);

}  // namespace kestrav::exporting
