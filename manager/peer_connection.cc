#include "manager/peer_connection.h"

#include <spdlog/spdlog.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <utility>

#include "manager/failures.h"
#include "manager/peer_socket.h"
#include "manager/portal_protocol.h"
#include "manager/replies.h"

namespace manager {

namespace {

bool isTemporary(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

PeerConnection::PeerConnection(PeerSocket& socket, int descriptor)
    : socket_(socket), descriptor_(descriptor) {}

PeerConnection::~PeerConnection() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

void PeerConnection::close() {
  if (descriptor_ < 0) return;
  ::close(std::exchange(descriptor_, -1));
  unsent_.clear();
  socket_.forget(shared_from_this());
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

void PeerConnection::read() {
  if (descriptor_ < 0) return;
  std::string& buffer = socket_.buffer_;
  const ssize_t length = recv(descriptor_, buffer.data(), buffer.size(), MSG_DONTWAIT | MSG_TRUNC);
  if (length < 0 && isTemporary(errno)) return;
  // An empty packet cannot be told from the end of the connection.
  if (length <= 0) return close();
  handle(buffer.data(), static_cast<std::size_t>(length));
}

void PeerConnection::handle(const char* data, std::size_t length) {
  nv::message request;
  ++underWay_;
  ++socket_.underWay_;
  if (length > nv::kMaxMessageBytes || !request.decode(data, length)) {
    return answer(protocolError("malformed message"));
  }
  const bool numbered = request.size_u32(portal::kRequestNumber) != 0;
  const std::uint32_t number = request.get_u32(portal::kRequestNumber, 0);
  const std::size_t before = socket_.underWay_;
  const auto respond = [self = shared_from_this(), numbered, number](nv::message reply) {
    if (numbered) reply.insert_u32(portal::kRequestNumber, number);
    if (!reply.fits()) {
      reply = protocolError("the reply is too long");
      if (numbered) reply.insert_u32(portal::kRequestNumber, number);
    }
    self->answer(std::move(reply));
  };
  try {
    socket_.handler_(request, respond);
  } catch (const std::exception& error) {
    // Out of memory, say: this request fails, the others go on.
    spdlog::error("request failed: {}", error.what());
    if (socket_.underWay_ == before) respond(protocolError(kFailInternal.text));
  }
}

void PeerConnection::answer(nv::message reply) {
  --underWay_;
  --socket_.underWay_;
  if (descriptor_ < 0) return;
  unsent_.push_back(std::move(reply));
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
