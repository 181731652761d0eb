#include "webserver/transport.h"

#include <sys/socket.h>

#include <cerrno>

namespace web {
namespace {

class PlainTransport : public Transport {
 public:
  explicit PlainTransport(int socket) : socket_(socket) {}

  Io read(char* buffer) override {
    const ssize_t length = recv(socket_, buffer, kReadBytes, MSG_DONTWAIT);
    if (length == 0) return {Io::kEnd};
    return result(length, Io::kWantRead);
  }

  bool holdsBack() const override { return false; }

  Io write(const iovec* parts, int count) override {
    msghdr message{};
    message.msg_iov = const_cast<iovec*>(parts);
    message.msg_iovlen = static_cast<std::size_t>(count);
    return result(sendmsg(socket_, &message, MSG_DONTWAIT | MSG_NOSIGNAL), Io::kWantWrite);
  }

  void finish() override {}

 private:
  static Io result(ssize_t length, Io::Kind want) {
    if (length > 0) return {Io::kBytes, static_cast<std::size_t>(length)};
    if (length < 0 && errno == EINTR) return {want};
    return {length < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) ? want : Io::kFailed};
  }

  const int socket_;
};

}  // namespace

Transport::~Transport() = default;

std::unique_ptr<Transport> makePlainTransport(int socket) {
  return std::make_unique<PlainTransport>(socket);
}

}  // namespace web
