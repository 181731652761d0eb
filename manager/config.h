// The manager's own settings: flags over a TOML file (settings/settings.h).

#ifndef MANAGER_CONFIG_H_
#define MANAGER_CONFIG_H_

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "manager/ledger.h"
#include "manager/server_settings.h"
#include "settings/settings.h"

namespace manager {

struct Config {
  std::string socket = "/run/hotspot/manager.sock";
  std::string adminSocket = "/run/hotspot/admin.sock";
  std::string database = "/var/lib/hotspot/manager.db";
  // Groups whose members may use the sockets; without one only root and the manager's own user may.
  std::string group;
  std::string adminGroup;
  std::string neighbourTable = "/proc/net/arp";
  std::string logLevel = "info";
  std::uint32_t guessesPerMinute = 10;
  std::size_t maxSessions = Ledger::kUsualMaxSessions;
  bool checkOnly = false;
  ServerSettings server;
};

// Reads command line and file. When the result does not run, its text says why and the program
// ends.
settings::Result readConfig(int argc, const char* const* argv, Config* config);

// The id of a group by its name or number; nothing for an empty name. Throws std::runtime_error for
// a name that the system does not know.
std::optional<gid_t> groupId(const std::string& name);

}  // namespace manager

#endif  // MANAGER_CONFIG_H_
