// Forms: who reads them, and whether it reads what they send.

#include <algorithm>

#include "tools/hotspot_lint_links.h"
#include "tools/hotspot_lint_text.h"
#include "tools/page_names.h"

namespace lint {
namespace {

// The handler whose address the page itself is shown under; null when that depends.
const pages::Handler* ownHandler(std::string_view page) {
  if (page.starts_with('f')) page.remove_prefix(1);
  return pages::findHandler(page);
}

std::string_view valueOf(const Tag& tag, std::string_view attribute) {
  const Attribute* const found = tag.find(attribute);
  return found == nullptr ? std::string_view() : std::string_view(found->value);
}

class FormCheck {
 public:
  explicit FormCheck(const ViewCheck& check) : check_(check) {}

  void run() {
    const Tag* form = nullptr;
    for (const Tag& tag : check_.html.tags) {
      if (tag.name == "form") {
        form = tag.isEnd ? nullptr : &tag;
        handler_ = form == nullptr ? nullptr : handlerOf(tag);
        if (form != nullptr) checkEncoding(tag);
      } else if (form != nullptr && !tag.isEnd && handler_ != nullptr) {
        field(*form, tag);
      }
    }
  }

 private:
  // The variable whose value the attribute's text begins with; empty for none.
  std::string_view leadingVariable(const Attribute& attribute) const {
    if (!attribute.value.starts_with(kValueByte)) return {};
    const auto found =
        std::ranges::lower_bound(check_.view.shown, attribute.begin, {}, &View::Shown::at);
    return check_.page.walk.directives[found->directive].name;
  }

  const pages::Handler* handlerOf(const Tag& form) const {
    const Attribute* const action = form.find("action");
    if (action == nullptr) return ownHandler(check_.page.file.page);
    std::string_view variable = leadingVariable(*action);
    if (variable == "link-login-only") variable = "link-login";
    if (variable.starts_with("link-")) return pages::findHandler(variable.substr(5));
    // "https://$(hostname-esc)/login": what follows the value of the host.
    std::string_view value = action->value;
    const std::size_t host = value.rfind(kValueByte, std::min(value.find('?'), value.size()));
    if (host != std::string_view::npos) value.remove_prefix(host + 1);
    const Address address = readAddress(value);
    if (address.kind == Address::Kind::kSelf) return ownHandler(check_.page.file.page);
    if (address.kind != Address::Kind::kPortal) return nullptr;
    return pages::findHandler(std::string_view(address.text).substr(address.text.rfind('/') + 1));
  }

  bool isPosted(const Tag& form) const { return lowered(valueOf(form, "method")) == "post"; }

  void checkEncoding(const Tag& form) const {
    const std::string encoding = lowered(valueOf(form, "enctype"));
    if (handler_ == nullptr || !isPosted(form) || encoding.empty() ||
        encoding == "application/x-www-form-urlencoded") {
      return;
    }
    check_.page.findings.add(Rule::kFormMethod, check_.sourceOf(form.begin),
                             "nothing of a form that is sent as \"" + shown(encoding) +
                                 "\" is read; leave enctype away");
  }

  void field(const Tag& form, const Tag& tag) const {
    if (tag.name != "input" && tag.name != "select" && tag.name != "textarea") return;
    const std::string type = lowered(valueOf(tag, "type"));
    if (tag.name == "input" &&
        (type == "submit" || type == "button" || type == "reset" || type == "image")) {
      return;
    }
    const std::string_view written = valueOf(tag, "name");
    const std::string name = lowered(written);
    if (name.empty() || name.find(kValueByte) != std::string::npos) return;
    const std::size_t place = check_.sourceOf(tag.begin);
    if (name == "password" && !isPosted(form)) {
      check_.page.findings.add(
          Rule::kFormMethod, place,
          "the password would stand in the address; write method=\"post\" in the "
          "form");
    }
    std::vector<std::string_view> known = wordsOf(handler_->parameters);
    for (const std::string_view common : wordsOf(pages::commonParameters()))
      known.push_back(common);
    if (std::find(known.begin(), known.end(), name) != known.end()) return;
    const std::string_view near = nearest(name, known);
    std::string all;
    for (const std::string_view each : known) all += (all.empty() ? "" : ", ") + std::string(each);
    check_.page.findings.add(Rule::kFormField, place,
                             "\"" + shown(written) + "\" is not read by the page \"" +
                                 std::string(handler_->name) + "\"" +
                                 (near.empty() ? ", which reads " + all
                                               : "; did you mean \"" + std::string(near) + "\"?"));
  }

  const ViewCheck& check_;
  const pages::Handler* handler_ = nullptr;
};

}  // namespace

void checkForms(const ViewCheck& check) { FormCheck(check).run(); }

}  // namespace lint
