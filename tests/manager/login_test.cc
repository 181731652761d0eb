// The login command: every way in, and every refusal with its code.

#include <gtest/gtest.h>

#include <future>

#include "manager/password.h"
#include "manager/portal_protocol.h"
#include "tests/manager/bench.h"

namespace {

namespace portal = manager::portal;

// Somebody else who knows the accounts: remembers what was asked, and lets everybody in.
class OtherUsers : public manager::Authenticator {
 public:
  void check(const manager::Credentials& credentials,
             std::function<void(manager::Verdict)> done) override {
    asked = credentials;
    manager::Verdict verdict;
    verdict.account = *account(credentials.account);
    verdict.radiusAttributes = "\x12\x04hi";
    done(verdict);
  }

  std::optional<manager::User> account(const std::string& name) override {
    manager::User user;
    user.name = name;
    user.profile = manager::kDefaultProfile;
    return user;
  }

  manager::Credentials asked;
};

class Login : public testing::Test {
 protected:
  void SetUp() override { bench.addUser("ann", "secret"); }

  Bench bench;
};

TEST_F(Login, WithoutCredentialsShowsTheLoginPageWithAFreshChallenge) {
  const nv::message first = bench.login({});
  EXPECT_EQ(errorCode(first), 0u);
  EXPECT_FALSE(isLoggedIn(first));
  EXPECT_EQ(challengeOf(first).size(), 17u);
  EXPECT_NE(challengeOf(bench.login({})), challengeOf(first));
}

TEST_F(Login, OverHttpsOffersNoChallenge) {
  EXPECT_FALSE(bench.login({.overHttps = true}).size_field(portal::kChapChallenge));
}

TEST_F(Login, ByChapWorks) {
  const nv::message reply = bench.chapLogin("ann", "secret");
  EXPECT_EQ(errorCode(reply), 0u);
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kUserName, ""), "ann");
  EXPECT_EQ(reply.get_string(portal::kLoginBy, ""), "http-chap");
  EXPECT_FALSE(reply.size_field(portal::kChapChallenge));
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kStatus)));
}

TEST_F(Login, ByChapWithAWrongPasswordIsRefused) {
  const nv::message reply = bench.chapLogin("ann", "wrong");
  EXPECT_EQ(errorCode(reply), portal::kErrInvalidUser);
  EXPECT_FALSE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kUserName, ""), "ann") << "for the form to show again";
  EXPECT_EQ(challengeOf(reply).size(), 17u) << "the next try needs one";
}

TEST_F(Login, DoesNotTellAnUnknownNameFromAWrongPassword) {
  const nv::message wrong = bench.chapLogin("ann", "wrong");
  const nv::message unknown = bench.chapLogin("nobody", "secret");
  EXPECT_EQ(errorCode(unknown), errorCode(wrong));
  EXPECT_EQ(errorText(unknown), errorText(wrong));
  EXPECT_EQ(unknown.get_string(portal::kPageMessage, "1"),
            wrong.get_string(portal::kPageMessage, "2"));
}

TEST_F(Login, TakesEachChallengeOnce) {
  const std::string answer = manager::chapAnswer(challengeOf(bench.login({})), "secret");
  ASSERT_TRUE(isLoggedIn(bench.login({.user = "ann", .password = answer})));
  bench.command(portal::kLogout);
  EXPECT_EQ(errorCode(bench.login({.user = "ann", .password = answer})), portal::kErrChapMissing);
}

TEST_F(Login, SpendsTheChallengeOnAWrongAnswerToo) {
  const std::string challenge = challengeOf(bench.login({}));
  const std::string right = manager::chapAnswer(challenge, "secret");
  bench.login({.user = "ann", .password = manager::chapAnswer(challenge, "wrong")});
  EXPECT_EQ(errorCode(bench.login({.user = "ann", .password = right})), portal::kErrInvalidUser)
      << "only the challenge of the failed page is open now";
}

TEST_F(Login, TakesTheAnswerOfEitherOfTwoOpenPages) {
  const std::string first = challengeOf(bench.login({}));
  bench.login({});
  EXPECT_TRUE(
      isLoggedIn(bench.login({.user = "ann", .password = manager::chapAnswer(first, "secret")})));
}

