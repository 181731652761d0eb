// System calls and host calls, in order and failing.

#include <errno.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "servlet/hsrv.h"
#include "tests/support/visit.h"
#include "tests/support/wrapped_system.h"

namespace {

using fake::CallWatch;
using fake::Visit;
using Answers = std::vector<fake::FakeResponse::Answer>;
using Lines = std::vector<std::string>;

TEST(SystemCalls, PageFileIsOpenedMappedUnmappedAndClosed) {
  for (const char* name : {"p.html", "p.css"}) {
    Visit visit;
    visit.pages.write(name, "0123456789ab");
    HsConn conn = visit.connection();
    CallWatch watch;
    conn.showFile(name, "");
    EXPECT_EQ(watch.fileCalls(),
              (Lines{"open " + visit.pages.path() + name, "mmap 12", "munmap 12", "close"}));
    EXPECT_TRUE(watch.sharedReadOnly);
    EXPECT_TRUE(watch.populated) << "faults page by page cost more than all the rest";
    EXPECT_EQ(visit.body(), "0123456789ab");
  }
}

TEST(SystemCalls, FileThatCannotBeOpenedIsNotFound) {
  for (const int error : {EACCES, EMFILE, ENOENT}) {
    Visit visit;
    visit.pages.write("p.html", "page");
    visit.pages.write("b.html", "fallback");
    HsConn conn = visit.connection();
    CallWatch watch;
    watch.failOpen(error);
    conn.showFile("p.html", "b.html");
    EXPECT_EQ(watch.fileCalls(), (Lines{"open " + visit.pages.path() + "p.html"}));
    EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}}));
    EXPECT_EQ(visit.debug.pieces(),
              (Lines{"showFile: failed to open file ", visit.pages.path() + "p.html", ": ",
                     std::strerror(error), "\n"}));
    EXPECT_TRUE(visit.resp.headerLines().empty());
    EXPECT_EQ(visit.body(), "");
  }
}

TEST(SystemCalls, FileThatCannotBeMappedIsNotFoundAndClosed) {
  for (const int error : {ENOMEM, ENODEV}) {
    Visit visit;
    visit.pages.write("p.html", "page");
    HsConn conn = visit.connection();
    CallWatch watch;
    watch.failMmap(error);
    conn.showFile("p.html", "");
    EXPECT_EQ(watch.fileCalls(),
              (Lines{"open " + visit.pages.path() + "p.html", "mmap 4", "close"}));
    EXPECT_EQ(watch.calls[2], "close");  // before the line is written
    EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}}));
    EXPECT_EQ(visit.debug.pieces(),
              (Lines{"showFile: failed to mmap file ", visit.pages.path() + "p.html", ": ",
                     std::strerror(error), "\n"}));
    EXPECT_TRUE(visit.resp.headerLines().empty());
    EXPECT_EQ(visit.body(), "");
  }
}

TEST(SystemCalls, MappingAtNoAddressIsAFailure) {
  Visit visit;
  visit.pages.write("p.html", "page");
  HsConn conn = visit.connection();
  CallWatch watch;
  watch.mapNowhere();
  conn.showFile("p.html", "");
  EXPECT_EQ(watch.fileCalls(), (Lines{"open " + visit.pages.path() + "p.html", "mmap 4", "close"}));
  EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}}));
  EXPECT_TRUE(visit.debug.text().starts_with("showFile: failed to mmap file " + visit.pages.path() +
                                             "p.html: "));
}

// There is nothing to be done about it; what is answered is whole.
TEST(SystemCalls, FileThatCannotBeUnmappedOrClosedIsAnsweredAllTheSame) {
  for (const char* name : {"p.html", "p.css"}) {
    Visit visit;
    visit.pages.write(name, "0123456789ab");
    HsConn conn = visit.connection();
    CallWatch watch;
    watch.failMunmap(ENOMEM);
    watch.failClose(EIO);
    conn.showFile(name, "");
    EXPECT_EQ(watch.fileCalls(),
              (Lines{"open " + visit.pages.path() + name, "mmap 12", "munmap 12", "close"}))
        << "neither is tried again: the descriptor may be another's by then";
    EXPECT_EQ(watch.openFiles, 0);
    EXPECT_EQ(visit.body(), "0123456789ab");
    EXPECT_TRUE(visit.resp.errors.empty());
  }
}

TEST(SystemCalls, FileThatCannotBeMappedNorClosedIsClosedOnceAndSaysWhyOfTheMapping) {
  Visit visit;
  visit.pages.write("p.html", "page");
  HsConn conn = visit.connection();
  CallWatch watch;
  watch.failMmap(ENOMEM);
  watch.failClose(EIO);
  conn.showFile("p.html", "");
  EXPECT_EQ(watch.fileCalls(), (Lines{"open " + visit.pages.path() + "p.html", "mmap 4", "close"}));
  EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}}));
  EXPECT_TRUE(visit.debug.text().ends_with(std::string(": ") + std::strerror(ENOMEM) + "\n"));
}

TEST(SystemCalls, DroppedClientIsDroppedWhenItsSocketCannotBeClosed) {
  Visit visit;
  visit.pages.write("error.html", "gone");
  visit.req.path = "help.html";
  visit.reply().error(0xfe0004, "bye");
  CallWatch watch;
  watch.failClose(EIO);
  visit.serve();
  EXPECT_EQ(watch.fileCalls(), (Lines{"close", "open " + visit.pages.path() + "error.html",
                                      "mmap 4", "munmap 4", "close"}));
  EXPECT_FALSE(visit.resp.keepAlive);
  EXPECT_FALSE(visit.resp.reusable);
}

