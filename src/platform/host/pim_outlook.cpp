#include "platform/host/pim_outlook.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string>
#include <unordered_map>

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

bool Holds(const PropertyValue* value) {
  return value != nullptr && (value->flags & kPropertyNotFound) == 0;
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

std::u16string KeyText(const PropertyValue* value) {
  return Holds(value) ? value->text : std::u16string();
}

// One folder's open database and the application's view of it: its records in object-id order
// (which is creation order, so a position is found by binary search) and each record's key text,
// indexed by text.
struct FolderState {
  FolderState(ObjectStore& store, DatabaseHandle handle, std::uint32_t key_id)
      : store(store), handle(handle), key_id(key_id) {}

  // Reads the view in one walk over the database, the first time it is needed.
  void Build() {
    if (built) return;
    built = true;
    // A seek that finds no record leaves the position where it was: an empty database is not
    // walked at all.
    if (store.Seek(handle, 0) == 0) return;
    const std::vector<std::uint32_t> wanted = {key_id};
    std::vector<PropertyValue> properties;
    while (const ObjectId oid = store.ReadNext(handle, &wanted, &properties)) {
      oids.push_back(oid);
      Index(oid, KeyText(properties.empty() ? nullptr : &properties.front()));
    }
  }

  void Added(ObjectId oid, std::u16string key) {
    if (!built) return;
    oids.insert(std::ranges::upper_bound(oids, oid), oid);
    Index(oid, std::move(key));
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

  int Find(std::u16string_view text, int after) const {
    if (text.empty() || after >= static_cast<int>(oids.size())) return 0;
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
    if (text == nullptr || !KnownProperty(property) || IsDateProperty(property))
      return kEInvalidArgument;
    if (!Live() || !Load()) return kEFail;
    const PropertyValue* value = Find(Id(property));
    *text = Holds(value) ? value->text : std::u16string();
    return kSOk;
  }

  HResult SetText(ItemProperty property, std::u16string_view text) override {
    if (!KnownProperty(property) || IsDateProperty(property)) return kEInvalidArgument;
    if (!Live()) return kEFail;
    PropertyValue value;
    value.id = Id(property);
    value.text = text;
    Put(pending_, std::move(value));
    return kSOk;
  }

  HResult GetDate(ItemProperty property, double* ole_date) override {
    if (ole_date == nullptr || !KnownProperty(property) || !IsDateProperty(property))
      return kEInvalidArgument;
    if (!Live() || !Load()) return kEFail;
    const PropertyValue* value = Find(Id(property));
    *ole_date = Holds(value) ? value->real : kOleDateNone;
    return kSOk;
  }

  HResult SetDate(ItemProperty property, double ole_date) override {
    if (!KnownProperty(property) || !IsDateProperty(property)) return kEInvalidArgument;
    if (!Live()) return kEFail;
    PropertyValue value;
    value.id = Id(property);
    value.real = ole_date;
    Put(pending_, std::move(value));
    return kSOk;
  }

  HResult GetProperties(const std::vector<std::uint32_t>& property_ids,
                        std::vector<PropertyValue>* properties) override {
    if (session_->os_major_version < kWindowsMobile2005) return kENotImplemented;
    if (properties == nullptr) return kEInvalidArgument;
    if (!Live() || !Load()) return kEFail;
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
    for (const PropertyValue& value : properties) Put(pending_, value);
    return kSOk;
  }

  HResult Save() override {
    if (!Live()) return kEFail;
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
