// The template language as its users see it: text in, variables, text out.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "template/use_env.h"
#include "tests/template/rendering.h"

namespace {

using Env = std::map<std::string, std::string>;

struct Case {
  const char* text;
  const char* expected;
};

// x is "1" and y is empty; every other letter is unknown but for these.
Env variables() {
  return {{"x", "1"},     {"y", ""},         {"a", ""},         {"q", "'"},           {"word", "b"},
          {"two", "b c"}, {"markup", "<&>"}, {"quoted", "'b'"}, {"spell", "$(x) %x%"}};
}

// Renders each text whole, with escaping on.
void expectWhole(const std::vector<Case>& cases) {
  Rendering page(variables());
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(page.render(text), expected) << "text: " << text;
    EXPECT_EQ(page.debug.text, "") << "text: " << text;
  }
}

TEST(TemplateLiteral, TextWithoutDirectivesIsCopied) {
  expectWhole({{"", ""},
               {"a", "a"},
               {"plain (text) with ) and (\n", "plain (text) with ) and (\n"},
               {"bytes \x80\xff stay", "bytes \x80\xff stay"}});
}

TEST(TemplateLiteral, NulBytesAreText) {
  Rendering page(variables());
  const std::string text("a\0$(x)\0b", 8);
  EXPECT_EQ(page.render(text), std::string("a\0"
                                           "1"
                                           "\0b",
                                           5));
}

TEST(TemplateLiteral, BackslashStaysAndKeepsTheNextCharacterFromOpening) {
  expectWhole({{"a\\$(x)b", "a\\$(x)b"},
               {"a\\%x", "a\\%x"},
               {"\\$$(x)", "\\$1"},
               {"\\\\$(x)", "\\\\1"},
               {"\\\\\\$(x)", "\\\\\\$(x)"},
               {"\\n$(x)", "\\n1"}});
}

TEST(TemplateLiteral, BackslashBeforeAPairLeavesTheSecondPercentAsOpener) {
  // The first '%' is kept from opening; the second opens " b)", a reference to no variable.
  expectWhole({{"\\%x% b)", "\\%x% b)"}, {"\\%x%x)", "\\%x1"}});
}

TEST(TemplateLiteral, LoneBackslashAtTheEndIsText) {
  expectWhole({{"\\", "\\"}, {"$(x)\\", "1\\"}, {"a\\\\", "a\\\\"}});
}

TEST(TemplateLiteral, DollarWithoutParenthesisTakesTheNextCharacterAlong) {
  expectWhole({{"$x", "$x"},
               {"$$(x)", "$$(x)"},
               {"$$$(x)", "$$1"},
               {"$%x)", "$%x)"},
               {"$\\$(x)", "$\\1"},
               {"$ $(x)", "$ 1"}});
}

TEST(TemplateLiteral, OpenerInTheLastByteIsText) {
  expectWhole({{"$", "$"},
               {"a$", "a$"},
               {"$(", "$("},
               {"a$(", "a$("},
               {"%", "%"},
               {"a%", "a%"},
               {"$(x)%", "1%"},
               {"$(x)$(", "1$("}});
}

TEST(TemplateLiteral, PercentWithoutACloserIsText) {
  expectWhole({{"100% sure", "100% sure"}, {"$(x", "$(x"}, {"%x", "%x"}});
}

TEST(TemplateLiteral, PercentPairAcrossRunningTextIsTextUnlessOneKnownWord) {
  expectWhole({{"50% of 60%", "50% of 60%"},
               {"50% off 60%", "50% off 60%"},
               {"50% nosuch 60%", "50% nosuch 60%"},
               {"50%nosuch%", "50%nosuch%"},
               {"50% x %", "501"}});
  Rendering five(Env{{"x", "5"}});
  EXPECT_EQ(five.render("100%x% done"), "1005 done");
}

TEST(TemplateLiteral, LiteralRunGoesOutInOneWrite) {
  Rendering page(variables());
  page.render("a\\$(x) $(nosuch) 5% $$ $(if x y) %% end");
  EXPECT_EQ(page.out.text, "a\\$(x) $(nosuch) 5% $$ $(if x y) %% end");
  EXPECT_EQ(page.out.writes, 1u);
  page.render("run$(x)run");
  EXPECT_EQ(page.out.writes, 3u);
}

