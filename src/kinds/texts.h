// The texts the window shows for each kind: its "Delete All..." entry, confirmation and dialog,
// and its restore options page.
#pragma once

namespace kestrav::kinds::texts {

// The confirmations keep the blank after the question mark.
inline constexpr char16_t kContactsMenu[] = u"Contacts";
inline constexpr char16_t kContactsDeleteConfirm[] =
    u"Are you sure you want to delete all contacts from Outlook database? ";
inline constexpr char16_t kContactsDeleteConfirmCaption[] = u"Contacts delete confirm";
inline constexpr char16_t kContactsDeletionCaption[] = u"Contacts deletion";
inline constexpr char16_t kContactsDeletionLabel[] = u"Contacts deletion in progress...";
inline constexpr char16_t kContactsOptionsTitle[] = u"Restore contacts options";
inline constexpr char16_t kContactsDeleteAllFirst[] =
    u"Delete all existing contacts from the database before restoration.";
inline constexpr char16_t kContactsAddOnlyNew[] = u"Add only new contacts to the database.";
inline constexpr char16_t kContactsAddNewAndUpdate[] =
    u"Add new contacts and update existing contacts in the Database.";
inline constexpr char16_t kContactsAllowDuplicates[] = u"Allow duplicates to be created.";

inline constexpr char16_t kAppointmentsMenu[] = u"Appointments";
inline constexpr char16_t kAppointmentsDeleteConfirm[] =
    u"Are you sure you want to delete all Appointments? ";
inline constexpr char16_t kAppointmentsDeleteConfirmCaption[] = u"Appointments delete confirm";
inline constexpr char16_t kAppointmentsDeletionCaption[] = u"Appointments deletion";
inline constexpr char16_t kAppointmentsDeletionLabel[] = u"Appointments deletion in progress...";
inline constexpr char16_t kAppointmentsOptionsTitle[] = u"Restore appointments options";
inline constexpr char16_t kAppointmentsDeleteAllFirst[] =
    u"Delete all existing appointments from the database before restoration.";
inline constexpr char16_t kAppointmentsAddOnlyNew[] = u"Add only new appointments to the database.";
inline constexpr char16_t kAppointmentsAddNewAndUpdate[] =
    u"Add new appointments and update existing appointments in the database.";

inline constexpr char16_t kTasksMenu[] = u"Tasks";
inline constexpr char16_t kTasksDeleteConfirm[] = u"Are you sure you want to delete all Tasks? ";
inline constexpr char16_t kTasksDeleteConfirmCaption[] = u"Tasks delete confirm";
inline constexpr char16_t kTasksDeletionCaption[] = u"Tasks deletion";
inline constexpr char16_t kTasksDeletionLabel[] = u"Tasks deletion in progress...";
inline constexpr char16_t kTasksOptionsTitle[] = u"Restore tasks options";
inline constexpr char16_t kTasksDeleteAllFirst[] =
    u"Delete all existing tasks from the database before restoration.";
inline constexpr char16_t kTasksAddOnlyNew[] = u"Add only new tasks to the database.";
inline constexpr char16_t kTasksAddNewAndUpdate[] =
    u"Add new tasks and update existing tasks in the database.";

inline constexpr char16_t kCallLogsMenu[] = u"Call Logs";
inline constexpr char16_t kCallLogsDeleteConfirm[] =
    u"Are you sure you want to delete all Call Logs? ";
inline constexpr char16_t kCallLogsDeleteConfirmCaption[] = u"Call Logs delete confirm";
inline constexpr char16_t kCallLogsDeletionCaption[] = u"Call Logs deletion";
inline constexpr char16_t kCallLogsDeletionLabel[] = u"Call Logs deletion in progress...";
inline constexpr char16_t kCallLogsOptionsTitle[] = u"Restore call logs options";
inline constexpr char16_t kCallLogsDeleteAllFirst[] =
    u"Delete all existing logged calls from the database before restoration.";
inline constexpr char16_t kCallLogsAddOnlyNew[] = u"Add only unlogged calls to the Database.";

inline constexpr char16_t kSpeedDialsMenu[] = u"Speed Dials";
inline constexpr char16_t kSpeedDialsDeleteConfirm[] =
    u"Are you sure you want to delete all Speed Dials? ";
inline constexpr char16_t kSpeedDialsDeleteConfirmCaption[] = u"Speed Dials delete confirm";
inline constexpr char16_t kSpeedDialsDeletionCaption[] = u"Speed Dials deletion";
inline constexpr char16_t kSpeedDialsDeletionLabel[] = u"Speed Dials deletion in progress...";
inline constexpr char16_t kSpeedDialsOptionsTitle[] = u"Restore speed dials options";
inline constexpr char16_t kSpeedDialsDeleteAllFirst[] =
    u"Delete all existing speed dials from the database before restoration.";
inline constexpr char16_t kSpeedDialsAddOnlyNew[] = u"Add only new speed dials to the database.";

// Messages have no "Delete All..." entry; their choices say "Database" with a capital.
inline constexpr char16_t kMessagesOptionsTitle[] = u"Restore messages options";
inline constexpr char16_t kMessagesDeleteAllFirst[] =
    u"Delete all existing messages from the Database before restoration.";
inline constexpr char16_t kMessagesAddOnlyNew[] = u"Add only new messages to the Database.";

// What this port says after a job's rows, where the host failed in ways the handheld never did.
inline constexpr char16_t kBackupWasCanceled[] = u"the backup was canceled";
inline constexpr char16_t kArchiveKept[] = u"; the archive that was there is as it was";
inline constexpr char16_t kSeeMarkedRows[] = u"%s: %s (see the %s)";
inline constexpr char16_t kHoldsKindsThatWorked[] = u"; it holds the kinds that worked";
inline constexpr char16_t kBackupWithKindsThatWorked[] =
    u"; this backup, with the kinds that worked, is %s";
inline constexpr char16_t kNothingRestored[] = u"%s (nothing was restored)";
inline constexpr char16_t kWayBack[] = u"; %s puts the device back as it was before this %s";
inline constexpr char16_t kCutShort[] = u"the %s was cut short: a store of the device failed: %s";
inline constexpr char16_t kJobWasCanceled[] = u"the %s was canceled";
inline constexpr char16_t kReportedErrors[] = u"the %s reported errors (%s)";
inline constexpr char16_t kDeletionJob[] = u"deletion of all %s";
inline constexpr char16_t kCannotBeReached[] = u"the %s cannot be reached";
inline constexpr char16_t kNotEverythingDeleted[] = u"not everything was deleted";
inline constexpr char16_t kStoreFailed[] = u"%s: a store of the device failed: %s";
inline constexpr char16_t kUndone[] =
    u"The device is back as it was before the %s, started %.4d-%.2d-%.2d %.2d:%.2d:%.2d UTC.";
inline constexpr char16_t kUndoJob[] = u"undo";
inline constexpr char16_t kRestoreJob[] = u"restore of %s";
inline constexpr char16_t kRestoreWhat[] = u"restore";

// A contacts import: its job, and a map in words that is wrong.
inline constexpr char16_t kImportJob[] = u"import of %s";
inline constexpr char16_t kImportWord[] = u"import";
inline constexpr char16_t kMapEntryWithoutEquals[] = u"%s: expected CONTACT_COLUMN=FILE_COLUMN";
inline constexpr char16_t kNoSuchContactColumn[] =
    u"%s: no contact column is called \"%s\" (see the header of a contacts backup)";
// What the handheld's rules did with an imported file, said after the rows.
inline constexpr char16_t kMappedColumnLeftEmpty[] =
    u"%s was mapped but stayed empty: only contact columns within the file's column count (%lu) "
    u"are filled; a first line of %lu columns or more (empty names will do) keeps it.";
inline constexpr char16_t kMappedColumnsLeftEmpty[] =
    u"%s were mapped but stayed empty: only contact columns within the file's column count (%lu) "
    u"are filled; a first line of %lu columns or more (empty names will do) keeps them.";
inline constexpr char16_t kFileColumnUnused[] = u"The file's column %s fed no contact column.";
inline constexpr char16_t kFileColumnsUnused[] = u"The file's columns %s fed no contact column.";
inline constexpr char16_t kUnnamedColumn[] = u"column %lu";
inline constexpr char16_t kAddedWithoutName[] =
    u"%llu contact was added without a Name (file-as), which is what an import finds a contact "
    u"by: importing the file again adds it again.";
inline constexpr char16_t kAddedWithoutNamePlural[] =
    u"%llu contacts were added without a Name (file-as), which is what an import finds a contact "
    u"by: importing the file again adds them again.";
inline constexpr char16_t kNoSuchFileColumn[] = u"%s: the file's first line has no column \"%s\"";

}  // namespace kestrav::kinds::texts
