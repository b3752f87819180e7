#include "outlook/tasks.h"

#include "outlook/item_fields.h"
#include "outlook/item_pass.h"
#include "outlook/texts.h"
#include "records/file_signature.h"

namespace kestrav::outlook {
namespace {

using platform::Failed;
using platform::ItemProperty;
using platform::OutlookItem;

constexpr ItemKindTexts kTaskTexts = {
    .folder = platform::OutlookFolderId::kTasks,
    .item_type = platform::OutlookItemType::kTask,
    .folder_error = texts::kTasksFolderError,
    .collection_error = texts::kTasksCollectionError,
    .retrieving = texts::kRetrievingTasks,
    .to_be_retrieved = texts::kTaskToBeRetrieved,
    .to_be_retrieved_plural = texts::kTasksToBeRetrieved,
    .saved = texts::kTaskSaved,
    .backup_canceled = texts::kTasksBackupCanceled,
    .successfully_saved = texts::kTaskSuccessfullySaved,
    .successfully_saved_plural = texts::kTasksSuccessfullySaved,
    .header_accepted = texts::kValidTasksHeader,
    .before_restore = nullptr,
    .no_records = texts::kNoTasksFound,
    .empty_file_before_cancel = false,
    .looks_in_every_mode = true,
    .database_contains = texts::kTasksDatabaseContains,
    .deleting = texts::kDeletingTasks,
    .deleted = texts::kTaskDeleted,
    .deleted_plural = texts::kTasksDeleted,
    .inserting = texts::kInsertingTasks,
    .already_exists = texts::kTaskAlreadyExists,
    .inserted = texts::kTaskInserted,
    .updated = texts::kTaskUpdated,
    .not_inserted = texts::kTaskNotInserted,
    .not_updated = texts::kTaskNotUpdated,
    .restore_canceled = texts::kTasksRestoreCanceled,
    .inserted_in_database = texts::kTaskInsertedInDatabase,
    .inserted_in_database_plural = texts::kTasksInsertedInDatabase,
    .updated_in_database = texts::kTaskUpdatedInDatabase,
    .updated_in_database_plural = texts::kTasksUpdatedInDatabase,
    .successfully_deleted = texts::kTasksSuccessfullyDeleted,
    .none_deleted = texts::kNoTaskDeleted,
};

// The fields of a line by position.
enum : std::size_t {
  kSubject,
  kBody,
  kBodyInk,
  kCategories,
  kComplete,
  kDateCompleted,
  kDueDate,
  kImportance,
  kIsRecurring,
  kReminderOptions,
  kReminderSet,
  kReminderSoundFile,
  kReminderTime,
  kSensitivity,
  kStartDate,
  kTeamTask,
  kRecurrence,
  kExceptions,
};

class TaskAdapter : public ItemAdapter {
 public:
  void WriteHeader(records::CsvRecordFile& file) override {
    WriteSignatureLine(file, records::SignatureOf(records::SignedFile::kTasks));
  }

  std::u16string WriteItem(OutlookItem& item, records::CsvRecordFile& file) override {
    ItemLineWriter line(file);
    const std::u16string subject = ItemText(item, ItemProperty::kSubject);
    line.Raw(subject);
    line.Bytes(TextBytes(ItemText(item, ItemProperty::kBody)));
    line.Bytes(ItemBytes(item, ItemProperty::kBodyInk));
    line.Raw(ItemText(item, ItemProperty::kCategories));
    line.Bytes(BooleanBytes(ItemBoolean(item, ItemProperty::kComplete)));
    line.Bytes(DateBytes(ItemDate(item, ItemProperty::kDateCompleted)));
    line.Bytes(DateBytes(ItemDate(item, ItemProperty::kDueDate)));
    line.Bytes(IntegerBytes(ItemInteger(item, ItemProperty::kImportance)));
    line.Bytes(BooleanBytes(ItemBoolean(item, ItemProperty::kIsRecurring)));
    line.Bytes(IntegerBytes(ItemInteger(item, ItemProperty::kReminderOptions)));
    line.Bytes(BooleanBytes(ItemBoolean(item, ItemProperty::kReminderSet)));
    line.Raw(ItemText(item, ItemProperty::kReminderSoundFile));
    line.Bytes(DateBytes(ItemDate(item, ItemProperty::kReminderTime)));
    line.Bytes(IntegerBytes(ItemInteger(item, ItemProperty::kSensitivity)));
    line.Bytes(DateBytes(ItemDate(item, ItemProperty::kStartDate)));
    line.Bytes(BooleanBytes(ItemBoolean(item, ItemProperty::kTeamTask)));
    const std::optional<platform::RecurrencePattern> recurrence = ItemRecurrence(item);
    line.Bytes(RecurrenceBlock(recurrence));
    line.Bytes(ExceptionEntries(recurrence));
    line.End();
    return subject;
  }

