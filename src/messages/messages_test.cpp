#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "engine/testing/kind_harness.h"
#include "messages/message_folders.h"
#include "messages/message_record.h"
#include "messages/messages_worker.h"
#include "platform/test_support/temporary_device.h"
#include "platform/time.h"
#include "records/record_reader.h"

namespace kestrav::messages {
namespace {

using engine::FolderExclusion;
using engine::ItemKind;
using engine::RestoreMode;
using platform::EntryId;
using platform::kSOk;
using platform::MessageFolder;
using platform::MessageRecipient;
using platform::MessageSession;
using platform::MessageStore;
using platform::PropertyValue;
using platform::RecipientKind;

constexpr char16_t kFile[] = u"\\Temp\\msgs.csm";
// The header line of every messages file: the 21 column names in their order.
constexpr char16_t kHeader[] =
    u"Msg Id;Sender Name;Sender Address;Sender AddressType;Prefix;Subject;Body;BodyType;Folder;"
    u"Account;Msg Class;Content Length;Msg Size;Msg Flags;Msg Status;Modify Time;Delivery Time;"
    u"Recipient Nbr;Recipients;Attachment Nbr;Attachments\r\n";

PropertyValue Text(std::uint32_t tag, std::u16string text) {
  PropertyValue value;
  value.id = tag;
  value.text = std::move(text);
  return value;
}
PropertyValue Number(std::uint32_t tag, std::int64_t number) {
  PropertyValue value;
  value.id = tag;
  value.integer = number;
  return value;
}

std::vector<std::uint8_t> Contents(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t at = 0; at < size; ++at)
    bytes[at] = static_cast<std::uint8_t>(at * 7 + at / 251);
  return bytes;
}

struct Attachment {
  std::u16string name;
  std::vector<std::uint8_t> contents;
};

struct TestMessage {
  std::u16string subject;
  std::u16string body;
  std::int32_t body_type = kPlainTextBody;
  std::vector<PropertyValue> properties;
  std::vector<MessageRecipient> recipients;
  std::vector<Attachment> attachments;
};

// A device with message stores, what a test puts in them, and the messages worker.
class MessagesDevice {
 public:
  MessagesDevice() {
    device_.device().messages().Initialize();
    device_.device().messages().Logon(&session_);
  }
  ~MessagesDevice() {
    session_->Logoff();
    device_.device().messages().Uninitialize();
  }

  std::unique_ptr<MessageStore> Store(std::u16string_view name) {
    std::vector<platform::MessageStoreRow> rows;
    session_->GetStores(&rows);
    std::unique_ptr<MessageStore> store;
    for (const auto& row : rows) {
      if (row.display_name == name) session_->OpenStore(row.entry_id, &store);
    }
    return store;
  }
  std::unique_ptr<MessageFolder> Folder(std::u16string_view store, std::u16string_view folder) {
    std::unique_ptr<MessageFolder> opened;
    Store(store)->OpenFolderByName(folder, &opened);
    return opened;
  }
  EntryId MakeFolder(std::u16string_view store, std::u16string_view parent,
                     std::u16string_view name) {
    std::unique_ptr<MessageFolder> created;
    EXPECT_EQ(Store(store)->CreateFolder(Folder(store, parent)->entry_id(), name, &created), kSOk);
    return created->entry_id();
  }
  void Add(std::u16string_view store, std::u16string_view folder, const TestMessage& message) {
    std::unique_ptr<platform::Message> made;
    ASSERT_EQ(Folder(store, folder)->CreateMessage(&made), kSOk);
    made->SetSubject(message.subject);
    made->SetBody(message.body, message.body_type);
    made->SetProperties(message.properties);
    made->SetRecipients(message.recipients);
    for (const Attachment& attachment : message.attachments) {
      std::int64_t number = 0;
      ASSERT_EQ(
          made->AddAttachment(attachment.name, 1,
                              static_cast<std::uint32_t>(attachment.contents.size()), &number),
          kSOk);
      for (std::size_t offset = 0; offset < attachment.contents.size();
           offset += platform::kAttachmentChunkBytes) {
        const std::size_t length =
            std::min(platform::kAttachmentChunkBytes, attachment.contents.size() - offset);
        ASSERT_EQ(made->WriteAttachment(number, offset,
                                        std::span(attachment.contents.data() + offset, length)),
                  kSOk);
      }
    }
    ASSERT_EQ(made->Save(), kSOk);
  }
  std::size_t Count(std::u16string_view store, std::u16string_view folder) {
    std::vector<EntryId> contents;
    Folder(store, folder)->GetContents(&contents);
    return contents.size();
  }
  // The folder's messages in the order of its contents.
  std::vector<std::unique_ptr<platform::Message>> Messages(std::u16string_view store,
                                                           std::u16string_view folder) {
    std::unique_ptr<MessageFolder> opened = Folder(store, folder);
    std::vector<EntryId> contents;
    opened->GetContents(&contents);
    std::vector<std::unique_ptr<platform::Message>> messages(contents.size());
    for (std::size_t index = 0; index < contents.size(); ++index)
      EXPECT_EQ(opened->OpenMessage(contents[index], &messages[index]), kSOk);
    return messages;
  }
  // The store's folders in hierarchy order, a top-level one marked "/".
  std::vector<std::u16string> FolderNames(std::u16string_view store) {
    std::vector<platform::MessageFolderRow> folders;
    Store(store)->GetHierarchy(&folders);
    std::vector<std::u16string> names;
    for (const platform::MessageFolderRow& folder : folders)
      names.push_back((folder.parent_id.empty() ? u"/" : u"") + folder.name);
    return names;
  }

