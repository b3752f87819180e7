#include "outlook/decoded_items.h"

#include <algorithm>

#include "outlook/item_fields.h"
#include "records/file_signature.h"
#include "records/value_text.h"

namespace kestrav::outlook {
namespace {

// The fields of an appointment line by position, up to the recipient count; the recipients'
// pairs follow it, then the recurrence block and the exceptions.
enum AppointmentField : std::size_t {
  kAppointmentSubject,
  kAllDayEvent,
  kAppointmentBody,
  kAppointmentBodyInk,
  kBusyStatus,
  kAppointmentCategories,
  kDuration,
  kEnd,
  kAppointmentIsRecurring,
  kLocation,
  kMeetingStatus,
  kReminderMinutesBeforeStart,
  kAppointmentReminderOptions,
  kAppointmentReminderSet,
  kAppointmentReminderSoundFile,
  kAppointmentSensitivity,
  kStart,
  kRecipientCount,
  kFirstRecipient,
};

// The fields of a task line by position.
enum TaskField : std::size_t {
  kTaskSubject,
  kTaskBody,
  kTaskBodyInk,
  kTaskCategories,
  kComplete,
  kDateCompleted,
  kDueDate,
  kImportance,
  kTaskIsRecurring,
  kTaskReminderOptions,
  kTaskReminderSet,
  kTaskReminderSoundFile,
  kReminderTime,
  kTaskSensitivity,
  kStartDate,
  kTeamTask,
  kRecurrence,
  kExceptions,
};

}  // namespace

std::u16string_view DecodedContact::Field(std::u16string_view header) const {
  const auto& columns = ContactColumns();
  for (std::size_t column = 0; column < columns.size(); ++column) {
    if (header == columns[column].header) return fields[column];
  }
  return {};
}

DecodedContact DecodeContact(records::RecordView fields, const platform::AnsiCodePage& code_page) {
  DecodedContact contact;
  const auto& columns = ContactColumns();
  for (std::size_t column = 0; column < kContactColumnCount; ++column) {
    contact.fields[column] = std::u16string(fields.Value(column));
    switch (columns[column].source) {
      case ContactSource::kItemDate:
        contact.dates[column] = DateFromField(fields.Value(column));
        break;
      case ContactSource::kNotes:
        contact.notes = NotesFromField(fields.Value(column), code_page);
        break;
      default:
        break;
    }
  }
  contact.picture = records::ParseLenientByteList(fields.Value(kPictureColumn));
  return contact;
}

DecodedAppointment DecodeAppointment(records::RecordView line) {
  ItemLineReader fields(line);
  DecodedAppointment appointment;
  appointment.subject = fields.At(kAppointmentSubject).Text();
  appointment.all_day_event = fields.At(kAllDayEvent).Boolean();
  appointment.body = TextFromBytes(fields.At(kAppointmentBody).Bytes());
  appointment.body_ink = fields.At(kAppointmentBodyInk).Bytes();
  appointment.busy_status = fields.At(kBusyStatus).Integer();
  appointment.categories = fields.At(kAppointmentCategories).Text();
  appointment.duration = fields.At(kDuration).Integer();
  appointment.end = fields.At(kEnd).Date();
  appointment.is_recurring = fields.At(kAppointmentIsRecurring).Boolean();
  appointment.location = fields.At(kLocation).Text();
  appointment.meeting_status = fields.At(kMeetingStatus).Integer();
  appointment.reminder_minutes_before_start = fields.At(kReminderMinutesBeforeStart).Integer();
  appointment.reminder_options = fields.At(kAppointmentReminderOptions).Integer();
  appointment.reminder_set = fields.At(kAppointmentReminderSet).Boolean();
  appointment.reminder_sound_file = fields.At(kAppointmentReminderSoundFile).Text();
  appointment.sensitivity = fields.At(kAppointmentSensitivity).Integer();
  appointment.start = fields.At(kStart).Date();
  appointment.stated_recipient_count = fields.At(kRecipientCount).Integer();
  // The count is believed only as far as the line holds a pair for each recipient besides its
  // recurrence block.
  fields.At(kFirstRecipient);
  const auto recipients = static_cast<std::size_t>(std::clamp<std::int64_t>(
      appointment.stated_recipient_count, 0,
      static_cast<std::int64_t>(fields.left() > 1 ? (fields.left() - 1) / 2 : 0)));
  appointment.recipients.reserve(recipients);
  for (std::size_t k = 0; k < recipients; ++k) {
    platform::Recipient recipient;
    recipient.name = fields.Text();
    recipient.address = fields.Text();
    appointment.recipients.push_back(std::move(recipient));
  }
  const Bytes block = fields.Bytes();
  appointment.recurrence = RecurrenceFromFields(block, fields.Bytes());
  return appointment;
}

DecodedTask DecodeTask(records::RecordView line) {
  ItemLineReader fields(line);
  DecodedTask task;
  task.subject = fields.At(kTaskSubject).Text();
  task.body = TextFromBytes(fields.At(kTaskBody).Bytes());
  task.body_ink = fields.At(kTaskBodyInk).Bytes();
  task.categories = fields.At(kTaskCategories).Text();
  task.complete = fields.At(kComplete).Boolean();
  task.date_completed = fields.At(kDateCompleted).Date();
  task.due_date = fields.At(kDueDate).Date();
  task.importance = fields.At(kImportance).Integer();
  task.is_recurring = fields.At(kTaskIsRecurring).Boolean();
  task.reminder_options = fields.At(kTaskReminderOptions).Integer();
  task.reminder_set = fields.At(kTaskReminderSet).Boolean();
  task.reminder_sound_file = fields.At(kTaskReminderSoundFile).Text();
  task.reminder_time = fields.At(kReminderTime).Date();
  task.sensitivity = fields.At(kTaskSensitivity).Integer();
  task.start_date = fields.At(kStartDate).Date();
  task.team_task = fields.At(kTeamTask).Boolean();
  const Bytes block = fields.At(kRecurrence).Bytes();
  task.recurrence = RecurrenceFromFields(block, fields.At(kExceptions).Bytes());
  return task;
}

bool IsAppointmentsHeader(const records::Record& header) {
  return IsSignatureHeader(header, records::SignatureOf(records::SignedFile::kAppointments));
}

bool IsTasksHeader(const records::Record& header) {
  return IsSignatureHeader(header, records::SignatureOf(records::SignedFile::kTasks));
}

}  // namespace kestrav::outlook
