// The links that pages use for their forms and redirects.

#include <gtest/gtest.h>

#include "tests/support/visit.h"
#include "tests/vars/env_text.h"

namespace {

using fake::Reply;
using fake::Visit;

constexpr std::uint32_t kSslLogin = 0x00000452;
constexpr std::uint32_t kDnsName = 0x2000044e;

TEST(LinkVars, LoginLinksAloneTakeTheSecureScheme) {
  struct Case {
    bool isSsl;
    bool sslLogin;
    const char* loginScheme;
  };
  const Case cases[] = {{false, false, "http"},
                        {true, false, "https"},
                        {false, true, "https"},
                        {true, true, "https"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "ssl " << c.isSsl << ", ssl login " << c.sslLogin);
    Visit visit;
    visit.req.isSsl = c.isSsl;
    HsConn conn = visit.connection();
    conn.initCfg("get", Reply().flag(kSslLogin, c.sslLogin).text(kDnsName, "portal.test"));
    const std::string scheme = c.loginScheme;
    EXPECT_EQ(variable(conn, "link-login"), scheme + "://portal.test/login");
    EXPECT_EQ(variable(conn, "link-login-only"), scheme + "://portal.test/login");
    EXPECT_EQ(variable(conn, "link-logout"), "http://portal.test/logout");
    EXPECT_EQ(variable(conn, "link-status"), "http://portal.test/status");
    EXPECT_EQ(variable(conn, "link-advert"), "http://portal.test/advert");
    EXPECT_EQ(variable(conn, "link-alogin"), "http://portal.test/alogin");
  }
}

TEST(LinkVars, DestinationIsEscapedInThreeLinksAndPlainInLinkOrig) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.params["dst"] = "http://news.test/a_b?c=d e&f";
  conn.initCfg("get", Reply());
  const std::string query = "?dst=http%3A%2F%2Fnews.test%2Fa%5Fb%3Fc%3Dd+e%26f";
  EXPECT_EQ(variable(conn, "link-login"), "http://10.5.50.1/login" + query);
  EXPECT_EQ(variable(conn, "link-advert"), "http://10.5.50.1/advert" + query);
  EXPECT_EQ(variable(conn, "link-alogin"), "http://10.5.50.1/alogin" + query);
  EXPECT_EQ(variable(conn, "link-login-only"), "http://10.5.50.1/login");
  EXPECT_EQ(variable(conn, "link-logout"), "http://10.5.50.1/logout");
  EXPECT_EQ(variable(conn, "link-status"), "http://10.5.50.1/status");
  EXPECT_EQ(variable(conn, "link-orig"), "http://news.test/a_b?c=d e&f");
}

TEST(LinkVars, LinkOrigIsReadBeforeItIsOverwritten) {
  struct Case {
    const char* what;
    bool hasDst;
    const char* dst;
    const char* before;
    const char* linkLogin;
    const char* linkOrig;
  };
  const Case cases[] = {
      {"only an earlier link-orig", false, "", "http://a", "/login?dst=http%3A%2F%2Fa", "http://a"},
      {"an empty dst counts as none", true, "", "http://a", "/login?dst=http%3A%2F%2Fa",
       "http://a"},
      {"dst wins", true, "b", "http://a", "/login?dst=b", "b"},
      {"neither", true, "", "", "/login", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Visit visit;
    HsConn conn = visit.connection();
    if (c.hasDst) conn.params["dst"] = c.dst;
    conn.env["link-orig"] = c.before;
    conn.initCfg("get", Reply());
    EXPECT_EQ(variable(conn, "link-login"), std::string("http://10.5.50.1") + c.linkLogin);
    EXPECT_EQ(variable(conn, "link-orig"), c.linkOrig);
  }
}

TEST(LinkVars, DestinationOfAnEarlierReplyStaysThroughTheNext) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.params["dst"] = "x";
  conn.initCfg("login", Reply());
  conn.params.clear();
  conn.initCfg("get", Reply());
  EXPECT_EQ(variable(conn, "link-login"), "http://10.5.50.1/login?dst=x");
}

TEST(LinkVars, TargetDirectoryStandsBeforeThePageNameAsItIs) {
  struct Case {
    const char* targetDir;
    const char* linkStatus;
  };
  const Case cases[] = {{"", "http://10.5.50.1/status"},
                        {"lv/", "http://10.5.50.1/lv/status"},
                        {"/", "http://10.5.50.1//status"},
                        {"a b/", "http://10.5.50.1/a b/status"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.targetDir);
    Visit visit;
    HsConn conn = visit.connection();
    conn.targetDir = c.targetDir;
    conn.initCfg("get", Reply());
    EXPECT_EQ(variable(conn, "link-status"), c.linkStatus);
    EXPECT_EQ(variable(conn, "target-dir"), c.targetDir);
  }
}

}  // namespace
