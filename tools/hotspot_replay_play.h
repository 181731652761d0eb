// Plays a scenario through the module, as a web server would, and tells what the module did.

#ifndef TOOLS_HOTSPOT_REPLAY_PLAY_H_
#define TOOLS_HOTSPOT_REPLAY_PLAY_H_

#include "tools/hotspot_replay_json.h"
#include "tools/hotspot_replay_module.h"
#include "tools/hotspot_replay_pages.h"
#include "tools/hotspot_replay_scenario.h"

namespace replay {

// The result of the scenario's request or call. Throws Invalid when a page cannot be written and
// when the module throws. `temp` is where the pages go.
Json play(Module& module, TempDir& temp, const Scenario& scenario);

}  // namespace replay

#endif  // TOOLS_HOTSPOT_REPLAY_PLAY_H_
