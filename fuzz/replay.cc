// Replay scenarios: the input is one line for hotspot-replay. Its own reader and player take it,
// with the module that was built. What is no scenario is refused in one line of text; a scenario
// has a result that is the same a second time; and no file outside the run's temporary directory is
// opened, but where a reply itself names another page directory, which is not there for this
// program.

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "fuzz/check.h"
#include "tests/support/page_dir.h"
#include "tools/hotspot_replay_json.h"
#include "tools/hotspot_replay_module.h"
#include "tools/hotspot_replay_pages.h"
#include "tools/hotspot_replay_play.h"
#include "tools/hotspot_replay_scenario.h"
#include "tools/hotspot_replay_system.h"

namespace {

namespace fs = std::filesystem;
using replay::Json;

constexpr char kUsualPages[] = "/home/web/hotspot/";  // of a reply that names no directory
constexpr std::size_t kLongest = 32768;

// Set while a scenario is played.
struct Watch {
  bool on = false;
  std::string ownDirectory;   // ends with '/'
  std::string pageDirectory;  // as the reply names it
};
Watch watch;

bool leavesDirectory(const std::string& path) {
  for (const fs::path& part : fs::path(path)) {
    if (part == "..") return true;
  }
  return false;
}

// Whether the system is to see an open() at all.
bool mayOpen(const std::string& path, int flags) {
  if (!watch.on || path == "/dev/null") return true;
  if (path.starts_with(watch.ownDirectory)) {
    fuzz::check(!leavesDirectory(path) || leavesDirectory(watch.pageDirectory),
                "no file name leaves the temporary directory");
    return true;
  }
  fuzz::check((flags & (O_WRONLY | O_RDWR | O_CREAT | O_TRUNC)) == 0,
              "nothing is written outside the temporary directory");
  fuzz::check(path.starts_with(watch.pageDirectory), "nothing is read outside the page directory");
  return false;
}

}  // namespace

// In the place of the C library's, for this program and the module in it; see open(2).
extern "C" int open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list more;
    va_start(more, flags);
    mode = static_cast<mode_t>(va_arg(more, unsigned));
    va_end(more);
  }
  if (!mayOpen(path, flags)) {
    errno = ENOENT;
    return -1;
  }
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags | O_LARGEFILE, mode));
}

namespace {

// The run's files lie in a directory of this program's own, beside one that must stay as it is.
struct Run {
  Run() : module(HOTSPOT_MODULE) {
    base.write("beside/file", "untouched");
    setenv("TMPDIR", base.path().c_str(), 1);
    replay::silenceDebug();
    watch.ownDirectory = pages.path() + "/";
  }

  // The result, or why there is none.
  Json play(const std::string& line) {
    Json result;
    try {
      std::string duplicate;
      const Json json = replay::parseLine(line, &duplicate);
      replay::nameOf(json);
      if (!duplicate.empty()) throw replay::Invalid(duplicate + ": the key is given twice");
      const replay::Scenario scenario = replay::parseScenario(json);
      watch.ownDirectory = pages.path() + "/";
      watch.pageDirectory = kUsualPages;
      if (!scenario.replies.empty()) {
        watch.pageDirectory = scenario.replies[0].get_string(replay::kPageDirField, kUsualPages);
      }
      for (std::size_t at; (at = watch.pageDirectory.find("$PAGES")) != std::string::npos;) {
        watch.pageDirectory.replace(at, 6, pages.path());
      }
      watch.on = true;
      result = replay::play(module, pages, scenario);
    } catch (const replay::Invalid& invalid) {
      result["invalid"] = invalid.what();
    }
    watch.on = false;
    return result;
  }

  void checkNothingElseChanged() {
    std::vector<std::string> there;
    for (const fs::directory_entry& entry : fs::directory_iterator(base.path())) {
      there.push_back(entry.path().string() + "/");
    }
    fuzz::check(
        there.size() == 2 && (there[0] == watch.ownDirectory || there[1] == watch.ownDirectory),
        "a run has one directory");
    fuzz::check(fs::is_empty(watch.ownDirectory), "a scenario leaves no file");
    std::string text;
    std::ifstream(base.path() + "beside/file") >> text;
    fuzz::checkEqual(text, "untouched", "a file beside stays as it is");
  }

  fake::PageDir base;
  replay::Module module;
  replay::TempDir pages;
};

void checkResult(const Json& result) {
  if (result.contains("value")) return;
  const Json& error = result["sendError"];
  if (!error.is_null()) {
    const int status = error[0];
    fuzz::check(status == 400 || status == 404 || status == 503, "refused with 400, 404 or 503");
  }
  const int status = result["status"];
  fuzz::check(status == 200 || status == 302 || status == 303, "a page or a redirect");
  fuzz::check(result["commands"].size() <= 1, "one request, one command");
  for (const Json& command : result["commands"]) {
    std::vector<std::string> ids;
    for (const Json& field : command["fields"]) ids.push_back(field[0]);
    const auto first = std::find(ids.begin(), ids.end(), "0x88ff0001");
    std::vector<std::string> common(first, ids.end());
    if (common.size() == 4 && common[3] == "0x2000044e") common.pop_back();
    fuzz::check(common == std::vector<std::string>{"0x88ff0001", "0x08ff0007", "0x080003e9"},
                "the common fields end a command, in their order");
  }
  fuzz::check(result["keepAlive"][0] == result["keepAlive"][1], "both reuse flags go together");
  fuzz::check(!result["socketClosed"] || result["keepAlive"][0] == false,
              "a dropped connection is not used again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kLongest) return 0;
  static Run run;
  const std::string line = fuzz::textOf(data, size);
  const Json result = run.play(line);
  run.checkNothingElseChanged();
  const std::string text = result.dump(-1, ' ', true);
  fuzz::check(text.find('\n') == std::string::npos, "a result is one line");
  if (result.contains("invalid")) {
    const std::string why = result["invalid"];
    fuzz::check(why.compare(0, 13, "module threw:") != 0, "the module throws nothing");
    fuzz::check(!why.empty(), "a refusal says why");
    return 0;
  }
  checkResult(result);
  // Cookies carry the time of the day.
  if (text.find("expires=") == std::string::npos) {
    fuzz::checkEqual(run.play(line).dump(-1, ' ', true), text,
                     "a scenario has the same result again");
  }
  return 0;
}
