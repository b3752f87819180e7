#include "platform/host/sqlite_message_store.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/host/host_device.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::platform::host {
namespace {

PropertyValue Property(std::uint32_t tag) {
  PropertyValue value;
  value.id = tag;
  return value;
}

std::vector<std::uint8_t> Contents(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t at = 0; at < size; ++at)
    bytes[at] = static_cast<std::uint8_t>(at * 7 + at / 251);
  return bytes;
}

class SqliteMessageStoreTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(runtime_.Initialize(), kSOk); }

  std::unique_ptr<MessageSession> Logon() {
    std::unique_ptr<MessageSession> session;
    EXPECT_EQ(runtime_.Logon(&session), kSOk);
    return session;
  }
  std::unique_ptr<MessageStore> OpenStore(MessageSession& session, std::u16string_view name) {
    std::vector<MessageStoreRow> stores;
    EXPECT_EQ(session.GetStores(&stores), kSOk);
    std::unique_ptr<MessageStore> store;
    for (const MessageStoreRow& row : stores) {
      if (row.display_name == name) {
        EXPECT_EQ(session.OpenStore(row.entry_id, &store), kSOk);
      }
    }
    return store;
  }
  std::unique_ptr<MessageFolder> OpenFolder(MessageStore& store, std::u16string_view name) {
    std::unique_ptr<MessageFolder> folder;
    EXPECT_EQ(store.OpenFolderByName(name, &folder), kSOk);
    return folder;
  }

  kestrav::testing::TemporaryDevice device_;
  SqliteMessageRuntime runtime_{device_.files()};
};

TEST_F(SqliteMessageStoreTest, ANewProfileHoldsThreeStoresWithTheWellKnownFolders) {
  SqliteMessageRuntime fresh(device_.files());
  std::unique_ptr<MessageSession> session;
  EXPECT_EQ(fresh.Logon(&session), kENotInitialized);

  session = Logon();
  std::vector<MessageStoreRow> stores;
  ASSERT_EQ(session->GetStores(&stores), kSOk);
  ASSERT_EQ(stores.size(), 3u);
  for (std::size_t index = 0; index < stores.size(); ++index) {
    EXPECT_EQ(stores[index].display_name, kMessageStores[index]);
    std::unique_ptr<MessageStore> store;
    ASSERT_EQ(session->OpenStore(stores[index].entry_id, &store), kSOk);
    EXPECT_EQ(store->display_name(), kMessageStores[index]);
    std::vector<MessageFolderRow> folders;
    ASSERT_EQ(store->GetHierarchy(&folders), kSOk);
    ASSERT_EQ(folders.size(), std::size(kWellKnownMessageFolders));
    for (std::size_t folder = 0; folder < folders.size(); ++folder) {
      EXPECT_EQ(folders[folder].name, kWellKnownMessageFolders[folder]);
      EXPECT_TRUE(folders[folder].parent_id.empty());
      EXPECT_EQ(folders[folder].message_count, 0u);
    }
  }
  // A folder id of one store does not open in another, nor a store id as a folder.
  std::unique_ptr<MessageStore> sms = OpenStore(*session, u"SMS");
  std::unique_ptr<MessageStore> mail = OpenStore(*session, u"Mail");
  std::unique_ptr<MessageFolder> folder;
  EXPECT_EQ(mail->OpenFolder(OpenFolder(*sms, u"Inbox")->entry_id(), &folder), kENotFound);
  EXPECT_EQ(mail->OpenFolder(mail->entry_id(), &folder), kENotFound);
}

