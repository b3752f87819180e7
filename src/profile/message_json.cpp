// Message stores as JSON: a store is its name and folder tree, a folder its name, messages and
// subfolders, a message its subject, body, named properties, recipients and attachments. A load
// reads the whole document into a plan and checks it against the stores before it writes.
#include "profile/message_json.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "platform/host/sqlite_message_store.h"
#include "platform/message_store.h"
#include "platform/text.h"
#include "platform/time.h"
#include "records/base64.h"

namespace kestrav::profile {
namespace {

using platform::EntryId;
using platform::HResult;
using platform::Message;
using platform::MessageFolder;
using platform::MessageFolderRow;
using platform::MessageRecipient;
using platform::MessageSession;
using platform::MessageStore;
using platform::PropertyType;
using platform::RecipientKind;
using platform::host::SqliteMessageRuntime;

std::string HResultText(HResult result) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<std::uint32_t>(result));
  return text;
}

// True when the call worked; else false with what failed and the device's answer.
bool Check(HResult result, std::string_view what, std::string* error) {
  if (!platform::Failed(result)) return true;
  *error = std::string(what) + " (" + HResultText(result) + ")";
  return false;
}

// The same, with the failing part's place made only on a failure.
template <typename Place>
bool CheckAt(HResult result, Place place, std::string_view what, std::string* error) {
  return !platform::Failed(result) || Check(result, place() + std::string(what), error);
}

// Whole groups of base64 digits that decode to at most one attachment chunk.
constexpr std::size_t kGroupChunkDigits = platform::kAttachmentChunkBytes / 3 * 4;

// --- File times as UTC dates ---

constexpr platform::FileTime kTicksPerSecond = 10'000'000;
// The shapes of a date text, "0" standing for a digit: at a whole second, and with the 100 ns.
constexpr std::string_view kWholeSecondShape = "0000-00-00T00:00:00Z";
constexpr std::string_view kFractionShape = "0000-00-00T00:00:00.0000000Z";

// "2007-03-15T10:20:30Z", with seven more digits when the time is not at a whole second; a time
// past the year 9999 as its number of 100 ns.
Json FileTimeJson(platform::FileTime time) {
  const platform::FileTime fraction = time % kTicksPerSecond;
  platform::SystemTime fields;
  if (!platform::FileTimeToSystemTime(time - fraction, &fields) || fields.year > 9999) return time;
  char text[80];
  int length =
      std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u", unsigned{fields.year},
                    unsigned{fields.month}, unsigned{fields.day}, unsigned{fields.hour},
                    unsigned{fields.minute}, unsigned{fields.second});
  if (fraction != 0) {
    length += std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), ".%07u",
                            static_cast<unsigned>(fraction));
  }
  return std::string(text, static_cast<std::size_t>(length)) + "Z";
}

unsigned Number(std::string_view digits) {
  unsigned number = 0;
  for (const char digit : digits) number = number * 10 + static_cast<unsigned>(digit - '0');
  return number;
}

bool ReadFileTime(const Json& value, platform::FileTime* time) {
  // A parsed document holds a count as unsigned, one built in code as signed.
  if (value.is_number_integer() && (value.is_number_unsigned() || value.get<std::int64_t>() >= 0)) {
    *time = value.get<std::uint64_t>();
    return true;
  }
  if (!value.is_string()) return false;
  const std::string& text = value.get_ref<const std::string&>();
  const std::string_view shape =
      text.size() == kFractionShape.size() ? kFractionShape : kWholeSecondShape;
  if (text.size() != shape.size()) return false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool fits = shape[at] == '0' ? text[at] >= '0' && text[at] <= '9' : text[at] == shape[at];
    if (!fits) return false;
  }
  const std::string_view digits = text;
  platform::SystemTime fields;
  fields.year = static_cast<std::uint16_t>(Number(digits.substr(0, 4)));
  fields.month = static_cast<std::uint16_t>(Number(digits.substr(5, 2)));
  fields.day = static_cast<std::uint16_t>(Number(digits.substr(8, 2)));
  fields.hour = static_cast<std::uint16_t>(Number(digits.substr(11, 2)));
  fields.minute = static_cast<std::uint16_t>(Number(digits.substr(14, 2)));
  fields.second = static_cast<std::uint16_t>(Number(digits.substr(17, 2)));
  if (!platform::SystemTimeToFileTime(fields, time)) return false;
  if (shape == kFractionShape) *time += Number(digits.substr(20, 7));
  return true;
}

