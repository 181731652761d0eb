// Serves messages over a SOCK_SEQPACKET socket: one packet is one message, and each is answered by
// one.

#ifndef MANAGER_PEER_SOCKET_H_
#define MANAGER_PEER_SOCKET_H_

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/message.h"
#include "manager/socket_file.h"

namespace manager {

class PeerConnection;

// Loop thread only. Answers come in any order; a peer with more than one request under way tells
// them apart by the request number, which is echoed. A packet that is no message is answered with
// an error; a peer that does not read its answers is not read from.
class PeerSocket {
 public:
  using Responder = std::function<void(nv::message)>;
  // Takes one message; has to call the responder once, at any time, on the loop thread, or throw.
  // A request whose responder and all its copies are gone (on the loop thread, too) without a call
  // is answered as one that failed. The responder may outlive the connection and the socket.
  using Handler = std::function<void(const nv::message&, Responder)>;
  // The reply to a request that failed so.
  using FailedReply = std::function<nv::message()>;
  // Is told of each message of a round before the handler takes the first of them. Must not throw.
  using Expect = std::function<void(const nv::message&)>;

  // Connections beyond this many are closed at once.
  static constexpr std::size_t kMaxConnections = 1024;
  // Requests of one connection under way; further ones wait in the kernel.
  static constexpr std::size_t kMaxPerConnection = 64;

  // Throws std::runtime_error with one line when the socket cannot be made.
  PeerSocket(boost::asio::io_context& loop, const std::string& path,
             const std::optional<gid_t>& group, Handler handler, FailedReply failedReply,
             Expect expect = {});
  ~PeerSocket();

  // No new connections from now on, and the file goes; the connections go on.
  void stopAccepting();

  // Requests that wait for their answer.
  std::size_t underWay() const { return underWay_; }

 private:
  friend class PeerConnection;

  struct Packet {
    PeerConnection* from = nullptr;
    nv::message message;
    bool wellFormed = false;
  };

  void accept();
  void acceptOne();
  void restFromAccepting(const char* why);
  void welcome(const std::shared_ptr<PeerConnection>& connection);
  void await();
  void serveReady();
  void handlePackets();

  // For the connections. False when the system has no room for it.
  bool watch(int descriptor, int change, std::uint32_t events, PeerConnection* connection);
  // True when the socket itself has the connection write, at the end of the present round.
  bool writeLater(PeerConnection* connection);
  void forget(const std::shared_ptr<PeerConnection>& connection) noexcept;

  boost::asio::io_context& loop_;
  const std::optional<gid_t> group_;
  const Handler handler_;
  const FailedReply failedReply_;
  const Expect expect_;
  std::unique_ptr<SocketFile> file_;
  boost::asio::posix::stream_descriptor listener_;
  boost::asio::steady_timer rest_;
  // The connections' own epoll(7) descriptor, which the loop watches in their place: a request
  // costs no more than being read and answered.
  boost::asio::posix::stream_descriptor readiness_;
  std::set<std::shared_ptr<PeerConnection>> connections_;
  bool inRound_ = false;
  // Of the present round: connections that have something to write (with room for one answer of
  // each), and those that ended, which must not go before it.
  std::vector<PeerConnection*> answered_;
  std::set<std::shared_ptr<PeerConnection>> ended_;
  std::size_t underWay_ = 0;
  std::string buffer_;  // where a packet is read; shared, since it is decoded at once
  // What was read in the present round, of each connection at most one; the messages keep their
  // memory for the next.
  std::vector<Packet> packets_;
  std::size_t packetCount_ = 0;
};

}  // namespace manager

#endif  // MANAGER_PEER_SOCKET_H_
