#include "webserver/access_log.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace web {
namespace {

AccessLog::Entry entryOf(std::string_view method, std::string_view target) {
  AccessLog::Entry entry;
  entry.clientAddr = inet_addr("10.5.50.2");
  entry.method = method;
  entry.target = target;
  entry.http11 = true;
  entry.status = 200;
  entry.bodyBytes = 5312;
  entry.took = std::chrono::microseconds(840);
  return entry;
}

TEST(AccessLog, LineHasClientRequestAndResult) {
  AccessLog::Entry entry = entryOf("GET", "/login");
  EXPECT_EQ(AccessLog::format(entry), "10.5.50.2 http \"GET /login HTTP/1.1\" 200 5312 840us");
  entry.tls = true;
  entry.http11 = false;
  entry.status = 0;
  EXPECT_EQ(AccessLog::format(entry), "10.5.50.2 https \"GET /login HTTP/1.0\" - 5312 840us");
}

TEST(AccessLog, QueryIsLeftOut) {
  const std::string line = AccessLog::format(entryOf("GET", "/login?username=a&password=secret"));
  EXPECT_EQ(line.find("secret"), std::string::npos);
  EXPECT_NE(line.find("\"GET /login HTTP/1.1\""), std::string::npos);
}

TEST(AccessLog, HostileTargetStaysOneLine) {
  const std::string line = AccessLog::format(entryOf("GET", "/a\"b\\\x1b[31m\n\xff c"));
  EXPECT_NE(line.find("GET /a\\x22b\\x5C\\x1B[31m\\x0A\\xFF\\x20c HTTP"), std::string::npos)
      << line;
  const std::string target(100000, 'x');
  EXPECT_LT(AccessLog::format(entryOf("GET", target)).size(), 1200u);
}

TEST(AccessLog, RequestLineThatCouldNotBeReadIsADash) {
  EXPECT_NE(AccessLog::format(entryOf("", "")).find("http \"-\" 200"), std::string::npos);
}

TEST(AccessLog, FileThatCannotBeOpenedIsAnError) {
  EXPECT_THROW(AccessLog("/dev/null/log"), std::runtime_error);
}

}  // namespace
}  // namespace web
