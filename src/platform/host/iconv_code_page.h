// The device's ANSI code page, converted through iconv.
#pragma once

#include <iconv.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/text.h"

namespace kestrav::platform::host {

class IconvCodePage : public AnsiCodePage {
 public:
  // Null when iconv does not know the code page.
  static std::unique_ptr<IconvCodePage> Create(unsigned code_page);
  // An encoding by the name iconv knows it by ("ISO-8859-2", "KOI8-R"), with the number 0; a
  // code page number ("1250", "cp1250", "windows-1250") makes that code page. Null when iconv
  // does not know it.
  static std::unique_ptr<IconvCodePage> CreateNamed(std::string_view name);
  ~IconvCodePage() override;

  unsigned Number() const override { return number_; }
  std::u16string ToWide(std::string_view bytes) const override;
  std::string ToAnsi(std::u16string_view text) const override;

 private:
  IconvCodePage(unsigned number, iconv_t to_wide, iconv_t to_ansi);
  static std::unique_ptr<IconvCodePage> Open(unsigned number, const std::string& charset);

  unsigned number_;
  // An iconv descriptor keeps state between calls, so each is used by one thread at a time.
  mutable std::mutex mutex_;
  iconv_t to_wide_;
  iconv_t to_ansi_;
};

}  // namespace kestrav::platform::host
