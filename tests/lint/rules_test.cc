// Each rule on its examples: the bad one is reported, the good one is clean; docs/lint.md shows
// both.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "tests/lint/lint_run.h"
#include "tools/hotspot_lint.h"

namespace {

namespace fs = std::filesystem;
using lint::Severity;

std::vector<std::string> ruleNames() {
  std::vector<std::string> names;
  for (const lint::RuleInfo& rule : lint::rules()) names.emplace_back(rule.id);
  return names;
}

class Rules : public testing::TestWithParam<std::string> {};

TEST_P(Rules, BadExampleIsReported) {
  const Example example(GetParam(), "bad");
  const std::vector<lint::Finding> findings = lint::lintDirectory(example.path());
  const auto isOfRule = [&](const lint::Finding& finding) {
    return lint::infoOf(finding.rule).id == GetParam();
  };
  ASSERT_TRUE(std::any_of(findings.begin(), findings.end(), isOfRule));
  const auto worst =
      std::max_element(findings.begin(), findings.end(), [&](const auto& a, const auto& b) {
        return std::pair(isOfRule(a), a.severity) < std::pair(isOfRule(b), b.severity);
      });
  EXPECT_EQ(worst->severity, lint::infoOf(worst->rule).severity) << "not the rule's severity";
}

TEST_P(Rules, GoodExampleIsClean) {
  const Example example(GetParam(), "good");
  for (const lint::Finding& finding : lint::lintDirectory(example.path())) {
    const bool isOfRule = lint::infoOf(finding.rule).id == GetParam();
    // The few pages of an example fall back.
    EXPECT_TRUE(finding.severity == Severity::kNote && (!isOfRule || GetParam() == "never-shown"))
        << finding.file << ":" << finding.line << ":" << finding.column << ": " << finding.message;
  }
}

// What stands between the fences behind `heading`, block by block, up to the next heading.
std::vector<std::string> blocksBehind(const std::string& text, const std::string& heading) {
  std::size_t at = text.find("\n" + heading);
  if (at == std::string::npos) return {};
  at += 1 + heading.size();
  const std::size_t end = std::min(text.find("\n#", at), text.size());
  std::vector<std::string> blocks;
  for (;;) {
    const std::size_t open = text.find("\n```", at);
    if (open == std::string::npos || open > end) return blocks;
    const std::size_t start = text.find('\n', open + 1) + 1;
    const std::size_t close = text.find("```", start);
    blocks.push_back(text.substr(start, close - start));
    at = close + 3;
  }
}

// Whether a file of the example holds the text, or has it as its name.
bool holds(const std::string& rule, const std::string& kind, const std::string& line) {
  for (const auto& entry : fs::recursive_directory_iterator(exampleDir() / rule / kind)) {
    if (!entry.is_regular_file()) continue;
    if (fs::relative(entry.path(), exampleDir() / rule / kind) == line) return true;
    if (readFile(entry.path()).find(line) != std::string::npos) return true;
  }
  return false;
}

TEST_P(Rules, DocumentationShowsBothExamples) {
  const std::string text = readFile(TEST_SOURCE_DIR "/docs/lint.md");
  const std::vector<std::string> blocks = blocksBehind(text, "### " + GetParam() + "\n");
  ASSERT_EQ(blocks.size(), 2u) << "not a bad and a good example";
  const char* const kinds[] = {"bad", "good"};
  for (int i = 0; i < 2; ++i) {
    std::istringstream lines(blocks[static_cast<std::size_t>(i)]);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
      EXPECT_TRUE(holds(GetParam(), kinds[i], line)) << kinds[i] << ": " << line;
    }
    EXPECT_GT(count, 0);
  }
  const std::string row = "| [" + GetParam() + "](#" + GetParam() + ") | " +
                          std::string(lint::severityName(
                              std::find_if(lint::rules().begin(), lint::rules().end(),
                                           [&](const auto& rule) { return rule.id == GetParam(); })
                                  ->severity)) +
                          " |";
  EXPECT_NE(text.find(row), std::string::npos) << row;
}

INSTANTIATE_TEST_SUITE_P(Lint, Rules, testing::ValuesIn(ruleNames()), [](const auto& test) {
  std::string name = test.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

TEST(RuleExamples, AreOfRulesThatThereAre) {
  std::set<std::string> folders;
  for (const auto& entry : fs::directory_iterator(exampleDir())) {
    if (entry.path().filename() != "complete") folders.insert(entry.path().filename());
  }
  const std::vector<std::string> names = ruleNames();
  EXPECT_EQ(folders, std::set<std::string>(names.begin(), names.end()));
}

}  // namespace
