// kestrav-message-filler: fills a new profile's message stores for the messages benchmark,
// through the message-store stand-in itself, which is far quicker than a JSON document of that
// size.
//
//   kestrav-message-filler PROFILE --messages 50000 --attached-messages 1000 --attachment-mb 200
//
// The messages are spread over the three stores and a few folders of each, nested ones too: text
// messages in "SMS", e-mails in "Mail" and "ActiveSync", with realistic subjects, bodies of a
// few hundred characters, one to four recipients and every property a messages record carries.
// The attached messages are e-mails spread evenly among the others, each with one to three
// attachments of varied sizes that add up to the size asked for; their contents are
// pseudo-random, so that deflate cannot fold them away, and the same on every run.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/host_device.h"
#include "platform/host/sqlite_message_store.h"
#include "platform/message_store.h"
#include "platform/text.h"
#include "platform/time.h"
#include "profile/samples.h"

namespace {

namespace platform = kestrav::platform;
using kestrav::profile::MessageId;
using kestrav::profile::Mixed;
using platform::EntryId;
using platform::FromUtf8;
using platform::HResult;
using platform::MessageRecipient;
using platform::PropertyValue;
using platform::RecipientKind;

// Message flags and status bits as the device keeps them.
constexpr std::int64_t kRead = 0x01;
constexpr std::int64_t kUnsent = 0x08;
constexpr std::int64_t kHasAttachments = 0x10;
constexpr std::int64_t kFromMe = 0x20;
constexpr std::int64_t kTextMessageStatus = 0x00040000;
constexpr std::int64_t kMailStatus = 0x00020000;
constexpr std::int32_t kPlainText = 0;
constexpr std::int32_t kHtml = 1;
constexpr std::int32_t kAttachedByValue = 1;
// What a message's size counts besides its subject, body and attachments.
constexpr std::int64_t kHeaderBytes = 512;
// 1 January 2025, 00:00 UTC, in seconds since 1970.
constexpr std::int64_t kStartOf2025 = 1'735'689'600;

// The n-th of a few independent draws for one message, below `limit`.
std::uint64_t Draw(std::uint64_t serial, std::uint64_t n, std::uint64_t limit) {
  return Mixed(serial * 64 + n) % limit;
}

template <typename T, std::size_t N>
const T& Pick(const T (&choices)[N], std::uint64_t serial, std::uint64_t n) {
  return choices[Draw(serial, n, N)];
}

enum class Role { kReceived, kSent, kDraft };

// Where the messages go: store, folder path below the store, the share of all messages in
// thousandths, and whose messages they are.
struct FolderShare {
  std::u16string_view store;
  std::u16string_view path;
  std::uint64_t per_mille;
  Role role;
};
constexpr FolderShare kFolders[] = {
    {u"SMS", u"Inbox", 220, Role::kReceived},
    {u"SMS", u"Sent Items", 160, Role::kSent},
    {u"SMS", u"Deleted Items", 20, Role::kReceived},
    {u"Mail", u"Inbox", 140, Role::kReceived},
    {u"Mail", u"Inbox/Projects", 40, Role::kReceived},
    {u"Mail", u"Inbox/Projects/2026", 40, Role::kReceived},
    {u"Mail", u"Inbox/Receipts", 40, Role::kReceived},
    {u"Mail", u"Sent Items", 100, Role::kSent},
    {u"Mail", u"Drafts", 12, Role::kDraft},
    {u"Mail", u"Deleted Items", 28, Role::kReceived},
    {u"ActiveSync", u"Inbox", 110, Role::kReceived},
    {u"ActiveSync", u"Inbox/Team", 20, Role::kReceived},
    {u"ActiveSync", u"Sent Items", 60, Role::kSent},
    {u"ActiveSync", u"Deleted Items", 10, Role::kReceived},
};

struct Person {
  std::string_view name;
  std::string_view mail;
  std::string_view phone;
};
constexpr Person kOwner = {"Sam Taylor", "sam.taylor@example.com", "+447700900456"};
constexpr Person kPeople[] = {
    {"Ana Souza", "ana.souza@example.com", "+447700900101"},
    {"李伟", "li.wei@example.cn", "+447700900202"},
    {"Zoë Åkerlund", "zoe.akerlund@example.org", "+447700900318"},
    {"José Muñoz", "jose.munoz@example.com", "+447700900377"},
    {"Ελένη Παπαδοπούλου", "eleni@example.gr", "+302105550134"},
    {"田中 花子", "hanako.tanaka@example.jp", "+81355550199"},
    {"Дмитрий Орлов", "d.orlov@example.org", "+74955550123"},
    {"Priya Raman", "p.raman@corp.example.com", "+447700900512"},
    {"Ken Sato", "k.sato@corp.example.com", "+447700900633"},
    {"Jürgen Schäfer", "j.schaefer@example.de", "+49305550178"},
    {"Siobhán O'Brien", "siobhan.obrien@example.ie", "+35315550142"},
    {"أحمد منصور", "ahmed.mansour@example.com", "+13035550187"},
    {"Noah Brown", "noah.brown@example.net", "+12025550143"},
    {"IT Service Desk", "it@corp.example.com", "+447700900700"},
    {"Billing", "billing@example.org", "+447700900801"},
    {"Example News", "news@example.net", "+447700900902"},
};

constexpr std::string_view kTopics[] = {
    "Quarterly figures",       "Project Fjord: budget",   "Offsite agenda",
    "Server maintenance",      "Weekly status, week",     "Invoice",
    "Travel plans for May",    "Holiday request",         "Team lunch on Friday",
    "Contract renewal",        "Survey photos",           "Release notes",
    "Interview schedule",      "Expense report",          "Board meeting minutes",
    "Flat viewing on Tuesday", "Your order has shipped",  "Newsletter, issue",
    "Dinner at Ümit's",        "Roadmap review",          "Security update",
    "Café opening hours",      "Training course booking", "Password reminder",
};

constexpr std::string_view kMailSentences[] = {
    "Thanks for the quick reply; the figures look right to me.",
    "Could you have a look at the attached draft before Thursday?",
    "The meeting moves to room 4.12, same time, 14:00–15:30.",
    "I have added a slot for the review at the end of the day.",
    "Please quote the reference on every payment, or it may be delayed.",
    "Budget approved: € 48 000, with a contingency of 10 %.",
    "The maintenance window is Saturday, 22:00–02:00 UTC; mail and VPN are affected.",
    "Let me know if anything is missing, and I will send it over.",
    "Phase 2 starts on 1 June and ends on 31 August, as agreed.",
    "Ευχαριστώ πολύ για τη βοήθεια, τα λέμε την Δευτέρα.",
    "明日の会議の資料を添付しました。ご確認ください。",
    "I'm out of the office until Monday with limited access to mail.",
    "The build is green again ✅; one flaky test is in review.",
    "Rail first; fly only beyond six hours, as the travel policy says.",
    "Your order 2026-4471 left our warehouse this morning 📦.",
    "We are sorry for the delay and have refunded the delivery charge.",
    "Kind regards, and have a good weekend.",
    "Спасибо, всё получил; отвечу подробнее завтра.",
};

constexpr std::string_view kTextSentences[] = {
    "Running late, save me a seat by the window please 😅",
    "Oi Sam! Você vem à festa no sábado? Começa às 20h 🎉",
    "明天下午三点在老地方见，好吗？",
    "Your code is 482 913. Don't share it; we never ask for it.",
    "On my way, 10 minutes.",
    "Can you pick up some milk and bread on the way home?",
    "Claro! Levo o bolo de cenoura 🥕, até sábado.",
    "The parcel is at the neighbour's, number 14.",
    "Meeting moved to 10:30, please confirm.",
    "Happy birthday!! 🎂 Have a great day.",
    "Train delayed again, sorry. Start without me.",
    "شكرا جزيلا 🙏 وصلت الطرود",
};

constexpr std::string_view kDocumentNames[] = {
    "figures-q2.xlsx", "invoice.pdf",  "roadmap-2026.pptx", "scan.jpg",
    "minutes.docx",    "contract.pdf", "boarding-pass.pdf", "floor-plan.png",
};
constexpr std::string_view kArchiveNames[] = {"survey-photos.zip", "holiday-photos.zip",
                                              "site-visit.zip"};

std::u16string Text(std::string_view utf8) {
  return FromUtf8(utf8);
}

PropertyValue Property(std::uint32_t tag) {
  PropertyValue value;
  value.id = tag;
  return value;
}
PropertyValue TextProperty(std::uint32_t tag, std::u16string text) {
  PropertyValue value = Property(tag);
  value.text = std::move(text);
  return value;
}
PropertyValue IntegerProperty(std::uint32_t tag, std::int64_t integer) {
  PropertyValue value = Property(tag);
  value.integer = integer;
  return value;
}
PropertyValue TimeProperty(std::uint32_t tag, std::int64_t unix_seconds) {
  PropertyValue value = Property(tag);
  value.file_time = platform::FileTimeFromUnixTime(unix_seconds, 0);
  return value;
}

struct Attachment {
  std::u16string file_name;
  std::uint32_t size = 0;
};

struct MessagePlan {
  std::u16string subject;
  std::u16string body;
  std::int32_t body_type = kPlainText;
  std::vector<PropertyValue> properties;
  std::vector<MessageRecipient> recipients;
};

MessagePlan PlanMessage(std::uint64_t serial, bool text_message, Role role,
                        const std::vector<Attachment>& attachments) {
  MessagePlan plan;
  const Person& other = Pick(kPeople, serial, 0);
  const Person& sender = role == Role::kReceived ? other : kOwner;
  std::u16string prefix;
  if (text_message) {
    const std::size_t sentences = 1 + Draw(serial, 1, 3);
    for (std::size_t n = 0; n < sentences; ++n) {
      if (n > 0) plan.body += u"\r\n";
      plan.body += Text(Pick(kTextSentences, serial, 2 + n));
    }
    // The device's texting shows the first line as the subject.
    plan.subject = plan.body.substr(0, plan.body.find(u"\r\n"));
    plan.recipients.push_back(MessageRecipient{
        RecipientKind::kTo, Text(role == Role::kReceived ? kOwner.name : other.name),
        Text(role == Role::kReceived ? kOwner.phone : other.phone), u"SMS"});
  } else {
    const std::uint64_t reply = Draw(serial, 1, 10);
    if (reply < 3) prefix = u"RE: ";
    if (reply == 3) prefix = u"FW: ";
    plan.subject = prefix + Text(Pick(kTopics, serial, 2)) + u" " +
                   Text(std::to_string(1 + Draw(serial, 3, 120)));
    plan.body_type = Draw(serial, 4, 3) == 0 ? kHtml : kPlainText;
    const std::u16string greeting = u"Hi " + Text(role == Role::kReceived ? "Sam" : other.name);
    std::u16string paragraph;
    const std::size_t sentences = 3 + Draw(serial, 5, 5);
    for (std::size_t n = 0; n < sentences; ++n) {
      if (n > 0) paragraph += u" ";
      paragraph += Text(Pick(kMailSentences, serial, 6 + n));
    }
    const std::u16string signature = Text(sender.name);
    plan.body = plan.body_type == kHtml
                    ? u"<html><body>\r\n<p>" + greeting + u",</p>\r\n<p>" + paragraph +
                          u"</p>\r\n<p>" + signature + u"</p>\r\n</body></html>"
                    : greeting + u",\r\n\r\n" + paragraph + u"\r\n\r\n" + signature;
    // The other party first, then up to three more of every kind.
    if (role == Role::kReceived)
      plan.recipients.push_back(
          MessageRecipient{RecipientKind::kTo, Text(kOwner.name), Text(kOwner.mail), u"SMTP"});
    else
      plan.recipients.push_back(
          MessageRecipient{RecipientKind::kTo, Text(other.name), Text(other.mail), u"SMTP"});
    const std::size_t more = Draw(serial, 20, 4);
    for (std::size_t n = 0; n < more; ++n) {
      const Person& person = Pick(kPeople, serial, 21 + n);
      const auto kind = static_cast<RecipientKind>(1 + Draw(serial, 25 + n, 3));
      plan.recipients.push_back(
          MessageRecipient{kind, Text(person.name), Text(person.mail), u"SMTP"});
    }
  }

  // Delivered some time in 2025 or 2026, on the second; read ones changed a little later.
  const std::int64_t delivered =
      kStartOf2025 + static_cast<std::int64_t>(Draw(serial, 30, 2 * 365 * 24 * 3600));
  std::int64_t flags = 0;
  if (role == Role::kSent) flags = kRead | kFromMe;
  if (role == Role::kDraft) flags = kRead | kUnsent;
  if (role == Role::kReceived && Draw(serial, 31, 4) != 0) flags = kRead;
  if (!attachments.empty()) flags |= kHasAttachments;
  const std::int64_t modified =
      delivered + ((flags & kRead) != 0 && role == Role::kReceived
                       ? static_cast<std::int64_t>(Draw(serial, 32, 3 * 3600))
                       : 0);
  std::int64_t size =
      kHeaderBytes + 2 * static_cast<std::int64_t>(plan.subject.size() + plan.body.size());
  for (const Attachment& attachment : attachments) size += attachment.size;

  plan.properties = {
      Property(platform::kTagMessageIdBytes),
      TextProperty(platform::kTagSenderName, Text(sender.name)),
      TextProperty(platform::kTagSenderAddress, Text(text_message ? sender.phone : sender.mail)),
      TextProperty(platform::kTagSenderAddressType, text_message ? u"SMS" : u"SMTP"),
      TextProperty(platform::kTagSubjectPrefix, prefix),
      TextProperty(platform::kTagMessageClass, text_message ? u"IPM.SMStext" : u"IPM.Note"),
      IntegerProperty(platform::kTagContentLength, 2 * static_cast<std::int64_t>(plan.body.size())),
      IntegerProperty(platform::kTagMessageSize, size),
      IntegerProperty(platform::kTagMessageFlags, flags),
      IntegerProperty(platform::kTagMessageStatus, text_message ? kTextMessageStatus : kMailStatus),
      TimeProperty(platform::kTagLastModificationTime, modified),
      TimeProperty(platform::kTagDeliveryTime, delivered),
  };
  plan.properties[0].bytes = MessageId(serial);
  return plan;
}

// The attachments of each attached message, one to three each: mostly documents of 5 kB to
// 300 kB, and one in fifty a photo archive of 1 MB to 6 MB, both log-uniform; then all scaled to
// add up to `total_bytes`, so that the largest is a few MB at the benchmark's full size.
std::vector<std::vector<Attachment>> PlanAttachments(std::uint64_t messages,
                                                     std::uint64_t total_bytes) {
  std::vector<std::vector<Attachment>> plans(messages);
  std::vector<double> weights;
  for (std::uint64_t message = 0; message < messages; ++message) {
    const std::uint64_t count = 1 + Draw(message, 40, 3);
    for (std::uint64_t n = 0; n < count; ++n) {
      const bool archive = Draw(message, 41 + n, 50) == 0;
      const double low = archive ? 1e6 : 5e3;
      const double high = archive ? 6e6 : 3e5;
      const double uniform = static_cast<double>(Draw(message, 44 + n, 1 << 20)) / (1 << 20);
      weights.push_back(low * std::pow(high / low, uniform));
      plans[message].push_back(Attachment{Text(archive ? Pick(kArchiveNames, message, 47 + n)
                                                       : Pick(kDocumentNames, message, 47 + n)),
                                          0});
    }
  }
  double weight_sum = 0;
  for (const double weight : weights) weight_sum += weight;
  std::uint64_t given = 0;
  std::size_t index = 0;
  for (std::vector<Attachment>& plan : plans) {
    for (Attachment& attachment : plan) {
      const bool last = index + 1 == weights.size();
      attachment.size = static_cast<std::uint32_t>(
          last ? total_bytes - given
               : static_cast<std::uint64_t>(static_cast<double>(total_bytes) * weights[index] /
                                            weight_sum));
      given += attachment.size;
      ++index;
    }
  }
  return plans;
}

class Filler {
 public:
  explicit Filler(platform::host::SqliteMessageRuntime& runtime) : runtime_(runtime) {}

