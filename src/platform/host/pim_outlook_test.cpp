#include "platform/host/pim_outlook.h"

#include <gtest/gtest.h>

#include <set>

#include "platform/host/outlook_properties.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::platform::host {
namespace {

using kestrav::testing::TemporaryDevice;

constexpr std::uint32_t kNickName = 0x0086001F;
constexpr std::uint32_t kPicture = 0x00FF0041;

PropertyValue TextValue(std::uint32_t id, std::u16string text) {
  PropertyValue value;
  value.id = id;
  value.text = std::move(text);
  return value;
}

std::unique_ptr<OutlookApplication> LoggedOn(Device& device) {
  std::unique_ptr<OutlookApplication> application;
  EXPECT_EQ(device.outlook().CreateApplication(&application), kSOk);
  EXPECT_EQ(application->Logon(), kSOk);
  return application;
}

std::unique_ptr<OutlookItemCollection> Items(OutlookApplication& application, OutlookFolderId id) {
  std::unique_ptr<OutlookFolder> folder;
  std::unique_ptr<OutlookItemCollection> items;
  EXPECT_EQ(application.GetDefaultFolder(id, &folder), kSOk);
  if (folder) {
    EXPECT_EQ(folder->Items(&items), kSOk);
  }
  return items;
}

std::u16string Text(OutlookItem& item, ItemProperty property) {
  std::u16string text = u"unread";
  EXPECT_EQ(item.GetText(property, &text), kSOk);
  return text;
}

// A database of "\pim.vol" opened straight on the store, beside the object model.
struct StoreDatabase {
  StoreDatabase(ObjectStore& store, std::u16string_view name) : store(store) {
    EXPECT_EQ(store.MountVolume(u"\\pim.vol", Disposition::kOpenExisting, &volume), kErrorSuccess);
    handle = store.OpenDatabase(volume, name);
  }
  ~StoreDatabase() { store.UnmountVolume(volume); }

  // Every record's object id and one text property, in the store's order.
  std::vector<std::pair<ObjectId, std::u16string>> Walk(std::uint32_t id) {
    std::vector<std::pair<ObjectId, std::u16string>> records;
    const std::vector<std::uint32_t> wanted = {id};
    std::vector<PropertyValue> properties;
    if (store.Seek(handle, 0) == 0) return records;
    while (const ObjectId oid = store.ReadNext(handle, &wanted, &properties))
      records.emplace_back(oid, properties[0].text);
    return records;
  }

  ObjectStore& store;
  VolumeId volume = 0;
  DatabaseHandle handle = kInvalidDatabaseHandle;
};

TEST(OutlookProperties, EveryPropertyHasOneNameAndOneIdentifierPerGeneration) {
  for (int os : {kWindowsMobile2003, kWindowsMobile2005}) {
    std::set<std::uint32_t> ids;
    for (const ItemPropertyInfo& info : AllItemProperties()) {
      EXPECT_EQ(ItemPropertyByName(info.name), info.property) << info.name;
      const std::uint32_t id = ItemPropertyId(info.property, os);
      EXPECT_EQ(ItemPropertyById(id, os), info.property) << info.name;
      const std::uint32_t types[] = {0x001F, 0x0005, 0x000B, 0x0003, 0x0041};
      EXPECT_EQ(id & 0xFFFF, types[static_cast<int>(ItemPropertyType(info.property))]) << info.name;
      EXPECT_EQ(IsDateProperty(info.property),
                ItemPropertyType(info.property) == ItemValueType::kDate);
      ids.insert(id);
    }
    EXPECT_EQ(ids.size(), AllItemProperties().size());
    EXPECT_FALSE(ids.contains(RecipientsPropertyId(os)));
    EXPECT_FALSE(ids.contains(RecurrencePropertyId(os)));
  }
  EXPECT_EQ(ItemPropertyByName("fileas"), std::nullopt);
  EXPECT_EQ(ItemPropertyById(0x0096001F, 4), std::nullopt);
}

class PimOutlookTest : public ::testing::TestWithParam<int> {
 protected:
  int os() const { return GetParam(); }
  std::uint32_t Id(ItemProperty property) const { return ItemPropertyId(property, os()); }

