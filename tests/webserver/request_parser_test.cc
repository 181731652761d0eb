#include "webserver/request_parser.h"

#include <gtest/gtest.h>

#include <boost/beast/http/error.hpp>
#include <string>

namespace web {
namespace {

namespace http = boost::beast::http;

// A parser that is given a header, and what comes of it.
class Parsed {
 public:
  // `step`: bytes that come at a time, each time with what the parser left before.
  explicit Parsed(const std::string& fields, const std::string& line = "POST / HTTP/1.1",
                  std::size_t step = std::string::npos)
      : parser(&headers) {
    const std::string text = line + "\r\nHost: a\r\n" + fields + "\r\n";
    std::string here;
    for (std::size_t at = 0; at < text.size() && (!error || error == http::error::need_more);) {
      const std::string piece = text.substr(at, step);
      at += piece.size();
      here += piece;
      here.erase(0, parser.putHeader(here, error));
    }
  }

  bool body(const std::string& text) {
    parser.readBodyInto(&taken, 1000);
    parser.put(boost::asio::const_buffer(text.data(), text.size()), error);
    return !error && parser.is_done();
  }

  Headers headers;
  std::string taken;  // of the body
  boost::beast::error_code error;
  RequestParser parser;
};

TEST(RequestParser, FoldedFieldLinesAreRefusedHoweverTheyCome) {
  for (const char* fields : {"X: y\r\n z\r\n", "X: y\r\n\tz\r\n", "X:\r\n y\r\n", "X: y\r\n \r\n",
                             "Transfer-Encoding:\r\n chunked\r\n", "X: y\r\n z\r\nZ: w\r\n"}) {
    for (const std::size_t step : {std::size_t{1}, std::size_t{7}, std::string::npos}) {
      const Parsed parsed(fields, "GET / HTTP/1.1", step);
      EXPECT_EQ(parsed.error, http::error::bad_value) << fields << step;
    }
  }
  EXPECT_FALSE(Parsed("X: y z\r\nZ:  w\r\n", "GET / HTTP/1.1", 1).error);
}

TEST(RequestParser, OneNumberInOneContentLengthFieldAtMost) {
  EXPECT_FALSE(Parsed("Content-Length: 005\r\n").error);
  for (const char* fields :
       {"Content-Length: 5, 5\r\n", "Content-Length: 5,\r\n", "Content-Length: 5, 6\r\n",
        "Content-Length: 5\r\nContent-Length: 5\r\n",
        "Content-Length: 5\r\ncontent-length: 6\r\n"}) {
    EXPECT_TRUE(Parsed(fields).error) << fields;
  }
}

TEST(RequestParser, OnlyTheWordChunkedIsAKnownCoding) {
  for (const char* value : {"chunked", "CHUNKED", "chunked \t", "\tchunked"}) {
    const Parsed parsed("Transfer-Encoding: " + std::string(value) + "\r\n");
    EXPECT_FALSE(parsed.error || parsed.parser.bodyUnframed() || parsed.parser.codingUnknown())
        << value;
  }
  for (const char* value : {"gzip, chunked", ",chunked", "chunked,", "chunked;q=1", "chunked;",
                            "chunked x", "identity\r\nTransfer-Encoding: chunked"}) {
    const Parsed parsed("Transfer-Encoding: " + std::string(value) + "\r\n");
    EXPECT_FALSE(parsed.error) << value;
    EXPECT_TRUE(parsed.parser.codingUnknown()) << value;
  }
  for (const char* value : {"gzip", "chunked, gzip", "chunked, chunked", "xchunked", ""}) {
    const Parsed parsed("Transfer-Encoding: " + std::string(value) + "\r\n");
    EXPECT_TRUE(parsed.parser.bodyUnframed()) << value;
    EXPECT_FALSE(parsed.parser.codingUnknown()) << value;
  }
}

TEST(RequestParser, ChunkExtensionHasNoControlBytes) {
  for (const char* extension : {";a=\"\n\"", ";a=\"\r\"", ";a=\"\x01\"", ";a=\"\x7f\"", ";a\n"}) {
    Parsed parsed("Transfer-Encoding: chunked\r\n");
    EXPECT_FALSE(parsed.body("1" + std::string(extension) + "\r\nx\r\n0\r\n\r\n")) << extension;
  }
  for (const char* extension : {"", ";a", ";a=b", ";a=\"b\tc\"", ";a=\"\xe9\""}) {
    Parsed parsed("Transfer-Encoding: chunked\r\n");
    EXPECT_TRUE(parsed.body("1" + std::string(extension) + "\r\nx\r\n0\r\n\r\n")) << extension;
  }
}

TEST(RequestParser, ConnectionFieldsDecideWhetherItStays) {
  const struct {
    const char* line;
    const char* fields;
    bool keepsAlive;
  } cases[] = {
      {"GET / HTTP/1.1", "", true},
      {"GET / HTTP/1.1", "Connection: x, Close\r\n", false},
      {"GET / HTTP/1.1", "Connection: keep-alive\r\nConnection: close\r\n", false},
      {"GET / HTTP/1.1", "Proxy-Connection: close\r\n", true},
      {"GET / HTTP/1.0", "", false},
      {"GET / HTTP/1.0", "Connection: Keep-Alive\r\n", true},
      {"GET / HTTP/1.0", "Connection: keep-alive, close\r\n", false},
      {"GET / HTTP/1.0", "Proxy-Connection: keep-alive\r\n", false},
  };
  for (const auto& each : cases) {
    const Parsed parsed(each.fields, each.line);
    ASSERT_FALSE(parsed.error) << each.fields;
    EXPECT_EQ(parsed.parser.keepsAlive(), each.keepsAlive) << each.line << each.fields;
  }
}

TEST(RequestParser, FieldsAfterAChunkedBodyChangeNothing) {
  Parsed parsed("Transfer-Encoding: chunked\r\n");
  EXPECT_TRUE(
      parsed.body("1\r\nx\r\n0\r\nConnection: close\r\nHost: b\r\nExpect: 100-continue\r\n\r\n"));
  EXPECT_TRUE(parsed.parser.keepsAlive());
  EXPECT_EQ(parsed.parser.hostFields(), 1u);
  EXPECT_FALSE(parsed.parser.expectsContinue());
}

}  // namespace
}  // namespace web
