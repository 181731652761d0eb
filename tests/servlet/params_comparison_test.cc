// The readers of what a client sends against second, naive versions: every short text over the
// characters that mean something to them.

#include <gtest/gtest.h>

#include <string>

#include "servlet/cookies.h"
#include "servlet/hs_conn.h"
#include "servlet/params.h"
#include "tests/servlet/naive_params.h"
#include "tests/support/fake_host.h"
#include "tests/support/short_texts.h"

namespace {

TEST(ParamsComparison, QueryAgreesOnEveryShortText) {
  fake::FakeContext ctx;
  const fake::FakeRequest req;
  fake::FakeResponse resp;
  HsConn conn{ctx, req, resp};
  forEachText("&= aAb%4+", 7, "", [&conn](const std::string& text) {
    conn.params.clear();
    conn.setQueryParams(text);
    HsConn::StringMap expected;
    naive::addParams(text, &expected);
    EXPECT_EQ(conn.params, expected) << text;
    return !testing::Test::HasFailure();
  });
}

TEST(ParamsComparison, LaterParametersReplaceEarlierOnes) {
  fake::FakeContext ctx;
  const fake::FakeRequest req;
  fake::FakeResponse resp;
  HsConn conn{ctx, req, resp};
  HsConn::StringMap expected;
  forEachText("&=aA", 7, "", [&conn, &expected](const std::string& text) {
    conn.setQueryParams(text);
    naive::addParams(text, &expected);
    EXPECT_EQ(conn.params, expected) << text;
    return !testing::Test::HasFailure();
  });
}

TEST(ParamsComparison, CookieAgreesOnEveryShortText) {
  forEachText("a=; \tb%4+", 6, "", [](const std::string& text) {
    for (const char* const name : {"a", "ab", ""}) {
      EXPECT_EQ(getCookie(text, name, "(none)"), naive::cookie(text, name, "(none)"))
          << text << " for " << name;
    }
    return !testing::Test::HasFailure();
  });
}

TEST(ParamsComparison, DirectoryAgreesOnEveryShortText) {
  forEachText("/.a \\", 8, "", [](const std::string& text) {
    std::string cleaned = text;
    cleanupDir(&cleaned);
    EXPECT_EQ(cleaned, naive::cleanDir(text)) << text;
    return !testing::Test::HasFailure();
  });
}

}  // namespace
