// Files of the page directory as answers: where they are looked for, how they are typed and sent.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/visit.h"

namespace {

using fake::Visit;
using Answers = std::vector<fake::FakeResponse::Answer>;
using Lines = std::vector<std::string>;

const Answers kNotFound = {{404, ""}};

TEST(PageFile, TwoDotsInTheNameAreRefused) {
  for (const char* name : {"../etc/passwd", "a..b.html", ".."}) {
    SCOPED_TRACE(name);
    Visit visit;
    visit.pages.write("b.html", "fallback");
    HsConn conn = visit.connection();
    conn.showFile(name, "b.html");
    EXPECT_EQ(visit.resp.errors, kNotFound);
    EXPECT_EQ(visit.debug.pieces(),
              (Lines{"showFile: possible hacking attempt", ", filename = ", name, "\n"}));
    EXPECT_EQ(visit.body(), "");
    EXPECT_TRUE(visit.resp.headerLines().empty());
  }
}

TEST(PageFile, FallbackAndTargetDirectoryAreNotCheckedForDots) {
  Visit visit;
  visit.pages.write("up.txt", "up");
  visit.pages.makeDirectory("sub");
  HsConn conn = visit.connection();
  conn.htmlDir += "sub/";
  conn.showFile("nosuch.txt", "../up.txt");
  conn.targetDir = "../";
  conn.showFile("up.txt", "");
  EXPECT_EQ(visit.body(), "upup");
}

// All sixteen combinations of the four candidates, with and without a fallback name.
TEST(PageFile, FirstCandidateThereIsIsTaken) {
  const char* const files[] = {"t/n.txt", "t/b.txt", "n.txt", "b.txt"};
  for (unsigned present = 0; present < 16; ++present) {
    for (const bool hasFallback : {false, true}) {
      SCOPED_TRACE(testing::Message() << present << ' ' << hasFallback);
      Visit visit;
      visit.pages.makeDirectory("t");
      std::string expected;
      for (unsigned i = 0; i < 4; ++i) {
        if ((present & (1U << i)) == 0) continue;
        visit.pages.write(files[i], files[i]);
        if (expected.empty() && (hasFallback || i % 2 == 0)) expected = files[i];
      }
      HsConn conn = visit.connection();
      conn.targetDir = "t/";
      conn.showFile("n.txt", hasFallback ? "b.txt" : "");
      EXPECT_EQ(visit.body(), expected);
      EXPECT_EQ(visit.resp.errors, expected.empty() ? kNotFound : Answers());
      EXPECT_EQ(visit.debug.text(),
                expected.empty() ? "showFile: file not found, targetDir=t/, name=n.txt, bkname=" +
                                       std::string(hasFallback ? "b.txt" : "") + "\n"
                                 : "");
    }
  }
}

TEST(PageFile, EmptyFallbackIsNoCandidate) {
  // With an empty name the directory itself would be found.
  Visit visit;
  HsConn conn = visit.connection();
  conn.showFile("nosuch.html", "");
  EXPECT_EQ(visit.debug.text(),
            "showFile: file not found, targetDir=, name=nosuch.html, bkname=\n");
}

TEST(PageFile, NameMayHoldADirectory) {
  Visit visit;
  visit.pages.write("img/logo.txt", "logo");
  HsConn conn = visit.connection();
  conn.showFile("img/logo.txt", "");
  EXPECT_EQ(visit.body(), "logo");
}

TEST(PageFile, WhatIsNoRegularFileIsNotSent) {
  Visit visit;
  visit.pages.makeDirectory("login.html");
  ASSERT_EQ(mkfifo((visit.pages.path() + "pipe.html").c_str(), 0600), 0);
  HsConn conn = visit.connection();
  conn.showFile("login.html", "");
  conn.showFile("pipe.html", "");
  EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}, {404, ""}}));
  EXPECT_EQ(visit.debug.text(), "showFile: file " + visit.pages.path() +
                                    "login.html is not a regular file!\n" + "showFile: file " +
                                    visit.pages.path() + "pipe.html is not a regular file!\n");
  EXPECT_TRUE(visit.resp.headerLines().empty());
}

