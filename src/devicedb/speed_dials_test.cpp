#include "devicedb/speed_dials.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "devicedb/testing/pim_handset.h"
#include "platform/format.h"
#include "platform/test_support/temporary_device.h"
#include "platform/text.h"
#include "records/value_text.h"

namespace kestrav::devicedb {
namespace {

using engine::RestoreMode;
using kestrav::testing::Utf16FileBytes;
using platform::ObjectId;
using platform::PropertyType;
using platform::PropertyValue;
using Bytes = std::vector<std::uint8_t>;
using Dial = std::vector<PropertyValue>;
using testing::Cat;
using testing::Lines;

constexpr char16_t kFile[] = u"\\dials.csd";
// "Kestrav PIM records!" with every byte two down; the older writers' ends one lower still.
const std::u16string kSignature =
    u"\"0x49,0x63,0x71,0x72,0x70,0x5f,0x74,0x1e,0x4e,0x47,0x4b,0x1e,0x70,0x63,0x61,0x6d,0x70,0x62,"
    u"0x71,0x1f\"";
const std::u16string kOlderSignature = kSignature.substr(0, kSignature.size() - 3) + u"1e\"";
constexpr std::uint32_t kMobile4 = 0x3A1C001F;
constexpr std::uint32_t kMobile5 = 0x0096001F;
constexpr std::uint32_t kCompanyMain4 = 0x0000001F;
constexpr std::uint32_t kCompanyMain5 = 0x00A0001F;

PropertyValue Phone(std::uint32_t id, std::u16string text) {
  PropertyValue value;
  value.id = id;
  value.text = std::move(text);
  return value;
}

// A speed-dial head naming a contact and its phone property, with a non-zero field at offset
// 20, then the bytes of a phone text as a backup appends it.
Bytes Head(std::uint32_t contact, std::uint32_t property, std::u16string_view text = {}) {
  Bytes bytes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  for (std::uint32_t field : {contact, property, 0x44332211u, 0x08070605u})
    for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<std::uint8_t>(field >> (8 * i)));
  for (char16_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

// The head a restore links: the contact and property it found, offset 20 cleared, no text.
Bytes Linked(std::uint32_t contact, std::uint32_t property) {
  Bytes bytes = Head(contact, property);
  std::fill_n(bytes.begin() + 20, 4, 0);
  return bytes;
}

// A speed dial: its position (int32, 1) and its block (2).
Dial DialOf(int position, Bytes block) {
  return {testing::Property(1, PropertyType::kInt32, position),
          testing::With(2, PropertyType::kBlob, &PropertyValue::bytes, std::move(block))};
}

// The record line of DialOf(position, block), the block's field as given.
std::u16string DialLine(int position, std::u16string_view block_field) {
  return u"\"0x02,0x00\";\"0x03,0x00,0x01,0x00\";\"0x41,0x00,0x02,0x00\";" +
         platform::Format(u"%d", position) + u";" + std::u16string(block_field) + u";\r\n";
}

std::u16string DialLine(int position, const Bytes& block) {
  return DialLine(position, records::ByteListText(block));
}

std::u16string DialFile(const std::u16string& signature, int count, std::u16string_view lines) {
  return signature + u"\r\n\"" + platform::Format(u"0x%.2x", count) + u",0x00,0x00,0x00\"\r\n" +
         std::u16string(lines);
}

const Lines kDisconnect = {u"Disconnecting from the speed dials database...", u"Disconnected."};

Lines RestoreLog(std::u16string header, std::u16string found, const Lines& pass) {
  return Cat({{u"Retrieving file records...", std::move(header), u"Retrieving file records...",
               std::move(found), u"Connecting to the speed dials database...",
               u"Connected to the database."},
              pass,
              kDisconnect});
}

// A fresh device with its speed dials and contacts in "\pim.vol", and the passes run on it.
class Handset : public testing::PimHandset<SpeedDialWorker> {
 public:
  explicit Handset(int os_major_version = platform::kWindowsMobile2005)
      : PimHandset(os_major_version, engine::ItemKind::kSpeedDials, kFile) {}

  std::vector<Dial> Dials() { return Records(kSpeedDialDatabase); }
};

TEST(SpeedDialBackup, AppendsTheContactsPhoneTextToEachHead) {
  Handset handset;
  const std::vector<ObjectId> contacts =
      handset.Add(kContactsDatabase, {{Phone(kMobile5, u"+1 (555) 0100")}, {}});
  handset.Add(
      kSpeedDialDatabase,
      {DialOf(1, Head(contacts[0], kMobile5)), DialOf(2, {1, 2, 3}), DialOf(3, Head(0, kMobile5)),
       DialOf(4, Head(contacts[1], kMobile5)), DialOf(5, Head(contacts[1] + 100, kMobile5))});
  // Only the first head finds its text: the others are short, name no contact, name a contact
  // without the property, or one that is not there.
  EXPECT_EQ(
      handset.Backup(),
      Utf16FileBytes(DialFile(kSignature, 5,
                              DialLine(1, Head(contacts[0], kMobile5, u"+1 (555) 0100")) +
                                  DialLine(2, u"0x01,0x02,0x03") + DialLine(3, Head(0, kMobile5)) +
                                  DialLine(4, Head(contacts[1], kMobile5)) +
                                  DialLine(5, Head(contacts[1] + 100, kMobile5)))));
  EXPECT_EQ(handset.Rows(),
            Cat({{u"Connecting to the speed dials database...", u"Connected to the database.",
                  u"Retrieving speed dials infos...", u"5 speed dials to be retrieved.",
                  u"1. number '#0' saved.", u"2. number '#1' saved.", u"3. number '#2' saved.",
                  u"4. number '#3' saved.", u"5. number '#4' saved.",
                  u"5 speed dials successfully saved."},
                 kDisconnect}));
}

TEST(SpeedDialBackup, NeedsTheContactsDatabase) {
  Handset handset;
  platform::ObjectStore& store = handset.device.device().object_store();
  std::filesystem::remove(handset.device.HostPath(kPimVolume));
  platform::VolumeId volume = 0;
  ASSERT_EQ(store.MountVolume(kPimVolume, platform::Disposition::kOpenAlways, &volume),
            platform::kErrorSuccess);
  store.CreateDatabase(volume, kSpeedDialDatabase);
  store.UnmountVolume(volume);
  EXPECT_EQ(handset.Backup(), "\xFF\xFE");
  EXPECT_EQ(handset.Rows(), Lines{u"Connecting to the speed dials database..."});
}

TEST(SpeedDialRestore, LinksEachDialToTheContactThatHoldsItsText) {
  Handset handset;
  const std::vector<ObjectId> old_contacts = handset.Add(
      kContactsDatabase, {{Phone(kMobile5, u"555-0100")}, {Phone(kCompanyMain5, u"555-0199")}});
  const std::vector<Dial> dials = {DialOf(1, Head(old_contacts[0], kMobile5)),
                                   DialOf(2, Head(old_contacts[1], kCompanyMain5)),
                                   DialOf(3, {9, 9}), DialOf(4, Head(0, kMobile5, u"555-0100"))};
  handset.Add(kSpeedDialDatabase, dials);
  handset.Backup();
  // The contacts come back under new object ids, in another order; the second dial's contact
  // is gone.
  handset.Delete(kContactsDatabase, old_contacts);
  const std::vector<ObjectId> contacts = handset.Add(
      kContactsDatabase, {{Phone(kMobile5, u"555-0199")}, {Phone(kMobile5, u"555-0100")}});
  EXPECT_EQ(
      handset.RestoreFile(RestoreMode::kDeleteAllFirst),
      RestoreLog(
          u"Valid speed dials CSV5 header format.", u"4 records found in file.",
          {u"Deleting speed dials from the database...",
           u"4 speed dials deleted from the database.", u"Inserting speed dials records...",
           u"1. number '#0' inserted.", u"2. number '#1' inserted.", u"3. number '#2' inserted.",
           u"4. number '#3' inserted.", u"4 speed dials successfully stored in the database."}));
  EXPECT_EQ(handset.Dials(),
            (std::vector<Dial>{DialOf(1, Linked(contacts[1], kMobile5)),
                               DialOf(2, Head(old_contacts[1], kCompanyMain5, u"555-0199")),
                               dials[2], dials[3]}));

  // Adding only new dials finds every one of them there already.
  EXPECT_EQ(handset.RestoreFile(RestoreMode::kAddOnlyNew),
            RestoreLog(u"Valid speed dials CSV5 header format.", u"4 records found in file.",
                       {u"Inserting speed dials records...",
                        u"1. number '#0' already exists. Nothing done.",
                        u"2. number '#1' already exists. Nothing done.",
                        u"3. number '#2' already exists. Nothing done.",
                        u"4. number '#3' already exists. Nothing done."}));
  EXPECT_EQ(handset.Dials().size(), 4u);
  EXPECT_EQ(handset.harness.tally.restored, 4u);
}

// A head is the same link when its contact (offset 12) and property (offset 16) are; the rest of
// it is not looked at. A block too short for a head, and every other property, must be equal.
TEST(SpeedDialRestore, OnlyNewDialsMatchTheHeadsContactAndProperty) {
  Bytes elsewhere = Head(0, kMobile5, u"555-0142");
  for (const std::size_t offset : {0, 11, 20, 27}) elsewhere[offset] = 0xEE;
  const std::pair<std::u16string, bool> cases[] = {
      {DialLine(4, elsewhere), true},          {DialLine(4, Head(9, kMobile5)), false},
      {DialLine(4, Head(0, kMobile4)), false}, {DialLine(5, Head(0, kMobile5)), false},
      {DialLine(7, {1, 2, 4}), false},
  };
  for (const auto& [line, found] : cases) {
    Handset handset;
    handset.Add(kSpeedDialDatabase, {DialOf(4, Head(0, kMobile5)), DialOf(7, {1, 2, 3})});
    const Lines rows = handset.Restore(DialFile(kSignature, 1, line), RestoreMode::kAddOnlyNew);
    EXPECT_EQ(rows.at(7),
              found ? u"1. number '#0' already exists. Nothing done." : u"1. number '#0' inserted.")
        << platform::ToUtf8(line);
  }
}

// The dials of a file of these heads (positions 1, 2, ...) as a restore stores them; its rows'
// second line is the header's.
std::vector<Dial> Restored(Handset& handset, const std::u16string& signature,
                           const std::vector<Bytes>& heads, std::u16string_view header) {
  std::u16string lines;
  for (std::size_t i = 0; i < heads.size(); ++i)
    lines += DialLine(static_cast<int>(i + 1), heads[i]);
  const Lines rows = handset.Restore(DialFile(signature, static_cast<int>(heads.size()), lines),
                                     RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(rows.at(1), header);
  return handset.Dials();
}

std::vector<Dial> DialsOf(const std::vector<Bytes>& heads) {
  std::vector<Dial> dials;
  for (std::size_t i = 0; i < heads.size(); ++i)
    dials.push_back(DialOf(static_cast<int>(i + 1), heads[i]));
  return dials;
}

// The twelve contact phone properties as each generation names them, mobile to assistant.
TEST(SpeedDialRestore, EachPhonePropertyHasItsOwnRowInEitherGeneration) {
  const std::pair<std::uint32_t, std::uint32_t> rows[] = {
      {0x3A1C001F, 0x0096001F}, {0x3A08001F, 0x0097001F}, {0x4007001F, 0x0098001F},
      {0x3A09001F, 0x0099001F}, {0x3A2F001F, 0x009A001F}, {0x3A24001F, 0x009B001F},
      {0x3A25001F, 0x009C001F}, {0x4009001F, 0x009D001F}, {0x3A1E001F, 0x009E001F},
      {0x3A1D001F, 0x009F001F}, {0x0000001F, 0x00A0001F}, {0x4004001F, 0x00A1001F}};
  constexpr int k2003 = platform::kWindowsMobile2003;
  constexpr int k2005 = platform::kWindowsMobile2005;
  for (const auto& [version4, version5] : rows) {
    EXPECT_EQ(DevicePhoneProperty(version4, kSpeedDialFileVersion4, k2005), version5);
    EXPECT_EQ(DevicePhoneProperty(version5, kSpeedDialFileVersion5, k2003), version4);
    EXPECT_EQ(DevicePhoneProperty(version4, kSpeedDialFileVersion4, k2003), version4);
    EXPECT_EQ(DevicePhoneProperty(version5, kSpeedDialFileVersion5, k2005), version5);
  }
  EXPECT_EQ(DevicePhoneProperty(0x3A1D0003, kSpeedDialFileVersion4, k2005), 0x3A1D0003u);
}

TEST(SpeedDialRestore, TranslatesThePhonePropertyOfTheOtherGeneration) {
  // A CSV4 file on Windows Mobile 2005: each head's property becomes its version-5 row; a head
  // whose text no contact holds keeps what the file says.
  Handset newer(platform::kWindowsMobile2005);
  const std::vector<ObjectId> contacts = newer.Add(
      kContactsDatabase,
      {{Phone(kCompanyMain5, u"555-0199"), Phone(kMobile5, u"x")}, {Phone(kMobile5, u"555-0100")}});
  const Bytes unknown = Head(7, kMobile4, u"555-0142");
  EXPECT_EQ(Restored(newer, kOlderSignature,
                     {Head(7, kMobile4, u"555-0100"), Head(8, kCompanyMain4, u"555-0199"), unknown},
                     u"Valid speed dials CSV4 header format."),
            DialsOf({Linked(contacts[1], kMobile5), Linked(contacts[0], kCompanyMain5), unknown}));

  // A CSV5 file on Windows Mobile 2003 SE: the version-4 rows.
  Handset older(platform::kWindowsMobile2003);
  const std::vector<ObjectId> old_contacts = older.Add(
      kContactsDatabase, {{Phone(kMobile4, u"555-0100")}, {Phone(kCompanyMain4, u"555-0199")}});
  EXPECT_EQ(Restored(older, kSignature,
                     {Head(7, kMobile5, u"555-0100"), Head(8, kCompanyMain5, u"555-0199")},
                     u"Valid speed dials CSV5 header format."),
            DialsOf({Linked(old_contacts[0], kMobile4), Linked(old_contacts[1], kCompanyMain4)}));
}

TEST(SpeedDialRestore, TheFirstContactIgnoringCaseWins) {
  Handset handset;
  const std::vector<ObjectId> contacts =
      handset.Add(kContactsDatabase, {{Phone(kMobile5, u"Ext 12")},
                                      {Phone(kMobile5, u"555-HOME")},
                                      {Phone(kMobile5, u"555-home")}});
  EXPECT_EQ(
      Restored(handset, kSignature, {Head(5, kMobile5, u"555-home"), Head(5, kMobile5, u"EXT 12")},
               u"Valid speed dials CSV5 header format."),
      DialsOf({Linked(contacts[1], kMobile5), Linked(contacts[0], kMobile5)}));
}

// Either generation's signature is taken, and nothing beside them.
TEST(SpeedDialRestore, RefusesOtherFiles) {
  Handset handset;
  const std::u16string lines = DialLine(1, {1});
  std::u16string one_up = DialFile(kSignature, 1, lines);
  one_up.replace(one_up.find(u"0x1f"), 4, u"0x20");
  std::u16string two_below = DialFile(kSignature, 1, lines);
  two_below.replace(two_below.find(u"0x1f"), 4, u"0x1d");
  for (const std::u16string& text : {one_up, two_below}) {
    EXPECT_EQ(handset.Restore(text, RestoreMode::kDeleteAllFirst),
              (Lines{u"Retrieving file records...", u"! Invalid file format. Nothing done."}));
  }
  EXPECT_TRUE(handset.Dials().empty());
  EXPECT_FALSE(handset.harness.tally.file_accepted);
}

}  // namespace
}  // namespace kestrav::devicedb
