#include "devicedb/pim_volume.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <utility>

#include "devicedb/testing/pim_handset.h"
#include "engine/testing/recording_sink.h"
#include "platform/format.h"
#include "platform/host/sqlite_object_store.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::devicedb {
namespace {

using platform::Disposition;
using platform::ErrorCode;
using platform::kErrorSuccess;
using platform::kInvalidDatabaseHandle;
using platform::PropertyType;
using platform::PropertyValue;
using Lines = std::vector<std::u16string>;

// The real store, whose deletes can be made to fail: refused ones keep the record, unreported
// ones remove it and still answer with an error.
class UnreliableDeleteStore : public platform::host::SqliteObjectStore {
 public:
  using SqliteObjectStore::SqliteObjectStore;

  ErrorCode Delete(platform::DatabaseHandle database, platform::ObjectId object_id) override {
    if (refused_deletes > 0) {
      --refused_deletes;
      return platform::kErrorGenFailure;
    }
    const ErrorCode result = SqliteObjectStore::Delete(database, object_id);
    if (result != kErrorSuccess || unreported_deletes == 0) return result;
    --unreported_deletes;
    return platform::kErrorGenFailure;
  }

  int refused_deletes = 0;
  int unreported_deletes = 0;
};

class RecordingDeletionProgress : public DeletionProgress {
 public:
  void Start(std::uint32_t count) override {
    lines.push_back(platform::Format(u"start %u", count));
  }
  void SetPosition(std::uint32_t deleted) override {
    lines.push_back(platform::Format(u"position %u", deleted));
  }
  void Finish() override { lines.push_back(u"finish"); }

  Lines lines;
};

class PimVolumeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::VolumeId volume = 0;
    ASSERT_EQ(store_.MountVolume(kPimVolume, Disposition::kOpenAlways, &volume), kErrorSuccess);
    for (const char16_t* name : {kCallLogDatabase, kSpeedDialDatabase, kContactsDatabase}) {
      store_.CreateDatabase(volume, name);
      databases_[name] = store_.OpenDatabase(volume, name);
    }
  }

  void AddRecords(const char16_t* database_name, int count) {
    PropertyValue number;
    number.id = platform::MakePropertyId(1, PropertyType::kInt32);
    for (int i = 0; i < count; ++i) store_.Write(databases_[database_name], 0, {number});
  }

  // The rows and bar movements since the last call.
  Lines Events() {
    sink_.DispatchPending();
    return std::exchange(sink_.events, {});
  }

  kestrav::testing::TemporaryDevice device_;
  UnreliableDeleteStore store_{device_.files()};
  std::map<std::u16string, platform::DatabaseHandle> databases_;
  engine::testing::RecordingSink sink_{device_.clock()};
  engine::CancelFlag cancel_ = 0;
  CeDbSession session_{store_, &sink_, &cancel_};
};

TEST_F(PimVolumeTest, ConnectAndDisconnect) {
  ASSERT_TRUE(session_.Connect(PimDatabase::kSpeedDials));
  EXPECT_NE(session_.database, kInvalidDatabaseHandle);
  EXPECT_NE(session_.contacts, kInvalidDatabaseHandle);
  session_.Disconnect(PimDatabase::kSpeedDials);
  EXPECT_EQ(session_.database, kInvalidDatabaseHandle);
  session_.Unmount();
  ASSERT_TRUE(session_.Connect(PimDatabase::kCallLogs));
  EXPECT_EQ(session_.contacts, kInvalidDatabaseHandle);
  session_.Disconnect(PimDatabase::kCallLogs);
  session_.Unmount();
  EXPECT_EQ(
      Events(),
      (Lines{u"11:20:30 Connecting to the speed dials database...",
             u"11:20:30 Disconnecting from the speed dials database...", u"11:20:30 Disconnected.",
             u"11:20:30 Connecting to the call logs database...",
             u"11:20:30 Disconnecting from the call logs database...", u"11:20:30 Disconnected."}));

  // A volume without the database: mounted, with an invalid handle. No volume: no mount.
  std::filesystem::remove(device_.HostPath(kPimVolume));
  platform::VolumeId volume = 0;
  ASSERT_EQ(store_.MountVolume(kPimVolume, Disposition::kOpenAlways, &volume), kErrorSuccess);
  ASSERT_TRUE(session_.Connect(PimDatabase::kCallLogs));
  EXPECT_EQ(session_.database, kInvalidDatabaseHandle);
  std::filesystem::remove(device_.HostPath(kPimVolume));
  CeDbSession session(store_, &sink_, &cancel_);
  EXPECT_FALSE(session.Connect(PimDatabase::kCallLogs));
  EXPECT_FALSE(session.mounted);
  RecordingDeletionProgress progress;
  EXPECT_FALSE(DeleteAllFromMenu(store_, PimDatabase::kCallLogs, progress));
  EXPECT_EQ(progress.lines, Lines{u"finish"});
}