// Everything a message carries comes back as it was set, the attachment byte for byte across
// several chunks; a message is in its folder only once saved, and goes when deleted.
TEST_F(SqliteMessageStoreTest, AMessageComesBackWithEverythingItCarries) {
  const std::vector<std::uint8_t> contents = Contents(3 * kAttachmentChunkBytes + 17);
  std::vector<PropertyValue> properties;
  for (const std::uint32_t tag : {kTagSenderName, kTagSenderAddress, kTagSenderAddressType,
                                  kTagSubjectPrefix, kTagMessageClass}) {
    properties.push_back(Property(tag));
    properties.back().text = u"Zoë \xD800; \"Ω\" " + std::u16string(1, char16_t(tag & 0xFF));
  }
  properties.push_back(Property(kTagMessageIdBytes));
  properties.back().bytes = {0, 1, 0xFE, 0xFF};
  for (const std::uint32_t tag :
       {kTagContentLength, kTagMessageSize, kTagMessageFlags, kTagMessageStatus}) {
    properties.push_back(Property(tag));
    properties.back().integer = -static_cast<std::int32_t>(tag >> 16);
  }
  for (const std::uint32_t tag : {kTagLastModificationTime, kTagDeliveryTime}) {
    properties.push_back(Property(tag));
    properties.back().file_time = 128'190'000'000'000'000ULL + tag;
  }
  const std::vector<MessageRecipient> recipients = {
      {RecipientKind::kTo, u"Анна", u"anna@example.org", u"SMTP"},
      {RecipientKind::kCc, u"", u"+44 20 7946 0000", u"SMS"},
      {RecipientKind::kBcc, u"李", u"li@example.com", u"SMTP"}};
  std::vector<std::uint32_t> tags;
  for (const PropertyValue& value : properties) tags.push_back(value.id);

  EntryId saved_id;
  {
    std::unique_ptr<MessageSession> session = Logon();
    std::unique_ptr<MessageFolder> inbox = OpenFolder(*OpenStore(*session, u"Mail"), u"Inbox");
    std::unique_ptr<Message> message;
    ASSERT_EQ(inbox->CreateMessage(&message), kSOk);
    ASSERT_EQ(message->SetProperties(properties), kSOk);
    ASSERT_EQ(message->SetSubject(u"Re: ;quarterly\r\nreport"), kSOk);
    ASSERT_EQ(message->SetBody(u"Line 1\r\nLine 2", 2), kSOk);
    ASSERT_EQ(message->SetRecipients({{RecipientKind::kTo, u"x", u"y", u"z"}}), kSOk);
    ASSERT_EQ(message->SetRecipients(recipients), kSOk);
    std::int64_t number = 0;
    ASSERT_EQ(message->AddAttachment(u"report.pdf", 1, contents.size(), &number), kSOk);
    EXPECT_EQ(message->WriteAttachment(number, 0, contents), kEInvalidArgument);
    for (std::size_t at = 0; at < contents.size(); at += kAttachmentChunkBytes) {
      const std::size_t length = std::min(kAttachmentChunkBytes, contents.size() - at);
      ASSERT_EQ(message->WriteAttachment(number, at, {contents.data() + at, length}), kSOk);
    }
    ASSERT_EQ(message->AddAttachment(u"empty.txt", 1, 0, &number), kSOk);
    std::vector<EntryId> listed;
    ASSERT_EQ(inbox->GetContents(&listed), kSOk);
    EXPECT_TRUE(listed.empty());
    ASSERT_EQ(message->Save(), kSOk);
    ASSERT_EQ(inbox->GetContents(&listed), kSOk);
    EXPECT_EQ(listed, std::vector<EntryId>{message->entry_id()});
    saved_id = message->entry_id();
    EXPECT_EQ(message->SetProperties({Property(0x00010005)}), kEInvalidArgument);
  }

  std::unique_ptr<MessageSession> session = Logon();
  std::unique_ptr<MessageStore> mail = OpenStore(*session, u"Mail");
  std::vector<MessageFolderRow> folders;
  ASSERT_EQ(mail->GetHierarchy(&folders), kSOk);
  EXPECT_EQ(folders[0].message_count, 1u);
  std::unique_ptr<MessageFolder> inbox = OpenFolder(*mail, u"Inbox");
  std::unique_ptr<Message> message;
  ASSERT_EQ(inbox->OpenMessage(saved_id, &message), kSOk);
  std::vector<PropertyValue> read;
  ASSERT_EQ(message->GetProperties(tags, &read), kSOk);
  EXPECT_EQ(read, properties);
  std::u16string text;
  std::int32_t body_type = 0;
  ASSERT_EQ(message->GetSubject(&text), kSOk);
  EXPECT_EQ(text, u"Re: ;quarterly\r\nreport");
  ASSERT_EQ(message->GetBody(&text, &body_type), kSOk);
  EXPECT_EQ(text, u"Line 1\r\nLine 2");
  EXPECT_EQ(body_type, 2);
  std::vector<MessageRecipient> read_recipients;
  ASSERT_EQ(message->GetRecipients(&read_recipients), kSOk);
  EXPECT_EQ(read_recipients, recipients);
  std::vector<MessageAttachment> attachments;
  ASSERT_EQ(message->GetAttachments(&attachments), kSOk);
  ASSERT_EQ(attachments.size(), 2u);
  EXPECT_EQ(attachments[0].file_name, u"report.pdf");
  EXPECT_EQ(attachments[0].method, 1);
  EXPECT_EQ(attachments[0].size, contents.size());
  EXPECT_EQ(attachments[1].size, 0u);
  std::vector<std::uint8_t> back;
  std::vector<std::uint8_t> chunk(kAttachmentChunkBytes - 1);
  std::size_t got = 0;
  while (message->ReadAttachment(attachments[0].number, back.size(), chunk, &got) == kSOk &&
         got != 0) {
    back.insert(back.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(got));
  }
  EXPECT_EQ(back, contents);

  // A removed property reads as not found; a deleted message leaves its folder.
  ASSERT_EQ(message->SetProperties({Property(kTagSenderName)}), kSOk);
  PropertyValue removed = Property(kTagSenderName);
  removed.flags = kPropertyDelete;
  ASSERT_EQ(message->SetProperties({removed}), kSOk);
  ASSERT_EQ(message->GetProperties({kTagSenderName}, &read), kSOk);
  EXPECT_EQ(read[0].flags, kPropertyNotFound);
  EXPECT_EQ(inbox->DeleteMessages({saved_id, EntryId{9}}), kWPartialCompletion);
  std::vector<EntryId> listed;
  ASSERT_EQ(inbox->GetContents(&listed), kSOk);
  EXPECT_TRUE(listed.empty());
  ASSERT_EQ(session->Logoff(), kSOk);
  EXPECT_EQ(inbox->GetContents(&listed), kEFail);
}

