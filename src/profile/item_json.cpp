// Contacts, appointments and tasks by their object-model property names: one mechanism, each kind
// a row of the names it shows and of the byte blocks it shows in a readable form.
#include "profile/item_json.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <utility>

#include "outlook/contact_record.h"
#include "platform/host/outlook_properties.h"
#include "platform/text.h"

namespace kestrav::profile {
namespace {

using platform::ItemProperty;
using platform::Recipient;
using platform::RecurrenceException;
using platform::RecurrencePattern;
using platform::host::ItemValueType;
using Bytes = std::vector<std::uint8_t>;

constexpr char kStoreKey[] = "store";
constexpr char kExceptionsKey[] = "Exceptions";

// --- Values by their item type ---

std::string Expectation(ItemValueType type) {
  switch (type) {
    case ItemValueType::kText:
      return "a string";
    case ItemValueType::kDate:
      return "an OLE date: a number, \"NaN\", \"Infinity\" or \"-Infinity\"";
    case ItemValueType::kBoolean:
      return "true or false";
    case ItemValueType::kInteger:
      return "an integer from -2147483648 to 2147483647";
    case ItemValueType::kBytes:
      break;
  }
  return "a byte list such as \"0x01,0xab\"";
}

bool Refuse(std::string_view key, ItemValueType type, std::string* reason) {
  *reason = "\"" + std::string(key) + "\" must be " + Expectation(type);
  return false;
}

// A value in the JSON of its item type; nothing for a boolean other than 0 or 1, which only the
// store form keeps.
std::optional<Json> TypedJson(ItemValueType type, const PropertyValue& value) {
  switch (type) {
    case ItemValueType::kText:
      return platform::ToUtf8(value.text);
    case ItemValueType::kDate:
      return DoubleJson(value.real);
    case ItemValueType::kBoolean:
      if (value.integer != 0 && value.integer != 1) return std::nullopt;
      return value.integer == 1;
    case ItemValueType::kInteger:
      return static_cast<std::int32_t>(value.integer);
    case ItemValueType::kBytes:
      break;
  }
  return ByteListJson(value.bytes);
}

bool ReadTyped(ItemValueType type, const Json& json, PropertyValue* value) {
  switch (type) {
    case ItemValueType::kText:
      if (!json.is_string()) return false;
      value->text = platform::FromUtf8(json.get_ref<const std::string&>());
      return true;
    case ItemValueType::kDate:
      return ReadDouble(json, &value->real);
    case ItemValueType::kBoolean:
      if (!json.is_boolean()) return false;
      value->integer = json.get<bool>() ? 1 : 0;
      return true;
    case ItemValueType::kInteger: {
      std::int32_t integer = 0;
      if (!ReadInt32(json, &integer)) return false;
      value->integer = integer;
      return true;
    }
    case ItemValueType::kBytes:
      break;
  }
  return ReadByteList(json, &value->bytes);
}

// --- The fields of a recipient, a recurrence pattern and an exception, by the same types ---

// One field of an object and its name; exactly one member is set.
template <typename Object>
struct Field {
  std::string_view name;
  std::u16string Object::*text = nullptr;
  std::int32_t Object::*integer = nullptr;
  double Object::*date = nullptr;
  bool Object::*boolean = nullptr;

