// The backup and restore passes that call logs and speed dials share: a database of "\pim.vol"
// to a record file of its own and back, every record stored generically as its property count,
// its property identifiers and the value texts of the properties it holds.
//
// The file opens with a signature line and the database's record count; each record line ends
// every field with the separator, so the separator must not be "," (byte lists are written
// unquoted). A kind is a PimRecordKind (its database, signatures and texts) and a worker derived
// from PimRecordWorker, which overrides the hooks where the kind's records differ.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "devicedb/pim_volume.h"
#include "engine/kind_worker.h"
#include "platform/device.h"
#include "records/file_signature.h"
#include "records/record.h"

namespace kestrav::devicedb {

// A signature a restore accepts, the line that says so, and the file version the signature
// stands for.
struct AcceptedSignature {
  records::FileSignature signature;
  const char16_t* valid_header;
  int file_version;
};

// The status lines of one kind's passes.
struct PimRecordTexts {
  const char16_t* backup_canceled;
  const char16_t* retrieving;
  const char16_t* to_be_retrieved;  // after the count: singular, then plural
  const char16_t* to_be_retrieved_plural;
  const char16_t* saved;  // "%d. ... '#%d' saved."
  const char16_t* saved_total;
  const char16_t* saved_total_plural;
  const char16_t* inserting;
  const char16_t* already_exists;  // "%d. ... '#%d' already exists. Nothing done."
  const char16_t* inserted;        // "%d. ... '#%d' inserted."
  const char16_t* restore_canceled;
  const char16_t* stored;
  const char16_t* stored_plural;
};

struct PimRecordKind {
  PimDatabase database;
  // The signature the backup writes, whatever the device.
  records::FileSignature written_signature;
  // The signatures the restore accepts, in the order they are tried.
  std::vector<AcceptedSignature> accepted_signatures;
  PimRecordTexts texts;
};

class PimRecordWorker : public engine::KindWorker {
 public:
  PimRecordWorker(const platform::Device& device, const PimRecordKind& kind)
      : device_(device), kind_(kind) {}

  // Connects, writes the signature and count lines and a line for every record, disconnects
  // and unmounts.
  void Backup(const engine::PassContext& pass, records::CsvRecordFile& file) override;
  // Reads the record file and inserts its records under the mode: kDeleteAllFirst empties the
  // database first, kAddOnlyNew passes over records the database already holds, any other mode
  // inserts every record.
  void Restore(const engine::PassContext& pass) override;

 protected:
  // Whether the connected session has what a backup needs.
  virtual bool CanBackUp(const CeDbSession& session) const;
  // Called after the value text of each property a backup writes, to add what the kind keeps
  // with the value in the same field.
  virtual void AppendLinkedText(CeDbSession& session, const platform::PropertyValue& value,
                                std::u16string* line);
  // Called for each record read from a file of the given version, before the "already exists"
  // test and the insertion.
  virtual void PrepareRecord(CeDbSession& session, int file_version,
                             std::vector<platform::PropertyValue>* record);
  // Whether a database value counts as a file value in the "already exists" test.
  virtual bool SameValue(const platform::PropertyValue& database_value,
                         const platform::PropertyValue& file_value) const;
  // Writes a new record; its object id, 0 when it was not created.
  virtual platform::ObjectId Insert(CeDbSession& session,
                                    const std::vector<platform::PropertyValue>& record);

  const platform::Device& device() const { return device_; }

 private:
  // The "already exists" test of one record read from the file, against the database from its
  // current position on. Matches are counted across the records read and never reset, so a
  // record counts as existing when the running count reaches its property count.
  bool AlreadyExists(CeDbSession& session, const std::vector<platform::PropertyValue>& record);
  // One record as its line: each field followed by the separator, then CR LF.
  std::u16string RecordLine(CeDbSession& session,
                            const std::vector<platform::PropertyValue>& record, char16_t separator);

  const platform::Device& device_;
  const PimRecordKind& kind_;
};

// --- A record file read back as a restore reads it ---

// The accepted signature the header line begins with; null when the header holds anything else.
const AcceptedSignature* AcceptedHeader(const records::Record& header,
                                        std::span<const AcceptedSignature> accepted);
// The count the row after the header states: its first field, a byte list of exactly 4 bytes.
std::optional<std::uint32_t> StatedRecordCount(records::RecordView count_row);
// The properties of a record line: its count, its identifiers, then a value field for each
// identifier in turn (a property the backup found absent has no field, so the values after it
// shift by one, as the device's restore reads them). False for a line whose count or
// identifiers cannot be read.
bool DecodePimRecord(records::RecordView row, std::vector<platform::PropertyValue>* record);
// Whether a row after the count row holds a record: all but those whose property count is 0,
// which the restore passes over as holding nothing. A row that cannot be read counts as a
// record lost.
bool HoldsARecord(records::RecordView row);

// A little-endian number from the first bytes; missing bytes count as 0.
std::uint32_t LittleEndian(std::span<const std::uint8_t> bytes, std::size_t width);

}  // namespace kestrav::devicedb