TEST(TemplateReference, EitherOpenerGoesWithEitherCloser) {
  expectWhole({{"$(x)", "1"}, {"%x%", "1"}, {"$(x%", "1"}, {"%x)", "1"}, {"<$(x)>", "<1>"}});
}

TEST(TemplateReference, BlanksAndTabsAroundTheNameDoNotCount) {
  expectWhole({{"$( x )", "1"}, {"$(\tx \t)", "1"}, {"% x %", "1"}});
}

TEST(TemplateReference, OtherCharactersBelongToTheWord) {
  expectWhole({{"$(x\n)", "$(x\n)"},
               {"$(\rx)", "$(\rx)"},
               {"$(\nx)", "$(\nx)"},
               {"$(if \nx)A$(endif)", ""},
               {"$(if x \n== 1)A", "$(if x \n== 1)A"},
               {"$('x')", "$('x')"},
               {"$((x)", "$((x)"},
               {"$(x\\)", "$(x\\)"}});
  Rendering page(Env{{"a\nb", "line"}, {"(", "open"}, {"'c", "lone"}});
  EXPECT_EQ(page.render("$(a\nb)$(()%'c%"), "lineopenlone");
}

TEST(TemplateReference, FirstCloserEndsItAndTheNextOpenerMayBeInside) {
  expectWhole({{"$(x $(x))", "$(x 1)"}, {"%nosuch%x%", "%nosuch1"}, {"$(a.$(x))", "$(a.1)"}});
}

TEST(TemplateReference, UnknownNameIsOutputAsWritten) {
  expectWhole({{"$(nosuch)", "$(nosuch)"},
               {"%nosuch%", "%nosuch%"},
               {"$( nosuch\t)", "$( nosuch\t)"},
               {"$(X)", "$(X)"},
               {"$(xx)$(x)", "$(xx)1"},
               {"$(a_name_longer_than_all_that_there_are_here)",
                "$(a_name_longer_than_all_that_there_are_here)"}});
}

TEST(TemplateReference, LongNamesAreFound) {
  const std::string name(300, 'n');
  Rendering page(Env{{name, "<long>"}});
  EXPECT_EQ(page.render("$(" + name + ")"), "&lt;long&gt;");
  EXPECT_EQ(page.render("$(" + name + "-esc)"), "%3Clong%3E");
  EXPECT_EQ(page.render("$(" + name + "n)"), "$(" + name + "n)");
  EXPECT_EQ(page.render("$(n" + name + "-esc) $(" + name + ")"),
            "$(n" + name + "-esc) &lt;long&gt;");
}

TEST(TemplateReference, DefinedEmptyVariableIsReplacedByNothing) {
  expectWhole({{"[$(y)]", "[]"}, {"[%y%]", "[]"}});
}

TEST(TemplateReference, NoWordIsNoDirective) {
  expectWhole({{"$()", "$()"},
               {"$( )", "$( )"},
               {"%%", "%%"},
               {"% %", "% %"},
               {"$()$(x)", "$()1"},
               {"%%x%", "%1"}});
}

TEST(TemplateReference, ValueIsNotReadAsTemplateText) { expectWhole({{"$(spell)", "$(x) %x%"}}); }

TEST(TemplateReference, ValueIsXmlEscapedOnlyWhenAsked) {
  Rendering page(variables());
  EXPECT_EQ(page.render("$(markup)<&>", true), "&lt;&amp;&gt;<&>");
  EXPECT_EQ(page.render("$(markup)<&>", false), "<&><&>");
}

TEST(TemplateReference, OneWordKeywordsOtherThanElseAndEndifAreNames) {
  expectWhole({{"$(if)", "$(if)"}, {"$(elif)", "$(elif)"}, {"%none%", "%none%"}});
  Rendering page(Env{{"if", "I"}, {"elif", "E"}, {"else", "wrong"}, {"endif", "wrong"}});
  EXPECT_EQ(page.render("$(if)%elif%"), "IE");
  EXPECT_EQ(page.render("$(if if)A$(else)B$(endif)"), "A");
}

TEST(TemplateDirective, OtherWordCountsAreText) {
  expectWhole({{"$(x x)", "$(x x)"},
               {"$(if x y)", "$(if x y)"},
               {"$(if x == 1 2)", "$(if x == 1 2)"},
               {"$(if x == 1 2 3)", "$(if x == 1 2 3)"},
               {"$(elif x ==)", "$(elif x ==)"},
               {"$(else x)", "$(else x)"},
               {"$(endif x)", "$(endif x)"},
               {"$(unless x)", "$(unless x)"},
               {"$(unless x == 1)", "$(unless x == 1)"}});
}

