// What a client sees of a login: the login page, the failure page, the page after a login, the
// redirect to the login page.

#include <gtest/gtest.h>

#include "tests/support/visit.h"

namespace {

using fake::Reply;
using fake::Visit;
using Answers = std::vector<fake::FakeResponse::Answer>;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kLoggedIn = 0x00000451;
constexpr std::uint32_t kCookieId = 0x080003ec;
constexpr std::uint32_t kCookieSecs = 0x0800041c;
constexpr std::uint32_t kChap = 0x2000041b;
constexpr std::uint32_t kRadius = 0x30000439;

// WISPr redirection URL (vendor 14122 is 0x372a, type 4) "http://w".
const std::vector<unsigned char> kWisprUrl = {26,  16,  0,   0,   0x37, 0x2a, 4,   10,
                                              'h', 't', 't', 'p', ':',  '/',  '/', 'w'};

// A visit to the login page with the pages that a login can end in.
struct LoginVisit : Visit {
  LoginVisit() {
    pages.write("login.html", "login|$(popup)|$(chap-id)|$(chap-challenge)|$(error)");
    pages.write("flogin.html", "flogin|$(popup)|$(chap-id)|$(error)|$(error-type)");
    pages.write("alogin.html", "alogin|$(popup)|$(link-redirect)|$(username)");
    pages.write("redirect.html", "redirect|$(link-redirect)");
    req.path = "login";
  }
};

TEST(LoginPage, RepliesFlagAndCodeChooseThePage) {
  struct Case {
    const char* what;
    bool loggedIn;
    unsigned code;
    const char* body;
  };
  const Case cases[] = {
      {"not logged in, no error", false, 0, "login|true|||"},
      {"not logged in, failed", false, 0xa, "flogin|true||no such user|invalid-username"},
      {"logged in", true, 0, "alogin|false|http://10.5.50.1/status|anna"},
      {"logged in already, failed", true, 0xa, "alogin|false|http://10.5.50.1/status|anna"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    LoginVisit visit;
    Reply& reply = visit.reply().flag(kLoggedIn, c.loggedIn).text(0x20000001, "anna");
    if (c.code != 0) reply.error(c.code, "no such user");
    visit.serve();
    EXPECT_EQ(visit.body(), c.body);
    EXPECT_EQ(visit.commandNumbers(), (std::vector<unsigned>{2}));
    EXPECT_TRUE(visit.resp.statuses.empty());
    EXPECT_TRUE(visit.resp.errors.empty());
  }
}

TEST(LoginPage, FailurePageFallsBackToTheLoginPage) {
  Visit visit;
  visit.pages.write("login.html", "login $(error)");
  visit.req.path = "login";
  visit.reply().error(9, "no challenge");
  visit.serve();
  EXPECT_EQ(visit.body(), "login no challenge");
}

TEST(LoginPage, PlainLoginPageHasNoFallback) {
  Visit visit;
  visit.pages.write("flogin.html", "flogin");
  visit.pages.write("redirect.html", "redirect");
  visit.req.path = "login";
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}}));
  EXPECT_EQ(visit.body(), "");
}

TEST(LoginPage, ChallengeIsOfferedOverPlainHttpOnly) {
  struct Case {
    const char* what;
    bool isSsl;
    std::string chap;
    const char* body;
  };
  const Case cases[] = {
      {"plain", false, std::string("\x01\x00\x7f", 3), "login|true|\\001|\\000\\177|"},
      {"secure", true, std::string("\x01\x00\x7f", 3), "login|true|||"},
      {"identifier alone", false, "\x01", "login|true|||"},
      {"none", false, "", "login|true|||"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    LoginVisit visit;
    visit.req.isSsl = c.isSsl;
    visit.reply().text(kChap, c.chap);
    visit.serve();
    EXPECT_EQ(visit.body(), c.body);
  }
}

TEST(LoginPage, ChallengeIsOfferedOnTheFailurePageToo) {
  LoginVisit visit;
  visit.reply().text(kChap, "AB").error(9, "why");
  visit.serve();
  EXPECT_EQ(visit.body(), "flogin|true|\\101|why|chap-missing");
}

TEST(LoginPage, PopupFollowsTheParameters) {
  struct Case {
    const char* query;
    const char* body;
  };
  const Case cases[] = {{"", "login|true|||"},
                        {"popup=no", "login|false|||"},
                        {"popup-default=FALSE", "login|false|||"},
                        {"popup=On&popup-default=false", "login|true|||"},
                        {"popup=&popup-default=true", "login|false|||"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.query);
    LoginVisit visit;
    visit.req.query = c.query;
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.body(), c.body);
  }
}

