#include "devicedb/pim_record_worker.h"

#include <cstring>

#include "devicedb/texts.h"
#include "engine/status_text.h"
#include "platform/format.h"
#include "records/value_text.h"

namespace kestrav::devicedb {
namespace {

using platform::PropertyValue;
using records::ByteListText;

void SendLine(engine::ProgressSink* sink, std::u16string_view text,
              engine::LogIcon icon = engine::LogIcon::kInformation) {
  engine::SendLog(sink, text, icon);
}

template <typename Number>
std::u16string QuotedBytesOf(Number number) {
  std::uint8_t bytes[sizeof number];
  std::memcpy(bytes, &number, sizeof number);  // little-endian, as the device wrote it
  return u"\"" + ByteListText(bytes) + u"\"";
}

bool WriteText(records::CsvRecordFile& file, const std::u16string& text) {
  const std::size_t size = text.size() * sizeof(char16_t);
  return file.WriteRaw(text.data(), size) == size;
}

}  // namespace

bool DecodePimRecord(records::RecordView row, std::vector<PropertyValue>* record) {
  record->clear();
  std::vector<std::uint8_t> bytes;
  if (!records::ParseByteList(row.Value(0), &bytes) || bytes.size() < 2) return false;
  const std::uint32_t count = LittleEndian(bytes, 2);
  // The count is 16-bit; a line that stops before its identifiers holds no record.
  if (row.size() < 1 + count) return false;
  std::vector<std::uint32_t> ids(count);
  for (std::uint32_t k = 0; k < count; ++k) {
    if (!records::ParseByteList(row[1 + k], &bytes) || bytes.size() < 4) return false;
    ids[k] = LittleEndian(bytes, 4);
  }
  record->reserve(count);
  for (std::uint32_t k = 0; k < count; ++k)
    record->push_back(records::ParsePropertyValue(ids[k], row.Value(1 + count + k)));
  return true;
}

bool HoldsARecord(records::RecordView row) {
  std::vector<std::uint8_t> bytes;
  return !records::ParseByteList(row.Value(0), &bytes) || bytes.size() < 2 ||
         LittleEndian(bytes, 2) != 0;
}

const AcceptedSignature* AcceptedHeader(const records::Record& header,
                                        std::span<const AcceptedSignature> accepted) {
  std::vector<std::uint8_t> bytes;
  if (header.size() != 1 || !records::ParseByteList(header[0], &bytes)) return nullptr;
  for (const AcceptedSignature& signature : accepted) {
    if (records::BeginsWithSignature(bytes, signature.signature)) return &signature;
  }
  return nullptr;
}

std::optional<std::uint32_t> StatedRecordCount(records::RecordView count_row) {
  std::vector<std::uint8_t> bytes;
  if (!records::ParseByteList(count_row.Value(0), &bytes) || bytes.size() != 4) return std::nullopt;
  return LittleEndian(bytes, 4);
}

std::uint32_t LittleEndian(std::span<const std::uint8_t> bytes, std::size_t width) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < width && i < bytes.size(); ++i) number |= bytes[i] << (8 * i);
  return number;
}

std::u16string PimRecordWorker::RecordLine(CeDbSession& session,
                                           const std::vector<PropertyValue>& record,
                                           char16_t separator) {
  std::u16string line = QuotedBytesOf(static_cast<std::uint16_t>(record.size()));
  line += separator;
  for (const PropertyValue& property : record) {
    line += QuotedBytesOf(property.id);
    line += separator;
  }
  for (const PropertyValue& property : record) {
    if ((property.flags & platform::kPropertyNotFound) != 0) continue;
    line += records::PropertyValueText(property).value_or(std::u16string());
    AppendLinkedText(session, property, &line);
    line += separator;
  }
  line += u"\r\n";
  return line;
}

void PimRecordWorker::Backup(const engine::PassContext& pass, records::CsvRecordFile& file) {
  const PimRecordTexts& texts = kind_.texts;
  engine::ProgressSink* sink = pass.sink;
  CeDbSession session(device_.object_store(), sink, pass.cancel);
  if (!session.Connect(kind_.database)) return;
  if (CanBackUp(session)) {
    SendLine(sink, texts::kConnected);
    if (pass.Canceled()) {
      SendLine(sink, texts.backup_canceled, engine::LogIcon::kError);
    } else {
      SendLine(sink, texts.retrieving);
      const std::uint32_t count = RecordCount(session.store(), session.database);
      engine::PostProgress(sink, 0, count, false);
      SendLine(sink, engine::CountText(count, texts.to_be_retrieved, texts.to_be_retrieved_plural));
      WriteText(file, u"\"" + ByteListText(kind_.written_signature) + u"\"\r\n");
      WriteText(file, QuotedBytesOf(count) + u"\r\n");
      std::vector<PropertyValue> record;
      long saved = 0;
      for (std::uint32_t index = 0; index < count && !pass.Canceled(); ++index) {
        if (session.store().ReadNext(session.database, nullptr, &record) == 0) continue;
        engine::PostProgress(sink, index, 0, false);
        WriteText(file, RecordLine(session, record, pass.separator));
        SendLine(sink, platform::Format(texts.saved, saved + 1, saved));
        ++saved;
      }
      if (pass.Canceled()) {
        SendLine(sink, texts.backup_canceled, engine::LogIcon::kError);
      } else if (saved > 0) {
        SendLine(sink, engine::CountText(saved, texts.saved_total, texts.saved_total_plural));
      }
    }
    session.Disconnect(kind_.database);
  }
  session.Unmount();
}

