// The backup's decoded items as the export formats take them: a contact as a vCard, an
// appointment as an event, a task as a to-do, a call and a speed dial as CSV rows, a message as
// mail. What an item holds that its format has no place for is named in a Tally, so that the
// export can say what it could not carry.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "devicedb/call_logs.h"
#include "devicedb/speed_dials.h"
#include "export/icalendar.h"
#include "export/mail.h"
#include "export/vcard.h"
#include "messages/message_record.h"
#include "outlook/decoded_items.h"
#include "platform/clock.h"

namespace kestrav::exporting {

// How many items held each thing their format could not carry ("ink notes": 2).
using Tally = std::map<std::string, std::uint64_t>;

VcardContact ContactCard(const outlook::DecodedContact& contact, Tally* not_carried);

// record_number: the item's number in its record file, for an identifier that stays the same
// from one export of the backup to the next.
CalendarEvent AppointmentEvent(const outlook::DecodedAppointment& appointment,
                               std::uint64_t record_number, Tally* not_carried);
CalendarTodo TaskTodo(const outlook::DecodedTask& task, std::uint64_t record_number,
                      Tally* not_carried);

// Times of the rows are ISO 8601 in UTC.
extern const std::vector<std::string> kCallColumns;
std::vector<std::string> CallRow(const devicedb::DecodedCallLog& call, Tally* not_carried);
extern const std::vector<std::string> kSpeedDialColumns;
std::vector<std::string> SpeedDialRow(const devicedb::DecodedSpeedDial& dial);

// A message record (not a folder record); its views must outlive the mail's writing.
// Attachments whose contents the backup did not hold are left out and counted.
MailMessage MessageMail(const messages::MessageRecord& message, const platform::Clock& clock,
                        Tally* not_carried);

}  // namespace kestrav::exporting