TEST_F(Login, TakesNoAnswerToAnExpiredChallenge) {
  const std::string challenge = challengeOf(bench.login({}));
  bench.clock.pass(manager::Challenges::kLifetimeSecs);
  const nv::message reply =
      bench.login({.user = "ann", .password = manager::chapAnswer(challenge, "secret")});
  EXPECT_EQ(errorCode(reply), portal::kErrChapMissing);
  EXPECT_NE(reply.get_string(portal::kPageMessage, "").find("expired"), std::string::npos);
}

TEST_F(Login, TakesNoAnswerToAnotherClientsChallenge) {
  const std::string challenge = challengeOf(bench.login({}, kOtherClient));
  EXPECT_EQ(
      errorCode(bench.login({.user = "ann", .password = manager::chapAnswer(challenge, "secret")})),
      portal::kErrChapMissing);
}

TEST_F(Login, RefusesAPlainPasswordOverHttp) {
  const nv::message reply = bench.login({.user = "ann", .password = "secret"});
  EXPECT_EQ(errorCode(reply), portal::kErrChapMissing);
  EXPECT_FALSE(isLoggedIn(reply));
}

TEST_F(Login, TakesAPlainPasswordOverHttps) {
  const nv::message reply = bench.login({.user = "ann", .password = "secret", .overHttps = true});
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kLoginBy, ""), "https");
  EXPECT_EQ(
      errorCode(bench.login({.user = "ann", .password = "wrong", .overHttps = true}, kOtherClient)),
      portal::kErrInvalidUser);
}

TEST_F(Login, TakesAPlainPasswordOverHttpWhereThatIsOn) {
  bench.admin("server.set", {{"plain-passwd", "yes"}});
  const nv::message reply = bench.login({.user = "ann", .password = "secret"});
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kLoginBy, ""), "http-plain");
  EXPECT_EQ(reply.get_u32(portal::kOptionBits, 0), portal::kOptionPlainPasswd);
  bench.command(portal::kLogout);
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret"))) << "CHAP goes on working";
}

TEST_F(Login, TakesAPlainPasswordThatLooksLikeAChapAnswer) {
  const std::string password = "900150983cd24fb0d6963f7d28e17f72";
  bench.addUser("hex", password);
  EXPECT_TRUE(isLoggedIn(bench.login({.user = "hex", .password = password, .overHttps = true})));
}

TEST_F(Login, WithAPasswordAndNoNameIsRefused) {
  EXPECT_EQ(errorCode(bench.login({.password = "secret", .overHttps = true})),
            portal::kErrInvalidUser);
}

TEST_F(Login, ChecksAHashedPasswordInPlainTextAlone) {
  bench.addHashedUser("bob", "hidden");
  EXPECT_EQ(errorCode(bench.login({.user = "bob", .password = "wrong", .overHttps = true})),
            portal::kErrInvalidUser);
  const nv::message chap = bench.chapLogin("bob", "hidden");
  EXPECT_EQ(errorCode(chap), portal::kErrConfig);
  EXPECT_NE(chap.get_string(portal::kPageMessage, "").find("HTTPS"), std::string::npos);
  EXPECT_TRUE(isLoggedIn(bench.login({.user = "bob", .password = "hidden", .overHttps = true})));
}

TEST_F(Login, IsRefusedWhileTheClientsLastOneIsBeingChecked) {
  bench.addHashedUser("bob", "hidden");
  unsigned second = 0;
  const nv::message request = loginOf({.user = "bob", .password = "hidden", .overHttps = true});
  bool firstIn = false;
  bench.parts->portal.receive(request,
                              [&](const nv::message& reply) { firstIn = isLoggedIn(reply); });
  bench.parts->portal.receive(request,
                              [&](const nv::message& reply) { second = errorCode(reply); });
  EXPECT_EQ(second, portal::kErrAuthInProgress);
  bench.runUntil([&] { return firstIn; });
  EXPECT_TRUE(firstIn);
}

