// The status page on a console, for kestrav-cli's jobs and either program's unattended run (whose
// rows go to the journal): each log row as "HH:MM:SS  text" (an error row as
// "HH:MM:SS  (!) text"), and, when standard output is a terminal, the item and overall
// progress bars kept below the rows. The overall bar, which counts the kinds a job has finished,
// is labelled with the kind in hand ("contacts 2/6") and, once a twentieth of the job is done,
// an estimate of the time left.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/item_kind.h"
#include "engine/progress_sink.h"

namespace kestrav::kinds {

class ConsoleSink : public engine::ProgressSink {
 public:
  ConsoleSink(const platform::Clock& clock, std::FILE* out, bool draw_bars);
  ~ConsoleSink() override;

  // The kinds of the job in the order it takes them, for the overall bar's label.
  void SetJobKinds(std::vector<engine::ItemKind> kinds);

  // Waits until `done` returns true; reports are printed on the thread that makes them.
  template <typename Done>
  void RunUntil(Done done) {
    while (!done()) {
      WaitForReports(std::chrono::milliseconds(50));
      DispatchPending();
    }
    DispatchPending();
  }

 protected:
  void AddRow(const engine::LogRow& row) override;
  void SetItemProgress(std::uint32_t position, std::optional<std::uint32_t> upper_bound) override;
  void SetOverallProgress(std::uint32_t position,
                          std::optional<std::uint32_t> upper_bound) override;

 private:
  struct Bar {
    std::uint32_t position = 0;
    std::uint32_t upper_bound = 100;  // a fresh progress bar's range
  };

  void EraseBars();
  void DrawBars();
  void DrawBar(const char* label, const Bar& bar);
  // "contacts 2/6, about 1 min 10 s left": the kind in hand and the time left, when known.
  std::string OverallLabel() const;

  std::FILE* out_;
  bool draw_bars_;
  bool bars_drawn_ = false;
  Bar item_;
  Bar overall_;
  int drawn_item_permille_ = -1;

  const platform::Clock& clock_;
  std::uint32_t started_ = 0;  // the tick count of the first report
  std::vector<engine::ItemKind> kinds_;
  // The kinds finished: the job posts the overall position once after each.
  std::size_t kinds_finished_ = 0;
};

// True when the stream is a terminal.
bool IsTerminal(std::FILE* stream);
// A name from an archive, a file or the user's items, for a terminal: control characters shown
// as "\x1b", so that a row stays one line and cannot steer the terminal.
std::string PrintableText(std::u16string_view text);

}  // namespace kestrav::kinds
