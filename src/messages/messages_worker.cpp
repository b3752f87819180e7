#include "messages/messages_worker.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "engine/status_text.h"
#include "messages/message_folders.h"
#include "messages/message_record.h"
#include "messages/texts.h"
#include "platform/format.h"
#include "records/base64.h"
#include "records/record_file.h"
#include "records/record_reader.h"
#include "records/texts.h"
#include "records/value_text.h"

namespace kestrav::messages {
namespace {

using engine::LogIcon;
using engine::PassContext;
using engine::RestoreMode;
using platform::EntryId;
using platform::Failed;
using platform::HResult;
using platform::Message;
using platform::MessageFolder;
using platform::MessageSession;
using platform::MessageStore;
using platform::PropertyType;
using platform::PropertyValue;

void SendLine(engine::ProgressSink* sink, std::u16string_view text,
              LogIcon icon = LogIcon::kInformation) {
  engine::SendLog(sink, text, icon);
}

std::vector<std::uint32_t> PropertyTags() {
  std::vector<std::uint32_t> tags;
  for (const PropertyColumn& property : kPropertyColumns) tags.push_back(property.tag);
  return tags;
}

// The text of a property as the value writer writes it; empty for one the message lacks.
std::u16string PropertyText(const platform::Clock& clock, const PropertyValue& value) {
  if ((value.flags & platform::kPropertyNotFound) != 0) return {};
  switch (value.id & 0xFFFF) {
    case platform::kMessageBinaryType:
      return records::ByteListText(value.bytes);
    case static_cast<std::uint16_t>(PropertyType::kInt32):
      return platform::Format(u"%d", static_cast<std::int32_t>(value.integer));
    case static_cast<std::uint16_t>(PropertyType::kFileTime):
      return records::LocalDateText(clock, value.file_time);
    default:
      return value.text;
  }
}

// The units base64 takes for contents of that size.
std::uint64_t Base64Units(std::uint64_t size) {
  return (size + 2) / 3 * 4;
}

// ---------------------------------------------------------------------------------------------
// Backup

class BackupPass {
 public:
  BackupPass(const platform::Device& device, const PassContext& pass, records::CsvRecordFile& file)
      : device_(device), pass_(pass), file_(file) {}

  void Run();

 private:
  void BackUpStore(MessageSession& session, const platform::MessageStoreRow& row);
  bool WriteMessage(Message& message, std::u16string_view folder, std::u16string_view account);
  void WriteAttachments(Message& message, const std::vector<platform::MessageAttachment>& list,
                        bool with_contents);
  void WriteText(std::u16string_view text) {
    file_.WriteRaw(text.data(), text.size() * sizeof(char16_t));
  }

