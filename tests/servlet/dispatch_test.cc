// Which handler answers a request, and in which target directory.

#include <gtest/gtest.h>

#include "tests/support/visit.h"

namespace {

using fake::Visit;
using Answers = std::vector<fake::FakeResponse::Answer>;
using Lines = std::vector<std::string>;
using Numbers = std::vector<unsigned>;

constexpr std::uint32_t kTargetDir = 0x2000044e;

TEST(Dispatch, EachPageNameHasThreeSpellingsButTheSettingsOne) {
  struct Case {
    const char* page;
    unsigned command;
  };
  const Case cases[] = {
      {"login", 2},       {"login.html", 2},   {"login.cgi", 2},    {"logout", 3},
      {"logout.html", 3}, {"logout.cgi", 3},   {"status", 1},       {"status.html", 1},
      {"status.cgi", 1},  {"advert", 11},      {"advert.html", 11}, {"advert.cgi", 11},
      {"alogin", 10},     {"alogin.html", 10}, {"alogin.cgi", 10},  {"set", 8},
  };
  for (const Case& c : cases) {
    for (const char* directory : {"", "/", "/xml/"}) {
      SCOPED_TRACE(std::string(directory) + c.page);
      Visit visit;
      visit.req.path = std::string(directory) + c.page;
      visit.reply();
      visit.serve();
      EXPECT_EQ(visit.commandNumbers(), (Numbers{c.command}));
    }
  }
}

TEST(Dispatch, AnyOtherNameIsServedAsAFile) {
  const char* const names[] = {
      "set.html",   "set.cgi",    "Set",    "SET",         "sets",       "sta",
      "login.htm",  "LOGIN",      "Login",  "login.html2", "logi",       "loginx",
      "log",        "ab",         "a",      "error",       "error.html", "logon",
      "logout.htm", "logouts",    "statu",  "statuses",    "adverts",    "advert.",
      "aloginx",    "alogin.htm", "flogin", "login ",      " login",     "redirect.html"};
  for (const char* name : names) {
    SCOPED_TRACE(name);
    Visit visit;
    visit.pages.write(name, "the file");
    visit.pages.write("status.html", "wrong page");
    visit.req.path = name;
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.commandNumbers(), (Numbers{9}));
    EXPECT_EQ(visit.commandField(0, 0x08fe000c), "0x08fe000c 4");
    EXPECT_EQ(visit.body(), "the file");
  }
}

TEST(Dispatch, NameWithANulBehindItIsAnotherName) {
  Visit visit;
  visit.req.path = std::string("set\0x", 5);
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.commandNumbers(), (Numbers{9}));
}

TEST(Dispatch, FileOfAFailedLookUpIsReplacedByTheErrorPage) {
  for (const char* name : {"error", "help.html", "ab"}) {
    SCOPED_TRACE(name);
    Visit visit;
    visit.pages.write(name, "the file");
    visit.pages.write("error.html", "sorry: $(error)");
    visit.req.path = name;
    visit.reply().error(1, "broken");
    visit.serve();
    EXPECT_EQ(visit.body(), "sorry: broken");
    EXPECT_EQ(visit.resp.header("Cache-Control"), "no-cache");
  }
}

TEST(Dispatch, ErrorPageOfAFailedLookUpHasNoFallback) {
  Visit visit;
  visit.pages.write("redirect.html", "redirect");
  visit.pages.write("help.html", "help");
  visit.req.path = "help.html";
  visit.reply().error(1, "broken");
  visit.serve();
  EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}}));
  EXPECT_EQ(visit.body(), "");
}

TEST(Dispatch, FileHasNoFallbackAndMayBeCached) {
  Visit missing;
  missing.pages.write("redirect.html", "redirect");
  missing.pages.write("error.html", "error");
  missing.req.path = "nosuch.html";
  missing.reply();
  missing.serve();
  EXPECT_EQ(missing.resp.errors, (Answers{{404, ""}}));

  Visit found;
  found.pages.write("help.html", "help of $(username)");
  found.req.path = "/help.html";
  found.reply().text(0x20000001, "anna");
  found.serve();
  EXPECT_EQ(found.body(), "help of anna");
  EXPECT_EQ(found.resp.headerLines(), (Lines{"Content-Type: text/html"}));
}

TEST(Dispatch, AgentGetsFilesAsTheyAre) {
  Visit visit;
  visit.pages.write("help.html", "help");
  visit.req.path = "help.html";
  visit.req.headers.addHeader("User-Agent", "LinkAgent", false);
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.body(), "help");
}

