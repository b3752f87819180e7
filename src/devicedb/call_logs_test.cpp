#include "devicedb/call_logs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "devicedb/testing/pim_handset.h"
#include "platform/format.h"
#include "platform/test_support/temporary_device.h"
#include "platform/text.h"

namespace kestrav::devicedb {
namespace {

using engine::RestoreMode;
using kestrav::testing::Utf16FileBytes;
using platform::PropertyType;
using platform::PropertyValue;
using Call = std::vector<PropertyValue>;
using testing::Cat;
using testing::Lines;
using testing::Property;
using testing::With;

constexpr char16_t kFile[] = u"\\calls.csl";
// "Kestrav PIM records!" with every byte one up: the call-log signature as line 1 holds it.
const std::u16string kSignature =
    u"\"0x4c,0x66,0x74,0x75,0x73,0x62,0x77,0x21,0x51,0x4a,0x4e,0x21,0x73,0x66,0x64,0x70,0x73,0x65,"
    u"0x74,0x22\"";
const Lines kDisconnect = {u"Disconnecting from the call logs database...", u"Disconnected."};

PropertyValue Text(std::uint16_t identifier, std::u16string text) {
  return With(identifier, PropertyType::kString, &PropertyValue::text, std::move(text));
}

// The usual call of these tests: its number (string, 1) and its duration (int32, 2).
Call CallOf(std::u16string number, int duration) {
  return {Text(1, std::move(number)), Property(2, PropertyType::kInt32, duration)};
}

// The record line of CallOf(number, duration).
std::u16string CallLine(std::u16string_view number, int duration) {
  return u"\"0x02,0x00\";\"0x1f,0x00,0x01,0x00\";\"0x03,0x00,0x02,0x00\";" +
         std::u16string(number) + u";" + platform::Format(u"%d", duration) + u";\r\n";
}

// A call-log file: the signature line, the count row (a byte list) and the call lines.
std::u16string CallFile(std::u16string_view count_bytes, std::u16string_view calls) {
  return kSignature + u"\r\n\"" + std::u16string(count_bytes) + u"\"\r\n" + std::u16string(calls);
}

// A backup's rows from its connection on.
Lines BackupLog(const Lines& pass) {
  return Cat({{u"Connecting to the call logs database...", u"Connected to the database."},
              pass,
              kDisconnect});
}

// A restore's rows once its file has been read: the count, the connection and the pass.
Lines RestoreLog(std::u16string found, const Lines& pass) {
  return Cat({{u"Retrieving file records...", u"Valid call logs header format.",
               u"Retrieving file records...", std::move(found),
               u"Connecting to the call logs database...", u"Connected to the database."},
              pass,
              kDisconnect});
}

// A fresh device with its call-log database, and the passes run on it as the engine runs them.
class Handset : public testing::PimHandset<CallLogWorker> {
 public:
  explicit Handset(int os_major_version = platform::kWindowsMobile2005)
      : PimHandset(os_major_version, engine::ItemKind::kCallLogs, kFile) {}

  engine::testing::CancelingSink& page = harness.page;
  const engine::RestoreTally& tally = harness.tally;

  void AddCalls(const std::vector<Call>& calls) {
    for (const platform::ObjectId id : Add(kCallLogDatabase, calls)) EXPECT_NE(id, 0u);
  }

