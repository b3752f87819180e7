// Dumping and loading object-store databases as JSON, on fresh device profiles (whose volume
// numbers its records from 1).
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "outlook/contact_record.h"
#include "platform/host/outlook_properties.h"
#include "platform/test_support/temporary_device.h"
#include "profile/item_json.h"
#include "profile/record_json.h"

namespace kestrav::profile {
namespace {

using platform::PropertyType;
using platform::PropertyValue;
using testing::TemporaryDevice;
using Records = std::vector<std::vector<PropertyValue>>;

constexpr auto DumpContacts = DumpItemsOf<platform::OutlookFolderId::kContacts>;
constexpr auto LoadContacts = LoadItemsOf<platform::OutlookFolderId::kContacts>;

// Runs the work on a database of the profile's volume.
template <typename Work>
void OnDatabase(platform::ObjectStore& store, std::u16string_view database, Work work) {
  platform::VolumeId volume = 0;
  ASSERT_EQ(store.MountVolume(u"\\pim.vol", platform::Disposition::kOpenExisting, &volume),
            platform::kErrorSuccess);
  const platform::DatabaseHandle handle = store.OpenDatabase(volume, database);
  work(handle);
  store.CloseDatabase(handle);
  store.UnmountVolume(volume);
}

Records ReadAll(platform::ObjectStore& store, std::u16string_view database) {
  Records records;
  OnDatabase(store, database, [&](platform::DatabaseHandle handle) {
    for (std::vector<PropertyValue> record; store.ReadNext(handle, nullptr, &record) != 0;)
      records.push_back(record);
  });
  return records;
}

void WriteRecord(platform::ObjectStore& store, std::u16string_view database,
                 const std::vector<PropertyValue>& record) {
  OnDatabase(store, database, [&](platform::DatabaseHandle handle) {
    EXPECT_NE(store.Write(handle, 0, record), 0u);
  });
}

PropertyValue& Add(std::vector<PropertyValue>& record, std::uint16_t identifier,
                   PropertyType type) {
  PropertyValue& property = record.emplace_back();
  property.id = platform::MakePropertyId(identifier, type);
  return property;
}

std::vector<PropertyValue> EveryType() {
  std::vector<PropertyValue> record;
  Add(record, 1, PropertyType::kInt16).integer = -5;
  PropertyValue& flagged = Add(record, 2, PropertyType::kInt32);
  flagged.integer = -100000;
  flagged.flags = 2;
  Add(record, 3, PropertyType::kDouble).real = 1234.5678;
  Add(record, 4, PropertyType::kBool).integer = 1;
  Add(record, 5, PropertyType::kUInt16).integer = 65535;
  Add(record, 6, PropertyType::kUInt32).integer = 3000000000;
  Add(record, 7, PropertyType::kString).text = u"Zo\u00EB \u05E9\u05DC\u05D5\u05DD \U0001F600";
  Add(record, 8, PropertyType::kFileTime).file_time = 0x01C766F012345678;
  Add(record, 9, PropertyType::kBlob).bytes = {0x01, 0xAB};
  Add(record, 10, PropertyType::kBlob);
  Add(record, 11, PropertyType::kStream).bytes = {0x00};
  Add(record, 12, PropertyType::kRecordId).bytes = {0x10, 0x20};
  Add(record, 13, PropertyType::kAutoInt32).integer = -7;
  Add(record, 14, PropertyType::kAutoInt64).bytes = {0xFF};
  Add(record, 15, PropertyType::kInt32).flags = platform::kPropertyNotFound;
  Add(record, 16, static_cast<PropertyType>(7));
  Add(record, 17, PropertyType::kDouble).real = -std::numeric_limits<double>::infinity();
  return record;
}

constexpr char kEveryTypeJson[] = R"([{"oid": 1, "props": [
  {"id": "0x00010002", "flags": 0, "value": -5},
  {"id": "0x00020003", "flags": 2, "value": -100000},
  {"id": "0x00030005", "flags": 0, "value": 1234.5678},
  {"id": "0x0004000B", "flags": 0, "value": 1},
  {"id": "0x00050012", "flags": 0, "value": 65535},
  {"id": "0x00060013", "flags": 0, "value": 3000000000},
  {"id": "0x0007001F", "flags": 0, "value": "Zo\u00eb \u05e9\u05dc\u05d5\u05dd \ud83d\ude00"},
  {"id": "0x00080040", "flags": 0, "value": "0x78,0x56,0x34,0x12,0xf0,0x66,0xc7,0x01"},
  {"id": "0x00090041", "flags": 0, "value": "0x01,0xab"},
  {"id": "0x000A0041", "flags": 0, "value": ""},
  {"id": "0x000B0064", "flags": 0, "value": "0x00"},
  {"id": "0x000C0065", "flags": 0, "value": "0x10,0x20"},
  {"id": "0x000D0066", "flags": 0, "value": -7},
  {"id": "0x000E0067", "flags": 0, "value": "0xff"},
  {"id": "0x000F0003", "flags": 256},
  {"id": "0x00100007", "flags": 0},
  {"id": "0x00110005", "flags": 0, "value": "-Infinity"}]}])";

