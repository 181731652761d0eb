#include "tests/lint/lint_run.h"

#include "tools/hotspot_lint.h"

namespace fs = std::filesystem;

namespace {

void copyInto(const fs::path& from, const fs::path& to) {
  fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

}  // namespace

fs::path exampleDir() { return TEST_SOURCE_DIR "/tests/data/lint"; }

bool isWhole(const std::string& rule) { return rule == "missing-page" || rule == "fallback"; }

Example::Example(const std::string& rule, const std::string& kind) {
  if (!isWhole(rule)) copyInto(exampleDir() / "complete", path());
  copyInto(exampleDir() / rule / kind, path());
}

Ended runLint(const std::vector<std::string>& arguments) {
  const ScratchDir tmp;
  std::vector<std::string> command = {TEST_LINT};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return runProgram(command, "", tmp.path());
}

std::vector<std::string> brief(const std::vector<lint::Finding>& findings) {
  std::vector<std::string> lines;
  for (const lint::Finding& finding : findings) {
    lines.push_back(finding.file + ": " + std::string(lint::infoOf(finding.rule).id));
  }
  return lines;
}

std::vector<std::string> found(const std::string& page, const std::string& text, lint::Rule rule) {
  const ScratchDir scratch;
  copyInto(exampleDir() / "complete", scratch.path());
  scratch.write(page, text);
  std::vector<std::string> lines;
  for (const lint::Finding& finding : lint::lintDirectory(scratch.path())) {
    if (finding.file != page || finding.rule != rule) continue;
    lines.push_back(std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": " +
                    finding.message);
  }
  return lines;
}
