#include "tools/hotspot_replay_system.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/debug.h"

namespace {

std::uint32_t scriptedUptime = 0;
replay::HostNameSpec scriptedHostName;

}  // namespace

std::uint32_t nv::getUptime() { return scriptedUptime; }

// In the place of the C library's; see gethostname(2).
extern "C" int gethostname(char* name, std::size_t length) noexcept {
  std::string text = scriptedHostName.name;
  if (scriptedHostName.kind == replay::HostNameSpec::kFails) {
    errno = EFAULT;
    return -1;
  }
  if (scriptedHostName.kind == replay::HostNameSpec::kOfMachine) {
    utsname system{};
    if (uname(&system) != 0) return -1;
    text = system.nodename;
  }
  if (text.size() >= length) {
    errno = ENAMETOOLONG;
    return -1;
  }
  std::memcpy(name, text.c_str(), text.size() + 1);
  return 0;
}

namespace replay {

ScenarioSystem::ScenarioSystem(const Scenario& scenario) : before_(tdout) {
  scriptedUptime = scenario.uptime;
  scriptedHostName = scenario.hostName;
  tdout = &debug_;
  tdoutEnabled = scenario.debug ? 1 : 0;
  tdoutSwitch = scenario.debugSwitch ? 1 : 0;
}

ScenarioSystem::~ScenarioSystem() {
  tdout = before_;
  silenceDebug();
}

void silenceDebug() {
  tdoutEnabled = 0;
  tdoutSwitch = 0;
}

}  // namespace replay
