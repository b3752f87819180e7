#include "platform/host/pim_outlook.h"

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/device.h"
#include "platform/host/outlook_properties.h"

namespace kestrav::platform::host {
namespace {

constexpr char16_t kPimVolume[] = u"\\pim.vol";

enum class FolderKind : std::size_t { kContacts, kCalendar, kTasks };

constexpr std::u16string_view DatabaseName(FolderKind kind) {
  switch (kind) {
    case FolderKind::kContacts:
      return u"Contacts Database";
    case FolderKind::kCalendar:
      return u"Appointments Database";
    case FolderKind::kTasks:
      break;
  }
  return u"Tasks Database";
}

std::uint32_t KeyPropertyId(FolderKind kind, int os_major_version) {
  return ItemPropertyId(
      kind == FolderKind::kContacts ? ItemProperty::kFileAs : ItemProperty::kSubject,
      os_major_version);
}

bool KnownProperty(ItemProperty property) {
  return static_cast<std::size_t>(property) < AllItemProperties().size();
}

// A value set to be deleted reads as absent until the save removes it.
bool Holds(const PropertyValue* value) {
  return value != nullptr && (value->flags & (kPropertyNotFound | kPropertyDelete)) == 0;
}

const PropertyValue* FindValue(const std::vector<PropertyValue>& values, std::uint32_t id) {
  const auto found = std::ranges::find(values, id, &PropertyValue::id);
  return found == values.end() ? nullptr : &*found;
}

void Put(std::vector<PropertyValue>& values, PropertyValue value) {
  const auto found = std::ranges::find(values, value.id, &PropertyValue::id);
  if (found != values.end()) {
    *found = std::move(value);
  } else {
    values.push_back(std::move(value));
  }
}

// The object model's MeetingStatus values that follow an appointment's recipients.
constexpr std::int64_t kNotAMeeting = 0;
constexpr std::int64_t kMeeting = 1;

// Little-endian values one after the other, appended to a block: the form of the recipients' and
// the recurrence's blocks in a record.
class BlockWriter {
 public:
  explicit BlockWriter(std::vector<std::uint8_t>& bytes) : bytes_(bytes) {}

  void Unsigned(std::uint64_t value, std::size_t size) {
    for (std::size_t at = 0; at < size; ++at)
      bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * at)));
  }
  void Integer(std::int32_t value) { Unsigned(static_cast<std::uint32_t>(value), 4); }
  void Real(double value) { Unsigned(std::bit_cast<std::uint64_t>(value), 8); }
  void Text(std::u16string_view text) {
    // A length of 16 bits bounds a text at 65535 units; no recipient comes near it.
    text = text.substr(0, 0xFFFF);
    Unsigned(text.size(), 2);
    for (const char16_t unit : text) Unsigned(unit, 2);
  }

 private:
  std::vector<std::uint8_t>& bytes_;
};

// Reads a block back; every read past its end fails and leaves the reader failed.
class BlockReader {
 public:
  explicit BlockReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool ok() const { return ok_; }
  std::size_t at() const { return at_; }
  std::size_t left() const { return bytes_.size() - at_; }

  std::uint64_t Unsigned(std::size_t size) {
    if (!ok_ || left() < size) {
      ok_ = false;
      return 0;
    }
    std::uint64_t value = 0;
    for (std::size_t k = 0; k < size; ++k) value |= std::uint64_t{bytes_[at_ + k]} << (8 * k);
    at_ += size;
    return value;
  }
  std::int32_t Integer() { return static_cast<std::int32_t>(Unsigned(4)); }
  double Real() { return std::bit_cast<double>(Unsigned(8)); }
  std::u16string Text() {
    const auto length = static_cast<std::size_t>(Unsigned(2));
    std::u16string text;
    if (left() < length * 2) {
      ok_ = false;
      return text;
    }
    text.reserve(length);
    for (std::size_t k = 0; k < length; ++k) text.push_back(static_cast<char16_t>(Unsigned(2)));
    return text;
  }
  void SkipText() {
    const auto length = static_cast<std::size_t>(Unsigned(2));
    if (left() < length * 2) {
      ok_ = false;
      return;
    }
    at_ += length * 2;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t at_ = 0;
  bool ok_ = true;
};

}  // namespace

