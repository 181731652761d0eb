// State over restarts, reboots and failed commits.

#include "manager/ledger.h"

#include <gtest/gtest.h>
#include <spdlog/spdlog.h>

#include <algorithm>

#include "manager/portal_protocol.h"
#include "tests/manager/bench.h"

namespace {

namespace portal = manager::portal;

class LedgerTest : public testing::Test {
 protected:
  void SetUp() override {
    bench.addUser("ann", "secret");
    bench.admin("profile.set", {{"name", "default"}, {"session-time", 3600}});
  }

  // The machine is off for a while, and its uptime begins anew.
  void reboot(std::int64_t offSecs, std::int64_t uptimeSecs) {
    bench.parts.reset();
    bench.clock.boot += "+";
    bench.clock.wall += offSecs + uptimeSecs;
    bench.clock.uptime = uptimeSecs;
    bench.restart();
  }

  std::uint64_t usedUptime() {
    return bench.admin("user.show", {{"name", "ann"}})["used-uptime"].get<std::uint64_t>();
  }

  Bench bench;
};

TEST_F(LedgerTest, KeepsEveryFieldOfASession) {
  bench.chapLogin("ann", "secret");
  manager::Session session = *bench.parts->ledger.sessions().find(kClient);
  session.mac = "02:00:00:00:00:01";
  session.domain = "lab";
  session.counters = {1, 2, 3, 0x7fffffffffffffff};
  session.limits = {0x7fffffffffffffff, 5, 6};
  session.advertDueAt = -5;
  session.advertsShown = 7;
  session.originalDestination = "192.0.2.7:80";
  session.radiusAttributes = std::string("\x01\x03\x00", 3);
  bench.parts->ledger.update(session);
  bench.parts->ledger.commit();
  bench.restart();
  EXPECT_EQ(*bench.parts->ledger.sessions().find(kClient), session);
}

TEST_F(LedgerTest, KeepsSessionsOverARestart) {
  const nv::message before = bench.chapLogin("ann", "secret");
  bench.clock.pass(100);
  bench.restart();
  const nv::message after = bench.command(portal::kStatus);
  EXPECT_TRUE(isLoggedIn(after));
  EXPECT_EQ(after.get_u32(portal::kLoginTime, 0), before.get_u32(portal::kLoginTime, 1));
  EXPECT_EQ(after.get_u32(portal::kSessionEnd, 0), before.get_u32(portal::kSessionEnd, 1));
  EXPECT_EQ(bench.parts->enforcer.admitted, std::vector<std::uint32_t>{kClient});
}

TEST_F(LedgerTest, DropsWhatWasNotCommitted) {
  bench.chapLogin("ann", "secret");
  bench.parts->ledger.end(kClient, manager::EndReason::kLogout);
  bench.restart();
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kGet)));
}

TEST_F(LedgerTest, EndsAtItsStartWhatRanOutMeanwhile) {
  bench.chapLogin("ann", "secret");
  bench.parts.reset();
  bench.clock.pass(4000);
  bench.restart();
  EXPECT_EQ(bench.parts->ledger.sessions().size(), 0u);
  EXPECT_EQ(usedUptime(), 3600u) << "until its end, not until it was noticed";
}

TEST_F(LedgerTest, DoesNotTakeItsOwnAbsenceForIdleness) {
  bench.chapLogin("ann", "secret");
  bench.parts.reset();
  bench.clock.pass(2000);  // the idle time-out is 1800
  bench.restart();
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kGet)));
  bench.clock.pass(1800);
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet))) << "it begins anew";
}

TEST_F(LedgerTest, KeepsTheLengthOfASessionOverAReboot) {
  bench.chapLogin("ann", "secret");
  bench.clock.pass(600);
  bench.command(portal::kGet);
  bench.settle();
  reboot(120, 30);
  const nv::message reply = bench.command(portal::kStatus);
  ASSERT_TRUE(isLoggedIn(reply));
  const auto now = static_cast<std::uint32_t>(bench.clock.uptime);
  EXPECT_EQ(now - reply.get_u32(portal::kLoginTime, 0), 750u) << "modulo 2^32, as pages reckon";
  EXPECT_EQ(reply.get_u32(portal::kSessionEnd, 0) - now, 3600u - 750u);
}

