// The generator of random scenarios and the rules for their results.

#include <gtest/gtest.h>

#include <map>

#include "tests/tools/replay_run.h"
#include "tests/tools/scenario_generator.h"
#include "tests/tools/scenario_rules.h"

namespace {

std::vector<Json> generate(std::uint64_t seed, int count) {
  ScenarioGenerator generator(seed);
  std::vector<Json> scenarios;
  for (int i = 0; i < count; ++i) scenarios.push_back(generator.next());
  return scenarios;
}

std::string toLines(const std::vector<Json>& scenarios) {
  std::string lines;
  for (const Json& scenario : scenarios) lines += scenario.dump() + '\n';
  return lines;
}

// A generator that only ever met refusals would show nothing.
TEST(ScenarioGenerator, ReachesEveryCommandAndOutcome) {
  const Replayed replayed = playWatched(toLines(generate(1, 2000)));
  std::map<std::string, int> seen;
  for (const Json& result : replayed.results) {
    if (result.contains("value")) {
      ++seen["call"];
      continue;
    }
    for (const Json& command : result["commands"]) {
      for (const Json& field : command["fields"]) {
        if (field[0] == "0x08ff0007") ++seen["command " + field[1].dump()];
      }
    }
    const Json& error = result["sendError"];
    ++seen[error.is_null() ? "status " + result["status"].dump() : "error " + error[0].dump()];
    for (const Json& header : result["headers"]) {
      ++seen[header[0].get<std::string>()];
      const std::string value = fromJsonBytes(header[1]);
      const bool hasLineEnd = value.find_first_of("\r\n") != std::string::npos;
      if (hasLineEnd && !result["socketClosed"]) ++seen["line end in a header"];
    }
    for (const Json& file : result["files"]) ++seen[file.get<std::string>().substr(0, 4)];
    if (result["files"].empty()) ++seen["no file"];
    if (result["socketClosed"]) ++seen["dropped"];
    if (result["body"].get<std::string>().size() > 20) ++seen["body"];
  }
  for (const char* what :
       {"call",       "command 1",      "command 2",  "command 3",  "command 8",
        "command 9",  "command 10",     "command 11", "status 200", "status 302",
        "status 303", "error 400",      "error 404",  "error 503",  "Set-Cookie",
        "Location",   "Content-Length", "dropped",    "body",       "line end in a header",
        "stat",       "open",           "no file"}) {
    EXPECT_GE(seen[what], 5) << what;
  }
}

TEST(ScenarioGenerator, GivesTheSameForASeed) {
  EXPECT_EQ(toLines(generate(7, 50)), toLines(generate(7, 50)));
  EXPECT_NE(toLines(generate(7, 50)), toLines(generate(8, 50)));
}

TEST(ScenarioRules, NoticeWhatIsWrong) {
  const std::vector<Json> scenarios = generate(3, 200);
  const Replayed replayed = playWatched(toLines(scenarios));
  ASSERT_EQ(replayed.results.size(), scenarios.size());
  std::size_t noticed = 0;
  std::size_t spoilt = 0;
  for (std::size_t i = 0; i < scenarios.size(); ++i) {
    if (scenarios[i].contains("call")) continue;
    const auto breaks = [&](const char* key, const Json& value) {
      Json result = replayed.results[i];
      result[key] = value;
      ++spoilt;
      if (!brokenRules(scenarios[i], result).empty()) ++noticed;
    };
    breaks("name", "another");
    breaks("status", 500);
    breaks("body", ScenarioGenerator::kOutside);
    breaks("keepAlive", Json::array({true, false}));
    breaks("socketClosed", !replayed.results[i]["socketClosed"].get<bool>());
    breaks("initOrigDst", 3);
    breaks("headers", Json::array({Json::array({"X-Other", "1"})}));
    breaks("debug", "no line");
    breaks("files", {"stat $PAGES/outside/secret.html"});
    breaks("files", {"stat $PAGES/inner/../outside/secret.html"});
    breaks("files", {"open $PAGES/inner/login.html"});
    breaks("commands", Json::array({{{"timeout", 5}, {"fields", Json::array()}}}));
  }
  EXPECT_GT(spoilt, 1000u);
  EXPECT_EQ(noticed, spoilt);
}

}  // namespace
