#include "export/item_adapters.h"

#include <cstdio>
#include <optional>
#include <string_view>

#include "export/content_line.h"
#include "platform/message_store.h"
#include "platform/text.h"
#include "platform/time.h"

namespace kestrav::exporting {
namespace {

using platform::ToUtf8;

// The handheld's recurrence types.
enum RecurrenceType : std::int32_t {
  kDaily = 0,
  kWeekly = 1,
  kMonthly = 2,
  kMonthNth = 3,
  kYearly = 5,
  kYearNth = 6
};
// The instance that stands for the last of the days in the month.
constexpr std::int32_t kLastInstance = 5;

std::optional<LocalDateTime> LocalTime(double ole_date) {
  platform::SystemTime time;
  if (ole_date == platform::kOleDateNone || !platform::OleDateToSystemTime(ole_date, &time)) {
    return std::nullopt;
  }
  return LocalDateTime{time.year, time.month, time.day, time.hour, time.minute, time.second};
}

std::optional<CalendarDate> Day(double ole_date) {
  const std::optional<LocalDateTime> time = LocalTime(ole_date);
  if (!time) return std::nullopt;
  return CalendarDate{time->year, time->month, time->day};
}

std::optional<CalendarRecurrence> Rule(const platform::RecurrencePattern& pattern) {
  using Frequency = CalendarRecurrence::Frequency;
  CalendarRecurrence rule;
  rule.interval = pattern.interval > 0 ? pattern.interval : 1;
  const unsigned weekdays = static_cast<unsigned>(pattern.day_of_week_mask) & kAllWeekdays;
  const int position = pattern.instance == kLastInstance ? -1 : pattern.instance;
  switch (pattern.recurrence_type) {
    case kDaily:
      rule.frequency = Frequency::kDaily;
      rule.weekdays = weekdays;
      break;
    case kWeekly:
      rule.frequency = Frequency::kWeekly;
      rule.weekdays = weekdays;
      break;
    case kMonthly:
      rule.frequency = Frequency::kMonthly;
      rule.month_day = pattern.day_of_month;
      break;
    case kMonthNth:
      rule.frequency = Frequency::kMonthly;
      rule.weekdays = weekdays;
      rule.position = position;
      break;
    case kYearly:
      rule.frequency = Frequency::kYearly;
      rule.month = pattern.month_of_year;
      rule.month_day = pattern.day_of_month;
      break;
    case kYearNth:
      rule.frequency = Frequency::kYearly;
      rule.month = pattern.month_of_year;
      rule.weekdays = weekdays;
      rule.position = position;
      break;
    default:
      return std::nullopt;
  }
  if (rule.month < 0 || rule.month > 12 || rule.month_day < 0 || rule.month_day > 31 ||
      position < -1 || position > 4) {
    return std::nullopt;
  }
  if (!pattern.no_end_date) {
    if (pattern.occurrences > 0) {
      rule.count = pattern.occurrences;
    } else {
      rule.until = Day(pattern.pattern_end_date);
    }
  }
  return rule;
}

// A stable identifier: the kind, the record's number and what the item says of itself.
std::string Identifier(char kind, std::uint64_t record_number, std::u16string_view subject,
                       double start) {
  std::uint64_t hash = 0xCBF29CE484222325ULL;
  auto mix = [&hash](const void* data, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) {
      hash ^= bytes[i];
      hash *= 0x100000001B3ULL;
    }
  };
  mix(subject.data(), subject.size() * sizeof(char16_t));
  mix(&start, sizeof start);
  char text[64];
  std::snprintf(text, sizeof text, "%c%llu-%016llx@kestrav", kind,
                static_cast<unsigned long long>(record_number),
                static_cast<unsigned long long>(hash));
  return text;
}

Classification ClassOf(std::int32_t sensitivity) {
  switch (sensitivity) {
    case 1:  // personal
    case 2:
      return Classification::kPrivate;
    case 3:
      return Classification::kConfidential;
    default:
      return Classification::kPublic;
  }
}

std::vector<std::string> Categories(std::u16string_view categories) {
  return SplitList(ToUtf8(categories));
}

std::string IsoTime(platform::FileTime time) {
  platform::SystemTime fields;
  if (!platform::FileTimeToSystemTime(time, &fields)) return {};
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", fields.year, fields.month,
                fields.day, fields.hour, fields.minute, fields.second);
  return text;
}

}  // namespace

