#include "outlook/contact_record.h"

#include <algorithm>

#include "devicedb/pim_volume.h"
#include "outlook/decoded_items.h"
#include "platform/format.h"
#include "records/value_text.h"

namespace kestrav::outlook {
namespace {

using platform::ItemProperty;
using platform::PropertyType;
using platform::PropertyValue;

using enum ContactSource;

// Dates beyond these give empty fields: before day 0 and after 31 December 2999.
constexpr double kFirstWrittenDate = 0.0;
constexpr double kLastWrittenDate = 401768.0;

constexpr std::uint32_t kNotesInkBefore2005 = 0x00170041;
constexpr std::uint32_t kNotesInk2005 = 0x001E0064;

constexpr std::array<ContactColumn, kContactColumnCount> kColumns = {{
    {u"Name", kItemText, ItemProperty::kFileAs, 0},
    {u"Title", kItemText, ItemProperty::kTitle, 0},
    {u"First Name", kItemText, ItemProperty::kFirstName, 0},
    {u"Middle Name", kItemText, ItemProperty::kMiddleName, 0},
    {u"Last Name", kItemText, ItemProperty::kLastName, 0},
    {u"NickName", kStoreText, std::nullopt, 0x0086001F},
    {u"Suffix", kItemText, ItemProperty::kSuffix, 0},
    {u"Display Name", kStoreText, std::nullopt, 0x10A4001F},
    {u"Picture", kStoreBytes, std::nullopt, 0x00FF0041},
    {u"Job Title", kItemText, ItemProperty::kJobTitle, 0},
    {u"Department", kItemText, ItemProperty::kDepartment, 0},
    {u"Company", kItemText, ItemProperty::kCompanyName, 0},
    {u"Business Phone", kItemText, ItemProperty::kBusinessTelephoneNumber, 0},
    {u"Business Fax", kItemText, ItemProperty::kBusinessFaxNumber, 0},
    {u"Business Street", kItemText, ItemProperty::kBusinessAddressStreet, 0},
    {u"Business City", kItemText, ItemProperty::kBusinessAddressCity, 0},
    {u"Business State", kItemText, ItemProperty::kBusinessAddressState, 0},
    {u"Business Postal Code", kItemText, ItemProperty::kBusinessAddressPostalCode, 0},
    {u"Business Country", kItemText, ItemProperty::kBusinessAddressCountry, 0},
    {u"IM", kStoreText, std::nullopt, 0x0093001F},
    {u"E-mail Address", kItemText, ItemProperty::kEmail1Address, 0},
    {u"Mobile Phone", kItemText, ItemProperty::kMobileTelephoneNumber, 0},
    {u"Ring Tone", kStoreText, std::nullopt, 0x00A8001F},
    {u"Web Page", kItemText, ItemProperty::kWebPage, 0},
    {u"Office Location", kItemText, ItemProperty::kOfficeLocation, 0},
    {u"Home Phone", kItemText, ItemProperty::kHomeTelephoneNumber, 0},
    {u"Home Street", kItemText, ItemProperty::kHomeAddressStreet, 0},
    {u"Home City", kItemText, ItemProperty::kHomeAddressCity, 0},
    {u"Home State", kItemText, ItemProperty::kHomeAddressState, 0},
    {u"Home Postal Code", kItemText, ItemProperty::kHomeAddressPostalCode, 0},
    {u"Home Country", kItemText, ItemProperty::kHomeAddressCountry, 0},
    {u"Categories", kItemText, ItemProperty::kCategories, 0},
    {u"Other Street", kItemText, ItemProperty::kOtherAddressStreet, 0},
    {u"Other City", kItemText, ItemProperty::kOtherAddressCity, 0},
    {u"Other State", kItemText, ItemProperty::kOtherAddressState, 0},
    {u"Other Postal Code", kItemText, ItemProperty::kOtherAddressPostalCode, 0},
    {u"Other Country", kItemText, ItemProperty::kOtherAddressCountry, 0},
    {u"Pager", kItemText, ItemProperty::kPagerNumber, 0},
    {u"Car Phone", kItemText, ItemProperty::kCarTelephoneNumber, 0},
    {u"Home Fax", kItemText, ItemProperty::kHomeFaxNumber, 0},
    {u"Company Main Phone", kStoreText, std::nullopt, 0x00A0001F},
    {u"Business Phone 2", kItemText, ItemProperty::kBusiness2TelephoneNumber, 0},
    {u"Home Phone 2", kItemText, ItemProperty::kHome2TelephoneNumber, 0},
    {u"Radio Phone", kItemText, ItemProperty::kRadioTelephoneNumber, 0},
    {u"IM2", kStoreText, std::nullopt, 0x0094001F},
    {u"IM3", kStoreText, std::nullopt, 0x0095001F},
    {u"E-mail 2 Address", kItemText, ItemProperty::kEmail2Address, 0},
    {u"E-mail 3 Address", kItemText, ItemProperty::kEmail3Address, 0},
    {u"Assistant's Name", kItemText, ItemProperty::kAssistantName, 0},
    {u"Assistant's Phone", kItemText, ItemProperty::kAssistantTelephoneNumber, 0},
    {u"Manager's Name", kStoreText, std::nullopt, 0x008D001F},
    {u"Government ID Number", kStoreText, std::nullopt, 0x00AA001F},
    {u"Account", kStoreText, std::nullopt, 0x00AB001F},
    {u"Customer ID Number", kStoreText, std::nullopt, 0x00A9001F},
    {u"Birthday", kItemDate, ItemProperty::kBirthday, 0},
    {u"Anniversary", kItemDate, ItemProperty::kAnniversary, 0},
    {u"Spouse", kItemText, ItemProperty::kSpouse, 0},
    {u"Children", kItemText, ItemProperty::kChildren, 0},
    {u"Notes", kNotes, ItemProperty::kBody, 0},
    {u"Notes Ink", kStoreBytes, std::nullopt, 0},
}};

std::uint32_t StoreId(const ContactColumn& column, int os_major_version) {
  return column.store_id != 0 ? column.store_id : NotesInkPropertyId(os_major_version);
}

// The identifiers of the store columns, in column order.
std::vector<std::uint32_t> StoreIds(int os_major_version) {
  std::vector<std::uint32_t> ids;
  for (const ContactColumn& column : kColumns) {
    if (column.source == kStoreText || column.source == kStoreBytes)
      ids.push_back(StoreId(column, os_major_version));
  }
  return ids;
}

// _wtoi of one piece of a date field.
long DecimalNumber(std::u16string_view text) {
  return static_cast<std::int32_t>(
      records::ParsePropertyValue(platform::MakePropertyId(0, PropertyType::kInt32), text).integer);
}

PropertyValue StoreValue(std::uint32_t id, std::u16string_view field) {
  PropertyValue value;
  value.id = id;
  if (value.type() == PropertyType::kString) {
    value.text = field;
  } else {
    value.bytes = records::ParseLenientByteList(field);
  }
  return value;
}

}  // namespace

const std::array<ContactColumn, kContactColumnCount>& ContactColumns() {
  return kColumns;
}

std::uint32_t NotesInkPropertyId(int os_major_version) {
  return os_major_version < platform::kWindowsMobile2005 ? kNotesInkBefore2005 : kNotesInk2005;
}

std::u16string ContactHeaderLine(char16_t separator) {
  std::u16string line;
  for (const ContactColumn& column : kColumns) {
    if (!line.empty()) line += separator;
    line += column.header;
  }
  return line + u"\r\n";
}

bool IsContactHeader(const records::Record& header) {
  if (header.size() != kContactColumnCount) return false;
  for (std::size_t column = 0; column < kContactColumnCount; ++column) {
    if (header[column] != kColumns[column].header) return false;
  }
  return true;
}

std::u16string DateField(double ole_date) {
  platform::SystemTime date;
  if (ole_date == platform::kOleDateNone || !(ole_date >= kFirstWrittenDate) ||
      ole_date > kLastWrittenDate || !platform::OleDateToSystemTime(ole_date, &date)) {
    return std::u16string();
  }
  return platform::Format(u"%.4d%.2d%.2d", date.year, date.month, date.day);
}

std::optional<double> DateFromField(std::u16string_view field) {
  if (field.size() != 8) return std::nullopt;
  const long year = DecimalNumber(field.substr(0, 4));
  const long month = DecimalNumber(field.substr(4, 2));
  const long day = DecimalNumber(field.substr(6, 2));
  if (year < 0 || month < 0 || day < 0) return std::nullopt;
  platform::SystemTime date;
  date.year = static_cast<std::uint16_t>(year);
  date.month = static_cast<std::uint16_t>(month);
  date.day = static_cast<std::uint16_t>(day);
  double ole_date = 0;
  if (!platform::SystemTimeToOleDate(date, &ole_date)) return std::nullopt;
  return ole_date;
}

std::u16string NotesField(std::u16string_view notes) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(notes.size() * 2);
  for (const char16_t unit : notes) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return records::ByteListText(bytes);
}

