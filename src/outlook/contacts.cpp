#include "outlook/contacts.h"

#include "outlook/contact_record.h"
#include "outlook/decoded_items.h"
#include "outlook/item_pass.h"
#include "outlook/texts.h"

namespace kestrav::outlook {
namespace {

using platform::OutlookItem;

constexpr ItemKindTexts kContactTexts = {
    .folder = platform::OutlookFolderId::kContacts,
    .item_type = platform::OutlookItemType::kContact,
    .folder_error = texts::kContactsFolderError,
    .collection_error = texts::kContactsCollectionError,
    .retrieving = texts::kRetrievingContacts,
    .to_be_retrieved = texts::kContactToBeRetrieved,
    .to_be_retrieved_plural = texts::kContactsToBeRetrieved,
    .saved = texts::kContactSaved,
    .backup_canceled = texts::kContactsBackupCanceled,
    .successfully_saved = texts::kContactSuccessfullySaved,
    .successfully_saved_plural = texts::kContactsSuccessfullySaved,
    .header_accepted = nullptr,
    .before_restore = texts::kRetrievingMappedFields,
    .no_records = texts::kNoContactsFound,
    .empty_file_before_cancel = true,
    .looks_in_every_mode = false,
    .database_contains = texts::kContactsDatabaseContains,
    .deleting = texts::kDeletingContacts,
    .deleted = texts::kContactDeleted,
    .deleted_plural = texts::kContactsDeleted,
    .inserting = texts::kInsertingContacts,
    .already_exists = texts::kContactAlreadyExists,
    .inserted = texts::kContactInserted,
    .updated = texts::kContactUpdated,
    // A contact that cannot be saved is passed over without a line.
    .not_inserted = nullptr,
    .not_updated = nullptr,
    .restore_canceled = texts::kContactsRestoreCanceled,
    .inserted_in_database = texts::kContactInsertedInDatabase,
    .inserted_in_database_plural = texts::kContactsInsertedInDatabase,
    .updated_in_database = texts::kContactUpdatedInDatabase,
    .updated_in_database_plural = texts::kContactsUpdatedInDatabase,
    .successfully_deleted = texts::kContactsSuccessfullyDeleted,
    .none_deleted = texts::kNoContactDeleted,
};

// A contact is one line of sixty columns; its file-as name alone makes it the same as a record.
class ContactAdapter : public ItemAdapter {
 public:
  ContactAdapter(const platform::Device& device, char16_t separator,
                 const std::optional<ContactFieldMap>& field_map,
                 const platform::AnsiCodePage* file_encoding)
      : device_(device),
        separator_(separator),
        field_map_(field_map),
        file_encoding_(file_encoding) {}

  // The store properties' database is opened once per pass, when the items begin.
  void BeginItems() override { store_.emplace(device_); }

  void WriteHeader(records::CsvRecordFile& file) override {
    const std::u16string header = ContactHeaderLine(separator_);
    file.WriteRaw(header.data(), header.size() * sizeof(char16_t));
  }

  std::u16string WriteItem(OutlookItem& item, records::CsvRecordFile& file) override {
    const records::RecordValues values = ReadContactRecord(item, *store_);
    file.WriteRecord(values);
    return *values[kNameColumn];
  }

  bool keep_raw_rows() const override { return false; }
  const platform::AnsiCodePage* file_encoding() const override { return file_encoding_; }

  // Without a map the file must be a contacts backup, whose columns each feed themselves.
  bool AcceptFile(const records::CsvRecordFile& file) override {
    if (!field_map_ && !IsContactHeader(file.Header())) return false;
    map_ = field_map_ ? *field_map_ : DefaultFieldMap(file.Header());
    file_column_count_ = file.ColumnCount();
    return true;
  }

  // Each row is mapped to the sixty contact columns as its turn comes, into one reused record.
  records::RecordView RecordAt(const records::RecordTable& rows, std::size_t position) override {
    MapContactRecord(rows[position], file_column_count_, map_, &contact_);
    decoded_ = DecodeContact(contact_, device_.code_page());
    return contact_;
  }

  std::u16string_view KeyText(records::RecordView record) const override {
    return record.Value(kNameColumn);
  }

  bool Matches(OutlookItem&, records::RecordView) override { return true; }

  // A contact without a Name is never found, so it is always a new one.
  bool Apply(records::RecordView, OutlookItem& item) override {
    const bool saved = ApplyContactRecord(decoded_, item, *store_, device_) &&
                       (!store_->through_item() || !platform::Failed(item.Save()));
    if (saved && decoded_.name().empty()) ++added_without_name_;
    return saved;
  }

  std::uint64_t added_without_name() const { return added_without_name_; }

 private:
  const platform::Device& device_;
  char16_t separator_;
  const std::optional<ContactFieldMap>& field_map_;
  const platform::AnsiCodePage* file_encoding_;
  std::optional<ContactStore> store_;
  std::uint64_t added_without_name_ = 0;
  ContactFieldMap map_{};
  std::size_t file_column_count_ = 0;
  records::Record contact_;
  DecodedContact decoded_;
};

}  // namespace

void ContactsWorker::Backup(const engine::PassContext& pass, records::CsvRecordFile& file) {
  ContactAdapter adapter(device_, pass.separator, field_map, file_encoding);
  BackupItems(device_, pass, file, kContactTexts, adapter);
}

void ContactsWorker::Restore(const engine::PassContext& pass) {
  ContactAdapter adapter(device_, pass.separator, field_map, file_encoding);
  RestoreItems(device_, pass, kContactTexts, adapter, tally_);
  added_without_name_ = adapter.added_without_name();
}

std::optional<std::uint32_t> DeleteAllContacts(const platform::Device& device,
                                               devicedb::DeletionProgress& progress) {
  return DeleteAllItems(device, kContactTexts, progress);
}

std::u16string ContactsDeletedText(std::uint32_t deleted) {
  return ItemsDeletedText(kContactTexts, deleted);
}

std::optional<std::uint64_t> CountContacts(const platform::Device& device) {
  return CountItems(device, kContactTexts);
}

}  // namespace kestrav::outlook
