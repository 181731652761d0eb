// The client's session: state, timers, and what the request's own parameters add.

#include <gtest/gtest.h>

#include "tests/support/visit.h"
#include "tests/vars/env_text.h"

namespace {

using fake::Reply;
using fake::Visit;

constexpr std::uint32_t kState = 0x08000011;
constexpr std::uint32_t kLoginTime = 0x08000003;
constexpr std::uint32_t kSessionEnd = 0x08000004;
constexpr std::uint32_t kIdle = 0x0800000e;
constexpr std::uint32_t kRefresh = 0x08000453;
constexpr std::uint32_t kRadius = 0x30000439;

TEST(SessionVars, StateTwoOwesAnAdvertisementAndThreeBlocksToo) {
  struct Case {
    std::uint32_t state;
    const char* blocked;
    const char* advertPending;
  };
  const Case cases[] = {{0, "no", "no"},   {1, "no", "no"},  {2, "no", "yes"},
                        {3, "yes", "yes"}, {4, "no", "yes"}, {0xffffffff, "no", "yes"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.state);
    Visit visit;
    HsConn conn = visit.connection();
    conn.initCfg("status", Reply().u32(kState, c.state));
    EXPECT_EQ(variable(conn, "blocked"), c.blocked);
    EXPECT_EQ(variable(conn, "advert-pending"), c.advertPending);
  }
}

// The clock stands at 1000000.
TEST(SessionVars, UptimeIsTheTimeSinceTheLogin) {
  struct Case {
    std::uint32_t loginTime;
    const char* text;
    const char* secs;
  };
  const Case cases[] = {
      {1000000, "0s", "0"},
      {999939, "1m1s", "61"},
      {0, "11d13h46m40s", "1000000"},
      {1000001, "49710d6h28m15s", "4294967295"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.loginTime);
    Visit visit;
    HsConn conn = visit.connection();
    conn.initCfg("status", Reply().u32(kLoginTime, c.loginTime));
    EXPECT_EQ(variable(conn, "uptime"), c.text);
    EXPECT_EQ(variable(conn, "uptime-secs"), c.secs);
  }
}

TEST(SessionVars, BothNamesOfTheTimeLeftSayTheSame) {
  struct Case {
    std::uint32_t end;
    const char* text;
    const char* secs;
  };
  const Case cases[] = {
      {1000090, "1m30s", "90"},
      {1000001, "1s", "1"},
      {1000000, "", "0"},
      {999999, "49710d6h28m15s", "4294967295"},
      {0, "49698d16h41m36s", "4293967296"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.end);
    Visit visit;
    HsConn conn = visit.connection();
    conn.initCfg("status", Reply().u32(kSessionEnd, c.end));
    EXPECT_EQ(variable(conn, "session-timeout"), c.text);
    EXPECT_EQ(variable(conn, "session-time-left"), c.text);
    EXPECT_EQ(variable(conn, "session-timeout-secs"), c.secs);
    EXPECT_EQ(variable(conn, "session-time-left-secs"), c.secs);
  }
}

TEST(SessionVars, IdleTimeoutOfZeroHasNoText) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("status", Reply().u32(kIdle, 300));
  EXPECT_EQ(variable(conn, "idle-timeout"), "5m");
  EXPECT_EQ(variable(conn, "idle-timeout-secs"), "300");
  conn.initCfg("status", Reply().u32(kIdle, 0));
  EXPECT_EQ(variable(conn, "idle-timeout"), "");
  EXPECT_EQ(variable(conn, "idle-timeout-secs"), "0");
}

TEST(SessionVars, RefreshComesOneSecondAfterTheEndWhenThatIsSooner) {
  struct Case {
    const char* what;
    bool hasEnd;
    std::uint32_t left;
    std::uint32_t interval;
    const char* text;
    const char* secs;
  };
  const Case cases[] = {
      {"end first", true, 30, 60, "31s", "31"},
      {"one second before the interval", true, 59, 60, "1m", "60"},
      {"end and interval together", true, 60, 60, "1m", "60"},
      {"interval first", true, 90, 60, "1m", "60"},
      {"no interval", true, 90, 0, "", "0"},
      {"no end", false, 0, 60, "1m", "60"},
      {"end reached", true, 0, 60, "1m", "60"},
      {"end passed", true, 0xffffffff, 60, "1m", "60"},
      {"largest", true, 0xfffffffe, 0xffffffff, "49710d6h28m15s", "4294967295"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Visit visit;
    HsConn conn = visit.connection();
    Reply reply;
    reply.u32(kRefresh, c.interval);
    if (c.hasEnd) reply.u32(kSessionEnd, fake::kUptime + c.left);
    conn.initCfg("status", reply);
    EXPECT_EQ(variable(conn, "refresh-timeout"), c.text);
    EXPECT_EQ(variable(conn, "refresh-timeout-secs"), c.secs);
  }
}

TEST(SessionVars, LoginByIsTheRepliesText) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("status", Reply().text(0x20000013, "http-chap"));
  EXPECT_EQ(variable(conn, "login-by"), "http-chap");
}

TEST(SessionVars, CountersOfTheReplyReachThePages) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("status", Reply().u64(0x10000015, 12).u64(0x1000001f, 20));
  EXPECT_EQ(variable(conn, "bytes-in"), "12");
  EXPECT_EQ(variable(conn, "remain-bytes-in"), "8");
}

TEST(SessionVars, RadiusAttributesAreReplacedOnlyByAReplyThatHasThem) {
  using Bytes = std::vector<unsigned char>;
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("login", Reply().raw(kRadius, {18, 4, 'h', 'i'}));
  EXPECT_EQ(conn.radius.bytes, (Bytes{18, 4, 'h', 'i'}));
  conn.initCfg("get", Reply());
  EXPECT_EQ(conn.radius.bytes, (Bytes{18, 4, 'h', 'i'}));
  conn.initCfg("get", Reply().raw(kRadius, {11, 3, 'x'}));
  EXPECT_EQ(conn.radius.bytes, (Bytes{11, 3, 'x'}));
  conn.initCfg("get", Reply().raw(kRadius, {}));
  EXPECT_EQ(conn.radius.bytes, Bytes());
}

TEST(SessionVars, SessionIdAndVarAreTheRequestsParameters) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.params["session-id"] = "s 1";
  conn.params["var"] = "<v>";
  conn.initCfg("status", Reply());
  EXPECT_EQ(variable(conn, "session-id"), "s 1");
  EXPECT_EQ(variable(conn, "var"), "<v>");
}

}  // namespace
