// The preview's server over real sockets.

#include "tools/hotspot_preview_server.h"

#include <gtest/gtest.h>

#include <boost/asio/post.hpp>
#include <chrono>
#include <deque>
#include <thread>

#include "tests/preview/preview_site.h"
#include "tests/webserver/http_client.h"

namespace {

class PreviewServer : public testing::Test {
 protected:
  PreviewServer() : server_(preview_.site(), 0), thread_([this] { server_.io().run(); }) {}
  ~PreviewServer() override {
    server_.io().stop();
    thread_.join();
  }

  unsigned port() const { return static_cast<unsigned>(std::stoul(server_.port())); }

  std::string request(const std::string& target, const std::string& fields = "") const {
    return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + server_.port() + "\r\n" + fields +
           "\r\n";
  }

  HttpAnswer ask(const std::string& bytes) const {
    HttpClient client(port());
    client.send(bytes);
    return client.answer();
  }

  PreviewSite preview_;
  preview::Server server_;
  std::thread thread_;
};

TEST_F(PreviewServer, ListensOnLoopbackAloneAndKeepsConnections) {
  HttpClient client(port());
  for (int i = 0; i < 3; ++i) {
    client.send(request("/"));
    EXPECT_EQ(client.answer().status, 200);
  }
  // Another address of this machine's loopback net leads to nobody.
  std::string ports = readFile("/proc/net/tcp");
  char own[32];
  std::snprintf(own, sizeof own, " 0100007F:%04X ", port());
  char any[32];
  std::snprintf(any, sizeof any, " 00000000:%04X ", port());
  EXPECT_NE(ports.find(own), std::string::npos);
  EXPECT_EQ(ports.find(any), std::string::npos);
}

TEST_F(PreviewServer, HostOfAnotherSiteIsRefused) {
  const HttpAnswer answer = ask("GET /api/gallery HTTP/1.1\r\nHost: evil.example\r\n\r\n");
  EXPECT_EQ(answer.status, 421);
  EXPECT_EQ(ask("GET /api/gallery HTTP/1.1\r\n\r\n").status, 421);
}

TEST_F(PreviewServer, TooLongIsRefused) {
  EXPECT_EQ(ask(request("/", "X: " + std::string(40000, 'x') + "\r\n")).status, 431);
  const std::string body(70000, 'x');
  EXPECT_EQ(ask("POST /login HTTP/1.1\r\nHost: login.preview.localhost:1\r\nContent-Length: " +
                std::to_string(body.size()) + "\r\n\r\n" + body)
                .status,
            413);
  EXPECT_EQ(ask("POST /login HTTP/1.1\r\nHost: login.preview.localhost:1\r\n"
                "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 13\r\n\r\n"
                "username=anna")
                .status,
            200);
}

TEST_F(PreviewServer, WhatIsNoRequestIsRefused) {
  EXPECT_EQ(ask("hello\r\n\r\n").status, 400);
  EXPECT_EQ(ask("GET login HTTP/1.1\r\nHost: 127.0.0.1:1\r\n\r\n").status, 400);
  EXPECT_EQ(ask("GET http://127.0.0.1:1/ HTTP/1.1\r\nHost: 127.0.0.1:1\r\n\r\n").status, 400);
}

TEST_F(PreviewServer, PortThatIsTakenIsSaidWithWhatToDo) {
  try {
    const preview::Server second(preview_.site(), static_cast<unsigned short>(port()));
    FAIL() << "it listens";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "cannot listen on 127.0.0.1:" + server_.port() +
                                ": Address already in use; choose another with --port");
  }
}

TEST_F(PreviewServer, EventsTellTheVersionAndEachChange) {
  HttpClient client(port());
  client.send(request("/events"));
  EXPECT_TRUE(client.hear("Content-Type: text/event-stream\r\n"));
  EXPECT_TRUE(client.hear("data: {\"files\":[],\"version\":1}\n\n"));
  boost::asio::post(server_.io(), [&] {
    preview_.noteChange();
    server_.tellChange({"login.html", "\xff\""});
  });
  EXPECT_TRUE(
      client.hear("event: change\ndata: {\"files\":[\"login.html\",\"\\ufffd\\\"\"],"
                  "\"version\":2}\n\n"));
}

TEST_F(PreviewServer, EventStreamsAreBounded) {
  std::deque<HttpClient> clients;
  for (std::size_t i = 0; i < preview::Server::kMostEventStreams; ++i) {
    clients.emplace_back(port()).send(request("/events"));
    ASSERT_TRUE(clients.back().hear("\"version\":1}")) << i;
  }
  EXPECT_EQ(ask(request("/events")).status, 503);
  clients.pop_front();
  // One that has gone makes room once the server has noticed.
  for (int i = 0; i < 6000; ++i) {
    HttpClient client(port());
    client.send(request("/events"));
    if (client.hear("HTTP/1.1 200 OK")) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  FAIL() << "no room again";
}

TEST_F(PreviewServer, SilentConnectionsAreEnded) {
  preview::Server impatient(preview_.site(), 0, std::chrono::milliseconds(200));
  std::thread thread([&] { impatient.io().run(); });
  const auto ports = static_cast<unsigned>(std::stoul(impatient.port()));
  HttpClient silent(ports);
  EXPECT_TRUE(silent.ended());
  HttpClient half(ports);
  half.send("GET / HTTP/1.1\r\nHost:");
  EXPECT_TRUE(half.ended());
  impatient.io().stop();
  thread.join();
}

TEST_F(PreviewServer, ConnectionsBeyondTheMostWaitTheirTurn) {
  std::deque<HttpClient> idle;
  for (std::size_t i = 0; i < preview::Server::kMostConnections; ++i) {
    idle.emplace_back(port()).send(request("/"));
    ASSERT_EQ(idle.back().answer().status, 200) << i;
  }
  HttpClient next(port());
  next.send(request("/"));
  EXPECT_TRUE(next.silentFor(300));
  idle.clear();
  EXPECT_EQ(next.answer().status, 200);
}

}  // namespace
