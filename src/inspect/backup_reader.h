// Seeing into a backup without a device: each record of a ".qbk" archive or of a single record
// file decoded, through the kinds' own decoders, into what a restore would put on the device.
//
// The reader streams: an archive's members are taken out one at a time into a scratch folder
// the caller owns, each member's file is read a record at a time, and every record is handed to
// the visitor and dropped, so memory holds one record whatever the backup's size; an attachment's
// contents are decoded on demand, in pieces (messages::DecodeAttachmentContents). It needs no
// device profile and takes no lock: give it a platform::Device of only files, a clock and a code
// page - the host's file system, the host's clock (a message's times are read back in the host's
// local time zone, as the backed-up device wrote them in its own) and the code page files without
// a byte order mark were written in (a contact's narrow notes take it too).
//
// Nothing is trusted from the file: an archive member named with a folder that would leave the
// scratch folder ("../x", "/x") is refused unread, counts and lengths are checked against what
// the file holds, and every record that does not decode is reported with its number.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devicedb/call_logs.h"
#include "devicedb/speed_dials.h"
#include "engine/item_kind.h"
#include "messages/message_record.h"
#include "outlook/decoded_items.h"
#include "platform/device.h"

namespace kestrav::inspect {

// What the kind's restore would say of the file's header.
enum class HeaderVerdict {
  kAccepted,  // the restore takes the file
  kRefused,   // the restore refuses it and restores nothing of the kind
  kUnusual,   // the restore reads it anyway, but it is not the header a backup writes
};

// One kind's record file: an archive member or a file of its own.
struct KindSummary {
  std::u16string backup;  // the archive or the record file, as given
  std::u16string member;  // the member's name, or the record file's name
  engine::ItemKind kind = engine::ItemKind::kContacts;
  HeaderVerdict header = HeaderVerdict::kRefused;
  // The restore's line for an accepted header ("Valid tasks CSV header format."), when it has
  // one; else why the header is refused.
  std::u16string header_text;
  // The count the file states, for the kinds whose file states one.
  std::optional<std::uint64_t> stated_count;
  std::uint64_t records = 0;      // records read after the header (and the count row)
  std::uint64_t items = 0;        // records decoded into items
  std::uint64_t undecodable = 0;  // records that do not decode
  // The record file's own error once it could not be read further (0 when read to its end).
  int read_error = 0;
  std::u16string read_error_text;
};

// Why an archive member is not read.
enum class MemberProblem {
  kUnsafeName,    // its name would leave the folder it is extracted into: refused unread
  kNoRecordFile,  // its name is of no kind's record file: passed over (an added file)
  kUnreadable,    // a method or encryption this program does not read, or damaged data
};

// Receives one backup's kinds and items, in file order. Records are numbered from 1, the first
// record after the header (and, for call logs and speed dials, after the count row).
class ItemVisitor {
 public:
  virtual ~ItemVisitor() = default;

  virtual void BeginKind(const KindSummary&) {}
  virtual void Contact(std::uint64_t, const outlook::DecodedContact&) {}
  virtual void Appointment(std::uint64_t, const outlook::DecodedAppointment&) {}
  virtual void Task(std::uint64_t, const outlook::DecodedTask&) {}
  virtual void CallLog(std::uint64_t, const devicedb::DecodedCallLog&) {}
  virtual void SpeedDial(std::uint64_t, const devicedb::DecodedSpeedDial&) {}
  // A message or a folder record; views point into the record, valid during the call.
  virtual void Message(std::uint64_t, const messages::MessageRecord&) {}
  // A record that does not decode, or holds less than it states.
  virtual void Defect(const KindSummary&, std::uint64_t, std::u16string_view) {}
  virtual void EndKind(const KindSummary&) {}
  // An archive member not read, with why (archive, member, problem, text).
  virtual void MemberFault(std::u16string_view, std::u16string_view, MemberProblem,
                           std::u16string_view) {}
};

struct ReadOptions {
  // The kinds to read; empty for all.
  std::vector<engine::ItemKind> kinds;
  // The record files' separator: ";" in every backup this program makes.
  char16_t separator = u';';
  // Whether members of no record file are taken out too, so that their data is checked against
  // their size and CRC (and reported kUnreadable when it is damaged).
  bool check_other_members = false;
};

// Reads a ".qbk" archive (by its content, whatever its name) or a single record file (by its
// extension). scratch_folder: an empty folder of the caller's, ending with a separator, that an
// archive's members pass through one at a time; it is left empty. Returns 0, or an archive
// error code (records/archive.h) when the file is no archive or its directory cannot be read.
int ReadBackup(const platform::Device& device, std::u16string_view backup,
               std::u16string_view scratch_folder, const ReadOptions& options,
               ItemVisitor& visitor);

}  // namespace kestrav::inspect
