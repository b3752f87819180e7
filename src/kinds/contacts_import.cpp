#include "kinds/contacts_import.h"

#include <algorithm>
#include <vector>

#include "engine/restore_pass.h"
#include "kinds/texts.h"
#include "outlook/contacts.h"
#include "platform/format.h"
#include "platform/text.h"
#include "records/record_file.h"
#include "settings/reg_key.h"

namespace kestrav::kinds {
namespace {

constexpr std::u16string_view kDefaultMap = u"default";

// The column of the first line a map entry names: its text (exactly, else with case ignored), or
// its number counted from 1.
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

// How the notes name a file column: its name in quotes, or its number when it has no name.
std::u16string ColumnName(const records::Record& first_line, std::size_t column) {
  if (first_line[column].empty())
    return platform::Format(texts::kUnnamedColumn, static_cast<unsigned long>(column + 1));
  return u"\"" + std::u16string(first_line[column]) + u"\"";
}

// "a", "a and b", "a, b and c".
std::u16string JoinNames(const std::vector<std::u16string>& names) {
  std::u16string joined;
  for (std::size_t at = 0; at < names.size(); ++at) {
    if (at > 0) joined += at + 1 == names.size() ? u" and " : u", ";
    joined += names[at];
  }
  return joined;
}

// The contact columns a file of `column_count` columns fills.
std::size_t FilledColumns(std::size_t column_count) {
  return std::min(column_count, outlook::kContactColumnCount);
}

// The map's entries in words; with no `error`, an entry that names nothing is passed over.
bool ParseEntries(std::u16string_view text, const records::Record& first_line,
                  outlook::ContactFieldMap* map, std::u16string* error) {
  *map = outlook::ClearedFieldMap();
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t comma = std::min(text.find(u',', start), text.size());
    const std::u16string_view entry = text.substr(start, comma - start);
    start = comma + 1;
    const std::size_t equals = entry.find(u'=');
    if (equals == std::u16string_view::npos) {
      if (error == nullptr) continue;
      *error = platform::Format(texts::kMapEntryWithoutEquals, entry);
      return false;
    }
    const std::u16string_view contact_name = entry.substr(0, equals);
    const std::u16string_view file_name = entry.substr(equals + 1);
    const std::optional<int> contact = ContactColumn(contact_name);
    if (!contact) {
      if (error == nullptr) continue;
      *error = platform::Format(texts::kNoSuchContactColumn, entry, contact_name);
      return false;
    }
    const std::optional<int> file = FileColumn(first_line, file_name);
    if (!file) {
      if (error == nullptr) continue;
      *error = platform::Format(texts::kNoSuchFileColumn, entry, file_name);
      return false;
    }
    outlook::MapField(*map, file, contact);
  }
  return true;
}

}  // namespace

void ChooseEncoding(const platform::Device& device, ImportFile* file) {
  if (file->encoding == nullptr && records::ReadsAsUtf8(device, file->path))
    file->encoding = &platform::Utf8CodePage();
}

bool ReadFirstLine(const platform::Device& device, const ImportFile& file,
                   records::Record* first_line, std::u16string* error) {
  records::CsvRecordFile reader(device, file.separator);
  reader.SetTextEncoding(file.encoding);
  if (!reader.Load(file.path, true, false)) {
    *error = reader.ErrorText();
    return false;
  }
  *first_line = reader.Header();
  return true;
}

bool ParseFieldMap(std::u16string_view text, const records::Record& first_line,
                   outlook::ContactFieldMap* map, std::u16string* error) {
  if (text == kDefaultMap) {
    *map = outlook::DefaultFieldMap(first_line);
    return true;
  }
  return ParseEntries(text, first_line, map, error);
}

bool FeedsAnyContactColumn(const outlook::ContactFieldMap& map, const records::Record& first_line) {
  const std::size_t filled = FilledColumns(first_line.size());
  for (std::size_t column = 0; column < filled; ++column)
    if (map[column] != outlook::kUnmapped) return true;
  return false;
}

bool LooksSemicolonSeparated(const ImportFile& file, const records::Record& first_line) {
  if (file.separator != u',') return false;
  std::size_t semicolons = 0;
  for (std::size_t column = 0; column < first_line.size(); ++column)
    semicolons += std::ranges::count(first_line[column], u';');
  return semicolons > 0 && semicolons >= first_line.size();
}

std::vector<std::u16string> MapNotes(const outlook::ContactFieldMap& map,
                                     const records::Record& first_line) {
  std::vector<std::u16string> notes;
  const auto& columns = outlook::ContactColumns();
  const std::size_t filled = FilledColumns(first_line.size());
  std::vector<std::u16string> left_empty;
  std::size_t columns_needed = 0;
  for (std::size_t column = filled; column < outlook::kContactColumnCount; ++column) {
    if (map[column] == outlook::kUnmapped) continue;
    left_empty.push_back(u"\"" + std::u16string(columns[column].header) + u"\"");
    columns_needed = column + 1;
  }
  if (!left_empty.empty()) {
    notes.push_back(platform::Format(
        left_empty.size() == 1 ? texts::kMappedColumnLeftEmpty : texts::kMappedColumnsLeftEmpty,
        JoinNames(left_empty), static_cast<unsigned long>(first_line.size()),
        static_cast<unsigned long>(columns_needed)));
  }
  std::vector<std::u16string> unused;
  for (std::size_t column = 0; column < first_line.size(); ++column) {
    if (std::ranges::find(map, column) == map.end())
      unused.push_back(ColumnName(first_line, column));
  }
  if (!unused.empty()) {
    notes.push_back(
        platform::Format(unused.size() == 1 ? texts::kFileColumnUnused : texts::kFileColumnsUnused,
                         JoinNames(unused)));
  }
  return notes;
}

