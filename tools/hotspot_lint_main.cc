// hotspot-lint: reads a page directory as the module would and says what is wrong with it.
// docs/lint.md describes the rules.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>

#include "tools/hotspot_lint.h"
#include "tools/hotspot_lint_output.h"

namespace lint {
namespace {

enum ExitStatus { kClean = 0, kFound = 1, kCannotRun = 2 };

struct Options {
  std::string directory;
  std::string colour = "auto";
  bool json = false;
  bool sarif = false;
  bool strict = false;
  bool listRules = false;
  bool listVariables = false;
};

bool wantsColours(const std::string& when) {
  if (when != "auto") return when == "always";
  const char* const refused = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0');
}

void print(const std::string& text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!written || std::fflush(stdout) != 0) {
    throw std::runtime_error(std::string("cannot write the findings: ") + std::strerror(errno));
  }
}

int run(const Options& options) {
  if (options.listRules) {
    print(options.json ? rulesAsJson() : rulesAsText());
    return kClean;
  }
  if (options.listVariables) {
    print(options.json ? variablesAsJson() : variablesAsText());
    return kClean;
  }
  std::filesystem::path directory = options.directory;
  if (!directory.has_filename()) directory = directory.parent_path();
  const std::vector<Finding> findings = lintDirectory(directory);
  if (options.sarif) {
    print(asSarif(std::filesystem::absolute(directory).lexically_normal(), findings));
  } else if (options.json) {
    print(asJson(directory, findings));
  } else {
    print(asText(directory, findings, wantsColours(options.colour)));
  }
  const Severity least = options.strict ? Severity::kNote : Severity::kWarning;
  const bool counts = std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
    return finding.severity >= least;
  });
  return counts ? kFound : kClean;
}

}  // namespace
}  // namespace lint

int main(int argc, char** argv) {
  lint::Options options;
  CLI::App app(
      "Reads a page directory as the hotspot module would and says what is wrong with it.\n"
      "Exit status: 0 nothing to mend, 1 findings, 2 wrong usage or a directory that cannot be "
      "read.");
  CLI::Option* const directory = app.add_option("DIR", options.directory, "the page directory");
  CLI::Option* const json = app.add_flag("--json", options.json, "findings as JSON");
  app.add_flag("--sarif", options.sarif, "findings as SARIF 2.1.0, for editors and CI")
      ->excludes(json);
  app.add_flag("--strict", options.strict, "notes count as findings too");
  app.add_option("--color", options.colour, "auto (on a terminal), always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  app.add_flag("--list-rules", options.listRules, "print the rules and stop");
  app.add_flag("--list-variables", options.listVariables,
               "print the variables that a page can refer to and stop");
  app.set_version_flag("--version", "hotspot-lint " HOTSPOT_VERSION);
  try {
    app.parse(argc, argv);
    if (directory->count() == 0 && !options.listRules && !options.listVariables) {
      throw CLI::RequiredError("DIR");
    }
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? lint::kClean : lint::kCannotRun;
  }
  try {
    return lint::run(options);
  } catch (const std::exception& error) {
    std::cerr << "hotspot-lint: " << error.what() << "\n";
    return lint::kCannotRun;
  }
}