TEST_F(LedgerTest, EndsOverARebootWhatRanOutWhileTheMachineWasOff) {
  bench.chapLogin("ann", "secret");
  reboot(3600, 30);
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
  EXPECT_EQ(usedUptime(), 3600u);
}

TEST_F(LedgerTest, EndsOverARebootWhoIdledWhileTheMachineWasOff) {
  bench.chapLogin("ann", "secret");
  reboot(1790, 30);
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
}

TEST_F(LedgerTest, EndsEverySessionWhenTheWallClockWentBackOverAReboot) {
  bench.chapLogin("ann", "secret");
  bench.clock.pass(600);
  bench.command(portal::kGet);
  bench.settle();
  bench.clock.wall -= 100000;
  reboot(10, 30);
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
  EXPECT_EQ(bench.parts->ledger.sessions().size(), 0u);
  EXPECT_EQ(usedUptime(), 600u) << "as long as it was seen";
}

TEST_F(LedgerTest, FollowsAWallClockThatIsSetWhileItRuns) {
  bench.clock.wall = 1000;  // no battery: the clock begins near 1970
  bench.restart();
  bench.chapLogin("ann", "secret");
  bench.clock.wall = 1800000000;  // and the time arrives from the network
  bench.sweep();
  reboot(60, 30);
  const nv::message reply = bench.command(portal::kStatus);
  ASSERT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(static_cast<std::uint32_t>(bench.clock.uptime) - reply.get_u32(portal::kLoginTime, 0),
            90u);
}

TEST_F(LedgerTest, SweepEndsWhatIsOverInTheStoreToo) {
  bench.chapLogin("ann", "secret");
  bench.clock.pass(3600);
  bench.sweep();
  EXPECT_EQ(bench.parts->enforcer.dismissed, std::vector<std::uint32_t>{kClient});
  EXPECT_TRUE(bench.storedSessions().empty());
  EXPECT_EQ(usedUptime(), 3600u);
}

TEST_F(LedgerTest, SweepWritesActivityOnceAMinute) {
  bench.chapLogin("ann", "secret");
  bench.clock.pass(30);
  bench.command(portal::kGet);
  bench.sweep();
  EXPECT_EQ(bench.storedSessions().at(0).lastActiveAt, bench.clock.uptime - 30);
  bench.clock.pass(30);
  bench.sweep();
  EXPECT_EQ(bench.storedSessions().at(0).lastActiveAt, bench.clock.uptime - 30);
}

TEST_F(LedgerTest, SweepWritesSoManySessionsAtOnceAndTheOthersWithTheNext) {
  manager::Session session;
  session.account = "ann";
  session.profile = "default";
  session.loginAt = session.lastActiveAt = bench.clock.uptime;
  constexpr std::uint32_t kMany = manager::Ledger::kMaxWritten + 10;
  spdlog::set_level(spdlog::level::warn);  // no line for each of them
  for (std::uint32_t i = 0; i < kMany; ++i) {
    session.address = 0x7f010000 + i;
    bench.parts->ledger.open(session);
  }
  bench.parts->ledger.commit();
  spdlog::set_level(spdlog::level::info);
  bench.clock.pass(60);
  for (std::uint32_t i = 0; i < kMany; ++i) {
    bench.parts->ledger.touch(0x7f010000 + i, bench.clock.uptime);
  }
  const auto written = [&] {
    const std::vector<manager::Session> all = bench.storedSessions();
    return std::count_if(all.begin(), all.end(), [&](const manager::Session& each) {
      return each.lastActiveAt == bench.clock.uptime;
    });
  };
  bench.sweep();
  EXPECT_EQ(written(), static_cast<std::ptrdiff_t>(manager::Ledger::kMaxWritten));
  bench.sweep();
  EXPECT_EQ(written(), static_cast<std::ptrdiff_t>(kMany));
}

