// The answer to one request: collects what the module writes, then gives it to Beast's serializer.

#ifndef WEBSERVER_HTTP_RESPONSE_H_
#define WEBSERVER_HTTP_RESPONSE_H_

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/span_body.hpp>
#include <optional>
#include <string>

#include "host/response.h"
#include "webserver/body_stream.h"
#include "webserver/transport.h"

namespace web {

// How the request was asked decides how it is answered.
struct AnswerTo {
  bool head = false;  // none of the body is sent
  bool http11 = true;
  bool keepAlive = true;  // the client and the server are both willing
  // The request was meant for another server. Its client must not take the answer for that
  // server's: it may not keep it, nor send the next request for that server on this connection,
  // where the firewall would no longer see it pass once the client is logged in.
  bool intercepted = false;
};

// Life: start(), then the module's operations, then compose(), then write() until it is done. One
// thread at a time.
class HttpResponse : public Response {
 public:
  // Seconds after which a client that is turned away may ask again.
  static constexpr int kRetryAfterSecs = 5;

  // As new.
  void start();

  void setStatus(int code, const std::string& reason) override;
  void sendError(int status, const std::string& text) override;
  std::ostream* getBufferedOutput(bool buffered) override;
  std::ostream* getOutput() override;

  // Drops all that was written and answers with this instead.
  void replaceByError(int status, const std::string& text);

  // Builds the message. Headers that are the server's own (Content-Length, Connection, Date,
  // Transfer-Encoding) replace the module's; names that are no tokens are dropped, values are
  // cleaned. An intercepted request's answer has "no-store" beside what the module says of caches.
  // Throws std::bad_alloc.
  void compose(const AnswerTo& to);

  // Sends what the transport takes. kBytes: all of it has been sent.
  Io write(Transport& transport);

  // After compose(): what is being sent, and whether the connection stays.
  int status() const { return status_; }
  std::size_t bodyBytes() const { return bodySent_; }
  bool staysOpen() const { return staysOpen_; }

 private:
  using Body = boost::beast::http::span_body<const char>;
  using Message = boost::beast::http::response<Body>;
  using Serializer = boost::beast::http::response_serializer<Body>;

  void writeErrorPage(int status, const std::string& text);
  void addModuleHeaders(Message& message) const;
  static void forbidStoring(Message& message);

  BodyStream body_;
  std::ostream nowhere_{nullptr};  // what is written after sendError
  int status_ = 200;
  std::string reason_;
  bool errorSent_ = false;
  std::optional<Message> message_;
  std::optional<Serializer> serializer_;
  std::size_t bodySent_ = 0;
  bool staysOpen_ = false;
};

}  // namespace web

#endif  // WEBSERVER_HTTP_RESPONSE_H_
