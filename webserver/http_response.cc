#include "webserver/http_response.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/status.hpp>
#include <ctime>

#include "webserver/header_text.h"

namespace web {

namespace http = boost::beast::http;

namespace {

constexpr int kMaxParts = 16;

bool isServersOwn(http::field field) {
  switch (field) {
    case http::field::content_length:
    case http::field::connection:
    case http::field::date:
    case http::field::transfer_encoding:
    case http::field::keep_alive:
      return true;
    default:
      return false;
  }
}

bool hasNoBody(int status) { return status == 204 || status == 304; }

std::string standardReason(int status) {
  const auto known = http::int_to_status(static_cast<unsigned>(status));
  if (known == http::status::unknown) return "Unknown";
  const auto text = http::obsolete_reason(known);
  return {text.data(), text.size()};
}

}  // namespace

void HttpResponse::start() {
  headers = Headers();
  keepAlive = true;
  reusable = true;
  serializer_.reset();
  message_.reset();
  body_.reset();
  status_ = 200;
  reason_.clear();
  errorSent_ = false;
  bodySent_ = 0;
  staysOpen_ = false;
}

void HttpResponse::setStatus(int code, const std::string& reason) {
  if (errorSent_) return;
  status_ = code;
  reason_ = reason;
}

void HttpResponse::sendError(int status, const std::string& text) {
  if (errorSent_) return;
  writeErrorPage(status, text);
}

void HttpResponse::replaceByError(int status, const std::string& text) {
  headers = Headers();
  writeErrorPage(status, text);
  if (status == 503) headers.addHeader("Retry-After", kRetryAfterSecs, true);
}

void HttpResponse::writeErrorPage(int status, const std::string& text) {
  body_.reset();
  status_ = status >= 100 && status <= 999 ? status : 500;
  reason_.clear();
  errorSent_ = true;
  headers.addHeader("Content-Type", "text/html", true);
  const std::string title = std::to_string(status_) + " " + standardReason(status_);
  body_ << "<!DOCTYPE html>\n<html><head><title>" << title << "</title></head>\n<body><h1>" << title
        << "</h1>\n";
  if (!text.empty()) body_ << "<p>" << escapeHtml(text) << "</p>\n";
  body_ << "</body></html>\n";
}

std::ostream* HttpResponse::getBufferedOutput(bool) { return errorSent_ ? &nowhere_ : &body_; }

std::ostream* HttpResponse::getOutput() { return getBufferedOutput(false); }

void HttpResponse::addModuleHeaders(Message& message) const {
  for (const auto& [name, value] : headers.fields()) {
    if (!isToken(name)) continue;
    const http::field field = http::string_to_field(name);
    if (!isServersOwn(field)) message.insert(field, name, cleanHeaderText(value));
  }
}

// One field: some of the programs that look for a portal read the first of several only.
void HttpResponse::forbidStoring(Message& message) {
  std::string directives;
  const auto fields = message.equal_range(http::field::cache_control);
  for (auto field = fields.first; field != fields.second; ++field) {
    if (field->value().empty()) continue;
    directives.append(field->value().data(), field->value().size());
    directives += ", ";
  }
  message.set(http::field::cache_control, directives + "no-store");
}

void HttpResponse::compose(const AnswerTo& to) {
  // The stream swallowed an exception: some of the body is missing.
  if (body_.bad() || status_ < 200 || status_ > 999) replaceByError(500, "");

  const BodyBuffer& body = body_.buffer();
  const bool noBody = hasNoBody(status_);
  bodySent_ = noBody || to.head ? 0 : body.size();
  staysOpen_ = to.keepAlive && !to.intercepted && keepAlive && reusable;

  Message& message = message_.emplace();
  message.version(11);
  message.result(static_cast<unsigned>(status_));
  if (!reason_.empty()) message.reason(cleanHeaderText(reason_));
  message.set(http::field::date, boost::beast::string_view(httpDate(std::time(nullptr)).data()));
  addModuleHeaders(message);
  if (to.intercepted) forbidStoring(message);
  if (!noBody) message.set(http::field::content_length, std::to_string(body.size()));
  if (!staysOpen_) {
    message.set(http::field::connection, "close");
  } else if (!to.http11) {
    message.set(http::field::connection, "keep-alive");
  }
  message.body() = Body::value_type(body.data(), bodySent_);
  serializer_.emplace(message);
}

Io HttpResponse::write(Transport& transport) {
  Serializer& serializer = *serializer_;
  while (!serializer.is_done()) {
    Io io{Io::kFailed};
    boost::beast::error_code error;
    serializer.next(error, [&](boost::beast::error_code&, const auto& buffers) {
      iovec parts[kMaxParts];
      int count = 0;
      for (const boost::asio::const_buffer part : boost::beast::buffers_range_ref(buffers)) {
        if (part.size() == 0) continue;
        if (count == kMaxParts) break;
        parts[count++] = {const_cast<void*>(part.data()), part.size()};
      }
      io = transport.write(parts, count);
      if (io.kind == Io::kBytes) serializer.consume(io.bytes);
    });
    if (error) return {Io::kFailed};
    if (io.kind != Io::kBytes) return io;
  }
  return {Io::kBytes};
}

}  // namespace web
