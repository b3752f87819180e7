// Where the object model's item properties live in the records of "\pim.vol": each property's
// store identifier on Windows Mobile 2003 SE (OS 4) and Windows Mobile 2005 (OS 5), and its name
// in the object model ("FileAs", "BusinessTelephoneNumber", "Birthday", ...).
//
// Texts are strings (type 0x001F); Birthday and Anniversary are doubles (type 0x0005) holding the
// OLE date itself.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "platform/outlook.h"

namespace kestrav::platform::host {

struct ItemPropertyInfo {
  ItemProperty property;
  std::string_view name;
  std::uint32_t wm2003_id;
  std::uint32_t wm2005_id;
};

// Every item property, in the order of the enumeration.
std::span<const ItemPropertyInfo> AllItemProperties();

// The property's store identifier on an OS generation (below 5 is Windows Mobile 2003 SE).
std::uint32_t ItemPropertyId(ItemProperty property, int os_major_version);
std::string_view ItemPropertyName(ItemProperty property);
// Names are matched exactly, case included.
std::optional<ItemProperty> ItemPropertyByName(std::string_view name);
std::optional<ItemProperty> ItemPropertyById(std::uint32_t id, int os_major_version);
// Birthday and Anniversary; every other property is a text.
bool IsDateProperty(ItemProperty property);

}  // namespace kestrav::platform::host
