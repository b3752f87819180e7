// Where the object model's item properties live in the records of "\pim.vol": each property's
// store identifier on Windows Mobile 2003 SE (OS 4) and Windows Mobile 2005 (OS 5), and its name
// in the object model ("FileAs", "BusinessTelephoneNumber", "Birthday", ...).
//
// Texts are strings (type 0x001F), dates doubles (type 0x0005) holding the OLE date itself,
// 16-bit booleans booleans (type 0x000B, 0 or 1), 32-bit integers type 0x0003 and BodyInk a byte
// block (type 0x0041). An appointment's recipients and an appointment's or task's recurrence are
// byte blocks of their own, which have no item property (see RecipientsPropertyId).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/outlook.h"

namespace kestrav::platform::host {

enum class ItemValueType { kText, kDate, kBoolean, kInteger, kBytes };

struct ItemPropertyInfo {
  ItemProperty property;
  std::string_view name;
  std::uint32_t wm2003_id;
  std::uint32_t wm2005_id;
  ItemValueType type;
  // IsRecurring and MeetingStatus: kept by the object model itself.
  bool read_only;
};

// Every item property, in the order of the enumeration.
std::span<const ItemPropertyInfo> AllItemProperties();

// The property's store identifier on an OS generation (below 5 is Windows Mobile 2003 SE).
std::uint32_t ItemPropertyId(ItemProperty property, int os_major_version);
std::string_view ItemPropertyName(ItemProperty property);
// Names are matched exactly, case included.
std::optional<ItemProperty> ItemPropertyByName(std::string_view name);
std::optional<ItemProperty> ItemPropertyById(std::uint32_t id, int os_major_version);
ItemValueType ItemPropertyType(ItemProperty property);
// Birthday, Anniversary and the appointment and task dates.
bool IsDateProperty(ItemProperty property);

// The byte blocks that hold an appointment's recipients and an appointment's or task's
// recurrence in its record, on an OS generation.
std::uint32_t RecipientsPropertyId(int os_major_version);
std::uint32_t RecurrencePropertyId(int os_major_version);

// Those byte blocks and what they hold (docs/outlook-items.md), the recipients one at a time, as
// a meeting may have many. Decoding takes any bytes: a cut entry ends the list, a cut pattern
// reads its missing fields as 0.
void AppendRecipient(const Recipient& recipient, std::vector<std::uint8_t>* block);
// The recipient whose entry begins at *at, moving *at past it; false, with *at as it was, when no
// whole entry begins there.
bool ReadRecipient(std::span<const std::uint8_t> block, std::size_t* at, Recipient* recipient);
std::vector<std::uint8_t> EncodeRecurrence(const RecurrencePattern& pattern);
RecurrencePattern DecodeRecurrence(std::span<const std::uint8_t> bytes);

}  // namespace kestrav::platform::host
