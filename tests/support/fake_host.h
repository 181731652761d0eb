// A web server that serves one request from a script and records all that the module does.

#ifndef TESTS_SUPPORT_FAKE_HOST_H_
#define TESTS_SUPPORT_FAKE_HOST_H_

#include <cstdint>
#include <ostream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "host/context.h"
#include "host/request.h"
#include "host/response.h"

namespace fake {

// Gives the scripted replies in turn; behind the last one the manager is silent.
class FakeContext : public Context {
 public:
  struct Command {
    nv::message fields;
    unsigned timeoutMs;
  };

  std::vector<nv::message> replies;
  std::vector<Command> commands;

  nv::message sendRequest(nv::message& request, unsigned timeoutMs) override;
};

// GET http, from 10.5.50.2 to 10.5.50.1, path "/".
class FakeRequest : public Request {
 public:
  FakeRequest();

  std::string dstHost;  // empty: cannot be told
  std::string body;
  bool bodyFails = false;
  std::uint32_t knownOrigDst[2] = {0, 0};  // what initOrigDst fills in

  mutable std::vector<unsigned> bodyLimits;  // of each readPostData
  mutable unsigned initOrigDstCalls = 0;

  bool getDstHost(std::string& host) const override;
  bool readPostData(std::string& into, unsigned int maxLen) const override;
  void initOrigDst() const override;
};

// Keeps each write as one piece.
class PieceBuffer : public std::streambuf {
 public:
  std::string text() const;
  const std::vector<std::string>& pieces() const { return pieces_; }

 protected:
  std::streamsize xsputn(const char* text, std::streamsize length) override;
  int_type overflow(int_type c) override;

 private:
  std::vector<std::string> pieces_;
};

// A body stream. A write that fails throws (out of memory), it is never lost in a bad bit.
class BodyStream : public PieceBuffer {
 public:
  explicit BodyStream(const Headers& headers);

  std::ostream& stream() { return stream_; }
  // How many headers the response had when the first byte was written.
  std::size_t headersAtFirstWrite() const { return headersAtFirstWrite_; }

 protected:
  std::streamsize xsputn(const char* text, std::streamsize length) override;

 private:
  const Headers& headers_;
  std::size_t headersAtFirstWrite_ = 0;
  std::ostream stream_;
};

class FakeResponse : public Response {
 public:
  using Answer = std::pair<int, std::string>;

  FakeResponse();

  std::vector<Answer> statuses;  // of each setStatus
  std::vector<Answer> errors;    // of each sendError
  std::vector<bool> bufferedArguments;
  BodyStream buffered;
  BodyStream direct;

  void setStatus(int code, const std::string& reason) override;
  void sendError(int status, const std::string& text) override;
  std::ostream* getBufferedOutput(bool asBuffered) override;
  std::ostream* getOutput() override;

  // "Name: value" of each header, in order.
  std::vector<std::string> headerLines() const;
  // Value of a header, "(none)" when it is not there.
  std::string header(const std::string& name) const;
};

// The debug stream: on as long as the object lives, off otherwise.
class DebugCapture : public PieceBuffer {
 public:
  DebugCapture();
  ~DebugCapture() override;
  DebugCapture(const DebugCapture&) = delete;
  DebugCapture& operator=(const DebugCapture&) = delete;

 private:
  std::ostream stream_;
};

}  // namespace fake

#endif  // TESTS_SUPPORT_FAKE_HOST_H_
