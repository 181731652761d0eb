// A host with content types of its own: which of its files the module renders.

#include <gtest/gtest.h>

#include "tests/support/visit.h"

namespace {

using fake::Visit;
using Lines = std::vector<std::string>;

// What the host says of every file, and what it was asked.
std::string hostsType;
bool hostsFlag;
Lines asked;

}  // namespace

// The linker sends the module's calls here (--wrap, by the function's name in the object files).
std::string wrappedType(const std::string& name, bool* rendered) __asm__(
    "__wrap__Z14getContentTypeRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPb");

std::string wrappedType(const std::string& name, bool* rendered) {
  asked.push_back(name + (*rendered ? ", flag set" : ", flag clear"));
  if (hostsFlag) *rendered = true;
  return hostsType;
}

namespace {

TEST(ContentTypeOfTheHost, IsAskedForWithTheFlagClear) {
  Visit visit;
  visit.pages.write("t/b.gif", "file");
  HsConn conn = visit.connection();
  conn.targetDir = "t/";
  asked.clear();
  conn.showFile("a.html", "b.gif");
  EXPECT_EQ(asked, (Lines{"a.html, flag clear"}));
}

TEST(ContentTypeOfTheHost, FlagAndExactTypeTogetherMakeATemplate) {
  struct Case {
    const char* type;
    bool flag;
    bool isTemplate;
  };
  const Case cases[] = {
      {"text/html", true, true},   {"text/plain", true, true},
      {"text/html", false, false}, {"text/plain", false, false},
      {"text/css", true, false},   {"text/html; charset=utf-8", true, false},
      {"TEXT/HTML", true, false},  {"text/htm", true, false},
      {"", true, false},           {"image/gif", false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.type << ' ' << c.flag);
    hostsType = c.type;
    hostsFlag = c.flag;
    Visit visit;
    visit.pages.write("p", "$(username)");
    HsConn conn = visit.connection();
    conn.env["username"] = "anna";
    conn.showFile("p", "");
    EXPECT_EQ(visit.resp.buffered.text(), c.isTemplate ? "anna" : "");
    EXPECT_EQ(visit.resp.direct.text(), c.isTemplate ? "" : "$(username)");
    EXPECT_EQ(visit.resp.header("Content-Type"), c.type);
    EXPECT_EQ(visit.resp.header("Content-Length"), c.isTemplate ? "(none)" : "11");
  }
}

}  // namespace