void PimRecordWorker::Restore(const engine::PassContext& pass) {
  const PimRecordTexts& texts = kind_.texts;
  engine::ProgressSink* sink = pass.sink;
  tally_ = {};
  SendLine(sink, texts::kRetrievingFileRecords);
  records::CsvRecordFile file(device_, pass.separator);
  if (!file.Load(pass.record_file, false, true)) {
    tally_.file_error = file.ErrorText();
    SendLine(sink, file.LoadFailedText(), engine::LogIcon::kError);
    return;
  }
  const AcceptedSignature* signature = AcceptedHeader(file.Header(), kind_.accepted_signatures);
  if (signature == nullptr || pass.Canceled()) {
    SendLine(sink, texts::kInvalidFileFormat, engine::LogIcon::kError);
    return;
  }
  SendLine(sink, signature->valid_header);
  SendLine(sink, texts::kRetrievingFileRecords);
  const records::RecordTable& rows = file.Records();
  const std::optional<std::uint32_t> stated =
      rows.empty() ? std::nullopt : StatedRecordCount(rows[0]);
  if (!stated) {
    SendLine(sink, texts::kInvalidFileFormat, engine::LogIcon::kError);
    return;
  }
  const std::uint32_t count = *stated;
  SendLine(sink, engine::CountText(count, texts::kRecordFoundInFile, texts::kRecordsFoundInFile));
  tally_.file_accepted = true;
  tally_.announced = count;
  for (std::size_t row = 1; row < rows.size(); ++row) {
    if (HoldsARecord(rows[row])) ++tally_.records;
  }

  CeDbSession session(device_.object_store(), sink, pass.cancel);
  if (!session.Connect(kind_.database)) return;
  if (session.database != platform::kInvalidDatabaseHandle) {
    SendLine(sink, texts::kConnected);
    if (pass.mode == engine::RestoreMode::kDeleteAllFirst) session.DeleteAll(kind_.database);
    long stored = 0;
    if (count == 0) {
      SendLine(sink, texts::kNoRecordsFound);
    } else {
      SendLine(sink, texts.inserting);
      engine::PostProgress(sink, 0, count, false);
      std::vector<PropertyValue> record;
      // Every line after the count row is a record, however many the count row announced.
      for (std::size_t j = 0; j + 1 < rows.size() && !pass.Canceled(); ++j) {
        if (!DecodePimRecord(rows[j + 1], &record) || record.empty()) continue;
        PrepareRecord(session, signature->file_version, &record);
        const auto number = static_cast<long>(j);
        if (pass.mode == engine::RestoreMode::kAddOnlyNew && AlreadyExists(session, record)) {
          SendLine(sink, platform::Format(texts.already_exists, number + 1, number));
          engine::PostProgress(sink, static_cast<std::uint32_t>(j + 1), 0, false);
          ++tally_.restored;
          ++tally_.found;
          continue;
        }
        if (Insert(session, record) == 0) continue;
        SendLine(sink, platform::Format(texts.inserted, number + 1, number));
        engine::PostProgress(sink, static_cast<std::uint32_t>(j + 1), 0, false);
        ++stored;
        ++tally_.restored;
        ++tally_.inserted;
      }
    }
    if (pass.Canceled()) SendLine(sink, texts.restore_canceled, engine::LogIcon::kError);
    if (stored > 0) SendLine(sink, engine::CountText(stored, texts.stored, texts.stored_plural));
    session.Disconnect(kind_.database);
  }
  session.Unmount();
}

bool PimRecordWorker::AlreadyExists(CeDbSession& session,
                                    const std::vector<PropertyValue>& record) {
  const std::uint32_t count = RecordCount(session.store(), session.database);
  std::size_t matches = 0;
  std::vector<PropertyValue> stored;
  for (std::uint32_t read = 0; read < count && !session.Canceled(); ++read) {
    // No seek first: the test reads on from wherever the last read or write left the position.
    // Past the last record every further read fails too.
    if (session.store().ReadNext(session.database, nullptr, &stored) == 0) break;
    if (stored.size() != record.size()) continue;
    for (const PropertyValue& property : stored) {
      const std::uint16_t found = FindProperty(record, property.id);
      if (found != kPropertyAbsent && SameValue(property, record[found])) ++matches;
    }
    if (matches == record.size()) return true;
  }
  return false;
}

bool PimRecordWorker::CanBackUp(const CeDbSession& session) const {
  return session.database != platform::kInvalidDatabaseHandle;
}

void PimRecordWorker::AppendLinkedText(CeDbSession&, const PropertyValue&, std::u16string*) {}

void PimRecordWorker::PrepareRecord(CeDbSession&, int, std::vector<PropertyValue>*) {}

bool PimRecordWorker::SameValue(const PropertyValue& database_value,
                                const PropertyValue& file_value) const {
  return ValueEquality(database_value, file_value);
}

platform::ObjectId PimRecordWorker::Insert(CeDbSession& session,
                                           const std::vector<PropertyValue>& record) {
  return session.store().Write(session.database, 0, record);
}

}  // namespace kestrav::devicedb
