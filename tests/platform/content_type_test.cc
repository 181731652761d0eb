// Content types by extension.

#include <gtest/gtest.h>

#include "host/response.h"

namespace {

struct Case {
  const char* name;
  const char* type;
  bool rendered;
};

void expectType(const Case& c) {
  bool rendered = false;
  EXPECT_EQ(getContentType(c.name, &rendered), c.type) << c.name;
  EXPECT_EQ(rendered, c.rendered) << c.name;
  rendered = true;  // only ever set, never cleared
  getContentType(c.name, &rendered);
  EXPECT_TRUE(rendered) << c.name;
}

TEST(ContentType, FollowsTheExtension) {
  const Case cases[] = {
      {"login.html", "text/html", true},      {"login.htm", "text/html", true},
      {"errors.txt", "text/plain", true},     {"style.css", "text/css", false},
      {"md5.js", "text/javascript", false},   {"a.json", "application/json", false},
      {"a.xml", "text/xml", false},           {"a.gif", "image/gif", false},
      {"a.png", "image/png", false},          {"a.jpg", "image/jpeg", false},
      {"a.jpeg", "image/jpeg", false},        {"a.svg", "image/svg+xml", false},
      {"favicon.ico", "image/x-icon", false}, {"a.webp", "image/webp", false},
      {"a.woff2", "font/woff2", false},       {"a.pdf", "application/pdf", false},
  };
  for (const Case& c : cases) {
    expectType(c);
  }
}

TEST(ContentType, IgnoresLetterCase) {
  expectType({"LOGIN.HTML", "text/html", true});
  expectType({"a.HtM", "text/html", true});
  expectType({"A.WOFF2", "font/woff2", false});
}

TEST(ContentType, IsOctetStreamForAnythingElse) {
  for (const char* const name : {"", "login", "html", ".", "a.", "a.htmlx", "a.xhtml", "a.htm ",
                                 "a.html.bak", "a.woff", "dir.html/file", "dir.html/", "/"}) {
    expectType({name, "application/octet-stream", false});
  }
}

TEST(ContentType, TakesTheLastExtensionOfTheLastName) {
  expectType({"a.png.html", "text/html", true});
  expectType({"dir.png/a.txt", "text/plain", true});
  expectType({"/home/web/hotspot/img/logo.svg", "image/svg+xml", false});
  expectType({"dir/.html", "text/html", true});
}

}  // namespace
