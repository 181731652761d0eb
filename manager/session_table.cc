#include "manager/session_table.h"

#include <algorithm>
#include <utility>

namespace manager {

const Session* SessionTable::find(std::uint32_t address) const {
  const auto found = sessions_.find(address);
  return found == sessions_.end() ? nullptr : &found->second.session;
}

std::vector<std::uint32_t> SessionTable::addressesOf(const std::string& account) const {
  const auto found = byAccount_.find(account);
  if (found == byAccount_.end()) return {};
  return {found->second.begin(), found->second.end()};
}

const Session* SessionTable::behind(std::uint32_t address, const std::string& account) const {
  const std::set<std::uint32_t>* among = &addresses_;
  if (!account.empty()) {
    const auto found = byAccount_.find(account);
    if (found == byAccount_.end()) return nullptr;
    among = &found->second;
  }
  const auto next = among->upper_bound(address);
  return next == among->end() ? nullptr : find(*next);
}

void SessionTable::restore(Session session) {
  const std::uint32_t address = session.address;
  // First, so that what memory is missing for is found, and taken out again, by eraseRaw().
  const auto added = sessions_.emplace(address, Entry{std::move(session)}).first;
  addresses_.insert(address);
  byAccount_[added->second.session.account].insert(address);
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
  if (found == sessions_.end() || found->second.session.lastActiveAt > uptimeSecs) return false;
  found->second.session.lastActiveAt = uptimeSecs;
  noteUnwritten(&found->second);
  return true;
}

bool SessionTable::count(std::uint32_t address, const Counters& counters) {
  const auto found = sessions_.find(address);
  if (found == sessions_.end() || found->second.session.counters == counters) return false;
  found->second.session.counters = counters;
  noteUnwritten(&found->second);
  return true;
}

void SessionTable::noteUnwritten(Entry* entry) {
  if (entry->unwritten) return;
  unwritten_.push_back(entry->session.address);
  entry->unwritten = true;
}

std::vector<std::uint32_t> SessionTable::unwritten(std::size_t count) const {
  const auto end =
      unwritten_.begin() + static_cast<std::ptrdiff_t>(std::min(count, unwritten_.size()));
  return {unwritten_.begin(), end};
}

void SessionTable::written(std::size_t count) {
  for (; count > 0 && !unwritten_.empty(); --count) {
    const auto found = sessions_.find(unwritten_.front());
    if (found != sessions_.end()) found->second.unwritten = false;
    unwritten_.pop_front();
  }
}

std::set<std::uint32_t> SessionTable::changed() const {
  std::set<std::uint32_t> changed;
  for (const auto& [address, session] : before_) changed.insert(address);
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
  restore(session);
}

void SessionTable::eraseRaw(std::uint32_t address) {
  const auto found = sessions_.find(address);
  if (found == sessions_.end()) return;
  const auto account = byAccount_.find(found->second.session.account);
  if (account != byAccount_.end()) {
    account->second.erase(address);
    if (account->second.empty()) byAccount_.erase(account);
  }
  addresses_.erase(address);
  sessions_.erase(found);
}

}  // namespace manager
