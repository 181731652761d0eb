// Conversations with the module, as data: tests/data/replay/NAME.jsonl and beside it, line for
// line, NAME.expected.jsonl with the keys of each result that matter.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/tools/program.h"
#include "tests/tools/replay_run.h"

namespace {

const std::filesystem::path kData = TEST_SOURCE_DIR "/tests/data/replay";
constexpr char kExpectedSuffix[] = ".expected.jsonl";

std::vector<std::string> conversationNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kData)) {
    const std::string file = entry.path().filename();
    const std::size_t suffix = file.find(kExpectedSuffix);
    if (suffix != std::string::npos) names.push_back(file.substr(0, suffix));
  }
  std::sort(names.begin(), names.end());
  return names;
}

class Conversations : public testing::TestWithParam<std::string> {};

TEST_P(Conversations, GoAsExpected) {
  const std::filesystem::path input = kData / (GetParam() + ".jsonl");
  const std::vector<Json> expected = parseLines(readFile(kData / (GetParam() + kExpectedSuffix)));
  const Replayed replayed = replay("", {input});
  EXPECT_EQ(replayed.status, 0) << replayed.err;
  ASSERT_EQ(replayed.results.size(), expected.size());
  ASSERT_FALSE(expected.empty());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_GT(expected[i].size(), 1u) << "nothing is expected of " << expected[i];
    for (const auto& [key, value] : expected[i].items()) {
      ASSERT_TRUE(replayed.results[i].contains(key)) << expected[i]["name"] << " has no " << key;
      EXPECT_EQ(replayed.results[i][key], value) << expected[i]["name"] << ", " << key;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Data, Conversations, testing::ValuesIn(conversationNames()),
                         [](const auto& test) { return test.param; });

TEST(ConversationFiles, EachHasItsExpectations) {
  EXPECT_GE(conversationNames().size(), 10u);
  for (const auto& entry : std::filesystem::directory_iterator(kData)) {
    const std::string file = entry.path().filename();
    if (file.find(kExpectedSuffix) != std::string::npos) continue;
    const std::string expected = entry.path().stem().string() + kExpectedSuffix;
    EXPECT_TRUE(std::filesystem::exists(kData / expected)) << file << " has no " << expected;
  }
}

}  // namespace
