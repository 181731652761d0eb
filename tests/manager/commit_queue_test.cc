// Work that shares a commit, and what the rest of the manager may see of it before.

#include "manager/commit_queue.h"

#include <gtest/gtest.h>

#include <future>

#include "manager/password.h"
#include "manager/portal_protocol.h"
#include "tests/manager/bench.h"

namespace {

namespace portal = manager::portal;

class CommitQueueTest : public testing::Test {
 protected:
  void TearDown() override { openGate(); }

  // Writes a setting, and fails behind the write while `fails` says so.
  manager::Work writing(const std::string& name, const bool* fails = nullptr) {
    return {[this, name, fails] {
              ++runs[name];
              bench.parts->store.putSetting(name, "x");
              if (fails && *fails) throw manager::StoreError("disk full, says the test");
            },
            noting(name)};
  }

  std::function<void(const manager::Outcome&)> noting(const std::string& name) {
    return [this, name](const manager::Outcome& outcome) {
      answers[name] = outcome.failure ? outcome.failure->text : "";
    };
  }

  // Holds the storage thread, with what `before` has done not committed, until openGate().
  void closeGate(const std::function<void()>& before = [] {}) {
    std::promise<void> reached;
    const std::shared_future<void> gate = gate_.get_future().share();
    bench.parts->queue.submit({[&reached, gate, before, first = true]() mutable {
                                 before();
                                 if (first) reached.set_value();
                                 first = false;
                                 gate.wait();
                               },
                               noting("gate")});
    reached.get_future().wait();
  }

  void openGate() {
    if (!open_) gate_.set_value();
    open_ = true;
  }

  void runAll() {
    bench.runUntil([&] { return bench.parts->queue.waiting() == 0; });
  }

  Bench bench;
  std::map<std::string, std::string> answers;
  std::map<std::string, int> runs;

 private:
  std::promise<void> gate_;
  bool open_ = false;
};

TEST_F(CommitQueueTest, TellsOfWorkBehindItsCommit) {
  manager::Work work = writing("a");
  work.done = [&](const manager::Outcome&) {
    // Had it not been committed yet, this would take it back.
    bench.parts->store.rollback();
    answers["a"] = "";
  };
  bench.parts->queue.submit(work);
  EXPECT_TRUE(answers.empty());
  runAll();
  EXPECT_EQ(answers.size(), 1u);
  EXPECT_EQ(bench.parts->store.loadSettings().size(), 1u);
}

TEST_F(CommitQueueTest, FailsThatPieceOfAGroupAloneThatCannotBeCommitted) {
  const bool fails = true;
  closeGate();
  bench.parts->queue.submit(writing("a"));
  bench.parts->queue.submit(writing("bad", &fails));
  bench.parts->queue.submit(writing("c"));
  openGate();
  runAll();
  EXPECT_EQ(answers["a"], "");
  EXPECT_EQ(answers["bad"], manager::kFailStore.text);
  EXPECT_EQ(answers["c"], "");
  EXPECT_EQ(runs["a"], 2) << "with the others, and by itself";
  EXPECT_EQ(runs["c"], 1) << "by itself alone";
  const std::map<std::string, std::string> kept = {{"a", "x"}, {"c", "x"}};
  EXPECT_EQ(bench.parts->store.loadSettings(), kept);
}

TEST_F(CommitQueueTest, WorksAgainWhenTheFailureIsOver) {
  bool fails = true;
  bench.parts->queue.submit(writing("a", &fails));
  runAll();
  EXPECT_EQ(answers["a"], manager::kFailStore.text);
  EXPECT_TRUE(bench.parts->store.loadSettings().empty());
  fails = false;
  bench.parts->queue.submit(writing("a", &fails));
  runAll();
  EXPECT_EQ(answers["a"], "");
}

TEST_F(CommitQueueTest, AnswersAnyOtherExceptionAsInternal) {
  manager::Work work = writing("a");
  work.run = [] { throw std::bad_alloc(); };
  bench.parts->queue.submit(work);
  runAll();
  EXPECT_EQ(answers["a"], manager::kFailInternal.text);
}

TEST_F(CommitQueueTest, TellsTheOthersWhenOneCannotBeTold) {
  closeGate();
  manager::Work work = writing("a");
  work.done = [](const manager::Outcome&) { throw std::bad_alloc(); };
  bench.parts->queue.submit(work);
  bench.parts->queue.submit(writing("b"));
  openGate();
  runAll();
  EXPECT_EQ(answers["b"], "");
  EXPECT_EQ(bench.parts->queue.waiting(), 0u);
}

TEST_F(CommitQueueTest, RefusesWorkBeyondItsMost) {
  closeGate();
  const std::size_t most = manager::CommitQueue::kMaxWaiting;
  std::size_t done = 0;
  for (std::size_t i = 1; i < most; ++i) {
    bench.parts->queue.submit(
        {[] {}, [&](const manager::Outcome& outcome) { done += outcome.failure ? 0 : 1; }});
  }
  bench.parts->queue.submit(writing("late"));
  EXPECT_TRUE(answers.empty()) << "not within the call";
  bench.runUntil([&] { return answers.size() == 1; });
  EXPECT_EQ(answers["late"], manager::kFailOverloaded.text);
  bool swept = false;
  bench.parts->queue.sweep([&](const manager::Outcome&) { swept = true; });
  openGate();
  runAll();
  EXPECT_TRUE(swept) << "sessions end all the same";
  EXPECT_EQ(done, most - 1);
  bench.parts->queue.submit(writing("later"));
  runAll();
  EXPECT_EQ(answers["later"], "");
}

TEST_F(CommitQueueTest, DoesWhatWaitsBeforeItsEnd) {
  closeGate();
  bench.parts->queue.submit(writing("a"));
  openGate();
  bench.parts->queue.finish();
  EXPECT_EQ(bench.parts->store.loadSettings().count("a"), 1u);
}

TEST_F(CommitQueueTest, HoldsUpNothingThatChangesNothing) {
  bench.addUser("ann", "secret");
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
  closeGate();
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kStatus)));
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kGet)));
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kAlogin)));
  EXPECT_EQ(errorCode(bench.command(portal::kStatus, kOtherClient)), portal::kErrNotLoggedIn);
  EXPECT_EQ(challengeOf(bench.login({}, kOtherClient)).size(), 17u) << "the login page";
}

