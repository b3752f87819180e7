#include "cli/sample_data.h"

#include <array>
#include <nlohmann/json.hpp>
#include <span>

#include "cli/device_json.h"
#include "devicedb/pim_volume.h"
#include "platform/format.h"
#include "platform/text.h"
#include "records/value_text.h"

namespace kestrav::cli {
namespace {

using platform::MakePropertyId;
using platform::PropertyType;
using platform::PropertyValue;

// The properties of a sample call (docs/device-profile.md lists them).
constexpr std::uint32_t kCallStart = MakePropertyId(0x0002, PropertyType::kFileTime);
constexpr std::uint32_t kCallEnd = MakePropertyId(0x0003, PropertyType::kFileTime);
constexpr std::uint32_t kCallFlags = MakePropertyId(0x0004, PropertyType::kUInt32);
constexpr std::uint32_t kCallNumber = MakePropertyId(0x0005, PropertyType::kString);
constexpr std::uint32_t kCallName = MakePropertyId(0x0006, PropertyType::kString);
constexpr std::uint32_t kCallNumberType = MakePropertyId(0x0007, PropertyType::kString);
constexpr std::uint32_t kCallLine = MakePropertyId(0x0008, PropertyType::kInt16);
constexpr std::uint32_t kCallRoaming = MakePropertyId(0x0009, PropertyType::kBool);
constexpr std::uint32_t kCallCallerId = MakePropertyId(0x000A, PropertyType::kBlob);

// Call flags: outgoing, connected (a call not outgoing and not connected was missed).
constexpr std::uint32_t kOutgoing = 0x1;
constexpr std::uint32_t kConnected = 0x2;

struct Caller {
  const char16_t* name;  // null: a number the device does not know
  const char16_t* number;
  const char16_t* number_type;
};

// Fictional numbers from the ranges kept for drama and examples.
constexpr std::array<Caller, 10> kCallers = {{
    {u"Zoë Åkerlund", u"+44 20 7946 0018", u"m"},
    {u"José Muñoz", u"+1 202 555 0143", u"w"},
    {u"Дмитрий Орлов", u"+44 113 496 0721", u"h"},
    {u"Ελένη Παπαδοπούλου", u"+1 303 555 0187", u"m"},
    {u"محمد علي", u"+44 161 496 0555", u"m"},
    {nullptr, u"+1 415 555 0199", u"m"},
    {u"王小明", u"+44 20 7946 0502", u"w"},
    {u"Chloé \"Clo\" O'Brien", u"+1 617 555 0110", u"h"},
    {u"Ülkü Yılmaz-Öztürk", u"+44 117 496 0344", u"m"},
    {nullptr, u"", u""},  // a withheld number
}};

PropertyValue Value(std::uint32_t id) {
  PropertyValue value;
  value.id = id;
  return value;
}

// A fixed sequence of numbers, the same on every machine.
class Sequence {
 public:
  std::uint32_t Next() {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::uint32_t>(state_ >> 33);
  }

