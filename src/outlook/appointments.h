// Appointments: the device's calendar to an ".csa" record file and back, and the deletion of
// every appointment.
//
// The file opens with the appointment signature; each line is one appointment, its subject
// through the value writer and its other properties in alphabetical order, then its recipients,
// its recurrence block and its recurrence exceptions (docs/outlook-items.md).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "devicedb/pim_volume.h"
#include "engine/kind_worker.h"
#include "platform/device.h"

namespace kestrav::outlook {

class AppointmentsWorker : public engine::KindWorker {
 public:
  explicit AppointmentsWorker(const platform::Device& device) : device_(device) {}

  // Every appointment of the calendar, in collection order, after the signature line.
  void Backup(const engine::PassContext& pass, records::CsvRecordFile& file) override;
  // Restores the record file under the mode: kDeleteAllFirst empties the calendar first,
  // kAddOnlyNew passes over appointments already there (same subject, start and end) and
  // kAddNewAndUpdate updates them.
  void Restore(const engine::PassContext& pass) override;

 private:
  const platform::Device& device_;
};

// "Delete All..." appointments: removes the first appointment until none is left, under the
// deletion dialog, with no status lines. The number deleted, or nothing when Outlook or the
// calendar could not be reached.
std::optional<std::uint32_t> DeleteAllAppointments(const platform::Device& device,
                                                   devicedb::DeletionProgress& progress);

// The message that ends "Delete All..." appointments.
std::u16string AppointmentsDeletedText(std::uint32_t deleted);

// The appointments on the device, or nothing when Outlook or the folder could not be reached.
std::optional<std::uint64_t> CountAppointments(const platform::Device& device);

}  // namespace kestrav::outlook
