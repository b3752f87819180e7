// Object-store records as JSON: a record is its object id and its properties, a property its
// identifier, flags and value, the value in the JSON type that holds its type's values.
#include "profile/record_json.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "platform/system_error.h"
#include "platform/text.h"
#include "records/value_text.h"

namespace kestrav::profile {
namespace {

using platform::PropertyType;

std::u16string_view VolumeDatabaseName(std::u16string_view database) {
  if (database == u"calllogs") return devicedb::kCallLogDatabase;
  if (database == u"speeddials") return devicedb::kSpeedDialDatabase;
  return database;
}

std::string ErrorText(platform::ErrorCode code) {
  const std::u16string text = platform::SystemErrorText(code);
  return text.empty() ? "error " + std::to_string(code) : platform::ToUtf8(text);
}

bool ParseId(std::string_view text, std::uint32_t* id) {
  if (text.size() != 10 || !text.starts_with("0x")) return false;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + 2, end, *id, 16);
  return error == std::errc() && stop == end;
}

// A file time as the device lays it out in memory: 8 bytes, low byte first.
std::vector<std::uint8_t> FileTimeBytes(platform::FileTime time) {
  std::vector<std::uint8_t> bytes(8);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<std::uint8_t>(time >> (8 * i));
  return bytes;
}

platform::FileTime FileTimeOfBytes(const std::vector<std::uint8_t>& bytes) {
  platform::FileTime time = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) time |= platform::FileTime{bytes[i]} << (8 * i);
  return time;
}

struct IntegerRange {
  std::int64_t lowest;
  std::int64_t highest;
};

std::optional<IntegerRange> IntegerRangeOf(PropertyType type) {
  switch (type) {
    case PropertyType::kInt16:
      return IntegerRange{std::numeric_limits<std::int16_t>::min(),
                          std::numeric_limits<std::int16_t>::max()};
    case PropertyType::kUInt16:
      return IntegerRange{0, std::numeric_limits<std::uint16_t>::max()};
    case PropertyType::kInt32:
    case PropertyType::kBool:
    case PropertyType::kAutoInt32:
      return IntegerRange{std::numeric_limits<std::int32_t>::min(),
                          std::numeric_limits<std::int32_t>::max()};
    case PropertyType::kUInt32:
      return IntegerRange{0, std::numeric_limits<std::uint32_t>::max()};
    default:
      return std::nullopt;
  }
}

bool ReadInteger(const Json& value, IntegerRange range, std::int64_t* integer) {
  if (value.is_number_unsigned()) {
    const auto unsigned_value = value.get<std::uint64_t>();
    if (unsigned_value > static_cast<std::uint64_t>(range.highest)) return false;
    *integer = static_cast<std::int64_t>(unsigned_value);
    return true;
  }
  if (!value.is_number_integer()) return false;
  *integer = value.get<std::int64_t>();
  return *integer >= range.lowest && *integer <= range.highest;
}

bool ReadRecords(const Json& document, Records* records, std::string* error) {
  if (!document.is_array()) {
    *error = "the document is not an array of records";
    return false;
  }
  for (std::size_t r = 0; r < document.size(); ++r) {
    const Json& record = document[r];
    const std::string place = "record " + std::to_string(r);
    if (!record.is_object()) {
      *error = place + ": not an object";
      return false;
    }
    if (const std::optional<std::string> key = UnknownKey(record, {"oid", "props"})) {
      *error = place + ": unknown key \"" + *key + "\"";
      return false;
    }
    const auto props = record.find("props");
    if (props == record.end() || !props->is_array()) {
      *error = place + ": \"props\" must be an array of properties";
      return false;
    }
    std::vector<PropertyValue>& properties = records->emplace_back();
    for (std::size_t p = 0; p < props->size(); ++p) {
      PropertyValue property;
      std::string reason;
      if (!ReadProperty((*props)[p], &property, &reason)) {
        *error = place + ", property " + std::to_string(p) + ": " + reason;
        return false;
      }
      // The store would fold a repeated identifier into the first: refuse it instead.
      if (std::ranges::find(properties, property.id, &PropertyValue::id) != properties.end()) {
        *error = place + ", property " + std::to_string(p) + ": the record already has " +
                 IdText(property.id);
        return false;
      }
      properties.push_back(std::move(property));
    }
  }
  return true;
}

}  // namespace

