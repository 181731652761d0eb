// One HTTP request as the host hands it to a servlet.

#ifndef HOST_REQUEST_H_
#define HOST_REQUEST_H_

#include <cstdint>
#include <string>

#include "host/headers.h"

// Names of the numbers in Request::method and Request::protocol.
constexpr unsigned kMethodCount = 10;
constexpr unsigned kProtoCount = 4;
extern const char* const methodNames[kMethodCount];  // "UNKNOWN", "GET", "HEAD", "POST", ...
extern const char* const protoNames[kProtoCount];    // "unknown", "http", "https", "ftp"

enum MethodNumber : std::uint32_t { kMethodGet = 1, kMethodPost = 3 };
enum ProtoNumber : std::uint32_t { kProtoHttp = 1, kProtoHttps = 2 };

// Bits of Request::connFlags. They say what the host (usually its firewall, by the port to which it
// redirected the connection) knows of the connection.
enum ConnFlag : std::uint32_t {
  kConnALoginA = 0x80000000,       // with kConnALoginB: send the client to the after-login page
  kConnServeLocal = 0x10000000,    // serve as local whatever host the request names
  kConnOrigDstKnown = 0x08000000,  // initOrigDst() can tell the original destination
  kConnALoginB = 0x02000000,
  kConnAdvertDue = 0x01000000,  // an advertisement is to be shown to this client
};

// What a host has to be able to do with a request. The operations are called on the thread that
// runs the servlet, during its call only.
class RequestBase {
 public:
  virtual ~RequestBase();

  // Puts the host name (or address, with a port other than the scheme's) that the request is
  // addressed to into `host`. False, and `host` untouched, when it cannot be told.
  virtual bool getDstHost(std::string& host) const = 0;

  // Reads the request's body into `body`. False when it cannot be read whole or is longer than
  // `maxLen` bytes; `body` is then unspecified.
  virtual bool readPostData(std::string& body, unsigned int maxLen) const = 0;
};

// The attributes that a servlet reads. The host fills them before the call.
class Request : public RequestBase {
 public:
  ~Request() override;

  Headers headers;
  std::string path;     // of the URL, percent-decoded
  std::string relPath;  // below the servlet's mount point; counts only when hasRelPath
  bool hasRelPath = false;
  std::string query;             // of the URL, as sent, without '?'
  std::uint32_t method = 0;      // index into methodNames, below kMethodCount
  std::uint32_t protocol = 0;    // index into protoNames, below kProtoCount
  std::uint32_t clientAddr = 0;  // IPv4 addresses are words in network byte order
  std::uint32_t localAddr = 0;   // where the connection arrived
  bool isSsl = false;
  bool foreignDst = false;      // the request names a destination other than this server
  std::uint32_t connFlags = 0;  // ConnFlag bits
  // The client connection's descriptor. A servlet may close(2) it, and then clears both reuse flags
  // of the response: the host sends nothing more and forgets the descriptor.
  int socket = -1;

  // Original destination of a redirected connection: address and port, both as 32-bit numbers; a
  // word that is 0 is filled by initOrigDst().
  mutable std::uint32_t origDst[2] = {0, 0};
  virtual void initOrigDst() const = 0;
};

#endif  // HOST_REQUEST_H_
