// The hotspot's configuration and the client's identity as page variables.

#include <gtest/gtest.h>

#include "tests/support/visit.h"
#include "tests/vars/env_text.h"

namespace {

using fake::Reply;
using fake::Visit;

constexpr std::uint32_t kLoggedIn = 0x00000451;
constexpr std::uint32_t kSslLogin = 0x00000452;
constexpr std::uint32_t kCfgFlags = 0x08000450;
constexpr std::uint32_t kHtmlDir = 0x2000044d;
constexpr std::uint32_t kMac = 0x3000000b;
constexpr std::uint32_t kUser = 0x20000001;
constexpr std::uint32_t kDomain = 0x20000008;

const std::vector<unsigned char> kMacBytes = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e};

TEST(ConfigVars, ReplyWithoutFieldsSetsEveryVariableToItsDefault) {
  Visit visit;
  HsConn conn = visit.connection();
  EXPECT_EQ(conn.initCfg("get", Reply()), 0U);
  const HsConn::StringMap expected = {
      {"advert-pending", "no"},
      {"blocked", "no"},
      {"bytes-in", "0"},
      {"bytes-in-nice", "0 B"},
      {"bytes-out", "0"},
      {"bytes-out-nice", "0 B"},
      {"domain", ""},
      {"error", ""},
      {"error-orig", ""},
      {"error-type", ""},
      {"hostname", "10.5.50.1"},
      {"identity", "router"},
      {"idle-timeout", ""},
      {"idle-timeout-secs", "0"},
      {"interface-name", ""},
      {"ip", "10.5.50.2"},
      {"limit-bytes-in", ""},
      {"limit-bytes-out", ""},
      {"limit-bytes-total", ""},
      {"link-advert", "http://10.5.50.1/advert"},
      {"link-alogin", "http://10.5.50.1/alogin"},
      {"link-login", "http://10.5.50.1/login"},
      {"link-login-only", "http://10.5.50.1/login"},
      {"link-logout", "http://10.5.50.1/logout"},
      {"link-orig", ""},
      {"link-status", "http://10.5.50.1/status"},
      {"location-id", ""},
      {"location-name", ""},
      {"logged-in", "no"},
      {"login-by", ""},
      {"login-by-mac", "no"},
      {"mac", ""},
      {"packets-in", "0"},
      {"packets-out", "0"},
      {"plain-passwd", "no"},
      {"refresh-timeout", ""},
      {"refresh-timeout-secs", "0"},
      {"remain-bytes-in", ""},
      {"remain-bytes-out", ""},
      {"remain-bytes-total", ""},
      {"server-address", "10.5.50.1:80"},
      {"server-name", ""},
      {"session-id", ""},
      {"session-time-left", ""},
      {"session-time-left-secs", "0"},
      {"session-timeout", ""},
      {"session-timeout-secs", "0"},
      {"ssl-login", "no"},
      {"target-dir", ""},
      {"trial", "no"},
      {"uptime", "0s"},
      {"uptime-secs", "0"},
      {"user-agent", ""},
      {"username", ""},
      {"var", ""},
  };
  EXPECT_EQ(conn.env, expected);
  EXPECT_EQ(conn.htmlDir, "/home/web/hotspot/");
  EXPECT_FALSE(conn.loggedIn);
  EXPECT_FALSE(conn.isAgent);
  EXPECT_EQ(conn.cfgFlags, 0U);
}

TEST(ConfigVars, NothingOfAReplyIsLeftAfterOneWithoutFields) {
  Visit visit;
  HsConn fresh = visit.connection();
  fresh.initCfg("get", Reply());

  HsConn conn = visit.connection();
  Reply full;
  full.flag(kLoggedIn, true).flag(kSslLogin, true).u32(kCfgFlags, 0x30).raw(kMac, kMacBytes);
  full.text(kUser, "00:1A:2B:3C:4D:5E").text(kDomain, "d").u32(0x08000011, 3).error(4, "e");
  full.u32(0x08000003, 1).u32(0x08000004, fake::kUptime + 9).u32(0x0800000e, 8).u32(0x08000453, 7);
  full.text(0x20000013, "by").text(0x20000454, "message").text(0x2000044e, "portal.test");
  full.be32(0x0800044f, fake::address(1, 2, 3, 4));
  for (const std::uint32_t id : {0x20000455U, 0x20000456U, 0x20000457U, 0x20000458U}) {
    full.text(id, "text");
  }
  for (const std::uint32_t id : {0x10000015U, 0x10000016U, 0x10000017U, 0x10000018U, 0x1000001fU,
                                 0x10000020U, 0x10000021U}) {
    full.u64(id, 5000);
  }
  conn.initCfg("login", full);
  std::vector<std::string> unchanged;
  for (const auto& [name, value] : conn.env) {
    if (fresh.env[name] == value) unchanged.push_back(name);
  }
  // These say something of the request or of the system.
  EXPECT_EQ(unchanged, (std::vector<std::string>{"identity", "ip", "link-orig", "session-id",
                                                 "target-dir", "user-agent", "var"}));
  conn.initCfg("get", Reply());
  EXPECT_EQ(conn.env, fresh.env);
}

