// The half of Connection that has a request answered.

#include <fcntl.h>
#include <sys/stat.h>

#include <boost/asio/post.hpp>
#include <cerrno>
#include <exception>

#include "webserver/connection.h"
#include "webserver/fault_guard.h"
#include "webserver/logging.h"
#include "webserver/manager_context.h"

namespace web {
namespace {

constexpr std::size_t kKeptJobs = 8;

constexpr int kBadRequest = 400;
constexpr int kNotFound = 404;
constexpr int kServerError = 500;
constexpr int kNotImplemented = 501;
constexpr int kBusy = 503;

}  // namespace

bool Connection::headerDone() {
  HttpRequest& request = *job_->request;
  if (job_->parser->codingUnknown()) return refuse(kNotImplemented);
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
  job_->response.replaceByError(status, "");
  compose();
  sent_ = job_->response.write(*transport_);
  logRequest();
  return afterServing();
}

bool Connection::serve() {
  if (!handOutSocket()) return answerError(kBusy);
  state_ = State::kServing;
  {
    Waiting waiting(worker_.loop, worker_.counters, worker_.part);
    waiting_ = &waiting;
    callModule(waiting);
    waiting_ = nullptr;
  }
  dropped_ = moduleClosedSocket();
  if (!dropped_) {
    compose();
    sent_ = unsendable_ ? Io{Io::kFailed} : job_->response.write(*transport_);
  }
  logRequest();
  if (worker_.loop.leading()) return afterServing();
  // From here on the connection is the leader's again.
  boost::asio::post(worker_.loop.context(), [self = shared_from_this()] { self->takeBack(); });
  return false;
}

void Connection::takeBack() {
  try {
    if (!afterServing()) return;
  } catch (const std::exception& error) {
    return fail(error);
  }
  run();
}

void Connection::callModule(Waiting& waiting) {
  ManagerContext context(worker_, waiting);
  HttpResponse& response = job_->response;
  try {
    const FaultGuard guard;
    worker_.servlet->doMethod(context, *job_->request, response);
  } catch (const std::exception& error) {
    logFailure("a request failed", error.what());
    response.replaceByError(kServerError, "");
  } catch (...) {
    logFailure("a request failed", "the module threw something unknown");
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
    to.keepAlive = parser.is_done() && parser.keepsAlive() && !worker_.stopping;
    to.intercepted = job_->request->intercepted();
  }
  try {
    job_->response.compose(to);
  } catch (const std::exception& error) {
    logFailure("an answer failed", error.what());
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
    use(parser.putBody(unused(), error));
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
  job_->response.start();  // gives a large body's memory back
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
  // The next request is hardly ever there already: wait for it rather than try in vain.
  return unparsed_ || transport_->holdsBack() || await(Io::kWantRead);
}

// The module may close its descriptor of the connection, at a time when other threads open others:
// what it gets is a duplicate that nothing else depends on. False when there is no descriptor to be
// had: what the module closed could not be told.
bool Connection::handOutSocket() {
  if (moduleSocket_ < 0) moduleSocket_ = fcntl(socket_, F_DUPFD_CLOEXEC, 0);
  job_->request->socket = moduleSocket_;
  return moduleSocket_ >= 0;
}

// The number may belong to something else by now, which is another file then.
bool Connection::moduleClosedSocket() const {
  if (job_->response.keepAlive || job_->response.reusable || moduleSocket_ < 0) return false;
  struct stat own {};
  struct stat given {};
  if (fstat(moduleSocket_, &given) != 0) return errno == EBADF;
  if (fstat(socket_, &own) != 0) return false;
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
