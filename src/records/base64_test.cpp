#include "records/base64.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrav::records {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes BytesOf(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

std::u16string Wide(std::string_view ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

// The text's bytes, decoded in pieces of so many characters as the readers of attachments take
// them; nothing when the text is refused.
template <typename Character>
std::optional<Bytes> Decoded(std::basic_string_view<Character> text, std::size_t piece) {
  const std::optional<std::uint64_t> size = DecodedBase64Size(text);
  if (!size) return std::nullopt;
  Bytes bytes(*size);
  std::size_t written = 0;
  for (std::size_t at = 0; at < text.size(); at += piece)
    written += DecodeBase64(text.substr(at, piece), std::span(bytes).subspan(written));
  EXPECT_EQ(written, bytes.size());
  return bytes;
}

// Encoded a few bytes at a time into either kind of text, by encoders that finished other
// contents before, then decoded in pieces of four, eight and twelve characters.
void ExpectBothWays(const Bytes& bytes, std::string_view text) {
  Base64Encoder narrow_encoder;
  Base64Encoder wide_encoder;
  for (std::size_t step : {1, 2, 3, 7}) {
    std::string narrow;
    std::u16string wide;
    for (std::size_t at = 0; at < bytes.size(); at += step) {
      const auto piece = std::span(bytes).subspan(at, std::min(step, bytes.size() - at));
      narrow_encoder.Add(piece, &narrow);
      wide_encoder.Add(piece, &wide);
    }
    narrow_encoder.Finish(&narrow);
    wide_encoder.Finish(&wide);
    EXPECT_EQ(narrow, text) << "added " << step << " at a time";
    EXPECT_EQ(wide, Wide(text)) << "added " << step << " at a time";
  }
  for (std::size_t piece : {4, 8, 12}) {
    EXPECT_EQ(Decoded(text, piece), bytes) << text;
    EXPECT_EQ(Decoded(std::u16string_view(Wide(text)), piece), bytes) << text;
  }
}

TEST(Base64, TheStandardVectorsAndEveryByteBothWays) {
  // RFC 4648's, of "foobar" and its beginnings.
  const std::string_view texts[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
  for (std::size_t length = 0; length < std::size(texts); ++length)
    ExpectBothWays(BytesOf(std::string_view("foobar").substr(0, length)), texts[length]);
  ExpectBothWays({0x00, 0x01, 0xff}, "AAH/");
  ExpectBothWays({0xfb, 0xff}, "+/8=");

  Bytes every_byte;
  for (int byte = 0; byte < 256; ++byte) every_byte.push_back(static_cast<std::uint8_t>(byte));
  std::string text;
  Base64Encoder encoder;
  encoder.Add(every_byte, &text);
  encoder.Finish(&text);
  EXPECT_EQ(Decoded(std::string_view(text), 4), every_byte);
}

TEST(Base64, RefusesWhatIsNotBase64) {
  for (const std::string_view bad : {"A*!=", "AB C", "Zm\r\n", "Zm-_", "A", "AB", "ABC", "Zm9vY",
                                     "AB=C", "A===", "====", "=AAA", "Zg==Zg==", "\u00e9AA"}) {
    EXPECT_FALSE(DecodedBase64Size(bad)) << bad;
    EXPECT_FALSE(DecodedBase64Size(std::u16string_view(Wide(bad)))) << bad;
  }
  // A wide character whose low byte is in the alphabet is not in it.
  EXPECT_FALSE(DecodedBase64Size(u"\u0141AAA"));
}

// No more than the room given, and no more than the padding leaves.
TEST(Base64, DecodesWhatFitsAndSaysHowMuch) {
  Bytes bytes(4, 0);
  EXPECT_EQ(DecodeBase64(std::string_view("Zm9vYmFy"), std::span(bytes).first(2)), 2u);
  EXPECT_EQ(bytes, (Bytes{'f', 'o', 0, 0}));
  EXPECT_EQ(DecodeBase64(u"Zg==", bytes), 1u);
  EXPECT_EQ(DecodeBase64(u"Zm8=", bytes), 2u);
}

}  // namespace
}  // namespace kestrav::records
