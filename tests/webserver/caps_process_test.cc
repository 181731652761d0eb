#include <gtest/gtest.h>
#include <signal.h>

#include <list>
#include <vector>

#include "tests/webserver/http_client.h"
#include "tests/webserver/server_process.h"

namespace {

TEST(Caps, NewestConnectionOfAClientBeyondItsShareIsRefused) {
  ServerProcess server;
  server.settings("workers = 2\nmax-connections-per-client = 5\n");
  server.start();
  std::list<HttpClient> clients;
  for (int i = 0; i < 5; ++i) {
    ASSERT_EQ(clients.emplace_back(server.port()).get("/big?1").status, 200);
  }
  HttpClient refused(server.port());
  EXPECT_TRUE(refused.ended());
  for (HttpClient& each : clients) EXPECT_EQ(each.get("/big?1").status, 200);
  EXPECT_EQ(HttpClient(server.port(), "127.0.0.9").get("/big?1").status, 200)
      << "another client has a share of its own";
  clients.pop_front();
  EXPECT_TRUE(eventually([&] { return fetch(server.port(), "/big?1").status == 200; }));
}

TEST(Caps, ConnectionsInAllHoldOverTheWorkers) {
  ServerProcess server;
  server.settings("workers = 2\nmax-connections = 20\n");
  server.start();
  const std::vector<pid_t> workers = server.workers();
  ASSERT_EQ(workers.size(), 2u);
  std::list<HttpClient> clients;
  const auto open = [&] {
    return clients.emplace_back(server.port(), "127.0.0." + std::to_string(10 + clients.size()))
        .get("/pid");
  };
  // Half of the places are one worker's, half the other's.
  for (const std::size_t other : {1u, 0u}) {
    ServerProcess::pause(workers[other]);
    for (int i = 0; i < 10; ++i) ASSERT_EQ(open().body, std::to_string(workers[1 - other]));
    ServerProcess::resume(workers[other]);
  }
  for (int i = 0; i < 10; ++i) EXPECT_EQ(open().status, 0) << "the newest are refused";
  int served = 0;
  for (HttpClient& each : clients) served += each.get("/big?1").status == 200 ? 1 : 0;
  EXPECT_EQ(served, 20);
}

// What a client that is slow on purpose can take of the places that logins wait in.
TEST(Caps, SlowBodiesLeaveHalfOfTheWaitingPlacesToOthers) {
  ServerProcess server;
  server.settings("workers = 1\nbody-timeout = 600\nmax-waiting = 4\n");
  server.start();
  const std::string post =
      "POST /body?1024 HTTP/1.1\r\nHost: 127.0.0.1\r\nExpect: 100-continue\r\n"
      "Content-Length: 3\r\n\r\n";
  std::list<HttpClient> slow;
  for (int i = 0; i < 2; ++i) {
    HttpClient& client = slow.emplace_back(server.port());
    client.send(post);
    ASSERT_EQ(client.answer().status, 100) << "its body is waited for";
  }
  HttpClient refused(server.port());
  refused.send(post);
  const HttpAnswer answer = refused.answer();
  EXPECT_EQ(answer.status, 503);
  EXPECT_TRUE(answer.has("Retry-After: 5"));
  EXPECT_EQ(fetch(server.port(), "/ask?1000").status, 200);
  slow.front().send("abc");
  EXPECT_EQ(slow.front().answer().body, "body=abc");
  HttpClient later(server.port());
  later.send(post);
  EXPECT_EQ(later.answer().status, 100) << "the place is free again";
}

TEST(Caps, PlacesOfAKilledWorkerAreFreeAgain) {
  ServerProcess server;
  server.settings("workers = 1\nmax-connections = 5\n");
  server.start();
  for (int round = 0; round < 3; ++round) {
    std::list<HttpClient> clients;
    for (int i = 0; i < 5; ++i) {
      ASSERT_TRUE(eventually(
          [&] { return clients.emplace_back(server.port()).get("/big?1").status == 200; }));
    }
    ASSERT_EQ(HttpClient(server.port()).get("/big?1").status, 0);
    const pid_t worker = std::stoi(clients.back().get("/pid").body);
    kill(worker, SIGKILL);
    ASSERT_TRUE(eventually([&] {
      const auto workers = server.workers();
      return workers.size() == 1 && workers[0] != worker;
    }));
  }
}

}  // namespace
