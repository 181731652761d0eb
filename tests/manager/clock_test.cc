// Moments of one boot on the clock of another.

#include "manager/clock.h"

#include <gtest/gtest.h>

namespace {

using manager::TimeAnchor;
using manager::uptimeShift;

TEST(UptimeShift, IsNothingWithinOneBoot) {
  EXPECT_EQ(uptimeShift({"a", 100, 5000}, {"a", 900, 5800}), 0);
  EXPECT_EQ(uptimeShift({"a", 100, 5000}, {"a", 900, 10}), 0) << "whatever the wall clock says";
}

TEST(UptimeShift, PutsMomentsOfAnEarlierBootBeforeThisOne) {
  // 10000 s of uptime at the wall's 50000; now 20 s after a boot at the wall's 50120.
  const auto shift = uptimeShift({"a", 10000, 50000}, {"b", 20, 50120});
  ASSERT_TRUE(shift);
  EXPECT_EQ(10000 + *shift, 20 - 120);
  EXPECT_EQ(10120 + *shift, 20);
}

TEST(UptimeShift, IsUnknownWhenTheWallClockWentBack) {
  EXPECT_EQ(uptimeShift({"a", 10000, 50000}, {"b", 20, 49999}), std::nullopt);
  EXPECT_EQ(uptimeShift({"", 10000, 50000}, {"", 10, 40}), std::nullopt);
}

TEST(UptimeShift, GoesByTheWallClockWhereTheSystemNamesNoBoot) {
  EXPECT_EQ(uptimeShift({"", 100, 5000}, {"", 160, 5060}), 0);
}

TEST(SystemClock, RunsOnTheProtocolsUptime) {
  const manager::SystemClock clock;
  EXPECT_GT(clock.uptimeSecs(), 0);
  EXPECT_GT(clock.wallSecs(), 1700000000);
  EXPECT_EQ(clock.bootId(), manager::SystemClock().bootId());
}

}  // namespace