// --- The named properties, values by their tag's type ---

struct NamedProperty {
  std::string_view key;
  std::uint32_t tag;
};

constexpr std::array<NamedProperty, 12> kNamedProperties = {{
    {"messageId", platform::kTagMessageIdBytes},
    {"senderName", platform::kTagSenderName},
    {"senderAddress", platform::kTagSenderAddress},
    {"senderAddressType", platform::kTagSenderAddressType},
    {"subjectPrefix", platform::kTagSubjectPrefix},
    {"messageClass", platform::kTagMessageClass},
    {"contentLength", platform::kTagContentLength},
    {"messageSize", platform::kTagMessageSize},
    {"messageFlags", platform::kTagMessageFlags},
    {"messageStatus", platform::kTagMessageStatus},
    {"lastModificationTime", platform::kTagLastModificationTime},
    {"deliveryTime", platform::kTagDeliveryTime},
}};

constexpr std::uint16_t TypeOf(std::uint32_t tag) {
  return static_cast<std::uint16_t>(tag & 0xFFFF);
}

Json NamedValueJson(const PropertyValue& value) {
  switch (TypeOf(value.id)) {
    case platform::kMessageBinaryType:
      return ByteListJson(value.bytes);
    case static_cast<std::uint16_t>(PropertyType::kString):
      return platform::ToUtf8(value.text);
    case static_cast<std::uint16_t>(PropertyType::kInt32):
      return static_cast<std::int32_t>(value.integer);
    default:
      return FileTimeJson(value.file_time);
  }
}

bool ReadNamedValue(const std::string& key, const Json& json, PropertyValue* value,
                    std::string* reason) {
  std::string expected;
  switch (TypeOf(value->id)) {
    case platform::kMessageBinaryType:
      if (ReadByteList(json, &value->bytes)) return true;
      expected = "a byte list such as \"0x01,0xab\"";
      break;
    case static_cast<std::uint16_t>(PropertyType::kString):
      if (json.is_string()) {
        value->text = platform::FromUtf8(json.get_ref<const std::string&>());
        return true;
      }
      expected = "a string";
      break;
    case static_cast<std::uint16_t>(PropertyType::kInt32): {
      std::int32_t integer = 0;
      if (ReadInt32(json, &integer)) {
        value->integer = integer;
        return true;
      }
      expected = "an integer from -2147483648 to 2147483647";
      break;
    }
    default:
      if (ReadFileTime(json, &value->file_time)) return true;
      expected = "a UTC date such as \"2007-03-15T10:20:30Z\"";
      break;
  }
  *reason = "\"" + key + "\" must be " + expected;
  return false;
}

constexpr std::array<std::pair<std::string_view, RecipientKind>, 3> kRecipientKinds = {{
    {"to", RecipientKind::kTo},
    {"cc", RecipientKind::kCc},
    {"bcc", RecipientKind::kBcc},
}};

std::string_view KindWord(RecipientKind kind) {
  for (const auto& [word, known] : kRecipientKinds) {
    if (known == kind) return word;
  }
  return {};
}

// The messaging for the length of one dump or load: initialised, logged on, let go at the end.
class HeldSession {
 public:
  explicit HeldSession(platform::MessageRuntime& runtime) : runtime_(runtime) {}
  ~HeldSession() {
    if (session_) session_->Logoff();
    if (initialized_) runtime_.Uninitialize();
  }
  HeldSession(const HeldSession&) = delete;
  HeldSession& operator=(const HeldSession&) = delete;

