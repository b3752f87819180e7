#include "messages/message_record.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "platform/format.h"
#include "records/base64.h"
#include "records/value_text.h"

namespace kestrav::messages {

using platform::MessageRecipient;
using platform::PropertyType;
using platform::PropertyValue;
using platform::RecipientKind;

const std::array<std::u16string_view, kColumnCount> kColumnNames = {
    u"Msg Id",        u"Sender Name",   u"Sender Address", u"Sender AddressType",
    u"Prefix",        u"Subject",       u"Body",           u"BodyType",
    u"Folder",        u"Account",       u"Msg Class",      u"Content Length",
    u"Msg Size",      u"Msg Flags",     u"Msg Status",     u"Modify Time",
    u"Delivery Time", u"Recipient Nbr", u"Recipients",     u"Attachment Nbr",
    u"Attachments"};

const std::array<PropertyColumn, 12> kPropertyColumns = {{
    {platform::kTagMessageIdBytes, kMessageIdColumn},
    {platform::kTagSenderName, kSenderNameColumn},
    {platform::kTagSenderAddress, kSenderAddressColumn},
    {platform::kTagSenderAddressType, kSenderAddressTypeColumn},
    {platform::kTagSubjectPrefix, kPrefixColumn},
    {platform::kTagMessageClass, kMessageClassColumn},
    {platform::kTagContentLength, kContentLengthColumn},
    {platform::kTagMessageSize, kMessageSizeColumn},
    {platform::kTagMessageFlags, kMessageFlagsColumn},
    {platform::kTagMessageStatus, kMessageStatusColumn},
    {platform::kTagLastModificationTime, kModifyTimeColumn},
    {platform::kTagDeliveryTime, kDeliveryTimeColumn},
}};

namespace {

constexpr char16_t kItemSeparator = u';';
constexpr char16_t kFieldSeparator = u',';

// The characters an item cannot hold as they are, and the two hex digits each is written with.
struct Escape {
  char16_t character;
  char16_t digits[2];
};
constexpr Escape kEscapes[] = {{u'%', {u'2', u'5'}}, {u';', {u'3', u'B'}},  {u',', {u'2', u'C'}},
                               {u'"', {u'2', u'2'}}, {u'\r', {u'0', u'D'}}, {u'\n', {u'0', u'A'}}};

char16_t UpperCase(char16_t character) {
  return character >= u'a' && character <= u'z' ? static_cast<char16_t>(character - 32) : character;
}

bool Unescape(std::u16string_view text, std::u16string* plain) {
  plain->clear();
  plain->reserve(text.size());
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (text[index] != u'%') {
      plain->push_back(text[index]);
      continue;
    }
    if (index + 2 >= text.size()) return false;
    const char16_t high = UpperCase(text[index + 1]);
    const char16_t low = UpperCase(text[index + 2]);
    const Escape* found = nullptr;
    for (const Escape& escape : kEscapes) {
      if (escape.digits[0] == high && escape.digits[1] == low) found = &escape;
    }
    if (found == nullptr) return false;
    plain->push_back(found->character);
    index += 2;
  }
  return true;
}

// Splits an item into its fields at ","; false when it has more than the fields given room for.
template <std::size_t kMost>
bool SplitFields(std::u16string_view item, std::array<std::u16string_view, kMost>* fields,
                 std::size_t* count) {
  *count = 0;
  for (std::size_t start = 0;;) {
    if (*count == kMost) return false;
    const std::size_t end = item.find(kFieldSeparator, start);
    (*fields)[(*count)++] =
        item.substr(start, end == std::u16string_view::npos ? end : end - start);
    if (end == std::u16string_view::npos) return true;
    start = end + 1;
  }
}

// A decimal number as the writer writes it: an optional "-", then digits, within the type.
template <typename Integer>
bool ReadDecimal(std::u16string_view text, Integer* value) {
  // No number the writer writes is longer; a longer text is none, whatever its length.
  if (text.empty() || text.size() > 20) return false;
  std::string narrow;
  for (char16_t unit : text) {
    if ((unit < u'0' || unit > u'9') && unit != u'-') return false;
    narrow.push_back(static_cast<char>(unit));
  }
  const auto [end, error] = std::from_chars(narrow.data(), narrow.data() + narrow.size(), *value);
  return error == std::errc() && end == narrow.data() + narrow.size() && !narrow.empty();
}

// The items of a list column: as many as its count says, each of its layout.
template <typename Item, typename ReadItem>
bool CheckItems(std::u16string_view count_text, std::u16string_view items_text,
                ReadItem read_item) {
  std::uint32_t count = 0;
  if (!count_text.empty() && !ReadDecimal(count_text, &count)) return false;
  ItemList items(items_text);
  Item scratch;
  std::uint32_t found = 0;
  for (std::u16string_view item; items.Next(&item); ++found) {
    if (found == count || !read_item(item, &scratch)) return false;
  }
  return found == count;
}

bool ReadProperty(const platform::Clock& clock, std::uint32_t tag, std::u16string_view text,
                  PropertyValue* value) {
  value->id = tag;
  switch (tag & 0xFFFF) {
    case platform::kMessageBinaryType:
      return records::ParseByteList(text, &value->bytes);
    case static_cast<std::uint16_t>(PropertyType::kInt32): {
      std::int32_t number = 0;
      if (!ReadDecimal(text, &number)) return false;
      value->integer = number;
      return true;
    }
    case static_cast<std::uint16_t>(PropertyType::kFileTime):
      return records::ParseLocalDateText(clock, text, &value->file_time);
    default:
      value->text = text;
      return true;
  }
}

}  // namespace

