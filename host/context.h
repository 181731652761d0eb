// The way from a servlet to the hotspot manager.

#ifndef HOST_CONTEXT_H_
#define HOST_CONTEXT_H_

#include "host/message.h"

// Errors that sendRequest itself puts into the message it returns.
constexpr unsigned kErrManagerUnreachable = 0xfe0001;  // "hotspot manager is not reachable"
constexpr unsigned kErrManagerSilent = 0xfe0002;       // "hotspot manager did not answer in time"
// An error of the manager's that asks the servlet to drop the client's connection.
constexpr unsigned kErrDropClient = 0xfe0004;

// One for each request; used on the servlet's thread.
class Context {
 public:
  virtual ~Context();

  // Delivers `request` to the process that its field 0x88ff0001 addresses and blocks until the
  // reply arrives or `timeoutMs` milliseconds have passed. Always returns a message: a failed
  // exchange is an error reply (nv::isError).
  virtual nv::message sendRequest(nv::message& request, unsigned timeoutMs) = 0;
};

#endif  // HOST_CONTEXT_H_
