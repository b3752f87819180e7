// The window's own texts, word for word as the handheld shows them.
#pragma once

namespace kestrav::ui::texts {

// The tabs, in the order the window shows them.
inline constexpr char16_t kBackupRestoreTab[] = u"Backup-Restore";
inline constexpr char16_t kMessagesFoldersTab[] = u"Messages Folders";
inline constexpr char16_t kOptionsTab[] = u"Options";
inline constexpr char16_t kScheduleTab[] = u"Schedule";
inline constexpr char16_t kStatusTab[] = u"Status";
inline constexpr char16_t kAboutTab[] = u"About";

// The left soft key (command 57665).
inline constexpr char16_t kExit[] = u"Exit";
inline constexpr char16_t kCancel[] = u"Cancel";
inline constexpr char16_t kOk[] = u"Ok";

// The "Options" popup.
inline constexpr char16_t kOptionsMenu[] = u"Options";
inline constexpr char16_t kBackupRestoreItem[] = u"Backup/Restore";
inline constexpr char16_t kDeleteAllItem[] = u"Delete All...";
inline constexpr char16_t kClearScheduleItem[] = u"Clear Schedule";
inline constexpr char16_t kCreateShortcutItem[] = u"Create Shortcut";
inline constexpr char16_t kAboutItem[] = u"About...";

// The About page.
inline constexpr char16_t kProgramTitle[] = u"Kestrav v1.0";
inline constexpr char16_t kAsterisks[] = u"****************";
inline constexpr char16_t kVersionFormat[] = u"%u.%u.%u.%u";
inline constexpr char16_t kDescription[] =
    u"This tool allows to backup and restore Personal Information.WM2005 backup can be restored "
    u"on a WM2003SE ppc and vice versa.\r\n"
    u"Features:\r\n"
    u"- Contacts, appointments and tasks backup and restore\r\n"
    u"- Call logs and speed dials backup and restore\r\n"
    u"- SMS, e-mail and their folders backup and restore, attachments included on request\r\n"
    u"- One compressed backup file for all kinds, or one file per kind\r\n"
    u"- Restore by deleting first, adding only new items, updating or duplicating\r\n"
    u"- Contacts import from a comma, semicolon, tab or space separated file\r\n"
    u"- Scheduled backups on chosen weekdays, keeping the newest backup files\r\n"
    u"- Delete all items of a kind\r\n"
    u"- Backup files open from the file explorer";

// What a page that the next version fills shows meanwhile.
inline constexpr char16_t kPageToCome[] = u"This page comes with the next version.";
inline constexpr char16_t kFileToRestore[] = u"File to restore: %1";

// The "Contact Fields" page of a contacts import.
inline constexpr char16_t kMapFieldsTitle[] = u"Map fields from the file to Contact Fields";
inline constexpr char16_t kValueColumn[] = u"Value";
inline constexpr char16_t kContactFields[] = u"Contact Fields";
inline constexpr char16_t kFieldColumn[] = u"Field";
inline constexpr char16_t kMappedFromColumn[] = u"Mapped From";
inline constexpr char16_t kMapButton[] = u"Map";
inline constexpr char16_t kUnmapButton[] = u"Unmap";
inline constexpr char16_t kClearButton[] = u"Clear";
inline constexpr char16_t kDefaultButton[] = u"Default";
inline constexpr char16_t kFieldDelimiter[] = u"Field delimiter:";
inline constexpr char16_t kCommaDelimiter[] = u" , ";
inline constexpr char16_t kSemicolonDelimiter[] = u" ; ";
inline constexpr char16_t kTabDelimiter[] = u" TAB ";
inline constexpr char16_t kSpaceDelimiter[] = u" SPACE ";
inline constexpr char16_t kCsvFileError[] = u"CSV File Error";

}  // namespace kestrav::ui::texts
