// The program: exit statuses, forms of output, and directories that nobody would make.

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/lint/lint_run.h"
#include "tools/hotspot_lint.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

TEST(LintProgram, ExitStatusSaysWhatWasFound) {
  const Example bad("unescaped", "bad");
  EXPECT_EQ(runLint({bad.path()}).status, 1);
  const Example good("unescaped", "good");
  EXPECT_EQ(runLint({good.path()}).status, 0);
  EXPECT_EQ(runLint({good.path(), "--strict"}).status, 1) << "its pages fall back";
  const Example whole("fallback", "good");
  EXPECT_EQ(runLint({whole.path(), "--strict"}).status, 0);
}

TEST(LintProgram, WrongUsageAndUnreadableDirectoriesAreTwo) {
  const Example good("unescaped", "good");
  const std::vector<std::vector<std::string>> wrong = {{},
                                                       {"--nosuch", good.path()},
                                                       {good.path(), "another"},
                                                       {good.path(), "--json", "--sarif"},
                                                       {good.path(), "--color", "blue"},
                                                       {good.path() / "nosuch"},
                                                       {good.path() / "status.html"}};
  for (const std::vector<std::string>& arguments : wrong) {
    const Ended ended = runLint(arguments);
    EXPECT_EQ(ended.status, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(ended.out, "") << testing::PrintToString(arguments);
    EXPECT_NE(ended.err, "") << testing::PrintToString(arguments);
  }
  const ScratchDir tmp;
  EXPECT_EQ(runProgram({TEST_LINT, good.path()}, "", tmp.path(), "/dev/full").status, 2);
}

TEST(LintProgram, LinesNamePlaceRuleAndRemedy) {
  const Example bad("missing-closer", "bad");
  const std::string directory = bad.path();
  const std::string line =
      directory +
      "/status.html:8:10: error: \"$(username\" has no closer: end it with \")\" "
      "[missing-closer]\n";
  const Ended plain = runLint({directory});
  EXPECT_NE(plain.out.find(line), std::string::npos) << plain.out;
  EXPECT_EQ(plain.out.find('\x1b'), std::string::npos) << "colours into a file";
  EXPECT_TRUE(plain.out.ends_with("\n1 error, 0 warnings, 12 notes\n")) << plain.out;
  EXPECT_EQ(runLint({directory + "/"}).out, plain.out);
  const Ended coloured = runLint({directory, "--color=always"});
  EXPECT_NE(coloured.out.find("\x1b[1;31merror:\x1b[0m"), std::string::npos) << coloured.out;
}

// What the program writes to a terminal.
std::string onTerminal(std::vector<std::string> command) {
  std::vector<char*> words;
  for (std::string& word : command) words.push_back(word.data());
  words.push_back(nullptr);
  int terminal = -1;
  const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (pid == 0) {
    execv(words[0], words.data());
    _exit(127);
  }
  std::string text;
  char piece[4096];
  for (ssize_t got = 0; (got = read(terminal, piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<std::size_t>(got));
  }
  close(terminal);
  waitpid(pid, nullptr, 0);
  return text;
}

TEST(LintProgram, ColoursAreForTerminals) {
  const Example bad("missing-closer", "bad");
  const std::string directory = bad.path();
  const std::string env = "/usr/bin/env";
  const std::string coloured = "\x1b[1;31merror:\x1b[0m";
  const struct {
    std::vector<std::string> command;
    bool isColoured;
  } cases[] = {
      {{env, "-u", "NO_COLOR", TEST_LINT, directory}, true},
      {{env, "NO_COLOR=", TEST_LINT, directory}, true},
      {{env, "NO_COLOR=1", TEST_LINT, directory}, false},
      {{env, "NO_COLOR=1", TEST_LINT, "--color=always", directory}, true},
      {{env, "-u", "NO_COLOR", TEST_LINT, "--color=never", directory}, false},
      {{env, "-u", "NO_COLOR", TEST_LINT, "--json", directory}, false},
  };
  for (const auto& c : cases) {
    const std::string text = onTerminal(c.command);
    EXPECT_NE(text.find("missing-closer"), std::string::npos) << text;
    EXPECT_EQ(text.find(coloured) != std::string::npos, c.isColoured) << text;
    EXPECT_EQ(text.find('\x1b') != std::string::npos, c.isColoured) << text;
  }
}

TEST(LintProgram, JsonHasEveryFinding) {
  const Example bad("missing-closer", "bad");
  const Ended ended = runLint({bad.path(), "--json"});
  EXPECT_EQ(ended.status, 1);
  const Json json = Json::parse(ended.out);
  EXPECT_EQ(json["directory"], bad.path().string());
  EXPECT_EQ(json["errors"], 1);
  EXPECT_EQ(json["notes"], 12);
  ASSERT_EQ(json["findings"].size(), 13u);
  const Json expected = {{"file", "status.html"},
                         {"line", 8},
                         {"column", 10},
                         {"severity", "error"},
                         {"rule", "missing-closer"},
                         {"message", "\"$(username\" has no closer: end it with \")\""}};
  EXPECT_EQ(json["findings"].back(), expected);
}

TEST(LintProgram, ListsItsRulesAndVariables) {
  const Ended rules = runLint({"--list-rules"});
  EXPECT_EQ(rules.status, 0);
  EXPECT_EQ(Json::parse(runLint({"--list-rules", "--json"}).out).size(), lint::rules().size());
  for (const lint::RuleInfo& rule : lint::rules()) {
    EXPECT_NE(rules.out.find(rule.id), std::string::npos) << rule.id;
  }
  const Json variables = Json::parse(runLint({"--list-variables", "--json"}).out);
  EXPECT_EQ(variables.size(), 59u);
  EXPECT_EQ(variables[0]["name"], "advert-pending");
  EXPECT_NE(runLint({"--list-variables"}).out.find("chap-challenge"), std::string::npos);
}

TEST(LintProgram, SaysTheSameEachTime) {
  const Example bad("unknown-variable", "bad");
  const std::string first = runLint({bad.path()}).out;
  EXPECT_EQ(runLint({bad.path()}).out, first);
  const std::vector<lint::Finding> findings = lint::lintDirectory(bad.path());
  EXPECT_TRUE(std::is_sorted(findings.begin(), findings.end()));
}

TEST(LintProgram, OddFilesAreFindingsAndNeverOpened) {
  const ScratchDir scratch;
  scratch.write("login.html", "x");
  ASSERT_EQ(mkfifo((scratch.path() / "status.html").c_str(), 0600), 0);
  fs::create_symlink("nowhere", scratch.path() / "logout.html");
  fs::create_directory_symlink(".", scratch.path() / "circle");
  fs::create_directory(scratch.path() / "a");
  fs::create_directory_symlink("../a", scratch.path() / "a" / "self");
  fs::create_directory(scratch.path() / "error.html");
  std::vector<std::string> unreadable;
  for (const lint::Finding& finding : lint::lintDirectory(scratch.path())) {
    if (finding.rule == lint::Rule::kUnreadable) unreadable.push_back(finding.file);
  }
  EXPECT_EQ(unreadable, (std::vector<std::string>{"error.html", "logout.html", "status.html"}));
}

TEST(LintProgram, NamesOfAnyBytesStayOneLine) {
  const ScratchDir scratch;
  scratch.write("a\n\x1b[31m\xff.html", "<p>$(nosuch)\x1b[31m</p>");
  const std::string out = runLint({scratch.path()}).out;
  EXPECT_EQ(out.find('\x1b'), std::string::npos) << out;
  EXPECT_NE(out.find("/a??[31m\xff.html:1:4: error: "), std::string::npos) << out;
  EXPECT_FALSE(Json::parse(runLint({scratch.path(), "--json"}).out)["findings"].empty());
  EXPECT_FALSE(Json::parse(runLint({scratch.path(), "--sarif"}).out)["runs"].empty());
}

TEST(LintProgram, ColumnsCountCharacters) {
  EXPECT_EQ(found("status.html", "<meta charset=\"utf-8\">\n\xc3\xa9\xe2\x82\xac $(nosuch)",
                  lint::Rule::kUnknownVariable)
                .at(0)
                .substr(0, 4),
            "2:4:");
}

std::string repeated(const std::string& text, std::size_t bytes) {
  std::string result;
  while (result.size() < bytes) result += text;
  return result;
}

// A few texts that are long for no good reason; the time limit of the test holds the rest.
TEST(LintProgram, HostileTextsTakeLinearTime) {
  constexpr std::size_t kBytes = 1 << 17;
  const std::string texts[] = {
      repeated("x", 1 << 20),
      repeated("%", 1 << 20),
      repeated("$(", kBytes),
      repeated("%a", kBytes),
      repeated("$(if username)", kBytes),
      repeated("$(if username)%", kBytes),
      repeated("$(if username)a$(else)", kBytes),
      repeated("$(if username == 1)a$(endif)", kBytes),
      repeated("<", kBytes),
      repeated("<a ", kBytes),
      "<a " + repeated("b=\"", kBytes),
      repeated("<a href=x>", kBytes),
      repeated("<!--", kBytes),
      repeated("<script>", kBytes),
      repeated("$(nosuch)", kBytes),
      repeated("<p title=\"$(username)\">", kBytes),
      repeated("<form action=\"$(link-login)\"><input name=q>", kBytes),
      repeated(std::string("\0\xff\xc3", 3), kBytes),
      "<img srcset=\"" + repeated("a, ", kBytes),
      "<style>" + repeated("url(", kBytes),
      "<style>" + repeated("@import \"", kBytes),
      "<meta http-equiv=Content-Security-Policy content=\"style-src x\">" +
          repeated("<style>a</style>", kBytes),
      "<meta http-equiv=Content-Security-Policy content=\"style-src " +
          repeated("'sha256-x' ", kBytes) + "\"><style>" + repeated("a{}", kBytes),
  };
  for (const std::string& text : texts) {
    const ScratchDir scratch;
    scratch.write("status.html", text);
    const Ended ended = runLint({scratch.path()});
    EXPECT_EQ(ended.status, 1) << text.substr(0, 20);
    EXPECT_EQ(ended.err, "") << text.substr(0, 20);
  }
}

TEST(LintProgram, DirectoriesThatAreNoPageDirectoriesAreRefused) {
  const ScratchDir scratch;
  fs::path deep = scratch.path();
  for (int i = 0; i < 20; ++i) deep /= "d";
  fs::create_directories(deep);
  const Ended ended = runLint({scratch.path()});
  EXPECT_EQ(ended.status, 2);
  EXPECT_NE(ended.err.find("16 levels"), std::string::npos) << ended.err;
}

}  // namespace
