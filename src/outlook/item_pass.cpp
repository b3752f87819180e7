#include "outlook/item_pass.h"

#include "engine/status_text.h"
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

std::unique_ptr<OutlookItemCollection> FolderItems(OutlookSession& session,
                                                   const ItemKindTexts& texts) {
  return session.DefaultItems(texts.folder, texts.folder_error, texts.collection_error);
}

int ItemCount(OutlookItemCollection& items) {
  int count = 0;
  return Failed(items.Count(&count)) ? 0 : count;
}

// Empties the folder before a restore, with its lines.
void DeleteAllFirst(const engine::PassContext& pass, const ItemKindTexts& texts,
                    OutlookItemCollection& items) {
  engine::ProgressSink* sink = pass.sink;
  const int count = ItemCount(items);
  SendLine(sink,
           texts.database_contains + engine::CountText(count, texts::kRecord, texts::kRecords));
  SendLine(sink, texts.deleting);
  engine::PostProgress(sink, 0, static_cast<std::uint32_t>(count), false);
  for (int removed = 1; removed <= count && !pass.Canceled(); ++removed) {
    items.Remove(1);
    engine::PostProgress(sink, static_cast<std::uint32_t>(removed), 0, false);
  }
  SendLine(sink, engine::CountText(count - ItemCount(items), texts.deleted, texts.deleted_plural));
}

// The first item, in collection order, whose key text is the record's and which matches it; one
// that cannot be had is passed over as a walk over the collection would.
std::unique_ptr<OutlookItem> FindExisting(const engine::PassContext& pass, ItemAdapter& adapter,
                                          OutlookItemCollection& items,
                                          records::RecordView record) {
  const std::u16string_view key = adapter.KeyText(record);
  for (int after = 0; !pass.Canceled();) {
    int index = 0;
    if (Failed(items.FindKeyText(key, after, &index)) || index == 0) break;
    std::unique_ptr<OutlookItem> item;
    if (!Failed(items.Item(index, &item)) && adapter.Matches(*item, record)) return item;
    after = index;
  }
  return nullptr;
}

// Connects and restores each row under the pass's mode.
void RestoreRows(const platform::Device& device, const engine::PassContext& pass,
                 const ItemKindTexts& texts, ItemAdapter& adapter, const records::RecordTable& rows,
                 engine::RestoreTally& tally) {
  engine::ProgressSink* sink = pass.sink;
  OutlookSession session(device.outlook(), sink);
  if (!session.Connect()) return;
  std::unique_ptr<OutlookItemCollection> items = FolderItems(session, texts);
  if (!items) {
    session.End();
    return;
  }
  if (pass.mode == RestoreMode::kDeleteAllFirst) DeleteAllFirst(pass, texts, *items);

  SendLine(sink, texts.inserting);
  engine::PostProgress(sink, 0, static_cast<std::uint32_t>(rows.size()), false);
  const bool look_for_existing =
      pass.mode == RestoreMode::kAddOnlyNew || pass.mode == RestoreMode::kAddNewAndUpdate ||
      (texts.looks_in_every_mode && pass.mode != RestoreMode::kDeleteAllFirst);
  long inserted = 0;
  long updated = 0;
  adapter.BeginItems();
  for (std::size_t position = 0; position < rows.size() && !pass.Canceled(); ++position) {
    const records::RecordView record = adapter.RecordAt(rows, position);
    const std::u16string_view key = adapter.KeyText(record);
    const auto number = static_cast<long>(position);
    std::unique_ptr<OutlookItem> item;
    if (look_for_existing) item = FindExisting(pass, adapter, *items, record);
    const bool found = item != nullptr;
    if (found && pass.mode == RestoreMode::kAddOnlyNew) {
      // The one line numbered from 0.
      SendLine(sink, platform::Format(texts.already_exists, number, key));
      ++tally.restored;
      ++tally.found;
    } else if (found || !Failed(session.application()->CreateItem(texts.item_type, &item))) {
      // An item that cannot be created is passed over and counted nowhere; nothing is set once
      // the job is canceled.
      const char16_t* not_saved = found ? texts.not_updated : texts.not_inserted;
      if (!pass.Canceled() && adapter.Apply(record, *item)) {
        SendLine(sink, platform::Format(found ? texts.updated : texts.inserted, number + 1, key));
        ++(found ? updated : inserted);
        ++(found ? tally.updated : tally.inserted);
        ++tally.restored;
      } else if (!pass.Canceled() && not_saved != nullptr) {
        SendLine(sink, platform::Format(not_saved, number + 1, key));
      }
    }
    item.reset();
    engine::PostProgress(sink, static_cast<std::uint32_t>(position + 1), 0, false);
  }
  if (pass.Canceled()) SendLine(sink, texts.restore_canceled, LogIcon::kError);
  SendLine(sink, engine::CountText(inserted, texts.inserted_in_database,
                                   texts.inserted_in_database_plural));
  SendLine(sink,
           engine::CountText(updated, texts.updated_in_database, texts.updated_in_database_plural));
  items.reset();
  session.End();
}

}  // namespace

