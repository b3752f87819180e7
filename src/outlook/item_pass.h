// The passes every Outlook item kind runs - backup, restore from file, "Delete All..." - once,
// driven by a table of the kind's texts and an adapter that knows the kind's record line.
//
// Contacts, appointments and tasks differ only in their folder, their texts, how a line is
// written and read back, and what makes an item the same as a record; the session, the loops,
// the restore modes, the existence walk, the totals and cancellation are the same for all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "devicedb/pim_volume.h"
#include "engine/kind_worker.h"
#include "platform/device.h"
#include "platform/outlook.h"
#include "records/record.h"
#include "records/record_file.h"

namespace kestrav::outlook {

// A kind's folder and texts. Texts marked "or null" are lines only some kinds post.
struct ItemKindTexts {
  platform::OutlookFolderId folder;
  platform::OutlookItemType item_type;
  const char16_t* folder_error;
  const char16_t* collection_error;

  // Backup.
  const char16_t* retrieving;
  const char16_t* to_be_retrieved;
  const char16_t* to_be_retrieved_plural;
  const char16_t* saved;  // "%d" the 1-based index, "%s" the key text
  const char16_t* backup_canceled;
  const char16_t* successfully_saved;
  const char16_t* successfully_saved_plural;

  // Restore from file: after the header was accepted, before the count (or null); after the
  // count, before the records are restored (or null); when the file holds no record.
  const char16_t* header_accepted;
  const char16_t* before_restore;
  const char16_t* no_records;
  // Whether a file without records is told before the cancel flag is looked at.
  bool empty_file_before_cancel;
  // Whether a restore looks for each record's item in every mode but delete-all-first, or only
  // when adding only new items and when updating; a found item is updated but when adding only
  // new ones.
  bool looks_in_every_mode;

  // Restore pass.
  const char16_t* database_contains;
  const char16_t* deleting;
  const char16_t* deleted;
  const char16_t* deleted_plural;
  const char16_t* inserting;
  const char16_t* already_exists;  // "%d" the 0-based position, "%s" the key text
  const char16_t* inserted;        // "%d" the 1-based position, "%s" the key text
  const char16_t* updated;
  const char16_t* not_inserted;  // a failed save, as `inserted`; or null for no line
  const char16_t* not_updated;
  const char16_t* restore_canceled;
  const char16_t* inserted_in_database;
  const char16_t* inserted_in_database_plural;
  const char16_t* updated_in_database;
  const char16_t* updated_in_database_plural;

  // "Delete All...": "%d" the count, "%s" the plural letter; and the text for none.
  const char16_t* successfully_deleted;
  const char16_t* none_deleted;
};

// What a kind adds to the shared passes: its lines and records. One adapter serves one pass.
class ItemAdapter {
 public:
  virtual ~ItemAdapter() = default;

  // Called once the header is written (backup) or the records are about to go in (restore).
  virtual void BeginItems() {}

  // Backup: the header line, then one line per item, which gives back the text its "saved"
  // line names.
  virtual void WriteHeader(records::CsvRecordFile& file) = 0;
  virtual std::u16string WriteItem(platform::OutlookItem& item, records::CsvRecordFile& file) = 0;

  // Restore: whether rows keep every field they hold (rather than the header's column count);
  // whether the loaded file is the kind's; the record of a row as its turn comes.
  virtual bool keep_raw_rows() const = 0;
  // How the file reads when it lacks the UTF-16 byte order mark; null for the device's code page.
  virtual const platform::AnsiCodePage* file_encoding() const { return nullptr; }
  virtual bool AcceptFile(const records::CsvRecordFile& file) = 0;
  virtual records::RecordView RecordAt(const records::RecordTable& rows, std::size_t position) {
    return rows[position];
  }
  // The text the store's key-text index finds candidates by, and the rest of the match on a
  // candidate.
  virtual std::u16string_view KeyText(records::RecordView record) const = 0;
  virtual bool Matches(platform::OutlookItem& item, records::RecordView record) = 0;
  // Sets the record on a new or found item and saves it; false when the save failed.
  virtual bool Apply(records::RecordView record, platform::OutlookItem& item) = 0;
};

// Writes the header and every item of the kind's folder, in collection order.
void BackupItems(const platform::Device& device, const engine::PassContext& pass,
                 records::CsvRecordFile& file, const ItemKindTexts& texts, ItemAdapter& adapter);

// Reads pass.record_file, checks it through the adapter and restores its records under
// pass.mode; fills tally.
void RestoreItems(const platform::Device& device, const engine::PassContext& pass,
                  const ItemKindTexts& texts, ItemAdapter& adapter, engine::RestoreTally& tally);

// "Delete All...": removes the first item until none is left, under the deletion dialog, with no
// status lines. The number deleted, or nothing when Outlook or the folder could not be reached.
std::optional<std::uint32_t> DeleteAllItems(const platform::Device& device,
                                            const ItemKindTexts& texts,
                                            devicedb::DeletionProgress& progress);

// The items in the kind's folder, or nothing when Outlook or the folder could not be reached.
std::optional<std::uint64_t> CountItems(const platform::Device& device, const ItemKindTexts& texts);

// The message that ends "Delete All...".
std::u16string ItemsDeletedText(const ItemKindTexts& texts, std::uint32_t deleted);

}  // namespace kestrav::outlook
