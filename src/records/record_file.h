// CsvRecordFile: the writer and the reader of a record file.
//
// On disk: UTF-16LE with the byte order mark FF FE, one record per line ending in CR LF, a
// header line of column names first, one separator character between columns. A value holding a
// quote, CR, LF, ";", "," or the separator is written between quotes, with its own quotes left
// as they are. A file without the byte order mark is read in the device's ANSI code page.
//
// As the device's calls do, operations answer with success and keep the last error: a system
// error code, or kErrorCsvBadHeader / kErrorCsvBadRecord from Load.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device.h"
#include "records/record.h"

namespace kestrav::records {

inline constexpr int kErrorCsvBadHeader = -1000;
inline constexpr int kErrorCsvBadRecord = -1001;

// One record as written: an absent value is written as an empty one.
using RecordValues = std::vector<std::optional<std::u16string>>;

class CsvRecordFile {
 public:
  // separator: written between columns and looked for when reading; quote: the reader's quote.
  explicit CsvRecordFile(const platform::Device& device, char16_t separator = u';',
                         char16_t quote = u'"');
  ~CsvRecordFile();
  CsvRecordFile(const CsvRecordFile&) = delete;
  CsvRecordFile& operator=(const CsvRecordFile&) = delete;

  char16_t separator() const { return separator_; }

  // --- Writing ---

  // Opens the file for reading and writing with the given share mode (0 to 3), creating it when
  // it does not exist, and writes the byte order mark at its start. An existing file is not
  // truncated: callers start from a file that does not exist.
  bool Open(std::u16string_view file_name, std::uint32_t share_mode);
  // Writes bytes as they are; returns the number written (0 on failure).
  std::size_t WriteRaw(const void* bytes, std::size_t byte_count);
  // Writes one value, between quotes when the quoting rule asks for them.
  bool WriteValue(std::u16string_view text);
  // Writes the values with the separator between them and CR LF after the last.
  bool WriteRecord(const RecordValues& values);
  // Writes what is still buffered and closes the file; false when any write since Open failed,
  // the last error telling why.
  bool Close();

  // --- Reading ---

  // How a file without the UTF-16 byte order mark reads (RecordReader::SetTextEncoding).
  void SetTextEncoding(const platform::AnsiCodePage* encoding) { encoding_ = encoding; }

  // Reads the whole file: the header, then (unless header_only) every record. Unless
  // keep_raw_rows, each record reads as the header's column count: cut to it, or padded with
  // empty values. Records read before a failing line stay in Records().
  bool Load(std::u16string_view file_name, bool header_only, bool keep_raw_rows);
  const Record& Header() const { return header_; }
  std::size_t ColumnCount() const { return header_.size(); }
  const RecordTable& Records() const { return records_; }
  // After Load: the number of the last line read, or of the failing record's first line. The
  // header is line 1.
  int LineNumber() const { return line_number_; }

  int LastError() const { return last_error_; }
  // The text of an error code; -1 takes the last error.
  std::u16string ErrorText(int code = -1) const;
  // The line a restore posts when Load failed: the error text, then "Nothing done." with no
  // blank between ("...header found.Nothing done.").
  std::u16string LoadFailedText() const;

 private:
  static constexpr std::size_t kWriteBufferBytes = 256 * 1024;

  // Copies bytes into the buffer, writing it out each time it fills; false when a write failed.
  bool Buffer(const void* bytes, std::size_t byte_count) {
    // Most pieces fit the room left: they are only copied.
    if (byte_count < kWriteBufferBytes - buffered_) {
      if (byte_count != 0) std::memcpy(write_buffer_.get() + buffered_, bytes, byte_count);
      buffered_ += byte_count;
      return true;
    }
    return BufferAcrossFlushes(bytes, byte_count);
  }
  bool BufferAcrossFlushes(const void* bytes, std::size_t byte_count);
  // Writes out what the buffer holds; false when the write failed.
  bool Flush();
  // Puts a value into the buffer, quoted where it must be; false when a write failed.
  bool BufferValue(std::u16string_view text);

  const platform::Device& device_;
  char16_t separator_;
  char16_t quote_;
  const platform::AnsiCodePage* encoding_ = nullptr;
  int last_error_ = 0;

  std::unique_ptr<platform::File> file_;
  std::unique_ptr<char[]> write_buffer_;  // kWriteBufferBytes while a file is open
  std::size_t buffered_ = 0;
  bool write_failed_ = false;

  Record header_;
  RecordTable records_;
  int line_number_ = 0;
};

// The length of a value once written, as the reader counts it against kMaxRecordUnits: its units,
// its quotes when it takes them, and one more for each lone CR or LF, since the reader counts
// every line end - CR LF, or a CR or an LF alone - as two units. A record counts its values, a
// separator between each two, and the CR LF after the last.
std::uint64_t WrittenValueUnits(std::u16string_view value, char16_t separator);
// The length of the longest start of a value that counts at most `units` once written, cut
// neither inside a CR LF nor inside a surrogate pair.
std::size_t FittingStart(std::u16string_view value, char16_t separator, std::uint64_t units);

// Whether a file reads as the text of a record file: it begins with the byte order mark FF FE, or
// its first 64 KiB hold no NUL byte (an archive, a picture or a program does). False when it
// cannot be read.
bool LooksLikeText(const platform::Device& device, std::u16string_view file_name);

// Whether a file that lacks the UTF-16 byte order mark is UTF-8 text: it begins with the UTF-8
// byte order mark, or every byte of it belongs to a well-formed UTF-8 sequence. False when it
// cannot be read.
bool ReadsAsUtf8(const platform::Device& device, std::u16string_view file_name);

}  // namespace kestrav::records