TEST(LoginPage, AgentGetsTheVariablesWithoutPopup) {
  LoginVisit visit;
  visit.req.headers.addHeader("User-Agent", "LinkAgent/3", false);
  visit.reply().text(kChap, "AB");
  visit.serve();
  EXPECT_EQ(visit.body().find("popup: "), std::string::npos);
  EXPECT_NE(visit.body().find("chap-id: \\101\r\n"), std::string::npos);
  EXPECT_NE(visit.body().find("user-agent: LinkAgent\r\n"), std::string::npos);
  EXPECT_EQ(visit.resp.headerLines(), (Lines{"Content-Type: application/vnd.quarnett.hotspot"}));
}

TEST(AfterLogin, CookieIsSetOnlyForAnIdentifier) {
  struct Case {
    const char* what;
    bool hasId;
    std::uint32_t id;
    const char* cookie;
  };
  const Case cases[] = {{"no field", false, 0, "(none)"},
                        {"zero", true, 0, "(none)"},
                        {"one", true, 1, "loginID=1; path=/login"},
                        {"largest", true, 0xffffffff, "loginID=4294967295; path=/login"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    LoginVisit visit;
    Reply& reply = visit.reply().flag(kLoggedIn, true);
    if (c.hasId) reply.u32(kCookieId, c.id);
    visit.serve();
    EXPECT_EQ(visit.resp.header("Set-Cookie"), c.cookie);
  }
}

TEST(AfterLogin, CookieWithALifetimeHasAnExpiryDateBeforeThePath) {
  LoginVisit visit;
  visit.reply().flag(kLoggedIn, true).u32(kCookieId, 42).u32(kCookieSecs, 3600);
  visit.serve();
  const std::string cookie = visit.resp.header("Set-Cookie");
  const std::string begin = "loginID=42; expires=";
  const std::string end = " GMT; path=/login";
  ASSERT_GT(cookie.size(), begin.size() + end.size());
  EXPECT_EQ(cookie.substr(0, begin.size()), begin);
  EXPECT_EQ(cookie.substr(cookie.size() - end.size()), end);
  // "Mon, 16-Nov-2026 09:00:00"
  EXPECT_EQ(cookie.size(), begin.size() + 25 + end.size());
}

TEST(AfterLogin, CookieHeaderComesBeforeThePagesHeaders) {
  LoginVisit visit;
  visit.reply().flag(kLoggedIn, true).u32(kCookieId, 42);
  visit.serve();
  EXPECT_EQ(visit.resp.headerLines(),
            (Lines{"Set-Cookie: loginID=42; path=/login", "Cache-Control: no-cache",
                   "Content-Type: text/html"}));
}

TEST(AfterLogin, HeadersThatAreThereStay) {
  LoginVisit visit;
  visit.resp.headers.addHeader("Set-Cookie", "another=1", false);
  visit.resp.headers.addHeader("Location", "elsewhere", false);
  visit.reply().flag(kLoggedIn, true).u32(kCookieId, 42);
  visit.serve();
  HsConn conn = visit.connection();
  conn.env["link-login"] = "http://hs/login";
  conn.showLoginRedirect("rlogin");
  const Lines lines = visit.resp.headerLines();
  ASSERT_GE(lines.size(), 6U);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 3),
            (Lines{"Set-Cookie: another=1", "Location: elsewhere",
                   "Set-Cookie: loginID=42; path=/login"}));
  EXPECT_EQ(lines[5], "Location: http://hs/login");
}

TEST(AfterLogin, LoginPageSetsNoCookie) {
  LoginVisit visit;
  visit.reply().u32(kCookieId, 42);
  visit.serve();
  EXPECT_EQ(visit.resp.header("Set-Cookie"), "(none)");
}