  bool Open(std::string* error) {
    HResult result = runtime_.Initialize();
    initialized_ = !platform::Failed(result);
    if (initialized_) result = runtime_.Logon(&session_);
    return Check(result, "the message stores cannot be opened", error);
  }
  MessageSession& session() { return *session_; }

 private:
  platform::MessageRuntime& runtime_;
  bool initialized_ = false;
  std::unique_ptr<MessageSession> session_;
};

// --- The dump ---

// The contents of an attachment in base64, read a chunk at a time so that only the text is
// ever whole.
HResult ReadContents(Message& message, const platform::MessageAttachment& attachment,
                     std::string* text) {
  text->reserve((std::size_t{attachment.size} + 2) / 3 * 4);
  std::vector<std::uint8_t> buffer(platform::kAttachmentChunkBytes);
  records::Base64Encoder encoder;
  for (std::uint64_t offset = 0;;) {
    std::size_t read = 0;
    const HResult result = message.ReadAttachment(attachment.number, offset, buffer, &read);
    if (platform::Failed(result)) return result;
    if (read == 0) break;
    offset += read;
    encoder.Add(std::span(buffer).first(read), text);
  }
  encoder.Finish(text);
  return platform::kSOk;
}

HResult MessageJson(Message& message, Json* json) {
  std::u16string subject;
  std::u16string body;
  std::int32_t body_type = 0;
  std::vector<std::uint32_t> tags;
  for (const NamedProperty& named : kNamedProperties) tags.push_back(named.tag);
  std::vector<PropertyValue> properties;
  std::vector<MessageRecipient> recipients;
  std::vector<platform::MessageAttachment> attachments;
  for (const HResult result :
       {message.GetSubject(&subject), message.GetBody(&body, &body_type),
        message.GetProperties(tags, &properties), message.GetRecipients(&recipients),
        message.GetAttachments(&attachments)}) {
    if (platform::Failed(result)) return result;
  }
  *json = Json::object();
  (*json)["subject"] = platform::ToUtf8(subject);
  (*json)["body"] = platform::ToUtf8(body);
  (*json)["bodyType"] = body_type;
  for (std::size_t k = 0; k < kNamedProperties.size(); ++k) {
    if ((properties[k].flags & platform::kPropertyNotFound) == 0)
      (*json)[std::string(kNamedProperties[k].key)] = NamedValueJson(properties[k]);
  }
  for (const MessageRecipient& recipient : recipients) {
    (*json)["recipients"].push_back({{"kind", KindWord(recipient.kind)},
                                     {"name", platform::ToUtf8(recipient.display_name)},
                                     {"address", platform::ToUtf8(recipient.address)},
                                     {"addressType", platform::ToUtf8(recipient.address_type)}});
  }
  for (const platform::MessageAttachment& attachment : attachments) {
    std::string contents;
    if (const HResult read = ReadContents(message, attachment, &contents); platform::Failed(read))
      return read;
    (*json)["attachments"].push_back({{"fileName", platform::ToUtf8(attachment.file_name)},
                                      {"method", attachment.method},
                                      {"contents", std::move(contents)}});
  }
  return platform::kSOk;
}

// A folder and its messages as the dump shows it, at its level below the top of its store.
bool DumpFolder(MessageStore& store, const MessageFolderRow& row, std::size_t level,
                const std::string& place, Json* json, std::string* error) {
  std::unique_ptr<MessageFolder> folder;
  std::vector<EntryId> contents;
  if (!Check(store.OpenFolder(row.entry_id, &folder), place + " cannot be opened", error) ||
      !Check(folder->GetContents(&contents), place + " cannot be read", error)) {
    return false;
  }
  *json = {{"name", platform::ToUtf8(row.name)}};
  if (level > 0) (*json)["level"] = level;
  for (std::size_t k = 0; k < contents.size(); ++k) {
    std::unique_ptr<Message> message;
    Json message_json;
    HResult result = folder->OpenMessage(contents[k], &message);
    if (!platform::Failed(result)) result = MessageJson(*message, &message_json);
    if (!Check(result, place + ", message " + std::to_string(k) + " cannot be read", error))
      return false;
    (*json)["messages"].push_back(std::move(message_json));
  }
  return true;
}

