// Serves messages over a SOCK_SEQPACKET socket: one packet is one message, and each is answered by
// one.

#ifndef MANAGER_PEER_SOCKET_H_
#define MANAGER_PEER_SOCKET_H_

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "host/message.h"
#include "manager/socket_file.h"

namespace manager {

class PeerConnection;

// Loop thread only. Answers come in any order; a peer with more than one request under way tells
// them apart by the request number, which is echoed. A packet that is no message is answered with
// an error; a peer that does not read its answers is not read from.
class PeerSocket {
 public:
  using Responder = std::function<void(const nv::message&)>;
  // Takes one message; has to call the responder once, at any time, on the loop thread, or throw
  // and not call it later. The responder may outlive the connection.
  using Handler = std::function<void(const nv::message&, Responder)>;

  // Connections beyond this many are closed at once.
  static constexpr std::size_t kMaxConnections = 1024;
  // Requests of one connection under way; further ones wait in the kernel.
  static constexpr std::size_t kMaxPerConnection = 64;

  // Throws std::runtime_error with one line when the socket cannot be made.
  PeerSocket(boost::asio::io_context& loop, const std::string& path,
             const std::optional<gid_t>& group, Handler handler);
  ~PeerSocket();

  // No new connections from now on, and the file goes; the connections go on.
  void stopAccepting();

  // Requests that wait for their answer.
  std::size_t underWay() const { return underWay_; }

 private:
  friend class PeerConnection;

  void accept();
  void restFromAccepting();
  void welcome(int descriptor);

  boost::asio::io_context& loop_;
  const std::optional<gid_t> group_;
  const Handler handler_;
  std::unique_ptr<SocketFile> file_;
  boost::asio::posix::stream_descriptor listener_;
  boost::asio::steady_timer rest_;
  std::set<std::shared_ptr<PeerConnection>> connections_;
  std::size_t underWay_ = 0;
  std::string buffer_;  // where a packet is read; shared, since it is decoded at once
};

}  // namespace manager

#endif  // MANAGER_PEER_SOCKET_H_
