// KindWorker: the object that backs up or restores one kind, owned by the engine for the length
// of that kind's pass. Its common part is what every kind needs from the job; each kind derives
// its own class with the kind's logic.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "engine/item_kind.h"
#include "engine/progress_sink.h"
#include "records/record_file.h"

namespace kestrav::engine {

// What a restore did with its record file, beyond what its own lines say, so that a front end can
// tell a restore that brought back every record the file holds from one that did not.
struct RestoreTally {
  bool file_accepted = false;  // the file was read and its header accepted
  std::uint64_t records = 0;   // the records the file holds
  std::uint64_t restored = 0;  // those inserted, updated, or found already on the device
  std::optional<std::uint64_t> announced;  // the number of records the file says it holds
};

class KindWorker {
 public:
  virtual ~KindWorker() = default;

  // The kind's backup: writes its header and records to the open record file, reporting each
  // record through SendLog and checking the cancel flag between records.
  virtual void Backup(records::CsvRecordFile& file) = 0;
  // The kind's restore from record_file under mode.
  virtual void Restore() = 0;
  // Called once the restore has run.
  virtual void EndRestore() {}

  bool Canceled() const { return cancel != nullptr && cancel->load() != 0; }

  CancelFlag* cancel = nullptr;
  int operation = 0;
  ProgressSink* sink = nullptr;
  char16_t separator = u';';
  std::u16string record_file;
  RestoreMode mode = RestoreMode::kDeleteAllFirst;
  int messages_option = 0;
  // Filled by the restore.
  RestoreTally tally;
};

// Builds the worker of a kind; null for a kind this build has no worker for.
using KindWorkerFactory = std::function<std::unique_ptr<KindWorker>(ItemKind kind)>;

}  // namespace kestrav::engine
