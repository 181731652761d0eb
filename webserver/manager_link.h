// One connection to the hotspot manager's socket.

#ifndef WEBSERVER_MANAGER_LINK_H_
#define WEBSERVER_MANAGER_LINK_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "host/message.h"

namespace web {

using Clock = std::chrono::steady_clock;  // CLOCK_MONOTONIC

// The number of a request; the reply carries the same.
constexpr std::uint32_t kRequestNumber = 0x08ff0006;

// Owns its descriptor. One thread at a time.
class ManagerLink {
 public:
  enum class Outcome {
    kDone,         // in time and whole
    kNotYet,       // the time is over
    kBroken,       // the manager is not there, or closed the connection
    kUndelivered,  // as kBroken, and the manager cannot have received the request
  };

  ManagerLink() = default;
  ManagerLink(ManagerLink&& other) noexcept;
  ManagerLink& operator=(ManagerLink&& other) noexcept;
  ~ManagerLink();

  // kBroken when there is no manager; kNotYet when its queue of connections is full.
  Outcome open(const std::string& path);

  // kDone, kNotYet (its queue is full and stayed so), kUndelivered.
  Outcome send(const nv::message& request, Clock::time_point until);

  // Waits for the reply with this number; others, and bytes that are no message, are passed over
  // and leave the link tainted. kDone, kNotYet or kBroken.
  Outcome receive(std::uint32_t number, nv::message* reply, Clock::time_point until);

  // Not to be used for another exchange.
  bool tainted() const { return tainted_; }

 private:
  int descriptor_ = -1;
  bool tainted_ = false;
};

}  // namespace web

#endif  // WEBSERVER_MANAGER_LINK_H_