std::u16string NotesFromField(std::u16string_view field, const platform::AnsiCodePage& code_page) {
  const std::vector<std::uint8_t> bytes = records::ParseLenientByteList(field);
  if (std::ranges::find(bytes, 0) == bytes.end())
    return code_page.ToWide(std::string(bytes.begin(), bytes.end()));
  std::u16string notes;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const auto unit = static_cast<char16_t>(bytes[at] | (bytes[at + 1] << 8));
    if (unit == 0) break;
    notes.push_back(unit);
  }
  return notes;
}

ContactStore::ContactStore(const platform::Device& device)
    : device_(device),
      through_item_(device.os_major_version() >= platform::kWindowsMobile2005),
      column_ids_(StoreIds(device.os_major_version())) {
  if (through_item_) return;
  platform::ObjectStore& store = device.object_store();
  mounted_ = store.MountVolume(devicedb::kPimVolume, platform::Disposition::kOpenExisting,
                               &volume_) == platform::kErrorSuccess;
  if (mounted_) database_ = store.OpenDatabase(volume_, devicedb::kContactsDatabase);
}

ContactStore::~ContactStore() {
  platform::ObjectStore& store = device_.object_store();
  if (database_ != platform::kInvalidDatabaseHandle) store.CloseDatabase(database_);
  if (mounted_) store.UnmountVolume(volume_);
}

