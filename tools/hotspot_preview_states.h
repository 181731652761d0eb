// The states of the gallery: every page in every situation that a guest can meet, as data.

#ifndef TOOLS_HOTSPOT_PREVIEW_STATES_H_
#define TOOLS_HOTSPOT_PREVIEW_STATES_H_

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tools/hotspot_preview_settings.h"

namespace preview {

struct State {
  // In addresses and names of files: small letters, digits and single hyphens, at most 40.
  std::string name;
  std::string group;
  std::string title;
  // The page that the module shows, without ".html", where the directory has all pages; empty for
  // the agent, which gets none, and for files that are no pages of handlers.
  std::string page;
  Values values;
};

// The states that every directory has, groups one behind the other.
std::vector<State> fixedStates();

// Sub-directories that hold a login page: those are languages. In order, at most kMostLanguages.
constexpr std::size_t kMostLanguages = 40;
std::vector<std::string> findLanguages(const std::filesystem::path& directory);

// All states of a directory as it is now: the fixed ones, some pages in each language, and the
// templates of the directory itself that are no pages of handlers (at most kMostOwnFiles).
constexpr std::size_t kMostOwnFiles = 40;
std::vector<State> statesOf(const std::filesystem::path& directory);

// Null when there is none.
const State* findState(const std::vector<State>& states, std::string_view name);

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_STATES_H_
