// Where a writer's bytes go: a file the front end opens, or a text in memory for tests.
#pragma once

#include <string>
#include <string_view>

namespace kestrav::exporting {

class Output {
 public:
  virtual ~Output() = default;

  // Appends bytes; false once the bytes could not be kept (a full disk), and from then on.
  virtual bool Write(std::string_view bytes) = 0;
};

class StringOutput : public Output {
 public:
  bool Write(std::string_view bytes) override {
    text_.append(bytes);
    return true;
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace kestrav::exporting
