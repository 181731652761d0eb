// The administrator's commands.

#ifndef MANAGER_ADMIN_H_
#define MANAGER_ADMIN_H_

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>

#include "host/message.h"
#include "manager/commit_queue.h"
#include "manager/ledger.h"
#include "manager/reported_counters.h"

namespace manager {

// receive() on the loop thread, everything else on the storage thread. Everything given to it must
// outlive it.
class Admin {
 public:
  using Responder = std::function<void(nv::message)>;

  Admin(Ledger& ledger, CommitQueue& queue, ReportedCounters& counters);

  // Answers one message, whatever its bytes are. What it changed is durable when `respond` is
  // called.
  void receive(const nv::message& request, Responder respond);

 private:
  using Json = nlohmann::json;

  nv::message answer(const std::string& verb, const std::string& arguments);
  Json run(const std::string& verb, const Json& arguments);

  // Each takes its verb's arguments and gives the result. Throws AdminRefusal before it changes
  // anything.
  Json addUser(const Json& arguments);
  Json setUser(const Json& arguments);
  Json removeUser(const Json& arguments);
  Json listUsers(const Json& arguments);
  Json showUser(const Json& arguments);
  Json addProfile(const Json& arguments);
  Json setProfile(const Json& arguments);
  Json removeProfile(const Json& arguments);
  Json listProfiles(const Json& arguments);
  Json showProfile(const Json& arguments);
  Json listSessions(const Json& arguments);
  Json showSession(const Json& arguments);
  Json endSession(const Json& arguments);
  Json reportSession(const Json& arguments);
  Json listCookies(const Json& arguments);
  Json removeCookies(const Json& arguments);
  Json showServer(const Json& arguments);
  Json setServer(const Json& arguments);
  Json unsetServer(const Json& arguments);

  Json userJson(const User& user) const;
  Json sessionJson(const Session& session) const;
  User userOf(const Json& arguments);
  void checkProfile(const std::string& name) const;

  Ledger& ledger_;
  CommitQueue& queue_;
  ReportedCounters& counters_;
};

}  // namespace manager

#endif  // MANAGER_ADMIN_H_