VcardContact ContactCard(const outlook::DecodedContact& contact, Tally* not_carried) {
  auto field = [&contact](std::u16string_view header) { return ToUtf8(contact.Field(header)); };
  VcardContact card;
  card.family_name = field(u"Last Name");
  card.given_name = field(u"First Name");
  card.additional_names = field(u"Middle Name");
  card.honorific_prefix = field(u"Title");
  card.honorific_suffix = field(u"Suffix");
  card.formatted_name = field(u"Display Name");
  if (card.formatted_name.empty() && card.family_name.empty() && card.given_name.empty() &&
      card.additional_names.empty()) {
    card.formatted_name = ToUtf8(contact.name());
  }
  card.nickname = field(u"NickName");
  card.organization = field(u"Company");
  card.department = field(u"Department");
  card.job_title = field(u"Job Title");
  static constexpr std::pair<std::u16string_view, PhoneUse> kPhones[] = {
      {u"Business Phone", PhoneUse::kWorkVoice},
      {u"Business Phone 2", PhoneUse::kWorkVoice},
      {u"Company Main Phone", PhoneUse::kWorkMain},
      {u"Business Fax", PhoneUse::kWorkFax},
      {u"Mobile Phone", PhoneUse::kCell},
      {u"Home Phone", PhoneUse::kHomeVoice},
      {u"Home Phone 2", PhoneUse::kHomeVoice},
      {u"Home Fax", PhoneUse::kHomeFax},
      {u"Pager", PhoneUse::kPager},
      {u"Car Phone", PhoneUse::kCar},
      {u"Radio Phone", PhoneUse::kRadio},
      {u"Assistant's Phone", PhoneUse::kAssistant}};
  for (const auto& [header, use] : kPhones) {
    std::string number = field(header);
    if (!number.empty()) card.phones.push_back({use, std::move(number)});
  }
  for (std::u16string_view header : {u"E-mail Address", u"E-mail 2 Address", u"E-mail 3 Address"}) {
    std::string address = field(header);
    if (!address.empty()) card.emails.push_back(std::move(address));
  }
  static constexpr std::pair<std::u16string_view, AddressUse> kAddresses[] = {
      {u"Business", AddressUse::kWork},
      {u"Home", AddressUse::kHome},
      {u"Other", AddressUse::kOther}};
  for (const auto& [prefix, use] : kAddresses) {
    const std::u16string start(prefix);
    VcardAddress address{use,
                         field(start + u" Street"),
                         field(start + u" City"),
                         field(start + u" State"),
                         field(start + u" Postal Code"),
                         field(start + u" Country")};
    if (!(address.street + address.city + address.region + address.postal_code + address.country)
             .empty()) {
      card.addresses.push_back(std::move(address));
    }
  }
  card.url = field(u"Web Page");
  for (std::size_t column = 0; column < outlook::kContactColumnCount; ++column) {
    if (!contact.dates[column]) continue;
    const std::u16string_view header = outlook::ContactColumns()[column].header;
    if (header == u"Birthday") card.birthday = Day(*contact.dates[column]);
    if (header == u"Anniversary") card.anniversary = Day(*contact.dates[column]);
  }
  card.note = ToUtf8(contact.notes);
  card.categories = Categories(contact.Field(u"Categories"));
  card.photo = contact.picture;
  static constexpr std::pair<std::u16string_view, const char*> kExtensions[] = {
      {u"Spouse", "X-SPOUSE"},
      {u"Children", "X-CHILDREN"},
      {u"Assistant's Name", "X-ASSISTANT"},
      {u"Manager's Name", "X-MANAGER"},
      {u"IM", "X-IM"},
      {u"IM2", "X-IM"},
      {u"IM3", "X-IM"}};
  for (const auto& [header, name] : kExtensions) {
    std::string value = field(header);
    if (!value.empty()) card.extensions.push_back({name, std::move(value)});
  }
  static constexpr std::pair<std::u16string_view, const char*> kNotCarried[] = {
      {u"Ring Tone", "ring tones"},
      {u"Office Location", "office locations"},
      {u"Government ID Number", "government ID numbers"},
      {u"Account", "accounts"},
      {u"Customer ID Number", "customer ID numbers"},
      {u"Notes Ink", "ink notes"}};
  for (const auto& [header, what] : kNotCarried) {
    if (!contact.Field(header).empty()) ++(*not_carried)[what];
  }
  return card;
}

