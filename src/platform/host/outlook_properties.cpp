#include "platform/host/outlook_properties.h"

#include <algorithm>
#include <array>

#include "platform/device.h"

namespace kestrav::platform::host {
namespace {

constexpr std::uint32_t kText = 0x001F;
constexpr std::uint32_t kDate = 0x0005;

constexpr ItemPropertyInfo Entry(ItemProperty property, std::string_view name, std::uint32_t wm2003,
                                 std::uint32_t wm2005, std::uint32_t type) {
  return {property, name, (wm2003 << 16) | type, (wm2005 << 16) | type};
}

using P = ItemProperty;

constexpr std::array kProperties = {
    Entry(P::kFileAs, "FileAs", 0x4013, 0x0040, kText),
    Entry(P::kTitle, "Title", 0x3A45, 0x0041, kText),
    Entry(P::kFirstName, "FirstName", 0x3A06, 0x0042, kText),
    Entry(P::kMiddleName, "MiddleName", 0x3A44, 0x0043, kText),
    Entry(P::kLastName, "LastName", 0x3A11, 0x0044, kText),
    Entry(P::kSuffix, "Suffix", 0x3A05, 0x0045, kText),
    Entry(P::kJobTitle, "JobTitle", 0x3A17, 0x0046, kText),
    Entry(P::kDepartment, "Department", 0x3A18, 0x0047, kText),
    Entry(P::kCompanyName, "CompanyName", 0x3A16, 0x0048, kText),
    Entry(P::kBusinessTelephoneNumber, "BusinessTelephoneNumber", 0x3A08, 0x0097, kText),
    Entry(P::kBusinessFaxNumber, "BusinessFaxNumber", 0x3A24, 0x009B, kText),
    Entry(P::kBusinessAddressStreet, "BusinessAddressStreet", 0x3A29, 0x0049, kText),
    Entry(P::kBusinessAddressCity, "BusinessAddressCity", 0x3A27, 0x004A, kText),
    Entry(P::kBusinessAddressState, "BusinessAddressState", 0x3A28, 0x004B, kText),
    Entry(P::kBusinessAddressPostalCode, "BusinessAddressPostalCode", 0x3A2A, 0x004C, kText),
    Entry(P::kBusinessAddressCountry, "BusinessAddressCountry", 0x3A26, 0x004D, kText),
    Entry(P::kEmail1Address, "Email1Address", 0x4083, 0x004E, kText),
    Entry(P::kMobileTelephoneNumber, "MobileTelephoneNumber", 0x3A1C, 0x0096, kText),
    Entry(P::kWebPage, "WebPage", 0x3A51, 0x004F, kText),
    Entry(P::kOfficeLocation, "OfficeLocation", 0x3A19, 0x0050, kText),
    Entry(P::kHomeTelephoneNumber, "HomeTelephoneNumber", 0x3A09, 0x0099, kText),
    Entry(P::kHomeAddressStreet, "HomeAddressStreet", 0x3A5D, 0x0051, kText),
    Entry(P::kHomeAddressCity, "HomeAddressCity", 0x3A59, 0x0052, kText),
    Entry(P::kHomeAddressState, "HomeAddressState", 0x3A5C, 0x0053, kText),
    Entry(P::kHomeAddressPostalCode, "HomeAddressPostalCode", 0x3A5B, 0x0054, kText),
    Entry(P::kHomeAddressCountry, "HomeAddressCountry", 0x3A5A, 0x0055, kText),
    Entry(P::kCategories, "Categories", 0x4005, 0x0056, kText),
    Entry(P::kOtherAddressStreet, "OtherAddressStreet", 0x3A63, 0x0057, kText),
    Entry(P::kOtherAddressCity, "OtherAddressCity", 0x3A5F, 0x0058, kText),
    Entry(P::kOtherAddressState, "OtherAddressState", 0x3A62, 0x0059, kText),
    Entry(P::kOtherAddressPostalCode, "OtherAddressPostalCode", 0x3A61, 0x005A, kText),
    Entry(P::kOtherAddressCountry, "OtherAddressCountry", 0x3A60, 0x005B, kText),
    Entry(P::kPagerNumber, "PagerNumber", 0x4009, 0x009D, kText),
    Entry(P::kCarTelephoneNumber, "CarTelephoneNumber", 0x3A1E, 0x009E, kText),
    Entry(P::kHomeFaxNumber, "HomeFaxNumber", 0x3A25, 0x009C, kText),
    Entry(P::kBusiness2TelephoneNumber, "Business2TelephoneNumber", 0x4007, 0x0098, kText),
    Entry(P::kHome2TelephoneNumber, "Home2TelephoneNumber", 0x3A2F, 0x009A, kText),
    Entry(P::kRadioTelephoneNumber, "RadioTelephoneNumber", 0x3A1D, 0x009F, kText),
    Entry(P::kEmail2Address, "Email2Address", 0x4093, 0x005C, kText),
    Entry(P::kEmail3Address, "Email3Address", 0x40A3, 0x005D, kText),
    Entry(P::kAssistantName, "AssistantName", 0x3A30, 0x005E, kText),
    Entry(P::kAssistantTelephoneNumber, "AssistantTelephoneNumber", 0x4004, 0x00A1, kText),
    Entry(P::kSpouse, "Spouse", 0x3A48, 0x005F, kText),
    Entry(P::kChildren, "Children", 0x3A58, 0x0060, kText),
    Entry(P::kBody, "Body", 0x1000, 0x0061, kText),
    Entry(P::kBirthday, "Birthday", 0x3A42, 0x0062, kDate),
    Entry(P::kAnniversary, "Anniversary", 0x3A41, 0x0063, kDate),
    Entry(P::kSubject, "Subject", 0x0037, 0x0037, kText),
};

// Looking a property up by its enumerator indexes the table directly.
constexpr bool InEnumerationOrder() {
  for (std::size_t i = 0; i < kProperties.size(); ++i) {
    if (static_cast<std::size_t>(kProperties[i].property) != i) return false;
  }
  return true;
}
static_assert(InEnumerationOrder());
static_assert(static_cast<std::size_t>(ItemProperty::kSubject) + 1 == kProperties.size());

const ItemPropertyInfo& Info(ItemProperty property) {
  return kProperties[static_cast<std::size_t>(property)];
}

}  // namespace

std::span<const ItemPropertyInfo> AllItemProperties() {
  return kProperties;
}

std::uint32_t ItemPropertyId(ItemProperty property, int os_major_version) {
  const ItemPropertyInfo& info = Info(property);
  return os_major_version < kWindowsMobile2005 ? info.wm2003_id : info.wm2005_id;
}

std::string_view ItemPropertyName(ItemProperty property) {
  return Info(property).name;
}

std::optional<ItemProperty> ItemPropertyByName(std::string_view name) {
  const auto found = std::ranges::find(kProperties, name, &ItemPropertyInfo::name);
  if (found == kProperties.end()) return std::nullopt;
  return found->property;
}

std::optional<ItemProperty> ItemPropertyById(std::uint32_t id, int os_major_version) {
  for (const ItemPropertyInfo& info : kProperties) {
    if (ItemPropertyId(info.property, os_major_version) == id) return info.property;
  }
  return std::nullopt;
}

bool IsDateProperty(ItemProperty property) {
  return property == ItemProperty::kBirthday || property == ItemProperty::kAnniversary;
}

}  // namespace kestrav::platform::host
