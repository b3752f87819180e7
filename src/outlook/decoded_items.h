// Contacts, appointments and tasks as their record lines give them back: the plain values a
// restore puts on an item, decoded once, by the same functions whether the line is restored or
// only looked at. Nothing here touches the device; a contact's narrow notes take the code page
// they were written in.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "outlook/contact_record.h"
#include "platform/outlook.h"
#include "platform/text.h"
#include "records/record.h"
#include "records/record_file.h"

namespace kestrav::outlook {

// A contact: the sixty column texts as the file (through its field map) gives them, with the
// values that are no plain text decoded beside them.
struct DecodedContact {
  std::array<std::u16string, kContactColumnCount> fields;
  // The date of each "YYYYMMDD" column whose field reads as one; nothing for every other column.
  std::array<std::optional<double>, kContactColumnCount> dates;
  // The notes, from UTF-16 units or, in files without a zero byte there, from narrow text.
  std::u16string notes;
  // The bytes of the picture's byte list; none when the field holds none or is no byte list.
  std::vector<std::uint8_t> picture;

  const std::u16string& name() const { return fields[kNameColumn]; }
  // The field of a column by its header name ("Company"); empty for a name of no column.
  std::u16string_view Field(std::u16string_view header) const;
};

// The contact of a record of the sixty columns.
DecodedContact DecodeContact(records::RecordView fields, const platform::AnsiCodePage& code_page);

// An appointment line. Times are the device's local OLE dates (kOleDateNone for none).
struct DecodedAppointment {
  std::u16string subject;
  bool all_day_event = false;
  std::u16string body;
  std::vector<std::uint8_t> body_ink;
  std::int32_t busy_status = 0;  // 0 free, 1 tentative, 2 busy, 3 out of office
  std::u16string categories;
  std::int32_t duration = 0;  // minutes
  double end = platform::kOleDateNone;
  bool is_recurring = false;
  std::u16string location;
  std::int32_t meeting_status = 0;
  std::int32_t reminder_minutes_before_start = 0;
  std::int32_t reminder_options = 0;
  bool reminder_set = false;
  std::u16string reminder_sound_file;
  std::int32_t sensitivity = 0;  // 0 normal, 1 personal, 2 private, 3 confidential
  double start = platform::kOleDateNone;
  // The count the line states, and the recipients it holds: no more pairs than the line has
  // before its recurrence block.
  std::int32_t stated_recipient_count = 0;
  std::vector<platform::Recipient> recipients;
  std::optional<platform::RecurrencePattern> recurrence;
};

DecodedAppointment DecodeAppointment(records::RecordView line);

// A task line; dates are local OLE dates, kOleDateNone for none.
struct DecodedTask {
  std::u16string subject;
  std::u16string body;
  std::vector<std::uint8_t> body_ink;
  std::u16string categories;
  bool complete = false;
  double date_completed = platform::kOleDateNone;
  double due_date = platform::kOleDateNone;
  std::int32_t importance = 0;  // 0 low, 1 normal, 2 high
  bool is_recurring = false;
  std::int32_t reminder_options = 0;
  bool reminder_set = false;
  std::u16string reminder_sound_file;
  double reminder_time = platform::kOleDateNone;
  std::int32_t sensitivity = 0;
  double start_date = platform::kOleDateNone;
  bool team_task = false;
  std::optional<platform::RecurrencePattern> recurrence;
};

DecodedTask DecodeTask(records::RecordView line);

// Whether a header is the one an appointments or a tasks file opens with.
bool IsAppointmentsHeader(const records::Record& header);
bool IsTasksHeader(const records::Record& header);

}  // namespace kestrav::outlook
