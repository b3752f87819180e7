#include "platform/host/host_device.h"

namespace kestrav::platform::host {

std::unique_ptr<HostDevice> HostDevice::Create(std::filesystem::path device_root,
                                               std::u16string temp_folder, unsigned code_page) {
  auto ansi = IconvCodePage::Create(code_page);
  if (!ansi) return nullptr;
  return std::unique_ptr<HostDevice>(
      new HostDevice(std::move(device_root), std::move(temp_folder), std::move(ansi)));
}

HostDevice::HostDevice(std::filesystem::path device_root, std::u16string temp_folder,
                       std::unique_ptr<IconvCodePage> code_page)
    : files_(std::move(device_root), std::move(temp_folder)),
      code_page_(std::move(code_page)),
      device_(files_, clock_, *code_page_) {}

}  // namespace kestrav::platform::host