  // Fails with the step and the store's cause.
  void Check(HResult result, std::string_view step) {
    if (!platform::Failed(result)) return;
    const std::string cause = platform::ToUtf8(runtime_.FailureText());
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
    throw std::runtime_error(std::string(step) + " failed (" + code +
                             (cause.empty() ? "" : ", " + cause) + ")");
  }

  // The folder at a path like "Inbox/Projects/2026", making the missing ones.
  std::unique_ptr<platform::MessageFolder> OpenFolder(platform::MessageSession& session,
                                                      std::u16string_view store_name,
                                                      std::u16string_view path) {
    std::vector<platform::MessageStoreRow> stores;
    Check(session.GetStores(&stores), "listing the stores");
    std::unique_ptr<platform::MessageStore> store;
    for (const platform::MessageStoreRow& row : stores) {
      if (row.display_name == store_name)
        Check(session.OpenStore(row.entry_id, &store), "opening a store");
    }
    if (!store)
      throw std::runtime_error("the profile has no store " + platform::ToUtf8(store_name));
    EntryId parent;
    std::unique_ptr<platform::MessageFolder> folder;
    for (std::size_t start = 0; start <= path.size();) {
      const std::size_t end = std::min(path.find(u'/', start), path.size());
      const std::u16string_view name = path.substr(start, end - start);
      std::vector<platform::MessageFolderRow> hierarchy;
      Check(store->GetHierarchy(&hierarchy), "listing the folders");
      folder.reset();
      for (const platform::MessageFolderRow& row : hierarchy) {
        if (row.parent_id == parent && row.name == name)
          Check(store->OpenFolder(row.entry_id, &folder), "opening a folder");
      }
      if (!folder) Check(store->CreateFolder(parent, name, &folder), "making a folder");
      parent = folder->entry_id();
      start = end + 1;
    }
    return folder;
  }

