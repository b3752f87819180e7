#include "platform/test_support/temporary_device.h"

#include <stdlib.h>

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

std::unique_ptr<platform::host::IconvCodePage> CodePage1252() {
  auto code_page = platform::host::IconvCodePage::Create(1252);
  if (!code_page) Abandon("iconv does not know code page 1252");
  return code_page;
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

TemporaryDevice::TemporaryDevice()
    : folder_(MakeTemporaryFolder()),
      root_(folder_ / "fs"),
      files_(root_, u"\\Temp\\"),
      clock_(FifteenthOfMarch2007(), 60, 1000),
      code_page_(CodePage1252()),
      device_(files_, clock_, *code_page_) {
  fs::create_directories(root_ / "Temp");
}

TemporaryDevice::~TemporaryDevice() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

fs::path TemporaryDevice::HostPath(std::u16string_view device_path) const {
  return files_.HostPath(device_path);
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

}  // namespace kestrav::testing
