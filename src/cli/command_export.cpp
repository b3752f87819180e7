#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "cli/backup_view.h"
#include "cli/cli.h"
#include "cli/command_words.h"
#include "cli/export_file.h"
#include "cli/export_time_zone.h"
#include "export/export.h"
#include "inspect/backup_reader.h"
#include "inspect/texts.h"
#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::cli {
namespace {

namespace fs = std::filesystem;
using engine::ItemKind;

struct ExportOptions {
  std::string backup;
  std::string folder;
  std::string kinds;
  int vcard_version = 3;
  bool floating = false;
  bool message_files = false;
  bool byte_order_mark = false;
};

constexpr std::size_t kMaximumNameBytes = 200;

// A store's or a folder's name as one file name: no separator, no control character, no leading
// dot, at most 200 bytes (never cutting a character).
std::string SafeFileName(std::string name) {
  for (char& c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '/' || c == '\\' || byte < 0x20 || byte == 0x7F) c = '_';
  }
  if (name.size() > kMaximumNameBytes) {
    std::size_t cut = kMaximumNameBytes;
    while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) --cut;
    name.resize(cut);
  }
  if (name.empty()) name = "_";
  // A hidden name, "." and ".." among them, would hide or leave the folder.
  if (name.front() == '.') name.front() = '_';
  return name;
}

// What one kind came to: its items written, its records that did not decode, what it left out.
struct KindTally {
  std::uint64_t written = 0;
  std::uint64_t undecodable = 0;
  exporting::Tally not_carried;
};

// The mailbox of one folder, and the folder its message files go in.
struct Mailbox {
  ExportFile file;
  fs::path message_folder;
  std::uint64_t messages = 0;
};

class Exporter : public inspect::ItemVisitor {
 public:
  Exporter(const ExportOptions& options, fs::path folder, const platform::Clock& clock,
           const ExportTimeZone* zone, exporting::LocalDateTime stamp)
      : options_(options), folder_(std::move(folder)), clock_(clock) {
    calendar_.stamp = stamp;
    if (zone != nullptr) {
      calendar_.zone_id = zone->Identifier();
      calendar_.zone_component = zone->Component();
      calendar_.to_utc = [zone](const exporting::LocalDateTime& time) { return zone->ToUtc(time); };
    } else {
      calendar_.to_utc = [](const exporting::LocalDateTime& time) { return time; };
    }
  }

  void BeginKind(const inspect::KindSummary& summary) override {
    if (!error_.empty()) return;
    switch (summary.kind) {
      case ItemKind::kContacts:
        Open(&contacts_, "contacts.vcf");
        break;
      case ItemKind::kAppointments:
      case ItemKind::kTasks:
        // Appointments and tasks share the calendar: it begins once.
        if (!calendar_file_ && Open(&calendar_file_, "calendar.ics")) {
          std::string text;
          exporting::AppendCalendarBegin(calendar_, &text);
          Emit(&*calendar_file_, text);
        }
        break;
      case ItemKind::kCallLogs:
        if (Open(&calls_, "calls.csv")) StartTable(&calls_, exporting::kCallColumns);
        break;
      case ItemKind::kSpeedDials:
        if (Open(&speed_dials_, "speeddials.csv")) {
          StartTable(&speed_dials_, exporting::kSpeedDialColumns);
        }
        break;
      case ItemKind::kMessages:
        break;
    }
    seen_.insert(summary.kind);
  }

  void Contact(std::uint64_t, const outlook::DecodedContact& contact) override {
    if (!error_.empty()) return;
    KindTally& tally = tallies_[ItemKind::kContacts];
    std::string text;
    exporting::AppendVcard(
        exporting::ContactCard(contact, &tally.not_carried),
        options_.vcard_version == 4 ? exporting::VcardVersion::k4 : exporting::VcardVersion::k3,
        &text);
    if (Emit(&*contacts_, text)) ++tally.written;
  }

  void Appointment(std::uint64_t number, const outlook::DecodedAppointment& appointment) override {
    if (!error_.empty()) return;
    KindTally& tally = tallies_[ItemKind::kAppointments];
    std::string text;
    exporting::AppendCalendarEvent(
        exporting::AppointmentEvent(appointment, number, &tally.not_carried), calendar_, &text);
    if (Emit(&*calendar_file_, text)) ++tally.written;
  }

  void Task(std::uint64_t number, const outlook::DecodedTask& task) override {
    if (!error_.empty()) return;
    KindTally& tally = tallies_[ItemKind::kTasks];
    std::string text;
    exporting::AppendCalendarTodo(exporting::TaskTodo(task, number, &tally.not_carried), calendar_,
                                  &text);
    if (Emit(&*calendar_file_, text)) ++tally.written;
  }

