#include "webserver/http_request.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <ostream>

#include "webserver/own_names.h"
#include "webserver/request_parser.h"

namespace web {
namespace {

class NoBody : public BodySource {
 public:
  bool readBody(std::string&, unsigned) override { return false; }
};

// A request text as a connection to 10.5.50.1 of a server that listens there and is called
// "Hotspot.Example" sees it.
class RequestText : public ::testing::Test {
 protected:
  RequestText() : request_(&body_), parser_(&request_.headers) {
    config_.listen.push_back({"10.5.50.1", 80, false, 0, ""});
    config_.listen.push_back({"10.9.9.9", 80, false, 0, ""});
    config_.serverNames = {"Hotspot.Example"};
    facts_.clientAddr = inet_addr("10.5.50.2");
    facts_.localAddr = inet_addr("10.5.50.1");
  }

  bool fill(const std::string& text) {
    boost::beast::error_code error;
    parser_.put(boost::asio::const_buffer(text.data(), text.size()), error);
    EXPECT_FALSE(error) << text << error.message();
    if (config_.listen.front().address == "0.0.0.0") config_.listen.resize(1);
    return !error && request_.fill(parser_, facts_, OwnNames(config_), mount_);
  }
  bool get(const std::string& target, const std::string& host) {
    return fill("GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
  }
  std::string dstHost() {
    std::string host = "untouched";
    return request_.getDstHost(host) ? host : "false, " + host;
  }

  Config config_;
  ConnectionFacts facts_;
  std::string mount_ = "/";
  NoBody body_;
  HttpRequest request_;
  RequestParser parser_;
};

struct HostCase {
  const char* target;
  const char* host;
  bool foreign;
  const char* dstHost;
};

void PrintTo(const HostCase& each, std::ostream* out) {
  *out << each.target << " to \"" << each.host << '"';
}

class HostNames : public RequestText, public ::testing::WithParamInterface<HostCase> {};

TEST_P(HostNames, DecideWhetherARequestIsIntercepted) {
  const HostCase& each = GetParam();
  ASSERT_TRUE(get(each.target, each.host));
  EXPECT_EQ(request_.foreignDst, each.foreign);
  EXPECT_EQ(dstHost(), each.dstHost);
}

INSTANTIATE_TEST_SUITE_P(
    All, HostNames,
    ::testing::Values(HostCase{"/", "10.5.50.1", false, "10.5.50.1"},
                      HostCase{"/", "10.5.50.1:8080", false, "10.5.50.1:8080"},
                      HostCase{"/", "10.9.9.9", false, "10.9.9.9"},
                      HostCase{"/", "10.9.9.8", true, "10.9.9.8"},
                      HostCase{"/", "hotspot.example", false, "hotspot.example"},
                      HostCase{"/", "HOTSPOT.example.:80", false, "HOTSPOT.example."},
                      HostCase{"/", "a.hotspot.example", true, "a.hotspot.example"},
                      HostCase{"/", "Www.Example.com:80", true, "Www.Example.com"},
                      HostCase{"/", "www.example.com:8080", true, "www.example.com:8080"},
                      HostCase{"/", "127.0.0.1", true, "127.0.0.1"},
                      HostCase{"http://other.example/x", "10.5.50.1", true, "other.example"},
                      HostCase{"http://10.5.50.1/x", "other.example", false, "10.5.50.1"},
                      HostCase{"http://10.5.50.1/x", "", false, "10.5.50.1"}));

class MalformedHosts : public RequestText, public ::testing::WithParamInterface<HostCase> {};

TEST_P(MalformedHosts, AreRefused) { EXPECT_FALSE(get(GetParam().target, GetParam().host)); }

INSTANTIATE_TEST_SUITE_P(
    All, MalformedHosts,
    ::testing::Values(HostCase{"/", "", true, ""}, HostCase{"/", " ", true, ""},
                      HostCase{"/", "a<b>", true, ""}, HostCase{"/", "10.5.50.1:99999", true, ""},
                      HostCase{"/", "10.5.50.1:x", true, ""}, HostCase{"/", "a@b", true, ""},
                      HostCase{"/", "a, b", true, ""}, HostCase{"/", ":80", true, ""},
                      HostCase{"http://10.5.50.1/", "a b", true, ""},
                      HostCase{"http://a@10.5.50.1/x", "10.5.50.1", true, ""},
                      HostCase{"http://10.5.50.1:x/", "10.5.50.1", true, ""},
                      HostCase{"http:///x", "10.5.50.1", true, ""},
                      HostCase{"http://:80/", "10.5.50.1", true, ""},
                      HostCase{"http://10.5.50.1#f", "10.5.50.1", true, ""}));

TEST_F(RequestText, MalformedHostIsRefusedInTheOldProtocolToo) {
  EXPECT_FALSE(fill("GET /x HTTP/1.0\r\nHost: a b\r\n\r\n"));
}

TEST_F(RequestText, FillsWhatTheServletReads) {
  facts_.flags = 0x82000000;
  ASSERT_TRUE(get("/lv/log%69n?user=a%20b", "10.5.50.1"));
  EXPECT_EQ(request_.path, "/lv/login");
  EXPECT_EQ(request_.relPath, "lv/login");
  EXPECT_TRUE(request_.hasRelPath);
  EXPECT_EQ(request_.query, "user=a%20b");
  EXPECT_EQ(request_.method, kMethodGet);
  EXPECT_EQ(request_.protocol, kProtoHttp);
  EXPECT_EQ(request_.clientAddr, inet_addr("10.5.50.2"));
  EXPECT_EQ(request_.localAddr, inet_addr("10.5.50.1"));
  EXPECT_FALSE(request_.isSsl);
  EXPECT_EQ(request_.connFlags, 0x82000000u);
}

TEST_F(RequestText, TlsMakesTheProtocolHttps) {
  facts_.tls = true;
  ASSERT_TRUE(get("/", "other.example:443"));
  EXPECT_TRUE(request_.isSsl);
  EXPECT_EQ(request_.protocol, kProtoHttps);
  EXPECT_EQ(dstHost(), "other.example");
}

TEST_F(RequestText, SchemeOfAnAbsoluteUriIsTheProtocol) {
  ASSERT_TRUE(get("ftp://files.example:21/x", "files.example"));
  EXPECT_EQ(request_.protocol, 3u);
  EXPECT_EQ(dstHost(), "files.example");
}

TEST_F(RequestText, OldProtocolWithoutHostIsTheServersOwn) {
  ASSERT_TRUE(fill("GET /x HTTP/1.0\r\n\r\n"));
  EXPECT_FALSE(request_.foreignDst);
  EXPECT_EQ(dstHost(), "false, untouched");
}

TEST_F(RequestText, NewProtocolNeedsExactlyOneHost) {
  EXPECT_FALSE(fill("GET /x HTTP/1.1\r\n\r\n"));
}

TEST_F(RequestText, TwoHostsAreMalformed) {
  EXPECT_FALSE(fill("GET /x HTTP/1.1\r\nHost: a\r\nHost: a\r\n\r\n"));
}

TEST_F(RequestText, EncodingThatDoesNotEndWithChunkedIsMalformed) {
  EXPECT_FALSE(fill("POST /x HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: gzip\r\n\r\n"));
}

TEST_F(RequestText, UnknownMethodIsNumberZeroAndConnectNamesItsHost) {
  ASSERT_TRUE(fill("CONNECT bank.example:443 HTTP/1.1\r\nHost: bank.example:443\r\n\r\n"));
  EXPECT_STREQ(methodNames[request_.method], "CONNECT");
  EXPECT_TRUE(request_.foreignDst);
  EXPECT_EQ(dstHost(), "bank.example:443");
  EXPECT_EQ(request_.relPath, "");
}

TEST_F(RequestText, UnknownMethodIsNumberZero) {
  ASSERT_TRUE(fill("BREW /x HTTP/1.1\r\nHost: a\r\n\r\n"));
  EXPECT_EQ(request_.method, 0u);
}

TEST_F(RequestText, RelPathBeginsBelowTheMountPoint) {
  mount_ = "/portal";
  ASSERT_TRUE(get("/portal/xml/login", "10.5.50.1"));
  EXPECT_EQ(request_.relPath, "xml/login");
  EXPECT_TRUE(request_.belowMount());
}

TEST_F(RequestText, MountPointItselfIsAnEmptyRelPath) {
  mount_ = "/portal";
  ASSERT_TRUE(get("/portal", "10.5.50.1"));
  EXPECT_EQ(request_.relPath, "");
  EXPECT_TRUE(request_.belowMount());
}

TEST_F(RequestText, NameThatOnlyBeginsLikeTheMountPointIsOutside) {
  mount_ = "/portal";
  ASSERT_TRUE(get("/portals/login", "10.5.50.1"));
  EXPECT_FALSE(request_.belowMount());
}

TEST_F(RequestText, InterceptedRequestIsServedWhateverTheMountPoint) {
  mount_ = "/portal";
  ASSERT_TRUE(get("/any/thing", "other.example"));
  EXPECT_TRUE(request_.belowMount());
  EXPECT_EQ(request_.relPath, "any/thing");
}

// Also where no listener names it: a redirect rule chooses among the machine's addresses.
TEST_F(RequestText, AddressWhereTheConnectionArrivedIsTheServersOwn) {
  facts_.localAddr = inet_addr("10.5.50.77");
  ASSERT_TRUE(get("/", "10.5.50.77:8080"));
  EXPECT_FALSE(request_.foreignDst);
}

TEST_F(RequestText, ListenerOnAllAddressesOwnsTheMachines) {
  config_.listen.front().address = "0.0.0.0";
  ASSERT_TRUE(get("/", "127.0.0.1"));
  EXPECT_FALSE(request_.foreignDst);
}

TEST_F(RequestText, ListenerOnAllAddressesOwnsNoOthers) {
  config_.listen.front().address = "0.0.0.0";
  ASSERT_TRUE(get("/", "192.0.2.1"));
  EXPECT_TRUE(request_.foreignDst);
}

TEST_F(RequestText, OriginalDestinationFillsOnlyWordsThatAreZero) {
  facts_.origDst[0] = 0x0a053202;
  facts_.origDst[1] = 443;
  ASSERT_TRUE(get("/", "a"));
  EXPECT_EQ(request_.origDst[0], 0u);
  request_.origDst[1] = 7;
  request_.initOrigDst();
  EXPECT_EQ(request_.origDst[0], 0x0a053202u);
  EXPECT_EQ(request_.origDst[1], 7u);
}

}  // namespace
}  // namespace web
