#include "platform/host/iconv_code_page.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <string>

namespace kestrav::platform::host {
namespace {

const iconv_t kInvalidDescriptor = reinterpret_cast<iconv_t>(-1);

std::string CharsetName(unsigned code_page) {
  switch (code_page) {
    case 936:
      return "GBK";
    case 950:
      return "BIG5";
    case 20127:
      return "ASCII";
    case 28591:
      return "ISO-8859-1";
    case 65001:
      return "UTF-8";
    default:
      return "CP" + std::to_string(code_page);
  }
}

// Runs one conversion; on a sequence that cannot be converted, `on_failure` consumes input and
// produces output in the target's own terms, and the conversion goes on.
template <typename OnFailure>
void Convert(iconv_t descriptor, const char* input, size_t input_size, std::string* output,
             OnFailure on_failure) {
  iconv(descriptor, nullptr, nullptr, nullptr, nullptr);
  char* in = const_cast<char*>(input);
  size_t in_left = input_size;
  char buffer[4096];
  while (in_left > 0) {
    char* out = buffer;
    size_t out_left = sizeof buffer;
    const size_t result = iconv(descriptor, &in, &in_left, &out, &out_left);
    output->append(buffer, out - buffer);
    if (result != static_cast<size_t>(-1) || errno == E2BIG) continue;
    on_failure(&in, &in_left, output);
  }
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}

// The number of "1250", "cp1250" or "windows-1250", and 65001 for "UTF-8", case ignored; 0 for
// any other name.
unsigned CodePageNumber(std::string_view name) {
  if (EqualsIgnoringCase(name, "utf-8") || EqualsIgnoringCase(name, "utf8")) return 65001;
  for (const std::string_view prefix : {"cp", "windows-"}) {
    if (name.size() > prefix.size() && EqualsIgnoringCase(name.substr(0, prefix.size()), prefix)) {
      name.remove_prefix(prefix.size());
      break;
    }
  }
  if (name.empty() || name.size() > 5) return 0;
  unsigned number = 0;
  for (const char digit : name) {
    if (digit < '0' || digit > '9') return 0;
    number = number * 10 + static_cast<unsigned>(digit - '0');
  }
  return number;
}

}  // namespace

std::unique_ptr<IconvCodePage> IconvCodePage::Create(unsigned code_page) {
  return Open(code_page, CharsetName(code_page));
}

std::unique_ptr<IconvCodePage> IconvCodePage::CreateNamed(std::string_view name) {
  if (const unsigned number = CodePageNumber(name); number != 0) return Create(number);
  if (name.empty()) return nullptr;
  return Open(0, std::string(name));
}

std::unique_ptr<IconvCodePage> IconvCodePage::Open(unsigned code_page, const std::string& charset) {
  iconv_t to_wide = iconv_open("UTF-16LE", charset.c_str());
  if (to_wide == kInvalidDescriptor) return nullptr;
  iconv_t to_ansi = iconv_open(charset.c_str(), "UTF-16LE");
  if (to_ansi == kInvalidDescriptor) {
    iconv_close(to_wide);
    return nullptr;
  }
  return std::unique_ptr<IconvCodePage>(new IconvCodePage(code_page, to_wide, to_ansi));
}

IconvCodePage::IconvCodePage(unsigned number, iconv_t to_wide, iconv_t to_ansi)
    : number_(number), to_wide_(to_wide), to_ansi_(to_ansi) {}

IconvCodePage::~IconvCodePage() {
  iconv_close(to_wide_);
  iconv_close(to_ansi_);
}

std::u16string IconvCodePage::ToWide(std::string_view bytes) const {
  std::string utf16;
  {
    std::lock_guard lock(mutex_);
    Convert(to_wide_, bytes.data(), bytes.size(), &utf16,
            [](char** in, size_t* in_left, std::string* output) {
              // An undefined byte keeps its value as a code unit.
              output->push_back(**in);
              output->push_back('\0');
              ++*in;
              --*in_left;
            });
  }
  std::u16string text(utf16.size() / 2, u'\0');
  for (size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char16_t>(static_cast<unsigned char>(utf16[2 * i]) |
                                    static_cast<unsigned char>(utf16[2 * i + 1]) << 8);
  }
  return text;
}

std::string IconvCodePage::ToAnsi(std::u16string_view text) const {
  std::string utf16;
  utf16.reserve(text.size() * 2);
  for (char16_t unit : text) {
    utf16.push_back(static_cast<char>(unit & 0xFF));
    utf16.push_back(static_cast<char>(unit >> 8));
  }
  std::string ansi;
  std::lock_guard lock(mutex_);
  Convert(to_ansi_, utf16.data(), utf16.size(), &ansi,
          [](char** in, size_t* in_left, std::string* output) {
            // A character the code page lacks becomes "?": skip its surrogate pair whole.
            const auto high = static_cast<unsigned char>((*in)[1]);
            const size_t width = *in_left >= 4 && high >= 0xD8 && high <= 0xDB ? 4 : 2;
            const size_t skipped = width <= *in_left ? width : *in_left;
            output->push_back('?');
            *in += skipped;
            *in_left -= skipped;
          });
  return ansi;
}

}  // namespace kestrav::platform::host