bool OpenDatabase(devicedb::HeldPimDatabase& held, std::u16string_view database,
                  std::string* error) {
  const platform::ErrorCode result = held.Open(VolumeDatabaseName(database));
  if (result == platform::kErrorSuccess) return true;
  *error = held.mounted() ? "no database " + platform::ToUtf8(database) + " in \\pim.vol"
                          : "cannot open \\pim.vol: " + ErrorText(result);
  return false;
}

std::string IdText(std::uint32_t id) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%08X", id);
  return text;
}

Json ByteListJson(const std::vector<std::uint8_t>& bytes) {
  return platform::ToUtf8(records::ByteListText(bytes));
}

bool ReadByteList(const Json& value, std::vector<std::uint8_t>* bytes) {
  return value.is_string() &&
         records::ParseByteList(platform::FromUtf8(value.get_ref<const std::string&>()), bytes);
}

Json DoubleJson(double real) {
  if (std::isnan(real)) return "NaN";
  if (std::isinf(real)) return real > 0 ? "Infinity" : "-Infinity";
  return real;
}

bool ReadDouble(const Json& value, double* real) {
  if (value.is_number()) {
    *real = value.get<double>();
  } else if (value == "NaN") {
    *real = std::numeric_limits<double>::quiet_NaN();
  } else if (value == "Infinity") {
    *real = std::numeric_limits<double>::infinity();
  } else if (value == "-Infinity") {
    *real = -std::numeric_limits<double>::infinity();
  } else {
    return false;
  }
  return true;
}

bool ReadInt32(const Json& value, std::int32_t* integer) {
  std::int64_t wide = 0;
  if (!ReadInteger(value, *IntegerRangeOf(PropertyType::kInt32), &wide)) return false;
  *integer = static_cast<std::int32_t>(wide);
  return true;
}

std::optional<Json> ValueJson(const PropertyValue& property) {
  switch (property.type()) {
    case PropertyType::kInt16:
      return static_cast<std::int16_t>(property.integer);
    case PropertyType::kUInt16:
      return static_cast<std::uint16_t>(property.integer);
    case PropertyType::kInt32:
    case PropertyType::kBool:
    case PropertyType::kAutoInt32:
      return static_cast<std::int32_t>(property.integer);
    case PropertyType::kUInt32:
      return static_cast<std::uint32_t>(property.integer);
    case PropertyType::kDouble:
      return DoubleJson(property.real);
    case PropertyType::kString:
      return platform::ToUtf8(property.text);
    case PropertyType::kFileTime:
      return ByteListJson(FileTimeBytes(property.file_time));
    case PropertyType::kBlob:
    case PropertyType::kStream:
    case PropertyType::kRecordId:
    case PropertyType::kAutoInt64:
      return ByteListJson(property.bytes);
  }
  return std::nullopt;
}

Json PropertyJson(const PropertyValue& property) {
  Json entry = Json::object();
  entry["id"] = IdText(property.id);
  entry["flags"] = property.flags;
  if ((property.flags & platform::kPropertyNotFound) == 0) {
    if (std::optional<Json> value = ValueJson(property)) entry["value"] = std::move(*value);
  }
  return entry;
}

bool ReadValue(const Json& value, PropertyValue* property, std::string* reason) {
  if (const std::optional<IntegerRange> range = IntegerRangeOf(property->type())) {
    if (ReadInteger(value, *range, &property->integer)) return true;
    *reason = "\"value\" must be an integer from " + std::to_string(range->lowest) + " to " +
              std::to_string(range->highest);
    return false;
  }
  switch (property->type()) {
    case PropertyType::kDouble:
      if (ReadDouble(value, &property->real)) return true;
      *reason = "\"value\" must be a number, \"NaN\", \"Infinity\" or \"-Infinity\"";
      return false;
    case PropertyType::kString:
      if (!value.is_string()) {
        *reason = "\"value\" must be a string";
        return false;
      }
      property->text = platform::FromUtf8(value.get_ref<const std::string&>());
      return true;
    case PropertyType::kFileTime: {
      std::vector<std::uint8_t> bytes;
      if (!ReadByteList(value, &bytes) || bytes.size() != 8) {
        *reason = "\"value\" must be a byte list of 8 bytes, low byte first";
        return false;
      }
      property->file_time = FileTimeOfBytes(bytes);
      return true;
    }
    case PropertyType::kBlob:
    case PropertyType::kStream:
    case PropertyType::kRecordId:
    case PropertyType::kAutoInt64:
      if (ReadByteList(value, &property->bytes)) return true;
      *reason = "\"value\" must be a byte list such as \"0x01,0xab\"";
      return false;
    default:
      *reason = "a property of type " + std::to_string(property->id & 0xFFFF) + " has no value";
      return false;
  }
}

