// Requests that name no page: every intercepted one, and one for the servlet's own root.

#include <gtest/gtest.h>

#include "tests/support/visit.h"

namespace {

using fake::Reply;
using fake::Visit;
using Answers = std::vector<fake::FakeResponse::Answer>;

constexpr std::uint32_t kLoggedIn = 0x00000451;
constexpr std::uint32_t kAdvertBit = 0x01000000;
constexpr std::uint32_t kALoginBitA = 0x80000000;
constexpr std::uint32_t kALoginBitB = 0x02000000;

// An intercepted request for http://news.test/a.
struct InterceptedVisit : Visit {
  InterceptedVisit() {
    req.foreignDst = true;
    req.dstHost = "news.test";
    req.path = "/a";
    for (const char* page : {"error", "rlogin", "rstatus", "radvert", "alogin", "redirect"}) {
      pages.write(std::string(page) + ".html", page + std::string("|$(link-redirect)"));
    }
  }
};

TEST(UnknownPage, AddressIsRebuiltFromSchemeHostAndPath) {
  struct Case {
    const char* what;
    std::uint32_t protocol;
    const char* host;
    const char* path;
    const char* linkOrig;
  };
  const Case cases[] = {
      {"http", 1, "news.test", "/a", "http://news.test/a"},
      {"https", 2, "news.test", "/", "https://news.test/"},
      {"a protocol that is not served", 3, "f.test", "/x", "ftp://f.test/x"},
      {"unknown protocol", 0, "f.test", "/x", "unknown://f.test/x"},
      {"with a port", 1, "news.test:8080", "/a", "http://news.test:8080/a"},
      {"host cannot be told", 1, "", "/a", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    InterceptedVisit visit;
    visit.req.protocol = c.protocol;
    visit.req.dstHost = c.host;
    visit.req.path = c.path;
    visit.pages.write("rlogin.html", "$(link-orig)");
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.body(), c.linkOrig);
  }
}

TEST(UnknownPage, AddressIsThatOfTheWholePathNotOfTheRelativeOne) {
  InterceptedVisit visit;
  visit.req.path = "/hotspot/a";
  visit.req.relPath = "a";
  visit.req.hasRelPath = true;
  visit.pages.write("rlogin.html", "$(link-orig)");
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.body(), "http://news.test/hotspot/a");
}

TEST(UnknownPage, AddressIsTheDestinationOfTheLoginLinks) {
  InterceptedVisit visit;
  visit.pages.write("rlogin.html", "$(link-login) $(link-login-only)");
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.body(),
            "http://10.5.50.1/login?dst=http%3A%2F%2Fnews.test%2Fa http://10.5.50.1/login");
}

TEST(UnknownPage, DestinationOfUnknownHostLeavesTheLoginLinksBare) {
  InterceptedVisit visit;
  visit.req.dstHost = "";
  visit.pages.write("rlogin.html", "[$(link-login)][$(link-orig)]");
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.body(), "[http://10.5.50.1/login][]");
}

TEST(UnknownPage, InterceptedAddressReplacesAnEarlierOneEvenByNothing) {
  Visit visit;
  visit.req.dstHost = "";
  HsConn conn = visit.connection();
  conn.env["link-orig"] = "http://old";
  conn.processUnknown(false);
  EXPECT_EQ(conn.env["link-orig"], "");
}

TEST(UnknownPage, LocalRequestKeepsAnEarlierAddress) {
  Visit visit;
  visit.req.dstHost = "news.test";
  HsConn conn = visit.connection();
  conn.env["link-orig"] = "http://old";
  conn.processUnknown(true);
  EXPECT_EQ(conn.env["link-orig"], "http://old");
}

