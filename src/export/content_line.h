// The content lines vCard and iCalendar share: text values escaped, lines folded at 75 octets
// (never inside a UTF-8 sequence) and ended with CR LF.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kestrav::exporting {

// A text value: "\", ";" and "," behind a backslash, every line break (CR LF, CR or LF) as "\n".
std::string EscapeText(std::string_view text);

// A parameter value between double quotes, its own quotes, carets and line breaks written as
// "^'", "^^" and "^n".
std::string QuotedParameter(std::string_view text);

// Appends one content line, folded so that no physical line exceeds 75 octets, ending CR LF.
void AppendContentLine(std::string_view line, std::string* out);

// Texts separated by commas, each trimmed of spaces; empty pieces are dropped.
std::vector<std::string> SplitList(std::string_view text);

// The escaped texts joined by commas.
std::string EscapedList(const std::vector<std::string>& texts);

}  // namespace kestrav::exporting
