#include "tests/tools/replay_run.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/program.h"

std::vector<Json> parseLines(const std::string& text) {
  std::vector<Json> values;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) values.push_back(Json::parse(line));
  return values;
}

namespace {

Replayed play(const std::vector<std::string>& command, const std::string& lines) {
  const ScratchDir tmp;
  const Ended ended = runProgram(command, lines, tmp.path());
  EXPECT_TRUE(std::filesystem::is_empty(tmp.path())) << "something was left in TMPDIR";
  return {ended.status, ended.out, ended.err, parseLines(ended.out)};
}

}  // namespace

Replayed replay(const std::string& lines, const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {TEST_REPLAY, "--module", TEST_MODULE};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return play(command, lines);
}

Replayed playWatched(const std::string& lines) { return play({TEST_PLAYER, TEST_MODULE}, lines); }

Json replayOne(const Json& scenario) {
  const Replayed replayed = replay(scenario.dump() + "\n");
  EXPECT_EQ(replayed.status, 0) << replayed.out << replayed.err;
  if (replayed.results.size() != 1) throw std::runtime_error("not one result: " + replayed.out);
  return replayed.results[0];
}
