// What can be said of the directives of a page without its HTML: blocks, conditions, variables that
// are not always there.

#include <algorithm>

#include "tools/hotspot_lint_page.h"
#include "tools/hotspot_lint_text.h"
#include "tools/page_variables.h"

namespace lint {
namespace {

using pages::ValueKind;

bool isBlank(char c) { return c == ' ' || c == '\t'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view textOf(const PageCheck& page, std::size_t begin, std::size_t end) {
  return std::string_view(page.file.text).substr(begin, end - begin);
}

std::string quoted(std::string_view text) { return "\"" + shown(text) + "\""; }

// "100%x% done", "% x %", "$(x%": a directive, but was one meant?
void checkPercent(const PageCheck& page, const Directive& directive) {
  const std::string_view text = page.file.text;
  const std::string_view whole = textOf(page, directive.begin, directive.end);
  const bool byPercent = whole.front() == '%';
  std::string why;
  if (byPercent && directive.begin > 0 && isDigit(text[directive.begin - 1]) &&
      directive.kind == kCmdNone) {
    why = "stands behind a digit, but is taken for a reference; if it is one write \"$(" +
          directive.name + ")\"";
  } else if (byPercent &&
             (isBlank(whole[1]) || (whole.back() == '%' && isBlank(whole[whole.size() - 2])))) {
    why = "is taken for a directive; if it is none write \"&#37;\" for the percent sign";
  } else if (byPercent != (whole.back() == '%')) {
    why = "is one directive; open and close it in the same way";
  } else {
    return;
  }
  page.findings.add(Rule::kPercentText, directive.begin, quoted(whole) + " " + why);
}

// Whether XML-escaped text can be this value, and what it would look like if not.
bool isEscapedText(std::string_view value, std::string* escaped) {
  bool is = true;
  escaped->clear();
  for (std::size_t i = 0; i < value.size(); ++i) {
    const std::string_view rest = value.substr(i);
    if (value[i] == '<' || value[i] == '>') {
      is = false;
      *escaped += value[i] == '<' ? "&lt;" : "&gt;";
    } else if (value[i] == '&' && !rest.starts_with("&lt;") && !rest.starts_with("&gt;") &&
               !rest.starts_with("&amp;")) {
      is = false;
      *escaped += "&amp;";
    } else {
      *escaped += value[i];
    }
  }
  return is;
}

bool isUrlEscapedText(std::string_view value) {
  return std::all_of(value.begin(), value.end(), [](char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '-' ||
           c == '+' || c == '%';
  });
}

// Why a variable never has this value; empty when it can.
std::string whyNever(const pages::PageVariable& variable, bool isEscaped, std::string_view value) {
  if (value.empty()) return variable.canBeEmpty ? "" : "is never empty";
  switch (variable.kind) {
    case ValueKind::kYesNo:
      return value == "yes" || value == "no" ? "" : "is \"yes\" or \"no\"";
    case ValueKind::kTrueFalse:
      return value == "true" || value == "false" ? "" : "is \"true\" or \"false\"";
    case ValueKind::kNumber:
      return std::all_of(value.begin(), value.end(), isDigit) ? "" : "is a number";
    case ValueKind::kErrorType: {
      if (value.starts_with("unknown&lt;0x") && value.ends_with("&gt;")) return "";
      if (isEscaped && value.starts_with("unknown%3C0x")) return "";
      const auto types = pages::errorTypes();
      if (std::find(types.begin(), types.end(), value) != types.end()) return "";
      if (value.starts_with("unknown<"))
        return "is compared as the page shows it, as \"unknown&lt;0x..&gt;\"";
      std::string_view near = nearest(value, {types.begin(), types.end()});
      for (const std::string_view type : types) {
        if (near.empty() && type.starts_with(value)) near = type;
      }
      return near.empty() ? "has no such value"
                          : "has no such value; did you mean \"" + std::string(near) + "\"?";
    }
    default:
      break;
  }
  std::string escaped;
  if (isEscaped) {
    return isUrlEscapedText(value) ? ""
                                   : "is compared in its URL-escaped form, which cannot be this";
  }
  if (isEscapedText(value, &escaped)) return "";
  return "is compared as the page shows it: write " + quoted(escaped);
}

void checkKnownCondition(const PageCheck& page, const Directive& condition,
                         const pages::PageVariable& variable, bool isEscaped) {
  const std::string name(variable.name);
  if (condition.compares) {
    const std::string why = whyNever(variable, isEscaped, condition.value);
    if (why.empty()) return;
    page.findings.add(Rule::kConstantCondition, condition.begin,
                      "this condition is " + std::string(condition.equal ? "never" : "always") +
                          " true: \"" + name + "\" " + why);
    return;
  }
  // Where it is not always set the condition asks whether it is.
  if (variable.canBeEmpty || !pages::lists(variable.always, page.file.page)) return;
  const bool isSwitch =
      variable.kind == ValueKind::kYesNo || variable.kind == ValueKind::kTrueFalse;
  const bool isNumber = variable.kind == ValueKind::kNumber;
  page.findings.add(Rule::kConstantCondition, condition.begin,
                    "this condition is always true: \"" + name + "\" is never empty" +
                        (variable.kind == ValueKind::kYesNo ? "; write \"== yes\""
                         : isSwitch                         ? "; write \"== true\""
                         : isNumber                         ? "; write \"!= 0\""
                                                            : ""),
                    isSwitch || isNumber ? Severity::kWarning : Severity::kNote);
}

void checkCondition(const PageCheck& page, const Directive& condition) {
  const Reference reference = referenceOf(condition.name);
  const std::string never = "this condition is never true: ";
  if (const pages::PageVariable* variable = pages::findVariable(reference.base)) {
    if (page.names.contains(std::string(reference.base))) {
      checkKnownCondition(page, condition, *variable, reference.isEscaped);
    } else {
      page.findings.add(Rule::kVariableElsewhere, condition.begin,
                        never + quoted(reference.base) + " is not set on this page",
                        Severity::kNote);
    }
    return;
  }
  if (reference.base == "radius") {
    if (condition.compares && !condition.value.empty() && condition.value != "true") {
      page.findings.add(Rule::kConstantCondition, condition.begin,
                        "\"radius\" is \"true\" or empty");
    }
    return;
  }
  if (reference.base.starts_with("radius")) {
    page.findings.add(Rule::kRadiusReference, condition.begin,
                      never +
                          "attributes of a RADIUS server cannot be asked for; \"radius\" alone "
                          "tells whether there are any");
    return;
  }
  if (condition.name.find_first_of("=!<>") != std::string::npos) {
    page.findings.add(
        Rule::kWrongOperator, condition.begin,
        never + quoted(condition.name) + " is read as one name; put blanks around the operator");
    return;
  }
  std::vector<std::string_view> candidates;
  for (const auto& [name, value] : page.names) candidates.push_back(name);
  const std::string_view near = nearest(lowered(reference.base), candidates);
  page.findings.add(Rule::kUnknownVariable, condition.begin,
                    never + "there is no variable " + quoted(condition.name) +
                        (near.empty() ? "" : "; did you mean \"" + std::string(near) + "\"?"));
}

}  // namespace

void checkBlocks(const PageCheck& page) {
  const Walk& walk = page.walk;
  const std::string_view text = page.file.text;
  for (const Directive& directive : walk.directives) {
    if (!directive.isLiteral) checkPercent(page, directive);
  }
  for (const Block& block : walk.blocks) {
    bool afterElse = false;
    for (const std::size_t branch : block.branches) {
      const Directive& directive = walk.directives[branch];
      if (afterElse) {
        page.findings.add(Rule::kAfterElse, directive.begin,
                          "this branch is never shown: it stands behind $(else); put it before");
      }
      afterElse = afterElse || directive.kind == kCmdElse;
    }
    if (block.end != kNoBlock) continue;
    const Directive& opener = walk.directives[block.branches.front()];
    page.findings.add(
        Rule::kOpenBlock, opener.begin,
        quoted(textOf(page, opener.begin, opener.end)) +
            " has no $(endif); where it is not true nothing more of the page is shown");
  }
  for (const Loss& loss : walk.losses) {
    const bool atEnd = loss.directive == walk.directives.size();
    const std::string_view hides = atEnd ? std::string_view()
                                         : textOf(page, walk.directives[loss.directive].begin,
                                                  walk.directives[loss.directive].end);
    page.findings.add(
        Rule::kLostDirective, loss.begin,
        "when this branch is not shown " + quoted(textOf(page, loss.begin, loss.end)) +
            " is taken for a reference, and " +
            (atEnd ? std::string("what follows reads differently") : quoted(hides) + " is lost") +
            "; write \"&#37;\" for a percent sign");
  }
  if (walk.end < text.size()) {
    const std::size_t closer = text.find_first_of(")%", walk.end + 1);
    page.findings.add(Rule::kNoBlock, walk.end,
                      quoted(textOf(page, walk.end, closer + 1)) +
                          " belongs to no $(if): the page ends here, and " +
                          std::to_string(text.size() - walk.end) + " bytes are never sent");
  }
}

void checkConditions(const PageCheck& page) {
  for (const Directive& directive : page.walk.directives) {
    if (directive.isLiteral || directive.name.empty()) continue;
    if (directive.kind == kCmdIf || directive.kind == kCmdElif) checkCondition(page, directive);
  }
}

void checkReferences(const PageCheck& page) {
  for (const Directive& directive : page.walk.directives) {
    if (directive.isLiteral || directive.kind != kCmdNone) continue;
    const Reference reference = referenceOf(directive.name);
    const pages::PageVariable* const variable = pages::findVariable(reference.base);
    if (variable == nullptr || pages::lists(variable->always, page.file.page) ||
        isGuarded(page.walk, directive, reference.base)) {
      continue;
    }
    page.findings.add(Rule::kVariableElsewhere, directive.begin,
                      "\"" + std::string(reference.base) +
                          "\" is not set on every way to this page and then comes out as it is "
                          "written; put it between $(if " +
                          std::string(reference.base) + ") and $(endif)",
                      Severity::kWarning);
  }
}

}  // namespace lint