TEST(TemplateDirective, QuotedBlankSplitsWordsAllTheSame) {
  Rendering page(variables());
  EXPECT_EQ(page.render("$(if two == 'b c')"), "$(if two == 'b c')");
  EXPECT_EQ(page.render("$(if two == 'b c')A$(endif)"), "$(if two == 'b c')A");
}

TEST(TemplateDirective, OtherOperatorsAreText) {
  for (const char* const op : {"===", "~", "!", "<", ">", "><", "eq", "=!", "is"}) {
    Rendering page(variables());
    const std::string text = std::string("$(if x ") + op + " 1)";
    EXPECT_EQ(page.render(text), text);
  }
}

TEST(TemplateDirective, KeywordsAreExact) {
  expectWhole({{"$(IF x)", "$(IF x)"}, {"$(Else)", "$(Else)"}, {"$(ENDIF)", "$(ENDIF)"}});
}

TEST(TemplateDirective, OpenerInsideTheWordsOfTextIsReadOnItsOwn) {
  expectWhole({{"$(x $(if x)A$(endif)", "$(x A"},
               {"%x y$(if x)A$(endif)", "%x yA"},
               {"$(x y == $(x)", "$(x y == 1"},
               {"% x $(if x == 1)A$(endif)", "% x A"}});
}

TEST(TemplateCondition, BareNameIsTrueWhenItsValueIsNotEmpty) {
  expectWhole({{"$(if x)A$(else)B$(endif)", "A"},
               {"$(if y)A$(else)B$(endif)", "B"},
               {"$(if nosuch)A$(else)B$(endif)", "B"},
               {"%if x%A%else%B%endif%", "A"},
               {"$(if\tx)A$( else )B$(\tendif\t)", "A"}});
}

TEST(TemplateCondition, OperatorsCompareTheValue) {
  expectWhole({{"$(if x == 1)A$(endif)", "A"},
               {"$(if x = 1)A$(endif)", "A"},
               {"$(if x == 2)A$(endif)", ""},
               {"$(if x = 2)A$(endif)", ""},
               {"$(if x != 1)A$(endif)", ""},
               {"$(if x <> 1)A$(endif)", ""},
               {"$(if x != 2)A$(endif)", "A"},
               {"$(if x <> 2)A$(endif)", "A"}});
}

TEST(TemplateCondition, ComparisonIsExactAndOfTheWholeValue) {
  Rendering page(Env{{"v", "Abc"}});
  for (const char* const other : {"abc", "Ab", "Abcd", "ABC", "bc", "Abc\n"}) {
    EXPECT_EQ(page.render(std::string("$(if v == ") + other + ")A$(else)B$(endif)"), "B") << other;
  }
  EXPECT_EQ(page.render("$(if v == Abc)A$(else)B$(endif)"), "A");
}

TEST(TemplateCondition, UnknownNameComparesAsEmpty) {
  expectWhole({{"$(if nosuch == '')A$(endif)", "A"},
               {"$(if nosuch != '')A$(endif)", ""},
               {"$(if nosuch != 'a')A$(endif)", "A"}});
}

TEST(TemplateCondition, UnknownNameHasNothingOfTheValueBeforeIt) {
  expectWhole({{"$(x)$(if nosuch)A$(else)B$(endif)", "1B"},
               {"$(x)$(if nosuch == 1)A$(else)B$(endif)", "1B"},
               {"$(x)$(if y)A$(elif nosuch)B$(else)C$(endif)", "1C"},
               {"$(if x)$(x)$(if nosuch)A$(endif)$(endif)", "1"}});
}

TEST(TemplateCondition, NameHasItsOwnValueWhateverWasAskedForBeforeIt) {
  expectWhole({{"$(if x)$(x)$(x)$(endif)$(x)", "111"},
               {"$(x)$(nosuch)$(x)", "1$(nosuch)1"},
               {"$(x)$(y)$(x)$(if y)A$(endif)$(x)", "111"},
               {"$(x)$(if nosuch)A$(endif)$(x)$(if nosuch)A$(endif)$(nosuch)", "11$(nosuch)"},
               {"$(x)$(if nosuch == '1')A$(elif nosuch)B$(elif x)C$(endif)", "1C"}});
}

