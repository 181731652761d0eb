// The bytes of one client connection, plain or through TLS, on a socket that never blocks.

#ifndef WEBSERVER_TRANSPORT_H_
#define WEBSERVER_TRANSPORT_H_

#include <sys/uio.h>

#include <cstddef>
#include <memory>

namespace web {

struct Io {
  enum Kind {
    kBytes,      // `bytes` bytes went through, at least one
    kWantRead,   // nothing went through until the socket can be read (either operation may say so)
    kWantWrite,  // ... until it can be written
    kEnd,        // the client sends no more
    kFailed,     // the connection is broken
  };
  Kind kind;
  std::size_t bytes = 0;
};

// Most bytes that one read gives: no more than these are ever held back below.
constexpr std::size_t kReadBytes = 16384;

// Used by one thread at a time. The descriptor is the owner's and is not closed here.
class Transport {
 public:
  Transport() = default;
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;
  virtual ~Transport();

  // REQUIRES: the buffer holds kReadBytes.
  virtual Io read(char* buffer) = 0;
  // Whether bytes were taken from the socket that read() has still to give.
  virtual bool holdsBack() const = 0;
  // Writes what can be written of the parts; after kWant... the same bytes are given again.
  virtual Io write(const iovec* parts, int count) = 0;
  // Says goodbye, if the kind of connection has a way to, and writes no more.
  virtual void finish() = 0;
};

std::unique_ptr<Transport> makePlainTransport(int socket);

}  // namespace web

#endif  // WEBSERVER_TRANSPORT_H_
