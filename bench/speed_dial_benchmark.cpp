// kestrav-speed-dial-benchmark: the restore of a speed-dial backup on a device of many contacts,
// where every dial is linked again to its contact by the phone text the backup kept.
//
// A temporary Windows Mobile 2005 device holds 10,000 contacts and 1,000 speed dials spread over
// three phone properties; the dials are backed up once, and each iteration restores the file
// with "delete all first".
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "devicedb/speed_dials.h"
#include "platform/format.h"
#include "platform/test_support/temporary_device.h"

namespace {

namespace devicedb = kestrav::devicedb;
namespace engine = kestrav::engine;
namespace platform = kestrav::platform;
using platform::PropertyValue;
using Record = std::vector<PropertyValue>;

constexpr int kContacts = 10'000;
constexpr int kDials = 1'000;
constexpr char16_t kFile[] = u"\\Temp\\speeddials_20070315.csd";
// Mobile, business and home phone on Windows Mobile 2005.
constexpr std::uint32_t kPhones[] = {0x0096001F, 0x0097001F, 0x0099001F};

// Opens a database of "\pim.vol" for the work, and closes it again.
template <typename Work>
void OnDatabase(platform::ObjectStore& store, std::u16string_view database, Work work) {
  platform::VolumeId volume = 0;
  store.MountVolume(devicedb::kPimVolume, platform::Disposition::kOpenExisting, &volume);
  const platform::DatabaseHandle handle = store.OpenDatabase(volume, database);
  work(handle);
  store.CloseDatabase(handle);
  store.UnmountVolume(volume);
}

PropertyValue Value(std::uint32_t id) {
  PropertyValue value;
  value.id = id;
  return value;
}

void BM_RestoreRelinksSpeedDials(benchmark::State& state) {
  kestrav::testing::TemporaryDevice device(platform::kWindowsMobile2005);
  platform::ObjectStore& store = device.device().object_store();
  std::vector<platform::ObjectId> contacts;
  OnDatabase(store, devicedb::kContactsDatabase, [&](platform::DatabaseHandle handle) {
    for (int i = 0; i < kContacts; ++i) {
      Record contact;
      for (const std::uint32_t phone : kPhones) {
        contact.push_back(Value(phone));
        contact.back().text = platform::Format(u"+1 555 %.5d-%x", i, phone >> 16);
      }
      contacts.push_back(store.Write(handle, 0, contact));
    }
  });
  OnDatabase(store, devicedb::kSpeedDialDatabase, [&](platform::DatabaseHandle handle) {
    for (int i = 0; i < kDials; ++i) {
      Record dial = {Value(0x00010003), Value(0x00020041)};
      dial[0].integer = i;
      // A linked dial has the field at offset 20 cleared.
      dial[1].bytes.assign(devicedb::kSpeedDialHeadSize, 0xFF);
      const std::uint32_t fields[] = {contacts[i * (kContacts / kDials)], kPhones[i % 3]};
      for (int k = 0; k < 8; ++k)
        dial[1].bytes[devicedb::kContactIdOffset + k] =
            static_cast<std::uint8_t>(fields[k / 4] >> (8 * (k % 4)));
      store.Write(handle, 0, dial);
    }
  });

  engine::PassContext pass;
  pass.kind = engine::ItemKind::kSpeedDials;
  pass.record_file = kFile;
  {
    devicedb::SpeedDialWorker worker(device.device());
    kestrav::records::CsvRecordFile file(device.device(), pass.separator);
    file.Open(kFile, 0);
    worker.Backup(pass, file);
  }
  pass.operation = engine::Operation::kRestore;
  pass.mode = engine::RestoreMode::kDeleteAllFirst;
  for (auto _ : state) {
    devicedb::SpeedDialWorker worker(device.device());
    worker.Restore(pass);
    if (worker.tally().restored != kDials) state.SkipWithError("not every dial came back");
  }
  state.SetItemsProcessed(state.iterations() * kDials);

  int linked = 0;
  OnDatabase(store, devicedb::kSpeedDialDatabase, [&](platform::DatabaseHandle handle) {
    for (Record dial; store.ReadNext(handle, nullptr, &dial) != 0;)
      linked += dial[1].bytes.size() == devicedb::kSpeedDialHeadSize &&
                dial[1].bytes[devicedb::kClearedOnRelinkOffset] == 0;
  });
  if (linked != kDials) state.SkipWithError("not every dial was linked to its contact");
}
BENCHMARK(BM_RestoreRelinksSpeedDials)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
