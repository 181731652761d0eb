// Request parameters as RADIUS attributes. The parser of references accepts none that names an
// attribute, so here it is replaced by one that does: what follows from its answers is built whole.

#include <gtest/gtest.h>

#include "template/var_val.h"
#include "tests/support/visit.h"

namespace {

using fake::Visit;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kRadius = 0x30000439;

// What was asked of the parser and of the packet, in turn.
Lines calls;

}  // namespace

// The linker sends the module's calls here (--wrap, by the functions' names in the object files).
bool wrappedParse(const std::string& name, unsigned* vendor, unsigned* type, bool* numeric, unsigned* index) __asm__(
    "__wrap__Z13parseRadiusIdRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPjS7_PbS7_");
void realAdd(radius::Packet* packet, unsigned vendor, unsigned type, const char* data,
             unsigned length) __asm__("__real__ZN6radius6Packet3addEjjPKcj");
void wrappedAdd(radius::Packet* packet, unsigned vendor, unsigned type, const char* data,
                unsigned length) __asm__("__wrap__ZN6radius6Packet3addEjjPKcj");

bool wrappedParse(const std::string& name, unsigned* vendor, unsigned* type, bool* numeric,
                  unsigned* index) {
  const bool isReset = *vendor == 0 && *type == 0 && !*numeric && index == nullptr;
  calls.push_back((isReset ? "parse " : "parse, not reset, ") + name);
  constexpr char kPrefix[] = "radius";
  constexpr std::size_t kLength = sizeof kPrefix - 1;
  return name.starts_with(kPrefix) &&
         parseRadiusNumbers(name.c_str() + kLength, vendor, type, numeric, index);
}

void wrappedAdd(radius::Packet* packet, unsigned vendor, unsigned type, const char* data,
                unsigned length) {
  calls.push_back("add " + std::to_string(vendor) + " " + std::to_string(type));
  realAdd(packet, vendor, type, data, length);
}

namespace {

std::string fieldOf(const HsConn::StringMap& params) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.params = params;
  calls.clear();
  nv::message msg;
  conn.insertRadius(msg);
  const Lines lines = fake::fieldLines(msg);
  return lines.empty() ? "(none)" : lines.front();
}

TEST(RadiusParams, TextIsSentAsItStandsWithoutATerminator) {
  EXPECT_EQ(fieldOf({{"radius1", "anna"}}), "0x30000439 <0106616e6e61>");
  EXPECT_EQ(fieldOf({{"radius1", std::string("a\0b", 3)}}), "0x30000439 <0105610062>");
  EXPECT_EQ(fieldOf({{"radius1", ""}}), "0x30000439 <0102>");
}

TEST(RadiusParams, NumberIsFourBytesMostSignificantFirst) {
  struct Case {
    const char* value;
    const char* bytes;
  };
  const Case cases[] = {
      {"1", "00000001"},           {"168112642", "0a053202"},  {"0x0A053202", "0a053202"},
      {"010", "00000008"},         {"", "00000000"},           {"abc", "00000000"},
      {"12abc", "0000000c"},       {" +7", "00000007"},        {"-1", "ffffffff"},
      {"4294967295", "ffffffff"},  {"4294967296", "ffffffff"}, {"99999999999999999999", "ffffffff"},
      {"0xffffffff0", "ffffffff"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(fieldOf({{"radius8u", c.value}}), std::string("0x30000439 <0806") + c.bytes + ">")
        << c.value;
  }
}

TEST(RadiusParams, VendorsAttributeKeepsItsVendor) {
  EXPECT_EQ(fieldOf({{"radius4-14122", "hi"}}), "0x30000439 <1a0a0000372a04046869>");
}

TEST(RadiusParams, AttributesFollowTheNamesInKeyOrder) {
  EXPECT_EQ(fieldOf({{"username", "x"}, {"radius2", "b"}, {"radius1u", "1"}, {"radius1", "a"}}),
            "0x30000439 <010361010600000001020362>");
  EXPECT_EQ(calls, (Lines{"parse radius1", "add 0 1", "parse radius1u", "add 0 1", "parse radius2",
                          "add 0 2", "parse username"}));
}

TEST(RadiusParams, NameThatDoesNotParseIsSkipped) {
  EXPECT_EQ(fieldOf({{"radius", "x"}, {"radius1[0]", "x"}, {"radius1x", "x"}, {"user", "x"}}),
            "(none)");
  EXPECT_EQ(calls, (Lines{"parse radius", "parse radius1[0]", "parse radius1x", "parse user"}));
}

TEST(RadiusParams, NeitherVendorNorTypeIsNoAttribute) {
  EXPECT_EQ(fieldOf({{"radius0", "x"}, {"radius0-0u", "1"}}), "(none)");
  EXPECT_EQ(calls, (Lines{"parse radius0", "parse radius0-0u"}));
}

TEST(RadiusParams, LoginCarriesThemBeforeTheOriginalDestination) {
  Visit visit;
  visit.req.path = "login";
  visit.req.query = "radius1=anna";
  visit.req.connFlags = 0x08000000;
  visit.req.origDst[0] = 5;
  visit.req.origDst[1] = 80;
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.command(0),
            (Lines{"0x20000001 ''", "0x200003eb ''", "0x20000008 ''", "0x000003f1 false",
                   "0x080003ec 0", "0x30000439 <0106616e6e61>", "0x080003ed 5", "0x080003ee 80",
                   "0x88ff0001 [63 13]", "0x08ff0007 2", "0x080003e9 168112642"}));
}

TEST(RadiusParams, NoOtherCommandCarriesThem) {
  for (const char* path : {"status", "logout", "set", "alogin", "advert", "help.html"}) {
    Visit visit;
    visit.req.path = path;
    visit.req.query = "radius1=anna";
    visit.reply();
    visit.serve();
    EXPECT_EQ(visit.commandField(0, kRadius), "(none)") << path;
  }
}

}  // namespace