TEST(SystemCalls, FailureOfAPageKeepsTheHeaderAddedBeforeIt) {
  Visit visit;
  visit.pages.write("p.html", "page");
  HsConn conn = visit.connection();
  CallWatch watch;
  watch.failOpen(EACCES);
  conn.showPage("p", "");
  EXPECT_EQ(visit.resp.headerLines(), (Lines{"Cache-Control: no-cache"}));
}

TEST(SystemCalls, FileOfLengthZeroLeavesNothingBehind) {
  for (const char* name : {"p.html", "p.css"}) {
    Visit visit;
    visit.pages.write(name, "");
    HsConn conn = visit.connection();
    CallWatch watch;
    conn.showFile(name, "");
    EXPECT_EQ(watch.openFiles, 0);
    EXPECT_EQ(watch.mappings, 0);
    EXPECT_TRUE(visit.resp.errors.empty());
  }
}

TEST(SystemCalls, DroppedClientsSocketIsClosedBeforeThePageIsSent) {
  Visit visit;
  visit.pages.write("error.html", "gone");
  visit.req.path = "help.html";
  visit.reply().error(0xfe0004, "bye");
  CallWatch watch;
  visit.serve();
  EXPECT_EQ(watch.fileCalls(), (Lines{"close", "open " + visit.pages.path() + "error.html",
                                      "mmap 4", "munmap 4", "close"}));
}

TEST(SystemCalls, ServletsStorageIsTakenFromMallocAndGoesBackToFree) {
  HSrv* const before = hsServlet;
  hsServlet = nullptr;
  CallWatch watch;
  Servlet* const servlet = createServlet();
  const void* const storage = servlet;
  delete servlet;
  hsServlet = before;
  EXPECT_EQ(watch.taken, (std::vector<const void*>{storage}));
  EXPECT_EQ(watch.freed, (std::vector<const void*>{storage}));
}

TEST(SystemCalls, DeletedServletGoesBackToFree) {
  const std::size_t size = sizeof(HSrv);
  Servlet* const servlet = ::new (std::malloc(size)) HSrv;
  const void* const storage = servlet;
  CallWatch watch;
  delete servlet;
  EXPECT_EQ(watch.freed, (std::vector<const void*>{storage}));
}

// Everything that can fail on the way of a login and of an intercepted request, one at a time: the
// request is answered all the same, nothing stays open, and the next request is right.
struct Fault {
  const char* what;
  void (*inject)(Visit&, CallWatch&);
};

const Fault kFaults[] = {
    {"manager silent", [](Visit& visit, CallWatch&) { visit.ctx.replies.clear(); }},
    {"body unreadable", [](Visit& visit, CallWatch&) { visit.req.bodyFails = true; }},
    {"destination unknown", [](Visit& visit, CallWatch&) { visit.req.dstHost.clear(); }},
    {"no host name", [](Visit&, CallWatch&) { fake::theSystem().hostNameFails = true; }},
    {"open", [](Visit&, CallWatch& watch) { watch.failOpen(EMFILE); }},
    {"mmap", [](Visit&, CallWatch& watch) { watch.failMmap(ENOMEM); }},
    {"none", [](Visit&, CallWatch&) {}},
};

void play(bool intercepted, const Fault& fault, std::string* body, Answers* errors) {
  Visit visit;
  visit.pages.write("rlogin.html", "rlogin $(identity) $(link-orig)");
  visit.pages.write("login.html", "login $(identity)");
  visit.pages.write("error.html", "error $(error-type)");
  visit.pages.write("flogin.html", "flogin $(error-type)");
  visit.req.method = kMethodPost;
  visit.req.path = "login";
  visit.req.foreignDst = intercepted;
  visit.req.dstHost = "n";
  visit.ctx.replies = {fake::Reply().text(0x2000044d, visit.pages.path())};
  CallWatch watch;
  fault.inject(visit, watch);
  visit.serve();
  EXPECT_EQ(watch.openFiles, 0);
  EXPECT_EQ(watch.mappings, 0);
  *body = visit.body();
  *errors = visit.resp.errors;
}

TEST(SystemCalls, EachFaultInTurnIsAnsweredAndForgotten) {
  struct Expected {
    const char* body;
    Answers errors;
  };
  const Answers notFound = {{404, ""}};
  // In the order of kFaults. A silent manager names no page directory, and there is none at the
  // default place.
  const Expected login[] = {{"", notFound},       {"", {{400, "can't read POST data"}}},
                            {"login router", {}}, {"login Quarnett", {}},
                            {"", notFound},       {"", notFound},
                            {"login router", {}}};
  const Expected intercepted[] = {{"", notFound},
                                  {"rlogin router http://nlogin", {}},
                                  {"rlogin router ", {}},
                                  {"rlogin Quarnett http://nlogin", {}},
                                  {"", notFound},
                                  {"", notFound},
                                  {"rlogin router http://nlogin", {}}};
  for (std::size_t n = 0; n < std::size(kFaults); ++n) {
    SCOPED_TRACE(kFaults[n].what);
    std::string body;
    Answers errors;
    play(false, kFaults[n], &body, &errors);
    EXPECT_EQ(body, login[n].body);
    EXPECT_EQ(errors, login[n].errors);
    play(false, kFaults[6], &body, &errors);
    EXPECT_EQ(body, "login router");
    play(true, kFaults[n], &body, &errors);
    EXPECT_EQ(body, intercepted[n].body);
    EXPECT_EQ(errors, intercepted[n].errors);
    play(true, kFaults[6], &body, &errors);
    EXPECT_EQ(body, "rlogin router http://nlogin");
  }
}

}  // namespace
