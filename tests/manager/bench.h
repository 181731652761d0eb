// The manager's parts put together within the test, on a clock that the test sets.

#ifndef TESTS_MANAGER_BENCH_H_
#define TESTS_MANAGER_BENCH_H_

#include <boost/asio/io_context.hpp>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "manager/admin.h"
#include "manager/clerk.h"
#include "manager/commit_queue.h"
#include "manager/ledger.h"
#include "manager/local_users.h"
#include "manager/neighbours.h"
#include "manager/portal.h"
#include "manager/reported_counters.h"
#include "manager/store.h"
#include "manager/view.h"
#include "tests/manager/requests.h"
#include "tests/manager/temporary.h"

class FakeClock : public manager::Clock {
 public:
  std::int64_t uptimeSecs() const override { return uptime; }
  std::int64_t wallSecs() const override { return wall; }
  std::string bootId() const override { return boot; }

  void pass(std::int64_t secs) {
    uptime += secs;
    wall += secs;
  }

  std::int64_t uptime = 1000000;
  std::int64_t wall = 1800000000;
  std::string boot = "boot-1";
};

// Remembers what it was told.
class WatchedEnforcer : public manager::ReportedCounters {
 public:
  void admit(const manager::Session& session) override {
    ReportedCounters::admit(session);
    admitted.push_back(session.address);
  }
  void dismiss(std::uint32_t address) override {
    ReportedCounters::dismiss(address);
    dismissed.push_back(address);
  }
  void stateChanged(std::uint32_t address, manager::portal::ClientState state) override {
    states.emplace_back(address, state);
  }

  std::vector<std::uint32_t> admitted;
  std::vector<std::uint32_t> dismissed;
  std::vector<std::pair<std::uint32_t, manager::portal::ClientState>> states;
};

// One manager over a database in the test's own directory. restart() is a kill and a new start:
// whatever was not committed is gone.
class Bench {
 public:
  Bench();

  void restart();

  // Answers from the portal's and the administrator's side.
  nv::message ask(const nv::message& request);
  nv::message login(const LoginFields& fields, std::uint32_t client = kClient);
  // The login page's challenge answered, as its script does it.
  nv::message chapLogin(const std::string& user, const std::string& password,
                        std::uint32_t client = kClient);
  nv::message command(std::uint32_t command, std::uint32_t client = kClient);
  nv::message askAdmin(const std::string& verb, const nlohmann::json& arguments);
  // The same where it must succeed; fails the test otherwise.
  nlohmann::json admin(const std::string& verb, const nlohmann::json& arguments);

  void addUser(const std::string& name, const std::string& password,
               const nlohmann::json& more = nlohmann::json::object());
  // What the store has, by address.
  std::vector<manager::Session> storedSessions();

  // Makes the account's password a quickly checked hash, straight in the store.
  void addHashedUser(const std::string& name, const std::string& password);
  void setMac(const std::string& address, const std::string& mac);

  // Runs it on the storage thread, behind what was submitted, and commits.
  void onStorage(std::function<void()> run);

  // A sweep as the manager does one every second.
  void sweep();
  // The orderly end that restart() is not: everything is written.
  void settle();

  // Runs the loop until the condition holds, or nothing happens for twenty seconds.
  void runUntil(const std::function<bool()>& isDone);

  TemporaryDir dir;
  FakeClock clock;
  manager::ServerSettings base;
  std::uint32_t guessesPerMinute = 0;
  std::size_t maxSessions = manager::Ledger::kUsualMaxSessions;

  struct Parts {
    explicit Parts(Bench& bench);
    ~Parts() { queue.finish(); }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    boost::asio::io_context loop{1};
    manager::Store store;
    WatchedEnforcer enforcer;
    manager::Ledger ledger;
    manager::View view;
    manager::CommitQueue queue;
    manager::LocalUsers users;
    manager::Clerk clerk;
    manager::Neighbours neighbours;
    manager::Portal portal;
    manager::Admin admin;
  };
  std::unique_ptr<Parts> parts;

 private:
  nv::message await(const std::function<void(std::function<void(const nv::message&)>)>& receive);

  std::map<std::string, std::string> neighbours_;
};

#endif  // TESTS_MANAGER_BENCH_H_
