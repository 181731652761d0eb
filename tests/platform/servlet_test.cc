// The servlet base class, and the tables of names.

#include "host/servlet.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "host/context.h"
#include "host/message.h"
#include "host/request.h"
#include "host/response.h"

namespace xml {
class Node {};
}  // namespace xml

namespace {

class NoContext : public Context {
 public:
  nv::message sendRequest(nv::message&, unsigned) override { return {}; }
};

class PlainRequest : public Request {
 public:
  bool getDstHost(std::string&) const override { return false; }
  bool readPostData(std::string&, unsigned int) const override { return false; }
  void initOrigDst() const override {}
};

class ErrorResponse : public Response {
 public:
  void setStatus(int, const std::string&) override {}
  void sendError(int status, const std::string&) override { errors.push_back(status); }
  std::ostream* getBufferedOutput(bool) override { return &body; }
  std::ostream* getOutput() override { return &body; }

  std::vector<int> errors;
  std::ostringstream body;
};

class ThreeMethods : public Servlet {
 public:
  void doGet(Context&, const Request&, Response&) override { called += "get "; }
  void doHead(Context&, const Request&, Response&) override { called += "head "; }
  void doPost(Context&, const Request&, Response&) override { called += "post "; }

  std::string called;
};

TEST(Servlet, BaseSaysNothingOfItself) {
  Servlet servlet;
  EXPECT_FALSE(servlet.isDirectory());
  EXPECT_FALSE(servlet.isProxy());
  EXPECT_EQ(servlet.getPath(), "");
}

TEST(Servlet, BaseRefusesEveryMethod) {
  Servlet servlet;
  NoContext ctx;
  for (std::uint32_t method = 0; method <= kMethodCount; ++method) {
    PlainRequest req;
    req.method = method;
    ErrorResponse resp;
    servlet.doMethod(ctx, req, resp);
    EXPECT_EQ(resp.errors, std::vector<int>{405}) << method;
  }
}

TEST(Servlet, MethodChoosesTheOperation) {
  NoContext ctx;
  for (std::uint32_t method = 0; method < kMethodCount; ++method) {
    ThreeMethods servlet;
    PlainRequest req;
    req.method = method;
    ErrorResponse resp;
    servlet.doMethod(ctx, req, resp);
    const std::string name = methodNames[method];
    if (name == "GET" || name == "HEAD" || name == "POST") {
      EXPECT_EQ(servlet.called, name == "GET" ? "get " : name == "HEAD" ? "head " : "post ");
      EXPECT_TRUE(resp.errors.empty());
    } else {
      EXPECT_EQ(servlet.called, "") << name;
      EXPECT_EQ(resp.errors, std::vector<int>{405}) << name;
    }
  }
}

TEST(Servlet, BaseTakesConfigurationAndMessagesInSilence) {
  Servlet servlet;
  servlet.parseConfig(xml::Node());
  servlet.onNotify(nv::message(), 1);
  EXPECT_EQ(servlet.getPath(), "");
}

// The slot of an operation in the table through which it is called. By the C++ ABI that this
// system's compilers follow, a pointer to a virtual operation holds the slot's offset, on most
// machines plus one.
template <typename Operation>
std::size_t slotOf(Operation operation) {
  std::size_t word = 0;
  static_assert(sizeof operation == 2 * sizeof word);
  std::memcpy(&word, &operation, sizeof word);
  return word / sizeof(void*);
}

// Slots 0 and 1 are the two destructors.
TEST(Servlet, OperationsKeepTheirSlots) {
  EXPECT_EQ(slotOf(&Servlet::isDirectory), 2U);
  EXPECT_EQ(slotOf(&Servlet::isProxy), 3U);
  EXPECT_EQ(slotOf(&Servlet::getPath), 4U);
  EXPECT_EQ(slotOf(&Servlet::doGet), 5U);
  EXPECT_EQ(slotOf(&Servlet::doHead), 6U);
  EXPECT_EQ(slotOf(&Servlet::doPost), 7U);
  EXPECT_EQ(slotOf(&Servlet::doMethod), 8U);
  EXPECT_EQ(slotOf(&Servlet::parseConfig), 9U);
  EXPECT_EQ(slotOf(&Servlet::onNotify), 10U);
}

TEST(Tables, MethodsHaveTheirNumbers) {
  const char* const expected[] = {"UNKNOWN", "GET",     "HEAD",    "POST",  "PUT",
                                  "DELETE",  "CONNECT", "OPTIONS", "TRACE", "PATCH"};
  ASSERT_EQ(std::size(expected), kMethodCount);
  for (unsigned i = 0; i < kMethodCount; ++i) {
    EXPECT_STREQ(methodNames[i], expected[i]);
  }
  EXPECT_STREQ(methodNames[kMethodGet], "GET");
  EXPECT_STREQ(methodNames[kMethodPost], "POST");
}

TEST(Tables, ProtocolsHaveTheirNumbers) {
  const char* const expected[] = {"unknown", "http", "https", "ftp"};
  ASSERT_EQ(std::size(expected), kProtoCount);
  for (unsigned i = 0; i < kProtoCount; ++i) {
    EXPECT_STREQ(protoNames[i], expected[i]);
  }
  EXPECT_STREQ(protoNames[kProtoHttp], "http");
  EXPECT_STREQ(protoNames[kProtoHttps], "https");
}

}  // namespace
