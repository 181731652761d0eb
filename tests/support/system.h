// What the module asks the system, scripted: the uptime clock and the host name. A test program
// that links this file has its own nv::getUptime and gethostname. One test at a time changes them;
// any number of threads reads them.

#ifndef TESTS_SUPPORT_SYSTEM_H_
#define TESTS_SUPPORT_SYSTEM_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace fake {

constexpr std::uint32_t kUptime = 1000000;

struct System {
  std::uint32_t uptime = kUptime;
  std::string hostName = "router";
  bool hostNameFails = false;
};

// The one of this program.
System& theSystem();

// Size of the buffer of the last gethostname.
std::size_t hostNameBuffer();

}  // namespace fake

#endif  // TESTS_SUPPORT_SYSTEM_H_
