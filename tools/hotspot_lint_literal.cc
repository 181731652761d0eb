// Openers that open nothing: a directive that went wrong, or text that is meant as it is?

#include <algorithm>
#include <array>

#include "tools/hotspot_lint_page.h"
#include "tools/hotspot_lint_text.h"
#include "tools/page_variables.h"

namespace lint {
namespace {

constexpr std::string_view kAsWritten = "comes out as it is written";

// The text that the owner may have meant as a directive.
struct Attempt {
  bool isDollar;
  bool hasCloser;
  std::string_view inside;  // up to the closer; a beginning of it when that is far
  std::string_view whole;   // with opener and closer
  std::vector<std::string_view> words;
};

Attempt attemptAt(std::string_view text, std::size_t offset) {
  constexpr std::size_t kMostBytes = 400;
  Attempt attempt;
  attempt.isDollar = text[offset] == '$';
  const std::size_t start = offset + (attempt.isDollar ? 2 : 1);
  const std::string_view rest = text.substr(start, kMostBytes);
  const std::size_t closer = rest.find_first_of(")%");
  attempt.hasCloser = closer != std::string_view::npos;
  attempt.inside = rest.substr(0, closer);
  attempt.whole =
      text.substr(offset, start - offset + attempt.inside.size() + (attempt.hasCloser ? 1 : 0));
  std::string_view left = attempt.inside;
  while (true) {
    left.remove_prefix(std::min(left.find_first_not_of(" \t"), left.size()));
    if (left.empty()) break;
    const std::size_t end = std::min(left.find_first_of(" \t"), left.size());
    attempt.words.push_back(left.substr(0, end));
    left.remove_prefix(end);
  }
  return attempt;
}

// The directive that a word other languages use for it stands for here; empty for any other word.
std::string_view keywordMeant(std::string_view word) {
  struct Entry {
    std::string_view word;
    std::string_view meant;
  };
  static constexpr Entry kWords[] = {{"if", "if"},       {"elif", "elif"},    {"elseif", "elif"},
                                     {"elsif", "elif"},  {"else-if", "elif"}, {"else", "else"},
                                     {"endif", "endif"}, {"end", "endif"},    {"fi", "endif"},
                                     {"/if", "endif"},   {"end-if", "endif"}, {"end_if", "endif"}};
  const std::string lower = lowered(word);
  const auto* const found = std::ranges::find(kWords, lower, &Entry::word);
  return found == std::end(kWords) ? std::string_view() : found->meant;
}

std::string_view nearestName(std::string_view word, const Names& names) {
  std::string like = lowered(word);
  std::replace(like.begin(), like.end(), '_', '-');
  std::vector<std::string_view> candidates;
  for (const auto& [name, value] : names) candidates.push_back(name);
  return nearest(referenceOf(like).base, candidates);
}

// Where the text of a directive without its closer runs into something else; npos when it does not.
std::size_t runsInto(std::string_view inside) {
  for (std::size_t at = 0; at + 1 < inside.size(); ++at) {
    const char next = inside[at + 1];
    const bool isTag =
        inside[at] == '<' && (next == '/' || next == '!' || (next >= 'a' && next <= 'z'));
    if (isTag || (inside[at] == '$' && next == '(')) return at;
  }
  return std::string_view::npos;
}

class LiteralCheck {
 public:
  LiteralCheck(const PageCheck& page, const Directive& literal, Place place)
      : page_(page),
        literal_(literal),
        offset_(literal.begin),
        place_(place),
        attempt_(attemptAt(page.file.text, literal.begin)) {}

  void run() const {
    if (attempt_.words.empty()) {
      if (attempt_.isDollar && attempt_.hasCloser && !isScript()) add(Rule::kWordCount, "is empty");
      return;
    }
    if (!isMeant()) return;
    const std::string_view first = attempt_.words[0];
    const std::size_t into = runsInto(attempt_.inside);
    if (!attempt_.hasCloser || into != std::string_view::npos) {
      missingCloser(into);
    } else if (first == "if" || first == "elif") {
      condition();
    } else if (attempt_.words.size() > 1) {
      manyWords();
    } else {
      oneWord(first);
    }
  }

 private:
  bool isScript() const { return place_ == Place::kScript; }
  bool isCode() const { return isScript() || place_ == Place::kStyle; }

  // Percent signs stand in running text; a mistake there is likelier the linter's.
  std::optional<Severity> usual() const {
    if (!attempt_.isDollar || place_ == Place::kComment) return Severity::kWarning;
    return std::nullopt;
  }

  // Whether a directive was meant at all.
  bool isMeant() const {
    const std::string_view first = attempt_.words[0];
    const bool isAttached = attempt_.inside.front() != ' ' && attempt_.inside.front() != '\t';
    const bool isKeyword = !keywordMeant(first).empty();
    const bool isOneWord = attempt_.words.size() == 1 && attempt_.hasCloser;
    if (attempt_.isDollar) {
      if (!isScript()) return true;
      // "$(...)" is a function call of scripts.
      return (isKeyword && attempt_.words.size() > 1) || first == "endif" || first == "else" ||
             (isOneWord && first.find('-') != std::string_view::npos && isNearName(first));
    }
    if (!isAttached) return false;
    if (isKeyword) return attempt_.words.size() > 1 && (first == "if" || first == "elif");
    if (isOneWord && looksLikeName(first)) return isNearName(first);
    // "%username" without its closer: a name of more than one word, which is no running text.
    const std::size_t end = first.find_first_not_of("abcdefghijklmnopqrstuvwxyz-");
    const std::string_view name = first.substr(0, end);
    return name.find('-') != std::string_view::npos && page_.names.contains(std::string(name)) &&
           !isCode();
  }

