#include "records/record_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "platform/format.h"
#include "records/record_reader.h"
#include "records/texts.h"
#include "records/unit_search.h"

namespace kestrav::records {
namespace {

static_assert(std::endian::native == std::endian::little,
              "record files are UTF-16LE and are written from memory as they stand");

// The most room a load makes for values before it sees them; past that the table grows.
constexpr std::uint64_t kMostReservedUnits = 256 * 1024 * 1024;

// The units below 64 that call for quotes, one bit each: the quote, CR, LF, ';' and ','.
constexpr std::uint64_t kQuotedUnitsBelow64 = std::uint64_t{1} << u'"' | std::uint64_t{1} << u'\r' |
                                              std::uint64_t{1} << u'\n' | std::uint64_t{1} << u';' |
                                              std::uint64_t{1} << u',';
constexpr std::size_t kShortValueUnits = 8;

bool NeedsQuotes(std::u16string_view text, char16_t separator) {
  if (text.size() >= kShortValueUnits)
    return HoldsAnyUnit(text, std::array{u'"', u'\r', u'\n', u';', u',', separator});
  // Most values are short: each unit is tested without a branch.
  bool found = false;
  for (const char16_t unit : text) {
    found |= (unit < 64 && ((kQuotedUnitsBelow64 >> (unit & 63)) & 1) != 0) || unit == separator;
  }
  return found;
}

// What one piece of a value costs the reader at `at`: its units and the units counted.
struct Piece {
  std::size_t length;
  std::uint64_t units;
};
Piece PieceAt(std::u16string_view value, std::size_t at) {
  const char16_t unit = value[at];
  const bool pair_follows =
      at + 1 < value.size() &&
      ((unit == u'\r' && value[at + 1] == u'\n') ||
       (unit >= 0xD800 && unit < 0xDC00 && value[at + 1] >= 0xDC00 && value[at + 1] < 0xE000));
  if (pair_follows) return {2, 2};
  return {1, unit == u'\r' || unit == u'\n' ? 2u : 1u};
}

}  // namespace

std::uint64_t WrittenValueUnits(std::u16string_view value, char16_t separator) {
  std::uint64_t units = NeedsQuotes(value, separator) ? 2 : 0;
  for (std::size_t at = 0; at < value.size();) {
    const Piece piece = PieceAt(value, at);
    units += piece.units;
    at += piece.length;
  }
  return units;
}

std::size_t FittingStart(std::u16string_view value, char16_t separator, std::uint64_t units) {
  // The quotes of the whole value, which a start of it may not need: never counted short.
  std::uint64_t used = NeedsQuotes(value, separator) ? 2 : 0;
  std::size_t at = 0;
  while (at < value.size()) {
    const Piece piece = PieceAt(value, at);
    if (used + piece.units > units) break;
    used += piece.units;
    at += piece.length;
  }
  return used > units ? 0 : at;
}

CsvRecordFile::CsvRecordFile(const platform::Device& device, char16_t separator, char16_t quote)
    : device_(device), separator_(separator), quote_(quote) {}

CsvRecordFile::~CsvRecordFile() {
  Close();
}

bool CsvRecordFile::Open(std::u16string_view file_name, std::uint32_t share_mode) {
  if (file_name.empty()) return false;
  Close();
  last_error_ = 0;
  write_failed_ = false;
  const platform::ErrorCode error =
      device_.files().Open(file_name, platform::kGenericRead | platform::kGenericWrite, share_mode,
                           platform::Disposition::kOpenAlways, &file_);
  if (error != platform::kErrorSuccess) {
    last_error_ = static_cast<int>(error);
    file_.reset();
    return false;
  }
  write_buffer_ = std::make_unique_for_overwrite<char[]>(kWriteBufferBytes);
  buffered_ = 0;
  static constexpr unsigned char kByteOrderMark[] = {0xFF, 0xFE};
  return WriteRaw(kByteOrderMark, sizeof kByteOrderMark) == sizeof kByteOrderMark;
}

std::size_t CsvRecordFile::WriteRaw(const void* bytes, std::size_t byte_count) {
  if (!file_) {
    last_error_ = static_cast<int>(platform::kErrorInvalidHandle);
    return 0;
  }
  return Buffer(bytes, byte_count) ? byte_count : 0;
}

bool CsvRecordFile::WriteValue(std::u16string_view text) {
  if (!file_) {
    last_error_ = static_cast<int>(platform::kErrorInvalidHandle);
    return false;
  }
  return BufferValue(text);
}

bool CsvRecordFile::BufferAcrossFlushes(const void* bytes, std::size_t byte_count) {
  const char* from = static_cast<const char*>(bytes);
  bool written = true;
  while (byte_count >= kWriteBufferBytes - buffered_) {
    const std::size_t room = kWriteBufferBytes - buffered_;
    std::memcpy(write_buffer_.get() + buffered_, from, room);
    buffered_ += room;
    from += room;
    byte_count -= room;
    written = Flush() && written;
  }
  if (byte_count != 0) std::memcpy(write_buffer_.get() + buffered_, from, byte_count);
  buffered_ += byte_count;
  return written;
}

bool CsvRecordFile::BufferValue(std::u16string_view text) {
  static constexpr char16_t kQuote = u'"';
  const bool quoted = NeedsQuotes(text, separator_);
  bool written = !quoted || Buffer(&kQuote, sizeof kQuote);
  written = Buffer(text.data(), text.size() * sizeof(char16_t)) && written;
  return (!quoted || Buffer(&kQuote, sizeof kQuote)) && written;
}

// The record goes into the buffer, which is written out each time it fills.
bool CsvRecordFile::WriteRecord(const RecordValues& values) {
  if (!file_) {
    last_error_ = static_cast<int>(platform::kErrorInvalidHandle);
    return false;
  }
  static constexpr char16_t kLineEnd[] = {u'\r', u'\n'};
  std::size_t column = 0;
  // Values are copied in as long as each, with its quotes, its separator and the line's end,
  // fits the room left; the rest of the record goes through the buffer piece by piece. Every
  // caller writes whole units, so the buffer holds whole units too.
  if (buffered_ % sizeof(char16_t) == 0) {
    char16_t* const start = reinterpret_cast<char16_t*>(write_buffer_.get() + buffered_);
    char16_t* const limit = reinterpret_cast<char16_t*>(write_buffer_.get() + kWriteBufferBytes);
    char16_t* end = start;
    for (; column < values.size(); ++column) {
      const std::optional<std::u16string>& value = values[column];
      const std::size_t size = value ? value->size() : 0;
      if (size + 5 >= static_cast<std::size_t>(limit - end)) break;
      if (column > 0) *end++ = separator_;
      if (size == 0) continue;
      const bool quoted = NeedsQuotes(*value, separator_);
      if (quoted) *end++ = u'"';
      std::memcpy(end, value->data(), size * sizeof(char16_t));
      end += size;
      if (quoted) *end++ = u'"';
    }
    if (column == values.size()) {
      *end++ = kLineEnd[0];
      *end++ = kLineEnd[1];
    }
    buffered_ += static_cast<std::size_t>(end - start) * sizeof(char16_t);
    if (column == values.size()) return true;
  }
  bool written = true;
  for (; column < values.size(); ++column) {
    if (column > 0) written = Buffer(&separator_, sizeof separator_) && written;
    const std::optional<std::u16string>& value = values[column];
    written = BufferValue(value ? std::u16string_view(*value) : std::u16string_view()) && written;
  }
  return Buffer(kLineEnd, sizeof kLineEnd) && written;
}

bool CsvRecordFile::Flush() {
  if (buffered_ == 0) return true;
  std::size_t written = 0;
  platform::ErrorCode error = file_->Write(write_buffer_.get(), buffered_, &written);
  // A write that stops short without a reason is taken as the disk being full.
  if (error == platform::kErrorSuccess && written != buffered_) error = platform::kErrorDiskFull;
  buffered_ = 0;
  if (error != platform::kErrorSuccess) {
    last_error_ = static_cast<int>(error);
    write_failed_ = true;
    return false;
  }
  return true;
}

bool CsvRecordFile::Close() {
  if (!file_) return true;
  bool closed = Flush();
  const platform::ErrorCode error = file_->Close();
  file_.reset();
  write_buffer_.reset();
  if (error != platform::kErrorSuccess && closed) {
    last_error_ = static_cast<int>(error);
    closed = false;
  }
  return closed && !write_failed_;
}

bool CsvRecordFile::Load(std::u16string_view file_name, bool header_only, bool keep_raw_rows) {
  records_.Reset(std::nullopt);
  header_.clear();
  RecordReader reader(device_, separator_, quote_);
  reader.SetTextEncoding(encoding_);
  const bool opened = reader.Open(file_name);
  header_ = reader.Header();
  if (opened && !header_only) {
    if (!keep_raw_rows) records_.Reset(header_.size());
    // The values are most of the file: room for them at once spares moving them as they grow.
    if (platform::FileAttributeData attributes;
        device_.files().GetAttributes(file_name, &attributes) == platform::kErrorSuccess) {
      const std::uint64_t units = attributes.size / (reader.Unicode() ? sizeof(char16_t) : 1);
      records_.Reserve(static_cast<std::size_t>(std::min(units, kMostReservedUnits)));
    }
    Record values;
    while (reader.Next(&values)) records_.Append(values);
  }
  last_error_ = reader.LastError();
  line_number_ = reader.LineNumber();
  return last_error_ == 0;
}

std::u16string CsvRecordFile::ErrorText(int code) const {
  return RecordErrorText(code == -1 ? last_error_ : code, line_number_);
}

bool LooksLikeText(const platform::Device& device, std::u16string_view file_name) {
  std::unique_ptr<platform::File> file;
  if (device.files().Open(file_name, platform::kGenericRead, platform::kShareRead,
                          platform::Disposition::kOpenExisting, &file) != platform::kErrorSuccess) {
    return false;
  }
  static constexpr std::size_t kSampleBytes = 64 * 1024;
  auto sample = std::make_unique_for_overwrite<char[]>(kSampleBytes);
  std::size_t held = 0;
  for (std::size_t read = 1; read > 0 && held < kSampleBytes; held += read) {
    if (file->Read(sample.get() + held, kSampleBytes - held, &read) != platform::kErrorSuccess)
      return false;
  }
  const std::string_view bytes(sample.get(), held);
  return bytes.starts_with("\xFF\xFE") || bytes.find('\0') == std::string_view::npos;
}

namespace {

// Follows bytes as UTF-8 (the well-formed sequences of the Unicode standard): no stray
// continuation byte, no lead byte without its continuations, no overlong form, no surrogate,
// nothing past U+10FFFF.
class Utf8Check {
 public:
  bool Take(unsigned char byte) {
    if (pending_ > 0) {
      if (byte < low_ || byte > high_) return false;
      --pending_;
      low_ = 0x80;
      high_ = 0xBF;
      return true;
    }
    if (byte < 0x80) return true;
    if (byte >= 0xC2 && byte <= 0xDF) {
      pending_ = 1;
    } else if (byte >= 0xE0 && byte <= 0xEF) {
      pending_ = 2;
      low_ = byte == 0xE0 ? 0xA0 : 0x80;
      high_ = byte == 0xED ? 0x9F : 0xBF;
    } else if (byte >= 0xF0 && byte <= 0xF4) {
      pending_ = 3;
      low_ = byte == 0xF0 ? 0x90 : 0x80;
      high_ = byte == 0xF4 ? 0x8F : 0xBF;
    } else {
      return false;
    }
    return true;
  }
  bool complete() const { return pending_ == 0; }