  const platform::Device& device_;
  const PassContext& pass_;
  records::CsvRecordFile& file_;
  const std::vector<std::uint32_t> tags_ = PropertyTags();
  std::uint32_t saved_ = 0;
};

void BackupPass::Run() {
  engine::ProgressSink* sink = pass_.sink;
  platform::MessageRuntime& runtime = device_.messages();
  const bool initialized = !Failed(runtime.Initialize());
  file_.WriteRecord(records::RecordValues(kColumnNames.begin(), kColumnNames.end()));
  SendLine(sink, texts::kConnecting);
  std::unique_ptr<MessageSession> session;
  if (initialized && !Failed(runtime.Logon(&session))) {
    SendLine(sink, texts::kConnected);
    std::vector<platform::MessageStoreRow> stores;
    session->GetStores(&stores);
    for (const platform::MessageStoreRow& row : stores) {
      if (pass_.Canceled()) break;
      BackUpStore(*session, row);
    }
    if (pass_.Canceled()) {
      SendLine(sink, texts::kBackupCanceled, LogIcon::kError);
    } else if (saved_ == 1) {
      SendLine(sink, texts::kOneMessageSaved);
    } else if (saved_ > 1) {
      SendLine(sink, platform::Format(texts::kMessagesSaved, saved_));
    } else {
      SendLine(sink, texts::kNoMessageFound);
    }
    SendLine(sink, texts::kDisconnecting);
    session->Logoff();
    SendLine(sink, texts::kDisconnectedAfterBackup);
  }
  if (initialized) runtime.Uninitialize();
}

void BackupPass::BackUpStore(MessageSession& session, const platform::MessageStoreRow& row) {
  engine::ProgressSink* sink = pass_.sink;
  std::unique_ptr<MessageStore> store;
  if (Failed(session.OpenStore(row.entry_id, &store))) return;
  const std::u16string& account = store->display_name();
  SendLine(sink, platform::Format(texts::kRetrievingMessagesFrom, ShownStoreName(account)));
  const engine::MessagesOption& option = pass_.messages_option;
  std::vector<platform::MessageFolderRow> folders;
  if (IsExcluded(option, account) || Failed(store->GetHierarchy(&folders))) return;
  std::uint32_t total = 0;
  for (const platform::MessageFolderRow& folder : folders) {
    if (!IsExcluded(option, account, folder.name)) total += folder.message_count;
  }
  engine::PostProgress(sink, 0, total, false);
  std::uint32_t position = 0;
  for (const platform::MessageFolderRow& row_of_folder : folders) {
    if (pass_.Canceled()) return;
    std::unique_ptr<MessageFolder> folder;
    std::vector<EntryId> contents;
    if (IsExcluded(option, account, row_of_folder.name) ||
        Failed(store->OpenFolder(row_of_folder.entry_id, &folder)) ||
        Failed(folder->GetContents(&contents))) {
      continue;
    }
    for (const EntryId& id : contents) {
      if (pass_.Canceled()) return;
      std::unique_ptr<Message> message;
      if (!Failed(folder->OpenMessage(id, &message)) &&
          WriteMessage(*message, folder->name(), account)) {
        ++saved_;
      }
      engine::PostProgress(sink, ++position, 0, false);
    }
    // The folder's second pass: its subfolders, so that a restore makes them where they were.
    for (const platform::MessageFolderRow& child : folders) {
      if (child.parent_id != row_of_folder.entry_id || IsExcluded(option, account, child.name))
        continue;
      records::RecordValues values(kColumnCount);
      values[kSubjectColumn] = child.name;
      values[kFolderColumn] = folder->name();
      values[kAccountColumn] = account;
      values[kMessageClassColumn] = kFolderRecordClass;
      file_.WriteRecord(values);
    }
  }
}

bool BackupPass::WriteMessage(Message& message, std::u16string_view folder,
                              std::u16string_view account) {
  std::vector<PropertyValue> properties;
  if (Failed(message.GetProperties(tags_, &properties))) return false;
  records::RecordValues values(kColumnCount - 1);
  const platform::Clock& clock = device_.clock();
  for (std::size_t index = 0; index < kPropertyColumns.size(); ++index)
    values[kPropertyColumns[index].column] = PropertyText(clock, properties[index]);
  std::u16string subject;
  std::u16string body;
  std::int32_t body_type = kPlainTextBody;
  message.GetSubject(&subject);
  message.GetBody(&body, &body_type);
  values[kSubjectColumn] = std::move(subject);
  values[kBodyColumn] = std::move(body);
  values[kBodyTypeColumn] = platform::Format(u"%d", body_type);
  values[kFolderColumn] = std::u16string(folder);
  values[kAccountColumn] = std::u16string(account);

  std::vector<platform::MessageRecipient> recipients;
  message.GetRecipients(&recipients);
  std::u16string recipients_text;
  for (const platform::MessageRecipient& recipient : recipients) {
    if (!recipients_text.empty()) recipients_text.push_back(u';');
    recipients_text += RecipientText(recipient);
  }
  values[kRecipientCountColumn] = records::UInt64Text(recipients.size());
  values[kRecipientsColumn] = std::move(recipients_text);

  std::vector<platform::MessageAttachment> attachments;
  message.GetAttachments(&attachments);
  values[kAttachmentCountColumn] = records::UInt64Text(attachments.size());

  bool with_contents = pass_.messages_option.store_attachments;
  if (with_contents) {
    // A record longer than a restore reads would lose the whole message: past that, the
    // attachments go without their contents.
    std::uint64_t units = 1024;
    // A line break in a value may end a physical line, which the reader counts as two units.
    for (const std::optional<std::u16string>& value : values) {
      if (value) units += value->size() + std::ranges::count(*value, u'\n');
    }
    for (const platform::MessageAttachment& attachment : attachments)
      units += AttachmentHeadText(attachment).size() + 2 + Base64Units(attachment.size);
    if (units > records::kMaxRecordUnits) {
      with_contents = false;
      // Told, not flagged: the message is saved, and a flagged row would cost the whole backup.
      SendLine(pass_.sink, platform::Format(texts::kAttachmentsTooLarge, *values[kSubjectColumn]));
    }
  }
  for (const std::optional<std::u16string>& value : values) {
    file_.WriteValue(*value);
    const char16_t separator = file_.separator();
    file_.WriteRaw(&separator, sizeof separator);
  }
  WriteAttachments(message, attachments, with_contents);
  return true;
}

// The last column, written as it is read so that no attachment is ever whole in memory: the
// items always hold a ",", so the column is quoted.
void BackupPass::WriteAttachments(Message& message,
                                  const std::vector<platform::MessageAttachment>& list,
                                  bool with_contents) {
  if (!list.empty()) WriteText(u"\"");
  std::vector<std::uint8_t> buffer(with_contents ? platform::kAttachmentChunkBytes : 0);
  std::u16string text;
  records::Base64Encoder encoder;
  for (std::size_t index = 0; index < list.size(); ++index) {
    const platform::MessageAttachment& attachment = list[index];
    text = index == 0 ? u"" : u";";
    text += AttachmentHeadText(attachment);
    WriteText(text);
    if (!with_contents) continue;
    WriteText(u",");
    // Never more than the size the table gives, which the record's length was counted with.
    for (std::uint64_t offset = 0; offset < attachment.size;) {
      std::size_t read = 0;
      const std::size_t wanted = static_cast<std::size_t>(
          std::min<std::uint64_t>(buffer.size(), attachment.size - offset));
      if (Failed(message.ReadAttachment(attachment.number, offset, std::span(buffer.data(), wanted),
                                        &read)) ||
          read == 0) {
        break;
      }
      text.clear();
      encoder.Add(std::span(buffer.data(), read), &text);
      WriteText(text);
      offset += read;
    }
    text.clear();
    encoder.Finish(&text);
    WriteText(text);
  }
  WriteText(list.empty() ? u"\r\n" : u"\"\r\n");
}

// ---------------------------------------------------------------------------------------------
// Restore

// What tells a message of a folder from another, for "Add only new": its "Msg Id" bytes, or,
// when it has none, its subject, delivery time and sender address.
std::string MessageKey(std::u16string_view subject, const std::vector<PropertyValue>& properties) {
  const auto find = [&](std::uint32_t tag) -> const PropertyValue* {
    for (const PropertyValue& value : properties) {
      if (value.id == tag && (value.flags & platform::kPropertyNotFound) == 0) return &value;
    }
    return nullptr;
  };
  const PropertyValue* id = find(platform::kTagMessageIdBytes);
  if (id != nullptr && !id->bytes.empty())
    return "I" + std::string(id->bytes.begin(), id->bytes.end());
  const auto bytes_of = [](std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
  };
  std::string key = "S" + bytes_of(subject);
  key.append(2, '\0');
  if (const PropertyValue* delivery = find(platform::kTagDeliveryTime))
    key += std::to_string(delivery->file_time);
  key.push_back('\0');
  if (const PropertyValue* sender = find(platform::kTagSenderAddress))
    key += bytes_of(sender->text);
  return key;
}

class RestorePass {
 public:
  RestorePass(const platform::Device& device, const PassContext& pass, engine::RestoreTally& tally)
      : device_(device), pass_(pass), tally_(tally) {}

