#include "platform/host/sqlite_object_store.h"

#include <gtest/gtest.h>

#include <bit>
#include <filesystem>
#include <limits>

#include "platform/test_support/temporary_device.h"

namespace kestrav::platform::host {
namespace {

template <typename Field, typename Content>
PropertyValue Value(std::size_t identifier, PropertyType type, Field PropertyValue::*field,
                    Content content) {
  PropertyValue value;
  value.id = MakePropertyId(static_cast<std::uint16_t>(identifier), type);
  value.*field = std::move(content);
  return value;
}

PropertyValue Integer(std::uint16_t identifier, PropertyType type, std::int64_t number) {
  return Value(identifier, type, &PropertyValue::integer, number);
}

class SqliteObjectStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(store_.MountVolume(u"\\test.vol", Disposition::kOpenAlways, &volume_), kErrorSuccess);
    ASSERT_EQ(store_.CreateDatabase(volume_, u"clog.db"), kErrorSuccess);
    database_ = store_.OpenDatabase(volume_, u"clog.db");
    ASSERT_NE(database_, kInvalidDatabaseHandle);
  }

  ObjectId Add(std::int64_t number) {
    return store_.Write(database_, 0, {Integer(1, PropertyType::kInt32, number)});
  }

  std::int64_t ReadNumber() {
    std::vector<PropertyValue> properties;
    return store_.ReadNext(database_, nullptr, &properties) == 0 ? -1 : properties[0].integer;
  }

  kestrav::testing::TemporaryDevice device_;
  SqliteObjectStore store_{device_.files()};
  VolumeId volume_ = 0;
  DatabaseHandle database_ = kInvalidDatabaseHandle;
};

TEST_F(SqliteObjectStoreTest, EveryValueTypeRoundTripsInWrittenOrder) {
  using enum PropertyType;
  // Unpaired surrogates too: a device string is code units, not necessarily valid UTF-16.
  const PropertyValue text =
      Value(2, kString, &PropertyValue::text,
            u"Zo\u00eb \U0001F600" + std::u16string{char16_t{0xD800}, u'x', char16_t{0xDC00}});
  const std::vector<PropertyValue> written = {
      Integer(9, kInt16, -5),
      text,
      Value(3, kDouble, &PropertyValue::real, -1.25),
      Value(4, kFileTime, &PropertyValue::file_time, 0xFEDCBA9876543210ULL),
      Value(5, kBlob, &PropertyValue::bytes, std::vector<std::uint8_t>{0x00, 0xff, 0x10}),
      Value(6, kBlob, &PropertyValue::bytes, std::vector<std::uint8_t>{}),
      Integer(7, kUInt32, 4294967295),
      Integer(8, kBool, -1)};
  // Doubles come back bit for bit: a NaN with its payload, -0.0, an infinity.
  std::vector<PropertyValue> doubles;
  for (const double number : {std::bit_cast<double>(0x7FF4000000000ABCULL), -0.0,
                              -std::numeric_limits<double>::infinity(), 3.0}) {
    doubles.push_back(Value(21 + doubles.size(), kDouble, &PropertyValue::real, number));
  }
  const ObjectId object_id = store_.Write(database_, 0, written);
  ASSERT_NE(object_id, 0u);
  std::vector<PropertyValue> read;
  ASSERT_EQ(store_.ReadNext(database_, nullptr, &read), object_id);
  EXPECT_EQ(read, written);
  const ObjectId doubles_id = store_.Write(database_, 0, doubles);
  ASSERT_EQ(store_.ReadNext(database_, nullptr, &read), doubles_id);
  ASSERT_EQ(read.size(), doubles.size());
  for (std::size_t index = 0; index < doubles.size(); ++index) {
    EXPECT_EQ(std::bit_cast<std::uint64_t>(read[index].real),
              std::bit_cast<std::uint64_t>(doubles[index].real));
  }

  // Asking for properties: one the record lacks comes back flagged, without a value.
  const std::vector<std::uint32_t> wanted = {text.id, MakePropertyId(42, kInt32)};
  ASSERT_EQ(store_.Seek(database_, object_id), object_id);
  ASSERT_EQ(store_.ReadNext(database_, &wanted, &read), object_id);
  ASSERT_EQ(read.size(), 2u);
  EXPECT_EQ(read[0], text);
  EXPECT_EQ(read[1].flags, kPropertyNotFound);

  // Adding to a record replaces a property of the same identifier and appends new ones.
  PropertyValue replaced = text;
  replaced.text = u"changed";
  ASSERT_EQ(store_.Write(database_, object_id, {replaced, Integer(10, kInt32, 1)}), object_id);
  store_.Seek(database_, 0);
  store_.ReadNext(database_, nullptr, &read);
  ASSERT_EQ(read.size(), written.size() + 1);
  EXPECT_EQ(read[1].text, u"changed");
  EXPECT_EQ(read.back().id, MakePropertyId(10, kInt32));
}

