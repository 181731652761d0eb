#include "webserver/header_text.h"

#include <gtest/gtest.h>

namespace web {
namespace {

TEST(HeaderText, LineEndsAndNulBecomeBlanks) {
  EXPECT_EQ(cleanHeaderText("plain"), "plain");
  EXPECT_EQ(cleanHeaderText("a\r\nSet-Cookie: x"), "a  Set-Cookie: x");
  EXPECT_EQ(cleanHeaderText(std::string_view("\r\n\0", 3)), "   ");
  for (int c = 0; c < 256; ++c) {
    const std::string clean = cleanHeaderText(std::string(1, static_cast<char>(c)));
    ASSERT_EQ(clean.size(), 1u);
    const bool unsafe = (c < 0x20 && c != '\t') || c == 0x7f;
    EXPECT_EQ(clean[0], unsafe ? ' ' : static_cast<char>(c)) << c;
  }
}

TEST(HeaderText, OnlyTokensAreNames) {
  EXPECT_TRUE(isToken("Content-Type"));
  EXPECT_TRUE(isToken("x!#$%&'*+-.^_`|~9"));
  EXPECT_FALSE(isToken(""));
  for (const char* bad : {"a b", "a:", "a\r", "a\nb", "\"a\"", "a/b", "a(b)", "\xc3\xa9", "a,b"}) {
    EXPECT_FALSE(isToken(bad)) << bad;
  }
  EXPECT_FALSE(isToken(std::string_view("a\0", 2)));
}

TEST(HeaderText, HtmlHasNoMarkupLeft) {
  EXPECT_EQ(escapeHtml("<a href=\"x\" id='y'>&"),
            "&lt;a href=&quot;x&quot; id=&#39;y&#39;&gt;&amp;");
}

TEST(HeaderText, DateIsTheFixedLengthForm) {
  EXPECT_EQ(httpDate(784111777), "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_EQ(httpDate(0), "Thu, 01 Jan 1970 00:00:00 GMT");
  EXPECT_EQ(httpDate(951782400), "Tue, 29 Feb 2000 00:00:00 GMT");
}

}  // namespace
}  // namespace web
