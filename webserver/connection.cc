#include "webserver/connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/beast/http/error.hpp>
#include <cerrno>
#include <exception>

#include "webserver/logging.h"

namespace web {

namespace http = boost::beast::http;

namespace {

// Input that a connection keeps its memory for while it is idle.
constexpr std::size_t kKeptInputBytes = 1024;
constexpr unsigned kLingerSecs = 2;
constexpr std::chrono::seconds kNewcomerGrace{1};
// Requests of one connection that are served in a row before others get their turn.
constexpr int kStepsInARow = 64;

constexpr int kBadRequest = 400;
constexpr int kHeaderTooLarge = 431;

}  // namespace

void Job::start(BodySource* source) {
  request.emplace(source);
  parser.emplace(&request->headers);
  response.start();
  headerBytes = 0;
}

Connection::Connection(WorkerState& state, int socket, std::unique_ptr<Transport> transport,
                       const ConnectionFacts& facts)
    : worker_(state),
      facts_(facts),
      socket_(socket),
      transport_(std::move(transport)),
      readiness_(state.loop.context(), socket) {}

Connection::~Connection() = default;

void Connection::start(std::list<std::shared_ptr<Connection>>::iterator place) {
  place_ = place;
  setDeadline(worker_.config.headerTimeoutSecs);
  run();
}

void Connection::setDeadline(unsigned secs) {
  deadline_ = Clock::now() + std::chrono::seconds(secs);
}

void Connection::sweep(Clock::time_point now) {
  if (state_ == State::kServing ? abandoned_.load(std::memory_order_acquire) : now >= deadline_) {
    close();
  }
}

void Connection::stop() {
  const bool waiting = state_ == State::kReading && job_ == nullptr;
  if (state_ == State::kLingering || (waiting && !headerBegun_)) return close();
  // A new connection's request is probably on its way.
  if (waiting) deadline_ = std::min(deadline_, Clock::now() + kNewcomerGrace);
}

// Goes on until there is nothing to do without waiting.
void Connection::run() {
  try {
    for (int steps = 0; step(); ++steps) {
      if (steps < kStepsInARow) continue;
      boost::asio::post(worker_.loop.context(), [self = shared_from_this()] { self->run(); });
      return;
    }
  } catch (const std::exception& error) {
    fail(error);
  }
}

// Out of memory for the request itself: there is nothing left to answer it with.
void Connection::fail(const std::exception& error) {
  logFailure("a connection failed", error.what());
  if (worker_.loop.leading()) {
    close();
  } else {
    abandoned_.store(true, std::memory_order_release);
  }
}

// False when the connection waits, is closed, or belongs to another thread by now.
bool Connection::step() {
  switch (state_) {
    case State::kReading:
      return stepReading();
    case State::kWriting:
      return send();
    case State::kLingering:
      return stepLingering();
    case State::kServing:
    case State::kClosed:
      break;
  }
  return false;
}

bool Connection::await(Io::Kind what) {
  using Descriptor = boost::asio::posix::stream_descriptor;
  if (awaiting_) return false;
  awaiting_ = true;
  readiness_.async_wait(what == Io::kWantWrite ? Descriptor::wait_write : Descriptor::wait_read,
                        [self = shared_from_this()](const boost::system::error_code& error) {
                          if (!error) self->waitFinished();
                        });
  return false;
}

void Connection::waitFinished() {
  awaiting_ = false;
  run();
}

void Connection::use(std::size_t length) {
  inputUsed_ += length;
  if (inputUsed_ < input_.size()) return;
  inputUsed_ = 0;
  input_.clear();
  if (input_.capacity() > kKeptInputBytes) std::string().swap(input_);
}

bool Connection::stepReading() {
  if (unparsed_) return parse();
  char buffer[kReadBytes];
  const Io io = transport_->read(buffer);
  if (io.kind != Io::kBytes) {
    if (io.kind == Io::kWantRead || io.kind == Io::kWantWrite) return await(io.kind);
    close();
    return false;
  }
  if (inputUsed_ > 0) {
    input_.erase(0, inputUsed_);
    inputUsed_ = 0;
  }
  input_.append(buffer, io.bytes);
  unparsed_ = true;
  return true;
}

bool Connection::parse() {
  if (job_ == nullptr) {
    // An empty line before a request line is to be passed over (RFC 9112 section 2.2).
    while (unused().substr(0, 2) == "\r\n") use(2);
    if (unused().empty() || unused() == "\r") {
      unparsed_ = false;
      return true;
    }
    if (worker_.spareJobs.empty()) {
      job_ = std::make_unique<Job>();
    } else {
      job_ = std::move(worker_.spareJobs.back());
      worker_.spareJobs.pop_back();
    }
    job_->start(this);
    if (!headerBegun_) setDeadline(worker_.config.headerTimeoutSecs);
    headerBegun_ = true;
  }
  const std::string_view text = unused();
  boost::beast::error_code error;
  const std::size_t length = job_->parser->putHeader(text, error);
  job_->headerBytes += length;
  const std::size_t seen = job_->headerBytes + (error ? text.size() - length : 0);
  use(length);
  unparsed_ = false;
  if (error == http::error::header_limit || seen > kMaxHeaderBytes ||
      (error == http::error::need_more && seen == kMaxHeaderBytes)) {
    return refuse(kHeaderTooLarge);
  }
  if (error == http::error::need_more) return true;
  if (error) return refuse(kBadRequest);
  return headerDone();
}

// The client still sends. Closing now would make the system reset the connection, and the client
// might never see its answer: so say that nothing follows and wait a little for the client to end.
void Connection::linger() {
  state_ = State::kLingering;
  use(unused().size());
  setDeadline(kLingerSecs);
  transport_->finish();
  ::shutdown(socket_, SHUT_WR);
  await(Io::kWantRead);
}

bool Connection::stepLingering() {
  // Beyond TLS: what comes is thrown away unread.
  char buffer[kReadBytes];
  const ssize_t length = ::read(socket_, buffer, sizeof buffer);
  if (length > 0) return true;
  if (length < 0 && (errno == EAGAIN || errno == EINTR)) return await(Io::kWantRead);
  close();
  return false;
}

void Connection::close() {
  if (state_ == State::kClosed) return;
  state_ = State::kClosed;
  const std::shared_ptr<Connection> self = shared_from_this();
  worker_.counters.disconnect(worker_.part, facts_.clientAddr);
  worker_.connections.erase(place_);
  // The module's duplicate has to go first: as long as it is open the system keeps reporting events
  // of the connection to the loop.
  if (moduleSocket_ >= 0 && !dropped_) ::close(moduleSocket_);
  boost::system::error_code ignored;
  readiness_.close(ignored);
  job_.reset();
}

}  // namespace web
