// What the linter reports: its rules and the findings. docs/lint.md describes each rule with an
// example.

#ifndef TOOLS_HOTSPOT_LINT_RULES_H_
#define TOOLS_HOTSPOT_LINT_RULES_H_

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <tuple>

namespace lint {

// A note says what holds and need not be changed.
enum class Severity { kNote, kWarning, kError };

std::string_view severityName(Severity severity);

enum class Rule {
  kUnknownVariable,
  kVariableElsewhere,
  kRadiusReference,
  kWrongOperator,
  kWordCount,
  kBlankInQuotes,
  kMissingCloser,
  kNoBlock,
  kOpenBlock,
  kAfterElse,
  kLostDirective,
  kPercentText,
  kConstantCondition,
  kUnescaped,
  kEscMisread,
  kNotRendered,
  kEncoding,
  kMissingPage,
  kFallback,
  kNeverShown,
  kMissingFile,
  kOtherHost,
  kPageSize,
  kFormField,
  kFormMethod,
  kPolicy,
  kUnreadable,
};

// In the order in which the table is read.
struct RuleInfo {  // NOLINT(clang-analyzer-optin.performance.Padding)
  Rule rule;
  std::string_view id;  // as users see it
  Severity severity;    // the usual one
  std::string_view what;
};

std::span<const RuleInfo> rules();  // in the order of Rule
const RuleInfo& infoOf(Rule rule);

struct Finding {
  std::string file;  // below the page directory
  std::size_t line = 1;
  std::size_t column = 1;  // in characters
  Rule rule = Rule::kUnreadable;
  Severity severity = Severity::kError;
  std::string message;  // what and what to do

  // In order of the places, then of the rules.
  friend bool operator<(const Finding& a, const Finding& b) {
    return std::tie(a.file, a.line, a.column, a.rule, a.message) <
           std::tie(b.file, b.line, b.column, b.rule, b.message);
  }
};

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_RULES_H_