CalendarEvent AppointmentEvent(const outlook::DecodedAppointment& appointment,
                               std::uint64_t record_number, Tally* not_carried) {
  CalendarEvent event;
  event.uid = Identifier('A', record_number, appointment.subject, appointment.start);
  event.summary = ToUtf8(appointment.subject);
  event.description = ToUtf8(appointment.body);
  event.location = ToUtf8(appointment.location);
  event.categories = Categories(appointment.categories);
  event.all_day = appointment.all_day_event;
  const LocalDateTime start = LocalTime(appointment.start).value_or(LocalDateTime{1899, 12, 30});
  event.start = start;
  event.end = LocalTime(appointment.end).value_or(start);
  event.classification = ClassOf(appointment.sensitivity);
  switch (appointment.busy_status) {
    case 0:
      event.busy_status = BusyStatus::kFree;
      break;
    case 1:
      event.busy_status = BusyStatus::kTentative;
      break;
    case 3:
      event.busy_status = BusyStatus::kOutOfOffice;
      break;
    default:
      event.busy_status = BusyStatus::kBusy;
  }
  if (appointment.reminder_set)
    event.alarm_minutes_before = appointment.reminder_minutes_before_start;
  for (const platform::Recipient& recipient : appointment.recipients) {
    if (recipient.address.empty()) {
      ++(*not_carried)["attendees without an address"];
      continue;
    }
    event.attendees.push_back({ToUtf8(recipient.name), ToUtf8(recipient.address)});
  }
  if (appointment.recurrence) {
    event.recurrence = Rule(*appointment.recurrence);
    if (!event.recurrence) ++(*not_carried)["recurrence patterns of an unknown type"];
    for (const platform::RecurrenceException& exception : appointment.recurrence->exceptions) {
      const std::optional<LocalDateTime> original = LocalTime(exception.original_date);
      if (!original) continue;
      CalendarOccurrenceChange change;
      change.original_start = *original;
      change.deleted = exception.deleted;
      change.start = LocalTime(exception.start).value_or(*original);
      change.end = LocalTime(exception.end).value_or(change.start);
      event.changes.push_back(change);
    }
  }
  if (!appointment.body_ink.empty()) ++(*not_carried)["ink notes"];
  if (!appointment.reminder_sound_file.empty()) ++(*not_carried)["reminder sounds"];
  return event;
}

CalendarTodo TaskTodo(const outlook::DecodedTask& task, std::uint64_t record_number,
                      Tally* not_carried) {
  CalendarTodo todo;
  todo.uid = Identifier('T', record_number, task.subject, task.start_date);
  todo.summary = ToUtf8(task.subject);
  todo.description = ToUtf8(task.body);
  todo.categories = Categories(task.categories);
  todo.classification = ClassOf(task.sensitivity);
  todo.start = Day(task.start_date);
  todo.due = Day(task.due_date);
  todo.complete = task.complete;
  todo.completed = LocalTime(task.date_completed);
  todo.priority = task.importance == 2 ? 1 : task.importance == 0 ? 9 : 5;
  if (task.reminder_set) todo.alarm_time = LocalTime(task.reminder_time);
  if (task.recurrence) {
    todo.recurrence = Rule(*task.recurrence);
    if (!todo.recurrence) ++(*not_carried)["recurrence patterns of an unknown type"];
    todo.recurrence_start = Day(task.recurrence->pattern_start_date);
    for (const platform::RecurrenceException& exception : task.recurrence->exceptions) {
      if (!exception.deleted) {
        ++(*not_carried)["moved occurrences"];
        continue;
      }
      if (std::optional<CalendarDate> day = Day(exception.original_date)) {
        todo.deleted_occurrences.push_back(*day);
      }
    }
  }
  if (!task.body_ink.empty()) ++(*not_carried)["ink notes"];
  if (!task.reminder_sound_file.empty()) ++(*not_carried)["reminder sounds"];
  return todo;
}

