#include "webserver/loop.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <future>
#include <set>
#include <stdexcept>
#include <thread>

#include "webserver/logging.h"
#include "webserver/waiting.h"

namespace {

bool noThreads = false;

}  // namespace

// Stands in the way of the loop's own calls (--wrap of the linker).
extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                          void* argument) {
  return noThreads ? EAGAIN : __real_pthread_create(thread, attributes, run, argument);
}
}

namespace web {
namespace {

TEST(Loop, RunsHandlersOnTheCallersThreadUntilStopped) {
  Loop loop;
  int count = 0;
  boost::asio::post(loop.context(), [&] {
    EXPECT_TRUE(loop.leading());
    ++count;
    boost::asio::post(loop.context(), [&] {
      ++count;
      loop.stop();
    });
  });
  loop.run();
  EXPECT_EQ(count, 2);
  EXPECT_FALSE(loop.leading());
}

TEST(Loop, GoesOnWhileAHandlerIsBlocked) {
  Loop loop;
  std::promise<void> release;
  std::thread::id blocked;
  std::thread::id other;
  boost::asio::post(loop.context(), [&] {
    blocked = std::this_thread::get_id();
    ASSERT_TRUE(loop.stepAside());
    EXPECT_FALSE(loop.leading());
    EXPECT_TRUE(loop.stepAside()) << "a second time changes nothing";
    release.get_future().wait();
    boost::asio::post(loop.context(), [&] {
      EXPECT_TRUE(loop.leading());
      loop.stop();
    });
  });
  boost::asio::post(loop.context(), [&] {
    other = std::this_thread::get_id();
    release.set_value();
  });
  loop.run();
  EXPECT_NE(blocked, other);
}

TEST(Loop, ManyMayBlockAtOnceAndOneAtATimeLeads) {
  constexpr int kBlocked = 100;
  Loop loop;
  std::promise<void> release;
  const std::shared_future<void> released(release.get_future());
  std::atomic<int> leaders{0};
  int started = 0;
  std::atomic<int> finished{0};
  for (int i = 0; i < kBlocked; ++i) {
    boost::asio::post(loop.context(), [&, released] {
      EXPECT_EQ(++leaders, 1);
      ++started;
      --leaders;
      ASSERT_TRUE(loop.stepAside());
      released.wait();
      if (++finished == kBlocked) boost::asio::post(loop.context(), [&] { loop.stop(); });
    });
  }
  boost::asio::post(loop.context(), [&] {
    EXPECT_EQ(started, kBlocked);
    release.set_value();
  });
  loop.run();
  EXPECT_EQ(finished, kBlocked);
}

std::size_t ownStackBytes() {
  pthread_attr_t attributes;
  void* lowest = nullptr;
  std::size_t bytes = 0;
  EXPECT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
  EXPECT_EQ(pthread_attr_getstack(&attributes, &lowest, &bytes), 0);
  pthread_attr_destroy(&attributes);
  return bytes;
}

// Hundreds of them may wait at once.
TEST(Loop, SparesHaveSmallStacks) {
  Loop loop;
  std::promise<std::size_t> measured;
  boost::asio::post(loop.context(), [&] {
    ASSERT_TRUE(loop.stepAside());
    EXPECT_EQ(measured.get_future().get(), kSpareStackBytes);
    loop.stop();
  });
  boost::asio::post(loop.context(), [&] { measured.set_value(ownStackBytes()); });
  loop.run();
}

TEST(Loop, WithoutAThreadToBeHadTheCallerStillLeadsAndItsRequestIsRefused) {
  Loop loop;
  SharedCounters counters(1);
  ASSERT_TRUE(counters.connect(0, 1, 1, 1));
  boost::asio::post(loop.context(), [&] {
    Waiting waiting(loop, counters, 0);
    EXPECT_TRUE(waiting.enter(1));
    noThreads = true;
    EXPECT_FALSE(waiting.stepAside());
    noThreads = false;
    EXPECT_TRUE(loop.leading());
    EXPECT_TRUE(waiting.refused());
    loop.stop();
  });
  loop.run();
  EXPECT_EQ(counters.waiting(), 0u);
}

TEST(Loop, SparesAreUsedAgain) {
  Loop loop;
  std::set<std::thread::id> threads;
  std::mutex mutex;
  int left = 200;
  std::function<void()> next = [&] {
    ASSERT_TRUE(loop.stepAside());
    {
      const std::lock_guard lock(mutex);
      threads.insert(std::this_thread::get_id());
    }
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    if (--left > 0) {
      boost::asio::post(loop.context(), next);
    } else {
      boost::asio::post(loop.context(), [&] { loop.stop(); });
    }
  };
  boost::asio::post(loop.context(), next);
  loop.run();
  EXPECT_LT(threads.size(), 20u);
}

TEST(Loop, HandlerThatThrowsEndsTheProcess) {
  const auto throwOne = [] {
    startLogging("info");
    Loop loop;
    boost::asio::post(loop.context(), [] { throw std::runtime_error("no memory"); });
    loop.run();
  };
  EXPECT_EXIT(throwOne(), ::testing::ExitedWithCode(1), "the event loop failed: no memory");
}

}  // namespace
}  // namespace web
