#include "devicedb/call_logs.h"

#include <cstring>

#include "devicedb/texts.h"
#include "engine/status_text.h"
#include "platform/format.h"
#include "records/file_signature.h"
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

// A little-endian number from the first bytes of a byte list; missing bytes count as 0.
std::uint32_t LittleEndian(const std::vector<std::uint8_t>& bytes, std::size_t width) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < width && i < bytes.size(); ++i) number |= bytes[i] << (8 * i);
  return number;
}

// The properties of a record line: its count, its identifiers, then a value field for each
// identifier in turn. False for a line whose count or identifiers cannot be read.
bool ParseCall(records::RecordView row, std::vector<PropertyValue>* call) {
  call->clear();
  std::vector<std::uint8_t> bytes;
  if (!records::ParseByteList(row.Value(0), &bytes) || bytes.size() < 2) return false;
  const std::uint32_t count = LittleEndian(bytes, 2);
  // The count is 16-bit; a line that stops before its identifiers is not a call.
  if (row.size() < 1 + count) return false;
  std::vector<std::uint32_t> ids(count);
  for (std::uint32_t k = 0; k < count; ++k) {
    if (!records::ParseByteList(row[1 + k], &bytes) || bytes.size() < 4) return false;
    ids[k] = LittleEndian(bytes, 4);
  }
  call->reserve(count);
  for (std::uint32_t k = 0; k < count; ++k)
    call->push_back(records::ParsePropertyValue(ids[k], row.Value(1 + count + k)));
  return true;
}

// Every row after the count row holds a call, but one whose property count is 0, which the
// restore passes over as holding nothing. A row that cannot be read counts as a call lost.
bool HoldsACall(records::RecordView row) {
  std::vector<std::uint8_t> bytes;
  return !records::ParseByteList(row.Value(0), &bytes) || bytes.size() < 2 ||
         LittleEndian(bytes, 2) != 0;
}

}  // namespace

std::u16string CallLogLine(const std::vector<PropertyValue>& call, char16_t separator) {
  std::u16string line = QuotedBytesOf(static_cast<std::uint16_t>(call.size()));
  line += separator;
  for (const PropertyValue& property : call) {
    line += QuotedBytesOf(property.id);
    line += separator;
  }
  for (const PropertyValue& property : call) {
    if ((property.flags & platform::kPropertyNotFound) != 0) continue;
    line += records::PropertyValueText(property).value_or(std::u16string());
    line += separator;
  }
  line += u"\r\n";
  return line;
}

void CallLogWorker::Backup(const engine::PassContext& pass, records::CsvRecordFile& file) {
  engine::ProgressSink* sink = pass.sink;
  CeDbSession session(device_.object_store(), sink, pass.cancel);
  if (!session.Connect(PimDatabase::kCallLogs)) return;
  if (session.database != platform::kInvalidDatabaseHandle) {
    SendLine(sink, texts::kConnected);
    if (pass.Canceled()) {
      SendLine(sink, texts::kCallLogsBackupCanceled, engine::LogIcon::kError);
    } else {
      SendLine(sink, texts::kRetrievingCallLogs);
      const std::uint32_t count = RecordCount(session.store(), session.database);
      engine::PostProgress(sink, 0, count, false);
      SendLine(sink,
               engine::CountText(count, texts::kCallToBeRetrieved, texts::kCallsToBeRetrieved));
      const records::FileSignature signature = records::SignatureOf(records::SignedFile::kCallLogs);
      WriteText(file, u"\"" + ByteListText(signature) + u"\"\r\n");
      WriteText(file, QuotedBytesOf(count) + u"\r\n");
      std::vector<PropertyValue> call;
      long saved = 0;
      for (std::uint32_t index = 0; index < count && !pass.Canceled(); ++index) {
        if (session.store().ReadNext(session.database, nullptr, &call) == 0) continue;
        engine::PostProgress(sink, index, 0, false);
        WriteText(file, CallLogLine(call, pass.separator));
        SendLine(sink, platform::Format(texts::kCallSaved, saved + 1, saved));
        ++saved;
      }
      if (pass.Canceled()) {
        SendLine(sink, texts::kCallLogsBackupCanceled, engine::LogIcon::kError);
      } else if (saved > 0) {
        SendLine(sink, engine::CountText(saved, texts::kCallLogSaved, texts::kCallLogsSaved));
      }
    }
    session.Disconnect(PimDatabase::kCallLogs);
  }
  session.Unmount();
}

