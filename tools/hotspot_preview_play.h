// Plays a state, or a request within one, through the module.

#ifndef TOOLS_HOTSPOT_PREVIEW_PLAY_H_
#define TOOLS_HOTSPOT_PREVIEW_PLAY_H_

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/hotspot_preview_settings.h"
#include "tools/hotspot_replay_module.h"
#include "tools/hotspot_replay_pages.h"

namespace preview {

// A request that a browser made within a state.
struct PageRequest {
  bool isPost = false;
  std::string path;   // decoded, without the slash in front
  std::string query;  // as it was sent
  std::string body;
};

// What the module answered.
struct Answer {
  int status = 200;
  std::string contentType;
  std::string location;  // of a redirect
  std::string body;
};

// The page variables of a state as the module sets them.
struct Variables {
  // The page that the module shows where all pages are there, without ".html"; none for the agent
  // and for files that are not rendered. Then there are no values either.
  std::string page;
  // Those that are set on that page, with their text before any escaping.
  std::map<std::string, std::string, std::less<>> values;
};

// One at a time: the module sees a machine that belongs to the scenario that is played.
class Player {
 public:
  // Loads the module; throws std::runtime_error. Pages are read from `directory` at each request.
  Player(const std::string& modulePath, const std::string& directory);

  // Throws WrongSetting for values that cannot be, and replay::Invalid when the module throws.
  Answer play(const Values& values, const std::optional<PageRequest>& request);
  Variables variables(const Values& values, const std::optional<PageRequest>& request);

 private:
  void writeProbes();

  replay::Module module_;
  const std::string directory_;  // with a slash at its end
  const std::string mark_;       // stands in no value: nobody knows it
  replay::TempDir probes_;       // holds a page for each page name, which tells the variables
};

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_PLAY_H_
