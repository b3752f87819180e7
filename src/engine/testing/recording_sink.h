// A status page for tests: writes down every row and bar movement as one line of text, e.g.
// "11:20:30 ! Coudln't create file" or "item 65536/-1" (-1: the range was left as it was).
#pragma once

#include <string>
#include <vector>

#include "engine/progress_sink.h"
#include "platform/format.h"

namespace kestrav::engine::testing {

class RecordingSink : public ProgressSink {
 public:
  explicit RecordingSink(const platform::Clock& clock,
                         Delivery delivery = Delivery::kOnReceiverThread)
      : ProgressSink(clock, delivery) {}

  std::vector<std::u16string> events;

  // The rows alone, without their times.
  std::vector<std::u16string> Rows() const {
    std::vector<std::u16string> rows;
    for (const std::u16string& event : events) {
      if (event.size() > 9 && event[2] == u':' && event[5] == u':') rows.push_back(event.substr(9));
    }
    return rows;
  }

 protected:
  void AddRow(const LogRow& row) override {
    events.push_back(row.time + (row.icon == LogIcon::kError ? u" ! " : u" ") + row.text +
                     (row.last ? u" [last]" : u""));
  }
  void SetItemProgress(std::uint32_t position, std::optional<std::uint32_t> upper_bound) override {
    events.push_back(platform::Format(u"item %u/%d", position, upper_bound ? *upper_bound : -1));
  }
  void SetOverallProgress(std::uint32_t position,
                          std::optional<std::uint32_t> upper_bound) override {
    events.push_back(platform::Format(u"overall %u/%d", position, upper_bound ? *upper_bound : -1));
  }
};

// The status page with its Cancel button pressed once a given row shows.
class CancelingSink : public RecordingSink {
 public:
  using RecordingSink::RecordingSink;

  CancelFlag cancel = 0;
  std::u16string cancel_after;

 protected:
  void AddRow(const LogRow& row) override {
    RecordingSink::AddRow(row);
    if (!cancel_after.empty() && row.text == cancel_after) cancel = 1;
  }
};

}  // namespace kestrav::engine::testing