// --- The load: the document read into a plan, checked against the stores, then written ---

struct AttachmentPlan {
  std::u16string file_name;
  std::int32_t method = 0;
  std::string_view contents;  // checked base64, within the document
  std::uint32_t size = 0;
};

struct MessagePlan {
  std::u16string subject;
  std::u16string body;
  std::int32_t body_type = 0;
  std::vector<PropertyValue> properties;
  std::vector<MessageRecipient> recipients;
  std::vector<AttachmentPlan> attachments;
};

// No folder above: a folder at the top of its store.
constexpr std::size_t kTopLevel = std::numeric_limits<std::size_t>::max();

struct FolderPlan {
  std::u16string name;
  std::size_t parent = kTopLevel;  // its parent's place in the store's list
  std::vector<MessagePlan> messages;
};

// A store's folders in hierarchy order, each after its parent.
struct StorePlan {
  std::u16string name;
  std::string place;
  std::vector<FolderPlan> folders;
};

// "store \"Mail\", folder \"Inbox/Projects\"": where a folder is, for the reasons; made only
// for a reason, as it takes as long as the folder is deep.
std::string FolderPlace(const StorePlan& store, std::size_t folder) {
  std::vector<const std::u16string*> names;
  for (std::size_t at = folder; at != kTopLevel; at = store.folders[at].parent)
    names.push_back(&store.folders[at].name);
  std::string path;
  for (auto name = names.rbegin(); name != names.rend(); ++name)
    path += (path.empty() ? "" : "/") + platform::ToUtf8(**name);
  return store.place + ", folder \"" + path + "\"";
}

bool RefuseUnknownKey(const Json& object, std::initializer_list<std::string_view> known,
                      std::string* reason) {
  const std::optional<std::string> key = UnknownKey(object, known);
  if (key) *reason = "unknown key \"" + *key + "\"";
  return !key;
}

// A text of an object, when it is there.
bool ReadText(const Json& object, const char* key, std::u16string* text, std::string* reason) {
  const auto value = object.find(key);
  if (value == object.end()) return true;
  if (value->is_string()) {
    *text = platform::FromUtf8(value->get_ref<const std::string&>());
    return true;
  }
  *reason = "\"" + std::string(key) + "\" must be a string";
  return false;
}

bool ReadInteger(const Json& object, const char* key, std::int32_t* integer, std::string* reason) {
  const auto value = object.find(key);
  if (value == object.end() || ReadInt32(*value, integer)) return true;
  *reason = "\"" + std::string(key) + "\" must be an integer from -2147483648 to 2147483647";
  return false;
}

// The array of an object under a key, or nothing when the key is absent; false with the reason
// when it is not an array.
bool FindArray(const Json& object, const char* key, std::string_view of, const Json** array,
               std::string* reason) {
  const auto value = object.find(key);
  *array = value == object.end() ? nullptr : &*value;
  if (*array == nullptr || (*array)->is_array()) return true;
  *reason = "\"" + std::string(key) + "\" must be an array of " + std::string(of);
  return false;
}

bool ReadRecipient(const Json& json, MessageRecipient* recipient, std::string* reason) {
  if (!json.is_object()) {
    *reason = "not an object";
    return false;
  }
  if (!RefuseUnknownKey(json, {"kind", "name", "address", "addressType"}, reason)) return false;
  const auto kind = json.find("kind");
  const auto known = std::ranges::find_if(
      kRecipientKinds, [&](const auto& pair) { return kind != json.end() && *kind == pair.first; });
  if (known == kRecipientKinds.end()) {
    *reason = "\"kind\" must be \"to\", \"cc\" or \"bcc\"";
    return false;
  }
  recipient->kind = known->second;
  return ReadText(json, "name", &recipient->display_name, reason) &&
         ReadText(json, "address", &recipient->address, reason) &&
         ReadText(json, "addressType", &recipient->address_type, reason);
}

