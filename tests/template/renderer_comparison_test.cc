// The engine against the naive one: every short text over the bytes that mean something to the
// language, every short sequence of directive pieces, and seeded random longer ones. Output, where
// rendering ended and the debug line have to be the same.

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "template/use_env.h"
#include "tests/template/naive_renderer.h"
#include "tests/template/rendering.h"

namespace {

using Env = std::map<std::string, std::string>;
using Pieces = std::vector<std::string>;

class Comparison {
 public:
  explicit Comparison(const Env& env) : rendering_(env) {}

  // False, with a message, at the first difference; the caller then stops.
  bool agree(const std::string& text) { return agree(text, true) && agree(text, false); }

  // The same for a text that is scanned without an output stream: only its end can be compared.
  bool agreeOnNothing(const std::string& text) {
    HsConn& conn = rendering_.conn;
    const char* cursor = text.data();
    useEnvR(conn.env, conn.radius, &cursor, text.data() + text.size(), nullptr, true);
    const std::size_t end = naive::render(conn.env, false, text, true, true).cursor;
    EXPECT_EQ(static_cast<std::size_t>(cursor - text.data()), end) << "text: " << text;
    return static_cast<std::size_t>(cursor - text.data()) == end;
  }

 private:
  bool agree(const std::string& text, bool esc) {
    HsConn& conn = rendering_.conn;
    const naive::Rendered expected = naive::render(conn.env, false, text, esc);
    const std::size_t left = text.size() - expected.cursor;
    const std::string line = left == 0 ? "" : "  " + std::to_string(left) + " bytes left!\n";

    rendering_.render(text, esc);
    if (rendering_.out.text != expected.output || rendering_.debug.text != line) {
      ADD_FAILURE() << "text: " << text << "\nesc: " << esc << "\nexpected: " << expected.output
                    << "\nrendered: " << rendering_.out.text << "\nexpected line: " << line
                    << "\nline: " << rendering_.debug.text;
      return false;
    }
    rendering_.out.text.clear();
    const char* cursor = text.data();
    useEnvR(conn.env, conn.radius, &cursor, text.data() + text.size(), &rendering_.out, esc);
    EXPECT_EQ(static_cast<std::size_t>(cursor - text.data()), expected.cursor) << "text: " << text;
    EXPECT_EQ(rendering_.out.text, expected.output) << "text: " << text;
    return !testing::Test::HasFailure();
  }

