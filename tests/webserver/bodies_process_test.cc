#include <gtest/gtest.h>

#include <thread>

#include "tests/webserver/http_client.h"
#include "tests/webserver/server_process.h"

namespace {

class Bodies : public ::testing::Test {
 protected:
  void SetUp() override {
    server_.settings("workers = 1\nbody-timeout = 1\n");
    server_.start();
  }

  static std::string post(const std::string& target, const std::string& fields,
                          const std::string& body) {
    return "POST " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + fields + "\r\n" + body;
  }
  static std::string sized(const std::string& target, const std::string& body) {
    return post(target, "Content-Length: " + std::to_string(body.size()) + "\r\n", body);
  }
  static std::string chunked(const std::string& target, const std::string& body) {
    return post(target, "Transfer-Encoding: chunked\r\n", body);
  }
  HttpAnswer ask(const std::string& text) {
    HttpClient client(server_.port());
    client.send(text);
    return client.answer();
  }

  ServerProcess server_;
};

TEST_F(Bodies, UpToTheLimitAreReadAndLongerOnesAreNot) {
  EXPECT_EQ(ask(sized("/body?5", "12345")).body, "body=12345");
  EXPECT_EQ(ask(sized("/body?5", "")).body, "body=");
  EXPECT_EQ(ask(sized("/body?5", "123456")).status, 400);
  EXPECT_EQ(ask(post("/body?5", "", "")).body, "body=");
}

TEST_F(Bodies, ChunkedOnesAreReadWithinTheLimit) {
  EXPECT_EQ(ask(chunked("/body?5", "2\r\nab\r\n3;x=y\r\ncde\r\n0\r\n\r\n")).body, "body=abcde");
  EXPECT_EQ(ask(chunked("/body?5", "2\r\nab\r\n4\r\ncdef\r\n0\r\n\r\n")).status, 400);
  EXPECT_EQ(ask(chunked("/body?5", "ffffffff\r\nab")).status, 400);
  EXPECT_EQ(ask(chunked("/body?5", "zz\r\nab\r\n")).status, 400);
  EXPECT_EQ(ask(chunked("/body?5", "1;" + std::string(40000, 'x'))).status, 400);
}

TEST_F(Bodies, ChunkedOnesMayComeAByteAtATime) {
  for (const std::string body : {"0\r\n\r\n", "2\r\nab\r\n0\r\nX: y\r\n\r\n", "0;a=b\r\n\r\n"}) {
    HttpClient client(server_.port());
    for (const char c : chunked("/body?5", body)) client.send(std::string(1, c));
    EXPECT_EQ(client.answer().body, body[0] == '2' ? "body=ab" : "body=") << body;
    client.send(chunked("/echo", "0\r\n\r"));
    EXPECT_EQ(client.answer().status, 200) << "nobody reads this body";
  }
}

TEST_F(Bodies, FieldsBehindAChunkedOneAreDropped) {
  HttpClient client(server_.port());
  client.send(
      "POST /echo HTTP/1.1\r\nHost: 127.0.0.1\r\nTransfer-Encoding: chunked\r\n\r\n"
      "0\r\nCookie: late\r\n\r\n");
  const HttpAnswer answer = client.answer();
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body.find("late"), std::string::npos);
  EXPECT_EQ(client.get("/big?1").body, "b");
}

TEST_F(Bodies, MayComeLaterThanTheHeaderAndInPieces) {
  HttpClient client(server_.port());
  client.send(post("/body?1024", "Content-Length: 6\r\n", ""));
  EXPECT_TRUE(client.silentFor(50));
  client.send("abc");
  EXPECT_TRUE(client.silentFor(50));
  // The loop serves others meanwhile.
  EXPECT_EQ(fetch(server_.port(), "/big?1").body, "b");
  client.send("def");
  EXPECT_EQ(client.answer().body, "body=abcdef");
  EXPECT_EQ(client.get("/big?1").body, "b") << "the connection goes on";
}

TEST_F(Bodies, ThatNeverComeEndTheRequestInTime) {
  HttpClient client(server_.port());
  client.send(post("/body?1024", "Content-Length: 6\r\n", "abc"));
  EXPECT_EQ(client.answer().status, 400);
  HttpClient gone(server_.port());
  gone.send(post("/body?1024", "Content-Length: 6\r\n", "abc"));
  gone.shutdownWrite();
  EXPECT_EQ(gone.answer().status, 400);
}

TEST_F(Bodies, ThatNobodyAskedForAreSkippedOrEndTheConnection) {
  {
    HttpClient client(server_.port());
    client.send(sized("/big?1", std::string(1000, 'x')) + getText("/big?2"));
    EXPECT_EQ(client.answer().body, "b");
    EXPECT_EQ(client.answer().body, "bb");
  }
  {
    HttpClient client(server_.port());
    client.send(post("/big?1", "Content-Length: 5000000\r\n", "x"));
    const HttpAnswer answer = client.answer();
    EXPECT_EQ(answer.body, "b");
    EXPECT_TRUE(answer.has("Connection: close"));
    client.send(std::string(100000, 'x'));
    EXPECT_TRUE(client.ended());
  }
}

TEST_F(Bodies, TooLongOnesThatAreHereLeaveTheConnectionInOrder) {
  HttpClient client(server_.port());
  client.send(sized("/body?5", "123456") + getText("/big?2"));
  EXPECT_EQ(client.answer().status, 400);
  EXPECT_EQ(client.answer().body, "bb");
}

TEST_F(Bodies, ClientThatWaitsForAWordGetsItOnlyWhenTheBodyIsWanted) {
  const std::string fields = "Expect: 100-continue\r\nContent-Length: 3\r\n";
  {
    HttpClient client(server_.port());
    client.send(post("/body?1024", fields, ""));
    EXPECT_EQ(client.answer().status, 100);
    client.send("abc");
    EXPECT_EQ(client.answer().body, "body=abc");
  }
  {
    HttpClient client(server_.port());
    client.send(post("/big?1", fields, ""));
    EXPECT_EQ(client.answer().status, 200);
  }
  // The old protocol has no such word.
  HttpClient client(server_.port());
  client.send("POST /body?1024 HTTP/1.0\r\nHost: 127.0.0.1\r\n" + fields + "\r\n");
  EXPECT_TRUE(client.silentFor(50));
  client.send("abc");
  EXPECT_EQ(client.answer().body, "body=abc");
}

}  // namespace
