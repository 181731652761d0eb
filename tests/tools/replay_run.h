// Runs hotspot-replay on scenarios.

#ifndef TESTS_TOOLS_REPLAY_RUN_H_
#define TESTS_TOOLS_REPLAY_RUN_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using Json = nlohmann::ordered_json;

struct Replayed {
  int status = -1;
  std::string out;
  std::string err;
  std::vector<Json> results;  // the lines of `out`
};

// Plays the lines from standard input, with these arguments behind --module. Fails the test that
// runs when the program leaves anything in its temporary directory.
Replayed replay(const std::string& lines, const std::vector<std::string>& arguments = {});

// The same by scenario-player, which adds the files that were asked for.
Replayed playWatched(const std::string& lines);

// The result of one scenario that is expected to be valid.
Json replayOne(const Json& scenario);

// The lines of a JSON Lines text.
std::vector<Json> parseLines(const std::string& text);

#endif  // TESTS_TOOLS_REPLAY_RUN_H_
