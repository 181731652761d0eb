// From names to values: page variables, their escaped forms, RADIUS references.

#include "template/var_val.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Env = std::map<std::string, std::string>;

constexpr char kUntouched[] = "untouched";

// The value, or kUntouched when there is none; fails when result and value disagree.
std::string valueOf(Env env, const std::string& name, bool esc = true, bool withRadius = false) {
  radius::Packet packet;
  if (withRadius) packet.add(0, 1, "anna", 4);
  std::string value = kUntouched;
  const bool found = getVarVal(env, packet, name, &value, esc);
  EXPECT_EQ(found, value != kUntouched) << name;
  return value;
}

TEST(VarVal, PageVariableIsXmlEscapedOnlyWhenAsked) {
  const Env env = {{"x", "<a b=\"1\">&"}};
  EXPECT_EQ(valueOf(env, "x", true), "&lt;a b=\"1\"&gt;&amp;");
  EXPECT_EQ(valueOf(env, "x", false), "<a b=\"1\">&");
}

TEST(VarVal, EmptyVariableResolves) {
  EXPECT_EQ(valueOf({{"x", ""}}, "x"), "");
  EXPECT_EQ(valueOf({{"x", ""}}, "x-esc"), "");
  EXPECT_EQ(valueOf({{"", "v"}}, ""), "v");
}

TEST(VarVal, NamesAreExact) {
  EXPECT_EQ(valueOf({{"x", "1"}}, "X"), kUntouched);
  EXPECT_EQ(valueOf({{"x", "1"}}, " x"), kUntouched);
  EXPECT_EQ(valueOf({{"x", "1"}}, "x-ESC"), kUntouched);
  EXPECT_EQ(valueOf({{"x", "1"}}, ""), kUntouched);
}

TEST(VarVal, SuffixUrlEscapesAndNeverXmlEscapes) {
  const Env env = {{"link-orig", "http://a/b?c=<d e>&f_g~"}};
  const std::string escaped = "http%3A%2F%2Fa%2Fb%3Fc%3D%3Cd+e%3E%26f%5Fg%7E";
  EXPECT_EQ(valueOf(env, "link-orig-esc", true), escaped);
  EXPECT_EQ(valueOf(env, "link-orig-esc", false), escaped);
}

TEST(VarVal, VariableNamedWithTheSuffixWins) {
  const Env env = {{"x", "a b"}, {"x-esc", "<own>"}};
  EXPECT_EQ(valueOf(env, "x-esc", true), "&lt;own&gt;");
  EXPECT_EQ(valueOf(env, "x-esc", false), "<own>");
}

TEST(VarVal, SuffixIsTakenOffOnce) {
  EXPECT_EQ(valueOf({{"x", "a b"}}, "x-esc-esc"), kUntouched);
  EXPECT_EQ(valueOf({{"x-esc", "a b"}}, "x-esc-esc"), "a+b");
}

TEST(VarVal, SuffixAloneIsNoName) {
  EXPECT_EQ(valueOf({}, "-esc"), kUntouched);
  // Four characters are no suffix, even of a variable without a name.
  EXPECT_EQ(valueOf({{"", "v"}}, "-esc"), kUntouched);
  EXPECT_EQ(valueOf({{"-esc", "v"}}, "-esc"), "v");
}

TEST(VarVal, PageVariableWinsOverARadiusReference) {
  EXPECT_EQ(valueOf({{"radius", "page"}}, "radius", true, true), "page");
  EXPECT_EQ(valueOf({{"radius", "p q"}}, "radius-esc", true, true), "p+q");
}

TEST(VarVal, BareRadiusTellsWhetherThereIsAnAttribute) {
  EXPECT_EQ(valueOf({}, "radius", true, true), "true");
  EXPECT_EQ(valueOf({}, "radius", true, false), "");
  EXPECT_EQ(valueOf({}, "radius-esc", true, true), "true");
  EXPECT_EQ(valueOf({}, "radius-esc", false, false), "");
}

