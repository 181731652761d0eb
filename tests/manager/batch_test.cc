// Requests that share a commit.

#include "manager/batch.h"

#include <gtest/gtest.h>

#include "manager/portal_protocol.h"
#include "tests/manager/bench.h"

namespace {

namespace portal = manager::portal;

class BatchTest : public testing::Test {
 protected:
  // Work that writes a setting, and fails behind the write while `fails` says so.
  manager::Work writing(const std::string& name, const bool* fails) {
    manager::Work work;
    work.run = [this, name, fails] {
      bench.parts->store.putSetting(name, "x");
      if (fails && *fails) throw manager::StoreError("disk full, says the test");
      return nv::message();
    };
    work.failed = [](const manager::Failure& failure) {
      nv::message reply;
      nv::setError(&reply, failure.code, failure.text);
      return reply;
    };
    work.respond = [this, name](const nv::message& reply) {
      // What is answered well has to be on disk by now: a rollback must not take it back.
      bench.parts->store.rollback();
      answers[name] = errorText(reply);
    };
    return work;
  }

  void run() {
    bench.parts->loop.restart();
    bench.parts->loop.poll();
  }

  Bench bench;
  std::map<std::string, std::string> answers;
};

TEST_F(BatchTest, AnswersEachRequestBehindTheCommit) {
  bench.parts->batch.submit(writing("a", nullptr));
  bench.parts->batch.submit(writing("b", nullptr));
  EXPECT_TRUE(answers.empty());
  run();
  EXPECT_EQ(answers, (std::map<std::string, std::string>{{"a", ""}, {"b", ""}}));
  EXPECT_EQ(bench.parts->store.loadSettings().size(), 2u);
}

TEST_F(BatchTest, FailsTheRequestAloneThatCannotBeCommitted) {
  const bool fails = true;
  bench.parts->batch.submit(writing("a", nullptr));
  bench.parts->batch.submit(writing("bad", &fails));
  bench.parts->batch.submit(writing("c", nullptr));
  run();
  EXPECT_EQ(answers["a"], "");
  EXPECT_EQ(answers["bad"], manager::kFailStore.text);
  EXPECT_EQ(answers["c"], "");
  const std::map<std::string, std::string> kept = {{"a", "x"}, {"c", "x"}};
  EXPECT_EQ(bench.parts->store.loadSettings(), kept);
}

TEST_F(BatchTest, WorksAgainWhenTheFailureIsOver) {
  bool fails = true;
  bench.parts->batch.submit(writing("a", &fails));
  run();
  EXPECT_EQ(answers["a"], manager::kFailStore.text);
  EXPECT_TRUE(bench.parts->store.loadSettings().empty());
  fails = false;
  bench.parts->batch.submit(writing("a", &fails));
  run();
  EXPECT_EQ(answers["a"], "");
}

TEST_F(BatchTest, AnswersAnyOtherExceptionAsInternal) {
  manager::Work work = writing("a", nullptr);
  work.run = []() -> nv::message { throw std::bad_alloc(); };
  bench.parts->batch.submit(work);
  run();
  EXPECT_EQ(answers["a"], manager::kFailInternal.text);
}

TEST_F(BatchTest, LeavesNoSessionBehindThatWasNotCommitted) {
  bench.addUser("ann", "secret");
  const bool fails = true;
  nv::message reply;
  bench.parts->portal.receive(loginOf({.user = "ann", .password = "secret", .overHttps = true}),
                              [&](const nv::message& answer) { reply = answer; });
  bench.parts->batch.submit(writing("bad", &fails));
  run();
  EXPECT_TRUE(isLoggedIn(reply)) << "it went through by itself";
  EXPECT_EQ(bench.parts->ledger.sessions().size(), 1u);
  bench.restart();
  EXPECT_TRUE(isLoggedIn(bench.command(portal::kGet)));
}

}  // namespace