// Recipients: each one's name, then its address, each a 16-bit length and the UTF-16LE units.
void AppendRecipient(const Recipient& recipient, std::vector<std::uint8_t>* block) {
  BlockWriter writer(*block);
  writer.Text(recipient.name);
  writer.Text(recipient.address);
}

bool ReadRecipient(std::span<const std::uint8_t> block, std::size_t* at, Recipient* recipient) {
  if (*at >= block.size()) return false;
  BlockReader reader(block.subspan(*at));
  Recipient read;
  read.name = reader.Text();
  read.address = reader.Text();
  if (!reader.ok()) return false;
  *at += reader.at();
  *recipient = std::move(read);
  return true;
}

// Recurrence: the eight integers, the no-end flag as one byte, the four dates, then each
// exception as its original date, a deleted byte, its start and its end (25 bytes).
constexpr std::size_t kPatternBlockSize = 8 * 4 + 1 + 4 * 8;
constexpr std::size_t kExceptionBlockSize = 25;

std::vector<std::uint8_t> EncodeRecurrence(const RecurrencePattern& pattern) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(kPatternBlockSize + pattern.exceptions.size() * kExceptionBlockSize);
  BlockWriter block(bytes);
  for (const std::int32_t value :
       {pattern.recurrence_type, pattern.interval, pattern.instance, pattern.day_of_week_mask,
        pattern.day_of_month, pattern.month_of_year, pattern.occurrences, pattern.duration}) {
    block.Integer(value);
  }
  block.Unsigned(pattern.no_end_date ? 1 : 0, 1);
  for (const double date : {pattern.pattern_start_date, pattern.pattern_end_date,
                            pattern.start_time, pattern.end_time}) {
    block.Real(date);
  }
  for (const RecurrenceException& exception : pattern.exceptions) {
    block.Real(exception.original_date);
    block.Unsigned(exception.deleted ? 1 : 0, 1);
    block.Real(exception.start);
    block.Real(exception.end);
  }
  return bytes;
}

RecurrencePattern DecodeRecurrence(std::span<const std::uint8_t> bytes) {
  RecurrencePattern pattern;
  BlockReader block(bytes);
  for (std::int32_t* value :
       {&pattern.recurrence_type, &pattern.interval, &pattern.instance, &pattern.day_of_week_mask,
        &pattern.day_of_month, &pattern.month_of_year, &pattern.occurrences, &pattern.duration}) {
    *value = block.Integer();
  }
  pattern.no_end_date = block.Unsigned(1) != 0;
  for (double* date : {&pattern.pattern_start_date, &pattern.pattern_end_date, &pattern.start_time,
                       &pattern.end_time}) {
    *date = block.Real();
  }
  if (block.ok()) pattern.exceptions.reserve(block.left() / kExceptionBlockSize);
  while (block.ok() && block.left() >= kExceptionBlockSize) {
    RecurrenceException& exception = pattern.exceptions.emplace_back();
    exception.original_date = block.Real();
    exception.deleted = block.Unsigned(1) != 0;
    exception.start = block.Real();
    exception.end = block.Real();
  }
  return pattern;
}

namespace {

// An appointment's recipients in the form its record keeps them, the block itself, with where
// each recipient begins: counting them, reading one and adding one cost that one recipient
// whatever the length of the list, and the block is ready to be written as it stands.
class RecipientList {
 public:
  RecipientList() = default;
  // The whole entries of a block; a cut entry ends the list, as when the block is decoded.
  explicit RecipientList(std::span<const std::uint8_t> block) {
    BlockReader reader(block);
    std::size_t whole = 0;
    while (reader.left() > 0) {
      const std::size_t start = reader.at();
      reader.SkipText();
      reader.SkipText();
      if (!reader.ok()) break;
      starts_.push_back(start);
      whole = reader.at();
    }
    bytes_.assign(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(whole));
  }