TEST(PageFile, FileOfTwoGigabytesIsNotFound) {
  // What file offsets of 32 bits cannot tell; no block of it is ever written.
  Visit visit;
  visit.pages.write("big.bin", "x");
  visit.pages.write("b.bin", "fallback");
  ASSERT_EQ(truncate((visit.pages.path() + "big.bin").c_str(), off_t{1} << 31), 0);
  HsConn conn = visit.connection();
  conn.showFile("big.bin", "b.bin");
  EXPECT_EQ(visit.body(), "fallback");
  conn.showFile("big.bin", "");
  EXPECT_EQ(visit.resp.errors, kNotFound);
  EXPECT_EQ(visit.debug.text(), "showFile: file not found, targetDir=, name=big.bin, bkname=\n");
}

TEST(PageFile, HeadersAreAddedNotReplaced) {
  Visit visit;
  visit.pages.write("a.css", "a");
  visit.resp.headers.addHeader("Content-Type", "before", false);
  visit.resp.headers.addHeader("Content-Length", "before", false);
  HsConn conn = visit.connection();
  conn.showFile("a.css", "");
  EXPECT_EQ(visit.resp.headerLines(), (Lines{"Content-Type: before", "Content-Length: before",
                                             "Content-Type: text/css", "Content-Length: 1"}));
}

TEST(PageFile, DirectoryOfTheNameHidesTheFallback) {
  Visit visit;
  visit.pages.makeDirectory("n.html");
  visit.pages.write("b.html", "fallback");
  HsConn conn = visit.connection();
  conn.showFile("n.html", "b.html");
  EXPECT_EQ(visit.resp.errors, kNotFound);
  EXPECT_EQ(visit.body(), "");
}

TEST(PageFile, TemplateIsRenderedIntoTheBufferedStream) {
  for (const char* name : {"p.html", "p.htm", "p.txt", "p.HTML"}) {
    SCOPED_TRACE(name);
    Visit visit;
    visit.pages.write(name, "Hello $(username)!");
    HsConn conn = visit.connection();
    conn.env["username"] = "<a&b>";
    conn.showFile(name, "");
    EXPECT_EQ(visit.resp.buffered.text(), "Hello &lt;a&amp;b&gt;!");
    EXPECT_EQ(visit.resp.direct.text(), "");
    EXPECT_EQ(visit.resp.bufferedArguments, (std::vector<bool>{true}));
    EXPECT_EQ(visit.resp.header("Content-Length"), "(none)");
    EXPECT_EQ(visit.resp.headerLines().size(), 1U);
    EXPECT_EQ(visit.resp.buffered.headersAtFirstWrite(), 1U);
  }
}

TEST(PageFile, AnyOtherFileIsSentAsItIsInOneWrite) {
  struct Case {
    const char* name;
    const char* type;
  };
  const Case cases[] = {{"logo.gif", "image/gif"},
                        {"style.css", "text/css"},
                        {"login.xml", "text/xml"},
                        {"README", "application/octet-stream"}};
  const std::string content = std::string("$(username)%username%\0\xff\r\n", 25);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Visit visit;
    visit.pages.write(c.name, content);
    HsConn conn = visit.connection();
    conn.env["username"] = "anna";
    conn.showFile(c.name, "");
    EXPECT_EQ(visit.resp.direct.pieces(), (Lines{content}));
    EXPECT_TRUE(visit.resp.bufferedArguments.empty());
    EXPECT_EQ(visit.resp.headerLines(),
              (Lines{std::string("Content-Type: ") + c.type, "Content-Length: 25"}));
    EXPECT_EQ(visit.resp.direct.headersAtFirstWrite(), 2U);
  }
}