TEST(VarVal, LongerRadiusNamesAreUnknownWhateverThePacketHolds) {
  for (const char* const name : {"radius1", "radius26-9u", "radius8u[1]", "radius 1", "radiusX",
                                 "RADIUS", "Radius", "radiu", "radiut", "radius1-esc", "radius-",
                                 "radiusu", "radius[0]", "radius[]", "radiusradius", "xradius"}) {
    EXPECT_EQ(valueOf({}, name, true, true), kUntouched) << name;
  }
}

TEST(RadiusVal, OnlyTheBareNameIsAReference) {
  radius::Packet packet;
  std::string value = kUntouched;
  EXPECT_FALSE(getRadiusVal(packet, "radius1", &value));
  EXPECT_EQ(value, kUntouched);
  EXPECT_TRUE(getRadiusVal(packet, "radius", &value));
  EXPECT_EQ(value, "");
  packet.add(0, 8, "\x0a\x05\x32\x02", 4);
  EXPECT_TRUE(getRadiusVal(packet, "radius", &value));
  EXPECT_EQ(value, "true");
  value = kUntouched;
  EXPECT_FALSE(getRadiusVal(packet, "radius8u", &value));
  EXPECT_EQ(value, kUntouched);
}

TEST(RadiusVal, OneByteIsAnAttribute) {
  // Bytes that are no well-formed attribute count too.
  radius::Packet packet{{7}};
  std::string value = kUntouched;
  EXPECT_TRUE(getRadiusVal(packet, "radius", &value));
  EXPECT_EQ(value, "true");
}

// Value of what a reference spelled out; kUntouched when there is none.
std::string attribute(const radius::Packet& packet, unsigned vendor, unsigned type, bool numeric,
                      unsigned index) {
  std::string value = kUntouched;
  const bool found = getRadiusAttribute(packet, vendor, type, numeric, index, &value);
  EXPECT_EQ(found, value != kUntouched);
  return value;
}

TEST(RadiusAttribute, IsTheTextOfItsOccurrence) {
  radius::Packet packet;
  packet.add(0, 1, "anna", 4);
  packet.add(9, 1, "vendor's", 8);
  packet.add(0, 1, "bert", 4);
  EXPECT_EQ(attribute(packet, 0, 1, false, 0), "anna");
  EXPECT_EQ(attribute(packet, 0, 1, false, 1), "bert");
  EXPECT_EQ(attribute(packet, 0, 1, false, 2), kUntouched);
  EXPECT_EQ(attribute(packet, 9, 1, false, 0), "vendor's");
  EXPECT_EQ(attribute(packet, 9, 2, false, 0), kUntouched);
}

TEST(RadiusAttribute, NumericOneIsDecimal) {
  radius::Packet packet;
  packet.add(0, 8, "\x0a\x05\x32\x02", 4);
  packet.add(0, 8, "\xff\xff\xff\xff", 4);
  packet.add(0, 8, "123", 3);
  EXPECT_EQ(attribute(packet, 0, 8, true, 0), "168112642");
  EXPECT_EQ(attribute(packet, 0, 8, true, 1), "4294967295");
  EXPECT_EQ(attribute(packet, 0, 8, true, 2), kUntouched);
  EXPECT_EQ(attribute(packet, 0, 8, false, 2), "123");
  EXPECT_EQ(attribute(packet, 0, 8, true, 3), kUntouched);
}

TEST(RadiusAttribute, NeitherVendorNorTypeAsksForAny) {
  radius::Packet packet;
  EXPECT_EQ(attribute(packet, 0, 0, false, 0), "");
  EXPECT_EQ(attribute(packet, 9, 0, false, 0), kUntouched);
  packet.add(9, 1, "x", 1);
  EXPECT_EQ(attribute(packet, 0, 0, true, 5), "true");
  EXPECT_EQ(attribute(packet, 9, 0, false, 0), kUntouched);
}

