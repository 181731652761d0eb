#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <list>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "tests/webserver/http_client.h"
#include "tests/webserver/scripted_manager.h"
#include "tests/webserver/server_process.h"
#include "webserver/manager_link.h"

namespace {

namespace fs = std::filesystem;

class Manager : public ::testing::Test {
 protected:
  void start(const std::string& toml) {
    server_.settings("manager-socket = \"" + manager_.path() + "\"\n" + toml);
    server_.start();
  }

  // Keeps every request until release().
  ScriptedManager::Handler holding() {
    return [this](int connection, const nv::message& request) {
      const std::lock_guard lock(mutex_);
      if (released_) {
        ScriptedManager::send(connection, ScriptedManager::replyTo(request, "late"));
      } else {
        held_.emplace_back(connection, request);
      }
    };
  }
  std::size_t held() {
    const std::lock_guard lock(mutex_);
    return held_.size();
  }
  void release() {
    const std::lock_guard lock(mutex_);
    released_ = true;
    for (const auto& [connection, request] : held_) {
      ScriptedManager::send(connection, ScriptedManager::replyTo(request, "late"));
    }
    held_.clear();
  }

  std::mutex mutex_;
  std::vector<std::pair<int, nv::message>> held_;
  bool released_ = false;
  ScriptedManager manager_;  // its threads use what stands above
  ServerProcess server_;
};

TEST_F(Manager, RepliesReachTheServlet) {
  manager_.start(ScriptedManager::answering("hello"));
  start("workers = 2\n");
  HttpClient client(server_.port());
  for (int i = 0; i < 50; ++i) ASSERT_EQ(client.get("/ask?5000").body, "reply hello");
}

TEST_F(Manager, ThatIsDownIsToldAtOnceAndFoundWhenItComes) {
  start("workers = 1\n");
  EXPECT_EQ(fetch(server_.port(), "/ask?120000").body,
            "error 16646145 hotspot manager is not reachable");
  manager_.start(ScriptedManager::answering("hello"));
  EXPECT_EQ(fetch(server_.port(), "/ask?5000").body, "reply hello");
  manager_.stop();
  EXPECT_EQ(fetch(server_.port(), "/ask?5000").body,
            "error 16646145 hotspot manager is not reachable");
  manager_.start(ScriptedManager::answering("again"));
  EXPECT_EQ(fetch(server_.port(), "/ask?5000").body, "reply again");
}

TEST_F(Manager, ThatIsSilentCostsTheRequestItsTimeAndNoMore) {
  manager_.start(holding());
  start("workers = 1\n");
  EXPECT_EQ(fetch(server_.port(), "/ask?100").body,
            "error 16646146 hotspot manager did not answer in time");
}

TEST_F(Manager, MayKeepManyWaitingWhileOthersAreServed) {
  constexpr std::size_t kWaiting = 200;
  manager_.start(holding());
  start("workers = 2\n");
  std::list<HttpClient> waiting;
  for (std::size_t i = 0; i < kWaiting; ++i) {
    ASSERT_TRUE(waiting.emplace_back(server_.port()).send(getText("/ask?120000")));
  }
  ASSERT_TRUE(eventually([&] { return held() == kWaiting; })) << held();
  for (int i = 0; i < 200; ++i) ASSERT_EQ(fetch(server_.port(), "/big?9").status, 200);
  release();
  for (HttpClient& each : waiting) EXPECT_EQ(each.answer().body, "reply late");
  // Their connections go on.
  for (HttpClient& each : waiting) EXPECT_EQ(each.get("/big?3").body, "bbb");
}

// The replies come in an order of chance, each behind another client's, behind one that belongs to
// nobody and behind garbage, and twice.
TEST_F(Manager, EachClientGetsItsOwnReply) {
  constexpr std::size_t kClients = 60;
  manager_.start(holding());
  start("workers = 2\n");
  const auto textOf = [](const nv::message& request) {
    return "for " + request.get_string(kTextField, "");
  };
  for (unsigned round = 0; round < 3; ++round) {
    std::list<HttpClient> clients;
    for (std::size_t i = 0; i < kClients; ++i) {
      ASSERT_TRUE(clients.emplace_back(server_.port())
                      .send(getText("/ask?120000&client-" + std::to_string(i))));
    }
    ASSERT_TRUE(eventually([&] { return held() == kClients; })) << held();
    {
      const std::lock_guard lock(mutex_);
      std::shuffle(held_.begin(), held_.end(), std::mt19937(round));
      for (std::size_t i = 0; i < kClients; ++i) {
        const auto& [connection, request] = held_[i];
        const nv::message& other = held_[(i + 1) % kClients].second;
        ScriptedManager::send(connection, ScriptedManager::replyTo(other, textOf(other)));
        nv::message nobodys = ScriptedManager::replyTo(request, "nobody's");
        nobodys.erase(web::kRequestNumber);
        ScriptedManager::send(connection, nobodys);
        ScriptedManager::sendBytes(connection, "garbage");
        const nv::message own = ScriptedManager::replyTo(request, textOf(request));
        ScriptedManager::send(connection, own);
        ScriptedManager::send(connection, own);
      }
      held_.clear();
    }
    std::size_t i = 0;
    for (HttpClient& each : clients) {
      EXPECT_EQ(each.answer().body, "reply for client-" + std::to_string(i++));
    }
  }
}

TEST_F(Manager, OnlyRequestsThatWaitTakeThreadsOfTheirOwn) {
  manager_.start(holding());
  start("workers = 1\n");
  const auto threads = [this] {
    const fs::path tasks = "/proc/" + std::to_string(server_.workers().at(0)) + "/task";
    return std::distance(fs::directory_iterator(tasks), fs::directory_iterator());
  };
  std::list<HttpClient> waiting;
  const auto wait = [this, &waiting] {
    return waiting.emplace_back(server_.port()).send(getText("/ask?120000"));
  };
  // With the first thread a sanitizer may start one of its own.
  ASSERT_TRUE(wait());
  ASSERT_TRUE(eventually([&] { return held() == 1; }));
  ASSERT_EQ(fetch(server_.port(), "/big?1").status, 200);
  const auto before = threads();
  std::list<HttpClient> busy;
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(busy.emplace_back(server_.port()).send(getText("/big?100000")));
  }
  for (HttpClient& each : busy) ASSERT_EQ(each.answer().status, 200);
  EXPECT_EQ(threads(), before) << "one thread serves whatever needs no manager";
  for (int i = 0; i < 2; ++i) ASSERT_TRUE(wait());
  ASSERT_TRUE(eventually([&] { return held() == 3; }));
  EXPECT_TRUE(eventually([&] { return threads() == before + 2; })) << threads();
  release();
  for (HttpClient& each : waiting) EXPECT_EQ(each.answer().body, "reply late");
}