  kestrav::testing::TemporaryDevice device_;
  std::unique_ptr<MessageSession> session_;
  engine::testing::KindHarness harness_{device_, ItemKind::kMessages, kFile};
  MessagesWorker worker_{device_.device()};
};

class MessagesTest : public ::testing::Test, public MessagesDevice {};

TestMessage Simple(std::u16string subject, std::u16string body) {
  TestMessage message;
  message.subject = std::move(subject);
  message.body = std::move(body);
  return message;
}

// A message whose every text is one a record file makes hard.
TestMessage HardMessage() {
  TestMessage message;
  message.subject = u"Re: \"Plan\" costs; dates, \U0001F600 \u05E9\u05DC\u05D5\u05DD";
  message.body = u"<p>Line one;\r\nline \"two\", 100%</p>";
  message.body_type = kHtmlBody;
  message.properties = {Text(platform::kTagSenderName, u"Zo\u00EB; \"Z\", 50%"),
                        Text(platform::kTagSenderAddress, u"zoe@example.org"),
                        Text(platform::kTagSenderAddressType, u"SMTP"),
                        Text(platform::kTagMessageClass, u"IPM.Note"),
                        Number(platform::kTagMessageFlags, -2147483647 - 1),
                        Number(platform::kTagMessageSize, 70000)};
  PropertyValue id;
  id.id = platform::kTagMessageIdBytes;
  id.bytes = {0x00, 0xAB, 0x3B, 0x2C};
  message.properties.push_back(id);
  PropertyValue delivered;
  delivered.id = platform::kTagDeliveryTime;
  platform::SystemTimeToFileTime({.year = 2026, .month = 7, .day = 6, .hour = 8, .minute = 12},
                                 &delivered.file_time);
  message.properties.push_back(delivered);
  message.recipients = {{RecipientKind::kTo, u"A;B, \"C\"\r\n%", u"a@example.org", u"SMTP"},
                        {RecipientKind::kCc, u"", u"", u""},
                        {RecipientKind::kBcc, u"\U0001F4E7", u"b@example.org", u"SMTP"}};
  message.attachments = {{u"notes;1,\"x\".txt", {'h', 'i'}},
                         {u"empty.bin", {}},
                         {u"large.bin", Contents(3 * platform::kAttachmentChunkBytes + 5)}};
  return message;
}

TEST_F(MessagesTest, BackupRestoreAndBackupAgainGiveTheSameFile) {
  MakeFolder(u"Mail", u"Inbox", u"Projects");
  MakeFolder(u"Mail", u"Projects", u"2026");
  MakeFolder(u"Mail", u"Projects", u"Later");
  Add(u"Mail", u"Inbox", HardMessage());
  Add(u"Mail", u"2026", Simple(u"Plain", u"Body"));
  Add(u"SMS", u"Inbox", Simple(u"", u"\u0645\u0631\u062D\u0628\u0627 \U0001F44B"));
  harness_.messages_option.store_attachments = true;
  const std::string first = harness_.Backup(worker_);

  kestrav::testing::TemporaryDevice fresh;
  fresh.WriteFile(kFile, first);
  engine::testing::KindHarness restore(fresh, ItemKind::kMessages, kFile);
  MessagesWorker fresh_worker(fresh.device());
  restore.Restore(fresh_worker, RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(restore.tally.records, 3u);
  EXPECT_EQ(restore.tally.restored, 3u);
  restore.messages_option.store_attachments = true;
  EXPECT_EQ(restore.Backup(fresh_worker), first);
}

// A file as backups have always written it - the record writer's quoting, the escapes of an
// item's text, a recipient's and an attachment's layout, a folder record - restores, and backs
// up again byte for byte, with or without the attachments' contents.
TEST_F(MessagesTest, TheFileOfEveryBackupComesBackByteForByte) {
  const std::u16string message =
      u"\"0x00,0xab,0x3b\";Zo\u00EB;zoe@example.org;SMTP;Re: ;\"Plan, \"draft\" 2\";"
      u"\"Line one\r\nline two\";1;Inbox;Mail;IPM.Note;120;70000;-2147483648;0;"
      u"\"2007,03,15,11,20,30\";\"2007,03,14,09,05,00\";3;"
      u"\"1,A%3BB%2C %22C%22%0D%0A%25,a@example.org,SMTP;2,\U0001F4E7 Zo\u00EB,,;"
      u"3,,b@example.org,SMTP\";2;";
  const std::u16string with_contents =
      u"\"notes%3B1%2C%22x%22.txt,1,3,aGkh;photo.jpg,1,4,/9j/4A==\"\r\n";
  const std::u16string without_contents = u"\"notes%3B1%2C%22x%22.txt,1,3;photo.jpg,1,4\"\r\n";
  // After the messages of Inbox, the record of its subfolder.
  const std::u16string folder = u";;;;;Projects;;;Inbox;Mail;IPF.Folder;;;;;;;;;;\r\n";
  using kestrav::testing::Utf16FileBytes;
  device_.WriteFile(kFile, Utf16FileBytes(kHeader + message + with_contents + folder));
  harness_.Restore(worker_, RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(harness_.tally.restored, 1u);

  const auto restored = Messages(u"Mail", u"Inbox");
  ASSERT_EQ(restored.size(), 1u);
  std::vector<MessageRecipient> recipients;
  restored[0]->GetRecipients(&recipients);
  EXPECT_EQ(recipients, (std::vector<MessageRecipient>{
                            {RecipientKind::kTo, u"A;B, \"C\"\r\n%", u"a@example.org", u"SMTP"},
                            {RecipientKind::kCc, u"\U0001F4E7 Zo\u00EB", u"", u""},
                            {RecipientKind::kBcc, u"", u"b@example.org", u"SMTP"}}));
  std::vector<platform::MessageAttachment> attachments;
  restored[0]->GetAttachments(&attachments);
  ASSERT_EQ(attachments.size(), 2u);
  EXPECT_EQ(attachments[0].file_name, u"notes;1,\"x\".txt");
  std::vector<std::uint8_t> contents(8);
  std::size_t read = 0;
  restored[0]->ReadAttachment(attachments[1].number, 0, contents, &read);
  contents.resize(read);
  EXPECT_EQ(contents, (std::vector<std::uint8_t>{0xFF, 0xD8, 0xFF, 0xE0}));

  harness_.messages_option.store_attachments = true;
  EXPECT_EQ(harness_.Backup(worker_), Utf16FileBytes(kHeader + message + with_contents + folder));
  harness_.messages_option.store_attachments = false;
  EXPECT_EQ(harness_.Backup(worker_),
            Utf16FileBytes(kHeader + message + without_contents + folder));
}

TEST_F(MessagesTest, BackupTextsAndChoice) {
  const std::vector<std::u16string> start = {u"Connecting to Outlook...", u"Connected to Outlook.",
                                             u"Retrieving messages from 'Outlook E-Mail'...",
                                             u"Retrieving messages from 'Text Messages'...",
                                             u"Retrieving messages from 'Mail'..."};
  const auto rows = [&](std::u16string end) {
    std::vector<std::u16string> all = start;
    all.insert(all.end(), {std::move(end), u"Disconnecting from Outlook...", u"Disconnected."});
    return all;
  };
  EXPECT_EQ(harness_.Backup(worker_), kestrav::testing::Utf16FileBytes(kHeader));
  EXPECT_EQ(harness_.page.Rows(), rows(u"No message found, nothing done."));

  Add(u"SMS", u"Inbox", Simple(u"", u"Hi"));
  harness_.Backup(worker_);
  EXPECT_EQ(harness_.page.Rows(), rows(u"1 message has been successfully saved."));
  Add(u"Mail", u"Inbox", Simple(u"A", u""));
  Add(u"Mail", u"Sent Items", Simple(u"B", u""));
  harness_.Backup(worker_);
  EXPECT_EQ(harness_.page.Rows(), rows(u"3 messages have been successfully saved."));

  // A store left out is still named; a folder left out is passed over.
  harness_.messages_option.exclusions = {{u"SMS", std::nullopt}, {u"Mail", u"Inbox"}};
  const std::string chosen = harness_.Backup(worker_);
  EXPECT_EQ(harness_.page.Rows(), rows(u"1 message has been successfully saved."));
  EXPECT_NE(chosen.find(kestrav::testing::Utf16FileBytes(u";Sent Items;Mail;").substr(2)),
            std::string::npos);

  harness_.page.cancel_after = u"Retrieving messages from 'Text Messages'...";
  harness_.Backup(worker_);
  std::vector<std::u16string> canceled(start.begin(), start.end() - 1);
  canceled.insert(canceled.end(), {u"! Messages backup has been canceled.",
                                   u"Disconnecting from Outlook...", u"Disconnected."});
  EXPECT_EQ(harness_.page.Rows(), canceled);
}

TEST_F(MessagesTest, RestoreModesChoiceAndCancel) {
  Add(u"SMS", u"Inbox", Simple(u"", u"Hi"));
  Add(u"Mail", u"Inbox", Simple(u"A", u""));
  MakeFolder(u"Mail", u"Inbox", u"Empty");
  harness_.Backup(worker_);
  const std::vector<std::u16string> start = {
      u"Retrieving file records...", u"3 records found in file.", u"Retrieving messages fields...",
      u"Connecting to Outlook...", u"Connected to Outlook."};
  const auto rows = [&](std::vector<std::u16string> middle) {
    std::vector<std::u16string> all = start;
    all.insert(all.end(), middle.begin(), middle.end());
    all.insert(all.end(), {u"Disconnecting from Outlook...", u"Disconnected from Outlook."});
    return all;
  };
  EXPECT_EQ(harness_.Restore(worker_, RestoreMode::kAddOnlyNew),
            rows({u"Inserting messages...", u"0 message inserted in the database.",
                  u"2 messages not inserted cos exist in the database."}));
  EXPECT_EQ(harness_.tally.restored, 2u);
  EXPECT_EQ(harness_.Restore(worker_, RestoreMode::kDeleteAllFirst),
            rows({u"Deleting existing messages...", u"2 messages deleted from the database.",
                  u"Inserting messages...", u"2 messages inserted in the database."}));
  EXPECT_EQ(Count(u"SMS", u"Inbox") + Count(u"Mail", u"Inbox"), 2u);

  // What is left out is neither deleted nor restored.
  harness_.messages_option.exclusions = {{u"SMS", std::nullopt}};
  std::unique_ptr<MessageFolder> inbox = Folder(u"Mail", u"Inbox");
  std::vector<EntryId> mail;
  inbox->GetContents(&mail);
  inbox->DeleteMessages(mail);
  harness_.Restore(worker_, RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(Count(u"SMS", u"Inbox"), 1u);
  EXPECT_EQ(Count(u"Mail", u"Inbox"), 1u);
  EXPECT_EQ(harness_.tally.records, 1u);
  EXPECT_EQ(harness_.tally.restored, 1u);

  harness_.messages_option.exclusions.clear();
  harness_.page.cancel_after = u"Inserting messages...";
  EXPECT_EQ(harness_.Restore(worker_, RestoreMode::kAddOnlyNew),
            rows({u"Inserting messages...", u"! Messages restore has been canceled.",
                  u"0 message inserted in the database.",
                  u"0 message not inserted cos exists in the database."}));
}

// "Add only new" finds a message by its "Msg Id" bytes alone, or, for a record without them, by
// its subject, delivery time and sender address: each of the three changed alone is another
// message, and no other column counts.
TEST_F(MessagesTest, AddOnlyNewFindsAMessageByItsIdOrElseSubjectDeliveryAndSender) {
  const auto record = [](std::u16string_view id, std::u16string_view sender,
                         std::u16string_view address, std::u16string_view subject,
                         std::u16string_view body, std::u16string_view delivery) {
    return std::u16string(id) + u";" + std::u16string(sender) + u";" + std::u16string(address) +
           u";SMTP;;" + std::u16string(subject) + u";" + std::u16string(body) +
           u";0;Inbox;Mail;IPM.Note;;;;;;" + std::u16string(delivery) + u";0;;0;\r\n";
  };
  constexpr char16_t kId[] = u"\"0x01,0x02\"";
  constexpr char16_t kDelivered[] = u"\"2007,03,14,09,05,00\"";
  constexpr char16_t kAddress[] = u"zoe@example.org";
  harness_.WriteRecordFile(kHeader + record(kId, u"Zo\u00EB", kAddress, u"Plan", u"A", kDelivered) +
                           record(u"", u"Zo\u00EB", kAddress, u"Plan", u"B", kDelivered));
  harness_.Restore(worker_, RestoreMode::kDeleteAllFirst);

  harness_.WriteRecordFile(
      kHeader +
      record(kId, u"Other", u"other@example.org", u"Other", u"found by its id",
             u"\"2008,01,01,00,00,00\"") +
      record(u"\"0x01,0x03\"", u"Zo\u00EB", kAddress, u"Plan", u"another id", kDelivered) +
      record(u"", u"Zo\u00EB", kAddress, u"Plan!", u"another subject", kDelivered) +
      record(u"", u"Zo\u00EB", kAddress, u"Plan", u"another delivery", u"\"2007,03,14,09,06,00\"") +
      record(u"", u"Zo\u00EB", u"zoe@example.com", u"Plan", u"another sender", kDelivered) +
      record(u"", u"Zo\u00EB \u00C5.", kAddress, u"Plan", u"found by the three", kDelivered));
  const std::vector<std::u16string> rows = harness_.Restore(worker_, RestoreMode::kAddOnlyNew);
  EXPECT_EQ(std::vector<std::u16string>(rows.end() - 4, rows.end() - 2),
            (std::vector<std::u16string>{u"4 messages inserted in the database.",
                                         u"2 messages not inserted cos exist in the database."}));
  std::vector<std::u16string> bodies;
  for (const auto& message : Messages(u"Mail", u"Inbox")) {
    std::int32_t body_type = 0;
    message->GetBody(&bodies.emplace_back(), &body_type);
  }
  EXPECT_EQ(bodies, (std::vector<std::u16string>{u"A", u"B", u"another id", u"another subject",
                                                 u"another delivery", u"another sender"}));
}

// A restore puts back only the folders chosen, or when none are, those its file holds: "delete
// all first" empties only those, and no folder left out is made.
TEST_F(MessagesTest, ARestoreTakesTheChosenFoldersOrElseThoseOfItsFile) {
  MakeFolder(u"Mail", u"Inbox", u"Projects");
  MakeFolder(u"Mail", u"Projects", u"2026");
  Add(u"Mail", u"Inbox", Simple(u"A", u""));
  Add(u"Mail", u"2026", Simple(u"B", u""));
  Add(u"SMS", u"Inbox", Simple(u"", u"C"));
  MessagesDevice target;
  target.device_.WriteFile(kFile, harness_.Backup(worker_));
  target.Add(u"Mail", u"Drafts", Simple(u"D", u""));
  target.Add(u"SMS", u"Inbox", Simple(u"", u"E"));
  const std::vector<std::u16string> well_known = {u"/Inbox", u"/Outbox", u"/Deleted Items",
                                                  u"/Drafts", u"/Sent Items"};

  target.harness_.messages_option.restore_folders = {{u"Mail", u"Inbox"}};
  target.harness_.Restore(target.worker_, RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(target.FolderNames(u"Mail"), well_known);
  EXPECT_EQ(target.Count(u"Mail", u"Inbox"), 1u);
  EXPECT_EQ(target.Count(u"Mail", u"Drafts"), 1u);
  EXPECT_EQ(target.Count(u"SMS", u"Inbox"), 1u);
  EXPECT_EQ(target.harness_.tally.records, 1u);
  EXPECT_EQ(target.harness_.tally.restored, 1u);

  // A folder chosen without its parent, which the device lacks, is made at the top.
  target.harness_.messages_option.restore_folders = {{u"Mail", u"2026"}};
  target.harness_.Restore(target.worker_, RestoreMode::kDeleteAllFirst);
  std::vector<std::u16string> with_year = well_known;
  with_year.push_back(u"/2026");
  EXPECT_EQ(target.FolderNames(u"Mail"), with_year);
  EXPECT_EQ(target.Count(u"Mail", u"2026"), 1u);

  // None chosen: a file of the text messages alone empties only their folder.
  harness_.messages_option.exclusions = {{u"ActiveSync", std::nullopt}, {u"Mail", std::nullopt}};
  target.device_.WriteFile(kFile, harness_.Backup(worker_));
  target.harness_.messages_option.restore_folders.clear();
  const std::vector<std::u16string> rows =
      target.harness_.Restore(target.worker_, RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(std::ranges::count(rows, u"1 message deleted from the database."), 1);
  EXPECT_EQ(target.Count(u"SMS", u"Inbox"), 1u);
  EXPECT_EQ(target.Count(u"Mail", u"Inbox") + target.Count(u"Mail", u"Drafts") +
                target.Count(u"Mail", u"2026"),
            3u);
}

// A message of the class of folders is a message like any other; attachments saved without their
// contents come back empty, and the restore says how many.
TEST_F(MessagesTest, EveryMessageComesBackAndAttachmentsWithoutContentsAreCounted) {
  TestMessage message = HardMessage();
  message.properties.push_back(Text(platform::kTagMessageClass, kFolderRecordClass));
  Add(u"Mail", u"Inbox", message);
  MessagesDevice target;
  target.device_.WriteFile(kFile, harness_.Backup(worker_));
  const std::vector<std::u16string> rows =
      target.harness_.Restore(target.worker_, RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(std::vector<std::u16string>(rows.end() - 4, rows.end() - 2),
            (std::vector<std::u16string>{
                u"1 message inserted in the database.",
                u"2 attachments came back without their contents: the backup did not hold them."}));
  EXPECT_EQ(target.harness_.tally.attachments_without_contents, 2u);
  EXPECT_EQ(target.Count(u"Mail", u"Inbox"), 1u);
  EXPECT_EQ(target.FolderNames(u"Mail").size(), 5u);
}

// A message whose record would be longer than a restore reads leaves out what does not fit and
// says so - its attachments' contents, then the end of its body, each lone line break of which
// counts two - so that the restore takes the file.
TEST_F(MessagesTest, ARecordIsNeverLongerThanARestoreReads) {
  std::u16string body(records::kMaxRecordUnits - 1000, u'x');
  body.append(1000, u'\r');
  TestMessage message = Simple(u"Long", body);
  message.attachments = {{u"a.bin", Contents(3)}};
  Add(u"Mail", u"Inbox", message);
  harness_.messages_option.store_attachments = true;
  harness_.Backup(worker_);
  const std::vector<std::u16string> rows = harness_.page.Rows();
  EXPECT_EQ(std::ranges::count(rows,
                               u"The attachments of 'Long' are too large to be stored; the "
                               u"message is saved without them."),
            1);
  const auto cut = std::ranges::find_if(rows, [](const std::u16string& row) {
    return row.starts_with(
        u"The body of 'Long' is too long to be stored; the message is saved "
        u"with its first ");
  });
  ASSERT_NE(cut, rows.end());

  MessagesDevice target;
  target.device_.WriteFile(kFile, device_.ReadFile(kFile));
  target.harness_.Restore(target.worker_, RestoreMode::kDeleteAllFirst);
  EXPECT_EQ(target.harness_.tally.restored, 1u);
  const auto restored = target.Messages(u"Mail", u"Inbox");
  ASSERT_EQ(restored.size(), 1u);
  std::u16string restored_body;
  std::int32_t body_type = 0;
  restored[0]->GetBody(&restored_body, &body_type);
  // Kept: as many units as the row says, each lone CR reading back as CR LF.
  const std::size_t digits = cut->find_first_of(u"0123456789");
  const std::size_t kept =
      std::stoul(std::string(cut->begin() + digits, cut->begin() + cut->find(u' ', digits)));
  ASSERT_GT(kept, body.size() - 1000);
  EXPECT_EQ(restored_body.size(), kept + (kept - (body.size() - 1000)));
  EXPECT_TRUE(restored_body.starts_with(body.substr(0, body.size() - 1000)));
}

TEST_F(MessagesTest, DamagedFilesAreRefusedAndUnreadableRecordsPassedOver) {
  Add(u"Mail", u"Inbox", Simple(u"Kept", u""));
  const std::u16string header = kHeader;
  // Short of columns: the rest read as empty.
  const std::u16string message = u";;;;;Hi;;0;Archive;Mail\r\n";
  const auto restore = [&](std::string bytes) {
    device_.WriteFile(kFile, bytes);
    return harness_.Restore(worker_, RestoreMode::kDeleteAllFirst);
  };
  // No text at all, or a record left open at the end: refused before anything changes.
  EXPECT_EQ(restore(std::string("PK\x03\x04\0\0\x14\0", 8)),
            (std::vector<std::u16string>{
                u"Retrieving file records...",
                u"! Error (ERROR_CSV_BAD_HEADER) : Bad formatted header found.Nothing done."}));
  EXPECT_EQ(restore(kestrav::testing::Utf16FileBytes(header + message + u";;;;;\"cut off")),
            (std::vector<std::u16string>{
                u"Retrieving file records...",
                u"! Error (ERROR_CSV_BAD_RECORD) : Bad record found at line 3.Nothing done."}));
  EXPECT_EQ(restore(kestrav::testing::Utf16FileBytes(header)),
            (std::vector<std::u16string>{u"Retrieving file records...", u"0 record found in file.",
                                         u"No messages found. Nothing done"}));
  // A file that names no folder empties none.
  restore(kestrav::testing::Utf16FileBytes(header + u";;;;;Nowhere;;0;;Mail\r\n"));
  EXPECT_EQ(Count(u"Mail", u"Inbox"), 1u);

  // Whatever its header names, every record reads as the 21 columns. A folder the device lacks
  // is made at the top of its store; only the folders the file names are emptied first.
  restore(kestrav::testing::Utf16FileBytes(u"Name;Subject\r\n" + message));
  EXPECT_EQ(harness_.tally.restored, 1u);
  EXPECT_EQ(Count(u"Mail", u"Inbox"), 1u);
  std::vector<platform::MessageFolderRow> folders;
  Store(u"Mail")->GetHierarchy(&folders);
  EXPECT_EQ(folders.back().name, u"Archive");
  EXPECT_TRUE(folders.back().parent_id.empty());

  // A subject with a quote before a separator is written as it is and reads back split.
  const std::vector<std::u16string> rows = restore(kestrav::testing::Utf16FileBytes(
      header + u";;;;;\"Re: \"x\";y\";;0;Inbox;Mail;;;;;;;;0;;0;\r\n" + message +
      u";;;;;Bad;;0;Inbox;Mail;;;;;;;;2;\"1,a,b,c\";0;\r\n"));
  EXPECT_EQ(
      std::vector<std::u16string>(rows.begin() + 7, rows.end() - 2),
      (std::vector<std::u16string>{u"Inserting messages...",
                                   u"! Record 1 couldn't be read as a message; it is not restored.",
                                   u"! Record 3 couldn't be read as a message; it is not restored.",
                                   u"1 message inserted in the database."}));
  EXPECT_EQ(harness_.tally.records, 3u);
  EXPECT_EQ(harness_.tally.restored, 1u);
  Store(u"Mail")->GetHierarchy(&folders);
  EXPECT_EQ(folders.back().message_count, 1u);
}

TEST(MessageFolders, ExclusionRecordsAndChoices) {
  // 1044 bytes: the kind (2 a folder, 1 a store) and the two names' lengths in UTF-16 units as
  // 32-bit little-endian words, from byte 12 the names one after the other, the rest zero.
  const auto record_of = [](std::initializer_list<std::uint8_t> start) {
    ExclusionRecord record{};
    std::ranges::copy(start, record.begin());
    return record;
  };
  const ExclusionRecord folder =
      record_of({2,   0, 0,   0, 3,   0, 0,   0, 5,   0, 0, 0,  // a folder
                 'S', 0, 'M', 0, 'S', 0,                        // "SMS"
                 'I', 0, 'n', 0, 'b', 0, 'o', 0, 'x', 0});
  const ExclusionRecord store =
      record_of({1,    0,    0,    0,    7,   0, 0,   0, 0,   0, 0, 0,  // a store
                 0x3D, 0xD8, 0xE7, 0xDC,                                // U+1F4E7
                 ' ',  0,    'M',  0,    'a', 0, 'i', 0, 'l', 0});
  EXPECT_EQ(MakeExclusionRecord({u"SMS", u"Inbox"}), folder);
  EXPECT_EQ(ReadExclusionRecord(folder), (FolderExclusion{u"SMS", u"Inbox"}));
  EXPECT_EQ(MakeExclusionRecord({u"\U0001F4E7 Mail", std::nullopt}), store);
  EXPECT_EQ(ReadExclusionRecord(store), (FolderExclusion{u"\U0001F4E7 Mail", std::nullopt}));
  // The two names hold at most 516 units.
  EXPECT_TRUE(MakeExclusionRecord({std::u16string(300, u'x'), std::u16string(216, u'y')}));
  EXPECT_FALSE(MakeExclusionRecord({std::u16string(300, u'x'), std::u16string(217, u'y')}));
  ExclusionRecord junk{};
  EXPECT_FALSE(ReadExclusionRecord(junk));
  junk[0] = 1;
  junk[4] = 0xFF;
  junk[5] = 0xFF;
  EXPECT_FALSE(ReadExclusionRecord(junk));
  EXPECT_FALSE(ReadExclusionRecord(std::span(folder).first(1043)));

  const std::vector<platform::MessageFolderRow> folders = {
      {{1}, {}, u"Inbox", 0}, {{2}, {1}, u"Projects", 0}, {{3}, {}, u"Sent Items", 0}};
  const std::vector<StoreFolders> stores = {
      {u"ActiveSync", folders}, {u"SMS", folders}, {u"Mail", folders}};
  std::vector<std::u16string> unknown;
  const std::vector<std::u16string> choices = {u"Text Messages", u"Mail/Projects", u"Mail/Nowhere"};
  EXPECT_EQ(ExclusionsKeeping(stores, choices, &unknown),
            (std::vector<FolderExclusion>{
                {u"ActiveSync", std::nullopt}, {u"Mail", u"Inbox"}, {u"Mail", u"Sent Items"}}));
  EXPECT_EQ(unknown, std::vector<std::u16string>{u"Mail/Nowhere"});
  EXPECT_EQ(FolderLabel(u"Inbox", 12), u"Inbox(12)");
}

}  // namespace
}  // namespace kestrav::messages
