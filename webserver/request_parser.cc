#include "webserver/request_parser.h"

#include <boost/beast/http/error.hpp>

#include "platform/ascii.h"

namespace web {

namespace http = boost::beast::http;

void RequestParser::on_request_impl(http::verb, Text method, Text target, int version, Error&) {
  method_.assign(method.data(), method.size());
  target_.assign(target.data(), target.size());
  version_ = version;
}

void RequestParser::on_response_impl(int, Text, int, Error&) {}

void RequestParser::on_field_impl(http::field field, Text name, Text value, Error&) {
  if (headerDone_) return;
  if (field == http::field::transfer_encoding) transferEncoding_ = true;
  if (field == http::field::host) ++hostFields_;
  if (field == http::field::expect) {
    expectsContinue_ = ascii::equalIgnoringCase({value.data(), value.size()}, "100-continue");
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

void RequestParser::on_chunk_header_impl(std::uint64_t, Text, Error&) {}

std::size_t RequestParser::on_chunk_body_impl(std::uint64_t, Text body, Error& error) {
  return on_body_impl(body, error);
}

void RequestParser::on_finish_impl(Error&) {}

}  // namespace web
