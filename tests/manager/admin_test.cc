// The administrator's verbs.

#include <gtest/gtest.h>

#include "manager/admin_protocol.h"
#include "manager/portal_protocol.h"
#include "tests/manager/bench.h"

namespace {

namespace portal = manager::portal;
using nlohmann::json;

class AdminTest : public testing::Test {
 protected:
  std::string refusal(const std::string& verb, const json& arguments) {
    const nv::message reply = bench.askAdmin(verb, arguments);
    EXPECT_EQ(errorCode(reply), manager::admin::kErrRefused) << verb << arguments;
    return errorText(reply);
  }

  json rows(const std::string& verb) { return bench.admin(verb, json::object())["rows"]; }

  Bench bench;
};

TEST_F(AdminTest, RefusesWhatItDoesNotKnow) {
  EXPECT_EQ(refusal("user.fly", json::object()), "there is no verb \"user.fly\"");
  EXPECT_EQ(refusal("user.list", json::array()), "the arguments are no JSON object");
  EXPECT_EQ(refusal("user.show", {{"name", "x"}, {"colour", "red"}}),
            "there is no argument \"colour\"");
  EXPECT_EQ(refusal("user.show", json::object()), "name is missing");
  EXPECT_EQ(refusal("user.show", {{"name", 7}}), "name must be a text");
  EXPECT_EQ(refusal("user.show", {{"name", "x"}}), "there is no user \"x\"");
}

TEST_F(AdminTest, RefusesBytesThatAreNoJson) {
  const std::string hostile = "{\"after\":" + std::string(60000, '[');
  for (const char* text : {"", "{", "{\"name\":}", "\xff\xfe", "null", hostile.c_str()}) {
    nv::message reply;
    bench.parts->admin.receive(adminOf("user.list", text),
                               [&](const nv::message& answer) { reply = answer; });
    bench.runUntil([&] { return !reply.ids().empty(); });
    EXPECT_EQ(errorCode(reply), manager::admin::kErrRefused) << text;
  }
}

TEST_F(AdminTest, AddsChangesAndRemovesUsers) {
  bench.admin("profile.add", {{"name", "guests"}});
  const json added = bench.admin("user.add", {{"name", "ann"},
                                              {"password", "secret"},
                                              {"profile", "guests"},
                                              {"limit-uptime", 3600},
                                              {"limit-bytes-in", 1},
                                              {"limit-bytes-out", 2},
                                              {"limit-bytes-total", 3}});
  EXPECT_EQ(added["profile"], "guests");
  EXPECT_EQ(added["password-kind"], "plain");
  EXPECT_EQ(added["limit-uptime"], 3600);
  EXPECT_FALSE(added.dump().find("secret") != std::string::npos) << "passwords are not shown";
  EXPECT_EQ(bench.admin("user.set", {{"name", "ann"}, {"profile", "default"}})["limit-uptime"],
            3600);
  EXPECT_EQ(bench.admin("user.show", {{"name", "ann"}})["profile"], "default");
  EXPECT_EQ(rows("user.list").size(), 1u);
  bench.admin("user.remove", {{"name", "ann"}});
  EXPECT_EQ(rows("user.list").size(), 0u);
}

TEST_F(AdminTest, RefusesUsersThatDoNotFit) {
  bench.addUser("ann", "secret");
  EXPECT_EQ(refusal("user.add", {{"name", "ann"}, {"password", "x"}}),
            "there is a user \"ann\" already");
  EXPECT_EQ(refusal("user.add", {{"name", "bob"}}), "password is missing");
  EXPECT_EQ(refusal("user.add", {{"name", "trial"}, {"password", "x"}}),
            "the name \"trial\" belongs to trial logins");
  EXPECT_EQ(refusal("user.add", {{"name", "bob"}, {"password", "x"}, {"profile", "no"}}),
            "there is no profile \"no\"");
  refusal("user.add", {{"name", ""}, {"password", "x"}});
  refusal("user.add", {{"name", std::string(129, 'x')}, {"password", "x"}});
  refusal("user.add", {{"name", "two\nlines"}, {"password", "x"}});
  refusal("user.add", {{"name", " bob"}, {"password", "x"}});
  refusal("user.add", {{"name", "bob"}, {"password", ""}});
  refusal("user.add", {{"name", "bob"}, {"password", "x"}, {"password-hash", "x"}});
  refusal("user.add", {{"name", "bob"}, {"password-hash", "$1$salt$hash"}});
  refusal("user.add", {{"name", "bob"}, {"password", "x"}, {"limit-uptime", -1}});
  refusal("user.add", {{"name", "bob"}, {"password", "x"}, {"limit-uptime", "1"}});
  refusal("user.add", {{"name", "bob"}, {"password", "x"}, {"limit-uptime", 0x8000000000000000u}});
  EXPECT_EQ(rows("user.list").size(), 1u);
}

TEST_F(AdminTest, EndsTheSessionsOfARemovedUser) {
  bench.addUser("ann", "secret");
  bench.chapLogin("ann", "secret");
  EXPECT_EQ(bench.admin("user.remove", {{"name", "ann"}})["sessions-ended"], 1);
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
}

TEST_F(AdminTest, ListsMoreThanOneReplyHolds) {
  for (int i = 0; i < 120; ++i) bench.addUser("user" + std::to_string(1000 + i), "x");
  std::vector<std::string> names;
  json arguments = json::object();
  int replies = 0;
  for (;;) {
    const json part = bench.admin("user.list", arguments);
    ++replies;
    for (const json& row : part["rows"]) names.push_back(row["name"]);
    if (!part.contains("next")) break;
    arguments["after"] = part["next"];
  }
  ASSERT_EQ(names.size(), 120u);
  EXPECT_EQ(names.front(), "user1000");
  EXPECT_EQ(names.back(), "user1119");
  EXPECT_GT(replies, 1);
}

TEST_F(AdminTest, AddsChangesAndRemovesProfiles) {
  bench.admin("profile.add", {{"name", "guests"}, {"session-time", 60}});
  const json set = bench.admin(
      "profile.set",
      {{"name", "guests"}, {"advert-urls", {"https://ad.example/x?y=1"}}, {"advert-interval", 5}});
  EXPECT_EQ(set["session-time"], 60);
  EXPECT_EQ(bench.admin("profile.show", {{"name", "guests"}})["advert-urls"],
            json({"https://ad.example/x?y=1"}));
  bench.restart();
  EXPECT_EQ(bench.admin("profile.show", {{"name", "guests"}}), set);
  EXPECT_EQ(rows("profile.list").size(), 3u);
  bench.addUser("ann", "x", {{"profile", "guests"}});
  EXPECT_EQ(refusal("profile.remove", {{"name", "guests"}}),
            "the profile \"guests\" is in use by 1 users");
  bench.admin("user.remove", {{"name", "ann"}});
  bench.admin("profile.remove", {{"name", "guests"}});
  EXPECT_EQ(rows("profile.list").size(), 2u);
}

TEST_F(AdminTest, RefusesProfilesThatDoNotFit) {
  EXPECT_EQ(refusal("profile.add", {{"name", "default"}}),
            "there is a profile \"default\" already");
  EXPECT_EQ(refusal("profile.remove", {{"name", "default"}}),
            "the profile \"default\" cannot be removed");
  EXPECT_EQ(refusal("profile.remove", {{"name", "trial"}}),
            "the profile \"trial\" cannot be removed");
  for (const char* url : {"", "ftp://x/", "javascript:alert(1)", "http://a b/", "http://a\"b/",
                          "http://a\nb/", "//x/"}) {
    refusal("profile.set", {{"name", "default"}, {"advert-urls", {url}}});
  }
  refusal("profile.set", {{"name", "default"}, {"advert-urls", "http://x/"}});
  refusal("profile.set", {{"name", "default"}, {"idle-timeout", 4294967296}});
}

TEST_F(AdminTest, ShowsAndEndsSessions) {
  bench.admin("profile.set", {{"name", "default"}, {"shared-users", 0}, {"session-time", 100}});
  bench.addUser("ann", "secret");
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  bench.chapLogin("ann", "secret");
  bench.chapLogin("ann", "secret", kOtherClient);
  bench.clock.pass(10);
  const json sessions = rows("session.list");
  ASSERT_EQ(sessions.size(), 2u);
  EXPECT_EQ(sessions[0]["address"], "127.0.0.2");
  EXPECT_EQ(sessions[0]["mac"], "02:00:00:00:00:01");
  EXPECT_EQ(sessions[0]["uptime"], 10);
  EXPECT_EQ(sessions[0]["time-left"], 90);
  EXPECT_EQ(sessions[0]["idle"], 10);
  EXPECT_EQ(bench.admin("session.list", {{"user", "bob"}})["rows"].size(), 0u);
  bench.admin("session.end", {{"address", "127.0.0.2"}});
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
  EXPECT_EQ(refusal("session.end", {{"address", "127.0.0.2"}}), "there is no session of 127.0.0.2");
  EXPECT_EQ(refusal("session.end", {{"address", "nowhere"}}), "address must be an IPv4 address");
  EXPECT_EQ(bench.admin("session.end", {{"user", "ann"}})["sessions-ended"], 1);
  EXPECT_EQ(rows("session.list").size(), 0u);
}

TEST_F(AdminTest, TakesReportsOfTrafficForGood) {
  bench.addUser("ann", "secret");
  bench.chapLogin("ann", "secret");
  bench.admin("session.report", {{"address", "127.0.0.2"}, {"bytes-in", 5}, {"packets-out", 6}});
  bench.restart();
  const nv::message reply = bench.command(portal::kStatus);
  EXPECT_EQ(reply.get_u64(portal::kBytesIn, 0), 5u);
  EXPECT_EQ(reply.get_u64(portal::kPacketsOut, 0), 6u);
  refusal("session.report", {{"address", "127.0.0.3"}, {"bytes-in", 5}});
}

TEST_F(AdminTest, EndsASessionWhoseReportReachesALimit) {
  bench.admin("profile.set", {{"name", "default"}, {"limit-bytes-in", 100}});
  bench.addUser("ann", "secret");
  bench.chapLogin("ann", "secret");
  bench.admin("session.report", {{"address", "127.0.0.2"}, {"bytes-in", 99}});
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kGet)));
  bench.admin("session.report", {{"address", "127.0.0.2"}, {"bytes-in", 100}});
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
  EXPECT_EQ(bench.admin("user.show", {{"name", "ann"}})["used-bytes-in"], 100);
}

