#include "kinds/console_sink.h"

#include <unistd.h>

#include <algorithm>
#include <string>

#include "platform/format.h"
#include "platform/text.h"

namespace kestrav::kinds {
namespace {

constexpr int kBarWidth = 40;

int Permille(std::uint32_t position, std::uint32_t upper_bound) {
  if (upper_bound == 0) return 0;
  return static_cast<int>(std::min<std::uint64_t>(1000, position * 1000ULL / upper_bound));
}

}  // namespace

bool IsTerminal(std::FILE* stream) {
  return isatty(fileno(stream)) != 0;
}

std::string PrintableText(std::u16string_view text) {
  std::u16string shown;
  for (const char16_t unit : text) {
    if (unit < 0x20 || (unit >= 0x7F && unit <= 0x9F)) {
      shown += platform::Format(unit < 0x100 ? u"\\x%.2x" : u"\\u%.4x", unsigned{unit});
    } else {
      shown.push_back(unit);
    }
  }
  return platform::ToUtf8(shown);
}

ConsoleSink::ConsoleSink(const platform::Clock& clock, std::FILE* out, bool draw_bars)
    : engine::ProgressSink(clock, engine::Delivery::kOnReportingThread),
      out_(out),
      draw_bars_(draw_bars),
      clock_(clock),
      started_(clock.TickCount()) {}

void ConsoleSink::SetJobKinds(std::vector<engine::ItemKind> kinds) {
  kinds_ = std::move(kinds);
}

ConsoleSink::~ConsoleSink() {
  if (bars_drawn_) std::fputc('\n', out_);
  std::fflush(out_);
}

void ConsoleSink::AddRow(const engine::LogRow& row) {
  EraseBars();
  // A row names the user's items, whose texts may hold line breaks: each row stays one line.
  std::fprintf(out_, "%s  %s%s\n", platform::ToUtf8(row.time).c_str(),
               row.icon == engine::LogIcon::kError ? "(!) " : "", PrintableText(row.text).c_str());
  DrawBars();
  // A terminal shows each row at once; a file or pipe takes them in blocks.
  if (draw_bars_) std::fflush(out_);
}

void ConsoleSink::SetItemProgress(std::uint32_t position,
                                  std::optional<std::uint32_t> upper_bound) {
  if (upper_bound) item_.upper_bound = *upper_bound;
  item_.position = position;
  // Redraw only when the bar visibly moves: an archive addition reports every 64 KiB.
  if (Permille(item_.position, item_.upper_bound) == drawn_item_permille_) return;
  EraseBars();
  DrawBars();
}

void ConsoleSink::SetOverallProgress(std::uint32_t position,
                                     std::optional<std::uint32_t> upper_bound) {
  if (upper_bound)
    overall_.upper_bound = *upper_bound;
  else
    ++kinds_finished_;
  overall_.position = position;
  EraseBars();
  DrawBars();
}

void ConsoleSink::EraseBars() {
  if (!bars_drawn_) return;
  std::fputs("\r\x1b[1A\x1b[J", out_);  // to the start of the first bar line, clear below
  bars_drawn_ = false;
}

void ConsoleSink::DrawBars() {
  if (!draw_bars_) return;
  DrawBar("Item   ", item_);
  std::fputc('\n', out_);
  DrawBar("Overall", overall_);
  const std::string label = OverallLabel();
  if (!label.empty()) std::fprintf(out_, "  %s", label.c_str());
  bars_drawn_ = true;
  drawn_item_permille_ = Permille(item_.position, item_.upper_bound);
  std::fflush(out_);
}

void ConsoleSink::DrawBar(const char* label, const Bar& bar) {
  const int permille = Permille(bar.position, bar.upper_bound);
  const int filled = permille * kBarWidth / 1000;
  std::string cells(filled, '#');
  cells.append(kBarWidth - filled, '.');
  std::fprintf(out_, "%s [%s] %3d%%", label, cells.c_str(), permille / 10);
}

std::string ConsoleSink::OverallLabel() const {
  if (kinds_.empty() || kinds_finished_ >= kinds_.size()) return {};
  std::string label = platform::ToUtf8(engine::KindInfo(kinds_[kinds_finished_]).word) + " " +
                      std::to_string(kinds_finished_ + 1) + "/" + std::to_string(kinds_.size());
  // The share done: the kinds finished and the part of the one in hand its item bar shows.
  const double item_done = Permille(item_.position, item_.upper_bound) / 1000.0;
  const double done =
      (static_cast<double>(kinds_finished_) + item_done) / static_cast<double>(kinds_.size());
  const double elapsed_seconds = (clock_.TickCount() - started_) / 1000.0;
  if (done < 0.05 || elapsed_seconds < 1) return label;
  const auto left = static_cast<long>(elapsed_seconds * (1 - done) / done + 0.5);
  label += left >= 60 ? ", about " + std::to_string(left / 60) + " min " +
                            std::to_string(left % 60) + " s left"
                      : ", about " + std::to_string(left) + " s left";
  return label;
}

}  // namespace kestrav::kinds
