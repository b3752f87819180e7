#include "records/record_file.h"

#include <bit>
#include <cstring>

#include "platform/format.h"
#include "records/record_tokenizer.h"
#include "records/texts.h"
#include "records/unit_search.h"

namespace kestrav::records {
namespace {

static_assert(std::endian::native == std::endian::little,
              "record files are UTF-16LE and are written from memory as they stand");

constexpr std::size_t kWriteBufferBytes = 64 * 1024;
constexpr std::size_t kReadChunkBytes = 256 * 1024;
// No physical line and no record may be longer than this: a file that says otherwise is bad.
constexpr std::size_t kMaxRecordUnits = 64 * 1024 * 1024;

bool NeedsQuotes(std::u16string_view text, char16_t separator) {
  for (char16_t unit : text) {
    if (unit == u'"' || unit == u'\r' || unit == u'\n' || unit == u';' || unit == u',' ||
        unit == separator) {
      return true;
    }
  }
  return false;
}

// The physical lines of a file, read through a buffer that grows to hold the longest line.
// A CR directly followed by LF is one line end; with no line end before the end of the file,
// the rest of the file is the last line.
template <typename Unit>
class LineSource {
 public:
  enum class Result { kLine, kEnd, kTooLong, kError };

  explicit LineSource(platform::File& file)
      : file_(file),
        capacity_(kReadChunkBytes / sizeof(Unit)),
        units_(std::make_unique_for_overwrite<Unit[]>(capacity_)) {}

  // The view holds until the next call.
  Result Next(std::basic_string_view<Unit>* line) {
    std::size_t scan = begin_;
    for (;;) {
      const std::size_t available = byte_end_ / sizeof(Unit);
      scan = FindEitherUnit(std::basic_string_view<Unit>(units_.get(), available), scan, Unit('\r'),
                            Unit('\n'));
      if (scan != std::basic_string_view<Unit>::npos) {
        std::size_t line_end_length = 1;
        if (units_[scan] == Unit('\r')) {
          if (scan + 1 == available && !at_end_) {
            if (Result result = Fill(&scan); result != Result::kLine) return result;
            continue;
          }
          if (scan + 1 < available && units_[scan + 1] == Unit('\n')) line_end_length = 2;
        }
        *line = std::basic_string_view<Unit>(units_.get() + begin_, scan - begin_);
        begin_ = scan + line_end_length;
        return Result::kLine;
      }
      scan = available;
      if (at_end_) {
        if (begin_ >= available) return Result::kEnd;
        *line = std::basic_string_view<Unit>(units_.get() + begin_, available - begin_);
        begin_ = available;
        return Result::kLine;
      }
      if (Result result = Fill(&scan); result != Result::kLine) return result;
    }
  }

  platform::ErrorCode error() const { return error_; }

 private:
  // Moves the unread part to the front, grows the buffer when the line in hand fills it, and
  // reads more. *scan follows the move.
  Result Fill(std::size_t* scan) {
    if (begin_ > 0) {
      std::memmove(units_.get(), units_.get() + begin_, byte_end_ - begin_ * sizeof(Unit));
      byte_end_ -= begin_ * sizeof(Unit);
      *scan -= begin_;
      begin_ = 0;
    }
    if (byte_end_ == capacity_ * sizeof(Unit)) {
      if (capacity_ >= kMaxRecordUnits) return Result::kTooLong;
      auto larger = std::make_unique_for_overwrite<Unit[]>(capacity_ * 2);
      std::memcpy(larger.get(), units_.get(), byte_end_);
      units_ = std::move(larger);
      capacity_ *= 2;
    }
    std::size_t bytes_read = 0;
    char* target = reinterpret_cast<char*>(units_.get()) + byte_end_;
    error_ = file_.Read(target, capacity_ * sizeof(Unit) - byte_end_, &bytes_read);
    if (error_ != platform::kErrorSuccess) return Result::kError;
    if (bytes_read == 0) at_end_ = true;
    byte_end_ += bytes_read;
    return Result::kLine;
  }

  platform::File& file_;
  std::size_t capacity_;  // in units
  std::unique_ptr<Unit[]> units_;
  std::size_t begin_ = 0;     // first unread unit
  std::size_t byte_end_ = 0;  // bytes held; a last odd byte of a UTF-16 file is never a unit
  bool at_end_ = false;
  platform::ErrorCode error_ = platform::kErrorSuccess;
};

// Reads the lines of a file whose units are Unit, turning each line to UTF-16 with to_text, and
// gathers them into the header and the records.
//
// A record whose quoted value holds a line break spans several physical lines: while the
// tokenizer reports an open quoted value, the next physical line is fed to the same record, and
// the tokenizer joins the pieces with CR LF. So every value the writer can write reads back
// whole, and its line breaks come back as CR LF. An empty line outside a quoted value holds no
// record and is passed over.
struct LoadState {
  Record* header;
  RecordTable* records;
  int* line_number;
  bool header_only;
  bool keep_raw_rows;
};

template <typename Unit, typename ToText>
int LoadLines(platform::File& file, char16_t separator, char16_t quote, const LoadState& state,
              ToText to_text) {
  LineSource<Unit> source(file);
  RecordTokenizer tokenizer(separator, quote);
  Record values;
  int record_first_line = 0;
  std::size_t record_units = 0;
  bool have_header = false;
  auto failure = [&] { return have_header ? kErrorCsvBadRecord : kErrorCsvBadHeader; };

  std::basic_string_view<Unit> line;
  for (;;) {
    const auto result = source.Next(&line);
    if (result == LineSource<Unit>::Result::kEnd) break;
    if (result == LineSource<Unit>::Result::kError) return static_cast<int>(source.error());
    ++*state.line_number;
    if (!tokenizer.InQuotedValue()) {
      record_first_line = *state.line_number;
      record_units = 0;
    }
    record_units += line.size() + 2;  // a continued value gains a CR LF per line
    if (result == LineSource<Unit>::Result::kTooLong || record_units > kMaxRecordUnits) {
      *state.line_number = record_first_line;
      return failure();
    }
    if (!tokenizer.Feed(to_text(line), &values)) continue;
    if (!have_header) {
      if (values.empty()) return kErrorCsvBadHeader;
      *state.header = values;  // copied out of the reused record, so it takes only its room
      if (state.header_only) return 0;
      if (!state.keep_raw_rows) state.records->Reset(state.header->size());
      have_header = true;
    } else if (!values.empty()) {
      state.records->Append(values);
    }
    values.clear();
  }
  if (tokenizer.InQuotedValue()) {
    *state.line_number = record_first_line;
    return failure();
  }
  return have_header ? 0 : kErrorCsvBadHeader;
}

}  // namespace

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
  static constexpr unsigned char kByteOrderMark[] = {0xFF, 0xFE};
  return WriteRaw(kByteOrderMark, sizeof kByteOrderMark) == sizeof kByteOrderMark;
}

