// Cookies: reading one from a request's header, writing one, the login cookie's number.

#include "servlet/cookies.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "tests/support/fake_host.h"

namespace {

std::uint32_t cookieId(const std::string& header) {
  fake::FakeRequest req;
  req.headers.addHeader("Cookie", header, false);
  return getCookieId(req);
}

constexpr char kDefault[] = "(default)";

std::string cookie(const std::string& header, const std::string& name = "loginID") {
  return getCookie(header, name, kDefault);
}

TEST(GetCookie, FindsTheCookieAmongOthers) {
  EXPECT_EQ(cookie("loginID=42"), "42");
  EXPECT_EQ(cookie("a=1; loginID=42; b=2"), "42");
  EXPECT_EQ(cookie("a=1;loginID=42"), "42");
  EXPECT_EQ(cookie("a=1;\tloginID=42;b=2"), "42");
  EXPECT_EQ(cookie("a=1 loginID=42"), "42");
  EXPECT_EQ(cookie("loginID=1; loginID=2"), "1");
}

TEST(GetCookie, NameHasToStartAnEntry) {
  EXPECT_EQ(cookie("xloginID=5; loginID=7"), "7");
  EXPECT_EQ(cookie("xloginID=5"), kDefault);
  EXPECT_EQ(cookie("a=loginID=5"), kDefault);
  EXPECT_EQ(cookie("-loginID=5,loginID=6"), kDefault);
  EXPECT_EQ(cookie("aaa=1; aa=2", "aa"), "2");
}

TEST(GetCookie, NameIsComparedExactly) {
  EXPECT_EQ(cookie("LoginID=42"), kDefault);
  EXPECT_EQ(cookie("loginid=42"), kDefault);
  EXPECT_EQ(cookie("loginID =42"), kDefault);
  EXPECT_EQ(cookie("loginIDs=42"), kDefault);
}

TEST(GetCookie, HeaderNotLongerThanTheNameHoldsNone) {
  EXPECT_EQ(cookie(""), kDefault);
  EXPECT_EQ(cookie("loginID"), kDefault);
  EXPECT_EQ(cookie("a=1"), kDefault);
  // One character for the name, one for '=': long enough.
  EXPECT_EQ(cookie("a=", "a"), "");
  EXPECT_EQ(cookie("=", ""), "");
  EXPECT_EQ(cookie("", ""), kDefault);
}

TEST(GetCookie, PresentWithoutAValueIsEmptyNotTheDefault) {
  EXPECT_EQ(cookie("loginID="), "");
  EXPECT_EQ(cookie("loginID= ;"), "");
  EXPECT_EQ(cookie("loginID=;a=1"), "");
  EXPECT_EQ(cookie("loginID=\t \t"), "");
  EXPECT_EQ(cookie("loginID=   ; a=1"), "");
}

TEST(GetCookie, BlanksAndTabsAtBothEndsGoBeforeDecoding) {
  EXPECT_EQ(cookie("loginID=  42  "), "42");
  EXPECT_EQ(cookie("loginID=\t42\t;a=1"), "42");
  EXPECT_EQ(cookie("loginID= a b "), "a b");
  EXPECT_EQ(cookie("loginID=%2042+"), " 42 ");
  EXPECT_EQ(cookie("loginID=+"), " ");
}

TEST(GetCookie, ValueIsDecodedAndRunsToTheNextSemicolon) {
  EXPECT_EQ(cookie("loginID=4%32"), "42");
  EXPECT_EQ(cookie("loginID=a%3Bb=c;d"), "a;b=c");
  EXPECT_EQ(cookie("loginID=\"42\""), "\"42\"");
}

// The same entry by entry character: looks at each place for the name, in order.
std::string naiveCookie(const std::string& header, const std::string& name) {
  for (std::size_t at = 0; at + name.size() < header.size(); ++at) {
    if (header.substr(at, name.size() + 1) != name + "=") continue;
    if (at > 0 && header[at - 1] != ';' && header[at - 1] != ' ' && header[at - 1] != '\t')
      continue;
    std::string value;
    for (std::size_t i = at + name.size() + 1; i < header.size() && header[i] != ';'; ++i) {
      value += header[i];
    }
    while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.erase(0, 1);
    while (!value.empty() && (value.back() == ' ' || value.back() == '\t')) value.pop_back();
    for (char& c : value) c = c == '+' ? ' ' : c;  // the only escape of the alphabet below
    return value;
  }
  return kDefault;
}

TEST(GetCookie, AgreesWithANaiveReaderOnEveryShortHeader) {
  const std::string alphabet = "n=; \txy+";
  const std::vector<std::string> names = {"n", "nn", "x", "n=", ""};
  std::size_t wrong = 0;
  for (std::size_t length = 0; length <= 6; ++length) {
    std::size_t count = 1;
    for (std::size_t i = 0; i < length; ++i) count *= alphabet.size();
    for (std::size_t n = 0; n < count && wrong == 0; ++n) {
      std::string header;
      for (std::size_t rest = n, i = 0; i < length; ++i, rest /= alphabet.size()) {
        header += alphabet[rest % alphabet.size()];
      }
      for (const std::string& name : names) {
        const std::string expected = naiveCookie(header, name);
        EXPECT_EQ(getCookie(header, name, kDefault), expected) << header << " name " << name;
        if (getCookie(header, name, kDefault) != expected) ++wrong;
      }
    }
  }
}

TEST(GetCookie, HeaderOfNearMissesIsReadOnce) {
  std::string header;
  for (int i = 0; i < 200000; ++i) header += "xloginID=1";
  EXPECT_EQ(cookie(header), kDefault);
  EXPECT_EQ(cookie(header + ";loginID=7"), "7");
}

TEST(CookieId, IsTheNumberInTheLoginCookie) {
  EXPECT_EQ(cookieId("loginID=42"), 42u);
  EXPECT_EQ(cookieId("a=1; loginID=42; b=2"), 42u);
  EXPECT_EQ(cookieId("a=1;loginID=42"), 42u);
  EXPECT_EQ(cookieId("xloginID=5; loginID=7"), 7u);
  EXPECT_EQ(cookieId("loginID=  42  "), 42u);
  EXPECT_EQ(cookieId("loginID=4%32"), 42u);
  EXPECT_EQ(cookieId("loginID=12abc"), 12u);
  EXPECT_EQ(cookieId("loginID=0012"), 12u);
}

TEST(CookieId, IsZeroWithoutANumber) {
  EXPECT_EQ(cookieId("LoginID=42"), 0u);
  EXPECT_EQ(cookieId("loginID="), 0u);
  EXPECT_EQ(cookieId("a=1; loginID="), 0u);
  EXPECT_EQ(cookieId("loginID= ;"), 0u);
  EXPECT_EQ(cookieId("loginID=abc"), 0u);
  EXPECT_EQ(cookieId("loginID=0x10"), 0u);
  EXPECT_EQ(cookieId("loginID"), 0u);
  fake::FakeRequest req;
  EXPECT_EQ(getCookieId(req), 0u);
}

TEST(CookieId, HasThirtyTwoBitsOnEveryMachine) {
  EXPECT_EQ(cookieId("loginID=4294967295"), 4294967295u);
  EXPECT_EQ(cookieId("loginID=4294967296"), 4294967295u);
  EXPECT_EQ(cookieId("loginID=99999999999999999999"), 4294967295u);
  EXPECT_EQ(cookieId("loginID=-1"), 4294967295u);
  EXPECT_EQ(cookieId("loginID=-4294967296"), 4294967295u);
  EXPECT_EQ(cookieId("loginID=+7"), 7u);  // the plus is a blank by then
  EXPECT_EQ(cookieId("loginID=%2B7"), 7u);
}

TEST(CreateCookie, WithoutALifetimeOrAPathIsNameAndValue) {
  EXPECT_EQ(createCookie("loginID", "7", 0, ""), "loginID=7");
  EXPECT_EQ(createCookie("loginID", "", 0, ""), "loginID=");
}

TEST(CreateCookie, ValueIsUrlEscapedAndNameAndPathAreNot) {
  EXPECT_EQ(createCookie("a b", "c d;e_", 0, "/x y_;z"), "a b=c+d%3Be%5F; path=/x y_;z");
}

TEST(CreateCookie, PathComesBehindTheValue) {
  EXPECT_EQ(createCookie("loginID", "42", 0, "/login"), "loginID=42; path=/login");
}

// The date of an expiry, field by field.
std::string dateText(std::time_t t) {
  static const char days[] = "SunMonTueWedThuFriSat";
  static const char months[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
  std::tm parts{};
  gmtime_r(&t, &parts);
  char text[64];
  std::snprintf(text, sizeof text, "%.3s, %02d-%.3s-%d %02d:%02d:%02d GMT",
                days + 3 * parts.tm_wday, parts.tm_mday, months + 3 * parts.tm_mon,
                parts.tm_year + 1900, parts.tm_hour, parts.tm_min, parts.tm_sec);
  return text;
}

TEST(CreateCookie, LifetimeBecomesAnExpiryDateInUtc) {
  for (const unsigned maxAge : {1u, 60u, 86400u, 2592000u, 31536000u, 1000000000u}) {
    const std::time_t before = std::time(nullptr);
    const std::string made = createCookie("loginID", "42", maxAge, "/login");
    const std::time_t after = std::time(nullptr);
    bool right = false;
    for (std::time_t now = before; now <= after; ++now) {
      const std::string date = dateText(now + static_cast<std::time_t>(maxAge));
      right = right || made == "loginID=42; expires=" + date + "; path=/login";
    }
    EXPECT_TRUE(right) << made;
  }
}

TEST(CreateCookie, LifetimeWithoutAPathEndsWithTheDate) {
  const std::string made = createCookie("c", "v", 60, "");
  EXPECT_EQ(made.substr(0, 13), "c=v; expires=");
  EXPECT_EQ(made.size(), 13 + std::string("Mon, 16-Nov-2026 09:00:00 GMT").size());
  EXPECT_EQ(made.substr(made.size() - 4), " GMT");
}

}  // namespace
