// The exchange with the hotspot manager, and the bare one that it is measured against.
//
//   bench-exchange fill DATABASE COUNT          a database with so many sessions
//   bench-exchange echo SOCKET BYTES            answers every packet with BYTES bytes
//   bench-exchange load SOCKET COUNT CONNECTIONS SECONDS
//                                               asks for the status of each of COUNT sessions in a
//                                               random order, one request a connection under way
//
// `load` prints the requests a second and the bytes of a request and of a reply.

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "host/message.h"
#include "manager/clock.h"
#include "manager/portal_protocol.h"
#include "manager/store.h"

namespace {

namespace portal = manager::portal;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kFirstClient = 0x0a000001;
constexpr int kEventsATurn = 64;
constexpr int kRequestsAtATime = 4096;

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

std::uint32_t client(std::uint32_t number) { return kFirstClient + number; }

// Sessions as guests have them: each of an account of its own, for a day at most.
void fill(const char* path, std::uint32_t count) {
  manager::Store store(path);
  const manager::SystemClock clock;
  for (std::uint32_t i = 0; i < count; ++i) {
    manager::Session session;
    session.address = client(i);
    session.mac = "02:00:00:00:00:01";
    session.account = "guest" + std::to_string(i);
    session.profile = manager::kDefaultProfile;
    session.loginBy = "http-chap";
    session.loginAt = session.lastActiveAt = clock.uptimeSecs();
    session.endAt = clock.uptimeSecs() + 86400;
    session.idleTimeoutSecs = 7200;
    store.putSession(session);
  }
  store.putAnchor(manager::anchorNow(clock));
  store.commit();
  store.checkpoint();
}

sockaddr_un addressOf(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (std::strlen(path) >= sizeof address.sun_path) fail(path);
  std::strcpy(address.sun_path, path);
  return address;
}

int packetSocket(int flags) {
  const int descriptor = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0);
  if (descriptor < 0) fail("socket");
  return descriptor;
}

int watching() {
  const int poll = epoll_create1(EPOLL_CLOEXEC);
  if (poll < 0) fail("epoll_create1");
  return poll;
}

void watch(int poll, int descriptor) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = descriptor;
  if (epoll_ctl(poll, EPOLL_CTL_ADD, descriptor, &event) != 0) fail("epoll_ctl");
}

// What the exchange costs at the least.
[[noreturn]] void echo(const char* path, std::size_t bytes) {
  const sockaddr_un address = addressOf(path);
  const int listener = packetSocket(0);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, SOMAXCONN) != 0) {
    fail(path);
  }
  const int poll = watching();
  watch(poll, listener);
  const std::string reply(bytes, 'x');
  static char buffer[nv::kMaxMessageBytes];
  for (;;) {
    epoll_event events[kEventsATurn];
    const int count = epoll_wait(poll, events, kEventsATurn, -1);
    for (int i = 0; i < count; ++i) {
      const int ready = events[i].data.fd;
      if (ready == listener) {
        watch(poll, accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
      } else if (recv(ready, buffer, sizeof buffer, MSG_DONTWAIT) <= 0 ||
                 send(ready, reply.data(), reply.size(), MSG_NOSIGNAL) < 0) {
        close(ready);
      }
    }
  }
}

std::string statusRequest(std::uint32_t number, std::uint32_t address) {
  nv::message request;
  request.insert_u32_array(portal::kTo, {portal::kAddressHigh, portal::kAddressLow});
  request.insert_u32(portal::kCommand, portal::kStatus);
  request.insert_u32(portal::kClientAddress, address);
  request.insert_u32(portal::kRequestNumber, number);
  return request.encode();
}

// A reply of the manager's is looked at once in a while, so that looking costs nothing.
void check(const char* data, std::size_t length) {
  nv::message reply;
  if (reply.decode(data, length) && !reply.get_bool(portal::kLoggedIn, false)) {
    std::fputs("bench-exchange: a client without a session\n", stderr);
    std::exit(1);
  }
}

void load(const char* path, std::uint32_t sessions, int connections, int seconds) {
  std::mt19937 random(1);
  std::vector<std::string> requests;
  for (std::uint32_t i = 0; i < kRequestsAtATime; ++i) requests.push_back(statusRequest(i, 0));
  const std::size_t addressAt =
      statusRequest(1, 0x01020304).find(std::string("\x01\x02\x03\x04", 4));
  std::size_t at = 0;
  const auto next = [&](int descriptor) {
    std::string& request = requests[at++ % requests.size()];
    const std::uint32_t address = client(static_cast<std::uint32_t>(random() % sessions));
    for (std::size_t i = 0; i < 4; ++i) {
      request[addressAt + i] = static_cast<char>(address >> (24 - 8 * i));
    }
    if (send(descriptor, request.data(), request.size(), MSG_NOSIGNAL) < 0) fail("send");
  };

  const int poll = watching();
  const sockaddr_un address = addressOf(path);
  for (int i = 0; i < connections; ++i) {
    const int descriptor = packetSocket(SOCK_NONBLOCK);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      fail(path);
    }
    watch(poll, descriptor);
    next(descriptor);
  }
  static char buffer[nv::kMaxMessageBytes];
  ssize_t replyBytes = 0;
  long done = 0;
  const Clock::time_point begin = Clock::now();
  Clock::time_point now = begin;
  while (now - begin < std::chrono::seconds(seconds)) {
    epoll_event events[kEventsATurn];
    const int count = epoll_wait(poll, events, kEventsATurn, -1);
    for (int i = 0; i < count; ++i) {
      const int ready = events[i].data.fd;
      replyBytes = recv(ready, buffer, sizeof buffer, 0);
      if (replyBytes <= 0) fail("recv");
      if (++done % kRequestsAtATime == 1) check(buffer, static_cast<std::size_t>(replyBytes));
      next(ready);
    }
    now = Clock::now();
  }
  const std::chrono::duration<double> took = now - begin;
  std::printf("rate %.0f\nrequest %zu\nreply %zd\n", static_cast<double>(done) / took.count(),
              requests.front().size(), replyBytes);
}

int number(const char* text) { return std::atoi(text); }

}  // namespace

int main(int argc, char** argv) {
  const std::string verb = argc > 1 ? argv[1] : "";
  if (verb == "fill" && argc == 4) {
    fill(argv[2], static_cast<std::uint32_t>(number(argv[3])));
  } else if (verb == "echo" && argc == 4) {
    echo(argv[2], static_cast<std::size_t>(number(argv[3])));
  } else if (verb == "load" && argc == 6) {
    load(argv[2], static_cast<std::uint32_t>(number(argv[3])), number(argv[4]), number(argv[5]));
  } else {
    std::fputs(
        "usage: bench-exchange fill DATABASE COUNT\n"
        "       bench-exchange echo SOCKET BYTES\n"
        "       bench-exchange load SOCKET COUNT CONNECTIONS SECONDS\n",
        stderr);
    return 2;
  }
  return 0;
}
