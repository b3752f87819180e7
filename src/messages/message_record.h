// The messages record file: its 21 columns, the layout of one recipient and of one attachment
// inside their columns, and a record read back into what a restore sets on a new message.
//
// A recipient is "kind,name,address,address type" and an attachment "file name,method,size" with
// ",contents" when its contents were stored: the kind (1 to, 2 cc, 3 bcc), the method and the size
// in decimal, the contents in base64, and every text with "%", ";", ",", the quote, CR and LF
// written as "%25", "%3B", "%2C", "%22", "%0D" and "%0A". Items are separated by ";". So no
// item holds a quote, a line break or a ";" of its own, and any text and any contents come back.
//
// A folder record is no message: written after the messages of a folder, it says that the folder
// holds a subfolder of the name in "Subject", so that a restore builds the folder tree again,
// empty folders included. Its "Msg Class" is "IPF.Folder" and every column but "Subject",
// "Folder", "Account" and "Msg Class" is empty; a message always has its "BodyType" and its two
// counts, so no message, whatever its class, reads as a folder record.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/message_store.h"
#include "platform/property_value.h"
#include "records/record.h"

namespace kestrav::messages {

enum Column : std::size_t {
  kMessageIdColumn,
  kSenderNameColumn,
  kSenderAddressColumn,
  kSenderAddressTypeColumn,
  kPrefixColumn,
  kSubjectColumn,
  kBodyColumn,
  kBodyTypeColumn,
  kFolderColumn,
  kAccountColumn,
  kMessageClassColumn,
  kContentLengthColumn,
  kMessageSizeColumn,
  kMessageFlagsColumn,
  kMessageStatusColumn,
  kModifyTimeColumn,
  kDeliveryTimeColumn,
  kRecipientCountColumn,
  kRecipientsColumn,
  kAttachmentCountColumn,
  kAttachmentsColumn,
  kColumnCount
};

extern const std::array<std::u16string_view, kColumnCount> kColumnNames;

// The message properties a record carries, with their columns, in the order a restore sets them.
struct PropertyColumn {
  std::uint32_t tag;
  Column column;
};
extern const std::array<PropertyColumn, 12> kPropertyColumns;

// The values of "BodyType".
enum BodyType : std::int32_t { kPlainTextBody = 0, kHtmlBody = 1 };

inline constexpr char16_t kFolderRecordClass[] = u"IPF.Folder";

// A text with the characters that would end an item written as "%XX".
std::u16string EscapedItemText(std::u16string_view text);

std::u16string RecipientText(const platform::MessageRecipient& recipient);
// "file name,method,size", the contents (",..." in base64) following when they are stored.
std::u16string AttachmentHeadText(const platform::MessageAttachment& attachment);

// An attachment as a record holds it.
struct AttachmentItem {
  std::u16string file_name;
  std::int32_t method = 0;
  std::uint32_t size = 0;
  // The contents in base64, when they were stored, and the number of bytes they stand for.
  std::optional<std::u16string_view> contents;
  std::uint64_t contents_size = 0;
};

// Decodes an attachment's base64 contents piece by piece, each piece at most
// platform::kAttachmentChunkBytes, so that contents of any size are never held whole; stops at
// the first piece the receiver refuses. False when it refused one.
bool DecodeAttachmentContents(std::u16string_view contents,
                              const std::function<bool(std::span<const std::uint8_t>)>& receive);

// The items of a list column, one at a time, so that a list of any length is never held whole.
class ItemList {
 public:
  explicit ItemList(std::u16string_view items) : rest_(items), done_(items.empty()) {}
  // The next item; false after the last.
  bool Next(std::u16string_view* item);

 private:
  std::u16string_view rest_;
  bool done_;
};

// One item of its layout; false when it is out of it.
bool ReadRecipient(std::u16string_view item, platform::MessageRecipient* recipient);
bool ReadAttachment(std::u16string_view item, AttachmentItem* attachment);

// A record read back. Views point into the record.
struct MessageRecord {
  bool is_folder = false;
  std::u16string_view account;
  std::u16string_view folder;
  std::u16string_view subject;  // a folder record: the subfolder's name
  std::u16string_view body;
  std::int32_t body_type = kPlainTextBody;
  // The properties the record gives a value, in the order of kPropertyColumns.
  std::vector<platform::PropertyValue> properties;
  // The two lists as the record holds them, each checked against its count and layout; read
  // their items with ItemList.
  std::u16string_view recipients;
  std::u16string_view attachments;
};

// Whether a record is a folder record.
bool IsFolderRecord(const records::Record& record);

// Reads a record; columns past its end read as empty. False when a column does not read as its
// layout says: a byte list, a decimal number or a date that is none, a count that is not the
// number of its items, an item out of its layout, contents that are not base64.
bool ReadMessageRecord(const platform::Clock& clock, const records::Record& record,
                       MessageRecord* message);

}  // namespace kestrav::messages
