// Words, kinds and transitions of directives, one function at a time.

#include "template/directive.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

Words wordsOf(std::initializer_list<std::string_view> list) {
  Words words;
  for (const std::string_view word : list) words.word[words.count++] = word;
  return words;
}

struct Read {
  bool ok;
  std::size_t cursor;
  Strings words;
};

// Reads the words of the directive whose opener is in front of `text`; nothing is a variable.
Read read(const std::string& text, bool dropped = false) {
  const std::map<std::string, std::string> env;
  const std::string whole = "%" + text;
  LookAhead ahead(whole.data(), whole.data() + whole.size(), env);
  ahead.setDropped(dropped);
  const char* cursor = whole.data() + 1;
  Read result{};
  Words words;
  result.ok = readTokens(&cursor, whole.data() + whole.size(), &words, &ahead);
  if (result.ok) result.words.assign(words.word, words.word + words.count);
  result.cursor = static_cast<std::size_t>(cursor - whole.data()) - 1;
  return result;
}

TEST(ReadTokens, SplitsAtBlanksAndTabsAlone) {
  EXPECT_EQ(read("if x == 'a')rest").words, (Strings{"if", "x", "==", "'a'"}));
  EXPECT_EQ(read(" if\t\tx \t)").words, (Strings{"if", "x"}));
  EXPECT_EQ(read("if a\nb\v\f\r)").words, (Strings{"if", "a\nb\v\f\r"}));
  EXPECT_EQ(read("if (\"'\\$)").words, (Strings{"if", "(\"'\\$"}));
}

TEST(ReadTokens, EitherCloserClosesAndTheCursorStandsBehindIt) {
  for (const char* const text : {"name)rest%", "name%rest)"}) {
    const Read result = read(text);
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.words, Strings{"name"});
    EXPECT_EQ(result.cursor, 5u);
  }
}

TEST(ReadTokens, NoCloserIsNoDirective) {
  EXPECT_FALSE(read("name").ok);
  EXPECT_FALSE(read("if x == 1").ok);
  EXPECT_FALSE(read("").ok);
}

TEST(ReadTokens, NoWordsAtAllAreAnEmptyList) {
  const Read result = read(" \t)");
  EXPECT_TRUE(result.ok);
  EXPECT_TRUE(result.words.empty());
  EXPECT_EQ(result.cursor, 3u);
}

TEST(ReadTokens, LongWordIsReadInADroppedBranch) {
  const std::string name(1000, 'n');
  EXPECT_FALSE(read(name + ")", false).ok);  // no variable has so long a name
  EXPECT_TRUE(read(name + ")", true).ok);
}

struct Parsed {
  bool ok;
  SCmd kind = kCmdNone;
  const std::string_view* name = nullptr;
  const std::string_view* value = nullptr;
  bool equal = false;
};

Parsed parse(Words& words) {
  Parsed parsed{};
  parsed.ok = parseTokens(words, &parsed.kind, &parsed.name, &parsed.value, &parsed.equal);
  return parsed;
}

TEST(ParseTokens, OneWordIsElseEndifOrAReference) {
  for (const auto& [word, kind] : std::map<std::string, SCmd>{{"else", kCmdElse},
                                                              {"endif", kCmdEndif},
                                                              {"if", kCmdNone},
                                                              {"elif", kCmdNone},
                                                              {"none", kCmdNone},
                                                              {"x", kCmdNone}}) {
    Words words = wordsOf({word});
    const Parsed parsed = parse(words);
    EXPECT_TRUE(parsed.ok);
    EXPECT_EQ(parsed.kind, kind) << word;
    EXPECT_EQ(parsed.name, kind == kCmdNone ? &words.word[0] : nullptr) << word;
    EXPECT_EQ(parsed.value, nullptr);
    EXPECT_FALSE(parsed.equal);
  }
}

