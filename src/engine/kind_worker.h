// KindWorker: the object that backs up or restores one kind, owned by the engine for the length
// of that kind's pass. What the job hands every kind - the sink, the cancel flag, the separator,
// the record file, the restore mode - comes with each call as its PassContext; each kind derives
// its own class with the kind's logic.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "engine/item_kind.h"
#include "engine/messages_option.h"
#include "engine/progress_sink.h"
#include "records/record_file.h"

namespace kestrav::engine {

// Whether a pass backs a kind up or restores it.
enum class Operation { kBackup, kRestore };

// One kind's pass as the job runs it.
struct PassContext {
  ItemKind kind = ItemKind::kContacts;
  Operation operation = Operation::kBackup;
  ProgressSink* sink = nullptr;
  const CancelFlag* cancel = nullptr;
  char16_t separator = u';';
  // The record file the backup writes or the restore reads.
  std::u16string record_file;
  RestoreMode mode = RestoreMode::kDeleteAllFirst;
  MessagesOption messages_option;

  bool Canceled() const { return cancel != nullptr && cancel->load() != 0; }
};

// What a restore did with its record file, beyond what its own lines say, so that a front end can
// tell a restore that brought back every record the file holds from one that did not.
struct RestoreTally {
  bool file_accepted = false;  // the file was read and its header accepted
  std::uint64_t records = 0;   // the records the file holds
  std::uint64_t restored = 0;  // those inserted, updated, or found already on the device
  std::optional<std::uint64_t> announced;  // the number of records the file says it holds
  // Attachments restored empty: the file did not hold their contents.
  std::uint64_t attachments_without_contents = 0;
  // Of those restored: added as new items; items already on the device that took the record's
  // values; items already on the device, left as they were.
  std::uint64_t inserted = 0;
  std::uint64_t updated = 0;
  std::uint64_t found = 0;
  // Why the record file could not be read, in the record file layer's words; empty when it was.
  std::u16string file_error = {};
};

class KindWorker {
 public:
  virtual ~KindWorker() = default;

  // The kind's backup: writes its header and records to the open record file, reporting each
  // record through SendLog and checking the cancel flag between records.
  virtual void Backup(const PassContext& pass, records::CsvRecordFile& file) = 0;
  // The kind's restore from pass.record_file under pass.mode; fills tally().
  virtual void Restore(const PassContext& pass) = 0;
  // Called once the restore has run.
  virtual void EndRestore(const PassContext&) {}

  const RestoreTally& tally() const { return tally_; }

 protected:
  RestoreTally tally_;
};

// Builds the worker of a kind; null for a kind this build has no worker for.
using KindWorkerFactory = std::function<std::unique_ptr<KindWorker>(ItemKind kind)>;

}  // namespace kestrav::engine
