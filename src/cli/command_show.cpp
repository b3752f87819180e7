#include <iostream>

#include "cli/backup_view.h"
#include "cli/cli.h"
#include "cli/command_words.h"
#include "kinds/console_sink.h"
#include "messages/message_folders.h"
#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::cli {
namespace {

using nlohmann::ordered_json;
using platform::ToUtf8;

// A host path need not be UTF-8: its stray bytes become U+FFFD rather than stop the document.
constexpr auto kReplaceInvalid = ordered_json::error_handler_t::replace;

struct ShowOptions {
  std::string backup;
  std::string kinds;
  bool json = false;
};

// The text cut or padded to a column of that many characters, control characters shown.
std::string Cell(std::u16string_view text, std::size_t width) {
  std::string printable = kinds::PrintableText(text);
  std::u16string wide = platform::FromUtf8(printable);
  std::size_t characters = 0;
  std::size_t cut = wide.size();
  for (std::size_t at = 0; at < wide.size(); ++at) {
    if (wide[at] >= 0xDC00 && wide[at] <= 0xDFFF) continue;  // the second half of a pair
    if (characters == width - 1 && cut == wide.size()) cut = at;
    ++characters;
  }
  if (characters > width) {
    wide.resize(cut);
    return ToUtf8(wide) + "…";
  }
  return printable + std::string(width - characters, ' ');
}

std::string Cell(std::string_view text, std::size_t width) {
  return Cell(platform::FromUtf8(std::string(text)), width);
}

std::string VerdictText(const inspect::KindSummary& summary) {
  std::string text;
  switch (summary.header) {
    case inspect::HeaderVerdict::kAccepted:
      text = "header accepted";
      break;
    case inspect::HeaderVerdict::kRefused:
      text = "header refused";
      break;
    case inspect::HeaderVerdict::kUnusual:
      text = "header unusual";
      break;
  }
  if (!summary.header_text.empty()) text += " (" + ToUtf8(summary.header_text) + ")";
  return text;
}

std::string CountText(std::uint64_t count, std::string_view one, std::string_view many) {
  return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

// The items as tables: a heading per kind, then a row per item.
class TableView : public inspect::ItemVisitor {
 public:
  explicit TableView(const platform::Clock& clock) : clock_(clock) {}

  void BeginKind(const inspect::KindSummary& summary) override {
    std::cout << "\n"
              << kinds::PrintableText(summary.member) << ": " << KindWord(summary.kind) << ", "
              << VerdictText(summary) << "\n";
    if (summary.header == inspect::HeaderVerdict::kRefused) return;
    switch (summary.kind) {
      case engine::ItemKind::kContacts:
        Row({Cell("Name", 28), Cell("Company", 22), Cell("Phones", 40), "E-mail"});
        break;
      case engine::ItemKind::kAppointments:
        Row({Cell("Start", 16), Cell("End", 16), Cell("Subject", 28), Cell("Location", 18),
             "Recurrence"});
        break;
      case engine::ItemKind::kTasks:
        Row({Cell("Due", 10), Cell("Status", 12), "Subject"});
        break;
      case engine::ItemKind::kCallLogs:
        Row({Cell("Time", 19), Cell("Direction", 9), Cell("Number", 18), Cell("Name", 24),
             "Duration"});
        break;
      case engine::ItemKind::kSpeedDials:
        Row({Cell("Position", 8), Cell("Name", 24), "Number"});
        break;
      case engine::ItemKind::kMessages:
        Row({Cell("Store/Folder", 26), Cell("Date", 19), Cell("Sender", 24), Cell("Subject", 30),
             "Attachments"});
        break;
    }
  }

  void Contact(std::uint64_t, const outlook::DecodedContact& contact) override {
    static constexpr std::pair<std::u16string_view, std::u16string_view> kPhones[] = {
        {u"Mobile Phone", u"m"}, {u"Business Phone", u"w"}, {u"Home Phone", u"h"},
        {u"Car Phone", u"car"},  {u"Pager", u"pager"},      {u"Business Phone 2", u"w2"},
        {u"Home Phone 2", u"h2"}};
    std::u16string phones;
    for (const auto& [column, label] : kPhones) {
      const std::u16string_view phone = contact.Field(column);
      if (phone.empty()) continue;
      phones +=
          (phones.empty() ? u"" : u", ") + std::u16string(label) + u" " + std::u16string(phone);
    }
    std::u16string_view email = contact.Field(u"E-mail Address");
    if (email.empty()) email = contact.Field(u"E-mail 2 Address");
    if (email.empty()) email = contact.Field(u"E-mail 3 Address");
    Row({Cell(contact.name().empty() ? u"(no name)" : contact.name(), 28),
         Cell(contact.Field(u"Company"), 22), Cell(phones, 40), kinds::PrintableText(email)});
  }

  void Appointment(std::uint64_t, const outlook::DecodedAppointment& appointment) override {
    Row({Cell(OleDateText(appointment.start), 16), Cell(OleDateText(appointment.end), 16),
         Cell(appointment.subject, 28), Cell(appointment.location, 18),
         appointment.recurrence ? RecurrenceWords(*appointment.recurrence) : "-"});
  }

  void Task(std::uint64_t, const outlook::DecodedTask& task) override {
    std::string due = OleDateText(task.due_date).substr(0, 10);
    Row({Cell(due, 10), Cell(task.complete ? "complete" : "not complete", 12),
         kinds::PrintableText(task.subject) +
             (task.recurrence ? " (" + RecurrenceWords(*task.recurrence) + ")" : "")});
  }

  void CallLog(std::uint64_t, const devicedb::DecodedCallLog& call) override {
    static constexpr std::array<const char*, 3> kDirections = {"outgoing", "incoming", "missed"};
    const std::optional<std::uint64_t> seconds = call.duration_seconds();
    std::string duration = "-";
    if (seconds) {
      char text[32];
      std::snprintf(text, sizeof text, "%llu:%02llu",
                    static_cast<unsigned long long>(*seconds / 60),
                    static_cast<unsigned long long>(*seconds % 60));
      duration = text;
    }
    Row({Cell(call.start ? FileTimeText(clock_, *call.start) : "-", 19),
         Cell(kDirections[static_cast<std::size_t>(call.direction())], 9),
         Cell(call.number.empty() ? u"(withheld)" : call.number, 18),
         Cell(call.name.value_or(u""), 24), duration});
  }

  void SpeedDial(std::uint64_t, const devicedb::DecodedSpeedDial& dial) override {
    Row({Cell(dial.position ? std::to_string(*dial.position) : "-", 8), Cell(dial.label, 24),
         kinds::PrintableText(dial.phone_text)});
  }

  void Message(std::uint64_t, const messages::MessageRecord& message) override {
    const std::u16string place =
        messages::ShownStoreName(message.account) + u"/" + std::u16string(message.folder);
    if (message.is_folder) {
      Row({Cell(place, 26), Cell("", 19), Cell("", 24),
           "(folder " + kinds::PrintableText(message.subject) + ")"});
      return;
    }
    std::string date = "-";
    std::u16string sender;
    for (const platform::PropertyValue& property : message.properties) {
      if (property.id == platform::kTagDeliveryTime)
        date = FileTimeText(clock_, property.file_time);
      if (property.id == platform::kTagSenderName && !property.text.empty()) sender = property.text;
      if (property.id == platform::kTagSenderAddress && sender.empty()) sender = property.text;
    }
    std::string attachments;
    messages::ItemList items(message.attachments);
    messages::AttachmentItem attachment;
    for (std::u16string_view item; items.Next(&item);) {
      if (!messages::ReadAttachment(item, &attachment)) continue;
      attachments += (attachments.empty() ? "" : ", ") +
                     kinds::PrintableText(attachment.file_name) + " (" + SizeText(attachment.size) +
                     (attachment.contents ? "" : ", not stored") + ")";
    }
    Row({Cell(place, 26), Cell(date, 19), Cell(sender, 24), Cell(message.subject, 30),
         attachments});
  }

  void Defect(const inspect::KindSummary&, std::uint64_t record, std::u16string_view why) override {
    std::cout << "  ! record " << record << ": " << ToUtf8(why) << "\n";
  }

  void EndKind(const inspect::KindSummary& summary) override {
    std::string line = "  " + CountText(summary.items, "item", "items");
    if (summary.stated_count)
      line += " (the file states " + std::to_string(*summary.stated_count) + ")";
    if (summary.undecodable > 0)
      line += ", " + CountText(summary.undecodable, "record", "records") + " that do not decode";
    std::cout << line << "\n";
    if (summary.read_error != 0) std::cout << "  ! " << ToUtf8(summary.read_error_text) << "\n";
  }

  void MemberFault(std::u16string_view, std::u16string_view member, inspect::MemberProblem,
                   std::u16string_view why) override {
    std::cout << "\n" << kinds::PrintableText(member) << ": " << ToUtf8(why) << "\n";
  }

 private:
  static void Row(std::initializer_list<std::string> cells) {
    std::string line = " ";
    for (const std::string& cell : cells) line += " " + cell;
    while (!line.empty() && line.back() == ' ') line.pop_back();
    std::cout << line << "\n";
  }

  const platform::Clock& clock_;
};

// The items as one JSON document, written as they come: {"backups": [{"backup": ..., "kinds":
// [{..., "items": [...]}]}]}.
class JsonView : public inspect::ItemVisitor {
 public:
  explicit JsonView(const platform::Clock& clock) : clock_(clock) {}

  void BeginBackup(const std::string& backup) {
    std::cout << (backups_ == 0 ? "" : ",\n")
              << "{\"backup\":" << ordered_json(backup).dump(-1, ' ', false, kReplaceInvalid)
              << ",\"kinds\":[";
    ++backups_;
    kinds_ = 0;
  }
  void EndBackup(const std::string& failure) {
    std::cout << "]";
    if (!failure.empty())
      std::cout << ",\"failure\":" << ordered_json(failure).dump(-1, ' ', false, kReplaceInvalid);
    std::cout << "}";
  }

  void BeginKind(const inspect::KindSummary& summary) override {
    static constexpr std::array<const char*, 3> kVerdicts = {"accepted", "refused", "unusual"};
    std::cout << (kinds_ == 0 ? "\n" : ",\n") << "{\"member\":"
              << ordered_json(ToUtf8(summary.member)).dump(-1, ' ', false, kReplaceInvalid)
              << ",\"kind\":"
              << ordered_json(KindWord(summary.kind)).dump(-1, ' ', false, kReplaceInvalid)
              << ",\"header\":"
              << ordered_json(kVerdicts[static_cast<int>(summary.header)])
                     .dump(-1, ' ', false, kReplaceInvalid)
              << ",\"header_text\":"
              << ordered_json(ToUtf8(summary.header_text)).dump(-1, ' ', false, kReplaceInvalid)
              << ",\"items\":[";
    ++kinds_;
    items_ = 0;
    defects_ = ordered_json::array();
  }
  void Contact(std::uint64_t number, const outlook::DecodedContact& contact) override {
    Item(number, ContactJson(contact));
  }
  void Appointment(std::uint64_t number, const outlook::DecodedAppointment& appointment) override {
    Item(number, AppointmentJson(appointment));
  }
  void Task(std::uint64_t number, const outlook::DecodedTask& task) override {
    Item(number, TaskJson(task));
  }
  void CallLog(std::uint64_t number, const devicedb::DecodedCallLog& call) override {
    Item(number, CallLogJson(clock_, call));
  }
  void SpeedDial(std::uint64_t number, const devicedb::DecodedSpeedDial& dial) override {
    Item(number, SpeedDialJson(dial));
  }
  void Message(std::uint64_t number, const messages::MessageRecord& message) override {
    Item(number, MessageJson(clock_, message));
  }
  void Defect(const inspect::KindSummary&, std::uint64_t record, std::u16string_view why) override {
    // A backup's defects are few next to its items; they follow the items.
    if (defects_.size() < 1000) defects_.push_back({{"record", record}, {"defect", ToUtf8(why)}});
  }
  void EndKind(const inspect::KindSummary& summary) override {
    std::cout << "],\"count\":" << summary.items << ",\"records\":" << summary.records
              << ",\"stated_count\":"
              << (summary.stated_count ? ordered_json(*summary.stated_count) : ordered_json())
                     .dump(-1, ' ', false, kReplaceInvalid)
              << ",\"defects\":" << defects_.dump(-1, ' ', false, kReplaceInvalid);
    if (summary.read_error != 0)
      std::cout
          << ",\"read_error\":"
          << ordered_json(ToUtf8(summary.read_error_text)).dump(-1, ' ', false, kReplaceInvalid);
    std::cout << "}";
  }
  void MemberFault(std::u16string_view, std::u16string_view member, inspect::MemberProblem,
                   std::u16string_view why) override {
    std::cout << (kinds_ == 0 ? "\n" : ",\n") << "{\"member\":"
              << ordered_json(ToUtf8(member)).dump(-1, ' ', false, kReplaceInvalid)
              << ",\"fault\":" << ordered_json(ToUtf8(why)).dump(-1, ' ', false, kReplaceInvalid)
              << "}";
    ++kinds_;
  }

 private:
  void Item(std::uint64_t number, ordered_json item) {
    ordered_json numbered = {{"record", number}};
    numbered.update(item);
    std::cout << (items_ == 0 ? "\n" : ",\n") << numbered.dump(-1, ' ', false, kReplaceInvalid);
    ++items_;
  }

  const platform::Clock& clock_;
  std::size_t backups_ = 0;
  std::size_t kinds_ = 0;
  std::size_t items_ = 0;
  ordered_json defects_;
};

int Show(CommandContext& context, const ShowOptions& options) {
  platform::host::HostDevice* host = context.Device();
  if (host == nullptr) return context.Fail("the device's code page is not available");
  const platform::Device& device = host->device();
  inspect::ReadOptions read_options;
  std::string reason;
  if (!options.kinds.empty() && !ParseKinds(options.kinds, &read_options.kinds, &reason))
    return context.Fail(reason);
  std::error_code missing;
  if (!std::filesystem::exists(options.backup, missing))
    return context.Fail(options.backup + ": no such file or folder");
  ScratchFolder scratch;
  if (!scratch.made()) return context.Fail("no temporary folder to read the backup's members in");

  const std::vector<std::filesystem::path> backups = BackupsOf(options.backup);
  if (backups.empty()) return context.Fail(options.backup + ": no backup in this folder");
  TableView table(device.clock());
  JsonView json(device.clock());
  if (options.json) std::cout << "{\"backups\":[";
  int status = kExitSuccess;
  for (const std::filesystem::path& backup : backups) {
    std::string failure;
    if (options.json) {
      json.BeginBackup(backup.string());
    } else {
      std::cout << (&backup == &backups.front() ? "" : "\n") << backup.string() << "\n";
    }
    inspect::ItemVisitor& visitor = options.json ? static_cast<inspect::ItemVisitor&>(json) : table;
    const int result = inspect::ReadBackup(device, CommandLinePath(backup.string()),
                                           scratch.folder(), read_options, visitor);
    if (result != 0) {
      failure = ToUtf8(records::ArchiveErrorText(result));
      std::cerr << "kestrav-cli: " << backup.string() << ": " << failure << "\n";
      status = kExitFailure;
    }
    if (options.json) json.EndBackup(failure);
  }
  if (options.json) std::cout << "\n]}\n";
  std::cout.flush();
  return status;
}

}  // namespace

void AddShowCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "show",
      "Show what a backup holds, item by item, as a restore would put it on the device: a .qbk "
      "archive, a record file, or every backup in a folder");
  auto options = std::make_shared<ShowOptions>();
  command->add_option("BACKUP", options->backup, "The backup (.qbk), a record file, or a folder")
      ->required();
  command->add_option("--kinds", options->kinds,
                      "Comma-separated kinds (calllogs, contacts, appointments, tasks, "
                      "speeddials, messages); default: every kind the backup holds");
  command->add_flag("--json", options->json,
                    "One JSON document for scripts (docs/kestrav-cli-json.md)");
  command->callback([&context, options] {
    context.action = [&context, options] { return Show(context, *options); };
  });
}

}  // namespace kestrav::cli