TEST_F(LedgerTest, SettleWritesEverySession) {
  bench.chapLogin("ann", "secret");
  bench.clock.pass(5);
  bench.command(portal::kGet);
  bench.settle();
  EXPECT_EQ(bench.storedSessions().at(0).lastActiveAt, bench.clock.uptime);
}

TEST_F(LedgerTest, SweepEndsASessionWhoseTrafficWasCounted) {
  bench.admin("profile.set", {{"name", "default"}, {"limit-bytes-in", 1000}});
  bench.chapLogin("ann", "secret");
  bench.parts->enforcer.report(kClient, {1000, 1, 0, 0});
  bench.sweep();
  EXPECT_TRUE(bench.storedSessions().empty());
}

TEST_F(LedgerTest, SweepFollowsAnIdleTimeoutThatWasMadeShorter) {
  bench.chapLogin("ann", "secret");
  bench.sweep();
  nv::message request = commandOf(portal::kSet);
  request.insert_u32(portal::kIdleTimeout, 10);
  EXPECT_TRUE(isLoggedIn(bench.ask(request)));
  bench.clock.pass(9);
  bench.sweep();
  EXPECT_EQ(bench.storedSessions().size(), 1u);
  bench.clock.pass(1);
  bench.sweep();
  EXPECT_TRUE(bench.storedSessions().empty());
}

TEST_F(LedgerTest, SweepLetsActiveSessionsBe) {
  bench.chapLogin("ann", "secret");
  for (int minutes = 0; minutes < 55; ++minutes) {
    bench.clock.pass(60);
    bench.command(portal::kGet);
    bench.sweep();
    ASSERT_EQ(bench.storedSessions().size(), 1u) << minutes;
  }
}

TEST_F(LedgerTest, StartSweepsWhatItKeptWhenItsTimeComes) {
  bench.chapLogin("ann", "secret");
  bench.clock.pass(100);
  bench.restart();
  bench.sweep();
  bench.clock.pass(1799);
  bench.sweep();
  EXPECT_EQ(bench.storedSessions().size(), 1u);
  bench.clock.pass(1);
  bench.sweep();
  EXPECT_TRUE(bench.storedSessions().empty());
}

TEST_F(LedgerTest, SweepForgetsExpiredCookies) {
  bench.admin("server.set", {{"cookie-lifetime", "100"}});
  bench.chapLogin("ann", "secret");
  bench.clock.pass(200);
  bench.sweep();
  EXPECT_TRUE(bench.parts->store.listCookies(-1, 10).empty());
}

TEST_F(LedgerTest, RollbackTakesProfilesAndSettingsBack) {
  manager::Profile profile = *bench.parts->ledger.findProfile("default");
  profile.sharedUsers = 99;
  bench.parts->ledger.putProfile(profile);
  bench.parts->ledger.removeProfile("trial");
  bench.parts->ledger.keepSetting("server-name", "x");
  EXPECT_EQ(bench.parts->ledger.settings().serverName, "x");
  bench.parts->ledger.rollback();
  EXPECT_EQ(bench.parts->ledger.findProfile("default")->sharedUsers, 1u);
  EXPECT_NE(bench.parts->ledger.findProfile("trial"), nullptr);
  EXPECT_EQ(bench.parts->ledger.settings().serverName, "");
  EXPECT_TRUE(bench.parts->ledger.keptSettings().empty());
  EXPECT_EQ(bench.parts->store.loadProfiles().at("default").sharedUsers, 1u);
}

TEST_F(LedgerTest, TellsTheEnforcerNothingThatWasRolledBack) {
  manager::Session session;
  session.address = kClient;
  session.account = "ann";
  session.lastActiveAt = session.loginAt = bench.clock.uptime;
  bench.parts->ledger.open(session);
  bench.parts->ledger.rollback();
  bench.parts->ledger.commit();
  EXPECT_TRUE(bench.parts->enforcer.admitted.empty());
  EXPECT_EQ(bench.parts->ledger.sessions().size(), 0u);
}

