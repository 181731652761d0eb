// The list of header fields.

#include "host/headers.h"

#include <gtest/gtest.h>

namespace {

using Fields = std::vector<Headers::Field>;

TEST(Headers, NameIsFoundWithoutRegardToLetterCase) {
  Headers headers;
  headers.addHeader("User-Agent", "one", false);
  for (const char* const name : {"User-Agent", "user-agent", "USER-AGENT", "uSeR-aGeNt"}) {
    std::string value;
    EXPECT_TRUE(headers.getHeader(name, &value)) << name;
    EXPECT_EQ(value, "one");
  }
}

TEST(Headers, OnlyAsciiLettersHaveACase) {
  Headers headers;
  headers.addHeader("x[y", "bracket", false);
  headers.addHeader("x\xc4", "high", false);
  std::string value = "untouched";
  EXPECT_FALSE(headers.getHeader("x{y", &value));
  EXPECT_FALSE(headers.getHeader("X\xe4", &value));
  EXPECT_EQ(value, "untouched");
}

TEST(Headers, MissingFieldLeavesTheValue) {
  Headers headers;
  std::string value = "untouched";
  EXPECT_FALSE(headers.getHeader("Host", &value));
  headers.addHeader("Hos", "a", false);
  headers.addHeader("Hosts", "b", false);
  headers.addHeader("", "c", false);
  EXPECT_FALSE(headers.getHeader("Host", &value));
  EXPECT_EQ(value, "untouched");
}

TEST(Headers, FirstOfSeveralCounts) {
  Headers headers;
  headers.addHeader("Cookie", "first", false);
  headers.addHeader("cookie", "second", false);
  std::string value;
  EXPECT_TRUE(headers.getHeader("COOKIE", &value));
  EXPECT_EQ(value, "first");
}

TEST(Headers, FieldsStayInOrderAndAsGiven) {
  Headers headers;
  headers.addHeader("B", "2", false);
  headers.addHeader("a", "", false);
  headers.addHeader("b", std::string("x\r\n\0y", 5), false);
  EXPECT_EQ(headers.fields(), (Fields{{"B", "2"}, {"a", ""}, {"b", std::string("x\r\n\0y", 5)}}));
}

TEST(Headers, ReplacingTakesAllOfThatNameOutAndAddsAtTheEnd) {
  Headers headers;
  headers.addHeader("Location", "one", false);
  headers.addHeader("Other", "stays", false);
  headers.addHeader("LOCATION", "two", false);
  headers.addHeader("location", "three", true);
  EXPECT_EQ(headers.fields(), (Fields{{"Other", "stays"}, {"location", "three"}}));
  headers.addHeader("New", "four", true);
  EXPECT_EQ(headers.fields(), (Fields{{"Other", "stays"}, {"location", "three"}, {"New", "four"}}));
}

TEST(Headers, NumberIsWrittenInDecimal) {
  Headers headers;
  headers.addHeader("Content-Length", 5120, false);
  headers.addHeader("Low", -2147483647 - 1, false);
  headers.addHeader("Content-Length", 0, true);
  EXPECT_EQ(headers.fields(), (Fields{{"Low", "-2147483648"}, {"Content-Length", "0"}}));
}

TEST(Headers, FieldCanBeReplacedByItsOwnValue) {
  Headers headers;
  headers.addHeader("Refresh", std::string(100, 'x'), false);
  const Headers::Field& own = headers.fields().front();
  headers.addHeader(own.first, own.second, true);
  EXPECT_EQ(headers.fields(), (Fields{{"Refresh", std::string(100, 'x')}}));
}

}  // namespace
