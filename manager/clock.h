// The manager's clocks. Session times are seconds of the uptime clock, which starts again with each
// boot; the wall clock dates what has to outlive a boot.

#ifndef MANAGER_CLOCK_H_
#define MANAGER_CLOCK_H_

#include <cstdint>
#include <optional>
#include <string>

namespace manager {

// Any thread.
class Clock {
 public:
  virtual ~Clock() = default;

  // Seconds since the system started, the clock of the protocol's time fields.
  virtual std::int64_t uptimeSecs() const = 0;
  // Seconds since 1970-01-01 UTC; may be set, backwards too.
  virtual std::int64_t wallSecs() const = 0;
  // Names the boot that the uptime clock belongs to; empty when the system does not tell.
  virtual std::string bootId() const = 0;
};

class SystemClock : public Clock {
 public:
  SystemClock();
  std::int64_t uptimeSecs() const override;
  std::int64_t wallSecs() const override;
  std::string bootId() const override;

 private:
  std::string bootId_;
};

// One moment on both clocks, as the store keeps it.
struct TimeAnchor {
  std::string bootId;
  std::int64_t uptimeSecs = 0;
  std::int64_t wallSecs = 0;
};

TimeAnchor anchorNow(const Clock& clock);

// How many seconds to add to an uptime noted in the time of `stored` to get the same moment on the
// uptime clock of `now`; 0 within one boot. The result of an addition may be negative: a moment
// before this boot. Nothing when it cannot be told: another boot, and a wall clock that is behind
// the stored one.
std::optional<std::int64_t> uptimeShift(const TimeAnchor& stored, const TimeAnchor& now);

}  // namespace manager

#endif  // MANAGER_CLOCK_H_
