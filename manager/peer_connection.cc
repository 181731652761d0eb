#include "manager/peer_connection.h"

#include <spdlog/spdlog.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <optional>
#include <utility>

#include "manager/fail_stop.h"
#include "manager/peer_socket.h"
#include "manager/portal_protocol.h"
#include "manager/replies.h"

namespace manager {

namespace {

bool isTemporary(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

// A request under way. Whoever is to answer it has a reference; when the last one goes without an
// answer, since memory was missing somewhere on the way, it fails.
class PeerConnection::Request {
 public:
  explicit Request(std::shared_ptr<PeerConnection> connection)
      : connection_(std::move(connection)) {
    ++connection_->underWay_;
    ++connection_->socket_.underWay_;
  }
  ~Request() {
    if (!connection_ || connection_->descriptor_ < 0) return;
    try {
      answer(connection_->socket_.failedReply_());
    } catch (const std::exception& error) {
      connection_->giveUp(error);
    }
  }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  void setNumber(std::uint32_t number) { number_ = number; }

  void answer(nv::message&& reply) {
    if (number_) reply.insert_u32(portal::kRequestNumber, *number_);
    if (!reply.fits()) {
      reply = protocolError("the reply is too long");
      if (number_) reply.insert_u32(portal::kRequestNumber, *number_);
    }
    std::exchange(connection_, nullptr)->answer(std::move(reply));
  }

 private:
  std::shared_ptr<PeerConnection> connection_;  // null once it is answered
  std::optional<std::uint32_t> number_;
};

PeerConnection::~PeerConnection() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool PeerConnection::accept(int listener) {
  descriptor_ = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  return descriptor_ >= 0;
}

void PeerConnection::refuse(const std::string& why) const {
  const std::string wire = protocolError(why).encode();
  send(descriptor_, wire.data(), wire.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void PeerConnection::close() {
  if (descriptor_ < 0) return;
  ::close(std::exchange(descriptor_, -1));
  unsent_.clear();
  socket_.underWay_ -= std::exchange(underWay_, 0);
  socket_.forget(shared_from_this());
}

void PeerConnection::giveUp(const std::exception& error) {
  spdlog::error("a connection ends, its requests are not answered: {}", reasonOf(error));
  close();
}

bool PeerConnection::readsOn() const {
  return underWay_ + unsent_.size() < PeerSocket::kMaxPerConnection;
}

void PeerConnection::watch() {
  if (descriptor_ < 0) return;
  const std::uint32_t wanted = (readsOn() ? EPOLLIN : 0u) | (blocked_ ? EPOLLOUT : 0u);
  if (wanted == watched_) return;
  // Where nothing is wanted the end of the connection must not be told over and over.
  const int change = watched_ == 0 ? EPOLL_CTL_ADD : wanted == 0 ? EPOLL_CTL_DEL : EPOLL_CTL_MOD;
  if (!socket_.watch(descriptor_, change, wanted, this)) return close();
  watched_ = wanted;
}

void PeerConnection::ready(std::uint32_t events) {
  if (descriptor_ < 0) return;
  if (blocked_) write();
  if ((events & ~EPOLLOUT) != 0 && readsOn()) read();
  watch();
}

void PeerConnection::handle(const nv::message& message, bool wellFormed) {
  if (descriptor_ < 0) return;
  answerTo(message, wellFormed);
  watch();
}

void PeerConnection::read() {
  if (descriptor_ < 0) return;
  std::string& buffer = socket_.buffer_;
  const ssize_t length = recv(descriptor_, buffer.data(), buffer.size(), MSG_DONTWAIT | MSG_TRUNC);
  if (length < 0 && isTemporary(errno)) return;
  // An empty packet cannot be told from the end of the connection.
  if (length <= 0) return close();
  const auto bytes = static_cast<std::size_t>(length);
  PeerSocket::Packet& packet = socket_.packets_[socket_.packetCount_];
  packet.from = this;
  try {
    packet.wellFormed =
        bytes <= nv::kMaxMessageBytes && packet.message.decode(buffer.data(), bytes);
  } catch (const std::exception& error) {
    // Nobody knows its number, without which its peer would not take an answer for one.
    return giveUp(error);
  }
  ++socket_.packetCount_;
}

void PeerConnection::answerTo(const nv::message& message, bool wellFormed) {
  std::shared_ptr<Request> request;
  try {
    request = std::make_shared<Request>(shared_from_this());
  } catch (const std::exception& error) {
    return giveUp(error);
  }
  try {
    if (!wellFormed) return request->answer(protocolError("malformed message"));
    if (message.size_u32(portal::kRequestNumber) != 0) {
      request->setNumber(message.get_u32(portal::kRequestNumber, 0));
    }
    socket_.handler_(message, [request = std::move(request)](nv::message&& reply) {
      request->answer(std::move(reply));
    });
  } catch (const std::exception& error) {
    // Out of memory, say: this request fails, the others go on.
    spdlog::error("request failed: {}", reasonOf(error));
  }
}

void PeerConnection::answer(nv::message&& reply) {
  if (descriptor_ < 0) return;
  --underWay_;
  --socket_.underWay_;
  try {
    unsent_.push_back(std::move(reply));
  } catch (const std::exception& error) {
    return giveUp(error);
  }
  if (socket_.writeLater(this)) return;
  write();
  watch();
}

void PeerConnection::write() {
  blocked_ = false;
  while (descriptor_ >= 0 && !unsent_.empty()) {
    const std::string& packet = unsent_.front().encode();
    if (send(descriptor_, packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT) >= 0) {
      unsent_.pop_front();
    } else if (isTemporary(errno)) {
      blocked_ = true;
      return;
    } else {
      return close();
    }
  }
}

}  // namespace manager
