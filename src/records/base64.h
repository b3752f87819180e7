// Base64 (the standard alphabet, "=" padding, no line breaks) for binary contents carried in the
// text of a record: four characters for three bytes, none of them a separator or a quote.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kestrav::records {

// Encodes bytes given in pieces, so that contents of any size go out chunk by chunk; into UTF-16
// record text or UTF-8 JSON alike.
class Base64Encoder {
 public:
  // Appends the text of the bytes so far that make whole groups of three.
  void Add(std::span<const std::uint8_t> bytes, std::u16string* text);
  void Add(std::span<const std::uint8_t> bytes, std::string* text);
  // Appends the text of the bytes still held, padded; the encoder is then ready for new contents.
  void Finish(std::u16string* text);
  void Finish(std::string* text);

 private:
  template <typename Text>
  void AddTo(std::span<const std::uint8_t> bytes, Text* text);

  std::array<std::uint8_t, 3> held_{};
  std::size_t held_count_ = 0;
};

// The number of bytes the text stands for, or nothing when it is not base64: a length that is not
// a multiple of four, a character out of the alphabet, or padding anywhere but at the end.
std::optional<std::uint64_t> DecodedBase64Size(std::u16string_view text);
std::optional<std::uint64_t> DecodedBase64Size(std::string_view text);

// Decodes a piece of text that DecodedBase64Size accepted, cut at a multiple of four characters,
// into `bytes` (room for the piece's size); returns the number of bytes written.
std::size_t DecodeBase64(std::u16string_view piece, std::span<std::uint8_t> bytes);
std::size_t DecodeBase64(std::string_view piece, std::span<std::uint8_t> bytes);

}  // namespace kestrav::records
