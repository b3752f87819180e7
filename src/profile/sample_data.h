// The sample data of "device init --sample": realistic, deterministic content for the kinds
// this version handles, so a new profile can be backed up and restored at once.
#pragma once

#include <cstdint>
#include <string>

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

// Fills the profile's databases with `scale` times the sample. False with the reason.
bool FillSampleData(const platform::Device& device, std::uint32_t scale, std::string* error);

}  // namespace kestrav::profile