TEST_F(SqliteObjectStoreTest, PositionsBelongToEachHandle) {
  const ObjectId first = Add(1);
  Add(2);
  Add(3);
  const DatabaseHandle other = store_.OpenDatabase(volume_, u"clog.db");
  EXPECT_EQ(ReadNumber(), 1);
  EXPECT_EQ(ReadNumber(), 2);
  std::vector<PropertyValue> properties;
  EXPECT_EQ(store_.ReadNext(other, nullptr, &properties), first);

  // Writes and deletes leave the position; a deleted record there is passed over.
  const ObjectId fourth = Add(4);
  ASSERT_EQ(store_.Seek(database_, 0), first);
  ASSERT_EQ(store_.Delete(database_, first), kErrorSuccess);
  EXPECT_EQ(ReadNumber(), 2);
  EXPECT_EQ(ReadNumber(), 3);
  EXPECT_EQ(ReadNumber(), 4);
  EXPECT_EQ(ReadNumber(), -1);
  EXPECT_EQ(store_.Delete(database_, first), kErrorFileNotFound);

  // Object ids are never reused, even after the newest record goes.
  ASSERT_EQ(store_.Delete(database_, fourth), kErrorSuccess);
  EXPECT_GT(Add(5), fourth);
  std::uint32_t count = 0;
  ASSERT_EQ(store_.RecordCount(database_, &count), kErrorSuccess);
  EXPECT_EQ(count, 3u);

  // A seek that finds nothing leaves the position.
  store_.Seek(database_, 0);
  EXPECT_EQ(store_.Seek(database_, 999), 0u);
  EXPECT_EQ(ReadNumber(), 2);
}

TEST_F(SqliteObjectStoreTest, MissingVolumesAndDatabases) {
  VolumeId volume = 0;
  EXPECT_EQ(store_.MountVolume(u"\\other.vol", Disposition::kOpenExisting, &volume),
            kErrorFileNotFound);
  EXPECT_EQ(store_.OpenDatabase(volume_, u"Missing Database"), kInvalidDatabaseHandle);
  EXPECT_EQ(store_.CreateDatabase(volume_, u"clog.db"), kErrorAlreadyExists);

  // A second store on the same volume file sees what the first wrote.
  Add(7);
  SqliteObjectStore second(device_.files());
  ASSERT_EQ(second.MountVolume(u"\\test.vol", Disposition::kOpenExisting, &volume), kErrorSuccess);
  const DatabaseHandle database = second.OpenDatabase(volume, u"clog.db");
  std::uint32_t count = 0;
  ASSERT_EQ(second.RecordCount(database, &count), kErrorSuccess);
  EXPECT_EQ(count, 1u);
  ASSERT_EQ(second.UnmountVolume(volume), kErrorSuccess);
  EXPECT_EQ(second.RecordCount(database, &count), kErrorInvalidHandle);
}

// Another program holding the volume's lock past the wait: the store answers as a failed device,
// so a loop that deletes the first record until none is found ends, and the cause is kept.
TEST_F(SqliteObjectStoreTest, AHostFailureMakesAFailedDevice) {
  for (int number = 0; number < 5; ++number) Add(number);
  SqliteObjectStore impatient(device_.files(), 50);
  VolumeId volume = 0;
  ASSERT_EQ(impatient.MountVolume(u"\\test.vol", Disposition::kOpenExisting, &volume),
            kErrorSuccess);
  const DatabaseHandle database = impatient.OpenDatabase(volume, u"clog.db");
  ASSERT_TRUE(store_.Seek(database_, 0));
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(device_.HostPath(u"\\test.vol").c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);

  int tries = 0;
  for (ObjectId first; (first = impatient.Seek(database, 0)) != 0 && tries < 100; ++tries)
    impatient.Delete(database, first);
  EXPECT_LE(tries, 1);
  std::vector<PropertyValue> properties;
  EXPECT_EQ(impatient.ReadNext(database, nullptr, &properties), 0u);
  EXPECT_EQ(impatient.Write(database, 0, {Integer(1, PropertyType::kInt32, 9)}), 0u);
  std::uint32_t count = 0;
  EXPECT_EQ(impatient.RecordCount(database, &count), kErrorSharingViolation);
  EXPECT_EQ(impatient.FailureText(),
            u"\\test.vol: another program held its lock for longer than 50 ms");
  ASSERT_EQ(impatient.UnmountVolume(volume), kErrorSuccess);
  EXPECT_EQ(impatient.MountVolume(u"\\test.vol", Disposition::kOpenExisting, &volume),
            kErrorSharingViolation);

  // Once the lock is gone and the failure cleared, the store works again; nothing was lost.
  sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(other);
  impatient.ClearFailure();
  EXPECT_EQ(impatient.FailureText(), u"");
  ASSERT_EQ(impatient.MountVolume(u"\\test.vol", Disposition::kOpenExisting, &volume),
            kErrorSuccess);
  ASSERT_EQ(impatient.RecordCount(impatient.OpenDatabase(volume, u"clog.db"), &count),
            kErrorSuccess);
  EXPECT_EQ(count, 5u);
}

// A volume file replaced by a link, or a file that is no volume, is a failed device at once.
TEST_F(SqliteObjectStoreTest, LinksAndForeignFilesAreNotMounted) {
  device_.WriteFile(u"\\My Documents\\notes.txt", std::string(4096, 'x'));
  std::filesystem::create_symlink(device_.HostPath(u"\\test.vol"), device_.HostPath(u"\\link.vol"));
  SqliteObjectStore other(device_.files());
  VolumeId volume = 0;
  EXPECT_NE(other.MountVolume(u"\\link.vol", Disposition::kOpenExisting, &volume), kErrorSuccess);
  EXPECT_EQ(other.FailureText(), u"\\link.vol: the file is reached through a symbolic link");
  SqliteObjectStore foreign(device_.files());
  EXPECT_EQ(foreign.MountVolume(u"\\My Documents\\notes.txt", Disposition::kOpenExisting, &volume),
            kErrorGenFailure);
  EXPECT_EQ(foreign.FailureText(), u"\\My Documents\\notes.txt: the file is damaged");
}

}  // namespace
}  // namespace kestrav::platform::host