TEST(TemplateCondition, OnePairOfEnclosingQuotesGoes) {
  expectWhole({{"$(if x == '1')A$(endif)", "A"},
               {"$(if x == \"1\")A$(endif)", "A"},
               {"$(if a == '')A$(endif)", "A"},
               {"$(if a == \"\")A$(endif)", "A"},
               {"$(if x == '')A$(endif)", ""},
               {"$(if quoted == ''b'')A$(endif)", "A"},
               {"$(if quoted == \"'b'\")A$(endif)", "A"},
               {"$(if quoted == 'b')A$(endif)", ""}});
}

TEST(TemplateCondition, LoneAndUnlikeQuotesStay) {
  expectWhole({{"$(if q == ')A$(endif)", "A"},
               {"$(if q == ''')A$(endif)", "A"},
               {"$(if q == \")A$(endif)", ""},
               {"$(if x == '1)A$(endif)", ""},
               {"$(if x == 1')A$(endif)", ""},
               {"$(if x == '1\")A$(endif)", ""},
               {"$(if x == `1`)A$(endif)", ""}});
  Rendering page(Env{{"v", "'b\""}});
  EXPECT_EQ(page.render("$(if v == 'b\")A$(endif)"), "A");
}

TEST(TemplateCondition, QuotesDoNotKeepACloserFromClosing) {
  // The value compared is the lone apostrophe; the rest is the block's body.
  expectWhole({{"$(if q == ')')A$(endif)", "')A"}, {"$(if q == '%')A$(endif)", "')A"}});
}

TEST(TemplateCondition, ComparesTheEscapedValueWhenEscaping) {
  Rendering page(variables());
  EXPECT_EQ(page.render("$(if markup == '<&>')A$(else)B$(endif)", true), "B");
  EXPECT_EQ(page.render("$(if markup == '&lt;&amp;&gt;')A$(else)B$(endif)", true), "A");
  EXPECT_EQ(page.render("$(if markup == '<&>')A$(else)B$(endif)", false), "A");
  EXPECT_EQ(page.render("$(if markup-esc == '<&>')A$(else)B$(endif)", false), "B");
}

TEST(TemplateCondition, SuffixAndRadiusNamesCountInConditions) {
  Rendering page(Env{{"two", "b c"}});
  EXPECT_EQ(page.render("$(if two-esc == 'b+c')A$(endif)"), "A");
  EXPECT_EQ(page.render("$(if radius)A$(else)B$(endif)"), "B");
  page.conn.radius.add(0, 1, "anna", 4);
  EXPECT_EQ(page.render("$(if radius)A$(else)B$(endif)"), "A");
  EXPECT_EQ(page.render("$(if radius == 'true')A$(else)B$(endif)"), "A");
  EXPECT_EQ(page.render("$(if radius1)A$(else)B$(endif)"), "B");
}

TEST(TemplateBlock, ExactlyTheFirstBranchWhoseConditionHoldsIsOutput) {
  for (unsigned truth = 0; truth < 8; ++truth) {
    const bool x = (truth & 1) != 0;
    const bool y = (truth & 2) != 0;
    const bool z = (truth & 4) != 0;
    Rendering page(Env{{"x", x ? "1" : ""}, {"y", y ? "1" : ""}, {"z", z ? "1" : ""}});
    const char* const expected = x ? "A" : y ? "B" : z ? "C" : "D";
    EXPECT_EQ(page.render("$(if x)A$(elif y)B$(elif z)C$(else)D$(endif)"), expected) << truth;
    EXPECT_EQ(page.render("<%if x%A%elif y%B%elif z%C%else%D%endif%>"),
              "<" + std::string(expected) + ">");
  }
}

TEST(TemplateBlock, ElifMayCompare) {
  expectWhole({{"$(if y)A$(elif x == 1)B$(else)C$(endif)", "B"},
               {"$(if y)A$(elif x != 1)B$(else)C$(endif)", "C"},
               {"$(if x)A$(elif x == 1)B$(else)C$(endif)", "A"}});
}

TEST(TemplateBlock, NothingBehindATakenElseIsTaken) {
  expectWhole({{"$(if y)A$(else)B$(else)C$(endif)", "B"},
               {"$(if x)A$(else)B$(else)C$(endif)", "A"},
               {"$(if y)A$(else)B$(elif x)C$(endif)D", "BD"},
               {"$(if x)A$(elif x)B$(elif x)C$(else)D$(elif x)E$(endif)F", "AF"}});
}

