#include "tests/support/fake_host.h"

#include <numeric>

#include "platform/debug_stream.h"
#include "tests/support/messages.h"

namespace fake {

nv::message FakeContext::sendRequest(nv::message& request, unsigned timeoutMs) {
  commands.push_back({request, timeoutMs});
  if (commands.size() <= replies.size()) return replies[commands.size() - 1];
  return Reply().error(kErrManagerSilent, "hotspot manager did not answer in time");
}

FakeRequest::FakeRequest() {
  path += '/';
  method = kMethodGet;
  protocol = kProtoHttp;
  clientAddr = address(10, 5, 50, 2);
  localAddr = address(10, 5, 50, 1);
}

bool FakeRequest::getDstHost(std::string& host) const {
  if (dstHost.empty()) return false;
  host = dstHost;
  return true;
}

bool FakeRequest::readPostData(std::string& into, unsigned int maxLen) const {
  bodyLimits.push_back(maxLen);
  if (bodyFails || body.size() > maxLen) return false;
  into = body;
  return true;
}

void FakeRequest::initOrigDst() const {
  ++initOrigDstCalls;
  origDst[0] = knownOrigDst[0];
  origDst[1] = knownOrigDst[1];
}

std::string PieceBuffer::text() const {
  return std::accumulate(pieces_.begin(), pieces_.end(), std::string());
}

std::streamsize PieceBuffer::xsputn(const char* text, std::streamsize length) {
  pieces_.emplace_back(text, static_cast<std::size_t>(length));
  return length;
}

PieceBuffer::int_type PieceBuffer::overflow(int_type c) {
  const char byte = traits_type::to_char_type(c);
  xsputn(&byte, 1);
  return c;
}

BodyStream::BodyStream(const Headers& headers) : headers_(headers), stream_(this) {
  stream_.exceptions(std::ios::badbit);
}

std::streamsize BodyStream::xsputn(const char* text, std::streamsize length) {
  if (pieces().empty()) headersAtFirstWrite_ = headers_.fields().size();
  return PieceBuffer::xsputn(text, length);
}

FakeResponse::FakeResponse() : buffered(headers), direct(headers) {}

void FakeResponse::setStatus(int code, const std::string& reason) {
  statuses.emplace_back(code, reason);
}

void FakeResponse::sendError(int status, const std::string& text) {
  errors.emplace_back(status, text);
}

std::ostream* FakeResponse::getBufferedOutput(bool asBuffered) {
  bufferedArguments.push_back(asBuffered);
  return &buffered.stream();
}

std::ostream* FakeResponse::getOutput() { return &direct.stream(); }

std::vector<std::string> FakeResponse::headerLines() const {
  std::vector<std::string> lines;
  for (const auto& [name, value] : headers.fields()) {
    lines.push_back(name);
    lines.back().append(": ").append(value);
  }
  return lines;
}

std::string FakeResponse::header(const std::string& name) const {
  std::string value("(none)");
  headers.getHeader(name, &value);
  return value;
}

DebugCapture::DebugCapture() : stream_(this) {
  platform::setDebugStream(&stream_);
  platform::switchDebug(true);
}

DebugCapture::~DebugCapture() {
  platform::switchDebug(false);
  platform::setDebugStream(nullptr);
}

}  // namespace fake
