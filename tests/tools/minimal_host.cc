// The smallest host that serves a page: loads the module, hands it one GET and prints the answer.
// What every web server does around a module, without the network; docs/embedding.md walks through
// it.
//
//   minimal-host MODULE PAGE-DIRECTORY PAGE

#include <arpa/inet.h>
#include <dlfcn.h>

#include <iostream>
#include <sstream>
#include <string>

#include "host/context.h"
#include "host/request.h"
#include "host/response.h"
#include "host/servlet.h"

namespace {

// The way to the hotspot manager. This one answers everything itself: nobody is logged in.
class OwnAnswers : public Context {
 public:
  explicit OwnAnswers(const std::string& pageDir) : pageDir_(pageDir) {}

  nv::message sendRequest(nv::message& /*request*/, unsigned /*timeoutMs*/) override {
    nv::message reply;
    reply.insert_string(0x2000044d, pageDir_);
    reply.insert_string(0x2000044e, "portal.example");
    return reply;
  }

 private:
  std::string pageDir_;
};

// A request that came in on 10.5.50.1 and has no body.
class GetRequest : public Request {
 public:
  explicit GetRequest(const std::string& page) {
    path = "/" + page;
    relPath = page;
    hasRelPath = true;
    method = kMethodGet;
    protocol = kProtoHttp;
    clientAddr = inet_addr("10.5.50.2");
    localAddr = inet_addr("10.5.50.1");
    headers.addHeader("Host", "portal.example", false);
  }

  bool getDstHost(std::string& host) const override { return headers.getHeader("host", &host); }
  bool readPostData(std::string& body, unsigned int /*maxLen*/) const override {
    body.clear();
    return true;
  }
  void initOrigDst() const override {}
};

// Collects the answer, then writes it as HTTP would. Both body streams are one here.
class PrintedResponse : public Response {
 public:
  void setStatus(int code, const std::string& reason) override {
    code_ = code;
    reason_ = reason;
  }
  void sendError(int status, const std::string& text) override {
    setStatus(status, "");
    body_.str(text);
  }
  std::ostream* getBufferedOutput(bool /*buffered*/) override { return &body_; }
  std::ostream* getOutput() override { return &body_; }

  void print(std::ostream& out) const {
    out << "HTTP/1.1 " << code_ << ' ' << reason_ << "\r\n";
    for (const auto& [name, value] : headers.fields()) {
      if (value.find_first_of(std::string("\r\n\0", 3)) != std::string::npos) continue;
      out << name << ": " << value << "\r\n";
    }
    out << "Connection: " << (keepAlive ? "keep-alive" : "close") << "\r\n\r\n" << body_.str();
  }

 private:
  int code_ = 200;
  std::string reason_ = "OK";
  std::ostringstream body_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: minimal-host MODULE PAGE-DIRECTORY PAGE\n";
    return 2;
  }
  void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  void* factory = module != nullptr ? dlsym(module, "createServlet") : nullptr;
  if (factory == nullptr) {
    std::cerr << "minimal-host: " << dlerror() << "\n";
    return 1;
  }
  Servlet* servlet = reinterpret_cast<Servlet* (*)()>(factory)();

  OwnAnswers context(argv[2]);
  const GetRequest request(argv[3]);
  PrintedResponse response;
  servlet->doMethod(context, request, response);
  response.print(std::cout);

  delete servlet;
  dlclose(module);
}