struct Id {
  unsigned vendor = 0;
  unsigned type = 0;
  bool numeric = false;
  unsigned index = 0;
  bool operator==(const Id&) const = default;
};

TEST(RadiusId, BareNameIsAcceptedAndWritesNothing) {
  Id id{7, 8, true, 9};
  EXPECT_TRUE(parseRadiusId("radius", &id.vendor, &id.type, &id.numeric, &id.index));
  EXPECT_EQ(id, (Id{7, 8, true, 9}));
  EXPECT_TRUE(parseRadiusId("radius", &id.vendor, &id.type, &id.numeric, nullptr));
}

TEST(RadiusId, EveryOtherNameIsRejected) {
  for (const std::string& name :
       {std::string(), std::string("radiu"), std::string("RADIUS"), std::string("radiut"),
        std::string("sadius"), std::string("radius1"), std::string("radius26-9u"),
        std::string("radius8u[1]"), std::string("radiusX"), std::string("radius\0", 7),
        std::string("1radius"), std::string(" radius")}) {
    Id id;
    EXPECT_FALSE(parseRadiusId(name, &id.vendor, &id.type, &id.numeric, &id.index)) << name;
    EXPECT_FALSE(parseRadiusId(name, &id.vendor, &id.type, &id.numeric, nullptr)) << name;
  }
}

TEST(RadiusNumbers, SpellOutTypeVendorFormAndIndex) {
  const std::map<std::string, Id> cases = {{"1", {0, 1, false, 0}},
                                           {"26-9", {9, 26, false, 0}},
                                           {"26-9u", {9, 26, true, 0}},
                                           {"8u[1]", {0, 8, true, 1}},
                                           {"8[2]", {0, 8, false, 2}},
                                           {"8[]", {0, 8, false, 0}},
                                           {"0x1a-0X9[0x10]", {9, 26, false, 16}},
                                           {"010-011u[012]", {9, 8, true, 10}},
                                           {" 5- 6[ 7]", {6, 5, false, 7}},
                                           {"+5-+6[+7]", {6, 5, false, 7}},
                                           {"5--1", {4294967295, 5, false, 0}},
                                           {"-9", {0, 4294967287, false, 0}},
                                           {"4294967296", {0, 4294967295, false, 0}},
                                           {"0", {0, 0, false, 0}}};
  for (const auto& [text, expected] : cases) {
    Id id;
    EXPECT_TRUE(parseRadiusNumbers(text.c_str(), &id.vendor, &id.type, &id.numeric, &id.index))
        << text;
    EXPECT_EQ(id, expected) << text;
  }
}

TEST(RadiusNumbers, AnythingElseIsRejected) {
  for (const char* const text :
       {"",    "-",     "u",     "[0]",  "x",      "1-",    "1-u", "1-x",   "1-2-3",
        "1u2", "1u-2",  "1uu",   "1x",   "1 ",     "1[",    "1[2", "1[2 ]", "1[2x",
        "1[x", "1[2]u", "1[2]]", "1[x]", "1[2]-3", "1[0x]", "0x",  "1-0x"}) {
    Id id;
    EXPECT_FALSE(parseRadiusNumbers(text, &id.vendor, &id.type, &id.numeric, &id.index)) << text;
  }
}

TEST(RadiusNumbers, NoIndexMayBeWrittenWhereNoneIsAskedFor) {
  Id id;
  EXPECT_TRUE(parseRadiusNumbers("1-2u", &id.vendor, &id.type, &id.numeric, nullptr));
  EXPECT_EQ(id, (Id{2, 1, true, 0}));
  EXPECT_FALSE(parseRadiusNumbers("1[0]", &id.vendor, &id.type, &id.numeric, nullptr));
  EXPECT_FALSE(parseRadiusNumbers("1u[]", &id.vendor, &id.type, &id.numeric, nullptr));
}

}  // namespace
