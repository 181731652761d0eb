// The half of Connection that reads a request's body, when the module asks for it.

#include <poll.h>

#include <boost/beast/http/error.hpp>

#include "webserver/connection.h"

namespace web {

namespace http = boost::beast::http;

namespace {

// Longest piece of a chunked body's framing (a chunk's size line, the fields after the last one).
constexpr std::size_t kMaxFramingBytes = 16384;

}  // namespace

bool Connection::readBody(std::string& body, unsigned maxLen) {
  body.clear();
  RequestParser& parser = *job_->parser;
  if (parser.is_done()) return true;
  const auto length = parser.content_length();
  if (length && *length > maxLen) return false;

  const Clock::time_point until =
      Clock::now() + std::chrono::seconds(worker_.config.bodyTimeoutSecs);
  parser.readBodyInto(&body, maxLen);
  if (!parseBody()) return false;
  if (parser.is_done()) return true;
  // Clients that are slow on purpose get half of the places, so that logins keep the others.
  if (!waiting_->enter((worker_.config.maxWaiting + 1) / 2)) return false;
  const bool whole = fetchBody(until);
  waiting_->leave();
  return whole;
}

// Gives the parser what is here. False when the body is malformed or too long.
bool Connection::parseBody() {
  RequestParser& parser = *job_->parser;
  boost::beast::error_code error;
  while (!parser.is_done() && !unused().empty()) {
    use(parser.putBody(unused(), error));
    if (error == http::error::need_more) return unused().size() < kMaxFramingBytes;
    if (error) return false;
  }
  return true;
}

bool Connection::fetchBody(Clock::time_point until) {
  RequestParser& parser = *job_->parser;
  // Of an older protocol's request the expectation is not one (RFC 9110 section 10.1.1).
  bool continued = !parser.expectsContinue() || !parser.http11() || !unused().empty();
  while (!parser.is_done()) {
    char buffer[kReadBytes];
    const Io io = transport_->read(buffer);
    if (io.kind == Io::kBytes) {
      input_.append(buffer, io.bytes);
      if (!parseBody()) return false;
      continued = true;
      continue;
    }
    if (io.kind != Io::kWantRead && io.kind != Io::kWantWrite) return false;
    if (!continued && !sendContinue(until)) return false;
    continued = true;
    if (!waitForClient(io.kind, until)) return false;
  }
  return true;
}

// The client waits for a word before it sends the body (RFC 9110 section 10.1.1).
bool Connection::sendContinue(Clock::time_point until) {
  std::string_view rest = "HTTP/1.1 100 Continue\r\n\r\n";
  while (!rest.empty()) {
    const iovec part{const_cast<char*>(rest.data()), rest.size()};
    const Io io = transport_->write(&part, 1);
    if (io.kind == Io::kBytes) {
      rest.remove_prefix(io.bytes);
    } else if (io.kind == Io::kFailed || io.kind == Io::kEnd || !waitForClient(io.kind, until)) {
      // What follows would be read as the rest of this word, of which TLS may hold a record back.
      unsendable_ = true;
      return false;
    }
  }
  return true;
}

// Blocks this thread, after another one took over the loop.
bool Connection::waitForClient(Io::Kind what, Clock::time_point until) {
  if (!waiting_->stepAside()) return false;
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
    if (left <= 0) return false;
    pollfd poll{socket_, static_cast<short>(what == Io::kWantWrite ? POLLOUT : POLLIN), 0};
    const int ready = ::poll(&poll, 1, static_cast<int>(left));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return false;
  }
}

}  // namespace web
