// The engine's texts, as the user sees them.
#pragma once

namespace kestrav::engine::texts {

inline constexpr char16_t kCancelingBackup[] = u"Canceling backup...";
inline constexpr char16_t kCancelingRestore[] = u"Canceling restore...";
inline constexpr char16_t kBackupCanceled[] = u"Backup has been canceled by user.";
inline constexpr char16_t kRestoreCanceled[] = u"Restore has been canceled by user.";
inline constexpr char16_t kBackupEnded[] = u"Backup ended successfully in ";
inline constexpr char16_t kRestoreEnded[] = u"Restore ended successfully in ";
inline constexpr char16_t kStartingBackup[] = u"Starting %s backup...";
inline constexpr char16_t kStartingRestore[] = u"Starting %s restore...";
inline constexpr char16_t kAddingToBackupFile[] = u"Adding %s to backup file...";
inline constexpr char16_t kCouldNotCreateFile[] =
    u"Coudln't create file '%s' for following reason:";
inline constexpr char16_t kRecordFileName[] = u"%s%s%.4d%.2d%.2d%s";
inline constexpr char16_t kArchiveFileName[] = u"%sKestrav_%.4d%.2d%.2d%s";
inline constexpr char16_t kNoActionSelected[] = u"No backup/restore action has been selected.";
inline constexpr char16_t kActionSelectionError[] = u"Action selection error";
inline constexpr char16_t kNoRestoreType[] = u"No restore type has been selected. Nothing done.";
inline constexpr char16_t kRestoreError[] = u"Restore error";
inline constexpr char16_t kArchiveInvalid[] =
    u"The compressed file \"%s\" is invalid or corrupt, nothing done.";
inline constexpr char16_t kFileFormatInvalid[] = u"The format of the file \"%s\" is invalid.";
inline constexpr char16_t kPimRestoreError[] = u"PIM restore error";
inline constexpr char16_t kElapsedTime[] = u"%.2d:%.2d:%.2d.%.3d";
inline constexpr char16_t kRowTime[] = u"%.2d:%.2d:%.2d";
inline constexpr char16_t kCount[] = u"%d";

// The folder of the temporary folder that a restore extracts an archive's members into.
inline constexpr char16_t kRestoreFolderName[] = u"Kestrav restore";

// What this port says where the host failed in ways the handheld never did.
inline constexpr char16_t kJobHolder[] =
    u"the %s started by process %u at %.4d-%.2d-%.2d %.2d:%.2d:%.2d UTC";
inline constexpr char16_t kAnotherJob[] = u"another job";
inline constexpr char16_t kDeviceBusy[] = u"the device is busy with %s";
inline constexpr char16_t kGaveUpWaiting[] = u"gave up after %d s: the device is busy with %s";
inline constexpr char16_t kCanceledWhileWaiting[] = u"canceled while waiting for %s to end";
inline constexpr char16_t kJobLockFailed[] = u"the device's job lock cannot be taken: %s";
inline constexpr char16_t kPartialArchiveSuffix[] = u".partial";
inline constexpr char16_t kBackupWasCanceled[] = u"the backup was canceled";
inline constexpr char16_t kStoreFailedUnderBackup[] = u"a store of the device failed: %s";
inline constexpr char16_t kArchiveWrittenDamaged[] = u"the archive written is damaged: %s";
inline constexpr char16_t kArchiveNotWritten[] = u"the archive could not be written: %s";
inline constexpr char16_t kNothingBackedUp[] = u"no kind could be backed up";
inline constexpr char16_t kArchiveLacksKinds[] = u"the archive lacks %s";
inline constexpr char16_t kKindsMayBeIncomplete[] = u"%s reported errors and may be incomplete";
inline constexpr char16_t kIncompleteArchiveSuffix[] = u"-incomplete";
inline constexpr char16_t kNoNameForIncomplete[] =
    u"no free name beside %s for an archive that lacks kinds";
inline constexpr char16_t kArchiveNotInPlace[] = u"the archive written cannot take its place: %s";
inline constexpr char16_t kPartialArchiveInTheWay[] = u"%s is in the way and cannot be removed: %s";
inline constexpr char16_t kRecordsNotRestored[] =
    u"%I64u of the %I64u %s in the file were not restored";
inline constexpr char16_t kAttachmentWithoutContents[] =
    u"%I64u attachment came back without its contents: the backup did not hold it";
inline constexpr char16_t kAttachmentsWithoutContents[] =
    u"%I64u attachments came back without their contents: the backup did not hold them";
inline constexpr char16_t kAnnouncedOtherwise[] =
    u"the %s file says it holds %I64u records but holds %I64u";

}  // namespace kestrav::engine::texts
