// The parts of the sample data, one file a kind, and what they share.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device.h"
#include "profile/record_json.h"

namespace kestrav::profile {

bool FillSampleContacts(const platform::Device& device, std::uint32_t scale, std::string* error);
bool FillSampleCallLogs(const platform::Device& device, std::uint32_t scale, std::string* error);
// Linked to the contacts' phones: after the contacts.
bool FillSampleSpeedDials(const platform::Device& device, std::uint32_t scale, std::string* error);
bool FillSampleAppointments(const platform::Device& device, std::uint32_t scale,
                            std::string* error);
bool FillSampleTasks(const platform::Device& device, std::uint32_t scale, std::string* error);
bool FillSampleMessages(const platform::Device& device, std::uint32_t scale, std::string* error);

// An appointment or a task of the sample, in the form `device load` reads, with its properties
// in the order a restore writes them, so that a backup and restore of the sample dumps the same:
// the keys of `order` the item gives, in that order; the booleans, integers and dates it leaves
// out with their unset values (false, 0, no date); IsRecurring and MeetingStatus as its
// recurrence and recipients make them. Keys `order` lacks follow, for the load to refuse.
Json InRestoreOrder(const Json& item, std::span<const std::string_view> order);
// The item of a copy after the first, its subject ending with the copy's number ("Stand-up 2"),
// so that a restore that adds only new items finds each one. A message names its subject
// "subject".
Json CopyOf(Json item, std::uint32_t copy, const std::string& subject_key = "Subject");

// Values of the object model the sample appointments and tasks hold.
enum BusyStatus { kFree = 0, kTentative = 1, kBusy = 2, kOutOfOffice = 3 };
enum Importance { kLow = 0, kNormal = 1, kHigh = 2 };
inline constexpr int kPrivate = 2;                  // Sensitivity
inline constexpr int kReminderDialogAndSound = 12;  // ReminderOptions: 4 the dialog, 8 the sound
enum RecurrenceType {
  kDaily = 0,
  kWeekly = 1,
  kMonthly = 2,
  kMonthNth = 3,
  kYearly = 5,
  kYearNth = 6,
};
// The days of a DayOfWeekMask.
enum DayOfWeek {
  kSunday = 1,
  kMonday = 2,
  kTuesday = 4,
  kWednesday = 8,
  kThursday = 16,
  kFriday = 32,
  kSaturday = 64,
};

// The finaliser of SplitMix64: a bijection, so distinct inputs give distinct outputs.
std::uint64_t Mixed(std::uint64_t value);
// A message's "Msg Id": 16 bytes unique to its serial number.
std::vector<std::uint8_t> MessageId(std::uint64_t serial);

// The OLE date of a day, at a time of day.
double OleDate(int year, int month, int day, int hour = 0, int minute = 0);
// Bytes as a byte list, "0x01,0xab", in UTF-8.
std::string ByteList(std::span<const std::uint8_t> bytes);

}  // namespace kestrav::profile
