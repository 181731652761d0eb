#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "tests/webserver/certificate.h"
#include "tests/webserver/http_client.h"
#include "tests/webserver/server_process.h"
#include "tests/webserver/tls_client.h"

namespace {

class TlsServer : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    writeCertificate("first", server_.file("c.pem"), server_.file("k.pem"));
    server_.settings("workers = 2\ncertificate = \"" + server_.file("c.pem") + "\"\nkey = \"" +
                     server_.file("k.pem") +
                     "\"\nheader-timeout = 2\nbody-timeout = 5\n"
                     "[[listen]]\nport = 0\ntls = true\n[[listen]]\nport = 0\n");
    server_.start();
  }

  static std::string bodyOf(const std::string& answer) {
    const std::size_t end = answer.find("\r\n\r\n");
    return end == std::string::npos ? "" : answer.substr(end + 4);
  }

  ServerProcess server_;
};

INSTANTIATE_TEST_SUITE_P(Versions, TlsServer, ::testing::Values(12, 13));

TEST_P(TlsServer, RequestsAreMarkedAsSuch) {
  TlsMemory memory(GetParam());
  const TlsClient client(server_.port(0), memory);
  ASSERT_TRUE(client.connected());
  const std::string answer = client.fetch("/x");
  EXPECT_NE(answer.find("protocol=https\n"), std::string::npos) << answer;
  EXPECT_NE(answer.find("ssl=1\n"), std::string::npos);
  EXPECT_NE(fetch(server_.port(1), "/x").body.find("ssl=0\n"), std::string::npos);
}

TEST_P(TlsServer, SessionIsResumedByEveryWorker) {
  const std::vector<pid_t> workers = server_.workers();
  ASSERT_EQ(workers.size(), 2u);
  TlsMemory memory(GetParam());
  // Each resumes what the other one gave.
  for (std::size_t i = 0; i < 4; ++i) {
    const pid_t other = workers[i % 2];
    ServerProcess::pause(other);
    const TlsClient client(server_.port(0), memory);
    ASSERT_TRUE(client.connected());
    EXPECT_EQ(client.resumed(), i > 0);
    EXPECT_EQ(bodyOf(client.fetch("/pid")), std::to_string(workers[1 - i % 2]));
    ASSERT_TRUE(memory.hasSession());
    ServerProcess::resume(other);
  }
}

TEST_P(TlsServer, SessionSurvivesAWorkerAndAReload) {
  TlsMemory memory(GetParam());
  ASSERT_FALSE(TlsClient(server_.port(0), memory).fetch("/pid").empty());
  const auto before = server_.workers();
  kill(before.at(0), SIGKILL);
  kill(before.at(1), SIGKILL);
  EXPECT_TRUE(
      eventually([&] { return !TlsClient(server_.port(0), memory).fetch("/pid").empty(); }));
  {
    const TlsClient client(server_.port(0), memory);
    EXPECT_FALSE(client.fetch("/pid").empty());
    EXPECT_TRUE(client.resumed());
  }
  server_.signal(SIGHUP);
  ASSERT_TRUE(eventually([&] { return server_.log().find("reloaded") != std::string::npos; }));
  const TlsClient client(server_.port(0), memory);
  EXPECT_FALSE(client.fetch("/pid").empty());
  EXPECT_TRUE(client.resumed());
}

TEST_P(TlsServer, HangUpBringsTheNewCertificate) {
  TlsMemory memory(GetParam());
  EXPECT_EQ(TlsClient(server_.port(0), memory).serverName(), "first");
  writeCertificate("second", server_.file("c.pem"), server_.file("k.pem"));
  server_.signal(SIGHUP);
  EXPECT_TRUE(eventually([&] {
    TlsMemory fresh(GetParam());
    return TlsClient(server_.port(0), fresh).serverName() == "second";
  })) << server_.log();
}

TEST_P(TlsServer, LargeAnswersAndLateBodiesGoThrough) {
  TlsMemory memory(GetParam());
  EXPECT_EQ(bodyOf(TlsClient(server_.port(0), memory).fetch("/big?3000000")).size(), 3000000u);
  const TlsClient client(server_.port(0), memory);
  ASSERT_TRUE(
      client.send("POST /body?1024 HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 6\r\n\r\n"));
  EXPECT_EQ(bodyOf(TlsClient(server_.port(0), memory).fetch("/big?2")), "bb");
  ASSERT_TRUE(client.send("abc"));
  ASSERT_TRUE(client.send("def"));
  EXPECT_NE(client.readUntil("body=abcdef").find("body=abcdef"), std::string::npos);
  ASSERT_TRUE(client.send(getText("/big?4")));
  EXPECT_NE(client.readUntil("bbbb").find("bbbb"), std::string::npos);
}

TEST_P(TlsServer, SocketThatTheModuleClosedSaysNothingMore) {
  TlsMemory memory(GetParam());
  const TlsClient client(server_.port(0), memory);
  ASSERT_TRUE(client.connected());
  EXPECT_EQ(client.fetch("/close"), "");
}

TEST_P(TlsServer, RubbishInPlaceOfAHandshakeHurtsNobody) {
  HttpClient rubbish(server_.port(0));
  rubbish.send("GET / HTTP/1.1\r\n\r\n");
  HttpClient silent(server_.port(0));
  TlsMemory memory(GetParam());
  EXPECT_EQ(bodyOf(TlsClient(server_.port(0), memory).fetch("/big?2")), "bb");
  EXPECT_TRUE(silent.ended()) << "a handshake has the time of a header";
}

TEST_P(TlsServer, RenegotiationIsRefusedWhileKeysMayBeUpdated) {
  TlsMemory memory(GetParam());
  const TlsClient client(server_.port(0), memory);
  ASSERT_TRUE(client.connected());
  EXPECT_EQ(client.askForNewKeys(), GetParam() == 13);
  EXPECT_EQ(bodyOf(TlsClient(server_.port(0), memory).fetch("/big?2")), "bb");
  if (GetParam() == 13) {
    EXPECT_EQ(bodyOf(client.fetch("/big?3")), "bbb");
  }
}

}  // namespace
