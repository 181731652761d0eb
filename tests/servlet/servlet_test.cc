// The servlet object and its one request entry.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <type_traits>

#include "host/debug.h"
#include "servlet/hsrv.h"
#include "tests/support/visit.h"

namespace {

using fake::FakeContext;
using fake::FakeResponse;
using fake::Visit;
using Numbers = std::vector<unsigned>;

constexpr std::uint32_t kServeLocal = 0x10000000;

TEST(Servlet, FactoryGivesTheSameObjectAtEveryCall) {
  Servlet* const first = createServlet();
  ASSERT_NE(first, nullptr);
  fake::DebugCapture debug;
  EXPECT_EQ(createServlet(), first);
  EXPECT_EQ(hsServlet, first);
  EXPECT_EQ(debug.text(), "");  // nothing is built a second time
}

TEST(Servlet, ConstructionWritesOneDebugLine) {
  fake::DebugCapture debug;
  const HSrv servlet;
  EXPECT_EQ(debug.pieces(), (std::vector<std::string>{"HSrv created", "\n"}));
}

TEST(Servlet, HasNoDataBesidesItsBases) { EXPECT_EQ(sizeof(HSrv), sizeof(Servlet)); }

TEST(Servlet, AnswersForEveryPathBelowItsMountPoint) {
  EXPECT_TRUE(createServlet()->isDirectory());
  EXPECT_FALSE(createServlet()->isProxy());
}

TEST(Servlet, DestructionLeavesTheInstancePointerAlone) {
  Servlet* const servlet = createServlet();
  { const HSrv another; }
  EXPECT_EQ(hsServlet, servlet);
}

TEST(Servlet, RequestForAnotherHostIsInterceptedUnlessMarked) {
  struct Case {
    const char* what;
    bool foreignDst;
    std::uint32_t flags;
    unsigned command;  // 1: the status page, 9: the answer to an unknown page
  };
  const Case cases[] = {
      {"ours", false, 0, 1},
      {"ours, marked", false, kServeLocal, 1},
      {"ours, all bits", false, 0xffffffff, 1},
      {"another's", true, 0, 9},
      {"another's, every other bit", true, ~kServeLocal, 9},
      {"another's, marked", true, kServeLocal, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Visit visit;
    visit.req.foreignDst = c.foreignDst;
    visit.req.connFlags = c.flags;
    visit.req.path = "status";
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.commandNumbers(), (Numbers{c.command}));
  }
}

// Notes the reuse flags at the moment of the first command.
struct WatchingContext : FakeContext {
  explicit WatchingContext(const FakeResponse& resp) : response(resp) {}

  nv::message sendRequest(nv::message& request, unsigned timeoutMs) override {
    kept = response.keepAlive && response.reusable;
    ended = !response.keepAlive && !response.reusable;
    return FakeContext::sendRequest(request, timeoutMs);
  }

  const FakeResponse& response;
  bool kept = false;
  bool ended = false;
};

TEST(Servlet, InterceptedSecureRequestEndsItsConnectionBeforeItIsServed) {
  struct Case {
    bool isSsl;
    bool foreignDst;
    std::uint32_t flags;
    bool kept;
  };
  const Case cases[] = {
      {true, true, 0, false}, {true, true, kServeLocal, true}, {true, false, 0, true},
      {false, true, 0, true}, {false, false, 0, true},         {false, true, kServeLocal, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.isSsl << c.foreignDst << c.flags);
    Visit visit;
    visit.req.isSsl = c.isSsl;
    visit.req.foreignDst = c.foreignDst;
    visit.req.connFlags = c.flags;
    visit.req.path = "status";
    WatchingContext ctx(visit.resp);
    visit.servlet->doMethod(ctx, visit.req, visit.resp);
    EXPECT_EQ(ctx.kept, c.kept);
    EXPECT_EQ(ctx.ended, !c.kept);
    EXPECT_EQ(visit.resp.keepAlive, c.kept);
    EXPECT_EQ(visit.resp.reusable, c.kept);
  }
}

TEST(Servlet, ReuseFlagsThatTheHostClearedStayClear) {
  Visit visit;
  visit.resp.keepAlive = false;
  visit.resp.reusable = false;
  visit.req.path = "status";
  visit.reply();
  visit.serve();
  EXPECT_FALSE(visit.resp.keepAlive);
  EXPECT_FALSE(visit.resp.reusable);
}

TEST(Servlet, ConnectionStartsEmpty) {
  Visit visit;
  const HsConn conn{visit.ctx, visit.req, visit.resp};
  EXPECT_EQ(&conn.ctx, &visit.ctx);
  EXPECT_EQ(&conn.req, &visit.req);
  EXPECT_EQ(&conn.resp, &visit.resp);
  EXPECT_TRUE(conn.params.empty());
  EXPECT_TRUE(conn.env.empty());
  EXPECT_TRUE(conn.radius.bytes.empty());
  EXPECT_EQ(conn.serverAddr, 0U);
  EXPECT_FALSE(conn.isAgent);
  EXPECT_EQ(conn.cfgFlags, 0U);
  EXPECT_EQ(conn.htmlDir, "");
  EXPECT_EQ(conn.targetDir, "");
  EXPECT_FALSE(conn.loggedIn);
}

TEST(Servlet, ConnectionsFieldsStandInTheirOrder) {
  Visit visit;
  const HsConn conn{visit.ctx, visit.req, visit.resp};
  const void* const fields[] = {&conn.params,     &conn.env,       &conn.radius,
                                &conn.serverAddr, &conn.isAgent,   &conn.cfgFlags,
                                &conn.htmlDir,    &conn.targetDir, &conn.loggedIn};
  EXPECT_TRUE(std::is_sorted(std::begin(fields), std::end(fields), std::less<>()));
  static_assert(!std::is_polymorphic_v<HsConn>);
}

TEST(Servlet, NothingOfARequestIsSeenByTheNext) {
  Visit first;
  first.req.path = "status";
  first.req.query = "var=secret&dst=secret";
  first.pages.write("status.html", "$(var)$(username)$(radius)$(link-orig)$(error)");
  first.reply().text(0x20000001, "anna").raw(0x30000439, {18, 4, 'h', 'i'}).error(0, "e");
  first.serve();
  EXPECT_EQ(first.body(), "secretannatruesecrete");

  Visit second;
  second.req.path = "status";
  second.pages.write("status.html", "[$(var)$(username)$(radius)$(link-orig)$(error)]");
  second.reply();
  second.serve();
  EXPECT_EQ(second.body(), "[]");
}

TEST(DebugOutput, NothingIsWrittenWhileEitherFlagIsZero) {
  struct Case {
    int enabled;
    int switched;
    const char* text;
  };
  const Case cases[] = {
      {0, 0, ""}, {0, 1, ""}, {1, 0, ""}, {1, 1, "HSrv created\n"}, {5, -1, "HSrv created\n"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.enabled << ' ' << c.switched);
    fake::DebugCapture debug;
    tdoutEnabled = c.enabled;
    tdoutSwitch = c.switched;
    const HSrv servlet;
    EXPECT_EQ(debug.text(), c.text);
  }
}

}  // namespace
