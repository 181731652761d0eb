// hotspotctl against a real manager.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "manager/portal_protocol.h"
#include "tests/manager/process.h"
#include "tools/hotspotctl_values.h"

namespace {

namespace portal = manager::portal;
using nlohmann::json;

class Hotspotctl : public testing::Test {
 protected:
  void SetUp() override { manager.start(); }

  std::string good(const std::vector<std::string>& words, const std::string& input = "") {
    const Finished run = manager.ctl(words, input);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    return run.out;
  }

  std::string refused(const std::vector<std::string>& words, int status) {
    const Finished run = manager.ctl(words);
    EXPECT_EQ(run.status, status) << run.out << run.err;
    EXPECT_EQ(run.out, "");
    return run.err;
  }

  ManagerProcess manager;
};

TEST_F(Hotspotctl, AddsAUserWhoCanThenLogIn) {
  good({"user", "add", "ann"}, "secret\n");
  EXPECT_TRUE(isLoggedIn(manager.chapLogin("ann", "secret")));
  EXPECT_NE(good({"user", "list"}).find("ann   default  plain"), std::string::npos);
}

TEST_F(Hotspotctl, TakesPasswordsFromInputOrCommandLine) {
  good({"user", "add", "a", "--password-stdin"}, "first\nsecond\n");
  EXPECT_TRUE(isLoggedIn(manager.chapLogin("a", "first")));
  good({"user", "set", "a", "--password", "third"});
  manager.ask(commandOf(portal::kLogout));
  EXPECT_TRUE(isLoggedIn(manager.chapLogin("a", "third")));
  EXPECT_EQ(refused({"user", "add", "b"}, 1), "hotspotctl: no password was given\n");
  refused({"user", "add", "b", "--password", "x", "--password-stdin"}, 2);
}

TEST_F(Hotspotctl, KeepsAHashOfAPassword) {
  good({"user", "add", "ann", "--hash"}, "pellucid\n");
  good({"user", "add", "bob"}, "limpid\n");
  EXPECT_EQ(json::parse(good({"user", "show", "ann", "--json"}))["password-kind"], "hash");
  EXPECT_TRUE(
      isLoggedIn(manager.ask(loginOf({.user = "ann", .password = "pellucid", .overHttps = true}))));
  const std::string stored =
      readFile(manager.dir.file("manager.db")) + readFile(manager.dir.file("manager.db-wal"));
  EXPECT_NE(stored.find("limpid"), std::string::npos) << "kept as it is without --hash";
  EXPECT_EQ(stored.find("pellucid"), std::string::npos);
}

TEST_F(Hotspotctl, ChangesAndRemovesUsers) {
  good({"user", "add", "ann", "--limit-uptime", "2h", "--limit-bytes-total", "1G"}, "secret\n");
  json user = json::parse(good({"--json", "user", "show", "ann"}));
  EXPECT_EQ(user["limit-uptime"], 7200);
  EXPECT_EQ(user["limit-bytes-total"], 1073741824);
  good({"user", "set", "ann", "--limit-uptime", "0", "--reset-use"});
  user = json::parse(good({"--json", "user", "show", "ann"}));
  EXPECT_EQ(user["limit-uptime"], 0);
  EXPECT_EQ(user["limit-bytes-total"], 1073741824) << "what is not named stays";
  good({"user", "remove", "ann"});
  EXPECT_EQ(good({"user", "list", "--json"}), "[]\n");
  EXPECT_EQ(refused({"user", "show", "ann"}, 1), "hotspotctl: there is no user \"ann\"\n");
}

TEST_F(Hotspotctl, ListsEveryUserOfALongList) {
  for (int i = 0; i < 60; ++i) {
    manager.askAdmin("user.add",
                     R"({"name":"user)" + std::to_string(100 + i) + R"(","password":"x"})");
  }
  EXPECT_EQ(json::parse(good({"user", "list", "--json"})).size(), 60u);
}

TEST_F(Hotspotctl, SetsProfilesWithAdvertisements) {
  good({"profile", "add", "guests", "--session-time", "30m", "--shared-users", "3", "--advert-url",
        "http://a.example/", "--advert-url", "http://b.example/", "--advert-interval", "10m",
        "--advert-look-time", "20"});
  json profile = json::parse(good({"profile", "show", "guests", "--json"}));
  EXPECT_EQ(profile["session-time"], 1800);
  EXPECT_EQ(profile["shared-users"], 3);
  EXPECT_EQ(profile["advert-urls"], json({"http://a.example/", "http://b.example/"}));
  EXPECT_EQ(profile["advert-interval"], 600);
  good({"profile", "set", "guests", "--advert-url", ""});
  profile = json::parse(good({"profile", "show", "guests", "--json"}));
  EXPECT_EQ(profile["advert-urls"], json::array());
  EXPECT_EQ(profile["session-time"], 1800);
  EXPECT_NE(good({"profile", "list"}).find("guests"), std::string::npos);
  good({"profile", "remove", "guests"});
  refused({"profile", "remove", "default"}, 1);
}

TEST_F(Hotspotctl, ListsSetsAndClearsAdvertisements) {
  good({"profile", "set", "default", "--session-time", "1h"});
  good({"advert", "set", "default", "--advert-url", "http://a.example/", "--advert-url",
        "http://b.example/", "--advert-interval", "10m"});
  EXPECT_NE(good({"advert", "list"}).find("600"), std::string::npos);
  EXPECT_NE(good({"advert", "list"}).find("http://a.example/ http://b.example/"),
            std::string::npos);
  good({"advert", "set", "default", "--advert-look-time", "20"});
  json profile = json::parse(good({"profile", "show", "default", "--json"}));
  EXPECT_EQ(profile["advert-urls"].size(), 2u) << "what is not named stays";
  EXPECT_EQ(profile["advert-look-time"], 20);
  good({"advert", "clear", "default"});
  profile = json::parse(good({"profile", "show", "default", "--json"}));
  EXPECT_EQ(profile["advert-urls"], json::array());
  EXPECT_EQ(profile["session-time"], 3600);
  refused({"advert", "set", "nobody", "--advert-interval", "1"}, 1);
  refused({"advert", "clear"}, 2);
}

TEST_F(Hotspotctl, ShowsReportsAndEndsSessions) {
  good({"user", "add", "ann"}, "secret\n");
  manager.chapLogin("ann", "secret");
  EXPECT_NE(good({"session", "list"}).find("127.0.0.2"), std::string::npos);
  EXPECT_EQ(json::parse(good({"session", "list", "--user", "nobody", "--json"})), json::array());
  good({"session", "report", "127.0.0.2", "--bytes-in", "2K"});
  EXPECT_EQ(json::parse(good({"session", "show", "127.0.0.2", "--json"}))["bytes-in"], 2048);
  EXPECT_EQ(good({"session", "end", "127.0.0.2"}), "sessions-ended: 1\n");
  EXPECT_FALSE(isLoggedIn(manager.ask(commandOf(portal::kGet))));
  manager.chapLogin("ann", "secret");
  EXPECT_EQ(good({"session", "end", "--user", "ann"}), "sessions-ended: 1\n");
  refused({"session", "end"}, 2);
}

TEST_F(Hotspotctl, ListsAndRemovesCookies) {
  good({"user", "add", "ann"}, "secret\n");
  const std::uint32_t id = manager.chapLogin("ann", "secret").get_u32(portal::kCookieId, 0);
  EXPECT_EQ(json::parse(good({"cookie", "list", "--json"}))[0]["id"], id);
  good({"cookie", "remove", std::to_string(id)});
  EXPECT_EQ(good({"cookie", "list", "--json"}), "[]\n");
  refused({"cookie", "remove", std::to_string(id)}, 1);
  EXPECT_EQ(good({"cookie", "remove", "--user", "ann"}), "cookies-removed: 0\n");
  refused({"cookie", "remove"}, 2);
}

TEST_F(Hotspotctl, SetsServerSettingsAtOnce) {
  good({"server", "set", "server-name=The Lobby", "trial=yes"});
  const nv::message reply = manager.ask(commandOf(portal::kGet));
  EXPECT_EQ(reply.get_string(portal::kServerName, ""), "The Lobby");
  EXPECT_EQ(reply.get_u32(portal::kOptionBits, 0), portal::kOptionTrial);
  EXPECT_NE(good({"server", "show"}).find("The Lobby"), std::string::npos);
  good({"server", "unset", "trial"});
  EXPECT_EQ(manager.ask(commandOf(portal::kGet)).get_u32(portal::kOptionBits, 99), 0u);
  refused({"server", "set", "trial=perhaps"}, 1);
  refused({"server", "set", "trial"}, 2);
}

TEST_F(Hotspotctl, SaysWhatIsWrongWithItsUsage) {
  refused({}, 2);
  refused({"user"}, 2);
  refused({"user", "fly"}, 2);
  refused({"user", "add"}, 2);
  refused({"user", "set", "ann", "--limit-uptime", "soon"}, 2);
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"--help"}, {"user", "--help"}, {"user", "add", "--help"}}) {
    EXPECT_NE(good(words).find("Usage:"), std::string::npos);
  }
  EXPECT_NE(good({"--version"}).find("hotspotctl "), std::string::npos);
}

