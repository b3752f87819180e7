// A kind's passes as the job runs them, for every kind's tests: a backup into a fresh record file
// on a temporary device, and a restore from a record file, each with the status page's rows and
// its Cancel button.
#pragma once

#include <string>
#include <vector>

#include "engine/kind_worker.h"
#include "engine/testing/recording_sink.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::engine::testing {

class KindHarness {
 public:
  KindHarness(kestrav::testing::TemporaryDevice& device, ItemKind kind, std::u16string record_file)
      : page(device.clock()), device_(device), kind_(kind), record_file_(std::move(record_file)) {}

  // The pass the job would hand the worker.
  PassContext Pass(Operation operation, RestoreMode mode = RestoreMode::kDeleteAllFirst) {
    PassContext pass;
    pass.kind = kind_;
    pass.operation = operation;
    pass.sink = &page;
    pass.cancel = &page.cancel;
    pass.separator = separator;
    pass.record_file = record_file_;
    pass.mode = mode;
    pass.messages_option = messages_option;
    return pass;
  }

  // Backs up into a fresh record file; the file's bytes. The rows are the kind's own, without
  // the start step's.
  std::string Backup(KindWorker& worker) {
    page.events.clear();
    device_.device().files().DeleteFile(record_file_);
    records::CsvRecordFile file(device_.device(), separator);
    if (!file.Open(record_file_, 0)) return {};
    worker.Backup(Pass(Operation::kBackup), file);
    file.Close();
    page.DispatchPending();
    return device_.ReadFile(record_file_);
  }

  // Restores the record file under mode; the rows reported, without the start step's own.
  std::vector<std::u16string> Restore(KindWorker& worker, RestoreMode mode) {
    page.events.clear();
    worker.Restore(Pass(Operation::kRestore, mode));
    page.DispatchPending();
    tally = worker.tally();
    return page.Rows();
  }

  // Writes the record file with this text, after its byte order mark.
  void WriteRecordFile(std::u16string_view text) {
    device_.WriteFile(record_file_, kestrav::testing::Utf16FileBytes(text));
  }

  const std::u16string& record_file() const { return record_file_; }

  CancelingSink page;
  char16_t separator = u';';
  MessagesOption messages_option;
  // What the last restore reported of itself.
  RestoreTally tally;

 private:
  kestrav::testing::TemporaryDevice& device_;
  ItemKind kind_;
  std::u16string record_file_;
};

}  // namespace kestrav::engine::testing
