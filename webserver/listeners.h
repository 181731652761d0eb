// The listening sockets. The supervisor opens them; the workers inherit and share them.

#ifndef WEBSERVER_LISTENERS_H_
#define WEBSERVER_LISTENERS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "webserver/config.h"

namespace web {

struct Listener {
  int socket = -1;
  ListenConfig config;
  unsigned port = 0;  // the real one
  std::string url() const;
};

// Owns its sockets.
class Listeners {
 public:
  Listeners() = default;
  // Opens what the settings say; a socket that `previous` has for the same address and port is
  // shared with it. Throws ConfigError.
  Listeners(const Config& config, const Listeners& previous);
  Listeners(Listeners&& other) noexcept;
  Listeners& operator=(Listeners&& other) noexcept;
  ~Listeners();

  const std::vector<Listener>& all() const { return all_; }

 private:
  std::vector<Listener> all_;
};

}  // namespace web

#endif  // WEBSERVER_LISTENERS_H_
