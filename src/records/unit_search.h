// Fast searches for one of a few code units in a run of UTF-16 units or ANSI bytes: the record
// reader looks at every unit of a file twice (line ends, then separators and quotes) and the
// writer once (for the units that call for quotes), so these scans test sixteen bytes at a time
// (eight without SSE2).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kestrav::records {

// The index of the first unit at or after `from` that equals a or b; npos when there is none.
template <typename Unit>
std::size_t FindEitherUnit(std::basic_string_view<Unit> text, std::size_t from, Unit a, Unit b) {
  static_assert(sizeof(Unit) == 1 || sizeof(Unit) == 2);
  const Unit* data = text.data();
  std::size_t i = from;
#if defined(__SSE2__)
  // Sixteen bytes at a time.
  constexpr std::size_t kUnitsPerVector = sizeof(__m128i) / sizeof(Unit);
  const bool bytes = sizeof(Unit) == 1;
  const __m128i pattern_a =
      bytes ? _mm_set1_epi8(static_cast<char>(a)) : _mm_set1_epi16(static_cast<short>(a));
  const __m128i pattern_b =
      bytes ? _mm_set1_epi8(static_cast<char>(b)) : _mm_set1_epi16(static_cast<short>(b));
  for (; i + kUnitsPerVector <= text.size(); i += kUnitsPerVector) {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
    const __m128i matches =
        bytes ? _mm_or_si128(_mm_cmpeq_epi8(units, pattern_a), _mm_cmpeq_epi8(units, pattern_b))
              : _mm_or_si128(_mm_cmpeq_epi16(units, pattern_a), _mm_cmpeq_epi16(units, pattern_b));
    if (const auto mask = static_cast<unsigned>(_mm_movemask_epi8(matches)); mask != 0) {
      return i + static_cast<std::size_t>(__builtin_ctz(mask)) / sizeof(Unit);
    }
  }
#else
  // Eight bytes at a time.
  constexpr std::size_t kUnitsPerWord = sizeof(std::uint64_t) / sizeof(Unit);
  constexpr std::uint64_t kLowBits = sizeof(Unit) == 1 ? 0x0101010101010101 : 0x0001000100010001;
  constexpr std::uint64_t kHighBits = kLowBits << (8 * sizeof(Unit) - 1);
  const std::uint64_t pattern_a = kLowBits * static_cast<std::make_unsigned_t<Unit> >(a);
  const std::uint64_t pattern_b = kLowBits * static_cast<std::make_unsigned_t<Unit> >(b);
  // A unit equal to the pattern leaves a zero unit after the xor; (x - low) & ~x & high is non-zero
  // exactly when x holds a zero unit.
  for (; i + kUnitsPerWord <= text.size(); i += kUnitsPerWord) {
    std::uint64_t word;
    std::memcpy(&word, data + i, sizeof word);
    const std::uint64_t match_a = word ^ pattern_a;
    const std::uint64_t match_b = word ^ pattern_b;
    if ((((match_a - kLowBits) & ~match_a) | ((match_b - kLowBits) & ~match_b)) & kHighBits) break;
  }
#endif
  for (; i < text.size(); ++i) {
    if (data[i] == a || data[i] == b) return i;
  }
  return std::basic_string_view<Unit>::npos;
}

// Calls on_match(index) for every unit of the text equal to a or b, in order.
template <typename OnMatch>
void ForEachUnitOf(std::u16string_view text, char16_t a, char16_t b, OnMatch on_match) {
  const char16_t* data = text.data();
  std::size_t i = 0;
#if defined(__SSE2__)
  // Eight units at a time: each matching unit sets two neighbouring bits of the mask.
  const __m128i pattern_a = _mm_set1_epi16(static_cast<short>(a));
  const __m128i pattern_b = _mm_set1_epi16(static_cast<short>(b));
  for (; i + 8 <= text.size(); i += 8) {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
    auto mask = static_cast<unsigned>(_mm_movemask_epi8(
        _mm_or_si128(_mm_cmpeq_epi16(units, pattern_a), _mm_cmpeq_epi16(units, pattern_b))));
    while (mask != 0) {
      const int bit = __builtin_ctz(mask);
      on_match(i + static_cast<std::size_t>(bit) / 2);
      mask &= ~(3u << bit);
    }
  }
#endif
  for (; i < text.size(); ++i) {
    if (data[i] == a || data[i] == b) on_match(i);
  }
}

// Whether any unit of the text is one of the given units.
template <std::size_t N>
bool HoldsAnyUnit(std::u16string_view text, const std::array<char16_t, N>& units) {
  const char16_t* data = text.data();
#if defined(__SSE2__)
  // Eight units at a time; the last eight are read whole, some of them a second time.
  if (text.size() >= 8) {
    __m128i patterns[N];
    for (std::size_t k = 0; k < N; ++k) patterns[k] = _mm_set1_epi16(static_cast<short>(units[k]));
    auto any_in = [&patterns](const char16_t* at) {
      const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
      __m128i matches = _mm_cmpeq_epi16(block, patterns[0]);
      for (std::size_t k = 1; k < N; ++k)
        matches = _mm_or_si128(matches, _mm_cmpeq_epi16(block, patterns[k]));
      return _mm_movemask_epi8(matches) != 0;
    };
    const std::size_t last = text.size() - 8;
    for (std::size_t i = 0; i < last; i += 8) {
      if (any_in(data + i)) return true;
    }
    return any_in(data + last);
  }
#endif
  for (std::size_t i = 0; i < text.size(); ++i) {
    for (const char16_t unit : units) {
      if (data[i] == unit) return true;
    }
  }
  return false;
}

}  // namespace kestrav::records
