#include "platform/format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <limits>

namespace kestrav::platform {
namespace {

TEST(Format, DeviceNumberFormats) {
  EXPECT_EQ(Format(u"%s%.4d%.2d%.2d%s", u"\\Temp\\contacts_", 2007, 3, 5, u".csc"),
            u"\\Temp\\contacts_20070305.csc");
  EXPECT_EQ(Format(u"0x%.2x,0x%.2x", 0xab, 0x0), u"0xab,0x00");
  EXPECT_EQ(Format(u"%f", 1.5), u"1.500000");
  EXPECT_EQ(Format(u"%f", -0.25), u"-0.250000");
  EXPECT_EQ(Format(u"%.2d:%.2d:%.2d.%.3d", 1, 2, 3, 4), u"01:02:03.004");
  EXPECT_EQ(Format(u"%I64u", std::numeric_limits<std::uint64_t>::max()), u"18446744073709551615");
  // Plain decimals are written without printf; they must read as printf writes them.
  for (const long long value : {0LL, 7LL, -5LL, 2147483647LL, -2147483648LL}) {
    for (const char* pattern : {"%d", "%.0d", "%.3d", "%.12d", "%u", "%.0u", "%.4u"}) {
      char expected[64];
      std::snprintf(expected, sizeof expected, pattern, static_cast<int>(value));
      std::u16string wide(pattern, pattern + std::char_traits<char>::length(pattern));
      EXPECT_EQ(Format(wide, static_cast<int>(value)),
                std::u16string(expected, expected + std::char_traits<char>::length(expected)))
          << pattern << " " << value;
    }
  }
}

TEST(Format, WidthsAndLengthPrefixes) {
  EXPECT_EQ(Format(u"[%5d][%-5d][%05d]", 42, 42, 42), u"[   42][42   ][00042]");
  EXPECT_EQ(Format(u"%hd", 70000), u"4464");     // taken through 16 bits, as the device does
  EXPECT_EQ(Format(u"%d", 4294967295u), u"-1");  // an int is 32 bits
  EXPECT_EQ(Format(u"%lld", -5000000000LL), u"-5000000000");
}

TEST(Format, TextArguments) {
  const std::u16string name = u"Zo\u00eb \U0001F600";
  EXPECT_EQ(Format(u"'%s' saved.", name), u"'Zo\u00eb \U0001F600' saved.");
  EXPECT_EQ(Format(u"[%6s][%-6s][%.2s]", u"ab", u"ab", u"abcdef"), u"[    ab][ab    ][ab]");
  EXPECT_EQ(Format(u"%c", u'\u00e9'), u"\u00e9");
}

TEST(Format, OddDirectivesAndMissingArguments) {
  EXPECT_EQ(Format(u"100%%"), u"100%");
  EXPECT_EQ(Format(u"%d and %d", 1), u"1 and ");
  EXPECT_EQ(Format(u"%q %d", 7), u"%q 7");
  EXPECT_EQ(Format(u"ends with %"), u"ends with %");
}

}  // namespace
}  // namespace kestrav::platform
