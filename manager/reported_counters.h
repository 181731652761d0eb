// The enforcer of a hotspot without a firewall behind it.

#ifndef MANAGER_REPORTED_COUNTERS_H_
#define MANAGER_REPORTED_COUNTERS_H_

#include <mutex>
#include <unordered_map>
#include <vector>

#include "manager/enforcer.h"

namespace manager {

// Lets nobody through and holds nobody back. It knows the counters that the administrator's own
// accounting reports, and none for a session that was never reported on.
class ReportedCounters : public Enforcer {
 public:
  void admit(const Session& session) override;
  void dismiss(std::uint32_t address) override;
  void stateChanged(std::uint32_t address, portal::ClientState state) override;
  std::optional<Counters> counters(std::uint32_t address) const override;
  std::vector<std::uint32_t> takeCounted() override;

  // Takes a report. REQUIRES: there is a session of the address.
  void report(std::uint32_t address, const Counters& counters);

 private:
  mutable std::mutex mutex_;                              // for all of it
  std::unordered_map<std::uint32_t, Counters> reported_;  // of those that had one
  std::vector<std::uint32_t> counted_;
};

}  // namespace manager

#endif  // MANAGER_REPORTED_COUNTERS_H_
