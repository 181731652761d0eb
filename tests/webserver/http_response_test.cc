#include "webserver/http_response.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace web {
namespace {

// Takes at most `step` bytes at a time, and every other time nothing.
class SlowTransport : public Transport {
 public:
  explicit SlowTransport(std::size_t step) : step_(step) {}
  Io read(char*) override { return {Io::kEnd}; }
  bool holdsBack() const override { return false; }
  Io write(const iovec* parts, int count) override {
    blocked_ = !blocked_;
    if (blocked_ && step_ < 1000) return {Io::kWantWrite};
    std::size_t taken = 0;
    for (int i = 0; i < count && taken < step_; ++i) {
      const std::size_t part = std::min(parts[i].iov_len, step_ - taken);
      text.append(static_cast<const char*>(parts[i].iov_base), part);
      taken += part;
    }
    return {Io::kBytes, taken};
  }
  void finish() override {}
  std::string text;

 private:
  const std::size_t step_;
  bool blocked_ = false;
};

class Answer : public ::testing::Test {
 protected:
  Answer() { response_.start(); }

  // What goes over the wire, without the Date line.
  std::string wire(const AnswerTo& to = {}, std::size_t step = 1u << 20) {
    SlowTransport transport(step);
    response_.compose(to);
    while (response_.write(transport).kind != Io::kBytes) {
    }
    const std::size_t date = transport.text.find("Date: ");
    EXPECT_NE(date, std::string::npos);
    transport.text.erase(date, transport.text.find("\r\n", date) + 2 - date);
    return transport.text;
  }

