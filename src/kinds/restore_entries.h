// What a file handed to a restore holds, as the window lists it before the user chooses.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/restore_pass.h"
#include "platform/device.h"

namespace kestrav::kinds {

// The restore entries of a file: one per archive member of a kind's extension, in its place in
// the archive, or the record file itself; each with the mode kDeleteAllFirst, the page's first
// choice. An archive whose directory cannot be read is refused as invalid or corrupt, a file
// that is neither an archive nor a record file as of an invalid format.
std::optional<engine::RestoreRefusal> RestoreEntriesOf(const platform::Device& device,
                                                       const std::u16string& file,
                                                       std::vector<engine::RestoreEntry>* entries);

// The kinds of the entries, each once, in the order they first come.
std::vector<engine::ItemKind> KindsOf(const std::vector<engine::RestoreEntry>& entries);

}  // namespace kestrav::kinds
