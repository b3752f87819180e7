#include "export/export.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace kestrav::exporting {
namespace {

TEST(ContentLineTest, FoldsAtSeventyFiveOctetsWithoutCuttingACharacter) {
  std::string out;
  AppendContentLine(std::string(80, 'a'), &out);
  EXPECT_EQ(out, std::string(75, 'a') + "\r\n " + std::string(5, 'a') + "\r\n");

  // "é" is two octets; the 75th octet of the line would be the first half of the first one.
  std::string line = "NOTE:" + std::string(69, 'x');
  for (int i = 0; i < 4; ++i) line += "\xC3\xA9";
  out.clear();
  AppendContentLine(line, &out);
  const std::size_t first_break = out.find("\r\n");
  EXPECT_EQ(first_break, 74u);
  EXPECT_EQ(out.substr(first_break), "\r\n \xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\r\n");
}

TEST(ContentLineTest, EscapesTextValues) {
  EXPECT_EQ(EscapeText("a,b;c\\d\r\ne\nf"), "a\\,b\\;c\\\\d\\ne\\nf");
  EXPECT_EQ(QuotedParameter("Chloé \"O'Brien\"\r\n^"), "\"Chloé ^'O'Brien^'^n^^\"");
}

TEST(CsvTableTest, QuotesAsRfc4180Shows) {
  std::string out;
  AppendCsvRow({"aaa", "b\"bb", "ccc"}, &out);
  AppendCsvRow({"zzz", "a,b", "x\r\ny"}, &out);
  EXPECT_EQ(out, "aaa,\"b\"\"bb\",ccc\r\nzzz,\"a,b\",\"x\r\ny\"\r\n");
}

TEST(VcardTest, FallsBackOnAShownNameAndWritesDatesPerVersion) {
  VcardContact contact;
  contact.organization = "ACME; Inc.";
  contact.birthday = CalendarDate{1975, 4, 12};
  contact.anniversary = CalendarDate{2001, 6, 30};
  std::string v3;
  AppendVcard(contact, VcardVersion::k3, &v3);
  EXPECT_NE(v3.find("\r\nFN:ACME\\; Inc.\r\n"), std::string::npos) << v3;
  EXPECT_NE(v3.find("\r\nN:;;;;\r\n"), std::string::npos);
  EXPECT_NE(v3.find("\r\nBDAY:1975-04-12\r\n"), std::string::npos);
  std::string v4;
  AppendVcard(contact, VcardVersion::k4, &v4);
  EXPECT_NE(v4.find("\r\nBDAY:19750412\r\nANNIVERSARY:20010630\r\n"), std::string::npos) << v4;
}

TEST(CalendarTest, RecurrenceRules) {
  using Frequency = CalendarRecurrence::Frequency;
  const CalendarContext floating{
      "", "", [](const LocalDateTime& time) { return time; }, {2007, 3, 15, 12, 0, 0}};
  struct Case {
    CalendarRecurrence rule;
    const char* expected;
  };
  const Case cases[] = {
      {{Frequency::kDaily, 1, 0, 0, 0, 0, 0, CalendarDate{2007, 3, 30}},
       "RRULE:FREQ=DAILY;UNTIL=20070330T235959"},
      {{Frequency::kDaily, 1, 0x3E, 0, 0, 0, 5, {}},
       "RRULE:FREQ=WEEKLY;BYDAY=MO,TU,WE,TH,FR;COUNT=5"},
      {{Frequency::kWeekly, 2, 0x2A, 0, 0, 0, 12, {}},
       "RRULE:FREQ=WEEKLY;INTERVAL=2;WKST=SU;BYDAY=MO,WE,FR;COUNT=12"},
      {{Frequency::kMonthly, 1, 0, 0, 31, 0, 0, {}},
       "RRULE:FREQ=MONTHLY;BYMONTHDAY=28,29,30,31;BYSETPOS=-1"},
      {{Frequency::kMonthly, 1, 0x04, 2, 0, 0, 0, {}}, "RRULE:FREQ=MONTHLY;BYDAY=2TU"},
      {{Frequency::kMonthly, 1, 0x3E, -1, 0, 0, 0, {}},
       "RRULE:FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1"},
      {{Frequency::kYearly, 1, 0, 0, 21, 3, 0, {}}, "RRULE:FREQ=YEARLY;BYMONTH=3;BYMONTHDAY=21"},
      {{Frequency::kYearly, 2, 0x40, -1, 0, 3, 0, CalendarDate{2015, 3, 28}},
       "RRULE:FREQ=YEARLY;INTERVAL=2;BYMONTH=3;BYDAY=-1SA;UNTIL=20150328T235959"},
  };
  for (const Case& test : cases) {
    CalendarEvent event;
    event.start = {2007, 3, 12, 9, 0, 0};
    event.end = {2007, 3, 12, 9, 15, 0};
    event.recurrence = test.rule;
    std::string out;
    AppendCalendarEvent(event, floating, &out);
    EXPECT_NE(out.find(std::string("\r\n") + test.expected + "\r\n"), std::string::npos)
        << test.expected << "\n"
        << out;
  }
}

TEST(CalendarTest, AllDayEventsEndOnTheFollowingDay) {
  const CalendarContext zoned{"Europe/Stockholm",
                              "",
                              [](const LocalDateTime& time) {
                                LocalDateTime utc = time;
                                utc.hour -= 1;
                                return utc;
                              },
                              {2007, 3, 15, 12, 0, 0}};
  CalendarEvent event;
  event.all_day = true;
  event.start = {2007, 12, 31, 0, 0, 0};
  event.end = {2007, 12, 31, 0, 0, 0};
  std::string out;
  AppendCalendarEvent(event, zoned, &out);
  EXPECT_NE(out.find("\r\nDTSTART;VALUE=DATE:20071231\r\nDTEND;VALUE=DATE:20080101\r\n"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("\r\nDTSTAMP:20070315T120000Z\r\n"), std::string::npos);
}

// Contents handed over in pieces of 64 KiB, counting what the receiver takes.
struct CountingSource {
  std::size_t remaining;
  bool Send(const MailAttachment::Receiver& receive) {
    const std::vector<std::uint8_t> piece(64 * 1024, 'A');
    while (remaining > 0) {
      const std::size_t count = std::min(remaining, piece.size());
      if (!receive(std::span<const std::uint8_t>(piece.data(), count))) return false;
      remaining -= count;
    }
    return true;
  }
};

TEST(MailTest, MailboxQuotesFromLinesAndStreamsAttachments) {
  CountingSource source{1'000'000};
  MailMessage message;
  message.from = {"Zoë Åkerlund", "zoe@example.org"};
  message.to = {{"Jose \"Pepe\"", "jose@example.com"}};
  message.subject = "Budget";
  message.date = 1173952800;  // 2007-03-15 10:00:00 UTC
  message.date_offset_minutes = 60;
  message.body = "Hi\r\nFrom the top:\r\n>From here\r\n";
  message.attachments.push_back({"plan.bin", [&source](const MailAttachment::Receiver& receive) {
                                   return source.Send(receive);
                                 }});
  StringOutput output;
  ASSERT_TRUE(WriteMail(message, MailFraming::kMailbox, &output));
  const std::string& text = output.text();
  EXPECT_TRUE(text.starts_with("From zoe@example.org Thu Mar 15 10:00:00 2007\n")) << text;
  EXPECT_NE(text.find("\nFrom: =?UTF-8?B?Wm/DqyDDhWtlcmx1bmQ=?= <zoe@example.org>\n"),
            std::string::npos);
  EXPECT_NE(text.find("\nTo: \"Jose \\\"Pepe\\\"\" <jose@example.com>\n"), std::string::npos);
  EXPECT_NE(text.find("\nDate: Thu, 15 Mar 2007 11:00:00 +0100\n"), std::string::npos);
  EXPECT_NE(text.find("\n>From the top:\n>>From here\n"), std::string::npos);
  EXPECT_EQ(source.remaining, 0u);
  std::string base64_line;
  for (int i = 0; i < 19; ++i) base64_line += "QUFB";  // "AAA" in base64, 76 characters a line
  EXPECT_NE(text.find("\n" + base64_line + "\n"), std::string::npos);
  EXPECT_TRUE(text.ends_with("--\n\n"));
}

TEST(MailTest, AFailingAttachmentFailsTheMessage) {
  MailMessage message;
  message.attachments.push_back({"x", [](const MailAttachment::Receiver&) { return false; }});
  StringOutput output;
  EXPECT_FALSE(WriteMail(message, MailFraming::kMessageFile, &output));
}

}  // namespace
}  // namespace kestrav::exporting