TEST(PageFile, LargeFileCostsOneWrite) {
  Visit visit;
  const std::string content(3 * 1024 * 1024 + 1, 'x');
  visit.pages.write("big.js", content);
  HsConn conn = visit.connection();
  conn.showFile("big.js", "");
  ASSERT_EQ(visit.resp.direct.pieces().size(), 1U);
  EXPECT_TRUE(visit.resp.direct.pieces()[0] == content);
  EXPECT_EQ(visit.resp.header("Content-Length"), "3145729");
}

TEST(PageFile, TypeFollowsTheRequestedNameNotTheFallbacks) {
  Visit raw;
  raw.pages.write("b.html", "$(username)");
  HsConn rawConn = raw.connection();
  rawConn.showFile("x.gif", "b.html");
  EXPECT_EQ(raw.resp.headerLines(), (Lines{"Content-Type: image/gif", "Content-Length: 11"}));
  EXPECT_EQ(raw.resp.direct.text(), "$(username)");

  Visit rendered;
  rendered.pages.write("b.gif", "$(username)");
  HsConn renderedConn = rendered.connection();
  renderedConn.env["username"] = "anna";
  renderedConn.showFile("x.html", "b.gif");
  EXPECT_EQ(rendered.resp.headerLines(), (Lines{"Content-Type: text/html"}));
  EXPECT_EQ(rendered.resp.buffered.text(), "anna");
}

TEST(PageFile, FileOfLengthZeroIsAnEmptyAnswer) {
  for (const char* name : {"empty.html", "empty.txt"}) {
    Visit visit;
    visit.pages.write(name, "");
    HsConn conn = visit.connection();
    conn.showFile(name, "");
    EXPECT_TRUE(visit.resp.errors.empty());
    EXPECT_EQ(visit.resp.headerLines().size(), 1U);
    EXPECT_EQ(visit.body(), "");
    EXPECT_EQ(visit.debug.text(), "");
  }
  Visit visit;
  visit.pages.write("empty.gif", "");
  HsConn conn = visit.connection();
  conn.showFile("empty.gif", "");
  EXPECT_TRUE(visit.resp.errors.empty());
  EXPECT_EQ(visit.resp.headerLines(), (Lines{"Content-Type: image/gif", "Content-Length: 0"}));
  EXPECT_EQ(visit.body(), "");
}

TEST(PageFile, FileThatFillsItsLastMemoryPageIsNotReadBeyond) {
  for (const std::size_t size : {4095U, 4096U, 4097U, 8192U, 65536U}) {
    Visit visit;
    std::string content(size, 'x');
    content.replace(size - 2, 2, "$(");
    visit.pages.write("p.html", content);
    HsConn conn = visit.connection();
    conn.showFile("p.html", "");
    EXPECT_TRUE(visit.body() == content) << size;
  }
}

TEST(PageFile, TextBehindAnUnmatchedDirectiveIsNotSent) {
  Visit visit;
  visit.pages.write("p.html", "before$(endif)after");
  HsConn conn = visit.connection();
  conn.showFile("p.html", "");
  EXPECT_EQ(visit.body(), "before");
  EXPECT_TRUE(visit.resp.errors.empty());
  EXPECT_EQ(visit.debug.pieces(), (Lines{"  ", "13", " bytes left!", "\n"}));
}

TEST(Page, IsAnHtmlFileThatMustNotBeCached) {
  Visit visit;
  visit.pages.write("login.html", "login");
  HsConn conn = visit.connection();
  conn.showPage("login", "");
  EXPECT_EQ(visit.body(), "login");
  EXPECT_EQ(visit.resp.headerLines(),
            (Lines{"Cache-Control: no-cache", "Content-Type: text/html"}));
}

