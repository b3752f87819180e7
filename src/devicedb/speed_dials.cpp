#include "devicedb/speed_dials.h"

#include <span>

#include "devicedb/texts.h"
#include "platform/text.h"
#include "records/value_text.h"

namespace kestrav::devicedb {

using platform::ObjectId;
using platform::PropertyValue;

const PimRecordKind& SpeedDialKind() {
  static const PimRecordKind kSpeedDials{
      .database = PimDatabase::kSpeedDials,
      .written_signature = records::SignatureOf(records::SignedFile::kSpeedDials),
      .accepted_signatures =
          {
              {records::SignatureOf(records::SignedFile::kSpeedDials),
               texts::kValidSpeedDialsCsv5Header, kSpeedDialFileVersion5},
              {records::OlderSpeedDialSignature(), texts::kValidSpeedDialsCsv4Header,
               kSpeedDialFileVersion4},
          },
      .texts =
          {
              .backup_canceled = texts::kSpeedDialsBackupCanceled,
              .retrieving = texts::kRetrievingSpeedDials,
              .to_be_retrieved = texts::kSpeedDialToBeRetrieved,
              .to_be_retrieved_plural = texts::kSpeedDialsToBeRetrieved,
              .saved = texts::kNumberSaved,
              .saved_total = texts::kSpeedDialSaved,
              .saved_total_plural = texts::kSpeedDialsSaved,
              .inserting = texts::kInsertingSpeedDials,
              .already_exists = texts::kNumberAlreadyExists,
              .inserted = texts::kNumberInserted,
              .restore_canceled = texts::kSpeedDialsRestoreCanceled,
              .stored = texts::kSpeedDialStored,
              .stored_plural = texts::kSpeedDialsStored,
          },
  };
  return kSpeedDials;
}

namespace {

// A present byte block long enough to hold a speed-dial head.
bool HoldsHead(const PropertyValue& value) {
  return value.type() == platform::PropertyType::kBlob &&
         (value.flags & platform::kPropertyNotFound) == 0 &&
         value.bytes.size() >= kSpeedDialHeadSize;
}

std::uint32_t HeadField(const PropertyValue& value, std::size_t offset) {
  return LittleEndian(std::span(value.bytes).subspan(offset), 4);
}

void SetHeadField(PropertyValue* value, std::size_t offset, std::uint32_t field) {
  for (std::size_t i = 0; i < 4; ++i)
    value->bytes[offset + i] = static_cast<std::uint8_t>(field >> (8 * i));
}

// The text a contact's property is matched by: its value text, which like every device string
// ends at its first NUL.
std::u16string ContactText(const PropertyValue& property) {
  std::u16string text = records::PropertyValueText(property).value_or(std::u16string());
  text.resize(std::u16string_view(text.c_str()).size());
  return text;
}

// The phone text a backup appended to the head: the wide characters after it, up to a NUL or
// the block's end. An odd last byte is no character.
std::u16string LinkedText(const PropertyValue& value) {
  std::u16string text;
  for (std::size_t at = kSpeedDialHeadSize; at + 1 < value.bytes.size(); at += 2) {
    const auto unit = static_cast<char16_t>(value.bytes[at] | value.bytes[at + 1] << 8);
    if (unit == u'\0') break;
    text += unit;
  }
  return text;
}

// The key under which texts equal but for the case of ASCII letters meet.
std::u16string FoldedCase(std::u16string text) {
  for (char16_t& unit : text) unit = platform::AsciiLower(unit);
  return text;
}

std::vector<std::uint8_t> Utf16LittleEndianBytes(std::u16string_view text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() * 2);
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

}  // namespace

DecodedSpeedDial DecodeSpeedDial(std::vector<PropertyValue> properties) {
  DecodedSpeedDial dial;
  for (const PropertyValue& property : properties) {
    if ((property.flags & platform::kPropertyNotFound) != 0) continue;
    if (property.id == kSpeedDialPositionProperty) {
      dial.position = static_cast<std::uint16_t>(property.integer);
    } else if (property.id == kSpeedDialLabelProperty) {
      dial.label = property.text;
    } else if (!dial.has_head && HoldsHead(property)) {
      dial.has_head = true;
      dial.contact_id = HeadField(property, kContactIdOffset);
      dial.phone_property = HeadField(property, kPhonePropertyOffset);
      dial.phone_text = LinkedText(property);
    }
  }
  dial.properties = std::move(properties);
  return dial;
}

std::uint32_t DevicePhoneProperty(std::uint32_t property_id, int file_version,
                                  int os_major_version) {
  const bool device_is_version5 = os_major_version >= platform::kWindowsMobile2005;
  if (device_is_version5 == (file_version == kSpeedDialFileVersion5)) return property_id;
  for (const PhonePropertyRow& row : kContactPhoneProperties) {
    if (device_is_version5 && row.version4 == property_id) return row.version5;
    if (!device_is_version5 && row.version5 == property_id) return row.version4;
  }
  return property_id;
}

SpeedDialWorker::SpeedDialWorker(const platform::Device& device)
    : PimRecordWorker(device, SpeedDialKind()) {}

void SpeedDialWorker::Restore(const engine::PassContext& pass) {
  contacts_by_property_.clear();
  PimRecordWorker::Restore(pass);
  contacts_by_property_.clear();
}

bool SpeedDialWorker::CanBackUp(const CeDbSession& session) const {
  return PimRecordWorker::CanBackUp(session) &&
         session.contacts != platform::kInvalidDatabaseHandle;
}

void SpeedDialWorker::AppendLinkedText(CeDbSession& session, const PropertyValue& value,
                                       std::u16string* line) {
  if (!HoldsHead(value)) return;
  const ObjectId contact = HeadField(value, kContactIdOffset);
  // A seek that finds no record would leave the read on some other contact.
  if (contact == 0 || session.store().Seek(session.contacts, contact) != contact) return;
  const std::vector<std::uint32_t> wanted = {HeadField(value, kPhonePropertyOffset)};
  std::vector<PropertyValue> property;
  if (session.store().ReadNext(session.contacts, &wanted, &property) == 0 || property.empty() ||
      (property[0].flags & platform::kPropertyNotFound) != 0) {
    return;
  }
  // An empty text would leave a "," with no byte after it, which no byte list reads back.
  const std::u16string text = ContactText(property[0]);
  if (text.empty()) return;
  *line += u',';
  *line += records::ByteListText(Utf16LittleEndianBytes(text));
}

void SpeedDialWorker::PrepareRecord(CeDbSession& session, int file_version,
                                    std::vector<PropertyValue>* record) {
  for (PropertyValue& value : *record) {
    if (!HoldsHead(value) || HeadField(value, kContactIdOffset) == 0) continue;
    const std::uint32_t property_id = DevicePhoneProperty(
        HeadField(value, kPhonePropertyOffset), file_version, device().os_major_version());
    const ContactIndex& contacts = ContactsByPhone(session, property_id);
    const auto contact = contacts.find(FoldedCase(LinkedText(value)));
    // A contact not found again leaves the dial on the object id and property the file names.
    if (contact == contacts.end()) continue;
    SetHeadField(&value, kContactIdOffset, contact->second);
    SetHeadField(&value, kPhonePropertyOffset, property_id);
    SetHeadField(&value, kClearedOnRelinkOffset, 0);
    value.bytes.resize(kSpeedDialHeadSize);
  }
}

const SpeedDialWorker::ContactIndex& SpeedDialWorker::ContactsByPhone(CeDbSession& session,
                                                                      std::uint32_t property_id) {
  const auto [entry, added] = contacts_by_property_.try_emplace(property_id);
  ContactIndex& index = entry->second;
  if (!added) return index;
  // One walk over the contacts in database order stands for the walk of every dial naming this
  // property: the first contact to hold a text keeps it, as the first match would.
  session.store().Seek(session.contacts, 0);
  const std::uint32_t count = RecordCount(session.store(), session.contacts);
  const std::vector<std::uint32_t> wanted = {property_id};
  std::vector<PropertyValue> property;
  for (std::uint32_t read = 0; read < count && !session.Canceled(); ++read) {
    const ObjectId contact = session.store().ReadNext(session.contacts, &wanted, &property);
    if (contact == 0) break;
    if (property.empty() || (property[0].flags & platform::kPropertyNotFound) != 0) continue;
    index.try_emplace(FoldedCase(ContactText(property[0])), contact);
  }
  return index;
}

bool SpeedDialWorker::SameValue(const PropertyValue& database_value,
                                const PropertyValue& file_value) const {
  if (HoldsHead(database_value) && HoldsHead(file_value)) {
    return HeadField(database_value, kContactIdOffset) == HeadField(file_value, kContactIdOffset) &&
           HeadField(database_value, kPhonePropertyOffset) ==
               HeadField(file_value, kPhonePropertyOffset);
  }
  return PimRecordWorker::SameValue(database_value, file_value);
}

ObjectId SpeedDialWorker::Insert(CeDbSession& session, const std::vector<PropertyValue>& record) {
  const ObjectId created = session.store().Write(session.database, 0, {record.front()});
  if (created == 0) return 0;
  // The further writes' results are not looked at: the dial exists once its record does.
  for (std::size_t k = 1; k < record.size(); ++k)
    session.store().Write(session.database, created, {record[k]});
  return created;
}

}  // namespace kestrav::devicedb
