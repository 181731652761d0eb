#include "manager/view.h"

#include <algorithm>

#include "manager/session_rules.h"

namespace manager {

void View::apply(Changes changes) {
  for (auto& [address, session] : changes.sessions) {
    const auto found = sessions_.find(address);
    if (!session) {
      if (found != sessions_.end()) sessions_.erase(found);
      seen_.erase(address);
    } else if (found == sessions_.end()) {
      sessions_.emplace(address, std::move(*session));
    } else {
      const std::int64_t activeAt = std::max(found->second.lastActiveAt, session->lastActiveAt);
      found->second = std::move(*session);
      found->second.lastActiveAt = activeAt;
    }
  }
  if (changes.profiles) profiles_ = std::move(*changes.profiles);
  if (changes.settings) settings_ = std::move(*changes.settings);
}

const Session* View::find(std::uint32_t address, const std::string& mac) {
  const auto found = sessions_.find(address);
  if (found == sessions_.end()) return nullptr;
  Session& session = found->second;
  const std::optional<Counters> counters = enforcer_.counters(address);
  if (counters && *counters != session.counters) {
    session.counters = *counters;
    touch(&session);
  }
  if (overdue(session, now())) return nullptr;
  if (isOtherDevice(session, mac)) {
    seen_[address].otherMac = mac;
    return nullptr;
  }
  return &session;
}

const Profile* View::findProfile(const std::string& name) const {
  const auto found = profiles_.find(name);
  return found == profiles_.end() ? nullptr : &found->second;
}

const Session* View::findActive(std::uint32_t address, const std::string& mac) {
  if (!find(address, mac)) return nullptr;
  Session& session = sessions_.find(address)->second;
  touch(&session);
  return &session;
}

void View::touch(Session* session) {
  session->lastActiveAt = now();
  seen_[session->address].activeAt = now();
}

}  // namespace manager
