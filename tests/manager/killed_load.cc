#include "tests/manager/killed_load.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "manager/address_text.h"
#include "manager/admin_protocol.h"
#include "manager/portal_protocol.h"

namespace {

namespace portal = manager::portal;
using nlohmann::json;

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

}  // namespace

KilledLoad::KilledLoad(ManagerProcess& manager, bool mayBeFull)
    : manager_(manager),
      mayBeFull_(mayBeFull),
      random_(static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed())) {}

bool KilledLoad::isRefused(const nv::message& reply) const {
  return mayBeFull_ && errorText(reply) == "hotspot manager cannot write its database";
}

// Logs guests of its own in, reports traffic of theirs and logs some out, until the manager is
// gone.
void KilledLoad::visit(std::uint32_t first, unsigned seed, Visitor* visitor) const {
  Connection portalSide(manager_.socket());
  Connection adminSide(manager_.adminSocket());
  std::mt19937 random(seed);
  const auto exchange = [](Connection& connection, const nv::message& request) {
    return connection.trySend(request.encode()) ? connection.receive() : std::nullopt;
  };
  for (;;) {
    const std::uint32_t address = first + static_cast<std::uint32_t>(random() % 40);
    Guest& guest = visitor->guests[address];
    if (!guest.in) {
      const bool askedBefore = guest.inAsked;
      guest.inAsked = true;
      const auto reply = exchange(
          portalSide, loginOf({.user = "ann", .password = "secret", .overHttps = true}, address));
      if (!reply) return;
      if (isRefused(*reply)) {
        guest.inAsked = askedBefore;
        ++visitor->refused;
        continue;
      }
      EXPECT_TRUE(isLoggedIn(*reply)) << errorText(*reply);
      guest = {true, false, true, reply->get_u64(portal::kBytesIn, 0)};
    } else if (random() % 4 == 0) {
      const bool askedBefore = guest.outAsked;
      guest.outAsked = true;
      const auto reply = exchange(portalSide, commandOf(portal::kLogout, address));
      if (!reply) return;
      if (isRefused(*reply)) {
        guest.outAsked = askedBefore;
        ++visitor->refused;
        continue;
      }
      EXPECT_EQ(errorText(*reply), "");
      guest = {};
    } else {
      const std::uint64_t bytes = guest.bytes + 1000;
      const json report = {{"address", manager::addressText(address)}, {"bytes-in", bytes}};
      const auto reply = exchange(adminSide, adminOf("session.report", report.dump()));
      if (!reply) return;
      if (isRefused(*reply)) {
        ++visitor->refused;
        continue;
      }
      EXPECT_EQ(errorText(*reply), "");
      guest.bytes = bytes;
    }
  }
}

void KilledLoad::round() {
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kVisitors; ++i) {
    const std::uint32_t first = 0x7f010000 + static_cast<std::uint32_t>(i) * 0x100;
    threads.emplace_back([this, first, seed = static_cast<unsigned>(random_()),
                          visitor = &visitors_[i]] { visit(first, seed, visitor); });
  }
  std::this_thread::sleep_for(std::chrono::microseconds(random_() % 60000));
  manager_.signal(SIGKILL);
  for (std::thread& thread : threads) thread.join();
  manager_.wait();
  manager_.start();
  lookForAll();
}

void KilledLoad::lookForAll() {
  std::map<std::uint32_t, json> sessions = sessionsOf(manager_);
  std::uint64_t running = 0;
  for (Visitor& visitor : visitors_) {
    refused_ += std::exchange(visitor.refused, 0);
    for (auto& [address, guest] : visitor.guests) {
      const auto found = sessions.find(address);
      const bool isThere = found != sessions.end();
      const std::string name = manager::addressText(address);
      EXPECT_TRUE(isThere || !guest.in || guest.outAsked) << name << " was logged in";
      EXPECT_TRUE(!isThere || guest.inAsked) << name << " was logged out";
      const std::uint64_t bytes = isThere ? found->second.at("bytes-in").get<std::uint64_t>() : 0;
      if (guest.in && isThere) {
        EXPECT_GE(bytes, guest.bytes) << name;
        EXPECT_LE(bytes, guest.bytes + 1000) << name << ": nobody reported that";
        ++kept_;
      }
      running += bytes;
      guest = {isThere, false, isThere, bytes};
      if (isThere) sessions.erase(found);
    }
  }
  EXPECT_TRUE(sessions.empty()) << "sessions that nobody asked for";
  const json user = json::parse(manager_.askAdmin("user.show", R"({"name":"ann"})")
                                    .get_string(manager::admin::kResult, "{}"));
  const std::uint64_t used = user.at("used-bytes-in").get<std::uint64_t>();
  EXPECT_GE(used, usedBefore_) << "the account's use went back";
  EXPECT_GE(used, running);
  usedBefore_ = used;
}
