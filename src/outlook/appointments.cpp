#include "outlook/appointments.h"

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

constexpr ItemKindTexts kAppointmentTexts = {
    .folder = platform::OutlookFolderId::kCalendar,
    .item_type = platform::OutlookItemType::kAppointment,
    .folder_error = texts::kAppointmentsFolderError,
    .collection_error = texts::kAppointmentsCollectionError,
    .retrieving = texts::kRetrievingAppointments,
    .to_be_retrieved = texts::kAppointmentToBeRetrieved,
    .to_be_retrieved_plural = texts::kAppointmentsToBeRetrieved,
    .saved = texts::kAppointmentSaved,
    .backup_canceled = texts::kAppointmentsBackupCanceled,
    .successfully_saved = texts::kAppointmentSuccessfullySaved,
    .successfully_saved_plural = texts::kAppointmentsSuccessfullySaved,
    .header_accepted = texts::kValidAppointmentsHeader,
    .before_restore = nullptr,
    .no_records = texts::kNoAppointmentsFound,
    .empty_file_before_cancel = false,
    .looks_in_every_mode = true,
    .database_contains = texts::kAppointmentsDatabaseContains,
    .deleting = texts::kDeletingAppointments,
    .deleted = texts::kAppointmentDeleted,
    .deleted_plural = texts::kAppointmentsDeleted,
    .inserting = texts::kInsertingAppointments,
    .already_exists = texts::kAppointmentAlreadyExists,
    .inserted = texts::kAppointmentInserted,
    .updated = texts::kAppointmentUpdated,
    .not_inserted = texts::kAppointmentNotInserted,
    .not_updated = texts::kAppointmentNotUpdated,
    .restore_canceled = texts::kAppointmentsRestoreCanceled,
    .inserted_in_database = texts::kAppointmentInsertedInDatabase,
    .inserted_in_database_plural = texts::kAppointmentsInsertedInDatabase,
    .updated_in_database = texts::kAppointmentUpdatedInDatabase,
    .updated_in_database_plural = texts::kAppointmentsUpdatedInDatabase,
    .successfully_deleted = texts::kAppointmentsSuccessfullyDeleted,
    .none_deleted = texts::kNoAppointmentDeleted,
};

class AppointmentAdapter : public ItemAdapter {
 public:
  void WriteHeader(records::CsvRecordFile& file) override {
    WriteSignatureLine(file, records::SignatureOf(records::SignedFile::kAppointments));
  }

  std::u16string WriteItem(OutlookItem& item, records::CsvRecordFile& file) override {
    ItemLineWriter line(file);
    const std::u16string subject = ItemText(item, ItemProperty::kSubject);
    line.Value(subject);
    line.Bytes(BooleanBytes(ItemBoolean(item, ItemProperty::kAllDayEvent)));
    line.Bytes(TextBytes(ItemText(item, ItemProperty::kBody)));
    line.Bytes(ItemBytes(item, ItemProperty::kBodyInk));
    line.Bytes(IntegerBytes(ItemInteger(item, ItemProperty::kBusyStatus)));
    line.Raw(ItemText(item, ItemProperty::kCategories));
    line.Bytes(IntegerBytes(ItemInteger(item, ItemProperty::kDuration)));
    line.Bytes(DateBytes(ItemDate(item, ItemProperty::kEnd)));
    line.Bytes(BooleanBytes(ItemBoolean(item, ItemProperty::kIsRecurring)));
    line.Raw(ItemText(item, ItemProperty::kLocation));
    line.Bytes(IntegerBytes(ItemInteger(item, ItemProperty::kMeetingStatus)));
    line.Bytes(IntegerBytes(ItemInteger(item, ItemProperty::kReminderMinutesBeforeStart)));
    line.Bytes(IntegerBytes(ItemInteger(item, ItemProperty::kReminderOptions)));
    line.Bytes(BooleanBytes(ItemBoolean(item, ItemProperty::kReminderSet)));
    line.Raw(ItemText(item, ItemProperty::kReminderSoundFile));
    line.Bytes(IntegerBytes(ItemInteger(item, ItemProperty::kSensitivity)));
    line.Bytes(DateBytes(ItemDate(item, ItemProperty::kStart)));
    WriteRecipients(item, line);
    const std::optional<platform::RecurrencePattern> recurrence = ItemRecurrence(item);
    line.Bytes(RecurrenceBlock(recurrence));
    line.Bytes(ExceptionEntries(recurrence));
    line.End();
    return subject;
  }