  bool isNearName(std::string_view word) const {
    return !nearestName(word, page_.names).empty() ||
           pages::findVariable(referenceOf(word).base) != nullptr;
  }

  void add(Rule rule, const std::string& what) const {
    page_.findings.add(rule, offset_, "\"" + shown(attempt_.whole) + "\" " + what, usual());
  }

  void missingCloser(std::size_t into) const {
    const std::size_t opener = attempt_.isDollar ? 2 : 1;
    const std::string_view whole =
        into == std::string_view::npos ? attempt_.whole : attempt_.whole.substr(0, opener + into);
    page_.findings.add(Rule::kMissingCloser, offset_,
                       "\"" + shown(whole) + "\" has no closer: end it with \")\"", usual());
  }

  void condition() const {
    const std::vector<std::string_view>& words = attempt_.words;
    const auto opensQuote = [](std::string_view word) {
      return (word[0] == '\'' || word[0] == '"') && (word.size() == 1 || word.back() != word[0]);
    };
    if (words.size() > 3 && std::any_of(words.begin() + 3, words.end(), opensQuote)) {
      add(Rule::kBlankInQuotes,
          "has a blank inside its quotes, which splits the value all the same: it " +
              std::string(kAsWritten) + "; compare with a value without blanks");
    } else if (words.size() == 4) {
      wrongOperator(words[2]);
    } else if (words.size() == 1) {
      add(Rule::kWordCount, "asks for nothing: write \"$(" + std::string(words[0]) + " NAME)\"");
    } else {
      std::string hint = "a condition is NAME, or NAME OPERATOR VALUE with blanks between";
      for (const std::string_view word : words) {
        if (word == "not" || word == "!")
          hint = "there is no \"not\": compare with != or use $(else)";
        if (word == "and" || word == "or" || word == "&&" || word == "||") {
          hint = "there is no \"" + std::string(word) +
                 "\": put one if inside another, or use $(elif)";
        }
      }
      add(Rule::kWordCount, "has " + std::to_string(words.size()) + " words and " +
                                std::string(kAsWritten) + "; " + hint);
    }
  }

  void wrongOperator(std::string_view op) const {
    std::string hint = "the operators are ==, =, != and <>";
    if (op == "===" || op == "eq" || op == "is") hint = "write ==";
    if (op == "!==" || op == "ne") hint = "write !=";
    if (op == "<" || op == ">" || op == "<=" || op == ">=") {
      hint = "values cannot be compared by size, only with == and !=";
    }
    add(Rule::kWrongOperator,
        "has no operator in \"" + shown(op) + "\" and " + std::string(kAsWritten) + "; " + hint);
  }

  void manyWords() const {
    const std::vector<std::string_view>& words = attempt_.words;
    std::string hint = "a reference is one word";
    const std::string_view meant = keywordMeant(words[0]);
    if (lowered(words[0]) == "else" && lowered(words[1]) == "if") {
      hint = "write \"$(elif ...)\"";
    } else if (!meant.empty() && (meant == "if" || meant == "elif")) {
      hint = "write \"" + std::string(meant) + "\"";
    } else if (!meant.empty()) {
      hint = "write \"$(" + std::string(lowered(words[0]) == "end" ? "endif" : meant) + ")\" alone";
    }
    add(Rule::kWordCount, "has " + std::to_string(words.size()) + " words and " +
                              std::string(kAsWritten) + "; " + hint);
  }

  void oneWord(std::string_view word) const {
    const Reference reference = referenceOf(word);
    if (reference.base.starts_with("radius")) {
      add(Rule::kRadiusReference, std::string(kAsWritten) +
                                      ": attributes of a RADIUS server cannot be shown; only "
                                      "\"radius\" itself, which tells whether there are any");
      return;
    }
    if (pages::findVariable(reference.base) != nullptr) {
      if (isGuarded(page_.walk, literal_, reference.base)) return;
      add(Rule::kVariableElsewhere,
          std::string(kAsWritten) + ": the variable is not set on this page");
      return;
    }
    const std::string_view keyword = keywordMeant(word);
    const std::string_view name = nearestName(word, page_.names);
    std::string hint = "there is no such variable";
    if (!keyword.empty()) {
      hint = "write \"$(" + std::string(keyword) + (keyword == "elif" ? " NAME" : "") + ")\"";
    } else if (!name.empty()) {
      hint = "did you mean \"" + std::string(name) + (reference.isEscaped ? "-esc" : "") + "\"?";
    }
    add(Rule::kUnknownVariable, std::string(kAsWritten) + ": " + hint);
  }

  const PageCheck& page_;
  const Directive& literal_;
  const std::size_t offset_;
  const Place place_;
  const Attempt attempt_;
};

}  // namespace

void checkLiteral(const PageCheck& page, const Directive& literal, Place place) {
  LiteralCheck(page, literal, place).run();
}

}  // namespace lint
