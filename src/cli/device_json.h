// Object-store records as JSON, for "device dump" and "device load" (docs/device-json.md).
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "platform/device.h"
#include "platform/object_store.h"

namespace kestrav::cli {

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

// Contacts by their object-model property names (docs/device-json.md): each record of "Contacts
// Database" as an object of "oid", its item properties by name ("FileAs", "Birthday", ...), its
// Notes Ink as "NotesInk", and its other properties under "store" as the records above hold them.
// The names stand for the identifiers of the device's OS generation, so a dump of one generation
// loads into the other.
bool DumpContacts(const platform::Device& device, std::string* json, std::string* error);
// Appends the contacts of such a document; the whole text is checked first, as LoadDatabase does.
bool LoadContacts(const platform::Device& device, std::string_view json, std::string* error);
// The same for a document already parsed, as the sample data builds it.
bool LoadContactDocument(const platform::Device& device, const nlohmann::ordered_json& document,
                         std::string* error);

}  // namespace kestrav::cli