TEST(UnknownPage, ReplyAndBitsChooseThePage) {
  struct Case {
    const char* what;
    bool isLocal;
    bool fails;
    bool loggedIn;
    std::uint32_t flags;
    const char* body;
  };
  const char* const orig = "alogin|http://news.test/a";
  const char* const toALogin = "redirect|http://10.5.50.1/alogin?dst=http%3A%2F%2Fnews.test%2Fa";
  const char* const advert = "radvert|http://10.5.50.1/advert?dst=http%3A%2F%2Fnews.test%2Fa";
  const std::uint32_t both = kALoginBitA | kALoginBitB;
  const Case cases[] = {
      {"failed", false, true, false, 0, "error|$(link-redirect)"},
      {"failed although logged in", false, true, true, kAdvertBit, "error|$(link-redirect)"},
      {"failed, local", true, true, true, 0, "error|$(link-redirect)"},
      {"not logged in", false, false, false, kAdvertBit | both,
       "rlogin|http://10.5.50.1/login?dst=http%3A%2F%2Fnews.test%2Fa"},
      {"not logged in, local", true, false, false, 0, "rlogin|http://10.5.50.1/login"},
      {"local", true, false, true, 0, "rstatus|http://10.5.50.1/status"},
      {"local with all bits", true, false, true, kAdvertBit | both,
       "rstatus|http://10.5.50.1/status"},
      {"advertisement", false, false, true, kAdvertBit, advert},
      {"advertisement wins", false, false, true, kAdvertBit | both, advert},
      {"after-login page", false, false, true, both, toALogin},
      {"first after-login bit alone", false, false, true, kALoginBitA, orig},
      {"second after-login bit alone", false, false, true, kALoginBitB, orig},
      {"none of the bits", false, false, true, 0, orig},
      {"other bits", false, false, true, 0x64ffffff, orig},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    InterceptedVisit visit;
    visit.req.foreignDst = !c.isLocal;
    if (c.isLocal) visit.req.path = "";
    visit.req.connFlags = c.flags;
    Reply& reply = visit.reply().flag(kLoggedIn, c.loggedIn);
    if (c.fails) reply.error(1, "broken");
    visit.serve();
    EXPECT_EQ(visit.body(), c.body);
    EXPECT_EQ(visit.commandNumbers(), (std::vector<unsigned>{9}));
    EXPECT_TRUE(visit.resp.statuses.empty());
  }
}

TEST(UnknownPage, MissingPagesFallBackToTheRedirectPage) {
  struct Case {
    const char* what;
    bool isLocal;
    std::uint32_t flags;
    const char* body;
  };
  const Case cases[] = {
      {"local", true, 0, "redirect|http://10.5.50.1/status"},
      {"advertisement", false, kAdvertBit,
       "redirect|http://10.5.50.1/advert?dst=http%3A%2F%2Fn%2Fa"},
      {"after login", false, 0, "redirect|http://n/a"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Visit visit;
    visit.pages.write("redirect.html", "redirect|$(link-redirect)");
    visit.req.foreignDst = !c.isLocal;
    visit.req.dstHost = "n";
    visit.req.path = c.isLocal ? "" : "/a";
    visit.req.connFlags = c.flags;
    visit.reply().flag(kLoggedIn, true);
    visit.serve();
    EXPECT_EQ(visit.body(), c.body);
  }
}

TEST(UnknownPage, ErrorAndAfterLoginRedirectHaveNoFallback) {
  Visit failed;
  failed.pages.write("redirect.html", "redirect");
  failed.req.foreignDst = true;
  failed.reply().error(1, "broken");
  failed.serve();
  EXPECT_EQ(failed.resp.errors, (Answers{{404, ""}}));

  Visit toALogin;
  toALogin.pages.write("alogin.html", "alogin");
  toALogin.req.foreignDst = true;
  toALogin.req.connFlags = kALoginBitA | kALoginBitB;
  toALogin.reply().flag(kLoggedIn, true);
  toALogin.serve();
  EXPECT_EQ(toALogin.resp.errors, (Answers{{404, ""}}));
}

TEST(UnknownPage, ErrorPageHasTheErrorVariables) {
  InterceptedVisit visit;
  visit.pages.write("error.html", "$(error)/$(error-orig)/$(error-type)");
  visit.reply().error(5, "bye").text(0x20000454, "closing");
  visit.serve();
  EXPECT_EQ(visit.body(), "closing/bye/shutting-down");
  EXPECT_EQ(visit.debug.text(), "HSrv query: news.test//a\nget failed: bye\n");
}

TEST(UnknownPage, ClientThatIsNotLoggedInIsRedirectedWithoutThePage) {
  Visit visit;
  visit.pages.write("redirect.html", "redirect|$(link-redirect)");
  visit.req.foreignDst = true;
  visit.req.dstHost = "n";
  visit.req.method = kMethodPost;
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.resp.statuses, (Answers{{303, "Hotspot login required"}}));
  EXPECT_EQ(visit.resp.header("Location"), "http://10.5.50.1/login?dst=http%3A%2F%2Fn%2F");
}

TEST(UnknownPage, AfterLoginPageOfAnInterceptedRequestHasNoCookie) {
  InterceptedVisit visit;
  visit.reply().flag(kLoggedIn, true).u32(0x080003ec, 42);
  visit.serve();
  EXPECT_EQ(visit.body(), "alogin|http://news.test/a");
  EXPECT_EQ(visit.resp.header("Set-Cookie"), "(none)");
}

TEST(UnknownPage, OriginalDestinationGoesWithTheCommand) {
  InterceptedVisit visit;
  visit.req.connFlags = 0x08000000;
  visit.req.knownOrigDst[0] = 9;
  visit.req.knownOrigDst[1] = 80;
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.commandField(0, 0x080003ed), "0x080003ed 9");
  EXPECT_EQ(visit.commandField(0, 0x080003ee), "0x080003ee 80");
}

}  // namespace
