// Outlook items as JSON by their object-model property names (docs/device-json.md), for
// "device dump" and "device load" of contacts, appointments and tasks. The names stand for the
// identifiers of the device's OS generation, so a dump of one generation loads into the other.
#pragma once

#include <string>
#include <string_view>

#include "platform/device.h"
#include "platform/outlook.h"
#include "profile/record_json.h"

namespace kestrav::profile {

// Each record of the folder's database ("Contacts Database", "Appointments Database", "Tasks
// Database") as an object of "oid", its item properties by name ("FileAs", "Start", ...), its
// readable blocks (a contact's "NotesInk", an appointment's "recipients", an appointment's or
// task's "recurrence") and its other properties under "store" as the records of DumpDatabase
// hold them. False with a one-line reason when the database cannot be opened.
bool DumpItems(const platform::Device& device, platform::OutlookFolderId folder, std::string* json,
               std::string* error);
// Appends the items of such a document; the whole text is checked first, as LoadDatabase does.
bool LoadItems(const platform::Device& device, platform::OutlookFolderId folder,
               std::string_view json, std::string* error);
// The same for a document already parsed, as the sample data builds it.
bool LoadItemDocument(const platform::Device& device, platform::OutlookFolderId folder,
                      const Json& document, std::string* error);

// The forms DataKind takes.
template <platform::OutlookFolderId kFolder>
bool DumpItemsOf(const platform::Device& device, std::string* json, std::string* error) {
  return DumpItems(device, kFolder, json, error);
}
template <platform::OutlookFolderId kFolder>
bool LoadItemsOf(const platform::Device& device, std::string_view json, std::string* error) {
  return LoadItems(device, kFolder, json, error);
}

}  // namespace kestrav::profile
