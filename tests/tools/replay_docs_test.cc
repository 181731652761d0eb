// The examples of docs/replay.md: each block "json scenario" is followed by its "json result".

#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/program.h"
#include "tests/tools/replay_run.h"

namespace {

struct Block {
  std::string kind;  // what stands behind the opening fence
  std::string text;
};

std::vector<Block> fencedBlocks(const std::string& document) {
  std::vector<Block> blocks;
  bool inside = false;
  std::istringstream lines(document);
  for (std::string line; std::getline(lines, line);) {
    if (line.substr(0, 3) == "```") {
      if (!inside) blocks.push_back({line.substr(3), ""});
      inside = !inside;
    } else if (inside) {
      blocks.back().text += line + "\n";
    }
  }
  return blocks;
}

TEST(ReplayDocs, ExamplesGiveTheirResults) {
  std::size_t examples = 0;
  std::string scenario;
  for (const Block& block : fencedBlocks(readFile(TEST_SOURCE_DIR "/docs/replay.md"))) {
    if (block.kind == "json scenario") {
      EXPECT_TRUE(scenario.empty()) << "a scenario without a result:\n" << scenario;
      scenario = block.text;
    } else if (block.kind == "json result") {
      ASSERT_FALSE(scenario.empty()) << "a result without a scenario:\n" << block.text;
      const Replayed replayed = replay(Json::parse(scenario).dump() + "\n");
      ASSERT_EQ(replayed.results.size(), 1u) << scenario;
      EXPECT_EQ(replayed.results[0], Json::parse(block.text)) << scenario;
      scenario.clear();
      ++examples;
    }
  }
  EXPECT_TRUE(scenario.empty()) << "a scenario without a result:\n" << scenario;
  EXPECT_GE(examples, 6u);
}

}  // namespace