std::vector<PropertyValue> ContactStore::Read(platform::OutlookItem& item,
                                              const std::vector<std::uint32_t>& ids) {
  std::vector<PropertyValue> properties;
  bool read = false;
  if (through_item_) {
    read = !platform::Failed(item.GetProperties(ids, &properties));
  } else if (database_ != platform::kInvalidDatabaseHandle && item.Oid() != 0) {
    platform::ObjectStore& store = device_.object_store();
    read = store.Seek(database_, item.Oid()) == item.Oid() &&
           store.ReadNext(database_, &ids, &properties) == item.Oid();
  }
  if (!read || properties.size() != ids.size()) {
    properties.assign(ids.size(), PropertyValue{});
    for (std::size_t k = 0; k < ids.size(); ++k) {
      properties[k].id = ids[k];
      properties[k].flags = platform::kPropertyNotFound;
    }
  }
  return properties;
}

bool ContactStore::Write(platform::OutlookItem& item,
                         const std::vector<PropertyValue>& properties) {
  if (properties.empty()) return true;
  if (through_item_) return !platform::Failed(item.SetProperties(properties));
  return database_ != platform::kInvalidDatabaseHandle && item.Oid() != 0 &&
         device_.object_store().Write(database_, item.Oid(), properties) == item.Oid();
}

records::RecordValues ReadContactRecord(platform::OutlookItem& item, ContactStore& store) {
  const int os_major_version = store.os_major_version();
  const std::vector<PropertyValue> stored = store.Read(item, store.column_ids());
  records::RecordValues values(kContactColumnCount);
  std::size_t next_stored = 0;
  for (std::size_t column = 0; column < kContactColumnCount; ++column) {
    const ContactColumn& source = kColumns[column];
    std::u16string& value = values[column].emplace();
    switch (source.source) {
      case kItemText:
        if (platform::Failed(item.GetText(*source.property, &value))) value.clear();
        break;
      case kItemDate: {
        double date = platform::kOleDateNone;
        if (!platform::Failed(item.GetDate(*source.property, &date))) value = DateField(date);
        break;
      }
      case kNotes: {
        std::u16string notes;
        if (!platform::Failed(item.GetText(*source.property, &notes))) value = NotesField(notes);
        break;
      }
      case kStoreText:
      case kStoreBytes: {
        const PropertyValue& property = stored[next_stored++];
        // A value of another type than the column's is not the column's value.
        if ((property.flags & platform::kPropertyNotFound) == 0 &&
            property.id == StoreId(source, os_major_version)) {
          value = records::PropertyValueText(property).value_or(std::u16string());
        }
        break;
      }
    }
  }
  return values;
}

bool ApplyContactRecord(const DecodedContact& contact, platform::OutlookItem& item,
                        ContactStore& store, const platform::Device& device) {
  const int os = device.os_major_version();
  auto field = [&](std::size_t column) -> std::u16string_view { return contact.fields[column]; };
  item.SetText(platform::ItemProperty::kFileAs, field(kNameColumn));
  for (std::size_t column = kNameColumn + 1; column < kContactColumnCount; ++column) {
    const ContactColumn& target = kColumns[column];
    if (target.source == kItemText && !field(column).empty())
      item.SetText(*target.property, field(column));
  }
  for (std::size_t column = 0; column < kContactColumnCount; ++column) {
    const ContactColumn& target = kColumns[column];
    if (target.source == kItemDate) {
      if (const std::optional<double> date = contact.dates[column])
        item.SetDate(*target.property, *date);
    } else if (target.source == kNotes) {
      // Unlike the contact's strings, the notes follow their field even when it is empty: an
      // update with no notes in the file clears them.
      item.SetText(*target.property, contact.notes);
    }
  }

  // Notes Ink, the other store properties, then the picture; before 2005 they can only go into
  // the record once the contact has one, so it is saved first.
  std::vector<PropertyValue> store_values;
  if (!field(kNotesInkColumn).empty())
    store_values.push_back(StoreValue(NotesInkPropertyId(os), field(kNotesInkColumn)));
  for (std::size_t column = 0; column < kContactColumnCount; ++column) {
    const ContactColumn& target = kColumns[column];
    if (target.source == kStoreText && !field(column).empty())
      store_values.push_back(StoreValue(target.store_id, field(column)));
  }
  if (!field(kPictureColumn).empty())
    store_values.push_back(StoreValue(kColumns[kPictureColumn].store_id, field(kPictureColumn)));
  if (!store.through_item() && platform::Failed(item.Save())) return false;
  store.Write(item, store_values);
  return true;
}

}  // namespace kestrav::outlook