bool ReadAttachment(const Json& json, AttachmentPlan* attachment, std::string* reason) {
  if (!json.is_object()) {
    *reason = "not an object";
    return false;
  }
  if (!RefuseUnknownKey(json, {"fileName", "method", "contents"}, reason) ||
      !ReadText(json, "fileName", &attachment->file_name, reason) ||
      !ReadInteger(json, "method", &attachment->method, reason)) {
    return false;
  }
  const auto contents = json.find("contents");
  if (contents == json.end()) return true;
  const std::optional<std::uint64_t> size =
      contents->is_string() ? records::DecodedBase64Size(contents->get_ref<const std::string&>())
                            : std::nullopt;
  if (!size || *size > std::numeric_limits<std::uint32_t>::max()) {
    *reason = "\"contents\" must be base64 such as \"AAH/\"";
    return false;
  }
  attachment->contents = contents->get_ref<const std::string&>();
  attachment->size = static_cast<std::uint32_t>(*size);
  return true;
}

// Each element of an array read by `read`, the reason naming the one at fault by `noun`.
template <typename Object, typename Read>
bool ReadEach(const Json* array, std::string_view noun, Read read, std::vector<Object>* objects,
              std::string* reason) {
  if (array == nullptr) return true;
  for (std::size_t k = 0; k < array->size(); ++k) {
    if (!read((*array)[k], &objects->emplace_back(), reason)) {
      *reason = std::string(noun) + " " + std::to_string(k) + ": " + *reason;
      return false;
    }
  }
  return true;
}

bool ReadMessage(const Json& json, MessagePlan* message, std::string* reason) {
  if (!json.is_object()) {
    *reason = "not an object";
    return false;
  }
  const Json* recipients = nullptr;
  const Json* attachments = nullptr;
  for (const auto& entry : json.items()) {
    const std::string& key = entry.key();
    if (key == "subject" || key == "body" || key == "bodyType" || key == "recipients" ||
        key == "attachments")
      continue;
    const auto named = std::ranges::find(kNamedProperties, key, &NamedProperty::key);
    if (named == kNamedProperties.end()) {
      *reason = "unknown key \"" + key + "\"";
      return false;
    }
    PropertyValue& value = message->properties.emplace_back();
    value.id = named->tag;
    if (!ReadNamedValue(key, entry.value(), &value, reason)) return false;
  }
  return ReadText(json, "subject", &message->subject, reason) &&
         ReadText(json, "body", &message->body, reason) &&
         ReadInteger(json, "bodyType", &message->body_type, reason) &&
         FindArray(json, "recipients", "recipients", &recipients, reason) &&
         ReadEach(recipients, "recipient", ReadRecipient, &message->recipients, reason) &&
         FindArray(json, "attachments", "attachments", &attachments, reason) &&
         ReadEach(attachments, "attachment", ReadAttachment, &message->attachments, reason);
}

// The name of a store or a folder, which it must have; the other keys it may have.
bool ReadName(const Json& json, std::initializer_list<std::string_view> known, std::u16string* name,
              std::string* reason) {
  if (!json.is_object()) {
    *reason = "not an object";
    return false;
  }
  if (!RefuseUnknownKey(json, known, reason)) return false;
  const auto value = json.find("name");
  if (value != json.end() && value->is_string()) {
    *name = platform::FromUtf8(value->get_ref<const std::string&>());
    return true;
  }
  *reason = "\"name\" must be a string";
  return false;
}

