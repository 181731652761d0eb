#include "tools/hotspot_lint_html.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/support/short_texts.h"

namespace lint {
namespace {

// One letter for each byte: t text, i title, g tag, a attribute, s script, y style, c comment.
std::string places(const std::string& text) {
  const Html html = readHtml(text);
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    result += "tigasyc"[static_cast<std::size_t>(html.at(i).place)];
  }
  return result;
}

TEST(Html, PlacesOfBytes) {
  struct Case {
    std::string text;
    std::string places;
  };
  const Case cases[] = {
      {"a<b>c</b>d", "tgggtggggt"},
      {"<a b=\"c\" d='e' f=g h>i", "ggggggagggggaggggagggt"},
      {"<a b = c>",
       "ggggggga"
       "g"},
      {"<a b=\"\">c",
       "gggggg"
       "ggt"},
      {"<a b=\"x>y\">c", "ggggggaaaggt"},
      {"1 < 2", "ttttt"},
      {"<!-- <b> -->c", "cccccccccccct"},
      {"<!-->c", "ccccct"},
      {"<!doctype html>c", "ccccccccccccccct"},
      {"</ >c", "cccct"},
      {"<script>a<b></script>c",
       "ggggggggsss"
       "s"
       "gggggggggt"},
      {"<STYLE>a</Style >c",
       "gggggggy"
       "ggggggggg"
       "t"},
      {"<title><b></title>c",
       "gggggggiii"
       "ggggggggt"},
      {"<script>a</scriptx>", "ggggggggssssssssssss"},
      {"<a b=c/d>e", "gggggaaagt"},
      {"<br/>a", "gggggt"},
  };
  for (const Case& test : cases) {
    std::string expected = test.places;
    expected.resize(test.text.size(), expected.back());
    EXPECT_EQ(places(test.text), expected) << test.text;
  }
}

TEST(Html, TagsAndAttributes) {
  const Html html = readHtml("<A HREF=\"x\"  checked Title = 'It''s'><img src=a.png></a>");
  ASSERT_EQ(html.tags.size(), 3u);
  EXPECT_EQ(html.tags[0].name, "a");
  ASSERT_NE(html.tags[0].find("href"), nullptr);
  EXPECT_EQ(html.tags[0].find("href")->value, "x");
  EXPECT_EQ(html.tags[0].find("href")->quote, '"');
  ASSERT_NE(html.tags[0].find("checked"), nullptr);
  EXPECT_EQ(html.tags[0].find("checked")->value, "");
  EXPECT_EQ(html.tags[0].find("title")->value, "It");
  EXPECT_EQ(html.tags[1].find("src")->value, "a.png");
  EXPECT_EQ(html.tags[1].find("src")->quote, '\0');
  EXPECT_TRUE(html.tags[2].isEnd);
}

TEST(Html, AnyTextIsReadToItsEnd) {
  std::size_t texts = 0;
  forEachText("<>/!-a\"= ", 6, "", [&](const std::string& text) {
    const Html html = readHtml(text);
    ++texts;
    for (std::size_t i = 1; i < html.regions.size(); ++i) {
      if (html.regions[i - 1].begin >= html.regions[i].begin) {
        ADD_FAILURE() << "regions out of order: " << text;
        return false;
      }
    }
    if (html.regions.empty() || html.regions[0].begin != 0 ||
        html.regions.back().begin > text.size()) {
      ADD_FAILURE() << "a gap: " << text;
      return false;
    }
    return true;
  });
  EXPECT_GT(texts, 500000u);
}

}  // namespace
}  // namespace lint
