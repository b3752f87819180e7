// Texts built from numbers: counts with their singular or plural phrase, and elapsed times.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kestrav::engine {

// The count followed by the singular phrase when it is below 2 (so 0 takes the singular) and by
// the plural phrase otherwise: CountText(1, u" contact saved.", u" contacts saved.").
std::u16string CountText(long count, std::u16string_view singular, std::u16string_view plural);

// The time between two tick counts as "HH:MM:SS.mmm"; a tick count that wrapped in between
// still gives the time that passed.
std::u16string ElapsedTimeText(std::uint32_t start_ticks, std::uint32_t end_ticks);

}  // namespace kestrav::engine