  void Run();

 private:
  // Reads the whole file once, counting its records: a file that is not a messages record file,
  // or whose text breaks off, is refused before anything changes.
  bool CheckFile(std::uint64_t* count);
  void DeleteChosenMessages(MessageSession& session,
                            const std::vector<platform::MessageStoreRow>& stores);
  void InsertRecords(MessageSession& session, const std::vector<platform::MessageStoreRow>& stores,
                     std::uint64_t count);
  // Makes the store and folder of a record the ones in hand; false when there is none.
  bool Reach(MessageSession& session, const std::vector<platform::MessageStoreRow>& stores,
             std::u16string_view account, std::u16string_view folder);
  bool Exists(const MessageRecord& record);
  void Remember(const MessageRecord& record);
  bool Insert(const MessageRecord& record);

  const platform::Device& device_;
  const PassContext& pass_;
  engine::RestoreTally& tally_;

  std::unique_ptr<MessageStore> store_;
  std::unique_ptr<MessageFolder> folder_;
  // The keys of each folder's messages, gathered on the first look into the folder.
  std::map<EntryId, std::unordered_set<std::string>> keys_;
};

void RestorePass::Run() {
  engine::ProgressSink* sink = pass_.sink;
  tally_ = {};
  SendLine(sink, texts::kRetrievingFileRecords);
  std::uint64_t count = 0;
  if (!CheckFile(&count)) return;
  tally_.file_accepted = true;
  SendLine(sink, engine::CountText(static_cast<long>(count), texts::kRecordFoundInFile,
                                   texts::kRecordsFoundInFile));
  if (count == 0) {
    SendLine(sink, texts::kNoMessagesInFile);
    return;
  }
  SendLine(sink, texts::kRetrievingMessagesFields);
  platform::MessageRuntime& runtime = device_.messages();
  const bool initialized = !Failed(runtime.Initialize());
  SendLine(sink, texts::kConnecting);
  std::unique_ptr<MessageSession> session;
  if (initialized && !Failed(runtime.Logon(&session))) {
    SendLine(sink, texts::kConnected);
    std::vector<platform::MessageStoreRow> stores;
    session->GetStores(&stores);
    if (pass_.mode == RestoreMode::kDeleteAllFirst) DeleteChosenMessages(*session, stores);
    InsertRecords(*session, stores, count);
    folder_.reset();
    store_.reset();
    SendLine(sink, texts::kDisconnecting);
    session->Logoff();
    SendLine(sink, texts::kDisconnectedAfterRestore);
  }
  if (initialized) runtime.Uninitialize();
}

bool RestorePass::CheckFile(std::uint64_t* count) {
  records::RecordReader reader(device_, pass_.separator);
  records::Record record;
  bool good = reader.Open(pass_.record_file) && IsMessagesHeader(reader.Header());
  int failure = reader.LastError() != 0 ? reader.LastError() : records::kErrorCsvBadHeader;
  while (good && reader.Next(&record)) {
    ++*count;
    if (record.Value(kMessageClassColumn) != kFolderRecordClass) ++tally_.records;
  }
  if (good && reader.LastError() != 0) {
    good = false;
    failure = reader.LastError();
  }
  if (!good) {
    SendLine(pass_.sink,
             platform::Format(records::texts::kLoadFailedNothingDone,
                              records::RecordErrorText(failure, reader.LineNumber())),
             LogIcon::kError);
  }
  return good;
}

void RestorePass::DeleteChosenMessages(MessageSession& session,
                                       const std::vector<platform::MessageStoreRow>& stores) {
  engine::ProgressSink* sink = pass_.sink;
  SendLine(sink, texts::kDeletingMessages);
  const engine::MessagesOption& option = pass_.messages_option;
  std::uint64_t deleted = 0;
  for (const platform::MessageStoreRow& row : stores) {
    if (pass_.Canceled()) break;
    std::unique_ptr<MessageStore> store;
    std::vector<platform::MessageFolderRow> folders;
    if (IsExcluded(option, row.display_name) || Failed(session.OpenStore(row.entry_id, &store)) ||
        Failed(store->GetHierarchy(&folders))) {
      continue;
    }
    for (const platform::MessageFolderRow& folder_row : folders) {
      if (pass_.Canceled()) break;
      std::unique_ptr<MessageFolder> folder;
      std::vector<EntryId> contents;
      if (IsExcluded(option, row.display_name, folder_row.name) ||
          Failed(store->OpenFolder(folder_row.entry_id, &folder)) ||
          Failed(folder->GetContents(&contents)) || contents.empty()) {
        continue;
      }
      if (folder->DeleteMessages(contents) == platform::kSOk) {
        deleted += contents.size();
      } else {
        std::vector<EntryId> left;
        folder->GetContents(&left);
        deleted += contents.size() > left.size() ? contents.size() - left.size() : 0;
      }
    }
  }
  SendLine(sink, engine::CountText(static_cast<long>(deleted), texts::kMessageDeleted,
                                   texts::kMessagesDeleted));
}

void RestorePass::InsertRecords(MessageSession& session,
                                const std::vector<platform::MessageStoreRow>& stores,
                                std::uint64_t count) {
  engine::ProgressSink* sink = pass_.sink;
  SendLine(sink, texts::kInsertingMessages);
  engine::PostProgress(sink, 0, static_cast<std::uint32_t>(count), false);
  const engine::MessagesOption& option = pass_.messages_option;
  const bool add_only_new = pass_.mode == RestoreMode::kAddOnlyNew;
  std::uint64_t inserted = 0;
  std::uint64_t existing = 0;
  records::RecordReader reader(device_, pass_.separator);
  records::Record record;
  MessageRecord message;
  reader.Open(pass_.record_file);
  for (std::uint32_t position = 1; !pass_.Canceled() && reader.Next(&record); ++position) {
    if (!ReadMessageRecord(device_.clock(), record, &message)) {
      SendLine(sink, platform::Format(texts::kRecordUnreadable, position), LogIcon::kError);
      engine::PostProgress(sink, position, 0, false);
      continue;
    }
    const bool chosen =
        !IsExcluded(option, message.account, message.folder) &&
        !(message.is_folder && IsExcluded(option, message.account, message.subject));
    // A message the user left out is no record the restore owed them.
    if (!chosen && !message.is_folder) --tally_.records;
    if (chosen && Reach(session, stores, message.account, message.folder)) {
      if (message.is_folder) {
        std::unique_ptr<MessageFolder> subfolder;
        if (store_->OpenFolderByName(message.subject, &subfolder) == platform::kENotFound)
          store_->CreateFolder(folder_->entry_id(), message.subject, &subfolder);
      } else if (add_only_new && Exists(message)) {
        ++existing;
        ++tally_.restored;
      } else if (Insert(message)) {
        if (add_only_new) Remember(message);
        ++inserted;
        ++tally_.restored;
      }
    }
    engine::PostProgress(sink, position, 0, false);
  }
  if (pass_.Canceled()) SendLine(sink, texts::kRestoreCanceled, LogIcon::kError);
  SendLine(sink, engine::CountText(static_cast<long>(inserted), texts::kMessageInserted,
                                   texts::kMessagesInserted));
  if (add_only_new) {
    SendLine(sink, engine::CountText(static_cast<long>(existing), texts::kMessageExists,
                                     texts::kMessagesExist));
  }
}

bool RestorePass::Reach(MessageSession& session,
                        const std::vector<platform::MessageStoreRow>& stores,
                        std::u16string_view account, std::u16string_view folder) {
  if (folder.empty()) return false;  // no folder to make a nameless one for
  if (!store_ || store_->display_name() != account) {
    store_.reset();
    folder_.reset();
    for (const platform::MessageStoreRow& row : stores) {
      if (row.display_name == account && !Failed(session.OpenStore(row.entry_id, &store_))) break;
    }
    if (!store_) return false;
  }
  if (!folder_ || folder_->name() != folder) {
    folder_.reset();
    // A folder the device lacks is made at the top of its store, so no message is lost for it.
    if (store_->OpenFolderByName(folder, &folder_) == platform::kENotFound)
      store_->CreateFolder(EntryId(), folder, &folder_);
  }
  return folder_ != nullptr;
}

bool RestorePass::Exists(const MessageRecord& record) {
  auto [keys, first_look] = keys_.try_emplace(folder_->entry_id());
  if (first_look) {
    std::vector<EntryId> contents;
    folder_->GetContents(&contents);
    const std::vector<std::uint32_t> tags = {
        platform::kTagMessageIdBytes, platform::kTagDeliveryTime, platform::kTagSenderAddress};
    for (const EntryId& id : contents) {
      std::unique_ptr<Message> message;
      std::vector<PropertyValue> properties;
      std::u16string subject;
      if (Failed(folder_->OpenMessage(id, &message)) ||
          Failed(message->GetProperties(tags, &properties)) ||
          Failed(message->GetSubject(&subject))) {
        continue;
      }
      keys->second.insert(MessageKey(subject, properties));
    }
  }
  return keys->second.contains(MessageKey(record.subject, record.properties));
}

void RestorePass::Remember(const MessageRecord& record) {
  // A message inserted now counts as there for the records after it.
  keys_[folder_->entry_id()].insert(MessageKey(record.subject, record.properties));
}

bool RestorePass::Insert(const MessageRecord& record) {
  std::unique_ptr<Message> message;
  if (Failed(folder_->CreateMessage(&message)) || Failed(message->SetSubject(record.subject)) ||
      Failed(message->SetBody(record.body, record.body_type)) ||
      Failed(message->SetProperties(record.properties)) ||
      Failed(message->SetRecipients(record.recipients))) {
    return false;
  }
  std::vector<std::uint8_t> chunk(platform::kAttachmentChunkBytes);
  // Whole groups of four characters that decode to at most one chunk.
  constexpr std::size_t kPieceUnits = platform::kAttachmentChunkBytes / 3 * 4;
  for (const AttachmentItem& attachment : record.attachments) {
    std::int64_t number = 0;
    if (Failed(message->AddAttachment(attachment.file_name, attachment.method,
                                      static_cast<std::uint32_t>(attachment.contents_size),
                                      &number))) {
      return false;
    }
    if (!attachment.contents) continue;
    const std::u16string_view contents = *attachment.contents;
    std::uint64_t offset = 0;
    for (std::size_t start = 0; start < contents.size(); start += kPieceUnits) {
      const std::size_t length = records::DecodeBase64(contents.substr(start, kPieceUnits), chunk);
      if (Failed(message->WriteAttachment(number, offset, std::span(chunk.data(), length))))
        return false;
      offset += length;
    }
  }
  return !Failed(message->Save());
}

}  // namespace

void MessagesWorker::Backup(const PassContext& pass, records::CsvRecordFile& file) {
  BackupPass(device_, pass, file).Run();
}

void MessagesWorker::Restore(const PassContext& pass) {
  RestorePass(device_, pass, tally_).Run();
}

}  // namespace kestrav::messages
