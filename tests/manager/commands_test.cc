// Every command but login.

#include <gtest/gtest.h>

#include "manager/portal_protocol.h"
#include "tests/manager/bench.h"

namespace {

namespace portal = manager::portal;
using nlohmann::json;

class Commands : public testing::Test {
 protected:
  void SetUp() override { bench.addUser("ann", "secret"); }

  void logIn() { ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret"))); }

  nv::message withScope(std::uint32_t command, std::uint32_t scope) {
    nv::message message = commandOf(command);
    message.insert_u32(portal::kScope, scope);
    return bench.ask(message);
  }

  Bench bench;
};

TEST_F(Commands, AreRefusedWithoutAddressCommandOrClient) {
  nv::message message = commandOf(portal::kGet);
  message.insert_u32_array(portal::kTo, {63, 14});
  EXPECT_EQ(errorCode(bench.ask(message)), portal::kErrInternal);
  message = commandOf(portal::kGet);
  message.erase(portal::kTo);
  EXPECT_EQ(errorCode(bench.ask(message)), portal::kErrInternal);
  message = commandOf(portal::kGet);
  message.erase(portal::kCommand);
  EXPECT_EQ(errorCode(bench.ask(message)), portal::kErrInternal);
  EXPECT_EQ(errorCode(bench.command(portal::kGet, 0)), portal::kErrInternal);
  EXPECT_EQ(errorCode(bench.ask({})), portal::kErrInternal);
}

TEST_F(Commands, OfUnknownNumbersAreRefusedByNumber) {
  for (const std::uint32_t number : {0u, 4u, 5u, 6u, 7u, 12u, 0xffffffffu}) {
    const nv::message reply = bench.command(number);
    EXPECT_EQ(errorCode(reply), portal::kErrInternal);
    EXPECT_EQ(errorText(reply), "unknown command " + std::to_string(number));
  }
}

TEST_F(Commands, ThatNeedASessionAreRefusedWithoutOne) {
  for (const std::uint32_t command :
       {portal::kStatus, portal::kLogout, portal::kSet, portal::kAlogin, portal::kAdvert}) {
    const nv::message reply = bench.command(command);
    EXPECT_EQ(errorCode(reply), portal::kErrNotLoggedIn) << command;
    EXPECT_FALSE(isLoggedIn(reply));
    EXPECT_NE(reply.get_string(portal::kPageMessage, ""), "");
  }
}

TEST_F(Commands, FollowTheScopeThatTheyCarry) {
  EXPECT_EQ(errorCode(withScope(portal::kStatus, 6)), portal::kErrNotLoggedIn);
  EXPECT_EQ(errorCode(withScope(portal::kStatus, 4)), 0u);
  EXPECT_EQ(errorCode(withScope(portal::kGet, 4)), 0u);
  EXPECT_EQ(errorCode(withScope(portal::kGet, 6)), portal::kErrNotLoggedIn);
}

TEST_F(Commands, DescribeTheHotspotInEveryReply) {
  bench.admin("server.set", {{"dns-name", "wifi.example.net"},
                             {"server-name", "Lobby"},
                             {"server-address", "10.5.50.1"},
                             {"interface", "wlan0"},
                             {"location-id", "id-7"},
                             {"location-name", "First floor"},
                             {"html-dir", "/srv/pages"},
                             {"trial", "yes"},
                             {"plain-passwd", "yes"},
                             {"ssl-login", "yes"}});
  bench.setMac("127.0.0.2", "02:00:00:00:00:0a");
  bench.clock.pass(1);
  for (const std::uint32_t command : {portal::kGet, portal::kLogin, portal::kStatus}) {
    const nv::message reply = bench.command(command);
    EXPECT_EQ(reply.get_string(portal::kDnsName, ""), "wifi.example.net");
    EXPECT_EQ(reply.get_string(portal::kServerName, ""), "Lobby");
    EXPECT_EQ(reply.get_u32(portal::kServerAddress, 0), 0x0a053201u);
    EXPECT_EQ(reply.get_string(portal::kInterfaceName, ""), "wlan0");
    EXPECT_EQ(reply.get_string(portal::kLocationId, ""), "id-7");
    EXPECT_EQ(reply.get_string(portal::kLocationName, ""), "First floor");
    EXPECT_EQ(reply.get_string(portal::kHtmlDir, ""), "/srv/pages/");
    EXPECT_EQ(reply.get_u32(portal::kOptionBits, 0), 0x30u);
    EXPECT_TRUE(reply.get_bool(portal::kSslLogin, false));
    EXPECT_EQ(reply.get_raw(portal::kMac, {}), (std::vector<unsigned char>{2, 0, 0, 0, 0, 0x0a}));
  }
}

TEST_F(Commands, LoginThatPresentsSomethingGoesByTheNeighbourTableOfThisMoment) {
  const std::vector<unsigned char> before{2, 0, 0, 0, 0, 1};
  const std::vector<unsigned char> now{2, 0, 0, 0, 0, 2};
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  bench.clock.pass(1);
  EXPECT_EQ(bench.login({}).get_raw(portal::kMac, {}), before);
  bench.setMac("127.0.0.2", "02:00:00:00:00:02");
  EXPECT_EQ(bench.login({}).get_raw(portal::kMac, {}), before) << "a look at the page";
  EXPECT_EQ(bench.login({.cookieId = 7}).get_raw(portal::kMac, {}), now);
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  EXPECT_EQ(bench.login({.user = "nobody"}).get_raw(portal::kMac, {}), before);
}

TEST_F(Commands, LeaveOutWhatIsNotKnown) {
  const nv::message reply = bench.command(portal::kGet);
  for (const std::uint32_t id : {portal::kMac, portal::kServerAddress, portal::kDnsName,
                                 portal::kLoginTime, portal::kSessionEnd, portal::kPageMessage}) {
    EXPECT_FALSE(reply.size_field(id)) << std::hex << id;
  }
}

TEST_F(Commands, StatusDescribesTheSession) {
  bench.admin("profile.set", {{"name", "default"},
                              {"session-time", 3600},
                              {"idle-timeout", 600},
                              {"status-refresh", 45},
                              {"limit-bytes-in", 1000},
                              {"limit-bytes-out", 2000},
                              {"limit-bytes-total", 2500}});
  logIn();
  bench.admin("session.report", {{"address", "127.0.0.2"},
                                 {"bytes-in", 100},
                                 {"packets-in", 2},
                                 {"bytes-out", 300},
                                 {"packets-out", 4}});
  bench.clock.pass(30);
  const nv::message reply = bench.command(portal::kStatus);
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kUserName, ""), "ann");
  EXPECT_EQ(clientState(reply), portal::kStateNormal);
  EXPECT_EQ(bench.clock.uptime - reply.get_u32(portal::kLoginTime, 0), 30);
  EXPECT_EQ(reply.get_u32(portal::kSessionEnd, 0) - bench.clock.uptime, 3570);
  EXPECT_EQ(reply.get_u32(portal::kIdleTimeout, 0), 600u);
  EXPECT_EQ(reply.get_u32(portal::kRefresh, 0), 45u);
  EXPECT_EQ(reply.get_u64(portal::kBytesIn, 0), 100u);
  EXPECT_EQ(reply.get_u64(portal::kPacketsIn, 0), 2u);
  EXPECT_EQ(reply.get_u64(portal::kBytesOut, 0), 300u);
  EXPECT_EQ(reply.get_u64(portal::kPacketsOut, 0), 4u);
  EXPECT_EQ(reply.get_u64(portal::kLimitBytesIn, 0), 1000u);
  EXPECT_EQ(reply.get_u64(portal::kLimitBytesOut, 0), 2000u);
  EXPECT_EQ(reply.get_u64(portal::kLimitBytesTotal, 0), 2500u);
  EXPECT_EQ(bench.command(portal::kAlogin).get_string(portal::kUserName, ""), "ann");
  EXPECT_EQ(bench.command(portal::kGet).get_string(portal::kUserName, ""), "ann");
}