std::size_t CsvRecordFile::WriteRaw(const void* bytes, std::size_t byte_count) {
  if (!file_) {
    last_error_ = static_cast<int>(platform::kErrorInvalidHandle);
    return 0;
  }
  write_buffer_.append(static_cast<const char*>(bytes), byte_count);
  if (write_buffer_.size() >= kWriteBufferBytes && !Flush()) return 0;
  return byte_count;
}

bool CsvRecordFile::WriteValue(std::u16string_view text) {
  if (!file_) {
    last_error_ = static_cast<int>(platform::kErrorInvalidHandle);
    return false;
  }
  const std::size_t bytes = text.size() * sizeof(char16_t);
  if (!NeedsQuotes(text, separator_)) return WriteRaw(text.data(), bytes) == bytes || bytes == 0;
  static constexpr char16_t kQuote = u'"';
  return WriteRaw(&kQuote, sizeof kQuote) == sizeof kQuote &&
         (bytes == 0 || WriteRaw(text.data(), bytes) == bytes) &&
         WriteRaw(&kQuote, sizeof kQuote) == sizeof kQuote;
}

bool CsvRecordFile::WriteRecord(const RecordValues& values) {
  bool written = true;
  for (std::size_t column = 0; column < values.size(); ++column) {
    written = WriteValue(values[column].value_or(std::u16string())) && written;
    if (column + 1 < values.size()) {
      written = WriteRaw(&separator_, sizeof separator_) == sizeof separator_ && written;
    }
  }
  static constexpr char16_t kLineEnd[] = {u'\r', u'\n'};
  return WriteRaw(kLineEnd, sizeof kLineEnd) == sizeof kLineEnd && written;
}

bool CsvRecordFile::Flush() {
  if (write_buffer_.empty()) return true;
  std::size_t written = 0;
  const platform::ErrorCode error =
      file_->Write(write_buffer_.data(), write_buffer_.size(), &written);
  write_buffer_.clear();
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
  if (error != platform::kErrorSuccess && closed) {
    last_error_ = static_cast<int>(error);
    closed = false;
  }
  return closed && !write_failed_;
}

bool CsvRecordFile::Load(std::u16string_view file_name, bool header_only, bool keep_raw_rows) {
  records_.Reset(std::nullopt);
  header_.clear();
  line_number_ = 0;
  last_error_ = 0;
  std::unique_ptr<platform::File> file;
  platform::ErrorCode error = device_.files().Open(file_name, platform::kGenericRead, 0,
                                                   platform::Disposition::kOpenExisting, &file);
  if (error != platform::kErrorSuccess) {
    last_error_ = static_cast<int>(error);
    return false;
  }
  unsigned char start[2] = {};
  std::size_t start_bytes = 0;
  error = file->Read(start, sizeof start, &start_bytes);
  const bool unicode =
      error == platform::kErrorSuccess && start_bytes == 2 && start[0] == 0xFF && start[1] == 0xFE;
  if (error == platform::kErrorSuccess && !unicode) {
    error = file->Seek(0, platform::SeekOrigin::kBegin, nullptr);
  }
  if (error != platform::kErrorSuccess) {
    last_error_ = static_cast<int>(error);
    return false;
  }
  const LoadState state{&header_, &records_, &line_number_, header_only, keep_raw_rows};
  if (unicode) {
    last_error_ = LoadLines<char16_t>(*file, separator_, quote_, state,
                                      [](std::u16string_view line) { return line; });
  } else {
    const platform::AnsiCodePage& code_page = device_.code_page();
    last_error_ = LoadLines<char>(*file, separator_, quote_, state,
                                  [&](std::string_view line) { return code_page.ToWide(line); });
  }
  file->Close();
  return last_error_ == 0;
}

std::u16string CsvRecordFile::ErrorText(int code) const {
  if (code == -1) code = last_error_;
  switch (code) {
    case kErrorCsvBadHeader:
      return texts::kBadHeader;
    case kErrorCsvBadRecord:
      return platform::Format(texts::kBadRecordAtLine, line_number_);
    default:
      return platform::Format(texts::kSystemErrorPrefix, code) +
             platform::SystemErrorText(static_cast<platform::ErrorCode>(code));
  }
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

std::u16string CsvRecordFile::LoadFailedText() const {
  return platform::Format(texts::kLoadFailedNothingDone, ErrorText());
}

}  // namespace kestrav::records
