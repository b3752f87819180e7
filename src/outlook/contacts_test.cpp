#include "outlook/contacts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/testing/kind_harness.h"
#include "outlook/item_fields.h"
#include "outlook/testing/failing_outlook.h"
#include "outlook/testing/item_handset.h"
#include "outlook/texts.h"
#include "platform/test_support/temporary_device.h"
#include "records/record_file.h"

namespace kestrav::outlook {
namespace {

using engine::RestoreMode;
using kestrav::testing::Utf16FileBytes;
using platform::ItemProperty;
using platform::OutlookItem;
using testing::Cat;
using testing::kConnect;
using testing::kDisconnect;
using testing::Lines;

constexpr char16_t kFile[] = u"\\contacts.csc";

// One contact line of sixty fields: the fields given by column, the rest empty.
std::u16string Line(std::initializer_list<std::pair<std::size_t, std::u16string>> fields,
                    char16_t separator = u';') {
  std::vector<std::u16string> values(kContactColumnCount);
  for (const auto& [column, value] : fields) values[column] = value;
  std::u16string line;
  for (std::size_t column = 0; column < values.size(); ++column) {
    if (column > 0) line += separator;
    line += values[column];
  }
  return line + u"\r\n";
}

// A handheld with its contacts, and the passes run on it as the engine runs them.
struct Handset : testing::ItemHandset<ContactsWorker> {
  explicit Handset(int os = platform::kWindowsMobile2005)
      : ItemHandset(os, engine::ItemKind::kContacts, platform::OutlookFolderId::kContacts,
                    platform::OutlookItemType::kContact, kFile) {}

  // Adds contacts with these file-as names and e-mail addresses.
  void Add(std::initializer_list<std::pair<std::u16string, std::u16string>> contacts) {
    for (const auto& [name, email] : contacts) {
      ItemHandset::Add([&](OutlookItem& item) {
        item.SetText(ItemProperty::kFileAs, name);
        if (!email.empty()) item.SetText(ItemProperty::kEmail1Address, email);
      });
    }
  }

