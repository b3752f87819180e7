// The sample data of "device init --sample": realistic, deterministic content for the kinds
// this version handles, so a new profile can be backed up and restored at once.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/device.h"

namespace kestrav::profile {

// The calls and the contacts of the sample, a scale unit.
inline constexpr std::uint32_t kSampleCallsPerScale = 40;
inline constexpr std::uint32_t kSampleContactsPerScale = 25;
// The speed dials linked to contacts' phones, a scale unit; each unit adds two more that are not.
inline constexpr std::uint32_t kSampleLinkedDialsPerScale = 6;

// The appointments and the tasks of the sample, a scale unit. A third of the appointments recur.
inline constexpr std::uint32_t kSampleAppointmentsPerScale = 30;
inline constexpr std::uint32_t kSampleTasksPerScale = 15;

// The messages of the sample, a scale unit, by store and folder path; the other folders stay
// empty. Text messages in "SMS", e-mails in "Mail" and "ActiveSync", and below "Mail"'s Inbox
// the user's folders. The first unit alone holds an attachment of kSampleLargeAttachmentBytes,
// so that a large scale stays small.
struct SampleMessageFolder {
  std::string_view store;
  std::string_view path;  // "Inbox/Projects/2026"
  std::uint32_t messages_per_scale;
};
inline constexpr SampleMessageFolder kSampleMessageFolders[] = {
    {"SMS", "Inbox", 6},
    {"SMS", "Sent Items", 5},
    {"Mail", "Inbox", 5},
    {"Mail", "Inbox/Projects", 2},
    {"Mail", "Inbox/Projects/2026", 2},
    {"Mail", "Inbox/Projects/Later", 0},
    {"Mail", "Sent Items", 3},
    {"Mail", "Drafts", 1},
    {"Mail", "Deleted Items", 1},
    {"ActiveSync", "Inbox", 4},
    {"ActiveSync", "Sent Items", 2},
};
inline constexpr std::uint32_t kSampleLargeAttachmentBytes = 5 * 1024 * 1024;

// Fills the profile's databases and message stores with `scale` times the sample. False with the
// reason.
bool FillSampleData(const platform::Device& device, std::uint32_t scale, std::string* error);

}  // namespace kestrav::profile
