// Whether a value stands in its "-esc" form where it has to, and only there.

#include <algorithm>
#include <array>

#include "tools/hotspot_lint_links.h"
#include "tools/hotspot_lint_page.h"
#include "tools/hotspot_lint_text.h"
#include "tools/page_variables.h"

namespace lint {
namespace {

using pages::PageVariable;
using pages::ValueKind;

// Whether the "-esc" form of a value is the value itself.
bool isSameEscaped(ValueKind kind) {
  return kind == ValueKind::kYesNo || kind == ValueKind::kTrueFalse || kind == ValueKind::kNumber ||
         kind == ValueKind::kDuration || kind == ValueKind::kErrorType;
}

// The page that a link variable leads to; empty for any other variable.
std::string_view portalLink(std::string_view variable) {
  constexpr std::string_view kPrefix = "link-";
  if (!variable.starts_with(kPrefix)) return {};
  variable.remove_prefix(kPrefix.size());
  if (variable == "login-only") return "login";
  const bool isPage = variable == "login" || variable == "logout" || variable == "status" ||
                      variable == "advert" || variable == "alogin";
  return isPage ? variable : std::string_view();
}

class ValueCheck {
 public:
  ValueCheck(const ViewCheck& check, const View::Shown& shown)
      : check_(check),
        at_(shown.at),
        directive_(check.page.walk.directives[shown.directive]),
        reference_(referenceOf(directive_.name)),
        variable_(pages::findVariable(reference_.base)),
        region_(check.html.at(shown.at)) {}

  void run() const {
    if (variable_ == nullptr) return;  // "radius" is "true" or empty
    switch (region_.place) {
      case Place::kComment:
        break;
      case Place::kText:
      case Place::kTitle:
        if (reference_.isEscaped && !isSameEscaped(variable_->kind)) {
          misread("is shown to the guest with its escapes; write \"$(" + name() + ")\"");
        }
        break;
      case Place::kTag:
        if (!reference_.isEscaped) risky("in a tag", "a blank or \"=\" in it makes new attributes");
        break;
      case Place::kStyle:
        if (!reference_.isEscaped) risky("in a style", "it can add rules of its own");
        break;
      case Place::kScript:
        script();
        break;
      case Place::kAttribute:
        attribute();
        break;
    }
  }

 private:
  std::string name() const { return std::string(reference_.base); }

  void misread(const std::string& why) const {
    check_.page.findings.add(Rule::kEscMisread, directive_.begin, "\"" + name() + "-esc\" " + why);
  }

  void risky(const std::string& where, const std::string& why) const {
    if (pages::isHarmless(variable_->kind)) return;
    // Backslashes and digits: safe wherever a text is.
    if (variable_->kind == ValueKind::kOctal && region_.place == Place::kAttribute) return;
    check_.page.findings.add(
        Rule::kUnescaped, directive_.begin,
        "\"" + name() + "\" stands unescaped " + where + ", and " + why + "; " + remedy(),
        variable_->origin == pages::Origin::kClient ? Severity::kError : Severity::kWarning);
  }

  // What to write instead.
  std::string remedy() const {
    const std::string escaped = "\"$(" + name() + "-esc)\"";
    if (region_.place == Place::kScript) {
      return "write " + escaped +
             " in quotes and take it apart with decodeURIComponent(text.replace(/\\+/g, \" \"))";
    }
    if (region_.place != Place::kAttribute) return "write " + escaped;
    const Tag& tag = check_.html.tags[region_.tag];
    const Attribute& attribute = tag.attributes[region_.attribute];
    const bool isWhole = variable_->kind == ValueKind::kUrl && startsAddress(attribute);
    const std::string_view page = portalLink(variable_->name);
    if (isUrl(tag, attribute) && isWhole && !page.empty()) {
      return "write the link itself: \"" + std::string(page) +
             "$(if target-dir)?target=$(target-dir-esc)$(endif)\"";
    }
    const bool isForScripts = attribute.name.starts_with("data-") || isScript(attribute);
    if (isForScripts || (isUrl(tag, attribute) && !isWhole)) return "write " + escaped;
    return elsewhere(tag);
  }

