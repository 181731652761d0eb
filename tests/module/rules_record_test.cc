// docs/rules.md against the tree: every function and every test that it names is there.

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

const fs::path kSources = HOTSPOT_SOURCES;

std::string readFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool isNameCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// True when `text` holds `name` as a whole word with the beginning of a declaration, a definition
// or an entry behind it.
bool declares(const std::string& text, const std::string& name) {
  for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1)) {
    if (at > 0 && isNameCharacter(text[at - 1])) continue;
    const std::size_t behind = text.find_first_not_of(' ', at + name.size());
    if (behind != std::string::npos &&
        std::string("([{=;:").find(text[behind]) != std::string::npos) {
      return true;
    }
  }
  return false;
}

// "Suite.Name" of every GoogleTest in the tree, read from its sources.
std::set<std::string> gatherTests() {
  std::set<std::string> tests;
  for (const auto& entry : fs::recursive_directory_iterator(kSources / "tests")) {
    if (entry.path().extension() != ".cc") continue;
    const std::string text = readFile(entry.path());
    for (std::size_t at = text.find("\nTEST"); at != std::string::npos;
         at = text.find("\nTEST", at + 1)) {
      const std::size_t open = text.find('(', at);
      const std::size_t close = text.find(')', at);
      if (open == std::string::npos || close == std::string::npos || close < open) break;
      std::string name;
      for (const char c : text.substr(open + 1, close - open - 1)) {
        if (isNameCharacter(c)) name += c;
        if (c == ',') name += '.';
      }
      tests.insert(name);
    }
  }
  return tests;
}

bool isTest(const std::string& name) {
  static const std::set<std::string> tests = gatherTests();
  return tests.count(name) != 0;
}

// "file: scenario" of tests/data/replay.
bool isScenario(const std::string& file, const std::string& scenario) {
  static std::map<std::string, std::string> texts;
  const auto found = texts.find(file);
  const std::string& text = found != texts.end()
                                ? found->second
                                : texts[file] =
                                      readFile(kSources / "tests/data/replay" / (file + ".jsonl"));
  return text.find("\"name\": \"" + scenario + "\"") != std::string::npos ||
         text.find("\"name\":\"" + scenario + "\"") != std::string::npos;
}

// The texts between the pairs of back-ticks.
Names quoted(const std::string& text) {
  Names names;
  for (std::size_t at = text.find('`'); at != std::string::npos; at = text.find('`', at + 1)) {
    const std::size_t end = text.find('`', at + 1);
    if (end == std::string::npos) break;
    names.push_back(text.substr(at + 1, end - at - 1));
    at = end;
  }
  return names;
}

// The cells of a table's row; none for any other line.
Names cellsOf(const std::string& line) {
  Names cells;
  if (line.empty() || line.front() != '|') return cells;
  std::size_t start = 1;
  for (std::size_t bar; (bar = line.find('|', start)) != std::string::npos; start = bar + 1) {
    cells.push_back(line.substr(start, bar - start));
  }
  return cells;
}

std::optional<std::string> wrongPlace(const std::string& place) {
  const std::size_t colon = place.find(": ");
  if (colon == std::string::npos) return "no \"file: function\": " + place;
  const fs::path file = kSources / place.substr(0, colon);
  if (!fs::is_regular_file(file)) return "no such file: " + place;
  if (!declares(readFile(file), place.substr(colon + 2))) return "not in its file: " + place;
  return std::nullopt;
}

std::optional<std::string> wrongTest(const std::string& test) {
  const std::size_t colon = test.find(": ");
  const bool isThere = colon == std::string::npos
                           ? isTest(test)
                           : isScenario(test.substr(0, colon), test.substr(colon + 2));
  if (isThere) return std::nullopt;
  return "no such test: " + test;
}

// What is wrong with a rule's row; nothing for a good one.
std::optional<std::string> wrongRule(const Names& cells) {
  if (cells.size() != 3) return "not three cells";
  if (cells[0].find_first_not_of(' ') == std::string::npos) return "no rule";
  const Names places = quoted(cells[1]);
  if (places.empty()) return "no place";
  for (const std::string& place : places) {
    if (auto wrong = wrongPlace(place)) return wrong;
  }
  const Names tests = quoted(cells[2]);
  if (tests.empty() && !cells[2].starts_with(" none: ")) return "no test, and no reason";
  for (const std::string& test : tests) {
    if (auto wrong = wrongTest(test)) return wrong;
  }
  return std::nullopt;
}

TEST(RulesRecord, NamesOnlyFunctionsAndTestsThatExist) {
  std::ifstream in(kSources / "docs/rules.md");
  int rules = 0;
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    const Names cells = cellsOf(line);
    if (cells.empty() || line.starts_with("|---") || line.starts_with("| what holds ")) continue;
    ++rules;
    if (const auto wrong = wrongRule(cells)) {
      ADD_FAILURE() << "docs/rules.md:" << number << ": " << *wrong;
    }
  }
  EXPECT_GE(rules, 250);
}

TEST(RulesRecord, CheckerKnowsGoodRowsFromBadOnes) {
  struct Case {
    const char* row;
    bool isGood;
  };
  const Case cases[] = {
      {"| a | `servlet/serve.cc: HsConn::serve` | `RulesRecord.CheckerKnowsGoodRowsFromBadOnes` |",
       true},
      {"| a | `servlet/serve.cc: kPages`, `host/servlet.h: Servlet` | `dispatch: ab is a file` |",
       true},
      {"| a | `servlet/serve.cc: HsConn::serve` | none: nobody can see it |", true},
      {"| a | `servlet/nosuch.cc: HsConn::serve` | `dispatch: ab is a file` |", false},
      {"| a | `servlet/serve.cc: HsConn::nosuch` | `dispatch: ab is a file` |", false},
      {"| a | `servlet/serve.cc: serv` | `dispatch: ab is a file` |", false},
      {"| a | `servlet/serve.cc: erve` | `dispatch: ab is a file` |", false},
      {"| a | `servlet/serve.cc` | `dispatch: ab is a file` |", false},
      {"| a | `servlet: HsConn::serve` | `dispatch: ab is a file` |", false},
      {"| a | | `dispatch: ab is a file` |", false},
      {"| | `servlet/serve.cc: HsConn::serve` | `dispatch: ab is a file` |", false},
      {"| a | `servlet/serve.cc: HsConn::serve` | `dispatch: ab is no file` |", false},
      {"| a | `servlet/serve.cc: HsConn::serve` | `nosuch: ab is a file` |", false},
      {"| a | `servlet/serve.cc: HsConn::serve` | `RulesRecord.NoSuchTest` |", false},
      {"| a | `servlet/serve.cc: HsConn::serve` | `RulesRecord` |", false},
      {"| a | `servlet/serve.cc: HsConn::serve` | dispatch |", false},
      {"| a | `servlet/serve.cc: HsConn::serve` |", false},
      {"| a | `servlet/serve.cc: HsConn::serve` | `dispatch: ab is a file` | b |", false},
  };
  for (const Case& c : cases) {
    const auto wrong = wrongRule(cellsOf(c.row));
    EXPECT_EQ(!wrong.has_value(), c.isGood) << c.row << '\n' << wrong.value_or("");
  }
}

}  // namespace
