#include <gtest/gtest.h>
#include <signal.h>

#include "tests/webserver/http_client.h"
#include "tests/webserver/server_process.h"

namespace {

class Http : public ::testing::Test {
 protected:
  void SetUp() override { server_.start(); }
  ServerProcess server_;
};

TEST_F(Http, RequestReachesTheServletAsItWasSent) {
  HttpClient client(server_.port());
  ASSERT_TRUE(client.send("GET /a%20b/c?x=%41 HTTP/1.1\r\nHost: 127.0.0.1\r\nX-One: 1\r\n\r\n"));
  const HttpAnswer answer = client.answer();
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body,
            "method=GET\nprotocol=http\npath=/a b/c\nrelPath=a b/c\nquery=x=%41\n"
            "client=127.0.0.1\nlocal=127.0.0.1\nssl=0\nforeign=0\nhost=1 127.0.0.1\n"
            "flags=00000000\nHost: 127.0.0.1\nX-One: 1\n");
  EXPECT_NE(answer.head.find("\r\nDate: "), std::string::npos);
}

TEST_F(Http, RequestForAnotherServerIsServedWhateverItsMethodAndPath) {
  for (const char* line :
       {"GET / HTTP/1.1", "POST /deep/er HTTP/1.1", "BREW /x HTTP/1.0", "OPTIONS * HTTP/1.1",
        "PUT http://www.example.com/x HTTP/1.1", "DELETE /x HTTP/1.1"}) {
    HttpClient client(server_.port());
    ASSERT_TRUE(
        client.send(std::string(line) + "\r\nHost: www.example.com\r\nContent-Length: 0\r\n\r\n"));
    const HttpAnswer answer = client.answer();
    EXPECT_EQ(answer.status, 200) << line;
    EXPECT_NE(answer.body.find("foreign=1\nhost=1 www.example.com\n"), std::string::npos)
        << line << answer.body;
  }
}

TEST_F(Http, ConnectionServesOneRequestAfterAnother) {
  HttpClient client(server_.port());
  const std::string pid = client.get("/pid").body;
  for (int i = 0; i < 100; ++i) ASSERT_EQ(client.get("/pid").body, pid);
}

TEST_F(Http, PipelinedRequestsAreAnsweredInOrder) {
  HttpClient client(server_.port());
  std::string text;
  for (int i = 0; i < 500; ++i) text += getText("/big?" + std::to_string(i));
  ASSERT_TRUE(client.send(text));
  for (std::size_t i = 0; i < 500; ++i) {
    const HttpAnswer answer = client.answer();
    ASSERT_EQ(answer.status, 200);
    ASSERT_EQ(answer.body.size(), i);
  }
}

TEST_F(Http, RequestMayComeByteByByte) {
  HttpClient client(server_.port());
  for (const char c : "\r\n" + getText("/big?5")) ASSERT_TRUE(client.send(std::string(1, c)));
  EXPECT_EQ(client.answer().body, "bbbbb");
}

TEST_F(Http, ConnectionEndsWhenEitherSideSaysSo) {
  {
    HttpClient client(server_.port());
    ASSERT_TRUE(client.send(getText("/big?1", "Connection: close\r\n")));
    EXPECT_TRUE(client.answer().has("Connection: close"));
    EXPECT_TRUE(client.ended());
  }
  {
    HttpClient client(server_.port());
    EXPECT_TRUE(client.get("/last").has("Connection: close"));
    EXPECT_TRUE(client.ended());
  }
  {
    HttpClient client(server_.port());
    ASSERT_TRUE(client.send("GET / HTTP/1.0\r\n\r\n"));
    EXPECT_EQ(client.answer().status, 200);
    EXPECT_TRUE(client.ended());
  }
  {
    HttpClient client(server_.port());
    ASSERT_TRUE(client.send("GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n"));
    EXPECT_TRUE(client.answer().has("Connection: keep-alive"));
    EXPECT_EQ(client.get("/").status, 200);
  }
}

TEST_F(Http, ConnectionEndsWithARequestForAnotherServer) {
  for (const char* version : {"1.0", "1.1"}) {
    HttpClient client(server_.port());
    EXPECT_EQ(client.get("/big?1").status, 200) << "of its own name it serves more than one";
    ASSERT_TRUE(client.send("GET /x HTTP/" + std::string(version) +
                            "\r\nHost: www.example.com\r\nConnection: keep-alive\r\n\r\n"));
    const HttpAnswer answer = client.answer();
    EXPECT_EQ(answer.status, 200);
    EXPECT_TRUE(answer.has("Connection: close")) << answer.head;
    EXPECT_TRUE(answer.has("Cache-Control: no-store")) << answer.head;
    EXPECT_TRUE(client.ended());
  }
}

