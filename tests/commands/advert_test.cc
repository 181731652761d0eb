// The advertisement page, and the after-login page on request.

#include <gtest/gtest.h>

#include "tests/support/visit.h"

namespace {

using fake::Visit;
using Answers = std::vector<fake::FakeResponse::Answer>;

constexpr std::uint32_t kAdvertUrl = 0x20000411;

TEST(Advert, AddressOfTheReplyIsShown) {
  Visit visit;
  visit.pages.write("advert.html", "advert $(link-redirect) $(link-orig)");
  visit.pages.write("redirect.html", "redirect");
  visit.req.path = "advert";
  visit.req.query = "dst=d";
  visit.reply().text(kAdvertUrl, "http://ad/1");
  visit.serve();
  EXPECT_EQ(visit.commandNumbers(), (std::vector<unsigned>{11}));
  EXPECT_EQ(visit.commandField(0, 0x08fe000c), "0x08fe000c 4");
  EXPECT_EQ(visit.body(), "advert http://ad/1 d");
}

TEST(Advert, MissingPageFallsBackToTheRedirectPage) {
  Visit visit;
  visit.pages.write("redirect.html", "redirect $(link-redirect)");
  visit.req.path = "advert";
  visit.reply().text(kAdvertUrl, "http://ad/1");
  visit.serve();
  EXPECT_EQ(visit.body(), "redirect http://ad/1");
}

TEST(Advert, WithoutAnAddressTheClientGoesOnToItsDestination) {
  for (const bool hasField : {false, true}) {
    Visit visit;
    visit.pages.write("advert.html", "advert");
    visit.pages.write("redirect.html", "redirect $(link-redirect)");
    visit.req.path = "advert";
    visit.req.query = "dst=http%3A%2F%2Fd";
    if (hasField) {
      visit.reply().text(kAdvertUrl, "");
    } else {
      visit.reply();
    }
    visit.serve();
    EXPECT_EQ(visit.body(), "redirect http://d");
  }
}

TEST(Advert, GoingOnHasNoFallback) {
  Visit visit;
  visit.pages.write("advert.html", "advert");
  visit.req.path = "advert";
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.resp.errors, (Answers{{404, ""}}));
}

TEST(Advert, FailureShowsItsPageOrTheLogin) {
  Visit shown;
  shown.pages.write("fadvert.html", "fadvert $(error)");
  shown.req.path = "advert";
  shown.reply().text(kAdvertUrl, "http://ad/1").error(1, "broken");
  shown.serve();
  EXPECT_EQ(shown.body(), "fadvert broken");
  EXPECT_TRUE(shown.resp.statuses.empty());

  Visit redirected;
  redirected.pages.write("redirect.html", "redirect $(link-redirect)");
  redirected.req.path = "advert";
  redirected.reply().text(kAdvertUrl, "http://ad/1").error(1, "broken");
  redirected.serve();
  EXPECT_EQ(redirected.resp.statuses, (Answers{{302, "Hotspot login required"}}));
  EXPECT_EQ(redirected.body(), "redirect http://10.5.50.1/login");
}

TEST(ALogin, SuccessShowsTheAfterLoginPageWithoutACookie) {
  Visit visit;
  visit.pages.write("alogin.html", "alogin $(popup) $(link-redirect)");
  visit.req.path = "alogin";
  visit.req.query = "dst=d";
  // The cookie of a reply is a login's alone.
  visit.reply().u32(0x080003ec, 42);
  visit.serve();
  EXPECT_EQ(visit.commandNumbers(), (std::vector<unsigned>{10}));
  EXPECT_EQ(visit.commandField(0, 0x08fe000c), "0x08fe000c 4");
  EXPECT_EQ(visit.body(), "alogin true d");
  EXPECT_EQ(visit.resp.header("Set-Cookie"), "(none)");
}

TEST(ALogin, FailureShowsItsPageOrTheLogin) {
  Visit shown;
  shown.pages.write("falogin.html", "falogin $(error)");
  shown.req.path = "alogin";
  shown.reply().error(1, "broken").flag(0x451, true);
  shown.serve();
  EXPECT_EQ(shown.body(), "falogin broken");

  Visit redirected;
  redirected.pages.write("redirect.html", "redirect");
  redirected.req.path = "alogin";
  redirected.reply().error(1, "broken").flag(0x451, true);
  redirected.serve();
  EXPECT_EQ(redirected.resp.statuses, (Answers{{302, "Hotspot login required"}}));
}

}  // namespace