  void CallLog(std::uint64_t, const devicedb::DecodedCallLog& call) override {
    if (!error_.empty()) return;
    KindTally& tally = tallies_[ItemKind::kCallLogs];
    std::string text;
    exporting::AppendCsvRow(exporting::CallRow(call, &tally.not_carried), &text);
    if (Emit(&*calls_, text)) ++tally.written;
  }

  void SpeedDial(std::uint64_t, const devicedb::DecodedSpeedDial& dial) override {
    if (!error_.empty()) return;
    std::string text;
    exporting::AppendCsvRow(exporting::SpeedDialRow(dial), &text);
    if (Emit(&*speed_dials_, text)) ++tallies_[ItemKind::kSpeedDials].written;
  }

  void Message(std::uint64_t, const messages::MessageRecord& message) override {
    if (!error_.empty()) return;
    const std::string store = platform::ToUtf8(message.account);
    if (message.is_folder) {
      // The subfolder gets its mailbox even when it holds no message.
      FindMailbox(store, platform::ToUtf8(message.subject));
      return;
    }
    Mailbox* mailbox = FindMailbox(store, platform::ToUtf8(message.folder));
    if (mailbox == nullptr) return;
    KindTally& tally = tallies_[ItemKind::kMessages];
    const exporting::MailMessage mail = exporting::MessageMail(message, clock_, &tally.not_carried);
    if (!exporting::WriteMail(mail, exporting::MailFraming::kMailbox, &mailbox->file)) {
      Fail(mailbox->file);
      return;
    }
    ++mailbox->messages;
    if (options_.message_files) {
      char name[32];
      std::snprintf(name, sizeof name, "%06llu.eml",
                    static_cast<unsigned long long>(mailbox->messages));
      ExportFile file;
      std::string error;
      if (!MakeFolder(mailbox->message_folder)) return;
      if (!file.Open(mailbox->message_folder / name, &error)) {
        Abandon(error);
        return;
      }
      if (!exporting::WriteMail(mail, exporting::MailFraming::kMessageFile, &file) ||
          !file.Commit(&error, false)) {
        Fail(file, error);
        return;
      }
      ++message_files_;
    }
    ++tally.written;
  }

  void Defect(const inspect::KindSummary& summary, std::uint64_t, std::u16string_view) override {
    ++tallies_[summary.kind].undecodable;
  }

  // A member of another kind of file is only named; a member that cannot be read fails the
  // export, since a kind would be missing from it.
  void MemberFault(std::u16string_view backup, std::u16string_view member,
                   inspect::MemberProblem problem, std::u16string_view reason) override {
    const std::string line = platform::ToUtf8(member) + ' ' + platform::ToUtf8(reason);
    if (problem == inspect::MemberProblem::kNoRecordFile) {
      member_faults_.push_back(line);
    } else {
      Abandon(platform::ToUtf8(backup) + ": " + line);
    }
  }

  // Ends the calendar and gives every file its name; false with the reason in error().
  bool Finish() {
    if (error_.empty() && calendar_file_) {
      std::string text;
      exporting::AppendCalendarEnd(&text);
      Emit(&*calendar_file_, text);
    }
    for (std::optional<ExportFile>* file : {&contacts_, &calendar_file_, &calls_, &speed_dials_}) {
      if (*file) Commit(&**file);
    }
    for (auto& [key, mailbox] : mailboxes_) Commit(&mailbox->file);
    if (error_.empty() && message_files_ > 0) SynchronizeFolder();
    return error_.empty();
  }

  void Abandon(std::string reason) {
    if (error_.empty()) error_ = std::move(reason);
  }

  const std::string& error() const { return error_; }
  bool ExportedAnything() const { return !seen_.empty(); }

  // One line a kind: the file, how many items, what could not be carried.
  void Report(std::ostream& out) const {
    for (ItemKind kind : {ItemKind::kContacts, ItemKind::kAppointments, ItemKind::kTasks,
                          ItemKind::kCallLogs, ItemKind::kSpeedDials, ItemKind::kMessages}) {
      if (seen_.count(kind) == 0) continue;
      const auto found = tallies_.find(kind);
      const KindTally tally = found == tallies_.end() ? KindTally{} : found->second;
      out << Line(kind, tally) << '\n';
    }
    for (const std::string& fault : member_faults_) out << "not exported: " << fault << '\n';
  }

