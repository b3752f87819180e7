// The bundle of services of one device, handed by the front ends to the logic.
#pragma once

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/text.h"

namespace kestrav::platform {

class Device {
 public:
  Device(FileSystem& files, const Clock& clock, const AnsiCodePage& code_page)
      : files_(&files), clock_(&clock), code_page_(&code_page) {}

  FileSystem& files() const { return *files_; }
  const Clock& clock() const { return *clock_; }
  const AnsiCodePage& code_page() const { return *code_page_; }

 private:
  FileSystem* files_;
  const Clock* clock_;
  const AnsiCodePage* code_page_;
};

}  // namespace kestrav::platform
