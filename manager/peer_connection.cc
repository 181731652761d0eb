#include "manager/peer_connection.h"

#include <spdlog/spdlog.h>
#include <sys/socket.h>

#include <cerrno>
#include <exception>
#include <memory>

#include "manager/failures.h"
#include "manager/peer_socket.h"
#include "manager/portal_protocol.h"
#include "manager/replies.h"

namespace manager {

namespace {

using boost::asio::posix::stream_descriptor;

// Packets read from one connection before the others get their turn.
constexpr int kPacketsATurn = 16;

bool isTemporary(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

PeerConnection::PeerConnection(PeerSocket& socket, int descriptor)
    : socket_(socket), descriptor_(socket.loop_, descriptor) {}

void PeerConnection::close() {
  if (closed_) return;
  closed_ = true;
  boost::system::error_code ignored;
  descriptor_.close(ignored);
  unsent_.clear();
  socket_.connections_.erase(shared_from_this());
}

void PeerConnection::read() {
  if (closed_ || reading_ || underWay_ + unsent_.size() >= PeerSocket::kMaxPerConnection) return;
  reading_ = true;
  descriptor_.async_wait(stream_descriptor::wait_read,
                         [self = shared_from_this()](const boost::system::error_code& error) {
                           self->reading_ = false;
                           if (!error && !self->closed_) self->readPackets();
                         });
}

void PeerConnection::readPackets() {
  std::string& buffer = socket_.buffer_;
  for (int i = 0; i < kPacketsATurn; ++i) {
    if (underWay_ + unsent_.size() >= PeerSocket::kMaxPerConnection) break;
    const ssize_t length =
        recv(descriptor_.native_handle(), buffer.data(), buffer.size(), MSG_DONTWAIT | MSG_TRUNC);
    if (length < 0 && isTemporary(errno)) break;
    // An empty packet cannot be told from the end of the connection.
    if (length <= 0) return close();
    handle(buffer.data(), static_cast<std::size_t>(length));
    if (closed_) return;
  }
  read();
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
  const auto answered = std::make_shared<bool>(false);
  const auto respond = [self = shared_from_this(), numbered, number, answered](nv::message reply) {
    *answered = true;
    if (numbered) reply.insert_u32(portal::kRequestNumber, number);
    if (!reply.fits()) {
      reply = protocolError("the reply is too long");
      if (numbered) reply.insert_u32(portal::kRequestNumber, number);
    }
    self->answer(reply);
  };
  try {
    socket_.handler_(request, respond);
  } catch (const std::exception& error) {
    // Out of memory, say: this request fails, the others go on.
    spdlog::error("request failed: {}", error.what());
    if (!*answered) respond(protocolError(kFailInternal.text));
  }
}

void PeerConnection::answer(const nv::message& reply) {
  --underWay_;
  --socket_.underWay_;
  if (closed_) return;
  unsent_.push_back(reply.encode());
  write();
  read();
}

void PeerConnection::write() {
  if (writing_) return;
  while (!unsent_.empty()) {
    const std::string& packet = unsent_.front();
    const ssize_t sent = send(descriptor_.native_handle(), packet.data(), packet.size(),
                              MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) {
      unsent_.pop_front();
    } else if (isTemporary(errno)) {
      writing_ = true;
      descriptor_.async_wait(stream_descriptor::wait_write,
                             [self = shared_from_this()](const boost::system::error_code& error) {
                               self->writing_ = false;
                               if (error || self->closed_) return;
                               self->write();
                               self->read();
                             });
      return;
    } else {
      return close();
    }
  }
}

}  // namespace manager
