// What "show" and "verify" share: the backups a path names, a scratch folder for the members,
// and each decoded item as a person or a script reads it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "inspect/backup_reader.h"
#include "platform/clock.h"

namespace kestrav::cli {

// The backups a path names: the file itself, or every ".qbk" and record file in a folder (not
// below it), by name.
std::vector<std::filesystem::path> BackupsOf(const std::filesystem::path& path);

// A private folder under the host's temporary folder that archive members pass through; removed
// with everything in it when the object goes. Empty when it could not be made.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  bool made() const { return !path_.empty(); }
  // The folder as the reader takes it, ending with "/".
  std::u16string folder() const;

 private:
  std::filesystem::path path_;
};

// A local OLE date as "2007-03-15 10:00"; "-" for none.
std::string OleDateText(double ole_date);
// A UTC file time as the local "2007-03-15 10:00:00" the clock gives.
std::string FileTimeText(const platform::Clock& clock, platform::FileTime utc);
// An appointment's or a task's recurrence in words: "weekly on Mon, Wed, until 2007-06-30, 2
// exceptions"; "-" for an item that does not recur.
std::string RecurrenceWords(const platform::RecurrencePattern& pattern);
// A size in bytes as "2048 B", "1.5 KiB", "3.2 MiB".
std::string SizeText(std::uint64_t bytes);

// The kind's lower-case word ("call logs"), as --kinds and the rows name it.
std::string KindWord(engine::ItemKind kind);

// Each item as an object of scripts' JSON (docs/kestrav-cli-json.md).
nlohmann::ordered_json ContactJson(const outlook::DecodedContact& contact);
nlohmann::ordered_json AppointmentJson(const outlook::DecodedAppointment& appointment);
nlohmann::ordered_json TaskJson(const outlook::DecodedTask& task);
nlohmann::ordered_json CallLogJson(const platform::Clock& clock,
                                   const devicedb::DecodedCallLog& call);
nlohmann::ordered_json SpeedDialJson(const devicedb::DecodedSpeedDial& dial);
nlohmann::ordered_json MessageJson(const platform::Clock& clock,
                                   const messages::MessageRecord& message);

}  // namespace kestrav::cli
