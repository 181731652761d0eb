// One file of the page directory under the linter, and what is found in it.

#ifndef TOOLS_HOTSPOT_LINT_PAGE_H_
#define TOOLS_HOTSPOT_LINT_PAGE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "tools/hotspot_lint_html.h"
#include "tools/hotspot_lint_rules.h"
#include "tools/hotspot_lint_view.h"
#include "tools/hotspot_lint_walk.h"

namespace lint {

struct PageFile {
  std::string name;  // below the page directory, with '/' between
  std::string text;  // empty when it was not read
  std::uintmax_t size = 0;
  bool isText = false;      // something that people write: it was read
  bool isRendered = false;  // the module fills in its directives
  bool isHtml = false;      // rendered, and read by a browser as HTML
  std::string problem;      // why the module cannot send it; empty when it can
  // The page of the handlers that it is, without ".html"; empty for any other file.
  std::string page;

  std::string directory() const;  // empty, or with '/' at its end
  std::string baseName() const;
};

// What was found in one file. Each place is reported once for a rule.
class FileFindings {
 public:
  // At most this many are kept of a file.
  static constexpr std::size_t kMost = 500;

  void add(Rule rule, std::size_t offset, std::string message,
           std::optional<Severity> severity = std::nullopt);

  // Nothing more is kept.
  bool isFull() const { return found_.size() == kMost; }

  // With lines and columns, in order of the text.
  std::vector<Finding> take(const PageFile& file) const;

 private:
  std::set<std::tuple<std::size_t, Rule, Severity, std::string>> found_;
  std::set<std::pair<std::size_t, Rule>> seen_;
  bool isFull_ = false;
};

// What the checks of a page share.
struct PageCheck {
  const PageFile& file;
  const Names& names;  // that are set on this page, always or sometimes
  const Walk& walk;
  FileFindings& findings;
};

// The page of one view.
struct ViewCheck {
  const PageCheck& page;
  const View& view;
  const Html& html;

  // Where a byte of the view stands in the page.
  std::size_t sourceOf(std::size_t at) const { return view.source[at]; }
};

// A reference's variable: "username-esc" is `base` "username" and `isEscaped`.
struct Reference {
  std::string_view base;
  bool isEscaped = false;
};
Reference referenceOf(std::string_view name);

// Whether the directive stands in a branch that is shown only when this variable has a value.
bool isGuarded(const Walk& walk, const Directive& directive, std::string_view variable);

// The names that can be referred to on a page ("" for a file that is no handler's page).
Names namesOn(std::string_view page);

// --- the checks, each a file of its own

void checkBlocks(const PageCheck& page);      // ends, losses, percent signs
void checkConditions(const PageCheck& page);  // of if and elif
void checkReferences(const PageCheck& page);  // to variables that are not always there
// An opener that opens nothing: whether a directive was meant.
void checkLiteral(const PageCheck& page, const Directive& literal, Place place);
void checkValues(const ViewCheck& check);  // escaped or not
void checkPolicy(const ViewCheck& check);  // what the page forbids itself
void checkEncoding(const PageCheck& page, const Html& html);

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_PAGE_H_
