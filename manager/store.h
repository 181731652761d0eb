// What the manager keeps on disk, in the terms of records.h. Every operation throws StoreError when
// the database fails. Changes become durable with Ledger's commit; see ledger.h.

#ifndef MANAGER_STORE_H_
#define MANAGER_STORE_H_

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "manager/clock.h"
#include "manager/database.h"
#include "manager/records.h"

namespace manager {

// One thread at a time: the ledger's (ledger.h).
class Store {
 public:
  // Opens or creates the database at `path`.
  explicit Store(const std::string& path);

  // The transaction. Every put, add and remove below belongs to one that starts by itself.
  void commit();
  void rollback();
  void checkpoint() noexcept;
  void makeRoom() noexcept;

  // Accounts, by name. Lists are in byte order of the name, start behind `after` and give at most
  // `count`.
  std::optional<User> findUser(const std::string& name);
  std::vector<User> listUsers(const std::string& after, std::int64_t count);
  void putUser(const User& user);
  bool removeUser(const std::string& name);
  std::int64_t countUsersOfProfile(const std::string& profile);
  // Adds an ended session's use to the account; nothing when there is no such account.
  void addUse(const std::string& name, std::uint64_t uptimeSecs, std::uint64_t bytesIn,
              std::uint64_t bytesOut);

  std::map<std::string, Profile> loadProfiles();
  void putProfile(const Profile& profile);
  void removeProfile(const std::string& name);

  void loadSessions(const std::function<void(Session)>& take);
  void putSession(const Session& session);
  void removeSession(std::uint32_t address);

  std::optional<Cookie> findCookie(std::uint32_t id);
  std::vector<Cookie> listCookies(std::int64_t afterId, std::int64_t count);
  // False, and nothing is kept, when the id is taken.
  bool addCookie(const Cookie& cookie);
  bool removeCookie(std::uint32_t id);
  void removeCookies(const std::string& account, const std::string& client);
  std::int64_t removeCookiesOfAccount(const std::string& account);
  bool removeExpiredCookies(std::int64_t wallSecs);
  // Removes those that expire first where there are more than `most`.
  bool trimCookies(std::int64_t most);

  // When the client's last trial began.
  std::optional<std::int64_t> findTrial(const std::string& client);
  void putTrial(const std::string& client, std::int64_t wallSecs);
  bool removeTrialsBefore(std::int64_t wallSecs);
  // Removes the oldest where there are more than `most`.
  bool trimTrials(std::int64_t most);

  std::map<std::string, std::string> loadSettings();
  void putSetting(const std::string& name, const std::string& value);
  void removeSetting(const std::string& name);

  std::optional<TimeAnchor> loadAnchor();
  void putAnchor(const TimeAnchor& anchor);

 private:
  Database db_;
};

}  // namespace manager

#endif  // MANAGER_STORE_H_
