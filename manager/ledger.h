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
#include "manager/due_list.h"
#include "manager/enforcer.h"
#include "manager/records.h"
#include "manager/server_settings.h"
#include "manager/session_rules.h"
#include "manager/session_table.h"
#include "manager/standing.h"
#include "manager/store.h"
#include "manager/view.h"

namespace manager {

// One thread at a time: the main thread until start() has returned and after CommitQueue::finish(),
// the storage thread (commit_queue.h) in between. Call order: start() once; then any operations,
// and commit() or rollback() behind each group of them. Operations marked (writes) throw StoreError
// when the database fails; the group must then be rolled back. Nothing may be answered from a group
// before its commit() has returned.
class Ledger final : public Standing {
 public:
  // What clients can make it keep: sessions, and (within a minute) cookies and notes of trials, of
  // which the oldest go.
  static constexpr std::size_t kUsualMaxSessions = 65536;
  static constexpr std::int64_t kMaxCookies = 65536;
  static constexpr std::int64_t kMaxTrials = 65536;

  Ledger(Store& store, const Clock& clock, Enforcer& enforcer, const ServerSettings& base,
         std::size_t maxSessions = kUsualMaxSessions);

  // Takes over what the store holds. Sessions of an earlier boot get times of this boot's clock, or
  // are ended when that cannot be done; what ran out meanwhile is ended. Within one boot the idle
  // time-outs begin anew: nobody could see what the clients did while no manager ran. (writes, and
  // commits; goes on without, within one boot, when the database cannot be written)
  void start();

  // Makes the group durable, then tells the enforcer; ends the process (fail_stop.h) where memory
  // is missing behind the database's commit.
  void commit();
  // Ends the process when not everything of the group can be undone.
  void rollback() noexcept;

  // What was committed since this was called last; the first time everything.
  Changes takeChanges();

  // Ends what is over, tells the enforcer of new client states, and once a minute begins to write
  // what changed in memory alone, at most so many sessions in a sweep. Looks at no more sessions
  // than it has to; at all only after a change of the profiles. A group of its own: commits, or
  // rolls back and throws.
  static constexpr std::size_t kMaxWritten = 4096;
  void sweep();
  // Writes what changed in memory alone and moves the log into the database file. For the end of
  // the program; throws like sweep().
  void settle();

  std::int64_t now() const override { return clock_.uptimeSecs(); }
  std::int64_t wallNow() const { return clock_.wallSecs(); }
  Store& store() { return store_; }

  const Session* find(std::uint32_t address, const std::string& mac) override;
  const SessionTable& sessions() const { return sessions_; }
  // No session may be opened.
  bool full() const { return sessions_.size() >= maxSessions_; }
  // Notes that the client was active; nothing without a session, or where it was active later.
  void touch(std::uint32_t address, std::int64_t atSecs);
  // Notes that the address was seen to be another device's: the next sweep ends a session of this
  // one's.
  void displace(std::uint32_t address, const std::string& otherMac);

  void open(const Session& session);                  // (writes)
  void update(const Session& session);                // (writes)
  void end(std::uint32_t address, EndReason reason);  // (writes) nothing without a session
  std::size_t endAll(const std::string& account, EndReason reason);  // (writes) how many

  // What the account's running sessions have used.
  Use useOfRunning(const std::string& account) const;

  const std::map<std::string, Profile>& profiles() const { return profiles_; }
  const Profile* findProfile(const std::string& name) const override;
  void putProfile(const Profile& profile);      // (writes)
  void removeProfile(const std::string& name);  // (writes)

  const ServerSettings& settings() const { return settings_; }
  const nv::message& hotspot() const override { return hotspot_; }
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
  std::set<std::uint32_t> takeDue();
  void sweepDue();
  void endOverdue(const std::set<std::uint32_t>& due);
  void tidy();
  void announceStates(const std::set<std::uint32_t>& due);
  void announceState(const Session& session);
  void putDue(const Session& session);
  void writeUnwritten();
  void putAnchor();
  void applyKept();

  Store& store_;
  const Clock& clock_;
  Enforcer& enforcer_;
  const ServerSettings base_;
  const std::size_t maxSessions_;
  ServerSettings settings_;
  nv::message hotspot_;  // its fields
  std::map<std::string, std::string> kept_;
  std::map<std::string, Profile> profiles_;
  SessionTable sessions_;
  Before before_;
  std::vector<std::function<void()>> afterCommit_;
  DueList due_;                        // when a sweep has to look at the session
  bool allDue_ = false;                // and when it has to look at all of them
  std::set<std::uint32_t> displaced_;  // another device was seen at the session's address
  // States that were announced and are not the normal one.
  std::unordered_map<std::uint32_t, portal::ClientState> announced_;
  std::set<std::uint32_t> unseenSessions_;  // committed since takeChanges
  bool unseenAll_ = true;                   // or all of them
  bool unseenProfiles_ = true;
  bool unseenSettings_ = true;
  std::int64_t lastTidiedAt_ = 0;
  std::int64_t lastWrittenAt_ = 0;
  std::size_t toWrite_ = 0;  // sessions that are left of those to be written
  TimeAnchor anchor_;        // as the store has it
};

}  // namespace manager

#endif  // MANAGER_LEDGER_H_
