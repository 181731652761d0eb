#include "template/directive.h"

#include <string_view>

#include "template/scan.h"
#include "template/var_val.h"

const char* const cmdStr[5] = {"none", "if", "elif", "else", "endif"};
const char* const ifStr[5] = {"none", "nomatch", "match", "wasmatch", "return"};

// The "if" column of the three inner states is never reached: a level in one of them only ever
// reads the directive that closed its nested body.
const std::uint32_t kIfTransitions[2][4][4] = {
    // condition false: if, elif, else, endif
    {{kIfNomatch, kIfReturn, kIfReturn, kIfReturn},
     {kIfNomatch, kIfNomatch, kIfMatch, kIfNone},
     {kIfMatch, kIfWasmatch, kIfWasmatch, kIfNone},
     {kIfWasmatch, kIfWasmatch, kIfWasmatch, kIfNone}},
    // condition true
    {{kIfMatch, kIfReturn, kIfReturn, kIfReturn},
     {kIfNomatch, kIfMatch, kIfMatch, kIfNone},
     {kIfMatch, kIfWasmatch, kIfWasmatch, kIfNone},
     {kIfWasmatch, kIfWasmatch, kIfWasmatch, kIfNone}}};

namespace {

using scan::isBlank;
using scan::isCloser;

const char* skipBlanks(const char* at, const char* end) {
  while (at < end && isBlank(*at)) ++at;
  return at;
}

constexpr std::string_view kIf = "if";
constexpr std::string_view kElif = "elif";

inline bool opensCondition(std::string_view word) { return word == kIf || word == kElif; }

// Takes one pair of enclosing quotes off a comparison value.
void removeQuotes(std::string_view* value) {
  if (value->size() < 2) return;
  const char quote = value->front();
  if ((quote != '\'' && quote != '"') || value->back() != quote) return;
  *value = value->substr(1, value->size() - 2);
}

}  // namespace

LookAhead::Word LookAhead::findFar(const char* at) {
  farStart_ = at;
  far_.end = scan::find<scan::Delimiter>(at, end_);
  far_.next = skipBlanks(far_.end, end_);
  return far_;
}

std::size_t LookAhead::longestName() {
  if (longestName_ == 0) longestName_ = longestVarName(env_);
  return longestName_;
}

bool readTokens(const char** cursor, const char* end, Words* words, LookAhead* ahead) {
  std::size_t count = 0;
  const char* at = skipBlanks(*cursor, end);
  while (at < end && !isCloser(*at)) {
    if (count == Words::kMost) return false;
    const LookAhead::Word found = ahead->word(at);
    const std::string_view word(at, static_cast<std::size_t>(found.end - at));
    at = found.next;
    if (count == 0 && !opensCondition(word) &&
        (at == end || !isCloser(*at) || !ahead->mayBeReference(word.size()))) {
      return false;
    }
    words->word[count++] = word;
  }
  if (at == end) return false;
  words->count = count;
  *cursor = at + 1;
  return true;
}

bool parseTokens(Words& words, SCmd* kind, const std::string_view** name,
                 const std::string_view** value, bool* equal) {
  if (words.count == 1) {
    const std::string_view word = words.word[0];
    *kind = word == "else" ? kCmdElse : word == "endif" ? kCmdEndif : kCmdNone;
    if (*kind == kCmdNone) *name = &words.word[0];
    return true;
  }
  if (words.count != 2 && words.count != 4) return false;
  if (!opensCondition(words.word[0])) return false;
  *kind = words.word[0] == kIf ? kCmdIf : kCmdElif;
  *name = &words.word[1];
  if (words.count == 2) return true;
  const std::string_view op = words.word[2];
  *equal = op == "==" || op == "=";
  if (!*equal && op != "!=" && op != "<>") return false;
  removeQuotes(&words.word[3]);
  *value = &words.word[3];
  return true;
}