TEST(AfterLogin, TargetIsTheRadiusUrlThenTheDestinationThenTheStatusPage) {
  struct Case {
    const char* what;
    std::vector<unsigned char> radius;
    const char* query;
    const char* body;
  };
  const std::vector<unsigned char> emptyUrl = {26, 8, 0, 0, 0x37, 0x2a, 4, 2};
  const std::vector<unsigned char> otherVendor = {26, 9, 0, 0, 0x37, 0x2b, 4, 3, 'x'};
  const std::vector<unsigned char> otherType = {26, 9, 0, 0, 0x37, 0x2a, 5, 3, 'x'};
  const Case cases[] = {
      {"RADIUS wins", kWisprUrl, "dst=http%3A%2F%2Fd", "alogin|true|http://w|"},
      {"destination", {}, "dst=http%3A%2F%2Fd", "alogin|true|http://d|"},
      {"neither", {}, "", "alogin|false|http://10.5.50.1/status|"},
      {"empty RADIUS URL", emptyUrl, "dst=http%3A%2F%2Fd", "alogin|true|http://d|"},
      {"another vendor's", otherVendor, "", "alogin|false|http://10.5.50.1/status|"},
      {"another type", otherType, "", "alogin|false|http://10.5.50.1/status|"},
      {"popup off", kWisprUrl, "popup=off", "alogin|false|http://w|"},
      {"popup asked for, no target", {}, "popup=true", "alogin|false|http://10.5.50.1/status|"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    LoginVisit visit;
    visit.req.query = c.query;
    visit.reply().flag(kLoggedIn, true).raw(kRadius, c.radius);
    visit.serve();
    EXPECT_EQ(visit.body(), c.body);
  }
}

TEST(AfterLogin, FirstOfSeveralRadiusUrlsCounts) {
  LoginVisit visit;
  std::vector<unsigned char> two = kWisprUrl;
  two.insert(two.end(), {26, 9, 0, 0, 0x37, 0x2a, 4, 3, 'z'});
  visit.reply().flag(kLoggedIn, true).raw(kRadius, two);
  visit.serve();
  EXPECT_EQ(visit.body(), "alogin|true|http://w|");
}

TEST(AfterLogin, ConnectionEndsAfterASecureLoginWithATarget) {
  struct Case {
    const char* what;
    bool isSsl;
    const char* query;
    bool kept;
  };
  const Case cases[] = {{"secure, target", true, "dst=http%3A%2F%2Fd", false},
                        {"secure, no target", true, "", true},
                        {"plain, target", false, "dst=http%3A%2F%2Fd", true},
                        {"plain, no target", false, "", true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    LoginVisit visit;
    visit.req.isSsl = c.isSsl;
    visit.req.query = c.query;
    visit.reply().flag(kLoggedIn, true);
    visit.serve();
    EXPECT_EQ(visit.resp.keepAlive, c.kept);
    EXPECT_EQ(visit.resp.reusable, c.kept);
  }
}

// On the login page the agent has none.
TEST(AfterLogin, AgentIsToldOfThePopup) {
  LoginVisit visit;
  visit.req.headers.addHeader("User-Agent", "LinkAgent/3", false);
  visit.reply().flag(kLoggedIn, true).raw(kRadius, kWisprUrl);
  visit.serve();
  EXPECT_NE(visit.body().find("popup: true\r\n"), std::string::npos);
  EXPECT_NE(visit.body().find("link-redirect: http://w\r\n"), std::string::npos);
}

TEST(AfterLogin, MissingPageFallsBackToTheRedirectPage) {
  Visit visit;
  visit.pages.write("redirect.html", "redirect|$(link-redirect)");
  visit.req.path = "login";
  visit.reply().flag(kLoggedIn, true);
  visit.serve();
  EXPECT_EQ(visit.body(), "redirect|http://10.5.50.1/status");
  EXPECT_TRUE(visit.resp.statuses.empty());
}

TEST(AfterLogin, MissingVariablesAreCreatedEmpty) {
  Visit visit;
  visit.pages.write("alogin.html", "alogin|$(link-redirect)|$(popup)");
  HsConn conn = visit.connection();
  conn.showAfterLogin(nv::message());
  EXPECT_EQ(visit.body(), "alogin||false");
  const HsConn::StringMap expected = {
      {"link-orig", ""}, {"link-redirect", ""}, {"link-status", ""}, {"popup", "false"}};
  EXPECT_EQ(conn.env, expected);
}

TEST(LoginRedirect, EveryMethodButGetIsAnswered303) {
  for (std::uint32_t method = 0; method < kMethodCount; ++method) {
    SCOPED_TRACE(methodNames[method]);
    Visit visit;
    visit.pages.write("redirect.html", "go to $(link-redirect)");
    visit.req.method = method;
    HsConn conn = visit.connection();
    conn.env["link-login"] = "http://hs/login?dst=x";
    conn.showLoginRedirect("rlogin");
    EXPECT_EQ(visit.resp.statuses, (Answers{{method == 1 ? 302 : 303, "Hotspot login required"}}));
    EXPECT_EQ(visit.resp.headerLines(),
              (Lines{"Location: http://hs/login?dst=x", "Cache-Control: no-cache",
                     "Content-Type: text/html"}));
    EXPECT_EQ(visit.body(), "go to http://hs/login?dst=x");
  }
}

TEST(LoginRedirect, PageThatExistsIsShownWithoutRedirecting) {
  Visit visit;
  visit.pages.write("fstatus.html", "page $(link-redirect)");
  visit.pages.write("redirect.html", "redirect");
  HsConn conn = visit.connection();
  conn.env["link-login"] = "http://hs/login";
  conn.showLoginRedirect("fstatus");
  EXPECT_TRUE(visit.resp.statuses.empty());
  EXPECT_EQ(visit.resp.header("Location"), "(none)");
  EXPECT_EQ(visit.body(), "page http://hs/login");
}

TEST(LoginRedirect, OnlyThePageDirectoryItselfIsLookedInto) {
  // The page of the target directory is the body, and still the client is redirected.
  Visit visit;
  visit.pages.write("lv/rlogin.html", "lv page");
  visit.pages.write("redirect.html", "redirect");
  HsConn conn = visit.connection();
  conn.targetDir = "lv/";
  conn.showLoginRedirect("rlogin");
  EXPECT_EQ(visit.resp.statuses, (Answers{{302, "Hotspot login required"}}));
  EXPECT_EQ(visit.body(), "lv page");
}

TEST(LoginRedirect, PageOfThePageDirectoryCountsWhenTheTargetDirectoryHasAnotherAnswer) {
  // Shown without a status although the target directory's fallback is what is found first.
  Visit visit;
  visit.pages.write("rlogin.html", "page");
  visit.pages.write("lv/redirect.html", "lv redirect");
  HsConn conn = visit.connection();
  conn.targetDir = "lv/";
  conn.showLoginRedirect("rlogin");
  EXPECT_TRUE(visit.resp.statuses.empty());
  EXPECT_EQ(visit.body(), "lv redirect");
}

TEST(LoginRedirect, MissingLinkCountsAsEmpty) {
  Visit visit;
  visit.pages.write("redirect.html", "[$(link-redirect)]");
  HsConn conn = visit.connection();
  conn.showLoginRedirect("rlogin");
  EXPECT_EQ(visit.body(), "[]");
  EXPECT_EQ(visit.resp.header("Location"), "");
  const HsConn::StringMap expected = {{"link-login", ""}, {"link-redirect", ""}};
  EXPECT_EQ(conn.env, expected);
}

TEST(LoginRedirect, WithoutAnyPageTheAnswerIsNotFound) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.showLoginRedirect("rlogin");
  EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}}));
}

TEST(LoginRedirect, AgentIsRedirectedToo) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.isAgent = true;
  conn.env["link-login"] = "http://hs/login";
  conn.showLoginRedirect("rlogin");
  EXPECT_EQ(visit.resp.statuses, (Answers{{302, "Hotspot login required"}}));
  EXPECT_EQ(visit.resp.headerLines(),
            (Lines{"Location: http://hs/login", "Content-Type: application/vnd.quarnett.hotspot"}));
  EXPECT_EQ(visit.body(), "link-login: http://hs/login\r\nlink-redirect: http://hs/login\r\n");
}

}  // namespace