  std::vector<Call> Calls() { return Records(kCallLogDatabase); }
};

// Both system versions write the same file.
TEST(CallLogBackup, WritesEachPropertyAsItsTypeSays) {
  for (int version : {platform::kWindowsMobile2003, platform::kWindowsMobile2005}) {
    Handset handset(version);
    handset.AddCalls({
        {Property(0x8001, PropertyType::kInt32, -95), Text(2, u"Renée"),
         With(3, PropertyType::kFileTime, &PropertyValue::file_time, 0x01C766F5A1B2C3D4ULL),
         With(4, PropertyType::kBlob, &PropertyValue::bytes,
              std::vector<std::uint8_t>{0, 255, 16})},
        // A property the record lacks keeps its identifier but has no value field; an empty
        // block and a type without a text both give an empty field.
        {Property(5, PropertyType::kString, 0, platform::kPropertyNotFound),
         With(6, PropertyType::kDouble, &PropertyValue::real, 1.5),
         Property(7, PropertyType::kUInt16, 65535), Property(8, PropertyType::kBlob),
         Property(9, static_cast<PropertyType>(20), 3)},
    });
    EXPECT_EQ(
        handset.Backup(),
        Utf16FileBytes(kSignature + u"\r\n\"0x02,0x00,0x00,0x00\"\r\n" +
                       u"\"0x04,0x00\";\"0x03,0x00,0x01,0x80\";\"0x1f,0x00,0x02,0x00\";"
                       u"\"0x40,0x00,0x03,0x00\";\"0x41,0x00,0x04,0x00\";-95;Renée;"
                       u"0xd4,0xc3,0xb2,0xa1,0xf5,0x66,0xc7,0x01;0x00,0xff,0x10;\r\n"
                       u"\"0x05,0x00\";\"0x1f,0x00,0x05,0x00\";\"0x05,0x00,0x06,0x00\";"
                       u"\"0x12,0x00,0x07,0x00\";\"0x41,0x00,0x08,0x00\";\"0x14,0x00,0x09,0x00\";"
                       u"1.500000;65535;;;\r\n"))
        << "version " << version;
  }
}

TEST(CallLogBackup, LogsEachCallAndTheTotal) {
  Handset handset;
  EXPECT_EQ(handset.Backup(), Utf16FileBytes(CallFile(u"0x00,0x00,0x00,0x00", u"")));
  EXPECT_EQ(handset.Rows(),
            BackupLog({u"Retrieving call logs infos...", u"0 call to be retrieved."}));

  handset.AddCalls({CallOf(u"555-0101", 60), CallOf(u"555-0102", 5), CallOf(u"555-0103", 0)});
  EXPECT_EQ(handset.Backup(),
            Utf16FileBytes(CallFile(
                u"0x03,0x00,0x00,0x00",
                CallLine(u"555-0101", 60) + CallLine(u"555-0102", 5) + CallLine(u"555-0103", 0))));
  EXPECT_EQ(handset.Rows(),
            BackupLog({u"Retrieving call logs infos...", u"3 calls to be retrieved.",
                       u"1. call '#0' saved.", u"2. call '#1' saved.", u"3. call '#2' saved.",
                       u"3 call logs successfully saved."}));
}

TEST(CallLogBackup, StopsEarlyWhenCanceledOrWithoutItsDatabase) {
  Handset handset;
  handset.AddCalls({CallOf(u"555-0101", 60), CallOf(u"555-0102", 5), CallOf(u"555-0103", 0)});
  handset.page.cancel = 1;
  EXPECT_EQ(handset.Backup(), "\xFF\xFE");
  EXPECT_EQ(handset.Rows(), BackupLog({u"! Call logs backup has been canceled."}));

  // Canceled during the pass: the count line keeps the count the pass began with.
  handset.page.cancel = 0;
  handset.page.cancel_after = u"1. call '#0' saved.";
  EXPECT_EQ(handset.Backup(),
            Utf16FileBytes(CallFile(u"0x03,0x00,0x00,0x00", CallLine(u"555-0101", 60))));
  EXPECT_EQ(handset.Rows(),
            BackupLog({u"Retrieving call logs infos...", u"3 calls to be retrieved.",
                       u"1. call '#0' saved.", u"! Call logs backup has been canceled."}));
  handset.page.cancel = 0;
  handset.page.cancel_after.clear();

  // A volume without "clog.db", then no volume at all: only the connecting line.
  platform::ObjectStore& store = handset.device.device().object_store();
  std::filesystem::remove(handset.device.HostPath(kPimVolume));
  platform::VolumeId volume = 0;
  ASSERT_EQ(store.MountVolume(kPimVolume, platform::Disposition::kOpenAlways, &volume),
            platform::kErrorSuccess);
  store.UnmountVolume(volume);
  for (int pass = 0; pass < 2; ++pass) {
    EXPECT_EQ(handset.Backup(), "\xFF\xFE");
    EXPECT_EQ(handset.Rows(), Lines{u"Connecting to the call logs database..."});
    std::filesystem::remove(handset.device.HostPath(kPimVolume));
  }
}

TEST(CallLogRestore, BackupComesBackIntoAnEmptiedDatabase) {
  Handset handset;
  using enum PropertyType;
  const std::vector<Call> calls = {
      {Text(1, u"+33 1 23 45 67 89"),
       With(2, kFileTime, &PropertyValue::file_time, 0x01C766F5A1B2C3D4ULL),
       Property(3, kInt32, 125), Property(4, kBool, 1), Property(5, kUInt16, 0x8001)},
      {Property(1, kInt16, -2), Property(2, kUInt32, 4000000000), Property(5, kAutoInt32, 77),
       With(3, kDouble, &PropertyValue::real, 0.25),
       With(4, kBlob, &PropertyValue::bytes, std::vector<std::uint8_t>{1, 0, 0xfe}),
       Text(6, u"Zoë")},
      {Text(1, u"555-0100"), Property(2, kInt32, 0, platform::kPropertyNotFound),
       With(3, kDouble, &PropertyValue::real, 2.5), Property(4, kUInt16, 7)},
  };
  handset.AddCalls(calls);
  handset.Backup();
  EXPECT_EQ(
      handset.RestoreFile(RestoreMode::kDeleteAllFirst),
      RestoreLog(
          u"3 records found in file.",
          {u"Deleting call logs from the database...", u"3 call logs deleted from the database.",
           u"Inserting call logs records...", u"1. call '#0' inserted.", u"2. call '#1' inserted.",
           u"3. call '#2' inserted.", u"3 call logs successfully stored in database."}));
  // The lacking property has no value field, so each value after it lands one property early.
  std::vector<Call> expected = calls;
  expected[2] = {Text(1, u"555-0100"), Property(2, kInt32, 2),
                 With(3, kDouble, &PropertyValue::real, 7.0), Property(4, kUInt16, 0)};
  EXPECT_EQ(handset.Calls(), expected);
}

TEST(CallLogRestore, RefusesAFileThatIsNotACallLogFile) {
  Handset handset;
  handset.AddCalls({CallOf(u"555-0101", 60)});
  const std::u16string calls = CallLine(u"555-0102", 5);
  std::u16string wrong_signature = CallFile(u"0x01,0x00,0x00,0x00", calls);
  wrong_signature.replace(wrong_signature.find(u"0x22"), 4, u"0x23");
  std::u16string two_fields = CallFile(u"0x01,0x00,0x00,0x00", calls);
  two_fields.insert(kSignature.size(), u";x");
  const Lines refused = {u"Retrieving file records...", u"! Invalid file format. Nothing done."};
  EXPECT_EQ(handset.Restore(wrong_signature, RestoreMode::kDeleteAllFirst), refused);
  EXPECT_EQ(handset.Restore(two_fields, RestoreMode::kDeleteAllFirst), refused);
  // Canceled before the file is read.
  handset.page.cancel = 1;
  EXPECT_EQ(handset.Restore(CallFile(u"0x01,0x00,0x00,0x00", calls), RestoreMode::kDeleteAllFirst),
            refused);
  handset.page.cancel = 0;
  // The count row must be four bytes.
  for (const std::u16string& text :
       {CallFile(u"0x01,0x00,0x00,0x00,0x00", calls), kSignature + u"\r\n"}) {
    EXPECT_EQ(handset.Restore(text, RestoreMode::kDeleteAllFirst),
              (Lines{u"Retrieving file records...", u"Valid call logs header format.",
                     u"Retrieving file records...", u"! Invalid file format. Nothing done."}));
  }

  // A file the reader cannot load: its error, and nothing done.
  EXPECT_EQ(handset.Restore(CallFile(u"0x01,0x00,0x00,0x00", u"\"0x01,0x00;\r\n"),
                            RestoreMode::kDeleteAllFirst),
            (Lines{u"Retrieving file records...",
                   u"! Error (ERROR_CSV_BAD_RECORD) : Bad record found at line 3.Nothing done."}));
  EXPECT_EQ(handset.Calls(), std::vector<Call>{CallOf(u"555-0101", 60)});
  EXPECT_FALSE(handset.tally.file_accepted);
}

TEST(CallLogRestore, ACountOfZeroInsertsNothing) {
  Handset handset;
  // A header longer than the signature still begins with it.
  std::u16string text = CallFile(u"0x00,0x00,0x00,0x00", CallLine(u"555-0101", 60));
  text.insert(kSignature.size() - 1, u",0x01");
  EXPECT_EQ(handset.Restore(text, RestoreMode::kDeleteAllFirst),
            RestoreLog(u"0 record found in file.", {u"No call logs found in the database.",
                                                    u"No records found. Nothing done."}));
  EXPECT_TRUE(handset.Calls().empty());
  // The call the file holds did not come back, and its count row said otherwise.
  EXPECT_TRUE(handset.tally.file_accepted);
  EXPECT_EQ(handset.tally.records, 1u);
  EXPECT_EQ(handset.tally.restored, 0u);
  EXPECT_EQ(handset.tally.announced, 0u);
}

TEST(CallLogRestore, UpdateAndDuplicateModesInsertEveryLineAfterTheCount) {
  // Five calls where the count row says two; the third line holds no property and is passed
  // over. The first call is on the device already and goes in again.
  const std::u16string lines = CallLine(u"555-0101", 1) + CallLine(u"555-0102", 2) +
                               u"\"0x00,0x00\";\r\n" + CallLine(u"555-0103", 3) +
                               CallLine(u"555-0104", 4) + CallLine(u"555-0105", 5);
  for (RestoreMode mode : {RestoreMode::kAddNewAndUpdate, RestoreMode::kAllowDuplicates}) {
    Handset handset;
    handset.AddCalls({CallOf(u"555-0101", 1)});
    EXPECT_EQ(
        handset.Restore(CallFile(u"0x02,0x00,0x00,0x00", lines), mode),
        RestoreLog(u"2 records found in file.",
                   {u"Inserting call logs records...", u"1. call '#0' inserted.",
                    u"2. call '#1' inserted.", u"4. call '#3' inserted.", u"5. call '#4' inserted.",
                    u"6. call '#5' inserted.", u"5 call logs successfully stored in database."}));
    // The range is the count row's, set once.
    EXPECT_EQ(handset.Bars(), (Lines{u"item 0/2", u"item 1/-1", u"item 2/-1", u"item 4/-1",
                                     u"item 5/-1", u"item 6/-1"}));
    EXPECT_EQ(handset.Calls(), (std::vector<Call>{CallOf(u"555-0101", 1), CallOf(u"555-0101", 1),
                                                  CallOf(u"555-0102", 2), CallOf(u"555-0103", 3),
                                                  CallOf(u"555-0104", 4), CallOf(u"555-0105", 5)}));
    // The line with no property holds no call; the five others all came back.
    EXPECT_EQ(handset.tally.records, 5u);
    EXPECT_EQ(handset.tally.restored, 5u);
  }
}

TEST(CallLogRestore, OnlyNewCallsReadOnFromWhereTheLastTestStopped) {
  Handset handset;
  const Call first = CallOf(u"555-0101", 60);
  const Call second = CallOf(u"555-0102", 5);
  handset.AddCalls({first, second});
  // Finding the second call reads past the first, so the first is no longer seen; the last line
  // is then compared only with the first call just inserted after the old end.
  EXPECT_EQ(
      handset.Restore(
          CallFile(u"0x03,0x00,0x00,0x00",
                   CallLine(u"555-0102", 5) + CallLine(u"555-0101", 60) + CallLine(u"555-0102", 5)),
          RestoreMode::kAddOnlyNew),
      RestoreLog(u"3 records found in file.",
                 {u"Inserting call logs records...", u"1. call '#0' already exists. Nothing done.",
                  u"2. call '#1' inserted.", u"3. call '#2' inserted.",
                  u"2 call logs successfully stored in database."}));
  EXPECT_EQ(handset.Bars(), (Lines{u"item 0/3", u"item 1/-1", u"item 2/-1", u"item 3/-1"}));
  EXPECT_EQ(handset.Calls(), (std::vector<Call>{first, second, first, second}));
  EXPECT_EQ(handset.tally.restored, 3u) << "a call found already there came back too";

  // Matches add up over the records read: two calls with one equal property each make a call
  // neither of them is "exist"; and a call equal to a record read after one that matched in part
  // overshoots the count and is not found.
  Handset other;
  other.AddCalls({CallOf(u"555-0101", 5), CallOf(u"555-0101", 60)});
  EXPECT_EQ(
      other.Restore(CallFile(u"0x01,0x00,0x00,0x00", CallLine(u"555-0101", 99)),
                    RestoreMode::kAddOnlyNew),
      RestoreLog(u"1 record found in file.", {u"Inserting call logs records...",
                                              u"1. call '#0' already exists. Nothing done."}));
  EXPECT_EQ(other.Restore(CallFile(u"0x01,0x00,0x00,0x00", CallLine(u"555-0101", 60)),
                          RestoreMode::kAddOnlyNew),
            RestoreLog(u"1 record found in file.",
                       {u"Inserting call logs records...", u"1. call '#0' inserted.",
                        u"1 call log successfully stored in database."}));
  EXPECT_EQ(other.Calls(), (std::vector<Call>{CallOf(u"555-0101", 5), CallOf(u"555-0101", 60),
                                              CallOf(u"555-0101", 60)}));
}

// A call is there when a record of as many properties holds each of the file's with the same
// identifier, type and value; any one of them changed alone makes another call.
TEST(CallLogRestore, OnlyNewCallsMatchEachPropertyAndTheirCount) {
  const std::u16string there = CallLine(u"555-0101", 60);
  std::u16string other_identifier = there;
  other_identifier.replace(other_identifier.find(u"0x03,0x00,0x02"), 14, u"0x03,0x00,0x03");
  std::u16string other_type = there;
  other_type.replace(other_type.find(u"0x03,0x00,0x02"), 14, u"0x13,0x00,0x02");
  const std::pair<std::u16string, bool> cases[] = {
      {there, true},
      {CallLine(u"555-0102", 60), false},
      {CallLine(u"555-0101", 61), false},
      {other_identifier, false},
      {other_type, false},
      {u"\"0x01,0x00\";\"0x1f,0x00,0x01,0x00\";555-0101;\r\n", false},
  };
  for (const auto& [line, found] : cases) {
    Handset handset;
    handset.AddCalls({CallOf(u"555-0101", 60)});
    const Lines rows =
        handset.Restore(CallFile(u"0x01,0x00,0x00,0x00", line), RestoreMode::kAddOnlyNew);
    EXPECT_EQ(rows.at(7),
              found ? u"1. call '#0' already exists. Nothing done." : u"1. call '#0' inserted.")
        << platform::ToUtf8(line);
  }
}

// The cancel line comes before the total of what was stored until then.
TEST(CallLogRestore, CancelReportsTheTotalSoFar) {
  Handset handset;
  handset.page.cancel_after = u"1. call '#0' inserted.";
  EXPECT_EQ(handset.Restore(CallFile(u"0x02,0x00,0x00,0x00",
                                     CallLine(u"555-0101", 60) + CallLine(u"555-0102", 5)),
                            RestoreMode::kAllowDuplicates),
            RestoreLog(u"2 records found in file.",
                       {u"Inserting call logs records...", u"1. call '#0' inserted.",
                        u"! Call logs restore has been canceled.",
                        u"1 call log successfully stored in database."}));
  EXPECT_EQ(handset.Calls(), std::vector<Call>{CallOf(u"555-0101", 60)});
}

}  // namespace
}  // namespace kestrav::devicedb
