// CHAP challenges that login pages were given and that nobody has answered yet.

#ifndef MANAGER_CHALLENGES_H_
#define MANAGER_CHALLENGES_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "manager/recent.h"

namespace manager {

// One byte of identifier, then the challenge: the form in which the login page is given it.
using Challenge = std::string;

// Kept in memory alone: a restart of the manager makes open login pages stale, nothing worse.
class Challenges {
 public:
  static constexpr std::size_t kChallengeBytes = 16;
  // Login pages that one client can have open at once; the oldest is forgotten first.
  static constexpr std::size_t kPerClient = 4;
  static constexpr std::int64_t kLifetimeSecs = 600;

  // At most `maxClients` clients; the one that asked longest ago is forgotten first.
  explicit Challenges(std::size_t maxClients);

  // A fresh challenge for the client.
  Challenge issue(std::uint32_t client, std::int64_t nowSecs);

  // Hands out the client's live challenges, newest first, and forgets them: an answer counts once.
  // Which of them an answer belongs to cannot be seen from a wrong one, so all of them are spent by
  // it.
  std::vector<Challenge> take(std::uint32_t client, std::int64_t nowSecs);

  std::size_t clients() const { return clients_.size(); }

 private:
  struct Issued {
    Challenge challenge;
    std::int64_t atSecs;
  };

  std::uint8_t nextId_ = 0;
  Recent<std::uint32_t, std::deque<Issued>> clients_;  // of each what was issued, oldest first
};

}  // namespace manager

#endif  // MANAGER_CHALLENGES_H_
