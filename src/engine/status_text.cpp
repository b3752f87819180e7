#include "engine/status_text.h"

#include "engine/texts.h"
#include "platform/format.h"

namespace kestrav::engine {

std::u16string CountText(long count, std::u16string_view singular, std::u16string_view plural) {
  std::u16string text = platform::Format(texts::kCount, count);
  text.append(count < 2 ? singular : plural);
  return text;
}

std::u16string ElapsedTimeText(std::uint32_t start_ticks, std::uint32_t end_ticks) {
  const std::uint32_t elapsed = end_ticks - start_ticks;
  const std::uint32_t seconds = elapsed / 1000;
  return platform::Format(texts::kElapsedTime, seconds / 3600, seconds / 60 % 60, seconds % 60,
                          elapsed % 1000);
}

}  // namespace kestrav::engine
