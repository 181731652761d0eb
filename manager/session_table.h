// All sessions in memory, by client address, with a count for each account.

#ifndef MANAGER_SESSION_TABLE_H_
#define MANAGER_SESSION_TABLE_H_

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "manager/records.h"

namespace manager {

// Changes are remembered until keep(), so that undo() can take them back together with the
// transaction that they belong to. touch() and count() are not remembered: they are about the
// client, not about the transaction.
class SessionTable {
 public:
  // Null when there is no session. Valid until the next change of that session.
  const Session* find(std::uint32_t address) const;
  // Addresses of the account's sessions, ascending.
  std::vector<std::uint32_t> addressesOf(const std::string& account) const;
  // The session of the lowest address above this one, of that account or, without one, of all;
  // null when there is none.
  const Session* behind(std::uint32_t address, const std::string& account) const;
  const std::set<std::uint32_t>& addresses() const { return addresses_; }
  std::size_t size() const { return sessions_.size(); }

  // Adds a session for good, as the store has it. REQUIRES: there is none of its address.
  void restore(Session session);

  // Adds the session or replaces the one of its address.
  void put(const Session& session);
  void erase(std::uint32_t address);

  // Notes that the client was active; false without a session, or when it was active later.
  bool touch(std::uint32_t address, std::int64_t uptimeSecs);
  // Takes over the session's traffic; true when there is a session and its counters changed.
  bool count(std::uint32_t address, const Counters& counters);

  // Addresses of sessions that were touched or counted and not written since, those first that have
  // waited longest. At most `count`, and some may have no session any more.
  std::vector<std::uint32_t> unwritten(std::size_t count) const;
  std::size_t unwritten() const { return unwritten_.size(); }
  // The first `count` of them were written.
  void written(std::size_t count);

  // The addresses that the changes are about, those that are to be kept or undone.
  std::set<std::uint32_t> changed() const;
  void keep() { before_.clear(); }
  void undo();

 private:
  struct Entry {
    Session session;
    bool unwritten = false;
  };

  void noteUnwritten(Entry* entry);
  void putRaw(const Session& session);
  void eraseRaw(std::uint32_t address);
  void remember(std::uint32_t address);

  std::unordered_map<std::uint32_t, Entry> sessions_;
  std::set<std::uint32_t> addresses_;
  std::unordered_map<std::string, std::set<std::uint32_t>> byAccount_;
  std::deque<std::uint32_t> unwritten_;
  // What was there before each change since keep(), oldest first.
  std::vector<std::pair<std::uint32_t, std::optional<Session>>> before_;
};

}  // namespace manager

#endif  // MANAGER_SESSION_TABLE_H_
