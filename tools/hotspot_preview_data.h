// The data that the gallery shows, as JSON.

#ifndef TOOLS_HOTSPOT_PREVIEW_DATA_H_
#define TOOLS_HOTSPOT_PREVIEW_DATA_H_

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/hotspot_preview_play.h"
#include "tools/hotspot_preview_states.h"

namespace preview {

// Bytes that are no UTF-8 come as U+FFFD everywhere here.

// The states in their groups, the languages, and the values that can be changed.
std::string galleryData(const std::filesystem::path& directory, std::uint64_t version,
                        const std::string& problem, const std::vector<State>& states,
                        const std::vector<std::string>& languages);

// The states alone, for scripts.
std::string statesData(const std::vector<State>& states);

// Everything about one state.
struct StateData {
  const State* state = nullptr;
  Values values;  // as edited
  Answer answer;
  Variables variables;
  std::string file;   // that is shown, below the directory; empty when none is
  std::string frame;  // its address
};
std::string stateData(const StateData& data);

// What the linter says, or why it cannot.
std::string findingsData(const std::filesystem::path& directory);

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_DATA_H_
