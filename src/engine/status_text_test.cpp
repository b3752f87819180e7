#include "engine/status_text.h"

#include <gtest/gtest.h>

namespace kestrav::engine {
namespace {

TEST(CountText, BelowTwoIsSingularZeroIncluded) {
  constexpr std::u16string_view kSingular = u" speed dial deleted from the database.";
  constexpr std::u16string_view kPlural = u" speed dials deleted from the database.";
  EXPECT_EQ(CountText(0, kSingular, kPlural), u"0 speed dial deleted from the database.");
  EXPECT_EQ(CountText(1, kSingular, kPlural), u"1 speed dial deleted from the database.");
  EXPECT_EQ(CountText(2, kSingular, kPlural), u"2 speed dials deleted from the database.");
}

TEST(ElapsedTimeText, HoursMinutesSecondsMilliseconds) {
  EXPECT_EQ(ElapsedTimeText(1000, 1000), u"00:00:00.000");
  EXPECT_EQ(ElapsedTimeText(5, 5 + 3'723'004), u"01:02:03.004");
  EXPECT_EQ(ElapsedTimeText(0, 100 * 3'600'000), u"100:00:00.000");
  // The tick count wrapped during the job.
  EXPECT_EQ(ElapsedTimeText(0xFFFFFF00u, 0x100u), u"00:00:00.512");
}

}  // namespace
}  // namespace kestrav::engine
