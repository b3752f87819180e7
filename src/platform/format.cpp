#include "platform/format.h"

#include <charconv>
#include <cstdio>
#include <string>

namespace kestrav::platform {

long long FormatArgument::AsSigned() const {
  switch (kind_) {
    case Kind::kSigned:
      return signed_;
    case Kind::kUnsigned:
      return static_cast<long long>(unsigned_);
    case Kind::kReal:
      return static_cast<long long>(real_);
    case Kind::kText:
      return 0;
  }
  return 0;
}

unsigned long long FormatArgument::AsUnsigned() const {
  switch (kind_) {
    case Kind::kSigned:
      return static_cast<unsigned long long>(signed_);
    case Kind::kUnsigned:
      return unsigned_;
    case Kind::kReal:
      return static_cast<unsigned long long>(real_);
    case Kind::kText:
      return 0;
  }
  return 0;
}

double FormatArgument::AsReal() const {
  switch (kind_) {
    case Kind::kSigned:
      return static_cast<double>(signed_);
    case Kind::kUnsigned:
      return static_cast<double>(unsigned_);
    case Kind::kReal:
      return real_;
    case Kind::kText:
      return 0;
  }
  return 0;
}

namespace {

// A directive's flags, width and precision, kept as printf would read them again.
struct Directive {
  std::string flags;
  int width = -1;
  int precision = -1;
  enum class Length { kDefault, kShort, kLong64 } length = Length::kDefault;
  char conversion = 0;
};

void AppendAscii(std::string_view ascii, std::u16string* out) {
  for (char c : ascii) out->push_back(static_cast<unsigned char>(c));
}

std::string PrintfPattern(const Directive& directive, std::string_view length) {
  // Appended piece by piece: GCC 12 at -O3 warns falsely about "." + std::to_string(...).
  std::string pattern = "%";
  pattern += directive.flags;
  if (directive.width >= 0) pattern += std::to_string(directive.width);
  if (directive.precision >= 0) {
    pattern += '.';
    pattern += std::to_string(directive.precision);
  }
  pattern += length;
  pattern += directive.conversion;
  return pattern;
}

template <typename Value>
void AppendPrintf(const std::string& pattern, Value value, std::u16string* out) {
  char buffer[512];
  int length = std::snprintf(buffer, sizeof buffer, pattern.c_str(), value);
  if (length < 0) return;
  if (static_cast<size_t>(length) < sizeof buffer) {
    AppendAscii(std::string_view(buffer, length), out);
    return;
  }
  std::string large(static_cast<size_t>(length) + 1, '\0');
  std::snprintf(large.data(), large.size(), pattern.c_str(), value);
  AppendAscii(std::string_view(large.data(), length), out);
}

void AppendText(const Directive& directive, std::u16string_view text, std::u16string* out) {
  if (directive.precision >= 0 && text.size() > static_cast<size_t>(directive.precision)) {
    text = text.substr(0, directive.precision);
  }
  size_t padding = directive.width > 0 && text.size() < static_cast<size_t>(directive.width)
                       ? directive.width - text.size()
                       : 0;
  bool left = directive.flags.find('-') != std::string::npos;
  if (!left) out->append(padding, u' ');
  out->append(text);
  if (left) out->append(padding, u' ');
}

// A decimal with neither flags nor width, as printf writes it: the sign, then at least
// `precision` digits (none at all for 0 with precision 0). Written here, not through printf, as
// every count and property value of a backup goes this way.
void AppendDecimal(bool negative, unsigned long long magnitude, int precision,
                   std::u16string* out) {
  char digits[24];
  const auto [end, error] = std::to_chars(digits, digits + sizeof digits, magnitude);
  std::size_t count = static_cast<std::size_t>(end - digits);
  if (precision == 0 && magnitude == 0) count = 0;
  if (negative) out->push_back(u'-');
  if (precision > 0 && count < static_cast<std::size_t>(precision))
    out->append(static_cast<std::size_t>(precision) - count, u'0');
  AppendAscii(std::string_view(digits, count), out);
}

void AppendArgument(const Directive& directive, const FormatArgument& argument,
                    std::u16string* out) {
  const bool plain = directive.flags.empty() && directive.width < 0;
  switch (directive.conversion) {
    case 'd':
    case 'i': {
      long long value = argument.AsSigned();
      if (directive.length == Directive::Length::kShort) value = static_cast<short>(value);
      if (directive.length == Directive::Length::kDefault) value = static_cast<int>(value);
      if (plain) {
        const unsigned long long magnitude = value < 0
                                                 ? 0ULL - static_cast<unsigned long long>(value)
                                                 : static_cast<unsigned long long>(value);
        AppendDecimal(value < 0, magnitude, directive.precision, out);
        return;
      }
      AppendPrintf(PrintfPattern(directive, "ll"), value, out);
      return;
    }
    case 'u':
    case 'x':
    case 'X':
    case 'o': {
      unsigned long long value = argument.AsUnsigned();
      if (directive.length == Directive::Length::kShort) value = static_cast<unsigned short>(value);
      if (directive.length == Directive::Length::kDefault) value = static_cast<unsigned>(value);
      if (plain && directive.conversion == 'u') {
        AppendDecimal(false, value, directive.precision, out);
        return;
      }
      AppendPrintf(PrintfPattern(directive, "ll"), value, out);
      return;
    }
    case 'f':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
      AppendPrintf(PrintfPattern(directive, ""), argument.AsReal(), out);
      return;
    case 'c': {
      char16_t unit = static_cast<char16_t>(argument.AsUnsigned());
      AppendText(directive, std::u16string_view(&unit, 1), out);
      return;
    }
    case 's':
      AppendText(directive, argument.AsText(), out);
      return;
  }
}

bool IsDigit(char16_t unit) {
  return unit >= u'0' && unit <= u'9';
}

}  // namespace

std::u16string FormatText(std::u16string_view format,
                          std::initializer_list<FormatArgument> arguments) {
  std::u16string out;
  out.reserve(format.size() + 16);
  auto next_argument = arguments.begin();
  size_t i = 0;
  while (i < format.size()) {
    if (format[i] != u'%') {
      out.push_back(format[i++]);
      continue;
    }
    const size_t start = i++;
    if (i < format.size() && format[i] == u'%') {
      out.push_back(u'%');
      ++i;
      continue;
    }
    Directive directive;
    while (i < format.size() &&
           std::u16string_view(u"-+ 0#").find(format[i]) != std::u16string_view::npos) {
      directive.flags.push_back(static_cast<char>(format[i++]));
    }
    auto read_number = [&] {
      int number = 0;
      while (i < format.size() && IsDigit(format[i]) && number < 1000) {
        number = number * 10 + (format[i++] - u'0');
      }
      return number;
    };
    if (i < format.size() && IsDigit(format[i])) directive.width = read_number();
    if (i < format.size() && format[i] == u'.') {
      ++i;
      directive.precision = read_number();
    }
    if (format.substr(i).starts_with(u"I64")) {
      directive.length = Directive::Length::kLong64;
      i += 3;
    } else if (format.substr(i).starts_with(u"ll")) {
      directive.length = Directive::Length::kLong64;
      i += 2;
    } else if (i < format.size() && format[i] == u'l') {
      ++i;  // long is 32 bits on the device, as int is
    } else if (i < format.size() && format[i] == u'h') {
      directive.length = Directive::Length::kShort;
      ++i;
    }
    if (i >= format.size() ||
        std::u16string_view(u"diuxXofeEgGcs").find(format[i]) == std::u16string_view::npos) {
      out.append(format.substr(start, i - start));
      continue;
    }
    directive.conversion = static_cast<char>(format[i++]);
    if (next_argument == arguments.end()) continue;
    AppendArgument(directive, *next_argument++, &out);
  }
  return out;
}

}  // namespace kestrav::platform
