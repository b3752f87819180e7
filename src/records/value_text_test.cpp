#include "records/value_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/text.h"
#include "records/file_signature.h"

namespace kestrav::records {
namespace {

using platform::PropertyType;
using platform::PropertyValue;
using Bytes = std::vector<std::uint8_t>;

// A value of the given type with one field set.
template <typename Field, typename Content>
PropertyValue Value(PropertyType type, Field PropertyValue::*field, Content content) {
  PropertyValue value;
  value.id = platform::MakePropertyId(0x4001, type);
  value.*field = std::move(content);
  return value;
}

PropertyValue Integer(PropertyType type, std::int64_t integer) {
  return Value(type, &PropertyValue::integer, integer);
}

PropertyValue Block(PropertyType type, Bytes bytes) {
  return Value(type, &PropertyValue::bytes, std::move(bytes));
}

TEST(PropertyValueText, EachTypeCode) {
  const Bytes bytes = {0x01, 0xAB, 0x00};
  const std::pair<PropertyValue, std::optional<std::u16string>> cases[] = {
      {Integer(PropertyType::kInt16, -2), u"-2"},
      {Integer(PropertyType::kInt16, 0x18000), u"-32768"},
      {Integer(PropertyType::kUInt16, 0x12345), u"9029"},
      {Integer(PropertyType::kUInt16, -1), u"65535"},
      {Integer(PropertyType::kInt32, -2147483648LL), u"-2147483648"},
      {Integer(PropertyType::kUInt32, 0xFFFFFFFF), u"4294967295"},
      {Integer(PropertyType::kBool, 1), u"1"},
      {Integer(PropertyType::kAutoInt32, -5), u"-5"},
      {Value(PropertyType::kDouble, &PropertyValue::real, 1.5), u"1.500000"},
      {Value(PropertyType::kString, &PropertyValue::text, u"Zo\u00EB;\U0001F600"),
       u"Zo\u00EB;\U0001F600"},
      {Value(PropertyType::kFileTime, &PropertyValue::file_time, 0x0123456789ABCDEF),
       u"0xef,0xcd,0xab,0x89,0x67,0x45,0x23,0x01"},
      {Block(PropertyType::kBlob, bytes), u"0x01,0xab,0x00"},
      {Block(PropertyType::kBlob, {}), u""},
      {Block(PropertyType::kStream, bytes), u"0x01,0xab,0x00"},
      {Block(PropertyType::kRecordId, bytes), u"0x01,0xab,0x00"},
      {Block(PropertyType::kAutoInt64, bytes), u"0x01,0xab,0x00"},
      {Integer(static_cast<PropertyType>(4), 1), std::nullopt}};
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(PropertyValueText(value), text) << "type " << (value.id & 0xFFFF);
  }
}

TEST(MessageStoreText, UInt64AndLocalDate) {
  EXPECT_EQ(UInt64Text(18446744073709551615ULL), u"18446744073709551615");
  const platform::FixedClock clock(platform::SystemTime{}, 60);
  // Thursday 15 March 2007, 23:30:59.999 UTC: an hour later it is the next day.
  const platform::SystemTime utc{2007, 3, 4, 15, 23, 30, 59, 999};
  platform::FileTime file_time = 0;
  ASSERT_TRUE(platform::SystemTimeToFileTime(utc, &file_time));
  EXPECT_EQ(LocalDateText(clock, file_time), u"2007,03,16,00,30,59");
}

TEST(ValueTextReadBack, ByteListsAndValuesAsTheDeviceConversionsReadThem) {
  std::vector<std::uint8_t> bytes;
  EXPECT_TRUE(ParseByteList(u"0x01,0xab,0x00", &bytes));
  EXPECT_EQ(bytes, (std::vector<std::uint8_t>{0x01, 0xab, 0x00}));
  EXPECT_TRUE(ParseByteList(u"", &bytes));
  EXPECT_TRUE(bytes.empty());
  for (const std::u16string_view bad :
       {u"0x100", u"0x01,", u",0x01", u"0xg1", u"0x", u"0x01;0x02"}) {
    EXPECT_FALSE(ParseByteList(bad, &bytes)) << platform::ToUtf8(bad);
    EXPECT_TRUE(bytes.empty());
  }
  // The contacts reader takes what the strict one refuses.
  EXPECT_EQ(ParseLenientByteList(u"0x01,ab,0X1ff,,zz, 0x7"),
            (std::vector<std::uint8_t>{0x01, 0xab, 0xff, 0x00, 0x07}));
  EXPECT_TRUE(ParseLenientByteList(u"").empty());

  using platform::MakePropertyId;
  auto parse = [](PropertyType type, std::u16string_view text) {
    return ParsePropertyValue(MakePropertyId(1, type), text);
  };
  EXPECT_EQ(parse(PropertyType::kInt16, u"-2").integer, -2);
  EXPECT_EQ(parse(PropertyType::kInt16, u"70000").integer, 70000 - 65536);  // the low 16 bits
  EXPECT_EQ(parse(PropertyType::kInt32, u" 12abc").integer, 12);
  EXPECT_EQ(parse(PropertyType::kInt32, u"99999999999").integer, 2147483647);
  EXPECT_EQ(parse(PropertyType::kUInt32, u"-1").integer, 4294967295);
  EXPECT_EQ(parse(PropertyType::kUInt32, u"x").integer, 0);
  EXPECT_EQ(parse(PropertyType::kDouble, u"1.500000").real, 1.5);
  EXPECT_EQ(parse(PropertyType::kString, u"a;\"b").text, u"a;\"b");
  EXPECT_EQ(parse(PropertyType::kFileTime, u"0x01,0x02").file_time, 0x0201u);
  EXPECT_EQ(parse(PropertyType::kBlob, u"0xff").bytes, std::vector<std::uint8_t>{0xff});
  // Every value text reads back as the value it came from.
  const PropertyValue block = Block(PropertyType::kStream, {0x00, 0x7f});
  EXPECT_EQ(ParsePropertyValue(block.id, *PropertyValueText(block)), block);
}

// Each kind's signature bytes are pinned by the tests of the kind that writes them.
TEST(FileSignature, AHeaderMayGoOnPastItsSignature) {
  const FileSignature calls = SignatureOf(SignedFile::kCallLogs);
  std::vector<std::uint8_t> longer(calls.begin(), calls.end());
  longer.push_back(0);
  EXPECT_TRUE(BeginsWithSignature(longer, calls));
  EXPECT_FALSE(BeginsWithSignature(longer, SignatureOf(SignedFile::kAppointments)));
  EXPECT_FALSE(BeginsWithSignature(std::span(longer).first(19), calls));
}

}  // namespace
}  // namespace kestrav::records
