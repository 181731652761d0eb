#include "manager/peer_socket.h"

#include <spdlog/spdlog.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <span>
#include <stdexcept>
#include <utility>

#include "manager/fail_stop.h"
#include "manager/peer_check.h"
#include "manager/peer_connection.h"
#include "manager/replies.h"

namespace manager {

namespace {

// The listener rests this long when the process has no descriptors left.
constexpr std::chrono::milliseconds kRest{100};

// Connections of which one request each is read in a round, and rounds before the rest of the loop
// has its turn.
constexpr int kMostReady = 64;
constexpr int kRoundsATurn = 16;

int newEpoll() {
  const int descriptor = epoll_create1(EPOLL_CLOEXEC);
  if (descriptor < 0) {
    throw std::runtime_error(std::string("cannot watch connections: ") + std::strerror(errno));
  }
  return descriptor;
}

}  // namespace

PeerSocket::PeerSocket(boost::asio::io_context& loop, const std::string& path,
                       const std::optional<gid_t>& group, Handler handler, FailedReply failedReply,
                       Expect expect)
    : loop_(loop),
      group_(group),
      handler_(std::move(handler)),
      failedReply_(std::move(failedReply)),
      expect_(std::move(expect)),
      file_(std::make_unique<SocketFile>(path, group)),
      listener_(loop, dup(file_->descriptor())),
      rest_(loop),
      readiness_(loop, newEpoll()),
      buffer_(nv::kMaxMessageBytes + 1, '\0'),
      packets_(kMostReady) {
  answered_.reserve(kMostReady);
  accept();
  await();
}

PeerSocket::~PeerSocket() {
  const auto connections = std::exchange(connections_, {});
  for (const auto& connection : connections) connection->close();
}

void PeerSocket::stopAccepting() {
  rest_.cancel();
  listener_.close();
  file_.reset();
}

void PeerSocket::accept() {
  listener_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                       [this](const boost::system::error_code& error) {
                         if (!error) acceptOne();
                       });
}

void PeerSocket::acceptOne() {
  try {
    // Memory before the descriptor, which is thereby closed whatever is missing later.
    const auto connection = std::make_shared<PeerConnection>(*this);
    if (connection->accept(listener_.native_handle())) {
      welcome(connection);
    } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
      return restFromAccepting(std::strerror(errno));
    }
  } catch (const std::exception& error) {
    return restFromAccepting(reasonOf(error));
  }
  accept();
}

void PeerSocket::restFromAccepting(const char* why) {
  spdlog::error("cannot accept a connection: {}", why);
  rest_.expires_after(kRest);
  rest_.async_wait([this](const boost::system::error_code& error) {
    if (!error) accept();
  });
}

void PeerSocket::welcome(const std::shared_ptr<PeerConnection>& connection) {
  const std::optional<Peer> peer = peerOf(connection->descriptor());
  std::string refusal;
  if (!peer || !mayTalk(*peer, geteuid(), group_)) {
    refusal = "this user may not talk to the hotspot manager";
    spdlog::warn("{}: refused a connection of user {} (process {})", file_->path(),
                 peer ? static_cast<long>(peer->uid) : -1L, peer ? peer->pid : 0);
  } else if (connections_.size() >= kMaxConnections) {
    refusal = "too many connections";
  }
  if (!refusal.empty()) return connection->refuse(refusal);
  connections_.insert(connection);
  connection->watch();
}

void PeerSocket::await() {
  readiness_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                        [this](const boost::system::error_code& error) {
                          if (error) return;
                          serveReady();
                          await();
                        });
}

// The answers of a round leave together: who waits for several of them is woken once.
void PeerSocket::serveReady() {
  for (int round = 0; round < kRoundsATurn; ++round) {
    epoll_event events[kMostReady];
    const int count = epoll_wait(readiness_.native_handle(), events, kMostReady, 0);
    inRound_ = true;
    for (int i = 0; i < count; ++i) {
      static_cast<PeerConnection*>(events[i].data.ptr)->ready(events[i].events);
    }
    handlePackets();
    inRound_ = false;
    for (PeerConnection* const connection : answered_) {
      connection->write();
      connection->watch();
    }
    answered_.clear();
    ended_.clear();
    // A peer that waits for its answer has not sent the next request yet.
    if (count < 2) return;
  }
}

void PeerSocket::handlePackets() {
  const std::span<const Packet> packets(packets_.data(), std::exchange(packetCount_, 0));
  if (expect_) {
    for (const Packet& packet : packets) {
      if (packet.wellFormed) expect_(packet.message);
    }
  }
  for (const Packet& packet : packets) packet.from->handle(packet.message, packet.wellFormed);
}

bool PeerSocket::watch(int descriptor, int change, std::uint32_t events,
                       PeerConnection* connection) {
  epoll_event event{};
  event.events = events;
  event.data.ptr = connection;
  return epoll_ctl(readiness_.native_handle(), change, descriptor, &event) == 0;
}

bool PeerSocket::writeLater(PeerConnection* connection) {
  if (inRound_) answered_.push_back(connection);
  return inRound_;
}

void PeerSocket::forget(const std::shared_ptr<PeerConnection>& connection) noexcept {
  ended_.insert(connections_.extract(connection));
}

}  // namespace manager
