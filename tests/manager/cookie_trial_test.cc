// Logging in again by cookie, and for a trial.

#include <gtest/gtest.h>

#include "manager/portal_protocol.h"
#include "tests/manager/bench.h"

namespace {

namespace portal = manager::portal;

class CookieLogin : public testing::Test {
 protected:
  void SetUp() override { bench.addUser("ann", "secret"); }

  // Logs in, and out again without erasing the cookie; gives the cookie's number.
  std::uint32_t cookieOf(std::uint32_t client = kClient) {
    const nv::message reply = bench.chapLogin("ann", "secret", client);
    EXPECT_TRUE(isLoggedIn(reply));
    bench.command(portal::kLogout, client);
    return reply.get_u32(portal::kCookieId, 0);
  }

  void logOutForGood() {
    nv::message logout = commandOf(portal::kLogout);
    logout.insert_bool(portal::kEraseCookie, true);
    EXPECT_EQ(errorCode(bench.ask(logout)), 0u);
  }

  std::size_t kept() { return bench.admin("cookie.list", nlohmann::json::object())["rows"].size(); }

  Bench bench;
};

TEST_F(CookieLogin, WorksWithTheNumberOfAnEarlierLogin) {
  const std::uint32_t id = cookieOf();
  ASSERT_NE(id, 0u);
  const nv::message reply = bench.login({.cookieId = id});
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kLoginBy, ""), "cookie");
  EXPECT_EQ(reply.get_string(portal::kUserName, ""), "ann");
  EXPECT_EQ(reply.get_u32(portal::kCookieId, 0), id);
}

TEST_F(CookieLogin, IsOfferedForTheConfiguredTime) {
  bench.admin("server.set", {{"cookie-lifetime", "3600"}});
  const nv::message reply = bench.chapLogin("ann", "secret");
  EXPECT_EQ(reply.get_u32(portal::kCookieLifetime, 0), 3600u);
  bench.clock.pass(100);
  EXPECT_EQ(bench.login({}).get_u32(portal::kCookieLifetime, 0), 3500u) << "what is left of it";
  const std::uint32_t id = reply.get_u32(portal::kCookieId, 0);
  bench.command(portal::kLogout);
  bench.clock.pass(3500);
  const nv::message late = bench.login({.cookieId = id});
  EXPECT_FALSE(isLoggedIn(late));
  EXPECT_EQ(errorCode(late), 0u) << "an old cookie is no error, the login page is shown";
  EXPECT_EQ(challengeOf(late).size(), 17u);
}

TEST_F(CookieLogin, IsNotOfferedWhereItsLifetimeIsZero) {
  bench.admin("server.set", {{"cookie-lifetime", "0"}});
  EXPECT_EQ(cookieOf(), 0u);
}

TEST_F(CookieLogin, IsBoundToTheAddressWhereThereIsNoMac) {
  const std::uint32_t id = cookieOf();
  EXPECT_FALSE(isLoggedIn(bench.login({.cookieId = id}, kOtherClient)));
  EXPECT_TRUE(isLoggedIn(bench.login({.cookieId = id})));
}

TEST_F(CookieLogin, IsBoundToTheMacWhereThereIsOne) {
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  const std::uint32_t id = cookieOf();
  bench.setMac("127.0.0.2", "02:00:00:00:00:02");  // another device has the address
  EXPECT_FALSE(isLoggedIn(bench.login({.cookieId = id})));
  bench.setMac("127.0.0.3", "02:00:00:00:00:01");  // the device has another address
  EXPECT_TRUE(isLoggedIn(bench.login({.cookieId = id}, kOtherClient)));
}

TEST_F(CookieLogin, DoesNotWorkWithOtherNumbers) {
  const std::uint32_t id = cookieOf();
  for (const std::uint32_t wrong : {id + 1, id ^ 0x80000000u, 1u}) {
    EXPECT_FALSE(isLoggedIn(bench.login({.cookieId = wrong}))) << wrong;
  }
}

TEST_F(CookieLogin, EndsWithALogoutThatErasesIt) {
  const std::uint32_t id = cookieOf();
  ASSERT_TRUE(isLoggedIn(bench.login({.cookieId = id})));
  logOutForGood();
  EXPECT_FALSE(isLoggedIn(bench.login({.cookieId = id})));
}

TEST_F(CookieLogin, EndsWithThatLogoutAlsoWhereTheMacBecameKnownSince) {
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
  ASSERT_EQ(kept(), 1u);
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  bench.clock.pass(1);
  logOutForGood();
  EXPECT_EQ(kept(), 0u);
}

TEST_F(CookieLogin, EndsWithThatLogoutAlsoWhereItIsOfAnEarlierSession) {
  ASSERT_NE(cookieOf(), 0u);
  bench.admin("server.set", {{"cookie-lifetime", "0"}});
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret"))) << "a session without a cookie";
  ASSERT_EQ(kept(), 1u);
  logOutForGood();
  EXPECT_EQ(kept(), 0u);
}

