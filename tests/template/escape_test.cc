// Escaping and unescaping, by hand-worked examples.

#include "template/escape.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Cases = std::vector<std::pair<std::string, std::string>>;

void expectFixed(const Cases& cases) {
  for (const auto& [text, expected] : cases) EXPECT_EQ(fixString(text), expected) << text;
}

TEST(FixString, PlusBecomesABlank) { expectFixed({{"", ""}, {"a+b++", "a b  "}, {"+", " "}}); }

TEST(FixString, PercentAndTwoDigitsBecomeAByte) {
  expectFixed({{"%41", "A"},
               {"a%20b", "a b"},
               {"%c3%A9", "\xc3\xa9"},
               {"%fF%00x", std::string("\xff\0x", 3)},
               {"a+b%41%4", "a bA%4"}});
}

TEST(FixString, EscapeWithFewerThanTwoCharactersBehindStays) {
  expectFixed({{"%", "%"}, {"%4", "%4"}, {"%41%", "A%"}, {"a%+", "a% "}, {"%%", "%%"}});
}

TEST(FixString, DecodedTextIsNotDecodedAgain) {
  expectFixed({{"%2541", "%41"}, {"%25%34%31", "%41"}, {"%2B", "+"}, {"%2b+", "+ "}});
}

TEST(FixString, ReadingStopsAtTheFirstCharacterThatIsNoDigit) {
  expectFixed({{"%4z", "\x04"},
               {"%f%x",
                "\x0f"
                "x"},
               {"%0xA", std::string("\0A", 2)}});
}

TEST(FixString, BlanksAndSignsAreReadAsByScanf) {
  expectFixed({{"% 5", "\x05"},
               {"%+5", "\x05"},  // the plus is a blank by then
               {"%\t5", "\x05"},
               {"%\n5%\v5%\f5%\r5", "\x05\x05\x05\x05"},
               {"%-1", "\xff"},
               {"%-f", "\xf1"},
               {"%-0", std::string(1, '\0')}});
}

TEST(FixString, EscapeWithoutADigitRepeatsTheOneBeforeIt) {
  expectFixed({{"%41%zz", "AA"},
               {"%41-%zz%42%-g%", "A-ABB%"},
               {"%41% -%--", "AAA"},
               {"%41%x1", "AA"},
               {std::string("%41%\0"
                            "5",
                            6),
                "AA"},
               {"%-1%zz", "\xff\xff"}});
}

TEST(FixString, PercentInsideAnEscapeIsPartOfIt) {
  // "%%4" reads the pair "%4", which holds no number.
  expectFixed({{"%41%%41", "AA1"}, {"%41%%%", "AA"}});
}

TEST(DoEscapeString, KeepsLettersDigitsDotAndDashAlone) {
  std::string kept;
  for (unsigned byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const std::string escaped = doEscapeString(std::string(1, c));
    if (escaped == std::string(1, c)) {
      kept += c;
    } else if (c == ' ') {
      EXPECT_EQ(escaped, "+");
    } else {
      const std::string digits = "0123456789ABCDEF";
      EXPECT_EQ(escaped, std::string("%") + digits[byte / 16] + digits[byte % 16]) << byte;
    }
  }
  EXPECT_EQ(kept, "-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
}

TEST(DoEscapeString, EscapesWholeTexts) {
  EXPECT_EQ(doEscapeString(""), "");
  EXPECT_EQ(doEscapeString("a b_c~d"), "a+b%5Fc%7Ed");
  EXPECT_EQ(doEscapeString("\xc3\xa9"), "%C3%A9");
  EXPECT_EQ(doEscapeString("/:?=&+%"), "%2F%3A%3F%3D%26%2B%25");
  EXPECT_EQ(doEscapeString(std::string("\0", 1)), "%00");
}

TEST(DoEscapeString, IsUndoneByFixString) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(fixString(doEscapeString(all)), all);
}

TEST(XmlEscapeString, EscapesThreeCharactersAndNoQuotes) {
  EXPECT_EQ(xmlEscapeString(""), "");
  EXPECT_EQ(xmlEscapeString("<a href=\"x\">&"), "&lt;a href=\"x\"&gt;&amp;");
  EXPECT_EQ(xmlEscapeString("'\"`=/\n\x80"), "'\"`=/\n\x80");
  EXPECT_EQ(xmlEscapeString("&lt;"), "&amp;lt;");
  EXPECT_EQ(xmlEscapeString("<<>>&&"), "&lt;&lt;&gt;&gt;&amp;&amp;");
  EXPECT_EQ(xmlEscapeString("plain<text"), "plain&lt;text");
  EXPECT_EQ(xmlEscapeString(std::string("<\0>", 3)), std::string("&lt;\0&gt;", 9));
}

}  // namespace
