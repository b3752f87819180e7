#include "platform/text.h"

#include <gtest/gtest.h>

#include "platform/host/iconv_code_page.h"

namespace kestrav::platform {
namespace {

TEST(Utf8, RoundTripsEveryPlane) {
  const std::u16string text = u"a\u00e9\u20ac\u05e9\U0001F600";
  EXPECT_EQ(ToUtf8(text), "a\xc3\xa9\xe2\x82\xac\xd7\xa9\xf0\x9f\x98\x80");
  EXPECT_EQ(FromUtf8(ToUtf8(text)), text);
}

TEST(Utf8, MalformedInputBecomesReplacementCharacters) {
  EXPECT_EQ(FromUtf8("a\xff"
                     "b"),
            u"a\ufffdb");
  EXPECT_EQ(FromUtf8("\xc0\xaf"), u"\ufffd\ufffd");            // overlong "/"
  EXPECT_EQ(FromUtf8("\xed\xa0\x80"), u"\ufffd\ufffd\ufffd");  // an encoded surrogate
  EXPECT_EQ(FromUtf8("\xe2\x82"), u"\ufffd\ufffd");            // cut short at the end
  EXPECT_EQ(ToUtf8(std::u16string(1, u'\xd800') + u"x"), "\xef\xbf\xbdx");
  EXPECT_EQ(ToUtf8(std::u16string(1, u'\xdc00')), "\xef\xbf\xbd");
}

TEST(IconvCodePage, WesternCodePageMatchesTheDevice) {
  auto code_page = host::IconvCodePage::Create(1252);
  ASSERT_NE(code_page, nullptr);
  EXPECT_EQ(code_page->Number(), 1252u);
  EXPECT_EQ(code_page->ToWide("caf\xe9 \x80"), u"caf\u00e9 \u20ac");
  // Bytes 1252 leaves undefined keep their value.
  EXPECT_EQ(code_page->ToWide("\x81\x8d"), u"\u0081\u008d");
  EXPECT_EQ(code_page->ToAnsi(u"caf\u00e9 \u20ac"), "caf\xe9 \x80");
  // What the code page cannot hold becomes one "?" per character, surrogate pairs included.
  EXPECT_EQ(code_page->ToAnsi(u"a\u65e5\U0001F600b"), "a??b");
  EXPECT_EQ(code_page->ToAnsi(std::u16string(1, u'\xd800')), "?");
}

TEST(IconvCodePage, DoubleByteCodePageAndAnUnknownOne) {
  auto code_page = host::IconvCodePage::Create(932);
  ASSERT_NE(code_page, nullptr);
  const std::u16string japanese = u"\u65e5\u672c";
  EXPECT_EQ(code_page->ToAnsi(japanese), "\x93\xfa\x96\x7b");
  EXPECT_EQ(code_page->ToWide(code_page->ToAnsi(japanese)), japanese);
  EXPECT_EQ(host::IconvCodePage::Create(4242), nullptr);
}

}  // namespace
}  // namespace kestrav::platform
