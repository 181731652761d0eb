// A page that the linter calls clean has no stray directive in it, whatever the manager replies:
// each page is rendered with every reply of tests/data/replay/.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/lint/lint_run.h"
#include "tools/hotspot_lint.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

// A value may hold anything; what is looked for is the page's own text.
void defuse(Json* value) {
  if (value->is_string()) {
    std::string text = value->get<std::string>();
    for (char& c : text) {
      if (c == '$' || c == '%') c = '_';
    }
    *value = text;
  }
}

// Every reply of the data, each once.
std::vector<Json> replies() {
  std::set<std::string> seen;
  std::vector<Json> result;
  for (const auto& entry : fs::directory_iterator(TEST_SOURCE_DIR "/tests/data/replay")) {
    if (entry.path().string().find(".expected.") != std::string::npos) continue;
    std::istringstream lines(readFile(entry.path()));
    for (std::string line; std::getline(lines, line);) {
      const Json scenario = Json::parse(line);
      if (!scenario.contains("replies")) continue;
      for (Json reply : scenario["replies"]) {
        if (reply.contains("fields")) {
          for (auto& [id, value] : reply["fields"].items()) {
            if (!id.starts_with("0x3")) defuse(&value);
          }
          reply["fields"].erase("0x2000044d");
        }
        if (reply.contains("error")) defuse(&reply["error"]["text"]);
        if (seen.insert(reply.dump()).second) result.push_back(reply);
      }
    }
  }
  return result;
}

// Requests that between them show every page.
std::vector<Json> requests() {
  std::vector<Json> all;
  for (const char* page : {"login", "logout", "status", "set", "advert", "alogin", ""}) {
    all.push_back({{"relPath", page}, {"query", "dst=http://x/"}});
  }
  all.push_back({{"relPath", "login"}, {"ssl", true}});
  for (const unsigned flags : {0u, 0x01000000u, 0x82000000u}) {
    all.push_back({{"foreignDst", true}, {"dstHost", "x"}, {"path", "/"}, {"connFlags", flags}});
  }
  return all;
}

// The first text with the form of a directive, in the letters that names and keywords have; empty
// when there is none.
std::string strayDirective(const std::string& body) {
  for (std::size_t at = 0; at < body.size(); ++at) {
    const bool isDollar = body.compare(at, 2, "$(") == 0;
    if (!isDollar && body[at] != '%') continue;
    const std::size_t start = at + (isDollar ? 2 : 1);
    const std::size_t closer = body.find_first_of(")%", start);
    if (closer == std::string::npos) continue;
    const std::string inside = body.substr(start, closer - start);
    const bool isName =
        !inside.empty() && inside[0] != '-' &&
        inside.find_first_not_of("abcdefghijklmnopqrstuvwxyz-") == std::string::npos;
    if (isDollar || isName || inside.starts_with("if ") || inside.starts_with("elif ")) {
      return body.substr(at, closer + 1 - at);
    }
  }
  return {};
}

struct Rendered {
  std::size_t answers = 0;  // that were looked at
  std::string stray;        // the first directive that came out as it is written
};

// The pages of the directory with every reply.
Rendered renderAll(const fs::path& directory, const std::vector<Json>& replies) {
  std::string lines;
  for (const Json& request : requests()) {
    for (const Json& reply : replies) {
      Json scenario = {{"request", request}, {"replies", Json::array({reply})}, {"debug", false}};
      scenario["replies"][0]["fields"]["0x2000044d"] = directory.string() + "/";
      lines += scenario.dump() + "\n";
    }
  }
  const ScratchDir tmp;
  const Ended ended = runProgram({TEST_REPLAY, "--module", TEST_MODULE}, lines, tmp.path());
  EXPECT_EQ(ended.status, 0) << ended.err;
  std::istringstream results(ended.out);
  Rendered rendered;
  for (std::string line; std::getline(results, line);) {
    const std::string body = Json::parse(line)["body"];
    if (body.empty()) continue;
    ++rendered.answers;
    if (rendered.stray.empty()) rendered.stray = strayDirective(body);
  }
  return rendered;
}

TEST(CleanPages, RenderWithoutAStrayDirective) {
  const std::vector<Json> all = replies();
  ASSERT_GT(all.size(), 100u);
  const fs::path shipped = TEST_PAGES;
  for (const lint::Finding& finding : lint::lintDirectory(shipped)) {
    EXPECT_EQ(finding.severity, lint::Severity::kNote)
        << finding.file << ":" << finding.line << ":" << finding.column << ": " << finding.message;
  }
  const Rendered rendered = renderAll(shipped, all);
  EXPECT_EQ(rendered.stray, "");
  EXPECT_GT(rendered.answers, all.size() * 10);
}

class GoodExamples : public testing::TestWithParam<std::string> {};

TEST_P(GoodExamples, RenderWithoutAStrayDirective) {
  const std::vector<Json> all = replies();
  const Example good(GetParam(), "good");
  const Rendered rendered = renderAll(good.path(), all);
  EXPECT_EQ(rendered.stray, "");
  EXPECT_GT(rendered.answers, all.size());
}

std::vector<std::string> ruleNames() {
  std::vector<std::string> names;
  for (const lint::RuleInfo& rule : lint::rules()) names.emplace_back(rule.id);
  return names;
}

INSTANTIATE_TEST_SUITE_P(Lint, GoodExamples, testing::ValuesIn(ruleNames()), [](const auto& test) {
  std::string name = test.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

TEST(CleanPages, StrayDirectivesWouldBeSeen) {
  const std::vector<Json> all = replies();
  for (const char* rule :
       {"unknown-variable", "wrong-operator", "word-count", "variable-elsewhere"}) {
    const Example bad(rule, "bad");
    EXPECT_NE(renderAll(bad.path(), all).stray, "") << rule;
  }
}

}  // namespace
