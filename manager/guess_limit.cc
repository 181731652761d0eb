#include "manager/guess_limit.h"

#include <algorithm>

namespace manager {

namespace {

// A guess, in the units that a second refills once for each guess a minute.
constexpr std::uint64_t kGuess = 60;

}  // namespace

std::uint64_t GuessLimit::spent(const Client& client, std::int64_t nowSecs) const {
  const std::int64_t sinceSecs = std::max<std::int64_t>(nowSecs - client.atSecs, 0);
  const std::uint64_t refilled = static_cast<std::uint64_t>(sinceSecs) * perMinute_;
  return client.spent > refilled ? client.spent - refilled : 0;
}

bool GuessLimit::allows(const std::string& client, std::int64_t nowSecs) const {
  const Client* known = clients_.find(client);
  return perMinute_ == 0 || !known || spent(*known, nowSecs) + kGuess <= kGuess * perMinute_;
}

void GuessLimit::count(const std::string& client, std::int64_t nowSecs) {
  if (perMinute_ == 0) return;
  Client& entry = clients_.note(client);
  entry.spent = spent(entry, nowSecs) + kGuess;
  entry.atSecs = nowSecs;
}

}  // namespace manager
