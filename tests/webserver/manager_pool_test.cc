#include "webserver/manager_pool.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <future>
#include <set>
#include <thread>

#include "host/context.h"
#include "tests/webserver/scripted_manager.h"

namespace {

std::atomic<int> yields{0};
std::atomic<unsigned> yieldMs{0};

}  // namespace

// Instead of the C library's: the processor's turns are as long as a test wants them.
int sched_yield() noexcept {
  ++yields;
  std::this_thread::sleep_for(std::chrono::milliseconds(yieldMs));
  return 0;
}

namespace web {
namespace {

constexpr unsigned kCode = 0x08ff0007;

// What an exchange gave: the reply's text, or "error 0x..: text".
std::string ask(
    ManagerPool& pool, unsigned timeoutMs, const std::string& question = "",
    const std::function<bool()>& beforeWait = [] { return true; }) {
  nv::message request;
  request.insert_u32(kCode, 9);
  request.insert_string(kTextField, question);
  const nv::message reply = pool.exchange(request, timeoutMs, beforeWait);
  EXPECT_EQ(reply.size_u32(kRequestNumber), 0u) << "the number is not for the module";
  EXPECT_EQ(request.size_u32(kRequestNumber), 0u);
  unsigned code = 0;
  std::string text;
  if (!nv::isError(reply, &code, &text)) return reply.get_string(kTextField, "no text");
  char number[16];
  std::snprintf(number, sizeof number, "0x%x", code);
  return std::string("error ") + number + ": " + text;
}

const char* const kUnreachable = "error 0xfe0001: hotspot manager is not reachable";
const char* const kSilent = "error 0xfe0002: hotspot manager did not answer in time";

class Pool : public ::testing::Test {
 protected:
  ScriptedManager manager_;
  ManagerPool pool_{manager_.path()};
};

TEST_F(Pool, ExchangesOverOneConnectionAgainAndAgain) {
  manager_.start([](int connection, const nv::message& request) {
    EXPECT_EQ(request.get_u32(kCode, 0), 9u);
    ScriptedManager::send(
        connection, ScriptedManager::replyTo(request, "re " + request.get_string(kTextField, "")));
  });
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(ask(pool_, 5000, std::to_string(i)), "re " + std::to_string(i));
  }
  EXPECT_EQ(manager_.connections(), 1);
  EXPECT_EQ(pool_.idle(), 1u);
}

TEST_F(Pool, NumbersAreUnique) {
  std::mutex mutex;
  std::set<std::uint32_t> numbers;
  manager_.start([&](int connection, const nv::message& request) {
    {
      const std::lock_guard lock(mutex);
      EXPECT_TRUE(numbers.insert(request.get_u32(kRequestNumber, 0)).second);
    }
    ScriptedManager::send(connection, ScriptedManager::replyTo(request, "x"));
  });
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 50; ++n) EXPECT_EQ(ask(pool_, 5000), "x");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(numbers.size(), 400u);
  EXPECT_LE(manager_.connections(), 8);
}

// All ask at once and are answered in the opposite order, so that each reply comes while the others
// are waited for.
TEST_F(Pool, EachGetsItsOwnReplyInWhateverOrderTheyCome) {
  constexpr std::size_t kThreads = 8;
  constexpr int kRounds = 60;
  std::mutex mutex;
  std::vector<std::pair<int, nv::message>> held;
  manager_.start([&](int connection, const nv::message& request) {
    const std::lock_guard lock(mutex);
    held.emplace_back(connection, request);
    if (held.size() < kThreads) return;
    for (; !held.empty(); held.pop_back()) {
      const nv::message& asked = held.back().second;
      ScriptedManager::send(
          held.back().first,
          ScriptedManager::replyTo(asked, "re " + asked.get_string(kTextField, "")));
    }
  });
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < kRounds; ++round) {
        const std::string question = std::to_string(i) + "-" + std::to_string(round);
        EXPECT_EQ(ask(pool_, 120000, question), "re " + question);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  manager_.stop();  // its threads use what stands here
  EXPECT_EQ(manager_.requests(), static_cast<int>(kThreads) * kRounds);
}

