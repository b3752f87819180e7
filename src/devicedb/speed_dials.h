// Speed dials: the "speed.db" database of "\pim.vol" to a ".csd" record file and back, in the
// call logs' generic layout (pim_record_worker.h), with the link to a contact carried across.
//
// A speed dial's byte block (type 65) of at least 28 bytes begins with a head that names a record
// of "Contacts Database" (offset 12) and the phone property of it that is dialled (offset 16).
// Object ids do not survive a restore, so the backup appends the contact's phone text to the
// block, and the restore links the dial to the first contact, in database order, whose phone
// property holds that text, ignoring the case of ASCII letters. docs/speed-dials.md has the
// layout.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "devicedb/pim_record_worker.h"
#include "platform/device.h"

namespace kestrav::devicedb {

// The speed-dial head: its size and the offsets of its fields.
inline constexpr std::size_t kSpeedDialHeadSize = 28;
inline constexpr std::size_t kContactIdOffset = 12;
inline constexpr std::size_t kPhonePropertyOffset = 16;
inline constexpr std::size_t kClearedOnRelinkOffset = 20;

// The file versions: the current signature's files, and the older one's.
inline constexpr int kSpeedDialFileVersion5 = 1;
inline constexpr int kSpeedDialFileVersion4 = 0;

// One contact phone property as the two system generations identify it.
struct PhonePropertyRow {
  std::uint32_t version4;
  std::uint32_t version5;
};

// Mobile, business, business 2, home, home 2, business fax, home fax, pager, car, radio, company
// main, assistant.
inline constexpr std::array<PhonePropertyRow, 12> kContactPhoneProperties = {{
    {0x3A1C001F, 0x0096001F},
    {0x3A08001F, 0x0097001F},
    {0x4007001F, 0x0098001F},
    {0x3A09001F, 0x0099001F},
    {0x3A2F001F, 0x009A001F},
    {0x3A24001F, 0x009B001F},
    {0x3A25001F, 0x009C001F},
    {0x4009001F, 0x009D001F},
    {0x3A1E001F, 0x009E001F},
    {0x3A1D001F, 0x009F001F},
    {0x0000001F, 0x00A0001F},
    {0x4004001F, 0x00A1001F},
}};

// The phone property a file of file_version names, as a device of os_major_version names it:
// only a file of the other generation is translated, by the first row that holds the identifier
// in the file's column. An identifier of no row stays as it is.
std::uint32_t DevicePhoneProperty(std::uint32_t property_id, int file_version,
                                  int os_major_version);

// What a speed dial's properties say, by the identifiers "speed.db" keeps them under.
inline constexpr std::uint32_t kSpeedDialPositionProperty = 0x00010012;
inline constexpr std::uint32_t kSpeedDialLinkProperty = 0x00020041;
inline constexpr std::uint32_t kSpeedDialLabelProperty = 0x0003001F;

// A speed dial as its record line gives it back: the properties a restore writes (before their
// heads are linked to this device's contacts), and what they say.
struct DecodedSpeedDial {
  std::vector<platform::PropertyValue> properties;
  std::optional<std::uint32_t> position;
  std::u16string label;
  // From the first byte block holding a head: the contact it names in the backed-up device's
  // "Contacts Database" (0 for none), the phone property dialled, and the phone text the backup
  // wrote after the head, by which a restore finds the contact again.
  bool has_head = false;
  std::uint32_t contact_id = 0;
  std::uint32_t phone_property = 0;
  std::u16string phone_text;
};

DecodedSpeedDial DecodeSpeedDial(std::vector<platform::PropertyValue> properties);

// The speed-dial file's signatures and texts, as the restore checks and reads the file.
const PimRecordKind& SpeedDialKind();

class SpeedDialWorker : public PimRecordWorker {
 public:
  explicit SpeedDialWorker(const platform::Device& device);

  // The restore of the base, each pass with contact indexes of its own.
  void Restore(const engine::PassContext& pass) override;

 protected:
  // A backup needs "Contacts Database" as well as "speed.db".
  bool CanBackUp(const CeDbSession& session) const override;
  // After a speed-dial head: "," and the byte list of the contact's phone text, when it can be
  // read.
  void AppendLinkedText(CeDbSession& session, const platform::PropertyValue& value,
                        std::u16string* line) override;
  // Links every speed-dial head to the contact that holds its phone text.
  void PrepareRecord(CeDbSession& session, int file_version,
                     std::vector<platform::PropertyValue>* record) override;
  // Two speed-dial heads are the same when they name the same contact and phone property.
  bool SameValue(const platform::PropertyValue& database_value,
                 const platform::PropertyValue& file_value) const override;
  // One property per write: the first creates the record, the others are added to it.
  platform::ObjectId Insert(CeDbSession& session,
                            const std::vector<platform::PropertyValue>& record) override;

 private:
  // Case-folded phone text to the object id of the first contact, in database order, that holds
  // it.
  using ContactIndex = std::unordered_map<std::u16string, platform::ObjectId>;

  // The index of one phone property over "Contacts Database", read once per restore pass.
  const ContactIndex& ContactsByPhone(CeDbSession& session, std::uint32_t property_id);

  std::unordered_map<std::uint32_t, ContactIndex> contacts_by_property_;
};

}  // namespace kestrav::devicedb