// A message dropped unsaved, or an attachment given up before its last byte, is not kept.
TEST_F(SqliteMessageStoreTest, WhatIsLeftHalfDoneIsNotKept) {
  std::unique_ptr<MessageSession> session = Logon();
  std::unique_ptr<MessageFolder> drafts = OpenFolder(*OpenStore(*session, u"SMS"), u"Drafts");
  std::unique_ptr<Message> message;
  ASSERT_EQ(drafts->CreateMessage(&message), kSOk);
  std::int64_t number = 0;
  ASSERT_EQ(message->AddAttachment(u"photo.jpg", 1, 10, &number), kSOk);
  ASSERT_EQ(message->WriteAttachment(number, 0, Contents(4)), kSOk);
  ASSERT_EQ(message->Save(), kSOk);
  EXPECT_EQ(message->WriteAttachment(number, 4, Contents(6)), kEInvalidArgument);
  std::vector<MessageAttachment> attachments;
  ASSERT_EQ(message->GetAttachments(&attachments), kSOk);
  EXPECT_TRUE(attachments.empty());

  std::unique_ptr<Message> unsaved;
  ASSERT_EQ(drafts->CreateMessage(&unsaved), kSOk);
  const EntryId unsaved_id = unsaved->entry_id();
  unsaved.reset();
  EXPECT_EQ(drafts->OpenMessage(unsaved_id, &unsaved), kENotFound);
  std::vector<EntryId> listed;
  ASSERT_EQ(drafts->GetContents(&listed), kSOk);
  EXPECT_EQ(listed, std::vector<EntryId>{message->entry_id()});

  // One whose program ended before saving it goes at the next log-on; one being made stays.
  std::unique_ptr<Message> orphan;
  ASSERT_EQ(drafts->CreateMessage(&orphan), kSOk);
  ASSERT_EQ(drafts->CreateMessage(&unsaved), kSOk);
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(device_.HostPath(kMessageStoreFile).c_str(), &other), SQLITE_OK);
  const auto unsaved_rows = [&] {
    sqlite3_stmt* count = nullptr;
    sqlite3_prepare_v2(other, "SELECT COUNT(*) FROM messages WHERE saved = 0", -1, &count, nullptr);
    sqlite3_step(count);
    const int rows = sqlite3_column_int(count, 0);
    sqlite3_finalize(count);
    return rows;
  };
  ASSERT_EQ(sqlite3_exec(other,
                         "UPDATE unsaved_messages SET process_start = -1 WHERE message_id = "
                         "(SELECT MIN(message_id) FROM unsaved_messages)",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  Logon();
  EXPECT_EQ(unsaved_rows(), 1);
  ASSERT_EQ(unsaved->Save(), kSOk);
  EXPECT_EQ(unsaved_rows(), 0);
  sqlite3_close(other);
}

// In a job's batches, each session reads what the others wrote; another program sees it once a
// batch commits.
TEST_F(SqliteMessageStoreTest, AJobsSessionsReadWhatEachOtherWroteInBatches) {
  runtime_.BeginJobBatches(100, std::chrono::hours(1));
  std::unique_ptr<MessageSession> writer = Logon();
  std::unique_ptr<MessageFolder> inbox = OpenFolder(*OpenStore(*writer, u"SMS"), u"Inbox");
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(device_.HostPath(kMessageStoreFile).c_str(), &other), SQLITE_OK);
  const auto saved_elsewhere = [&] {
    sqlite3_stmt* count = nullptr;
    sqlite3_prepare_v2(other, "SELECT COUNT(*) FROM messages WHERE saved = 1", -1, &count, nullptr);
    sqlite3_step(count);
    const int rows = sqlite3_column_int(count, 0);
    sqlite3_finalize(count);
    return rows;
  };
  const auto add_message = [&] {
    std::unique_ptr<Message> message;
    EXPECT_EQ(inbox->CreateMessage(&message), kSOk);
    std::int64_t number = 0;
    EXPECT_EQ(message->AddAttachment(u"photo.jpg", 1, 10, &number), kSOk);
    EXPECT_EQ(message->WriteAttachment(number, 0, Contents(10)), kSOk);
    EXPECT_EQ(message->Save(), kSOk);
  };
  add_message();
  EXPECT_EQ(saved_elsewhere(), 0);

  std::unique_ptr<MessageSession> reader = Logon();
  std::unique_ptr<MessageFolder> read_inbox = OpenFolder(*OpenStore(*reader, u"SMS"), u"Inbox");
  add_message();
  std::vector<EntryId> listed;
  ASSERT_EQ(read_inbox->GetContents(&listed), kSOk);
  EXPECT_EQ(listed.size(), 2u);
  EXPECT_EQ(saved_elsewhere(), 2);
  add_message();
  EXPECT_TRUE(runtime_.EndJobBatches());
  EXPECT_EQ(saved_elsewhere(), 3);
  sqlite3_close(other);
}