void BackupItems(const platform::Device& device, const engine::PassContext& pass,
                 records::CsvRecordFile& file, const ItemKindTexts& texts, ItemAdapter& adapter) {
  engine::ProgressSink* sink = pass.sink;
  OutlookSession session(device.outlook(), sink);
  if (!session.Connect()) return;
  SendLine(sink, texts.retrieving);
  if (std::unique_ptr<OutlookItemCollection> items = FolderItems(session, texts)) {
    const int count = ItemCount(*items);
    // The range is 0..count-1, and 0..-1 for no items, as the bar was always given.
    engine::PostProgress(sink, 0, static_cast<std::uint32_t>(count - 1), false);
    SendLine(sink, engine::CountText(count, texts.to_be_retrieved, texts.to_be_retrieved_plural));
    adapter.WriteHeader(file);
    adapter.BeginItems();
    long saved = 0;
    for (int index = 1; index <= count && !pass.Canceled(); ++index) {
      std::unique_ptr<OutlookItem> item;
      // An item that cannot be had is passed over and not counted.
      if (!Failed(items->Item(index, &item))) {
        const std::u16string key = adapter.WriteItem(*item, file);
        SendLine(sink, platform::Format(texts.saved, index, key));
        ++saved;
      }
      engine::PostProgress(sink, static_cast<std::uint32_t>(index), 0, false);
    }
    if (pass.Canceled()) {
      SendLine(sink, texts.backup_canceled, LogIcon::kError);
    } else if (saved > 0) {
      SendLine(sink,
               engine::CountText(saved, texts.successfully_saved, texts.successfully_saved_plural));
    }
  }
  session.End();
}

void RestoreItems(const platform::Device& device, const engine::PassContext& pass,
                  const ItemKindTexts& texts, ItemAdapter& adapter, engine::RestoreTally& tally) {
  engine::ProgressSink* sink = pass.sink;
  tally = {};
  SendLine(sink, texts::kRetrievingFileRecords);
  records::CsvRecordFile file(device, pass.separator);
  file.SetTextEncoding(adapter.file_encoding());
  if (!file.Load(pass.record_file, false, adapter.keep_raw_rows())) {
    tally.file_error = file.ErrorText();
    SendLine(sink, file.LoadFailedText(), LogIcon::kError);
    return;
  }
  if (!adapter.AcceptFile(file)) {
    SendLine(sink, texts::kInvalidFileFormat, LogIcon::kError);
    return;
  }
  if (texts.header_accepted != nullptr) {
    SendLine(sink, texts.header_accepted);
    SendLine(sink, texts::kRetrievingFileRecords);
  }
  const records::RecordTable& rows = file.Records();
  tally.file_accepted = true;
  tally.records = rows.size();
  SendLine(sink, engine::CountText(static_cast<long>(rows.size()), texts::kRecordFoundInFile,
                                   texts::kRecordsFoundInFile));
  if (rows.empty() && texts.empty_file_before_cancel) {
    SendLine(sink, texts.no_records);
    return;
  }
  if (texts.before_restore != nullptr) SendLine(sink, texts.before_restore);
  if (pass.Canceled()) {
    SendLine(sink, texts.restore_canceled, LogIcon::kError);
  } else if (rows.empty()) {
    SendLine(sink, texts.no_records);
  } else {
    RestoreRows(device, pass, texts, adapter, rows, tally);
  }
}

std::optional<std::uint32_t> DeleteAllItems(const platform::Device& device,
                                            const ItemKindTexts& texts,
                                            devicedb::DeletionProgress& progress) {
  OutlookSession session(device.outlook(), nullptr);
  if (!session.Connect()) return std::nullopt;
  std::unique_ptr<OutlookItemCollection> items = FolderItems(session, texts);
  if (!items) {
    session.Disconnect();
    return std::nullopt;
  }
  const int count = ItemCount(*items);
  if (count > 0) progress.Start(static_cast<std::uint32_t>(count));
  std::uint32_t deleted = 0;
  // An item that will not go ends the deletion rather than trying it forever.
  while (ItemCount(*items) > 0 && !Failed(items->Remove(1))) progress.SetPosition(++deleted);
  progress.Finish();
  items.reset();
  session.Disconnect();
  return deleted;
}

std::optional<std::uint64_t> CountItems(const platform::Device& device,
                                        const ItemKindTexts& texts) {
  OutlookSession session(device.outlook(), nullptr);
  if (!session.Connect()) return std::nullopt;
  std::optional<std::uint64_t> count;
  if (std::unique_ptr<OutlookItemCollection> items = FolderItems(session, texts))
    count = static_cast<std::uint64_t>(ItemCount(*items));
  session.Disconnect();
  return count;
}

std::u16string ItemsDeletedText(const ItemKindTexts& texts, std::uint32_t deleted) {
  if (deleted == 0) return texts.none_deleted;
  return platform::Format(texts.successfully_deleted, deleted, deleted > 1 ? u"s" : u"");
}

}  // namespace kestrav::outlook