TEST(ConfigVars, FieldsOfTheConnectionComeFromTheReplyAndAreResetWithoutThem) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("get",
               Reply().flag(kLoggedIn, true).u32(kCfgFlags, 0x8031).text(kHtmlDir, "/pages/"));
  EXPECT_TRUE(conn.loggedIn);
  EXPECT_EQ(conn.cfgFlags, 0x8031U);
  EXPECT_EQ(conn.htmlDir, "/pages/");
  EXPECT_EQ(variable(conn, "logged-in"), "yes");

  conn.initCfg("get", Reply());
  EXPECT_FALSE(conn.loggedIn);
  EXPECT_EQ(conn.cfgFlags, 0U);
  EXPECT_EQ(conn.htmlDir, "/home/web/hotspot/");
  EXPECT_EQ(variable(conn, "logged-in"), "no");
}

TEST(ConfigVars, VariablesOfOthersSurviveARefresh) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.env["popup"] = "true";
  conn.env["username"] = "old";
  conn.initCfg("get", Reply());
  EXPECT_EQ(variable(conn, "popup"), "true");
  EXPECT_EQ(variable(conn, "username"), "");
}

TEST(ConfigVars, AgentIsTheExactTokenBeforeTheSlash) {
  struct Case {
    const char* header;
    const char* variableText;
    bool isAgent;
  };
  const Case cases[] = {
      {"LinkAgent", "LinkAgent", true},
      {"LinkAgent/2.9", "LinkAgent", true},
      {"LinkAgent/", "LinkAgent", true},
      {"LinkAgent/1/2", "LinkAgent", true},
      {"linkagent", "linkagent", false},
      {"linkagent/2.9", "linkagent", false},
      {"LinkAgent 2.9", "LinkAgent 2.9", false},
      {"LinkAgentX/1", "LinkAgentX", false},
      {" LinkAgent", " LinkAgent", false},
      {"Mozilla/5.0 (X11; LinkAgent/1)", "Mozilla", false},
      {"/LinkAgent", "", false},
      {"", "", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.header);
    Visit visit;
    visit.req.headers.addHeader("User-Agent", c.header, false);
    HsConn conn = visit.connection();
    conn.initCfg("get", Reply());
    EXPECT_EQ(variable(conn, "user-agent"), c.variableText);
    EXPECT_EQ(conn.isAgent, c.isAgent);
  }
}

TEST(ConfigVars, AbsentUserAgentLeavesTheAgentFlagAlone) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.env["user-agent"] = "before";
  conn.isAgent = true;
  conn.initCfg("get", Reply());
  EXPECT_EQ(variable(conn, "user-agent"), "");
  EXPECT_TRUE(conn.isAgent);
}

TEST(ConfigVars, OptionBitsBecomeYesOrNo) {
  struct Case {
    std::uint32_t flags;
    const char* plainPasswd;
    const char* trial;
  };
  const Case cases[] = {{0, "no", "no"},           {0x10, "yes", "no"}, {0x20, "no", "yes"},
                        {0x30, "yes", "yes"},      {0x0f, "no", "no"},  {0xffffffcf, "no", "no"},
                        {0xffffffff, "yes", "yes"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.flags);
    Visit visit;
    HsConn conn = visit.connection();
    conn.initCfg("get", Reply().u32(kCfgFlags, c.flags));
    EXPECT_EQ(variable(conn, "plain-passwd"), c.plainPasswd);
    EXPECT_EQ(variable(conn, "trial"), c.trial);
  }
}