TEST(ParseTokens, TwoWordsAreAConditionByItsFirst) {
  Words words = wordsOf({"if", "x"});
  Parsed parsed = parse(words);
  EXPECT_TRUE(parsed.ok);
  EXPECT_EQ(parsed.kind, kCmdIf);
  EXPECT_EQ(parsed.name, &words.word[1]);
  EXPECT_EQ(parsed.value, nullptr);
  EXPECT_FALSE(parsed.equal);
  words.word[0] = "elif";
  EXPECT_EQ(parse(words).kind, kCmdElif);
  for (const char* const first : {"else", "endif", "x", "IF", ""}) {
    words.word[0] = first;
    EXPECT_FALSE(parse(words).ok) << first;
  }
}

TEST(ParseTokens, FourWordsAreAComparisonByItsOperator) {
  for (const auto& [op, equal] :
       std::map<std::string, bool>{{"==", true}, {"=", true}, {"!=", false}, {"<>", false}}) {
    Words words = wordsOf({"elif", "x", op, "'v'"});
    const Parsed parsed = parse(words);
    EXPECT_TRUE(parsed.ok) << op;
    EXPECT_EQ(parsed.kind, kCmdElif);
    EXPECT_EQ(parsed.name, &words.word[1]);
    ASSERT_EQ(parsed.value, &words.word[3]);
    EXPECT_EQ(*parsed.value, "v");
    EXPECT_EQ(parsed.equal, equal) << op;
  }
  Words unknown = wordsOf({"if", "x", "<", "1"});
  EXPECT_FALSE(parse(unknown).ok);
  Words first = wordsOf({"when", "x", "==", "1"});
  EXPECT_FALSE(parse(first).ok);
}

TEST(ParseTokens, OtherCountsAreNoDirective) {
  for (Words words : {Words(), wordsOf({"if", "x", "=="})}) {
    EXPECT_FALSE(parse(words).ok) << words.count;
  }
  EXPECT_FALSE(read("if x == 1 2)").ok);
  EXPECT_FALSE(read("if x == 1 2 3)").ok);
}

TEST(Directive, NamesOfKindsAndStatesAreInOrder) {
  const char* const kinds[] = {"none", "if", "elif", "else", "endif"};
  const char* const states[] = {"none", "nomatch", "match", "wasmatch", "return"};
  for (int i = 0; i < 5; ++i) {
    EXPECT_STREQ(cmdStr[i], kinds[i]);
    EXPECT_STREQ(ifStr[i], states[i]);
  }
}

TEST(Directive, TransitionsAreThoseOfTheLanguage) {
  enum { kO = kIfNone, kN = kIfNomatch, kM = kIfMatch, kW = kIfWasmatch, kR = kIfReturn };
  // Columns: if, elif, else, endif.
  const std::uint32_t expected[2][4][4] = {
      {{kN, kR, kR, kR}, {kN, kN, kM, kO}, {kM, kW, kW, kO}, {kW, kW, kW, kO}},
      {{kM, kR, kR, kR}, {kN, kM, kM, kO}, {kM, kW, kW, kO}, {kW, kW, kW, kO}}};
  for (int truth = 0; truth < 2; ++truth) {
    for (int state = 0; state < 4; ++state) {
      for (int kind = 0; kind < 4; ++kind) {
        EXPECT_EQ(kIfTransitions[truth][state][kind], expected[truth][state][kind])
            << truth << ' ' << ifStr[state] << ' ' << cmdStr[kind + 1];
      }
    }
  }
  static_assert(kIfNone == 0 && kIfNomatch == 1 && kIfMatch == 2 && kIfWasmatch == 3 &&
                kIfReturn == 4 && sizeof(IfState) == 4);
  static_assert(kCmdNone == 0 && kCmdIf == 1 && kCmdElif == 2 && kCmdElse == 3 && kCmdEndif == 4 &&
                sizeof(SCmd) == 4);
}

}  // namespace
