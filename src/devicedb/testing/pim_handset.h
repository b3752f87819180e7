// A fresh device for the tests of the device-database kinds: its "\pim.vol" databases at hand,
// and a kind's passes run on it as the engine runs them.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devicedb/pim_volume.h"
#include "engine/testing/kind_harness.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::devicedb::testing {

using Lines = std::vector<std::u16string>;

// A property of this identifier and type, with its integer and flags.
inline platform::PropertyValue Property(std::uint16_t identifier, platform::PropertyType type,
                                        std::int64_t integer = 0, std::uint16_t flags = 0) {
  platform::PropertyValue value;
  value.id = platform::MakePropertyId(identifier, type);
  value.integer = integer;
  value.flags = flags;
  return value;
}

// The same with one field of the value set.
template <typename Field, typename Content>
platform::PropertyValue With(std::uint16_t identifier, platform::PropertyType type,
                             Field platform::PropertyValue::*field, Content content) {
  platform::PropertyValue value = Property(identifier, type);
  value.*field = std::move(content);
  return value;
}

inline Lines Cat(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

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

  void Delete(std::u16string_view database, const std::vector<platform::ObjectId>& ids) {
    OnDatabase(database, [&](platform::ObjectStore& store, platform::DatabaseHandle handle) {
      for (const platform::ObjectId id : ids)
        EXPECT_EQ(store.Delete(handle, id), platform::kErrorSuccess);
    });
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
  Lines Restore(std::u16string_view text, engine::RestoreMode mode) {
    harness.WriteRecordFile(text);
    return RestoreFile(mode);
  }

  // Restores the record file as it stands.
  Lines RestoreFile(engine::RestoreMode mode) {
    Worker worker(device.device());
    return harness.Restore(worker, mode);
  }

  // The rows of the last pass, without their times; error rows keep their "! ".
  Lines Rows() { return harness.page.Rows(); }

  // The bar moves of the last pass.
  Lines Bars() const {
    Lines bars;
    for (const std::u16string& event : harness.page.events)
      if (event.starts_with(u"item ")) bars.push_back(event);
    return bars;
  }

  kestrav::testing::TemporaryDevice device;
  engine::testing::KindHarness harness;
};

}  // namespace kestrav::devicedb::testing
