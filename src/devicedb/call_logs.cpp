#include "devicedb/call_logs.h"

#include "devicedb/texts.h"

namespace kestrav::devicedb {
namespace {

const PimRecordKind& CallLogKind() {
  static const PimRecordKind kCallLogs{
      .database = PimDatabase::kCallLogs,
      .written_signature = records::SignatureOf(records::SignedFile::kCallLogs),
      .accepted_signatures = {{records::SignatureOf(records::SignedFile::kCallLogs),
                               texts::kValidCallLogsHeader, 0}},
      .texts =
          {
              .backup_canceled = texts::kCallLogsBackupCanceled,
              .retrieving = texts::kRetrievingCallLogs,
              .to_be_retrieved = texts::kCallToBeRetrieved,
              .to_be_retrieved_plural = texts::kCallsToBeRetrieved,
              .saved = texts::kCallSaved,
              .saved_total = texts::kCallLogSaved,
              .saved_total_plural = texts::kCallLogsSaved,
              .inserting = texts::kInsertingCallLogs,
              .already_exists = texts::kCallAlreadyExists,
              .inserted = texts::kCallInserted,
              .restore_canceled = texts::kCallLogsRestoreCanceled,
              .stored = texts::kCallLogStored,
              .stored_plural = texts::kCallLogsStored,
          },
  };
  return kCallLogs;
}

}  // namespace

CallLogWorker::CallLogWorker(const platform::Device& device)
    : PimRecordWorker(device, CallLogKind()) {}

}  // namespace kestrav::devicedb