// Recipients are added in pieces after those there, and both tables read a piece at a time, an
// attachment's contents read between two pieces.
TEST_F(SqliteMessageStoreTest, TablesReadAndRecipientsAddInPieces) {
  std::unique_ptr<MessageSession> session = Logon();
  std::unique_ptr<MessageFolder> inbox = OpenFolder(*OpenStore(*session, u"Mail"), u"Inbox");
  std::unique_ptr<Message> message;
  ASSERT_EQ(inbox->CreateMessage(&message), kSOk);
  const std::vector<MessageRecipient> recipients = {{RecipientKind::kTo, u"a", u"", u""},
                                                    {RecipientKind::kCc, u"b", u"", u""},
                                                    {RecipientKind::kBcc, u"c", u"", u""},
                                                    {RecipientKind::kTo, u"d", u"", u""}};
  ASSERT_EQ(message->SetRecipients({recipients[0]}), kSOk);
  ASSERT_EQ(message->AddRecipients({recipients[1], recipients[2]}), kSOk);
  MessageRecipient odd = recipients[3];
  odd.kind = static_cast<RecipientKind>(4);
  EXPECT_EQ(message->AddRecipients({recipients[3], odd}), kEInvalidArgument);
  ASSERT_EQ(message->AddRecipients({recipients[3]}), kSOk);
  const std::vector<std::uint8_t> contents = Contents(kAttachmentChunkBytes + 1);
  std::int64_t number = 0;
  for (const char16_t* name : {u"one", u"two", u"three"}) {
    ASSERT_EQ(message->AddAttachment(name, 1, contents.size(), &number), kSOk);
    ASSERT_EQ(message->WriteAttachment(number, 0, std::span(contents).first(kAttachmentChunkBytes)),
              kSOk);
    ASSERT_EQ(message->WriteAttachment(number, kAttachmentChunkBytes,
                                       std::span(contents).subspan(kAttachmentChunkBytes)),
              kSOk);
  }
  ASSERT_EQ(message->Save(), kSOk);

  std::unique_ptr<MessageTable<MessageRecipient>> recipient_table;
  ASSERT_EQ(message->OpenRecipientTable(&recipient_table), kSOk);
  std::vector<MessageRecipient> piece;
  ASSERT_EQ(recipient_table->QueryRows(3, &piece), kSOk);
  EXPECT_EQ(piece, std::vector(recipients.begin(), recipients.begin() + 3));
  ASSERT_EQ(recipient_table->QueryRows(3, &piece), kSOk);
  EXPECT_EQ(piece, std::vector{recipients[3]});
  ASSERT_EQ(recipient_table->QueryRows(3, &piece), kSOk);
  EXPECT_TRUE(piece.empty());

  std::unique_ptr<MessageTable<MessageAttachment>> attachment_table;
  ASSERT_EQ(message->OpenAttachmentTable(&attachment_table), kSOk);
  std::vector<MessageAttachment> rows;
  ASSERT_EQ(attachment_table->QueryRows(1, &rows), kSOk);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].file_name, u"one");
  std::vector<std::uint8_t> chunk(kAttachmentChunkBytes);
  std::size_t read = 0;
  ASSERT_EQ(message->ReadAttachment(rows[0].number, 0, chunk, &read), kSOk);
  EXPECT_EQ(read, kAttachmentChunkBytes);
  ASSERT_EQ(attachment_table->QueryRows(5, &rows), kSOk);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[1].file_name, u"three");
  EXPECT_EQ(rows[1].size, contents.size());
  ASSERT_EQ(attachment_table->QueryRows(5, &rows), kSOk);
  EXPECT_TRUE(rows.empty());
  ASSERT_EQ(session->Logoff(), kSOk);
  EXPECT_EQ(recipient_table->QueryRows(1, &piece), kEFail);
}

