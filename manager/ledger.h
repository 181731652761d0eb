// The manager's state: sessions, profiles and settings in memory, everything in the store, both
// kept the same by one transaction at a time.

#ifndef MANAGER_LEDGER_H_
#define MANAGER_LEDGER_H_

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "manager/clock.h"
#include "manager/enforcer.h"
#include "manager/records.h"
#include "manager/server_settings.h"
#include "manager/session_rules.h"
#include "manager/session_table.h"
#include "manager/store.h"

namespace manager {

// Loop thread only. Call order: start() once; then any operations, and commit() or rollback()
// behind each group of them. Operations marked (writes) throw StoreError when the database fails;
// the group must then be rolled back. Nothing may be answered from a group before its commit() has
// returned.
class Ledger {
 public:
  Ledger(Store& store, const Clock& clock, Enforcer& enforcer, const ServerSettings& base);

  // Takes over what the store holds. Sessions of an earlier boot get times of this boot's clock, or
  // are ended when that cannot be done; what ran out meanwhile is ended. Within one boot the idle
  // time-outs begin anew: nobody could see what the clients did while no manager ran. (writes, and
  // commits)
  void start();

  // Makes the group durable, then tells the enforcer.
  void commit();
  void rollback() noexcept;

  // Ends what is over, tells the enforcer of new client states, and once a minute writes what
  // changed in memory alone. A group of its own: commits, or rolls back and throws.
  void sweep();
  // Writes what changed in memory alone and moves the log into the database file. For the end of
  // the program; throws like sweep().
  void settle();

  std::int64_t now() const { return clock_.uptimeSecs(); }
  std::int64_t wallNow() const { return clock_.wallSecs(); }
  Store& store() { return store_; }

  // The client's session, null when it has none or the session is over (the next sweep ends it in
  // the store). `mac` is the address' present hardware address, empty when unknown: a session of
  // another device is not the client's. Valid until the next operation on that session.
  const Session* find(std::uint32_t address, const std::string& mac);
  const SessionTable& sessions() const { return sessions_; }
  // Notes that the client was active.
  void touch(std::uint32_t address);

  void open(const Session& session);                  // (writes)
  void update(const Session& session);                // (writes)
  void end(std::uint32_t address, EndReason reason);  // (writes) nothing without a session
  std::size_t endAll(const std::string& account, EndReason reason);  // (writes) how many

  // What the account's running sessions have used.
  Use useOfRunning(const std::string& account) const;

  const std::map<std::string, Profile>& profiles() const { return profiles_; }
  const Profile* findProfile(const std::string& name) const;
  void putProfile(const Profile& profile);      // (writes)
  void removeProfile(const std::string& name);  // (writes)

  const ServerSettings& settings() const { return settings_; }
  const ServerSettings& baseSettings() const { return base_; }
  const std::map<std::string, std::string>& keptSettings() const { return kept_; }
  void keepSetting(const std::string& name, const std::string& value);  // (writes)
  void dropSetting(const std::string& name);                            // (writes)

 private:
  struct Before {
    std::optional<std::map<std::string, Profile>> profiles;
    std::optional<std::map<std::string, std::string>> kept;
  };

  void takeCounters(std::uint32_t address);
  void endOverdue();
  void announceStates();
  void writeChanged();
  void putAnchor();
  void applyKept();

  Store& store_;
  const Clock& clock_;
  Enforcer& enforcer_;
  const ServerSettings base_;
  ServerSettings settings_;
  std::map<std::string, std::string> kept_;
  std::map<std::string, Profile> profiles_;
  SessionTable sessions_;
  Before before_;
  std::vector<std::function<void()>> afterCommit_;
  std::set<std::uint32_t> changed_;    // active or counted since writeChanged
  std::set<std::uint32_t> displaced_;  // another device was seen at the session's address
  std::unordered_map<std::uint32_t, portal::ClientState> announced_;
  std::int64_t lastWrittenAt_ = 0;
  TimeAnchor anchor_;  // as the store has it
};

}  // namespace manager

#endif  // MANAGER_LEDGER_H_
