// Beast's incremental parser, filling what a request needs.

#ifndef WEBSERVER_REQUEST_PARSER_H_
#define WEBSERVER_REQUEST_PARSER_H_

#include <boost/beast/http/basic_parser.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/headers.h"

namespace web {

// Longest header of a request, request line included.
constexpr std::size_t kMaxHeaderBytes = 16384;

// Parses one request. putHeader() parses up to the end of the header; after readBodyInto()
// putBody() goes on with the body. Fields that follow a chunked body are dropped. Where RFC 9112
// lets a server choose between a refusal and a guess, and others guess differently, the request is
// refused.
class RequestParser : public boost::beast::http::basic_parser<true> {
 public:
  explicit RequestParser(Headers* headers) : headers_(headers) {
    header_limit(kMaxHeaderBytes);
    body_limit(boost::none);
  }

  const std::string& method() const { return method_; }
  const std::string& target() const { return target_; }
  bool http11() const { return version_ >= 11; }
  // "Transfer-Encoding" was there and does not end with "chunked", or the protocol has no such
  // field: where the body ends is unknown (RFC 9112 section 6.1).
  bool bodyUnframed() const { return codings_ > 0 && !(chunked_ && http11()); }
  // "Transfer-Encoding" ends with "chunked" and has more than that word.
  bool codingUnknown() const { return chunked_ && (codings_ > 1 || !plainlyChunked_); }
  // As basic_parser::keep_alive(), from the header's Connection fields alone; "close" goes before
  // "keep-alive" in every version (RFC 9112 section 9.3).
  bool keepsAlive() const { return !close_ && (http11() || keepAlive_); }
  bool expectsContinue() const { return expectsContinue_; }
  unsigned hostFields() const { return hostFields_; }

  // Parses on in the header, as put() does, and refuses folded field lines (RFC 9112 section 5.2).
  std::size_t putHeader(std::string_view text, boost::beast::error_code& error);

  // Parses on in the body, as put() does.
  std::size_t putBody(std::string_view text, boost::beast::error_code& error);

  // The body goes into `*body`, at most `limit` bytes; a longer one ends with error::body_limit.
  // Null: the body is dropped.
  void readBodyInto(std::string* body, std::size_t limit) {
    body_ = body;
    limit_ = limit;
    eager(true);
  }

 private:
  using Text = boost::beast::string_view;
  using Error = boost::beast::error_code;

  void on_request_impl(boost::beast::http::verb verb, Text method, Text target, int version,
                       Error& error) override;
  void on_response_impl(int status, Text reason, int version, Error& error) override;
  void on_field_impl(boost::beast::http::field field, Text name, Text value, Error& error) override;
  void on_header_impl(Error& error) override;
  void on_body_init_impl(const boost::optional<std::uint64_t>& length, Error& error) override;
  std::size_t on_body_impl(Text body, Error& error) override;
  void on_chunk_header_impl(std::uint64_t size, Text extensions, Error& error) override;
  std::size_t on_chunk_body_impl(std::uint64_t remain, Text body, Error& error) override;
  void on_finish_impl(Error& error) override;

  Headers* headers_;
  std::string method_, target_;
  int version_ = 0;
  bool headerDone_ = false;
  unsigned codings_ = 0;  // Transfer-Encoding fields
  bool chunked_ = false;
  bool plainlyChunked_ = false;
  bool hasLength_ = false;
  bool close_ = false;
  bool keepAlive_ = false;
  bool expectsContinue_ = false;
  unsigned hostFields_ = 0;
  std::string* body_ = nullptr;
  std::size_t limit_ = 0;
};

}  // namespace web

#endif  // WEBSERVER_REQUEST_PARSER_H_
