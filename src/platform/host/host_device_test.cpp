#include "platform/host/host_device.h"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/test_support/temporary_device.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

TEST(DeviceProfile, NewProfileHoldsTheFoldersTheVolumeAndItsIdentity) {
  kestrav::testing::TemporaryFolder folder;
  const fs::path profile = folder.path() / "handheld";
  std::string error;
  ASSERT_TRUE(CreateDeviceProfile(profile, {kWindowsMobile2003, 1252}, &error)) << error;

  auto host = HostDevice::OpenProfile(profile, &error);
  ASSERT_NE(host, nullptr) << error;
  const Device& device = host->device();
  EXPECT_TRUE(device.is_whole());
  EXPECT_EQ(device.os_major_version(), kWindowsMobile2003);
  EXPECT_EQ(device.files().TempFolder(), u"\\Temp\\");
  for (const char* name : {"Storage Card", "Temp", "My Documents", "Windows/Start Menu/Programs"})
    EXPECT_TRUE(fs::is_directory(profile / "fs" / name)) << name;
  VolumeId volume = 0;
  ASSERT_EQ(device.object_store().MountVolume(u"\\pim.vol", Disposition::kOpenExisting, &volume),
            kErrorSuccess);
  for (const char16_t* database : kPimDatabases) {
    const DatabaseHandle handle = device.object_store().OpenDatabase(volume, database);
    EXPECT_NE(handle, kInvalidDatabaseHandle);
    std::uint32_t count = 1;
    EXPECT_EQ(device.object_store().RecordCount(handle, &count), kErrorSuccess);
    EXPECT_EQ(count, 0u);
  }
}

TEST(DeviceProfile, RefusesWhatIsNotANewProfile) {
  kestrav::testing::TemporaryFolder folder;
  std::string error;
  // An existing profile is never overwritten.
  ASSERT_TRUE(CreateDeviceProfile(folder.path(), {}, &error)) << error;
  EXPECT_FALSE(CreateDeviceProfile(folder.path(), {}, &error));
  EXPECT_NE(error.find("already there"), std::string::npos) << error;

  EXPECT_FALSE(CreateDeviceProfile(folder.path() / "six", {6, 1252}, &error));
  EXPECT_FALSE(CreateDeviceProfile(folder.path() / "nowhere", {5, 99999}, &error));
  EXPECT_FALSE(fs::exists(folder.path() / "six" / "device.json"));

  EXPECT_EQ(HostDevice::OpenProfile(folder.path() / "missing", &error), nullptr);
  EXPECT_NE(error.find("not a device profile"), std::string::npos) << error;
  std::ofstream(folder.path() / "device.json") << "{\"os_major_version\": \"five\"}";
  EXPECT_EQ(HostDevice::OpenProfile(folder.path(), &error), nullptr);
  EXPECT_NE(error.find("expected"), std::string::npos) << error;
}

}  // namespace
}  // namespace kestrav::platform::host