TEST(DeviceJsonTest, EveryValueTypeDumpsAndLoadsBack) {
  TemporaryDevice source;
  platform::ObjectStore& store = source.device().object_store();
  WriteRecord(store, u"speed.db", EveryType());

  std::string json;
  std::string error;
  ASSERT_TRUE(DumpDatabase(store, u"speeddials", &json, &error)) << error;
  // Ordered, so that the keys' order counts too.
  EXPECT_EQ(nlohmann::ordered_json::parse(json), nlohmann::ordered_json::parse(kEveryTypeJson));

  TemporaryDevice target;
  ASSERT_TRUE(LoadDatabase(target.device().object_store(), u"speed.db", json, &error)) << error;
  EXPECT_EQ(ReadAll(target.device().object_store(), u"speed.db"), Records{EveryType()});
}

TEST(DeviceJsonTest, LoadAppendsWithNewObjectIds) {
  TemporaryDevice device;
  platform::ObjectStore& store = device.device().object_store();
  std::string error;
  const char record[] = R"([{"oid": 7, "props": [{"id": "0x00010003", "value": 1}]}])";
  ASSERT_TRUE(LoadDatabase(store, u"calllogs", record, &error)) << error;
  ASSERT_TRUE(LoadDatabase(store, u"clog.db", record, &error)) << error;

  std::string json;
  ASSERT_TRUE(DumpDatabase(store, u"clog.db", &json, &error)) << error;
  const std::string props =
      "    \"props\": [\n      {\n        \"id\": \"0x00010003\",\n        \"flags\": 0,\n"
      "        \"value\": 1\n      }\n    ]\n";
  EXPECT_EQ(json, "[\n  {\n    \"oid\": 1,\n" + props + "  },\n  {\n    \"oid\": 2,\n" + props +
                      "  }\n]\n");
}

TEST(DeviceJsonTest, InvalidDocumentWritesNothingAndNamesThePlace) {
  struct Case {
    const char* json;
    const char* reason;
  };
  const Case cases[] = {
      {R"([{"props": [{"id": "0x00010003", "value": 1}]},
           {"props": [{"id": "0x00010003", "value": 1}, {"id": "0x0002001F", "value": 5}]}])",
       "record 1, property 1: \"value\" must be a string"},
      {R"([{"props": [{"id": "0x1003", "value": 1}]}])",
       "record 0, property 0: \"id\" must be \"0x\" and 8 hexadecimal digits"},
      {R"([{"props": [{"id": "0x00010002", "value": 32768}]}])",
       "record 0, property 0: \"value\" must be an integer from -32768 to 32767"},
      {R"([{"props": [{"id": "0x00010013", "value": -1}]}])",
       "record 0, property 0: \"value\" must be an integer from 0 to 4294967295"},
      {R"([{"props": [{"id": "0x00010040", "value": "0x01"}]}])",
       "record 0, property 0: \"value\" must be a byte list of 8 bytes, low byte first"},
      {R"([{"props": [{"id": "0x00010003", "value": 1}, {"id": "0x00010003", "value": 2}]}])",
       "record 0, property 1: the record already has 0x00010003"},
      {R"([{"props": [{"id": "0x00010003", "flags": 256, "value": 1}]}])",
       "record 0, property 0: a property flagged not found (0x0100) has no \"value\""},
      {R"([{"props": [{"id": "0x00010003", "falgs": 1, "value": 1}]}])",
       "record 0, property 0: unknown key \"falgs\""},
      {R"([{"props": [{"id": "0x00010003"}]}])", "record 0, property 0: \"value\" is missing"},
      {R"([{"oid": 1}])", "record 0: \"props\" must be an array of properties"},
      {R"({"props": []})", "the document is not an array of records"},
      {"[", "the text is not valid JSON"},
  };
  TemporaryDevice device;
  for (const Case& bad : cases) {
    std::string error;
    EXPECT_FALSE(LoadDatabase(device.device().object_store(), u"clog.db", bad.json, &error));
    EXPECT_EQ(error, bad.reason);
  }
  EXPECT_TRUE(ReadAll(device.device().object_store(), u"clog.db").empty());
}

