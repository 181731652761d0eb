// A request as the module sees it, made from what the parser read.

#ifndef WEBSERVER_HTTP_REQUEST_H_
#define WEBSERVER_HTTP_REQUEST_H_

#include <cstdint>
#include <string>

#include "host/request.h"

namespace web {

class OwnNames;
class RequestParser;

// Where a request's body comes from: the connection that it is on.
class BodySource {
 public:
  virtual ~BodySource();
  // As RequestBase::readPostData.
  virtual bool readBody(std::string& body, unsigned maxLen) = 0;
};

// What a request has from its connection.
struct ConnectionFacts {
  std::uint32_t clientAddr = 0;  // network byte order
  std::uint32_t localAddr = 0;   // network byte order
  bool tls = false;
  std::uint32_t flags = 0;            // ConnFlag bits
  std::uint32_t origDst[2] = {0, 0};  // numbers; 0 when the connection was not redirected
};

class HttpRequest : public Request {
 public:
  explicit HttpRequest(BodySource* source) : source_(source) {}

  // Fills everything but the headers, which the parser has filled, and the socket. False when the
  // request is malformed and is to be answered with 400.
  bool fill(const RequestParser& parser, const ConnectionFacts& facts, const OwnNames& own,
            const std::string& mount);

  // The path lies below the mount point, or the request is for another server.
  bool belowMount() const { return belowMount_; }

  // The request was meant for another server, and the module is to hold it back.
  bool intercepted() const { return foreignDst && (connFlags & kConnServeLocal) == 0; }

  bool getDstHost(std::string& host) const override;
  bool readPostData(std::string& body, unsigned int maxLen) const override;
  void initOrigDst() const override;

 private:
  void setRelPath(const std::string& mount);

  BodySource* source_;
  std::string dstHost_;  // empty: cannot be told
  std::uint32_t knownDst_[2] = {0, 0};
  bool belowMount_ = true;
};

}  // namespace web

#endif  // WEBSERVER_HTTP_REQUEST_H_
