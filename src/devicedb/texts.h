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

}  // namespace kestrav::devicedb::texts