TEST_F(PimVolumeTest, DeleteAllCountsTheDropInRecords) {
  ASSERT_TRUE(session_.Connect(PimDatabase::kCallLogs));
  Events();
  session_.DeleteAll(PimDatabase::kCallLogs);
  EXPECT_EQ(Events(), Lines{u"11:20:30 No call logs found in the database."});
  EXPECT_TRUE(session_.database_contents_text.empty());

  AddRecords(kCallLogDatabase, 1);
  session_.DeleteAll(PimDatabase::kCallLogs);
  EXPECT_EQ(Events(), (Lines{u"item 0/1", u"11:20:30 Deleting call logs from the database...",
                             u"item 1/-1", u"11:20:30 1 call log deleted from the database."}));
  EXPECT_EQ(session_.database_contents_text, u"The call logs database contains 1 record.");

  // Failed deletes meet the same record again; one that deleted while failing is counted too.
  AddRecords(kCallLogDatabase, 2);
  store_.refused_deletes = 2;
  store_.unreported_deletes = 1;
  session_.DeleteAll(PimDatabase::kCallLogs);
  EXPECT_EQ(Events(), (Lines{u"item 0/2", u"11:20:30 Deleting call logs from the database...",
                             u"item 1/-1", u"11:20:30 2 call logs deleted from the database."}));
  EXPECT_EQ(RecordCount(store_, databases_[kCallLogDatabase]), 0u);

  // A canceled job deletes nothing more.
  AddRecords(kCallLogDatabase, 2);
  cancel_ = 1;
  session_.DeleteAll(PimDatabase::kCallLogs);
  EXPECT_EQ(Events().back(), u"11:20:30 0 call log deleted from the database.");

  session_.Unmount();
  cancel_ = 0;
  AddRecords(kSpeedDialDatabase, 3);
  ASSERT_TRUE(session_.Connect(PimDatabase::kSpeedDials));
  Events();
  session_.DeleteAll(PimDatabase::kSpeedDials);
  EXPECT_EQ(Events(), (Lines{u"item 0/3", u"11:20:30 Deleting speed dials from the database...",
                             u"item 1/-1", u"item 2/-1", u"item 3/-1",
                             u"11:20:30 3 speed dials deleted from the database."}));
  EXPECT_EQ(session_.database_contents_text, u"Speed dials database contains 3 records.");
}

TEST_F(PimVolumeTest, DeleteAllFromTheMenuShowsOnlyItsProgress) {
  AddRecords(kSpeedDialDatabase, 3);
  store_.refused_deletes = 1;
  RecordingDeletionProgress progress;
  EXPECT_TRUE(DeleteAllFromMenu(store_, PimDatabase::kSpeedDials, progress));
  EXPECT_EQ(progress.lines,
            (Lines{u"start 3", u"position 1", u"position 2", u"position 3", u"finish"}));
  EXPECT_EQ(RecordCount(store_, databases_[kSpeedDialDatabase]), 0u);
  progress.lines.clear();
  EXPECT_TRUE(DeleteAllFromMenu(store_, PimDatabase::kCallLogs, progress));
  EXPECT_EQ(progress.lines, Lines{u"finish"});
  EXPECT_TRUE(Events().empty());
}

