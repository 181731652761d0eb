#include "manager/challenges.h"

#include "manager/random.h"

namespace manager {

Challenges::Challenges(std::size_t maxClients) : maxClients_(maxClients) {}

Challenge Challenges::issue(std::uint32_t client, std::int64_t nowSecs) {
  const auto found = clients_.find(client);
  if (found != clients_.end()) {
    order_.splice(order_.end(), order_, found->second.order);
  } else {
    if (clients_.size() >= maxClients_) {
      clients_.erase(order_.front());
      order_.pop_front();
    }
    clients_[client].order = order_.insert(order_.end(), client);
  }
  std::deque<Issued>& issued = clients_[client].issued;
  if (issued.size() >= kPerClient) issued.pop_front();
  Challenge challenge = static_cast<char>(nextId_++) + randomBytes(kChallengeBytes);
  issued.push_back({challenge, nowSecs});
  return challenge;
}

std::vector<Challenge> Challenges::take(std::uint32_t client, std::int64_t nowSecs) {
  std::vector<Challenge> live;
  const auto found = clients_.find(client);
  if (found == clients_.end()) return live;
  const std::deque<Issued>& issued = found->second.issued;
  for (auto entry = issued.rbegin(); entry != issued.rend(); ++entry) {
    if (nowSecs - entry->atSecs < kLifetimeSecs) live.push_back(entry->challenge);
  }
  order_.erase(found->second.order);
  clients_.erase(found);
  return live;
}

}  // namespace manager
