// The texts the inspecting reader gives for what it finds wrong; they name a record by number.
#pragma once

namespace kestrav::inspect::texts {

inline constexpr char16_t kNotTheKindsHeader[] =
    u"the header is not the one this kind's backup writes; a restore takes nothing from it";
inline constexpr char16_t kNoCountRow[] =
    u"the row after the header is no count of 4 bytes; a restore takes nothing from it";
inline constexpr char16_t kUnusualMessagesHeader[] =
    u"the header is not the 21 columns a backup writes; a restore reads the records anyway";
inline constexpr char16_t kRecordUnreadable[] = u"the record does not decode";
inline constexpr char16_t kRecipientsShort[] =
    u"states %d recipients but holds %d; a restore adds those it holds";
inline constexpr char16_t kMessageUnreadable[] =
    u"the record does not read as a message (a list, count, number, date or base64 contents)";
inline constexpr char16_t kUnsafeMemberName[] =
    u"its name would leave the folder it is extracted into; refused unread";
inline constexpr char16_t kNoRecordFile[] = u"is no record file of a kind";

}  // namespace kestrav::inspect::texts
