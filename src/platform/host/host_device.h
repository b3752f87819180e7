// A device made of host stand-ins: the host file system under a root folder, the host's clock
// and an iconv code page.
#pragma once

#include <filesystem>
#include <memory>

#include "platform/device.h"
#include "platform/host/host_file_system.h"
#include "platform/host/iconv_code_page.h"
#include "platform/host/system_clock.h"

namespace kestrav::platform::host {

class HostDevice {
 public:
  // Null when iconv does not know the code page.
  static std::unique_ptr<HostDevice> Create(std::filesystem::path device_root,
                                            std::u16string temp_folder, unsigned code_page = 1252);

  Device& device() { return device_; }
  HostFileSystem& files() { return files_; }

 private:
  HostDevice(std::filesystem::path device_root, std::u16string temp_folder,
             std::unique_ptr<IconvCodePage> code_page);

  HostFileSystem files_;
  SystemClock clock_;
  std::unique_ptr<IconvCodePage> code_page_;
  Device device_;
};

}  // namespace kestrav::platform::host