// A store's folders: its list in hierarchy order, each at the level it gives ("level", 0 when
// left out, at most one below the folder before it); and, as documents of old wrote them, the
// nested "folders" of a folder, right after it one level below. Read without recursion, so that
// no depth exhausts the stack.
bool ReadFolders(const Json& json, StorePlan* store, std::string* error) {
  std::string reason;
  const Json* list = nullptr;
  if (!FindArray(json, "folders", "folders", &list, &reason)) {
    *error = store->place + ": " + reason;
    return false;
  }
  // A list being read: the folders, the next to read, the folder they are nested in and their
  // level.
  struct Nested {
    const Json* folders;
    std::size_t next;
    std::size_t parent;
    std::size_t level;
  };
  std::vector<Nested> pending;
  if (list != nullptr) pending.push_back({list, 0, kTopLevel, 0});
  // The folder last read at each level, each a parent for the level below it.
  std::vector<std::size_t> open;
  while (!pending.empty()) {
    Nested& nested = pending.back();
    if (nested.next == nested.folders->size()) {
      pending.pop_back();
      continue;
    }
    const std::size_t position = nested.next++;
    const Json& folder_json = (*nested.folders)[position];
    const bool in_store_list = pending.size() == 1;
    const std::size_t container = nested.parent;
    std::size_t level = nested.level;
    const auto fail = [&](const std::string& why) {
      *error = (container == kTopLevel ? store->place : FolderPlace(*store, container)) +
               ": folder " + std::to_string(position) + ": " + why;
      return false;
    };
    FolderPlan folder;
    if (in_store_list) {
      if (!ReadName(folder_json, {"name", "level", "messages", "folders"}, &folder.name, &reason))
        return fail(reason);
      const auto given = folder_json.find("level");
      if (given != folder_json.end()) {
        // At most one below the folder before it.
        const std::size_t most = open.size();
        if (!given->is_number_integer() || given->get<std::int64_t>() < 0 ||
            given->get<std::int64_t>() > static_cast<std::int64_t>(most)) {
          return fail("\"level\" must be an integer from 0 to " + std::to_string(most));
        }
        level = static_cast<std::size_t>(given->get<std::int64_t>());
      }
    } else if (!ReadName(folder_json, {"name", "messages", "folders"}, &folder.name, &reason)) {
      return fail(reason);
    }
    open.resize(level);
    folder.parent = level == 0 ? kTopLevel : open.back();
    const std::size_t index = store->folders.size();
    store->folders.push_back(std::move(folder));
    open.push_back(index);
    const Json* messages = nullptr;
    if (!FindArray(folder_json, "messages", "messages", &messages, &reason) ||
        !ReadEach(messages, "message", ReadMessage, &store->folders[index].messages, &reason)) {
      *error = FolderPlace(*store, index) + ": " + reason;
      return false;
    }
    const Json* subfolders = nullptr;
    if (!FindArray(folder_json, "folders", "folders", &subfolders, &reason)) {
      *error = FolderPlace(*store, index) + ": " + reason;
      return false;
    }
    if (subfolders != nullptr) pending.push_back({subfolders, 0, index, level + 1});
  }
  return true;
}

bool ReadStores(const Json& document, std::vector<StorePlan>* stores, std::string* error) {
  if (!document.is_array()) {
    *error = "the document is not an array of message stores";
    return false;
  }
  for (std::size_t k = 0; k < document.size(); ++k) {
    StorePlan& store = stores->emplace_back();
    std::string reason;
    if (!ReadName(document[k], {"name", "folders"}, &store.name, &reason)) {
      *error = "store " + std::to_string(k) + ": " + reason;
      return false;
    }
    store.place = "store \"" + platform::ToUtf8(store.name) + "\"";
    if (!ReadFolders(document[k], &store, error)) return false;
  }
  return true;
}

// The first store of that name; null when there is none.
bool FindStore(MessageSession& session, std::u16string_view name,
               std::unique_ptr<MessageStore>* store, std::string* error) {
  store->reset();
  std::vector<platform::MessageStoreRow> rows;
  if (!Check(session.GetStores(&rows), "the message stores cannot be read", error)) return false;
  const auto found = std::ranges::find(rows, name, &platform::MessageStoreRow::display_name);
  return found == rows.end() ||
         Check(session.OpenStore(found->entry_id, store),
               "store \"" + platform::ToUtf8(name) + "\" cannot be opened", error);
}

