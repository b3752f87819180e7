// The texts of the PIM volume layer, as the user sees them.
#pragma once

namespace kestrav::devicedb::texts {

inline constexpr char16_t kConnectingCallLogs[] = u"Connecting to the call logs database...";
inline constexpr char16_t kConnectingSpeedDials[] = u"Connecting to the speed dials database...";
inline constexpr char16_t kConnected[] = u"Connected to the database.";
inline constexpr char16_t kDisconnectingCallLogs[] =
    u"Disconnecting from the call logs database...";
inline constexpr char16_t kDisconnectingSpeedDials[] =
    u"Disconnecting from the speed dials database...";
inline constexpr char16_t kDisconnected[] = u"Disconnected.";

inline constexpr char16_t kNoCallLogsFound[] = u"No call logs found in the database.";
inline constexpr char16_t kNoSpeedDialsFound[] = u"No speed dials found in the database.";
inline constexpr char16_t kCallLogsDatabaseContains[] = u"The call logs database contains ";
inline constexpr char16_t kSpeedDialsDatabaseContains[] = u"Speed dials database contains ";
inline constexpr char16_t kRecord[] = u" record.";
inline constexpr char16_t kRecords[] = u" records.";
inline constexpr char16_t kDeletingCallLogs[] = u"Deleting call logs from the database...";
inline constexpr char16_t kDeletingSpeedDials[] = u"Deleting speed dials from the database...";
inline constexpr char16_t kCallLogDeleted[] = u" call log deleted from the database.";
inline constexpr char16_t kCallLogsDeleted[] = u" call logs deleted from the database.";
inline constexpr char16_t kSpeedDialDeleted[] = u" speed dial deleted from the database.";
inline constexpr char16_t kSpeedDialsDeleted[] = u" speed dials deleted from the database.";

// Call logs.
inline constexpr char16_t kCallLogsBackupCanceled[] = u"Call logs backup has been canceled.";
inline constexpr char16_t kRetrievingCallLogs[] = u"Retrieving call logs infos...";
inline constexpr char16_t kCallToBeRetrieved[] = u" call to be retrieved.";
inline constexpr char16_t kCallsToBeRetrieved[] = u" calls to be retrieved.";
inline constexpr char16_t kCallSaved[] = u"%d. call '#%d' saved.";
inline constexpr char16_t kCallLogSaved[] = u" call log successfully saved.";
inline constexpr char16_t kCallLogsSaved[] = u" call logs successfully saved.";
inline constexpr char16_t kValidCallLogsHeader[] = u"Valid call logs header format.";
inline constexpr char16_t kInsertingCallLogs[] = u"Inserting call logs records...";
inline constexpr char16_t kCallAlreadyExists[] = u"%d. call '#%d' already exists. Nothing done.";
inline constexpr char16_t kCallInserted[] = u"%d. call '#%d' inserted.";
inline constexpr char16_t kCallLogsRestoreCanceled[] = u"Call logs restore has been canceled.";
inline constexpr char16_t kCallLogStored[] = u" call log successfully stored in database.";
inline constexpr char16_t kCallLogsStored[] = u" call logs successfully stored in database.";

// Speed dials. The stored totals say "in the database" where the call logs' say "in database".
inline constexpr char16_t kSpeedDialsBackupCanceled[] = u"Speed dials backup has been canceled.";
inline constexpr char16_t kRetrievingSpeedDials[] = u"Retrieving speed dials infos...";
inline constexpr char16_t kSpeedDialToBeRetrieved[] = u" speed dial to be retrieved.";
inline constexpr char16_t kSpeedDialsToBeRetrieved[] = u" speed dials to be retrieved.";
inline constexpr char16_t kNumberSaved[] = u"%d. number '#%d' saved.";
inline constexpr char16_t kSpeedDialSaved[] = u" speed dial successfully saved.";
inline constexpr char16_t kSpeedDialsSaved[] = u" speed dials successfully saved.";
inline constexpr char16_t kValidSpeedDialsCsv5Header[] = u"Valid speed dials CSV5 header format.";
inline constexpr char16_t kValidSpeedDialsCsv4Header[] = u"Valid speed dials CSV4 header format.";
inline constexpr char16_t kInsertingSpeedDials[] = u"Inserting speed dials records...";
inline constexpr char16_t kNumberAlreadyExists[] =
    u"%d. number '#%d' already exists. Nothing done.";
inline constexpr char16_t kNumberInserted[] = u"%d. number '#%d' inserted.";
inline constexpr char16_t kSpeedDialsRestoreCanceled[] = u"Speed dials restore has been canceled.";
inline constexpr char16_t kSpeedDialStored[] = u" speed dial successfully stored in the database.";
inline constexpr char16_t kSpeedDialsStored[] =
    u" speed dials successfully stored in the database.";

// The record file passes of the volume's databases.
inline constexpr char16_t kRetrievingFileRecords[] = u"Retrieving file records...";
inline constexpr char16_t kInvalidFileFormat[] = u"Invalid file format. Nothing done.";
inline constexpr char16_t kRecordFoundInFile[] = u" record found in file.";
inline constexpr char16_t kRecordsFoundInFile[] = u" records found in file.";
inline constexpr char16_t kNoRecordsFound[] = u"No records found. Nothing done.";

}  // namespace kestrav::devicedb::texts
