// The kernel's neighbour table: which hardware address is behind an IP address.

#ifndef MANAGER_NEIGHBOURS_H_
#define MANAGER_NEIGHBOURS_H_

#include <cstdint>
#include <string>
#include <unordered_map>

#include "manager/clock.h"

namespace manager {

// Loop thread only.
class Neighbours {
 public:
  // Reads the table from a file in the form of /proc/net/arp (see proc(5)).
  Neighbours(const Clock& clock, std::string path);

  // The MAC address in the form of MacAddr::str(), empty when the kernel knows none. The table is
  // read at most once a second, but always with `fresh`. Throws std::system_error when there is a
  // table that cannot be read.
  std::string find(std::uint32_t address, bool fresh);

 private:
  void read();
  [[noreturn]] void fail() const;

  const Clock& clock_;
  const std::string path_;
  std::unordered_map<std::uint32_t, std::string> macs_;
  std::int64_t readAt_ = -1;
};

}  // namespace manager

#endif  // MANAGER_NEIGHBOURS_H_