PropertyValue Value(PropertyType type, std::int64_t integer, std::uint16_t flags = 0) {
  return testing::Property(7, type, integer, flags);
}

template <typename Field, typename Content>
PropertyValue With(PropertyType type, Field PropertyValue::*field, Content content) {
  return testing::With(7, type, field, std::move(content));
}

TEST(ValueEquality, ComparesAsTheDatabaseValuesTypeSays) {
  using enum PropertyType;
  for (PropertyType type : {kInt16, kUInt16}) {
    EXPECT_TRUE(ValueEquality(Value(type, 0x10005), Value(type, 5)));
    EXPECT_FALSE(ValueEquality(Value(type, 5), Value(type, 6)));
  }
  for (PropertyType type : {kInt32, kBool, kUInt32, kAutoInt32}) {
    EXPECT_TRUE(ValueEquality(Value(type, 0x1FFFFFFFF), Value(type, -1)));
    EXPECT_FALSE(ValueEquality(Value(type, 0x10000), Value(type, 0)));
  }
  EXPECT_FALSE(ValueEquality(With(kDouble, &PropertyValue::real, 1.5),
                             With(kDouble, &PropertyValue::real, 1.25)));
  const auto text = [](std::u16string content) {
    return With(kString, &PropertyValue::text, content);
  };
  EXPECT_FALSE(ValueEquality(text(u"Anna"), text(u"anna")));
  EXPECT_TRUE(ValueEquality(text({u"Anna\0x", 6}), text({u"Anna\0y", 6})));  // ends at the NUL
  EXPECT_FALSE(ValueEquality(With(kFileTime, &PropertyValue::file_time, 0x01C7670012345678ULL),
                             With(kFileTime, &PropertyValue::file_time, 0x01C7670112345678ULL)));
  for (PropertyType type : {kBlob, kStream, kRecordId, kAutoInt64}) {
    const auto block = [type](std::vector<std::uint8_t> bytes) {
      return With(type, &PropertyValue::bytes, bytes);
    };
    EXPECT_TRUE(ValueEquality(block({1, 2}), block({1, 2})));
    EXPECT_FALSE(ValueEquality(block({1, 2}), block({1, 2, 3})));
    EXPECT_FALSE(ValueEquality(block({1, 2}), block({1, 3})));
  }
  EXPECT_FALSE(ValueEquality(Value(static_cast<PropertyType>(20), 1),
                             Value(static_cast<PropertyType>(20), 1)));

  // Flags must be equal, and a property not found never equals anything.
  EXPECT_FALSE(ValueEquality(Value(kInt32, 1, 0x0004), Value(kInt32, 1)));
  EXPECT_FALSE(ValueEquality(Value(kInt32, 0, platform::kPropertyNotFound),
                             Value(kInt32, 0, platform::kPropertyNotFound)));
}

TEST(FindProperty, FirstEntryWithTheExactIdentifier) {
  using enum PropertyType;
  const std::vector<PropertyValue> properties = {Value(kInt32, 0), Value(kString, 1),
                                                 Value(kString, 2)};
  EXPECT_EQ(FindProperty(properties, platform::MakePropertyId(7, kString)), 1);
  EXPECT_EQ(FindProperty(properties, platform::MakePropertyId(7, kUInt32)), kPropertyAbsent);
  EXPECT_EQ(FindProperty(properties, platform::MakePropertyId(8, kInt32)), kPropertyAbsent);
  EXPECT_EQ(FindProperty({}, platform::MakePropertyId(7, kInt32)), kPropertyAbsent);
}

}  // namespace
}  // namespace kestrav::devicedb