  bool keep_raw_rows() const override { return true; }

  bool AcceptFile(const records::CsvRecordFile& file) override {
    return IsSignatureHeader(file.Header(), records::SignatureOf(records::SignedFile::kTasks));
  }

  std::u16string_view KeyText(records::RecordView record) const override {
    return record.Value(kSubject);
  }

  // Beside the subject, the same start, due and completion dates, exactly.
  bool Matches(OutlookItem& item, records::RecordView record) override {
    ItemLineReader fields(record);
    return ItemDate(item, ItemProperty::kStartDate) == fields.At(kStartDate).Date() &&
           ItemDate(item, ItemProperty::kDueDate) == fields.At(kDueDate).Date() &&
           ItemDate(item, ItemProperty::kDateCompleted) == fields.At(kDateCompleted).Date();
  }

  // As an appointment: every property the line holds, in the line's order, an empty field
  // clearing it; but BodyInk only from a field with bytes, IsRecurring not at all (it follows
  // the recurrence, set last), and the subject after the other properties.
  bool Apply(records::RecordView record, OutlookItem& item) override {
    ItemLineReader fields(record);
    item.SetText(ItemProperty::kBody, TextFromBytes(fields.At(kBody).Bytes()));
    if (const Bytes ink = fields.At(kBodyInk).Bytes(); !ink.empty())
      item.SetBytes(ItemProperty::kBodyInk, ink);
    item.SetText(ItemProperty::kCategories, fields.At(kCategories).Text());
    item.SetBoolean(ItemProperty::kComplete, fields.At(kComplete).Boolean());
    item.SetDate(ItemProperty::kDateCompleted, fields.At(kDateCompleted).Date());
    item.SetDate(ItemProperty::kDueDate, fields.At(kDueDate).Date());
    item.SetInteger(ItemProperty::kImportance, fields.At(kImportance).Integer());
    item.SetInteger(ItemProperty::kReminderOptions, fields.At(kReminderOptions).Integer());
    item.SetBoolean(ItemProperty::kReminderSet, fields.At(kReminderSet).Boolean());
    item.SetText(ItemProperty::kReminderSoundFile, fields.At(kReminderSoundFile).Text());
    item.SetDate(ItemProperty::kReminderTime, fields.At(kReminderTime).Date());
    item.SetInteger(ItemProperty::kSensitivity, fields.At(kSensitivity).Integer());
    item.SetDate(ItemProperty::kStartDate, fields.At(kStartDate).Date());
    item.SetBoolean(ItemProperty::kTeamTask, fields.At(kTeamTask).Boolean());
    item.SetText(ItemProperty::kSubject, fields.At(kSubject).Text());
    const Bytes block = fields.At(kRecurrence).Bytes();
    ApplyRecurrence(item, RecurrenceFromFields(block, fields.At(kExceptions).Bytes()));
    return !Failed(item.Save());
  }
};

}  // namespace

void TasksWorker::Backup(const engine::PassContext& pass, records::CsvRecordFile& file) {
  TaskAdapter adapter;
  BackupItems(device_, pass, file, kTaskTexts, adapter);
}

void TasksWorker::Restore(const engine::PassContext& pass) {
  TaskAdapter adapter;
  RestoreItems(device_, pass, kTaskTexts, adapter, tally_);
}

std::optional<std::uint32_t> DeleteAllTasks(const platform::Device& device,
                                            devicedb::DeletionProgress& progress) {
  return DeleteAllItems(device, kTaskTexts, progress);
}

std::u16string TasksDeletedText(std::uint32_t deleted) {
  return ItemsDeletedText(kTaskTexts, deleted);
}

std::optional<std::uint64_t> CountTasks(const platform::Device& device) {
  return CountItems(device, kTaskTexts);
}

}  // namespace kestrav::outlook
