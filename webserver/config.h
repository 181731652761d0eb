// The settings of hotspot-web: what the command line and the TOML file may say.

#ifndef WEBSERVER_CONFIG_H_
#define WEBSERVER_CONFIG_H_

#include <cstdint>
#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "settings/settings.h"

namespace web {

// Something that the operator wrote does not work: one line, with where it was written.
class ConfigError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ListenConfig {
  std::string address = "127.0.0.1";  // IPv4, dotted
  unsigned port = 0;                  // 0: the system chooses
  bool tls = false;
  std::uint32_t flags = 0;  // connection-flag bits that every connection of this listener carries
  std::string where;        // where it is written, for messages
};

struct Config {
  std::deque<ListenConfig> listen;
  std::string certificate;  // PEM, with its chain
  std::string key;          // PEM
  std::string module;
  std::string managerSocket = "/run/hotspot/manager.sock";
  std::vector<std::string> serverNames;
  std::string htmlDir;  // page directory while the manager cannot be asked for it; empty: none
  std::string dnsName;  // the portal's name, with its port, for links meanwhile; empty: its address
  std::string mount = "/";
  std::string user;  // whom the workers become; empty: nobody else

  unsigned workers = 0;
  unsigned maxConnections = 4096;
  unsigned maxConnectionsPerClient = 512;
  unsigned maxWaiting = 512;

  unsigned headerTimeoutSecs = 10;
  unsigned bodyTimeoutSecs = 10;
  unsigned idleTimeoutSecs = 15;
  unsigned writeTimeoutSecs = 20;
  unsigned stopTimeoutSecs = 20;

  std::string accessLog = "-";  // a file, "-" for standard output, "" for none
  std::string logLevel = "info";
  bool debug = false;
  bool checkOnly = false;

  settings::Result origin;  // where each setting was written
  // Where a setting comes from, to begin a message about its value.
  std::string where(const std::string& name) const { return origin.where(name); }
};

// Reads the settings. When the result does not run (help, version, a mistake), the program says
// settings::finish(result) and ends; otherwise `*config` is filled and within its limits. Whether
// files exist and addresses can be had is found out later, by whoever opens them.
settings::Result readConfig(int argc, const char* const* argv, Config* config);

}  // namespace web

#endif  // WEBSERVER_CONFIG_H_