std::u16string FieldMapText(const outlook::ContactFieldMap& map,
                            const records::Record& first_line) {
  const auto& columns = outlook::ContactColumns();
  std::u16string text;
  for (std::size_t contact = 0; contact < outlook::kContactColumnCount; ++contact) {
    const std::size_t file = map[contact];
    if (file >= first_line.size()) continue;
    // A name with a comma would split the entry, and one may find another column first.
    std::u16string file_name(first_line[file]);
    if (file_name.find(u',') != std::u16string::npos ||
        FileColumn(first_line, file_name) != static_cast<int>(file)) {
      file_name = platform::Format(u"%lu", static_cast<unsigned long>(file + 1));
    }
    if (!text.empty()) text += u',';
    text += std::u16string(columns[contact].header) + u"=" + file_name;
  }
  return text;
}

KeptImport ReadKeptImport(const platform::Device& device) {
  KeptImport kept;
  kept.map = settings::ReadStringValue(device.registry(), settings::kApplicationKey,
                                       settings::kImportFieldMapValue)
                 .value_or(u"");
  settings::RegKey key(device.registry());
  if (key.OpenForRead(platform::kHkeyCurrentUser, settings::kApplicationKey)) {
    const std::uint32_t separator = key.ReadDword(settings::kImportDelimiterValue);
    for (const char16_t known : {u',', u';', u'\t', u' '})
      if (separator == known) kept.separator = known;
  }
  return kept;
}

bool KeepImport(const platform::Device& device, const KeptImport& kept) {
  return settings::WriteStringValue(device.registry(), settings::kApplicationKey,
                                    settings::kImportFieldMapValue, kept.map) &&
         settings::WriteDwordValue(device.registry(), settings::kApplicationKey,
                                   settings::kImportDelimiterValue, kept.separator);
}

outlook::ContactFieldMap StartingMap(const KeptImport& kept, const records::Record& first_line) {
  outlook::ContactFieldMap map;
  ParseEntries(kept.map, first_line, &map, nullptr);
  if (std::ranges::all_of(map, [](std::uint16_t entry) { return entry == outlook::kUnmapped; }))
    return outlook::DefaultFieldMap(first_line);
  return map;
}

std::u16string ImportJobName(const ImportFile& file) {
  return platform::Format(texts::kImportJob, file.path);
}

ImportOutcome RunContactsImport(const platform::Device& device, engine::DeviceJob& device_job,
                                const ContactsImport& import, engine::ProgressSink* sink,
                                engine::CancelFlag* cancel, const FrontEnd& front_end) {
  engine::BackupJob job;
  job.separator = import.file.separator;
  outlook::ContactsWorker* contacts = nullptr;
  const auto factory = [&](engine::ItemKind) {
    auto worker = std::make_unique<outlook::ContactsWorker>(device);
    worker->field_map = import.map;
    worker->file_encoding = import.file.encoding;
    contacts = worker.get();
    return worker;
  };
  const std::vector<engine::RestoreEntry> entries = {
      {engine::ItemKind::kContacts, import.file.path, false, import.mode}};
  // A record file of its own, not an archive: there is nothing to extract that could fail.
  if (const auto refusal =
          engine::PrepareRestore(device, job, {engine::ItemKind::kContacts}, entries, factory)) {
    return {{false, refusal->title + u": " + refusal->text}, {}};
  }
  ImportOutcome outcome;
  outcome.outcome =
      RunCheckedRestore(device, device_job, job, sink, cancel, texts::kImportWord, front_end);
  if (contacts == nullptr || !contacts->tally().file_accepted) return outcome;
  // The rows said why a file that was not read was not; the notes are about one that was.
  records::Record first_line;
  if (std::u16string error; ReadFirstLine(device, import.file, &first_line, &error))
    outcome.notes = MapNotes(import.map, first_line);
  // Only a restore that looks for each contact finds one again; the others add every record.
  const bool looks_for_contacts = import.mode == engine::RestoreMode::kAddOnlyNew ||
                                  import.mode == engine::RestoreMode::kAddNewAndUpdate;
  if (const std::uint64_t nameless = contacts->added_without_name();
      looks_for_contacts && nameless > 0) {
    outcome.notes.push_back(
        platform::Format(nameless == 1 ? texts::kAddedWithoutName : texts::kAddedWithoutNamePlural,
                         static_cast<unsigned long long>(nameless)));
  }
  return outcome;
}

ImportOutcome ImportContacts(const platform::Device& device, const ContactsImport& import,
                             engine::ProgressSink* sink, engine::CancelFlag* cancel,
                             const FrontEnd& front_end) {
  std::u16string refusal;
  const std::unique_ptr<engine::DeviceJob> device_job =
      BeginJob(device, ImportJobName(import.file), true, cancel, front_end, &refusal);
  if (!device_job) return {{false, refusal}, {}};
  return RunContactsImport(device, *device_job, import, sink, cancel, front_end);
}

}  // namespace kestrav::kinds
