#include "messages/messages_worker.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
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

// How many rows of a message's table are read, or recipients added, at a time.
constexpr std::size_t kRowsAtATime = 4096;
// The longest a count column can be.
constexpr std::uint64_t kLongestCountUnits = 10;
// The longest start of a subject a row names a message by.
constexpr std::size_t kShownSubjectUnits = 100;

std::u16string ShownSubject(std::u16string_view subject) {
  if (subject.size() <= kShownSubjectUnits) return std::u16string(subject);
  std::size_t length = kShownSubjectUnits;
  if (subject[length - 1] >= 0xD800 && subject[length - 1] < 0xDC00) --length;
  return std::u16string(subject.substr(0, length)) + u"...";
}

// ---------------------------------------------------------------------------------------------
// Backup

class BackupPass {
 public:
  BackupPass(const platform::Device& device, const PassContext& pass, records::CsvRecordFile& file)
      : device_(device), pass_(pass), file_(file), choice_(pass.messages_option) {}

  void Run();

 private:
  // What a message's record holds of its two lists: the items that fit, and whether they are all.
  struct Listed {
    std::uint32_t count = 0;
    bool whole = true;
  };

  void BackUpStore(MessageSession& session, const platform::MessageStoreRow& row);
  bool WriteMessage(Message& message, std::u16string_view folder, std::u16string_view account);
  // The recipients' items, as many as fit in what the record has left; *used grows by them.
  bool ListRecipients(Message& message, std::uint64_t* used, std::u16string* text, Listed* listed);
  // The same for the attachments' items without their contents; *contents_units is what their
  // contents would add.
  bool CountAttachments(Message& message, std::uint64_t* used, Listed* listed,
                        std::uint64_t* contents_units);
  void WriteAttachments(Message& message, std::uint32_t count, bool with_contents);
  void WriteText(std::u16string_view text) {
    file_.WriteRaw(text.data(), text.size() * sizeof(char16_t));
  }

