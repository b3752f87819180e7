// Text as the device keeps it: UTF-16 in std::u16string. UTF-8 is used only at the edges
// (console, host paths); the device's ANSI code page is a service of the device.
#pragma once

#include <string>
#include <string_view>

namespace kestrav::platform {

// UTF-16 to UTF-8; an unpaired surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

// UTF-8 to UTF-16; a malformed sequence becomes U+FFFD.
std::u16string FromUtf8(std::string_view text);

// The device's ANSI code page (1252 unless the device says otherwise).
class AnsiCodePage {
 public:
  virtual ~AnsiCodePage() = default;

  // The code page number, as the device reports it.
  virtual unsigned Number() const = 0;

  // ANSI bytes to UTF-16. A byte the code page does not define becomes the code unit of the
  // same value, as the device does for its single-byte code pages.
  virtual std::u16string ToWide(std::string_view bytes) const = 0;

  // UTF-16 to ANSI bytes. A character the code page cannot hold becomes "?".
  virtual std::string ToAnsi(std::u16string_view text) const = 0;
};

// The code page number of UTF-8.
inline constexpr unsigned kUtf8CodePage = 65001;

// UTF-8 as a code page, for text other software wrote in it: ToWide is FromUtf8, ToAnsi ToUtf8.
const AnsiCodePage& Utf8CodePage();

// The letter in lower case when it is an ASCII capital, else the unit itself.
constexpr char16_t AsciiLower(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit - u'A' + u'a') : unit;
}

// Equality of texts that does not regard the case of ASCII letters, as the device compares
// file names and extensions.
bool EqualsIgnoringAsciiCase(std::u16string_view a, std::u16string_view b);

}  // namespace kestrav::platform
