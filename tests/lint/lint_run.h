// Runs hotspot-lint, and puts page directories together from tests/data/lint/.

#ifndef TESTS_LINT_LINT_RUN_H_
#define TESTS_LINT_LINT_RUN_H_

#include <filesystem>
#include <string>
#include <vector>

#include "tests/tools/program.h"
#include "tools/hotspot_lint_rules.h"

// Of each rule there is a folder with "bad" and "good" pages; they lie over the few pages of
// "complete", which every page directory needs.
std::filesystem::path exampleDir();

// Whether the examples of a rule are whole page directories.
bool isWhole(const std::string& rule);

// A copy of one example ("good" or "bad") as a whole page directory.
class Example {
 public:
  Example(const std::string& rule, const std::string& kind);

  const std::filesystem::path& path() const { return scratch_.path(); }

 private:
  ScratchDir scratch_;
};

Ended runLint(const std::vector<std::string>& arguments);

// "login.html: unescaped" of each, in order.
std::vector<std::string> brief(const std::vector<lint::Finding>& findings);

// "3:14: message" of each finding of a rule in a page directory that holds this text as one of its
// pages and what "complete" has.
std::vector<std::string> found(const std::string& page, const std::string& text, lint::Rule rule);

#endif  // TESTS_LINT_LINT_RUN_H_
