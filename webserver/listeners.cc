#include "webserver/listeners.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace web {
namespace {

[[noreturn]] void fail(const ListenConfig& config, const std::string& advice) {
  throw ConfigError(config.where + ": cannot listen on " + config.address + ":" +
                    std::to_string(config.port) + ": " + std::strerror(errno) + advice);
}

std::string adviceFor(int error) {
  switch (error) {
    case EADDRINUSE:
      return "; another program has that port: stop it or choose another port";
    case EACCES:
      return "; ports below 1024 need root (and --user to give it up afterwards)";
    case EADDRNOTAVAIL:
      return "; this machine has no such address";
    default:
      return "";
  }
}

unsigned portOf(const Listener& listener) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  if (getsockname(listener.socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    fail(listener.config, "");
  }
  return ntohs(address.sin_port);
}

int openSocket(const ListenConfig& config) {
  const int opened = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (opened < 0) fail(config, "");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(config.port));
  inet_pton(AF_INET, config.address.c_str(), &address.sin_addr);
  const int one = 1;
  setsockopt(opened, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  setsockopt(opened, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);  // its connections inherit it
  if (bind(opened, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(opened, SOMAXCONN) != 0) {
    const int error = errno;
    close(opened);
    errno = error;
    fail(config, adviceFor(error));
  }
  return opened;
}

}  // namespace

std::string Listener::url() const {
  return (config.tls ? "https://" : "http://") + config.address + ":" + std::to_string(port);
}

Listeners::Listeners(const Config& config, const Listeners& previous) {
  // In a local object first, which closes the sockets should a later one fail.
  Listeners opened;
  // Several listeners may ask for a port of the system's choice: each takes over one of the old
  // ones.
  std::vector<const Listener*> old;
  for (const Listener& each : previous.all_) old.push_back(&each);
  for (const ListenConfig& each : config.listen) {
    Listener listener;
    listener.config = each;
    const auto same = std::find_if(old.begin(), old.end(), [&](const Listener* other) {
      return other->config.address == each.address && other->config.port == each.port;
    });
    if (same != old.end()) {
      listener.socket = fcntl((*same)->socket, F_DUPFD_CLOEXEC, 0);
      old.erase(same);
    }
    if (listener.socket < 0) listener.socket = openSocket(each);
    opened.all_.push_back(listener);
    opened.all_.back().port = portOf(listener);
  }
  all_.swap(opened.all_);
}

Listeners::Listeners(Listeners&& other) noexcept : all_(std::exchange(other.all_, {})) {}

Listeners& Listeners::operator=(Listeners&& other) noexcept {
  all_.swap(other.all_);
  return *this;
}

Listeners::~Listeners() {
  for (const Listener& each : all_) close(each.socket);
}

}  // namespace web
