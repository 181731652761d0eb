// scenario-player MODULE: plays scenarios from standard input as hotspot-replay does, with the same
// parts, and adds to each result of a request
//
//   "files": ["stat $PAGES/inner/login.html", "open $PAGES/inner/login.html"]
//
// each call by which the module asked the system for a file, in order, whether there was one or
// not. stat and open are all that it imports for that; a test of its symbols holds so. Exit status:
// 0, or 1 when a scenario could not be played.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdarg>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "tools/hotspot_replay_json.h"
#include "tools/hotspot_replay_module.h"
#include "tools/hotspot_replay_pages.h"
#include "tools/hotspot_replay_play.h"
#include "tools/hotspot_replay_scenario.h"
#include "tools/hotspot_replay_system.h"

namespace {

std::string modulePath;
std::vector<std::string> asked;

// `caller` is the address to which the call returns.
void note(const void* caller, const char* call, const char* path) {
  Dl_info info{};
  if (dladdr(caller, &info) == 0 || info.dli_fname == nullptr || modulePath != info.dli_fname) {
    return;
  }
  asked.push_back(std::string(call) + ' ' + path);
}

}  // namespace

// In the place of the C library's, for this program and the module in it, in the forms for large
// files and times that the headers choose; see open(2), stat(2).
extern "C" int open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list more;
    va_start(more, flags);
    mode = static_cast<mode_t>(va_arg(more, unsigned));
    va_end(more);
  }
  note(__builtin_return_address(0), "open", path);
  return openat(AT_FDCWD, path, flags, mode);
}

extern "C" int stat(const char* path, struct stat* info) noexcept {
  note(__builtin_return_address(0), "stat", path);
  return fstatat(AT_FDCWD, path, info, 0);
}

namespace {

using replay::Json;

// The same text wherever the run's directory lies.
Json concealed(const std::string& directory) {
  Json list = Json::array();
  for (std::string file : asked) {
    const std::size_t at = file.find(directory);
    if (at != std::string::npos) file.replace(at, directory.size(), "$PAGES");
    list.push_back(replay::bytesToJson(file));
  }
  return list;
}

int run() {
  replay::silenceDebug();
  replay::Module module(modulePath);
  replay::TempDir pages;
  int status = 0;
  for (std::string line; std::getline(std::cin, line);) {
    Json result;
    try {
      std::string duplicate;
      const replay::Scenario scenario = replay::parseScenario(replay::parseLine(line, &duplicate));
      asked.clear();
      result = replay::play(module, pages, scenario);
      if (!scenario.call) result["files"] = concealed(pages.path());
    } catch (const replay::Invalid& invalid) {
      result["invalid"] = invalid.what();
      status = 1;
    }
    std::cout << result.dump(-1, ' ', true) << std::endl;
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: scenario-player MODULE\n";
    return 2;
  }
  modulePath = argv[1];
  try {
    return run();
  } catch (const std::exception& error) {
    std::cerr << "scenario-player: " << error.what() << '\n';
    return 2;
  }
}
