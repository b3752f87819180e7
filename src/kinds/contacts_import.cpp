#include "kinds/contacts_import.h"

#include <algorithm>
#include <vector>

#include "engine/restore_pass.h"
#include "kinds/texts.h"
#include "outlook/contacts.h"
#include "platform/format.h"
#include "platform/text.h"
#include "records/record_file.h"

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

}  // namespace

bool ReadFirstLine(const platform::Device& device, const ImportFile& file,
                   records::Record* first_line, std::u16string* error) {
  records::CsvRecordFile reader(device, file.separator);
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
  *map = outlook::ClearedFieldMap();
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t comma = std::min(text.find(u',', start), text.size());
    const std::u16string_view entry = text.substr(start, comma - start);
    start = comma + 1;
    const std::size_t equals = entry.find(u'=');
    if (equals == std::u16string_view::npos) {
      *error = platform::Format(texts::kMapEntryWithoutEquals, entry);
      return false;
    }
    const std::u16string_view contact_name = entry.substr(0, equals);
    const std::u16string_view file_name = entry.substr(equals + 1);
    const std::optional<int> contact = ContactColumn(contact_name);
    if (!contact) {
      *error = platform::Format(texts::kNoSuchContactColumn, entry, contact_name);
      return false;
    }
    const std::optional<int> file = FileColumn(first_line, file_name);
    if (!file) {
      *error = platform::Format(texts::kNoSuchFileColumn, entry, file_name);
      return false;
    }
    outlook::MapField(*map, file, contact);
  }
  return true;
}

std::u16string ImportJobName(const ImportFile& file) {
  return platform::Format(texts::kImportJob, file.path);
}

JobOutcome RunContactsImport(const platform::Device& device, engine::DeviceJob& device_job,
                             const ContactsImport& import, engine::ProgressSink* sink,
                             engine::CancelFlag* cancel, const FrontEnd& front_end) {
  engine::BackupJob job;
  job.separator = import.file.separator;
  const auto factory = [&](engine::ItemKind) {
    auto worker = std::make_unique<outlook::ContactsWorker>(device);
    worker->field_map = import.map;
    return worker;
  };
  const std::vector<engine::RestoreEntry> entries = {
      {engine::ItemKind::kContacts, import.file.path, false, import.mode}};
  // A record file of its own, not an archive: there is nothing to extract that could fail.
  if (const auto refusal =
          engine::PrepareRestore(device, job, {engine::ItemKind::kContacts}, entries, factory)) {
    return {false, refusal->title + u": " + refusal->text};
  }
  return RunCheckedRestore(device, device_job, job, sink, cancel, texts::kImportWord, front_end);
}

JobOutcome ImportContacts(const platform::Device& device, const ContactsImport& import,
                          engine::ProgressSink* sink, engine::CancelFlag* cancel,
                          const FrontEnd& front_end) {
  std::u16string refusal;
  const std::unique_ptr<engine::DeviceJob> device_job =
      BeginJob(device, ImportJobName(import.file), true, cancel, front_end, &refusal);
  if (!device_job) return {false, refusal};
  return RunContactsImport(device, *device_job, import, sink, cancel, front_end);
}

}  // namespace kestrav::kinds
