#include "profile/profile.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "platform/text.h"
#include "profile/item_json.h"
#include "profile/message_json.h"
#include "profile/record_json.h"

namespace kestrav::profile {
namespace {

using platform::OutlookFolderId;

constexpr std::array<DataKind, 4> kDataKinds = {{
    {"contacts", "the contacts by property name", DumpItemsOf<OutlookFolderId::kContacts>,
     LoadItemsOf<OutlookFolderId::kContacts>},
    {"appointments", "the appointments by property name", DumpItemsOf<OutlookFolderId::kCalendar>,
     LoadItemsOf<OutlookFolderId::kCalendar>},
    {"tasks", "the tasks by property name", DumpItemsOf<OutlookFolderId::kTasks>,
     LoadItemsOf<OutlookFolderId::kTasks>},
    {"messages", "the message stores with their folders and messages", DumpMessages, LoadMessages},
}};

const DataKind* FindDataKind(std::string_view word) {
  const auto found = std::ranges::find(kDataKinds, word, &DataKind::word);
  return found == kDataKinds.end() ? nullptr : &*found;
}

}  // namespace

std::filesystem::path ProfileFolder(std::string_view chosen) {
  if (!chosen.empty()) return chosen;
  if (const char* variable = std::getenv("KESTRAV_DEVICE"); variable != nullptr && *variable != 0)
    return variable;
  if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data != 0)
    return std::filesystem::path(data) / "kestrav" / "device";
  const char* home = std::getenv("HOME");
  return std::filesystem::path(home != nullptr ? home : ".") / ".local" / "share" / "kestrav" /
         "device";
}

std::span<const DataKind> DataKinds() {
  return kDataKinds;
}

bool DumpData(const platform::Device& device, std::string_view name, std::string* json,
              std::string* error) {
  if (const DataKind* kind = FindDataKind(name)) return kind->dump(device, json, error);
  return DumpDatabase(device.object_store(), platform::FromUtf8(name), json, error);
}

bool LoadData(const platform::Device& device, std::string_view name, std::string_view json,
              std::string* error) {
  if (const DataKind* kind = FindDataKind(name)) return kind->load(device, json, error);
  return LoadDatabase(device.object_store(), platform::FromUtf8(name), json, error);
}

}  // namespace kestrav::profile
