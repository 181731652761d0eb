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

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "template/scan.h"

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

// What has been seen of the text ahead of the cursor, up to `end`. One for a rendering; it keeps
// hostile text (openers by the million in front of a far closer, or of none) linear: a long word,
// and the blanks behind it, are searched once for all the openers that it holds, and a word that
// can be no variable's name is not looked up.
class LookAhead {
 public:
  // The text and `env` outlive the object.
  LookAhead(const char* start, const char* end, const std::map<std::string, std::string>& env)
      : end_(end), farStart_(start), far_{start, start}, env_(env) {}

  // Where the word at `at` ends (at a blank, a tab, a closer or the end of the text), and where the
  // next one starts behind the blanks, unless a closer or the end is there.
  struct Word {
    const char* end;
    const char* next;
  };
  Word word(const char* at) {
    if (at < farStart_ || far_.end <= at) search(at);
    return far_;
  }

  // Whether a single word of this length can be a reference: one that is sent has to be a
  // variable's name, in a dropped branch every word counts as one.
  bool mayBeReference(std::size_t length) {
    constexpr std::size_t kAlwaysTried = 32;
    return length <= kAlwaysTried || dropped_ || length <= longestName();
  }
  void setDropped(bool dropped) { dropped_ = dropped; }

 private:
  void search(const char* at);
  std::size_t longestName();

  const char* const end_;
  const char* farStart_;  // `far_` is that of a word that starts here or behind
  Word far_;
  const std::map<std::string, std::string>& env_;
  std::size_t longestName_ = 0;  // 0: not yet asked for
  bool dropped_ = false;
};

// Whether a word is a keyword, without a call.
template <std::size_t kSize>
bool isWord(std::string_view word, const char (&keyword)[kSize]) {
  return word.size() == kSize - 1 && std::memcmp(word.data(), keyword, kSize - 1) == 0;
}

// The words of a directive: pieces of the text, valid as long as that is.
struct Words {
  static constexpr std::size_t kMost = 4;  // more are no directive

  std::string_view word[kMost];
  std::size_t count = 0;
};

// readTokens() for a directive that is closed within a stretch of text and has single blanks
// between its words, as nearly all are; false for others, too.
inline bool readShortTokens(const char** cursor, const char* end, Words* words) {
  using Hits = scan::Hits<2>;
  const char* const at = *cursor;
  if (end - at < Hits::kBytes) return false;
  std::size_t count = 0;
  int start = 0;
  for (Hits hits = Hits::of<scan::Delimiter>(at); hits.any(); hits = hits.withoutFirst()) {
    const int stop = hits.first();
    if (stop == start || count == Words::kMost) return false;
    words->word[count++] = {at + start, static_cast<std::size_t>(stop - start)};
    if (scan::isCloser(at[stop])) {
      words->count = count;
      *cursor = at + stop + 1;
      return true;
    }
    start = stop + 1;
  }
  return false;
}

// The same for every other directive.
bool readLongTokens(const char** cursor, const char* end, Words* words, LookAhead* ahead);

// Splits a directive into words. `*cursor` stands behind the opener; on success it is moved behind
// the closer. False, with `*cursor` untouched and `*words` unspecified, when there is no closer
// before `end`, and may be false for words that form no directive.
inline bool readTokens(const char** cursor, const char* end, Words* words, LookAhead* ahead) {
  return readShortTokens(cursor, end, words) || readLongTokens(cursor, end, words, ahead);
}

// What a directive of one word is.
inline SCmd oneWordKind(std::string_view word) {
  return isWord(word, "else") ? kCmdElse : isWord(word, "endif") ? kCmdEndif : kCmdNone;
}

// parseTokens() for other counts than one.
bool parseCondition(Words& words, SCmd* kind, const std::string_view** name,
                    const std::string_view** value, bool* equal);

// Classifies the words: false when they form no directive. On success `*kind` is set; `*name`
// points to the word that names the variable (untouched for else and endif), `*value` to the
// comparison value, whose enclosing quotes have been taken off (untouched when there is none);
// `*equal` is true for "==" and "=", false for "!=" and "<>" (untouched when there is no
// comparison). The caller sets all four to none, null, null and false beforehand. The pointers are
// valid as long as `words` is.
inline bool parseTokens(Words& words, SCmd* kind, const std::string_view** name,
                        const std::string_view** value, bool* equal) {
  if (words.count != 1) return parseCondition(words, kind, name, value, equal);
  *kind = oneWordKind(words.word[0]);
  if (*kind == kCmdNone) *name = &words.word[0];
  return true;
}

#endif  // TEMPLATE_DIRECTIVE_H_
