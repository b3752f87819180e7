// The device's Pocket Outlook object model, as the contacts, appointments and tasks passes use
// it: the runtime that creates the application object, the application with its default folders
// and new items, a folder's item collection, and the items with their properties, an
// appointment's recipients and an appointment's or task's recurrence.
//
// As on the device every operation answers with an HResult, negative on failure; objects are
// owned by whoever asked for them and released when dropped. A collection counts its items from
// 1 in creation order. No object is shared between threads.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/object_store.h"
#include "platform/property_value.h"

namespace kestrav::platform {

using HResult = std::int32_t;

inline constexpr HResult kSOk = 0;
inline constexpr HResult kEFail = static_cast<HResult>(0x80004005);
inline constexpr HResult kENotImplemented = static_cast<HResult>(0x80004001);
inline constexpr HResult kEInvalidArgument = static_cast<HResult>(0x80070057);

constexpr bool Failed(HResult result) {
  return result < 0;
}

// The default folders by their identifiers.
enum class OutlookFolderId : int { kCalendar = 9, kContacts = 10, kTasks = 13 };

// The item types CreateItem makes.
enum class OutlookItemType : int { kAppointment = 1, kContact = 2, kTask = 3 };

// The date the object model answers for a date that is not set (1 January 4501).
inline constexpr double kOleDateNone = 949998.0;

// The item properties the passes read and set, by their names in the object model.
enum class ItemProperty : std::uint16_t {
  // IContact texts.
  kFileAs,
  kTitle,
  kFirstName,
  kMiddleName,
  kLastName,
  kSuffix,
  kJobTitle,
  kDepartment,
  kCompanyName,
  kBusinessTelephoneNumber,
  kBusinessFaxNumber,
  kBusinessAddressStreet,
  kBusinessAddressCity,
  kBusinessAddressState,
  kBusinessAddressPostalCode,
  kBusinessAddressCountry,
  kEmail1Address,
  kMobileTelephoneNumber,
  kWebPage,
  kOfficeLocation,
  kHomeTelephoneNumber,
  kHomeAddressStreet,
  kHomeAddressCity,
  kHomeAddressState,
  kHomeAddressPostalCode,
  kHomeAddressCountry,
  kCategories,
  kOtherAddressStreet,
  kOtherAddressCity,
  kOtherAddressState,
  kOtherAddressPostalCode,
  kOtherAddressCountry,
  kPagerNumber,
  kCarTelephoneNumber,
  kHomeFaxNumber,
  kBusiness2TelephoneNumber,
  kHome2TelephoneNumber,
  kRadioTelephoneNumber,
  kEmail2Address,
  kEmail3Address,
  kAssistantName,
  kAssistantTelephoneNumber,
  kSpouse,
  kChildren,
  kBody,
  // IContact dates.
  kBirthday,
  kAnniversary,
  // IAppointment and ITask: the subject, their key text. Body and Categories above serve them
  // too.
  kSubject,
  // IAppointment and ITask texts.
  kLocation,
  kReminderSoundFile,
  // IAppointment and ITask dates.
  kStart,
  kEnd,
  kStartDate,
  kDueDate,
  kDateCompleted,
  kReminderTime,
  // IAppointment and ITask 16-bit booleans. IsRecurring follows the recurrence and cannot be
  // set.
  kAllDayEvent,
  kIsRecurring,
  kReminderSet,
  kComplete,
  kTeamTask,
  // IAppointment and ITask 32-bit integers. MeetingStatus follows the recipients (1, a meeting,
  // when there are any; 0 otherwise) and cannot be set.
  kBusyStatus,
  kDuration,
  kMeetingStatus,
  kReminderMinutesBeforeStart,
  kReminderOptions,
  kSensitivity,
  kImportance,
  // IAppointment and ITask ink notes, as bytes.
  kBodyInk,
};

// One recipient of an appointment (a meeting request's attendee).
struct Recipient {
  std::u16string name;
  std::u16string address;

  bool operator==(const Recipient&) const = default;
};

// An occurrence of a recurring item that was moved or deleted: its original start, and for a
// moved one its own start and end (OLE dates).
struct RecurrenceException {
  double original_date = 0;
  bool deleted = false;
  double start = 0;
  double end = 0;

  bool operator==(const RecurrenceException&) const = default;
};

// How an appointment or a task recurs, as the object model's RecurrencePattern holds it.
struct RecurrencePattern {
  std::int32_t recurrence_type =
      0;  // 0 daily, 1 weekly, 2 monthly, 3 month nth, 5 yearly, 6 year nth
  std::int32_t interval = 0;
  std::int32_t instance = 0;
  std::int32_t day_of_week_mask = 0;
  std::int32_t day_of_month = 0;
  std::int32_t month_of_year = 0;
  double pattern_start_date = 0;
  double pattern_end_date = 0;
  std::int32_t occurrences = 0;
  bool no_end_date = false;
  double start_time = 0;
  double end_time = 0;
  std::int32_t duration = 0;  // minutes
  std::vector<RecurrenceException> exceptions;

