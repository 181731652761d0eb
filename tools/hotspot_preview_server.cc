#include "tools/hotspot_preview_server.h"

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

namespace preview {

namespace beast = boost::beast;
namespace http = beast::http;
using boost::asio::ip::tcp;
using boost::system::error_code;

namespace {

// So that a browser that is gone is noticed.
constexpr std::chrono::seconds kHeartbeat(15);
constexpr std::chrono::milliseconds kAcceptPause(100);
constexpr std::chrono::seconds kDrainTime(5);
constexpr std::size_t kDrainBytes = 16384;
constexpr int kMostDrained = 64;

std::string changeEvent(std::uint64_t version, const std::set<std::string>& files) {
  const nlohmann::json data = {{"version", version}, {"files", files}};
  return "event: change\ndata: " +
         data.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n\n";
}

}  // namespace

// One connection. It keeps itself alive while something is under way on it; the server that it
// belongs to lives longer.
class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(Server& server, tcp::socket socket)
      : server_(server), stream_(std::move(socket)), heartbeat_(stream_.get_executor()) {
    server_.sessions_.insert(this);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { server_.forget(this); }

  void read() {
    parser_.emplace();
    parser_->header_limit(Server::kMostHeaderBytes);
    parser_->body_limit(Server::kMostBodyBytes);
    stream_.expires_after(server_.idleTime_);
    http::async_read(
        stream_, buffer_, *parser_,
        [self = shared_from_this()](const error_code& error, std::size_t) { self->answer(error); });
  }

  // On a stream of events: sends this, or keeps the last one while another is on its way.
  void tell(const std::string& event) {
    if (!sending_.empty()) {
      waiting_ = event;
      return;
    }
    sending_ = event;
    stream_.expires_after(server_.idleTime_);
    boost::asio::async_write(stream_, boost::asio::buffer(sending_),
                             [self = shared_from_this()](const error_code& error, std::size_t) {
                               self->sending_.clear();
                               if (error) return self->end();
                               const std::string next = std::exchange(self->waiting_, {});
                               if (!next.empty()) self->tell(next);
                             });
  }

 private:
  void answer(const error_code& error) {
    if (error == http::error::header_limit) return refuse(431, "The request is too long.");
    if (error == http::error::body_limit) return refuse(413, "The form is too long.");
    const bool isOver = error == http::error::end_of_stream ||
                        error == http::error::partial_message ||
                        error.category() != error_code(http::error::bad_method).category();
    if (error && isOver) return end();
    if (error) return refuse(400, "That is no HTTP request.");
    const auto& request = parser_->get();
    Asked asked;
    asked.method = std::string(request.method_string());
    asked.target = std::string(request.target());
    asked.host = std::string(request[http::field::host]);
    asked.fetchMode = std::string(request["Sec-Fetch-Mode"]);
    asked.fetchUser = std::string(request["Sec-Fetch-User"]);
    asked.body = request.body();
    if (asked.target.empty() || asked.target[0] != '/') {
      return refuse(400, "The address has to begin with a slash.");
    }
    const Reply reply = server_.site_.answer(asked);
    if (!reply.isEvents) return send(reply, request.keep_alive());
    if (!server_.adoptEventStream(shared_from_this())) {
      return refuse(503, "Too many galleries are open.");
    }
    stream();
  }

  void refuse(int status, const std::string& text) {
    Reply reply;
    reply.status = status;
    reply.headers = {{"Content-Type", "text/plain; charset=utf-8"}};
    reply.body = text + "\n";
    send(reply, false);
  }

  void send(const Reply& reply, bool keepAlive) {
    auto response = std::make_shared<http::response<http::string_body>>();
    response->version(11);
    response->result(static_cast<unsigned>(reply.status));
    for (const auto& [name, value] : reply.headers) response->insert(name, value);
    response->body() = reply.body;
    response->keep_alive(keepAlive);
    if (reply.status != 204) response->prepare_payload();
    http::async_write(stream_, *response,
                      [self = shared_from_this(), response](const error_code& error, std::size_t) {
                        if (error) return self->end();
                        if (response->keep_alive()) return self->read();
                        self->stream_.socket().shutdown(tcp::socket::shutdown_send, self->ignored_);
                        self->drain();
                      });
  }

  // Reads what a client is still sending before the end: closed at once, the system would take the
  // answer back.
  void drain() {
    buffer_.clear();
    stream_.expires_after(kDrainTime);
    stream_.async_read_some(buffer_.prepare(kDrainBytes),
                            [self = shared_from_this()](const error_code& error, std::size_t) {
                              if (error || ++self->drained_ == kMostDrained) return self->end();
                              self->drain();
                            });
  }

  void stream() {
    tell(
        "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n"
        "Connection: close\r\n\r\n" +
        changeEvent(server_.site_.version(), {}));
    beat();
    watchEnd();
  }

  void beat() {
    heartbeat_.expires_after(kHeartbeat);
    heartbeat_.async_wait([weak = weak_from_this()](const error_code& error) {
      const std::shared_ptr<Session> self = weak.lock();
      if (error || self == nullptr) return;
      if (self->sending_.empty()) self->tell(": still here\n\n");
      self->beat();
    });
  }

  // Nothing comes from a browser any more but the end. The socket itself is read: the stream's
  // time-out belongs to what is sent.
  void watchEnd() {
    stream_.socket().async_wait(tcp::socket::wait_read,
                                [self = shared_from_this()](const error_code&) { self->end(); });
  }

  void end() {
    heartbeat_.cancel();
    stream_.socket().shutdown(tcp::socket::shutdown_both, ignored_);
    stream_.close();
  }

  Server& server_;
  beast::tcp_stream stream_;
  boost::asio::steady_timer heartbeat_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  std::string sending_;
  std::string waiting_;
  error_code ignored_;
  int drained_ = 0;
};

Server::Server(Site& site, unsigned short port, std::chrono::milliseconds idleTime)
    : site_(site), idleTime_(idleTime), acceptor_(io_) {
  const tcp::endpoint address(boost::asio::ip::address_v4::loopback(), port);
  error_code error;
  acceptor_.open(address.protocol(), error);
  if (!error) acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
  if (!error) acceptor_.bind(address, error);
  if (!error) acceptor_.listen(boost::asio::socket_base::max_listen_connections, error);
  if (error) {
    throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port) + ": " +
                             error.message() + "; choose another with --port");
  }
  accept();
}

