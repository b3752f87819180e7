// The sample's speed dials: dials linked to the sample contacts' phones of several rows, a dial
// that names no contact, and one whose block is too short to name one (docs/device-profile.md).
#include <array>
#include <cstring>
#include <vector>

#include "devicedb/pim_volume.h"
#include "devicedb/speed_dials.h"
#include "profile/sample_data.h"
#include "profile/samples.h"

namespace kestrav::profile {
namespace {

using platform::MakePropertyId;
using platform::PropertyType;
using platform::PropertyValue;

// The properties of a sample speed dial.
constexpr std::uint32_t kDialPosition = MakePropertyId(0x0001, PropertyType::kUInt16);
constexpr std::uint32_t kDialLink = MakePropertyId(0x0002, PropertyType::kBlob);
constexpr std::uint32_t kDialLabel = MakePropertyId(0x0003, PropertyType::kString);

// A phone of a sample contact that a dial can be linked to.
struct Phone {
  platform::ObjectId contact;
  std::uint32_t property;
};

void PutLittleEndian(std::uint32_t value, std::size_t offset, std::vector<std::uint8_t>* bytes) {
  for (std::size_t i = 0; i < 4; ++i)
    (*bytes)[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

std::vector<PropertyValue> Dial(std::uint16_t position, std::vector<std::uint8_t> link,
                                std::u16string label) {
  std::vector<PropertyValue> dial(3);
  dial[0].id = kDialPosition;
  dial[0].integer = position;
  dial[1].id = kDialLink;
  dial[1].bytes = std::move(link);
  dial[2].id = kDialLabel;
  dial[2].text = std::move(label);
  return dial;
}

// A 28-byte head, with a byte of its own where the passes never look. Offset 20 is 0, as a
// restore leaves it.
std::vector<std::uint8_t> Head(const Phone& phone, std::uint8_t serial) {
  std::vector<std::uint8_t> head(devicedb::kSpeedDialHeadSize);
  head[0] = 0x1c;
  head[4] = serial;
  PutLittleEndian(phone.contact, devicedb::kContactIdOffset, &head);
  PutLittleEndian(phone.property, devicedb::kPhonePropertyOffset, &head);
  return head;
}

// Every phone of every contact, in database order and, within a contact, in the order of the
// phone rows. The company main phone is left out: Windows Mobile 2003 SE dials have no identifier
// for it, so a dial to it could not be linked again there.
bool ContactPhones(platform::ObjectStore& store, int os_major_version, std::vector<Phone>* phones,
                   std::string* error) {
  devicedb::HeldPimDatabase contacts(store);
  if (contacts.Open(devicedb::kContactsDatabase) != platform::kErrorSuccess) {
    *error = "the profile has no contacts database";
    return false;
  }
  std::vector<PropertyValue> properties;
  while (const platform::ObjectId oid = store.ReadNext(contacts.handle(), nullptr, &properties)) {
    for (const devicedb::PhonePropertyRow& row : devicedb::kContactPhoneProperties) {
      if (row.version4 == platform::MakePropertyId(0, PropertyType::kString)) continue;
      const std::uint32_t id =
          os_major_version < platform::kWindowsMobile2005 ? row.version4 : row.version5;
      const std::uint16_t found = devicedb::FindProperty(properties, id);
      if (found != devicedb::kPropertyAbsent && !properties[found].text.empty())
        phones->push_back({oid, id});
    }
  }
  return true;
}

}  // namespace

bool FillSampleSpeedDials(const platform::Device& device, std::uint32_t scale, std::string* error) {
  platform::ObjectStore& store = device.object_store();
  std::vector<Phone> phones;
  if (!ContactPhones(store, device.os_major_version(), &phones, error)) return false;
  devicedb::HeldPimDatabase speed_dials(store);
  if (speed_dials.Open(devicedb::kSpeedDialDatabase) != platform::kErrorSuccess) {
    *error = "the profile has no speed dial database";
    return false;
  }
  std::vector<std::vector<PropertyValue>> dials;
  // Phones spread over the contacts, so that the dials meet several phone rows.
  const std::size_t linked =
      std::min<std::size_t>(phones.size(), kSampleLinkedDialsPerScale * scale);
  for (std::size_t index = 0; index < linked; ++index) {
    const Phone& phone = phones[index * phones.size() / linked];
    dials.push_back(Dial(static_cast<std::uint16_t>(dials.size() + 2),
                         Head(phone, static_cast<std::uint8_t>(index)), u"Speed dial"));
  }
  for (std::uint32_t copy = 0; copy < scale; ++copy) {
    // A dial whose head names no contact, and one whose block is too short to hold a head.
    dials.push_back(
        Dial(static_cast<std::uint16_t>(dials.size() + 2), Head({0, 0}, 0xee), u"Voicemail"));
    dials.push_back(
        Dial(static_cast<std::uint16_t>(dials.size() + 2), {0x01, 0x2a, 0x00, 0x31}, u"Short"));
  }
  for (const std::vector<PropertyValue>& dial : dials) {
    if (store.Write(speed_dials.handle(), 0, dial) == 0) {
      *error = "cannot write to the speed dial database";
      return false;
    }
  }
  return true;
}

}  // namespace kestrav::profile
