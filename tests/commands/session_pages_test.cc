// Logout, status and settings.

#include <gtest/gtest.h>

#include "tests/support/visit.h"

namespace {

using fake::Visit;
using Answers = std::vector<fake::FakeResponse::Answer>;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kEraseCookie = 0x00000425;
constexpr std::uint32_t kIdleTimeout = 0x0800000e;

struct Page {
  const char* path;
  unsigned command;
  const char* failurePage;
};

constexpr Page kPages[] = {{"logout", 3, "flogout"}, {"status", 1, "fstatus"}, {"set", 8, "fset"}};

TEST(SessionPages, SuccessShowsThePageOfTheSameName) {
  for (const Page& page : kPages) {
    SCOPED_TRACE(page.path);
    Visit visit;
    visit.pages.write(std::string(page.path) + ".html", "page of $(username)");
    visit.req.path = page.path;
    visit.reply().text(0x20000001, "anna");
    visit.serve();
    EXPECT_EQ(visit.commandNumbers(), (std::vector<unsigned>{page.command}));
    EXPECT_EQ(visit.ctx.commands[0].timeoutMs, 1000U);
    EXPECT_EQ(visit.body(), "page of anna");
    EXPECT_TRUE(visit.resp.statuses.empty());
  }
}

TEST(SessionPages, FailureShowsTheFailurePageWithTheError) {
  for (const Page& page : kPages) {
    SCOPED_TRACE(page.path);
    Visit visit;
    visit.pages.write(std::string(page.failurePage) + ".html", "$(error): $(error-type)");
    visit.pages.write(std::string(page.path) + ".html", "wrong page");
    visit.req.path = page.path;
    visit.reply().error(3, "who are you").flag(0x451, true);
    visit.serve();
    EXPECT_EQ(visit.body(), "who are you: not-logged-in");
    EXPECT_TRUE(visit.resp.statuses.empty());
  }
}

TEST(SessionPages, FailureWithoutAFailurePageRedirectsToTheLogin) {
  for (const Page& page : kPages) {
    SCOPED_TRACE(page.path);
    Visit visit;
    visit.pages.write("redirect.html", "$(link-redirect)");
    visit.pages.write("login.html", "wrong page");
    visit.pages.write(std::string(page.path) + ".html", "wrong page");
    visit.req.path = page.path;
    visit.req.method = kMethodPost;
    visit.reply().error(3, "who are you");
    visit.serve();
    EXPECT_EQ(visit.resp.statuses, (Answers{{303, "Hotspot login required"}}));
    EXPECT_EQ(visit.resp.header("Location"), "http://10.5.50.1/login");
    EXPECT_EQ(visit.body(), "http://10.5.50.1/login");
  }
}

TEST(SessionPages, NothingButTheErrorCodeDecides) {
  // Not logged in, and still the page.
  for (const Page& page : kPages) {
    SCOPED_TRACE(page.path);
    Visit visit;
    visit.pages.write(std::string(page.path) + ".html", "$(logged-in)");
    visit.req.path = page.path;
    visit.reply().flag(0x451, false);
    visit.serve();
    EXPECT_EQ(visit.body(), "no");
  }
}

TEST(SessionPages, LogoutAndStatusHaveNoFallback) {
  for (const char* path : {"logout", "status"}) {
    SCOPED_TRACE(path);
    Visit visit;
    visit.pages.write("redirect.html", "redirect");
    visit.pages.write("login.html", "login");
    visit.req.path = path;
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}}));
  }
}

TEST(SessionPages, SettingsFallBackToTheStatusPage) {
  Visit visit;
  visit.pages.write("status.html", "status $(idle-timeout)");
  visit.req.path = "set";
  visit.reply().u32(0x0800000e, 60);
  visit.serve();
  EXPECT_EQ(visit.body(), "status 1m");
}

TEST(SessionPages, LogoutErasesTheCookieUnlessToldFalse) {
  struct Case {
    const char* query;
    const char* field;
  };
  const char* const erase = "0x00000425 true";
  const Case cases[] = {
      {"", "(none)"},
      {"erase-cookie=", "(none)"},
      {"erase-cookie=false", "(none)"},
      {"erase-cookie=FALSE", "(none)"},
      {"erase-cookie=False", "(none)"},
      {"erase-cookie=no", erase},
      {"erase-cookie=0", erase},
      {"erase-cookie=1", erase},
      {"erase-cookie=yes", erase},
      {"erase-cookie=TRUE", erase},
      {"erase-cookie=true", erase},
      {"erase-cookie=off", erase},
      {"erase-cookie=false+", erase},
      {"erase-cookie=falsely", erase},
      {"erase-cookie=+", erase},
      {"Erase-Cookie=no", erase},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.query);
    Visit visit;
    visit.req.path = "logout";
    visit.req.query = c.query;
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.commandField(0, kEraseCookie), c.field);
  }
}

TEST(SessionPages, IdleTimeoutIsSentWhenItIsANumber) {
  struct Case {
    const char* query;
    const char* field;
  };
  const Case cases[] = {
      {"", "(none)"},
      {"idle-timeout=abc", "(none)"},
      {"idle-timeout=300", "0x0800000e 300"},
      {"idle-timeout=", "0x0800000e 0"},
      {"idle-timeout=0", "0x0800000e 0"},
      {"idle-timeout=5m", "(none)"},
      {"idle-timeout=+7", "0x0800000e 7"},
      {"idle-timeout=%2B7", "0x0800000e 7"},
      {"idle-timeout=7+", "(none)"},
      {"idle-timeout=+", "(none)"},
      {"idle-timeout=-1", "0x0800000e 4294967295"},
      {"idle-timeout=4294967295", "0x0800000e 4294967295"},
      {"idle-timeout=4294967296", "0x0800000e 4294967295"},
      {"idle-timeout=99999999999999999999999", "0x0800000e 4294967295"},
      {"idle-timeout=-4294967296", "0x0800000e 4294967295"},
      {"idle-timeout=0x10", "(none)"},
      {"idle-timeout=010", "0x0800000e 10"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.query);
    Visit visit;
    visit.req.path = "set";
    visit.req.query = c.query;
    visit.reply();
    visit.serve();
    ASSERT_EQ(visit.commandNumbers(), (std::vector<unsigned>{8}));
    EXPECT_EQ(visit.commandField(0, kIdleTimeout), c.field);
  }
}

TEST(SessionPages, SettingStandsBeforeTheCommonFields) {
  Visit visit;
  visit.req.path = "set";
  visit.req.query = "idle-timeout=300";
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.command(0), (Lines{"0x0800000e 300", "0x88ff0001 [63 13]", "0x08ff0007 8",
                                     "0x080003e9 168112642"}));
}

}  // namespace