TEST(HttpSettings, ListenerThatServesEveryNameAsItsOwnKeepsItsConnections) {
  ServerProcess server;
  server.settings("[[listen]]\naddress = \"127.0.0.1\"\nport = 0\nflags = 0x10000000\n");
  server.start();
  HttpClient client(server.port());
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(client.send("GET /x HTTP/1.1\r\nHost: www.example.com\r\n\r\n"));
    const HttpAnswer answer = client.answer();
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.head.find("Connection:"), std::string::npos) << answer.head;
    EXPECT_EQ(answer.head.find("Cache-Control:"), std::string::npos) << answer.head;
  }
}

TEST_F(Http, HeadHasTheHeaderOfGetAndNoBody) {
  HttpClient client(server_.port());
  ASSERT_TRUE(client.send("HEAD /big?1234 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"));
  EXPECT_TRUE(client.answer(true).has("Content-Length: 1234"));
  EXPECT_EQ(client.get("/big?3").body, "bbb") << "nothing lies between the two answers";
}

TEST_F(Http, MalformedRequestsAreRefused) {
  for (const char* text :
       {"\x01\x02\x03\r\n\r\n", "GET\r\n\r\n", "GET / HTTP/2.0\r\n\r\n", "GET / FTP/1.1\r\n\r\n",
        "GET  / HTTP/1.1\r\nHost: a\r\n\r\n", "GET / HTTP/1.1\r\n\r\n",
        "GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n", "GET /%zz HTTP/1.1\r\nHost: a\r\n\r\n",
        "GET /%00 HTTP/1.1\r\nHost: a\r\n\r\n", "GET x HTTP/1.1\r\nHost: a\r\n\r\n",
        "GET / HTTP/1.1\r\nHost: a\r\nBad Name: x\r\n\r\n",
        "GET / HTTP/1.1\r\nHost: a\r\nContent-Length: -1\r\n\r\n",
        "GET / HTTP/1.1\r\nHost: a\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n",
        "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n",
        "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: gzip\r\n\r\n",
        "POST / HTTP/1.0\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
        "GET / HTTP/1.1\nHost: a\n\n"}) {
    HttpClient client(server_.port());
    ASSERT_TRUE(client.send(text));
    EXPECT_EQ(client.answer().status, 400) << text;
    EXPECT_TRUE(client.ended()) << text;
  }
}

TEST_F(Http, RequestThatOthersReadDifferentlyIsRefusedAndEndsTheConnection) {
  const struct {
    const char* fields;
    int status;
  } cases[] = {
      {"Host: a\r\nX: y\r\n z\r\n", 400},
      {"Host: a\r\nContent-Length: 0\r\nContent-Length: 0\r\n", 400},
      {"Host: a\r\nTransfer-Encoding: gzip, chunked\r\n", 501},
      {"Host: a\r\nTransfer-Encoding: chunked x\r\n", 501},
      {"Host: a b\r\n", 400},
  };
  for (const auto& each : cases) {
    HttpClient client(server_.port());
    ASSERT_TRUE(client.send("POST / HTTP/1.1\r\n" + std::string(each.fields) + "\r\n0\r\n\r\n"));
    EXPECT_EQ(client.answer().status, each.status) << each.fields;
    EXPECT_TRUE(client.ended()) << each.fields;
  }
}

TEST_F(Http, HeaderOfUpTo16KiBPassesAndALongerOneDoesNot) {
  const std::size_t rest = getText("/big?2", "X: \r\n").size();
  {
    HttpClient client(server_.port());
    ASSERT_TRUE(client.send(getText("/big?2", "X: " + std::string(16384 - rest, 'x') + "\r\n")));
    EXPECT_EQ(client.answer().body, "bb");
    EXPECT_EQ(client.get("/big?1").body, "b");
  }
  for (const std::size_t more : {1u, 100u, 100000u}) {
    HttpClient client(server_.port());
    client.send(getText("/big?2", "X: " + std::string(16384 - rest + more, 'x') + "\r\n"));
    EXPECT_EQ(client.answer().status, 431) << more;
    EXPECT_TRUE(client.ended());
  }
  HttpClient client(server_.port());
  client.send("GET /" + std::string(20000, 'x'));
  EXPECT_EQ(client.answer().status, 431);
}

TEST_F(Http, ErrorPageIsCompleteAndEscaped) {
  HttpClient client(server_.port());
  const HttpAnswer answer = client.get("/error?404");
  EXPECT_EQ(answer.status, 404);
  EXPECT_TRUE(answer.has("Content-Type: text/html"));
  EXPECT_NE(answer.body.find("&lt;text&gt;"), std::string::npos);
  EXPECT_EQ(client.get("/big?1").status, 200);
}