  TemporaryDevice device_{GetParam()};
};

TEST_P(PimOutlookTest, ItemsRoundTripThroughTheirRecords) {
  auto application = LoggedOn(device_.device());
  std::unique_ptr<OutlookItem> contact;
  ASSERT_EQ(application->CreateItem(OutlookItemType::kContact, &contact), kSOk);
  contact->SetText(ItemProperty::kFileAs, u"Zo\u00eb, Ann");
  contact->SetText(ItemProperty::kFirstName, u"Ann");
  EXPECT_EQ(contact->SetText(ItemProperty::kFirstName, u"Zo\u00eb"), kSOk);
  EXPECT_EQ(contact->SetDate(ItemProperty::kBirthday, 28930.0), kSOk);
  EXPECT_EQ(contact->SetDate(ItemProperty::kFileAs, 1.0), kEInvalidArgument);
  EXPECT_EQ(contact->SetText(ItemProperty::kBirthday, u"x"), kEInvalidArgument);
  const HResult store_access = os() >= kWindowsMobile2005 ? kSOk : kENotImplemented;
  std::vector<PropertyValue> properties;
  EXPECT_EQ(contact->SetProperties({TextValue(kNickName, u"Zo")}), store_access);
  EXPECT_EQ(contact->GetProperties({kNickName}, &properties), store_access);
  EXPECT_EQ(contact->Oid(), 0u);
  ASSERT_EQ(contact->Save(), kSOk);
  const ObjectId oid = contact->Oid();
  EXPECT_NE(oid, 0u);

  // A second application reads the record afresh.
  auto reader = LoggedOn(device_.device());
  auto contacts = Items(*reader, OutlookFolderId::kContacts);
  int count = 0;
  ASSERT_EQ(contacts->Count(&count), kSOk);
  ASSERT_EQ(count, 1);
  std::unique_ptr<OutlookItem> read;
  ASSERT_EQ(contacts->Item(1, &read), kSOk);
  EXPECT_EQ(read->Oid(), oid);
  EXPECT_EQ(Text(*read, ItemProperty::kFirstName), u"Zo\u00eb");
  EXPECT_EQ(Text(*read, ItemProperty::kLastName), u"");
  double date = 0;
  EXPECT_EQ(read->GetDate(ItemProperty::kBirthday, &date), kSOk);
  EXPECT_EQ(date, 28930.0);
  EXPECT_EQ(read->GetDate(ItemProperty::kAnniversary, &date), kSOk);
  EXPECT_EQ(date, kOleDateNone);
  if (os() >= kWindowsMobile2005) {
    ASSERT_EQ(read->GetProperties({kNickName, kPicture}, &properties), kSOk);
    ASSERT_EQ(properties.size(), 2u);
    EXPECT_EQ(properties[0], TextValue(kNickName, u"Zo"));
    EXPECT_EQ(properties[1].id, kPicture);
    EXPECT_EQ(properties[1].flags, kPropertyNotFound);
  } else {
    EXPECT_EQ(read->GetProperties({kNickName}, &properties), kENotImplemented);
  }

  // A change is seen before Save and written by it; the record holds the generation's ids.
  EXPECT_EQ(read->SetText(ItemProperty::kLastName, u"Okafor"), kSOk);
  EXPECT_EQ(Text(*read, ItemProperty::kLastName), u"Okafor");
  ASSERT_EQ(read->Save(), kSOk);
  EXPECT_EQ(read->Oid(), oid);
  StoreDatabase database(device_.device().object_store(), u"Contacts Database");
  const std::vector<std::uint32_t> wanted = {Id(ItemProperty::kFileAs), Id(ItemProperty::kLastName),
                                             Id(ItemProperty::kBirthday)};
  ASSERT_EQ(database.store.Seek(database.handle, oid), oid);
  ASSERT_EQ(database.store.ReadNext(database.handle, &wanted, &properties), oid);
  EXPECT_EQ(properties[0], TextValue(wanted[0], u"Zo\u00eb, Ann"));
  EXPECT_EQ(properties[1], TextValue(wanted[1], u"Okafor"));
  EXPECT_EQ(properties[2].real, 28930.0);

  // An empty text is no value: the property leaves the record.
  ASSERT_EQ(read->SetText(ItemProperty::kLastName, u""), kSOk);
  ASSERT_EQ(read->Save(), kSOk);
  EXPECT_EQ(Text(*read, ItemProperty::kLastName), u"");
  ASSERT_EQ(database.store.Seek(database.handle, oid), oid);
  ASSERT_EQ(database.store.ReadNext(database.handle, &wanted, &properties), oid);
  EXPECT_EQ(properties[1].flags, kPropertyNotFound);
}

TEST_P(PimOutlookTest, CollectionAgreesWithAWalkOfTheStore) {
  const std::uint32_t file_as = Id(ItemProperty::kFileAs);
  StoreDatabase database(device_.device().object_store(), u"Contacts Database");
  // Records the store already holds, one without a file-as name at all.
  for (const char16_t* name : {u"Smith", u"", u"smith"})
    database.store.Write(database.handle, 0, {TextValue(file_as, name)});
  database.store.Write(database.handle, 0, {TextValue(Id(ItemProperty::kFirstName), u"Bo")});

  auto application = LoggedOn(device_.device());
  auto contacts = Items(*application, OutlookFolderId::kContacts);
  auto add = [&](std::u16string_view name) {
    std::unique_ptr<OutlookItem> item;
    ASSERT_EQ(application->CreateItem(OutlookItemType::kContact, &item), kSOk);
    if (!name.empty()) item->SetText(ItemProperty::kFileAs, name);
    ASSERT_EQ(item->Save(), kSOk);
  };
  for (const char16_t* name : {u"SMITH", u"Ng", u"Smith", u"", u"ng", u"Smith", u"Ng"}) add(name);
  ASSERT_EQ(contacts->Remove(1), kSOk);
  ASSERT_EQ(contacts->Remove(4), kSOk);
  int count = 0;
  ASSERT_EQ(contacts->Count(&count), kSOk);
  ASSERT_EQ(contacts->Remove(count), kSOk);
  std::unique_ptr<OutlookItem> renamed;
  ASSERT_EQ(contacts->Item(5, &renamed), kSOk);
  ASSERT_EQ(renamed->SetText(ItemProperty::kFileAs, u"smith"), kSOk);
  ASSERT_EQ(renamed->Save(), kSOk);
  add(u"Ng");

  const auto records = database.Walk(file_as);
  ASSERT_EQ(contacts->Count(&count), kSOk);
  ASSERT_EQ(count, static_cast<int>(records.size()));
  for (int i = 1; i <= count; ++i) {
    std::unique_ptr<OutlookItem> item;
    ASSERT_EQ(contacts->Item(i, &item), kSOk);
    EXPECT_EQ(item->Oid(), records[i - 1].first);
    EXPECT_EQ(Text(*item, ItemProperty::kFileAs), records[i - 1].second);
  }
  for (const char16_t* name : {u"Smith", u"smith", u"SMITH", u"Ng", u"ng", u"", u"Nobody"}) {
    const std::u16string_view text(name);
    for (int after = -1; after <= count + 1; ++after) {
      int expected = 0;
      for (int j = std::max(after, 0) + 1; j <= count && !text.empty(); ++j) {
        if (records[j - 1].second == text) {
          expected = j;
          break;
        }
      }
      int found = -1;
      ASSERT_EQ(contacts->FindKeyText(text, after, &found), kSOk);
      EXPECT_EQ(found, expected) << ToUtf8(text) << " after " << after;
    }
  }
  std::unique_ptr<OutlookItem> item;
  EXPECT_EQ(contacts->Item(0, &item), kEInvalidArgument);
  EXPECT_EQ(contacts->Item(count + 1, &item), kEInvalidArgument);
  EXPECT_EQ(contacts->Remove(count + 1), kEInvalidArgument);
}

TEST_P(PimOutlookTest, AppointmentsAndTasksAreKeyedByTheirSubject) {
  StoreDatabase database(device_.device().object_store(), u"Appointments Database");
  const std::uint32_t subject = Id(ItemProperty::kSubject);
  database.store.Write(database.handle, 0, {TextValue(subject, u"Lunch")});
  const ObjectId dentist =
      database.store.Write(database.handle, 0, {TextValue(subject, u"Dentist")});

  auto application = LoggedOn(device_.device());
  auto calendar = Items(*application, OutlookFolderId::kCalendar);
  int position = 0;
  ASSERT_EQ(calendar->FindKeyText(u"Dentist", 0, &position), kSOk);
  EXPECT_EQ(position, 2);
  std::unique_ptr<OutlookItem> item;
  ASSERT_EQ(calendar->Item(position, &item), kSOk);
  EXPECT_EQ(item->Oid(), dentist);

  std::unique_ptr<OutlookItem> task;
  ASSERT_EQ(application->CreateItem(OutlookItemType::kTask, &task), kSOk);
  task->SetText(ItemProperty::kSubject, u"Dentist");
  ASSERT_EQ(task->Save(), kSOk);
  auto tasks = Items(*application, OutlookFolderId::kTasks);
  ASSERT_EQ(tasks->FindKeyText(u"Dentist", 0, &position), kSOk);
  EXPECT_EQ(position, 1);
  ASSERT_EQ(calendar->FindKeyText(u"Dentist", 2, &position), kSOk);
  EXPECT_EQ(position, 0);
}

// Typed properties, recipients and recurrence live in the record; IsRecurring and MeetingStatus
// follow them and cannot be set; a contact has neither recipients nor recurrence.
TEST_P(PimOutlookTest, TypedValuesRecipientsAndRecurrence) {
  std::unique_ptr<OutlookApplication> application = LoggedOn(device_.device());
  std::unique_ptr<OutlookItem> meeting;
  ASSERT_EQ(application->CreateItem(OutlookItemType::kAppointment, &meeting), kSOk);
  const std::uint8_t ink[] = {7, 8};
  EXPECT_EQ(meeting->SetBoolean(ItemProperty::kAllDayEvent, true), kSOk);
  EXPECT_EQ(meeting->SetInteger(ItemProperty::kBusyStatus, -3), kSOk);
  EXPECT_EQ(meeting->SetBytes(ItemProperty::kBodyInk, ink), kSOk);
  EXPECT_EQ(meeting->SetInteger(ItemProperty::kMeetingStatus, 1), kEInvalidArgument);
  EXPECT_EQ(meeting->SetBoolean(ItemProperty::kIsRecurring, true), kEInvalidArgument);
  EXPECT_EQ(meeting->AddRecipient({u"Ann", u"ann@example.org"}), kSOk);
  EXPECT_EQ(meeting->AddRecipient({u"", u"b@example.org"}), kSOk);
  RecurrencePattern pattern;
  pattern.recurrence_type = 5;
  pattern.pattern_end_date = 39500.25;
  pattern.exceptions = {{.original_date = 1.5, .deleted = true}, {.start = 2.0, .end = 3.0}};
  EXPECT_EQ(meeting->SetRecurrence(pattern), kSOk);
  ASSERT_EQ(meeting->Save(), kSOk);

  std::unique_ptr<OutlookItem> read;
  ASSERT_EQ(Items(*application, OutlookFolderId::kCalendar)->Item(1, &read), kSOk);
  bool flag = false;
  std::int32_t number = 0;
  std::vector<std::uint8_t> bytes;
  EXPECT_EQ(read->GetBoolean(ItemProperty::kAllDayEvent, &flag), kSOk);
  EXPECT_TRUE(flag);
  EXPECT_EQ(read->GetInteger(ItemProperty::kBusyStatus, &number), kSOk);
  EXPECT_EQ(number, -3);
  EXPECT_EQ(read->GetBytes(ItemProperty::kBodyInk, &bytes), kSOk);
  EXPECT_EQ(bytes, (std::vector<std::uint8_t>{7, 8}));
  EXPECT_EQ(read->GetInteger(ItemProperty::kMeetingStatus, &number), kSOk);
  EXPECT_EQ(number, 1);
  EXPECT_EQ(read->GetBoolean(ItemProperty::kIsRecurring, &flag), kSOk);
  EXPECT_TRUE(flag);
  int count = 0;
  Recipient second;
  EXPECT_EQ(read->RecipientCount(&count), kSOk);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(read->GetRecipient(2, &second), kSOk);
  EXPECT_EQ(second, (Recipient{u"", u"b@example.org"}));
  EXPECT_EQ(read->GetRecipient(3, &second), kEInvalidArgument);
  std::optional<RecurrencePattern> back;
  EXPECT_EQ(read->GetRecurrence(&back), kSOk);
  EXPECT_EQ(back, pattern);

  read->RemoveAllRecipients();
  read->ClearRecurrence();
  ASSERT_EQ(read->Save(), kSOk);
  EXPECT_EQ(read->RecipientCount(&count), kSOk);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(read->GetRecurrence(&back), kSOk);
  EXPECT_FALSE(back);
  EXPECT_EQ(read->GetInteger(ItemProperty::kMeetingStatus, &number), kSOk);
  EXPECT_EQ(number, 0);

  std::unique_ptr<OutlookItem> contact;
  ASSERT_EQ(application->CreateItem(OutlookItemType::kContact, &contact), kSOk);
  EXPECT_EQ(contact->GetRecurrence(&back), kEInvalidArgument);
  std::unique_ptr<OutlookItem> task;
  ASSERT_EQ(application->CreateItem(OutlookItemType::kTask, &task), kSOk);
  EXPECT_EQ(task->AddRecipient({u"Ann", u""}), kEInvalidArgument);
  EXPECT_EQ(task->SetRecurrence(pattern), kSOk);
}

// Recipients are seen as soon as they are added and reach the record with the item's next save,
// in the block's own form (each text a 16-bit length and its UTF-16LE units); a block an older
// profile holds reads as its whole entries.
TEST_P(PimOutlookTest, RecipientsReachTheRecordInTheirBlockAtTheSave) {
  using Bytes = std::vector<std::uint8_t>;
  const std::uint32_t block_id = RecipientsPropertyId(os());
  StoreDatabase database(device_.device().object_store(), u"Appointments Database");
  const auto record = [&](ObjectId oid) {
    const std::vector<std::uint32_t> wanted = {block_id, Id(ItemProperty::kMeetingStatus)};
    std::vector<PropertyValue> properties;
    EXPECT_EQ(database.store.Seek(database.handle, oid), oid);
    EXPECT_EQ(database.store.ReadNext(database.handle, &wanted, &properties), oid);
    return std::pair(properties.at(0).bytes, properties.at(1).integer);
  };
  // "Ann" <a@x>, then an entry cut inside its address.
  const Bytes ann = {3, 0, 'A', 0, 'n', 0, 'n', 0, 3, 0, 'a', 0, '@', 0, 'x', 0};
  PropertyValue old_block;
  old_block.id = block_id;
  old_block.bytes = ann;
  old_block.bytes.insert(old_block.bytes.end(), {1, 0, 'C', 0, 5, 0, 'c', 0});
  const ObjectId oid = database.store.Write(
      database.handle, 0, {TextValue(Id(ItemProperty::kSubject), u"Sync"), old_block});

  auto application = LoggedOn(device_.device());
  std::unique_ptr<OutlookItem> item;
  ASSERT_EQ(Items(*application, OutlookFolderId::kCalendar)->Item(1, &item), kSOk);
  int count = 0;
  ASSERT_EQ(item->RecipientCount(&count), kSOk);
  EXPECT_EQ(count, 1);
  ASSERT_EQ(item->AddRecipient({u"", u"b"}), kSOk);
  ASSERT_EQ(item->RecipientCount(&count), kSOk);
  EXPECT_EQ(count, 2);
  Recipient recipient;
  ASSERT_EQ(item->GetRecipient(1, &recipient), kSOk);
  EXPECT_EQ(recipient, (Recipient{u"Ann", u"a@x"}));
  ASSERT_EQ(item->GetRecipient(2, &recipient), kSOk);
  EXPECT_EQ(recipient, (Recipient{u"", u"b"}));
  EXPECT_EQ(record(oid).first, old_block.bytes);

  ASSERT_EQ(item->Save(), kSOk);
  Bytes saved = ann;
  saved.insert(saved.end(), {0, 0, 1, 0, 'b', 0});
  EXPECT_EQ(record(oid), std::pair(saved, std::int64_t{1}));

  // Adding goes on from the list as saved; another logon reads the list in order.
  ASSERT_EQ(item->AddRecipient({u"Dee", u""}), kSOk);
  ASSERT_EQ(item->Save(), kSOk);
  std::unique_ptr<OutlookItem> again;
  ASSERT_EQ(Items(*LoggedOn(device_.device()), OutlookFolderId::kCalendar)->Item(1, &again), kSOk);
  ASSERT_EQ(again->RecipientCount(&count), kSOk);
  EXPECT_EQ(count, 3);
  ASSERT_EQ(again->GetRecipient(3, &recipient), kSOk);
  EXPECT_EQ(recipient, (Recipient{u"Dee", u""}));

  if (os() < kWindowsMobile2005) return;
  // By identifier, the block shows the recipients added before the save, and a block set so
  // replaces them.
  ASSERT_EQ(again->RemoveAllRecipients(), kSOk);
  ASSERT_EQ(again->AddRecipient({u"E", u""}), kSOk);
  std::vector<PropertyValue> properties;
  ASSERT_EQ(again->GetProperties({block_id}, &properties), kSOk);
  EXPECT_EQ(properties.at(0).bytes, (Bytes{1, 0, 'E', 0, 0, 0}));
  PropertyValue replacing;
  replacing.id = block_id;
  replacing.bytes = {0, 0, 0, 0};
  ASSERT_EQ(again->SetProperties({replacing}), kSOk);
  ASSERT_EQ(again->AddRecipient({u"F", u""}), kSOk);
  ASSERT_EQ(again->RecipientCount(&count), kSOk);
  EXPECT_EQ(count, 2);
  ASSERT_EQ(again->Save(), kSOk);
  EXPECT_EQ(record(oid).first, (Bytes{0, 0, 0, 0, 1, 0, 'F', 0, 0, 0}));
}

TEST_P(PimOutlookTest, WithoutTheVolumeOrAfterLogoffEverythingFails) {
  PimOutlookRuntime& runtime = dynamic_cast<PimOutlookRuntime&>(device_.device().outlook());
  EXPECT_EQ(runtime.Initialize(), kSOk);
  std::unique_ptr<OutlookApplication> application;
  ASSERT_EQ(runtime.CreateApplication(&application), kSOk);
  std::unique_ptr<OutlookFolder> folder;
  std::unique_ptr<OutlookItem> item;
  EXPECT_EQ(application->GetDefaultFolder(OutlookFolderId::kContacts, &folder), kEFail);
  EXPECT_EQ(application->CreateItem(OutlookItemType::kContact, &item), kEFail);

  ASSERT_EQ(application->Logon(), kSOk);
  ASSERT_EQ(application->CreateItem(OutlookItemType::kContact, &item), kSOk);
  item->SetText(ItemProperty::kFileAs, u"Ng");
  ASSERT_EQ(item->Save(), kSOk);
  std::unique_ptr<OutlookItem> unsaved;
  ASSERT_EQ(application->CreateItem(OutlookItemType::kTask, &unsaved), kSOk);
  ASSERT_EQ(application->GetDefaultFolder(OutlookFolderId::kContacts, &folder), kSOk);
  auto contacts = Items(*application, OutlookFolderId::kContacts);
  std::unique_ptr<OutlookItem> fetched;
  ASSERT_EQ(contacts->Item(1, &fetched), kSOk);

  ASSERT_EQ(application->Logoff(), kSOk);
  // Logging on again does not revive what the first logon made.
  ASSERT_EQ(application->Logon(), kSOk);
  application.reset();
  std::unique_ptr<OutlookItemCollection> items;
  EXPECT_EQ(folder->Items(&items), kEFail);
  EXPECT_EQ(contacts->Remove(1), kEFail);
  std::u16string text;
  EXPECT_EQ(fetched->GetText(ItemProperty::kFileAs, &text), kEFail);
  EXPECT_EQ(item->Save(), kEFail);
  EXPECT_EQ(unsaved->Save(), kEFail);
  runtime.Uninitialize();
  EXPECT_EQ(runtime.initialize_count(), 1);
  EXPECT_EQ(runtime.uninitialize_count(), 1);

  // A profile whose volume is gone cannot be logged on to.
  std::filesystem::remove(device_.HostPath(u"\\pim.vol"));
  ASSERT_EQ(runtime.CreateApplication(&application), kSOk);
  EXPECT_EQ(application->Logon(), kEFail);
  EXPECT_EQ(application->GetDefaultFolder(OutlookFolderId::kTasks, &folder), kEFail);
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, PimOutlookTest,
                         ::testing::Values(kWindowsMobile2003, kWindowsMobile2005),
                         [](const auto& info) { return "Os" + std::to_string(info.param); });

}  // namespace
}  // namespace kestrav::platform::host
