#include "engine/device_job.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "platform/test_support/temporary_device.h"

namespace kestrav::engine {
namespace {

using kestrav::testing::TemporaryDevice;

TEST(DeviceJob, OneJobAtATimeWithABoundedWait) {
  TemporaryDevice device;
  std::u16string refusal;
  auto restore = DeviceJob::Begin(device.device(), {.name = u"restore"}, &refusal);
  ASSERT_NE(restore, nullptr) << platform::ToUtf8(refusal);

  const std::u16string holder = u"the restore started by process " +
                                platform::FromUtf8(std::to_string(::getpid())) +
                                u" at 2007-03-15 10:20:30 UTC";
  EXPECT_EQ(DeviceJob::Begin(device.device(), {.name = u"backup", .wait_seconds = 0}, &refusal),
            nullptr);
  EXPECT_EQ(refusal, u"the device is busy with " + holder);
  int told = 0;
  const DeviceJobOptions patient{
      .name = u"backup", .wait_seconds = 1, .waiting = [&](const platform::JobHolder&) { ++told; }};
  EXPECT_EQ(DeviceJob::Begin(device.device(), patient, &refusal), nullptr);
  EXPECT_EQ(refusal, u"gave up after 1 s: the device is busy with " + holder);
  EXPECT_EQ(told, 1);

  // The window's Cancel ends a long wait at once.
  CancelFlag cancel = 0;
  const DeviceJobOptions cancelable{.name = u"backup",
                                    .wait_seconds = 3600,
                                    .waiting = [&](const platform::JobHolder&) { cancel = 1; },
                                    .cancel = &cancel};
  EXPECT_EQ(DeviceJob::Begin(device.device(), cancelable, &refusal), nullptr);
  EXPECT_EQ(refusal, u"canceled while waiting for " + holder + u" to end");

  restore.reset();
  EXPECT_NE(DeviceJob::Begin(device.device(), patient, &refusal), nullptr);
  EXPECT_EQ(told, 1);
}

// What a killed job left in the temporary folder goes; other files there stay.
TEST(DeviceJob, LeftoversOfAKilledJobAreCleared) {
  TemporaryDevice device;
  for (const char16_t* file : {u"\\Temp\\contacts_20070314.csc", u"\\Temp\\CLOGS_20070315.CSL",
                               u"\\Temp\\contacts_backup.csc", u"\\Temp\\notes.txt"}) {
    device.WriteFile(file, "x");
  }
  ASSERT_EQ(device.files().CreateFolder(u"\\Temp\\Kestrav restore"), platform::kErrorSuccess);
  device.WriteFile(u"\\Temp\\Kestrav restore\\0.contacts_20070315.csc", "x");
  std::u16string refusal;
  ASSERT_NE(DeviceJob::Begin(device.device(), {.name = u"backup"}, &refusal), nullptr);
  std::vector<std::u16string> left;
  for (const platform::FoundFile& found : device.files().Find(u"\\Temp\\*"))
    left.push_back(found.name);
  std::ranges::sort(left);
  EXPECT_EQ(left, (std::vector<std::u16string>{u"contacts_backup.csc", u"notes.txt"}));
}

}  // namespace
}  // namespace kestrav::engine
