// The reader on real backups of the sample device, and on record files written as the formats
// are documented.
#include "inspect/backup_reader.h"

#include <gtest/gtest.h>

#include <map>

#include "kinds/jobs.h"
#include "kinds/kinds.h"
#include "platform/test_support/temporary_device.h"
#include "profile/sample_data.h"
#include "records/archive.h"

namespace kestrav::inspect {
namespace {

using engine::ItemKind;

// Keeps what a read gave, kind by kind.
class Recorder : public ItemVisitor {
 public:
  void BeginKind(const KindSummary& summary) override { begun.push_back(summary.kind); }
  void Contact(std::uint64_t, const outlook::DecodedContact& contact) override {
    contacts.push_back(contact);
  }
  void Appointment(std::uint64_t, const outlook::DecodedAppointment& appointment) override {
    if (appointment.recurrence) ++recurring_appointments;
  }
  void CallLog(std::uint64_t number, const devicedb::DecodedCallLog& call) override {
    calls.emplace_back(number, call);
  }
  void Message(std::uint64_t, const messages::MessageRecord& message) override {
    if (message.is_folder) return;
    ++messages;
    messages::ItemList attachments(message.attachments);
    messages::AttachmentItem attachment;
    for (std::u16string_view item; attachments.Next(&item);) {
      ASSERT_TRUE(messages::ReadAttachment(item, &attachment));
      if (!attachment.contents) continue;
      std::uint64_t decoded = 0;
      EXPECT_TRUE(messages::DecodeAttachmentContents(*attachment.contents,
                                                     [&](std::span<const std::uint8_t> piece) {
                                                       decoded += piece.size();
                                                       return true;
                                                     }));
      EXPECT_EQ(decoded, attachment.size);
      attachment_bytes += decoded;
    }
  }
  void Defect(const KindSummary&, std::uint64_t record, std::u16string_view why) override {
    defects.emplace_back(record, why);
  }
  void EndKind(const KindSummary& summary) override { ended[summary.kind] = summary; }
  void MemberFault(std::u16string_view, std::u16string_view member, MemberProblem,
                   std::u16string_view) override {
    faults.emplace_back(member);
  }

  std::vector<ItemKind> begun;
  std::map<ItemKind, KindSummary> ended;
  std::vector<outlook::DecodedContact> contacts;
  std::uint64_t recurring_appointments = 0;
  std::vector<std::pair<std::uint64_t, devicedb::DecodedCallLog>> calls;
  std::uint64_t messages = 0;
  std::uint64_t attachment_bytes = 0;
  std::vector<std::pair<std::uint64_t, std::u16string>> defects;
  std::vector<std::u16string> faults;
};

TEST(BackupReader, EveryItemOfTheSampleBackupAsTheDeviceHoldsIt) {
  kestrav::testing::TemporaryDevice device;
  std::string error;
  ASSERT_TRUE(profile::FillSampleData(device.device(), 1, &error)) << error;
  engine::BackupJob job;
  job.archive_file = u"\\b.qbk";
  for (const kinds::KindRow& row : kinds::AllKinds()) job.kinds.push_back(row.kind);
  job.messages_option.store_attachments = true;
  ASSERT_EQ(kinds::RunBackupJob(device.device(), job, nullptr, nullptr), u"");
  ASSERT_EQ(device.files().CreateFolder(u"\\Scratch"), platform::kErrorSuccess);

  Recorder recorder;
  ASSERT_EQ(ReadBackup(device.device(), u"\\b.qbk", u"\\Scratch\\", {}, recorder), 0);
  EXPECT_TRUE(recorder.defects.empty());
  EXPECT_TRUE(recorder.faults.empty());
  EXPECT_EQ(recorder.begun.size(), 6u);
  for (const kinds::KindRow& row : kinds::AllKinds()) {
    SCOPED_TRACE(static_cast<int>(row.kind));
    const KindSummary& summary = recorder.ended.at(row.kind);
    EXPECT_EQ(summary.header, HeaderVerdict::kAccepted);
    EXPECT_EQ(summary.undecodable, 0u);
    EXPECT_EQ(summary.read_error, 0);
    if (row.kind != ItemKind::kMessages) {
      EXPECT_EQ(summary.items, row.count_items(device.device()));
    }
  }
  EXPECT_EQ(recorder.messages, kinds::FindKind(ItemKind::kMessages)->count_items(device.device()));
  EXPECT_EQ(recorder.ended.at(ItemKind::kCallLogs).stated_count,
            recorder.ended.at(ItemKind::kCallLogs).items);
  EXPECT_GT(recorder.recurring_appointments, 0u);
  EXPECT_GT(recorder.attachment_bytes, 0u);
  // The members passed through the scratch folder and left it empty.
  EXPECT_TRUE(device.files().Find(u"\\Scratch\\*").empty());

  // Only the kinds asked for.
  Recorder contacts_only;
  ReadOptions options;
  options.kinds = {ItemKind::kContacts};
  ASSERT_EQ(ReadBackup(device.device(), u"\\b.qbk", u"\\Scratch\\", options, contacts_only), 0);
  EXPECT_EQ(contacts_only.begun, std::vector<ItemKind>{ItemKind::kContacts});
  ASSERT_FALSE(contacts_only.contacts.empty());
  const outlook::DecodedContact& zoe = contacts_only.contacts.front();
  EXPECT_EQ(zoe.name(), u"Åkerlund, Zoë");
  EXPECT_EQ(zoe.Field(u"Mobile Phone"), u"+44 20 7946 0018");
  EXPECT_EQ(zoe.notes, u"Met at the Umeå fair.\r\nPrefers texts to calls.");
  EXPECT_FALSE(zoe.picture.empty());
  double birthday = 0;
  ASSERT_TRUE(platform::SystemTimeToOleDate({.year = 1977, .month = 8, .day = 28}, &birthday));
  EXPECT_EQ(zoe.dates[54], birthday);
}

}  // namespace
}  // namespace kestrav::inspect

