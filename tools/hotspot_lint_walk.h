// The directives of one page, as the module's engine reads them: `readTokens` and `parseTokens` of
// template/ do the reading, so that there is one grammar. Plain values that refer to no text; any
// thread.

#ifndef TOOLS_HOTSPOT_LINT_WALK_H_
#define TOOLS_HOTSPOT_LINT_WALK_H_

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "template/directive.h"

namespace lint {

// The names that a page can refer to. The values do not matter here.
using Names = std::map<std::string, std::string>;

constexpr std::size_t kNoBlock = static_cast<std::size_t>(-1);

struct Directive {
  SCmd kind = kCmdNone;    // kCmdNone: a reference
  bool isLiteral = false;  // an opener that opens nothing: it goes out as it is written
  bool compares = false;
  bool equal = false;
  std::size_t begin = 0;  // the opener
  std::size_t end = 0;    // behind the closer; of a literal behind the opener's first character
  std::string name;
  std::string value;
  std::size_t block = kNoBlock;  // of if, elif, else and endif: theirs, an index into Walk::blocks
  std::size_t outer = kNoBlock;  // the block around it
  std::size_t outerBranch = 0;
};

struct Block {
  std::vector<std::size_t> branches;  // directives that open one: if, elif, else
  bool hasElse = false;
  std::size_t end = kNoBlock;  // its endif; kNoBlock: left open
};

// A branch that reads differently when it is dropped: there every text with the form of a reference
// is one, and can hide the directive that should have ended the branch.
struct Loss {
  std::size_t begin, end;  // what is read as a reference then
  std::size_t directive;   // the index of the next if, elif, else or endif; the count when none is
};

struct Walk {
  std::vector<Directive> directives;  // in order of the text
  std::vector<Block> blocks;          // in order of their ifs
  std::vector<Loss> losses;           // the first few
  std::size_t end = 0;                // where rendering stops; the text's size when it does not
};

// Reads the directives of a text one by one.
class DirectiveReader {
 public:
  // `text` and `names` outlive the object.
  DirectiveReader(std::string_view text, const Names& names, std::size_t start);

  // The next directive, or literal opener; false at the end. `dropped` says how the text is read:
  // in a dropped branch every reference is one, also to an unknown name.
  bool next(bool dropped, Directive* directive);

 private:
  const std::string_view text_;
  const Names& names_;
  std::size_t cursor_;
  LookAhead ahead_;
  Words words_;
};

// Every directive on the assumption that each branch is shown, and where that assumption matters.
Walk walk(std::string_view text, const Names& names);

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_WALK_H_
