// RecordReader: the records of a record file one at a time, so that a file of any length is read
// in the memory of its longest record.
//
// The file's encoding, line ends, quoting and limits are those of CsvRecordFile::Load, which reads
// through it; a record comes back as the file holds it, neither cut nor padded to the header.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/device.h"
#include "records/record.h"

namespace kestrav::records {

// No physical line and no record may be longer than this many UTF-16 units: a file that says
// otherwise is bad.
inline constexpr std::size_t kMaxRecordUnits = 64 * 1024 * 1024;

class RecordReader {
 public:
  RecordReader(const platform::Device& device, char16_t separator, char16_t quote = u'"');
  ~RecordReader();
  RecordReader(const RecordReader&) = delete;
  RecordReader& operator=(const RecordReader&) = delete;

  // Reads a file without the UTF-16 byte order mark in `encoding` rather than the device's code
  // page, and passes over a UTF-8 byte order mark when the encoding is UTF-8: for a file other
  // software wrote. Null goes back to the device's code page, as for every record file.
  void SetTextEncoding(const platform::AnsiCodePage* encoding) { encoding_ = encoding; }

  // Opens the file and reads its header. False with the last error: a system error code, or
  // kErrorCsvBadHeader.
  bool Open(std::u16string_view file_name);
  const Record& Header() const { return header_; }
  // Whether the file began with the UTF-16 byte order mark.
  bool Unicode() const { return unicode_; }

  // Reads the next record into *values. False at the end of the file (the last error 0) and on a
  // failure (a system error code, or kErrorCsvBadRecord with LineNumber() at the record's first
  // line); the file is closed then.
  bool Next(Record* values);

  int LastError() const { return last_error_; }
  // The number of the last line read; the header is line 1.
  int LineNumber() const { return line_number_; }
  // The text of an error code; -1 takes the last error.
  std::u16string ErrorText(int code = -1) const;

  // The lines of an open file, whatever its encoding.
  class Lines;

 private:
  const platform::Device& device_;
  char16_t separator_;
  char16_t quote_;
  const platform::AnsiCodePage* encoding_ = nullptr;
  std::unique_ptr<platform::File> file_;
  std::unique_ptr<Lines> lines_;
  Record header_;
  int last_error_ = 0;
  int line_number_ = 0;
  bool unicode_ = false;
};

// The text of a record file's error code; a bad record names its line.
std::u16string RecordErrorText(int code, int line_number);

}  // namespace kestrav::records
