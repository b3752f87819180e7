#include <array>

#include "cli/cli.h"
#include "cli/command_words.h"
#include "cli/job_runner.h"
#include "kinds/contacts_import.h"
#include "outlook/contact_field_map.h"
#include "platform/text.h"
#include "records/record_file.h"

namespace kestrav::cli {
namespace {

struct ImportOptions {
  std::string file;
  std::string delimiter = "comma";
  std::string map = "default";
  std::string mode = "add-new";
};

struct DelimiterName {
  std::string_view name;
  outlook::FieldDelimiter delimiter;
};

constexpr std::array<DelimiterName, 4> kDelimiters = {{
    {"comma", outlook::FieldDelimiter::kComma},
    {"semicolon", outlook::FieldDelimiter::kSemicolon},
    {"tab", outlook::FieldDelimiter::kTab},
    {"space", outlook::FieldDelimiter::kSpace},
}};

int ImportContacts(CommandContext& context, const ImportOptions& options) {
  const auto delimiter = std::ranges::find(kDelimiters, options.delimiter, &DelimiterName::name);
  if (delimiter == kDelimiters.end())
    return context.Fail("--delimiter " + options.delimiter + ": comma, semicolon, tab or space");
  engine::RestoreMode mode;
  if (!ParseRestoreMode(options.mode, &mode))
    return context.Fail("--mode " + options.mode + ": " +
                        OfferedModeNames(engine::ItemKind::kContacts));
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
  import.file = {file, static_cast<char16_t>(delimiter->delimiter)};
  import.mode = mode;
  records::Record first_line;
  std::u16string error;
  if (!kinds::ReadFirstLine(device, import.file, &first_line, &error)) return context.Fail(error);
  if (!kinds::ParseFieldMap(platform::FromUtf8(options.map), first_line, &import.map, &error))
    return context.Fail(u"--map " + error);

  const std::unique_ptr<engine::DeviceJob> device_job =
      context.BeginJob(device, kinds::ImportJobName(import.file), true);
  if (!device_job) return kExitFailure;
  kinds::JobOutcome outcome;
  RunJob(device.clock(), false, [&](engine::ProgressSink* sink, engine::CancelFlag* cancel) {
    outcome = kinds::RunContactsImport(device, *device_job, import, sink, cancel,
                                       context.FrontEnd(*host));
  });
  if (!outcome.failure.empty()) return context.Fail(outcome.failure);
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
                      "comma (the default), semicolon, tab or space");
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