  Rendering rendering_;
};

// Calls `visit` with every sequence of at most `most` of `pieces`, each with `end` behind it, until
// it returns false.
template <typename Visit>
bool forEachSequence(const Pieces& pieces, std::size_t most, const std::string& start,
                     const Visit& visit, const char* end = "") {
  if (!visit(start)) return false;
  if (most == 0) return true;
  for (const std::string& piece : pieces) {
    if (!forEachSequence(pieces, most - 1, start + piece + end, visit, end)) return false;
  }
  return true;
}

const Pieces kBytes = {"$", "(", ")", "%", "\\", " ", "i", "x"};
const Pieces kDirectives = {"$(if x)", "$(if y == 'b')", "$(elif x)", "$(else)", "$(endif)", "%x%",
                            "text",    "$(nosuch)",      "%",         "$(if x",  "\\",       "$"};
// Every word of the language, and names and values of every form.
const Pieces kWords = {"if",    "elif",  "else",   "endif", "x",  "y", "nosuch",
                       "x-esc", "y-esc", "radius", "==",    "!=", "=", "<>",
                       "'1'",   "\"b\"", "1",      "'1",    "''"};
// Every directive word and operator between either pair of delimiters.
const Pieces kEveryDirective = {"$(if x)",
                                "%if y == 'b'%",
                                "$(elif x)",
                                "%elif y != \"b\"%",
                                "$(if y = b)",
                                "%if x <> 1%",
                                "$(else)",
                                "%else%",
                                "$(endif)",
                                "%endif%",
                                "%x%",
                                "$(x-esc)",
                                "$(radius)",
                                "text",
                                "$(nosuch)",
                                "%",
                                "$(elif x",
                                "\\",
                                "$"};
const Env kBothTrue = {{"x", "a<b"}, {"y", "b"}, {"ix", "&"}};
const Env kFirstTrue = {{"x", "1"}, {"y", "B"}};
const Env kSecondTrue = {{"x", ""}, {"y", "b"}};
const Env kNeither = {};

// More pieces, which take minutes.
bool isLongForm() { return std::getenv("HOTSPOT_LONG") != nullptr; }

void compareSequences(const Env& env, const Pieces& pieces, std::size_t most) {
  Comparison comparison(env);
  forEachSequence(pieces, most, "", [&](const std::string& text) {
    return comparison.agree(text) && comparison.agreeOnNothing(text);
  });
}

void compareDirectives(const Env& env) {
  compareSequences(env, kDirectives, 5);
  compareSequences(env, kEveryDirective, isLongForm() ? 5 : 4);
}

class RendererComparisonByFirstByte : public testing::TestWithParam<std::size_t> {};

TEST_P(RendererComparisonByFirstByte, AgreesOnEveryTextOfUpToEightBytes) {
  Comparison comparison(kBothTrue);
  const auto agree = [&](const std::string& text) { return comparison.agree(text); };
  if (!isLongForm()) {
    forEachSequence(kBytes, 7, kBytes[GetParam()], agree);
    return;
  }
  // Shorter texts over more bytes that mean something, behind one of the quick form's.
  Pieces bytes = kBytes;
  bytes.insert(bytes.end(), {"\t", "'", "=", "f"});
  forEachSequence(bytes, 5, kBytes[GetParam()], agree);
}

INSTANTIATE_TEST_SUITE_P(All, RendererComparisonByFirstByte,
                         testing::Range(std::size_t{0}, kBytes.size()));

TEST(RendererComparison, AgreesOnEveryShortTextInADroppedBranch) {
  Comparison comparison(kBothTrue);
  forEachSequence(kBytes, 5, "", [&](const std::string& text) {
    return comparison.agree("$(if nosuch)" + text + "$(endif)%x%$(endif)!") &&
           comparison.agreeOnNothing(text + "%endif%");
  });
}

TEST(RendererComparison, AgreesOnEveryShortSequenceOfDirectivesBothConditionsTrue) {
  compareDirectives(kBothTrue);
}

TEST(RendererComparison, AgreesOnEveryShortSequenceOfDirectivesFirstConditionTrue) {
  compareDirectives(kFirstTrue);
}

TEST(RendererComparison, AgreesOnEveryShortSequenceOfDirectivesSecondConditionTrue) {
  compareDirectives(kSecondTrue);
}

TEST(RendererComparison, AgreesOnEveryShortSequenceOfDirectivesNoConditionTrue) {
  compareDirectives(kNeither);
}

TEST(RendererComparison, OpenerAmongTheWordsOfAConditionIsReadOnItsOwn) {
  Rendering page(kFirstTrue);
  EXPECT_EQ(page.render("$(if $(if x)A$(endif)"), "$(if A");
  EXPECT_EQ(page.render("$(if $(if x == '1')A$(endif)"), "$(if A");
  EXPECT_EQ(page.render("$(elif x $(x) %x%)"), "$(elif x 1 1)");
  EXPECT_EQ(page.render("$(if x $(if y)A$(endif).)"), "$(if x A.)");
}

TEST(RendererComparison, AgreesOnEverySequenceOfWords) {
  // Openers of which one starts inside the words of another, and words of every count.
  Pieces words = {"$(", "%", ")", " ", "\t", "if ", "elif ", "x", "==", "'1'"};
  if (isLongForm()) words.insert(words.end(), {"else", "endif", "!=", "=", "<>", "\""});
  Comparison comparison(kFirstTrue);
  forEachSequence(words, 6, "", [&](const std::string& text) { return comparison.agree(text); });
}

// One directive of every sequence of words, as the first one and behind a condition that is false;
// what follows shows what it decided.
void compareOneDirective(const Env& env, const std::string& firstWords, std::size_t most) {
  Comparison comparison(env);
  const auto agree = [&](const std::string& words) {
    for (const char* opener : {"$(", "%", "$(if nosuch)0%"}) {
      for (const char* closer : {")", "%"}) {
        const std::string text = opener + words + closer + "A$(else)B%endif%C";
        if (!comparison.agree(text)) return false;
      }
    }
    return true;
  };
  forEachSequence(kWords, most, firstWords, agree, " ");
}

TEST(RendererComparison, AgreesOnADirectiveOfEverySequenceOfWords) {
  for (const Env& env : {kBothTrue, kFirstTrue}) {
    compareOneDirective(env, "", isLongForm() ? 4 : 3);
    // As many words as a condition has.
    for (const char* word : {"if ", "elif "}) compareOneDirective(env, word, 3);
  }
}

TEST(RendererComparison, AgreesOnSeededRandomTexts) {
  Pieces pieces = kDirectives;
  const Pieces more = {" ",         "\t",
                       "(",         ")",
                       "%",         "$(",
                       "if ",       "elif ",
                       "x",         "y",
                       " == ",      " != ",
                       " = ",       " <> ",
                       "'b'",       "\"b\"",
                       "'",         "-esc",
                       "radius",    "%x-esc%",
                       "$(radius)", "\n",
                       "$(y)",      "'a&lt;b'",
                       "$(if y)",   "$(elif y)",
                       "%else%",    "%endif%",
                       "\x80",      "$(if nosuch)",
                       "%if x%",    "$(if x = 1)",
                       "$(x-esc%",  "a_long_word_that_names_nothing_at_all"};
  pieces.insert(pieces.end(), more.begin(), more.end());
  pieces.push_back(std::string(1, '\0'));

  std::mt19937 random(20240105);
  const Env envs[] = {kBothTrue, kFirstTrue, kSecondTrue, kNeither};
  for (const Env& env : envs) {
    Comparison comparison(env);
    for (int i = 0; i < 50000; ++i) {
      std::string text;
      for (std::size_t count = random() % 24; count > 0; --count) {
        text += pieces[random() % pieces.size()];
      }
      if (!comparison.agree(text) || !comparison.agreeOnNothing(text)) return;
    }
  }
}

}  // namespace