  // The file-as names and e-mail addresses of the contacts, in collection order.
  std::vector<std::pair<std::u16string, std::u16string>> Contacts() {
    return Read<std::pair<std::u16string, std::u16string>>([](OutlookItem& item) {
      return std::pair(ItemText(item, ItemProperty::kFileAs),
                       ItemText(item, ItemProperty::kEmail1Address));
    });
  }
};

// The first line of every contacts file: the sixty column names in their order. A name changed
// here is every older backup refused.
constexpr std::u16string_view kHeaderNames =
    u"Name;Title;First Name;Middle Name;Last Name;NickName;Suffix;Display Name;Picture;"
    u"Job Title;Department;Company;Business Phone;Business Fax;Business Street;Business City;"
    u"Business State;Business Postal Code;Business Country;IM;E-mail Address;Mobile Phone;"
    u"Ring Tone;Web Page;Office Location;Home Phone;Home Street;Home City;Home State;"
    u"Home Postal Code;Home Country;Categories;Other Street;Other City;Other State;"
    u"Other Postal Code;Other Country;Pager;Car Phone;Home Fax;Company Main Phone;"
    u"Business Phone 2;Home Phone 2;Radio Phone;IM2;IM3;E-mail 2 Address;E-mail 3 Address;"
    u"Assistant's Name;Assistant's Phone;Manager's Name;Government ID Number;Account;"
    u"Customer ID Number;Birthday;Anniversary;Spouse;Children;Notes;Notes Ink";

std::u16string Header(char16_t separator = u';') {
  std::u16string header(kHeaderNames);
  std::ranges::replace(header, u';', separator);
  return header + u"\r\n";
}

TEST(ContactValues, DatesAndNotes) {
  EXPECT_EQ(DateField(39156.75), u"20070315");
  EXPECT_EQ(DateField(0.0), u"18991230");
  EXPECT_EQ(DateField(401768.0), u"29991231");
  for (double none : {949998.0, -0.5, 401768.5}) EXPECT_EQ(DateField(none), u"") << none;

  EXPECT_EQ(DateFromField(u"20070315"), 39156.0);
  EXPECT_EQ(DateFromField(u"18991230"), 0.0);
  for (std::u16string_view ignored : {u"2007031", u"200703150", u"20070230", u"20071301", u""})
    EXPECT_FALSE(DateFromField(ignored)) << platform::ToUtf8(ignored);

  Handset phone;
  const platform::AnsiCodePage& code_page = phone.device.device().code_page();
  const std::u16string notes = u"Line 1\r\nL\u00e9o \u4e2d";
  EXPECT_EQ(NotesField(u"Hi\u00e9"), u"0x48,0x00,0x69,0x00,0xe9,0x00");
  EXPECT_EQ(NotesFromField(NotesField(notes), code_page), notes);
  // Older files held narrow notes: bytes without a zero byte are ANSI text.
  EXPECT_EQ(NotesFromField(u"0x48,0x69,0xe9", code_page), u"Hi\u00e9");
  // Wide notes without a zero byte read as narrow text too: the price of reading both.
  EXPECT_EQ(NotesFromField(NotesField(u"\u4e2d"), code_page), u"-N");
  EXPECT_EQ(NotesFromField(u"0x41,0x00,0x00,0x00,0x42,0x00", code_page), u"A");
}

// Unquoted even where a name holds the separator, with no separator after the last.
TEST(ContactFile, HeaderIsTheSixtyNamesUnquoted) {
  EXPECT_EQ(ContactHeaderLine(u' '), Header(u' '));
}

// Every column set, on either generation, comes back as the same line, store properties and
// all; the store properties of a Windows Mobile 2003 SE contact sit in its database record.
TEST(ContactFile, EveryColumnRoundTripsOnBothGenerations) {
  std::vector<std::pair<std::size_t, std::u16string>> all;
  for (std::size_t column = 0; column < kContactColumnCount; ++column)
    all.emplace_back(column, platform::Format(u"v%d", static_cast<int>(column)));
  all[8].second = u"\"0x89,0x50,0x4e,0x47\"";  // Picture
  all[54].second = u"19700101";                // Birthday
  all[55].second = u"20070315";                // Anniversary
  all[58].second = u"\"" + NotesField(u"Two\r\nlines; \"quoted\"") + u"\"";
  all[59].second = u"\"0x01,0x02\"";     // Notes Ink
  all[0].second = u"\"Smith, \"Jo\"\"";  // quotes and a comma
  std::u16string line;
  for (const auto& [column, value] : all) line += (column > 0 ? u";" : u"") + value;
  line += u"\r\n";

  for (int os : {platform::kWindowsMobile2003, platform::kWindowsMobile2005}) {
    Handset phone(os);
    phone.Restore(Header() + line, RestoreMode::kDeleteAllFirst);
    EXPECT_EQ(phone.Backup(), Header() + line) << "OS " << os;

    platform::ObjectStore& store = phone.device.device().object_store();
    platform::VolumeId volume = 0;
    ASSERT_EQ(store.MountVolume(u"\\pim.vol", platform::Disposition::kOpenExisting, &volume), 0u);
    const platform::DatabaseHandle contacts = store.OpenDatabase(volume, u"Contacts Database");
    const std::vector<std::uint32_t> ids = {
        0x0086001F, os == platform::kWindowsMobile2003 ? 0x00170041u : 0x001E0064u, 0x00FF0041};
    std::vector<platform::PropertyValue> values;
    ASSERT_NE(store.ReadNext(contacts, &ids, &values), 0u);
    EXPECT_EQ(values[0].text, u"v5");
    EXPECT_EQ(values[1].bytes, (std::vector<std::uint8_t>{1, 2}));
    EXPECT_EQ(values[2].bytes.size(), 4u);
    store.UnmountVolume(volume);
  }
}

TEST(ContactBackup, LinesAndTotals) {
  Handset phone;
  EXPECT_EQ(phone.Backup(), Header());
  EXPECT_EQ(phone.page.Rows(),
            Cat({kConnect,
                 {u"Retrieving contacts infos...", u"0 contact to be retrieved."},
                 kDisconnect}));

  phone.Add({{u"Ann", u"ann@example.org"}, {u"", u""}});
  phone.page.events.clear();
  EXPECT_EQ(phone.Backup(), Header() + Line({{0, u"Ann"}, {20, u"ann@example.org"}}) + Line({}));
  EXPECT_EQ(phone.page.Rows(), Cat({kConnect,
                                    {u"Retrieving contacts infos...",
                                     u"2 contacts to be retrieved.", u"1. contact 'Ann' saved.",
                                     u"2. contact '' saved.", u"2 contacts successfully saved."},
                                    kDisconnect}));

  phone.page.cancel_after = u"1. contact 'Ann' saved.";
  phone.page.events.clear();
  phone.Backup();
  EXPECT_EQ(phone.page.Rows(),
            Cat({kConnect,
                 {u"Retrieving contacts infos...", u"2 contacts to be retrieved.",
                  u"1. contact 'Ann' saved.", u"! Contacts backup has been canceled."},
                 kDisconnect}));
}

// The lines of each mode over a device holding "Ann" and "Bob", from a file holding "Ann" with a
// new phone, "ann", a contact without a name and "Cid".
TEST(ContactRestore, EachModeWithItsLines) {
  const std::u16string file = Header() + Line({{0, u"Ann"}, {21, u"555-0101"}}) +
                              Line({{0, u"ann"}}) + Line({{2, u"Nameless"}}) + Line({{0, u"Cid"}});
  const Lines read = {u"Retrieving file records...", u"4 records found in file.",
                      u"Retrieving contacts mapped fields..."};
  auto run = [&](RestoreMode mode, Handset& phone) {
    phone.Add({{u"Ann", u"ann@example.org"}, {u"Bob", u""}});
    return phone.Restore(file, mode);
  };

  Handset deleting;
  EXPECT_EQ(
      run(RestoreMode::kDeleteAllFirst, deleting),
      Cat({read,
           kConnect,
           {u"The contacts database contains 2 records.", u"Deleting contacts from the database...",
            u"2 contacts deleted from the database.", u"Inserting contacts in the database...",
            u"1. 'Ann' inserted.", u"2. 'ann' inserted.", u"3. '' inserted.", u"4. 'Cid' inserted.",
            u"4 contacts inserted in the database.", u"0 contact updated in the database."},
           kDisconnect}));
  EXPECT_EQ(deleting.Contacts().size(), 4u);

  Handset adding;
  const Lines added = run(RestoreMode::kAddOnlyNew, adding);
  EXPECT_EQ(
      Lines(added.begin() + 6, added.end() - 2),
      (Lines{u"0. contact 'Ann' already exists. Nothing done.", u"2. 'ann' inserted.",
             u"3. '' inserted.", u"4. 'Cid' inserted.", u"3 contacts inserted in the database.",
             u"0 contact updated in the database."}));
  EXPECT_EQ(adding.harness.tally.records, 4u);
  EXPECT_EQ(adding.harness.tally.restored, 4u) << "a contact found already there came back too";

  Handset updating;
  const Lines updated = run(RestoreMode::kAddNewAndUpdate, updating);
  EXPECT_EQ(
      Lines(updated.begin() + 6, updated.end() - 2),
      (Lines{u"1. 'Ann' updated.", u"2. 'ann' inserted.", u"3. '' inserted.", u"4. 'Cid' inserted.",
             u"3 contacts inserted in the database.", u"1 contact updated in the database."}));
  // The update took the new phone and kept the e-mail address its empty field did not name.
  EXPECT_EQ(updating.Contacts()[0],
            (std::pair<std::u16string, std::u16string>(u"Ann", u"ann@example.org")));
  EXPECT_NE(updating.Backup().find(u"Ann;;;;;;;;;;;;;;;;;;;;ann@example.org;555-0101;"),
            std::u16string::npos);
  // Unlike the other values, the notes follow their field even when it is empty.
  const std::u16string notes = NotesField(u"Call back");
  updating.Restore(Header() + Line({{0, u"Cid"}, {58, notes}}), RestoreMode::kAddNewAndUpdate);
  EXPECT_NE(updating.Backup().find(notes), std::u16string::npos);
  updating.Restore(Header() + Line({{0, u"Cid"}}), RestoreMode::kAddNewAndUpdate);
  EXPECT_EQ(updating.Backup().find(notes), std::u16string::npos);

  Handset duplicating;
  run(RestoreMode::kAllowDuplicates, duplicating);
  EXPECT_EQ(duplicating.Contacts().size(), 6u);

  // A contact without a name is never found, even beside another one without a name.
  Handset again;
  again.Add({{u"", u""}});
  again.Restore(Header() + Line({}), RestoreMode::kAddOnlyNew);
  EXPECT_EQ(again.Contacts().size(), 2u);
}

TEST(ContactRestore, EmptyDeviceCancelAndRefusedFiles) {
  Handset phone;
  const Lines emptied = phone.Restore(Header() + Line({{0, u"Ann"}}), RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(
      Lines(emptied.begin() + 1, emptied.end() - 2),
      Cat({{u"1 record found in file.", u"Retrieving contacts mapped fields..."},
           kConnect,
           {u"The contacts database contains 0 record.", u"Deleting contacts from the database...",
            u"0 contact deleted from the database.", u"Inserting contacts in the database...",
            u"1. 'Ann' inserted.", u"1 contact inserted in the database.",
            u"0 contact updated in the database."}}));

  phone.page.cancel_after = u"1. 'A' inserted.";
  const Lines canceled = phone.Restore(Header() + Line({{0, u"A"}}) + Line({{0, u"B"}}),
                                       RestoreMode::kAllowDuplicates);
  EXPECT_EQ(Lines(canceled.end() - 5, canceled.end()),
            Cat({{u"! Contacts restore has been canceled.", u"1 contact inserted in the database.",
                  u"0 contact updated in the database."},
                 kDisconnect}));
  // Canceled while the device is emptied, and before the records are mapped.
  phone.page.cancel = 0;
  phone.page.cancel_after = u"Deleting contacts from the database...";
  const Lines deleting = phone.Restore(Header() + Line({{0, u"C"}}), RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(Lines(deleting.end() - 7, deleting.end()),
            Cat({{u"0 contact deleted from the database.", u"Inserting contacts in the database...",
                  u"! Contacts restore has been canceled.", u"0 contact inserted in the database.",
                  u"0 contact updated in the database."},
                 kDisconnect}));
  phone.page.cancel = 0;
  phone.page.cancel_after = u"Retrieving contacts mapped fields...";
  EXPECT_EQ(
      phone.Restore(Header() + Line({{0, u"C"}}), RestoreMode::kDeleteAllFirst),
      (Lines{u"Retrieving file records...", u"1 record found in file.",
             u"Retrieving contacts mapped fields...", u"! Contacts restore has been canceled."}));
  phone.page.cancel = 0;
  phone.page.cancel_after.clear();

  EXPECT_EQ(phone.Restore(Header(), RestoreMode::kAddOnlyNew),
            (Lines{u"Retrieving file records...", u"0 record found in file.",
                   u"No contacts found. Nothing done"}));
  EXPECT_EQ(phone.Restore(u"Name;First Name\r\nAnn;Ann\r\n", RestoreMode::kAddOnlyNew),
            (Lines{u"Retrieving file records...", u"! Invalid file format. Nothing done."}));
  EXPECT_EQ(phone.Restore(Header() + u"\"open quote", RestoreMode::kAddOnlyNew),
            (Lines{u"Retrieving file records...",
                   u"! Error (ERROR_CSV_BAD_RECORD) : Bad record found at line 2.Nothing done."}));
  EXPECT_EQ(phone.Contacts().size(), 2u);  // "Ann" and the "A" before the cancel
}

TEST(ContactFieldMap, MapUnmapAndDefault) {
  ContactFieldMap map = ClearedFieldMap();
  EXPECT_EQ(MapField(map, std::nullopt, std::nullopt), texts::kNoValueSelected);
  EXPECT_EQ(MapField(map, 3, std::nullopt), texts::kNoContactFieldSelected);
  EXPECT_EQ(MapField(map, 3, 2), std::nullopt);
  EXPECT_EQ(MapField(map, 3, 4), std::nullopt);  // one file column may feed several
  EXPECT_EQ(map[2], 3);
  EXPECT_EQ(map[4], 3);
  EXPECT_EQ(UnmapField(map, std::nullopt), texts::kNoContactFieldSelected);
  EXPECT_EQ(UnmapField(map, 2), std::nullopt);
  EXPECT_EQ(map[2], kUnmapped);

  // Case is ignored, a field is taken once, an empty field never matches.
  map = DefaultFieldMap(records::Record{u"FIRST NAME", u"", u"name", u"Name", u"Phone"});
  EXPECT_EQ(map[0], 2);
  EXPECT_EQ(map[2], 0);
  EXPECT_EQ(std::ranges::count(map, kUnmapped), 58);

  // Contact columns at or beyond the file's column count stay empty, mapped or not.
  map = ClearedFieldMap();
  MapField(map, 2, 0);
  MapField(map, 0, 10);
  records::Record contact{u"left from the row before"};
  MapContactRecord(records::Record{u"a", u"b", u"c"}, 3, map, &contact);
  EXPECT_EQ(contact.size(), kContactColumnCount);
  EXPECT_EQ(contact[0], u"c");
  EXPECT_EQ(contact[10], u"");
}

// A file from other software: comma-separated ANSI text with its own column order and case, and
// narrow notes.
TEST(ContactImport, ThroughTheMapFromANarrowFile) {
  Handset phone(platform::kWindowsMobile2003);
  std::string header;
  records::Record first_line;
  for (std::size_t column = kContactColumnCount; column-- > 0;) {
    std::string name = platform::ToUtf8(ContactColumns()[column].header);
    for (char& letter : name) letter = static_cast<char>(std::toupper(letter));
    header += (header.empty() ? "" : ",") + name;
    first_line.push_back(platform::FromUtf8(name));
  }
  // Reversed: Notes is file column 1, Birthday 5, Mobile Phone 38 and Name 59.
  std::string row(59, ',');
  row.insert(59, "Z\xe9lie")
      .insert(38, "555-0199")
      .insert(5, "19800229")
      .insert(1, "\"0x48,0x69\"");
  phone.device.WriteFile(kFile, header + "\r\n" + row + "\r\n");
  ContactsWorker worker(phone.device.device());
  worker.field_map = DefaultFieldMap(first_line);
  phone.harness.separator = u',';
  phone.harness.Restore(worker, RestoreMode::kAddOnlyNew);
  phone.harness.separator = u';';
  EXPECT_EQ(phone.Backup(), Header() + Line({{0, u"Z\u00e9lie"},
                                             {21, u"555-0199"},
                                             {54, u"19800229"},
                                             {58, u"\"" + NotesField(u"Hi") + u"\""}}));
}

TEST(ContactSession, EveryFailureEndsThePassWithItsLines) {
  Handset phone;
  phone.Add({{u"Ann", u""}, {u"Bob", u""}});
  testing::FailingOutlookDevice failing(phone.device);
  const platform::Device& device = failing.device;
  testing::Failures& failures = failing.failures;
  testing::FailingRuntime& runtime = failing.runtime;
  auto backup = [&] {
    ContactsWorker worker(device);
    phone.harness.Backup(worker);
    return phone.page.Rows();
  };
  auto restore = [&](RestoreMode mode) {
    phone.device.WriteFile(kFile,
                           Utf16FileBytes(Header() + Line({{0, u"Cid"}}) + Line({{0, u"Ann"}})));
    ContactsWorker worker(device);
    return phone.harness.Restore(worker, mode);
  };

  failures.create_application = true;
  EXPECT_EQ(backup(), (Lines{u"Connecting to Outlook..."}));
  failures = {.initialize = true};
  EXPECT_EQ(backup(), (Lines{u"Connecting to Outlook..."}));
  failures = {.logon = true};
  EXPECT_EQ(backup(),
            (Lines{u"Connecting to Outlook...", u"! Could not be connected to Outlook."}));
  // The failed log-on leaves the session as it was: not logged off, not uninitialised.
  EXPECT_EQ(runtime.uninitialized, runtime.initialized - 3);
  failures = {.folder = true};
  EXPECT_EQ(backup(), Cat({kConnect,
                           {u"Retrieving contacts infos...", u"! Couldn't access contacts folder."},
                           kDisconnect}));
  failures = {.items = true};
  EXPECT_EQ(restore(RestoreMode::kAddOnlyNew),
            Cat({{u"Retrieving file records...", u"2 records found in file.",
                  u"Retrieving contacts mapped fields..."},
                 kConnect,
                 {u"! Couldn't access contacts collection."},
                 kDisconnect}));

  failures = {.item_index = 1};
  EXPECT_EQ(backup(), Cat({kConnect,
                           {u"Retrieving contacts infos...", u"2 contacts to be retrieved.",
                            u"2. contact 'Bob' saved.", u"1 contact successfully saved."},
                           kDisconnect}));
  // "Ann" at position 1 cannot be had, so the file's "Ann" is not found and is added again.
  const Lines added = restore(RestoreMode::kAddOnlyNew);
  EXPECT_EQ(Lines(added.end() - 6, added.end()),
            Cat({{u"1. 'Cid' inserted.", u"2. 'Ann' inserted.",
                  u"2 contacts inserted in the database.", u"0 contact updated in the database."},
                 kDisconnect}));

  failures = {.create_item = true};
  const Lines skipped = restore(RestoreMode::kAllowDuplicates);
  EXPECT_EQ(Lines(skipped.end() - 5, skipped.end()),
            Cat({{u"Inserting contacts in the database...", u"0 contact inserted in the database.",
                  u"0 contact updated in the database."},
                 kDisconnect}));
  EXPECT_EQ(phone.Contacts().size(), 4u);
}

TEST(ContactDeletion, DeletesEveryContactAndSaysHowMany) {
  struct Dialog : devicedb::DeletionProgress {
    void Start(std::uint32_t count) override { started = count; }
    void SetPosition(std::uint32_t deleted) override { position = deleted; }
    void Finish() override { finished = true; }
    std::uint32_t started = 0;
    std::uint32_t position = 0;
    bool finished = false;
  };
  Handset phone;
  Dialog empty;
  EXPECT_EQ(DeleteAllContacts(phone.device.device(), empty), 0u);
  EXPECT_TRUE(empty.finished);
  EXPECT_EQ(ContactsDeletedText(0), u"No contact found, nothing deleted.");

  phone.Add({{u"Ann", u""}, {u"Bob", u""}, {u"Cid", u""}});
  Dialog dialog;
  EXPECT_EQ(DeleteAllContacts(phone.device.device(), dialog), 3u);
  EXPECT_EQ(dialog.started, 3u);
  EXPECT_EQ(dialog.position, 3u);
  EXPECT_TRUE(phone.Contacts().empty());
  EXPECT_EQ(ContactsDeletedText(1), u"1 contact successfully deleted.");
  EXPECT_EQ(ContactsDeletedText(3), u"3 contacts successfully deleted.");
}

}  // namespace
}  // namespace kestrav::outlook
