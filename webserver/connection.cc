#include "webserver/connection.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/beast/http/error.hpp>
#include <exception>

#include "webserver/fault_guard.h"
#include "webserver/logging.h"
#include "webserver/manager_context.h"

namespace web {

namespace http = boost::beast::http;

namespace {

// Input that a connection keeps its memory for while it is idle.
constexpr std::size_t kKeptInputBytes = 1024;
constexpr std::size_t kKeptJobs = 8;
constexpr unsigned kLingerSecs = 2;
constexpr std::chrono::seconds kNewcomerGrace{1};
// Requests of one connection that are served in a row before others get their turn.
constexpr int kStepsInARow = 64;

constexpr int kBadRequest = 400;
constexpr int kNotFound = 404;
constexpr int kHeaderTooLarge = 431;
constexpr int kServerError = 500;
constexpr int kBusy = 503;

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
  if (state_ != State::kServing && now >= deadline_) close();
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
    // Out of memory for the request itself: there is nothing left to answer it with.
    logError(std::string("a connection failed: ") + error.what());
    if (worker_.loop.leading()) close();
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
  const std::size_t length =
      job_->parser->put(boost::asio::const_buffer(text.data(), text.size()), error);
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

bool Connection::headerDone() {
  HttpRequest& request = *job_->request;
  if (!request.fill(*job_->parser, facts_, worker_.own, worker_.config.mount)) {
    return refuse(kBadRequest);
  }
  job_->begun = Clock::now();
  return request.belowMount() ? serve() : answerError(kNotFound);
}

// Answers a request that is malformed, and ends the connection: where the next request would begin
// is not known.
bool Connection::refuse(int status) {
  job_->begun = Clock::now();
  job_->response.reusable = false;
  return answerError(status);
}

bool Connection::answerError(int status) {
  state_ = State::kServing;
  job_->response.sendError(status, "");
  compose();
  sent_ = job_->response.write(*transport_);
  logRequest();
  return afterServing();
}

bool Connection::serve() {
  state_ = State::kServing;
  handOutSocket();
  {
    Waiting waiting(worker_.loop, worker_.counters, worker_.part);
    waiting_ = &waiting;
    callModule(waiting);
    waiting_ = nullptr;
  }
  dropped_ = moduleClosedSocket();
  if (!dropped_) {
    compose();
    sent_ = job_->response.write(*transport_);
  }
  logRequest();
  if (worker_.loop.leading()) return afterServing();
  // From here on the connection is the leader's again.
  boost::asio::post(worker_.loop.context(), [self = shared_from_this()] {
    if (self->afterServing()) self->run();
  });
  return false;
}

void Connection::callModule(Waiting& waiting) {
  ManagerContext context(worker_, waiting);
  HttpResponse& response = job_->response;
  try {
    const FaultGuard guard;
    worker_.servlet->doMethod(context, *job_->request, response);
  } catch (const std::exception& error) {
    logError(std::string("a request failed: ") + error.what());
    response.replaceByError(kServerError, "");
  } catch (...) {
    logError("a request failed: the module threw something unknown");
    response.replaceByError(kServerError, "");
  }
  if (waiting.refused()) response.replaceByError(kBusy, "");
}

void Connection::compose() {
  const RequestParser& parser = *job_->parser;
  AnswerTo to;
  to.http11 = parser.http11();
  to.head = parser.method() == "HEAD";
  to.keepAlive = false;
  if (parser.is_header_done()) {
    dropRestOfBody();
    to.keepAlive = parser.is_done() && parser.keep_alive() && !worker_.stopping;
  }
  try {
    job_->response.compose(to);
  } catch (const std::exception& error) {
    logError(std::string("an answer failed: ") + error.what());
    job_->response.replaceByError(kServerError, "");
    job_->response.compose(to);
  }
}

// The rest of a body that nobody asked for, as far as it is here already.
void Connection::dropRestOfBody() {
  RequestParser& parser = *job_->parser;
  boost::beast::error_code error;
  parser.readBodyInto(nullptr, 0);
  while (!parser.is_done() && !error && !unused().empty()) {
    const std::string_view text = unused();
    use(parser.put(boost::asio::const_buffer(text.data(), text.size()), error));
  }
}

// The leader takes the connection back.
bool Connection::afterServing() {
  if (dropped_) {
    close();
    return false;
  }
  state_ = State::kWriting;
  setDeadline(worker_.config.writeTimeoutSecs);
  switch (sent_.kind) {
    case Io::kBytes:
      return answered();
    case Io::kWantRead:
    case Io::kWantWrite:
      return await(sent_.kind);
    default:
      close();
      return false;
  }
}

bool Connection::send() {
  const Io io = job_->response.write(*transport_);
  if (io.kind == Io::kBytes) return answered();
  if (io.kind == Io::kWantRead || io.kind == Io::kWantWrite) {
    // The socket was ready, so it took something: the answer does not stand still.
    setDeadline(worker_.config.writeTimeoutSecs);
    return await(io.kind);
  }
  close();
  return false;
}

bool Connection::answered() {
  const bool open = job_->response.staysOpen() && !worker_.stopping;
  const bool wholeRequest = job_->parser->is_done();
  if (worker_.spareJobs.size() < kKeptJobs) worker_.spareJobs.push_back(std::move(job_));
  job_.reset();
  if (!open) {
    if (wholeRequest && unused().empty()) {
      transport_->finish();
      close();
    } else {
      linger();
    }
    return false;
  }
  state_ = State::kReading;
  headerBegun_ = false;
  unparsed_ = !unused().empty();
  setDeadline(worker_.config.idleTimeoutSecs);
  return true;
}

// The client still sends. Closing now would make the system reset the connection, and the client
// might never see its answer: so say that nothing follows and wait a little for the client to end.
void Connection::linger() {
  state_ = State::kLingering;
  use(unused().size());
  setDeadline(kLingerSecs);
  transport_->finish();
  await(Io::kWantRead);
}

bool Connection::stepLingering() {
  // Beyond TLS: what comes is thrown away unread.
  char buffer[kReadBytes];
  const ssize_t length = ::read(socket_, buffer, sizeof buffer);
  if (length > 0) return true;
  if (length < 0 && errno == EAGAIN) return await(Io::kWantRead);
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

// The module may close its descriptor of the connection, at a time when other threads open others:
// what it gets is a duplicate that nothing else depends on.
void Connection::handOutSocket() {
  if (moduleSocket_ < 0) moduleSocket_ = fcntl(socket_, F_DUPFD_CLOEXEC, 0);
  job_->request->socket = moduleSocket_;
}

// The number may belong to something else by now, which is another file then.
bool Connection::moduleClosedSocket() const {
  if (job_->response.keepAlive || job_->response.reusable || moduleSocket_ < 0) return false;
  struct stat own {};
  struct stat given {};
  if (fstat(socket_, &own) != 0 || fstat(moduleSocket_, &given) != 0) return true;
  return own.st_dev != given.st_dev || own.st_ino != given.st_ino;
}

void Connection::logRequest() const {
  const RequestParser& parser = *job_->parser;
  AccessLog::Entry entry;
  entry.clientAddr = facts_.clientAddr;
  entry.method = parser.method();
  entry.target = parser.target();
  entry.http11 = parser.http11();
  entry.tls = facts_.tls;
  entry.status = dropped_ ? 0 : job_->response.status();
  entry.bodyBytes = dropped_ ? 0 : job_->response.bodyBytes();
  entry.took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - job_->begun);
  worker_.log.write(entry);
}

}  // namespace web