  void Add(platform::MessageFolder& folder, const MessagePlan& plan,
           const std::vector<Attachment>& attachments) {
    std::unique_ptr<platform::Message> message;
    Check(folder.CreateMessage(&message), "creating a message");
    Check(message->SetSubject(plan.subject), "setting a subject");
    Check(message->SetBody(plan.body, plan.body_type), "setting a body");
    Check(message->SetProperties(plan.properties), "setting the properties");
    Check(message->SetRecipients(plan.recipients), "setting the recipients");
    for (const Attachment& attachment : attachments) WriteAttachment(*message, attachment);
    Check(message->Save(), "saving a message");
  }

  std::uint64_t attachments() const { return attachments_; }
  std::uint64_t attachment_bytes() const { return attachment_bytes_; }
  std::uint64_t largest_attachment() const { return largest_attachment_; }

 private:
  void WriteAttachment(platform::Message& message, const Attachment& attachment) {
    std::int64_t number = 0;
    Check(message.AddAttachment(attachment.file_name, kAttachedByValue, attachment.size, &number),
          "adding an attachment");
    // A SplitMix64 stream of its own for each attachment.
    std::uint64_t state = Mixed(attachments_ + 1);
    for (std::uint64_t offset = 0; offset < attachment.size; offset += chunk_.size()) {
      const std::size_t length = static_cast<std::size_t>(
          std::min<std::uint64_t>(chunk_.size(), attachment.size - offset));
      for (std::size_t at = 0; at < length; at += 8) {
        const std::uint64_t word = Mixed(state += 0x9E3779B97F4A7C15);
        for (std::size_t byte = 0; byte < 8 && at + byte < length; ++byte)
          chunk_[at + byte] = static_cast<std::uint8_t>(word >> (8 * byte));
      }
      Check(message.WriteAttachment(number, offset, std::span(chunk_).first(length)),
            "writing an attachment");
    }
    ++attachments_;
    attachment_bytes_ += attachment.size;
    largest_attachment_ = std::max<std::uint64_t>(largest_attachment_, attachment.size);
  }

