// Wrong passwords of one client.

#include "manager/guess_limit.h"

#include <gtest/gtest.h>

#include "manager/portal_protocol.h"
#include "tests/manager/bench.h"

namespace {

namespace portal = manager::portal;
using manager::GuessLimit;

TEST(GuessLimit, AllowsAMinutesGuessesAtOnce) {
  GuessLimit limit(3, 10);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(limit.allows("a", 100)) << i;
    limit.count("a", 100);
  }
  EXPECT_FALSE(limit.allows("a", 100));
  EXPECT_TRUE(limit.allows("b", 100)) << "another client's guesses are its own";
}

TEST(GuessLimit, RefillsAtItsRate) {
  GuessLimit limit(3, 10);
  for (int i = 0; i < 3; ++i) limit.count("a", 100);
  EXPECT_FALSE(limit.allows("a", 119));
  EXPECT_TRUE(limit.allows("a", 120)) << "a guess every twenty seconds";
  limit.count("a", 120);
  EXPECT_FALSE(limit.allows("a", 139));
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(limit.allows("a", 1000)) << "no more than a minute's worth is saved up: " << i;
    limit.count("a", 1000);
  }
  EXPECT_FALSE(limit.allows("a", 1000));
}

TEST(GuessLimit, StandsAClockThatGoesBack) {
  GuessLimit limit(1, 10);
  limit.count("a", 100);
  EXPECT_FALSE(limit.allows("a", 50));
  EXPECT_TRUE(limit.allows("a", 160));
}

TEST(GuessLimit, OfNoneAMinuteIsNoLimit) {
  GuessLimit limit(0, 10);
  for (int i = 0; i < 1000; ++i) limit.count("a", 100);
  EXPECT_TRUE(limit.allows("a", 100));
  EXPECT_EQ(limit.clients(), 0u);
}

TEST(GuessLimit, ForgetsTheClientWhoseLastGuessIsOldest) {
  GuessLimit limit(1, 3);
  for (const char* client : {"a", "b", "c", "a", "d"}) limit.count(client, 100);
  EXPECT_EQ(limit.clients(), 3u);
  EXPECT_TRUE(limit.allows("b", 100));
  for (const char* client : {"a", "c", "d"}) EXPECT_FALSE(limit.allows(client, 100)) << client;
}

class Guesses : public testing::Test {
 protected:
  void SetUp() override {
    bench.guessesPerMinute = 3;
    bench.restart();
    bench.addUser("ann", "secret");
    bench.addHashedUser("bob", "hidden");
  }

  void spendAll(std::uint32_t client = kClient) {
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(errorCode(bench.chapLogin("ann", "wrong", client)), portal::kErrInvalidUser);
    }
  }

  Bench bench;
};

TEST_F(Guesses, BeyondAMinutesAreRefusedWithAText) {
  spendAll();
  const nv::message reply = bench.chapLogin("ann", "secret");
  EXPECT_EQ(errorCode(reply), portal::kErrAuthInProgress);
  EXPECT_EQ(errorText(reply), "too many wrong passwords from this client");
  EXPECT_NE(reply.get_string(portal::kPageMessage, "").find("wait a minute"), std::string::npos);
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret", kOtherClient)));
  bench.command(portal::kLogout, kOtherClient);
  bench.clock.pass(20);
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
}

TEST_F(Guesses, CountWhateverWayTheyAreWrong) {
  EXPECT_EQ(errorCode(bench.chapLogin("nobody", "x")), portal::kErrInvalidUser);
  EXPECT_EQ(errorCode(bench.chapLogin("bob", "hidden")), portal::kErrConfig);
  EXPECT_EQ(errorCode(bench.login({.user = "bob", .password = "x", .overHttps = true})),
            portal::kErrInvalidUser);
  EXPECT_EQ(errorText(bench.login({.user = "ann", .password = "secret", .overHttps = true})),
            manager::kFailTooManyGuesses.text);
}

TEST_F(Guesses, AreNotWhatTellsNothingOfAPassword) {
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(errorCode(bench.login({.user = "ann", .password = "secret"})),
              portal::kErrChapMissing)
        << "plain over HTTP";
    EXPECT_EQ(errorCode(bench.login({.cookieId = 77})), 0u);
  }
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
}

TEST_F(Guesses, AreCountedByDeviceWhereItIsKnown) {
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  spendAll();
  bench.setMac("127.0.0.2", "02:00:00:00:00:02");
  bench.setMac("127.0.0.3", "02:00:00:00:00:01");
  EXPECT_EQ(errorText(bench.chapLogin("ann", "secret", kOtherClient)),
            manager::kFailTooManyGuesses.text)
      << "a new address does not help";
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret"))) << "another device";
}

TEST_F(Guesses, DoNotKeepACookieOrASessionOut) {
  const nv::message in = bench.chapLogin("ann", "secret");
  const std::uint32_t cookie = in.get_u32(portal::kCookieId, 0);
  bench.command(portal::kLogout);
  spendAll();
  EXPECT_TRUE(isLoggedIn(bench.login({.cookieId = cookie})));
  EXPECT_TRUE(isLoggedIn(bench.login({.user = "ann", .password = "x", .overHttps = true})));
}

}  // namespace