TEST(TemplateBlock, TextAndReferencesAroundAndInsideAreKept) {
  expectWhole({{"1 $(if x)2 $(x) 3$(endif) 4$(x)", "1 2 1 3 41"},
               {"1 $(if y)2 $(x) 3$(endif) 4$(x)", "1  41"},
               {"$(if x)$(nosuch) 5%$(endif)", "$(nosuch) 5%"}});
}

TEST(TemplateBlock, BlocksFollowEachOther) {
  expectWhole({{"$(if x)A$(endif)$(if y)B$(endif)$(if x)C$(else)D$(endif).", "AC."}});
}

TEST(TemplateBlock, NestedBlocksCloseOnlyThemselves) {
  expectWhole({{"$(if x)a$(if x)b$(endif)c$(else)d$(endif)e", "abce"},
               {"$(if x)a$(if y)b$(else)B$(endif)c$(else)d$(endif)e", "aBce"},
               {"$(if y)$(else)$(if x)b$(else)B$(endif)c$(endif)e", "bce"}});
}

TEST(TemplateBlock, DroppedBranchOutputsNothingAndItsEndifClosesOnlyItself) {
  expectWhole({{"$(if y)a$(if x)b$(endif)c$(else)d$(endif)e", "de"},
               {"$(if y)a$(if x)b$(else)B$(endif)c$(x)$(endif)e", "e"},
               {"$(if x)a$(else)b$(if x)c$(elif x)d$(else)e$(endif)f$(endif)g", "ag"},
               {"$(if y)a\\$(endif)b$(endif)c", "c"},
               {"$(if y)a$$(endif)b$(endif)c", "c"}});
}

TEST(TemplateBlock, ElifAndElseInsideADroppedBlockAreHarmless) {
  // In a dropped branch nothing is evaluated: "==" counts as true there and "!=" as false.
  expectWhole({{"$(if y)$(if x == 2)A$(elif x)B$(else)C$(endif)D$(endif)E", "E"},
               {"$(if y)$(if x != 2)A$(elif x == 1)B$(else)C$(endif)D$(endif)E", "E"},
               {"$(if y)$(if x == 1)A$(else)B$(endif)$(elif x)C$(endif)E", "CE"},
               {"$(if x)a$(else)$(if x == 1)A$(elif x == 1)B$(endif)$(endif)E", "aE"}});
}

TEST(TemplateBlock, DroppedBranchTakesEveryOneWordPairAsAReference) {
  // "% off$(endif)" is one word between an opener and a closer. Dropped text is not looked up, so
  // the pair goes, and the endif in it; in a branch that is taken the word is unknown, hence text.
  expectWhole({{"$(if nosuch)50% off$(endif)after", ""},
               {"$(if nosuch)50% off$(endif)tail$(endif)after", "after"},
               {"$(if x)50% off$(endif)after", "50% offafter"},
               {"$(if nosuch)100%$(endif)z", ""},
               {"$(if nosuch)50% of the$(endif)after", "after"},
               {"$(if nosuch)100%$(else)z$(endif)after", "after"},
               {"$(if nosuch)$(nosuch)$(else)z$(endif)", "z"}});
}

TEST(TemplateBlock, UnclosedBlockRunsToTheEndOfTheText) {
  expectWhole({{"a$(if x)", "a"},
               {"a$(if x)b $(x)", "ab 1"},
               {"a$(if y)b", "a"},
               {"a$(if y)b$(else)c", "ac"},
               {"a$(if x)b$(if y)c$(else)d", "abd"}});
}

TEST(TemplateBlock, UnclosedComparisonInADroppedBranchWritesNothing) {
  expectWhole({{"$(if y)$(if x == '1')", ""},
               {"$(if y)$(if x == '1')a", ""},
               {"$(if y)a$(if x = 1)b$(elif x == 1)c$(else)", ""}});
}

TEST(TemplateUnmatched, ClosingDirectiveAtTheOutermostLevelEndsThePage) {
  Rendering page(variables());
  for (const char* const closing :
       {"$(endif)", "%endif%", "$(else)", "$(elif x)", "$(elif y)", "$(elif x != '1')"}) {
    const std::string rest = std::string(closing) + "after$(x)";
    EXPECT_EQ(page.render("before" + rest), "before") << closing;
    EXPECT_EQ(page.debug.text, "  " + std::to_string(rest.size()) + " bytes left!\n");
    EXPECT_EQ(page.render("$(if x)A$(endif)-" + rest), "A-") << closing;
    EXPECT_EQ(page.debug.text, "  " + std::to_string(rest.size()) + " bytes left!\n");
  }
}

