// The device's messaging subsystem, as the messages passes use it: the runtime that logs on, the
// session's message stores (accounts) by display name, each store's folder tree, a folder's
// messages, and a message's properties, subject, body, recipients and attachments.
//
// As on the device every operation answers with an HResult, negative on failure; objects are
// owned by whoever asked for them and released when dropped, and after the session's Logoff
// they answer kEFail. Stores, folders and messages are named by entry ids, opaque bytes. Every
// change is kept at once. No object is shared between threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/outlook.h"
#include "platform/property_value.h"

namespace kestrav::platform {

inline constexpr HResult kENotFound = static_cast<HResult>(0x8004010F);
inline constexpr HResult kENotInitialized = static_cast<HResult>(0x80040605);
inline constexpr HResult kENotEnoughDisk = static_cast<HResult>(0x8004010D);
inline constexpr HResult kENoAccess = static_cast<HResult>(0x80070005);
inline constexpr HResult kEBusy = static_cast<HResult>(0x8004010B);
inline constexpr HResult kEDiskError = static_cast<HResult>(0x80040116);
inline constexpr HResult kECorruptData = static_cast<HResult>(0x8004011B);
inline constexpr HResult kEOutOfMemory = static_cast<HResult>(0x8007000E);
// A success: some of the messages asked for were not there.
inline constexpr HResult kWPartialCompletion = static_cast<HResult>(0x00040680);

// The type code of a binary message property; its value is held in PropertyValue::bytes.
inline constexpr std::uint16_t kMessageBinaryType = 0x0102;

// The message properties a messages record carries, by tag (identifier in the high 16 bits,
// type in the low 16 bits: 0x0102 bytes, 0x001F text, 0x0003 32-bit integer, 0x0040 file time).
inline constexpr std::uint32_t kTagMessageIdBytes = 0x001B0102;
inline constexpr std::uint32_t kTagSenderName = 0x0C1A001F;
inline constexpr std::uint32_t kTagSenderAddress = 0x0C1F001F;
inline constexpr std::uint32_t kTagSenderAddressType = 0x0C1E001F;
inline constexpr std::uint32_t kTagSubjectPrefix = 0x003D001F;
inline constexpr std::uint32_t kTagMessageClass = 0x001A001F;
inline constexpr std::uint32_t kTagContentLength = 0x00090003;
inline constexpr std::uint32_t kTagMessageSize = 0x0E080003;
inline constexpr std::uint32_t kTagMessageFlags = 0x0E070003;
inline constexpr std::uint32_t kTagMessageStatus = 0x0E170003;
inline constexpr std::uint32_t kTagLastModificationTime = 0x30080040;
inline constexpr std::uint32_t kTagDeliveryTime = 0x0E060040;

// The most bytes one attachment chunk may carry.
inline constexpr std::size_t kAttachmentChunkBytes = 64 * 1024;

using EntryId = std::vector<std::uint8_t>;

// A row of the session's store table.
struct MessageStoreRow {
  EntryId entry_id;
  std::u16string display_name;

  bool operator==(const MessageStoreRow&) const = default;
};

// A row of a store's folder hierarchy; a top-level folder's parent is empty.
struct MessageFolderRow {
  EntryId entry_id;
  EntryId parent_id;
  std::u16string name;
  std::uint32_t message_count = 0;

  bool operator==(const MessageFolderRow&) const = default;
};

enum class RecipientKind : std::int32_t { kTo = 1, kCc = 2, kBcc = 3 };

struct MessageRecipient {
  RecipientKind kind = RecipientKind::kTo;
  std::u16string display_name;
  std::u16string address;
  std::u16string address_type;

  bool operator==(const MessageRecipient&) const = default;
};

// A row of a message's attachment table; the number names the attachment within its store.
struct MessageAttachment {
  std::int64_t number = 0;
  std::u16string file_name;
  std::int32_t method = 0;
  std::uint32_t size = 0;

  bool operator==(const MessageAttachment&) const = default;
};

// A table of rows read a piece at a time, from the first row on: what a message's recipients or
// attachments are read through when there may be too many to hold at once.
template <typename Row>
class MessageTable {
 public:
  virtual ~MessageTable() = default;
  // The next at most `most` rows, in the table's order; none at the end.
  virtual HResult QueryRows(std::size_t most, std::vector<Row>* rows) = 0;
};

class Message {
 public:
  virtual ~Message() = default;

  virtual const EntryId& entry_id() const = 0;

