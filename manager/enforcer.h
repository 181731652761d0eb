// The seam to whatever lets a client's traffic through, holds it back and counts it.

#ifndef MANAGER_ENFORCER_H_
#define MANAGER_ENFORCER_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "manager/portal_protocol.h"
#include "manager/records.h"

namespace manager {

// Called from the loop thread and from the storage thread, at once too; must not block. Sessions
// are told of after they were committed.
class Enforcer {
 public:
  virtual ~Enforcer() = default;

  // The client may pass from now on; also called at start for each session that was kept.
  virtual void admit(const Session& session) = 0;
  // The client's session is over. May be told more than once.
  virtual void dismiss(std::uint32_t address) = 0;
  // The client's state became another one: normal, advertisement pending, blocked.
  virtual void stateChanged(std::uint32_t address, portal::ClientState state) = 0;
  // The session's traffic as far as it is known; nothing when it is not.
  virtual std::optional<Counters> counters(std::uint32_t address) const = 0;
  // Addresses whose counters may have changed since the last call. Storage thread only.
  virtual std::vector<std::uint32_t> takeCounted() = 0;
};

}  // namespace manager

#endif  // MANAGER_ENFORCER_H_
