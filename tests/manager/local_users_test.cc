// What a refusal tells about the account, and what checking it costs.

#include "manager/local_users.h"

#include <crypt.h>
#include <gtest/gtest.h>
#include <time.h>

#include <memory>

#include "manager/password.h"
#include "manager/portal_protocol.h"
#include "tests/manager/bench.h"

namespace {

namespace portal = manager::portal;

class LocalUsersTest : public testing::Test {
 protected:
  void SetUp() override {
    bench.addUser("plain", "secret");
    bench.addHashedUser("hashed", "hidden");
  }

  Bench bench;
};

// What of a reply can differ for two names, apart from the name itself and the challenge.
std::string refusalOf(nv::message reply) {
  reply.insert_string(portal::kUserName, "");
  if (reply.size_field(portal::kChapChallenge)) reply.insert_string(portal::kChapChallenge, "");
  return reply.encode();
}

TEST_F(LocalUsersTest, AnswerTheSameForAWrongPasswordAndAnUnknownNameOverHttps) {
  const auto refusal = [&](const std::string& user) {
    return refusalOf(bench.login({.user = user, .password = "wrong", .overHttps = true}));
  };
  const std::string unknown = refusal("nobody");
  EXPECT_EQ(refusal("plain"), unknown);
  EXPECT_EQ(refusal("hashed"), unknown);
  EXPECT_EQ(refusal(""), unknown);
}

TEST_F(LocalUsersTest, AnswerTheSameForAWrongPasswordAndAnUnknownNameByChap) {
  const std::string unknown = refusalOf(bench.chapLogin("nobody", "wrong"));
  EXPECT_EQ(refusalOf(bench.chapLogin("plain", "wrong")), unknown);
}

TEST_F(LocalUsersTest, HaveNoEmptyPasswordForAnUnknownName) {
  EXPECT_EQ(errorCode(bench.chapLogin("nobody", "")), portal::kErrInvalidUser);
  EXPECT_EQ(errorCode(bench.login({.user = "nobody", .password = "", .overHttps = true})),
            portal::kErrInvalidUser);
}

// Each refused plain password waits for a hash: when as many as may wait do, the next is told so.
TEST_F(LocalUsersTest, SpendAHashOnEveryRefusedPlainPassword) {
  for (const std::string user : {"nobody", "plain"}) {
    bool busy = false;
    for (std::uint32_t i = 0; i < 2 * manager::LocalUsers::kMaxWaiting; ++i) {
      bench.parts->portal.receive(
          loginOf({.user = user, .password = "wrong", .overHttps = true}, 0x7f010000 + i),
          [&](const nv::message& reply) {
            busy = busy || errorText(reply) == manager::kFailBusy.text;
          });
    }
    bench.runUntil([&] { return busy; });
    EXPECT_TRUE(busy) << user;
    bench.restart();
  }
}

TEST_F(LocalUsersTest, SpendNoHashOnARightPlainPassword) {
  // As many as would fill the hashes' queue twice.
  bench.admin("profile.set", {{"name", "default"}, {"shared-users", 0}});
  std::size_t in = 0;
  constexpr std::uint32_t kLogins = 2 * manager::LocalUsers::kMaxWaiting;
  for (std::uint32_t i = 0; i < kLogins; ++i) {
    bench.parts->portal.receive(
        loginOf({.user = "plain", .password = "secret", .overHttps = true}, 0x7f010000 + i),
        [&](const nv::message& reply) { in += isLoggedIn(reply) ? 1 : 0; });
  }
  bench.runUntil([&] { return in == kLogins; });
  EXPECT_EQ(in, kLogins);
}

TEST_F(LocalUsersTest, TellAGuestWithAHashThatChapWillNotDoAlsoWherePlainPasswordsMay) {
  bench.admin("server.set", {{"plain-passwd", "yes"}});
  EXPECT_EQ(errorText(bench.chapLogin("hashed", "hidden")), manager::kFailHashedChap.text);
  EXPECT_EQ(errorCode(bench.chapLogin("nobody", "hidden")), portal::kErrInvalidUser);
  EXPECT_TRUE(isLoggedIn(bench.login({.user = "hashed", .password = "hidden"})));
}

std::int64_t processorMicros() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

TEST(NobodysHash, CostsWhatAHashOfHotspotctlCosts) {
  EXPECT_TRUE(manager::isUsableHash(manager::kNobodysHash));
  // What crypt(3) takes as its default, and so hotspotctl.
  char salt[CRYPT_GENSALT_OUTPUT_SIZE];
  ASSERT_NE(crypt_gensalt_rn("$y$", 0, nullptr, 0, salt, sizeof salt), nullptr);
  const auto data = std::make_unique<crypt_data>();
  const std::string ownHash = crypt_r("pleaseletmein", salt, data.get());
  const auto cost = [](const std::string& hash) {
    const std::int64_t before = processorMicros();
    for (int i = 0; i < 4; ++i) EXPECT_FALSE(manager::hashMatches("wrong", hash));
    return processorMicros() - before;
  };
  const std::int64_t own = cost(ownHash);
  const std::int64_t nobodys = cost(manager::kNobodysHash);
  EXPECT_LT(nobodys, own * 3);
  EXPECT_LT(own, nobodys * 3);
  EXPECT_EQ(ownHash.substr(0, 7), std::string(manager::kNobodysHash, 7)) << "the parameters";
}

}  // namespace
