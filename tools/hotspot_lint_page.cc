#include "tools/hotspot_lint_page.h"

#include <algorithm>

#include "tools/hotspot_lint_text.h"
#include "tools/page_variables.h"

namespace lint {
namespace {

constexpr std::string_view kEscSuffix = "-esc";

}  // namespace

std::string PageFile::directory() const {
  const std::size_t slash = name.rfind('/');
  return slash == std::string::npos ? std::string() : name.substr(0, slash + 1);
}

std::string PageFile::baseName() const { return name.substr(directory().size()); }

void FileFindings::add(Rule rule, std::size_t offset, std::string message,
                       std::optional<Severity> severity) {
  if (found_.size() == kMost) {
    isFull_ = true;
    return;
  }
  if (!seen_.emplace(offset, rule).second) return;
  found_.emplace(offset, rule, severity.value_or(infoOf(rule).severity), std::move(message));
}

std::vector<Finding> FileFindings::take(const PageFile& file) const {
  std::vector<Finding> findings;
  Places places(file.text);
  for (const auto& [offset, rule, severity, message] : found_) {
    const Places::Place place = places.at(offset);
    findings.push_back({file.name, place.line, place.column, rule, severity, message});
  }
  if (isFull_) findings.back().message += " (and more in this file, which is not shown)";
  return findings;
}

Reference referenceOf(std::string_view name) {
  if (pages::findVariable(name) == nullptr && name.size() > kEscSuffix.size() &&
      name.ends_with(kEscSuffix)) {
    return {name.substr(0, name.size() - kEscSuffix.size()), true};
  }
  return {name, false};
}

bool isGuarded(const Walk& walk, const Directive& directive, std::string_view variable) {
  constexpr int kMostLevels = 64;
  const Directive* inner = &directive;
  for (int level = 0; level < kMostLevels && inner->outer != kNoBlock; ++level) {
    const Block& block = walk.blocks[inner->outer];
    const Directive& condition = walk.directives[block.branches[inner->outerBranch]];
    const bool hasValue = !condition.compares || condition.equal != condition.value.empty();
    if (condition.kind != kCmdElse && hasValue && referenceOf(condition.name).base == variable) {
      return true;
    }
    inner = &walk.directives[block.branches.front()];
  }
  return false;
}

Names namesOn(std::string_view page) {
  Names names;
  for (const pages::PageVariable& variable : pages::pageVariables()) {
    if (pages::lists(variable.always, page) || pages::lists(variable.sometimes, page)) {
      names.emplace(variable.name, "");
    }
  }
  return names;
}

}  // namespace lint
