#include <array>

#include "cli/cli.h"
#include "cli/command_words.h"
#include "cli/job_runner.h"
#include "engine/restore_pass.h"
#include "outlook/contacts.h"
#include "platform/text.h"

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

// The column of the file's first line that a --map entry names: its text (exactly, else with
// case ignored), or its number counted from 1.
std::optional<int> FileColumn(const records::Record& first_line, std::u16string_view name) {
  for (std::size_t column = 0; column < first_line.size(); ++column)
    if (first_line[column] == name) return static_cast<int>(column);
  for (std::size_t column = 0; column < first_line.size(); ++column)
    if (platform::EqualsIgnoringAsciiCase(first_line[column], name))
      return static_cast<int>(column);
  if (!name.empty() && name.size() <= 5 &&
      std::ranges::all_of(name, [](char16_t unit) { return unit >= u'0' && unit <= u'9'; })) {
    int number = 0;
    for (const char16_t unit : name) number = number * 10 + (unit - u'0');
    if (number >= 1 && static_cast<std::size_t>(number) <= first_line.size()) return number - 1;
  }
  return std::nullopt;
}

std::optional<int> ContactColumn(std::u16string_view name) {
  const auto& columns = outlook::ContactColumns();
  for (std::size_t column = 0; column < columns.size(); ++column)
    if (platform::EqualsIgnoringAsciiCase(columns[column].header, name))
      return static_cast<int>(column);
  return std::nullopt;
}

// The map of --map: "default", or CONTACT_COLUMN=FILE_COLUMN entries separated by ",".
bool ParseMap(const std::string& text, const records::Record& first_line,
              outlook::ContactFieldMap* map, std::string* error) {
  if (text == "default") {
    *map = outlook::DefaultFieldMap(first_line);
    return true;
  }
  *map = outlook::ClearedFieldMap();
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t comma = std::min(text.find(',', start), text.size());
    const std::string entry = text.substr(start, comma - start);
    start = comma + 1;
    const std::size_t equals = entry.find('=');
    if (equals == std::string::npos) {
      *error = "--map " + entry + ": expected CONTACT_COLUMN=FILE_COLUMN";
      return false;
    }
    const std::optional<int> contact = ContactColumn(platform::FromUtf8(entry.substr(0, equals)));
    const std::optional<int> file =
        FileColumn(first_line, platform::FromUtf8(entry.substr(equals + 1)));
    if (!contact) {
      *error = "--map " + entry + ": no contact column is called \"" + entry.substr(0, equals) +
               "\" (see the header of a contacts backup)";
      return false;
    }
    if (!file) {
      *error = "--map " + entry + ": the file's first line has no column \"" +
               entry.substr(equals + 1) + "\"";
      return false;
    }
    outlook::MapField(*map, file, contact);
  }
  return true;
}

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

  const auto separator = static_cast<char16_t>(delimiter->delimiter);
  records::CsvRecordFile header(device, separator);
  if (!header.Load(file, true, false)) return context.Fail(header.ErrorText());
  outlook::ContactFieldMap map;
  std::string error;
  if (!ParseMap(options.map, header.Header(), &map, &error)) return context.Fail(error);

  const std::unique_ptr<engine::DeviceJob> device_job =
      context.BeginJob(device, u"import of " + file, true);
  if (!device_job) return kExitFailure;
  engine::BackupJob job;
  job.separator = separator;
  const auto factory = [&](engine::ItemKind) {
    auto worker = std::make_unique<outlook::ContactsWorker>(device);
    worker->field_map = map;
    return worker;
  };
  const std::vector<engine::RestoreEntry> entries = {
      {engine::ItemKind::kContacts, file, false, mode}};
  if (const auto refusal =
          engine::PrepareRestore(device, job, {engine::ItemKind::kContacts}, entries, factory);
      refusal) {
    return FailWithRefusal(context, *refusal);
  }
  return RunCheckedRestore(context, device, *device_job, job, u"import", context.FrontEnd(*host));
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