  HttpResponse response_;
};

TEST_F(Answer, HasStatusHeadersLengthAndBody) {
  response_.headers.addHeader("Content-Type", "text/html", false);
  *response_.getBufferedOutput(true) << "<p>";
  *response_.getOutput() << "x";
  response_.headers.addHeader("X-Late", 5, false);
  EXPECT_EQ(wire(),
            "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nX-Late: 5\r\nContent-Length: 4\r\n\r\n"
            "<p>x");
  EXPECT_TRUE(response_.staysOpen());
}

TEST_F(Answer, IsTheSameThroughANarrowPipe) {
  response_.headers.addHeader("A", "b", false);
  *response_.getBufferedOutput(true) << std::string(1000, 'x');
  EXPECT_EQ(wire({}, 7),
            "HTTP/1.1 200 OK\r\nA: b\r\nContent-Length: 1000\r\n\r\n" + std::string(1000, 'x'));
}

TEST_F(Answer, ReasonIsTheModules) {
  response_.setStatus(302, "Hotspot login required");
  response_.headers.addHeader("Location", "http://a/", false);
  EXPECT_EQ(wire(),
            "HTTP/1.1 302 Hotspot login required\r\nLocation: http://a/\r\n"
            "Content-Length: 0\r\n\r\n");
}

TEST_F(Answer, LengthIsTheServersAndGivenOnce) {
  response_.headers.addHeader("content-length", 99, false);
  response_.headers.addHeader("Content-Length", 1, false);
  response_.headers.addHeader("Transfer-Encoding", "chunked", false);
  response_.headers.addHeader("Connection", "close", false);
  response_.headers.addHeader("Date", "never", false);
  *response_.getOutput() << "abc";
  EXPECT_EQ(wire(), "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc");
}

TEST_F(Answer, HeadGetsTheLengthAndNoBody) {
  *response_.getOutput() << "abc";
  AnswerTo to;
  to.head = true;
  EXPECT_EQ(wire(to), "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n");
  EXPECT_EQ(response_.bodyBytes(), 0u);
}

TEST_F(Answer, NoContentHasNeitherBodyNorLength) {
  response_.setStatus(204, "");
  *response_.getOutput() << "abc";
  EXPECT_EQ(wire(), "HTTP/1.1 204 No Content\r\n\r\n");
}

TEST_F(Answer, SeveralFieldsOfOneNameStay) {
  response_.headers.addHeader("Set-Cookie", "a=1", false);
  response_.headers.addHeader("Set-Cookie", "b=2", false);
  const std::string text = wire();
  EXPECT_NE(text.find("Set-Cookie: a=1\r\nSet-Cookie: b=2\r\n"), std::string::npos) << text;
}

TEST_F(Answer, HostileHeadersCannotSplitIt) {
  response_.setStatus(302, "x\r\nEvil-Reason: 1");
  response_.headers.addHeader("Location", "http://a/\r\nEvil-Value: 1\r\n\r\nbody", false);
  response_.headers.addHeader("Bad Name", "dropped", false);
  response_.headers.addHeader("Bad\r\nEvil-Name", "dropped", false);
  response_.headers.addHeader("Nul", std::string("a\0b", 3), false);
  EXPECT_EQ(wire(),
            "HTTP/1.1 302 x  Evil-Reason: 1\r\nLocation: http://a/  Evil-Value: 1    body\r\n"
            "Nul: a b\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(Answer, EitherClearedFlagEndsTheConnection) {
  response_.keepAlive = false;
  EXPECT_NE(wire().find("Connection: close\r\n"), std::string::npos);
  EXPECT_FALSE(response_.staysOpen());
  response_.start();
  response_.reusable = false;
  EXPECT_NE(wire().find("Connection: close\r\n"), std::string::npos);
  EXPECT_FALSE(response_.staysOpen());
}

TEST_F(Answer, OldProtocolIsToldThatTheConnectionStays) {
  AnswerTo to;
  to.http11 = false;
  EXPECT_NE(wire(to).find("Connection: keep-alive\r\n"), std::string::npos);
}

TEST_F(Answer, OfAnInterceptedRequestIsNotStoredAndEndsTheConnection) {
  AnswerTo to;
  to.intercepted = true;
  EXPECT_EQ(wire(to),
            "HTTP/1.1 200 OK\r\nCache-Control: no-store\r\nContent-Length: 0\r\n"
            "Connection: close\r\n\r\n");
  EXPECT_FALSE(response_.staysOpen());
}

TEST_F(Answer, OfAnInterceptedRequestKeepsTheModulesWordOnCachesInOneField) {
  response_.headers.addHeader("Cache-Control", "no-cache", false);
  response_.headers.addHeader("cache-control", "", false);
  response_.headers.addHeader("cache-control", "max-age=0", false);
  response_.headers.addHeader("X-After", "1", false);
  AnswerTo to;
  to.intercepted = true;
  EXPECT_EQ(wire(to),
            "HTTP/1.1 200 OK\r\nX-After: 1\r\nCache-Control: no-cache, max-age=0, no-store\r\n"
            "Content-Length: 0\r\nConnection: close\r\n\r\n");
}

TEST_F(Answer, OfAnInterceptedRequestThatFailedIsNotStoredEither) {
  response_.replaceByError(503, "");
  AnswerTo to;
  to.intercepted = true;
  EXPECT_NE(wire(to).find("Cache-Control: no-store\r\n"), std::string::npos);
  EXPECT_FALSE(response_.staysOpen());
}

TEST_F(Answer, ErrorIsACompletePageAndTheLastWord) {
  response_.headers.addHeader("Cache-Control", "no-cache", false);
  *response_.getOutput() << "begun";
  response_.sendError(404, "<no>");
  *response_.getOutput() << "more";
  *response_.getBufferedOutput(true) << "more";
  response_.setStatus(200, "fine");
  response_.sendError(500, "later");
  const std::string text = wire();
  EXPECT_EQ(text.find("HTTP/1.1 404 Not Found\r\nCache-Control: no-cache\r\n"
                      "Content-Type: text/html\r\n"),
            0u)
      << text;
  EXPECT_NE(text.find("<p>&lt;no&gt;</p>"), std::string::npos);
  EXPECT_EQ(text.find("begun"), std::string::npos);
  EXPECT_EQ(text.find("more"), std::string::npos);
  EXPECT_EQ(text.find("later"), std::string::npos);
}

TEST_F(Answer, BusyTellsWhenToAskAgainAndDropsTheRest) {
  response_.setStatus(200, "fine");
  response_.headers.addHeader("Set-Cookie", "a=1", false);
  *response_.getOutput() << "begun";
  response_.replaceByError(503, "");
  const std::string text = wire();
  EXPECT_EQ(text.find("HTTP/1.1 503 Service Unavailable\r\n"), 0u);
  EXPECT_NE(text.find("Retry-After: 5\r\n"), std::string::npos);
  EXPECT_EQ(text.find("Set-Cookie"), std::string::npos);
  EXPECT_EQ(text.find("begun"), std::string::npos);
}

TEST_F(Answer, LostBodyIsAServerError) {
  *response_.getOutput() << "begun";
  response_.getOutput()->setstate(std::ios_base::badbit);
  EXPECT_EQ(wire().find("HTTP/1.1 500 Internal Server Error\r\n"), 0u);
}

TEST_F(Answer, StatusThatIsNoneIsAServerError) {
  for (const int status : {-1, 0, 99, 100, 199, 1000}) {
    response_.start();
    response_.setStatus(status, "");
    EXPECT_EQ(wire().find("HTTP/1.1 500 "), 0u) << status;
  }
}

}  // namespace
}  // namespace web
