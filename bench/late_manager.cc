// Stands in for the hotspot manager: answers every request at once, as for a client that has to log
// in, but the login of the user "late" never.
//
//   bench-late-manager SOCKET PAGE-DIRECTORY

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "host/message.h"

namespace {

constexpr std::uint32_t kRequestNumber = 0x08ff0006;
constexpr std::uint32_t kUser = 0x20000001;
constexpr std::uint32_t kLoggedIn = 0x00000451;
constexpr std::uint32_t kHtmlDir = 0x2000044d;
constexpr std::uint32_t kDnsName = 0x2000044e;
constexpr std::uint32_t kChap = 0x2000041b;

int listenAt(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return -1;
  std::memcpy(address.sun_path, path.data(), path.size());
  const int listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, SOMAXCONN) != 0) {
    return -1;
  }
  return listener;
}

// False when the connection is over.
bool answer(int connection, nv::message reply) {
  static char buffer[nv::kMaxMessageBytes];
  const ssize_t length = recv(connection, buffer, sizeof buffer, 0);
  nv::message request;
  if (length <= 0 || !request.decode(buffer, static_cast<std::size_t>(length))) return false;
  if (request.get_string(kUser, "") == "late") return true;
  reply.insert_u32(kRequestNumber, request.get_u32(kRequestNumber, 0));
  const std::string& wire = reply.encode();
  return send(connection, wire.data(), wire.size(), MSG_NOSIGNAL) >= 0;
}

}  // namespace

int main(int argc, char** argv) {
  const int listener = argc == 3 ? listenAt(argv[1]) : -1;
  const int poll = epoll_create1(EPOLL_CLOEXEC);
  if (listener < 0 || poll < 0) {
    std::fputs("usage: bench-late-manager SOCKET PAGE-DIRECTORY\n", stderr);
    return 1;
  }
  nv::message reply;
  reply.insert_bool(kLoggedIn, false);
  reply.insert_string(kHtmlDir, argv[2]);
  reply.insert_string(kDnsName, "127.0.0.1");
  reply.insert_string(kChap, "1abcdefghijklmnop");

  const auto watch = [poll](int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    epoll_ctl(poll, EPOLL_CTL_ADD, descriptor, &event);
  };
  watch(listener);
  for (;;) {
    epoll_event events[64];
    const int count = epoll_wait(poll, events, 64, -1);
    for (int i = 0; i < count; ++i) {
      const int ready = events[i].data.fd;
      if (ready == listener) {
        watch(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
      } else if (!answer(ready, reply)) {
        close(ready);
      }
    }
  }
}
