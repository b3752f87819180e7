// The rows of the kind table, one file a kind, and what the rows share.
#pragma once

#include "devicedb/pim_volume.h"
#include "kinds/kinds.h"

namespace kestrav::kinds {

extern const KindRow kContactsRow;
extern const KindRow kAppointmentsRow;
extern const KindRow kTasksRow;
extern const KindRow kCallLogsRow;
extern const KindRow kSpeedDialsRow;
extern const KindRow kMessagesRow;

// "Delete All..." of a database of "\pim.vol": the number deleted with the singular or plural
// text, or nothing when the volume or the database cannot be opened.
std::optional<std::u16string> DeleteAllRecords(const platform::Device& device,
                                               devicedb::PimDatabase database,
                                               devicedb::DeletionProgress& progress,
                                               std::u16string_view deleted_one,
                                               std::u16string_view deleted_many);

// The records of a database of "\pim.vol", or nothing when the volume or the database cannot be
// opened.
std::optional<std::uint64_t> CountRecords(const platform::Device& device,
                                          std::u16string_view database);

}  // namespace kestrav::kinds