TEST_F(SqliteMessageStoreTest, UserFoldersNestBelowTheWellKnownOnes) {
  std::unique_ptr<MessageSession> session = Logon();
  std::unique_ptr<MessageStore> mail = OpenStore(*session, u"Mail");
  EntryId projects, year, archive;
  ASSERT_EQ(runtime_.CreateFolder(OpenFolder(*mail, u"Inbox")->entry_id(), u"Projects", &projects),
            kSOk);
  ASSERT_EQ(
      runtime_.CreateFolder(OpenFolder(*mail, u"Sent Items")->entry_id(), u"Archive", &archive),
      kSOk);
  ASSERT_EQ(runtime_.CreateFolder(projects, u"2007", &year), kSOk);
  EXPECT_EQ(runtime_.CreateFolder(mail->entry_id(), u"Nowhere", &archive), kENotFound);

  std::vector<MessageFolderRow> folders;
  ASSERT_EQ(mail->GetHierarchy(&folders), kSOk);
  std::vector<std::u16string> names;
  for (const MessageFolderRow& folder : folders) names.push_back(folder.name);
  EXPECT_EQ(names,
            (std::vector<std::u16string>{u"Inbox", u"Projects", u"2007", u"Outbox",
                                         u"Deleted Items", u"Drafts", u"Sent Items", u"Archive"}));
  EXPECT_EQ(folders[2].parent_id, projects);
  EXPECT_EQ(OpenFolder(*mail, u"2007")->entry_id(), year);
  std::unique_ptr<MessageFolder> none;
  EXPECT_EQ(OpenStore(*session, u"SMS")->OpenFolderByName(u"2007", &none), kENotFound);
}