nlohmann::ordered_json WithoutOids(const std::string& dump) {
  nlohmann::ordered_json contacts = nlohmann::ordered_json::parse(dump);
  for (auto& contact : contacts) contact.erase("oid");
  return contacts;
}

// Contacts by property name: a dump of one generation loads into the other and dumps the same,
// while the records underneath hold each generation's own identifiers.
TEST(DeviceJsonTest, ContactsByNameAcrossGenerations) {
  const nlohmann::ordered_json contacts = nlohmann::ordered_json::parse(R"([
    {"FileAs": "Zoë", "MobileTelephoneNumber": "555-0101", "Birthday": 28365.0,
     "NotesInk": "0x01,0x02", "Body": "Two\r\nlines",
     "store": [{"id": "0x0086001F", "flags": 0, "value": "Z"}]},
    {"FileAs": ""}])");
  std::string json;
  std::string error;
  TemporaryDevice newer(platform::kWindowsMobile2005);
  ASSERT_TRUE(LoadContacts(newer.device(), contacts.dump(), &error)) << error;
  ASSERT_TRUE(DumpContacts(newer.device(), &json, &error)) << error;
  EXPECT_EQ(WithoutOids(json), contacts);

  TemporaryDevice older(platform::kWindowsMobile2003);
  ASSERT_TRUE(LoadContacts(older.device(), json, &error)) << error;
  const Records records = ReadAll(older.device().object_store(), u"Contacts Database");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0][1].id, 0x3A1C001Fu);  // the older generation's mobile phone
  EXPECT_EQ(records[0][3].id, 0x00170041u);  // and its Notes Ink, a byte block
  std::string older_json;
  ASSERT_TRUE(DumpContacts(older.device(), &older_json, &error)) << error;
  EXPECT_EQ(WithoutOids(older_json), contacts);

  TemporaryDevice newer_again(platform::kWindowsMobile2005);
  ASSERT_TRUE(LoadContacts(newer_again.device(), older_json, &error)) << error;
  EXPECT_EQ(ReadAll(newer_again.device().object_store(), u"Contacts Database"),
            ReadAll(newer.device().object_store(), u"Contacts Database"));
}

// A record as the device may hold it: store properties among the item properties, an item
// property with flags, a property flagged not found. The dump keeps every value and flag; a
// load writes the named properties first.
TEST(DeviceJsonTest, ContactRecordsKeepValuesFlagsAndNamedOrder) {
  for (const int os : {platform::kWindowsMobile2003, platform::kWindowsMobile2005}) {
    SCOPED_TRACE(os);
    const auto id = [os](platform::ItemProperty property) {
      return platform::host::ItemPropertyId(property, os);
    };
    std::vector<PropertyValue> record(7);
    record[0].id = 0x0086001F;  // NickName, a store property
    record[0].text = u"Ken";
    record[1].id = id(platform::ItemProperty::kFileAs);
    record[1].text = u"Nakamura, Kenji";
    record[2].id = outlook::NotesInkPropertyId(os);
    record[2].bytes = {0x00, 0xFF};
    record[3].id = id(platform::ItemProperty::kBirthday);
    record[3].real = -5.0;
    record[4].id = id(platform::ItemProperty::kFirstName);
    record[4].text = u"Kenji";
    record[4].flags = 2;
    record[5].id = id(platform::ItemProperty::kAnniversary);
    record[5].flags = platform::kPropertyNotFound;
    record[6].id = 0x00FF0041;  // Picture
    record[6].bytes = {0x89, 0x50};

    TemporaryDevice raw(os);
    WriteRecord(raw.device().object_store(), u"Contacts Database", record);
    std::string json;
    std::string error;
    ASSERT_TRUE(DumpContacts(raw.device(), &json, &error)) << error;
    char first_name[11];
    char anniversary[11];
    std::snprintf(first_name, sizeof first_name, "0x%08X", record[4].id);
    std::snprintf(anniversary, sizeof anniversary, "0x%08X", record[5].id);
    const nlohmann::ordered_json expected = {
        {"oid", 1},
        {"FileAs", "Nakamura, Kenji"},
        {"NotesInk", "0x00,0xff"},
        {"Birthday", -5.0},
        {"store",
         {{{"id", "0x0086001F"}, {"flags", 0}, {"value", "Ken"}},
          {{"id", first_name}, {"flags", 2}, {"value", "Kenji"}},
          {{"id", anniversary}, {"flags", 256}},
          {{"id", "0x00FF0041"}, {"flags", 0}, {"value", "0x89,0x50"}}}}};
    EXPECT_EQ(nlohmann::ordered_json::parse(json), nlohmann::ordered_json::array({expected}));

    TemporaryDevice target(os);
    ASSERT_TRUE(LoadContacts(target.device(), json, &error)) << error;
    const std::vector<PropertyValue> named_first = {record[1], record[2], record[3], record[0],
                                                    record[4], record[5], record[6]};
    EXPECT_EQ(ReadAll(target.device().object_store(), u"Contacts Database"), Records{named_first});
  }
}

