// The real module in the real web server, with a manager that answers late, twice, with another
// client's reply, with garbage, byte by byte, or ends the connection. Bodies are compared as
// wholes: each client gets its own page or the error page, never anything of another's.

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <list>
#include <map>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "host/address.h"
#include "tests/webserver/http_client.h"
#include "tests/webserver/scripted_manager.h"
#include "tests/webserver/server_process.h"

namespace {

constexpr std::uint32_t kClientField = 0x080003e9;
constexpr std::uint32_t kLoggedInField = 0x00000451;
constexpr std::uint32_t kPageDirField = 0x2000044d;

const char* const kSilent = "hotspot manager did not answer in time";
const char* const kUnreachable = "hotspot manager is not reachable";

class RealModule : public ::testing::Test {
 protected:
  RealModule() {
    std::ofstream(server_.file("login.html")) << "login of $(ip): $(username)\n";
    std::ofstream(server_.file("status.html")) << "status of $(ip): $(username)\n";
    std::ofstream(server_.file("fstatus.html")) << "no status of $(ip): $(error-orig)\n";
  }

  void start(const std::string& toml) {
    const std::string html = "html-dir = \"" + server_.file("") + "\"\n";
    server_.settings("manager-socket = \"" + manager_.path() + "\"\n" + html + toml, TEST_HOTSPOT);
    server_.start();
  }

  static std::string clientOf(const nv::message& request) {
    return IPAddr{request.get_be32(kClientField, 0)}.str();
  }
  // What the real manager would say of this client.
  nv::message ownReply(const nv::message& request, bool loggedIn = true) {
    nv::message reply = ScriptedManager::replyTo(request, "user-" + clientOf(request));
    reply.insert_bool(kLoggedInField, loggedIn);
    reply.insert_string(kPageDirField, server_.file(""));
    return reply;
  }

  static std::string address(int client) { return "127.0.7." + std::to_string(client); }
  static std::string status(const std::string& client) {
    return "status of " + client + ": user-" + client + "\n";
  }
  static std::string noStatus(const std::string& client, const std::string& why) {
    return "no status of " + client + ": " + why + "\n";
  }