// Another program holding the file's lock past the wait makes a failed device: every object,
// and the next logon, answer the failure until it is cleared; nothing is lost.
TEST_F(SqliteMessageStoreTest, AHostFailureMakesAFailedDevice) {
  SqliteMessageRuntime impatient(device_.files(), 50);
  ASSERT_EQ(impatient.Initialize(), kSOk);
  std::unique_ptr<MessageSession> session;
  ASSERT_EQ(impatient.Logon(&session), kSOk);
  std::unique_ptr<MessageFolder> inbox = OpenFolder(*OpenStore(*session, u"Mail"), u"Inbox");
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(device_.HostPath(kMessageStoreFile).c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);

  std::unique_ptr<Message> message;
  EXPECT_EQ(inbox->CreateMessage(&message), kEBusy);
  std::vector<EntryId> listed;
  EXPECT_EQ(inbox->GetContents(&listed), kEBusy);
  EXPECT_EQ(impatient.Logon(&session), kEBusy);
  EXPECT_EQ(impatient.FailureText(),
            u"\\cemail.vol: another program held its lock for longer than 50 ms");

  sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(other);
  impatient.ClearFailure();
  EXPECT_EQ(impatient.FailureText(), u"");
  ASSERT_EQ(impatient.Logon(&session), kSOk);
  EXPECT_EQ(OpenFolder(*OpenStore(*session, u"Mail"), u"Inbox")->GetContents(&listed), kSOk);
}

TEST_F(SqliteMessageStoreTest, ADamagedOrLinkedFileIsAFailedDevice) {
  const std::filesystem::path file = device_.HostPath(kMessageStoreFile);
  std::filesystem::rename(file, device_.HostPath(u"\\elsewhere.vol"));
  std::filesystem::create_symlink(device_.HostPath(u"\\elsewhere.vol"), file);
  std::unique_ptr<MessageSession> session;
  EXPECT_EQ(runtime_.Logon(&session), kEFail);
  EXPECT_EQ(runtime_.FailureText(), u"\\cemail.vol: the file is reached through a symbolic link");

  std::filesystem::remove(file);
  device_.WriteFile(kMessageStoreFile, std::string(4096, 'x'));
  runtime_.ClearFailure();
  EXPECT_EQ(runtime_.Logon(&session), kECorruptData);
  EXPECT_EQ(runtime_.FailureText(), u"\\cemail.vol: the file is damaged");
}

// A profile made before the message stores existed opens, and its messaging holds no store.
TEST(MessageStoreProfile, AProfileWithoutTheFileHasNoStore) {
  kestrav::testing::TemporaryFolder folder;
  std::string error;
  ASSERT_TRUE(CreateDeviceProfile(folder.path(), {}, &error)) << error;
  std::filesystem::remove(folder.path() / "fs" / "cemail.vol");
  auto host = HostDevice::OpenProfile(folder.path(), &error);
  ASSERT_NE(host, nullptr) << error;
  MessageRuntime& messages = host->device().messages();
  ASSERT_EQ(messages.Initialize(), kSOk);
  std::unique_ptr<MessageSession> session;
  ASSERT_EQ(messages.Logon(&session), kSOk);
  std::vector<MessageStoreRow> stores{{}};
  EXPECT_EQ(session->GetStores(&stores), kSOk);
  EXPECT_TRUE(stores.empty());
  std::unique_ptr<MessageStore> store;
  EXPECT_EQ(session->OpenStore(EntryId{1}, &store), kENotFound);
  EXPECT_EQ(host->messages()->FailureText(), u"");
  messages.Uninitialize();
}

}  // namespace
}  // namespace kestrav::platform::host
