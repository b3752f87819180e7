// A fresh device for the tests of the device-database kinds: its "\pim.vol" databases at hand,
// and a kind's passes run on it as the engine runs them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "devicedb/pim_volume.h"
#include "engine/testing/kind_harness.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::devicedb::testing {

template <typename Worker>
class PimHandset {
 public:
  PimHandset(int os_major_version, engine::ItemKind kind, std::u16string record_file)
      : device(os_major_version), harness(device, kind, std::move(record_file)) {}

  // Runs the work on a database of the volume, opened for it alone.
  template <typename Work>
  void OnDatabase(std::u16string_view database, Work work) {
    platform::ObjectStore& store = device.device().object_store();
    platform::VolumeId volume = 0;
    ASSERT_EQ(store.MountVolume(kPimVolume, platform::Disposition::kOpenExisting, &volume),
              platform::kErrorSuccess);
    work(store, store.OpenDatabase(volume, database));
    store.UnmountVolume(volume);
  }

  // Writes the records into the database; their object ids.
  std::vector<platform::ObjectId> Add(
      std::u16string_view database,
      const std::vector<std::vector<platform::PropertyValue>>& records) {
    std::vector<platform::ObjectId> ids;
    OnDatabase(database, [&](platform::ObjectStore& store, platform::DatabaseHandle handle) {
      for (const auto& record : records) ids.push_back(store.Write(handle, 0, record));
    });
    return ids;
  }

  // Every record of the database, in database order.
  std::vector<std::vector<platform::PropertyValue>> Records(std::u16string_view database) {
    std::vector<std::vector<platform::PropertyValue>> records;
    OnDatabase(database, [&](platform::ObjectStore& store, platform::DatabaseHandle handle) {
      for (std::vector<platform::PropertyValue> record;
           store.ReadNext(handle, nullptr, &record) != 0;) {
        records.push_back(record);
      }
    });
    return records;
  }

  // Backs up into a new file and returns its bytes.
  std::string Backup() {
    Worker worker(device.device());
    return harness.Backup(worker);
  }

  // Restores a record file of this text; the rows reported.
  std::vector<std::u16string> Restore(std::u16string_view text, engine::RestoreMode mode) {
    harness.WriteRecordFile(text);
    return RestoreFile(mode);
  }

  // Restores the record file as it stands.
  std::vector<std::u16string> RestoreFile(engine::RestoreMode mode) {
    Worker worker(device.device());
    return harness.Restore(worker, mode);
  }

  kestrav::testing::TemporaryDevice device;
  engine::testing::KindHarness harness;
};

}  // namespace kestrav::devicedb::testing
