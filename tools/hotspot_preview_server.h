// The preview's web server: HTTP/1.1 on the loopback address, one thread.

#ifndef TOOLS_HOTSPOT_PREVIEW_SERVER_H_
#define TOOLS_HOTSPOT_PREVIEW_SERVER_H_

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <memory>
#include <set>
#include <string>

#include "tools/hotspot_preview_site.h"

namespace preview {

class Session;

// All of it happens on the thread that runs io().
class Server {
 public:
  static constexpr std::size_t kMostConnections = 64;   // more wait to be accepted
  static constexpr std::size_t kMostEventStreams = 16;  // more are refused: 503
  static constexpr unsigned kMostHeaderBytes = 32 * 1024;
  static constexpr unsigned kMostBodyBytes = 64 * 1024;
  static constexpr std::chrono::seconds kIdleTime{60};

  // Listens on 127.0.0.1; port 0 is one that the system chooses. Connections on which nothing
  // happens for so long are ended. Throws std::runtime_error with one clear line when the port
  // cannot be had.
  Server(Site& site, unsigned short port, std::chrono::milliseconds idleTime = kIdleTime);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  boost::asio::io_context& io() { return io_; }
  std::string port() const;

  // Tells every open gallery that these files have changed.
  void tellChange(const std::set<std::string>& files);

 private:
  friend class Session;

  void accept();
  bool adoptEventStream(const std::shared_ptr<Session>& session);
  void forget(Session* session);

  Site& site_;
  const std::chrono::milliseconds idleTime_;
  // Before the io_context, whose end is that of the sessions.
  std::set<Session*> sessions_;
  std::set<Session*> eventStreams_;
  bool isAccepting_ = false;
  bool isEnding_ = false;
  boost::asio::io_context io_;
  boost::asio::ip::tcp::acceptor acceptor_;
};

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_SERVER_H_