 private:
  std::uint64_t state_ = 20070315;
};

std::vector<PropertyValue> SampleCall(std::uint32_t index, Sequence& sequence,
                                      platform::FileTime* clock) {
  const Caller& caller = kCallers[sequence.Next() % kCallers.size()];
  const std::uint32_t kind = sequence.Next() % 3;  // outgoing, incoming, missed
  const std::uint32_t flags = kind == 0 ? kOutgoing | kConnected : kind == 1 ? kConnected : 0;
  constexpr platform::FileTime kSecond = 10'000'000;
  *clock += (60 + sequence.Next() % (6 * 3600)) * kSecond;
  const platform::FileTime seconds = flags & kConnected ? 5 + sequence.Next() % 1800 : 0;

  std::vector<PropertyValue> call;
  PropertyValue start = Value(kCallStart);
  start.file_time = *clock;
  call.push_back(start);
  PropertyValue end = Value(kCallEnd);
  end.file_time = *clock + seconds * kSecond;
  call.push_back(end);
  PropertyValue flag_value = Value(kCallFlags);
  flag_value.integer = flags;
  call.push_back(flag_value);
  PropertyValue number = Value(kCallNumber);
  number.text = caller.number;
  call.push_back(number);
  // An unknown caller's record keeps the name property, flagged as not found.
  PropertyValue name = Value(kCallName);
  if (caller.name != nullptr) {
    name.text = caller.name;
  } else {
    name.flags = platform::kPropertyNotFound;
  }
  call.push_back(name);
  PropertyValue number_type = Value(kCallNumberType);
  number_type.text = caller.number_type;
  call.push_back(number_type);
  PropertyValue line = Value(kCallLine);
  line.integer = index % 7 == 6 ? 2 : 1;
  call.push_back(line);
  if (index % 5 == 4) {
    PropertyValue roaming = Value(kCallRoaming);
    roaming.integer = 1;
    call.push_back(roaming);
  }
  if (caller.name == nullptr && caller.number[0] == 0) {
    PropertyValue caller_id = Value(kCallCallerId);
    caller_id.bytes = {0x00, 0x01, 0xfe, 0xff};
    call.push_back(caller_id);
  }
  return call;
}

bool FillCallLogs(platform::ObjectStore& store, std::uint32_t scale, std::string* error) {
  devicedb::HeldPimDatabase call_logs(store);
  if (call_logs.Open(devicedb::kCallLogDatabase) != platform::kErrorSuccess) {
    *error = call_logs.mounted() ? "the profile has no call log database"
                                 : "the profile has no \\pim.vol";
    return false;
  }
  Sequence sequence;
  platform::SystemTime first_of_march{};
  first_of_march.year = 2007;
  first_of_march.month = 3;
  first_of_march.day = 1;
  first_of_march.hour = 8;
  platform::FileTime clock = 0;
  platform::SystemTimeToFileTime(first_of_march, &clock);
  bool written = true;
  for (std::uint32_t index = 0; index < kSampleCallsPerScale * scale && written; ++index)
    written = store.Write(call_logs.handle(), 0, SampleCall(index, sequence, &clock)) != 0;
  if (!written) *error = "cannot write to the call log database";
  return written;
}

// --- Contacts (docs/device-profile.md lists what they exercise) ---

using Contact = nlohmann::ordered_json;

// The OLE date of a day.
double OleDate(int year, int month, int day) {
  platform::SystemTime date;
  date.year = static_cast<std::uint16_t>(year);
  date.month = static_cast<std::uint16_t>(month);
  date.day = static_cast<std::uint16_t>(day);
  double ole_date = 0;
  platform::SystemTimeToOleDate(date, &ole_date);
  return ole_date;
}

Contact StoreText(const char* id, const char* text) {
  return {{"id", id}, {"flags", 0}, {"value", text}};
}

// A 1 by 1 pixel PNG image.
constexpr std::array<std::uint8_t, 67> kPicture = {
    0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48,
    0x44, 0x52, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x06, 0x00, 0x00,
    0x00, 0x1f, 0x15, 0xc4, 0x89, 0x00, 0x00, 0x00, 0x0a, 0x49, 0x44, 0x41, 0x54, 0x78,
    0x9c, 0x63, 0x00, 0x01, 0x00, 0x00, 0x05, 0x00, 0x01, 0x0d, 0x0a, 0x2d, 0xb4, 0x00,
    0x00, 0x00, 0x00, 0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82};

std::string ByteList(std::span<const std::uint8_t> bytes) {
  return platform::ToUtf8(records::ByteListText(bytes));
}

// The contacts written by hand: each shows the record file something it must carry.
std::vector<Contact> SpecialContacts() {
  std::vector<Contact> contacts;
  contacts.push_back(
      {{"FileAs", "Åkerlund, Zoë"},
       {"FirstName", "Zoë"},
       {"LastName", "Åkerlund"},
       {"MobileTelephoneNumber", "+1 202 555 0143"},
       {"Email1Address", "zoe@example.org"},
       {"Birthday", OleDate(1976, 8, 28)},
       {"store", {{{"id", "0x00FF0041"}, {"flags", 0}, {"value", ByteList(kPicture)}}}}});
  contacts.push_back({{"FileAs", "Орлов, Дмитрий"},
                      {"FirstName", "Дмитрий"},
                      {"LastName", "Орлов"},
                      {"HomeTelephoneNumber", "+1 303 555 0187"},
                      {"Body", "Met at the conference.\r\nПозвонить в пятницу.\r\n"}});
  contacts.push_back({{"FileAs", "Παπαδοπούλου, Ελένη"},
                      {"FirstName", "Ελένη"},
                      {"LastName", "Παπαδοπούλου"},
                      {"Anniversary", OleDate(2001, 6, 16)},
                      {"CompanyName", "Ελληνικά Είδη"}});
  contacts.push_back({{"FileAs", "محمد علي"},
                      {"FirstName", "محمد"},
                      {"LastName", "علي"},
                      {"CompanyName", "شركة المثال"},
                      {"Body", "ملاحظة 1"},
                      {"BusinessTelephoneNumber", "+1 415 555 0199"}});
  contacts.push_back({{"FileAs", "王小明"},
                      {"FirstName", "小明"},
                      {"LastName", "王"},
                      {"Body", "中文 note"},
                      {"WebPage", "http://www.example.com/"}});
  contacts.push_back({{"FileAs", "O'Brien, Chloé \"Clo\""},
                      {"FirstName", "Chloé"},
                      {"LastName", "O'Brien"},
                      {"CompanyName", "Smith; Jones, and Partners"},
                      {"HomeAddressStreet", "12 Quay Street\r\nFlat 3"},
                      {"HomeAddressCity", "Cork"},
                      {"Body", "Two lines;\r\nwith \"quotes\", commas and semicolons."}});
  contacts.push_back(
      {{"FileAs", ""}, {"FirstName", "Nameless"}, {"MobileTelephoneNumber", "+1 617 555 0110"}});
  contacts.push_back({{"FileAs", "van der Berg, Anna"},
                      {"FirstName", "Anna"},
                      {"LastName", "van der Berg"},
                      {"Email1Address", "anna@example.org"}});
  contacts.push_back({{"FileAs", "Van der Berg, Anna"},
                      {"FirstName", "Anna"},
                      {"LastName", "Van der Berg"},
                      {"Email1Address", "anna.vdb@example.com"}});
  // Birthdays outside 30 December 1899 to 31 December 2999 are written as no birthday.
  contacts.push_back({{"FileAs", "Cohen, Dana"},
                      {"FirstName", "Dana"},
                      {"LastName", "Cohen"},
                      {"Birthday", -5.0},
                      {"store", {StoreText("0x10A4001F", "דנה כהן")}}});
  contacts.push_back(
      {{"FileAs", "Nakamura, Kenji"},
       {"FirstName", "Kenji"},
       {"LastName", "Nakamura"},
       {"Birthday", 500000.0},
       {"NotesInk", ByteList(std::array<std::uint8_t, 6>{1, 2, 3, 4, 5, 6})},
       {"store",
        {StoreText("0x0086001F", "Ken"), StoreText("0x0093001F", "kenji@im.example.org"),
         StoreText("0x0094001F", "kenji2@im.example.org"),
         StoreText("0x0095001F", "kenji3@im.example.org"), StoreText("0x00A8001F", "Chimes"),
         StoreText("0x00A0001F", "+1 202 555 0100"), StoreText("0x008D001F", "Sato, Yuki"),
         StoreText("0x00AA001F", "GOV-0042"), StoreText("0x00AB001F", "ACC-7"),
         StoreText("0x00A9001F", "CUST-19")}}});
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
                      {"Body", "Prefers e-mail."}});
  return contacts;
}