const std::vector<std::string> kCallColumns = {"Start",  "End",  "Duration (seconds)", "Direction",
                                               "Number", "Name", "Number type"};

std::vector<std::string> CallRow(const devicedb::DecodedCallLog& call, Tally* not_carried) {
  std::string direction;
  switch (call.direction()) {
    case devicedb::CallDirection::kOutgoing:
      direction = "outgoing";
      break;
    case devicedb::CallDirection::kIncoming:
      direction = "incoming";
      break;
    case devicedb::CallDirection::kMissed:
      direction = "missed";
      break;
  }
  std::string number_type = ToUtf8(call.number_type);
  if (number_type == "m") number_type = "mobile";
  if (number_type == "w") number_type = "work";
  if (number_type == "h") number_type = "home";
  const std::optional<std::uint64_t> duration = call.duration_seconds();
  for (const platform::PropertyValue& property : call.properties) {
    switch (property.id) {
      case devicedb::kCallStartProperty:
      case devicedb::kCallEndProperty:
      case devicedb::kCallFlagsProperty:
      case devicedb::kCallNumberProperty:
      case devicedb::kCallNameProperty:
      case devicedb::kCallNumberTypeProperty:
        break;
      default:
        ++(*not_carried)["other call properties"];
    }
  }
  return {call.start ? IsoTime(*call.start) : std::string(),
          call.end ? IsoTime(*call.end) : std::string(),
          duration ? std::to_string(*duration) : std::string(),
          direction,
          ToUtf8(call.number),
          call.name ? ToUtf8(*call.name) : std::string(),
          number_type};
}

const std::vector<std::string> kSpeedDialColumns = {"Position", "Label", "Number"};

std::vector<std::string> SpeedDialRow(const devicedb::DecodedSpeedDial& dial) {
  return {dial.position ? std::to_string(*dial.position) : std::string(), ToUtf8(dial.label),
          ToUtf8(dial.phone_text)};
}

MailMessage MessageMail(const messages::MessageRecord& message, const platform::Clock& clock,
                        Tally* not_carried) {
  MailMessage mail;
  for (const platform::PropertyValue& property : message.properties) {
    switch (property.id) {
      case platform::kTagSenderName:
        mail.from.name = ToUtf8(property.text);
        break;
      case platform::kTagSenderAddress:
        mail.from.address = ToUtf8(property.text);
        break;
      case platform::kTagDeliveryTime: {
        const platform::UnixTime time = platform::FileTimeToUnixTime(property.file_time);
        mail.date = time.seconds;
        const auto local = static_cast<std::int64_t>(clock.UtcToLocal(property.file_time));
        const auto utc = static_cast<std::int64_t>(property.file_time);
        mail.date_offset_minutes = static_cast<int>((local - utc) / 600'000'000);
        break;
      }
      default:
        break;
    }
  }
  mail.subject = ToUtf8(message.subject);
  mail.body = ToUtf8(message.body);
  mail.html = message.body_type == messages::kHtmlBody;
  messages::ItemList recipients(message.recipients);
  for (std::u16string_view item; recipients.Next(&item);) {
    platform::MessageRecipient recipient;
    if (!messages::ReadRecipient(item, &recipient)) continue;
    MailAddress address{ToUtf8(recipient.display_name), ToUtf8(recipient.address)};
    switch (recipient.kind) {
      case platform::RecipientKind::kCc:
        mail.cc.push_back(std::move(address));
        break;
      case platform::RecipientKind::kBcc:
        mail.bcc.push_back(std::move(address));
        break;
      default:
        mail.to.push_back(std::move(address));
    }
  }
  messages::ItemList attachments(message.attachments);
  for (std::u16string_view item; attachments.Next(&item);) {
    messages::AttachmentItem attachment;
    if (!messages::ReadAttachment(item, &attachment)) continue;
    if (!attachment.contents) {
      ++(*not_carried)["attachments the backup holds without their contents"];
      continue;
    }
    const std::u16string_view contents = *attachment.contents;
    mail.attachments.push_back(
        {ToUtf8(attachment.file_name), [contents](const MailAttachment::Receiver& receive) {
           return messages::DecodeAttachmentContents(contents, receive);
         }});
  }
  return mail;
}

}  // namespace kestrav::exporting