std::u16string EscapedItemText(std::u16string_view text) {
  std::u16string escaped;
  escaped.reserve(text.size());
  for (char16_t unit : text) {
    const Escape* found = nullptr;
    for (const Escape& escape : kEscapes) {
      if (escape.character == unit) found = &escape;
    }
    if (found == nullptr) {
      escaped.push_back(unit);
    } else {
      escaped.push_back(u'%');
      escaped.append(found->digits, 2);
    }
  }
  return escaped;
}

std::u16string RecipientText(const MessageRecipient& recipient) {
  return platform::Format(u"%d", static_cast<int>(recipient.kind)) + kFieldSeparator +
         EscapedItemText(recipient.display_name) + kFieldSeparator +
         EscapedItemText(recipient.address) + kFieldSeparator +
         EscapedItemText(recipient.address_type);
}

std::u16string AttachmentHeadText(const platform::MessageAttachment& attachment) {
  return EscapedItemText(attachment.file_name) + kFieldSeparator +
         platform::Format(u"%d", attachment.method) + kFieldSeparator +
         records::UInt64Text(attachment.size);
}

bool ItemList::Next(std::u16string_view* item) {
  if (done_) return false;
  const std::size_t end = rest_.find(kItemSeparator);
  *item = rest_.substr(0, end);
  if (end == std::u16string_view::npos) {
    done_ = true;
  } else {
    rest_.remove_prefix(end + 1);
  }
  return true;
}

bool ReadRecipient(std::u16string_view item, MessageRecipient* recipient) {
  std::array<std::u16string_view, 4> fields;
  std::size_t count = 0;
  std::int32_t kind = 0;
  if (!SplitFields(item, &fields, &count) || count != 4 || !ReadDecimal(fields[0], &kind) ||
      kind < static_cast<std::int32_t>(RecipientKind::kTo) ||
      kind > static_cast<std::int32_t>(RecipientKind::kBcc)) {
    return false;
  }
  recipient->kind = static_cast<RecipientKind>(kind);
  return Unescape(fields[1], &recipient->display_name) &&
         Unescape(fields[2], &recipient->address) && Unescape(fields[3], &recipient->address_type);
}

bool ReadAttachment(std::u16string_view item, AttachmentItem* attachment) {
  std::array<std::u16string_view, 4> fields;
  std::size_t count = 0;
  attachment->contents.reset();
  attachment->contents_size = 0;
  if (!SplitFields(item, &fields, &count) || count < 3 ||
      !Unescape(fields[0], &attachment->file_name) ||
      !ReadDecimal(fields[1], &attachment->method) || !ReadDecimal(fields[2], &attachment->size)) {
    return false;
  }
  if (count == 3) return true;
  const std::optional<std::uint64_t> size = records::DecodedBase64Size(fields[3]);
  if (!size || *size > std::numeric_limits<std::uint32_t>::max()) return false;
  attachment->contents = fields[3];
  attachment->contents_size = *size;
  return true;
}

bool IsFolderRecord(const records::Record& record) {
  if (record.Value(kMessageClassColumn) != kFolderRecordClass ||
      record.Value(kSubjectColumn).empty()) {
    return false;
  }
  // Columns past the 21st are no part of a record.
  for (std::size_t column = 0; column < std::min<std::size_t>(record.size(), kColumnCount);
       ++column) {
    if (column != kSubjectColumn && column != kFolderColumn && column != kAccountColumn &&
        column != kMessageClassColumn && !record[column].empty()) {
      return false;
    }
  }
  return true;
}

bool ReadMessageRecord(const platform::Clock& clock, const records::Record& record,
                       MessageRecord* message) {
  *message = MessageRecord();
  // A record shorter than the header reads its missing columns as empty.
  const auto column = [&](Column number) { return record.Value(number); };
  message->account = column(kAccountColumn);
  message->folder = column(kFolderColumn);
  message->subject = column(kSubjectColumn);
  message->body = column(kBodyColumn);
  if (IsFolderRecord(record)) {
    message->is_folder = true;
    return true;
  }
  if (!column(kBodyTypeColumn).empty() &&
      !ReadDecimal(column(kBodyTypeColumn), &message->body_type)) {
    return false;
  }
  for (const PropertyColumn& property : kPropertyColumns) {
    const std::u16string_view text = column(property.column);
    if (text.empty()) continue;
    if (!ReadProperty(clock, property.tag, text, &message->properties.emplace_back())) return false;
  }
  message->recipients = column(kRecipientsColumn);
  message->attachments = column(kAttachmentsColumn);
  return CheckItems<MessageRecipient>(column(kRecipientCountColumn), message->recipients,
                                      ReadRecipient) &&
         CheckItems<AttachmentItem>(column(kAttachmentCountColumn), message->attachments,
                                    ReadAttachment);
}

bool DecodeAttachmentContents(std::u16string_view contents,
                              const std::function<bool(std::span<const std::uint8_t>)>& receive) {
  std::vector<std::uint8_t> chunk(platform::kAttachmentChunkBytes);
  // Whole groups of four characters that decode to at most one chunk.
  constexpr std::size_t kPieceUnits = platform::kAttachmentChunkBytes / 3 * 4;
  for (std::size_t start = 0; start < contents.size(); start += kPieceUnits) {
    const std::size_t length = records::DecodeBase64(contents.substr(start, kPieceUnits), chunk);
    if (!receive(std::span(chunk.data(), length))) return false;
  }
  return true;
}

}  // namespace kestrav::messages