TEST_F(AdminTest, ListsAndRemovesCookies) {
  bench.addUser("ann", "secret");
  const std::uint32_t id = bench.chapLogin("ann", "secret").get_u32(portal::kCookieId, 0);
  const json cookies = rows("cookie.list");
  ASSERT_EQ(cookies.size(), 1u);
  EXPECT_EQ(cookies[0]["id"], id);
  EXPECT_EQ(cookies[0]["client"], "127.0.0.2");
  EXPECT_EQ(cookies[0]["expires-in"], 259200);
  bench.admin("cookie.remove", {{"id", id}});
  EXPECT_EQ(rows("cookie.list").size(), 0u);
  EXPECT_EQ(refusal("cookie.remove", {{"id", id}}), "there is no cookie " + std::to_string(id));
  EXPECT_EQ(bench.admin("cookie.remove", {{"user", "ann"}})["cookies-removed"], 0);
  refusal("cookie.remove", json::object());
}

TEST_F(AdminTest, KeepsServerSettingsUntilTheyAreUnset) {
  EXPECT_EQ(rows("server.show")[2]["source"], "configuration");
  bench.admin("server.set", {{"server-name", "Lobby"}, {"trial", "yes"}});
  bench.restart();
  EXPECT_EQ(bench.command(portal::kGet).get_string(portal::kServerName, ""), "Lobby");
  EXPECT_EQ(rows("server.show")[2],
            json({{"name", "server-name"}, {"value", "Lobby"}, {"source", "store"}}));
  bench.admin("server.unset", {{"name", "server-name"}});
  EXPECT_EQ(bench.command(portal::kGet).get_string(portal::kServerName, ""), "");
  refusal("server.unset", {{"name", "server-name"}});
  refusal("server.set", {{"server-name", "x"}, {"trial", "perhaps"}});
  EXPECT_EQ(bench.command(portal::kGet).get_string(portal::kServerName, ""), "")
      << "all or nothing";
  refusal("server.set", json::object());
}

}  // namespace
