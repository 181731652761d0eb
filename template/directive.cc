#include "template/directive.h"

#include <string_view>

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

constexpr std::string_view kIf = "if";
constexpr std::string_view kElif = "elif";

bool opensCondition(std::string_view word) { return word == kIf || word == kElif; }

// Takes one pair of enclosing quotes off a comparison value.
void removeQuotes(std::string* value) {
  if (value->size() < 2) return;
  const char quote = value->front();
  if ((quote != '\'' && quote != '"') || value->back() != quote) return;
  value->pop_back();
  value->erase(0, 1);
}

}  // namespace

LookAhead::LookAhead(const char* start, const char* end,
                     const std::map<std::string, std::string>& env)
    : end_(end),
      backslash_('\\', start, end),
      dollar_('$', start, end),
      percent_('%', start, end),
      parenthesis_(')', start, end),
      wordStart_(start),
      wordEnd_(start),
      nextWord_(start),
      env_(env) {}

const char* LookAhead::wordEnd(const char* at, const char* closer) {
  if (at < wordStart_ || wordEnd_ <= at) {
    wordStart_ = at;
    while (at < closer && !isBlank(*at)) ++at;
    wordEnd_ = at;
    while (at < closer && isBlank(*at)) ++at;
    nextWord_ = at;
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
  const char* const closer = ahead->closer(at);
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
    const std::string_view word = words[0];
    *kind = word == "else" ? kCmdElse : word == "endif" ? kCmdEndif : kCmdNone;
    if (*kind == kCmdNone) *name = &words[0];
    return true;
  }
  if (words.size() != 2 && words.size() != 4) return false;
  if (!opensCondition(words[0])) return false;
  *kind = words[0] == kIf ? kCmdIf : kCmdElif;
  *name = &words[1];
  if (words.size() == 2) return true;
  const std::string& op = words[2];
  *equal = op == "==" || op == "=";
  if (!*equal && op != "!=" && op != "<>") return false;
  removeQuotes(&words[3]);
  *value = &words[3];
  return true;
}
