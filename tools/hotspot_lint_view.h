// A page as a browser might get it: one branch of each block, references as single bytes. A few
// views together show every branch.

#ifndef TOOLS_HOTSPOT_LINT_VIEW_H_
#define TOOLS_HOTSPOT_LINT_VIEW_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tools/hotspot_lint_walk.h"

namespace lint {

// Stands for the value of a reference. In the page itself such a byte becomes a blank.
constexpr char kValueByte = '\x1a';

struct View {
  struct Shown {
    std::size_t directive;  // a reference or a literal opener
    std::size_t at;         // where it stands in the view
  };

  std::string text;
  std::vector<std::uint32_t> source;  // for each byte, and the end, where it stands in the page
  std::vector<Shown> shown;           // in order
};

// Makes views until each branch was shown, or no further one can be, or there are kMost of them.
// One condition has one outcome within a view. The text (below 4 GiB) and the walk outlive the
// object.
class ViewMaker {
 public:
  static constexpr int kMost = 32;

  ViewMaker(std::string_view text, const Walk& walk);

  // False when there is no further view.
  bool next(View* view);

 private:
  // What a view has decided about one variable.
  struct Decided {
    std::optional<std::string> equals;
    std::set<std::string> differs;
  };

  std::optional<bool> outcome(const Directive& condition) const;
  void decide(const Directive& condition, bool isTrue);
  // The branch of a block that this view shows; the number of its branches for none of them.
  std::size_t choose(std::size_t block);
  void findNeeds();
  void append(std::size_t begin, std::size_t end, View* view) const;

  const std::string_view text_;
  const Walk& walk_;
  int made_ = 0;
  bool showsNew_ = true;
  std::vector<std::vector<bool>> covered_;  // block, branch (one more than there are: none of them)
  std::vector<std::vector<bool>> needs_;    // it, or a branch within it, was not shown yet
  std::map<std::string, Decided> decided_;
};

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_VIEW_H_
