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

bool isIf(std::string_view word) { return isWord(word, "if"); }
bool opensCondition(std::string_view word) { return isIf(word) || isWord(word, "elif"); }

// Takes one pair of enclosing quotes off a comparison value.
void removeQuotes(std::string_view* value) {
  if (value->size() < 2) return;
  const char quote = value->front();
  if ((quote != '\'' && quote != '"') || value->back() != quote) return;
  *value = value->substr(1, value->size() - 2);
}

}  // namespace

void LookAhead::search(const char* at) {
  farStart_ = at;
  far_.end = scan::find<scan::Delimiter>(at, end_);
  far_.next = skipBlanks(far_.end, end_);
}

std::size_t LookAhead::longestName() {
  if (longestName_ == 0) longestName_ = longestVarName(env_);
  return longestName_;
}

bool readLongTokens(const char** cursor, const char* end, Words* words, LookAhead* ahead) {
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

bool parseCondition(Words& words, SCmd* kind, const std::string_view** name,
                    const std::string_view** value, bool* equal) {
  if (words.count != 2 && words.count != 4) return false;
  if (!opensCondition(words.word[0])) return false;
  *kind = isIf(words.word[0]) ? kCmdIf : kCmdElif;
  *name = &words.word[1];
  if (words.count == 2) return true;
  const std::string_view op = words.word[2];
  *equal = isWord(op, "==") || isWord(op, "=");
  if (!*equal && !isWord(op, "!=") && !isWord(op, "<>")) return false;
  removeQuotes(&words.word[3]);
  *value = &words.word[3];
  return true;
}
