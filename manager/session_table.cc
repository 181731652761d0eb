#include "manager/session_table.h"

namespace manager {

const Session* SessionTable::find(std::uint32_t address) const {
  const auto found = sessions_.find(address);
  return found == sessions_.end() ? nullptr : &found->second;
}

std::vector<std::uint32_t> SessionTable::addressesOf(const std::string& account) const {
  const auto found = byAccount_.find(account);
  if (found == byAccount_.end()) return {};
  return {found->second.begin(), found->second.end()};
}

std::vector<std::uint32_t> SessionTable::addresses() const {
  std::vector<std::uint32_t> all;
  all.reserve(sessions_.size());
  for (const auto& [address, session] : sessions_) all.push_back(address);
  return all;
}

void SessionTable::put(const Session& session) {
  const Session copy = session;  // the caller's may be the one in the table
  remember(copy.address);
  putRaw(copy);
}

void SessionTable::erase(std::uint32_t address) {
  remember(address);
  eraseRaw(address);
}

bool SessionTable::touch(std::uint32_t address, std::int64_t uptimeSecs) {
  const auto found = sessions_.find(address);
  if (found == sessions_.end() || found->second.lastActiveAt > uptimeSecs) return false;
  found->second.lastActiveAt = uptimeSecs;
  return true;
}

bool SessionTable::count(std::uint32_t address, const Counters& counters) {
  const auto found = sessions_.find(address);
  if (found == sessions_.end() || found->second.counters == counters) return false;
  found->second.counters = counters;
  return true;
}

std::set<std::uint32_t> SessionTable::keep() {
  std::set<std::uint32_t> changed;
  for (const auto& [address, session] : before_) changed.insert(address);
  before_.clear();
  return changed;
}

void SessionTable::undo() {
  while (!before_.empty()) {
    const auto [address, session] = std::move(before_.back());
    before_.pop_back();
    if (session) {
      putRaw(*session);
    } else {
      eraseRaw(address);
    }
  }
}

void SessionTable::remember(std::uint32_t address) {
  const Session* session = find(address);
  before_.emplace_back(address, session ? std::optional(*session) : std::nullopt);
}

void SessionTable::putRaw(const Session& session) {
  eraseRaw(session.address);
  sessions_.emplace(session.address, session);
  byAccount_[session.account].insert(session.address);
}

void SessionTable::eraseRaw(std::uint32_t address) {
  const auto found = sessions_.find(address);
  if (found == sessions_.end()) return;
  const auto account = byAccount_.find(found->second.account);
  account->second.erase(address);
  if (account->second.empty()) byAccount_.erase(account);
  sessions_.erase(found);
}

}  // namespace manager
