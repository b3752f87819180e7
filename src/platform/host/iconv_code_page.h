// The device's ANSI code page, converted through iconv.
#pragma once

#include <iconv.h>

#include <memory>
#include <mutex>

#include "platform/text.h"

namespace kestrav::platform::host {

class IconvCodePage : public AnsiCodePage {
 public:
  // Null when iconv does not know the code page.
  static std::unique_ptr<IconvCodePage> Create(unsigned code_page);
  ~IconvCodePage() override;

  unsigned Number() const override { return number_; }
  std::u16string ToWide(std::string_view bytes) const override;
  std::string ToAnsi(std::u16string_view text) const override;

 private:
  IconvCodePage(unsigned number, iconv_t to_wide, iconv_t to_ansi);

  unsigned number_;
  // An iconv descriptor keeps state between calls, so each is used by one thread at a time.
  mutable std::mutex mutex_;
  iconv_t to_wide_;
  iconv_t to_ansi_;
};

}  // namespace kestrav::platform::host
