#include "manager/reported_counters.h"

namespace manager {

void ReportedCounters::admit(const Session& session) {
  const std::lock_guard lock(mutex_);
  auto& counters = reported_[session.address];
  counters.reset();
  // A session kept over a restart goes on from its last report.
  if (session.counters != Counters{}) counters = session.counters;
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
  return found == reported_.end() ? std::nullopt : found->second;
}

void ReportedCounters::report(std::uint32_t address, const Counters& counters) {
  const std::lock_guard lock(mutex_);
  const auto found = reported_.find(address);
  if (found != reported_.end()) found->second = counters;
}

}  // namespace manager