TEST_F(LedgerTest, HasNoMoreSessionsThanItMay) {
  bench.admin("profile.set", {{"name", "default"}, {"shared-users", 0}});
  bench.maxSessions = 3;
  bench.restart();
  for (std::uint32_t i = 0; i < 3; ++i) {
    EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret", 0x7f010000 + i)));
  }
  const nv::message refused = bench.chapLogin("ann", "secret");
  EXPECT_EQ(errorText(refused), manager::kFailFull.text);
  bench.command(portal::kLogout, 0x7f010000);
  EXPECT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
}

TEST_F(LedgerTest, SweepForgetsTheOldestCookiesAndTrialsBeyondTheirMost) {
  const std::int64_t most = manager::Ledger::kMaxCookies;
  ASSERT_EQ(most, manager::Ledger::kMaxTrials);
  for (std::int64_t i = 0; i < most + 5; ++i) {
    manager::Cookie cookie;
    cookie.id = static_cast<std::uint32_t>(i + 1);
    cookie.expiresWallSecs = bench.clock.wall + 1000 + i;
    ASSERT_TRUE(bench.parts->store.addCookie(cookie));
    bench.parts->store.putTrial(std::to_string(i), bench.clock.wall - most + i);
  }
  bench.parts->store.commit();
  bench.clock.pass(60);
  bench.sweep();
  manager::Store& store = bench.parts->store;
  EXPECT_FALSE(store.findCookie(5));
  EXPECT_TRUE(store.findCookie(6));
  EXPECT_TRUE(store.findCookie(static_cast<std::uint32_t>(most + 5)));
  EXPECT_FALSE(store.findTrial("4"));
  EXPECT_TRUE(store.findTrial("5"));
  EXPECT_FALSE(store.trimCookies(most)) << "nothing is left to do";
  EXPECT_FALSE(store.trimTrials(most));
}

TEST(Store, RefusesADatabaseOfANewerFormat) {
  const TemporaryDir dir;
  { manager::Store store(dir.file("db")); }
  {
    manager::Database db(dir.file("db"));
    db.execute("PRAGMA user_version = 99");
  }
  EXPECT_THROW(manager::Store store(dir.file("db")), manager::StoreError);
}

TEST(Store, RefusesAFileThatIsNoDatabase) {
  const TemporaryDir dir;
  dir.write("db", std::string(8192, 'x'));
  try {
    manager::Store store(dir.file("db"));
    FAIL() << "opened";
  } catch (const manager::StoreError& error) {
    EXPECT_NE(std::string(error.what()).find(dir.file("db")), std::string::npos) << error.what();
  }
}

TEST(Store, BelongsToOneManagerAtATime) {
  const TemporaryDir dir;
  const manager::Store first(dir.file("db"));
  try {
    manager::Store second(dir.file("db"));
    FAIL() << "opened twice";
  } catch (const manager::StoreError& error) {
    EXPECT_NE(std::string(error.what()).find("another process"), std::string::npos) << error.what();
  }
}

// The session is committed, and its client would be held back for ever: a new start tells of it.
TEST(LedgerEnd, EndsTheProcessWhenTheEnforcerCannotBeToldOfACommit) {
  struct FullEnforcer : manager::ReportedCounters {
    void admit(const manager::Session&) override { throw std::bad_alloc(); }
  };
  const TemporaryDir dir;
  const FakeClock clock;
  FullEnforcer enforcer;
  manager::Store store(dir.file("db"));
  manager::Ledger ledger(store, clock, enforcer, {});
  ledger.start();
  manager::Session session;
  session.address = kClient;
  ledger.open(session);
  EXPECT_EXIT(ledger.commit(), testing::ExitedWithCode(1), "cannot go on and ends: out of memory");
}

}  // namespace
