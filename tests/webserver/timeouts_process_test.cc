#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>

#include "tests/webserver/http_client.h"
#include "tests/webserver/server_process.h"

namespace {

using Clock = std::chrono::steady_clock;

class Timeouts : public ::testing::Test {
 protected:
  void SetUp() override {
    server_.settings("workers = 1\nheader-timeout = 2\nidle-timeout = 1\nwrite-timeout = 1\n");
    server_.start();
  }
  ServerProcess server_;
};

TEST_F(Timeouts, EndAConnectionThatSaysNothing) {
  HttpClient client(server_.port());
  EXPECT_TRUE(client.silentFor(1000));
  EXPECT_TRUE(client.ended());
}

TEST_F(Timeouts, EndAHeaderThatTricklesIn) {
  HttpClient client(server_.port());
  const auto begun = Clock::now();
  const std::string text = getText("/big?1", "X: " + std::string(2000, 'x') + "\r\n");
  for (const char c : text) {
    if (!client.send(std::string(1, c)) || !client.silentFor(20)) break;
  }
  EXPECT_TRUE(client.ended());
  EXPECT_GE(Clock::now() - begun, std::chrono::seconds(1));
  EXPECT_LT(Clock::now() - begun, std::chrono::seconds(15));
}

TEST_F(Timeouts, EndAnIdleConnection) {
  HttpClient client(server_.port());
  ASSERT_EQ(client.get("/big?1").status, 200);
  EXPECT_TRUE(client.silentFor(500));
  EXPECT_TRUE(client.ended());
}

TEST_F(Timeouts, EndAnAnswerThatStandsStill) {
  HttpClient client(server_.port());
  ASSERT_TRUE(client.send(getText("/big?50000000")));
  // Two descriptors go with the connection.
  const int during = std::atoi(fetch(server_.port(), "/descriptors").body.c_str());
  EXPECT_TRUE(eventually(
      [&] { return std::atoi(fetch(server_.port(), "/descriptors").body.c_str()) <= during - 2; }));
  EXPECT_EQ(client.answer().status, 0) << "what the system still held is not the whole answer";
}

TEST_F(Timeouts, LeaveARequestAloneThatIsBeingServed) {
  HttpClient client(server_.port());
  ASSERT_TRUE(client.send(getText("/sleep?2500")));
  EXPECT_EQ(client.answer().body, "slept");
}

}  // namespace