TEST_F(Http, HeaderLinesCannotBeInjected) {
  const HttpAnswer answer = fetch(server_.port(), "/hostile");
  EXPECT_EQ(answer.status, 302);
  EXPECT_TRUE(answer.has("Location: http://a/  Evil-Value: 1    <script>"));
  EXPECT_TRUE(answer.has("Content-Length: 0"));
  EXPECT_EQ(answer.head.find("\nEvil"), std::string::npos) << answer.head;
  EXPECT_EQ(answer.head.find("100000"), std::string::npos);
}

TEST_F(Http, LargeBodyReachesAClientThatIsSlowToRead) {
  constexpr std::size_t kBytes = 20000000;
  HttpClient client(server_.port());
  ASSERT_TRUE(client.send(getText("/big?" + std::to_string(kBytes))));
  EXPECT_EQ(client.get("/big?7").body.size(), kBytes);
  EXPECT_EQ(client.answer().body.size(), 7u);
}

TEST_F(Http, ClientThatLeavesInTheMiddleHurtsNobody) {
  for (int i = 0; i < 50; ++i) {
    HttpClient client(server_.port());
    client.send(getText("/big?5000000"));
  }
  EXPECT_EQ(fetch(server_.port(), "/big?7").body.size(), 7u);
  EXPECT_EQ(server_.log().find("error"), std::string::npos) << server_.log();
}

TEST(HttpMount, PathOutsideOfTheMountPointIsNotFound) {
  ServerProcess server;
  server.settings("workers = 1\nmount = \"/portal\"\n");
  server.start();
  EXPECT_EQ(fetch(server.port(), "/other").status, 404);
  EXPECT_EQ(fetch(server.port(), "/portals").status, 404);
  const HttpAnswer answer = fetch(server.port(), "/portal/xml/login");
  EXPECT_EQ(answer.status, 200);
  EXPECT_NE(answer.body.find("path=/portal/xml/login\nrelPath=xml/login\n"), std::string::npos);
}

TEST(HttpListeners, EachGivesItsFlagsToItsConnections) {
  ServerProcess server;
  server.settings(
      "workers = 1\nserver-names = [\"hotspot.example\"]\n"
      "[[listen]]\naddress = \"127.0.0.1\"\nport = 0\n"
      "[[listen]]\naddress = \"127.0.0.1\"\nport = 0\nflags = 0x82000000\n"
      "[[listen]]\naddress = \"127.0.0.1\"\nport = 0\nflags = 0xffffffff\n");
  server.start();
  EXPECT_NE(fetch(server.port(0), "/").body.find("flags=00000000\n"), std::string::npos);
  EXPECT_NE(fetch(server.port(1), "/").body.find("flags=82000000\n"), std::string::npos);
  EXPECT_NE(fetch(server.port(2), "/").body.find("flags=f7ffffff\n"), std::string::npos)
      << "no setting makes a connection a redirected one";
  HttpClient client(server.port(0));
  ASSERT_TRUE(client.send("GET / HTTP/1.1\r\nHost: Hotspot.Example:8080\r\n\r\n"));
  EXPECT_NE(client.answer().body.find("foreign=0\nhost=1 Hotspot.Example:8080\n"),
            std::string::npos);
}

TEST(HttpLog, HasALineForEachRequestWithoutItsQuery) {
  ServerProcess server;
  server.settings("workers = 1\naccess-log = \"-\"\n");
  server.start();
  HttpClient client(server.port());
  client.get("/big?7");
  client.send("rubbish\r\n\r\n");
  client.answer();
  HttpClient dropped(server.port());
  dropped.send(getText("/close"));
  EXPECT_TRUE(dropped.ended());
  ASSERT_TRUE(eventually([&] {
    return server.output().find("127.0.0.1 http \"GET /close HTTP/1.1\" - 0 ") !=
               std::string::npos &&
           server.output().find("127.0.0.1 http \"GET /big HTTP/1.1\" 200 7 ") !=
               std::string::npos &&
           server.output().find("127.0.0.1 http \"-\" 400 ") != std::string::npos;
  })) << server.output();
  EXPECT_EQ(server.output().find("?7"), std::string::npos);
}

TEST(HttpDebug, TurnsTheModulesDebugStreamOn) {
  ServerProcess quiet;
  quiet.start();
  fetch(quiet.port(), "/one");
  ServerProcess loud;
  loud.start({"--debug"});
  fetch(loud.port(), "/two");
  EXPECT_NE(loud.log().find("debug line of two\n"), std::string::npos) << loud.log();
  EXPECT_EQ(quiet.log().find("debug line"), std::string::npos);
}

}  // namespace