TEST_F(Login, IsRefusedWhenTheAccountChangesDuringTheCheck) {
  bench.addHashedUser("bob", "hidden");
  bench.addHashedUser("eve", "hidden");
  std::map<std::string, unsigned> codes;
  const auto begin = [&](const std::string& user, std::uint32_t client) {
    bench.parts->portal.receive(
        loginOf({.user = user, .password = "hidden", .overHttps = true}, client),
        [&codes, user](const nv::message& reply) { codes[user] = errorCode(reply); });
  };
  begin("bob", kClient);
  begin("eve", kOtherClient);
  bench.onStorage([&] {
    bench.parts->store.removeUser("bob");
    manager::User eve = *bench.parts->store.findUser("eve");
    eve.secret = "another";
    bench.parts->store.putUser(eve);
  });
  bench.runUntil([&] { return codes.size() == 2; });
  EXPECT_EQ(codes["bob"], portal::kErrInvalidUser) << "gone";
  EXPECT_EQ(codes["eve"], portal::kErrInvalidUser) << "has another password now";
}

TEST_F(Login, OfAnAccountWithADomainNamesBoth) {
  bench.addUser("ann@lab", "other");
  const nv::message wrong =
      bench.login({.user = "ann", .password = "secret", .domain = "lab", .overHttps = true});
  EXPECT_EQ(errorCode(wrong), portal::kErrInvalidUser) << "ann's own password is not ann@lab's";
  EXPECT_EQ(wrong.get_string(portal::kUserName, ""), "ann") << "as entered, for the form";
  EXPECT_EQ(wrong.get_string(portal::kDomain, ""), "lab");
  const nv::message reply =
      bench.login({.user = "ann", .password = "other", .domain = "lab", .overHttps = true});
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kUserName, ""), "ann");
  EXPECT_EQ(reply.get_string(portal::kDomain, ""), "lab");
}

TEST_F(Login, OfALoggedInClientIsAnsweredLoggedInWhateverItHolds) {
  bench.chapLogin("ann", "secret");
  const nv::message again = bench.login({.user = "nobody", .password = "wrong"});
  EXPECT_EQ(errorCode(again), 0u);
  EXPECT_TRUE(isLoggedIn(again));
  EXPECT_EQ(again.get_string(portal::kUserName, ""), "ann");
  EXPECT_TRUE(isLoggedIn(bench.login({})));
}

TEST_F(Login, OfALoggedInClientIsAnsweredLoggedInAlsoWhereTheDiskIsTooSlow) {
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
  std::promise<void> diskIsBack;
  const std::shared_future<void> back = diskIsBack.get_future().share();
  std::size_t done = 0;
  for (std::size_t i = 0; i < manager::CommitQueue::kMaxWaiting; ++i) {
    bench.parts->queue.submit({[back] { back.wait(); }, [&](const manager::Outcome&) { ++done; }});
  }
  const nv::message reply = bench.login({});
  diskIsBack.set_value();
  bench.runUntil([&] { return done == manager::CommitQueue::kMaxWaiting; });
  EXPECT_EQ(errorCode(reply), portal::kErrInternal);
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kUserName, ""), "ann");
  EXPECT_FALSE(reply.size_field(portal::kChapChallenge));
}

TEST_F(Login, BeyondTheAccountsSessionsIsRefused) {
  bench.admin("profile.set", {{"name", "default"}, {"shared-users", 2}});
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret", 0x7f000010)));
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret", 0x7f000011)));
  const nv::message third = bench.chapLogin("ann", "secret", 0x7f000012);
  EXPECT_EQ(errorCode(third), portal::kErrSessionLimit);
  EXPECT_NE(third.get_string(portal::kPageMessage, "").find("$(username)"), std::string::npos);
  bench.command(portal::kLogout, 0x7f000010);
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret", 0x7f000012)));
  bench.admin("profile.set", {{"name", "default"}, {"shared-users", 0}});
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret", 0x7f000013))) << "0 is any number";
}

TEST_F(Login, CountsNoSessionThatIsOver) {
  bench.admin("profile.set", {{"name", "default"}, {"session-time", 60}});
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
  bench.clock.pass(60);
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret", kOtherClient)));
}

TEST_F(Login, AfterTheAccountsTimeIsRefused) {
  bench.admin("user.set", {{"name", "ann"}, {"limit-uptime", 100}});
  bench.chapLogin("ann", "secret");
  bench.clock.pass(70);
  bench.command(portal::kLogout);
  const nv::message second = bench.chapLogin("ann", "secret");
  EXPECT_EQ(second.get_u32(portal::kSessionEnd, 0) - second.get_u32(portal::kLoginTime, 0), 30u);
  bench.clock.pass(30);
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
  EXPECT_EQ(errorCode(bench.chapLogin("ann", "secret")), portal::kErrUptimeLimit);
  bench.admin("user.set", {{"name", "ann"}, {"reset-use", true}});
  bench.sweep();
  bench.admin("user.set", {{"name", "ann"}, {"reset-use", true}});
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
}

