// The device's message stores as JSON (docs/device-json.md), for "device dump messages" and
// "device load messages": each store by display name with its folder tree, each folder's
// messages with their subject, body, properties by readable names, recipients and attachments.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/device.h"
#include "profile/record_json.h"

namespace kestrav::profile {

// Every store in the session's order, its folders nested in hierarchy order, each folder's
// messages in contents order; attachment contents read in chunks. False with a one-line reason
// when the stores cannot be read.
bool DumpMessages(const platform::Device& device, std::string* json, std::string* error);
// Adds the messages of such a document, making the stores and the folders below the top level
// that are missing. The whole document is checked first, against the stores too: false with a
// one-line reason, and nothing written, when any part is wrong.
bool LoadMessages(const platform::Device& device, std::string_view json, std::string* error);
// The same for a document already parsed, as the sample data builds it.
bool LoadMessageDocument(const platform::Device& device, const Json& document, std::string* error);

// Bytes in base64 with padding, as attachment contents are shown.
std::string Base64Text(std::span<const std::uint8_t> bytes);

}  // namespace kestrav::profile
