// Texts made to cost time or stack: each is megabytes long and would take minutes if any stretch of
// it were read once for every opener in front of it. Nothing is timed; a slow engine runs into the
// test's time limit. What each becomes is worked out by hand, and checked on a short form of the
// same text against the naive engine.

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <string>
#include <vector>

#include "template/use_env.h"
#include "tests/template/naive_renderer.h"
#include "tests/template/rendering.h"

namespace {

constexpr std::size_t kHuge = 2 << 20;  // bytes, about
constexpr std::size_t kSmall = 600;

std::string repeated(const std::string& piece, std::size_t bytes) {
  std::string text;
  text.reserve(bytes + piece.size());
  while (text.size() < bytes) text += piece;
  return text;
}

std::map<std::string, std::string> variables() { return {{"x", "1"}, {"y", ""}, {"q", "'b'"}}; }

using Form = std::function<std::string(std::size_t)>;

// Renders the form's text of `kHuge` bytes, live and in a dropped branch. The first has to become
// the text itself when `literal`; the second nothing. Both forms agree with the naive engine where
// that can follow.
void expectLinear(const Form& form, bool literal) {
  Rendering page(variables());
  for (const char* const around : {"", "$(if y)", "$(if x)"}) {
    const std::string small = around + form(kSmall);
    const naive::Rendered expected = naive::render(page.conn.env, false, small, true);
    EXPECT_EQ(page.render(small), expected.output);

    const std::string huge = around + form(kHuge);
    const std::string& rendered = page.render(huge);
    const bool dropped = around == std::string("$(if y)");
    if (dropped) {
      EXPECT_TRUE(rendered.empty());
    } else if (literal) {
      EXPECT_TRUE(rendered == form(kHuge));
      EXPECT_EQ(page.out.writes, 1u);
    }
  }
}

Form repeating(const std::string& start, const std::string& piece, const std::string& finish) {
  return [=](std::size_t bytes) { return start + repeated(piece, bytes) + finish; };
}

TEST(HostileText, OpenersWithoutACloser) {
  for (const char* const piece : {"$(", "$(a ", "$(if ", "$(if x == ", "$(elif x ", "$($ ", "( ",
                                  "$(if\t", "$(if  ", "$", "\\", "\\$(", "$$(", "$( "}) {
    SCOPED_TRACE(piece);
    expectLinear(repeating("", piece, ""), true);
  }
}

TEST(HostileText, OpenersInFrontOfOneFarCloser) {
  for (const char* const piece :
       {"$(", "$(a ", "$(if ", "$(if x == ", "$(elif x ", "$(if x ", "$(if\t", "$(nosuch", "(", "a",
        "$(a", "$(if", "$( ", "$(if x != $( "}) {
    SCOPED_TRACE(piece);
    expectLinear(repeating("$(", piece, " a b c d e)"), true);
    expectLinear(repeating("", piece, " a b c d e%"), true);
    expectLinear(repeating("", piece, " a b c)"), true);
  }
}

TEST(HostileText, OpenersInFrontOfOneCloserAtOnceMakeOneLongWord) {
  expectLinear(repeating("", "$(", ")"), true);
  expectLinear(repeating("", "$(a", ")"), true);
  expectLinear(repeating("$(if x == ", "$(", ")"), false);
  expectLinear(repeating("$(if ", "$(", " == 1)"), false);
}

TEST(HostileText, PercentSignsInEveryCompany) {
  for (const char* const piece : {"%", "% ", "%a b", "% % ", "%\\", "%$", "%(", "%\n", "%if ",
                                  "%elif x == ", "%if x == ", "%nosuch"}) {
    SCOPED_TRACE(piece);
    expectLinear(repeating("", piece, ""), true);
  }
}

TEST(HostileText, LongRunsOfBlanksBetweenWords) {
  const std::string blanks(kHuge, ' ');
  const std::string tabs(kHuge, '\t');
  Rendering page(variables());
  EXPECT_EQ(page.render("$(" + blanks + "x" + tabs + ")!"), "1!");
  EXPECT_EQ(page.render("$(if" + blanks + "x" + tabs + "==" + blanks + "1" + tabs + ")A"), "A");
  EXPECT_TRUE(page.render("$(if" + blanks + ")") == "$(if" + blanks + ")");
  for (const std::string& piece : {std::string("$("), std::string("$(if "), std::string("$(a "),
                                   std::string("% "), std::string("$(if x ")}) {
    const std::string openers = repeated(piece, kHuge / 8);
    const std::string text = openers + blanks + "a b c d" + tabs + ")";
    EXPECT_TRUE(page.render(text) == text) << piece;
  }
}

TEST(HostileText, BlanksByTheMillionBetweenOpeners) {
  const std::string piece = "$(if" + std::string(1000, ' ');
  expectLinear(repeating("", piece, " a b c d e)"), true);
  expectLinear(repeating("", piece, ""), true);
}

TEST(HostileText, NestedBlocksClosedAndUnclosed) {
  const std::size_t levels = kHuge / 8;
  Rendering page(variables());
  std::string opened;
  std::string closed;
  for (std::size_t i = 0; i < levels; ++i) {
    opened += "$(if x)";
    closed += "$(endif)";
  }
  EXPECT_EQ(page.render(opened), "");
  EXPECT_EQ(page.render(opened + "deep"), "deep");
  EXPECT_EQ(page.render(opened + "deep" + closed + "out"), "deepout");
  EXPECT_EQ(page.render("$(if y)" + opened + "deep" + closed + "$(endif)out"), "out");
  EXPECT_EQ(page.render(opened + closed + closed + "rest"), "");
  EXPECT_EQ(page.debug.text, "  " + std::to_string(closed.size() + 4) + " bytes left!\n");
}

TEST(HostileText, BranchesByTheMillionInOneBlock) {
  Rendering page(variables());
  const std::string branches = repeated("$(elif y)no", kHuge);
  EXPECT_EQ(page.render("$(if y)no" + branches + "$(else)yes$(endif)."), "yes.");
  EXPECT_EQ(page.render("$(if x)yes" + branches + "$(else)no$(endif)."), "yes.");
}

TEST(HostileText, ReferencesByTheMillion) {
  Rendering page(variables());
  EXPECT_TRUE(page.render(repeated("%x%", 3 << 20)) == std::string(1 << 20, '1'));
  EXPECT_TRUE(page.render(repeated("$(if x)$(endif)", kHuge)).empty());
}

// Calls `body` on a thread with a stack of 256 KiB, the smallest that a server's threads have.
void onSmallStack(const std::function<void()>& body) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  std::function<void()> copy = body;
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &copy), 0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}

TEST(HostileText, TenThousandLevelsFitASmallStack) {
  std::string text;
  std::string expected;
  for (int i = 0; i < 10000; ++i) {
    text += i % 3 == 0 ? "<$(if x)" : i % 3 == 1 ? "<$(if y)no$(else)" : "<$(if y)no$(elif x == 1)";
    expected += '<';
  }
  text += "deep";
  expected += "deep";
  for (int i = 0; i < 10000; ++i) {
    text += ">$(endif)";
    expected += '>';
  }
  onSmallStack([&] {
    Rendering page(variables());
    EXPECT_TRUE(page.render(text) == expected);
    EXPECT_EQ(page.debug.text, "");
    EXPECT_EQ(page.render("$(if y)" + text + "$(else)other$(endif)"), "other");
  });
}

TEST(HostileText, ManyBytesLeftAreCounted) {
  Rendering page(variables());
  EXPECT_EQ(page.render("$(else)" + repeated("$(", kHuge)), "");
  EXPECT_EQ(page.debug.text, "  " + std::to_string(kHuge + 7) + " bytes left!\n");
}

}  // namespace
