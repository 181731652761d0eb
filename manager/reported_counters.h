// The enforcer of a hotspot without a firewall behind it.

#ifndef MANAGER_REPORTED_COUNTERS_H_
#define MANAGER_REPORTED_COUNTERS_H_

#include <mutex>
#include <unordered_map>

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

  // Takes a report for a session that was admitted; ignored when there is none at that address.
  void report(std::uint32_t address, const Counters& counters);

 private:
  mutable std::mutex mutex_;  // for all of it
  std::unordered_map<std::uint32_t, std::optional<Counters>> reported_;
};

}  // namespace manager

#endif  // MANAGER_REPORTED_COUNTERS_H_
