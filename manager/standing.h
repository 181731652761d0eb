// Where things stand, as replies are made from it: on the storage thread the Ledger, on the loop
// thread its View.

#ifndef MANAGER_STANDING_H_
#define MANAGER_STANDING_H_

#include <cstdint>
#include <string>

#include "host/message.h"
#include "manager/records.h"

namespace manager {

class Standing {
 public:
  // The client's session, null when it has none or the session is over (the next sweep ends it in
  // the store). `mac` is the address' present hardware address, empty when unknown: a session of
  // another device is not the client's. Valid until the next operation on that session.
  virtual const Session* find(std::uint32_t address, const std::string& mac) = 0;
  virtual const Profile* findProfile(const std::string& name) const = 0;
  // The hotspot's own fields, with which every reply begins (hotspotFields() of replies.h).
  virtual const nv::message& hotspot() const = 0;
  // Seconds on the uptime clock.
  virtual std::int64_t now() const = 0;

 protected:
  ~Standing() = default;
};

}  // namespace manager

#endif  // MANAGER_STANDING_H_
