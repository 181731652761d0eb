#include "manager/clock.h"

#include <ctime>
#include <fstream>

#include "host/message.h"

namespace manager {

SystemClock::SystemClock() {
  std::ifstream file("/proc/sys/kernel/random/boot_id");
  std::getline(file, bootId_);
}

std::int64_t SystemClock::uptimeSecs() const { return nv::getUptime(); }

std::int64_t SystemClock::wallSecs() const { return std::time(nullptr); }

std::string SystemClock::bootId() const { return bootId_; }

TimeAnchor anchorNow(const Clock& clock) {
  return {clock.bootId(), clock.uptimeSecs(), clock.wallSecs()};
}

std::optional<std::int64_t> uptimeShift(const TimeAnchor& stored, const TimeAnchor& now) {
  // Within one boot the uptime clock is right whatever was done to the wall clock.
  if (!now.bootId.empty() && stored.bootId == now.bootId) return 0;
  // A machine without a battery-backed clock starts in the past and cannot tell how long it was
  // off.
  if (now.wallSecs < stored.wallSecs) return std::nullopt;
  return (now.uptimeSecs - now.wallSecs) - (stored.uptimeSecs - stored.wallSecs);
}

}  // namespace manager