// The sample's contacts for one scale unit; copies after the first carry their number.
void AddSampleContacts(std::uint32_t copy, std::vector<Contact>* contacts) {
  constexpr std::array<const char*, 13> kFirstNames = {"Amelia", "Bruno", "Carla", "Dev",  "Eun-ji",
                                                       "Farid",  "Greta", "Hugo",  "Ines", "Jonas",
                                                       "Kaito",  "Lucía", "Mateus"};
  constexpr std::array<const char*, 13> kLastNames = {
      "Abbott",    "Bianchi", "Castro", "Desai",     "Eom",   "Farouk", "Gustafsson",
      "Hernández", "Iversen", "Jansen", "Kobayashi", "López", "Moreira"};
  const std::string mark = copy == 0 ? "" : " " + std::to_string(copy + 1);
  for (Contact contact : SpecialContacts()) {
    if (!contact["FileAs"].get<std::string>().empty())
      contact["FileAs"] = contact["FileAs"].get<std::string>() + mark;
    contacts->push_back(std::move(contact));
  }
  for (std::size_t k = 0; k < kFirstNames.size(); ++k) {
    const std::string first = kFirstNames[k];
    const std::string last = kLastNames[k] + mark;
    const std::string number = std::to_string(100 + (copy * kFirstNames.size() + k) % 100);
    contacts->push_back({{"FileAs", last + ", " + first},
                         {"FirstName", first},
                         {"LastName", last},
                         {"MobileTelephoneNumber", "+1 202 555 0" + number},
                         {"Email1Address", "contact" + number + "@example.org"},
                         {"Body", "Sample contact " + std::to_string(k + 1) + "."}});
  }
}

bool FillContacts(const platform::Device& device, std::uint32_t scale, std::string* error) {
  std::vector<Contact> contacts;
  contacts.reserve(kSampleContactsPerScale * scale);
  for (std::uint32_t copy = 0; copy < scale; ++copy) AddSampleContacts(copy, &contacts);
  return LoadContacts(device, Contact(contacts).dump(), error);
}

}  // namespace

bool FillSampleData(const platform::Device& device, std::uint32_t scale, std::string* error) {
  return FillCallLogs(device.object_store(), scale, error) && FillContacts(device, scale, error);
}

}  // namespace kestrav::cli
