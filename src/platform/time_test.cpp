#include "platform/time.h"

#include <gtest/gtest.h>

#include <cmath>

#include "platform/clock.h"

namespace kestrav::platform {
namespace {

constexpr FileTime kFifteenthOfMarch2007 = 128184276300000000;  // 10:20:30 UTC

TEST(Time, FileTimeAndFieldsAgree) {
  SystemTime time;
  ASSERT_TRUE(FileTimeToSystemTime(kFifteenthOfMarch2007 + 1234 * 10'000, &time));
  EXPECT_EQ(time, (SystemTime{2007, 3, 4, 15, 10, 20, 31, 234}));  // a Thursday

  FileTime file_time = 0;
  ASSERT_TRUE(SystemTimeToFileTime(SystemTime{2007, 3, 0, 15, 10, 20, 30}, &file_time));
  EXPECT_EQ(file_time, kFifteenthOfMarch2007);
  ASSERT_TRUE(SystemTimeToFileTime(SystemTime{1601, 1, 0, 1}, &file_time));
  EXPECT_EQ(file_time, 0u);
  ASSERT_TRUE(FileTimeToSystemTime(0, &time));
  EXPECT_EQ(time.day_of_week, 1);  // 1 January 1601 was a Monday
}

TEST(Time, FieldsOutOfRangeAreRefused) {
  FileTime file_time = 0;
  EXPECT_FALSE(SystemTimeToFileTime(SystemTime{2007, 13, 0, 1}, &file_time));
  EXPECT_FALSE(SystemTimeToFileTime(SystemTime{2007, 0, 0, 1}, &file_time));
  EXPECT_FALSE(SystemTimeToFileTime(SystemTime{2007, 2, 0, 29}, &file_time));
  EXPECT_TRUE(SystemTimeToFileTime(SystemTime{2008, 2, 0, 29}, &file_time));
  EXPECT_FALSE(SystemTimeToFileTime(SystemTime{1600, 12, 0, 31}, &file_time));
  EXPECT_FALSE(SystemTimeToFileTime(SystemTime{2007, 3, 0, 15, 24}, &file_time));
  SystemTime time;
  EXPECT_FALSE(FileTimeToSystemTime(0x8000000000000000ULL, &time));
}

TEST(Time, OleDatesAndFieldsAgreeWithinTheirBounds) {
  SystemTime time;
  ASSERT_TRUE(OleDateToSystemTime(39156.25, &time));
  EXPECT_EQ(time, (SystemTime{2007, 3, 4, 15, 6}));
  ASSERT_TRUE(OleDateToSystemTime(0.0, &time));
  EXPECT_EQ(time, (SystemTime{1899, 12, 6, 30}));
  // Before day 0 the fraction still counts forward from the start of the day.
  ASSERT_TRUE(OleDateToSystemTime(-1.25, &time));
  EXPECT_EQ(time, (SystemTime{1899, 12, 5, 29, 6}));
  ASSERT_TRUE(OleDateToSystemTime(401768.0, &time));
  EXPECT_EQ(time, (SystemTime{2999, 12, 2, 31}));
  // The nearest second, into the next day when it rounds up.
  ASSERT_TRUE(OleDateToSystemTime(2.0 - 0.4 / 86400, &time));
  EXPECT_EQ(time, (SystemTime{1900, 1, 1, 1}));
  ASSERT_TRUE(OleDateToSystemTime(-657434.0, &time));
  EXPECT_EQ(time.year, 100);
  EXPECT_FALSE(OleDateToSystemTime(-657435.0, &time));
  EXPECT_FALSE(OleDateToSystemTime(2958466.0, &time));
  EXPECT_FALSE(OleDateToSystemTime(std::nan(""), &time));

  double date = 0;
  ASSERT_TRUE(SystemTimeToOleDate(SystemTime{2007, 3, 0, 15, 6}, &date));
  EXPECT_EQ(date, 39156.25);
  ASSERT_TRUE(SystemTimeToOleDate(SystemTime{1899, 12, 0, 29, 6}, &date));
  EXPECT_EQ(date, -1.25);
  ASSERT_TRUE(SystemTimeToOleDate(SystemTime{4501, 1, 0, 1}, &date));
  EXPECT_EQ(date, 949998.0);  // the object model's "no date"
  EXPECT_FALSE(SystemTimeToOleDate(SystemTime{99, 12, 0, 31}, &date));
  EXPECT_FALSE(SystemTimeToOleDate(SystemTime{2007, 2, 0, 29}, &date));
  EXPECT_FALSE(SystemTimeToOleDate(SystemTime{2007, 13, 0, 1}, &date));
  for (double day : {-657434.0, -0.5, 36526.75, 2958465.0}) {
    ASSERT_TRUE(OleDateToSystemTime(day, &time));
    ASSERT_TRUE(SystemTimeToOleDate(time, &date));
    EXPECT_EQ(date, day == -0.5 ? 0.5 : day);  // -0.5 and 0.5 are the same moment
  }
}

TEST(Time, UnixTimesMeetFileTimesWithoutOverflow) {
  EXPECT_EQ(FileTimeFromUnixTime(0, 0), 116444736000000000u);
  EXPECT_EQ(FileTimeFromUnixTime(1'173'954'030, 123'456'789), 128184276301234567u);
  const UnixTime back = FileTimeToUnixTime(128184276301234567u);
  EXPECT_EQ(back.seconds, 1'173'954'030);
  EXPECT_EQ(back.nanoseconds, 123'456'700);
  // 2300-01-01, past the last time in nanoseconds a signed 64-bit number holds (2262).
  EXPECT_EQ(FileTimeFromUnixTime(10'413'792'000, 0), 220'582'656'000'000'000u);
  EXPECT_EQ(FileTimeToUnixTime(220'582'656'000'000'000u).seconds, 10'413'792'000);
  // Before 1970 the nanoseconds still count forward; before 1601 and past 30828 the ends hold.
  EXPECT_EQ(FileTimeToUnixTime(116444735999999999u).seconds, -1);
  EXPECT_EQ(FileTimeToUnixTime(116444735999999999u).nanoseconds, 999'999'900);
  EXPECT_EQ(FileTimeFromUnixTime(-11'644'473'601, 0), 0u);
  EXPECT_EQ(FileTimeFromUnixTime(INT64_MAX, 999'999'999), kLastFileTime);
  EXPECT_EQ(FileTimeFromUnixTime(INT64_MIN, 0), 0u);
  EXPECT_EQ(FileTimeToUnixTime(UINT64_MAX).seconds, FileTimeToUnixTime(kLastFileTime).seconds);
  EXPECT_EQ(ShiftFileTime(kLastFileTime - 5, 10), kLastFileTime);
  EXPECT_EQ(ShiftFileTime(5, -10), 0u);
  EXPECT_EQ(ShiftFileTime(UINT64_MAX, INT64_MIN), 0u);
}

TEST(FixedClock, LocalTimeFollowsItsOffset) {
  FixedClock clock(SystemTime{2007, 12, 0, 31, 23, 30}, 60, 500);
  EXPECT_EQ(clock.LocalTime().year, 2008);
  EXPECT_EQ(clock.LocalTime().hour, 0);
  EXPECT_EQ(clock.UtcToLocal(kFifteenthOfMarch2007), kFifteenthOfMarch2007 + 36'000'000'000);
  // A file's time from anywhere in its range converts without overflow.
  EXPECT_EQ(clock.UtcToLocal(kLastFileTime), kLastFileTime);
  EXPECT_EQ(clock.LocalToUtc(0), 0u);
  clock.AdvanceTicks(250);
  EXPECT_EQ(clock.TickCount(), 750u);
}

}  // namespace
}  // namespace kestrav::platform
