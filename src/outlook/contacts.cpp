#include "outlook/contacts.h"

#include "engine/status_text.h"
#include "outlook/contact_record.h"
#include "outlook/outlook_session.h"
#include "outlook/texts.h"
#include "platform/format.h"

namespace kestrav::outlook {
namespace {

using engine::LogIcon;
using engine::RestoreMode;
using platform::Failed;
using platform::OutlookItem;
using platform::OutlookItemCollection;

void SendLine(engine::ProgressSink* sink, std::u16string_view text,
              LogIcon icon = LogIcon::kInformation) {
  engine::SendLog(sink, text, icon);
}

std::unique_ptr<OutlookItemCollection> ContactItems(OutlookSession& session) {
  return session.DefaultItems(platform::OutlookFolderId::kContacts, texts::kContactsFolderError,
                              texts::kContactsCollectionError);
}

int ItemCount(OutlookItemCollection& items) {
  int count = 0;
  return Failed(items.Count(&count)) ? 0 : count;
}

}  // namespace

void ContactsWorker::Backup(const engine::PassContext& pass, records::CsvRecordFile& file) {
  engine::ProgressSink* sink = pass.sink;
  OutlookSession session(device_.outlook(), sink);
  if (!session.Connect()) return;
  SendLine(sink, texts::kRetrievingContacts);
  if (std::unique_ptr<OutlookItemCollection> items = ContactItems(session)) {
    const int count = ItemCount(*items);
    // The range is 0..count-1, and 0..-1 for no contacts, as the bar was always given.
    engine::PostProgress(sink, 0, static_cast<std::uint32_t>(count - 1), false);
    SendLine(sink,
             engine::CountText(count, texts::kContactToBeRetrieved, texts::kContactsToBeRetrieved));
    const std::u16string header = ContactHeaderLine(pass.separator);
    file.WriteRaw(header.data(), header.size() * sizeof(char16_t));
    ContactStore store(device_);
    long saved = 0;
    for (int index = 1; index <= count && !pass.Canceled(); ++index) {
      std::unique_ptr<OutlookItem> item;
      // An item that cannot be had is passed over and not counted.
      if (!Failed(items->Item(index, &item))) {
        const records::RecordValues values = ReadContactRecord(*item, store);
        file.WriteRecord(values);
        SendLine(sink, platform::Format(texts::kContactSaved, index, *values[kNameColumn]));
        ++saved;
      }
      engine::PostProgress(sink, static_cast<std::uint32_t>(index), 0, false);
    }
    if (pass.Canceled()) {
      SendLine(sink, texts::kContactsBackupCanceled, LogIcon::kError);
    } else if (saved > 0) {
      SendLine(sink, engine::CountText(saved, texts::kContactSuccessfullySaved,
                                       texts::kContactsSuccessfullySaved));
    }
  }
  session.End();
}

void ContactsWorker::Restore(const engine::PassContext& pass) {
  engine::ProgressSink* sink = pass.sink;
  tally_ = {};
  SendLine(sink, texts::kRetrievingFileRecords);
  records::CsvRecordFile file(device_, pass.separator);
  if (!file.Load(pass.record_file, false, false)) {
    SendLine(sink, file.LoadFailedText(), LogIcon::kError);
    return;
  }
  if (!field_map && !IsContactHeader(file.Header())) {
    SendLine(sink, texts::kInvalidFileFormat, LogIcon::kError);
    return;
  }
  const records::RecordTable& rows = file.Records();
  tally_.file_accepted = true;
  tally_.records = rows.size();
  SendLine(sink, engine::CountText(static_cast<long>(rows.size()), texts::kRecordFoundInFile,
                                   texts::kRecordsFoundInFile));
  if (rows.empty()) {
    SendLine(sink, texts::kNoContactsFound);
    return;
  }
  SendLine(sink, texts::kRetrievingMappedFields);
  if (pass.Canceled()) {
    SendLine(sink, texts::kContactsRestoreCanceled, LogIcon::kError);
    return;
  }
  RestoreRecords(pass, rows, file.ColumnCount(),
                 field_map ? *field_map : DefaultFieldMap(file.Header()));
}

void ContactsWorker::RestoreRecords(const engine::PassContext& pass,
                                    const records::RecordTable& rows, std::size_t file_column_count,
                                    const ContactFieldMap& map) {
  engine::ProgressSink* sink = pass.sink;
  OutlookSession session(device_.outlook(), sink);
  if (!session.Connect()) return;
  std::unique_ptr<OutlookItemCollection> items = ContactItems(session);
  if (!items) {
    session.End();
    return;
  }
  if (pass.mode == RestoreMode::kDeleteAllFirst) {
    const int count = ItemCount(*items);
    SendLine(sink, texts::kContactsDatabaseContains +
                       engine::CountText(count, texts::kRecord, texts::kRecords));
    SendLine(sink, texts::kDeletingContacts);
    engine::PostProgress(sink, 0, static_cast<std::uint32_t>(count), false);
    for (int removed = 1; removed <= count && !pass.Canceled(); ++removed) {
      items->Remove(1);
      engine::PostProgress(sink, static_cast<std::uint32_t>(removed), 0, false);
    }
    SendLine(sink, engine::CountText(count - ItemCount(*items), texts::kContactDeleted,
                                     texts::kContactsDeleted));
  }

  SendLine(sink, texts::kInsertingContacts);
  engine::PostProgress(sink, 0, static_cast<std::uint32_t>(rows.size()), false);
  const bool look_for_existing =
      pass.mode == RestoreMode::kAddOnlyNew || pass.mode == RestoreMode::kAddNewAndUpdate;
  long inserted = 0;
  long updated = 0;
  {
    ContactStore store(device_);
    records::Record contact;  // reused: each row is mapped as its turn comes
    for (std::size_t position = 0; position < rows.size() && !pass.Canceled(); ++position) {
      MapContactRecord(rows[position], file_column_count, map, &contact);
      const std::u16string_view name = contact.Value(kNameColumn);
      const auto number = static_cast<long>(position);
      std::unique_ptr<OutlookItem> item;
      // The first contact with exactly this file-as name, in collection order; one that cannot
      // be had is passed over as the walk over the collection would.
      for (int after = 0; look_for_existing && !item && !pass.Canceled();) {
        int index = 0;
        if (Failed(items->FindKeyText(name, after, &index)) || index == 0) break;
        if (Failed(items->Item(index, &item))) item.reset();
        after = index;
      }
      if (item && pass.mode == RestoreMode::kAddOnlyNew) {
        // The one line numbered from 0.
        SendLine(sink, platform::Format(texts::kContactAlreadyExists, number, name));
        ++tally_.restored;
      } else {
        const bool found = item != nullptr;
        // A contact that cannot be created is passed over and counted nowhere.
        if (found || !Failed(session.application()->CreateItem(platform::OutlookItemType::kContact,
                                                               &item))) {
          if (!pass.Canceled() && ApplyContactRecord(contact, *item, store, device_) &&
              (!store.through_item() || !Failed(item->Save()))) {
            SendLine(sink,
                     platform::Format(found ? texts::kContactUpdated : texts::kContactInserted,
                                      number + 1, name));
            ++(found ? updated : inserted);
            ++tally_.restored;
          }
        }
      }
      item.reset();
      engine::PostProgress(sink, static_cast<std::uint32_t>(position + 1), 0, false);
    }
  }
  if (pass.Canceled()) SendLine(sink, texts::kContactsRestoreCanceled, LogIcon::kError);
  SendLine(sink, engine::CountText(inserted, texts::kContactInsertedInDatabase,
                                   texts::kContactsInsertedInDatabase));
  SendLine(sink, engine::CountText(updated, texts::kContactUpdatedInDatabase,
                                   texts::kContactsUpdatedInDatabase));
  items.reset();
  session.End();
}

std::optional<std::uint32_t> DeleteAllContacts(const platform::Device& device,
                                               devicedb::DeletionProgress& progress) {
  OutlookSession session(device.outlook(), nullptr);
  if (!session.Connect()) return std::nullopt;
  std::unique_ptr<OutlookItemCollection> items = ContactItems(session);
  if (!items) {
    session.Disconnect();
    return std::nullopt;
  }
  const int count = ItemCount(*items);
  if (count > 0) progress.Start(static_cast<std::uint32_t>(count));
  std::uint32_t deleted = 0;
  // A contact that will not go ends the deletion rather than trying it forever.
  while (ItemCount(*items) > 0 && !Failed(items->Remove(1))) progress.SetPosition(++deleted);
  progress.Finish();
  items.reset();
  session.Disconnect();
  return deleted;
}

std::u16string ContactsDeletedText(std::uint32_t deleted) {
  if (deleted == 0) return texts::kNoContactDeleted;
  return platform::Format(texts::kContactsSuccessfullyDeleted, deleted, deleted > 1 ? u"s" : u"");
}

}  // namespace kestrav::outlook
