// TLS for the listeners that ask for it. The only file besides tls.cc that knows the library behind
// it.

#ifndef WEBSERVER_TLS_H_
#define WEBSERVER_TLS_H_

#include <array>
#include <memory>
#include <string>

#include "webserver/config.h"
#include "webserver/transport.h"

struct ssl_ctx_st;

namespace web {

// The secret under which session tickets are sealed. Made once by the supervisor, before it forks,
// and kept over a reload: a session is resumed by whichever worker its client meets.
struct TicketKeys {
  std::array<unsigned char, 80> bytes;
  // Random keys. Throws ConfigError when the system gives no randomness.
  TicketKeys();
};

// One certificate with its key. After construction used by several threads at once.
class Tls {
 public:
  // Throws ConfigError, which names the setting and the file, when a file cannot be read, is no
  // certificate or no key, or when the two do not belong together.
  Tls(const Config& config, TicketKeys& keys);
  Tls(const Tls&) = delete;
  Tls& operator=(const Tls&) = delete;
  ~Tls();

  // A transport that begins with the handshake, inside its first read. Throws std::bad_alloc. It
  // must not outlive the Tls.
  std::unique_ptr<Transport> makeTransport(int socket) const;

 private:
  ssl_ctx_st* context_;
};

}  // namespace web

#endif  // WEBSERVER_TLS_H_