  std::mutex mutex_;
  std::vector<std::pair<int, nv::message>> held_;
  std::map<std::string, nv::message> last_;  // each client's request before
  std::mt19937 random_{1};
  ScriptedManager manager_;  // its threads use what stands above
  ServerProcess server_;
};

// One reply of another client's: its number and its data, of a request that may still wait or not.
TEST_F(RealModule, GivesEachClientItsOwnPageOrTheErrorPageWhateverTheManagerSends) {
  enum Kind {
    kOwn,
    kTwice,
    kBehindAnothers,
    kBehindGarbage,
    kAnothersAlone,
    kGarbageAlone,
    kByteByByte,
    kLate,
    kEnds,
    kKinds
  };
  constexpr int kClients = 8;
  constexpr int kRounds = 12;
  std::array<int, kKinds> asked{};
  manager_.start([&](int connection, const nv::message& request) {
    nv::message another;
    Kind kind = kOwn;
    {
      const std::lock_guard lock(mutex_);
      kind = static_cast<Kind>(random_() % kKinds);
      ++asked[kind];
      for (const auto& [client, before] : last_) {
        if (client != clientOf(request) && (another.ids().empty() || random_() % 2 == 0)) {
          another = ownReply(before);
        }
      }
      last_[clientOf(request)] = request;
    }
    const nv::message own = ownReply(request);
    switch (kind) {
      case kOwn:
        return ScriptedManager::send(connection, own);
      case kTwice:
        ScriptedManager::send(connection, own);
        return ScriptedManager::send(connection, own);
      case kBehindAnothers:
        ScriptedManager::send(connection, another);
        return ScriptedManager::send(connection, own);
      case kBehindGarbage:
        ScriptedManager::sendBytes(connection, "garbage");
        return ScriptedManager::send(connection, own);
      case kAnothersAlone:
        return ScriptedManager::send(connection, another);
      case kGarbageAlone:
        return ScriptedManager::sendBytes(connection, std::string(5000, '\x08'));
      case kByteByByte:
        for (const char byte : own.encode()) {
          ScriptedManager::sendBytes(connection, std::string(1, byte));
        }
        return;
      case kLate:
        std::this_thread::sleep_for(std::chrono::milliseconds(1200));
        return ScriptedManager::send(connection, own);
      default:
        shutdown(connection, SHUT_RDWR);
    }
  });
  start("workers = 2\n");

  std::array<std::map<std::string, int>, kClients> seen;
  std::vector<std::thread> threads;
  for (int i = 0; i < kClients; ++i) {
    threads.emplace_back([this, i, &mine = seen[static_cast<std::size_t>(i)]] {
      HttpClient client(server_.port(), address(i + 1));
      for (int round = 0; round < kRounds; ++round) ++mine[client.get("/status").body];
    });
  }
  for (std::thread& thread : threads) thread.join();
  manager_.stop();  // its threads use what stands here

  std::map<std::string, int> total;
  for (int i = 0; i < kClients; ++i) {
    const std::string client = address(i + 1);
    for (const auto& [body, count] : seen[static_cast<std::size_t>(i)]) {
      if (body == status(client)) {
        total["own"] += count;
      } else if (body == noStatus(client, kSilent)) {
        total["silent"] += count;
      } else if (body == noStatus(client, kUnreachable)) {
        total["unreachable"] += count;
      } else {
        ADD_FAILURE() << client << " got " << count << " times:\n" << body;
      }
    }
  }
  // Where the machine is busy a good reply may come too late.
  EXPECT_GT(total["own"], 0);
  EXPECT_GE(total["silent"], asked[kAnothersAlone] + asked[kGarbageAlone] + asked[kByteByByte]);
  EXPECT_GT(total["unreachable"], 0);
  EXPECT_EQ(total["own"] + total["silent"] + total["unreachable"], kClients * kRounds);
  for (const int count : asked) EXPECT_GT(count, 0);
}

// Many wait at once; the replies come in an order of chance, each behind another client's.
TEST_F(RealModule, GivesEachClientItsOwnPageInWhateverOrderTheRepliesCome) {
  constexpr std::size_t kClients = 40;
  manager_.start([this](int connection, const nv::message& request) {
    const std::lock_guard lock(mutex_);
    held_.emplace_back(connection, request);
    if (held_.size() < kClients) return;
    std::shuffle(held_.begin(), held_.end(), random_);
    for (std::size_t i = 0; i < kClients; ++i) {
      const auto& [waiting, asked] = held_[i];
      ScriptedManager::send(waiting, ownReply(held_[(i + 1) % kClients].second, false));
      ScriptedManager::send(waiting, ownReply(asked, false));
    }
    held_.clear();
  });
  start("workers = 2\n");
  std::list<HttpClient> clients;
  for (int round = 0; round < 3; ++round) {
    for (std::size_t i = 0; i < kClients; ++i) {
      const std::string from = address(static_cast<int>(i) + 1);
      HttpClient& client = round == 0 ? clients.emplace_back(server_.port(), from)
                                      : *std::next(clients.begin(), static_cast<long>(i));
      ASSERT_TRUE(client.send(getText("/login")));
    }
    int i = 0;
    for (HttpClient& client : clients) {
      const std::string from = address(++i);
      ASSERT_EQ(client.answer().body, "login of " + from + ": user-" + from + "\n");
    }
  }
}

// More requests than may wait: the web server answers by itself, with a page that is nobody's.
TEST_F(RealModule, TurnsAwayWithThePageOfTheWebServerAndServesThoseThatWait) {
  constexpr std::size_t kMayWait = 6;
  manager_.start([this](int connection, const nv::message& request) {
    const std::lock_guard lock(mutex_);
    held_.emplace_back(connection, request);
  });
  const auto held = [this] {
    const std::lock_guard lock(mutex_);
    return held_.size();
  };
  start("workers = 2\nmax-waiting = " + std::to_string(kMayWait) + "\n");
  std::list<HttpClient> waiting;
  for (std::size_t i = 1; i <= kMayWait; ++i) {
    const std::string from = address(static_cast<int>(i));
    ASSERT_TRUE(waiting.emplace_back(server_.port(), from).send(getText("/login")));
  }
  ASSERT_TRUE(eventually([&] { return held() == kMayWait; })) << held();
  for (int i = 100; i < 110; ++i) {
    HttpClient client(server_.port(), address(i));
    const HttpAnswer answer = client.get("/login");
    EXPECT_EQ(answer.status, 503);
    EXPECT_EQ(answer.body,
              "<!DOCTYPE html>\n<html><head><title>503 Service Unavailable</title></head>\n"
              "<body><h1>503 Service Unavailable</h1>\n</body></html>\n");
  }
  EXPECT_EQ(held(), kMayWait);
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [connection, request] : held_) {
      ScriptedManager::send(connection, ownReply(request, false));
    }
  }
  int i = 0;
  for (HttpClient& client : waiting) {
    const std::string from = address(++i);
    EXPECT_EQ(client.answer().body, "login of " + from + ": user-" + from + "\n");
  }
}

}  // namespace
