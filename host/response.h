// The answer to one HTTP request, as a servlet writes it.

#ifndef HOST_RESPONSE_H_
#define HOST_RESPONSE_H_

#include <iosfwd>
#include <string>

#include "host/headers.h"

// Call order: headers and status may be set at any time before the servlet's call returns, also
// after the body was written to the buffered output. All operations run on the servlet's thread.
class Response {
 public:
  virtual ~Response();

  Headers headers;

  // The two connection-reuse flags: what the host tells the client about the connection, and
  // whether the host itself reads another request from it. A servlet only ever clears them, both
  // together.
  bool keepAlive = true;
  bool reusable = true;

  // Status line of the answer; without a call it is 200. `reason` may be empty.
  virtual void setStatus(int code, const std::string& reason) = 0;

  // Sends a complete error answer with that status and text. Nothing else is written afterwards.
  virtual void sendError(int status, const std::string& text) = 0;

  // The body stream whose content the host collects before it sends anything. Never null; owned by
  // the response. The argument asks for the buffering (always true).
  virtual std::ostream* getBufferedOutput(bool buffered) = 0;

  // The body stream that may go out as it is written. Never null; owned by the response.
  virtual std::ostream* getOutput() = 0;
};

// Content type of a file by the extension of its name, letter case ignored; sets `*rendered` (which
// the caller cleared) for the types whose files may be rendered as templates. Never fails.
std::string getContentType(const std::string& name, bool* rendered);

#endif  // HOST_RESPONSE_H_
