// Contacts: the device's contacts folder to a ".csc" record file and back, and the deletion of
// every contact.
//
// A restore reads the file through a contact field map. Without one the file must be a contacts
// backup (its header the sixty column names), and every column feeds itself; with one, any
// separated file with a header line can be imported.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "devicedb/pim_volume.h"
#include "engine/kind_worker.h"
#include "outlook/contact_field_map.h"
#include "platform/device.h"
#include "records/record.h"

namespace kestrav::outlook {

class ContactsWorker : public engine::KindWorker {
 public:
  explicit ContactsWorker(const platform::Device& device) : device_(device) {}

  // Every contact of the contacts folder, in collection order, after the header line.
  void Backup(const engine::PassContext& pass, records::CsvRecordFile& file) override;
  // Reads the record file with the separator, builds the contact records through field_map and
  // restores them under the mode: kDeleteAllFirst empties the folder first, kAddOnlyNew passes over
  // contacts whose file-as name is already there, kAddNewAndUpdate updates them, and
  // kAllowDuplicates inserts every record.
  void Restore(const engine::PassContext& pass) override;

  // The map an import reads the file through; none for a restore of a contacts backup.
  std::optional<ContactFieldMap> field_map;
  // How an imported file reads when it lacks the UTF-16 byte order mark; null for the device's
  // code page, as a contacts backup is read.
  const platform::AnsiCodePage* file_encoding = nullptr;

  // After Restore: the contacts it added with an empty Name, which no later restore finds, so
  // that each adds them again.
  std::uint64_t added_without_name() const { return added_without_name_; }

 private:
  const platform::Device& device_;
  std::uint64_t added_without_name_ = 0;
};

// "Delete All..." contacts: removes the first contact until none is left, under the deletion
// dialog, with no status lines. The number deleted, or nothing when Outlook or the contacts
// folder could not be reached.
std::optional<std::uint32_t> DeleteAllContacts(const platform::Device& device,
                                               devicedb::DeletionProgress& progress);

// The message that ends "Delete All..." contacts.
std::u16string ContactsDeletedText(std::uint32_t deleted);

// The contacts on the device, or nothing when Outlook or the folder could not be reached.
std::optional<std::uint64_t> CountContacts(const platform::Device& device);

}  // namespace kestrav::outlook
