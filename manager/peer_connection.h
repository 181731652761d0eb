// One connection of a PeerSocket.

#ifndef MANAGER_PEER_CONNECTION_H_
#define MANAGER_PEER_CONNECTION_H_

#include <boost/asio/posix/stream_descriptor.hpp>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>

#include "host/message.h"

namespace manager {

class PeerSocket;

// Loop thread only. Lives as long as the socket's list holds it or a request of it is under way.
class PeerConnection : public std::enable_shared_from_this<PeerConnection> {
 public:
  // Takes the descriptor over; it is non-blocking.
  PeerConnection(PeerSocket& socket, int descriptor);

  // Reads requests until there are none, or enough are under way.
  void read();
  // Ends the connection; answers that come later are dropped.
  void close();

 private:
  void readPackets();
  void handle(const char* data, std::size_t length);
  void answer(const nv::message& reply);
  void write();

  PeerSocket& socket_;
  boost::asio::posix::stream_descriptor descriptor_;
  std::deque<std::string> unsent_;
  std::size_t underWay_ = 0;
  bool reading_ = false;
  bool writing_ = false;
  bool closed_ = false;
};

}  // namespace manager

#endif  // MANAGER_PEER_CONNECTION_H_
