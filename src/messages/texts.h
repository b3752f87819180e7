// The texts of the messages passes, as the user sees them.
#pragma once

namespace kestrav::messages::texts {

inline constexpr char16_t kConnecting[] = u"Connecting to Outlook...";
inline constexpr char16_t kConnected[] = u"Connected to Outlook.";
inline constexpr char16_t kDisconnecting[] = u"Disconnecting from Outlook...";
// A backup ends with the short form, a restore with the long one.
inline constexpr char16_t kDisconnectedAfterBackup[] = u"Disconnected.";
inline constexpr char16_t kDisconnectedAfterRestore[] = u"Disconnected from Outlook.";

// Backup.
inline constexpr char16_t kRetrievingMessagesFrom[] = u"Retrieving messages from '%s'...";
inline constexpr char16_t kBackupCanceled[] = u"Messages backup has been canceled.";
inline constexpr char16_t kOneMessageSaved[] = u"1 message has been successfully saved.";
inline constexpr char16_t kMessagesSaved[] = u"%u messages have been successfully saved.";
inline constexpr char16_t kNoMessageFound[] = u"No message found, nothing done.";
// Ours: what is left out of a message whose record would be longer than a restore reads.
inline constexpr char16_t kAttachmentsTooLarge[] =
    u"The attachments of '%s' are too large to be stored; the message is saved without them.";
inline constexpr char16_t kTooManyRecipients[] =
    u"'%s' has too many recipients to be stored; the message is saved with the first %u.";
inline constexpr char16_t kTooManyAttachments[] =
    u"'%s' has too many attachments to be stored; the message is saved with the first %u.";
inline constexpr char16_t kBodyTooLong[] =
    u"The body of '%s' is too long to be stored; the message is saved with its first %u "
    u"characters.";
inline constexpr char16_t kMessageTooLarge[] = u"'%s' is too large to be stored; it is left out.";

// Restore.
inline constexpr char16_t kRetrievingFileRecords[] = u"Retrieving file records...";
inline constexpr char16_t kRecordFoundInFile[] = u" record found in file.";
inline constexpr char16_t kRecordsFoundInFile[] = u" records found in file.";
// No full stop: the device's text.
inline constexpr char16_t kNoMessagesInFile[] = u"No messages found. Nothing done";
inline constexpr char16_t kRetrievingMessagesFields[] = u"Retrieving messages fields...";
inline constexpr char16_t kDeletingMessages[] = u"Deleting existing messages...";
inline constexpr char16_t kMessageDeleted[] = u" message deleted from the database.";
inline constexpr char16_t kMessagesDeleted[] = u" messages deleted from the database.";
inline constexpr char16_t kInsertingMessages[] = u"Inserting messages...";
// Ours: a record whose columns do not read as a message - a text holding a quote right before a
// separator is written as it is and reads back split.
inline constexpr char16_t kRecordUnreadable[] =
    u"Record %u couldn't be read as a message; it is not restored.";
inline constexpr char16_t kRestoreCanceled[] = u"Messages restore has been canceled.";
inline constexpr char16_t kMessageInserted[] = u" message inserted in the database.";
inline constexpr char16_t kMessagesInserted[] = u" messages inserted in the database.";
// Both kept word for word, abbreviation included.
inline constexpr char16_t kMessageExists[] = u" message not inserted cos exists in the database.";
inline constexpr char16_t kMessagesExist[] = u" messages not inserted cos exist in the database.";
// Ours: attachments a backup saved without their contents come back empty.
inline constexpr char16_t kAttachmentWithoutContents[] =
    u" attachment came back without its contents: the backup did not hold it.";
inline constexpr char16_t kAttachmentsWithoutContents[] =
    u" attachments came back without their contents: the backup did not hold them.";

// The store names shown for two stores.
inline constexpr char16_t kActiveSyncStore[] = u"ActiveSync";
inline constexpr char16_t kActiveSyncShown[] = u"Outlook E-Mail";
inline constexpr char16_t kSmsStore[] = u"SMS";
inline constexpr char16_t kSmsShown[] = u"Text Messages";
inline constexpr char16_t kFolderLabel[] = u"%s(%u)";

}  // namespace kestrav::messages::texts
