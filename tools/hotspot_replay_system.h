// What the module sees of the machine: its uptime, its host name, its debug stream. The program
// defines nv::getUptime and gethostname itself and exports them; the dynamic linker resolves the
// module's references to the program first, before the platform's library and the C library.

#ifndef TOOLS_HOTSPOT_REPLAY_SYSTEM_H_
#define TOOLS_HOTSPOT_REPLAY_SYSTEM_H_

#include <ostream>
#include <sstream>

#include "tools/hotspot_replay_scenario.h"

namespace replay {

// Sets the machine up for one scenario. What the module then writes to the debug stream is
// collected. One at a time: the machine is one for the whole process.
class ScenarioSystem {
 public:
  explicit ScenarioSystem(const Scenario& scenario);
  ScenarioSystem(const ScenarioSystem&) = delete;
  ScenarioSystem& operator=(const ScenarioSystem&) = delete;
  ~ScenarioSystem();

  std::string debugText() const { return debug_.str(); }

 private:
  std::ostringstream debug_;
  std::ostream* before_;
};

// Keeps the debug stream silent from now on, whatever the module writes outside a scenario.
void silenceDebug();

}  // namespace replay

#endif  // TOOLS_HOTSPOT_REPLAY_SYSTEM_H_
