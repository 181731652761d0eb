#include "webserver/manager_pool.h"

#include <unistd.h>

#include <algorithm>
#include <thread>

#include "host/context.h"

namespace web {
namespace {

using Outcome = ManagerLink::Outcome;

constexpr const char* kUnreachableText = "hotspot manager is not reachable";
constexpr const char* kSilentText = "hotspot manager did not answer in time";
constexpr std::chrono::milliseconds kConnectPause{5};

nv::message failure(unsigned code, const char* text) {
  nv::message reply;
  nv::setError(&reply, code, text);
  return reply;
}

}  // namespace

struct ManagerPool::Exchange {
  nv::message request;
  nv::message reply;
  std::uint32_t number;
  Clock::time_point soon;  // until then the loop may wait with us
  Clock::time_point until;
  const std::function<bool()>& beforeWait;
  bool waiting;

  // Runs one operation with a time limit: first for a short while, then, out of the loop's way, up
  // to the end.
  template <typename Operation>
  Outcome patiently(Operation operation) {
    Outcome outcome = operation(waiting ? until : soon);
    if (outcome != Outcome::kNotYet || waiting || Clock::now() >= until || !beforeWait()) {
      return outcome;
    }
    waiting = true;
    return operation(until);
  }
};

// Numbers start apart in each process, so that a worker that took another's place does not repeat
// them.
ManagerPool::ManagerPool(std::string socketPath)
    : path_(std::move(socketPath)),
      lastNumber_(static_cast<std::uint32_t>(getpid()) * 2654435761u +
                  static_cast<std::uint32_t>(Clock::now().time_since_epoch().count())) {
  // A reply that is there is not lost because its connection finds no room.
  idle_.reserve(kMaxIdle);
}

nv::message ManagerPool::exchange(nv::message& request, unsigned timeoutMs,
                                  const std::function<bool()>& beforeWait) {
  const Clock::time_point now = Clock::now();
  const Clock::time_point until = now + std::chrono::milliseconds(timeoutMs);
  Exchange exchange{
      request, {},         ++lastNumber_, std::min<Clock::time_point>(now + kShortWait, until),
      until,   beforeWait, false};
  exchange.request.insert_u32(kRequestNumber, exchange.number);
  if (!exchange.request.fits()) return failure(kErrManagerUnreachable, kUnreachableText);
  switch (run(exchange)) {
    case Outcome::kDone:
      return std::move(exchange.reply);
    case Outcome::kNotYet:
      return failure(kErrManagerSilent, kSilentText);
    default:
      return failure(kErrManagerUnreachable, kUnreachableText);
  }
}

Outcome ManagerPool::run(Exchange& exchange) {
  ManagerLink link;
  Outcome outcome = takeIdle(&link) ? attempt(exchange, link) : Outcome::kUndelivered;
  if (outcome == Outcome::kUndelivered) {
    link = ManagerLink();
    outcome = connect(exchange, &link);
    if (outcome == Outcome::kDone) outcome = attempt(exchange, link);
  }
  if (outcome == Outcome::kDone && !link.tainted()) putBack(std::move(link));
  return outcome;
}

Outcome ManagerPool::connect(Exchange& exchange, ManagerLink* link) {
  return exchange.patiently([&](Clock::time_point until) {
    // A socket of this kind cannot be polled for room in the manager's queue of connections.
    for (;;) {
      const Outcome outcome = link->open(path_);
      const Clock::time_point now = Clock::now();
      if (outcome != Outcome::kNotYet || now >= until) return outcome;
      std::this_thread::sleep_for(std::min<Clock::duration>(kConnectPause, until - now));
    }
  });
}

Outcome ManagerPool::attempt(Exchange& exchange, ManagerLink& link) {
  const Outcome sent = exchange.patiently(
      [&](Clock::time_point until) { return link.send(exchange.request, until); });
  if (sent != Outcome::kDone) return sent;
  return exchange.patiently([&](Clock::time_point until) {
    return link.receive(exchange.number, &exchange.reply, until);
  });
}

bool ManagerPool::takeIdle(ManagerLink* link) {
  const std::lock_guard lock(mutex_);
  if (idle_.empty()) return false;
  *link = std::move(idle_.back());
  idle_.pop_back();
  return true;
}

void ManagerPool::putBack(ManagerLink link) {
  const std::lock_guard lock(mutex_);
  if (idle_.size() < kMaxIdle) idle_.push_back(std::move(link));
}

std::size_t ManagerPool::idle() const {
  const std::lock_guard lock(mutex_);
  return idle_.size();
}

}  // namespace web