TEST_F(Manager, RequestBeyondThoseThatMayWaitIsTurnedAwayAtOnce) {
  manager_.start(holding());
  start("workers = 2\nmax-waiting = 10\n");
  std::list<HttpClient> waiting;
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(waiting.emplace_back(server_.port()).send(getText("/ask?120000")));
  }
  ASSERT_TRUE(eventually([&] { return held() == 10; }));
  HttpClient client(server_.port());
  const HttpAnswer answer = client.get("/ask?120000");
  EXPECT_EQ(answer.status, 503);
  EXPECT_TRUE(answer.has("Retry-After: 5"));
  EXPECT_EQ(answer.body.find("reply"), std::string::npos);
  EXPECT_EQ(held(), 10u) << "the manager was not asked";
  EXPECT_EQ(client.get("/big?1").status, 200);
  release();
  for (HttpClient& each : waiting) EXPECT_EQ(each.answer().body, "reply late");
  EXPECT_EQ(client.get("/ask?120000").body, "reply late");
}

TEST_F(Manager, PlacesOfAKilledWorkersWaitersAreFreeAgain) {
  manager_.start(holding());
  start("workers = 1\nmax-waiting = 3\n");
  std::list<HttpClient> waiting;
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(waiting.emplace_back(server_.port()).send(getText("/ask?120000")));
  }
  ASSERT_TRUE(eventually([&] { return held() == 3; }));
  ASSERT_EQ(fetch(server_.port(), "/ask?120000").status, 503);
  kill(server_.workers().at(0), SIGKILL);
  for (HttpClient& each : waiting) EXPECT_EQ(each.answer().status, 0);
  release();
  EXPECT_TRUE(eventually([&] { return fetch(server_.port(), "/ask?5000").body == "reply late"; }));
}

TEST_F(Manager, ClientThatLeavesWhileItsRequestWaitsHurtsNobody) {
  manager_.start(holding());
  start("workers = 1\n");
  for (int i = 0; i < 20; ++i) {
    HttpClient client(server_.port());
    ASSERT_TRUE(client.send(getText("/ask?120000")));
    ASSERT_TRUE(eventually([&] { return held() > static_cast<std::size_t>(i); }));
  }
  release();
  EXPECT_EQ(fetch(server_.port(), "/ask?5000").body, "reply late");
  EXPECT_EQ(server_.log().find("error"), std::string::npos) << server_.log();
}

TEST_F(Manager, PipelinedRequestsBehindAWaitingOneKeepTheirOrder) {
  manager_.start(holding());
  start("workers = 1\n");
  HttpClient client(server_.port());
  ASSERT_TRUE(client.send(getText("/ask?120000") + getText("/big?1") + getText("/ask?120000") +
                          getText("/big?2")));
  ASSERT_TRUE(eventually([&] { return held() == 1; }));
  release();
  EXPECT_EQ(client.answer().body, "reply late");
  EXPECT_EQ(client.answer().body, "b");
  EXPECT_EQ(client.answer().body, "reply late");
  EXPECT_EQ(client.answer().body, "bb");
}

}  // namespace