  bool operator==(const RecurrencePattern&) const = default;
};

class OutlookItem {
 public:
  virtual ~OutlookItem() = default;

  // Each property has one type; asking for it as another type, or setting a property that
  // cannot be set, answers kEInvalidArgument.
  // A text property; a property the item does not hold reads as the empty text.
  virtual HResult GetText(ItemProperty property, std::u16string* text) = 0;
  virtual HResult SetText(ItemProperty property, std::u16string_view text) = 0;
  // A date property as an OLE date; one the item does not hold reads as kOleDateNone.
  virtual HResult GetDate(ItemProperty property, double* ole_date) = 0;
  virtual HResult SetDate(ItemProperty property, double ole_date) = 0;
  // A 16-bit boolean property; one the item does not hold reads as false.
  virtual HResult GetBoolean(ItemProperty property, bool* value) = 0;
  virtual HResult SetBoolean(ItemProperty property, bool value) = 0;
  // A 32-bit integer property; one the item does not hold reads as 0.
  virtual HResult GetInteger(ItemProperty property, std::int32_t* value) = 0;
  virtual HResult SetInteger(ItemProperty property, std::int32_t value) = 0;
  // A binary property; one the item does not hold reads as no bytes.
  virtual HResult GetBytes(ItemProperty property, std::vector<std::uint8_t>* bytes) = 0;
  virtual HResult SetBytes(ItemProperty property, std::span<const std::uint8_t> bytes) = 0;

  // An appointment's recipients, counted from 1 in the order they were added. Other items
  // answer kEInvalidArgument.
  virtual HResult RecipientCount(int* count) = 0;
  virtual HResult GetRecipient(int index, Recipient* recipient) = 0;
  virtual HResult AddRecipient(const Recipient& recipient) = 0;
  virtual HResult RemoveAllRecipients() = 0;

  // An appointment's or task's recurrence: nothing when the item does not recur. Setting one
  // makes the item recurring, clearing it makes it single. Contacts answer kEInvalidArgument.
  virtual HResult GetRecurrence(std::optional<RecurrencePattern>* pattern) = 0;
  virtual HResult SetRecurrence(const RecurrencePattern& pattern) = 0;
  virtual HResult ClearRecurrence() = 0;

  // The item's store properties by identifier, as a record read returns them (a property the
  // item lacks comes back flagged kPropertyNotFound). Only Windows Mobile 2005 items have this
  // access; older ones answer kENotImplemented and are reached through their database record.
  virtual HResult GetProperties(const std::vector<std::uint32_t>& property_ids,
                                std::vector<PropertyValue>* properties) = 0;
  // Sets store properties on the item; they are kept with the item's next Save.
  virtual HResult SetProperties(const std::vector<PropertyValue>& properties) = 0;

  // Writes what was set since the item was fetched or last saved; a new item gets its record.
  virtual HResult Save() = 0;
  // The item's record in its database; 0 for a new item not yet saved.
  virtual ObjectId Oid() const = 0;
};

class OutlookItemCollection {
 public:
  virtual ~OutlookItemCollection() = default;

  virtual HResult Count(int* count) = 0;
  // The item at a position counted from 1.
  virtual HResult Item(int index, std::unique_ptr<OutlookItem>* item) = 0;
  // Deletes the item at a position counted from 1 from the store.
  virtual HResult Remove(int index) = 0;
  // The first position after `after` whose item's key text - a contact's file-as name, an
  // appointment's or task's subject - is exactly `text` (case counts), or 0 when none is; an
  // empty text matches nothing; `after` below 0 counts as 0. The same answer as reading the key
  // text of every item from after + 1 on, without reading them.
  virtual HResult FindKeyText(std::u16string_view text, int after, int* index) = 0;
};

class OutlookFolder {
 public:
  virtual ~OutlookFolder() = default;

  virtual HResult Items(std::unique_ptr<OutlookItemCollection>* items) = 0;
};

class OutlookApplication {
 public:
  virtual ~OutlookApplication() = default;

  virtual HResult Logon() = 0;
  virtual HResult Logoff() = 0;
  virtual HResult GetDefaultFolder(OutlookFolderId id, std::unique_ptr<OutlookFolder>* folder) = 0;
  // A new item, not in the store until it is saved.
  virtual HResult CreateItem(OutlookItemType type, std::unique_ptr<OutlookItem>* item) = 0;
};

// The object model's runtime on the thread that runs a pass: initialised once per session,
// creates the application object, uninitialised at the session's end.
class OutlookRuntime {
 public:
  virtual ~OutlookRuntime() = default;

  virtual HResult Initialize() = 0;
  virtual HResult CreateApplication(std::unique_ptr<OutlookApplication>* application) = 0;
  virtual void Uninitialize() = 0;
};

}  // namespace kestrav::platform
