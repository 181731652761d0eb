#include "tools/hotspot_lint_walk.h"

#include <optional>

#include "host/radius.h"
#include "template/var_val.h"

namespace lint {
namespace {

// More of them tell an owner nothing new, and each costs a look through the whole text.
constexpr std::size_t kMostLosses = 16;

bool isKnown(const Names& names, const std::string& name) {
  auto& env = const_cast<Names&>(names);  // the engine takes it so, and only looks names up
  radius::Packet none;
  std::string value;
  return getVarVal(env, none, name, &value, true);
}

bool isBlockDirective(const Directive& directive) {
  return !directive.isLiteral && directive.kind != kCmdNone;
}

// Reads the stretches between two block directives once more as dropped branches: whatever the
// conditions are, each has to end at the same directive.
class LossFinder {
 public:
  LossFinder(std::string_view text, const Names& names, Walk* walk)
      : text_(text), names_(names), walk_(walk) {}

  // The stretch behind the block directive at index `from`, up to the one at `to` (the count: the
  // end of the text).
  void check(std::size_t from, std::size_t to) {
    if (walk_->losses.size() == kMostLosses) return;
    const std::size_t start = walk_->directives[from].end;
    if (!reader_ || start != readerAt_) reader_.emplace(text_, names_, start);
    Loss loss{start, start, to};
    if (endsThere(from, to, &loss)) return;
    walk_->losses.push_back(loss);
    reader_.reset();
  }

 private:
  bool endsThere(std::size_t from, std::size_t to, Loss* loss) {
    const bool atEnd = to == walk_->directives.size();
    const std::size_t goal = atEnd ? text_.size() : walk_->directives[to].begin;
    std::size_t live = from + 1;
    Directive directive;
    while (reader_->next(true, &directive)) {
      if (isBlockDirective(directive)) {
        readerAt_ = directive.end;
        return !atEnd && directive.begin == goal;
      }
      if (directive.isLiteral) continue;
      while (live < to && walk_->directives[live].begin < directive.begin) ++live;
      const bool isSame = live < to && walk_->directives[live].begin == directive.begin &&
                          !walk_->directives[live].isLiteral;
      const bool hidesTheGoal = directive.end > goal;
      if (!isSame && (loss->begin == loss->end || hidesTheGoal)) {
        loss->begin = directive.begin;
        loss->end = directive.end;
      }
      if (hidesTheGoal) return false;
    }
    return atEnd;
  }

  const std::string_view text_;
  const Names& names_;
  Walk* const walk_;
  std::optional<DirectiveReader> reader_;
  std::size_t readerAt_ = 0;  // behind the last block directive that it read
};

void findLosses(std::string_view text, const Names& names, Walk* walk) {
  LossFinder finder(text, names, walk);
  std::size_t depth = 0;
  std::size_t last = 0;
  for (std::size_t i = 0; i <= walk->directives.size(); ++i) {
    const bool atEnd = i == walk->directives.size();
    if (!atEnd && !isBlockDirective(walk->directives[i])) continue;
    if (depth > 0) finder.check(last, i);
    if (atEnd) break;
    const SCmd kind = walk->directives[i].kind;
    if (kind == kCmdIf) ++depth;
    if (kind == kCmdEndif) --depth;
    last = i;
  }
}

}  // namespace

DirectiveReader::DirectiveReader(std::string_view text, const Names& names, std::size_t start)
    : text_(text),
      names_(names),
      cursor_(start),
      ahead_(text.data() + start, text.data() + text.size(), names) {}

bool DirectiveReader::next(bool dropped, Directive* directive) {
  ahead_.setDropped(dropped);
  const char* const end = text_.data() + text_.size();
  for (;;) {
    const std::size_t special = text_.find_first_of("\\$%", cursor_);
    if (special == std::string_view::npos || text_.size() - special < 2) break;
    const bool dollar = text_[special] == '$';
    if (text_[special] == '\\' || (dollar && text_[special + 1] != '(')) {
      cursor_ = special + 2;
      continue;
    }
    const std::size_t behind = special + (dollar ? 2 : 1);
    if (behind == text_.size()) break;

    *directive = Directive();
    directive->begin = special;
    const char* at = text_.data() + behind;
    const std::string_view* name = nullptr;
    const std::string_view* value = nullptr;
    const bool isRead = readTokens(&at, end, &words_, &ahead_) &&
                        parseTokens(words_, &directive->kind, &name, &value, &directive->equal);
    if (!isRead || (directive->kind == kCmdNone && !dropped &&
                    (name == nullptr || !isKnown(names_, std::string(*name))))) {
      directive->kind = kCmdNone;
      directive->isLiteral = true;
      cursor_ = directive->end = special + 1;
      return true;
    }
    if (name != nullptr) directive->name = *name;
    directive->compares = value != nullptr;
    if (value != nullptr) directive->value = *value;
    cursor_ = directive->end = static_cast<std::size_t>(at - text_.data());
    return true;
  }
  cursor_ = text_.size();
  return false;
}

Walk walk(std::string_view text, const Names& names) {
  Walk walk;
  walk.end = text.size();
  std::vector<std::size_t> open;
  DirectiveReader reader(text, names, 0);
  Directive directive;
  while (reader.next(false, &directive)) {
    const std::size_t index = walk.directives.size();
    const bool isBlock = isBlockDirective(directive);
    if (isBlock && directive.kind != kCmdIf) {
      if (open.empty()) {
        walk.end = directive.begin;
        break;
      }
      directive.block = open.back();
      open.pop_back();
    }
    if (!open.empty()) {
      directive.outer = open.back();
      directive.outerBranch = walk.blocks[open.back()].branches.size() - 1;
    }
    if (isBlock) {
      if (directive.kind == kCmdIf) {
        directive.block = walk.blocks.size();
        walk.blocks.emplace_back();
      }
      Block& block = walk.blocks[directive.block];
      if (directive.kind == kCmdEndif) {
        block.end = index;
      } else {
        block.branches.push_back(index);
        if (directive.kind == kCmdElse) block.hasElse = true;
        open.push_back(directive.block);
      }
    }
    walk.directives.push_back(directive);
  }
  findLosses(text, names, &walk);
  return walk;
}

}  // namespace lint