TEST(ConfigVars, SslLoginFollowsTheReplyAlone) {
  Visit visit;
  visit.req.isSsl = true;
  HsConn conn = visit.connection();
  conn.initCfg("get", Reply());
  EXPECT_EQ(variable(conn, "ssl-login"), "no");
  conn.initCfg("get", Reply().flag(kSslLogin, true));
  EXPECT_EQ(variable(conn, "ssl-login"), "yes");
}

TEST(ConfigVars, IdentityIsTheSystemsHostName) {
  Visit visit;
  HsConn conn = visit.connection();
  fake::theSystem().hostName = "lobby-gw";
  conn.initCfg("get", Reply());
  EXPECT_EQ(variable(conn, "identity"), "lobby-gw");
  EXPECT_EQ(fake::hostNameBuffer(), 66U);
}

TEST(ConfigVars, IdentityOfAHostNameThatFillsTheBufferIsCutAt65Bytes) {
  Visit visit;
  HsConn conn = visit.connection();
  fake::theSystem().hostName = std::string(80, 'n');
  conn.initCfg("get", Reply());
  EXPECT_EQ(variable(conn, "identity"), std::string(65, 'n'));
}

TEST(ConfigVars, IdentityIsAFixedNameWhenTheSystemHasNone) {
  Visit visit;
  HsConn conn = visit.connection();
  fake::theSystem().hostNameFails = true;
  conn.initCfg("get", Reply());
  EXPECT_EQ(variable(conn, "identity"), "Quarnett");
}

TEST(ConfigVars, ClientAddressIsThatOfTheConnection) {
  Visit visit;
  visit.req.clientAddr = fake::address(192, 168, 88, 254);
  HsConn conn = visit.connection();
  conn.initCfg("get", Reply().be32(0x080003e9, fake::address(1, 2, 3, 4)));
  EXPECT_EQ(variable(conn, "ip"), "192.168.88.254");
}

TEST(ConfigVars, MacAddressTakesExactlySixBytes) {
  struct Case {
    std::vector<unsigned char> bytes;
    const char* text;
  };
  const Case cases[] = {
      {kMacBytes, "00:1A:2B:3C:4D:5E"},
      {{}, "00:00:00:00:00:00"},
      {{1, 2, 3, 4, 5}, "00:00:00:00:00:00"},
      {{1, 2, 3, 4, 5, 6, 7}, "00:00:00:00:00:00"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.bytes.size());
    Visit visit;
    HsConn conn = visit.connection();
    conn.initCfg("get", Reply().raw(kMac, c.bytes));
    EXPECT_EQ(variable(conn, "mac"), c.text);
  }
}

TEST(ConfigVars, UserAndDomainComeFromTheReplyNotFromTheRequest) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.params["username"] = "typed";
  conn.params["domain"] = "typed";
  conn.initCfg("get", Reply().text(kUser, "anna").text(kDomain, "guests"));
  EXPECT_EQ(variable(conn, "username"), "anna");
  EXPECT_EQ(variable(conn, "domain"), "guests");
  conn.initCfg("get", Reply());
  EXPECT_EQ(variable(conn, "username"), "");
  EXPECT_EQ(variable(conn, "domain"), "");
}

TEST(ConfigVars, LoginByMacNeedsALoginWithTheMacTextAsUserName) {
  struct Case {
    const char* what;
    bool loggedIn;
    bool hasMac;
    const char* user;
    const char* text;
  };
  const Case cases[] = {
      {"logged in by MAC", true, true, "00:1A:2B:3C:4D:5E", "yes"},
      {"not logged in", false, true, "00:1A:2B:3C:4D:5E", "no"},
      {"letter case counts", true, true, "00:1a:2b:3c:4d:5e", "no"},
      {"longer", true, true, "00:1A:2B:3C:4D:5E0", "no"},
      {"shorter", true, true, "00:1A:2B:3C:4D:5", "no"},
      {"another user", true, true, "anna", "no"},
      {"no user", true, true, "", "no"},
      {"neither user nor MAC", true, false, "", "yes"},
      {"no MAC", true, false, "anna", "no"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Visit visit;
    HsConn conn = visit.connection();
    Reply reply;
    reply.flag(kLoggedIn, c.loggedIn).text(kUser, c.user);
    if (c.hasMac) reply.raw(kMac, kMacBytes);
    conn.initCfg("get", reply);
    EXPECT_EQ(variable(conn, "login-by-mac"), c.text);
  }
}

}  // namespace