  // The properties asked for by tag, in that order; one the message lacks comes back flagged
  // kPropertyNotFound, without a value.
  virtual HResult GetProperties(const std::vector<std::uint32_t>& tags,
                                std::vector<PropertyValue>* properties) = 0;
  // Sets properties by tag (PropertyValue::id), replacing those with the same tag; one flagged
  // kPropertyDelete is removed. A tag of another type than the four above: kEInvalidArgument.
  virtual HResult SetProperties(const std::vector<PropertyValue>& properties) = 0;
  virtual HResult GetSubject(std::u16string* subject) = 0;
  virtual HResult SetSubject(std::u16string_view subject) = 0;
  virtual HResult GetBody(std::u16string* body, std::int32_t* body_type) = 0;
  virtual HResult SetBody(std::u16string_view body, std::int32_t body_type) = 0;

  // The recipient table in the order the recipients were set; setting replaces them all.
  virtual HResult GetRecipients(std::vector<MessageRecipient>* recipients) = 0;
  virtual HResult SetRecipients(const std::vector<MessageRecipient>& recipients) = 0;
  // The same table a piece at a time; adding puts recipients after those there.
  virtual HResult OpenRecipientTable(std::unique_ptr<MessageTable<MessageRecipient>>* table) = 0;
  virtual HResult AddRecipients(const std::vector<MessageRecipient>& recipients) = 0;

  // The attachment table in the order the attachments were added, without their contents.
  virtual HResult GetAttachments(std::vector<MessageAttachment>* attachments) = 0;
  virtual HResult OpenAttachmentTable(std::unique_ptr<MessageTable<MessageAttachment>>* table) = 0;
  // Reads the contents from an offset into the buffer, as much as fits and is there; *read 0 at
  // the end.
  virtual HResult ReadAttachment(std::int64_t number, std::uint64_t offset,
                                 std::span<std::uint8_t> buffer, std::size_t* read) = 0;
  // Adds an attachment of `size` bytes, zero until written; its number comes back in *number.
  virtual HResult AddAttachment(std::u16string_view file_name, std::int32_t method,
                                std::uint32_t size, std::int64_t* number) = 0;
  // Writes the next at most kAttachmentChunkBytes of the contents of the attachment just added,
  // at the offset where the last chunk ended.
  virtual HResult WriteAttachment(std::int64_t number, std::uint64_t offset,
                                  std::span<const std::uint8_t> chunk) = 0;

  // Puts a new message in its folder's contents; a new message dropped unsaved is discarded.
  virtual HResult Save() = 0;
};

class MessageFolder {
 public:
  virtual ~MessageFolder() = default;

  virtual const EntryId& entry_id() const = 0;
  virtual const std::u16string& name() const = 0;
  // The contents table: the folder's saved messages in the order they were created.
  virtual HResult GetContents(std::vector<EntryId>* messages) = 0;
  virtual HResult OpenMessage(const EntryId& message, std::unique_ptr<Message>* opened) = 0;
  // A new message of the folder, not in its contents until saved.
  virtual HResult CreateMessage(std::unique_ptr<Message>* created) = 0;
  // Deletes those of the messages that are in the folder; kWPartialCompletion when some were
  // not.
  virtual HResult DeleteMessages(const std::vector<EntryId>& messages) = 0;
};

class MessageStore {
 public:
  virtual ~MessageStore() = default;

  virtual const EntryId& entry_id() const = 0;
  virtual const std::u16string& display_name() const = 0;
  // Every folder of the store, depth first: a folder is followed by its subfolders, sisters in
  // the order they were made.
  virtual HResult GetHierarchy(std::vector<MessageFolderRow>* folders) = 0;
  virtual HResult OpenFolder(const EntryId& folder, std::unique_ptr<MessageFolder>* opened) = 0;
  // The first folder of the hierarchy with exactly this name.
  virtual HResult OpenFolderByName(std::u16string_view name,
                                   std::unique_ptr<MessageFolder>* opened) = 0;
  // Makes a folder of that name below `parent`, or at the top of the store when `parent` is
  // empty, and opens it.
  virtual HResult CreateFolder(const EntryId& parent, std::u16string_view name,
                               std::unique_ptr<MessageFolder>* created) = 0;
};

class MessageSession {
 public:
  virtual ~MessageSession() = default;

  // The store table, in the order the stores were made.
  virtual HResult GetStores(std::vector<MessageStoreRow>* stores) = 0;
  virtual HResult OpenStore(const EntryId& store, std::unique_ptr<MessageStore>* opened) = 0;
  virtual HResult Logoff() = 0;
};

// The messaging runtime: initialised once per pass, logs on to a session, uninitialised at the
// pass's end. Logon before Initialize answers kENotInitialized.
class MessageRuntime {
 public:
  virtual ~MessageRuntime() = default;

  virtual HResult Initialize() = 0;
  virtual HResult Logon(std::unique_ptr<MessageSession>* session) = 0;
  virtual void Uninitialize() = 0;
};

}  // namespace kestrav::platform