  std::size_t size() const { return starts_.size(); }
  bool empty() const { return starts_.empty(); }

  // The recipient at a position counted from 0, below size().
  Recipient At(std::size_t position) const {
    std::size_t at = starts_[position];
    Recipient recipient;
    ReadRecipient(bytes_, &at, &recipient);
    return recipient;
  }

  void Add(const Recipient& recipient) {
    starts_.push_back(bytes_.size());
    AppendRecipient(recipient, &bytes_);
  }

  const std::vector<std::uint8_t>& block() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::vector<std::size_t> starts_;
};

std::u16string KeyText(const PropertyValue* value) {
  return Holds(value) ? value->text : std::u16string();
}

// One folder's open database and the application's view of it: its records in object-id order
// (which is creation order, so a position is found by binary search) and each record's key text,
// indexed by text.
struct FolderState {
  FolderState(ObjectStore& store, DatabaseHandle handle, std::uint32_t key_id)
      : store(store), handle(handle), key_id(key_id) {}

  // Reads the record order in one walk over the database, the first time it is needed.
  void Build() {
    if (built) return;
    built = true;
    Walk({}, [this](ObjectId oid, const std::vector<PropertyValue>&) { oids.push_back(oid); });
  }

  // Reads every record's key text in one more walk, the first time a key is looked for: a pass
  // that never looks for one (a backup) keeps no more than the record order.
  void BuildIndex() {
    if (indexed) return;
    indexed = true;
    Walk({key_id}, [this](ObjectId oid, const std::vector<PropertyValue>& properties) {
      Index(oid, KeyText(properties.empty() ? nullptr : &properties.front()));
    });
  }

  template <typename Visit>
  void Walk(const std::vector<std::uint32_t>& wanted, Visit visit) {
    // A seek that finds no record leaves the position where it was: an empty database is not
    // walked at all.
    if (store.Seek(handle, 0) == 0) return;
    std::vector<PropertyValue> properties;
    while (const ObjectId oid = store.ReadNext(handle, &wanted, &properties))
      visit(oid, properties);
  }

  void Added(ObjectId oid, std::u16string key) {
    if (!built) return;
    oids.insert(std::ranges::upper_bound(oids, oid), oid);
    if (indexed) Index(oid, std::move(key));
  }

  void Dropped(std::vector<ObjectId>::iterator position) {
    const auto key = keys.find(*position);
    if (key != keys.end()) {
      Unindex(*position, key->second);
      keys.erase(key);
    }
    oids.erase(position);
  }

  void Rekeyed(ObjectId oid, std::u16string key) {
    const auto found = keys.find(oid);
    if (found == keys.end() || found->second == key) return;
    Unindex(oid, found->second);
    keys.erase(found);
    Index(oid, std::move(key));
  }

  int Find(std::u16string_view text, int after) {
    if (text.empty() || after >= static_cast<int>(oids.size())) return 0;
    BuildIndex();
    const auto entry = index.find(text);
    if (entry == index.end()) return 0;
    const std::set<ObjectId>& matches = entry->second;
    const auto first = after <= 0 ? matches.begin() : matches.upper_bound(oids[after - 1]);
    if (first == matches.end()) return 0;
    return static_cast<int>(std::ranges::lower_bound(oids, *first) - oids.begin()) + 1;
  }

  void Index(ObjectId oid, std::u16string key) {
    // An empty key matches nothing, so it is not indexed.
    if (!key.empty()) index[key].insert(oid);
    keys.emplace(oid, std::move(key));
  }

  void Unindex(ObjectId oid, const std::u16string& key) {
    const auto entry = index.find(key);
    if (entry == index.end()) return;
    entry->second.erase(oid);
    if (entry->second.empty()) index.erase(entry);
  }