// Only folders below another can be made: each top-level folder of the plan must be in its
// store already, or among the well-known ones of a store still to be made.
bool CheckTopFolders(MessageSession& session, const StorePlan& plan, std::string* error) {
  std::unique_ptr<MessageStore> store;
  if (!FindStore(session, plan.name, &store, error)) return false;
  std::set<std::u16string> top;
  if (store) {
    std::vector<MessageFolderRow> rows;
    if (!Check(store->GetHierarchy(&rows), plan.place + " cannot be read", error)) return false;
    for (MessageFolderRow& row : rows) {
      if (row.parent_id.empty()) top.insert(std::move(row.name));
    }
  } else {
    top.insert(std::begin(platform::host::kWellKnownMessageFolders),
               std::end(platform::host::kWellKnownMessageFolders));
  }
  for (std::size_t k = 0; k < plan.folders.size(); ++k) {
    const FolderPlan& folder = plan.folders[k];
    if (folder.parent == kTopLevel && !top.contains(folder.name)) {
      *error = FolderPlace(plan, k) +
               ": a folder at the top of a store is not made; only below "
               "another";
      return false;
    }
  }
  return true;
}

HResult WriteAttachment(Message& message, const AttachmentPlan& plan) {
  std::int64_t number = 0;
  if (const HResult added = message.AddAttachment(plan.file_name, plan.method, plan.size, &number);
      platform::Failed(added)) {
    return added;
  }
  std::vector<std::uint8_t> chunk(platform::kAttachmentChunkBytes);
  std::uint64_t offset = 0;
  for (std::size_t at = 0; at < plan.contents.size(); at += kGroupChunkDigits) {
    const std::size_t length =
        records::DecodeBase64(plan.contents.substr(at, kGroupChunkDigits), chunk);
    if (const HResult written =
            message.WriteAttachment(number, offset, std::span(chunk).first(length));
        platform::Failed(written)) {
      return written;
    }
    offset += length;
  }
  return platform::kSOk;
}

HResult WriteMessage(MessageFolder& folder, const MessagePlan& plan) {
  std::unique_ptr<Message> message;
  HResult result = folder.CreateMessage(&message);
  if (!platform::Failed(result)) result = message->SetSubject(plan.subject);
  if (!platform::Failed(result)) result = message->SetBody(plan.body, plan.body_type);
  if (!platform::Failed(result) && !plan.properties.empty())
    result = message->SetProperties(plan.properties);
  if (!platform::Failed(result) && !plan.recipients.empty())
    result = message->SetRecipients(plan.recipients);
  for (const AttachmentPlan& attachment : plan.attachments) {
    if (!platform::Failed(result)) result = WriteAttachment(*message, attachment);
  }
  return platform::Failed(result) ? result : message->Save();
}

bool WriteStore(MessageSession& session, SqliteMessageRuntime& host, const StorePlan& plan,
                std::string* error) {
  std::unique_ptr<MessageStore> store;
  if (!FindStore(session, plan.name, &store, error)) return false;
  if (!store) {
    EntryId made;
    if (!Check(host.CreateStore(plan.name, &made), plan.place + " cannot be made", error) ||
        !Check(session.OpenStore(made, &store), plan.place + " cannot be opened", error)) {
      return false;
    }
  }
  // The store's folders by parent and name, the first of each in the hierarchy; listed once.
  std::vector<MessageFolderRow> rows;
  if (!Check(store->GetHierarchy(&rows), plan.place + " cannot be read", error)) return false;
  std::map<std::pair<EntryId, std::u16string>, EntryId> named;
  for (MessageFolderRow& row : rows)
    named.try_emplace({std::move(row.parent_id), std::move(row.name)}, std::move(row.entry_id));
  std::vector<EntryId> ids(plan.folders.size());
  for (std::size_t k = 0; k < plan.folders.size(); ++k) {
    const FolderPlan& folder_plan = plan.folders[k];
    const EntryId parent = folder_plan.parent == kTopLevel ? EntryId() : ids[folder_plan.parent];
    const auto place = [&] { return FolderPlace(plan, k); };
    const auto [found, missing] = named.try_emplace({parent, folder_plan.name});
    std::unique_ptr<MessageFolder> folder;
    if (missing ? !CheckAt(store->CreateFolder(parent, folder_plan.name, &folder), place,
                           " cannot be made", error)
                : !CheckAt(store->OpenFolder(found->second, &folder), place, " cannot be opened",
                           error)) {
      return false;
    }
    ids[k] = found->second = folder->entry_id();
    for (std::size_t m = 0; m < folder_plan.messages.size(); ++m) {
      if (!CheckAt(WriteMessage(*folder, folder_plan.messages[m]), place,
                   ", message " + std::to_string(m) + " could not be written", error)) {
        *error += "; the messages before it were";
        return false;
      }
    }
  }
  return true;
}

}  // namespace

