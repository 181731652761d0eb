#include "webserver/request_parser.h"

#include <algorithm>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/rfc7230.hpp>

#include "platform/ascii.h"

namespace web {

namespace http = boost::beast::http;

namespace {

// A line of the text begins with a blank: it goes on with the line before.
bool hasFoldedLine(std::string_view text) {
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string_view::npos; ++at) {
    if (at + 1 < text.size() && (text[at + 1] == ' ' || text[at + 1] == '\t')) return true;
  }
  return false;
}

bool isControl(char c) {
  return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == '\x7f';
}

}  // namespace

std::size_t RequestParser::putHeader(std::string_view text, boost::beast::error_code& error) {
  const std::size_t length = put(boost::asio::const_buffer(text.data(), text.size()), error);
  // A field is taken together with the lines that it is folded into, never a part of it.
  const bool taken = !error || error == http::error::need_more;
  if (taken && hasFoldedLine(text.substr(0, length))) error = http::error::bad_value;
  return length;
}

// Once it has seen the line of a last chunk, Beast asserts that there are two bytes behind it; what
// one byte tells can wait for the next.
std::size_t RequestParser::putBody(std::string_view text, boost::beast::error_code& error) {
  if (chunked_ && text.size() == 4 && text.starts_with("0\r\n")) {
    error = http::error::need_more;
    return 0;
  }
  return put(boost::asio::const_buffer(text.data(), text.size()), error);
}

void RequestParser::on_request_impl(http::verb, Text method, Text target, int version, Error&) {
  method_.assign(method.data(), method.size());
  target_.assign(target.data(), target.size());
  version_ = version;
}

void RequestParser::on_response_impl(int, Text, int, Error&) {}

void RequestParser::on_field_impl(http::field field, Text name, Text value, Error& error) {
  if (headerDone_) return;
  const std::string_view text(value.data(), value.size());
  switch (field) {
    case http::field::transfer_encoding:
      ++codings_;
      plainlyChunked_ = ascii::equalIgnoringCase(text, "chunked");
      break;
    case http::field::content_length:
      // Beast passes a list, and a second field, when all their numbers are the same.
      if (hasLength_ || text.find(',') != std::string_view::npos) {
        error = http::error::multiple_content_length;
      }
      hasLength_ = true;
      break;
    case http::field::connection: {
      http::token_list options(value);
      close_ = close_ || options.exists("close");
      keepAlive_ = keepAlive_ || options.exists("keep-alive");
      break;
    }
    case http::field::host:
      ++hostFields_;
      break;
    case http::field::expect:
      expectsContinue_ = ascii::equalIgnoringCase(text, "100-continue");
      break;
    default:
      break;
  }
  headers_->addHeader({name.data(), name.size()}, {value.data(), value.size()}, false);
}

void RequestParser::on_header_impl(Error&) {
  headerDone_ = true;
  chunked_ = chunked();
}

void RequestParser::on_body_init_impl(const boost::optional<std::uint64_t>&, Error&) {}

std::size_t RequestParser::on_body_impl(Text body, Error& error) {
  if (body_ != nullptr) {
    if (body.size() > limit_ - body_->size()) {
      error = http::error::body_limit;
      return 0;
    }
    body_->append(body.data(), body.size());
  }
  return body.size();
}

// Beast passes any byte between quotes; a bare LF there is a line's end to others.
void RequestParser::on_chunk_header_impl(std::uint64_t, Text extensions, Error& error) {
  if (std::any_of(extensions.begin(), extensions.end(), isControl)) {
    error = http::error::bad_chunk_extension;
  }
}

std::size_t RequestParser::on_chunk_body_impl(std::uint64_t, Text body, Error& error) {
  return on_body_impl(body, error);
}

void RequestParser::on_finish_impl(Error&) {}

}  // namespace web