TEST_F(CommitQueueTest, ShowsNoSessionThatIsNotCommitted) {
  manager::Session session;
  session.address = kClient;
  session.account = "ann";
  session.profile = "default";
  session.lastActiveAt = session.loginAt = bench.clock.uptime;
  closeGate([&] { bench.parts->ledger.open(session); });
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
  openGate();
  runAll();
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kGet)));
}

TEST_F(CommitQueueTest, ShowsASessionUntilItsEndIsCommitted) {
  bench.addUser("ann", "secret");
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
  closeGate([&] { bench.parts->ledger.end(kClient, manager::EndReason::kLogout); });
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kGet)));
  openGate();
  runAll();
  EXPECT_FALSE(isLoggedIn(bench.command(portal::kGet)));
}

TEST_F(CommitQueueTest, ShowsNoSettingOrProfileThatIsNotCommitted) {
  bench.addUser("ann", "secret");
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
  closeGate([&] {
    manager::Profile profile = *bench.parts->ledger.findProfile("default");
    profile.refreshSecs = 7;
    bench.parts->ledger.putProfile(profile);
    bench.parts->ledger.keepSetting("server-name", "Harbour");
  });
  nv::message reply = bench.command(portal::kStatus);
  EXPECT_EQ(reply.get_u32(portal::kRefresh, 0), 60u);
  EXPECT_FALSE(reply.size_field(portal::kServerName));
  openGate();
  runAll();
  reply = bench.command(portal::kStatus);
  EXPECT_EQ(reply.get_u32(portal::kRefresh, 0), 7u);
  EXPECT_EQ(reply.get_string(portal::kServerName, ""), "Harbour");
}

TEST_F(CommitQueueTest, KeepsActivityThatWasSeenWhileTheDiskWasBusy) {
  bench.addUser("ann", "secret");
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
  closeGate();
  bench.clock.pass(1700);  // the idle time-out is 1800
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kStatus)));
  bench.clock.pass(1700);
  openGate();
  runAll();
  bench.sweep();
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kStatus)));
  EXPECT_EQ(bench.parts->ledger.sessions().size(), 1u);
}

TEST_F(CommitQueueTest, DoesNotEndTheSessionOfTheDeviceThatTheAddressNowBelongsTo) {
  bench.addUser("ann", "secret");
  bench.addUser("bob", "other");
  bench.setMac("127.0.0.2", "02:00:00:00:00:01");
  ASSERT_TRUE(isLoggedIn(bench.chapLogin("ann", "secret")));
  bench.setMac("127.0.0.2", "02:00:00:00:00:02");
  bench.clock.pass(1);  // a look at the page may go by the neighbour table of this second
  const std::string challenge = challengeOf(bench.login({}));
  const nv::message request =
      loginOf({.user = "bob", .password = manager::chapAnswer(challenge, "other")});
  ASSERT_TRUE(isLoggedIn(bench.ask(request)));
  bench.sweep();
  const nv::message reply = bench.command(portal::kGet);
  EXPECT_TRUE(isLoggedIn(reply));
  EXPECT_EQ(reply.get_string(portal::kUserName, ""), "bob");
}

TEST_F(CommitQueueTest, LeavesOneSessionOfWorkThatHadToRunTwice) {
  const bool fails = true;
  manager::Session session;
  session.address = kClient;
  session.account = "ann";
  session.profile = "default";
  session.lastActiveAt = session.loginAt = bench.clock.uptime;
  closeGate();
  bench.parts->queue.submit({[&] {
                               ++runs["open"];
                               bench.parts->ledger.open(session);
                             },
                             noting("open")});
  bench.parts->queue.submit(writing("bad", &fails));
  openGate();
  runAll();
  EXPECT_EQ(answers["open"], "");
  EXPECT_EQ(runs["open"], 2);
  EXPECT_EQ(bench.parts->enforcer.admitted, std::vector<std::uint32_t>{kClient});
  EXPECT_TRUE(bench.parts->enforcer.dismissed.empty());
  bench.restart();
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kGet)));
}

}  // namespace