TEST(TemplateUnmatched, DebugLineTellsTheNumberOfUnsentBytes) {
  Rendering page(variables());
  EXPECT_EQ(page.render("before$(endif)after"), "before");
  EXPECT_EQ(page.debug.text, "  13 bytes left!\n");
  EXPECT_EQ(page.render("$(else)"), "");
  EXPECT_EQ(page.debug.text, "  7 bytes left!\n");
}

TEST(TemplateUnmatched, DebugLineIsWrittenPieceByPiece) {
  fake::DebugCapture debug;
  fake::FakeContext ctx;
  fake::FakeRequest req;
  fake::FakeResponse resp;
  HsConn conn{ctx, req, resp};
  StringSink out;
  conn.useEnv("before$(endif)after", 19, out, true);
  EXPECT_EQ(debug.pieces(), (std::vector<std::string>{"  ", "13", " bytes left!", "\n"}));
}

TEST(TemplateUnmatched, WholeTextLeavesNoDebugLine) {
  expectWhole({{"a$(x)", "a1"}, {"", ""}, {"$(if x)", ""}});
}

// Renders through the scanner itself; returns where it stopped.
std::size_t scan(HsConn& conn, const std::string& text, std::ostream* out) {
  const char* cursor = text.data();
  useEnvR(conn.env, conn.radius, &cursor, text.data() + text.size(), out, true);
  return static_cast<std::size_t>(cursor - text.data());
}

TEST(TemplateScanner, StopsOnTheOpenerOfAClosingDirective) {
  Rendering page(variables());
  EXPECT_EQ(scan(page.conn, "ab$(else)cd", &page.out), 2u);
  EXPECT_EQ(scan(page.conn, "ab%endif%cd", &page.out), 2u);
  EXPECT_EQ(scan(page.conn, "$(elif x)", &page.out), 0u);
  EXPECT_EQ(scan(page.conn, "ab$(x)", &page.out), 6u);
}

TEST(TemplateScanner, WithoutAnOutputScansAllTheSame) {
  Rendering page(variables());
  EXPECT_EQ(scan(page.conn, "ab$(x)$(nosuch)", nullptr), 15u);
  EXPECT_EQ(scan(page.conn, "$(if x)A$(else)B$(endif)C$(elif x)D", nullptr), 25u);
  EXPECT_EQ(scan(page.conn, "$(if x == '1')A$(elif x)B", nullptr), 25u);
  // Every one-word pair is a reference there, known or not.
  EXPECT_EQ(scan(page.conn, "5% off$(endif)", nullptr), 14u);
}

TEST(TemplateScanner, CursorBehindTheEndIsPutBackAndLogged) {
  Rendering page(variables());
  const std::string text = "ab$(x)";
  const char* cursor = text.data() + 4;
  useEnvR(page.conn.env, page.conn.radius, &cursor, text.data() + 3, &page.out, true);
  EXPECT_EQ(cursor, text.data() + 3);
  EXPECT_EQ(page.debug.text, "BUG: *ptr > end\n");
  EXPECT_EQ(page.out.text, "");
}

TEST(TemplateScanner, EndBoundsTheText) {
  Rendering page(variables());
  const std::string text = "$(x)$(x)";
  for (std::size_t length = 0; length <= text.size(); ++length) {
    page.out.text.clear();
    page.conn.useEnv(text.data(), static_cast<unsigned>(length), page.out, true);
    const std::string expected = length < 4    ? text.substr(0, length)
                                 : length == 8 ? "11"
                                               : "1" + text.substr(4, length - 4);
    EXPECT_EQ(page.out.text, expected);
  }
}

TEST(Words, SeveralBlanksBehindAShortWord) {
  Rendering page(std::map<std::string, std::string>{{"x", "1"}});
  EXPECT_EQ(page.render("$(if  x)yes$(endif) and a text behind it"), "yes and a text behind it");
}

TEST(Words, ShortOneIsReadAgainInFrontOfALongOne) {
  Rendering page(std::map<std::string, std::string>{{"x", "1"}});
  const std::string text = "$(if $(x a_word_of_more_bytes_than_a_block) behind";
  EXPECT_EQ(page.render(text), text);
}

}  // namespace
