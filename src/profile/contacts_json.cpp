// Contacts by their object-model property names.
#include <algorithm>

#include "outlook/contact_record.h"
#include "platform/host/outlook_properties.h"
#include "platform/text.h"
#include "profile/item_json.h"
#include "profile/record_json.h"

namespace kestrav::profile {
namespace {

constexpr char kNotesInkKey[] = "NotesInk";
constexpr char kStoreKey[] = "store";

// The item property a record property stands for on this OS generation; a property with flags
// is shown by identifier, so that its flags are kept.
std::optional<platform::ItemProperty> NamedProperty(const PropertyValue& property,
                                                    int os_major_version) {
  if (property.flags != 0) return std::nullopt;
  return platform::host::ItemPropertyById(property.id, os_major_version);
}

// The JSON object of one contact record on a device of this OS generation: its item properties
// and Notes Ink in record order, then its other properties.
Json ContactJson(platform::ObjectId object_id, const std::vector<PropertyValue>& properties,
                 int os_major_version) {
  Json contact = Json::object();
  contact["oid"] = object_id;
  Json store = Json::array();
  const std::uint32_t notes_ink = outlook::NotesInkPropertyId(os_major_version);
  for (const PropertyValue& property : properties) {
    if (const auto named = NamedProperty(property, os_major_version)) {
      contact[std::string(platform::host::ItemPropertyName(*named))] =
          platform::host::IsDateProperty(*named) ? DoubleJson(property.real)
                                                 : Json(platform::ToUtf8(property.text));
    } else if (property.id == notes_ink && property.flags == 0) {
      contact[kNotesInkKey] = ByteListJson(property.bytes);
    } else {
      store.push_back(PropertyJson(property));
    }
  }
  if (!store.empty()) contact[kStoreKey] = std::move(store);
  return contact;
}

// One named entry of a contact object as the record property of this OS generation.
bool ReadNamedValue(const std::string& key, const Json& value, int os_major_version,
                    PropertyValue* property, std::string* reason) {
  if (key == kNotesInkKey) {
    property->id = outlook::NotesInkPropertyId(os_major_version);
    if (ReadByteList(value, &property->bytes)) return true;
    *reason = "\"NotesInk\" must be a byte list such as \"0x01,0xab\"";
    return false;
  }
  const std::optional<platform::ItemProperty> named = platform::host::ItemPropertyByName(key);
  if (!named) {
    *reason = "unknown key \"" + key + "\"";
    return false;
  }
  property->id = platform::host::ItemPropertyId(*named, os_major_version);
  if (platform::host::IsDateProperty(*named)) {
    if (ReadDouble(value, &property->real)) return true;
    *reason =
        "\"" + key + "\" must be an OLE date: a number, \"NaN\", \"Infinity\" or \"-Infinity\"";
    return false;
  }
  if (!value.is_string()) {
    *reason = "\"" + key + "\" must be a string";
    return false;
  }
  property->text = platform::FromUtf8(value.get_ref<const std::string&>());
  return true;
}

// The record properties of one contact object: its named entries in the document's order, then
// those under "store". The reason names the key or the store property at fault.
bool ReadContact(const Json& contact, int os_major_version, std::vector<PropertyValue>* properties,
                 std::string* reason) {
  if (!contact.is_object()) {
    *reason = "not an object";
    return false;
  }
  for (const auto& item : contact.items()) {
    if (item.key() == "oid" || item.key() == kStoreKey) continue;
    PropertyValue property;
    if (!ReadNamedValue(item.key(), item.value(), os_major_version, &property, reason))
      return false;
    properties->push_back(std::move(property));
  }
  const auto store = contact.find(kStoreKey);
  if (store == contact.end()) return true;
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
      *reason = place + "the contact already has " + IdText(property.id);
      return false;
    }
    properties->push_back(std::move(property));
  }
  return true;
}

}  // namespace

bool DumpContacts(const platform::Device& device, std::string* json, std::string* error) {
  platform::ObjectStore& store = device.object_store();
  devicedb::HeldPimDatabase opened(store);
  if (!OpenDatabase(opened, devicedb::kContactsDatabase, error)) return false;
  Json contacts = Json::array();
  std::vector<PropertyValue> properties;
  while (const platform::ObjectId object_id =
             store.ReadNext(opened.handle(), nullptr, &properties)) {
    contacts.push_back(ContactJson(object_id, properties, device.os_major_version()));
  }
  *json = contacts.dump(2) + "\n";
  return true;
}

bool LoadContacts(const platform::Device& device, std::string_view json, std::string* error) {
  Json document;
  return ParseDocument(json, &document, error) && LoadContactDocument(device, document, error);
}

bool LoadContactDocument(const platform::Device& device, const nlohmann::ordered_json& document,
                         std::string* error) {
  if (!document.is_array()) {
    *error = "the document is not an array of contacts";
    return false;
  }
  Records records(document.size());
  for (std::size_t c = 0; c < document.size(); ++c) {
    std::string reason;
    if (!ReadContact(document[c], device.os_major_version(), &records[c], &reason)) {
      *error = "contact " + std::to_string(c) + ": " + reason;
      return false;
    }
  }
  return WriteRecords(device.object_store(), devicedb::kContactsDatabase, records, "contact",
                      error);
}

}  // namespace kestrav::profile