  const platform::Device& device_;
  const PassContext& pass_;
  records::CsvRecordFile& file_;
  const FolderChoice choice_;
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
  std::vector<platform::MessageFolderRow> folders;
  if (!choice_.TakesStore(account) || Failed(store->GetHierarchy(&folders))) return;
  std::uint32_t total = 0;
  // Each folder's subfolders, found once for the folders' second passes.
  std::map<EntryId, std::vector<std::size_t>> subfolders;
  for (std::size_t index = 0; index < folders.size(); ++index) {
    const platform::MessageFolderRow& folder = folders[index];
    if (!choice_.Takes(account, folder.name)) continue;
    total += folder.message_count;
    if (!folder.parent_id.empty()) subfolders[folder.parent_id].push_back(index);
  }
  engine::PostProgress(sink, 0, total, false);
  std::uint32_t position = 0;
  for (const platform::MessageFolderRow& row_of_folder : folders) {
    if (pass_.Canceled()) return;
    std::unique_ptr<MessageFolder> folder;
    std::vector<EntryId> contents;
    if (!choice_.Takes(account, row_of_folder.name) ||
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
    const auto children = subfolders.find(row_of_folder.entry_id);
    if (children == subfolders.end()) continue;
    for (const std::size_t child : children->second) {
      records::RecordValues values(kColumnCount);
      values[kSubjectColumn] = folders[child].name;
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
  // Every column but the attachments, which are written as they are read.
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
  values[kBodyColumn] = std::u16string();
  values[kBodyTypeColumn] = platform::Format(u"%d", body_type);
  values[kFolderColumn] = std::u16string(folder);
  values[kAccountColumn] = std::u16string(account);

  // A restore reads no record longer than records::kMaxRecordUnits, so the record is counted as
  // the reader counts it. Room goes to the other columns, then the recipients, the attachments'
  // names, the body and the attachments' contents, and what finds none is left out and said.
  // Told, not flagged: the message is saved, and a flagged row would cost the whole backup.
  const char16_t separator = file_.separator();
  // The separators, the closing CR LF, and the two counts at their longest.
  std::uint64_t used = (kColumnCount - 1) + 2 + 2 * kLongestCountUnits;
  for (const std::optional<std::u16string>& value : values) {
    if (value) used += records::WrittenValueUnits(*value, separator);
  }
  const std::u16string shown = ShownSubject(*values[kSubjectColumn]);
  engine::ProgressSink* sink = pass_.sink;
  if (used > records::kMaxRecordUnits) {
    SendLine(sink, platform::Format(texts::kMessageTooLarge, shown), LogIcon::kError);
    return false;
  }
  std::u16string recipients;
  Listed recipients_listed;
  Listed attachments_listed;
  std::uint64_t contents_units = 0;
  if (!ListRecipients(message, &used, &recipients, &recipients_listed) ||
      !CountAttachments(message, &used, &attachments_listed, &contents_units)) {
    return false;
  }
  if (!recipients_listed.whole) {
    SendLine(sink, platform::Format(texts::kTooManyRecipients, shown,
                                    static_cast<unsigned long long>(recipients_listed.count)));
  }
  if (!attachments_listed.whole) {
    SendLine(sink, platform::Format(texts::kTooManyAttachments, shown,
                                    static_cast<unsigned long long>(attachments_listed.count)));
  }
  std::uint64_t body_units = records::WrittenValueUnits(body, separator);
  if (used + body_units > records::kMaxRecordUnits) {
    body.resize(records::FittingStart(body, separator, records::kMaxRecordUnits - used));
    body_units = records::WrittenValueUnits(body, separator);
    SendLine(sink, platform::Format(texts::kBodyTooLong, shown,
                                    static_cast<unsigned long long>(body.size())));
  }
  used += body_units;
  bool with_contents = pass_.messages_option.store_attachments && attachments_listed.count > 0;
  if (with_contents && used + contents_units > records::kMaxRecordUnits) {
    with_contents = false;
    SendLine(sink, platform::Format(texts::kAttachmentsTooLarge, shown));
  }

  values[kBodyColumn] = std::move(body);
  values[kRecipientCountColumn] = records::UInt64Text(recipients_listed.count);
  values[kRecipientsColumn] = std::move(recipients);
  values[kAttachmentCountColumn] = records::UInt64Text(attachments_listed.count);
  for (const std::optional<std::u16string>& value : values) {
    file_.WriteValue(*value);
    file_.WriteRaw(&separator, sizeof separator);
  }
  WriteAttachments(message, attachments_listed.count, with_contents);
  return true;
}

bool BackupPass::ListRecipients(Message& message, std::uint64_t* used, std::u16string* text,
                                Listed* listed) {
  std::unique_ptr<platform::MessageTable<platform::MessageRecipient>> table;
  if (Failed(message.OpenRecipientTable(&table))) return false;
  std::vector<platform::MessageRecipient> rows;
  for (;;) {
    if (Failed(table->QueryRows(kRowsAtATime, &rows))) return false;
    if (rows.empty()) return true;
    for (const platform::MessageRecipient& recipient : rows) {
      const std::u16string item = RecipientText(recipient);
      // An item holds a "," and no line break: the first brings the column's quotes, each
      // further one its ";".
      const std::uint64_t units = item.size() + (listed->count == 0 ? 2 : 1);
      if (*used + units > records::kMaxRecordUnits) {
        listed->whole = false;
        return true;
      }
      *used += units;
      if (listed->count++ > 0) text->push_back(u';');
      *text += item;
    }
  }
}

bool BackupPass::CountAttachments(Message& message, std::uint64_t* used, Listed* listed,
                                  std::uint64_t* contents_units) {
  std::unique_ptr<platform::MessageTable<platform::MessageAttachment>> table;
  if (Failed(message.OpenAttachmentTable(&table))) return false;
  std::vector<platform::MessageAttachment> rows;
  for (;;) {
    if (Failed(table->QueryRows(kRowsAtATime, &rows))) return false;
    if (rows.empty()) return true;
    for (const platform::MessageAttachment& attachment : rows) {
      const std::uint64_t units =
          AttachmentHeadText(attachment).size() + (listed->count == 0 ? 2 : 1);
      if (*used + units > records::kMaxRecordUnits) {
        listed->whole = false;
        return true;
      }
      *used += units;
      ++listed->count;
      *contents_units += 1 + Base64Units(attachment.size);
    }
  }
}

// The last column, the first `count` attachments, written as they are read so that no
// attachment is ever whole in memory: the items always hold a ",", so the column is quoted.
void BackupPass::WriteAttachments(Message& message, std::uint32_t count, bool with_contents) {
  std::unique_ptr<platform::MessageTable<platform::MessageAttachment>> table;
  if (count > 0) {
    WriteText(u"\"");
    message.OpenAttachmentTable(&table);
  }
  std::vector<std::uint8_t> buffer(with_contents ? platform::kAttachmentChunkBytes : 0);
  std::vector<platform::MessageAttachment> rows;
  std::u16string text;
  records::Base64Encoder encoder;
  for (std::uint32_t written = 0; written < count;) {
    if (Failed(table->QueryRows(std::min<std::size_t>(kRowsAtATime, count - written), &rows)) ||
        rows.empty()) {
      break;
    }
    for (const platform::MessageAttachment& attachment : rows) {
      text = written++ == 0 ? u"" : u";";
      text += AttachmentHeadText(attachment);
      WriteText(text);
      if (!with_contents) continue;
      WriteText(u",");
      // Never more than the size the table gives, which the record's length was counted with.
      for (std::uint64_t offset = 0; offset < attachment.size;) {
        std::size_t read = 0;
        const std::size_t wanted = static_cast<std::size_t>(
            std::min<std::uint64_t>(buffer.size(), attachment.size - offset));
        if (Failed(message.ReadAttachment(attachment.number, offset,
                                          std::span(buffer.data(), wanted), &read)) ||
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
  }
  WriteText(count == 0 ? u"\r\n" : u"\"\r\n");
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
      : device_(device), pass_(pass), tally_(tally), choice_(pass.messages_option) {}

  void Run();

 private:
  // A store of the device as the restore finds its way in it: its folders by name - the first
  // of each name in the hierarchy, and those the restore made - listed once, on the first record
  // that reaches the store.
  struct StoreInHand {
    std::unique_ptr<MessageStore> store;
    std::unordered_map<std::u16string, EntryId> folders;
  };

  // Reads the whole file once, counting its records and gathering the folders they name: a file
  // that is not a record file, or whose text breaks off, is refused before anything changes.
  bool CheckFile(std::uint64_t* count);
  void DeleteChosenMessages(MessageSession& session,
                            const std::vector<platform::MessageStoreRow>& stores);
  void InsertRecords(MessageSession& session, const std::vector<platform::MessageStoreRow>& stores,
                     std::uint64_t count);
  // The store of that display name; null when the device has none.
  StoreInHand* FindStore(MessageSession& session,
                         const std::vector<platform::MessageStoreRow>& stores,
                         std::u16string_view account);
  // Makes the folder of that name in the store the one in hand, made at the top of the store
  // when it lacks one, so that no message is lost for it; false when there is none.
  bool Reach(StoreInHand& store, std::u16string_view folder);
  // A folder record: makes the subfolder when the store lacks a folder of its name, below the
  // folder it was found in when the store has that folder or it is chosen, else at the top.
  void MakeSubfolder(StoreInHand& store, const MessageRecord& record);
  bool Exists(const MessageRecord& record);
  void Remember(const MessageRecord& record);
  bool Insert(const MessageRecord& record);

  const platform::Device& device_;
  const PassContext& pass_;
  engine::RestoreTally& tally_;
  FolderChoice choice_;

  std::map<std::u16string, StoreInHand, std::less<>> stores_;
  StoreInHand* store_ = nullptr;  // the store of folder_
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
    stores_.clear();
    SendLine(sink, texts::kDisconnecting);
    session->Logoff();
    SendLine(sink, texts::kDisconnectedAfterRestore);
  }
  if (initialized) runtime.Uninitialize();
}

bool RestorePass::CheckFile(std::uint64_t* count) {
  RecordFileSurvey survey;
  if (!SurveyRecordFile(device_, pass_.record_file, pass_.separator, &survey)) {
    tally_.file_error = records::RecordErrorText(survey.error, survey.line_number);
    SendLine(pass_.sink,
             platform::Format(records::texts::kLoadFailedNothingDone, tally_.file_error),
             LogIcon::kError);
    return false;
  }
  *count = survey.records;
  tally_.records = survey.messages;
  // Chosen by nobody, the folders are those the file holds: a delete-all empties only those.
  if (pass_.messages_option.restore_folders.empty()) choice_.Include(survey.folders);
  return true;
}

void RestorePass::DeleteChosenMessages(MessageSession& session,
                                       const std::vector<platform::MessageStoreRow>& stores) {
  engine::ProgressSink* sink = pass_.sink;
  SendLine(sink, texts::kDeletingMessages);
  std::uint64_t deleted = 0;
  for (const platform::MessageStoreRow& row : stores) {
    if (pass_.Canceled()) break;
    std::unique_ptr<MessageStore> store;
    std::vector<platform::MessageFolderRow> folders;
    if (!choice_.TakesStore(row.display_name) || Failed(session.OpenStore(row.entry_id, &store)) ||
        Failed(store->GetHierarchy(&folders))) {
      continue;
    }
    for (const platform::MessageFolderRow& folder_row : folders) {
      if (pass_.Canceled()) break;
      std::unique_ptr<MessageFolder> folder;
      std::vector<EntryId> contents;
      if (!choice_.Takes(row.display_name, folder_row.name) ||
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
    // A folder record is taken when the subfolder it makes is chosen.
    const bool chosen =
        choice_.Takes(message.account, message.is_folder ? message.subject : message.folder);
    // A message the user left out is no record the restore owed them.
    if (!chosen && !message.is_folder) --tally_.records;
    // A store the device lacks skips the record.
    StoreInHand* store = chosen ? FindStore(session, stores, message.account) : nullptr;
    if (store != nullptr && message.is_folder) {
      MakeSubfolder(*store, message);
    } else if (store != nullptr && Reach(*store, message.folder)) {
      if (add_only_new && Exists(message)) {
        ++existing;
        ++tally_.restored;
        ++tally_.found;
      } else if (Insert(message)) {
        if (add_only_new) Remember(message);
        ++inserted;
        ++tally_.restored;
        ++tally_.inserted;
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
  if (tally_.attachments_without_contents > 0) {
    SendLine(sink, engine::CountText(static_cast<long>(tally_.attachments_without_contents),
                                     texts::kAttachmentWithoutContents,
                                     texts::kAttachmentsWithoutContents));
  }
}

RestorePass::StoreInHand* RestorePass::FindStore(
    MessageSession& session, const std::vector<platform::MessageStoreRow>& stores,
    std::u16string_view account) {
  const auto known = stores_.find(account);
  if (known != stores_.end()) return known->second.store ? &known->second : nullptr;
  StoreInHand& found = stores_[std::u16string(account)];
  std::vector<platform::MessageFolderRow> folders;
  for (const platform::MessageStoreRow& row : stores) {
    if (row.display_name == account && !Failed(session.OpenStore(row.entry_id, &found.store)))
      break;
  }
  if (!found.store || Failed(found.store->GetHierarchy(&folders))) {
    found.store.reset();
    return nullptr;
  }
  for (platform::MessageFolderRow& folder : folders)
    found.folders.try_emplace(std::move(folder.name), std::move(folder.entry_id));
  return &found;
}

bool RestorePass::Reach(StoreInHand& store, std::u16string_view folder) {
  if (folder.empty()) return false;  // no folder to make a nameless one for
  if (store_ == &store && folder_ && folder_->name() == folder) return true;
  folder_.reset();
  store_ = &store;
  const auto found = store.folders.find(std::u16string(folder));
  if (found != store.folders.end()) {
    store.store->OpenFolder(found->second, &folder_);
  } else if (!Failed(store.store->CreateFolder(EntryId(), folder, &folder_))) {
    store.folders.try_emplace(std::u16string(folder), folder_->entry_id());
  }
  return folder_ != nullptr;
}

void RestorePass::MakeSubfolder(StoreInHand& store, const MessageRecord& record) {
  if (store.folders.contains(std::u16string(record.subject))) return;
  EntryId parent;
  if (choice_.Takes(record.account, record.folder)) {
    if (Reach(store, record.folder)) parent = folder_->entry_id();
  } else if (const auto found = store.folders.find(std::u16string(record.folder));
             found != store.folders.end()) {
    parent = found->second;
  }
  std::unique_ptr<MessageFolder> made;
  if (!Failed(store.store->CreateFolder(parent, record.subject, &made)))
    store.folders.try_emplace(std::u16string(record.subject), made->entry_id());
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
      Failed(message->SetProperties(record.properties))) {
    return false;
  }
  // The lists a piece at a time, so that none is ever whole in memory.
  std::vector<platform::MessageRecipient> piece;
  ItemList recipients(record.recipients);
  for (std::u16string_view item; recipients.Next(&item);) {
    ReadRecipient(item, &piece.emplace_back());
    if (piece.size() == kRowsAtATime) {
      if (Failed(message->AddRecipients(piece))) return false;
      piece.clear();
    }
  }
  if (!piece.empty() && Failed(message->AddRecipients(piece))) return false;

  std::uint64_t without_contents = 0;
  ItemList attachments(record.attachments);
  AttachmentItem attachment;
  for (std::u16string_view item; attachments.Next(&item);) {
    ReadAttachment(item, &attachment);
    std::int64_t number = 0;
    if (Failed(message->AddAttachment(attachment.file_name, attachment.method,
                                      static_cast<std::uint32_t>(attachment.contents_size),
                                      &number))) {
      return false;
    }
    if (!attachment.contents) {
      // Saved without its contents, it comes back as an attachment of 0 bytes.
      if (attachment.size > 0) ++without_contents;
      continue;
    }
    std::uint64_t offset = 0;
    const bool written =
        DecodeAttachmentContents(*attachment.contents, [&](std::span<const std::uint8_t> piece) {
          if (Failed(message->WriteAttachment(number, offset, piece))) return false;
          offset += piece.size();
          return true;
        });
    if (!written) return false;
  }
  if (Failed(message->Save())) return false;
  tally_.attachments_without_contents += without_contents;
  return true;
}

}  // namespace

void MessagesWorker::Backup(const PassContext& pass, records::CsvRecordFile& file) {
  BackupPass(device_, pass, file).Run();
}

void MessagesWorker::Restore(const PassContext& pass) {
  RestorePass(device_, pass, tally_).Run();
}

}  // namespace kestrav::messages
