// How a job ended, as the window tells the user: canceled, or the one line of what went wrong.
#pragma once

#include <string>

namespace kestrav::ui {

struct JobOutcome {
  bool canceled = false;
  std::u16string failure;  // empty when nothing went wrong
};

}  // namespace kestrav::ui