TEST(Dispatch, TargetDirectoryComesFromTheParameterOrThePath) {
  struct Case {
    const char* path;
    const char* query;
    unsigned command;
    const char* targetDir;
  };
  const Case cases[] = {
      {"/login", "", 2, "0x2000044e '/'"},
      {"login", "", 2, "(none)"},
      {"xml/login.html", "", 2, "0x2000044e 'xml/'"},
      {"/xml/login", "", 2, "0x2000044e '/xml/'"},
      {"a/b/c/login", "", 2, "0x2000044e 'a/b/c/'"},
      {"//login", "", 2, "0x2000044e '//'"},
      {"xml/login", "target=lv", 2, "0x2000044e 'lv/'"},
      {"xml/login", "target=lv%2F%2F", 2, "0x2000044e 'lv/'"},
      {"xml/login", "target=%2Fabc", 2, "0x2000044e 'bc/'"},
      {"xml/login", "target=a%2Fb", 2, "0x2000044e 'a/b/'"},
      {"login", "target=lv", 2, "0x2000044e 'lv/'"},
      {"/status", "target=/", 1, "(none)"},
      {"/status", "target=///", 1, "(none)"},
      {"xml/status", "target=/", 1, "(none)"},
      {"status", "target=/", 1, "0x2000044e '/'"},
      {"status", "target=", 1, "(none)"},
      {"xml/status", "target=", 1, "0x2000044e 'xml/'"},
      {"xml/status", "target=x%2F..%2Fy", 1, "0x2000044e 'xml/'"},
      {"status", "target=..", 1, "(none)"},
      {"xml/status", "TARGET=lv", 1, "0x2000044e 'lv/'"},
      {"/", "", 9, "0x2000044e '/'"},
      {"", "", 9, "(none)"},
      {"lv/", "", 9, "0x2000044e 'lv/'"},
      {"lv/", "target=de", 9, "0x2000044e 'de/'"},
      {"lv/help.html", "", 9, "0x2000044e 'lv/'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.path) + "?" + c.query);
    Visit visit;
    visit.req.path = c.path;
    visit.req.query = c.query;
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.commandNumbers(), (Numbers{c.command}));
    EXPECT_EQ(visit.commandField(0, kTargetDir), c.targetDir);
  }
}

TEST(Dispatch, PathThatEndsInASlashIsTheServletsRoot) {
  for (const char* path : {"/", "", "lv/"}) {
    SCOPED_TRACE(path);
    Visit visit;
    visit.pages.write("rstatus.html", "rstatus");
    visit.req.path = path;
    visit.reply().flag(0x451, true);
    visit.serve();
    EXPECT_EQ(visit.body(), "rstatus");
  }
}

TEST(Dispatch, PathBelowTheMountPointCountsWhenTheHostSetsIt) {
  struct Case {
    bool hasRelPath;
    const char* relPath;
    unsigned command;
  };
  const Case cases[] = {{true, "status", 1}, {false, "status", 2}, {true, "", 9}};
  for (const Case& c : cases) {
    Visit visit;
    visit.req.path = "/login";
    visit.req.relPath = c.relPath;
    visit.req.hasRelPath = c.hasRelPath;
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.commandNumbers(), (Numbers{c.command}));
  }
}

TEST(Dispatch, TwoDotsInThePathAreRefusedBeforeAnythingIsAsked) {
  for (const char* path : {"/../etc/passwd", "a..b", "..", "/lv/../login", "login..", "..."}) {
    SCOPED_TRACE(path);
    Visit visit;
    visit.req.path = path;
    visit.req.query = "target=..";
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}}));
    EXPECT_TRUE(visit.ctx.commands.empty());
    EXPECT_EQ(visit.debug.pieces(),
              (Lines{"serve: possible hacking attempt", ", path = ", path, "\n"}));
  }
}

TEST(Dispatch, SingleDotsAreNoAttempt) {
  Visit visit;
  visit.req.path = "/./.login";
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.commandNumbers(), (Numbers{9}));
}

TEST(Dispatch, ValidationComesBeforeTheDots) {
  Visit method;
  method.req.path = "/../x";
  method.req.method = 2;
  method.serve();
  EXPECT_EQ(method.resp.errors, (Answers{{503, "HEAD method is not supported by hotspot"}}));
  EXPECT_EQ(method.debug.text(), "");

  Visit protocol;
  protocol.req.path = "/../x";
  protocol.req.protocol = 3;
  protocol.req.method = 2;
  protocol.serve();
  EXPECT_EQ(protocol.resp.errors, (Answers{{503, "ftp protocol is not supported by hotspot"}}));

  Visit post;
  post.req.path = "/../x";
  post.req.method = kMethodPost;
  post.req.body = "a=1";
  post.serve();
  EXPECT_EQ(post.req.bodyLimits, (Numbers{1024}));
  EXPECT_EQ(post.resp.errors, (Answers{{404, ""}}));
}

