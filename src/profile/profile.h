// The device-profile tools: where a profile is, the data a profile can be dumped to and loaded
// from as JSON (by kind), and the sample data of a new profile. The stores themselves are the
// host stand-ins of platform/host.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include "platform/device.h"

namespace kestrav::profile {

// The profile folder: the one chosen (a --device option), else $KESTRAV_DEVICE, else
// $XDG_DATA_HOME/kestrav/device (~/.local/share/kestrav/device).
std::filesystem::path ProfileFolder(std::string_view chosen);

// What "device dump" and "device load" take besides a database's own name.
struct DataKind {
  std::string_view word;         // "contacts"
  std::string_view description;  // "the contacts by property name"
  bool (*dump)(const platform::Device& device, std::string* json, std::string* error);
  bool (*load)(const platform::Device& device, std::string_view json, std::string* error);
};
std::span<const DataKind> DataKinds();
// A word of DataKinds(), or a database of "\pim.vol" by its name or its short word ("calllogs",
// "speeddials"): its JSON, or false with a one-line reason.
bool DumpData(const platform::Device& device, std::string_view name, std::string* json,
              std::string* error);
bool LoadData(const platform::Device& device, std::string_view name, std::string_view json,
              std::string* error);

}  // namespace kestrav::profile
