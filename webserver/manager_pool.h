// Exchanges with the hotspot manager over a pool of connections, one exchange at a time on each.

#ifndef WEBSERVER_MANAGER_POOL_H_
#define WEBSERVER_MANAGER_POOL_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "host/message.h"
#include "webserver/manager_link.h"

namespace web {

// Used by any number of threads at once.
class ManagerPool {
 public:
  // Connections that are kept while nobody uses them.
  static constexpr std::size_t kMaxIdle = 32;
  // How long an exchange may hold up the event loop before `beforeWait` is called: handing the loop
  // over costs more than most replies take.
  static constexpr std::chrono::microseconds kShortWait{1000};

  explicit ManagerPool(std::string socketPath);

  // Sends the request and returns the reply that belongs to it. A failed exchange is an error
  // reply: kErrManagerUnreachable, also when the connection broke while the reply was awaited, or
  // kErrManagerSilent after `timeoutMs`. A request is sent again, once and over a new connection,
  // only when the manager cannot have received it. A reply that comes too late is lost with its
  // connection.
  //
  // `beforeWait` is called at most once, when the exchange takes longer than kShortWait. When it is
  // false the exchange is given up, as if it were late.
  nv::message exchange(nv::message& request, unsigned timeoutMs,
                       const std::function<bool()>& beforeWait);

  std::size_t idle() const;

 private:
  struct Exchange;
  ManagerLink::Outcome run(Exchange& exchange);
  ManagerLink::Outcome connect(Exchange& exchange, ManagerLink* link);
  ManagerLink::Outcome attempt(Exchange& exchange, ManagerLink& link);
  bool takeIdle(ManagerLink* link);
  void putBack(ManagerLink link);

  const std::string path_;
  std::atomic<std::uint32_t> lastNumber_;
  mutable std::mutex mutex_;
  std::vector<ManagerLink> idle_;  // the one used last is used first
};

}  // namespace web

#endif  // WEBSERVER_MANAGER_POOL_H_