TEST_F(Login, AfterTheAccountsTrafficIsRefused) {
  bench.admin("user.set", {{"name", "ann"}, {"limit-bytes-total", 1000}});
  bench.chapLogin("ann", "secret");
  bench.admin("session.report", {{"address", "127.0.0.2"}, {"bytes-in", 400}, {"bytes-out", 100}});
  bench.command(portal::kLogout);
  const nv::message second = bench.chapLogin("ann", "secret");
  EXPECT_EQ(second.get_u64(portal::kLimitBytesTotal, 0), 500u) << "what is left";
  bench.admin("session.report", {{"address", "127.0.0.2"}, {"bytes-out", 500}});
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet))) << "the limit ends the session";
  EXPECT_EQ(errorCode(bench.chapLogin("ann", "secret")), portal::kErrTrafficLimit);
}

TEST_F(Login, OfAnAccountWhoseProfileIsGoneIsRefused) {
  manager::User user = *bench.parts->store.findUser("ann");
  user.profile = "gone";
  bench.parts->store.putUser(user);
  bench.parts->ledger.commit();
  EXPECT_EQ(errorCode(bench.chapLogin("ann", "secret")), portal::kErrConfig);
}

TEST_F(Login, IsRefusedWhileTheManagerShutsDown) {
  bench.parts->clerk.refuseLogins();
  EXPECT_EQ(errorCode(bench.chapLogin("ann", "secret")), portal::kErrShuttingDown);
  EXPECT_EQ(errorCode(bench.login({})), 0u) << "the page itself is shown";
  EXPECT_EQ(errorCode(bench.command(portal::kGet)), 0u);
}

TEST_F(Login, NotesTheOriginalDestination) {
  const std::string challenge = challengeOf(bench.login({}));
  nv::message request =
      loginOf({.user = "ann", .password = manager::chapAnswer(challenge, "secret")});
  request.insert_u32(portal::kOriginalAddress, 0xc0000207);
  request.insert_u32(portal::kOriginalPort, 8080);
  request.insert_raw(portal::kRadiusAttributes, {1, 3, 'x'});
  ASSERT_TRUE(isLoggedIn(bench.ask(request)));
  EXPECT_EQ(bench.admin("session.show", {{"address", "127.0.0.2"}})["original-destination"],
            "192.0.2.7:8080");
}

TEST_F(Login, HandsWhatItCarriesToTheAuthenticatorAndItsAttributesToThePages) {
  OtherUsers others;
  manager::Clerk clerk(bench.parts->ledger, others);
  manager::Portal asking(bench.parts->view, bench.parts->queue, clerk, others,
                         bench.parts->neighbours, 0);
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  nv::message request =
      loginOf({.user = "ann", .password = "other", .domain = "lab", .overHttps = true});
  request.insert_raw(portal::kRadiusAttributes, {1, 3, 'x'});
  std::optional<nv::message> reply;
  asking.receive(request, [&](const nv::message& message) { reply = message; });
  bench.runUntil([&] { return reply.has_value(); });
  ASSERT_TRUE(reply && isLoggedIn(*reply));
  EXPECT_EQ(others.asked.account, "ann@lab");
  EXPECT_EQ(others.asked.password, "other");
  EXPECT_TRUE(others.asked.overHttps);
  EXPECT_EQ(others.asked.clientAddress, kClient);
  EXPECT_EQ(others.asked.clientMac, "02:00:00:00:00:01");
  EXPECT_EQ(others.asked.radiusAttributes, "\x01\x03x");
  const std::vector<unsigned char> given{0x12, 4, 'h', 'i'};
  EXPECT_EQ(reply->get_raw(portal::kRadiusAttributes, {}), given);
  EXPECT_EQ(bench.command(portal::kStatus).get_raw(portal::kRadiusAttributes, {}), given);
}

TEST_F(Login, OfTheSameDeviceEndsItsSessionAtAnotherAddress) {
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  bench.setMac("127.0.0.3", "02:00:00:00:00:01");
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret", kOtherClient))) << "no session limit";
  bench.clock.pass(1);
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
}

}  // namespace