 private:
  int pending_ = 0;
  unsigned char low_ = 0x80;
  unsigned char high_ = 0xBF;
};

}  // namespace

bool ReadsAsUtf8(const platform::Device& device, std::u16string_view file_name) {
  std::unique_ptr<platform::File> file;
  if (device.files().Open(file_name, platform::kGenericRead, platform::kShareRead,
                          platform::Disposition::kOpenExisting, &file) != platform::kErrorSuccess) {
    return false;
  }
  static constexpr std::size_t kChunkBytes = 64 * 1024;
  auto chunk = std::make_unique_for_overwrite<unsigned char[]>(kChunkBytes);
  Utf8Check check;
  bool first = true;
  for (;;) {
    std::size_t read = 0;
    if (file->Read(chunk.get(), kChunkBytes, &read) != platform::kErrorSuccess) return false;
    if (read == 0) return check.complete();
    if (first && read >= 3 && chunk[0] == 0xEF && chunk[1] == 0xBB && chunk[2] == 0xBF) return true;
    first = false;
    for (std::size_t at = 0; at < read; ++at)
      if (!check.Take(chunk[at])) return false;
  }
}

std::u16string CsvRecordFile::LoadFailedText() const {
  return platform::Format(texts::kLoadFailedNothingDone, ErrorText());
}

}  // namespace kestrav::records
