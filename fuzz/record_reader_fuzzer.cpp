// Feeds any bytes to the record file reader, with both separators and every pair of its flags.
//
// Besides running clean under the sanitizers, a load must keep its promises: rows cut or padded
// to the header unless raw rows are asked for, no rows after a header-only load, and a table
// whose values hold no quote, CR or LF must read back the same after the writer has written it.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "platform/test_support/temporary_device.h"
#include "records/record_file.h"

namespace {

using kestrav::records::CsvRecordFile;
using kestrav::records::Record;
using kestrav::records::RecordValues;

constexpr std::u16string_view kInput = u"\\Temp\\input.csc";
constexpr std::u16string_view kRewritten = u"\\Temp\\rewritten.csc";

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

// Values the writer cannot give back as they are: quotes are written as they stand, a line
// break is read back as CR LF, and a lone empty value is written as an empty line.
bool WritesBackExactly(const Record& record) {
  if (record.size() == 1 && record[0].empty()) return false;
  for (std::size_t column = 0; column < record.size(); ++column) {
    if (record[column].find_first_of(u"\"\r\n") != std::u16string_view::npos) return false;
  }
  return true;
}

RecordValues ValuesOf(const Record& record) {
  RecordValues values;
  for (std::size_t column = 0; column < record.size(); ++column) {
    values.emplace_back(std::u16string(record[column]));
  }
  return values;
}

void CheckRewriting(const kestrav::platform::Device& device, const CsvRecordFile& loaded,
                    char16_t separator) {
  if (!WritesBackExactly(loaded.Header())) return;
  for (const Record& record : loaded.Records()) {
    if (!WritesBackExactly(record)) return;
  }
  device.files().DeleteFile(kRewritten);
  CsvRecordFile writer(device, separator);
  Require(writer.Open(kRewritten, 0));
  Require(writer.WriteRecord(ValuesOf(loaded.Header())));
  for (const Record& record : loaded.Records()) Require(writer.WriteRecord(ValuesOf(record)));
  Require(writer.Close());

  CsvRecordFile reader(device, separator);
  Require(reader.Load(kRewritten, false, true));
  Require(reader.Header() == loaded.Header());
  Require(reader.Records() == loaded.Records());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static kestrav::testing::TemporaryDevice fuzz_device;
  const kestrav::platform::Device& device = fuzz_device.device();
  fuzz_device.WriteFile(kInput, std::string_view(reinterpret_cast<const char*>(data), size));
  for (const char16_t separator : {u';', u','}) {
    for (const bool header_only : {false, true}) {
      for (const bool keep_raw_rows : {false, true}) {
        CsvRecordFile file(device, separator);
        const bool loaded = file.Load(kInput, header_only, keep_raw_rows);
        Require(loaded == (file.LastError() == 0));
        Require(!file.ErrorText().empty() || loaded);
        if (header_only) Require(file.Records().empty());
        if (!keep_raw_rows) {
          for (const Record& record : file.Records()) {
            Require(record.size() == file.ColumnCount());
          }
        }
        if (loaded && !header_only && keep_raw_rows) CheckRewriting(device, file, separator);
      }
    }
  }
  return 0;
}
