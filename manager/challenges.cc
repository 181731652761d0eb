#include "manager/challenges.h"

#include "manager/random.h"

namespace manager {

Challenges::Challenges(std::size_t maxClients) : clients_(maxClients) {}

Challenge Challenges::issue(std::uint32_t client, std::int64_t nowSecs) {
  std::deque<Issued>& issued = clients_.note(client);
  if (issued.size() >= kPerClient) issued.pop_front();
  Challenge challenge = static_cast<char>(nextId_++) + randomBytes(kChallengeBytes);
  issued.push_back({challenge, nowSecs});
  return challenge;
}

std::vector<Challenge> Challenges::take(std::uint32_t client, std::int64_t nowSecs) {
  std::vector<Challenge> live;
  const std::deque<Issued>* issued = clients_.find(client);
  if (!issued) return live;
  for (auto entry = issued->rbegin(); entry != issued->rend(); ++entry) {
    if (nowSecs - entry->atSecs < kLifetimeSecs) live.push_back(entry->challenge);
  }
  clients_.forget(client);
  return live;
}

}  // namespace manager
