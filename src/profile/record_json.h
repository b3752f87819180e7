// Object-store records as JSON, for "device dump" and "device load" (docs/device-json.md), and
// the property values in JSON that the kinds' own dumps share.
#pragma once

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devicedb/pim_volume.h"
#include "platform/object_store.h"
#include "platform/property_value.h"

namespace kestrav::profile {

// Keys keep the order they are written in, so that a dump reads "oid" before "props".
using Json = nlohmann::ordered_json;
using platform::PropertyValue;
using Records = std::vector<std::vector<PropertyValue>>;

// A database is named as the volume names it ("clog.db", "Contacts Database", ...) or by one of
// the short words "calllogs" (clog.db) and "speeddials" (speed.db).

// The JSON text of every record of a database of "\pim.vol", in creation order, ending with a
// line end. False with a one-line reason when the volume or the database cannot be opened.
bool DumpDatabase(platform::ObjectStore& store, std::u16string_view database, std::string* json,
                  std::string* error);

// Appends the records of a dump to a database of "\pim.vol", as a restore would (new object
// ids). The whole text is checked first: false with a one-line reason, and nothing written,
// when it is not a valid dump.
bool LoadDatabase(platform::ObjectStore& store, std::u16string_view database, std::string_view json,
                  std::string* error);

// --- What the kinds' dumps share ---

// Opens the database in the holder; false with the one-line reason it could not be.
bool OpenDatabase(devicedb::HeldPimDatabase& held, std::u16string_view database,
                  std::string* error);
// "0x0040001F".
std::string IdText(std::uint32_t id);
// Byte lists as "0x01,0xab".
Json ByteListJson(const std::vector<std::uint8_t>& bytes);
bool ReadByteList(const Json& value, std::vector<std::uint8_t>* bytes);
// JSON numbers hold only finite values: the others are named "NaN", "Infinity", "-Infinity".
Json DoubleJson(double real);
bool ReadDouble(const Json& value, double* real);
// A JSON integer from -2147483648 to 2147483647.
bool ReadInt32(const Json& value, std::int32_t* integer);
// The value in its JSON form, read through the type's own width; nothing for a type that has
// no form.
std::optional<Json> ValueJson(const PropertyValue& property);
// A value of the property's type (its identifier set) from its JSON form; false with the reason,
// which begins "\"value\" must be".
bool ReadValue(const Json& value, PropertyValue* property, std::string* reason);
// A property as {"id", "flags", "value"}, and back.
Json PropertyJson(const PropertyValue& property);
bool ReadProperty(const Json& entry, PropertyValue* property, std::string* reason);
// The first key of an object that is not among the known ones.
std::optional<std::string> UnknownKey(const Json& object,
                                      std::initializer_list<std::string_view> known);
// Appends checked records to a database; `noun` names a record in the reason.
bool WriteRecords(platform::ObjectStore& store, std::u16string_view database,
                  const Records& records, std::string_view noun, std::string* error);
// The document of a JSON text; false with the reason when it is not JSON.
bool ParseDocument(std::string_view json, Json* document, std::string* error);

}  // namespace kestrav::profile