  platform::host::SqliteMessageRuntime& runtime_;
  std::vector<std::uint8_t> chunk_ = std::vector<std::uint8_t>(platform::kAttachmentChunkBytes);
  std::uint64_t attachments_ = 0;
  std::uint64_t attachment_bytes_ = 0;
  std::uint64_t largest_attachment_ = 0;
};

int Fill(const std::string& profile, std::uint64_t messages, std::uint64_t attached_messages,
         std::uint64_t attachment_mb) {
  const auto start = std::chrono::steady_clock::now();
  std::string error;
  const std::unique_ptr<platform::host::HostDevice> host =
      platform::host::HostDevice::OpenProfile(profile, &error);
  if (!host) throw std::runtime_error(error);
  platform::host::SqliteMessageRuntime& runtime = *host->messages();
  Filler filler(runtime);
  filler.Check(runtime.Initialize(), "initialising the message runtime");
  std::unique_ptr<platform::MessageSession> session;
  filler.Check(runtime.Logon(&session), "logging on");

  // Every folder's count, the first taking what the thousandths leave over.
  std::vector<std::uint64_t> counts;
  std::uint64_t emails = 0;
  for (const FolderShare& share : kFolders) {
    counts.push_back(messages * share.per_mille / 1000);
    if (share.store != u"SMS") emails += counts.back();
  }
  std::uint64_t counted = 0;
  for (const std::uint64_t count : counts) counted += count;
  counts.front() += messages - counted;
  if (attached_messages > emails)
    throw std::runtime_error("more attached messages asked for than there are e-mails");
  if (attached_messages == 0 && attachment_mb > 0)
    throw std::runtime_error("attachment contents asked for, but no attached messages");
  const std::vector<std::vector<Attachment>> attachments =
      PlanAttachments(attached_messages, attachment_mb * 1'000'000);
  const std::vector<Attachment> none;

  std::uint64_t serial = 0;
  std::uint64_t email = 0;
  std::uint64_t attached = 0;
  for (std::size_t index = 0; index < std::size(kFolders); ++index) {
    const FolderShare& share = kFolders[index];
    const bool texts = share.store == u"SMS";
    const std::unique_ptr<platform::MessageFolder> folder =
        filler.OpenFolder(*session, share.store, share.path);
    for (std::uint64_t n = 0; n < counts[index]; ++n, ++serial) {
      // The attached messages spread evenly over the e-mails.
      const bool with_attachments =
          !texts && (email + 1) * attached_messages / emails != email * attached_messages / emails;
      if (!texts) ++email;
      const std::vector<Attachment>& own = with_attachments ? attachments[attached++] : none;
      filler.Add(*folder, PlanMessage(serial, texts, share.role, own), own);
    }
  }
  filler.Check(session->Logoff(), "logging off");
  session.reset();
  runtime.Uninitialize();
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf(
      "%ju messages in %zu folders, %ju of them with %ju attachments of %ju bytes (the largest "
      "%ju), in %.1f s\n",
      static_cast<std::uintmax_t>(serial), std::size(kFolders),
      static_cast<std::uintmax_t>(attached), static_cast<std::uintmax_t>(filler.attachments()),
      static_cast<std::uintmax_t>(filler.attachment_bytes()),
      static_cast<std::uintmax_t>(filler.largest_attachment()), seconds);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"kestrav-message-filler - fill a new profile's message stores for a benchmark"};
  std::string profile;
  std::uint64_t messages = 50'000;
  std::uint64_t attached_messages = 1'000;
  std::uint64_t attachment_mb = 200;
  app.add_option("PROFILE", profile, "The profile folder, made by device init")
      ->required()
      ->check(CLI::ExistingDirectory);
  app.add_option("--messages", messages, "How many messages");
  app.add_option("--attached-messages", attached_messages, "How many of them have attachments");
  app.add_option("--attachment-mb", attachment_mb, "The attachments' total size in MB (10^6 bytes)")
      ->check(CLI::Range(0, 4000));
  CLI11_PARSE(app, argc, argv);
  try {
    return Fill(profile, messages, attached_messages, attachment_mb);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kestrav-message-filler: %s\n", error.what());
    return 1;
  }
}
