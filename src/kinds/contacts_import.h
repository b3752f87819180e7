// Contacts imported from a separated text file that other software wrote, through a contact field
// map: the one import both front ends run, from the file's first line to the job that restores
// its records as contacts under a restore mode.
//
// The handheld's rules hold as they are - a contact column at or past the file's own column count
// stays empty though mapped, and a contact without a Name is never found again, so each import
// adds it anew - and the import says what they did, in notes for the front end to show after the
// rows.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/device_job.h"
#include "engine/item_kind.h"
#include "engine/progress_sink.h"
#include "kinds/jobs.h"
#include "outlook/contact_field_map.h"
#include "platform/device.h"
#include "records/record.h"

namespace kestrav::kinds {

// A file to import and how it is read.
struct ImportFile {
  std::u16string path;
  char16_t separator = u',';
  // How the file reads when it lacks the UTF-16 byte order mark; null for the device's code page.
  const platform::AnsiCodePage* encoding = nullptr;
};

// Chooses how a file without a given encoding reads: UTF-8 when it is UTF-8 text (with or without
// its byte order mark), else the device's code page. An encoding given stays.
void ChooseEncoding(const platform::Device& device, ImportFile* file);

// An import as a front end asks for it.
struct ContactsImport {
  ImportFile file;
  outlook::ContactFieldMap map = outlook::ClearedFieldMap();
  engine::RestoreMode mode = engine::RestoreMode::kAddOnlyNew;
};

// The file's first line: the names of its columns. False with the reader's error text.
bool ReadFirstLine(const platform::Device& device, const ImportFile& file,
                   records::Record* first_line, std::u16string* error);

// A map in words: "default" (each contact column takes the file column of its name, case
// ignored), or CONTACT_COLUMN=FILE_COLUMN entries separated by ",", where FILE_COLUMN is a name
// of the first line (exactly, else with case ignored) or a column number counted from 1. False
// with the entry that is wrong and why.
bool ParseFieldMap(std::u16string_view text, const records::Record& first_line,
                   outlook::ContactFieldMap* map, std::u16string* error);

// The map in the words ParseFieldMap reads, each file column by its name where the name finds it
// again, else by its number: "Name=Full Name,Mobile Phone=3". Empty for a map with no entry.
std::u16string FieldMapText(const outlook::ContactFieldMap& map, const records::Record& first_line);

// The map and the delimiter the window's mapping page kept from its last import, in the device's
// settings, so that the next file with the same columns opens mapped as that one was.
struct KeptImport {
  std::u16string map;  // as FieldMapText writes it; empty when none was kept
  char16_t separator = u',';
};
KeptImport ReadKeptImport(const platform::Device& device);
bool KeepImport(const platform::Device& device, const KeptImport& kept);

// The map the page starts from for a first line: the kept map's entries whose file columns the
// line has, or Default when none of them is there.
outlook::ContactFieldMap StartingMap(const KeptImport& kept, const records::Record& first_line);

// Whether a contact column takes a value from the file under the map: one mapped below the file's
// column count. With none, every contact would come in empty.
bool FeedsAnyContactColumn(const outlook::ContactFieldMap& map, const records::Record& first_line);

// Whether a first line read with commas looks separated by semicolons: it holds at least as many
// ";" as it has columns.
bool LooksSemicolonSeparated(const ImportFile& file, const records::Record& first_line);

// What the handheld's rules do with the file's columns under the map, one line each: the mapped
// contact columns that the file's column count leaves empty, and how to keep them; the file's
// columns that no map entry uses.
std::vector<std::u16string> MapNotes(const outlook::ContactFieldMap& map,
                                     const records::Record& first_line);

// How an import ended, and what the handheld's rules did: MapNotes once the file was read, and
// the number of contacts added without a Name.
struct ImportOutcome {
  JobOutcome outcome;
  std::vector<std::u16string> notes;
};

// The import as a job, under the device's job lock the caller holds: the stores' snapshot for
// undo, then the contacts restore from the file through the map. `import` names the job in the
// line that says how it ended.
ImportOutcome RunContactsImport(const platform::Device& device, engine::DeviceJob& device_job,
                                const ContactsImport& import, engine::ProgressSink* sink,
                                engine::CancelFlag* cancel, const FrontEnd& front_end);

// The name other programs and undo know an import of the file by.
std::u16string ImportJobName(const ImportFile& file);

// The device's job lock, waiting as the front end does, then RunContactsImport: the whole
// import on the job's thread.
ImportOutcome ImportContacts(const platform::Device& device, const ContactsImport& import,
                             engine::ProgressSink* sink, engine::CancelFlag* cancel,
                             const FrontEnd& front_end);

}  // namespace kestrav::kinds
