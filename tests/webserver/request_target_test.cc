#include "webserver/request_target.h"

#include <gtest/gtest.h>

#include "host/request.h"

namespace web {
namespace {

TEST(RequestTarget, OriginFormIsTakenApart) {
  const struct {
    const char* text;
    const char* path;
    const char* query;
  } cases[] = {
      {"/", "/", ""},
      {"/login?a=b", "/login", "a=b"},
      {"/a?b?c", "/a", "b?c"},
      {"/a?", "/a", ""},
      {"/a%20b%2Fc?d%20e", "/a b/c", "d%20e"},
      {"/%2561", "/%61", ""},
      {"/%41%7a%c3%A9", "/Az\xc3\xa9", ""},
      {"//x", "//x", ""},
  };
  for (const auto& each : cases) {
    Target target;
    ASSERT_TRUE(parseTarget(each.text, "GET", &target)) << each.text;
    EXPECT_EQ(target.path, each.path);
    EXPECT_EQ(target.query, each.query);
    EXPECT_FALSE(target.hasAuthority);
    EXPECT_EQ(target.scheme, "");
  }
}

TEST(RequestTarget, AbsoluteFormNamesSchemeAndHost) {
  const struct {
    const char* text;
    const char* scheme;
    const char* authority;
    const char* path;
    const char* query;
  } cases[] = {
      {"http://a.example/x?y", "http", "a.example", "/x", "y"},
      {"HTTP://a.example:81", "http", "a.example:81", "/", ""},
      {"https://a.example?q", "https", "a.example", "/", "q"},
      {"ftp://f/", "ftp", "f", "/", ""},
      {"x+y-z.1://h/%41", "x+y-z.1", "h", "/A", ""},
      {"http:///x", "http", "", "/x", ""},
  };
  for (const auto& each : cases) {
    Target target;
    ASSERT_TRUE(parseTarget(each.text, "GET", &target)) << each.text;
    EXPECT_EQ(target.scheme, each.scheme);
    EXPECT_EQ(target.authority, each.authority);
    EXPECT_EQ(target.path, each.path);
    EXPECT_EQ(target.query, each.query);
    EXPECT_TRUE(target.hasAuthority);
  }
}

TEST(RequestTarget, ConnectAndAsteriskFormsBelongToTheirMethods) {
  Target target;
  ASSERT_TRUE(parseTarget("a.example:443", "CONNECT", &target));
  EXPECT_EQ(target.authority, "a.example:443");
  EXPECT_EQ(target.path, "/");
  for (const char* text : {"/x", "a.example", "a.example:", "a.example:0", "http://a.example:1/"}) {
    EXPECT_FALSE(parseTarget(text, "CONNECT", &target)) << text;
  }
  ASSERT_TRUE(parseTarget("*", "OPTIONS", &target));
  EXPECT_EQ(target.path, "*");
  EXPECT_FALSE(parseTarget("*", "GET", &target));
}

TEST(RequestTarget, MalformedOnesAreRefused) {
  for (const char* text : {"", "x", "login", "://a/", "1http://a/", "http:/a", "ht tp://a/", "/%",
                           "/%4", "/%4g", "/%zz", "/a%00b", "/%%41", "http://a/%0"}) {
    Target target;
    EXPECT_FALSE(parseTarget(text, "GET", &target)) << text;
  }
}

TEST(RequestTarget, PathIsDecodedExactlyOnce) {
  const struct {
    const char* text;
    const char* path;
  } cases[] = {
      {"/%2e%2e/x", "/../x"},
      {"/..%2fx", "/../x"},
      {"/%252e%252e/x", "/%2e%2e/x"},
      {"/..%252fx", "/..%2fx"},
      {"/%25%32%65/x", "/%2e/x"},
      {"/%25252e/x", "/%252e/x"},
      {"/a%2500", "/a%00"},
      {"/a%25", "/a%"},
      {"/%c0%ae%c0%ae/x", "/\xc0\xae\xc0\xae/x"},
  };
  for (const auto& each : cases) {
    Target target;
    ASSERT_TRUE(parseTarget(each.text, "GET", &target)) << each.text;
    EXPECT_EQ(target.path, each.path) << each.text;
  }
}

TEST(RequestTarget, NoStringOverTheDelimitersIsMistakenForAnother) {
  // Every short string: whatever is accepted has a path that begins with '/', or is "*".
  const std::string letters = "/%0a?:*";
  std::vector<std::string> all{""};
  for (std::size_t begin = 0, length = 0; length < 6; ++length) {
    const std::size_t end = all.size();
    for (; begin < end; ++begin) {
      for (const char c : letters) all.push_back(all[begin] + c);
    }
  }
  for (const std::string& text : all) {
    Target target;
    if (!parseTarget(text, "OPTIONS", &target)) continue;
    ASSERT_TRUE(target.path == "*" || target.path.front() == '/') << text;
    ASSERT_EQ(target.path.find('\0'), std::string::npos) << text;
    ASSERT_TRUE(!target.hasAuthority || text.find("://") != std::string::npos) << text;
  }
}

TEST(HostText, OnlyLegalCharactersPass) {
  for (const char* good :
       {"a", "example.com", "example.com:80", "EXAMPLE.com.", "10.5.50.1", "10.5.50.1:8080",
        "a_b-c~d", "a:", "a:0", "a:65535", "[::1]", "[::1]:80", "[fe80::1.2.3.4]:1"}) {
    EXPECT_TRUE(validHost(good)) << good;
  }
  for (const char* bad :
       {"",    ":80",  "a b",       "a/b",     "a\r\nb", "a<b",      "a\"b",     "a'b",
        "a&b", "a@b",  "a:b",       "a:80:80", "a:-1",   "a:65536",  "a:100000", "[::1",
        "[]",  "[g]",  "::1]",      "[::1]x",  "a%20b",  "\xc3\xa9", "a\tb",     "a;b",
        "a?b", "a#b",  "a\\b",      ".",       ".a",     "a..b",     "..",       "a..",
        "[:]", "[::1", "[1.2.3.4]", "[...]",   "[",      "[::1]:x"}) {
    EXPECT_FALSE(validHost(bad)) << bad;
  }
  EXPECT_FALSE(validHost(std::string_view("a\0b", 3)));
  EXPECT_FALSE(validHost(std::string_view("[::1\0x]", 7)));
}

TEST(HostText, TheUsualPortIsDroppedAndAnotherKept) {
  EXPECT_EQ(withoutUsualPort("a:80", kProtoHttp), "a");
  EXPECT_EQ(withoutUsualPort("a:443", kProtoHttp), "a:443");
  EXPECT_EQ(withoutUsualPort("a:443", kProtoHttps), "a");
  EXPECT_EQ(withoutUsualPort("a:80", kProtoHttps), "a:80");
  EXPECT_EQ(withoutUsualPort("a:21", 3), "a");
  EXPECT_EQ(withoutUsualPort("a:", kProtoHttp), "a");
  EXPECT_EQ(withoutUsualPort("a:8080", kProtoHttp), "a:8080");
  EXPECT_EQ(withoutUsualPort("[::1]:80", kProtoHttp), "[::1]");
  EXPECT_EQ(withoutUsualPort("[::1]", kProtoHttp), "[::1]");
  EXPECT_EQ(hostName("a:80"), "a");
  EXPECT_EQ(hostName("[::1]:80"), "[::1]");
}

TEST(RequestNumbers, FollowTheHostsTables) {
  for (std::uint32_t i = 0; i < kMethodCount; ++i) {
    EXPECT_EQ(methodOf(methodNames[i]), i) << methodNames[i];
  }
  EXPECT_EQ(methodOf("get"), 0u);
  EXPECT_EQ(methodOf("BREW"), 0u);
  EXPECT_EQ(protocolOf("http"), 1u);
  EXPECT_EQ(protocolOf("https"), 2u);
  EXPECT_EQ(protocolOf("ftp"), 3u);
  EXPECT_EQ(protocolOf("gopher"), 0u);
}

}  // namespace
}  // namespace web