TEST(DeviceJsonTest, RefusedContactsWriteNothing) {
  struct Case {
    const char* json;
    const char* reason;
  };
  const Case cases[] = {
      {R"([{"FileAs": "A"}, {"FileAs": 1}])", "contact 1: \"FileAs\" must be a string"},
      {R"([{"FileAs": "A"}, {"Fileas": "B"}])", "contact 1: unknown key \"Fileas\""},
      {R"([{"Birthday": "1977-08-28"}])",
       "contact 0: \"Birthday\" must be an OLE date: a number, \"NaN\", \"Infinity\" or "
       "\"-Infinity\""},
      {R"([{"NotesInk": "0x1g"}])",
       "contact 0: \"NotesInk\" must be a byte list such as \"0x01,0xab\""},
      {R"([{"FileAs": "A", "store": {}}])", "contact 0: \"store\" must be an array of properties"},
      {R"([{"NotesInk": "", "store": [{"id": "0x001E0064", "value": ""}]}])",
       "contact 0: store property 0: the contact already has 0x001E0064"},
      {R"([{"FileAs": "A"}, 3])", "contact 1: not an object"},
      {R"({"FileAs": "A"})", "the document is not an array of contacts"},
  };
  TemporaryDevice device;
  for (const Case& bad : cases) {
    std::string error;
    EXPECT_FALSE(LoadContacts(device.device(), bad.json, &error)) << bad.json;
    EXPECT_EQ(error, bad.reason);
  }
  EXPECT_TRUE(ReadAll(device.device().object_store(), u"Contacts Database").empty());
}

