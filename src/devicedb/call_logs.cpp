#include "devicedb/call_logs.h"

#include "devicedb/texts.h"

namespace kestrav::devicedb {

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

CallDirection DecodedCallLog::direction() const {
  if ((flags & kCallOutgoing) != 0) return CallDirection::kOutgoing;
  return (flags & kCallConnected) != 0 ? CallDirection::kIncoming : CallDirection::kMissed;
}

std::optional<std::uint64_t> DecodedCallLog::duration_seconds() const {
  constexpr platform::FileTime kTicksPerSecond = 10'000'000;
  if (!start || !end || *end < *start) return std::nullopt;
  return (*end - *start) / kTicksPerSecond;
}

DecodedCallLog DecodeCallLog(std::vector<platform::PropertyValue> properties) {
  DecodedCallLog call;
  for (const platform::PropertyValue& property : properties) {
    if ((property.flags & platform::kPropertyNotFound) != 0) continue;
    switch (property.id) {
      case kCallStartProperty:
        call.start = property.file_time;
        break;
      case kCallEndProperty:
        call.end = property.file_time;
        break;
      case kCallFlagsProperty:
        call.flags = static_cast<std::uint32_t>(property.integer);
        break;
      case kCallNumberProperty:
        call.number = property.text;
        break;
      case kCallNameProperty:
        call.name = property.text;
        break;
      case kCallNumberTypeProperty:
        call.number_type = property.text;
        break;
      default:
        break;
    }
  }
  call.properties = std::move(properties);
  return call;
}

CallLogWorker::CallLogWorker(const platform::Device& device)
    : PimRecordWorker(device, CallLogKind()) {}

}  // namespace kestrav::devicedb
