// A device for tests and fuzz targets: a fresh device profile in a temporary folder (registry,
// file system, "\pim.vol" with its empty databases; code page 1252) on the real host stand-ins,
// and a fixed clock standing on 15 March 2007, 10:20:30 UTC with local time one hour ahead. The
// folder is removed when the object goes.
#pragma once

#include <sys/resource.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/device.h"
#include "platform/host/host_device.h"

namespace kestrav::testing {

// 15 March 2007, 10:20:30 UTC: the day the tests stand on.
platform::SystemTime FifteenthOfMarch2007();

class TemporaryDevice {
 public:
  explicit TemporaryDevice(int os_major_version = platform::kWindowsMobile2005);
  ~TemporaryDevice();
  TemporaryDevice(const TemporaryDevice&) = delete;
  TemporaryDevice& operator=(const TemporaryDevice&) = delete;

  platform::Device& device() { return host_->device(); }
  platform::host::HostFileSystem& files() { return host_->files(); }
  platform::FixedClock& clock() { return clock_; }

  // The host folder that holds the profile, and nothing else.
  const std::filesystem::path& folder() const { return folder_; }
  // The host folder of the device's "\".
  const std::filesystem::path& root() const { return root_; }
  // The host path of a device path.
  std::filesystem::path HostPath(std::u16string_view device_path) const;

  // Reads or writes a whole file by device path, as bytes.
  std::string ReadFile(std::u16string_view device_path) const;
  void WriteFile(std::u16string_view device_path, std::string_view bytes) const;

 private:
  std::filesystem::path folder_;
  std::filesystem::path root_;
  platform::FixedClock clock_;
  std::unique_ptr<platform::host::HostDevice> host_;
};

// The bytes of a record file holding this text: the byte order mark FF FE, then UTF-16LE.
std::string Utf16FileBytes(std::u16string_view text);
// The text of such bytes, after their byte order mark.
std::u16string TextOfUtf16File(std::string_view bytes);

// A fresh temporary host folder, removed when the object goes.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// While it lives, no file this process writes may grow past `bytes`, as if the disk were full
// there: a write past it fails (EFBIG, which the host file system takes for a full disk) rather
// than stopping the process with SIGXFSZ.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::uint64_t bytes);
  ~FileSizeLimit();
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit previous_limit_{};
  void (*previous_handler_)(int) = nullptr;
};

}  // namespace kestrav::testing
