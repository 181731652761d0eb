#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "tests/webserver/http_client.h"
#include "tests/webserver/server_process.h"

namespace {

using Clock = std::chrono::steady_clock;

class Timeouts : public ::testing::Test {
 protected:
  // One time-out is short. The others are far longer than a test waits, so that none of them does
  // its work.
  void startWith(const std::string& shortOne, int secs) {
    std::string toml = "workers = 1\n" + shortOne + " = " + std::to_string(secs) + "\n";
    for (const char* each : {"header-timeout", "body-timeout", "idle-timeout", "write-timeout"}) {
      if (each != shortOne) toml += std::string(each) + " = 600\n";
    }
    server_.settings(toml);
    server_.start();
  }

  // Sends a header of 2 KB byte by byte, 20 ms apart, for as long as the server lets it.
  static void trickle(HttpClient& client) {
    const std::string text = getText("/big?1", "X: " + std::string(2000, 'x') + "\r\n");
    for (const char c : text) {
      if (!client.send(std::string(1, c)) || !client.silentFor(20)) break;
    }
  }

  ServerProcess server_;
};

TEST_F(Timeouts, EndAConnectionThatSaysNothing) {
  startWith("header-timeout", 2);
  HttpClient client(server_.port());
  EXPECT_TRUE(client.silentFor(1000));
  EXPECT_TRUE(client.ended());
}

TEST_F(Timeouts, EndAHeaderThatTricklesIn) {
  startWith("header-timeout", 2);
  HttpClient client(server_.port());
  const auto begun = Clock::now();
  trickle(client);
  EXPECT_TRUE(client.ended());
  EXPECT_GE(Clock::now() - begun, std::chrono::seconds(1));
  EXPECT_LT(Clock::now() - begun, std::chrono::seconds(15));
}

TEST_F(Timeouts, EndALaterHeaderThatTricklesIn) {
  startWith("header-timeout", 2);
  HttpClient client(server_.port());
  ASSERT_EQ(client.get("/big?1").status, 200);
  const auto begun = Clock::now();
  trickle(client);
  EXPECT_TRUE(client.ended());
  EXPECT_LT(Clock::now() - begun, std::chrono::seconds(15));
}

TEST_F(Timeouts, EndAnIdleConnection) {
  startWith("idle-timeout", 1);
  HttpClient client(server_.port());
  ASSERT_EQ(client.get("/big?1").status, 200);
  EXPECT_TRUE(client.silentFor(500));
  EXPECT_TRUE(client.ended());
}

TEST_F(Timeouts, EndAnAnswerThatStandsStill) {
  startWith("write-timeout", 1);
  HttpClient client(server_.port());
  ASSERT_TRUE(client.send(getText("/big?50000000")));
  // Two descriptors go with the connection.
  const int during = std::atoi(fetch(server_.port(), "/descriptors").body.c_str());
  EXPECT_TRUE(eventually(
      [&] { return std::atoi(fetch(server_.port(), "/descriptors").body.c_str()) <= during - 2; }));
  EXPECT_EQ(client.answer().status, 0) << "what the system still held is not the whole answer";
}

TEST_F(Timeouts, LeaveAnAnswerAloneThatMovesSlowly) {
  startWith("write-timeout", 2);
  constexpr std::size_t kPieces = 50;
  constexpr std::size_t kPieceBytes = 1200000;  // so that the system holds the last few alone
  HttpClient client(server_.port());
  ASSERT_TRUE(client.send(getText("/big?" + std::to_string(kPieces * kPieceBytes))));
  for (std::size_t i = 0; i < kPieces; ++i) {
    ASSERT_TRUE(client.skip(kPieceBytes)) << i;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

TEST_F(Timeouts, LeaveARequestAloneThatIsBeingServed) {
  server_.settings(
      "workers = 1\nheader-timeout = 1\nbody-timeout = 1\nidle-timeout = 1\nwrite-timeout = 1\n");
  server_.start();
  HttpClient client(server_.port());
  ASSERT_TRUE(client.send(getText("/sleep?2500")));
  EXPECT_EQ(client.answer().body, "slept");
}

}  // namespace