TEST_F(Pool, NobodyThereIsToldAtOnce) {
  const auto begun = Clock::now();
  EXPECT_EQ(ask(pool_, 10000), kUnreachable);
  EXPECT_LT(Clock::now() - begun, std::chrono::seconds(5));
}

TEST_F(Pool, SilenceEndsAtTheDeadlineAndNotBefore) {
  manager_.start([](int, const nv::message&) {});
  const auto begun = Clock::now();
  EXPECT_EQ(ask(pool_, 150), kSilent);
  const auto took = Clock::now() - begun;
  EXPECT_GE(took, std::chrono::milliseconds(150));
  EXPECT_LT(took, std::chrono::seconds(5));
  EXPECT_EQ(pool_.idle(), 0u);
}

TEST_F(Pool, WaitIsAnnouncedOnce) {
  std::promise<void> announced;
  manager_.start([&](int connection, const nv::message& request) {
    announced.get_future().wait();
    ScriptedManager::send(connection, ScriptedManager::replyTo(request, "x"));
  });
  int waits = 0;
  const auto beforeWait = [&] {
    if (++waits == 1) announced.set_value();
    return true;
  };
  EXPECT_EQ(ask(pool_, 60000, "", beforeWait), "x");
  EXPECT_EQ(waits, 1);
}

TEST_F(Pool, DoesNotLookForAReplyWhereEachTurnTakesLong) {
  manager_.start([](int, const nv::message&) {});
  yields = 0;
  yieldMs = 20;
  EXPECT_EQ(ask(pool_, 10), kSilent);
  yieldMs = 0;
  // Before and after the wait was announced.
  EXPECT_LE(yields, 2);
}

