#include "tools/hotspot_lint_rules.h"

#include <algorithm>

namespace lint {
namespace {

using enum Severity;

constexpr RuleInfo kRules[] = {
    {Rule::kUnknownVariable, "unknown-variable", kError,
     "a reference to a name that does not exist"},
    {Rule::kVariableElsewhere, "variable-elsewhere", kError,
     "a reference to a variable that is not set on this page"},
    {Rule::kRadiusReference, "radius-reference", kError, "a RADIUS reference that never resolves"},
    {Rule::kWrongOperator, "wrong-operator", kError, "a condition with an operator that is none"},
    {Rule::kWordCount, "word-count", kError, "a directive with too many or too few words"},
    {Rule::kBlankInQuotes, "blank-in-quotes", kError, "a blank inside a quoted value"},
    {Rule::kMissingCloser, "missing-closer", kError, "a directive without its closer"},
    {Rule::kNoBlock, "no-block", kError, "elif, else or endif without an if: the page ends there"},
    {Rule::kOpenBlock, "open-block", kError, "an if without its endif"},
    {Rule::kAfterElse, "after-else", kWarning, "a branch behind else, which is never shown"},
    {Rule::kLostDirective, "lost-directive", kError,
     "text that hides the end of its branch when the branch is dropped"},
    {Rule::kPercentText, "percent-text", kWarning,
     "running text between percent signs that is taken for a directive"},
    {Rule::kConstantCondition, "constant-condition", kWarning,
     "a condition that always comes out the same"},
    {Rule::kUnescaped, "unescaped", kError,
     "a value in an attribute, an address, a script or a style without \"-esc\""},
    {Rule::kEscMisread, "esc-misread", kWarning, "an \"-esc\" value where it reads wrongly"},
    {Rule::kNotRendered, "not-rendered", kWarning, "a directive in a file that is sent as it is"},
    {Rule::kEncoding, "encoding", kError, "text that is not UTF-8, or is not said to be"},
    {Rule::kMissingPage, "missing-page", kError, "a page that guests need is not there"},
    {Rule::kFallback, "fallback", kNote, "what a guest gets instead of a page that is not there"},
    {Rule::kNeverShown, "never-shown", kWarning, "a file that no guest gets to see"},
    {Rule::kMissingFile, "missing-file", kWarning, "a link to a file that is not there"},
    {Rule::kOtherHost, "other-host", kWarning,
     "something of another host, which is held back before the login"},
    {Rule::kPageSize, "page-size", kWarning, "a page larger than a phone's log-in assistant likes"},
    {Rule::kFormField, "form-field", kWarning, "a form field that its handler does not read"},
    {Rule::kFormMethod, "form-method", kWarning,
     "a form that is sent in a way that does not work or is not safe"},
    {Rule::kPolicy, "policy", kError,
     "what the page's own Content-Security-Policy keeps from running or being loaded"},
    {Rule::kUnreadable, "unreadable", kError, "a file that the module cannot send"},
};

static_assert(std::ranges::is_sorted(kRules, {}, &RuleInfo::rule));
static_assert(std::size(kRules) == static_cast<std::size_t>(Rule::kUnreadable) + 1);

}  // namespace

std::string_view severityName(Severity severity) {
  return severity == kError ? "error" : severity == kWarning ? "warning" : "note";
}

std::span<const RuleInfo> rules() { return kRules; }

const RuleInfo& infoOf(Rule rule) { return kRules[static_cast<std::size_t>(rule)]; }

}  // namespace lint
