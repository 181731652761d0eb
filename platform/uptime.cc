#include <time.h>

#include "host/message.h"

namespace nv {

// CLOCK_BOOTTIME has been there since Linux 2.6.39 and clock_gettime(2) has no other way to fail.
std::uint32_t getUptime() {
  timespec now = {};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<std::uint32_t>(now.tv_sec);
}

}  // namespace nv
