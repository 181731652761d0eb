// The states that a page directory adds by what it holds.

#include <algorithm>
#include <cctype>
#include <system_error>

#include "host/response.h"
#include "tools/hotspot_preview_states.h"
#include "tools/page_names.h"

namespace preview {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostNameBytes = 40;

// One of each kind of page, so that a text that is too long is seen. Every other state is to be
// had in a language by its value "target".
constexpr const char* kInLanguages[] = {"login", "login-failed-invalid-username", "alogin",
                                        "status", "logout"};

// Names in `directory` for which `isWanted` holds, in order, the first `most` of them. None when it
// cannot be read: the linter says so.
template <typename Wanted>
std::vector<std::string> namesIn(const fs::path& directory, std::size_t most, Wanted isWanted) {
  std::vector<std::string> names;
  std::error_code error;
  fs::directory_iterator entry(directory, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename();
    if (name[0] != '.' && isWanted(entry->path())) names.push_back(name);
  }
  std::ranges::sort(names);
  if (names.size() > most) names.resize(most);
  return names;
}

bool isFile(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

// A template of the owner's own: one that the module renders and no handler shows.
bool isOwnTemplate(const fs::path& path) {
  bool isRendered = false;
  getContentType(path.filename(), &isRendered);
  if (!isRendered || !isFile(path)) return false;
  return path.extension() != ".html" || pages::findPage(path.stem().string()) == nullptr;
}

// `wanted` as a name of a state that none of `states` has.
std::string freeName(const std::vector<State>& states, const std::string& wanted) {
  std::string plain;
  for (const char c : wanted) {
    const char small = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const bool isPlain = (small >= 'a' && small <= 'z') || (small >= '0' && small <= '9');
    if (isPlain) {
      plain += small;
    } else if (!plain.empty() && plain.back() != '-') {
      plain += '-';
    }
  }
  if (plain.size() > kMostNameBytes - 3) plain.resize(kMostNameBytes - 3);
  while (plain.ends_with('-')) plain.pop_back();
  std::string name = plain;
  for (int number = 2; findState(states, name) != nullptr; ++number) {
    name = plain + "-" + std::to_string(number);
  }
  return name;
}

}  // namespace

std::vector<std::string> findLanguages(const fs::path& directory) {
  return namesIn(directory, kMostLanguages,
                 [](const fs::path& path) { return isFile(path / "login.html"); });
}

std::vector<State> statesOf(const fs::path& directory) {
  std::vector<State> states = fixedStates();
  for (const std::string& file : namesIn(directory, kMostOwnFiles, isOwnTemplate)) {
    State state = *findState(states, "login");
    state.name = freeName(states, "file-" + file);
    state.group = "Pages of your own";
    state.title = file;
    state.page = "";
    state.values["page"] = file;
    states.push_back(std::move(state));
  }
  for (const std::string& language : findLanguages(directory)) {
    for (const char* const name : kInLanguages) {
      State state = *findState(states, name);
      state.name = freeName(states, state.page + "-in-" + language);
      state.group = "Language: " + language;
      state.values["target"] = language;
      states.push_back(std::move(state));
    }
  }
  return states;
}

}  // namespace preview
