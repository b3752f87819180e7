#include "platform/text.h"

namespace kestrav::platform {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(char32_t code_point, std::string* out) {
  if (code_point < 0x80) {
    out->push_back(static_cast<char>(code_point));
  } else if (code_point < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (code_point >> 6)));
    out->push_back(static_cast<char>(0x80 | (code_point & 0x3F)));
  } else if (code_point < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (code_point >> 12)));
    out->push_back(static_cast<char>(0x80 | ((code_point >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (code_point & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (code_point >> 18)));
    out->push_back(static_cast<char>(0x80 | ((code_point >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((code_point >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (code_point & 0x3F)));
  }
}

void AppendUtf16(char32_t code_point, std::u16string* out) {
  if (code_point < 0x10000) {
    out->push_back(static_cast<char16_t>(code_point));
  } else {
    code_point -= 0x10000;
    out->push_back(static_cast<char16_t>(0xD800 + (code_point >> 10)));
    out->push_back(static_cast<char16_t>(0xDC00 + (code_point & 0x3FF)));
  }
}

bool IsHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t unit = text[i];
    if (IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      AppendUtf8(0x10000 + ((unit - 0xD800) << 10) + (text[++i] - 0xDC00), &out);
    } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
      AppendUtf8(kReplacement, &out);
    } else {
      AppendUtf8(unit, &out);
    }
  }
  return out;
}

std::u16string FromUtf8(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    int length = lead < 0x80           ? 1
                 : (lead >> 5) == 0x6  ? 2
                 : (lead >> 4) == 0xE  ? 3
                 : (lead >> 3) == 0x1E ? 4
                                       : 0;
    if (length == 0 || i + length > text.size()) {
      AppendUtf16(kReplacement, &out);
      ++i;
      continue;
    }
    char32_t code_point = length == 1 ? lead : lead & (0x7F >> length);
    bool well_formed = true;
    for (int k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) {
        well_formed = false;
        break;
      }
      code_point = (code_point << 6) | (next & 0x3F);
    }
    static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (!well_formed || code_point < kSmallest[length] || code_point > 0x10FFFF ||
        IsHighSurrogate(code_point) || IsLowSurrogate(code_point)) {
      AppendUtf16(kReplacement, &out);
      ++i;
      continue;
    }
    AppendUtf16(code_point, &out);
    i += length;
  }
  return out;
}

const AnsiCodePage& Utf8CodePage() {
  class Utf8 : public AnsiCodePage {
   public:
    unsigned Number() const override { return kUtf8CodePage; }
    std::u16string ToWide(std::string_view bytes) const override { return FromUtf8(bytes); }
    std::string ToAnsi(std::u16string_view text) const override { return ToUtf8(text); }
  };
  static const Utf8 utf8;
  return utf8;
}

bool EqualsIgnoringAsciiCase(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (AsciiLower(a[i]) != AsciiLower(b[i])) return false;
  }
  return true;
}

}  // namespace kestrav::platform