void CallLogWorker::Restore(const engine::PassContext& pass) {
  engine::ProgressSink* sink = pass.sink;
  tally_ = {};
  SendLine(sink, texts::kRetrievingFileRecords);
  records::CsvRecordFile file(device_, pass.separator);
  if (!file.Load(pass.record_file, false, true)) {
    SendLine(sink, file.LoadFailedText(), engine::LogIcon::kError);
    return;
  }
  std::vector<std::uint8_t> header;
  if (file.Header().size() != 1 || !records::ParseByteList(file.Header()[0], &header) ||
      !records::BeginsWithSignature(header, records::SignatureOf(records::SignedFile::kCallLogs)) ||
      pass.Canceled()) {
    SendLine(sink, texts::kInvalidFileFormat, engine::LogIcon::kError);
    return;
  }
  SendLine(sink, texts::kValidCallLogsHeader);
  SendLine(sink, texts::kRetrievingFileRecords);
  const records::RecordTable& rows = file.Records();
  std::vector<std::uint8_t> count_bytes;
  if (rows.empty() || !records::ParseByteList(rows[0].Value(0), &count_bytes) ||
      count_bytes.size() != 4) {
    SendLine(sink, texts::kInvalidFileFormat, engine::LogIcon::kError);
    return;
  }
  const std::uint32_t count = LittleEndian(count_bytes, 4);
  SendLine(sink, engine::CountText(count, texts::kRecordFoundInFile, texts::kRecordsFoundInFile));
  tally_.file_accepted = true;
  tally_.announced = count;
  for (std::size_t row = 1; row < rows.size(); ++row) {
    if (HoldsACall(rows[row])) ++tally_.records;
  }

  CeDbSession session(device_.object_store(), sink, pass.cancel);
  if (!session.Connect(PimDatabase::kCallLogs)) return;
  if (session.database != platform::kInvalidDatabaseHandle) {
    SendLine(sink, texts::kConnected);
    if (pass.mode == engine::RestoreMode::kDeleteAllFirst)
      session.DeleteAll(PimDatabase::kCallLogs);
    long stored = 0;
    if (count == 0) {
      SendLine(sink, texts::kNoRecordsFound);
    } else {
      SendLine(sink, texts::kInsertingCallLogs);
      engine::PostProgress(sink, 0, count, false);
      std::vector<PropertyValue> call;
      // Every line after the count row is a call, however many the count row announced.
      for (std::size_t j = 0; j + 1 < rows.size() && !pass.Canceled(); ++j) {
        if (!ParseCall(rows[j + 1], &call) || call.empty()) continue;
        const auto number = static_cast<long>(j);
        if (pass.mode == engine::RestoreMode::kAddOnlyNew && AlreadyExists(session, call)) {
          SendLine(sink, platform::Format(texts::kCallAlreadyExists, number + 1, number));
          engine::PostProgress(sink, static_cast<std::uint32_t>(j + 1), 0, false);
          ++tally_.restored;
          continue;
        }
        if (session.store().Write(session.database, 0, call) == 0) continue;
        SendLine(sink, platform::Format(texts::kCallInserted, number + 1, number));
        engine::PostProgress(sink, static_cast<std::uint32_t>(j + 1), 0, false);
        ++stored;
        ++tally_.restored;
      }
    }
    if (pass.Canceled()) SendLine(sink, texts::kCallLogsRestoreCanceled, engine::LogIcon::kError);
    if (stored > 0)
      SendLine(sink, engine::CountText(stored, texts::kCallLogStored, texts::kCallLogsStored));
    session.Disconnect(PimDatabase::kCallLogs);
  }
  session.Unmount();
}

bool CallLogWorker::AlreadyExists(CeDbSession& session, const std::vector<PropertyValue>& call) {
  const std::uint32_t count = RecordCount(session.store(), session.database);
  std::size_t matches = 0;
  std::vector<PropertyValue> record;
  for (std::uint32_t read = 0; read < count && !session.Canceled(); ++read) {
    // No seek first: the test reads on from wherever the last read or write left the position.
    // Past the last record every further read fails too.
    if (session.store().ReadNext(session.database, nullptr, &record) == 0) break;
    if (record.size() != call.size()) continue;
    for (const PropertyValue& property : record) {
      const std::uint16_t found = FindProperty(call, property.id);
      if (found != kPropertyAbsent && ValueEquality(property, call[found])) ++matches;
    }
    if (matches == call.size()) return true;
  }
  return false;
}

}  // namespace kestrav::devicedb
