// Outlook items as JSON by their object-model property names (docs/device-json.md), for
// "device dump" and "device load" of contacts, appointments and tasks. The names stand for the
// identifiers of the device's OS generation, so a dump of one generation loads into the other.
#pragma once

#include <string>
#include <string_view>

#include "platform/device.h"
#include "profile/record_json.h"

namespace kestrav::profile {

// Each record of "Contacts Database" as an object of "oid", its item properties by name
// ("FileAs", "Birthday", ...), its Notes Ink as "NotesInk", and its other properties under "store"
// as the records of DumpDatabase hold them. False with a one-line reason when the database cannot
// be opened.
bool DumpContacts(const platform::Device& device, std::string* json, std::string* error);
// Appends the contacts of such a document; the whole text is checked first, as LoadDatabase does.
bool LoadContacts(const platform::Device& device, std::string_view json, std::string* error);
// The same for a document already parsed, as the sample data builds it.
bool LoadContactDocument(const platform::Device& device, const Json& document, std::string* error);

}  // namespace kestrav::profile
