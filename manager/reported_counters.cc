#include "manager/reported_counters.h"

#include <utility>

namespace manager {

void ReportedCounters::admit(const Session& session) {
  const std::lock_guard lock(mutex_);
  // A session kept over a restart goes on from its last report.
  if (session.counters != Counters{}) {
    reported_[session.address] = session.counters;
  } else {
    reported_.erase(session.address);
  }
}

void ReportedCounters::dismiss(std::uint32_t address) {
  const std::lock_guard lock(mutex_);
  reported_.erase(address);
}

// Nothing here can block a client; its state reaches it through the pages alone.
void ReportedCounters::stateChanged(std::uint32_t, portal::ClientState) {}

std::optional<Counters> ReportedCounters::counters(std::uint32_t address) const {
  const std::lock_guard lock(mutex_);
  const auto found = reported_.find(address);
  return found == reported_.end() ? std::nullopt : std::optional(found->second);
}

void ReportedCounters::report(std::uint32_t address, const Counters& counters) {
  const std::lock_guard lock(mutex_);
  counted_.push_back(address);
  reported_[address] = counters;
}

std::vector<std::uint32_t> ReportedCounters::takeCounted() {
  const std::lock_guard lock(mutex_);
  return std::exchange(counted_, {});
}

}  // namespace manager
