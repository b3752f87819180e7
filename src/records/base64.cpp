#include "records/base64.h"

#include <algorithm>

namespace kestrav::records {
namespace {

constexpr char16_t kAlphabet[] =
    u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The six bits a character stands for; -1 for one out of the alphabet.
template <typename Character>
int SextetOf(Character character) {
  if (character >= 'A' && character <= 'Z') return character - 'A';
  if (character >= 'a' && character <= 'z') return character - 'a' + 26;
  if (character >= '0' && character <= '9') return character - '0' + 52;
  if (character == '+') return 62;
  if (character == '/') return 63;
  return -1;
}

template <typename Text>
void AppendGroup(const std::uint8_t* bytes, std::size_t count, Text* text) {
  const std::uint32_t group = (std::uint32_t{bytes[0]} << 16) |
                              (count > 1 ? std::uint32_t{bytes[1]} << 8 : 0) |
                              (count > 2 ? std::uint32_t{bytes[2]} : 0);
  using Character = typename Text::value_type;
  text->push_back(static_cast<Character>(kAlphabet[(group >> 18) & 0x3F]));
  text->push_back(static_cast<Character>(kAlphabet[(group >> 12) & 0x3F]));
  text->push_back(static_cast<Character>(count > 1 ? kAlphabet[(group >> 6) & 0x3F] : u'='));
  text->push_back(static_cast<Character>(count > 2 ? kAlphabet[group & 0x3F] : u'='));
}

}  // namespace

template <typename Text>
void Base64Encoder::AddTo(std::span<const std::uint8_t> bytes, Text* text) {
  std::size_t next = 0;
  while (held_count_ > 0 && held_count_ < 3 && next < bytes.size())
    held_[held_count_++] = bytes[next++];
  if (held_count_ > 0 && held_count_ < 3) return;
  text->reserve(text->size() + (bytes.size() - next) / 3 * 4 + 4);
  if (held_count_ == 3) AppendGroup(held_.data(), 3, text);
  held_count_ = 0;
  for (; next + 3 <= bytes.size(); next += 3) AppendGroup(bytes.data() + next, 3, text);
  while (next < bytes.size()) held_[held_count_++] = bytes[next++];
}

void Base64Encoder::Add(std::span<const std::uint8_t> bytes, std::u16string* text) {
  AddTo(bytes, text);
}
void Base64Encoder::Add(std::span<const std::uint8_t> bytes, std::string* text) {
  AddTo(bytes, text);
}

void Base64Encoder::Finish(std::u16string* text) {
  if (held_count_ > 0) AppendGroup(held_.data(), held_count_, text);
  held_count_ = 0;
}
void Base64Encoder::Finish(std::string* text) {
  if (held_count_ > 0) AppendGroup(held_.data(), held_count_, text);
  held_count_ = 0;
}

namespace {

template <typename Character>
std::optional<std::uint64_t> SizeOf(std::basic_string_view<Character> text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  if (!text.empty() && text.back() == '=') padding = text[text.size() - 2] == '=' ? 2 : 1;
  for (std::size_t index = 0; index < text.size() - padding; ++index) {
    if (SextetOf(text[index]) < 0) return std::nullopt;
  }
  return text.size() / 4 * 3 - padding;
}

template <typename Character>
std::size_t Decode(std::basic_string_view<Character> piece, std::span<std::uint8_t> bytes) {
  std::size_t written = 0;
  for (std::size_t index = 0; index + 4 <= piece.size(); index += 4) {
    std::uint32_t group = 0;
    std::size_t count = 3;
    for (std::size_t offset = 0; offset < 4; ++offset) {
      const Character character = piece[index + offset];
      if (character == '=') {
        count = std::min(count, offset - 1);
        group <<= 6;
      } else {
        group = (group << 6) | static_cast<std::uint32_t>(SextetOf(character));
      }
    }
    for (std::size_t byte = 0; byte < count && written < bytes.size(); ++byte)
      bytes[written++] = static_cast<std::uint8_t>(group >> (16 - 8 * byte));
  }
  return written;
}

}  // namespace

std::optional<std::uint64_t> DecodedBase64Size(std::u16string_view text) {
  return SizeOf(text);
}
std::optional<std::uint64_t> DecodedBase64Size(std::string_view text) {
  return SizeOf(text);
}

std::size_t DecodeBase64(std::u16string_view piece, std::span<std::uint8_t> bytes) {
  return Decode(piece, bytes);
}
std::size_t DecodeBase64(std::string_view piece, std::span<std::uint8_t> bytes) {
  return Decode(piece, bytes);
}

}  // namespace kestrav::records
