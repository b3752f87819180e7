#include "platform/host/outlook_properties.h"

#include <algorithm>
#include <array>

#include "platform/device.h"

namespace kestrav::platform::host {
namespace {

using T = ItemValueType;
using P = ItemProperty;

constexpr std::uint32_t kText = 0x001F;
constexpr std::uint32_t kDate = 0x0005;
constexpr std::uint32_t kBlob = 0x0041;

constexpr std::uint32_t StoreType(ItemValueType type) {
  switch (type) {
    case T::kText:
      return kText;
    case T::kDate:
      return kDate;
    case T::kBoolean:
      return 0x000B;
    case T::kInteger:
      return 0x0003;
    case T::kBytes:
      break;
  }
  return kBlob;
}

constexpr ItemPropertyInfo Entry(ItemProperty property, std::string_view name, std::uint32_t wm2003,
                                 std::uint32_t wm2005, ItemValueType type = T::kText,
                                 bool read_only = false) {
  return {property, name,     (wm2003 << 16) | StoreType(type), (wm2005 << 16) | StoreType(type),
          type,     read_only};
}

constexpr std::array kProperties = {
    Entry(P::kFileAs, "FileAs", 0x4013, 0x0040),
    Entry(P::kTitle, "Title", 0x3A45, 0x0041),
    Entry(P::kFirstName, "FirstName", 0x3A06, 0x0042),
    Entry(P::kMiddleName, "MiddleName", 0x3A44, 0x0043),
    Entry(P::kLastName, "LastName", 0x3A11, 0x0044),
    Entry(P::kSuffix, "Suffix", 0x3A05, 0x0045),
    Entry(P::kJobTitle, "JobTitle", 0x3A17, 0x0046),
    Entry(P::kDepartment, "Department", 0x3A18, 0x0047),
    Entry(P::kCompanyName, "CompanyName", 0x3A16, 0x0048),
    Entry(P::kBusinessTelephoneNumber, "BusinessTelephoneNumber", 0x3A08, 0x0097),
    Entry(P::kBusinessFaxNumber, "BusinessFaxNumber", 0x3A24, 0x009B),
    Entry(P::kBusinessAddressStreet, "BusinessAddressStreet", 0x3A29, 0x0049),
    Entry(P::kBusinessAddressCity, "BusinessAddressCity", 0x3A27, 0x004A),
    Entry(P::kBusinessAddressState, "BusinessAddressState", 0x3A28, 0x004B),
    Entry(P::kBusinessAddressPostalCode, "BusinessAddressPostalCode", 0x3A2A, 0x004C),
    Entry(P::kBusinessAddressCountry, "BusinessAddressCountry", 0x3A26, 0x004D),
    Entry(P::kEmail1Address, "Email1Address", 0x4083, 0x004E),
    Entry(P::kMobileTelephoneNumber, "MobileTelephoneNumber", 0x3A1C, 0x0096),
    Entry(P::kWebPage, "WebPage", 0x3A51, 0x004F),
    Entry(P::kOfficeLocation, "OfficeLocation", 0x3A19, 0x0050),
    Entry(P::kHomeTelephoneNumber, "HomeTelephoneNumber", 0x3A09, 0x0099),
    Entry(P::kHomeAddressStreet, "HomeAddressStreet", 0x3A5D, 0x0051),
    Entry(P::kHomeAddressCity, "HomeAddressCity", 0x3A59, 0x0052),
    Entry(P::kHomeAddressState, "HomeAddressState", 0x3A5C, 0x0053),
    Entry(P::kHomeAddressPostalCode, "HomeAddressPostalCode", 0x3A5B, 0x0054),
    Entry(P::kHomeAddressCountry, "HomeAddressCountry", 0x3A5A, 0x0055),
    Entry(P::kCategories, "Categories", 0x4005, 0x0056),
    Entry(P::kOtherAddressStreet, "OtherAddressStreet", 0x3A63, 0x0057),
    Entry(P::kOtherAddressCity, "OtherAddressCity", 0x3A5F, 0x0058),
    Entry(P::kOtherAddressState, "OtherAddressState", 0x3A62, 0x0059),
    Entry(P::kOtherAddressPostalCode, "OtherAddressPostalCode", 0x3A61, 0x005A),
    Entry(P::kOtherAddressCountry, "OtherAddressCountry", 0x3A60, 0x005B),
    Entry(P::kPagerNumber, "PagerNumber", 0x4009, 0x009D),
    Entry(P::kCarTelephoneNumber, "CarTelephoneNumber", 0x3A1E, 0x009E),
    Entry(P::kHomeFaxNumber, "HomeFaxNumber", 0x3A25, 0x009C),
    Entry(P::kBusiness2TelephoneNumber, "Business2TelephoneNumber", 0x4007, 0x0098),
    Entry(P::kHome2TelephoneNumber, "Home2TelephoneNumber", 0x3A2F, 0x009A),
    Entry(P::kRadioTelephoneNumber, "RadioTelephoneNumber", 0x3A1D, 0x009F),
    Entry(P::kEmail2Address, "Email2Address", 0x4093, 0x005C),
    Entry(P::kEmail3Address, "Email3Address", 0x40A3, 0x005D),
    Entry(P::kAssistantName, "AssistantName", 0x3A30, 0x005E),
    Entry(P::kAssistantTelephoneNumber, "AssistantTelephoneNumber", 0x4004, 0x00A1),
    Entry(P::kSpouse, "Spouse", 0x3A48, 0x005F),
    Entry(P::kChildren, "Children", 0x3A58, 0x0060),
    Entry(P::kBody, "Body", 0x1000, 0x0061),
    Entry(P::kBirthday, "Birthday", 0x3A42, 0x0062, T::kDate),
    Entry(P::kAnniversary, "Anniversary", 0x3A41, 0x0063, T::kDate),
    Entry(P::kSubject, "Subject", 0x0037, 0x0037),
    Entry(P::kLocation, "Location", 0x8208, 0x0101),
    Entry(P::kReminderSoundFile, "ReminderSoundFile", 0x8504, 0x0102),
    Entry(P::kStart, "Start", 0x820D, 0x0103, T::kDate),
    Entry(P::kEnd, "End", 0x820E, 0x0104, T::kDate),
    Entry(P::kStartDate, "StartDate", 0x8104, 0x0105, T::kDate),
    Entry(P::kDueDate, "DueDate", 0x8105, 0x0106, T::kDate),
    Entry(P::kDateCompleted, "DateCompleted", 0x810F, 0x0107, T::kDate),
    Entry(P::kReminderTime, "ReminderTime", 0x8502, 0x0108, T::kDate),
    Entry(P::kAllDayEvent, "AllDayEvent", 0x8215, 0x0109, T::kBoolean),
    Entry(P::kIsRecurring, "IsRecurring", 0x8223, 0x010A, T::kBoolean, true),
    Entry(P::kReminderSet, "ReminderSet", 0x8503, 0x010B, T::kBoolean),
    Entry(P::kComplete, "Complete", 0x811C, 0x010C, T::kBoolean),
    Entry(P::kTeamTask, "TeamTask", 0x8103, 0x010D, T::kBoolean),
    Entry(P::kBusyStatus, "BusyStatus", 0x8205, 0x010E, T::kInteger),
    Entry(P::kDuration, "Duration", 0x8213, 0x010F, T::kInteger),
    Entry(P::kMeetingStatus, "MeetingStatus", 0x8217, 0x0110, T::kInteger, true),
    Entry(P::kReminderMinutesBeforeStart, "ReminderMinutesBeforeStart", 0x8501, 0x0111,
          T::kInteger),
    Entry(P::kReminderOptions, "ReminderOptions", 0x8506, 0x0112, T::kInteger),
    Entry(P::kSensitivity, "Sensitivity", 0x0036, 0x0113, T::kInteger),
    Entry(P::kImportance, "Importance", 0x8110, 0x0114, T::kInteger),
    Entry(P::kBodyInk, "BodyInk", 0x8507, 0x0115, T::kBytes),
};

// Looking a property up by its enumerator indexes the table directly.
constexpr bool InEnumerationOrder() {
  for (std::size_t i = 0; i < kProperties.size(); ++i) {
    if (static_cast<std::size_t>(kProperties[i].property) != i) return false;
  }
  return true;
}
static_assert(InEnumerationOrder());
static_assert(static_cast<std::size_t>(ItemProperty::kBodyInk) + 1 == kProperties.size());

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

ItemValueType ItemPropertyType(ItemProperty property) {
  return Info(property).type;
}

bool IsDateProperty(ItemProperty property) {
  return ItemPropertyType(property) == T::kDate;
}

std::uint32_t RecipientsPropertyId(int os_major_version) {
  return os_major_version < kWindowsMobile2005 ? 0x82300041 : 0x01200041;
}

std::uint32_t RecurrencePropertyId(int os_major_version) {
  return os_major_version < kWindowsMobile2005 ? 0x82310041 : 0x01210041;
}

}  // namespace kestrav::platform::host
