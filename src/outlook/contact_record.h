// A contact as one line of the contacts record file (".csc"): the sixty columns, where each one's
// value lives on the device, and how values become field texts and back.
//
// Most columns are properties of the object model's contact item. The others are store
// properties of the contact's record, which Windows Mobile 2005 items hand out themselves and
// which on Windows Mobile 2003 SE are read and written in "Contacts Database" by the item's
// record id. Either way the file is the same, so a backup of one generation restores on the other.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device.h"
#include "platform/outlook.h"
#include "records/record_file.h"

namespace kestrav::outlook {

inline constexpr std::size_t kContactColumnCount = 60;

// Where a column's value comes from.
enum class ContactSource {
  kItemText,    // an item text property
  kItemDate,    // an item date: eight digits "YYYYMMDD", empty for none
  kNotes,       // the item's notes as the byte list of their UTF-16 units
  kStoreText,   // a store property holding text
  kStoreBytes,  // a store property holding bytes, as a byte list
};

struct ContactColumn {
  const char16_t* header;
  ContactSource source;
  std::optional<platform::ItemProperty> property;  // item sources only
  std::uint32_t store_id;  // store sources; 0 for Notes Ink, whose id follows the OS
};

// The sixty columns in file order.
const std::array<ContactColumn, kContactColumnCount>& ContactColumns();

// The column numbers the passes name.
inline constexpr std::size_t kNameColumn = 0;
inline constexpr std::size_t kPictureColumn = 8;
inline constexpr std::size_t kNotesInkColumn = 59;

// Notes Ink's store property on a device of this OS major version.
std::uint32_t NotesInkPropertyId(int os_major_version);

// The header line: the sixty names with the separator between them, no quoting, then CR LF.
std::u16string ContactHeaderLine(char16_t separator);
// Whether a file's header is the sixty names in order.
bool IsContactHeader(const records::Record& header);

// --- Value encodings ---

// An OLE date as its field: "%.4d%.2d%.2d"; empty for kOleDateNone and for dates before 0.0 or
// after 401768.0.
std::u16string DateField(double ole_date);
// The date of a field of exactly eight characters (year, month, day, each read as a decimal
// number, time of day zero); nothing for any other field or for a date the calendar lacks.
std::optional<double> DateFromField(std::u16string_view field);

// Notes as the byte list of their UTF-16LE units.
std::u16string NotesField(std::u16string_view notes);
// Notes from a byte list: bytes without a zero byte are narrow text in the device's ANSI code
// page (older files held that); otherwise UTF-16LE units, up to the first zero unit.
std::u16string NotesFromField(std::u16string_view field, const platform::AnsiCodePage& code_page);

// --- The store properties of one pass ---

// Reads and writes a contact's store properties for the length of one pass: through the item on
// Windows Mobile 2005, through "Contacts Database" (opened once, closed with the pass) below.
class ContactStore {
 public:
  explicit ContactStore(const platform::Device& device);
  ~ContactStore();
  ContactStore(const ContactStore&) = delete;
  ContactStore& operator=(const ContactStore&) = delete;

  bool through_item() const { return through_item_; }
  int os_major_version() const { return device_.os_major_version(); }
  // The identifiers of the store columns on this device, in column order.
  const std::vector<std::uint32_t>& column_ids() const { return column_ids_; }

  // The properties by identifier; absent ones are flagged kPropertyNotFound. All flagged absent
  // when they cannot be read.
  std::vector<platform::PropertyValue> Read(platform::OutlookItem& item,
                                            const std::vector<std::uint32_t>& ids);
  // Sets the properties: on the item (kept by its next save) or into the saved item's record.
  bool Write(platform::OutlookItem& item, const std::vector<platform::PropertyValue>& properties);

 private:
  const platform::Device& device_;
  bool through_item_;
  std::vector<std::uint32_t> column_ids_;
  platform::VolumeId volume_ = 0;
  bool mounted_ = false;
  platform::DatabaseHandle database_ = platform::kInvalidDatabaseHandle;
};

// --- Whole records ---

// The sixty field texts of a contact; an absent or unreadable value is the empty text.
records::RecordValues ReadContactRecord(platform::OutlookItem& item, ContactStore& store);

struct DecodedContact;

// Applies a decoded contact to a new or found contact: the file-as name always, every
// other value only when its field is not empty, so an update never clears a value. Below
// Windows Mobile 2005 the contact is saved here, before its store properties go into its
// record; from 2005 on the caller saves it. False when that save failed. The caller has checked
// the cancel flag.
bool ApplyContactRecord(const DecodedContact& contact, platform::OutlookItem& item,
                        ContactStore& store, const platform::Device& device);

}  // namespace kestrav::outlook
