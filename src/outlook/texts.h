// The texts of the Outlook items passes, as the user sees them.
#pragma once

namespace kestrav::outlook::texts {

// The session.
inline constexpr char16_t kConnecting[] = u"Connecting to Outlook...";
inline constexpr char16_t kCouldNotConnect[] = u"Could not be connected to Outlook.";
inline constexpr char16_t kConnected[] = u"Successfully connected to Outlook.";
inline constexpr char16_t kDisconnecting[] = u"Disconnecting from Outlook...";
inline constexpr char16_t kDisconnected[] = u"Disconnected.";

// Contacts backup.
inline constexpr char16_t kContactsFolderError[] = u"Couldn't access contacts folder.";
inline constexpr char16_t kContactsCollectionError[] = u"Couldn't access contacts collection.";
inline constexpr char16_t kRetrievingContacts[] = u"Retrieving contacts infos...";
inline constexpr char16_t kContactToBeRetrieved[] = u" contact to be retrieved.";
inline constexpr char16_t kContactsToBeRetrieved[] = u" contacts to be retrieved.";
inline constexpr char16_t kContactSaved[] = u"%d. contact '%s' saved.";
inline constexpr char16_t kContactsBackupCanceled[] = u"Contacts backup has been canceled.";
inline constexpr char16_t kContactSuccessfullySaved[] = u" contact successfully saved.";
inline constexpr char16_t kContactsSuccessfullySaved[] = u" contacts successfully saved.";

// Contacts restore.
inline constexpr char16_t kRetrievingFileRecords[] = u"Retrieving file records...";
inline constexpr char16_t kInvalidFileFormat[] = u"Invalid file format. Nothing done.";
inline constexpr char16_t kRecordFoundInFile[] = u" record found in file.";
inline constexpr char16_t kRecordsFoundInFile[] = u" records found in file.";
inline constexpr char16_t kNoContactsFound[] = u"No contacts found. Nothing done";
inline constexpr char16_t kRetrievingMappedFields[] = u"Retrieving contacts mapped fields...";
inline constexpr char16_t kContactsDatabaseContains[] = u"The contacts database contains ";
inline constexpr char16_t kRecord[] = u" record.";
inline constexpr char16_t kRecords[] = u" records.";
inline constexpr char16_t kDeletingContacts[] = u"Deleting contacts from the database...";
inline constexpr char16_t kContactDeleted[] = u" contact deleted from the database.";
inline constexpr char16_t kContactsDeleted[] = u" contacts deleted from the database.";
inline constexpr char16_t kInsertingContacts[] = u"Inserting contacts in the database...";
inline constexpr char16_t kContactAlreadyExists[] =
    u"%d. contact '%s' already exists. Nothing done.";
inline constexpr char16_t kContactInserted[] = u"%d. '%s' inserted.";
inline constexpr char16_t kContactUpdated[] = u"%d. '%s' updated.";
inline constexpr char16_t kContactsRestoreCanceled[] = u"Contacts restore has been canceled.";
inline constexpr char16_t kContactInsertedInDatabase[] = u" contact inserted in the database.";
inline constexpr char16_t kContactsInsertedInDatabase[] = u" contacts inserted in the database.";
inline constexpr char16_t kContactUpdatedInDatabase[] = u" contact updated in the database.";
inline constexpr char16_t kContactsUpdatedInDatabase[] = u" contacts updated in the database.";

// "Delete All..." contacts.
inline constexpr char16_t kContactsSuccessfullyDeleted[] = u"%d contact%s successfully deleted.";
inline constexpr char16_t kNoContactDeleted[] = u"No contact found, nothing deleted.";

// Appointments backup.
inline constexpr char16_t kAppointmentsFolderError[] = u"Couldn't access appointments folder.";
inline constexpr char16_t kAppointmentsCollectionError[] =
    u"Couldn't access appointments collection.";
inline constexpr char16_t kRetrievingAppointments[] = u"Retrieving appointments infos...";
inline constexpr char16_t kAppointmentToBeRetrieved[] = u" appointment to be retrieved.";
inline constexpr char16_t kAppointmentsToBeRetrieved[] = u" appointments to be retrieved.";
inline constexpr char16_t kAppointmentSaved[] = u"%d. appointment '%s' saved.";
inline constexpr char16_t kAppointmentsBackupCanceled[] = u"Appointments backup has been canceled.";
inline constexpr char16_t kAppointmentSuccessfullySaved[] = u" appointment successfully saved.";
inline constexpr char16_t kAppointmentsSuccessfullySaved[] = u" appointments successfully saved.";

// Appointments restore.
inline constexpr char16_t kValidAppointmentsHeader[] = u"Valid appointments CSV header format.";
inline constexpr char16_t kNoAppointmentsFound[] = u"No appointments found. Nothing done";
inline constexpr char16_t kAppointmentsDatabaseContains[] = u"The appointments database contains ";
inline constexpr char16_t kDeletingAppointments[] = u"Deleting appointments from the database...";
inline constexpr char16_t kAppointmentDeleted[] = u" appointment deleted from the database.";
inline constexpr char16_t kAppointmentsDeleted[] = u" appointments deleted from the database.";
inline constexpr char16_t kInsertingAppointments[] = u"Inserting appointments in the database...";
inline constexpr char16_t kAppointmentAlreadyExists[] =
    u"%d. appointment '%s' already exists. Nothing done.";
inline constexpr char16_t kAppointmentInserted[] = u"%d. '%s' inserted.";
inline constexpr char16_t kAppointmentUpdated[] = u"%d. '%s' updated.";
inline constexpr char16_t kAppointmentNotInserted[] = u"%d. appointment '%s' couldn't be inserted.";
inline constexpr char16_t kAppointmentNotUpdated[] = u"%d. appointment '%s' couldn't be updated.";
inline constexpr char16_t kAppointmentsRestoreCanceled[] =
    u"Appointments restore has been canceled.";
inline constexpr char16_t kAppointmentInsertedInDatabase[] =
    u" appointment inserted in the database.";
inline constexpr char16_t kAppointmentsInsertedInDatabase[] =
    u" appointments inserted in the database.";
inline constexpr char16_t kAppointmentUpdatedInDatabase[] =
    u" appointment updated in the database.";
inline constexpr char16_t kAppointmentsUpdatedInDatabase[] =
    u" appointments updated in the database.";

// "Delete All..." appointments.
inline constexpr char16_t kAppointmentsSuccessfullyDeleted[] =
    u"%d appointment%s successfully deleted.";
inline constexpr char16_t kNoAppointmentDeleted[] = u"No appointment found, nothing deleted.";

// Tasks backup.
inline constexpr char16_t kTasksFolderError[] = u"Couldn't access tasks folder.";
inline constexpr char16_t kTasksCollectionError[] = u"Couldn't access tasks collection.";
inline constexpr char16_t kRetrievingTasks[] = u"Retrieving tasks infos...";
inline constexpr char16_t kTaskToBeRetrieved[] = u" task to be retrieved.";
inline constexpr char16_t kTasksToBeRetrieved[] = u" tasks to be retrieved.";
inline constexpr char16_t kTaskSaved[] = u"%d. task '%s' saved.";
inline constexpr char16_t kTasksBackupCanceled[] = u"Tasks backup has been canceled.";
inline constexpr char16_t kTaskSuccessfullySaved[] = u" task successfully saved.";
inline constexpr char16_t kTasksSuccessfullySaved[] = u" tasks successfully saved.";

// Tasks restore.
inline constexpr char16_t kValidTasksHeader[] = u"Valid tasks CSV header format.";
inline constexpr char16_t kNoTasksFound[] = u"No tasks found. Nothing done";
inline constexpr char16_t kTasksDatabaseContains[] = u"The tasks database contains ";
inline constexpr char16_t kDeletingTasks[] = u"Deleting tasks from the database...";
inline constexpr char16_t kTaskDeleted[] = u" task deleted from the database.";
inline constexpr char16_t kTasksDeleted[] = u" tasks deleted from the database.";
inline constexpr char16_t kInsertingTasks[] = u"Inserting tasks in the database...";
inline constexpr char16_t kTaskAlreadyExists[] = u"%d. task '%s' already exists. Nothing done.";
inline constexpr char16_t kTaskInserted[] = u"%d. '%s' inserted.";
inline constexpr char16_t kTaskUpdated[] = u"%d. '%s' updated.";
inline constexpr char16_t kTaskNotInserted[] = u"%d. task '%s' couldn't be inserted.";
inline constexpr char16_t kTaskNotUpdated[] = u"%d. task '%s' couldn't be updated.";
inline constexpr char16_t kTasksRestoreCanceled[] = u"Tasks restore has been canceled.";
inline constexpr char16_t kTaskInsertedInDatabase[] = u" task inserted in the database.";
inline constexpr char16_t kTasksInsertedInDatabase[] = u" tasks inserted in the database.";
inline constexpr char16_t kTaskUpdatedInDatabase[] = u" task updated in the database.";
inline constexpr char16_t kTasksUpdatedInDatabase[] = u" tasks updated in the database.";

// "Delete All..." tasks.
inline constexpr char16_t kTasksSuccessfullyDeleted[] = u"%d task%s successfully deleted.";
inline constexpr char16_t kNoTaskDeleted[] = u"No task found, nothing deleted.";

// The contact field map.
inline constexpr char16_t kMapError[] = u"Map Error";
inline constexpr char16_t kNoValueSelected[] = u"No Value selected";
inline constexpr char16_t kNoContactFieldSelected[] = u"No Contact Field selected";

}  // namespace kestrav::outlook::texts
