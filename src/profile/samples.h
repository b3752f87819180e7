// The parts of the sample data, one file a kind, and what they share.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "platform/device.h"

namespace kestrav::profile {

bool FillSampleContacts(const platform::Device& device, std::uint32_t scale, std::string* error);
bool FillSampleCallLogs(const platform::Device& device, std::uint32_t scale, std::string* error);
// Linked to the contacts' phones: after the contacts.
bool FillSampleSpeedDials(const platform::Device& device, std::uint32_t scale, std::string* error);

// The OLE date of a day, at a time of day.
double OleDate(int year, int month, int day, int hour = 0, int minute = 0);
// Bytes as a byte list, "0x01,0xab", in UTF-8.
std::string ByteList(std::span<const std::uint8_t> bytes);

}  // namespace kestrav::profile
