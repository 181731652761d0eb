// One client connection: reads requests, has the module answer them, sends the answers.

#ifndef WEBSERVER_CONNECTION_H_
#define WEBSERVER_CONNECTION_H_

#include <atomic>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "webserver/http_request.h"
#include "webserver/http_response.h"
#include "webserver/request_parser.h"
#include "webserver/transport.h"
#include "webserver/waiting.h"
#include "webserver/worker_state.h"

namespace web {

// One request while it is read, served and answered. Used again for the next one.
struct Job {
  void start(BodySource* source);

  std::optional<HttpRequest> request;
  std::optional<RequestParser> parser;
  HttpResponse response;
  std::size_t headerBytes = 0;
  Clock::time_point begun;  // the header was whole
};

// Lives from accept() until close(), which takes it out of WorkerState::connections. Its operations
// are the loop's leader's. While a request is being served (serving()), everything but close()
// belongs to the thread that serves it, which may have stepped aside; then nothing else touches the
// connection.
class Connection : public std::enable_shared_from_this<Connection>, private BodySource {
 public:
  // Owns `socket` from now on, and the client's place among the counters.
  Connection(WorkerState& state, int socket, std::unique_ptr<Transport> transport,
             const ConnectionFacts& facts);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() override;

  // Puts the connection into the list, at `place`, and begins to read.
  void start(std::list<std::shared_ptr<Connection>>::iterator place);

  // Called about once a second: ends the connection when its time is over, or when nobody can hand
  // it back any more.
  void sweep(Clock::time_point now);

  // The worker stops: ends the connection unless a request of it is under way.
  void stop();

  bool serving() const { return state_ == State::kServing; }

 private:
  enum class State {
    kReading,    // a request's header, or the wait for one
    kServing,    // the module has it
    kWriting,    // the answer stands still
    kLingering,  // everything is said; what the client still sends is thrown away
    kClosed,
  };

  void run();
  void fail(const std::exception& error);
  void takeBack();
  bool step();
  bool await(Io::Kind what);
  void waitFinished();
  void setDeadline(unsigned secs);

  bool stepReading();
  bool parse();
  bool headerDone();
  bool refuse(int status);
  bool answerError(int status);
  bool serve();
  void callModule(Waiting& waiting);
  void compose();
  bool send();
  bool afterServing();
  bool answered();
  bool stepLingering();
  void linger();
  void close();

  bool handOutSocket();
  bool moduleClosedSocket() const;
  void logRequest() const;

  // Bytes that were read and not yet used.
  std::string_view unused() const { return std::string_view(input_).substr(inputUsed_); }
  void use(std::size_t length);
  void dropRestOfBody();

  // The request's body, read by the thread that serves it (connection_body.cc).
  bool readBody(std::string& body, unsigned maxLen) override;
  bool parseBody();
  bool fetchBody(Clock::time_point until);
  bool sendContinue(Clock::time_point until);
  bool waitForClient(Io::Kind what, Clock::time_point until);

  WorkerState& worker_;
  const ConnectionFacts facts_;
  const int socket_;
  std::unique_ptr<Transport> transport_;
  boost::asio::posix::stream_descriptor readiness_;
  std::list<std::shared_ptr<Connection>>::iterator place_;

  State state_ = State::kReading;
  Clock::time_point deadline_;
  bool awaiting_ = false;    // a wait for readiness is outstanding
  bool headerBegun_ = true;  // of a new connection the first header is due at once
  bool unparsed_ = false;    // input_ holds something that the parser has not seen
  std::string input_;
  std::size_t inputUsed_ = 0;
  std::unique_ptr<Job> job_;

  int moduleSocket_ = -1;  // a duplicate of socket_, the module's to close
  bool dropped_ = false;   // the module closed it
  // Set by a thread that stepped aside and failed, as the last that it does with the connection.
  std::atomic<bool> abandoned_{false};
  Waiting* waiting_ = nullptr;  // of the request that is being served
  bool unsendable_ = false;     // an interim answer was not sent whole: no other can follow
  Io sent_{Io::kFailed};        // how far the answer went before the leader took over
};

}  // namespace web

#endif  // WEBSERVER_CONNECTION_H_
