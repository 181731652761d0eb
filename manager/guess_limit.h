// How many wrong passwords a client may try.

#ifndef MANAGER_GUESS_LIMIT_H_
#define MANAGER_GUESS_LIMIT_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "manager/recent.h"

namespace manager {

// A token bucket for each client: it holds as many guesses as a minute allows, and is refilled at
// that rate. In memory alone: a restart of the manager forgives.
class GuessLimit {
 public:
  // 0 guesses a minute stand for no limit. At most `maxClients` are remembered; the one whose last
  // guess is oldest is forgotten first.
  GuessLimit(std::uint32_t perMinute, std::size_t maxClients)
      : perMinute_(perMinute), clients_(maxClients) {}

  // May the client try another password?
  bool allows(const std::string& client, std::int64_t nowSecs) const;

  // Takes note of a wrong one.
  void count(const std::string& client, std::int64_t nowSecs);

  std::size_t clients() const { return clients_.size(); }

 private:
  struct Client {
    std::uint64_t spent = 0;  // in sixtieths of a guess, as of atSecs
    std::int64_t atSecs = 0;
  };

  std::uint64_t spent(const Client& client, std::int64_t nowSecs) const;

  const std::uint32_t perMinute_;
  Recent<std::string, Client> clients_;
};

}  // namespace manager

#endif  // MANAGER_GUESS_LIMIT_H_
