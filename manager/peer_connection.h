// One connection of a PeerSocket.

#ifndef MANAGER_PEER_CONNECTION_H_
#define MANAGER_PEER_CONNECTION_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <string>

#include "host/message.h"

namespace manager {

class PeerSocket;

// Loop thread only. Lives as long as the socket's list holds it or a request of it is under way.
// Each request is answered once, or its connection ends: where memory is missing for the answer,
// too.
class PeerConnection : public std::enable_shared_from_this<PeerConnection> {
 public:
  // Not connected yet.
  explicit PeerConnection(PeerSocket& socket) : socket_(socket) {}
  ~PeerConnection();
  PeerConnection(const PeerConnection&) = delete;
  PeerConnection& operator=(const PeerConnection&) = delete;

  // Takes the next of a listening socket's; false, and errno says why, when there is none.
  bool accept(int listener);
  int descriptor() const { return descriptor_; }
  // Says why the other side is not served.
  void refuse(const std::string& why) const;

  // Has the socket tell when there is something to read, or room to write, as far as it is wanted.
  void watch();
  // What epoll(7) tells: reads one packet of the socket's round, or goes on writing.
  void ready(std::uint32_t events);
  // Takes the message of a packet that was read, if it is one.
  void handle(const nv::message& message, bool wellFormed);
  // Writes the answers that wait.
  void write();
  // Ends the connection; answers that come later are dropped.
  void close();

 private:
  class Request;

  bool readsOn() const;
  void read();
  void answerTo(const nv::message& message, bool wellFormed);
  void answer(nv::message&& reply);
  void giveUp(const std::exception& error);

  PeerSocket& socket_;
  int descriptor_ = -1;  // -1 also when the connection is over
  std::deque<nv::message> unsent_;
  std::size_t underWay_ = 0;   // of an open connection
  std::uint32_t watched_ = 0;  // events that the socket tells of
  bool blocked_ = false;       // the kernel takes no more for now
};

}  // namespace manager

#endif  // MANAGER_PEER_CONNECTION_H_