std::optional<std::string> UnknownKey(const Json& object,
                                      std::initializer_list<std::string_view> known) {
  for (const auto& item : object.items()) {
    if (std::ranges::find(known, item.key()) == known.end()) return item.key();
  }
  return std::nullopt;
}

bool ReadProperty(const Json& entry, PropertyValue* property, std::string* reason) {
  if (!entry.is_object()) {
    *reason = "not an object";
    return false;
  }
  if (const std::optional<std::string> key = UnknownKey(entry, {"id", "flags", "value"})) {
    *reason = "unknown key \"" + *key + "\"";
    return false;
  }
  const auto id = entry.find("id");
  if (id == entry.end() || !id->is_string() ||
      !ParseId(id->get_ref<const std::string&>(), &property->id)) {
    *reason = "\"id\" must be \"0x\" and 8 hexadecimal digits";
    return false;
  }
  if (const auto flags = entry.find("flags"); flags != entry.end()) {
    // A parsed document holds 0 as unsigned, one built in code as signed: both are flags.
    if (!flags->is_number_integer() || flags->get<std::int64_t>() < 0 ||
        flags->get<std::int64_t>() > 0xFFFF) {
      *reason = "\"flags\" must be an integer from 0 to 65535";
      return false;
    }
    property->flags = flags->get<std::uint16_t>();
  }
  const auto value = entry.find("value");
  if ((property->flags & platform::kPropertyNotFound) != 0) {
    if (value == entry.end()) return true;
    *reason = "a property flagged not found (0x0100) has no \"value\"";
    return false;
  }
  if (value != entry.end()) return ReadValue(*value, property, reason);
  // Only the types that have a value form need a "value".
  if (!ValueJson(*property)) return true;
  *reason = "\"value\" is missing";
  return false;
}

bool WriteRecords(platform::ObjectStore& store, std::u16string_view database,
                  const Records& records, std::string_view noun, std::string* error) {
  devicedb::HeldPimDatabase opened(store);
  if (!OpenDatabase(opened, database, error)) return false;
  for (std::size_t r = 0; r < records.size(); ++r) {
    if (store.Write(opened.handle(), 0, records[r]) == 0) {
      *error = std::string(noun) + " " + std::to_string(r) + " could not be written (the " +
               std::string(noun) + "s before it were)";
      return false;
    }
  }
  return true;
}

bool ParseDocument(std::string_view json, Json* document, std::string* error) {
  *document = Json::parse(json.begin(), json.end(), nullptr, false);
  if (!document->is_discarded()) return true;
  *error = "the text is not valid JSON";
  return false;
}

bool DumpDatabase(platform::ObjectStore& store, std::u16string_view database, std::string* json,
                  std::string* error) {
  devicedb::HeldPimDatabase opened(store);
  if (!OpenDatabase(opened, database, error)) return false;
  Json records = Json::array();
  std::vector<PropertyValue> properties;
  while (const platform::ObjectId object_id =
             store.ReadNext(opened.handle(), nullptr, &properties)) {
    Json props = Json::array();
    for (const PropertyValue& property : properties) props.push_back(PropertyJson(property));
    Json record = Json::object();
    record["oid"] = object_id;
    record["props"] = std::move(props);
    records.push_back(std::move(record));
  }
  *json = records.dump(2) + "\n";
  return true;
}

bool LoadDatabase(platform::ObjectStore& store, std::u16string_view database, std::string_view json,
                  std::string* error) {
  Json document;
  Records records;
  return ParseDocument(json, &document, error) && ReadRecords(document, &records, error) &&
         WriteRecords(store, database, records, "record", error);
}

}  // namespace kestrav::profile