TEST_F(Pool, LateReplyIsNeverTheNextRequests) {
  std::promise<void> over;
  const std::shared_future<void> released = over.get_future().share();
  manager_.start([released](int connection, const nv::message& request) {
    if (request.get_string(kTextField, "") == "slow") released.wait();
    ScriptedManager::send(
        connection, ScriptedManager::replyTo(request, "re " + request.get_string(kTextField, "")));
  });
  ASSERT_EQ(ask(pool_, 5000, "first"), "re first");
  EXPECT_EQ(ask(pool_, 20, "slow"), kSilent);
  over.set_value();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(ask(pool_, 5000, std::to_string(i)), "re " + std::to_string(i));
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

TEST_F(Pool, SecondReplyToOneRequestIsDropped) {
  manager_.start([](int connection, const nv::message& request) {
    const std::string text = "re " + request.get_string(kTextField, "");
    ScriptedManager::send(connection, ScriptedManager::replyTo(request, text));
    ScriptedManager::send(connection, ScriptedManager::replyTo(request, text));
  });
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(ask(pool_, 5000, std::to_string(i)), "re " + std::to_string(i));
    // Now and then time enough for the second one to be there.
    if (i % 4 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

TEST_F(Pool, ForeignReplyIsPassedOver) {
  manager_.start([](int connection, const nv::message& request) {
    nv::message foreign = ScriptedManager::replyTo(request, "foreign");
    foreign.insert_u32(kRequestNumber, request.get_u32(kRequestNumber, 0) + 1);
    ScriptedManager::send(connection, foreign);
    foreign.erase(kRequestNumber);
    ScriptedManager::send(connection, foreign);
    ScriptedManager::send(connection, ScriptedManager::replyTo(request, "own"));
  });
  EXPECT_EQ(ask(pool_, 5000), "own");
  EXPECT_EQ(pool_.idle(), 0u) << "a connection that gave a foreign reply is not used again";
}

TEST_F(Pool, GarbageIsNoReplyAndCostsTheConnection) {
  manager_.start([](int connection, const nv::message& request) {
    ScriptedManager::sendBytes(connection, "garbage");
    ScriptedManager::sendBytes(connection, std::string(70000, 'x'));
    if (request.get_string(kTextField, "") == "then") {
      ScriptedManager::send(connection, ScriptedManager::replyTo(request, "whole"));
    }
  });
  EXPECT_EQ(ask(pool_, 50), kSilent);
  EXPECT_EQ(ask(pool_, 5000, "then"), "whole");
  EXPECT_EQ(pool_.idle(), 0u);
}

TEST_F(Pool, ReplyByteByByteIsNoReply) {
  std::atomic<bool> whole{false};
  manager_.start([&](int connection, const nv::message& request) {
    const nv::message reply = ScriptedManager::replyTo(request, "own");
    if (whole) return ScriptedManager::send(connection, reply);
    for (const char byte : reply.encode()) {
      ScriptedManager::sendBytes(connection, std::string(1, byte));
    }
  });
  EXPECT_EQ(ask(pool_, 100), kSilent);
  EXPECT_EQ(pool_.idle(), 0u) << "the bytes that are left are nobody's";
  whole = true;
  EXPECT_EQ(ask(pool_, 120000), "own");
}

TEST_F(Pool, StreamOfGarbageStillEndsAtTheDeadline) {
  std::atomic<bool> over{false};
  manager_.start([&](int connection, const nv::message&) {
    while (!over) ScriptedManager::sendBytes(connection, "garbage");
  });
  EXPECT_EQ(ask(pool_, 100), kSilent);
  over = true;
  manager_.stop();
}

TEST_F(Pool, ConnectionThatEndsMeansUnreachableAndNoSecondTry) {
  manager_.start([](int connection, const nv::message&) { shutdown(connection, SHUT_RDWR); });
  EXPECT_EQ(ask(pool_, 5000), kUnreachable);
  EXPECT_EQ(manager_.requests(), 1);
}

TEST_F(Pool, RestartedManagerIsFoundAgain) {
  manager_.start(ScriptedManager::answering("one"));
  ASSERT_EQ(ask(pool_, 5000), "one");
  for (int i = 0; i < 5; ++i) {
    manager_.stop();
    EXPECT_EQ(ask(pool_, 5000), kUnreachable);
    manager_.start(ScriptedManager::answering("two"));
    EXPECT_EQ(ask(pool_, 5000), "two");
    manager_.stop();
    manager_.start(ScriptedManager::answering("three"));
    EXPECT_EQ(ask(pool_, 5000), "three") << "the connection of before the restart is replaced";
  }
}

TEST_F(Pool, QuickReplyDoesNotCostTheLoop) {
  manager_.start(ScriptedManager::answering("quick"));
  int waits = 0;
  for (int i = 0; i < 200; ++i) ask(pool_, 5000, "", [&] { return ++waits > 0; });
  EXPECT_LT(waits, 200);
}

TEST_F(Pool, ExchangeIsGivenUpWhenItMayNotWait) {
  manager_.start([](int, const nv::message&) {});
  const auto begun = Clock::now();
  EXPECT_EQ(ask(pool_, 10000, "", [] { return false; }), kSilent);
  EXPECT_LT(Clock::now() - begun, std::chrono::seconds(5));
}

TEST_F(Pool, MessageThatIsTooLongIsNotSent) {
  manager_.start(ScriptedManager::answering("x"));
  EXPECT_EQ(ask(pool_, 1000, std::string(nv::kMaxMessageBytes, 'x')), kUnreachable);
  EXPECT_EQ(manager_.requests(), 0);
}

TEST_F(Pool, KeepsNoMoreThanItsIdleConnections) {
  manager_.start([](int connection, const nv::message& request) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ScriptedManager::send(connection, ScriptedManager::replyTo(request, "x"));
  });
  std::vector<std::thread> threads;
  for (int i = 0; i < 50; ++i) {
    threads.emplace_back([&] { EXPECT_EQ(ask(pool_, 10000), "x"); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(pool_.idle(), ManagerPool::kMaxIdle);
  EXPECT_GT(pool_.idle(), 0u);
}

TEST_F(Pool, NoDescriptorToBeHadMeansUnreachable) {
  manager_.start(ScriptedManager::answering("x"));
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  EXPECT_EQ(ask(pool_, 1000), kUnreachable);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(ask(pool_, 5000), "x");
}

}  // namespace
}  // namespace web
