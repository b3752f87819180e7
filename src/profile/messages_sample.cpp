// The sample's messages: text-message threads in "SMS", e-mails in "Mail" and "ActiveSync" with
// recipients of every kind, attachments, and the user's folders below "Mail"'s Inbox.
//
// A backup writes subjects and bodies to the record file, which takes a line break only as
// CR LF and ends a quoted text at a double quote followed by ";", "," or a line end: the sample
// keeps its line breaks to CR LF and puts no such quote, none at a text's end and no NUL in any
// text. ";", ",", quotes elsewhere, tabs, emoji and right-to-left scripts it holds on purpose.
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text.h"
#include "profile/message_json.h"
#include "profile/sample_data.h"
#include "profile/samples.h"

namespace kestrav::profile {
namespace {

// Message flags.
constexpr int kRead = 0x01;
constexpr int kUnsent = 0x08;
constexpr int kHasAttachments = 0x10;
constexpr int kFromMe = 0x20;
// The status bits a text message and an e-mail are kept with.
constexpr int kTextMessageStatus = 0x00040000;
constexpr int kMailStatus = 0x00020000;
// Body types.
constexpr int kPlainText = 0;
constexpr int kHtml = 1;
constexpr int kAttachedByValue = 1;
// What a message's size counts besides its subject, body and attachments.
constexpr int kHeaderBytes = 512;

struct Person {
  const char* name;
  const char* address;
};

// Phone numbers from the ranges kept for drama and examples; a number the device knows no name
// for is shown as its name.
constexpr Person kOwnerPhone = {"Sam Taylor", "+447700900456"};
constexpr Person kAna = {"Ana Souza", "+447700900101"};
constexpr Person kWei = {"李伟", "+447700900202"};
constexpr Person kYael = {"יעל כהן", "+12025550143"};
constexpr Person kAhmed = {"أحمد منصور", "+13035550187"};
constexpr Person kZoePhone = {"Zoë Åkerlund", "+447700900318"};
constexpr Person kUnknownNumber = {"+447700900999", "+447700900999"};

constexpr Person kOwner = {"Sam Taylor", "sam.taylor@example.com"};
constexpr Person kEleni = {"Ελένη Παπαδοπούλου", "eleni@example.gr"};
constexpr Person kZoe = {"Zoë Åkerlund", "zoe.akerlund@example.org"};
constexpr Person kJose = {"José Muñoz", "jose.munoz@example.com"};
constexpr Person kHanako = {"田中 花子", "hanako.tanaka@example.jp"};
constexpr Person kDmitry = {"Дмитрий Орлов", "d.orlov@example.org"};
constexpr Person kArchive = {"Archive", "archive@example.com"};
constexpr Person kNews = {"Example News", "news@example.net"};
constexpr Person kBilling = {"Billing, \"Example\" Ltd", "billing@example.org"};
constexpr Person kAccounts = {"Accounts", "accounts@example.com"};

constexpr Person kOwnerAtWork = {"Sam Taylor", "s.taylor@corp.example.com"};
constexpr Person kPriya = {"Priya Raman", "p.raman@corp.example.com"};
constexpr Person kKen = {"佐藤 健", "k.sato@corp.example.com"};
constexpr Person kServiceDesk = {"IT Service Desk", "it@corp.example.com"};
constexpr Person kChangeBoard = {"Change board", "cab@corp.example.com"};
constexpr Person kOpsArchive = {"Ops archive", "ops-archive@corp.example.com"};
constexpr Person kCanteen = {"Canteen", "canteen@corp.example.com"};
constexpr Person kAllStaff = {"All staff", "all@corp.example.com"};
constexpr Person kHumanResources = {"HR", "hr@corp.example.com"};

Json Recipient(const char* kind, Person person, const char* address_type) {
  return {{"kind", kind},
          {"name", person.name},
          {"address", person.address},
          {"addressType", address_type}};
}
Json To(Person person) {
  return Recipient("to", person, "SMTP");
}
Json Cc(Person person) {
  return Recipient("cc", person, "SMTP");
}
Json Bcc(Person person) {
  return Recipient("bcc", person, "SMTP");
}

// A text message, its subject the body's first line as the device's texting keeps it.
Json TextMessage(Person from, Person to, const char* body, int flags, const char* delivered,
                 const char* modified) {
  const std::string text = body;
  return {{"subject", text.substr(0, text.find("\r\n"))},
          {"body", text},
          {"bodyType", kPlainText},
          {"senderName", from.name},
          {"senderAddress", from.address},
          {"senderAddressType", "SMS"},
          {"messageClass", "IPM.SMStext"},
          {"messageFlags", flags},
          {"messageStatus", kTextMessageStatus},
          {"lastModificationTime", modified},
          {"deliveryTime", delivered},
          {"recipients", Json::array({Recipient("to", to, "SMS")})}};
}
Json Received(Person from, const char* body, bool read, const char* delivered,
              const char* modified) {
  return TextMessage(from, kOwnerPhone, body, read ? kRead : 0, delivered, modified);
}
Json Sent(Person to, const char* body, const char* delivered) {
  return TextMessage(kOwnerPhone, to, body, kRead | kFromMe, delivered, delivered);
}

// An e-mail; "RE: " or "FW: " at the subject's start is its subject prefix too.
Json Email(const char* subject, int body_type, const char* body, Person from,
           const std::vector<Json>& recipients, int flags, const char* delivered,
           const char* modified) {
  Json email = {{"subject", subject},
                {"body", body},
                {"bodyType", body_type},
                {"senderName", from.name},
                {"senderAddress", from.address},
                {"senderAddressType", "SMTP"}};
  if (const std::string_view text = subject; text.starts_with("RE: ") || text.starts_with("FW: "))
    email["subjectPrefix"] = text.substr(0, 4);
  email["messageClass"] = "IPM.Note";
  email["messageFlags"] = flags;
  email["messageStatus"] = kMailStatus;
  email["lastModificationTime"] = modified;
  email["deliveryTime"] = delivered;
  email["recipients"] = recipients;
  return email;
}

Json Attach(Json email, const char* file_name, std::span<const std::uint8_t> contents) {
  email["attachments"].push_back(
      {{"fileName", file_name}, {"method", kAttachedByValue}, {"contents", Base64Text(contents)}});
  email["messageFlags"] = email["messageFlags"].get<int>() | kHasAttachments;
  email["messageSize"] = email.value("messageSize", 0) + static_cast<int>(contents.size());
  return email;
}

std::span<const std::uint8_t> BytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::vector<std::uint8_t> EveryByteValue() {
  std::vector<std::uint8_t> bytes(256);
  for (std::size_t value = 0; value < bytes.size(); ++value)
    bytes[value] = static_cast<std::uint8_t>(value);
  return bytes;
}

// The same bytes on every machine, without a pattern a compressor would fold away.
std::vector<std::uint8_t> PseudoRandomBytes(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t at = 0; at < size; at += 8) {
    const std::uint64_t word = Mixed(at);
    for (std::size_t byte = 0; byte < 8 && at + byte < size; ++byte)
      bytes[at + byte] = static_cast<std::uint8_t>(word >> (8 * byte));
  }
  return bytes;
}

std::size_t Utf16Bytes(const Json& text) {
  return 2 * platform::FromUtf8(text.get<std::string>()).size();
}

// Sets what follows from the rest: the id, the content length (the body's UTF-16 bytes) and the
// size.
void Complete(Json& message, std::uint64_t serial) {
  message["messageId"] = ByteList(MessageId(serial));
  const std::size_t content_length = Utf16Bytes(message["body"]);
  message["contentLength"] = static_cast<int>(content_length);
  message["messageSize"] = message.value("messageSize", 0) + kHeaderBytes +
                           static_cast<int>(content_length + Utf16Bytes(message["subject"]));
}

constexpr char kFiguresText[] =
    "Quarterly figures, Q2\r\nRevenue;\t1 204 000 €\r\nCosts;\t987 500 €\r\n"
    "Note:\t\"final\" figures, checked by Ελένη\r\n";
constexpr char kRoadmapText[] = "2026 roadmap\r\nQ1\tdesign\r\nQ2\tbuild\r\nQ3, Q4\troll-out 🚀\r\n";
constexpr char kPolicyText[] =
    "Travel policy, 2026\r\n1. Rail first; fly only beyond 6 hours.\r\n"
    "2. Book through the \"Travel\" portal.\r\n";

struct UnitFolder {
  std::string_view store;
  std::string_view path;
  std::vector<Json> messages;
};

std::vector<Json> TextsReceived() {
  return {
      Received(kAna, "Oi Sam! Você vem à festa no sábado? Começa às 20h 🎉", true,
               "2026-06-12T18:04:09Z", "2026-06-12T18:30:00Z"),
      Received(kWei, "明天下午三点在老地方见，好吗？", true, "2026-06-13T07:15:42Z",
               "2026-06-13T07:20:00Z"),
      Received(kYael, "שלום סאם! הפגישה נדחתה ל-10:30; תאשר בבקשה.", false, "2026-06-14T06:02:17Z",
               "2026-06-14T06:02:17Z"),
      Received(kAhmed, "مرحبا سام، هل وصلت الطرود؟\r\nشكرا جزيلا 🙏", true, "2026-07-02T09:41:05Z",
               "2026-07-02T10:00:00Z"),
      Received(kZoePhone, "Running late,\tsave me a seat \"by the window\" please 😅", false,
               "2026-07-03T16:55:30Z", "2026-07-03T16:55:30Z"),
      Received(kUnknownNumber, "Your code is 482 913. Don't share it; we never ask for it.", true,
               "2026-01-09T12:00:01Z", "2026-01-09T12:01:00Z"),
  };
}

std::vector<Json> TextsSent() {
  return {
      Sent(kAna, "Claro! Levo o bolo de cenoura 🥕, até sábado.", "2026-06-12T18:29:51Z"),
      Sent(kWei, "好的，三点见。👍", "2026-06-13T07:19:03Z"),
      Sent(kYael, "מאשר, תודה! 10:30 works for me.", "2026-06-14T06:31:44Z"),
      Sent(kAhmed, "وصلت، شكرا! All 3 boxes arrived; one was \"slightly\" dented.",
           "2026-07-02T09:59:12Z"),
      Sent(kZoePhone, "No worries — seat saved \"by the window\" as asked.\r\nSee you 🙂",
           "2026-07-03T16:58:02Z"),
  };
}

std::vector<Json> MailInbox(bool with_large_attachment) {
  Json survey =
      Email("FW: Survey photos", kPlainText,
            "Sam,\r\n\r\nForwarding the site survey photos, zipped.\r\n\r\n"
            "-------- Forwarded message --------\r\n"
            "From: Survey team <survey@example.net>\r\nSubject: Survey photos\r\n\r\n"
            "Дмитрий",
            kDmitry, {To(kOwner), Cc(kZoe)}, kRead, "2026-08-17T11:20:00Z", "2026-08-17T11:45:00Z");
  if (with_large_attachment) {
    survey = Attach(std::move(survey), "survey-photos.zip",
                    PseudoRandomBytes(kSampleLargeAttachmentBytes));
  }
  return {
      Attach(
          Attach(Email("Quarterly figures, Q2", kPlainText,
                       "Hi all,\r\n\r\nAttached are the Q2 figures; the \"final\" ones this "
                       "time.\r\nRevenue:\t1 204 000 €\r\nCosts:\t987 500 €\r\n\r\n"
                       "Ευχαριστώ,\r\nΕλένη",
                       kEleni,
                       {To(kOwner), To(kZoe), Cc(kJose), Cc(kHanako), Bcc(kArchive), Bcc(kDmitry)},
                       kRead, "2026-07-06T08:12:44Z", "2026-07-06T09:00:00Z"),
                 "figures.txt", BytesOf(kFiguresText)),
          "table.bin", EveryByteValue()),
      Email("RE: Offsite agenda", kHtml,
            "<html><body>\r\n<p>Hola Sam,</p>\r\n<p>The agenda looks good; I added a slot for the "
            "<b>\"Fjord\" review</b>, 14:00–15:30.</p>\r\n"
            "<p style=\"color: #555;\">— José 😀</p>\r\n</body></html>",
            kJose, {To(kOwner), To(kEleni), Cc(kZoe), Cc(kHanako), Bcc(kDmitry), Bcc(kArchive)}, 0,
            "2026-05-20T15:03:27Z", "2026-05-20T15:03:27Z"),
      std::move(survey),
      Email("Newsletter — June 2026", kHtml,
            "<html><body><h1>June news 📰</h1>\r\n<p>東京オフィスが移転しました。</p>\r\n"
            "<p dir=\"rtl\">مكتب دبي مفتوح الآن.</p>\r\n"
            "<p>Unsubscribe: <a href=\"https://example.net/u?id=42&amp;list=7\">here</a></p>"
            "</body></html>",
            kNews, {To(kOwner)}, 0, "2026-06-30T23:59:59Z", "2026-06-30T23:59:59Z"),
      Email("Invoice 2026-117; payment due", kPlainText,
            "Dear customer,\r\n\r\nInvoice 2026-117 of 1.250,00 € is due on 15 September 2026."
            "\r\nReference:\t\"INV-2026-117\" (please quote it).\r\n\r\nKind regards",
            kBilling, {To(kOwner), Cc(kAccounts)}, kRead, "2026-09-01T07:30:00Z",
            "2026-09-01T07:35:10Z"),
  };
}

std::vector<Json> MailProjects() {
  return {
      Email(
          "Project Fjord: kick-off", kPlainText,
          "Kick-off on Monday, 9:00, room \"Fjord\".\r\nPlease read the brief first; it is short.",
          kZoe, {To(kOwner), To(kJose), Cc(kEleni), Bcc(kDmitry)}, kRead, "2026-05-11T06:45:00Z",
          "2026-05-11T07:00:00Z"),
      Email("RE: Project Fjord: budget", kHtml,
            "<p>Budget approved: <i>€ 48 000</i>, contingency 10 %.</p>\r\n<p>Ελένη</p>", kEleni,
            {To(kZoe), To(kOwner)}, kRead, "2026-05-12T13:14:15Z", "2026-05-12T13:20:00Z"),
  };
}

std::vector<Json> MailProjects2026() {
  return {
      Attach(Email("Roadmap 2026", kPlainText,
                   "The roadmap for 2026 is attached.\r\nQ1: design; Q2: build; Q3, Q4: roll-out.",
                   kZoe, {To(kOwner)}, kRead, "2026-01-15T10:00:00Z", "2026-01-15T10:05:00Z"),
             "roadmap.txt", BytesOf(kRoadmapText)),
      Email("Milestones, \"Phase 2\" dates", kPlainText,
            "Phase 2 starts 1 June 2026 and ends 31 August 2026.\r\n"
            "See the \"Roadmap 2026\" mail for context.",
            kJose, {To(kOwner), Cc(kZoe)}, 0, "2026-01-20T16:40:12Z", "2026-01-20T16:40:12Z"),
  };
}

std::vector<Json> MailSent() {
  constexpr int kSent = kRead | kFromMe;
  return {
      Email("RE: Quarterly figures, Q2", kPlainText,
            "Thanks, Ελένη!\r\n\r\n> Attached are the Q2 figures; the \"final\" ones this time."
            "\r\n\r\nLooks right to me.\r\nSam",
            kOwner, {To(kEleni), Cc(kZoe), Cc(kJose)}, kSent, "2026-07-06T09:05:31Z",
            "2026-07-06T09:05:31Z"),
      Attach(Email("FW: Invoice 2026-117; payment due", kPlainText,
                   "Please pay this one by the 15th.\r\n\r\n"
                   "-------- Forwarded message --------\r\n"
                   "Invoice 2026-117 of 1.250,00 € is due on 15 September 2026.",
                   kOwner, {To(kAccounts), Bcc(kArchive)}, kSent, "2026-09-01T08:02:10Z",
                   "2026-09-01T08:02:10Z"),
             "table.bin", EveryByteValue()),
      Email("Dinner on Friday?", kHtml,
            "<html><body><p>Dinner on Friday at <b>Ümit's</b>, 19:30?</p>\r\n"
            "<p>Reply by Thursday; I'll book a table for 6.</p></body></html>",
            kOwner,
            {To(kZoe), To(kJose), To(kEleni), Cc(kHanako), Cc(kDmitry), Bcc(kArchive),
             Bcc(kAccounts)},
            kSent, "2026-09-10T17:45:00Z", "2026-09-10T17:45:00Z"),
  };
}

std::vector<Json> MailDrafts() {
  return {Email("Thoughts on the offsite", kPlainText,
                "Draft — not sent yet:\r\n1. Fewer slides\r\n2. More walks 🚶\r\n"
                "3. A \"no laptops\" hour",
                kOwner, {To(kZoe)}, kRead | kUnsent, "2026-11-23T10:00:00Z",
                "2026-11-24T08:30:00Z")};
}

std::vector<Json> MailDeleted() {
  return {Email("Old newsletter — May 2026", kHtml, "<p>May news: nothing to see here.</p>", kNews,
                {To(kOwner)}, kRead, "2026-05-31T12:00:00Z", "2026-06-01T08:00:00Z")};
}

std::vector<Json> WorkInbox() {
  return {
      Email("Weekly status, week 2", kHtml,
            "<table border=\"1\"><tr><td>Build</td><td>green ✅</td></tr>\r\n"
            "<tr><td>Tests</td><td>1 failing; fix in review</td></tr></table>",
            kPriya, {To(kOwnerAtWork), To(kKen), Cc(kServiceDesk), Cc(kHumanResources)}, kRead,
            "2026-01-09T15:00:00Z", "2026-01-09T15:10:00Z"),
      Email("RE: Server maintenance window", kPlainText,
            "The window is Saturday 24 January, 22:00–02:00 UTC.\r\n"
            "Services affected: mail, VPN; the wiki stays up.",
            kServiceDesk,
            {To(kOwnerAtWork), To(kPriya), Cc(kKen), Cc(kHumanResources), Bcc(kChangeBoard),
             Bcc(kOpsArchive)},
            0, "2026-01-16T11:11:11Z", "2026-01-16T11:11:11Z"),
      Email("Lunch menu 🍜", kHtml,
            "<ul><li>Ramen 🍜</li><li>Falafel, hummus</li><li>Crème brûlée</li></ul>", kCanteen,
            {To(kAllStaff)}, kRead, "2026-07-20T09:30:00Z", "2026-07-20T09:31:00Z"),
      Attach(Attach(Email("FW: Travel policy", kPlainText,
                          "FYI — the new travel policy; see section 1, \"Rail first\".\r\nPriya",
                          kPriya, {To(kOwnerAtWork), Cc(kKen)}, kRead, "2026-08-03T08:08:08Z",
                          "2026-08-03T08:30:00Z"),
                    "policy.txt", BytesOf(kPolicyText)),
             "stamp.bin", EveryByteValue()),
  };
}

std::vector<Json> WorkSent() {
  constexpr int kSent = kRead | kFromMe;
  return {
      Email("RE: Weekly status, week 2", kHtml, "<p>Thanks! I'll pick up the failing test.</p>",
            kOwnerAtWork, {To(kPriya), Cc(kKen)}, kSent, "2026-01-09T15:20:00Z",
            "2026-01-09T15:20:00Z"),
      Email("Holiday request, 23–27 November", kPlainText,
            "Hi Priya,\r\nI'd like to take 23–27 November off; handover notes are in the wiki."
            "\r\nThanks, Sam",
            kOwnerAtWork, {To(kPriya), Cc(kHumanResources)}, kSent, "2026-11-20T12:00:00Z",
            "2026-11-20T12:00:00Z"),
  };
}

// One scale unit, folder by folder as kSampleMessageFolders lists them.
std::vector<UnitFolder> Unit(bool with_large_attachment) {
  return {
      {"SMS", "Inbox", TextsReceived()},
      {"SMS", "Sent Items", TextsSent()},
      {"Mail", "Inbox", MailInbox(with_large_attachment)},
      {"Mail", "Inbox/Projects", MailProjects()},
      {"Mail", "Inbox/Projects/2026", MailProjects2026()},
      {"Mail", "Inbox/Projects/Later", {}},
      {"Mail", "Sent Items", MailSent()},
      {"Mail", "Drafts", MailDrafts()},
      {"Mail", "Deleted Items", MailDeleted()},
      {"ActiveSync", "Inbox", WorkInbox()},
      {"ActiveSync", "Sent Items", WorkSent()},
  };
}

// The element of a "folders" list (or of the document) with this name, added when missing.
Json& Named(Json& list, std::string_view name) {
  for (Json& element : list) {
    if (element["name"] == std::string(name)) return element;
  }
  list.push_back({{"name", std::string(name)}});
  return list.back();
}

Json& FolderAt(Json& store, std::string_view path) {
  Json* folder = &store;
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    folder = &Named((*folder)["folders"], path.substr(start, end - start));
    start = end + 1;
  }
  return *folder;
}

}  // namespace

bool FillSampleMessages(const platform::Device& device, std::uint32_t scale, std::string* error) {
  Json document = Json::array();
  std::uint64_t serial = 0;
  for (std::uint32_t copy = 0; copy < scale; ++copy) {
    for (UnitFolder& unit : Unit(copy == 0)) {
      Json& folder = FolderAt(Named(document, unit.store), unit.path);
      for (Json& message : unit.messages) {
        Json copied = CopyOf(std::move(message), copy, "subject");
        Complete(copied, serial++);
        folder["messages"].push_back(std::move(copied));
      }
    }
  }
  return LoadMessageDocument(device, document, error);
}

std::uint64_t Mixed(std::uint64_t value) {
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

std::vector<std::uint8_t> MessageId(std::uint64_t serial) {
  std::vector<std::uint8_t> id;
  for (const std::uint64_t word : {Mixed(serial), Mixed(~serial)}) {
    for (int byte = 0; byte < 8; ++byte)
      id.push_back(static_cast<std::uint8_t>(word >> (8 * byte)));
  }
  return id;
}

}  // namespace kestrav::profile
