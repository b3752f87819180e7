// The contacts import as both front ends run it, on temporary devices with literal files.
#include "kinds/contacts_import.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "engine/testing/recording_sink.h"
#include "outlook/contacts.h"
#include "outlook/item_fields.h"
#include "outlook/testing/item_handset.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::kinds {
namespace {

using engine::RestoreMode;
using platform::ItemProperty;

constexpr char16_t kFile[] = u"\\My Documents\\people.csv";

struct Importer : outlook::testing::ItemHandset<outlook::ContactsWorker> {
  Importer()
      : ItemHandset(platform::kWindowsMobile2005, engine::ItemKind::kContacts,
                    platform::OutlookFolderId::kContacts, platform::OutlookItemType::kContact,
                    u"\\contacts.csc") {}

  // The file as the front ends read it: its encoding chosen, its first line and the map of words.
  ContactsImport Prepare(std::string_view bytes, std::u16string_view map, char16_t separator = u',',
                         RestoreMode mode = RestoreMode::kAddOnlyNew) {
    device.WriteFile(kFile, bytes);
    ContactsImport import;
    import.file = {kFile, separator};
    import.mode = mode;
    ChooseEncoding(device.device(), &import.file);
    std::u16string error;
    EXPECT_TRUE(ReadFirstLine(device.device(), import.file, &first_line, &error)) << error.size();
    EXPECT_TRUE(ParseFieldMap(map, first_line, &import.map, &error));
    return import;
  }

  ImportOutcome Run(const ContactsImport& import) {
    engine::testing::RecordingSink sink(device.clock());
    return ImportContacts(device.device(), import, &sink, nullptr, {});
  }

  // Each contact's file-as name, first name and e-mail address, in collection order.
  std::vector<std::vector<std::u16string>> Contacts() {
    return Read<std::vector<std::u16string>>([](platform::OutlookItem& item) {
      return std::vector<std::u16string>{outlook::ItemText(item, ItemProperty::kFileAs),
                                         outlook::ItemText(item, ItemProperty::kFirstName),
                                         outlook::ItemText(item, ItemProperty::kEmail1Address)};
    });
  }

