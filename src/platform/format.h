// The device's printf-style formats ("%.4d%.2d%.2d", "0x%.2x", "%f", "%s", "%I64u") applied to
// UTF-16 text. Every number the system prints goes through here, so each format is written once
// as the device writes it.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace kestrav::platform {

// One argument of a format: a signed or unsigned integer, a double or a UTF-16 text.
class FormatArgument {
 public:
  enum class Kind { kSigned, kUnsigned, kReal, kText };

  FormatArgument(int value) : kind_(Kind::kSigned), signed_(value) {}
  FormatArgument(long value) : kind_(Kind::kSigned), signed_(value) {}
  FormatArgument(long long value) : kind_(Kind::kSigned), signed_(value) {}
  FormatArgument(unsigned value) : kind_(Kind::kUnsigned), unsigned_(value) {}
  FormatArgument(unsigned long value) : kind_(Kind::kUnsigned), unsigned_(value) {}
  FormatArgument(unsigned long long value) : kind_(Kind::kUnsigned), unsigned_(value) {}
  FormatArgument(double value) : kind_(Kind::kReal), real_(value) {}
  FormatArgument(std::u16string_view value) : kind_(Kind::kText), text_(value) {}
  FormatArgument(const std::u16string& value) : kind_(Kind::kText), text_(value) {}
  FormatArgument(const char16_t* value) : kind_(Kind::kText), text_(value) {}

  Kind kind() const { return kind_; }
  long long AsSigned() const;
  unsigned long long AsUnsigned() const;
  double AsReal() const;
  std::u16string_view AsText() const { return text_; }

 private:
  Kind kind_;
  long long signed_ = 0;
  unsigned long long unsigned_ = 0;
  double real_ = 0;
  std::u16string_view text_;
};

// Formats like swprintf: flags "-+ 0#", width, ".precision", the length prefixes h, l, ll and
// I64, and the conversions d i u x X o f e g c s %. An argument that is missing formats as
// nothing; a directive the helper does not know is copied as it stands.
std::u16string FormatText(std::u16string_view format,
                          std::initializer_list<FormatArgument> arguments);

template <typename... Arguments>
std::u16string Format(std::u16string_view format, const Arguments&... arguments) {
  return FormatText(format, {FormatArgument(arguments)...});
}

}  // namespace kestrav::platform
