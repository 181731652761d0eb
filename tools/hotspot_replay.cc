// hotspot-replay: plays requests through the real module with a scripted hotspot manager and prints
// everything that the module did. docs/replay.md has the format.

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/hotspot_replay_json.h"
#include "tools/hotspot_replay_module.h"
#include "tools/hotspot_replay_pages.h"
#include "tools/hotspot_replay_play.h"
#include "tools/hotspot_replay_scenario.h"
#include "tools/hotspot_replay_system.h"

namespace replay {
namespace {

enum ExitStatus { kAllPlayed = 0, kSomeInvalid = 1, kCannotRun = 2 };

// Something that ends the whole run.
class Fatal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What the whole run plays with.
struct Player {
  explicit Player(const std::string& modulePath) : module(modulePath) {}

  Module module;
  TempDir pages;
};

Json invalidResult(const Json& name, const std::string& why) {
  Json result = Json::object();
  result["name"] = name;
  result["invalid"] = why;
  return result;
}

// The result of one line of input; `*valid` becomes false when it could not be played.
Json playLine(Player& player, const std::string& line, bool* valid) {
  Json name;
  try {
    std::string duplicate;
    const Json json = parseLine(line, &duplicate);
    // Given twice, the name itself cannot be told.
    if (duplicate != "name") name = nameOf(json);
    if (!duplicate.empty()) throw Invalid(duplicate + ": the key is given twice");
    return play(player.module, player.pages, parseScenario(json));
  } catch (const Invalid& invalid) {
    *valid = false;
    return invalidResult(name, invalid.what());
  }
}

void writeLine(const Json& result) {
  // All of it in ASCII: what reads the results need not care for their encoding.
  std::string text = result.dump(-1, ' ', true);
  text += '\n';
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!written || std::fflush(stdout) != 0) {
    throw Fatal(std::string("cannot write the results: ") + std::strerror(errno));
  }
}

// True when all lines were valid.
bool playStream(Player& player, std::istream& in, const std::string& inputName) {
  bool allValid = true;
  std::string line;
  while (std::getline(in, line)) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    writeLine(playLine(player, line, &allValid));
  }
  if (in.bad()) throw Fatal("cannot read " + inputName);
  return allValid;
}

bool playFile(Player& player, const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Fatal("cannot open " + path + ": " + std::strerror(errno));
  file.peek();  // a directory opens well and fails at the first read
  if (file.bad()) throw Fatal("cannot read " + path);
  file.clear();
  return playStream(player, file, path);
}

int run(const std::string& modulePath, const std::vector<std::string>& files) {
  silenceDebug();
  Player player(modulePath.empty() ? defaultModulePath() : modulePath);
  bool allValid = true;
  if (files.empty()) allValid = playStream(player, std::cin, "standard input");
  for (const std::string& file : files) allValid = playFile(player, file) && allValid;
  return allValid ? kAllPlayed : kSomeInvalid;
}

}  // namespace
}  // namespace replay

int main(int argc, char** argv) {
  std::string modulePath;
  std::vector<std::string> files;
  CLI::App app("Plays requests through the hotspot module with a scripted hotspot manager.");
  app.set_version_flag("--version", "hotspot-replay " HOTSPOT_VERSION);
  app.add_option("--module", modulePath,
                 "the module to load (default: hotspot.so of this program)");
  app.add_option("FILE", files, "scenarios, one JSON object a line (default: standard input)");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? replay::kAllPlayed : replay::kCannotRun;
  }
  try {
    std::ios::sync_with_stdio(false);
    return replay::run(modulePath, files);
  } catch (const std::exception& error) {
    std::cerr << "hotspot-replay: " << error.what() << "\n";
    return replay::kCannotRun;
  }
}
