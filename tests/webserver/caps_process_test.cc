#include <gtest/gtest.h>
#include <signal.h>

#include <list>
#include <set>

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
  std::list<HttpClient> clients;
  std::set<std::string> workers;
  int refused = 0;
  for (int i = 0; i < 30; ++i) {
    HttpClient& client = clients.emplace_back(server.port(), "127.0.0." + std::to_string(10 + i));
    const HttpAnswer answer = client.get("/pid");
    if (answer.status == 200) workers.insert(answer.body);
    refused += answer.status == 0 ? 1 : 0;
  }
  EXPECT_EQ(refused, 10);
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
