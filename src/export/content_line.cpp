#include "export/content_line.h"

#include <cstddef>

namespace kestrav::exporting {
namespace {

constexpr std::size_t kFoldOctets = 75;

bool IsContinuationByte(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

std::string EscapeText(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    switch (c) {
      case '\\':
      case ';':
      case ',':
        escaped += '\\';
        escaped += c;
        break;
      case '\r':
        if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
        escaped += "\\n";
        break;
      case '\n':
        escaped += "\\n";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string QuotedParameter(std::string_view text) {
  std::string quoted = "\"";
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"') {
      quoted += "^'";
    } else if (c == '^') {
      quoted += "^^";
    } else if (c == '\r' || c == '\n') {
      if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
      quoted += "^n";
    } else {
      quoted += c;
    }
  }
  quoted += '"';
  return quoted;
}

void AppendContentLine(std::string_view line, std::string* out) {
  // The first physical line holds 75 octets; every further one a space and 74.
  std::size_t room = kFoldOctets;
  while (line.size() > room) {
    std::size_t cut = room;
    while (cut > 0 && IsContinuationByte(line[cut])) --cut;
    out->append(line.substr(0, cut));
    out->append("\r\n ");
    line.remove_prefix(cut);
    room = kFoldOctets - 1;
  }
  out->append(line);
  out->append("\r\n");
}

std::vector<std::string> SplitList(std::string_view text) {
  std::vector<std::string> pieces;
  while (!text.empty()) {
    const std::size_t comma = text.find(',');
    std::string_view piece = text.substr(0, comma);
    while (!piece.empty() && piece.front() == ' ') piece.remove_prefix(1);
    while (!piece.empty() && piece.back() == ' ') piece.remove_suffix(1);
    if (!piece.empty()) pieces.emplace_back(piece);
    if (comma == std::string_view::npos) break;
    text.remove_prefix(comma + 1);
  }
  return pieces;
}

std::string EscapedList(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    if (!joined.empty()) joined += ',';
    joined += EscapeText(text);
  }
  return joined;
}

}  // namespace kestrav::exporting
