// Feeds any bytes to the record file reader, with both separators and every pair of its flags.
//
// Besides running clean under the sanitizers, a load must keep its promises: each row reads as
// its raw row cut or padded to the header unless raw rows are asked for, the two loads agree on
// everything else, no rows after a header-only load, and a table whose values hold no quote, CR
// or LF must read back the same after the writer has written it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/test_support/temporary_device.h"
#include "records/record_file.h"

namespace {

using kestrav::records::CsvRecordFile;
using kestrav::records::RecordTable;
using kestrav::records::RecordValues;
using kestrav::records::RecordView;

constexpr std::u16string_view kInput = u"\\Temp\\input.csc";
constexpr std::u16string_view kRewritten = u"\\Temp\\rewritten.csc";

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

// Values the writer cannot give back as they are: quotes are written as they stand, a line
// break is read back as CR LF, and a lone empty value is written as an empty line.
bool WritesBackExactly(RecordView record) {
  if (record.size() == 1 && record[0].empty()) return false;
  for (std::size_t column = 0; column < record.size(); ++column) {
    if (record[column].find_first_of(u"\"\r\n") != std::u16string_view::npos) return false;
  }
  return true;
}

RecordValues ValuesOf(RecordView record) {
  RecordValues values;
  for (std::size_t column = 0; column < record.size(); ++column) {
    values.emplace_back(std::u16string(record[column]));
  }
  return values;
}

void CheckRewriting(const kestrav::platform::Device& device, const CsvRecordFile& loaded,
                    char16_t separator) {
  if (!WritesBackExactly(loaded.Header())) return;
  if (!std::ranges::all_of(loaded.Records(), WritesBackExactly)) return;
  device.files().DeleteFile(kRewritten);
  CsvRecordFile writer(device, separator);
  Require(writer.Open(kRewritten, 0));
  Require(writer.WriteRecord(ValuesOf(loaded.Header())));
  for (const RecordView record : loaded.Records()) Require(writer.WriteRecord(ValuesOf(record)));
  Require(writer.Close());

  CsvRecordFile reader(device, separator);
  Require(reader.Load(kRewritten, false, true));
  Require(reader.Header() == loaded.Header());
  Require(std::ranges::equal(reader.Records(), loaded.Records()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static kestrav::testing::TemporaryDevice fuzz_device;
  const kestrav::platform::Device& device = fuzz_device.device();
  fuzz_device.WriteFile(kInput, std::string_view(reinterpret_cast<const char*>(data), size));
  for (const char16_t separator : {u';', u','}) {
    for (const bool header_only : {false, true}) {
      CsvRecordFile raw(device, separator);
      CsvRecordFile padded(device, separator);
      const bool loaded = raw.Load(kInput, header_only, true);
      Require(padded.Load(kInput, header_only, false) == loaded);
      Require(loaded == (raw.LastError() == 0));
      Require(!raw.ErrorText().empty() || loaded);
      Require(padded.LastError() == raw.LastError() && padded.LineNumber() == raw.LineNumber());
      Require(padded.Header() == raw.Header());
      const RecordTable& raw_rows = raw.Records();
      const RecordTable& padded_rows = padded.Records();
      Require(padded_rows.size() == raw_rows.size());
      if (header_only) Require(raw_rows.empty());
      for (std::size_t row = 0; row < raw_rows.size(); ++row) {
        const RecordView raw_row = raw_rows[row];
        const RecordView padded_row = padded_rows[row];
        Require(padded_row.size() == padded.ColumnCount());
        // Past the raw row's end and its first padded column, the padding reads alike.
        const std::size_t compared = std::min(padded_row.size(), raw_row.size() + 1);
        for (std::size_t column = 0; column < compared; ++column) {
          Require(padded_row[column] == raw_row.Value(column));
        }
        Require(padded_row.Value(padded_row.size()).empty());
      }
      if (loaded && !header_only) CheckRewriting(device, raw, separator);
    }
  }
  return 0;
}