 private:
  std::string Line(ItemKind kind, const KindTally& tally) const {
    auto count = [](std::uint64_t number, const char* one, const char* many) {
      return std::to_string(number) + ' ' + (number == 1 ? one : many);
    };
    std::string line;
    switch (kind) {
      case ItemKind::kContacts:
        line = "contacts.vcf: " + count(tally.written, "contact", "contacts");
        break;
      case ItemKind::kAppointments:
        line = "calendar.ics: " + count(tally.written, "appointment", "appointments");
        break;
      case ItemKind::kTasks:
        line = "calendar.ics: " + count(tally.written, "task", "tasks");
        break;
      case ItemKind::kCallLogs:
        line = "calls.csv: " + count(tally.written, "call", "calls");
        break;
      case ItemKind::kSpeedDials:
        line = "speeddials.csv: " + count(tally.written, "speed dial", "speed dials");
        break;
      case ItemKind::kMessages:
        line = "messages: " + count(tally.written, "message", "messages") + " in " +
               count(mailboxes_.size(), "mailbox", "mailboxes");
        if (options_.message_files) line += " and " + count(message_files_, "file", "files");
        break;
    }
    if (tally.undecodable > 0) {
      line += "; " + count(tally.undecodable, "record", "records") + " did not decode";
    }
    if (!tally.not_carried.empty()) {
      line += "; not carried:";
      bool first = true;
      for (const auto& [what, number] : tally.not_carried) {
        line += std::string(first ? " " : ", ") + what + " (" + std::to_string(number) + ")";
        first = false;
      }
    }
    return line;
  }

  bool Open(std::optional<ExportFile>* file, const char* name) {
    if (*file) return true;
    file->emplace();
    std::string error;
    if (!(*file)->Open(folder_ / name, &error)) {
      Abandon(error);
      return false;
    }
    return true;
  }

  void StartTable(std::optional<ExportFile>* file, const std::vector<std::string>& columns) {
    std::string text;
    if (options_.byte_order_mark) text += exporting::kUtf8ByteOrderMark;
    exporting::AppendCsvRow(columns, &text);
    Emit(&**file, text);
  }

  bool Emit(ExportFile* file, const std::string& text) {
    if (file->Write(text)) return true;
    Fail(*file);
    return false;
  }

  void Fail(const ExportFile& file, const std::string& reason = {}) {
    Abandon(reason.empty() ? file.ErrorText() : reason);
  }

  void Commit(ExportFile* file) {
    if (!error_.empty()) {
      file->Abort();
      return;
    }
    std::string error;
    if (!file->Commit(&error)) Abandon(error);
  }

  // The message files, written without waiting for the disk each, reach it here together.
  void SynchronizeFolder() {
    const int descriptor = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0 || ::syncfs(descriptor) != 0) {
      Abandon(folder_.string() + ": " + std::strerror(errno));
    }
    if (descriptor >= 0) ::close(descriptor);
  }

  // A folder below the export folder; a link in its place is refused, so nothing is written
  // outside the folder chosen.
  bool MakeFolder(const fs::path& path) {
    std::error_code code;
    const fs::file_status status = fs::symlink_status(path, code);
    if (fs::is_symlink(status)) {
      Abandon(path.string() + ": a symbolic link; refused");
      return false;
    }
    if (fs::is_directory(status)) return true;
    if (!fs::create_directory(path, code)) {
      Abandon(path.string() + ": " + code.message());
      return false;
    }
    return true;
  }

  Mailbox* FindMailbox(const std::string& store, const std::string& folder) {
    const std::pair<std::string, std::string> key = {SafeFileName(store), SafeFileName(folder)};
    if (auto found = mailboxes_.find(key); found != mailboxes_.end()) return found->second.get();
    const fs::path store_folder = folder_ / key.first;
    if (!MakeFolder(store_folder)) return nullptr;
    auto mailbox = std::make_unique<Mailbox>();
    std::string error;
    if (!mailbox->file.Open(store_folder / (key.second + ".mbox"), &error)) {
      Abandon(error);
      return nullptr;
    }
    mailbox->message_folder = store_folder / key.second;
    return mailboxes_.emplace(key, std::move(mailbox)).first->second.get();
  }

  const ExportOptions& options_;
  fs::path folder_;
  const platform::Clock& clock_;
  exporting::CalendarContext calendar_;
  std::optional<ExportFile> contacts_;
  std::optional<ExportFile> calendar_file_;
  std::optional<ExportFile> calls_;
  std::optional<ExportFile> speed_dials_;
  std::map<std::pair<std::string, std::string>, std::unique_ptr<Mailbox>> mailboxes_;
  std::uint64_t message_files_ = 0;
  std::map<ItemKind, KindTally> tallies_;
  std::set<ItemKind> seen_;
  std::vector<std::string> member_faults_;
  std::string error_;
};

