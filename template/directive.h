// The directives of the template language.
//
// A directive opens with "$(" or "%" and closes with the first ")" or "%" behind that; either
// closer ends either opener. The text between is split into words at blanks and tabs alone: there
// is no quoting, a blank always splits and a closer always closes.
//
//   NAME                      variable reference       "$(username)"  "%username%"
//   if NAME [OP VALUE]        block; OP: == = != <>    "$(if trial == 'yes')"
//   elif NAME [OP VALUE]      next branch
//   else                      last branch
//   endif                     end of the block
//
// Text that has the form of no directive is no error: it stays as it is written.

#ifndef TEMPLATE_DIRECTIVE_H_
#define TEMPLATE_DIRECTIVE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

// Kind of a directive; kCmdNone is a variable reference.
enum SCmd : std::uint32_t { kCmdNone, kCmdIf, kCmdElif, kCmdElse, kCmdEndif };

// Condition state of one nesting level.
enum IfState : std::uint32_t {
  kIfNone,      // outside any block
  kIfNomatch,   // no branch taken yet
  kIfMatch,     // the current branch is taken
  kIfWasmatch,  // an earlier branch was taken
  kIfReturn,    // not a state to stay in: the directive belongs to the level around this one
};

// Names of the values above, for hosts and tools.
extern "C" {
extern const char* const cmdStr[5];
extern const char* const ifStr[5];
}

// Next state, by the condition's truth, the current state (0 to 3) and the directive's kind less
// one.
extern const std::uint32_t kIfTransitions[2][4][4];

// What has been seen of the text ahead of the cursor, from `start` up to `end`. One for a
// rendering; it skips plain text at the speed of memchr(3) and keeps hostile text (openers by the
// million in front of a far closer, or of none) linear: no stretch is searched twice for the same
// character, and a word that can be no variable's name is not copied.
class LookAhead {
 public:
  // The text and `env` outlive the object.
  LookAhead(const char* start, const char* end, const std::map<std::string, std::string>& env);

  // First backslash, '$' or '%' at or behind `at`; the end when there is none.
  const char* special(const char* at) {
    return std::min({backslash_.from(at, end_), dollar_.from(at, end_), percent_.from(at, end_)});
  }

  // First closer at or behind `at`, or the end. Between calls of both operations `at` never goes
  // back to the near side of one of the characters that they look for.
  const char* closer(const char* at) {
    return std::min(parenthesis_.from(at, end_), percent_.from(at, end_));
  }

  // End of the word at `at` (a blank, a tab or the closer), and the start of the next one (or the
  // closer).
  const char* wordEnd(const char* at, const char* closer);
  const char* nextWord() const { return nextWord_; }

  // Whether a single word of this length can be a reference: one that is sent has to be a
  // variable's name, in a dropped branch every word counts as one.
  bool mayBeReference(std::size_t length);
  void setDropped(bool dropped) { dropped_ = dropped; }

 private:
  // Where a character stands next.
  class Next {
   public:
    Next(char sought, const char* start, const char* end) : sought_(sought) { find(start, end); }
    const char* from(const char* at, const char* end) {
      if (found_ < at) find(at, end);
      return found_;
    }

   private:
    void find(const char* at, const char* end) {
      const void* const found = std::memchr(at, sought_, static_cast<std::size_t>(end - at));
      found_ = found == nullptr ? end : static_cast<const char*>(found);
    }

    const char sought_;
    const char* found_;
  };

  const char* const end_;
  Next backslash_;
  Next dollar_;
  Next percent_;
  Next parenthesis_;
  const char* wordStart_;  // wordEnd_ and nextWord_ hold for a word that starts here or behind
  const char* wordEnd_;
  const char* nextWord_;
  const std::map<std::string, std::string>& env_;
  std::size_t longestName_ = 0;  // 0: not yet asked for
  bool dropped_ = false;
};

// Splits a directive into words. `*cursor` stands behind the opener; on success it is moved behind
// the closer. Elements of `*words` are reused. False, with `*cursor` untouched and `*words`
// unspecified, when there is no closer before `end`, and also as soon as the text can be no
// directive whatever follows: a first word other than "if" and "elif" is followed by another, there
// are more than four, or a single word is too long for a reference.
bool readTokens(const char** cursor, const char* end, std::vector<std::string>* words,
                LookAhead* ahead);

// Classifies the words: false when they form no directive. On success `*kind` is set; `*name`
// points to the word that names the variable (untouched for else and endif), `*value` to the
// comparison value, whose enclosing quotes have been taken off (untouched when there is none);
// `*equal` is true for "==" and "=", false for "!=" and "<>" (untouched when there is no
// comparison). The caller sets all four to none, null, null and false beforehand. The pointers are
// valid as long as `words` is.
bool parseTokens(std::vector<std::string>& words, SCmd* kind, const std::string** name,
                 const std::string** value, bool* equal);

#endif  // TEMPLATE_DIRECTIVE_H_
