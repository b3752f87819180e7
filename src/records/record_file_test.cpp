#include "records/record_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/format.h"
#include "platform/system_error.h"
#include "platform/test_support/temporary_device.h"
#include "records/record_reader.h"
#include "records/value_text.h"

namespace kestrav::records {
namespace {

constexpr char16_t kPath[] = u"\\Temp\\records.csc";
using testing::Utf16FileBytes;

// The rows as each reads: its width, and its values up to it.
std::vector<Record> Rows(const RecordTable& table) {
  std::vector<Record> rows;
  for (const RecordView row : table) {
    Record& copy = rows.emplace_back();
    for (std::size_t column = 0; column < row.size(); ++column) copy.push_back(row[column]);
  }
  return rows;
}

class RecordFileTest : public ::testing::Test {
 protected:
  // Writes the records through a CsvRecordFile and returns the bytes of the file.
  std::string Write(const std::vector<RecordValues>& records, char16_t separator = u';') {
    CsvRecordFile writer(device_.device(), separator);
    EXPECT_TRUE(writer.Open(kPath, 0));
    for (const RecordValues& record : records) EXPECT_TRUE(writer.WriteRecord(record));
    EXPECT_TRUE(writer.Close());
    return device_.ReadFile(kPath);
  }

  testing::TemporaryDevice device_;
  CsvRecordFile reader_{device_.device()};
};

TEST_F(RecordFileTest, WritesByteOrderMarkCrLfAndQuotesOnlyValuesThatNeedIt) {
  const std::string bytes =
      Write({{u"Name", u"Notes"},
             {u"a\"b", std::nullopt, u"", u"x;y", u"x,y", u"x|y", u"one\ntwo", u"cr\ronly",
              ByteListText(std::vector<std::uint8_t>{0x01, 0xAB}), u"Zo\u00EB \U0001F600"}},
            u'|');
  EXPECT_EQ(bytes, Utf16FileBytes(u"Name|Notes\r\n"
                                  u"\"a\"b\"|||\"x;y\"|\"x,y\"|\"x|y\"|\"one\ntwo\"|"
                                  u"\"cr\ronly\"|\"0x01,0xab\"|Zo\u00EB \U0001F600\r\n"));
}

// Short values are looked at unit by unit, longer ones eight units at a time with the last eight
// read whole: a unit that calls for quotes is found wherever it stands.
TEST_F(RecordFileTest, QuotesAreFoundAtEveryPlaceOfValuesOfEveryLength) {
  std::vector<RecordValues> records;
  std::u16string expected;
  for (std::size_t length = 1; length <= 24; ++length) {
    const std::u16string plain(length, u'b');
    for (const char16_t special : {u'"', u'\r', u'\n', u';', u',', u'|'}) {
      for (std::size_t at = 0; at < length; ++at) {
        std::u16string value(length, u'a');
        value[at] = special;
        records.push_back({value, plain});
        expected += u"\"" + value + u"\"|" + plain + u"\r\n";
      }
    }
  }
  EXPECT_EQ(Write(records, u'|'), Utf16FileBytes(expected));
}

TEST_F(RecordFileTest, OpenFailsForAnEmptyNameOrAMissingFolder) {
  CsvRecordFile writer(device_.device());
  EXPECT_FALSE(writer.Open(u"", 0));
  EXPECT_FALSE(writer.Open(u"\\Missing\\records.csc", 0));
  EXPECT_EQ(writer.LastError(), static_cast<int>(platform::kErrorPathNotFound));
}

// A full disk shows at Close even when the failing write was an earlier, buffered one.
TEST_F(RecordFileTest, CloseReportsAWriteThatFailed) {
  CsvRecordFile writer(device_.device());
  ASSERT_TRUE(writer.Open(u"/dev/full", 0));
  const RecordValues record(64, std::u16string(512, u'x'));
  for (int i = 0; i < 16; ++i) writer.WriteRecord(record);  // more than one buffer's worth
  EXPECT_FALSE(writer.Close());
  EXPECT_EQ(writer.LastError(), static_cast<int>(platform::kErrorDiskFull));
}

class RecordRoundTripTest : public RecordFileTest,
                            public ::testing::WithParamInterface<char16_t> {};

TEST_P(RecordRoundTripTest, TrickyValuesReadBackWithTheirLineBreaksAsCrLf) {
  const std::pair<std::optional<std::u16string>, std::u16string> values[] = {
      {u"a\"b", u"a\"b"},
      {u"\"quoted\"", u"\"quoted\""},
      {u"\"", u"\""},
      {u"x;y,z\t|", u"x;y,z\t|"},
      {u"", u""},
      {std::nullopt, u""},
      {u"1\r\n2", u"1\r\n2"},
      {u"1\n2", u"1\r\n2"},
      {u"1\r2", u"1\r\n2"},
      {u"\r\nedge\n", u"\r\nedge\r\n"},
      {u"a\n\rb", u"a\r\n\r\nb"},
      {u"a\r\n\r\nb", u"a\r\n\r\nb"},
      {u"Zo\u00EB \u65E5\u672C \U0001F600", u"Zo\u00EB \u65E5\u672C \U0001F600"},
      {u"last", u"last"}};
  RecordValues written;
  Record expected;
  for (const auto& [value, read_back] : values) {
    written.push_back(value);
    expected.push_back(read_back);
  }
  Write({RecordValues(written.size(), u"Column"), written, written}, GetParam());
  CsvRecordFile reader(device_.device(), GetParam());
  ASSERT_TRUE(reader.Load(kPath, false, false)) << reader.LastError();
  EXPECT_EQ(Rows(reader.Records()), (std::vector<Record>{expected, expected}));
}

INSTANTIATE_TEST_SUITE_P(Separators, RecordRoundTripTest, ::testing::Values(u';', u',', u'\t'));

TEST_F(RecordFileTest, FileWithoutByteOrderMarkIsReadInTheAnsiCodePage) {
  device_.WriteFile(kPath, "Name;Caf\xE9\nx\x81;\"\xE9t\xE9\rquoted\"\r\nlast");
  ASSERT_TRUE(reader_.Load(kPath, false, false)) << reader_.LastError();
  EXPECT_EQ(reader_.Header(), (Record{u"Name", u"Caf\u00E9"}));
  EXPECT_EQ(Rows(reader_.Records()),
            (std::vector<Record>{{u"x\u0081", u"\u00E9t\u00E9\r\nquoted"}, {u"last", u""}}));
  EXPECT_EQ(reader_.LineNumber(), 4);
}

// A file other software wrote in UTF-8, with and without its byte order mark: read as UTF-8 when
// told so, and as ever - in the device's code page, the mark part of the first name - when not.
TEST_F(RecordFileTest, AFileToldToBeUtf8ReadsAsUtf8AndPassesOverItsMark) {
  for (const std::string_view mark : {"", "\xEF\xBB\xBF"}) {
    SCOPED_TRACE(mark.size());
    device_.WriteFile(kPath, std::string(mark) + "Name;City\r\nC\xC3\xA9lia;Z\xC3\xBCrich\r\n");
    EXPECT_TRUE(ReadsAsUtf8(device_.device(), kPath));
    CsvRecordFile utf8(device_.device());
    utf8.SetTextEncoding(&platform::Utf8CodePage());
    ASSERT_TRUE(utf8.Load(kPath, false, false));
    EXPECT_EQ(utf8.Header(), (Record{u"Name", u"City"}));
    EXPECT_EQ(Rows(utf8.Records()), (std::vector<Record>{{u"C\u00E9lia", u"Z\u00FCrich"}}));
    EXPECT_EQ(utf8.LineNumber(), 2);

    ASSERT_TRUE(reader_.Load(kPath, false, false));
    EXPECT_EQ(reader_.Header()[0], mark.empty() ? u"Name" : u"\u00EF\u00BB\u00BFName");
    EXPECT_EQ(Rows(reader_.Records())[0][0], u"C\u00C3\u00A9lia");
  }
  // The byte order mark of UTF-16 comes first, whatever the file was said to be.
  device_.WriteFile(kPath, Utf16FileBytes(u"Name\r\nZo\u00EB\r\n"));
  CsvRecordFile utf16(device_.device());
  utf16.SetTextEncoding(&platform::Utf8CodePage());
  ASSERT_TRUE(utf16.Load(kPath, false, false));
  EXPECT_EQ(Rows(utf16.Records()), (std::vector<Record>{{u"Zo\u00EB"}}));
}

TEST_F(RecordFileTest, OnlyWellFormedUtf8ReadsAsUtf8) {
  const std::pair<std::string_view, bool> files[] = {
      {"plain ASCII;\r\n", true},
      {"\xF0\x9F\x98\x80 \xE4\xB8\xAD \xED\x9F\xBF \xF4\x8F\xBF\xBF", true},
      {"Zo\xEB;Lee", false},        // a Windows-1252 letter
      {"\xC0\xAF", false},          // an overlong "/"
      {"\xED\xA0\x80", false},      // a surrogate
      {"\xF4\x90\x80\x80", false},  // past U+10FFFF
      {"\xC3", false},              // cut short at the end
      {"\xFF\xFEN\0", false},       // UTF-16
  };
  for (const auto& [bytes, utf8] : files) {
    device_.WriteFile(kPath, bytes);
    EXPECT_EQ(ReadsAsUtf8(device_.device(), kPath), utf8) << bytes;
  }
  // A sequence cut by the reader's chunks is still one sequence.
  device_.WriteFile(kPath, std::string(64 * 1024 - 1, 'a') + "\xC3\xA9");
  EXPECT_TRUE(ReadsAsUtf8(device_.device(), kPath));
  EXPECT_FALSE(ReadsAsUtf8(device_.device(), u"\\Temp\\missing.csv"));
}

TEST_F(RecordFileTest, HeaderOnlyStopsAfterTheHeaderAndEachLoadStartsAfresh) {
  device_.WriteFile(kPath, Utf16FileBytes(u"A;B\r\n1;2\r\n3;\"never closed\r\n"));
  EXPECT_TRUE(reader_.Load(kPath, true, false));
  EXPECT_EQ(reader_.Header(), (Record{u"A", u"B"}));
  EXPECT_TRUE(reader_.Records().empty());

  EXPECT_FALSE(reader_.Load(kPath, false, false));
  EXPECT_EQ(reader_.Records().size(), 1u);

  device_.WriteFile(kPath, Utf16FileBytes(u"A;B\r\n"));
  EXPECT_TRUE(reader_.Load(kPath, false, false));
  EXPECT_EQ(reader_.Header(), (Record{u"A", u"B"}));
  EXPECT_TRUE(reader_.Records().empty());
}

TEST_F(RecordFileTest, RecordsAreCutOrPaddedToTheHeaderUnlessRawRowsAreKept) {
  device_.WriteFile(kPath, Utf16FileBytes(u"A;B;C\r\n1\r\n\r\n1;2;3;4\r\n1;\r\n;;x\r\n"));
  ASSERT_TRUE(reader_.Load(kPath, false, false));
  const std::vector<Record> padded = {
      {u"1", u"", u""}, {u"1", u"2", u"3"}, {u"1", u"", u""}, {u"", u"", u"x"}};
  EXPECT_EQ(Rows(reader_.Records()), padded);
  // A row compares by what it reads, whatever it stores.
  EXPECT_TRUE(std::ranges::equal(reader_.Records(), padded));
  EXPECT_NE(reader_.Records()[0], (Record{u"1", u""}));
  EXPECT_EQ(reader_.Records()[1].Value(3), u"");
  ASSERT_TRUE(reader_.Load(kPath, false, true));
  EXPECT_EQ(Rows(reader_.Records()),
            (std::vector<Record>{{u"1"}, {u"1", u"2", u"3", u"4"}, {u"1", u""}, {u"", u"", u"x"}}));
}

class BadHeaderTest : public RecordFileTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(BadHeaderTest, FailsWithBadHeader) {
  device_.WriteFile(kPath, GetParam());
  EXPECT_FALSE(reader_.Load(kPath, false, false));
  EXPECT_EQ(reader_.LastError(), kErrorCsvBadHeader);
  EXPECT_EQ(reader_.ErrorText(), u"Error (ERROR_CSV_BAD_HEADER) : Bad formatted header found.");
}

INSTANTIATE_TEST_SUITE_P(Files, BadHeaderTest,
                         ::testing::Values(std::string(), Utf16FileBytes(u""),
                                           Utf16FileBytes(u"\r\nA;B\r\n"),
                                           std::string("\r\nA;B\r\n"),
                                           Utf16FileBytes(u"\"A;B\r\n1;2\r\n")));

TEST_F(RecordFileTest, BadRecordReportsItsFirstPhysicalLineAndKeepsEarlierRecords) {
  device_.WriteFile(kPath, Utf16FileBytes(u"A;B\r\n1;\"x\r\ny\nz\"\r\n2;b\r\n\r\n"
                                          u"3;\"open\r\nrest\r\n"));
  EXPECT_FALSE(reader_.Load(kPath, false, false));
  EXPECT_EQ(reader_.LastError(), kErrorCsvBadRecord);
  EXPECT_EQ(reader_.LineNumber(), 7);
  EXPECT_EQ(reader_.ErrorText(), u"Error (ERROR_CSV_BAD_RECORD) : Bad record found at line 7.");
  EXPECT_EQ(Rows(reader_.Records()), (std::vector<Record>{{u"1", u"x\r\ny\r\nz"}, {u"2", u"b"}}));
}

TEST_F(RecordFileTest, MissingFileKeepsTheSystemError) {
  EXPECT_FALSE(reader_.Load(u"\\Temp\\missing.csc", false, false));
  EXPECT_EQ(reader_.LastError(), 2);
  EXPECT_EQ(reader_.ErrorText(), u"Error (2) : The system cannot find the file specified.");
}

TEST(WrittenValueUnits, CountEveryLineEndAsTwoAndTheQuotes) {
  EXPECT_EQ(WrittenValueUnits(u"plain", u';'), 5u);
  EXPECT_EQ(WrittenValueUnits(u"a\tb", u'\t'), 5u);
  // CR LF, a lone CR and a lone LF: two each, and the quotes.
  EXPECT_EQ(WrittenValueUnits(u"a\r\nb\rc\nd", u';'), 12u);
  EXPECT_EQ(WrittenValueUnits(u"\r\r\n\n", u';'), 8u);
  // A start never ends inside a CR LF or a surrogate pair, and keeps room for the quotes.
  EXPECT_EQ(FittingStart(u"ab\r\ncd", u';', 5), 2u);
  EXPECT_EQ(FittingStart(u"ab\r\ncd", u';', 6), 4u);
  EXPECT_EQ(FittingStart(u"a\U0001F600b", u';', 2), 1u);
  EXPECT_EQ(FittingStart(u"a\U0001F600b", u';', 3), 3u);
  EXPECT_EQ(FittingStart(u"a;b", u';', 1), 0u);
  EXPECT_EQ(FittingStart(u"abc", u';', 10), 3u);
}

// A record the writer counts as the longest the reader takes reads back whole, so a writer that
// keeps to the count never writes what a restore refuses.
TEST_F(RecordFileTest, TheLongestRecordTheCountAllowsReadsBack) {
  const std::u16string breaks = u"\r\r\n\n";
  std::u16string value = breaks;
  // The other value and its separator, and the closing CR LF.
  value.append(kMaxRecordUnits - WrittenValueUnits(breaks, u';') - 2 - 2, u'x');
  ASSERT_EQ(WrittenValueUnits(value, u';') + 2 + 2, kMaxRecordUnits);
  Write({{u"A", u"B"}, {u"1", value}});
  RecordReader reader(device_.device(), u';');
  ASSERT_TRUE(reader.Open(kPath));
  Record read;
  ASSERT_TRUE(reader.Next(&read)) << reader.LastError();
  // Each line break reads back as CR LF.
  EXPECT_EQ(read[1].size(), value.size() + 2);
  EXPECT_EQ(read[1].substr(0, 8), u"\r\n\r\n\r\nxx");
}

class LargeRecordFileTest : public RecordFileTest, public ::testing::WithParamInterface<bool> {};

// Many refills of the 256 KiB read buffer, the CR LF inside a quoted value split across the end
// of the first read, and a line longer than the buffer.
TEST_P(LargeRecordFileTest, ReadsBackExactly) {
  const bool unicode = GetParam();
  const std::size_t read_buffer_units = 256 * 1024 / (unicode ? 2 : 1);
  // "H" CR LF, then the quote: the value's CR is the last unit of the first read.
  std::vector<std::u16string> values = {u"H",
                                        std::u16string(read_buffer_units - 5, u'x') + u"\r\ntail"};
  for (int row = 0; row < 100000; ++row) {
    values.push_back(platform::Format(u"row %d of a large file", row));
    if (row == 50000) values.push_back(std::u16string(300000, u'y'));
  }
  std::u16string content;
  std::vector<RecordValues> rows;
  std::vector<Record> expected;
  for (const std::u16string& value : values) {
    content += (value.find(u'\r') == value.npos ? value : u'"' + value + u'"') + u"\r\n";
    rows.push_back({value});
    if (rows.size() > 1) expected.push_back({value});
  }
  if (unicode) {
    ASSERT_TRUE(Write(rows) == Utf16FileBytes(content));
  } else {
    device_.WriteFile(kPath, std::string(content.begin(), content.end()));
  }
  ASSERT_TRUE(reader_.Load(kPath, false, false)) << reader_.LastError();
  EXPECT_EQ(reader_.Header(), Record{u"H"});
  EXPECT_EQ(reader_.LineNumber(), static_cast<int>(values.size()) + 1);
  EXPECT_TRUE(std::ranges::equal(reader_.Records(), expected));
}

INSTANTIATE_TEST_SUITE_P(Encodings, LargeRecordFileTest, ::testing::Values(true, false),
                         [](const auto& info) { return info.param ? "Unicode" : "Ansi"; });

}  // namespace
}  // namespace kestrav::records