  // A line is as long as its recipients make it.
  bool keep_raw_rows() const override { return true; }

  bool AcceptFile(const records::CsvRecordFile& file) override {
    return IsAppointmentsHeader(file.Header());
  }

  // Each line is decoded once, as its turn comes.
  records::RecordView RecordAt(const records::RecordTable& rows, std::size_t position) override {
    decoded_ = DecodeAppointment(rows[position]);
    return rows[position];
  }

  std::u16string_view KeyText(records::RecordView) const override { return decoded_.subject; }

  // Beside the subject, the same start and end, exactly.
  bool Matches(OutlookItem& item, records::RecordView) override {
    return ItemDate(item, ItemProperty::kStart) == decoded_.start &&
           ItemDate(item, ItemProperty::kEnd) == decoded_.end;
  }

  // Every property from its field, an empty field clearing it, but BodyInk, which only a field
  // with bytes sets; Start last among the times; then the recipients and the recurrence.
  // MeetingStatus and IsRecurring are deliberately not set: the object model keeps them from the
  // recipients and the recurrence.
  bool Apply(records::RecordView, OutlookItem& item) override {
    const DecodedAppointment& line = decoded_;
    item.SetText(ItemProperty::kBody, line.body);
    if (!line.body_ink.empty()) item.SetBytes(ItemProperty::kBodyInk, line.body_ink);
    item.SetBoolean(ItemProperty::kAllDayEvent, line.all_day_event);
    item.SetInteger(ItemProperty::kBusyStatus, line.busy_status);
    item.SetText(ItemProperty::kCategories, line.categories);
    item.SetInteger(ItemProperty::kDuration, line.duration);
    item.SetDate(ItemProperty::kEnd, line.end);
    item.SetText(ItemProperty::kLocation, line.location);
    item.SetInteger(ItemProperty::kReminderMinutesBeforeStart, line.reminder_minutes_before_start);
    item.SetInteger(ItemProperty::kReminderOptions, line.reminder_options);
    item.SetBoolean(ItemProperty::kReminderSet, line.reminder_set);
    item.SetText(ItemProperty::kReminderSoundFile, line.reminder_sound_file);
    item.SetInteger(ItemProperty::kSensitivity, line.sensitivity);
    item.SetDate(ItemProperty::kStart, line.start);
    item.SetText(ItemProperty::kSubject, line.subject);

    // The recipients replace the item's own, so an update leaves exactly the file's.
    item.RemoveAllRecipients();
    for (const platform::Recipient& recipient : line.recipients) item.AddRecipient(recipient);
    ApplyRecurrence(item, line.recurrence);
    return !Failed(item.Save());
  }

 private:
  // The count, then each recipient's name and address, read and written one at a time: a meeting
  // may have a long list. One that cannot be read still gives its two fields, empty, so that the
  // line holds as many pairs as its count says.
  static void WriteRecipients(OutlookItem& item, ItemLineWriter& line) {
    int count = 0;
    if (Failed(item.RecipientCount(&count)) || count < 0) count = 0;
    line.Bytes(IntegerBytes(count));
    for (int index = 1; index <= count; ++index) {
      platform::Recipient recipient;
      if (Failed(item.GetRecipient(index, &recipient))) recipient = {};
      line.Raw(recipient.name);
      line.Raw(recipient.address);
    }
  }

  DecodedAppointment decoded_;
};

}  // namespace

void AppointmentsWorker::Backup(const engine::PassContext& pass, records::CsvRecordFile& file) {
  AppointmentAdapter adapter;
  BackupItems(device_, pass, file, kAppointmentTexts, adapter);
}

void AppointmentsWorker::Restore(const engine::PassContext& pass) {
  AppointmentAdapter adapter;
  RestoreItems(device_, pass, kAppointmentTexts, adapter, tally_);
}

std::optional<std::uint32_t> DeleteAllAppointments(const platform::Device& device,
                                                   devicedb::DeletionProgress& progress) {
  return DeleteAllItems(device, kAppointmentTexts, progress);
}

std::u16string AppointmentsDeletedText(std::uint32_t deleted) {
  return ItemsDeletedText(kAppointmentTexts, deleted);
}

std::optional<std::uint64_t> CountAppointments(const platform::Device& device) {
  return CountItems(device, kAppointmentTexts);
}

}  // namespace kestrav::outlook
