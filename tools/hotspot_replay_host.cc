#include "tools/hotspot_replay_host.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace replay {
namespace {

constexpr char kSocketStandIn[] = "/dev/null";

}  // namespace

ScriptedContext::ScriptedContext(const Scenario& scenario, const PageDir& pages)
    : replies_(scenario.replies), pages_(pages) {}

nv::message ScriptedContext::sendRequest(nv::message& request, unsigned timeoutMs) {
  commands_.push_back({timeoutMs, request});
  nv::message reply;
  if (commands_.size() > replies_.size()) {
    nv::setError(&reply, kErrManagerSilent, "hotspot manager did not answer in time");
    return reply;
  }
  reply = replies_[commands_.size() - 1];
  if (reply.size_field(kPageDirField) != 0) {
    reply.insert_string(kPageDirField, pages_.expand(reply.get_string(kPageDirField, "")));
  }
  return reply;
}

ScriptedRequest::ScriptedRequest(const RequestSpec& spec) : spec_(spec) {
  for (const auto& [name, value] : spec.headers) headers.addHeader(name, value, false);
  path = spec.path;
  hasRelPath = spec.relPath.has_value();
  if (hasRelPath) relPath = *spec.relPath;
  query = spec.query;
  method = spec.method;
  protocol = spec.protocol;
  clientAddr = spec.clientAddr;
  localAddr = spec.localAddr;
  isSsl = spec.isSsl;
  foreignDst = spec.foreignDst;
  connFlags = spec.connFlags;
  std::copy(std::begin(spec.origDst), std::end(spec.origDst), std::begin(origDst));
  socket = open(kSocketStandIn, O_RDWR | O_CLOEXEC);
  if (socket < 0 || fstat(socket, &socketFile_) != 0) {
    throw std::runtime_error(std::string(kSocketStandIn) +
                             " cannot be opened: " + std::strerror(errno));
  }
}

ScriptedRequest::~ScriptedRequest() {
  if (!socketClosed()) close(socket);
}

bool ScriptedRequest::getDstHost(std::string& host) const {
  if (!spec_.dstHost) return false;
  host = *spec_.dstHost;
  return true;
}

bool ScriptedRequest::readPostData(std::string& body, unsigned int maxLen) const {
  if (spec_.bodyFails || spec_.body.size() > maxLen) return false;
  body = spec_.body;
  return true;
}

void ScriptedRequest::initOrigDst() const {
  ++initOrigDstCalls_;
  std::copy(std::begin(spec_.initOrigDst), std::end(spec_.initOrigDst), std::begin(origDst));
}

bool ScriptedRequest::socketClosed() const {
  // The number may belong to another open file by now.
  struct stat now {};
  if (fstat(socket, &now) != 0) return true;
  return now.st_dev != socketFile_.st_dev || now.st_ino != socketFile_.st_ino;
}

void RecordedResponse::setStatus(int code, const std::string& reason) {
  status_ = code;
  reason_ = reason;
}

void RecordedResponse::sendError(int status, const std::string& text) {
  if (!firstError_) firstError_.emplace(status, text);
}

std::ostream* RecordedResponse::getBufferedOutput(bool /*buffered*/) { return &body_; }

std::ostream* RecordedResponse::getOutput() { return &body_; }

}  // namespace replay
