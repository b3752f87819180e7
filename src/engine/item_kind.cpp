#include "engine/item_kind.h"

#include <algorithm>
#include <array>

#include "platform/text.h"

namespace kestrav::engine {
namespace {

constexpr std::array<ItemKindInfo, 6> kKinds = {{
    {ItemKind::kContacts, u"Contacts", u"contacts", u".csc", u"contacts_", u"cbckpfile",
     u"Contacts Backup"},
    {ItemKind::kAppointments, u"Appointments", u"appointments", u".csa", u"appts_", u"abckpfile",
     u"Appointments Backup"},
    {ItemKind::kTasks, u"Tasks", u"tasks", u".cst", u"tasks_", u"tbckpfile", u"Tasks Backup"},
    {ItemKind::kCallLogs, u"Call logs", u"call logs", u".csl", u"clogs_", u"lbckpfile",
     u"Call Logs Backup"},
    {ItemKind::kSpeedDials, u"Speed dials", u"speed dials", u".csd", u"speeddials_", u"dbckpfile",
     u"Dials Backup"},
    {ItemKind::kMessages, u"Messages", u"messages", u".csm", u"msgs_", u"mbckpfile",
     u"Messages Backup"},
}};

}  // namespace

std::span<const ItemKindInfo> AllItemKinds() {
  return kKinds;
}

const ItemKindInfo& KindInfo(ItemKind kind) {
  return *std::ranges::find(kKinds, kind, &ItemKindInfo::kind);
}

std::optional<ItemKind> KindOfExtension(std::u16string_view extension) {
  for (const ItemKindInfo& info : kKinds) {
    if (platform::EqualsIgnoringAsciiCase(info.extension, extension)) return info.kind;
  }
  return std::nullopt;
}

}  // namespace kestrav::engine