namespace kestrav::inspect {
namespace {

// The call logs' signature: each byte of "Kestrav PIM records!" one more.
constexpr char16_t kCallLogSignature[] =
    u"\"0x4c,0x66,0x74,0x75,0x73,0x62,0x77,0x21,0x51,0x4a,0x4e,0x21,0x73,0x66,0x64,0x70,0x73,"
    u"0x65,0x74,0x22\"\r\n";

TEST(BackupReader, CallLogLinesAsTheRestoreReadsThem) {
  kestrav::testing::TemporaryDevice device;
  std::u16string file = kCallLogSignature;
  file += u"\"0x05,0x00,0x00,0x00\"\r\n";  // the count row: 5, though two records follow
  // An outgoing call of 90 seconds on 15 March 2007, 10:00 UTC.
  file +=
      u"\"0x05,0x00\";\"0x40,0x00,0x02,0x00\";\"0x40,0x00,0x03,0x00\";\"0x13,0x00,0x04,0x00\";"
      u"\"0x1f,0x00,0x05,0x00\";\"0x1f,0x00,0x06,0x00\";"
      u"0x00,0xd0,0x83,0xb1,0xe8,0x66,0xc7,0x01;0x00,0xb9,0x28,0xe7,0xe8,0x66,0xc7,0x01;3;"
      u"+44 20 7946 0018;Zoë;\r\n";
  // The backup found no name: the identifier is there without its value, so the number's text
  // is read as the name, as the device's restore reads it.
  file += u"\"0x02,0x00\";\"0x1f,0x00,0x06,0x00\";\"0x1f,0x00,0x05,0x00\";+1 415 555 0199;\r\n";
  // A row of no property holds nothing; a count that is no byte list is a record lost.
  file += u"\"0x00,0x00\";\r\nzz;\r\n";
  device.WriteFile(u"\\clogs.csl", kestrav::testing::Utf16FileBytes(file));

  Recorder recorder;
  ASSERT_EQ(ReadBackup(device.device(), u"\\clogs.csl", u"\\", {}, recorder), 0);
  const KindSummary& summary = recorder.ended.at(ItemKind::kCallLogs);
  EXPECT_EQ(summary.member, u"clogs.csl");
  EXPECT_EQ(summary.header, HeaderVerdict::kAccepted);
  EXPECT_EQ(summary.header_text, u"Valid call logs header format.");
  EXPECT_EQ(summary.stated_count, 5u);
  EXPECT_EQ(summary.records, 3u);
  EXPECT_EQ(summary.items, 2u);
  ASSERT_EQ(recorder.defects.size(), 1u);
  EXPECT_EQ(recorder.defects[0].first, 3u);

  ASSERT_EQ(recorder.calls.size(), 2u);
  const devicedb::DecodedCallLog& call = recorder.calls[0].second;
  EXPECT_EQ(call.direction(), devicedb::CallDirection::kOutgoing);
  EXPECT_EQ(call.duration_seconds(), 90u);
  EXPECT_EQ(call.start, 0x01c766e8b183d000u);
  EXPECT_EQ(call.number, u"+44 20 7946 0018");
  EXPECT_EQ(call.name, u"Zoë");
  EXPECT_EQ(call.properties.size(), 5u);
  const devicedb::DecodedCallLog& shifted = recorder.calls[1].second;
  EXPECT_EQ(shifted.name, u"+1 415 555 0199");
  EXPECT_EQ(shifted.number, u"");
  EXPECT_EQ(shifted.direction(), devicedb::CallDirection::kMissed);
}

TEST(BackupReader, RefusesWhatARestoreRefuses) {
  kestrav::testing::TemporaryDevice device;
  // A tasks file opening with the call logs' signature.
  device.WriteFile(
      u"\\t.cst", kestrav::testing::Utf16FileBytes(std::u16string(kCallLogSignature) + u"x;y\r\n"));
  Recorder recorder;
  ASSERT_EQ(ReadBackup(device.device(), u"\\t.cst", u"\\", {}, recorder), 0);
  EXPECT_EQ(recorder.ended.at(ItemKind::kTasks).header, HeaderVerdict::kRefused);
  EXPECT_EQ(recorder.ended.at(ItemKind::kTasks).records, 0u);

  device.WriteFile(u"\\not.qbk", "PK\x03\x04 not an archive");
  EXPECT_NE(ReadBackup(device.device(), u"\\not.qbk", u"\\", {}, recorder), 0);
}

// Lines written as docs/outlook-items.md and docs/speed-dials.md lay them out.
TEST(BackupReader, AppointmentAndSpeedDialLinesAsDocumented) {
  kestrav::testing::TemporaryDevice device;
  // "Kestrav PIM records!", then an appointment whose count says 3 recipients but whose line
  // holds one pair before its (empty) recurrence block and exceptions.
  device.WriteFile(
      u"\\a.csa",
      kestrav::testing::Utf16FileBytes(
          u"\"0x4b,0x65,0x73,0x74,0x72,0x61,0x76,0x20,0x50,0x49,0x4d,0x20,0x72,0x65,0x63,0x6f,"
          u"0x72,0x64,0x73,0x21\"\r\n"
          u"Review;;;;\"0x02,0x00,0x00,0x00\";;;;;Room 4;;;;;;;;\"0x03,0x00,0x00,0x00\";Ann;"
          u"ann@example.org;;\r\n"));
  // Each byte of the signature two less; a dial at position 2 whose head names contact 7's
  // mobile phone (0x0096001F), with the phone text "+1" after the head.
  device.WriteFile(
      u"\\d.csd",
      kestrav::testing::Utf16FileBytes(
          u"\"0x49,0x63,0x71,0x72,0x70,0x5f,0x74,0x1e,0x4e,0x47,0x4b,0x1e,0x70,0x63,0x61,0x6d,"
          u"0x70,0x62,0x71,0x1f\"\r\n\"0x01,0x00,0x00,0x00\"\r\n"
          u"\"0x03,0x00\";\"0x12,0x00,0x01,0x00\";\"0x41,0x00,0x02,0x00\";\"0x1f,0x00,0x03,0x00\";"
          u"2;"
          u"0x00,0x00,0x00,0x00,0x00,0x00,0x00,0x00,0x00,0x00,0x00,0x00,0x07,0x00,0x00,0x00,"
          u"0x1f,0x00,0x96,0x00,0x00,0x00,0x00,0x00,0x00,0x00,0x00,0x00,0x2b,0x00,0x31,0x00;"
          u"Mobile;\r\n"));

  class Lines : public Recorder {
   public:
    void Appointment(std::uint64_t, const outlook::DecodedAppointment& appointment) override {
      appointments.push_back(appointment);
    }
    void SpeedDial(std::uint64_t, const devicedb::DecodedSpeedDial& dial) override {
      dials.push_back(dial);
    }
    std::vector<outlook::DecodedAppointment> appointments;
    std::vector<devicedb::DecodedSpeedDial> dials;
  } lines;
  ASSERT_EQ(ReadBackup(device.device(), u"\\a.csa", u"\\", {}, lines), 0);
  ASSERT_EQ(ReadBackup(device.device(), u"\\d.csd", u"\\", {}, lines), 0);

  ASSERT_EQ(lines.appointments.size(), 1u);
  const outlook::DecodedAppointment& review = lines.appointments[0];
  EXPECT_EQ(review.subject, u"Review");
  EXPECT_EQ(review.location, u"Room 4");
  EXPECT_EQ(review.busy_status, 2);
  EXPECT_EQ(review.start, platform::kOleDateNone);
  EXPECT_EQ(review.stated_recipient_count, 3);
  ASSERT_EQ(review.recipients.size(), 1u);
  EXPECT_EQ(review.recipients[0], (platform::Recipient{u"Ann", u"ann@example.org"}));
  EXPECT_FALSE(review.recurrence);
  ASSERT_EQ(lines.defects.size(), 1u);
  EXPECT_EQ(lines.defects[0].first, 1u);
  EXPECT_EQ(lines.defects[0].second,
            u"states 3 recipients but holds 1; a restore adds those it holds");

  EXPECT_EQ(lines.ended.at(ItemKind::kSpeedDials).header_text,
            u"Valid speed dials CSV5 header format.");
  ASSERT_EQ(lines.dials.size(), 1u);
  const devicedb::DecodedSpeedDial& dial = lines.dials[0];
  EXPECT_EQ(dial.position, 2u);
  EXPECT_EQ(dial.label, u"Mobile");
  EXPECT_TRUE(dial.has_head);
  EXPECT_EQ(dial.contact_id, 7u);
  EXPECT_EQ(dial.phone_property, 0x0096001Fu);
  EXPECT_EQ(dial.phone_text, u"+1");
}

}  // namespace
}  // namespace kestrav::inspect
