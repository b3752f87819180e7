#include <iostream>

#include "cli/backup_view.h"
#include "cli/cli.h"
#include "kinds/console_sink.h"
#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::cli {
namespace {

using platform::ToUtf8;

// Checks everything a backup holds and says each defect in a line: "b.qbk: clogs_20070315.csl:
// record 3: the record does not decode".
class Checker : public inspect::ItemVisitor {
 public:
  explicit Checker(std::string backup) : backup_(std::move(backup)) {}

  std::uint64_t defects() const { return defects_; }
  std::uint64_t members() const { return members_; }
  std::uint64_t items() const { return items_; }

  void Say(std::string_view member, std::string_view what) {
    ++defects_;
    std::cout << backup_ << ": " << member << (member.empty() ? "" : ": ") << what << "\n";
  }

  void BeginKind(const inspect::KindSummary& summary) override {
    ++members_;
    member_ = kinds::PrintableText(summary.member);
    if (summary.header == inspect::HeaderVerdict::kRefused) {
      Say(member_, "header refused: " + ToUtf8(summary.header_text));
    } else if (summary.header == inspect::HeaderVerdict::kUnusual) {
      Say(member_, ToUtf8(summary.header_text));
    }
  }

  void Contact(std::uint64_t, const outlook::DecodedContact&) override { ++items_; }
  void Appointment(std::uint64_t, const outlook::DecodedAppointment&) override { ++items_; }
  void Task(std::uint64_t, const outlook::DecodedTask&) override { ++items_; }
  void CallLog(std::uint64_t, const devicedb::DecodedCallLog&) override { ++items_; }
  void SpeedDial(std::uint64_t, const devicedb::DecodedSpeedDial&) override { ++items_; }

  // Every stored attachment's contents decoded, piece by piece, to the size the record states.
  void Message(std::uint64_t record, const messages::MessageRecord& message) override {
    ++items_;
    messages::ItemList attachments(message.attachments);
    messages::AttachmentItem attachment;
    for (std::u16string_view item; attachments.Next(&item);) {
      if (!messages::ReadAttachment(item, &attachment) || !attachment.contents) continue;
      std::uint64_t decoded = 0;
      messages::DecodeAttachmentContents(*attachment.contents,
                                         [&decoded](std::span<const std::uint8_t> piece) {
                                           decoded += piece.size();
                                           return true;
                                         });
      if (decoded != attachment.size) {
        Say(member_, "record " + std::to_string(record) + ": attachment " +
                         kinds::PrintableText(attachment.file_name) + " decodes to " +
                         std::to_string(decoded) + " bytes, its size says " +
                         std::to_string(attachment.size));
      }
    }
  }

  void Defect(const inspect::KindSummary&, std::uint64_t record, std::u16string_view why) override {
    Say(member_, "record " + std::to_string(record) + ": " + ToUtf8(why));
  }

  void EndKind(const inspect::KindSummary& summary) override {
    // The file cannot be read past a record: the one after the last read.
    if (summary.read_error != 0) {
      Say(member_,
          "record " + std::to_string(summary.records + 1) + ": " + ToUtf8(summary.read_error_text));
    }
    if (summary.stated_count && *summary.stated_count != summary.records) {
      Say(member_, "the file states " + std::to_string(*summary.stated_count) +
                       " records but holds " + std::to_string(summary.records));
    }
  }

  void MemberFault(std::u16string_view, std::u16string_view member, inspect::MemberProblem problem,
                   std::u16string_view why) override {
    ++members_;
    // A file added to the archive beside the record files is no defect once its data checks.
    if (problem == inspect::MemberProblem::kNoRecordFile) return;
    Say(kinds::PrintableText(member), ToUtf8(why));
  }

 private:
  std::string backup_;
  std::string member_;
  std::uint64_t defects_ = 0;
  std::uint64_t members_ = 0;
  std::uint64_t items_ = 0;
};

std::string Counted(std::uint64_t count, std::string_view one, std::string_view many) {
  return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

int Verify(CommandContext& context, const std::vector<std::string>& paths) {
  platform::host::HostDevice* host = context.Device();
  if (host == nullptr) return context.Fail("the device's code page is not available");
  ScratchFolder scratch;
  if (!scratch.made()) return context.Fail("no temporary folder to read the backups' members in");
  inspect::ReadOptions options;
  options.check_other_members = true;
  std::uint64_t damaged = 0;
  std::uint64_t checked = 0;
  for (const std::string& path : paths) {
    std::error_code missing;
    if (!std::filesystem::exists(path, missing)) {
      std::cout << path << ": no such file or folder\n";
      ++damaged;
      continue;
    }
    const std::vector<std::filesystem::path> backups = BackupsOf(path);
    if (backups.empty()) {
      std::cout << path << ": no backup in this folder\n";
      ++damaged;
    }
    for (const std::filesystem::path& backup : backups) {
      Checker checker(backup.string());
      const int result = inspect::ReadBackup(host->device(), CommandLinePath(backup.string()),
                                             scratch.folder(), options, checker);
      if (result != 0) checker.Say("", ToUtf8(records::ArchiveErrorText(result)));
      std::cout << backup.string() << ": "
                << (checker.defects() == 0 ? "OK" : Counted(checker.defects(), "defect", "defects"))
                << " (" << Counted(checker.members(), "member", "members") << ", "
                << Counted(checker.items(), "item", "items") << ")\n";
      ++checked;
      if (checker.defects() > 0) ++damaged;
    }
  }
  std::cout.flush();
  if (damaged == 0) return kExitSuccess;
  return context.Fail(std::to_string(damaged) + " of " + Counted(checked, "backup", "backups") +
                      " checked " + (damaged == 1 ? "has" : "have") + " defects");
}

}  // namespace

void AddVerifyCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "verify",
      "Check backups through and through: every member's size and CRC, every record file's "
      "header, every record and every attachment decoded; exit status 1 on any defect");
  auto paths = std::make_shared<std::vector<std::string>>();
  command->add_option("BACKUP", *paths, "Backups (.qbk), record files, or folders of backups")
      ->required();
  command->callback([&context, paths] {
    context.action = [&context, paths] { return Verify(context, *paths); };
  });
}

}  // namespace kestrav::cli
