// A guest's visit as the module sees it, without a web server and a manager around.

#ifndef BENCH_VISIT_H_
#define BENCH_VISIT_H_

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/address.h"
#include "host/context.h"
#include "host/request.h"
#include "host/response.h"
#include "webserver/body_stream.h"

namespace bench {

constexpr std::uint32_t kAddress = 0x02320a0a;

// Of a client that has to log in, as the manager of a small portal gives it.
inline nv::message loginReply(const std::string& pageDir) {
  nv::message reply;
  reply.insert_u32(0x08000450, 0);
  reply.insert_bool(0x00000452, false);
  reply.insert_string(0x2000044d, pageDir);
  reply.insert_string(0x2000044e, "portal.example.net");
  reply.insert_be32(0x0800044f, kAddress);
  reply.insert_string(0x20000458, "Example hotspot");
  reply.insert_raw(0x3000000b, {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e});
  reply.insert_bool(0x00000451, false);
  reply.insert_string(0x2000041b, "1abcdefghijklmnop");
  return reply;
}

class FixedContext : public Context {
 public:
  explicit FixedContext(const nv::message& reply) : reply_(reply) {}
  nv::message sendRequest(nv::message&, unsigned) override { return reply_; }

 private:
  const nv::message reply_;
};

class LoginRequest : public Request {
 public:
  LoginRequest() {
    method = kMethodGet;
    protocol = kProtoHttp;
    path = "/login";
    relPath = "login";
    hasRelPath = true;
    clientAddr = kAddress;
    localAddr = kAddress;
    headers.addHeader("Host", "portal.example.net", false);
    headers.addHeader("User-Agent", "Mozilla/5.0", false);
  }
  bool getDstHost(std::string&) const override { return false; }
  bool readPostData(std::string&, unsigned int) const override { return false; }
  void initOrigDst() const override {}
};

class BodyResponse : public Response {
 public:
  void setStatus(int, const std::string&) override {}
  void sendError(int status, const std::string&) override {
    std::fprintf(stderr, "the module answered %d\n", status);
    std::exit(1);
  }
  std::ostream* getBufferedOutput(bool) override { return &body; }
  std::ostream* getOutput() override { return &body; }

  web::BodyStream body;
};

struct Visit {
  explicit Visit(const nv::message& reply) : context(reply) {}

  FixedContext context;
  LoginRequest request;
  BodyResponse response;
};

}  // namespace bench

#endif  // BENCH_VISIT_H_