// The calendar's stamp: the latest member time of an archive, or a record file's last change,
// so that the same backup always gives the same bytes.
exporting::LocalDateTime Stamp(const platform::Device& device, const std::u16string& backup,
                               const std::string& host_path) {
  std::vector<records::ArchiveMember> members;
  platform::SystemTime latest;
  if (records::ListMembers(device, backup, &members) == 0) {
    for (const records::ArchiveMember& member : members) {
      const auto key = [](const platform::SystemTime& time) {
        return std::tuple(time.year, time.month, time.day, time.hour, time.minute, time.second);
      };
      if (key(member.date) > key(latest)) latest = member.date;
    }
  } else {
    struct stat status {};
    if (::stat(host_path.c_str(), &status) == 0) {
      platform::FileTimeToSystemTime(platform::FileTimeFromUnixTime(status.st_mtime, 0), &latest);
    }
  }
  return {latest.year, latest.month, latest.day, latest.hour, latest.minute, latest.second};
}

int Export(CommandContext& context, const ExportOptions& options) {
  platform::host::HostDevice* device = context.Device();
  if (device == nullptr) return context.Fail("the device's code page is not available");
  const std::u16string backup = CommandLinePath(options.backup);
  if (!device->files().FileExists(backup)) return context.Fail(options.backup + ": no such file");
  inspect::ReadOptions read_options;
  std::string reason;
  if (!options.kinds.empty() && !ParseKinds(options.kinds, &read_options.kinds, &reason)) {
    return context.Fail(reason);
  }

  const fs::path folder = fs::absolute(options.folder);
  std::error_code code;
  fs::create_directories(folder, code);
  if (!fs::is_directory(folder)) {
    return context.Fail(options.folder + ": " +
                        (code ? code.message() : std::string("not a folder")));
  }
  if (::access(folder.c_str(), W_OK) != 0) {
    return context.Fail(options.folder + ": " + std::strerror(errno));
  }

  std::optional<ExportTimeZone> zone;
  if (!options.floating) {
    zone.emplace();
    if (!zone->Loaded()) {
      return context.Fail("the local time zone" +
                          (zone->name().empty() ? std::string() : " \"" + zone->name() + '"') +
                          " is not known; export with --floating for times without a zone");
    }
  }

  const ScratchFolder scratch;
  if (!scratch.made()) return context.Fail("no temporary folder to read the backup's members in");
  Exporter exporter(options, folder, device->device().clock(), zone ? &*zone : nullptr,
                    Stamp(device->device(), backup, options.backup));
  const int result =
      inspect::ReadBackup(device->device(), backup, scratch.folder(), read_options, exporter);
  if (result != 0) {
    exporter.Abandon(options.backup + ": " + platform::ToUtf8(records::ArchiveErrorText(result)));
  }
  if (!exporter.Finish()) return context.Fail(exporter.error());
  if (!exporter.ExportedAnything()) {
    return context.Fail(options.backup + ": holds none of the kinds to export");
  }
  exporter.Report(std::cout);
  return kExitSuccess;
}

}  // namespace

void AddExportCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "export",
      "Export a backup's items for other programs: contacts.vcf, calendar.ics, one mailbox per "
      "messages folder, calls.csv and speeddials.csv");
  auto options = std::make_shared<ExportOptions>();
  command->add_option("BACKUP", options->backup, "The backup archive (.qbk) or a record file")
      ->required();
  command->add_option("--to", options->folder, "The folder to write into; created when missing")
      ->required();
  command->add_option("--kinds", options->kinds,
                      "The kinds to export, comma-separated (default: every kind the backup "
                      "holds): contacts, appointments, tasks, calllogs, speeddials, messages");
  command->add_option("--vcard", options->vcard_version, "The vCard version: 3 (default) or 4")
      ->check(CLI::IsMember({3, 4}));
  command->add_flag("--floating", options->floating,
                    "Calendar times without a time zone, instead of the local zone's");
  command->add_flag("--eml", options->message_files,
                    "Also one .eml file per message, in a folder beside its mailbox");
  command->add_flag("--bom", options->byte_order_mark,
                    "Begin the CSV files with a UTF-8 byte order mark, for spreadsheets that "
                    "need one");
  command->callback([&context, options] {
    context.action = [&context, options] { return Export(context, *options); };
  });
}

}  // namespace kestrav::cli
