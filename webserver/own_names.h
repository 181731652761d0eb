// The names under which this server itself is addressed; a request for any other is intercepted.

#ifndef WEBSERVER_OWN_NAMES_H_
#define WEBSERVER_OWN_NAMES_H_

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "webserver/config.h"

namespace web {

// Belongs to the thread that leads the loop.
class OwnNames {
 public:
  explicit OwnNames(const Config& config);

  // Reads the machine's addresses again, if a listener listens on all of them.
  void refresh();

  // Whether a host (no port, any letter case) is a configured server name, a listener's address,
  // or, with a listener on 0.0.0.0, an address of this machine. `localAddr`, where the connection
  // arrived, always is.
  bool has(std::string_view host, std::uint32_t localAddr) const;

 private:
  std::set<std::string, std::less<>> names_;  // in lower case
  std::set<std::uint32_t> addresses_;         // network byte order
  std::set<std::uint32_t> machine_;
  bool anyAddress_ = false;
};

}  // namespace web

#endif  // WEBSERVER_OWN_NAMES_H_