TEST(Dispatch, RefusedRequestAsksTheManagerNothing) {
  Visit visit;
  visit.req.path = "login";
  visit.req.method = kMethodPost;
  visit.req.bodyFails = true;
  visit.serve();
  EXPECT_EQ(visit.resp.errors, (Answers{{400, "can't read POST data"}}));
  EXPECT_TRUE(visit.ctx.commands.empty());
  EXPECT_EQ(visit.debug.text(), "");
  EXPECT_EQ(visit.body(), "");
}

TEST(Dispatch, QueryParameterReplacesTheBodysOfTheSameName) {
  Visit visit;
  visit.req.path = "login";
  visit.req.method = kMethodPost;
  visit.req.body = "user=a&password=p";
  visit.req.query = "user=b";
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.commandField(0, 0x20000001), "0x20000001 'b'");
  EXPECT_EQ(visit.commandField(0, 0x200003eb), "0x200003eb 'p'");
}

TEST(Dispatch, TargetOfAPostedFormCounts) {
  Visit visit;
  visit.req.path = "xml/login";
  visit.req.method = kMethodPost;
  visit.req.body = "target=lv";
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.commandField(0, kTargetDir), "0x2000044e 'lv/'");
}

TEST(Dispatch, DebugLineShowsThePathWithItsDirectory) {
  Visit visit;
  visit.req.path = "xml/login";
  visit.req.query = "target=a..b";
  visit.reply();
  visit.serve();
  const Lines expected = {"serve: possible hacking attempt",
                          ", targetDir = ",
                          "a..b",
                          "\n",
                          "HSrv query: ",
                          "xml/login",
                          "\n"};
  const Lines& pieces = visit.debug.pieces();
  ASSERT_GE(pieces.size(), expected.size());
  EXPECT_EQ(Lines(pieces.begin(), pieces.begin() + 7), expected);
}

TEST(Interception, RequestIsNeitherValidatedNorParsed) {
  Visit visit;
  visit.pages.write("rlogin.html", "$(link-orig)|$(session-id)|$(target-dir)|$(link-login)");
  visit.req.foreignDst = true;
  visit.req.dstHost = "n";
  visit.req.path = "/a/../b";
  visit.req.method = 2;
  visit.req.protocol = 3;
  visit.req.body = "session-id=body";
  visit.req.query = "dst=d&session-id=s&target=lv";
  visit.reply();
  visit.serve();
  EXPECT_TRUE(visit.resp.errors.empty());
  EXPECT_TRUE(visit.req.bodyLimits.empty());
  EXPECT_EQ(visit.commandNumbers(), (Numbers{9}));
  EXPECT_EQ(visit.commandField(0, kTargetDir), "(none)");
  EXPECT_EQ(visit.body(), "ftp://n/a/../b|||http://10.5.50.1/login?dst=ftp%3A%2F%2Fn%2Fa%2F..%2Fb");
}

TEST(Interception, BodyOfAnInterceptedPostIsNotRead) {
  Visit visit;
  visit.req.foreignDst = true;
  visit.req.method = kMethodPost;
  visit.req.body = "a=1";
  visit.reply();
  visit.serve();
  EXPECT_TRUE(visit.req.bodyLimits.empty());
}

TEST(Interception, PageNameOfAnotherSiteIsNoPageOfOurs) {
  for (const char* path : {"/login", "login", "/status", "/set"}) {
    Visit visit;
    visit.req.foreignDst = true;
    visit.req.path = path;
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.commandNumbers(), (Numbers{9})) << path;
  }
}

TEST(Interception, DebugLineShowsHostAndPath) {
  struct Case {
    const char* host;
    const char* path;
    bool hasRelPath;
    const char* text;
  };
  const Case cases[] = {{"news.test", "/a", false, "HSrv query: news.test//a\n"},
                        {"news.test", "/a", true, "HSrv query: news.test/rel\n"},
                        {"", "x", false, "HSrv query: /x\n"}};
  for (const Case& c : cases) {
    Visit visit;
    visit.req.foreignDst = true;
    visit.req.dstHost = c.host;
    visit.req.path = c.path;
    visit.req.relPath = "rel";
    visit.req.hasRelPath = c.hasRelPath;
    visit.pages.write("rlogin.html", "");
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.debug.text(), c.text);
  }
  Visit visit;
  visit.req.foreignDst = true;
  visit.req.dstHost = "h";
  visit.req.path = "p";
  visit.pages.write("rlogin.html", "");
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.debug.pieces(), (Lines{"HSrv query: ", "h", "/", "p", "\n"}));
}

}  // namespace
