#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/testing/kind_harness.h"
#include "messages/message_folders.h"
#include "messages/message_record.h"
#include "messages/messages_worker.h"
#include "platform/test_support/temporary_device.h"
#include "platform/time.h"

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

// A device with message stores, and what a test puts in them.
class MessagesTest : public ::testing::Test {
 protected:
  MessagesTest() {
    device_.device().messages().Initialize();
    device_.device().messages().Logon(&session_);
  }
  ~MessagesTest() override {
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

  kestrav::testing::TemporaryDevice device_;
  std::unique_ptr<MessageSession> session_;
  engine::testing::KindHarness harness_{device_, ItemKind::kMessages, kFile};
  MessagesWorker worker_{device_.device()};
};

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
  for (auto& row : restore.Restore(fresh_worker, RestoreMode::kDeleteAllFirst)) fprintf(stderr, "%s\n", std::string(row.begin(), row.end()).c_str());
  restore.messages_option.store_attachments = true;
  EXPECT_EQ(restore.Backup(fresh_worker), first);
}

}  // namespace
}  // namespace kestrav::messages
