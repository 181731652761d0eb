#include "webserver/http_request.h"

#include "webserver/own_names.h"
#include "webserver/request_parser.h"
#include "webserver/request_target.h"

namespace web {

BodySource::~BodySource() = default;

bool HttpRequest::fill(const RequestParser& parser, const ConnectionFacts& facts,
                       const OwnNames& own, const std::string& mount) {
  Target target;
  if (parser.bodyUnframed() || !parseTarget(parser.target(), parser.method(), &target)) {
    return false;
  }
  if (parser.hostFields() > 1 || (parser.hostFields() == 0 && parser.http11())) return false;

  // The target's authority replaces the Host field, which has to be well-formed all the same (RFC
  // 9112 sections 3.2 and 3.2.2).
  std::string host;
  headers.getHeader("Host", &host);
  if (!host.empty() && !validHost(host)) return false;
  // An empty Host field is of addresses that have no host, which no request of HTTP/1.1 is for.
  if (host.empty() && parser.http11() && !target.hasAuthority) return false;
  if (target.hasAuthority) {
    host = target.authority;
    if (!validHost(host)) return false;
  }

  method = methodOf(parser.method());
  protocol = facts.tls ? kProtoHttps : kProtoHttp;
  if (!target.scheme.empty()) protocol = protocolOf(target.scheme);
  path = std::move(target.path);
  query = std::move(target.query);
  clientAddr = facts.clientAddr;
  localAddr = facts.localAddr;
  isSsl = facts.tls;
  connFlags = facts.flags;
  knownDst_[0] = facts.origDst[0];
  knownDst_[1] = facts.origDst[1];

  foreignDst = !host.empty() && !own.has(hostName(host), facts.localAddr);
  if (!host.empty()) dstHost_ = withoutUsualPort(host, protocol);
  setRelPath(mount);
  return true;
}

void HttpRequest::setRelPath(const std::string& mount) {
  hasRelPath = true;
  const bool atRoot = mount == "/";
  belowMount_ = foreignDst || atRoot ||
                (path.compare(0, mount.size(), mount) == 0 &&
                 (path.size() == mount.size() || path[mount.size()] == '/'));
  std::size_t begin = !foreignDst && !atRoot && belowMount_ ? mount.size() : 0;
  if (begin < path.size() && path[begin] == '/') ++begin;
  relPath = path.substr(begin);
}

bool HttpRequest::getDstHost(std::string& host) const {
  if (dstHost_.empty()) return false;
  host = dstHost_;
  return true;
}

bool HttpRequest::readPostData(std::string& body, unsigned int maxLen) const {
  return source_->readBody(body, maxLen);
}

void HttpRequest::initOrigDst() const {
  for (int i = 0; i < 2; ++i) {
    if (origDst[i] == 0) origDst[i] = knownDst_[i];
  }
}

}  // namespace web
