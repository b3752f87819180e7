// The sample's contacts (docs/device-profile.md lists what they exercise).
//
// Each contact is written as `device load contacts` reads it, with its properties in the order a
// restore writes them - the item texts, Birthday, Anniversary, Body, then Notes Ink, the store
// texts in file column order and the picture - so that a backup and restore of the sample dumps
// the same.
#include <zlib.h>

#include <array>
#include <span>
#include <string>
#include <vector>

#include "platform/format.h"
#include "platform/text.h"
#include "profile/item_json.h"
#include "profile/sample_data.h"
#include "profile/samples.h"

namespace kestrav::profile {
namespace {

using Contact = Json;

Contact StoreValue(const char* id, const std::string& value) {
  return {{"id", id}, {"flags", 0}, {"value", value}};
}

void AppendBigEndian(std::uint32_t value, std::vector<std::uint8_t>* bytes) {
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes->push_back(static_cast<std::uint8_t>(value >> shift));
}

void AppendChunk(const char* type, const std::vector<std::uint8_t>& data,
                 std::vector<std::uint8_t>* png) {
  AppendBigEndian(static_cast<std::uint32_t>(data.size()), png);
  const std::size_t type_at = png->size();
  png->insert(png->end(), type, type + 4);
  png->insert(png->end(), data.begin(), data.end());
  const uLong crc = crc32(0, png->data() + type_at, static_cast<uInt>(png->size() - type_at));
  AppendBigEndian(static_cast<std::uint32_t>(crc), png);
}

// A contact picture: a 12 by 12 pixel RGB PNG of a round face. Its image data is one stored
// deflate block, not compressed, so that its bytes do not depend on the zlib at hand.
const std::string& PictureByteList() {
  static const std::string byte_list = [] {
    constexpr int kSide = 12;
    std::vector<std::uint8_t> rows;
    for (int y = 0; y < kSide; ++y) {
      rows.push_back(0);  // no filter
      for (int x = 0; x < kSide; ++x) {
        const int dx = 2 * x - (kSide - 1);
        const int dy = 2 * y - (kSide - 1);
        const bool face = dx * dx + dy * dy <= (kSide - 1) * (kSide - 1);
        const bool eye = y == 4 && (x == 4 || x == 7);
        const bool mouth = y == 8 && x >= 4 && x <= 7;
        const std::array<std::uint8_t, 3> colour =
            eye || mouth ? std::array<std::uint8_t, 3>{0x30, 0x20, 0x10}
            : face       ? std::array<std::uint8_t, 3>{0xF5, 0xC5, 0x3A}
                         : std::array<std::uint8_t, 3>{0x4A, 0x90, 0xD9};
        rows.insert(rows.end(), colour.begin(), colour.end());
      }
    }
    const auto size = static_cast<std::uint16_t>(rows.size());
    // The zlib header, then the one and last block, stored: its length and the length's
    // complement, low byte first.
    std::vector<std::uint8_t> data = {0x78, 0x01, 0x01};
    for (const std::uint16_t half : {size, static_cast<std::uint16_t>(~size)}) {
      data.push_back(static_cast<std::uint8_t>(half));
      data.push_back(static_cast<std::uint8_t>(half >> 8));
    }
    data.insert(data.end(), rows.begin(), rows.end());
    AppendBigEndian(static_cast<std::uint32_t>(
                        adler32(adler32(0, nullptr, 0), rows.data(), static_cast<uInt>(size))),
                    &data);
    std::vector<std::uint8_t> png = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    std::vector<std::uint8_t> header;
    AppendBigEndian(kSide, &header);
    AppendBigEndian(kSide, &header);
    header.insert(header.end(), {8, 2, 0, 0, 0});  // 8 bits, RGB, deflate, no filter, no interlace
    AppendChunk("IHDR", header, &png);
    AppendChunk("IDAT", data, &png);
    AppendChunk("IEND", {}, &png);
    return ByteList(png);
  }();
  return byte_list;
}

// Notes Ink: a few strokes' worth of bytes.
std::string InkByteList(std::uint8_t seed) {
  std::vector<std::uint8_t> ink(48);
  for (std::size_t k = 0; k < ink.size(); ++k)
    ink[k] = static_cast<std::uint8_t>(seed + 37 * k + (k % 4 == 0 ? 0x80 : 0));
  return ByteList(ink);
}

// The contacts written by hand, each carrying something the contacts file must carry.
std::vector<Contact> HandWrittenContacts() {
  std::vector<Contact> contacts;
  contacts.push_back(
      {{"FileAs", "Åkerlund, Zoë"},
       {"FirstName", "Zoë"},
       {"LastName", "Åkerlund"},
       {"Email1Address", "zoe.akerlund@example.org"},
       {"MobileTelephoneNumber", "+44 20 7946 0018"},
       {"Birthday", OleDate(1977, 8, 28)},
       {"Body", "Met at the Umeå fair.\r\nPrefers texts to calls."},
       {"store", {StoreValue("0x0086001F", "Zo"), StoreValue("0x00FF0041", PictureByteList())}}});
  contacts.push_back({{"FileAs", "Muñoz, José"},
                      {"FirstName", "José"},
                      {"LastName", "Muñoz"},
                      {"JobTitle", "Gerente de ventas"},
                      {"CompanyName", "Muñoz y Compañía"},
                      {"BusinessTelephoneNumber", "+1 202 555 0143"},
                      {"Email1Address", "jose.munoz@example.com"},
                      {"Categories", "Business"},
                      {"store", {StoreValue("0x00A0001F", "+1 202 555 0100")}}});
  contacts.push_back({{"FileAs", "Орлов, Дмитрий"},
                      {"FirstName", "Дмитрий"},
                      {"LastName", "Орлов"},
                      {"HomeTelephoneNumber", "+44 113 496 0721"},
                      {"HomeAddressStreet", "ул. Примерная, д. 5, кв. 12"},
                      {"HomeAddressCity", "Энск"},
                      {"Body", "Met at the conference.\r\nПозвонить в пятницу.\r\n"}});
  contacts.push_back({{"FileAs", "Παπαδοπούλου, Ελένη"},
                      {"FirstName", "Ελένη"},
                      {"LastName", "Παπαδοπούλου"},
                      {"CompanyName", "Ελληνικά Είδη Α.Ε."},
                      {"MobileTelephoneNumber", "+1 303 555 0187"},
                      {"Anniversary", OleDate(2001, 6, 16)}});
  contacts.push_back({{"FileAs", "محمد علي"},
                      {"FirstName", "محمد"},
                      {"LastName", "علي"},
                      {"CompanyName", "شركة المثال"},
                      {"MobileTelephoneNumber", "+44 161 496 0555"},
                      {"Body", "ملاحظة: الاتصال بعد الساعة 5"},
                      {"store", {StoreValue("0x10A4001F", "محمد علي")}}});
  contacts.push_back({{"FileAs", "王小明"},
                      {"FirstName", "小明"},
                      {"LastName", "王"},
                      {"CompanyName", "示例贸易有限公司"},
                      {"BusinessTelephoneNumber", "+44 20 7946 0502"},
                      {"WebPage", "http://www.example.com/"},
                      {"Body", "下周三开会 (Wed)"}});
  contacts.push_back({{"FileAs", "O'Brien, Chloé \"Clo\""},
                      {"FirstName", "Chloé"},
                      {"LastName", "O'Brien"},
                      {"CompanyName", "Smith; Jones, and Partners"},
                      {"HomeTelephoneNumber", "+1 617 555 0110"},
                      {"HomeAddressStreet", "12 Quay Street\r\nFlat 3"},
                      {"HomeAddressCity", "Cork"},
                      {"Body", "Two lines;\r\nwith \"quotes\", commas and semicolons."},
                      {"store", {StoreValue("0x008D001F", "Byrne; Siobhán, \"Shiv\"")}}});
  contacts.push_back({{"FileAs", "Yılmaz-Öztürk, Ülkü"},
                      {"FirstName", "Ülkü"},
                      {"LastName", "Yılmaz-Öztürk"},
                      {"Email1Address", "ulku@example.org"},
                      {"MobileTelephoneNumber", "+44 117 496 0344"},
                      {"HomeAddressCity", "İzmir"},
                      {"store", {StoreValue("0x0093001F", "ulku@im.example.org")}}});
  // Birthdays outside 30 December 1899 to 31 December 2999 are written as no birthday.
  contacts.push_back({{"FileAs", "כהן, דנה"},
                      {"FirstName", "דנה"},
                      {"LastName", "כהן"},
                      {"MobileTelephoneNumber", "+1 212 555 0162"},
                      {"Birthday", -5.0},
                      {"store", {StoreValue("0x10A4001F", "דנה כהן")}}});
  contacts.push_back(
      {{"FileAs", "Nakamura, Kenji"},
       {"FirstName", "Kenji"},
       {"LastName", "Nakamura"},
       {"JobTitle", "Buyer"},
       {"CompanyName", "Example Trading"},
       {"Birthday", 500000.0},
       {"NotesInk", InkByteList(0x11)},
       {"store",
        {StoreValue("0x0086001F", "Ken"), StoreValue("0x10A4001F", "Kenji Nakamura"),
         StoreValue("0x0093001F", "kenji@im.example.org"), StoreValue("0x00A8001F", "Chimes"),
         StoreValue("0x00A0001F", "+1 415 555 0100"),
         StoreValue("0x0094001F", "kenji2@im.example.org"),
         StoreValue("0x0095001F", "kenji3@im.example.org"), StoreValue("0x008D001F", "Sato, Yuki"),
         StoreValue("0x00AA001F", "GOV-0042"), StoreValue("0x00AB001F", "ACC-7"),
         StoreValue("0x00A9001F", "CUST-19")}}});
  // No file-as name: a restore's add-new never finds this one.
  contacts.push_back({{"FirstName", "Sam"},
                      {"MobileTelephoneNumber", "+1 312 555 0177"},
                      {"Body", "Name to follow.\r\nMet at the station."}});
  contacts.push_back({{"FileAs", "van der Berg, Anna"},
                      {"FirstName", "Anna"},
                      {"LastName", "van der Berg"},
                      {"Email1Address", "anna@example.org"}});
  contacts.push_back({{"FileAs", "Van der Berg, Anna"},
                      {"FirstName", "Anna"},
                      {"LastName", "Van der Berg"},
                      {"Email1Address", "anna.vdb@example.com"}});
  contacts.push_back({{"FileAs", "Müller, Jürgen"},
                      {"Title", "Dr."},
                      {"FirstName", "Jürgen"},
                      {"MiddleName", "K."},
                      {"LastName", "Müller"},
                      {"Suffix", "Jr."},
                      {"JobTitle", "Engineer"},
                      {"Department", "Research"},
                      {"CompanyName", "Example GmbH"},
                      {"BusinessTelephoneNumber", "+1 202 555 0111"},
                      {"BusinessFaxNumber", "+1 202 555 0112"},
                      {"BusinessAddressStreet", "1 Example Way"},
                      {"BusinessAddressCity", "Springfield"},
                      {"BusinessAddressState", "IL"},
                      {"BusinessAddressPostalCode", "62701"},
                      {"BusinessAddressCountry", "USA"},
                      {"Email1Address", "juergen@example.org"},
                      {"MobileTelephoneNumber", "+1 202 555 0113"},
                      {"WebPage", "http://example.org/jm"},
                      {"OfficeLocation", "B2.14"},
                      {"HomeTelephoneNumber", "+1 202 555 0114"},
                      {"HomeAddressStreet", "5 Elm Road"},
                      {"HomeAddressCity", "Springfield"},
                      {"HomeAddressState", "IL"},
                      {"HomeAddressPostalCode", "62702"},
                      {"HomeAddressCountry", "USA"},
                      {"Categories", "Business, Personal"},
                      {"OtherAddressStreet", "PO Box 9"},
                      {"OtherAddressCity", "Shelbyville"},
                      {"OtherAddressState", "IL"},
                      {"OtherAddressPostalCode", "62565"},
                      {"OtherAddressCountry", "USA"},
                      {"PagerNumber", "+1 202 555 0115"},
                      {"CarTelephoneNumber", "+1 202 555 0116"},
                      {"HomeFaxNumber", "+1 202 555 0117"},
                      {"Business2TelephoneNumber", "+1 202 555 0118"},
                      {"Home2TelephoneNumber", "+1 202 555 0119"},
                      {"RadioTelephoneNumber", "+1 202 555 0120"},
                      {"Email2Address", "jm2@example.org"},
                      {"Email3Address", "jm3@example.org"},
                      {"AssistantName", "Lena Fischer"},
                      {"AssistantTelephoneNumber", "+1 202 555 0121"},
                      {"Spouse", "Maria"},
                      {"Children", "Paul, Lisa"},
                      {"Birthday", OleDate(1965, 2, 28)},
                      {"Anniversary", OleDate(1990, 5, 5)},
                      {"Body", "Prefers e-mail.\r\nCall the assistant first."},
                      {"NotesInk", InkByteList(0x5A)},
                      {"store", {StoreValue("0x00FF0041", PictureByteList())}}});
  return contacts;
}

// The plain address-book entries.
struct Entry {
  const char* first;
  const char* last;
  const char* company;  // empty: a private contact
  const char* city;
  int birth_year;  // 0: no birthday
};

constexpr std::array<Entry, 11> kEntries = {{
    {"Amelia", "Abbott", "Northwind Books", "Riverton", 1980},
    {"Bruno", "Bianchi", "", "Fairview", 0},
    {"Carla", "Castro", "Lakeside Clinic", "Lakeside", 1972},
    {"Dev", "Desai", "Example Systems", "Springfield", 0},
    {"Eun-ji", "Eom", "", "Riverton", 1991},
    {"Farid", "Farouk", "Harbour Freight", "Port Ellen", 0},
    {"Greta", "Gustafsson", "Example Design", "Fairview", 1985},
    {"Hugo", "Hernández", "", "Lakeside", 0},
    {"Ines", "Iversen", "Riverton Library", "Riverton", 1968},
    {"Kaito", "Kobayashi", "Example Systems", "Springfield", 0},
    {"Lucía", "López", "", "Fairview", 1999},
}};

// Area codes for the fictional 555-01xx numbers, so that copies get numbers of their own.
constexpr std::array<const char16_t*, 8> kAreaCodes = {u"202", u"303", u"415", u"512",
                                                       u"617", u"702", u"808", u"919"};

Contact PlainContact(const Entry& entry, std::size_t serial) {
  const std::string number = platform::ToUtf8(
      platform::Format(u"+1 %s 555 01%.2d", kAreaCodes[serial / 100 % kAreaCodes.size()],
                       static_cast<int>(serial % 100)));
  Contact contact = {{"FileAs", std::string(entry.last) + ", " + entry.first},
                     {"FirstName", entry.first},
                     {"LastName", entry.last}};
  const bool business = entry.company[0] != 0;
  const std::string email = "contact" + std::to_string(serial) + "@example.com";
  if (business) {
    contact["CompanyName"] = entry.company;
    contact["BusinessTelephoneNumber"] = number;
    contact["BusinessAddressCity"] = entry.city;
    contact["Email1Address"] = email;
  } else {
    contact["Email1Address"] = email;
    contact["HomeTelephoneNumber"] = number;
    contact["HomeAddressCity"] = entry.city;
  }
  contact["Categories"] = business ? "Business" : "Personal";
  if (entry.birth_year != 0) {
    contact["Birthday"] = OleDate(entry.birth_year, static_cast<int>(1 + serial % 12),
                                  static_cast<int>(1 + serial % 28));
  }
  if (serial % 3 == 0) contact["Body"] = "Sample contact " + std::to_string(serial) + ".";
  return contact;
}

// One scale unit of contacts; copies after the first end their file-as and last names with the
// copy's number ("Müller, Jürgen 2", "Müller 2").
std::vector<Contact> SampleContacts(std::uint32_t copy) {
  std::vector<Contact> contacts = HandWrittenContacts();
  for (std::size_t k = 0; k < kEntries.size(); ++k)
    contacts.push_back(PlainContact(kEntries[k], copy * kEntries.size() + k));
  if (copy == 0) return contacts;
  const std::string mark = " " + std::to_string(copy + 1);
  for (Contact& contact : contacts) {
    for (const char* key : {"FileAs", "LastName"}) {
      const auto name = contact.find(key);
      if (name != contact.end() && !name->get_ref<const std::string&>().empty())
        *name = name->get<std::string>() + mark;
    }
  }
  return contacts;
}

}  // namespace

bool FillSampleContacts(const platform::Device& device, std::uint32_t scale, std::string* error) {
  Contact contacts = Contact::array();
  for (std::uint32_t copy = 0; copy < scale; ++copy) {
    for (Contact& contact : SampleContacts(copy)) contacts.push_back(std::move(contact));
  }
  return LoadItemDocument(device, platform::OutlookFolderId::kContacts, contacts, error);
}

}  // namespace kestrav::profile