  // Where a value can stand instead that this attribute of the tag cannot hold.
  std::string elsewhere(const Tag& tag) const {
    const std::string escaped = "$(" + name() + "-esc)";
    const Attribute* const field = tag.find("name");
    const Attribute* const type = tag.find("type");
    if (tag.name == "input" && field != nullptr && type != nullptr &&
        lowered(type->value) == "hidden") {
      return "take the field away and put \"" + shown(field->value) + "=" + escaped +
             "\" into the query of the form's address";
    }
    return "put \"" + escaped + "\" into a data- attribute and let a script take it apart";
  }

  static bool isScript(const Attribute& attribute) {
    return attribute.name.starts_with("on") ||
           lowered(attribute.value.substr(0, 64)).find("javascript:") != std::string::npos;
  }

  void script() const {
    const bool isSafe = reference_.isEscaped || variable_->kind == ValueKind::kOctal ||
                        pages::isHarmless(variable_->kind);
    if (!isSafe) {
      risky("in a script", "a quote or line end in it ends the string");
      return;
    }
    if (variable_->kind == ValueKind::kNumber || variable_->kind == ValueKind::kTrueFalse) return;
    // Directly behind or in front of a quote, or between other characters of a string: enough to
    // tell "x = '$(y-esc)'" from "x = $(y-esc);".
    const std::string_view text = check_.view.text;
    constexpr std::size_t kLooked = 1000;
    std::string_view before = text.substr(0, at_);
    if (before.size() > kLooked) before.remove_prefix(before.size() - kLooked);
    before.remove_prefix(before.rfind('\n') + 1);
    const bool isComment = before.find("//") != std::string_view::npos;
    if (isComment || before.find_first_of("\"'`") != std::string_view::npos) return;
    check_.page.findings.add(Rule::kEscMisread, directive_.begin,
                             "\"" + directive_.name +
                                 "\" stands in a script without quotes and is read as code; put it "
                                 "into quotes");
  }

  void attribute() const {
    const Tag& tag = check_.html.tags[region_.tag];
    const Attribute& attribute = tag.attributes[region_.attribute];
    if (!reference_.isEscaped) {
      risky(isScript(attribute)     ? "in a script"
            : isUrl(tag, attribute) ? "in an address"
                                    : "in an attribute",
            attribute.quote != '\0' ? "a quote in it ends the attribute"
                                    : "a blank in it ends the attribute");
      return;
    }
    if (isScript(attribute) || attribute.name == "style" || attribute.name.starts_with("data-") ||
        isSameEscaped(variable_->kind)) {
      return;
    }
    if (isUrl(tag, attribute)) {
      if (variable_->kind == ValueKind::kUrl && startsAddress(attribute)) {
        misread(
            "is no address: escaped from its first letter on it is read as the name of a file; "
            "put it into a data- attribute and let a script take it apart");
      }
      return;
    }
    misread("is not unescaped in \"" + shown(attribute.name) + "\"" +
            (attribute.name == "value" ? ", and is sent or shown with its escapes" : "") + "; " +
            elsewhere(tag));
  }

  // Whether nothing of the address stands in front of the value.
  bool startsAddress(const Attribute& attribute) const {
    const std::string_view before =
        std::string_view(check_.view.text).substr(attribute.begin, at_ - attribute.begin);
    const std::size_t last = before.find_last_not_of(" \t\n'\"");
    // The address of a refresh stands behind "url=".
    if (last == std::string_view::npos) return true;
    constexpr std::size_t kUrl = 3;
    return attribute.name == "content" && before[last] == '=' && last >= kUrl &&
           lowered(before.substr(last - kUrl, kUrl)) == "url";
  }

  const ViewCheck& check_;
  const std::size_t at_;
  const Directive& directive_;
  const Reference reference_;
  const PageVariable* const variable_;
  const Region& region_;
};

}  // namespace

void checkValues(const ViewCheck& check) {
  for (const View::Shown& shown : check.view.shown) {
    const Directive& directive = check.page.walk.directives[shown.directive];
    if (directive.isLiteral) {
      checkLiteral(check.page, directive, check.html.at(shown.at).place);
    } else {
      ValueCheck(check, shown).run();
    }
  }
}

}  // namespace lint