// Appointments and tasks by name: recipients and the recurrence in their readable forms, a dump
// of one generation loading into the other and dumping the same; the object model reads what
// was loaded.
TEST(DeviceJsonTest, AppointmentsAndTasksByNameAcrossGenerations) {
  const nlohmann::ordered_json appointments = nlohmann::ordered_json::parse(R"([
    {"Subject": "Review; \"Q2\"", "Start": 39156.5, "End": 39156.75, "AllDayEvent": false,
     "BusyStatus": 2, "BodyInk": "0x01,0xab",
     "recipients": [{"name": "Zoë", "address": "zoe@example.org"}, {"name": "Дима", "address": ""}],
     "MeetingStatus": 1,
     "recurrence": {"RecurrenceType": 3, "Interval": 1, "Instance": 2, "DayOfWeekMask": 4,
       "DayOfMonth": 0, "MonthOfYear": 0, "PatternStartDate": 39155.0, "PatternEndDate": 39400.0,
       "Occurrences": 0, "NoEndDate": false, "StartTime": 0.5, "EndTime": 0.75, "Duration": 360,
       "Exceptions": [{"OriginalDate": 39183.5, "Deleted": true, "Start": 0.0, "End": 0.0},
                      {"OriginalDate": 39211.5, "Deleted": false, "Start": 39211.625, "End": 39211.75}]},
     "IsRecurring": true,
     "store": [{"id": "0x7FFF001F", "flags": 0, "value": "kept"}]}])");
  const nlohmann::ordered_json tasks = nlohmann::ordered_json::parse(R"([
    {"Subject": "Taxes 😀", "DueDate": 39171.0, "Complete": true, "Importance": 2,
     "recurrence": {"RecurrenceType": 0, "Interval": 7, "Instance": 0, "DayOfWeekMask": 0,
       "DayOfMonth": 0, "MonthOfYear": 0, "PatternStartDate": 39145.0, "PatternEndDate": 0.0,
       "Occurrences": 5, "NoEndDate": false, "StartTime": 0.0, "EndTime": 0.0, "Duration": 0,
       "Exceptions": []}}])");
  const auto round_trip = [](platform::OutlookFolderId folder,
                             const nlohmann::ordered_json& items) {
    std::string json = items.dump();
    std::string error;
    for (const int os : {platform::kWindowsMobile2005, platform::kWindowsMobile2003,
                         platform::kWindowsMobile2005}) {
      TemporaryDevice device(os);
      ASSERT_TRUE(LoadItems(device.device(), folder, json, &error)) << error;
      ASSERT_TRUE(DumpItems(device.device(), folder, &json, &error)) << error;
      EXPECT_EQ(WithoutOids(json), items) << os;
    }
  };
  round_trip(platform::OutlookFolderId::kCalendar, appointments);
  round_trip(platform::OutlookFolderId::kTasks, tasks);

  // A dump, written item by item, reads as the whole array dumped at once; none is "[]".
  TemporaryDevice both;
  std::string text;
  std::string dump_error;
  ASSERT_TRUE(DumpItems(both.device(), platform::OutlookFolderId::kTasks, &text, &dump_error));
  EXPECT_EQ(text, "[]\n");
  for (int copy = 0; copy < 2; ++copy) {
    ASSERT_TRUE(LoadItems(both.device(), platform::OutlookFolderId::kCalendar, appointments.dump(),
                          &dump_error))
        << dump_error;
  }
  ASSERT_TRUE(DumpItems(both.device(), platform::OutlookFolderId::kCalendar, &text, &dump_error));
  EXPECT_EQ(text, nlohmann::ordered_json::parse(text).dump(2) + "\n");

  TemporaryDevice older(platform::kWindowsMobile2003);
  std::string error;
  ASSERT_TRUE(
      LoadItems(older.device(), platform::OutlookFolderId::kCalendar, appointments.dump(), &error))
      << error;
  const Records records = ReadAll(older.device().object_store(), u"Appointments Database");
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0][1].id, 0x820D0005u);  // the older generation's Start
  EXPECT_EQ(records[0][6].id, 0x82300041u);  // and its recipients' block
  platform::OutlookRuntime& runtime = older.device().outlook();
  std::unique_ptr<platform::OutlookApplication> application;
  ASSERT_EQ(runtime.CreateApplication(&application), platform::kSOk);
  ASSERT_EQ(application->Logon(), platform::kSOk);
  std::unique_ptr<platform::OutlookFolder> calendar;
  std::unique_ptr<platform::OutlookItemCollection> items;
  std::unique_ptr<platform::OutlookItem> item;
  ASSERT_EQ(application->GetDefaultFolder(platform::OutlookFolderId::kCalendar, &calendar),
            platform::kSOk);
  ASSERT_EQ(calendar->Items(&items), platform::kSOk);
  ASSERT_EQ(items->Item(1, &item), platform::kSOk);
  platform::Recipient second;
  EXPECT_EQ(item->GetRecipient(2, &second), platform::kSOk);
  EXPECT_EQ(second, (platform::Recipient{u"Дима", u""}));
  std::optional<platform::RecurrencePattern> pattern;
  ASSERT_EQ(item->GetRecurrence(&pattern), platform::kSOk);
  ASSERT_TRUE(pattern && pattern->exceptions.size() == 2);
  EXPECT_EQ(pattern->exceptions[1].start, 39211.625);
  application->Logoff();
}

