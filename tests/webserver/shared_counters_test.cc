#include "webserver/shared_counters.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "webserver/client_counts.h"

namespace web {
namespace {

TEST(ClientCounts, AgreeWithAMapOverManyChanges) {
  constexpr std::size_t kCapacity = 64;
  std::vector<ClientCounts::Cell> cells(kCapacity);
  ClientCounts counts(cells.data(), kCapacity);
  std::map<std::uint32_t, std::uint32_t> expected;
  std::mt19937 random(1);
  for (int i = 0; i < 200000; ++i) {
    // Few addresses, many of them neighbours, so that their places collide. 0 is one of them.
    const std::uint32_t address =
        static_cast<std::uint32_t>(random() % 30) * (i % 2 == 0 ? 1u : 64u);
    if (random() % 2 == 0 && expected.size() < 30) {
      counts.add(address);
      ++expected[address];
    } else if (expected.count(address) > 0) {
      counts.remove(address);
      if (--expected[address] == 0) expected.erase(address);
    }
    ASSERT_EQ(counts.count(address), expected.count(address) > 0 ? expected[address] : 0);
  }
  for (std::uint32_t address = 0; address < 2000; ++address) {
    ASSERT_EQ(counts.count(address), expected.count(address) > 0 ? expected[address] : 0);
  }
}

TEST(SharedCounters, LimitsHoldOverAllParts) {
  SharedCounters counters(100);
  EXPECT_TRUE(counters.connect(0, 7, 4, 2));
  EXPECT_TRUE(counters.connect(1, 7, 4, 2));
  EXPECT_FALSE(counters.connect(2, 7, 4, 2)) << "a client's third";
  EXPECT_TRUE(counters.connect(2, 8, 4, 2));
  EXPECT_TRUE(counters.connect(2, 9, 4, 2));
  EXPECT_FALSE(counters.connect(0, 10, 4, 2)) << "the fifth in all";
  EXPECT_EQ(counters.connections(), 4u);
  counters.disconnect(1, 7);
  EXPECT_TRUE(counters.connect(0, 7, 4, 2));
}

TEST(SharedCounters, WaitingIsLimitedOverAllParts) {
  SharedCounters counters(10);
  ASSERT_TRUE(counters.connect(3, 1, 10, 10));  // parts up to 3 are in use
  EXPECT_TRUE(counters.enterWait(0, 2));
  EXPECT_TRUE(counters.enterWait(3, 2));
  EXPECT_FALSE(counters.enterWait(1, 2));
  EXPECT_EQ(counters.waiting(), 2u);
  counters.leaveWait(3);
  EXPECT_TRUE(counters.enterWait(1, 2));
}

TEST(SharedCounters, ClearForgetsOnePartAlone) {
  SharedCounters counters(10);
  ASSERT_TRUE(counters.connect(0, 1, 10, 10));
  ASSERT_TRUE(counters.connect(1, 1, 10, 10));
  ASSERT_TRUE(counters.enterWait(0, 10));
  ASSERT_TRUE(counters.enterWait(1, 10));
  counters.clear(0);
  EXPECT_EQ(counters.connections(), 1u);
  EXPECT_EQ(counters.waiting(), 1u);
  EXPECT_TRUE(counters.connect(0, 1, 10, 2));
  EXPECT_FALSE(counters.connect(0, 1, 10, 2));
}

// A worker that is killed again and again in the middle of its counting.
TEST(SharedCounters, KilledOwnerLeavesNothingBehind) {
  SharedCounters counters(1000);
  ASSERT_TRUE(counters.connect(1, 5, 1000, 1000));
  std::mt19937 random(2);
  for (int round = 0; round < 20; ++round) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (std::uint32_t i = 0;; ++i) {
        counters.connect(0, i % 100, 1000, 1000);
        counters.enterWait(0, 1000);
        if (i % 3 == 0) counters.leaveWait(0);
        if (i % 200 > 100) counters.disconnect(0, i % 100);
      }
    }
    usleep(static_cast<useconds_t>(500 + random() % 3000));
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_EQ(WTERMSIG(status), SIGKILL);
    counters.clear(0);
    ASSERT_EQ(counters.connections(), 1u);
    ASSERT_EQ(counters.waiting(), 0u);
    for (std::uint32_t client = 0; client < 100; ++client) {
      const unsigned limit = client == 5 ? 2 : 1;
      ASSERT_TRUE(counters.connect(0, client, 1000, limit));
      ASSERT_FALSE(counters.connect(0, client, 1000, limit));
      counters.disconnect(0, client);
    }
  }
}

}  // namespace
}  // namespace web
