#include "tools/hotspot_lint_view.h"

#include <algorithm>

#include "tools/page_variables.h"

namespace lint {
namespace {

// The one other value that a variable of two values can have.
std::optional<std::string> otherValue(const std::string& name, const std::string& value) {
  const pages::PageVariable* const variable = pages::findVariable(name);
  if (variable == nullptr) return std::nullopt;
  const bool yesNo = variable->kind == pages::ValueKind::kYesNo;
  if (!yesNo && variable->kind != pages::ValueKind::kTrueFalse) return std::nullopt;
  if (value == (yesNo ? "yes" : "true")) return yesNo ? "no" : "false";
  if (value == (yesNo ? "no" : "false")) return yesNo ? "yes" : "true";
  return std::nullopt;
}

// "if NAME" asks whether the value differs from nothing.
bool asksForEqual(const Directive& condition) { return condition.compares && condition.equal; }

}  // namespace

ViewMaker::ViewMaker(std::string_view text, const Walk& walk) : text_(text), walk_(walk) {
  for (const Block& block : walk.blocks) {
    covered_.emplace_back(block.branches.size() + 1, false);
    if (block.hasElse) covered_.back().back() = true;
  }
}

std::optional<bool> ViewMaker::outcome(const Directive& condition) const {
  const auto found = decided_.find(condition.name);
  if (found == decided_.end()) return std::nullopt;
  const Decided& decided = found->second;
  const bool equal = asksForEqual(condition);
  if (decided.equals) return (*decided.equals == condition.value) == equal;
  if (decided.differs.contains(condition.value)) return !equal;
  return std::nullopt;
}

void ViewMaker::decide(const Directive& condition, bool isTrue) {
  Decided& decided = decided_[condition.name];
  if (isTrue == asksForEqual(condition)) {
    decided.equals = condition.value;
    return;
  }
  decided.differs.insert(condition.value);
  if (!decided.equals) decided.equals = otherValue(condition.name, condition.value);
}

std::size_t ViewMaker::choose(std::size_t block) {
  const std::vector<std::size_t>& branches = walk_.blocks[block].branches;
  constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::size_t chosen = kNone;
  bool isNeeded = false;
  std::size_t i = 0;
  for (;; ++i) {
    const bool isElse = i < branches.size() && walk_.directives[branches[i]].kind == kCmdElse;
    const std::optional<bool> is = i == branches.size() || isElse
                                       ? std::optional<bool>(true)
                                       : outcome(walk_.directives[branches[i]]);
    if (is == false) continue;
    if (chosen == kNone || (!isNeeded && needs_[block][i])) {
      chosen = i;
      isNeeded = needs_[block][i];
    }
    if (is == true || isNeeded) break;
  }
  for (std::size_t j = 0; j <= chosen && j < branches.size(); ++j) {
    const Directive& condition = walk_.directives[branches[j]];
    if (condition.kind != kCmdElse && !outcome(condition)) decide(condition, j == chosen);
  }
  return chosen;
}

void ViewMaker::findNeeds() {
  needs_.clear();
  for (const std::vector<bool>& block : covered_) {
    needs_.push_back(block);
    needs_.back().flip();
  }
  for (std::size_t i = walk_.blocks.size(); i-- > 0;) {
    const Directive& opener = walk_.directives[walk_.blocks[i].branches.front()];
    if (opener.outer == kNoBlock) continue;
    const std::vector<bool>& own = needs_[i];
    if (std::find(own.begin(), own.end(), true) != own.end()) {
      needs_[opener.outer][opener.outerBranch] = true;
    }
  }
}

void ViewMaker::append(std::size_t begin, std::size_t end, View* view) const {
  for (std::size_t i = begin; i < end; ++i) {
    view->text += text_[i] == kValueByte ? ' ' : text_[i];
    view->source.push_back(static_cast<std::uint32_t>(i));
  }
}

bool ViewMaker::next(View* view) {
  if (made_ == kMost || !showsNew_) return false;
  ++made_;
  decided_.clear();
  findNeeds();
  *view = View();
  bool coversNew = false;
  std::size_t from = 0;
  std::size_t i = 0;
  while (i < walk_.directives.size()) {
    const Directive& directive = walk_.directives[i];
    append(from, directive.begin, view);
    from = directive.end;
    if (directive.isLiteral || directive.kind == kCmdNone) {
      view->shown.push_back({i, view->text.size()});
      if (directive.isLiteral) {
        from = directive.begin;
      } else {
        view->text += kValueByte;
        view->source.push_back(static_cast<std::uint32_t>(directive.begin));
      }
      ++i;
      continue;
    }
    const Block& block = walk_.blocks[directive.block];
    std::size_t go = block.end;  // where to go on: behind the endif
    if (directive.kind == kCmdIf) {
      const std::size_t branch = choose(directive.block);
      coversNew = coversNew || !covered_[directive.block][branch];
      covered_[directive.block][branch] = true;
      if (branch < block.branches.size()) go = block.branches[branch];
    }
    if (go == kNoBlock) {
      from = walk_.end;
      break;
    }
    from = walk_.directives[go].end;
    i = go + 1;
  }
  append(from, walk_.end, view);
  view->source.push_back(static_cast<std::uint32_t>(walk_.end));
  showsNew_ = coversNew;
  return made_ == 1 || coversNew;
}

}  // namespace lint
