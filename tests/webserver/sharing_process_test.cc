#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <map>
#include <thread>
#include <vector>

#include "tests/webserver/http_client.h"
#include "tests/webserver/server_process.h"

namespace {

// The second worker comes when the first has had time to take everything.
TEST(Sharing, BurstOfConnectionsGoesToBothWorkers) {
  constexpr int kBurst = 200;
  ServerProcess server;
  server.settings("workers = 2\n");
  server.start();
  const std::vector<pid_t> workers = server.workers();
  ASSERT_EQ(workers.size(), 2u);
  // Both are up: each serves while the other cannot.
  for (const std::size_t other : {1u, 0u}) {
    ServerProcess::pause(workers[other]);
    ASSERT_EQ(fetch(server.port(), "/pid").body, std::to_string(workers[1 - other]));
    ServerProcess::resume(workers[other]);
  }
  for (const pid_t each : workers) ServerProcess::pause(each);
  std::list<HttpClient> burst;
  for (int i = 0; i < kBurst; ++i) {
    ASSERT_TRUE(burst.emplace_back(server.port()).send(getText("/pid")));
  }
  std::map<std::string, int> served;
  ServerProcess::resume(workers[0]);
  auto next = burst.begin();
  for (int i = 0; i < 10; ++i) ++served[(next++)->answer().body];
  EXPECT_EQ(served[std::to_string(workers[0])], 10) << "it does not wait for the other for long";
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  ServerProcess::resume(workers[1]);
  while (next != burst.end()) ++served[(next++)->answer().body];
  EXPECT_GE(served[std::to_string(workers[1])], kBurst / 4) << "it left the other its share";
  EXPECT_EQ(served[std::to_string(workers[0])] + served[std::to_string(workers[1])], kBurst);
}

}  // namespace