TEST_F(Commands, LogoutDescribesTheSessionThatItEnds) {
  logIn();
  bench.clock.pass(30);
  const nv::message reply = bench.command(portal::kLogout);
  EXPECT_EQ(errorCode(reply), 0u);
  EXPECT_FALSE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kUserName, ""), "ann");
  EXPECT_EQ(bench.clock.uptime - reply.get_u32(portal::kLoginTime, 0), 30);
  EXPECT_EQ(errorCode(bench.command(portal::kLogout)), portal::kErrNotLoggedIn);
  EXPECT_EQ(bench.parts->enforcer.admitted, std::vector<std::uint32_t>{kClient});
  EXPECT_EQ(bench.parts->enforcer.dismissed, std::vector<std::uint32_t>{kClient});
}

TEST_F(Commands, SetTakesTheIdleTimeoutWithinTheProfiles) {
  logIn();
  nv::message message = commandOf(portal::kSet);
  message.insert_u32(portal::kIdleTimeout, 300);
  EXPECT_EQ(bench.ask(message).get_u32(portal::kIdleTimeout, 0), 300u);
  EXPECT_EQ(bench.command(portal::kStatus).get_u32(portal::kIdleTimeout, 0), 300u);
  EXPECT_EQ(bench.command(portal::kSet).get_u32(portal::kIdleTimeout, 0), 300u)
      << "nothing given, nothing changed";
  message.insert_u32(portal::kIdleTimeout, 4294967295);
  EXPECT_EQ(bench.ask(message).get_u32(portal::kIdleTimeout, 0), 1800u) << "the profile's";
  bench.restart();
  EXPECT_EQ(bench.command(portal::kStatus).get_u32(portal::kIdleTimeout, 0), 1800u);
}

