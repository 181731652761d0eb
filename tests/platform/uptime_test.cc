#include <gtest/gtest.h>
#include <time.h>

#include "host/message.h"

namespace {

std::uint32_t bootSeconds() {
  timespec now = {};
  EXPECT_EQ(clock_gettime(CLOCK_BOOTTIME, &now), 0);
  return static_cast<std::uint32_t>(now.tv_sec);
}

TEST(Uptime, IsTheSecondsSinceTheSystemStarted) {
  const std::uint32_t before = bootSeconds();
  const std::uint32_t uptime = nv::getUptime();
  const std::uint32_t after = bootSeconds();
  EXPECT_LE(uptime - before, after - before);
}

}  // namespace
