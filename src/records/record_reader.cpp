#include "records/record_reader.h"

#include <bit>
#include <cstring>

#include "platform/format.h"
#include "records/record_file.h"
#include "records/record_tokenizer.h"
#include "records/texts.h"
#include "records/unit_search.h"

namespace kestrav::records {
namespace {

constexpr std::size_t kReadChunkBytes = 256 * 1024;

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

}  // namespace

// The physical lines of the file as UTF-16 text: a Unicode file's as they are, an ANSI file's
// converted from the device's code page.
class RecordReader::Lines {
 public:
  enum class Result { kLine, kEnd, kTooLong, kError };
  virtual ~Lines() = default;
  // The view holds until the next call.
  virtual Result Next(std::u16string_view* line) = 0;
  virtual platform::ErrorCode error() const = 0;
};

namespace {

template <typename Unit, typename ToText>
class UnitLines : public RecordReader::Lines {
 public:
  UnitLines(platform::File& file, ToText to_text) : source_(file), to_text_(to_text) {}

  Result Next(std::u16string_view* line) override {
    std::basic_string_view<Unit> units;
    switch (source_.Next(&units)) {
      case LineSource<Unit>::Result::kEnd:
        return Result::kEnd;
      case LineSource<Unit>::Result::kError:
        return Result::kError;
      case LineSource<Unit>::Result::kTooLong:
        return Result::kTooLong;
      case LineSource<Unit>::Result::kLine:
        break;
    }
    if constexpr (std::is_same_v<Unit, char16_t>) {
      *line = units;
    } else {
      converted_ = to_text_(units);
      *line = converted_;
    }
    return Result::kLine;
  }
  platform::ErrorCode error() const override { return source_.error(); }

 private:
  LineSource<Unit> source_;
  ToText to_text_;
  std::u16string converted_;
};

template <typename Unit, typename ToText>
std::unique_ptr<RecordReader::Lines> MakeLines(platform::File& file, ToText to_text) {
  return std::make_unique<UnitLines<Unit, ToText>>(file, to_text);
}

// Gathers the physical lines of one record: while the tokenizer reports an open quoted value,
// the next physical line is fed to the same record, and the tokenizer joins the pieces with
// CR LF. So every value the writer can write reads back whole, and its line breaks come back as
// CR LF. An empty line outside a quoted value holds no record and is passed over (but is no
// header). Returns 0 with
// a record, 1 at the end of the file, or the error (`bad` for a malformed record).
int ReadRecord(RecordReader::Lines& lines, RecordTokenizer& tokenizer, int bad, int* line_number,
               Record* values) {
  using Result = RecordReader::Lines::Result;
  values->clear();
  int first_line = 0;
  std::size_t units = 0;
  std::u16string_view line;
  for (;;) {
    const Result result = lines.Next(&line);
    if (result == Result::kEnd) {
      if (!tokenizer.InQuotedValue()) return 1;
      *line_number = first_line;
      return bad;
    }
    if (result == Result::kError) return static_cast<int>(lines.error());
    ++*line_number;
    if (!tokenizer.InQuotedValue()) {
      first_line = *line_number;
      units = 0;
    }
    units += line.size() + 2;  // a continued value gains a CR LF per line
    if (result == Result::kTooLong || units > kMaxRecordUnits) {
      *line_number = first_line;
      return bad;
    }
    if (!tokenizer.Feed(line, values)) continue;
    if (!values->empty()) return 0;
    if (bad == kErrorCsvBadHeader) return bad;  // a header must name its columns
  }
}

}  // namespace

RecordReader::RecordReader(const platform::Device& device, char16_t separator, char16_t quote)
    : device_(device), separator_(separator), quote_(quote) {}

RecordReader::~RecordReader() = default;

bool RecordReader::Open(std::u16string_view file_name) {
  lines_.reset();
  file_.reset();
  header_.clear();
  line_number_ = 0;
  last_error_ = 0;
  unicode_ = false;
  platform::ErrorCode error = device_.files().Open(file_name, platform::kGenericRead, 0,
                                                   platform::Disposition::kOpenExisting, &file_);
  unsigned char start[2] = {};
  std::size_t start_bytes = 0;
  if (error == platform::kErrorSuccess) error = file_->Read(start, sizeof start, &start_bytes);
  const bool unicode =
      error == platform::kErrorSuccess && start_bytes == 2 && start[0] == 0xFF && start[1] == 0xFE;
  // A UTF-8 file may begin with its own byte order mark, which is no part of the first name.
  bool utf8_mark = false;
  if (error == platform::kErrorSuccess && !unicode && encoding_ != nullptr &&
      encoding_->Number() == platform::kUtf8CodePage && start_bytes == 2 && start[0] == 0xEF &&
      start[1] == 0xBB) {
    unsigned char third = 0;
    std::size_t third_bytes = 0;
    error = file_->Read(&third, 1, &third_bytes);
    utf8_mark = third_bytes == 1 && third == 0xBF;
  }
  if (error == platform::kErrorSuccess && !unicode && !utf8_mark) {
    error = file_->Seek(0, platform::SeekOrigin::kBegin, nullptr);
  }
  if (error != platform::kErrorSuccess) {
    last_error_ = static_cast<int>(error);
    file_.reset();
    return false;
  }
  unicode_ = unicode;
  if (unicode) {
    lines_ = MakeLines<char16_t>(*file_, [](std::u16string_view line) { return line; });
  } else {
    const platform::AnsiCodePage& code_page =
        encoding_ != nullptr ? *encoding_ : device_.code_page();
    lines_ = MakeLines<char>(
        *file_, [&code_page](std::string_view line) { return code_page.ToWide(line); });
  }
  RecordTokenizer tokenizer(separator_, quote_);
  const int result = ReadRecord(*lines_, tokenizer, kErrorCsvBadHeader, &line_number_, &header_);
  if (result == 0) return true;
  last_error_ = result == 1 ? kErrorCsvBadHeader : result;
  header_.clear();
  lines_.reset();
  file_.reset();
  return false;
}

bool RecordReader::Next(Record* values) {
  values->clear();
  if (!lines_) return false;
  RecordTokenizer tokenizer(separator_, quote_);
  const int result = ReadRecord(*lines_, tokenizer, kErrorCsvBadRecord, &line_number_, values);
  if (result == 0) return true;
  last_error_ = result == 1 ? 0 : result;
  values->clear();
  lines_.reset();
  file_->Close();
  file_.reset();
  return false;
}

std::u16string RecordReader::ErrorText(int code) const {
  return RecordErrorText(code == -1 ? last_error_ : code, line_number_);
}

std::u16string RecordErrorText(int code, int line_number) {
  switch (code) {
    case kErrorCsvBadHeader:
      return texts::kBadHeader;
    case kErrorCsvBadRecord:
      return platform::Format(texts::kBadRecordAtLine, line_number);
    default:
      return platform::Format(texts::kSystemErrorPrefix, code) +
             platform::SystemErrorText(static_cast<platform::ErrorCode>(code));
  }
}

}  // namespace kestrav::records
