#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "tests/webserver/http_client.h"
#include "tests/webserver/scripted_manager.h"
#include "tests/webserver/server_process.h"

namespace {

TEST(Signals, TerminationFinishesWhatIsInFlight) {
  for (const int signal : {SIGTERM, SIGINT}) {
    std::promise<void> stopping;
    ScriptedManager manager;
    manager.start([&](int connection, const nv::message& request) {
      stopping.get_future().wait();
      ScriptedManager::send(connection, ScriptedManager::replyTo(request, "slow"));
    });
    ServerProcess server;
    server.settings("workers = 2\nmanager-socket = \"" + manager.path() + "\"\n");
    server.start();
    HttpClient idle(server.port());
    ASSERT_EQ(idle.get("/big?1").status, 200);
    HttpClient fresh(server.port());
    HttpClient waiting(server.port());
    ASSERT_TRUE(waiting.send(getText("/ask?120000")));
    ASSERT_TRUE(eventually([&] { return manager.requests() == 1; }));
    HttpClient reading(server.port());
    constexpr std::size_t kLarge = 30000000;  // more than the system holds for a connection
    ASSERT_TRUE(reading.send(getText("/big?" + std::to_string(kLarge))));
    ASSERT_TRUE(reading.skip(1));
    HttpClient halfway(server.port());
    ASSERT_TRUE(halfway.send("GET /big?3 HTTP/1.1\r\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    server.signal(signal);
    EXPECT_TRUE(idle.ended());
    EXPECT_TRUE(fresh.ended());
    stopping.set_value();
    ASSERT_TRUE(halfway.send("Host: 127.0.0.1\r\n\r\n"));
    EXPECT_EQ(halfway.answer().body, "bbb");
    EXPECT_TRUE(reading.skip(kLarge)) << "an answer that was begun is finished";
    const HttpAnswer answer = waiting.answer();
    EXPECT_EQ(answer.body, "reply slow");
    EXPECT_TRUE(answer.has("Connection: close"));
    EXPECT_EQ(HttpClient(server.port()).get("/").status, 0) << "nobody new is let in";
    EXPECT_EQ(server.wait(), 0);
  }
}

TEST(Signals, TerminationLetsNobodyInWhileOthersAreFinished) {
  std::atomic<bool> released{false};
  ScriptedManager manager;
  manager.start([&](int connection, const nv::message& request) {
    EXPECT_TRUE(eventually([&] { return released.load(); }));
    ScriptedManager::send(connection, ScriptedManager::replyTo(request, "last"));
  });
  ServerProcess server;
  server.settings("workers = 2\nstop-timeout = 600\nmanager-socket = \"" + manager.path() + "\"\n");
  server.start();
  HttpClient waiting(server.port());
  ASSERT_TRUE(waiting.send(getText("/ask?120000")));
  ASSERT_TRUE(eventually([&] { return manager.requests() == 1; }));
  server.signal(SIGTERM);
  EXPECT_TRUE(eventually([&] { return !HttpClient(server.port()).connected(); }));
  EXPECT_TRUE(waiting.silentFor(0));
  released = true;
  EXPECT_EQ(waiting.answer().body, "reply last");
  EXPECT_EQ(server.wait(), 0);
}

TEST(Signals, TerminationWaitsNoLongerThanItMay) {
  ScriptedManager manager;
  manager.start([](int, const nv::message&) {});
  ServerProcess server;
  server.settings("workers = 1\nstop-timeout = 1\nmanager-socket = \"" + manager.path() + "\"\n");
  server.start();
  HttpClient waiting(server.port());
  ASSERT_TRUE(waiting.send(getText("/ask?120000")));
  ASSERT_TRUE(eventually([&] { return manager.requests() == 1; }));
  const auto begun = std::chrono::steady_clock::now();
  server.signal(SIGTERM);
  EXPECT_EQ(server.wait(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(15));
}

TEST(Signals, KilledWorkerIsReplacedAndTheOthersConnectionsGoOn) {
  ServerProcess server;
  server.start();
  HttpClient one(server.port());
  const pid_t survivor = std::stoi(one.get("/pid").body);
  pid_t victim = 0;
  for (const pid_t each : server.workers()) victim = each == survivor ? victim : each;
  ASSERT_GT(victim, 0);
  kill(victim, SIGKILL);
  ASSERT_TRUE(eventually([&] {
    const auto workers = server.workers();
    return workers.size() == 2 && workers[0] != victim && workers[1] != victim;
  }));
  EXPECT_EQ(std::stoi(one.get("/pid").body), survivor);
  EXPECT_NE(server.log().find("worker " + std::to_string(victim) + " was ended by signal 9"),
            std::string::npos);
}

TEST(Signals, WorkersThatDieAgainAndAgainAreReplacedEverSlower) {
  ServerProcess server;
  server.settings("workers = 1\n");
  server.start();
  for (int i = 0; i < 4; ++i) {
    pid_t worker = 0;
    ASSERT_TRUE(eventually([&] {
      const auto workers = server.workers();
      worker = workers.empty() ? 0 : workers[0];
      return worker > 0;
    }));
    kill(worker, SIGKILL);
    ASSERT_TRUE(eventually([&] {
      return server.log().find("worker " + std::to_string(worker) + " was ended") !=
             std::string::npos;
    }));
  }
  EXPECT_NE(server.log().find("in 100 ms"), std::string::npos) << server.log();
  EXPECT_NE(server.log().find("in 800 ms"), std::string::npos) << server.log();
  EXPECT_EQ(fetch(server.port(), "/big?1").status, 200);
}

TEST(Signals, WorkersEndWithTheirSupervisor) {
  ServerProcess server;
  server.start();
  fetch(server.port(), "/big?1");
  const auto workers = server.workers();
  ASSERT_EQ(workers.size(), 2u);
  server.signal(SIGKILL);
  EXPECT_EQ(server.wait(), 128 + SIGKILL);
  for (const pid_t each : workers) {
    EXPECT_TRUE(eventually([&] {
      // Nobody may be there to collect it: a dead one will do.
      const std::string stat = readFile("/proc/" + std::to_string(each) + "/stat");
      return stat.empty() || stat.find(") Z ") != std::string::npos;
    }));
  }
}

TEST(Signals, HangUpReloadsTheSettings) {
  std::promise<void> reloaded;
  ScriptedManager manager;
  manager.start([&](int connection, const nv::message& request) {
    reloaded.get_future().wait();
    ScriptedManager::send(connection, ScriptedManager::replyTo(request, "slow"));
  });
  ServerProcess server;
  const std::string socket = "manager-socket = \"" + manager.path() + "\"\n";
  const std::string listen = "[[listen]]\nport = 0\n";
  server.settings(socket + "workers = 2\n" + listen);
  server.start();
  const auto before = server.workers();
  HttpClient waiting(server.port());
  ASSERT_TRUE(waiting.send(getText("/ask?120000")));
  ASSERT_TRUE(eventually([&] { return manager.requests() == 1; }));
  server.settings(socket + "workers = 1\nmount = \"/portal\"\n" + listen);
  server.signal(SIGHUP);
  ASSERT_TRUE(eventually([&] { return fetch(server.port(), "/big?1").status == 404; }))
      << server.log();
  EXPECT_EQ(fetch(server.port(), "/portal/big?1").status, 200);
  reloaded.set_value();
  EXPECT_EQ(waiting.answer().body, "reply slow") << "what was in flight is finished";
  EXPECT_TRUE(eventually([&] { return server.workers().size() == 1; }));
  EXPECT_EQ(std::count(before.begin(), before.end(), server.workers().at(0)), 0);
}

TEST(Signals, HangUpWithAMistakeChangesNothing) {
  ServerProcess server;
  const std::string listen = "[[listen]]\nport = 0\n";
  server.settings("workers = 1\n" + listen);
  server.start();
  const auto before = server.workers();
  server.settings("workers = 0x\n" + listen);
  server.signal(SIGHUP);
  ASSERT_TRUE(
      eventually([&] { return server.log().find("error: not reloaded: ") != std::string::npos; }));
  EXPECT_NE(server.log().find("web.toml:3: not valid TOML"), std::string::npos) << server.log();
  server.settings("max-connections = 4097\n" + listen);
  server.signal(SIGHUP);
  EXPECT_TRUE(eventually([&] {
    return server.log().find("web.toml:3: max-connections: more than 4096 needs a restart") !=
           std::string::npos;
  })) << server.log();
  EXPECT_EQ(server.workers(), before);
  EXPECT_EQ(fetch(server.port(), "/big?1").status, 200);
}

}  // namespace
