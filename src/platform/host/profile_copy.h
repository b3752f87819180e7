// A copy of a device profile for a job that must change nothing: its identity, its registry and
// its stores, copied through SQLite's online backup by connections that write nothing, so that
// the profile's files stay byte for byte as they were and a job writing to it meanwhile is
// neither blocked for long nor seen half done. The copy has the profile's empty folders ("\Temp",
// "\Storage Card", ...) but none of its other files.
#pragma once

#include <filesystem>
#include <string>

namespace kestrav::platform::host {

// Copies the profile into `copy`, an empty folder. False with a one-line reason.
bool CopyProfileForDryRun(const std::filesystem::path& profile, const std::filesystem::path& copy,
                          std::string* error);

}  // namespace kestrav::platform::host
