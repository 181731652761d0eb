#include "template/directive.h"

#include <algorithm>
#include <string_view>

#include "template/text_scan.h"
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

constexpr std::size_t kMaxWords = 4;

bool isBlank(char c) { return c == ' ' || c == '\t'; }

bool opensCondition(std::string_view word) {
  return word == cmdStr[kCmdIf] || word == cmdStr[kCmdElif];
}

// Takes one pair of enclosing quotes off a comparison value.
void removeQuotes(std::string* value) {
  if (value->size() < 2) return;
  const char quote = value->front();
  if ((quote != '\'' && quote != '"') || value->back() != quote) return;
  value->pop_back();
  value->erase(0, 1);
}

}  // namespace

const char* LookAhead::closer(const char* at, const char* end) {
  if (closer_ < at) closer_ = findCloser(at, end);
  return closer_;
}

const char* LookAhead::wordEnd(const char* at, const char* closer) {
  if (at < wordStart_ || wordEnd_ <= at) {
    wordStart_ = at;
    wordEnd_ = findBlank(at, closer);
    nextWord_ = wordEnd_;
    while (nextWord_ < closer && isBlank(*nextWord_)) ++nextWord_;
  }
  return wordEnd_;
}

bool LookAhead::mayBeReference(std::size_t length) {
  constexpr std::size_t kAlwaysTried = 32;
  if (dropped_ || length <= kAlwaysTried) return true;
  if (longestName_ == 0) longestName_ = longestVarName(env_);
  return length <= longestName_;
}

bool readTokens(const char** cursor, const char* end, std::vector<std::string>* words,
                LookAhead* ahead) {
  const char* at = *cursor;
  const char* const closer = ahead->closer(at, end);
  if (closer == end) return false;

  while (at < closer && isBlank(*at)) ++at;
  std::size_t count = 0;
  while (at < closer) {
    if (count == kMaxWords) return false;
    const char* const wordEnd = ahead->wordEnd(at, closer);
    const std::string_view word(at, static_cast<std::size_t>(wordEnd - at));
    at = ahead->nextWord();
    if (count == 0 && !opensCondition(word) &&
        (at < closer || !ahead->mayBeReference(word.size()))) {
      return false;
    }
    if (words->size() == count) words->emplace_back();
    (*words)[count++].assign(word);
  }
  words->resize(count);
  *cursor = closer + 1;
  return true;
}

bool parseTokens(std::vector<std::string>& words, SCmd* kind, const std::string** name,
                 const std::string** value, bool* equal) {
  if (words.size() == 1) {
    const std::string& word = words[0];
    *kind = word == cmdStr[kCmdElse] ? kCmdElse : word == cmdStr[kCmdEndif] ? kCmdEndif : kCmdNone;
    if (*kind == kCmdNone) *name = &word;
    return true;
  }
  if (words.size() != 2 && words.size() != 4) return false;
  if (!opensCondition(words[0])) return false;
  *kind = words[0] == cmdStr[kCmdIf] ? kCmdIf : kCmdElif;
  *name = &words[1];
  if (words.size() == 2) return true;
  const std::string& op = words[2];
  *equal = op == "==" || op == "=";
  if (!*equal && op != "!=" && op != "<>") return false;
  removeQuotes(&words[3]);
  *value = &words[3];
  return true;
}