  ObjectStore& store;
  const DatabaseHandle handle;
  const std::uint32_t key_id;
  bool open = true;
  bool built = false;
  bool indexed = false;
  std::vector<ObjectId> oids;
  std::unordered_map<ObjectId, std::u16string> keys;
  std::map<std::u16string, std::set<ObjectId>, std::less<>> index;
};

// What an application and every object it made share: the mounted volume and the open folders.
struct Session {
  Session(ObjectStore& store, int os_major_version)
      : store(store), os_major_version(os_major_version) {}
  ~Session() { Close(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The folder's state, opening its database the first time; null when logged off or when the
  // database cannot be opened.
  std::shared_ptr<FolderState> Folder(FolderKind kind) {
    if (!logged_on) return nullptr;
    std::shared_ptr<FolderState>& slot = folders[static_cast<std::size_t>(kind)];
    if (!slot) {
      const DatabaseHandle handle = store.OpenDatabase(volume, DatabaseName(kind));
      if (handle == kInvalidDatabaseHandle) return nullptr;
      slot = std::make_shared<FolderState>(store, handle, KeyPropertyId(kind, os_major_version));
    }
    return slot;
  }

  // Closes every folder - objects still holding one fail from now on - and unmounts the volume.
  void Close() {
    for (std::shared_ptr<FolderState>& folder : folders) {
      if (!folder) continue;
      store.CloseDatabase(folder->handle);
      folder->open = false;
      folder.reset();
    }
    if (logged_on) store.UnmountVolume(volume);
    logged_on = false;
  }

  ObjectStore& store;
  const int os_major_version;
  bool logged_on = false;
  // Counts logons, so that a new item made before a Logoff stays dead after the next Logon.
  int logon = 0;
  VolumeId volume = 0;
  std::array<std::shared_ptr<FolderState>, 3> folders;
};

class PimItem : public OutlookItem {
 public:
  // A new item: no folder until it is saved.
  PimItem(std::shared_ptr<Session> session, FolderKind kind)
      : session_(std::move(session)), kind_(kind), logon_(session_->logon), loaded_(true) {}
  // An item of a collection, read on its first Get.
  PimItem(std::shared_ptr<Session> session, FolderKind kind, std::shared_ptr<FolderState> folder,
          ObjectId oid)
      : session_(std::move(session)),
        kind_(kind),
        logon_(session_->logon),
        folder_(std::move(folder)),
        oid_(oid) {}

  HResult GetText(ItemProperty property, std::u16string* text) override {
    const PropertyValue* value = nullptr;
    const HResult result = Get(property, ItemValueType::kText, text, &value);
    if (result == kSOk) *text = Holds(value) ? value->text : std::u16string();
    return result;
  }

  HResult SetText(ItemProperty property, std::u16string_view text) override {
    PropertyValue value;
    value.text = text;
    return Set(property, ItemValueType::kText, std::move(value));
  }

  HResult GetDate(ItemProperty property, double* ole_date) override {
    const PropertyValue* value = nullptr;
    const HResult result = Get(property, ItemValueType::kDate, ole_date, &value);
    if (result == kSOk) *ole_date = Holds(value) ? value->real : kOleDateNone;
    return result;
  }

  HResult SetDate(ItemProperty property, double ole_date) override {
    PropertyValue value;
    value.real = ole_date;
    return Set(property, ItemValueType::kDate, std::move(value));
  }

  HResult GetBoolean(ItemProperty property, bool* boolean) override {
    const PropertyValue* value = nullptr;
    const HResult result = Get(property, ItemValueType::kBoolean, boolean, &value);
    if (result == kSOk) *boolean = Holds(value) && value->integer != 0;
    return result;
  }

  HResult SetBoolean(ItemProperty property, bool boolean) override {
    PropertyValue value;
    value.integer = boolean ? 1 : 0;
    return Set(property, ItemValueType::kBoolean, std::move(value));
  }

  HResult GetInteger(ItemProperty property, std::int32_t* integer) override {
    const PropertyValue* value = nullptr;
    const HResult result = Get(property, ItemValueType::kInteger, integer, &value);
    if (result == kSOk) *integer = Holds(value) ? static_cast<std::int32_t>(value->integer) : 0;
    return result;
  }

  HResult SetInteger(ItemProperty property, std::int32_t integer) override {
    PropertyValue value;
    value.integer = integer;
    return Set(property, ItemValueType::kInteger, std::move(value));
  }

  HResult GetBytes(ItemProperty property, std::vector<std::uint8_t>* bytes) override {
    const PropertyValue* value = nullptr;
    const HResult result = Get(property, ItemValueType::kBytes, bytes, &value);
    if (result == kSOk) *bytes = Holds(value) ? value->bytes : std::vector<std::uint8_t>();
    return result;
  }

  HResult SetBytes(ItemProperty property, std::span<const std::uint8_t> bytes) override {
    PropertyValue value;
    value.bytes.assign(bytes.begin(), bytes.end());
    return Set(property, ItemValueType::kBytes, std::move(value));
  }

  HResult RecipientCount(int* count) override {
    RecipientList* recipients = nullptr;
    const HResult result = Recipients(count, &recipients);
    if (result == kSOk) *count = static_cast<int>(recipients->size());
    return result;
  }

  HResult GetRecipient(int index, Recipient* recipient) override {
    RecipientList* recipients = nullptr;
    const HResult result = Recipients(recipient, &recipients);
    if (result != kSOk) return result;
    if (index < 1 || static_cast<std::size_t>(index) > recipients->size()) return kEInvalidArgument;
    *recipient = recipients->At(static_cast<std::size_t>(index) - 1);
    return kSOk;
  }

  HResult AddRecipient(const Recipient& recipient) override {
    RecipientList* recipients = nullptr;
    const HResult result = Recipients(&recipient, &recipients);
    if (result != kSOk) return result;
    recipients->Add(recipient);
    RecipientsChanged();
    return kSOk;
  }

  HResult RemoveAllRecipients() override {
    if (kind_ != FolderKind::kCalendar) return kEInvalidArgument;
    if (!Live()) return kEFail;
    recipients_.emplace();
    RecipientsChanged();
    return kSOk;
  }

  HResult GetRecurrence(std::optional<RecurrencePattern>* pattern) override {
    if (pattern == nullptr || kind_ == FolderKind::kContacts) return kEInvalidArgument;
    if (!Live() || !Load()) return kEFail;
    const PropertyValue* value = Find(RecurrencePropertyId(session_->os_major_version));
    pattern->reset();
    if (Holds(value)) *pattern = DecodeRecurrence(value->bytes);
    return kSOk;
  }

  HResult SetRecurrence(const RecurrencePattern& pattern) override {
    if (kind_ == FolderKind::kContacts) return kEInvalidArgument;
    if (!Live()) return kEFail;
    PutRecurrence(EncodeRecurrence(pattern));
    return kSOk;
  }

  HResult ClearRecurrence() override {
    if (kind_ == FolderKind::kContacts) return kEInvalidArgument;
    if (!Live()) return kEFail;
    PutRecurrence(std::nullopt);
    return kSOk;
  }

  HResult GetProperties(const std::vector<std::uint32_t>& property_ids,
                        std::vector<PropertyValue>* properties) override {
    if (session_->os_major_version < kWindowsMobile2005) return kENotImplemented;
    if (properties == nullptr) return kEInvalidArgument;
    if (!Live() || !Load()) return kEFail;
    PendRecipients();
    properties->clear();
    for (std::uint32_t id : property_ids) {
      const PropertyValue* value = Find(id);
      if (value != nullptr) {
        properties->push_back(*value);
      } else {
        PropertyValue missing;
        missing.id = id;
        missing.flags = kPropertyNotFound;
        properties->push_back(std::move(missing));
      }
    }
    return kSOk;
  }

  HResult SetProperties(const std::vector<PropertyValue>& properties) override {
    if (session_->os_major_version < kWindowsMobile2005) return kENotImplemented;
    if (!Live()) return kEFail;
    const std::uint32_t recipients_id = RecipientsPropertyId(session_->os_major_version);
    for (const PropertyValue& value : properties) {
      // A recipients' block set by identifier replaces the list the item was building.
      if (value.id == recipients_id) {
        recipients_.reset();
        recipients_changed_ = false;
      }
      Put(pending_, value);
    }
    return kSOk;
  }

  HResult Save() override {
    if (!Live()) return kEFail;
    PendRecipients();
    if (oid_ != 0 && pending_.empty()) return kSOk;
    std::shared_ptr<FolderState> folder = folder_ ? folder_ : session_->Folder(kind_);
    if (!folder) return kEFail;
    // An empty text is no value: the property leaves the record, as the object model cannot
    // tell the two apart.
    for (PropertyValue& value : pending_) {
      if (value.type() == PropertyType::kString && value.text.empty())
        value.flags = kPropertyDelete;
    }
    const ObjectId written = folder->store.Write(folder->handle, oid_, pending_);
    if (written == 0) return kEFail;
    const PropertyValue* key = FindValue(pending_, folder->key_id);
    if (oid_ == 0) {
      folder->Added(written, KeyText(key));
    } else if (key != nullptr) {
      folder->Rekeyed(oid_, KeyText(key));
    }
    folder_ = std::move(folder);
    oid_ = written;
    // An item not read yet reads what was just written when it is.
    if (loaded_) {
      for (PropertyValue& value : pending_) {
        if ((value.flags & kPropertyDelete) != 0) {
          std::erase_if(properties_,
                        [&](const PropertyValue& held) { return held.id == value.id; });
        } else {
          Put(properties_, std::move(value));
        }
      }
    }
    pending_.clear();
    return kSOk;
  }

  ObjectId Oid() const override { return oid_; }

 private:
  bool Live() const {
    if (folder_) return folder_->open;
    return session_->logged_on && session_->logon == logon_;
  }

  std::uint32_t Id(ItemProperty property) const {
    return ItemPropertyId(property, session_->os_major_version);
  }

  // Checks a read of a property of this type; on success the value the item holds, if any.
  HResult Get(ItemProperty property, ItemValueType type, const void* out,
              const PropertyValue** value) {
    if (out == nullptr || !KnownProperty(property) || ItemPropertyType(property) != type)
      return kEInvalidArgument;
    if (!Live() || !Load()) return kEFail;
    *value = Find(Id(property));
    return kSOk;
  }

  HResult Set(ItemProperty property, ItemValueType type, PropertyValue value) {
    if (!KnownProperty(property) || ItemPropertyType(property) != type ||
        AllItemProperties()[static_cast<std::size_t>(property)].read_only) {
      return kEInvalidArgument;
    }
    if (!Live()) return kEFail;
    value.id = Id(property);
    Put(pending_, std::move(value));
    return kSOk;
  }

  // The item's recipients, read from its record the first time they are asked for and then kept
  // as the object model changes them.
  HResult Recipients(const void* out, RecipientList** recipients) {
    if (out == nullptr || kind_ != FolderKind::kCalendar) return kEInvalidArgument;
    if (!Live()) return kEFail;
    if (!recipients_) {
      if (!Load()) return kEFail;
      const PropertyValue* value = Find(RecipientsPropertyId(session_->os_major_version));
      recipients_ = Holds(value) ? RecipientList(value->bytes) : RecipientList();
    }
    *recipients = &*recipients_;
    return kSOk;
  }

  // The meeting status follows the recipients at once; their block waits for the save, but takes
  // its place among what is to be written now, before the status, as the record keeps the order
  // in which its properties were first set.
  void RecipientsChanged() {
    if (!recipients_changed_) {
      recipients_changed_ = true;
      PropertyValue block;
      block.id = RecipientsPropertyId(session_->os_major_version);
      Put(pending_, std::move(block));
    }
    PropertyValue status;
    status.id = Id(ItemProperty::kMeetingStatus);
    status.integer = recipients_->empty() ? kNotAMeeting : kMeeting;
    Put(pending_, std::move(status));
  }

  // The recipients' block of a changed list among what is to be written, once for all the
  // recipients added since the last time; no recipients remove the block.
  void PendRecipients() {
    if (!recipients_changed_) return;
    recipients_changed_ = false;
    PropertyValue block;
    block.id = RecipientsPropertyId(session_->os_major_version);
    if (recipients_->empty()) {
      block.flags = kPropertyDelete;
    } else {
      block.bytes = recipients_->block();
    }
    Put(pending_, std::move(block));
  }

  // The recurrence's block, or none, and IsRecurring that follows it.
  void PutRecurrence(std::optional<std::vector<std::uint8_t>> bytes) {
    PropertyValue block;
    block.id = RecurrencePropertyId(session_->os_major_version);
    if (bytes) {
      block.bytes = std::move(*bytes);
    } else {
      block.flags = kPropertyDelete;
    }
    PropertyValue recurring;
    recurring.id = Id(ItemProperty::kIsRecurring);
    recurring.integer = bytes ? 1 : 0;
    Put(pending_, std::move(block));
    Put(pending_, std::move(recurring));
  }

  bool Load() {
    if (loaded_) return true;
    ObjectStore& store = folder_->store;
    if (store.Seek(folder_->handle, oid_) != oid_) return false;
    std::vector<PropertyValue> properties;
    if (store.ReadNext(folder_->handle, nullptr, &properties) != oid_) return false;
    properties_ = std::move(properties);
    loaded_ = true;
    return true;
  }

  // What was set since the last Save wins over what the record holds.
  const PropertyValue* Find(std::uint32_t id) const {
    const PropertyValue* value = FindValue(pending_, id);
    return value != nullptr ? value : FindValue(properties_, id);
  }

  std::shared_ptr<Session> session_;
  FolderKind kind_;
  int logon_;
  std::shared_ptr<FolderState> folder_;
  ObjectId oid_ = 0;
  bool loaded_ = false;
  std::vector<PropertyValue> properties_;
  std::vector<PropertyValue> pending_;
  // The recipients once read; changed ones are written by the next Save.
  std::optional<RecipientList> recipients_;
  bool recipients_changed_ = false;
};

class PimItemCollection : public OutlookItemCollection {
 public:
  PimItemCollection(std::shared_ptr<Session> session, FolderKind kind,
                    std::shared_ptr<FolderState> folder)
      : session_(std::move(session)), kind_(kind), folder_(std::move(folder)) {}

  HResult Count(int* count) override {
    if (count == nullptr) return kEInvalidArgument;
    if (!folder_->open) return kEFail;
    *count = static_cast<int>(folder_->oids.size());
    return kSOk;
  }

  HResult Item(int index, std::unique_ptr<OutlookItem>* item) override {
    if (item == nullptr) return kEInvalidArgument;
    if (!folder_->open) return kEFail;
    if (!InRange(index)) return kEInvalidArgument;
    *item = std::make_unique<PimItem>(session_, kind_, folder_, folder_->oids[index - 1]);
    return kSOk;
  }

  HResult Remove(int index) override {
    if (!folder_->open) return kEFail;
    if (!InRange(index)) return kEInvalidArgument;
    const auto position = folder_->oids.begin() + (index - 1);
    const ErrorCode deleted = folder_->store.Delete(folder_->handle, *position);
    // A record already gone from the store leaves the view too, so that a loop removing the
    // first item ends; the caller still hears of the failure.
    if (deleted == kErrorSuccess || deleted == kErrorFileNotFound) folder_->Dropped(position);
    return deleted == kErrorSuccess ? kSOk : kEFail;
  }

  HResult FindKeyText(std::u16string_view text, int after, int* index) override {
    if (index == nullptr) return kEInvalidArgument;
    if (!folder_->open) return kEFail;
    *index = folder_->Find(text, after);
    return kSOk;
  }

 private:
  bool InRange(int index) const {
    return index >= 1 && static_cast<std::size_t>(index) <= folder_->oids.size();
  }

  std::shared_ptr<Session> session_;
  FolderKind kind_;
  std::shared_ptr<FolderState> folder_;
};

class PimFolder : public OutlookFolder {
 public:
  PimFolder(std::shared_ptr<Session> session, FolderKind kind, std::shared_ptr<FolderState> folder)
      : session_(std::move(session)), kind_(kind), folder_(std::move(folder)) {}

  HResult Items(std::unique_ptr<OutlookItemCollection>* items) override {
    if (items == nullptr) return kEInvalidArgument;
    if (!folder_->open) return kEFail;
    folder_->Build();
    *items = std::make_unique<PimItemCollection>(session_, kind_, folder_);
    return kSOk;
  }

 private:
  std::shared_ptr<Session> session_;
  FolderKind kind_;
  std::shared_ptr<FolderState> folder_;
};

class PimApplication : public OutlookApplication {
 public:
  explicit PimApplication(std::shared_ptr<Session> session) : session_(std::move(session)) {}

  HResult Logon() override {
    if (session_->logged_on) return kSOk;
    if (session_->store.MountVolume(kPimVolume, Disposition::kOpenExisting, &session_->volume) !=
        kErrorSuccess) {
      return kEFail;
    }
    session_->logged_on = true;
    ++session_->logon;
    return kSOk;
  }

  HResult Logoff() override {
    session_->Close();
    return kSOk;
  }

  HResult GetDefaultFolder(OutlookFolderId id, std::unique_ptr<OutlookFolder>* folder) override {
    FolderKind kind;
    switch (id) {
      case OutlookFolderId::kContacts:
        kind = FolderKind::kContacts;
        break;
      case OutlookFolderId::kCalendar:
        kind = FolderKind::kCalendar;
        break;
      case OutlookFolderId::kTasks:
        kind = FolderKind::kTasks;
        break;
      default:
        return kEInvalidArgument;
    }
    if (folder == nullptr) return kEInvalidArgument;
    std::shared_ptr<FolderState> state = session_->Folder(kind);
    if (!state) return kEFail;
    *folder = std::make_unique<PimFolder>(session_, kind, std::move(state));
    return kSOk;
  }

  HResult CreateItem(OutlookItemType type, std::unique_ptr<OutlookItem>* item) override {
    FolderKind kind;
    switch (type) {
      case OutlookItemType::kContact:
        kind = FolderKind::kContacts;
        break;
      case OutlookItemType::kAppointment:
        kind = FolderKind::kCalendar;
        break;
      case OutlookItemType::kTask:
        kind = FolderKind::kTasks;
        break;
      default:
        return kEInvalidArgument;
    }
    if (item == nullptr) return kEInvalidArgument;
    if (!session_->logged_on) return kEFail;
    *item = std::make_unique<PimItem>(session_, kind);
    return kSOk;
  }

 private:
  std::shared_ptr<Session> session_;
};

}  // namespace

HResult PimOutlookRuntime::Initialize() {
  ++initialize_count_;
  return kSOk;
}

HResult PimOutlookRuntime::CreateApplication(std::unique_ptr<OutlookApplication>* application) {
  if (application == nullptr) return kEInvalidArgument;
  *application =
      std::make_unique<PimApplication>(std::make_shared<Session>(store_, os_major_version_));
  return kSOk;
}

void PimOutlookRuntime::Uninitialize() {
  ++uninitialize_count_;
}

}  // namespace kestrav::platform::host
