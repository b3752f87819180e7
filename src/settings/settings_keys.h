// Where the settings live: key paths below HKEY_CURRENT_USER, value names and defaults.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestrav::settings {

inline constexpr char16_t kApplicationKey[] = u"Software\\Tolvane\\PPCKestrav";
inline constexpr char16_t kScheduleKey[] = u"Software\\Tolvane\\PPCKestrav\\Schedule";
inline constexpr char16_t kExclusionsKey[] = u"Software\\Tolvane\\PPCKestrav\\Schedule\\Exclusions";

inline constexpr char16_t kDefaultFolderValue[] = u"DefDir";
inline constexpr char16_t kShortcutValue[] = u"Shortcut";
inline constexpr char16_t kScheduleDaysValue[] = u"SchedDays";
inline constexpr char16_t kBackupTimeValue[] = u"BckpTime";
inline constexpr char16_t kTurnOffValue[] = u"TurnOff";
inline constexpr char16_t kDeleteBackupsValue[] = u"DelBckp";
inline constexpr char16_t kKeepFilesValue[] = u"KpFiles";
inline constexpr char16_t kBackupFolderValue[] = u"BckpFolder";
inline constexpr char16_t kBackupItemsValue[] = u"BckpItems";
inline constexpr char16_t kStoreAttachmentsValue[] = u"StoreAttachments";
inline constexpr char16_t kShouldCompressValue[] = u"ShouldCompress";
inline constexpr char16_t kExclusionValue[] = u"BckpExclusions#%u";
// The window's contacts import: its field map in words and its delimiter, kept between runs.
inline constexpr char16_t kImportFieldMapValue[] = u"ImportFieldMap";
inline constexpr char16_t kImportDelimiterValue[] = u"ImportDelimiter";

inline constexpr char16_t kDefaultFolder[] = u"\\Storage Card";
inline constexpr char16_t kDefaultBackupFolder[] = u"\\Storage Card\\";
inline constexpr std::uint32_t kDefaultKeepFiles = 3;

}  // namespace kestrav::settings
