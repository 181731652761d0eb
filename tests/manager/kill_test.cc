// Killed at any moment under load, the manager keeps what it has answered.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <thread>

#include "manager/address_text.h"
#include "manager/admin_protocol.h"
#include "manager/portal_protocol.h"
#include "tests/manager/process.h"

namespace {

namespace portal = manager::portal;
using nlohmann::json;

// What one client of the hotspot has asked for and was answered. A request that was not answered
// before the kill may have been carried out or not.
struct Guest {
  bool in = false;          // a login was answered well, and no logout since
  bool outAsked = false;    // a logout was sent since
  bool inAsked = false;     // a login was sent since the last answered logout
  std::uint64_t bytes = 0;  // the last report that was answered, of this session
};

// Logs guests of its own in, reports traffic of theirs and logs some out, until the manager is
// gone.
void visit(const ManagerProcess& manager, std::uint32_t first, unsigned seed,
           std::map<std::uint32_t, Guest>* guests) {
  Connection portalSide(manager.socket());
  Connection adminSide(manager.adminSocket());
  std::mt19937 random(seed);
  const auto exchange = [](Connection& connection, const nv::message& request) {
    return connection.trySend(request.encode()) ? connection.receive() : std::nullopt;
  };
  for (;;) {
    const std::uint32_t address = first + static_cast<std::uint32_t>(random() % 40);
    Guest& guest = (*guests)[address];
    if (!guest.in) {
      guest.inAsked = true;
      const auto reply = exchange(
          portalSide, loginOf({.user = "ann", .password = "secret", .overHttps = true}, address));
      if (!reply) return;
      EXPECT_TRUE(isLoggedIn(*reply)) << errorText(*reply);
      guest = {true, false, true, reply->get_u64(portal::kBytesIn, 0)};
    } else if (random() % 4 == 0) {
      guest.outAsked = true;
      const auto reply = exchange(portalSide, commandOf(portal::kLogout, address));
      if (!reply) return;
      EXPECT_EQ(errorText(*reply), "");
      guest = {};
    } else {
      const std::uint64_t bytes = guest.bytes + 1000;
      const json report = {{"address", manager::addressText(address)}, {"bytes-in", bytes}};
      const auto reply = exchange(adminSide, adminOf("session.report", report.dump()));
      if (!reply) return;
      EXPECT_EQ(errorText(*reply), "");
      guest.bytes = bytes;
    }
  }
}

// All sessions by address; fails where one is there twice.
std::map<std::uint32_t, json> sessionsOf(ManagerProcess& manager) {
  std::map<std::uint32_t, json> sessions;
  json arguments = json::object();
  for (;;) {
    const nv::message reply = manager.askAdmin("session.list", arguments.dump());
    EXPECT_EQ(errorText(reply), "");
    const json result = json::parse(reply.get_string(manager::admin::kResult, "{}"));
    for (const json& row : result.at("rows")) {
      std::uint32_t address = 0;
      EXPECT_TRUE(manager::parseAddress(row.at("address"), &address));
      EXPECT_TRUE(sessions.emplace(address, row).second) << row << " is there twice";
    }
    if (!result.contains("next")) return sessions;
    arguments["after"] = result["next"];
  }
}

TEST(ManagerKilled, AtAnyMomentKeepsWhatItAnswered) {
  constexpr int kRounds = 20;
  constexpr std::size_t kVisitors = 3;
  ManagerProcess manager;
  manager.start();
  ASSERT_EQ(errorText(manager.askAdmin("user.add", R"({"name":"ann","password":"secret"})")), "");
  ASSERT_EQ(errorText(manager.askAdmin("profile.set", R"({"name":"default","shared-users":0})")),
            "");
  std::mt19937 random(static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed()));
  std::map<std::uint32_t, Guest> guests[kVisitors];
  std::size_t kept = 0;
  std::uint64_t usedBefore = 0;
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    std::vector<std::thread> visitors;
    for (std::size_t i = 0; i < kVisitors; ++i) {
      visitors.emplace_back(visit, std::cref(manager),
                            0x7f010000 + static_cast<std::uint32_t>(i) * 0x100, random(),
                            &guests[i]);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 60000));
    manager.signal(SIGKILL);
    for (std::thread& visitor : visitors) visitor.join();
    manager.wait();
    manager.start();

    std::map<std::uint32_t, json> sessions = sessionsOf(manager);
    std::uint64_t running = 0;
    for (auto& visited : guests) {
      for (auto& [address, guest] : visited) {
        const auto found = sessions.find(address);
        const bool isThere = found != sessions.end();
        const std::string name = manager::addressText(address);
        EXPECT_TRUE(isThere || !guest.in || guest.outAsked) << name << " was logged in";
        EXPECT_TRUE(!isThere || guest.inAsked) << name << " was logged out";
        const std::uint64_t bytes = isThere ? found->second.at("bytes-in").get<std::uint64_t>() : 0;
        if (guest.in && isThere) {
          EXPECT_GE(bytes, guest.bytes) << name;
          EXPECT_LE(bytes, guest.bytes + 1000) << name << ": nobody reported that";
          ++kept;
        }
        running += bytes;
        guest = {isThere, false, isThere, bytes};
        if (isThere) sessions.erase(found);
      }
    }
    EXPECT_TRUE(sessions.empty()) << "sessions that nobody asked for";
    const json user = json::parse(manager.askAdmin("user.show", R"({"name":"ann"})")
                                      .get_string(manager::admin::kResult, "{}"));
    const std::uint64_t used = user.at("used-bytes-in").get<std::uint64_t>();
    EXPECT_GE(used, usedBefore) << "the account's use went back";
    EXPECT_GE(used, running);
    usedBefore = used;
  }
  EXPECT_GT(kept, 100u) << "the manager was killed before anything happened";
}

}  // namespace
