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

// The restore options of contacts.
inline constexpr char16_t kContactsDeleteAllFirst[] =
    u"Delete all existing contacts from the database before restoration.";
inline constexpr char16_t kContactsAddOnlyNew[] = u"Add only new contacts to the database.";
inline constexpr char16_t kContactsAddNewAndUpdate[] =
    u"Add new contacts and update existing contacts in the Database.";
inline constexpr char16_t kContactsAllowDuplicates[] = u"Allow duplicates to be created.";

// "Delete All..." contacts.
inline constexpr char16_t kContactsDeleteConfirm[] =
    u"Are you sure you want to delete all contacts from Outlook database?";
inline constexpr char16_t kContactsDeleteConfirmTitle[] = u"Contacts delete confirm";
inline constexpr char16_t kContactsDeletionTitle[] = u"Contacts deletion";
inline constexpr char16_t kContactsSuccessfullyDeleted[] = u"%d contact%s successfully deleted.";
inline constexpr char16_t kNoContactDeleted[] = u"No contact found, nothing deleted.";

// The contact field map.
inline constexpr char16_t kMapError[] = u"Map Error";
inline constexpr char16_t kNoValueSelected[] = u"No Value selected";
inline constexpr char16_t kNoContactFieldSelected[] = u"No Contact Field selected";

}  // namespace kestrav::outlook::texts
