#include "tests/webserver/http_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

namespace {

constexpr int kPatienceMs = 120000;

sockaddr_in addressOf(const std::string& text, unsigned port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  inet_pton(AF_INET, text.c_str(), &address.sin_addr);
  return address;
}

}  // namespace

HttpClient::HttpClient(unsigned port, const std::string& from) {
  socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in own = addressOf(from, 0);
  const sockaddr_in server = addressOf("127.0.0.1", port);
  if (bind(socket_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
      connect(socket_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) {
    close(socket_);
    socket_ = -1;
  }
}

HttpClient::~HttpClient() {
  if (socket_ >= 0) close(socket_);
}

bool HttpClient::send(const std::string& bytes) const {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t length = ::send(socket_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (length <= 0) return false;
    done += static_cast<std::size_t>(length);
  }
  return true;
}

bool HttpClient::more() {
  pollfd poll{socket_, POLLIN, 0};
  if (::poll(&poll, 1, kPatienceMs) <= 0) return false;
  char buffer[65536];
  const ssize_t length = recv(socket_, buffer, sizeof buffer, 0);
  if (length > 0) input_.append(buffer, static_cast<std::size_t>(length));
  return length > 0;
}

HttpAnswer HttpClient::answer(bool head) {
  HttpAnswer answer;
  std::size_t end = 0;
  while ((end = input_.find("\r\n\r\n")) == std::string::npos) {
    if (!more()) return answer;
  }
  answer.head = input_.substr(0, end + 2);
  input_.erase(0, end + 4);
  const std::size_t field = answer.head.find("\r\nContent-Length: ");
  const std::size_t length =
      head || field == std::string::npos
          ? 0
          : static_cast<std::size_t>(std::strtoull(answer.head.c_str() + field + 18, nullptr, 10));
  while (input_.size() < length) {
    if (!more()) return answer;
  }
  answer.body = input_.substr(0, length);
  input_.erase(0, length);
  answer.status = std::atoi(answer.head.c_str() + sizeof "HTTP/1.1");
  return answer;
}

bool HttpClient::skip(std::size_t bytes) {
  while (input_.size() < bytes) {
    if (!more()) return false;
  }
  input_.erase(0, bytes);
  return true;
}

bool HttpClient::hear(const std::string& text) {
  std::size_t at = 0;
  while ((at = input_.find(text)) == std::string::npos) {
    if (!more()) return false;
  }
  input_.erase(0, at + text.size());
  return true;
}

bool HttpClient::ended() {
  if (!input_.empty()) return false;
  pollfd poll{socket_, POLLIN, 0};
  char byte = 0;
  return ::poll(&poll, 1, kPatienceMs) > 0 && recv(socket_, &byte, 1, 0) <= 0;
}

bool HttpClient::silentFor(int ms) const {
  pollfd poll{socket_, POLLIN, 0};
  return input_.empty() && ::poll(&poll, 1, ms) == 0;
}

void HttpClient::shutdownWrite() const { shutdown(socket_, SHUT_WR); }

HttpAnswer HttpClient::get(const std::string& target) {
  if (!send(getText(target))) return {};
  return answer();
}

HttpAnswer fetch(unsigned port, const std::string& target) { return HttpClient(port).get(target); }

std::string getText(const std::string& target, const std::string& fields) {
  return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + fields + "\r\n";
}