Server::~Server() { isEnding_ = true; }

std::string Server::port() const { return std::to_string(acceptor_.local_endpoint().port()); }

void Server::accept() {
  if (isAccepting_ || sessions_.size() >= kMostConnections) return;
  isAccepting_ = true;
  acceptor_.async_accept([this](const error_code& error, tcp::socket socket) {
    if (error == boost::asio::error::operation_aborted) return;
    isAccepting_ = false;
    if (!error) {
      std::make_shared<Session>(*this, std::move(socket))->read();
      return accept();
    }
    // Most likely no descriptor is left: another try a little later.
    isAccepting_ = true;
    auto pause = std::make_shared<boost::asio::steady_timer>(acceptor_.get_executor());
    pause->expires_after(kAcceptPause);
    pause->async_wait([this, pause](const error_code& stopped) {
      if (stopped) return;
      isAccepting_ = false;
      accept();
    });
  });
}

bool Server::adoptEventStream(const std::shared_ptr<Session>& session) {
  if (eventStreams_.size() >= kMostEventStreams) return false;
  eventStreams_.insert(session.get());
  return true;
}

void Server::forget(Session* session) {
  sessions_.erase(session);
  eventStreams_.erase(session);
  if (!isEnding_) accept();
}

void Server::tellChange(const std::set<std::string>& files) {
  const std::string event = changeEvent(site_.version(), files);
  for (Session* const session : eventStreams_) session->tell(event);
}

}  // namespace preview
