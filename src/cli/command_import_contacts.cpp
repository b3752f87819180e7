#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "cli/cli.h"
#include "cli/command_words.h"
#include "cli/job_runner.h"
#include "kinds/contacts_import.h"
#include "outlook/contact_field_map.h"
#include "platform/host/iconv_code_page.h"
#include "platform/text.h"
#include "records/record_file.h"

namespace kestrav::cli {
namespace {

struct ImportOptions {
  std::string file;
  std::string delimiter = "comma";
  std::string map = "default";
  std::string mode = "add-new";
  std::string encoding;
};

// The delimiters by name and as the character itself; a tab also as the two characters "\t",
// as a shell passes it unquoted.
struct DelimiterName {
  std::string_view name;
  outlook::FieldDelimiter delimiter;
};

constexpr std::array<DelimiterName, 9> kDelimiters = {{
    {"comma", outlook::FieldDelimiter::kComma},
    {",", outlook::FieldDelimiter::kComma},
    {"semicolon", outlook::FieldDelimiter::kSemicolon},
    {";", outlook::FieldDelimiter::kSemicolon},
    {"tab", outlook::FieldDelimiter::kTab},
    {"\t", outlook::FieldDelimiter::kTab},
    {"\\t", outlook::FieldDelimiter::kTab},
    {"space", outlook::FieldDelimiter::kSpace},
    {" ", outlook::FieldDelimiter::kSpace},
}};

// An encoding must keep separators, quotes and line ends as they are in ASCII, since lines and
// columns are found before the text is converted: UTF-16 and UTF-32 without their byte order
// mark cannot be read so.
bool KeepsAsciiPunctuation(const platform::AnsiCodePage& encoding) {
  static constexpr std::string_view kPunctuation = "\",; \t\r\nName";
  return encoding.ToWide(kPunctuation) == platform::FromUtf8(kPunctuation);
}

int ImportContacts(CommandContext& context, const ImportOptions& options) {
  const auto delimiter = std::ranges::find(kDelimiters, options.delimiter, &DelimiterName::name);
  if (delimiter == kDelimiters.end()) {
    return context.Fail("--delimiter " + options.delimiter +
                        ": comma, semicolon, tab or space (or \",\" \";\" \"\\t\" \" \")");
  }
  engine::RestoreMode mode;
  if (!ParseRestoreMode(options.mode, &mode))
    return context.Fail("--mode " + options.mode + ": " +
                        OfferedModeNames(engine::ItemKind::kContacts));
  std::unique_ptr<platform::host::IconvCodePage> encoding;
  if (!options.encoding.empty()) {
    encoding = platform::host::IconvCodePage::CreateNamed(options.encoding);
    if (!encoding) {
      return context.Fail("--encoding " + options.encoding +
                          ": not an encoding this system knows (see iconv --list)");
    }
    if (!KeepsAsciiPunctuation(*encoding)) {
      return context.Fail("--encoding " + options.encoding +
                          ": its separators and line ends are not those of ASCII; save the file "
                          "as UTF-16 with a byte order mark or as UTF-8");
    }
  }
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const platform::Device& device = host->device();
  const std::u16string file = CommandLinePath(options.file);
  if (!device.files().FileExists(file)) return context.Fail(options.file + ": no such file");
  if (!records::LooksLikeText(device, file)) {
    return context.Fail(options.file +
                        ": not a text file; import-contacts reads a separated text file (a "
                        "backup archive goes through restore)");
  }

  kinds::ContactsImport import;
  import.file = {file, static_cast<char16_t>(delimiter->delimiter), encoding.get()};
  import.mode = mode;
  kinds::ChooseEncoding(device, &import.file);
  records::Record first_line;
  std::u16string error;
  if (!kinds::ReadFirstLine(device, import.file, &first_line, &error)) return context.Fail(error);
  if (!kinds::ParseFieldMap(platform::FromUtf8(options.map), first_line, &import.map, &error))
    return context.Fail(u"--map " + error);
  const bool semicolons = kinds::LooksSemicolonSeparated(import.file, first_line);
  // Every contact would come in empty, and without a Name to be found by again.
  if (!kinds::FeedsAnyContactColumn(import.map, first_line)) {
    std::string reason = options.file + ": --map " + options.map +
                         " gives no contact column a value from this file, so every contact "
                         "would come in empty; nothing was imported";
    if (semicolons) {
      reason += " (its first line looks separated by semicolons: add --delimiter \";\")";
    } else if (std::ranges::any_of(
                   import.map, [](std::uint16_t entry) { return entry != outlook::kUnmapped; })) {
      // Every entry lies past the file's columns: the first note says which, and how to keep them.
      reason += " (" + platform::ToUtf8(kinds::MapNotes(import.map, first_line).front()) + ")";
    }
    return context.Fail(reason);
  }

  const std::unique_ptr<engine::DeviceJob> device_job =
      context.BeginJob(device, kinds::ImportJobName(import.file), true);
  if (!device_job) return kExitFailure;
  kinds::ImportOutcome outcome;
  RunJob(device.clock(), false, {engine::ItemKind::kContacts},
         [&](engine::ProgressSink* sink, engine::CancelFlag* cancel) {
           outcome = kinds::RunContactsImport(device, *device_job, import, sink, cancel,
                                              context.FrontEnd(*host));
         });
  // Told after the rows whatever the outcome: what the handheld's rules did with the file.
  for (const std::u16string& note : outcome.notes)
    std::printf("Note: %s\n", platform::ToUtf8(note).c_str());
  if (semicolons) {
    std::printf(
        "Note: the file's first line looks separated by semicolons; if it is, add --delimiter "
        "\";\"\n");
  }
  if (!outcome.outcome.failure.empty()) return context.Fail(outcome.outcome.failure);
  return kExitSuccess;
}

}  // namespace

void AddImportContactsCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "import-contacts", "Import contacts from a separated text file through a field map");
  auto options = std::make_shared<ImportOptions>();
  command->add_option("FILE", options->file, "The file; its first line names its columns")
      ->required();
  command->add_option("--delimiter", options->delimiter,
                      "comma (the default), semicolon, tab or space, or the character itself: "
                      "\",\" \";\" \"\\t\" \" \"");
  command->add_option("--encoding", options->encoding,
                      "how a file without a byte order mark is written: an iconv name or a code "
                      "page (latin1, cp1250, 1252); by default UTF-8 when the file is UTF-8, "
                      "else the device's code page");
  command->add_option("--map", options->map,
                      "default (each contact column takes the file column of its name, case "
                      "ignored) or CONTACT_COLUMN=FILE_COLUMN,... where FILE_COLUMN is a name of "
                      "the first line or a column number from 1");
  command->add_option("--mode", options->mode,
                      "add-new (the default), add-update, duplicates or delete-all");
  command->callback([&context, options] {
    context.action = [&context, options] { return ImportContacts(context, *options); };
  });
}

}  // namespace kestrav::cli