  records::Record first_line;
};

// UTF-8 with or without its byte order mark reads as UTF-8, so the mark does not spoil the first
// name and "Célia" does not turn into "CÃ©lia"; a Windows-1252 file still reads in the code page.
TEST(ContactsImport, Utf8FilesWithOrWithoutTheirMarkAndAnsiFiles) {
  for (const std::string_view mark : {"", "\xEF\xBB\xBF"}) {
    Importer phone;
    const ContactsImport import = phone.Prepare(
        std::string(mark) + "Name,Title,First Name\r\nC\xC3\xA9lia Roy,,C\xC3\xA9lia\r\n",
        u"default");
    EXPECT_EQ(phone.first_line, (records::Record{u"Name", u"Title", u"First Name"}));
    EXPECT_TRUE(phone.Run(import).outcome.failure.empty());
    EXPECT_EQ(phone.Contacts(),
              (std::vector<std::vector<std::u16string>>{{u"C\u00E9lia Roy", u"C\u00E9lia", u""}}));
  }
  Importer phone;
  phone.Run(phone.Prepare("Name\r\nZo\xEB\r\n", u"default"));
  EXPECT_EQ(phone.Contacts()[0][0], u"Zo\u00EB");
}

// The handheld fills only the contact columns below the file's column count: "E-mail Address"
// (the 21st) stays empty from a 4-column file, and the import says so and how to keep it.
TEST(ContactsImport, SaysWhichMappedColumnsStayedEmptyAndWhichFileColumnsFedNone) {
  Importer phone;
  const ContactsImport import =
      phone.Prepare("Full Name,Given,Mail,Fax\r\nAda Byron,Ada,ada@example.org,555\r\n",
                    u"Name=Full Name,First Name=Given,E-mail Address=Mail");
  const ImportOutcome outcome = phone.Run(import);
  EXPECT_TRUE(outcome.outcome.failure.empty());
  EXPECT_EQ(phone.Contacts(),
            (std::vector<std::vector<std::u16string>>{{u"Ada Byron", u"Ada", u""}}));
  EXPECT_EQ(outcome.notes,
            (std::vector<std::u16string>{
                u"\"E-mail Address\" was mapped but stayed empty: only contact columns within "
                u"the file's column count (4) are filled; a first line of 21 columns or more "
                u"(empty names "
                u"will do) keeps it.",
                u"The file's column \"Fax\" fed no contact column."}));

  // Several of each, and a column without a name.
  outlook::ContactFieldMap wider = outlook::ClearedFieldMap();
  outlook::MapField(wider, 3, 20);
  outlook::MapField(wider, 3, 21);
  EXPECT_EQ(
      MapNotes(wider, {u"A", u"", u"C", u"D"}),
      (std::vector<std::u16string>{
          u"\"E-mail Address\" and \"Mobile Phone\" were mapped but stayed empty: only contact "
          u"columns within the file's column count (4) are filled; a first line of 22 columns or "
          u"more (empty names will do) keeps them.",
          u"The file's columns \"A\", column 2 and \"C\" fed no contact column."}));
  EXPECT_TRUE(MapNotes(outlook::DefaultFieldMap({u"Name", u"Title"}), {u"Name", u"Title"}).empty());
}

// A contact without a Name is never found again, so a second import adds it again: the handheld's
// rule, kept, and told.
TEST(ContactsImport, SaysHowManyContactsCameInWithoutAName) {
  Importer phone;
  const ContactsImport import =
      phone.Prepare("Name,Title,First Name\r\n,,Nobody\r\nAda,,Ada\r\n,,Someone\r\n", u"default");
  for (int run = 1; run <= 2; ++run) {
    const ImportOutcome outcome = phone.Run(import);
    EXPECT_EQ(outcome.notes, (std::vector<std::u16string>{
                                 u"2 contacts were added without a Name (file-as), which is what "
                                 u"an import finds a contact by: importing the file again adds "
                                 u"them again."}));
  }
  EXPECT_EQ(phone.Contacts().size(), 5u);
  // Allowing duplicates adds every record again anyway: nothing to tell.
  ContactsImport duplicates = import;
  duplicates.mode = RestoreMode::kAllowDuplicates;
  EXPECT_TRUE(phone.Run(duplicates).notes.empty());
  EXPECT_EQ(phone.Contacts().size(), 8u);
}

// A semicolon file read with the default comma is one column that names no contact column.
TEST(ContactsImport, ASemicolonFileReadWithCommasLooksSo) {
  Importer phone;
  ContactsImport import = phone.Prepare("Name;First Name;Mobile\r\nBo;Bo;1\r\n", u"default");
  EXPECT_EQ(phone.first_line, (records::Record{u"Name;First Name;Mobile"}));
  EXPECT_TRUE(LooksSemicolonSeparated(import.file, phone.first_line));
  EXPECT_FALSE(FeedsAnyContactColumn(import.map, phone.first_line));

  import = phone.Prepare("Name;First Name;Mobile\r\nBo;Bo;1\r\n", u"default", u';');
  EXPECT_FALSE(LooksSemicolonSeparated(import.file, phone.first_line));
  EXPECT_TRUE(FeedsAnyContactColumn(import.map, phone.first_line));
  EXPECT_FALSE(LooksSemicolonSeparated({kFile, u','}, {u"Name", u"Company; Inc"}));
}

// The kept map names each file column so that the same words find it again: by its name, else
// by its number when the name is taken twice or holds the entries' comma.
TEST(ContactsImport, AKeptMapReadsBackOnTheSameColumns) {
  const records::Record first_line{u"Name", u"Name", u"a,b", u"7"};
  outlook::ContactFieldMap map = outlook::ClearedFieldMap();
  for (const auto& [file, contact] : {std::pair{1, 0}, {2, 1}, {3, 2}, {0, 3}})
    outlook::MapField(map, file, contact);
  const std::u16string text = FieldMapText(map, first_line);
  EXPECT_EQ(text, u"Name=2,Title=3,First Name=7,Middle Name=Name");
  EXPECT_EQ(StartingMap({text, u';'}, first_line), map);
  // Columns another file lacks are left out; with none there, Default.
  EXPECT_EQ(StartingMap({u"Title=Company,Name=Full Name", u','}, {u"Full Name", u"Phone"})[0], 0);
  EXPECT_EQ(StartingMap({u"Title=Company", u','}, {u"name", u"Title"}),
            outlook::DefaultFieldMap({u"name", u"Title"}));
}

}  // namespace
}  // namespace kestrav::kinds