TEST_F(CookieLogin, IsNotOfferedWhenItExpiredDuringTheSession) {
  bench.admin("server.set", {{"cookie-lifetime", "100"}});
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
  bench.clock.pass(100);
  const nv::message reply = bench.login({});
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_FALSE(reply.size_u32(portal::kCookieId));
  EXPECT_FALSE(reply.size_u32(portal::kCookieLifetime));
}

TEST_F(CookieLogin, GivesWayToCredentials) {
  const std::uint32_t id = cookieOf();
  EXPECT_EQ(
      errorCode(bench.login({.user = "ann", .password = "no", .overHttps = true, .cookieId = id})),
      portal::kErrInvalidUser);
}

TEST_F(CookieLogin, IsRefusedLikeAnyLoginWhenALimitIsReached) {
  const std::uint32_t id = cookieOf();
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret", kOtherClient)));
  EXPECT_EQ(errorCode(bench.login({.cookieId = id})), portal::kErrSessionLimit);
}

TEST_F(CookieLogin, EndsWithANewPasswordAndWithTheAccount) {
  std::uint32_t id = cookieOf();
  bench.admin("user.set", {{"name", "ann"}, {"password", "fresh"}});
  EXPECT_FALSE(isLoggedIn(bench.login({.cookieId = id})));
  id = bench.chapLogin("ann", "fresh").get_u32(portal::kCookieId, 0);
  bench.admin("user.remove", {{"name", "ann"}});
  EXPECT_FALSE(isLoggedIn(bench.login({.cookieId = id})));
}

TEST_F(CookieLogin, OutlivesARestart) {
  const std::uint32_t id = cookieOf();
  bench.restart();
  EXPECT_TRUE(isLoggedIn(bench.login({.cookieId = id})));
}

TEST_F(CookieLogin, LeavesOneCookieForEachAccountAndClient) {
  const std::uint32_t first = cookieOf();
  const std::uint32_t second = cookieOf();
  EXPECT_NE(first, second);
  EXPECT_FALSE(isLoggedIn(bench.login({.cookieId = first})));
  EXPECT_EQ(kept(), 1u);
}

class Trial : public testing::Test {
 protected:
  void SetUp() override { bench.admin("server.set", {{"trial", "yes"}}); }

  nv::message tryOut(std::uint32_t client = kClient) {
    return bench.login({.user = "trial"}, client);
  }

  Bench bench;
};

TEST_F(Trial, LogsInWithoutAPasswordForTheTrialProfilesTime) {
  const nv::message reply = tryOut();
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kLoginBy, ""), "trial");
  EXPECT_EQ(reply.get_u32(portal::kOptionBits, 0), portal::kOptionTrial);
  EXPECT_EQ(reply.get_u32(portal::kSessionEnd, 0) - reply.get_u32(portal::kLoginTime, 0), 1800u);
  EXPECT_FALSE(reply.size_u32(portal::kCookieId)) << "a cookie would be a way around its end";
}

TEST_F(Trial, IsRefusedWhereItIsOff) {
  bench.admin("server.set", {{"trial", "no"}});
  EXPECT_EQ(errorCode(tryOut()), portal::kErrInvalidUser);
}

TEST_F(Trial, IsForTheNameWithoutADomain) {
  const nv::message reply = bench.login({.user = "trial", .domain = "lab"});
  EXPECT_FALSE(isLoggedIn(reply));
  EXPECT_EQ(errorCode(reply), portal::kErrChapMissing) << "an account like any other";
}

TEST_F(Trial, ComesOnceADayForEachClient) {
  ASSERT_TRUE(isLoggedIn(tryOut()));
  bench.command(portal::kLogout);
  EXPECT_EQ(errorCode(tryOut()), portal::kErrUptimeLimit);
  EXPECT_TRUE(isLoggedIn(tryOut(kOtherClient)));
  bench.clock.pass(86399);
  EXPECT_EQ(errorCode(tryOut()), portal::kErrUptimeLimit);
  bench.clock.pass(1);
  EXPECT_TRUE(isLoggedIn(tryOut()));
}

TEST_F(Trial, IsNotHeldBackByAClockThatWasWrong) {
  ASSERT_TRUE(isLoggedIn(tryOut()));
  bench.command(portal::kLogout);
  bench.clock.wall -= 1;  // the noted trial lies ahead, and might by years
  EXPECT_TRUE(isLoggedIn(tryOut()));
}

TEST_F(Trial, FollowsTheDeviceToAnotherAddress) {
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  bench.setMac("127.0.0.3", "02:00:00:00:00:01");
  ASSERT_TRUE(isLoggedIn(tryOut()));
  bench.command(portal::kLogout);
  EXPECT_EQ(errorCode(tryOut(kOtherClient)), portal::kErrUptimeLimit);
}

TEST_F(Trial, IsRememberedOverARestart) {
  ASSERT_TRUE(isLoggedIn(tryOut()));
  bench.command(portal::kLogout);
  bench.restart();
  EXPECT_EQ(errorCode(tryOut()), portal::kErrUptimeLimit);
}

}  // namespace
