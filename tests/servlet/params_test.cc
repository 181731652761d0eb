// Parameters of a request: validation of what carries them, parsing, the "target" directory, and
// the lookups that the handlers share.

#include "servlet/params.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "servlet/hs_conn.h"
#include "tests/support/fake_host.h"

namespace {

using Map = HsConn::StringMap;

// A connection without a web server behind it.
struct Parts {
  fake::FakeContext ctx;
  fake::FakeRequest req;
  fake::FakeResponse resp;
  HsConn conn{ctx, req, resp};
};

Map parsed(const std::string& text) {
  Parts parts;
  parts.conn.setQueryParams(text);
  return parts.conn.params;
}

TEST(QueryParams, NamesAreLowerCaseAndTheLastValueStays) {
  EXPECT_EQ(parsed("A=1&a=2"), (Map{{"a", "2"}}));
  EXPECT_EQ(parsed("UserName=Anna&PASSWORD=X"), (Map{{"username", "Anna"}, {"password", "X"}}));
  EXPECT_EQ(parsed("a=1&b=2&a="), (Map{{"a", ""}, {"b", "2"}}));
}

TEST(QueryParams, AmpersandsAndBlanksInFrontOfANameAreSkipped) {
  EXPECT_EQ(parsed("&& x=1"), (Map{{"x", "1"}}));
  EXPECT_EQ(parsed("x=1& &  y=2"), (Map{{"x", "1"}, {"y", "2"}}));
  EXPECT_EQ(parsed(" "), Map{});
  EXPECT_EQ(parsed("&"), Map{});
  EXPECT_EQ(parsed(""), Map{});
}

TEST(QueryParams, OnlyBlanksAreSkippedNotTabs) { EXPECT_EQ(parsed("\tx=1"), (Map{{"\tx", "1"}})); }

TEST(QueryParams, BlanksInsideANameOrAValueAreKept) {
  EXPECT_EQ(parsed("a b =1 2 &c=3"), (Map{{"a b ", "1 2 "}, {"c", "3"}}));
}

TEST(QueryParams, EmptyValueAtTheEndEndsTheParsing) {
  EXPECT_EQ(parsed("x="), (Map{{"x", ""}}));
  EXPECT_EQ(parsed("a=1&x="), (Map{{"a", "1"}, {"x", ""}}));
}

TEST(QueryParams, EmptyValueInTheMiddleIsAParameter) {
  EXPECT_EQ(parsed("x=&y=2"), (Map{{"x", ""}, {"y", "2"}}));
}

TEST(QueryParams, NameRunsUpToTheNextEqualsSign) {
  EXPECT_EQ(parsed("x&y=2"), (Map{{"x&y", "2"}}));
  EXPECT_EQ(parsed("a&b&c=1&d"), (Map{{"a&b&c", "1"}}));
}

TEST(QueryParams, TrailingNameWithoutAnEqualsSignIsDropped) {
  EXPECT_EQ(parsed("x=1&y"), (Map{{"x", "1"}}));
  EXPECT_EQ(parsed("y"), Map{});
}

TEST(QueryParams, NameMayBeEmpty) {
  EXPECT_EQ(parsed("=v"), (Map{{"", "v"}}));
  EXPECT_EQ(parsed("="), (Map{{"", ""}}));
  EXPECT_EQ(parsed("a=1&=v"), (Map{{"", "v"}, {"a", "1"}}));
}

TEST(QueryParams, ValueMayHoldEqualsSigns) {
  EXPECT_EQ(parsed("x=a=b==&y=1"), (Map{{"x", "a=b=="}, {"y", "1"}}));
}

TEST(QueryParams, ValuesAreDecodedAndNamesAreNot) {
  EXPECT_EQ(parsed("user=a%20b+c"), (Map{{"user", "a b c"}}));
  EXPECT_EQ(parsed("User%41=1"), (Map{{"user%41", "1"}}));
  EXPECT_EQ(parsed("a+b=1"), (Map{{"a+b", "1"}}));
  EXPECT_EQ(parsed("x=%26%3D%2b&y=%zz"), (Map{{"x", "&=+"}, {"y", std::string(1, '\0')}}));
}

TEST(QueryParams, AddToWhatIsThere) {
  Parts parts;
  parts.conn.setQueryParams("a=1&b=2");
  parts.conn.setQueryParams("b=3&c=4");
  EXPECT_EQ(parts.conn.params, (Map{{"a", "1"}, {"b", "3"}, {"c", "4"}}));
}

// The same by one cursor that looks at a character at a time; values by the module's decoder, which
// has its own tests.
Map naivelyParsed(const std::string& text) {
  Map params;
  std::size_t at = 0;
  for (;;) {
    while (at < text.size() && (text[at] == '&' || text[at] == ' ')) ++at;
    std::string key;
    while (at < text.size() && text[at] != '=') {
      key += text[at] >= 'A' && text[at] <= 'Z' ? static_cast<char>(text[at] + 32) : text[at];
      ++at;
    }
    if (at == text.size()) return params;
    ++at;
    std::string value;
    while (at < text.size() && text[at] != '&') value += text[at++];
    // Of this test's alphabet only these are escapes.
    for (std::size_t i; (i = value.find("%41")) != std::string::npos;) value.replace(i, 3, "A");
    for (char& c : value) c = c == '+' ? ' ' : c;
    params[key] = value;
    if (at == text.size()) return params;
  }
}

// Calls `visit` with every text of at most `most` of `pieces`, while it returns true.
template <typename Visit>
bool forEachText(const std::vector<std::string>& pieces, std::size_t most, const std::string& start,
                 const Visit& visit) {
  if (!visit(start)) return false;
  if (most == 0) return true;
  for (const std::string& piece : pieces) {
    if (!forEachText(pieces, most - 1, start + piece, visit)) return false;
  }
  return true;
}

TEST(QueryParams, AgreeWithANaiveParserOnEveryShortText) {
  const std::vector<std::string> pieces = {"&", " ", "=", "A", "b", "+", "%41", "\t"};
  Parts parts;
  forEachText(pieces, 6, "", [&](const std::string& text) {
    parts.conn.params.clear();
    parts.conn.setQueryParams(text);
    const Map expected = naivelyParsed(text);
    EXPECT_EQ(parts.conn.params, expected) << text;
    return parts.conn.params == expected;
  });
}

TEST(LocalRequest, OtherProtocolsAreRefusedByName) {
  for (const unsigned protocol : {0u, 3u}) {
    Parts parts;
    parts.req.protocol = protocol;
    EXPECT_FALSE(parts.conn.validateLocalRequest());
    EXPECT_EQ(parts.resp.errors,
              (std::vector<fake::FakeResponse::Answer>{
                  {503, protocol == 0 ? "unknown protocol is not supported by hotspot"
                                      : "ftp protocol is not supported by hotspot"}}));
    EXPECT_TRUE(parts.req.bodyLimits.empty());
  }
}

TEST(LocalRequest, BothWebProtocolsAreServed) {
  for (const unsigned protocol : {1u, 2u}) {
    Parts parts;
    parts.req.protocol = protocol;
    EXPECT_TRUE(parts.conn.validateLocalRequest());
    EXPECT_TRUE(parts.resp.errors.empty());
  }
}

TEST(LocalRequest, OtherMethodsAreRefusedByName) {
  for (unsigned method = 0; method < kMethodCount; ++method) {
    if (method == kMethodGet || method == kMethodPost) continue;
    Parts parts;
    parts.req.method = method;
    EXPECT_FALSE(parts.conn.validateLocalRequest());
    ASSERT_EQ(parts.resp.errors.size(), 1u);
    EXPECT_EQ(parts.resp.errors[0].first, 503);
    EXPECT_EQ(parts.resp.errors[0].second,
              std::string(methodNames[method]) + " method is not supported by hotspot");
    EXPECT_TRUE(parts.req.bodyLimits.empty());
  }
  Parts head;
  head.req.method = 2;
  EXPECT_FALSE(head.conn.validateLocalRequest());
  EXPECT_EQ(head.resp.errors[0].second, "HEAD method is not supported by hotspot");
}

TEST(LocalRequest, ProtocolIsCheckedBeforeTheMethod) {
  Parts parts;
  parts.req.protocol = 3;
  parts.req.method = 4;
  EXPECT_FALSE(parts.conn.validateLocalRequest());
  ASSERT_EQ(parts.resp.errors.size(), 1u);
  EXPECT_EQ(parts.resp.errors[0].second, "ftp protocol is not supported by hotspot");
}

TEST(LocalRequest, GetReadsNoBody) {
  Parts parts;
  parts.req.body = "user=a";
  EXPECT_TRUE(parts.conn.validateLocalRequest());
  EXPECT_TRUE(parts.req.bodyLimits.empty());
  EXPECT_TRUE(parts.conn.params.empty());
}

TEST(LocalRequest, PostBodyBecomesParameters) {
  Parts parts;
  parts.req.method = kMethodPost;
  parts.req.body = "User=a+b&x=%41";
  EXPECT_TRUE(parts.conn.validateLocalRequest());
  EXPECT_EQ(parts.conn.params, (Map{{"user", "a b"}, {"x", "A"}}));
  EXPECT_EQ(parts.req.bodyLimits, std::vector<unsigned>{1024});
  EXPECT_TRUE(parts.resp.errors.empty());
}

TEST(LocalRequest, PostBodyThatCannotBeReadIsAClientError) {
  Parts parts;
  parts.req.method = kMethodPost;
  parts.req.body = "user=a";
  parts.req.bodyFails = true;
  EXPECT_FALSE(parts.conn.validateLocalRequest());
  EXPECT_EQ(parts.resp.errors,
            (std::vector<fake::FakeResponse::Answer>{{400, "can't read POST data"}}));
  EXPECT_TRUE(parts.conn.params.empty());
}

TEST(LocalRequest, PostBodyOfExactlyTheLimitIsRead) {
  Parts parts;
  parts.req.method = kMethodPost;
  parts.req.body = "x=" + std::string(1022, 'y');
  EXPECT_TRUE(parts.conn.validateLocalRequest());
  EXPECT_EQ(parts.conn.params["x"].size(), 1022u);
  Parts longer;
  longer.req.method = kMethodPost;
  longer.req.body = "x=" + std::string(1023, 'y');
  EXPECT_FALSE(longer.conn.validateLocalRequest());
}

TEST(LocalRequest, QueryParsedBehindTheBodyWins) {
  Parts parts;
  parts.req.method = kMethodPost;
  parts.req.body = "user=a&keep=1";
  EXPECT_TRUE(parts.conn.validateLocalRequest());
  parts.conn.setQueryParams("user=b");
  EXPECT_EQ(parts.conn.params, (Map{{"keep", "1"}, {"user", "b"}}));
}

std::string cleaned(std::string dir) {
  cleanupDir(&dir);
  return dir;
}

TEST(CleanupDir, EndsWithOneSlash) {
  EXPECT_EQ(cleaned("lv"), "lv/");
  EXPECT_EQ(cleaned("lv/"), "lv/");
  EXPECT_EQ(cleaned("lv///"), "lv/");
  EXPECT_EQ(cleaned("a/b"), "a/b/");
  EXPECT_EQ(cleaned("a//b/"), "a//b/");
}

TEST(CleanupDir, LeadingSlashesTakeTheNextCharacterAlong) {
  EXPECT_EQ(cleaned("/lv"), "v/");
  EXPECT_EQ(cleaned("//lv/"), "v/");
  EXPECT_EQ(cleaned("/abc"), "bc/");
  EXPECT_EQ(cleaned("/a"), "/");
  EXPECT_EQ(cleaned("/a/b"), "/b/");
}

TEST(CleanupDir, SlashesAloneAreOneSlash) {
  EXPECT_EQ(cleaned("/"), "/");
  EXPECT_EQ(cleaned("///"), "/");
  EXPECT_EQ(cleaned("/a/"), "/");
}

TEST(CleanupDir, EmptyStaysEmpty) { EXPECT_EQ(cleaned(""), ""); }

TEST(CleanupDir, TwoDotsAreLoggedAndCleared) {
  for (const char* const dir : {"x/../y", "..", "a..b", "/..", "..."}) {
    fake::DebugCapture debug;
    EXPECT_EQ(cleaned(dir), "");
    EXPECT_EQ(debug.text(),
              std::string("serve: possible hacking attempt, targetDir = ") + dir + "\n");
    EXPECT_EQ(debug.pieces().size(), 4u);
  }
  fake::DebugCapture debug;
  EXPECT_EQ(cleaned("a.b/.c"), "a.b/.c/");
  EXPECT_EQ(debug.text(), "");
}

// The same by counting slashes.
std::string naivelyCleaned(const std::string& dir) {
  if (dir.empty()) return "";
  std::string middle;
  for (std::size_t i = 0; i + 1 < dir.size(); ++i) {
    if (dir[i] == '.' && dir[i + 1] == '.') return "";
  }
  std::size_t slashes = 0;
  while (slashes < dir.size() && dir[slashes] == '/') ++slashes;
  if (slashes == dir.size()) return "/";
  middle = slashes == 0 ? dir : dir.substr(slashes + 1);
  while (!middle.empty() && middle.back() == '/') middle.pop_back();
  return middle + "/";
}

TEST(CleanupDir, AgreesWithANaiveVersionOnEveryShortText) {
  forEachText({"/", ".", "a", "b"}, 8, "", [](const std::string& text) {
    EXPECT_EQ(cleaned(text), naivelyCleaned(text)) << text;
    return !testing::Test::HasFailure();
  });
}

TEST(GetParam, PresentEmptyValueBeatsTheDefault) {
  const Map map = {{"empty", ""}, {"full", "v"}};
  EXPECT_EQ(HsConn::getParam(map, "empty", "def"), "");
  EXPECT_EQ(HsConn::getParam(map, "full", "def"), "v");
  EXPECT_EQ(HsConn::getParam(map, "missing", "def"), "def");
  EXPECT_EQ(HsConn::getParam(map, "FULL", "def"), "def");
}

TEST(GetEnvParam, TellsWhetherTheKeyExists) {
  const Map map = {{"empty", ""}, {"full", "v"}};
  std::string value = "before";
  EXPECT_FALSE(HsConn::getEnvParam(map, "missing", &value));
  EXPECT_EQ(value, "before");
  EXPECT_TRUE(HsConn::getEnvParam(map, "full", &value));
  EXPECT_EQ(value, "v");
  EXPECT_TRUE(HsConn::getEnvParam(map, "empty", &value));
  EXPECT_EQ(value, "");
}

TEST(GetEnvParam, OutputMayBeNull) {
  const Map map = {{"n", "7"}, {"bad", "7x"}};
  EXPECT_TRUE(HsConn::getEnvParam(map, "n", static_cast<std::string*>(nullptr)));
  EXPECT_FALSE(HsConn::getEnvParam(map, "m", static_cast<std::string*>(nullptr)));
  EXPECT_TRUE(HsConn::getEnvParam(map, "n", static_cast<std::uint32_t*>(nullptr)));
  EXPECT_FALSE(HsConn::getEnvParam(map, "bad", static_cast<std::uint32_t*>(nullptr)));
}

TEST(GetEnvParam, WholeValueHasToBeANumber) {
  constexpr std::uint32_t kBefore = 77;
  struct Case {
    std::string text;
    bool accepted;
    std::uint32_t number;
  };
  const std::vector<Case> cases = {{"42", true, 42},
                                   {"", true, 0},
                                   {"42a", false, kBefore},
                                   {"a", false, kBefore},
                                   {" 7", true, 7},
                                   {"\t\n7", true, 7},
                                   {"7 ", false, kBefore},
                                   {" ", false, kBefore},
                                   {"-", false, kBefore},
                                   {"+7", true, 7},
                                   {"-1", true, 4294967295u},
                                   {"-4294967295", true, 1},
                                   {"0x10", false, kBefore},
                                   {"010", true, 10},
                                   {"1.5", false, kBefore},
                                   {"4294967295", true, 4294967295u},
                                   {"4294967296", true, 4294967295u},
                                   {"99999999999999999999999", true, 4294967295u},
                                   {"-4294967296", true, 4294967295u},
                                   {std::string("42\0", 3), false, kBefore},
                                   {std::string("\0", 1), false, kBefore}};
  for (const auto& [text, accepted, number] : cases) {
    std::uint32_t value = kBefore;
    EXPECT_EQ(HsConn::getEnvParam(Map{{"n", text}}, "n", &value), accepted) << text;
    EXPECT_EQ(value, number) << text;
  }
  std::uint32_t value = kBefore;
  EXPECT_FALSE(HsConn::getEnvParam(Map{}, "n", &value));
  EXPECT_EQ(value, kBefore);
}

TEST(Popup, IsOnUnlessAValueTurnsItOff) {
  const std::vector<std::pair<Map, const char*>> cases = {
      {{}, "true"},
      {{{"popup", "TRUE"}}, "true"},
      {{{"popup", "true"}}, "true"},
      {{{"popup", "On"}}, "true"},
      {{{"popup", "no"}}, "false"},
      {{{"popup", "False"}}, "false"},
      {{{"popup", "off"}}, "false"},
      {{{"popup", ""}}, "false"},
      {{{"popup", "yes"}}, "false"},
      {{{"popup", "1"}}, "false"},
      {{{"popup", " true"}}, "false"},
      {{{"popup-default", "false"}}, "false"},
      {{{"popup-default", "oN"}}, "true"},
      {{{"popup-default", ""}}, "false"},
      {{{"popup", ""}, {"popup-default", "true"}}, "false"},
      {{{"popup", "off"}, {"popup-default", "true"}}, "false"},
      {{{"popup", "on"}, {"popup-default", "false"}}, "true"}};
  for (const auto& [params, expected] : cases) {
    Parts parts;
    parts.conn.params = params;
    EXPECT_EQ(parts.conn.getPopup(), expected) << testing::PrintToString(params);
  }
}

TEST(Popup, IsLookedUpInTheParametersAlone) {
  Parts parts;
  parts.conn.env = {{"popup", "false"}};
  EXPECT_EQ(parts.conn.getPopup(), "true");
}

}  // namespace