std::string Base64Text(std::span<const std::uint8_t> bytes) {
  std::string text;
  records::Base64Encoder encoder;
  encoder.Add(bytes, &text);
  encoder.Finish(&text);
  return text;
}

bool DumpMessages(const platform::Device& device, std::string* json, std::string* error) {
  HeldSession held(device.messages());
  if (!held.Open(error)) return false;
  MessageSession& session = held.session();
  std::vector<platform::MessageStoreRow> stores;
  if (!Check(session.GetStores(&stores), "the message stores cannot be read", error)) return false;
  Json document = Json::array();
  for (const platform::MessageStoreRow& row : stores) {
    const std::string place = "store \"" + platform::ToUtf8(row.display_name) + "\"";
    std::unique_ptr<MessageStore> store;
    std::vector<MessageFolderRow> rows;
    if (!Check(session.OpenStore(row.entry_id, &store), place + " cannot be opened", error) ||
        !Check(store->GetHierarchy(&rows), place + " cannot be read", error)) {
      return false;
    }
    Json folders = Json::array();
    // The levels of the folders listed so far; a folder whose parent is not before it, which a
    // sound hierarchy never holds, is shown at the top rather than lost.
    std::map<EntryId, std::size_t> levels;
    for (const MessageFolderRow& folder_row : rows) {
      const auto parent = levels.find(folder_row.parent_id);
      const std::size_t level = parent == levels.end() ? 0 : parent->second + 1;
      levels.emplace(folder_row.entry_id, level);
      const std::string folder_place = place + ", folder " + std::to_string(folders.size()) +
                                       " (\"" + platform::ToUtf8(folder_row.name) + "\")";
      if (!DumpFolder(*store, folder_row, level, folder_place, &folders.emplace_back(), error))
        return false;
    }
    Json json_store = {{"name", platform::ToUtf8(row.display_name)}};
    if (!folders.empty()) json_store["folders"] = std::move(folders);
    document.push_back(std::move(json_store));
  }
  *json = document.dump(2) + "\n";
  return true;
}

bool LoadMessages(const platform::Device& device, std::string_view json, std::string* error) {
  Json document;
  return ParseDocument(json, &document, error) && LoadMessageDocument(device, document, error);
}

bool LoadMessageDocument(const platform::Device& device, const Json& document, std::string* error) {
  std::vector<StorePlan> stores;
  if (!ReadStores(document, &stores, error)) return false;
  // Stores and folders are made by the device's own programs, which only a profile stands in for.
  auto* host = dynamic_cast<SqliteMessageRuntime*>(&device.messages());
  if (host == nullptr) {
    *error = "the device's message stores take no load";
    return false;
  }
  HeldSession held(*host);
  if (!held.Open(error)) return false;
  for (const StorePlan& store : stores) {
    if (!CheckTopFolders(held.session(), store, error)) return false;
  }
  return std::ranges::all_of(stores, [&](const StorePlan& store) {
    return WriteStore(held.session(), *host, store, error);
  });
}

}  // namespace kestrav::profile