TEST_F(Commands, KeepAnActiveClientFromIdlingOut) {
  logIn();
  for (const std::uint32_t command : {portal::kGet, portal::kStatus, portal::kAlogin, portal::kSet,
                                      portal::kAdvert, portal::kLogin, portal::kGet}) {
    bench.clock.pass(1000);
    ASSERT_TRUE(isLoggedIn(bench.command(command))) << command;
  }
  bench.clock.pass(1800);
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
  EXPECT_EQ(errorCode(bench.command(portal::kStatus)), portal::kErrNotLoggedIn);
}

TEST_F(Commands, CountTrafficAsActivity) {
  logIn();
  bench.clock.pass(1700);
  bench.admin("session.report", {{"address", "127.0.0.2"}, {"bytes-in", 1}});
  bench.clock.pass(1700);
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kGet)));
}

TEST_F(Commands, ShowAdvertisementsInTurnWhenTheyAreDue) {
  bench.admin("profile.set", {{"name", "default"},
                              {"advert-urls", {"http://a.example/", "http://b.example/"}},
                              {"advert-interval", 60},
                              {"advert-look-time", 20}});
  logIn();
  EXPECT_FALSE(bench.command(portal::kAdvert).size_field(portal::kAdvertAddress)) << "none is due";
  bench.clock.pass(60);
  EXPECT_EQ(clientState(bench.command(portal::kGet)), portal::kStateAdvertPending);
  nv::message shown = bench.command(portal::kAdvert);
  EXPECT_EQ(shown.get_string(portal::kAdvertAddress, ""), "http://a.example/");
  EXPECT_EQ(clientState(shown), portal::kStateNormal);
  EXPECT_FALSE(bench.command(portal::kAdvert).size_field(portal::kAdvertAddress));
  bench.clock.pass(80);
  EXPECT_EQ(clientState(bench.command(portal::kGet)), portal::kStateBlocked);
  bench.restart();
  EXPECT_EQ(clientState(bench.command(portal::kGet)), portal::kStateBlocked);
  shown = bench.command(portal::kAdvert);
  EXPECT_EQ(shown.get_string(portal::kAdvertAddress, ""), "http://b.example/");
  EXPECT_EQ(clientState(shown), portal::kStateNormal);
  bench.clock.pass(60);
  EXPECT_EQ(bench.command(portal::kAdvert).get_string(portal::kAdvertAddress, ""),
            "http://a.example/")
      << "after the last the first again";
}

TEST_F(Commands, TellTheEnforcerOfEachNewState) {
  bench.admin("profile.set", {{"name", "default"},
                              {"advert-urls", {"http://a.example/"}},
                              {"advert-interval", 60},
                              {"advert-look-time", 20}});
  logIn();
  const auto sweepAfter = [&](std::int64_t secs) {
    bench.clock.pass(secs);
    bench.sweep();
  };
  sweepAfter(1);
  sweepAfter(59);
  sweepAfter(1);
  sweepAfter(19);
  bench.command(portal::kAdvert);
  sweepAfter(1);
  const std::vector<std::pair<std::uint32_t, portal::ClientState>> told = {
      {kClient, portal::kStateAdvertPending},
      {kClient, portal::kStateBlocked},
      {kClient, portal::kStateNormal}};
  EXPECT_EQ(bench.parts->enforcer.states, told);
}

TEST_F(Commands, DoNotShowOneDevicesSessionToAnother) {
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  logIn();
  bench.setMac("127.0.0.2", "02:00:00:00:00:02");
  bench.clock.pass(1);
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
  EXPECT_EQ(errorCode(bench.command(portal::kStatus)), portal::kErrNotLoggedIn);
  bench.sweep();
  EXPECT_EQ(bench.parts->ledger.sessions().size(), 0u) << "it is ended, not only hidden";
}

}  // namespace
