#include "manager/view.h"

#include <algorithm>

#include "manager/replies.h"
#include "manager/session_rules.h"

namespace manager {

namespace {

constexpr std::size_t kCacheLineBytes = 64;

void prefetch(const void* what, std::size_t bytes) {
  for (std::size_t at = 0; at < bytes; at += kCacheLineBytes) {
    __builtin_prefetch(static_cast<const char*>(what) + at);
  }
}

}  // namespace

View::View(const Clock& clock, const Enforcer& enforcer)
    : clock_(clock), enforcer_(enforcer), hotspot_(hotspotFields(settings_)) {}

void View::apply(Changes changes) {
  for (auto& [address, session] : changes.sessions) {
    if (!session) {
      sessions_.erase(address);
      seen_.otherMac.erase(address);
      continue;
    }
    const auto [found, isNew] = sessions_.try_emplace(address);
    Session& known = found->second.session;
    const std::int64_t activeAt =
        isNew ? session->lastActiveAt : std::max(known.lastActiveAt, session->lastActiveAt);
    known = std::move(*session);
    known.lastActiveAt = activeAt;
  }
  if (changes.profiles) profiles_ = std::move(*changes.profiles);
  if (changes.settings) {
    settings_ = std::move(*changes.settings);
    hotspot_ = hotspotFields(settings_);
  }
}

void View::expect(std::uint32_t address) const {
  const auto found = sessions_.find(address);
  if (found == sessions_.end()) return;
  // Nearly all of a session goes into a reply.
  const Entry& entry = found->second;
  prefetch(&entry, sizeof entry);
  prefetch(entry.session.mac.data(), entry.session.mac.size());
}

const Session* View::find(std::uint32_t address, const std::string& mac) {
  const Entry* entry = findEntry(address, mac, now());
  return entry ? &entry->session : nullptr;
}

View::Entry* View::findEntry(std::uint32_t address, const std::string& mac, std::int64_t nowSecs) {
  const auto found = sessions_.find(address);
  if (found == sessions_.end()) return nullptr;
  Session& session = found->second.session;
  const std::optional<Counters> counters = enforcer_.counters(address);
  if (counters && *counters != session.counters) {
    session.counters = *counters;
    touch(&found->second, nowSecs);
  }
  if (overdue(session, nowSecs)) return nullptr;
  if (isOtherDevice(session, mac)) {
    seen_.otherMac[address] = mac;
    return nullptr;
  }
  return &found->second;
}

const Profile* View::findProfile(const std::string& name) const {
  const auto found = profiles_.find(name);
  return found == profiles_.end() ? nullptr : &found->second;
}

const Session* View::findActive(std::uint32_t address, const std::string& mac) {
  const std::int64_t nowSecs = now();
  Entry* entry = findEntry(address, mac, nowSecs);
  if (!entry) return nullptr;
  touch(entry, nowSecs);
  return &entry->session;
}

void View::touch(Entry* entry, std::int64_t nowSecs) {
  entry->session.lastActiveAt = nowSecs;
  if (entry->seenInRound == round_) {
    seen_.activeAt[entry->seenAt].second = nowSecs;
    return;
  }
  seen_.activeAt.emplace_back(entry->session.address, nowSecs);
  entry->seenAt = seen_.activeAt.size() - 1;
  entry->seenInRound = round_;
}

SeenClients View::takeSeen() {
  ++round_;
  return std::exchange(seen_, {});
}

}  // namespace manager