// What the readable forms cannot hold exactly - a boolean that is neither 0 nor 1, a cut
// recurrence block - is shown under "store" and loads back as it was.
TEST(DeviceJsonTest, ItemValuesTheNamedFormCannotHoldStayInTheStore) {
  const int os = platform::kWindowsMobile2005;
  std::vector<PropertyValue> record(3);
  record[0].id = platform::host::ItemPropertyId(platform::ItemProperty::kSubject, os);
  record[0].text = u"Odd";
  record[1].id = platform::host::ItemPropertyId(platform::ItemProperty::kReminderSet, os);
  record[1].integer = 5;
  record[2].id = platform::host::RecurrencePropertyId(os);
  record[2].bytes = {1, 2, 3};
  TemporaryDevice raw(os);
  WriteRecord(raw.device().object_store(), u"Tasks Database", record);
  std::string json;
  std::string error;
  ASSERT_TRUE(DumpItems(raw.device(), platform::OutlookFolderId::kTasks, &json, &error)) << error;
  const nlohmann::ordered_json task = WithoutOids(json)[0];
  EXPECT_EQ(task["Subject"], "Odd");
  ASSERT_EQ(task["store"].size(), 2u);
  EXPECT_EQ(task["store"][1]["value"], "0x01,0x02,0x03");

  TemporaryDevice target(os);
  ASSERT_TRUE(LoadItems(target.device(), platform::OutlookFolderId::kTasks, json, &error)) << error;
  EXPECT_EQ(ReadAll(target.device().object_store(), u"Tasks Database"), Records{record});
}

TEST(DeviceJsonTest, RefusedAppointmentsAndTasksWriteNothing) {
  struct Case {
    platform::OutlookFolderId folder;
    const char* json;
    const char* reason;
  };
  constexpr auto kCalendar = platform::OutlookFolderId::kCalendar;
  constexpr auto kTasks = platform::OutlookFolderId::kTasks;
  const Case cases[] = {
      {kCalendar, R"([{"Subject": "A"}, {"AllDayEvent": 1}])",
       "appointment 1: \"AllDayEvent\" must be true or false"},
      {kCalendar, R"([{"Duration": 2147483648}])",
       "appointment 0: \"Duration\" must be an integer from -2147483648 to 2147483647"},
      {kTasks, R"([{"Location": "Home"}])", "task 0: unknown key \"Location\""},
      {kCalendar, R"([{"recipients": [{"name": "A", "mail": "a@example.org"}]}])",
       "appointment 0: recipient 0: unknown key \"mail\""},
      {kCalendar, R"([{"recipients": {"name": "A"}}])",
       "appointment 0: \"recipients\" must be an array of recipients"},
      {kTasks, R"([{"recurrence": {"Interval": "2"}}])",
       "task 0: recurrence: \"Interval\" must be an integer from -2147483648 to 2147483647"},
      {kTasks, R"([{"recurrence": {"Every": 2}}])", "task 0: recurrence: unknown key \"Every\""},
      {kCalendar, R"([{"recurrence": {"Exceptions": [{"OriginalDate": "today"}]}}])",
       "appointment 0: recurrence: exception 0: \"OriginalDate\" must be an OLE date: a number, "
       "\"NaN\", \"Infinity\" or \"-Infinity\""},
      {kTasks, R"([{"recurrence": {"Exceptions": {}}}])",
       "task 0: recurrence: \"Exceptions\" must be an array of exceptions"},
      {kTasks, R"({"Subject": "A"})", "the document is not an array of tasks"},
  };
  TemporaryDevice device;
  for (const Case& bad : cases) {
    std::string error;
    EXPECT_FALSE(LoadItems(device.device(), bad.folder, bad.json, &error)) << bad.json;
    EXPECT_EQ(error, bad.reason);
  }
  EXPECT_TRUE(ReadAll(device.device().object_store(), u"Appointments Database").empty());
  EXPECT_TRUE(ReadAll(device.device().object_store(), u"Tasks Database").empty());
}

TEST(DeviceJsonTest, MissingDatabaseOrVolume) {
  TemporaryDevice device;
  platform::ObjectStore& store = device.device().object_store();
  std::string json;
  std::string error;
  EXPECT_FALSE(DumpDatabase(store, u"contacts", &json, &error));
  EXPECT_EQ(error, "no database contacts in \\pim.vol");
  EXPECT_FALSE(LoadDatabase(store, u"Contacts", "[]", &error));
  EXPECT_EQ(error, "no database Contacts in \\pim.vol");

  std::filesystem::remove(device.HostPath(u"\\pim.vol"));
  EXPECT_FALSE(DumpDatabase(store, u"clog.db", &json, &error));
  EXPECT_EQ(error, "cannot open \\pim.vol: The system cannot find the file specified.");
}

}  // namespace
}  // namespace kestrav::profile