TEST(Page, FallbackIsLookedForInBothDirectories) {
  Visit target;
  target.pages.write("xml/login.html", "xml login");
  target.pages.write("login.html", "login");
  HsConn targetConn = target.connection();
  targetConn.targetDir = "xml/";
  targetConn.showPage("flogin", "login");
  EXPECT_EQ(target.body(), "xml login");

  Visit plain;
  plain.pages.write("login.html", "login");
  HsConn plainConn = plain.connection();
  plainConn.targetDir = "xml/";
  plainConn.showPage("flogin", "login");
  EXPECT_EQ(plain.body(), "login");
}

TEST(Page, FallbackInTheTargetDirectoryBeatsThePageOutsideIt) {
  Visit visit;
  visit.pages.write("xml/login.html", "xml login");
  visit.pages.write("flogin.html", "flogin");
  HsConn conn = visit.connection();
  conn.targetDir = "xml/";
  conn.showPage("flogin", "login");
  EXPECT_EQ(visit.body(), "xml login");
}

TEST(Page, WithoutAFallbackOnlyItsOwnNameIsTried) {
  Visit visit;
  visit.pages.write(".html", "wrong file");
  visit.pages.write("error", "wrong file");
  HsConn conn = visit.connection();
  conn.showPage("error", "");
  EXPECT_EQ(visit.resp.errors, kNotFound);
  EXPECT_EQ(visit.debug.text(), "showFile: file not found, targetDir=, name=error.html, bkname=\n");
  // What was added before the failure stays.
  EXPECT_EQ(visit.resp.headerLines(), (Lines{"Cache-Control: no-cache"}));
}

TEST(AgentPage, ListsTheVariablesInsteadOfAnyPage) {
  Visit visit;
  visit.pages.write("login.html", "login");
  HsConn conn = visit.connection();
  conn.isAgent = true;
  conn.env = {{"b", "<&>"}, {"a", "1"}, {"B", "2"}, {"c", " x "}};
  conn.showPage("login", "login");
  EXPECT_EQ(visit.resp.buffered.text(), "B: 2\r\na: 1\r\nb: <&>\r\nc:  x \r\n");
  EXPECT_EQ(visit.resp.direct.text(), "");
  EXPECT_EQ(visit.resp.bufferedArguments, (std::vector<bool>{true}));
  EXPECT_EQ(visit.resp.headerLines(), (Lines{"Content-Type: application/vnd.quarnett.hotspot"}));
  EXPECT_EQ(visit.resp.buffered.headersAtFirstWrite(), 0U);  // the header follows the body
}

TEST(Page, CacheRuleAndAgentsTypeAreAddedNotReplaced) {
  Visit visit;
  visit.pages.write("login.html", "login");
  visit.resp.headers.addHeader("Cache-Control", "before", false);
  HsConn conn = visit.connection();
  conn.showPage("login", "");
  EXPECT_EQ(visit.resp.headerLines(),
            (Lines{"Cache-Control: before", "Cache-Control: no-cache", "Content-Type: text/html"}));
  conn.isAgent = true;
  conn.showPage("login", "");
  EXPECT_EQ(visit.resp.headerLines().size(), 4U);
}

TEST(AgentPage, LeavesOutWhatItsLinesCannotCarry) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.isAgent = true;
  conn.env = {{"", "no name"}, {"empty", ""},      {"feed", "a\nb"}, {"first", "\nb"},
              {"last", "a\n"}, {"return", "a\rb"}, {"good", "v"}};
  conn.showAgentPage();
  EXPECT_EQ(visit.body(), "good: v\r\nreturn: a\rb\r\n");
}

TEST(AgentPage, NeedsNoPageFile) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.isAgent = true;
  conn.showPage("nosuch", "");
  EXPECT_TRUE(visit.resp.errors.empty());
  EXPECT_EQ(visit.body(), "");
  EXPECT_EQ(visit.resp.headerLines(), (Lines{"Content-Type: application/vnd.quarnett.hotspot"}));
}

}  // namespace
