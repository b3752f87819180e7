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


// The action page.
inline constexpr char16_t kUtilityTitle[] = u"Kestrav and restore utility";
inline constexpr char16_t kActionLabel[] = u"Action:";
inline constexpr char16_t kBackupAction[] = u"Backup";
inline constexpr char16_t kRestoreAction[] = u"Restore";
inline constexpr char16_t kBrowse[] = u"Browse";
inline constexpr char16_t kKindsHeader[] = u"Backup/restore types selection";
inline constexpr char16_t kNext[] = u"Next >>";
inline constexpr char16_t kOptionsButton[] = u"Options";
inline constexpr char16_t kFileToRestore[] = u"File to restore: %1";
inline constexpr char16_t kFileToRestoreName[] = u"File to restore";

// The backup file page.
inline constexpr char16_t kSelectBackupFile[] = u"Select the backup file name and directory:";
inline constexpr char16_t kSetAsDefault[] = u"Set as default backup folder";
inline constexpr char16_t kCompressBackup[] = u"Compress backup";
inline constexpr char16_t kScheduleButton[] = u"Schedule";
inline constexpr char16_t kBack[] = u"<< Back";
inline constexpr char16_t kBackupFolderName[] = u"Backup folder";
inline constexpr char16_t kBackupFileName[] = u"Backup file name";

// The messages folders page.
inline constexpr char16_t kSelectFoldersToBackup[] = u"Select account and directories to backup:";
inline constexpr char16_t kSelectFoldersToRestore[] = u"Select account and directories to restore:";
inline constexpr char16_t kBackupAttachments[] = u"Backup attachments (if they exist)";
inline constexpr char16_t kAttachmentsWarning[] =
    u"Storing attachment file contents, will increase considerably the backup time!\r\nAre you "
    u"sure you want to select this option?";
inline constexpr char16_t kBackupInfosCaption[] = u"Backup infos";

// The restore options page.
inline constexpr char16_t kOkButton[] = u"OK";
inline constexpr char16_t kNoKindToRestore[] =
    u"Choose a file to restore and its kinds on the Backup-Restore page first.";

// The checks before a job starts.
inline constexpr char16_t kNoActionSelected[] = u"No backup/restore action has been selected.";
inline constexpr char16_t kActionSelectionError[] = u"Action selection error";
inline constexpr char16_t kNoRestoreType[] = u"No restore type has been selected. Nothing done.";
inline constexpr char16_t kRestoreError[] = u"Restore error";
inline constexpr char16_t kOverwriteConfirm[] =
    u"The file \"%s\" already exists, do you want to overwrite it?";
inline constexpr char16_t kOverwriteConfirmCaption[] = u"Overwrite confirm";
// Ours: where the host lets a user type what the handheld's pages never allowed.
inline constexpr char16_t kNoSuchFolder[] = u"%s: no such folder";
inline constexpr char16_t kNoFileName[] = u"The backup file needs a name.";

// The file dialog of a restore's Browse.
inline constexpr char16_t kOpenForRestore[] = u"Open for restore";
inline constexpr char16_t kRestoreFilter[] =
    u"Backups and record files (*.qbk *.csc *.csa *.cst *.csl *.csd *.csm);;"
    u"Contacts to import (*.csv *.txt);;All files (*)";

// Undo, in the "Options" popup: the job it undoes, and what it did.
inline constexpr char16_t kUndoItem[] = u"Undo";
inline constexpr char16_t kUndoJobItem[] = u"Undo the %s";
inline constexpr char16_t kUndoConfirm[] =
    u"Put the device back as it was before the %s? What changed since is lost.";
inline constexpr char16_t kUndoWayBack[] = u"\"Undo\" in the Options menu";

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
