#include "platform/test_support/temporary_device.h"

#include <stdlib.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace kestrav::testing {
namespace {

namespace fs = std::filesystem;

// Without its folder or its code page no test can stand: stop the whole program.
[[noreturn]] void Abandon(const char* reason) {
  std::fprintf(stderr, "temporary device: %s\n", reason);
  std::abort();
}

fs::path MakeTemporaryFolder() {
  std::string pattern = (fs::temp_directory_path() / "kestrav-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) Abandon("cannot create a temporary folder");
  return fs::path(pattern);
}

}  // namespace

platform::SystemTime FifteenthOfMarch2007() {
  platform::SystemTime time;
  time.year = 2007;
  time.month = 3;
  time.day = 15;
  time.day_of_week = 4;
  time.hour = 10;
  time.minute = 20;
  time.second = 30;
  return time;
}

TemporaryFolder::TemporaryFolder() : path_(MakeTemporaryFolder()) {}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

TemporaryDevice::TemporaryDevice(int os_major_version)
    : folder_(MakeTemporaryFolder()),
      root_(folder_ / "fs"),
      clock_(FifteenthOfMarch2007(), 60, 1000) {
  std::string error;
  if (!platform::host::CreateDeviceProfile(folder_, {os_major_version, 1252}, &error))
    Abandon(error.c_str());
  host_ = platform::host::HostDevice::OpenProfile(folder_, &error, &clock_);
  if (!host_) Abandon(error.c_str());
}

TemporaryDevice::~TemporaryDevice() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

fs::path TemporaryDevice::HostPath(std::u16string_view device_path) const {
  return host_->files().HostPath(device_path);
}

std::string TemporaryDevice::ReadFile(std::u16string_view device_path) const {
  std::ifstream in(HostPath(device_path), std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

void TemporaryDevice::WriteFile(std::u16string_view device_path, std::string_view bytes) const {
  std::ofstream out(HostPath(device_path), std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string Utf16FileBytes(std::u16string_view text) {
  std::string bytes = "\xFF\xFE";
  bytes.reserve(2 + text.size() * 2);
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}

std::u16string TextOfUtf16File(std::string_view bytes) {
  std::u16string text;
  for (std::size_t at = 2; at + 1 < bytes.size(); at += 2)
    text.push_back(static_cast<char16_t>(static_cast<std::uint8_t>(bytes[at]) |
                                         (static_cast<std::uint8_t>(bytes[at + 1]) << 8)));
  return text;
}

FileSizeLimit::FileSizeLimit(std::uint64_t bytes) {
  previous_handler_ = std::signal(SIGXFSZ, SIG_IGN);
  getrlimit(RLIMIT_FSIZE, &previous_limit_);
  rlimit limit = previous_limit_;
  limit.rlim_cur = static_cast<rlim_t>(bytes);
  setrlimit(RLIMIT_FSIZE, &limit);
}

FileSizeLimit::~FileSizeLimit() {
  setrlimit(RLIMIT_FSIZE, &previous_limit_);
  std::signal(SIGXFSZ, previous_handler_);
}

}  // namespace kestrav::testing
