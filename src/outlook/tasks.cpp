#include "outlook/tasks.h"

#include "outlook/decoded_items.h"
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
    return IsTasksHeader(file.Header());
  }

  // Each line is decoded once, as its turn comes.
  records::RecordView RecordAt(const records::RecordTable& rows, std::size_t position) override {
    decoded_ = DecodeTask(rows[position]);
    return rows[position];
  }

  std::u16string_view KeyText(records::RecordView) const override { return decoded_.subject; }

  // Beside the subject, the same start, due and completion dates, exactly.
  bool Matches(OutlookItem& item, records::RecordView) override {
    return ItemDate(item, ItemProperty::kStartDate) == decoded_.start_date &&
           ItemDate(item, ItemProperty::kDueDate) == decoded_.due_date &&
           ItemDate(item, ItemProperty::kDateCompleted) == decoded_.date_completed;
  }

  // As an appointment: every property the line holds, in the line's order, an empty field
  // clearing it; but BodyInk only from a field with bytes, IsRecurring not at all (it follows
  // the recurrence, set last), and the subject after the other properties.
  bool Apply(records::RecordView, OutlookItem& item) override {
    const DecodedTask& line = decoded_;
    item.SetText(ItemProperty::kBody, line.body);
    if (!line.body_ink.empty()) item.SetBytes(ItemProperty::kBodyInk, line.body_ink);
    item.SetText(ItemProperty::kCategories, line.categories);
    item.SetBoolean(ItemProperty::kComplete, line.complete);
    item.SetDate(ItemProperty::kDateCompleted, line.date_completed);
    item.SetDate(ItemProperty::kDueDate, line.due_date);
    item.SetInteger(ItemProperty::kImportance, line.importance);
    item.SetInteger(ItemProperty::kReminderOptions, line.reminder_options);
    item.SetBoolean(ItemProperty::kReminderSet, line.reminder_set);
    item.SetText(ItemProperty::kReminderSoundFile, line.reminder_sound_file);
    item.SetDate(ItemProperty::kReminderTime, line.reminder_time);
    item.SetInteger(ItemProperty::kSensitivity, line.sensitivity);
    item.SetDate(ItemProperty::kStartDate, line.start_date);
    item.SetBoolean(ItemProperty::kTeamTask, line.team_task);
    item.SetText(ItemProperty::kSubject, line.subject);
    ApplyRecurrence(item, line.recurrence);
    return !Failed(item.Save());
  }

 private:
  DecodedTask decoded_;
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