  ItemValueType Type() const {
    if (text != nullptr) return ItemValueType::kText;
    if (integer != nullptr) return ItemValueType::kInteger;
    return date != nullptr ? ItemValueType::kDate : ItemValueType::kBoolean;
  }
  PropertyValue Get(const Object& object) const {
    PropertyValue value;
    if (text != nullptr) value.text = object.*text;
    if (integer != nullptr) value.integer = object.*integer;
    if (date != nullptr) value.real = object.*date;
    if (boolean != nullptr) value.integer = object.*boolean ? 1 : 0;
    return value;
  }
  void Set(const PropertyValue& value, Object* object) const {
    if (text != nullptr) object->*text = value.text;
    if (integer != nullptr) object->*integer = static_cast<std::int32_t>(value.integer);
    if (date != nullptr) object->*date = value.real;
    if (boolean != nullptr) object->*boolean = value.integer != 0;
  }
};

template <typename Object, std::size_t kCount>
Json FieldsJson(const Object& object, const std::array<Field<Object>, kCount>& fields) {
  Json json = Json::object();
  for (const Field<Object>& field : fields)
    json[std::string(field.name)] = *TypedJson(field.Type(), field.Get(object));
  return json;
}

// The fields an object gives; those it leaves out stay as they are. `nested` names a key read
// apart.
template <typename Object, std::size_t kCount>
bool ReadFields(const Json& json, const std::array<Field<Object>, kCount>& fields, Object* object,
                std::string* reason, std::string_view nested = {}) {
  if (!json.is_object()) {
    *reason = "not an object";
    return false;
  }
  for (const auto& item : json.items()) {
    if (item.key() == nested) continue;
    const auto field = std::ranges::find(fields, item.key(), &Field<Object>::name);
    if (field == fields.end()) {
      *reason = "unknown key \"" + item.key() + "\"";
      return false;
    }
    PropertyValue value;
    if (!ReadTyped(field->Type(), item.value(), &value))
      return Refuse(item.key(), field->Type(), reason);
    field->Set(value, object);
  }
  return true;
}

// A list of objects of those fields, each handed to `take` as it is read; each one's reason names
// it by `noun` and its position.
template <typename Object, std::size_t kCount, typename Take>
bool ReadFieldList(const Json& json, const std::array<Field<Object>, kCount>& fields,
                   std::string_view noun, Take take, std::string* reason) {
  for (std::size_t k = 0; k < json.size(); ++k) {
    Object object;
    if (!ReadFields(json[k], fields, &object, reason)) {
      *reason = std::string(noun) + " " + std::to_string(k) + ": " + *reason;
      return false;
    }
    take(std::move(object));
  }
  return true;
}

constexpr std::array<Field<Recipient>, 2> kRecipientFields = {{
    {.name = "name", .text = &Recipient::name},
    {.name = "address", .text = &Recipient::address},
}};

constexpr std::array<Field<RecurrencePattern>, 13> kPatternFields = {{
    {.name = "RecurrenceType", .integer = &RecurrencePattern::recurrence_type},
    {.name = "Interval", .integer = &RecurrencePattern::interval},
    {.name = "Instance", .integer = &RecurrencePattern::instance},
    {.name = "DayOfWeekMask", .integer = &RecurrencePattern::day_of_week_mask},
    {.name = "DayOfMonth", .integer = &RecurrencePattern::day_of_month},
    {.name = "MonthOfYear", .integer = &RecurrencePattern::month_of_year},
    {.name = "PatternStartDate", .date = &RecurrencePattern::pattern_start_date},
    {.name = "PatternEndDate", .date = &RecurrencePattern::pattern_end_date},
    {.name = "Occurrences", .integer = &RecurrencePattern::occurrences},
    {.name = "NoEndDate", .boolean = &RecurrencePattern::no_end_date},
    {.name = "StartTime", .date = &RecurrencePattern::start_time},
    {.name = "EndTime", .date = &RecurrencePattern::end_time},
    {.name = "Duration", .integer = &RecurrencePattern::duration},
}};

constexpr std::array<Field<RecurrenceException>, 4> kExceptionFields = {{
    {.name = "OriginalDate", .date = &RecurrenceException::original_date},
    {.name = "Deleted", .boolean = &RecurrenceException::deleted},
    {.name = "Start", .date = &RecurrenceException::start},
    {.name = "End", .date = &RecurrenceException::end},
}};

// --- The byte blocks shown in a readable form ---

struct BlockForm {
  std::string_view key;
  std::uint32_t (*id)(int os_major_version);
  // The readable form of a block.
  void (*to_json)(const Bytes& bytes, Json* json);
  // The block of a readable form; false with the reason.
  bool (*read)(const Json& json, Bytes* bytes, std::string* reason);
};

constexpr BlockForm kNotesInk = {
    .key = "NotesInk",
    .id = outlook::NotesInkPropertyId,
    .to_json = [](const Bytes& bytes, Json* json) { *json = ByteListJson(bytes); },
    .read =
        [](const Json& json, Bytes* bytes, std::string* reason) {
          return ReadByteList(json, bytes) || Refuse("NotesInk", ItemValueType::kBytes, reason);
        },
};

constexpr BlockForm kRecipients = {
    .key = "recipients",
    .id = platform::host::RecipientsPropertyId,
    .to_json =
        [](const Bytes& bytes, Json* json) {
          *json = Json::array();
          Recipient recipient;
          for (std::size_t at = 0; platform::host::ReadRecipient(bytes, &at, &recipient);)
            json->push_back(FieldsJson(recipient, kRecipientFields));
        },
    .read =
        [](const Json& json, Bytes* bytes, std::string* reason) {
          if (!json.is_array()) {
            *reason = "\"recipients\" must be an array of recipients";
            return false;
          }
          bytes->clear();
          const auto append = [bytes](const Recipient& recipient) {
            platform::host::AppendRecipient(recipient, bytes);
          };
          return ReadFieldList(json, kRecipientFields, "recipient", append, reason);
        },
};

constexpr BlockForm kRecurrence = {
    .key = "recurrence",
    .id = platform::host::RecurrencePropertyId,
    .to_json =
        [](const Bytes& bytes, Json* json) {
          const RecurrencePattern pattern = platform::host::DecodeRecurrence(bytes);
          *json = FieldsJson(pattern, kPatternFields);
          Json& exceptions = (*json)[kExceptionsKey] = Json::array();
          for (const RecurrenceException& exception : pattern.exceptions)
            exceptions.push_back(FieldsJson(exception, kExceptionFields));
        },
    .read =
        [](const Json& json, Bytes* bytes, std::string* reason) {
          RecurrencePattern pattern;
          if (!ReadFields(json, kPatternFields, &pattern, reason, kExceptionsKey)) {
            *reason = "recurrence: " + *reason;
            return false;
          }
          if (const auto exceptions = json.find(kExceptionsKey); exceptions != json.end()) {
            if (!exceptions->is_array()) {
              *reason = "recurrence: \"Exceptions\" must be an array of exceptions";
              return false;
            }
            const auto add = [&pattern](const RecurrenceException& exception) {
              pattern.exceptions.push_back(exception);
            };
            if (!ReadFieldList(*exceptions, kExceptionFields, "exception", add, reason)) {
              *reason = "recurrence: " + *reason;
              return false;
            }
          }
          *bytes = platform::host::EncodeRecurrence(pattern);
          return true;
        },
};

// --- The kinds ---

struct ItemKind {
  platform::OutlookFolderId folder;
  std::u16string_view database;
  std::string_view noun;
  // The item properties shown by name.
  std::span<const ItemProperty> properties;
  std::span<const BlockForm> blocks;
};

// A contact's properties are the enumeration's first, up to Anniversary.
constexpr auto kContactProperties = [] {
  std::array<ItemProperty, static_cast<std::size_t>(ItemProperty::kAnniversary) + 1> properties{};
  for (std::size_t k = 0; k < properties.size(); ++k) properties[k] = static_cast<ItemProperty>(k);
  return properties;
}();

constexpr ItemProperty kAppointmentProperties[] = {
    ItemProperty::kSubject,
    ItemProperty::kLocation,
    ItemProperty::kBody,
    ItemProperty::kCategories,
    ItemProperty::kReminderSoundFile,
    ItemProperty::kStart,
    ItemProperty::kEnd,
    ItemProperty::kAllDayEvent,
    ItemProperty::kIsRecurring,
    ItemProperty::kReminderSet,
    ItemProperty::kBusyStatus,
    ItemProperty::kDuration,
    ItemProperty::kMeetingStatus,
    ItemProperty::kReminderMinutesBeforeStart,
    ItemProperty::kReminderOptions,
    ItemProperty::kSensitivity,
    ItemProperty::kBodyInk,
};

constexpr ItemProperty kTaskProperties[] = {
    ItemProperty::kSubject,           ItemProperty::kBody,         ItemProperty::kCategories,
    ItemProperty::kReminderSoundFile, ItemProperty::kStartDate,    ItemProperty::kDueDate,
    ItemProperty::kDateCompleted,     ItemProperty::kReminderTime, ItemProperty::kIsRecurring,
    ItemProperty::kReminderSet,       ItemProperty::kComplete,     ItemProperty::kTeamTask,
    ItemProperty::kReminderOptions,   ItemProperty::kSensitivity,  ItemProperty::kImportance,
    ItemProperty::kBodyInk,
};

constexpr BlockForm kContactBlocks[] = {kNotesInk};
constexpr BlockForm kAppointmentBlocks[] = {kRecipients, kRecurrence};
constexpr BlockForm kTaskBlocks[] = {kRecurrence};

constexpr ItemKind kItemKinds[] = {
    {platform::OutlookFolderId::kContacts, devicedb::kContactsDatabase, "contact",
     kContactProperties, kContactBlocks},
    {platform::OutlookFolderId::kCalendar, u"Appointments Database", "appointment",
     kAppointmentProperties, kAppointmentBlocks},
    {platform::OutlookFolderId::kTasks, u"Tasks Database", "task", kTaskProperties, kTaskBlocks},
};

const ItemKind& KindOf(platform::OutlookFolderId folder) {
  return *std::ranges::find(kItemKinds, folder, &ItemKind::folder);
}

bool Shows(const ItemKind& kind, ItemProperty property) {
  return std::ranges::find(kind.properties, property) != kind.properties.end();
}

// The key and value a record property is shown under by name: a readable block, or an item
// property the kind shows; nothing when only the store form keeps it exactly.
std::optional<std::pair<std::string, Json>> NamedEntry(const ItemKind& kind,
                                                       const PropertyValue& property,
                                                       int os_major_version) {
  // A property with flags is shown by identifier, so that its flags are kept.
  if (property.flags != 0) return std::nullopt;
  for (const BlockForm& block : kind.blocks) {
    if (block.id(os_major_version) != property.id) continue;
    Json json;
    Bytes again;
    std::string reason;
    // A block its readable form would not give back byte for byte is shown as it is.
    block.to_json(property.bytes, &json);
    if (!block.read(json, &again, &reason) || again != property.bytes) return std::nullopt;
    return std::pair(std::string(block.key), std::move(json));
  }
  const std::optional<ItemProperty> named =
      platform::host::ItemPropertyById(property.id, os_major_version);
  if (!named || !Shows(kind, *named)) return std::nullopt;
  std::optional<Json> value = TypedJson(platform::host::ItemPropertyType(*named), property);
  if (!value) return std::nullopt;
  return std::pair(std::string(platform::host::ItemPropertyName(*named)), std::move(*value));
}

// The JSON object of one record: its named entries in record order, then its other properties.
Json ItemJson(const ItemKind& kind, platform::ObjectId object_id,
              const std::vector<PropertyValue>& properties, int os_major_version) {
  Json item = Json::object();
  item["oid"] = object_id;
  Json store = Json::array();
  for (const PropertyValue& property : properties) {
    if (auto entry = NamedEntry(kind, property, os_major_version)) {
      item[entry->first] = std::move(entry->second);
    } else {
      store.push_back(PropertyJson(property));
    }
  }
  if (!store.empty()) item[kStoreKey] = std::move(store);
  return item;
}

// One named entry of an item object as the record property of this OS generation.
bool ReadNamedEntry(const ItemKind& kind, const std::string& key, const Json& value,
                    int os_major_version, PropertyValue* property, std::string* reason) {
  const auto block = std::ranges::find(kind.blocks, key, &BlockForm::key);
  if (block != kind.blocks.end()) {
    property->id = block->id(os_major_version);
    return block->read(value, &property->bytes, reason);
  }
  const std::optional<ItemProperty> named = platform::host::ItemPropertyByName(key);
  if (!named || !Shows(kind, *named)) {
    *reason = "unknown key \"" + key + "\"";
    return false;
  }
  property->id = platform::host::ItemPropertyId(*named, os_major_version);
  const ItemValueType type = platform::host::ItemPropertyType(*named);
  return ReadTyped(type, value, property) || Refuse(key, type, reason);
}

// The record properties of one item object: its named entries in the document's order, then
// those under "store". The reason names the key or the store property at fault.
bool ReadItem(const ItemKind& kind, const Json& item, int os_major_version,
              std::vector<PropertyValue>* properties, std::string* reason) {
  if (!item.is_object()) {
    *reason = "not an object";
    return false;
  }
  for (const auto& entry : item.items()) {
    if (entry.key() == "oid" || entry.key() == kStoreKey) continue;
    PropertyValue property;
    if (!ReadNamedEntry(kind, entry.key(), entry.value(), os_major_version, &property, reason)) {
      return false;
    }
    properties->push_back(std::move(property));
  }
  const auto store = item.find(kStoreKey);
  if (store == item.end()) return true;
  if (!store->is_array()) {
    *reason = "\"store\" must be an array of properties";
    return false;
  }
  for (std::size_t p = 0; p < store->size(); ++p) {
    PropertyValue property;
    const std::string place = "store property " + std::to_string(p) + ": ";
    if (!ReadProperty((*store)[p], &property, reason)) {
      *reason = place + *reason;
      return false;
    }
    // A named entry and a store property for one identifier would fold into one.
    if (std::ranges::find(*properties, property.id, &PropertyValue::id) != properties->end()) {
      *reason = place + "the " + std::string(kind.noun) + " already has " + IdText(property.id);
      return false;
    }
    properties->push_back(std::move(property));
  }
  return true;
}

// A value's text one level in, as an element of a dumped array.
void AppendIndented(std::string_view text, std::string* out) {
  constexpr std::string_view kLevel = "  ";
  const auto lines = static_cast<std::size_t>(std::ranges::count(text, '\n')) + 1;
  const std::size_t needed = out->size() + text.size() + lines * kLevel.size();
  if (needed > out->capacity()) out->reserve(std::max(needed, 2 * out->capacity()));
  out->append(kLevel);
  for (std::size_t line = 0; line < text.size();) {
    const std::size_t end = std::min(text.find('\n', line), text.size() - 1) + 1;
    out->append(text.substr(line, end - line));
    if (end < text.size()) out->append(kLevel);
    line = end;
  }
}

}  // namespace

bool DumpItems(const platform::Device& device, platform::OutlookFolderId folder, std::string* json,
               std::string* error) {
  const ItemKind& kind = KindOf(folder);
  platform::ObjectStore& store = device.object_store();
  devicedb::HeldPimDatabase opened(store);
  if (!OpenDatabase(opened, kind.database, error)) return false;
  // Item by item, so that only one item's tree is held at a time; the text is the one the whole
  // array would dump as.
  std::string text = "[";
  bool none = true;
  std::vector<PropertyValue> properties;
  while (const platform::ObjectId object_id =
             store.ReadNext(opened.handle(), nullptr, &properties)) {
    text += none ? "\n" : ",\n";
    none = false;
    const std::string item =
        ItemJson(kind, object_id, properties, device.os_major_version()).dump(2);
    AppendIndented(item, &text);
  }
  text += none ? "]\n" : "\n]\n";
  *json = std::move(text);
  return true;
}

bool LoadItems(const platform::Device& device, platform::OutlookFolderId folder,
               std::string_view json, std::string* error) {
  Json document;
  return ParseDocument(json, &document, error) && LoadItemDocument(device, folder, document, error);
}

bool LoadItemDocument(const platform::Device& device, platform::OutlookFolderId folder,
                      const Json& document, std::string* error) {
  const ItemKind& kind = KindOf(folder);
  if (!document.is_array()) {
    *error = "the document is not an array of " + std::string(kind.noun) + "s";
    return false;
  }
  Records records(document.size());
  {
    for (std::size_t k = 0; k < document.size(); ++k) {
      std::string reason;
      if (!ReadItem(kind, document[k], device.os_major_version(), &records[k], &reason)) {
        *error = std::string(kind.noun) + " " + std::to_string(k) + ": " + reason;
        return false;
      }
    }
  }
  return WriteRecords(device.object_store(), kind.database, records, kind.noun, error);
}

}  // namespace kestrav::profile
