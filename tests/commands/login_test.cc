// The login command: what of a request reaches the hotspot manager.

#include <gtest/gtest.h>

#include "tests/support/visit.h"

namespace {

using fake::Visit;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kUser = 0x20000001;
constexpr std::uint32_t kPassword = 0x200003eb;
constexpr std::uint32_t kDomain = 0x20000008;
constexpr std::uint32_t kIsSsl = 0x000003f1;
constexpr std::uint32_t kCookieId = 0x080003ec;

TEST(Login, UserNameIsLookedForUnderTwoNames) {
  struct Case {
    const char* query;
    const char* user;
  };
  const Case cases[] = {
      {"username=anna&user=bert", "0x20000001 'anna'"},
      {"user=bert", "0x20000001 'bert'"},
      {"username=&user=bert", "0x20000001 ''"},
      {"user=", "0x20000001 ''"},
      {"", "0x20000001 ''"},
      {"USERNAME=Anna", "0x20000001 'Anna'"},
      {"username=a%20b%2B", "0x20000001 'a b+'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.query);
    Visit visit;
    visit.req.path = "/login";
    visit.req.query = c.query;
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.commandField(0, kUser), c.user);
  }
}

TEST(Login, CommandIsSentOnEveryVisitExactlyOnce) {
  Visit visit;
  visit.req.path = "/login";
  visit.reply();
  visit.serve();
  ASSERT_EQ(visit.commandNumbers(), (std::vector<unsigned>{2}));
  EXPECT_EQ(visit.command(0), (Lines{"0x20000001 ''", "0x200003eb ''", "0x20000008 ''",
                                     "0x000003f1 false", "0x080003ec 0", "0x88ff0001 [63 13]",
                                     "0x08ff0007 2", "0x080003e9 168112642", "0x2000044e '/'"}));
  EXPECT_EQ(visit.ctx.commands[0].timeoutMs, 18000U);
}

TEST(Login, PostedFormReachesTheManager) {
  Visit visit;
  visit.req.path = "login";
  visit.req.method = kMethodPost;
  visit.req.body = "username=anna&password=p%26w&domain=guests&popup=true";
  visit.req.isSsl = true;
  visit.req.headers.addHeader("Cookie", "theme=dark; loginID=4242", false);
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.commandField(0, kUser), "0x20000001 'anna'");
  EXPECT_EQ(visit.commandField(0, kPassword), "0x200003eb 'p&w'");
  EXPECT_EQ(visit.commandField(0, kDomain), "0x20000008 'guests'");
  EXPECT_EQ(visit.commandField(0, kIsSsl), "0x000003f1 true");
  EXPECT_EQ(visit.commandField(0, kCookieId), "0x080003ec 4242");
}

TEST(Login, RadiusParametersLeaveNoField) {
  Visit visit;
  visit.req.path = "/login";
  visit.req.query = "radius=1&radius1=x&radius26-9u=3";
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.commandField(0, 0x30000439), "(none)");
}

TEST(Login, RequestThatWasNotRedirectedCarriesNoOriginalDestination) {
  Visit visit;
  visit.req.path = "/login";
  visit.req.knownOrigDst[0] = 5;
  visit.req.knownOrigDst[1] = 80;
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.commandField(0, 0x080003ed), "(none)");
  EXPECT_EQ(visit.commandField(0, 0x080003ee), "(none)");
}

}  // namespace