TEST_F(Hotspotctl, FailsWhenThereIsNoManager) {
  manager.kill();
  const Finished run = manager.ctl({"user", "list"});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("is hotspot-manager running?"), std::string::npos) << run.err;
}

TEST(Quantity, TakesUnitsOfItsKind) {
  using hotspotctl::parseQuantity;
  using hotspotctl::Units;
  std::uint64_t value = 7;
  EXPECT_TRUE(parseQuantity("90", Units::kTime, &value) && value == 90);
  EXPECT_TRUE(parseQuantity("90s", Units::kTime, &value) && value == 90);
  EXPECT_TRUE(parseQuantity("3h", Units::kTime, &value) && value == 10800);
  EXPECT_TRUE(parseQuantity("2d", Units::kTime, &value) && value == 172800);
  EXPECT_TRUE(parseQuantity("3K", Units::kBytes, &value) && value == 3072);
  EXPECT_TRUE(parseQuantity("8T", Units::kBytes, &value) && value == 8796093022208);
  EXPECT_TRUE(parseQuantity("9223372036854775807", Units::kNone, &value));
  value = 7;
  for (const char* text : {"", "-1", "1.5h", "h", "1hh", "1 h", "1K", "9223372036854775808"}) {
    EXPECT_FALSE(parseQuantity(text, Units::kTime, &value)) << text;
  }
  EXPECT_FALSE(parseQuantity("1s", Units::kNone, &value));
  EXPECT_FALSE(parseQuantity("9007199254740992K", Units::kBytes, &value)) << "past 63 bits";
  EXPECT_EQ(value, 7u);
}

}  // namespace
