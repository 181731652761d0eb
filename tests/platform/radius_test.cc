// RADIUS attributes: the bytes they become, and finding them again.

#include <gtest/gtest.h>

#include "host/radius.h"
#include "tests/platform/bytes.h"

namespace {

std::string wire(const radius::Packet& packet) {
  return toHex(std::string(packet.bytes.begin(), packet.bytes.end()));
}

radius::Packet packetOf(const std::string& hex) {
  const std::string bytes = fromHex(hex);
  return radius::Packet{std::vector<unsigned char>(bytes.begin(), bytes.end())};
}

// The value, or "-" when there is none.
std::string find(const radius::Packet& packet, unsigned vendor, unsigned type, unsigned index) {
  std::string value = "untouched";
  if (packet.get(vendor, type, &value, index)) {
    return value;
  }
  EXPECT_EQ(value, "untouched");
  return "-";
}

TEST(Radius, StandardAttributeIsTypeLengthValue) {
  radius::Packet packet;
  packet.add(0, 1, "user", 4);
  EXPECT_EQ(wire(packet), "01 06 75 73 65 72");
  packet.add(0, 255, "\xff", 1);
  EXPECT_EQ(wire(packet), "01 06 75 73 65 72 ff 03 ff");
}

TEST(Radius, VendorAttributeLiesInsideType26) {
  radius::Packet packet;
  packet.add(14122, 7, "10", 2);
  EXPECT_EQ(wire(packet), "1a 0a 00 00 37 2a 07 04 31 30");
  radius::Packet large;
  large.add(0xfedcba98, 1, "", 0);
  EXPECT_EQ(wire(large), "1a 08 fe dc ba 98 01 02");
}

TEST(Radius, ValueMayBeEmptyOrHoldAnyByte) {
  radius::Packet packet;
  packet.add(0, 18, nullptr, 0);
  packet.add(0, 25, "a\0b", 3);
  EXPECT_EQ(wire(packet), "12 02 19 05 61 00 62");
  EXPECT_EQ(find(packet, 0, 18, 0), "");
  EXPECT_EQ(find(packet, 0, 25, 0), std::string("a\0b", 3));
}

TEST(Radius, LongestValuesFitAndLongerOnesAddNothing) {
  const std::string text(300, 'x');
  radius::Packet packet;
  packet.add(0, 1, text.data(), 254);
  packet.add(9, 1, text.data(), 248);
  packet.add(0, 1, text.data(), 4294967295U);
  packet.add(9, 1, text.data(), 4294967295U);
  EXPECT_TRUE(packet.bytes.empty());
  packet.add(0, 1, text.data(), 253);
  EXPECT_EQ(packet.bytes.size(), 255U);
  EXPECT_EQ(packet.bytes[1], 255);
  packet.add(9, 1, text.data(), 247);
  EXPECT_EQ(packet.bytes.size(), 510U);
  EXPECT_EQ(packet.bytes[256], 255);
  EXPECT_EQ(packet.bytes[262], 249);
  EXPECT_EQ(find(packet, 0, 1, 0), text.substr(0, 253));
  EXPECT_EQ(find(packet, 9, 1, 0), text.substr(0, 247));
}

TEST(Radius, ImpossibleTypesAddNothing) {
  radius::Packet packet;
  packet.add(0, 0, "x", 1);
  packet.add(9, 0, "x", 1);
  packet.add(0, 256, "x", 1);
  packet.add(9, 257, "x", 1);
  packet.add(0, 26, "x", 1);
  EXPECT_TRUE(packet.bytes.empty());
  packet.add(9, 26, "x", 1);
  EXPECT_EQ(wire(packet), "1a 09 00 00 00 09 1a 03 78");
  EXPECT_EQ(find(packet, 9, 26, 0), "x");
}

TEST(Radius, OccurrencesAreCountedInOrder) {
  radius::Packet packet;
  packet.add(0, 1, "a", 1);
  packet.add(9, 1, "va", 2);
  packet.add(0, 2, "other", 5);
  packet.add(0, 1, "b", 1);
  packet.add(9, 1, "vb", 2);
  packet.add(10, 1, "w", 1);
  EXPECT_EQ(find(packet, 0, 1, 0), "a");
  EXPECT_EQ(find(packet, 0, 1, 1), "b");
  EXPECT_EQ(find(packet, 0, 1, 2), "-");
  EXPECT_EQ(find(packet, 0, 1, 4294967295U), "-");
  EXPECT_EQ(find(packet, 9, 1, 0), "va");
  EXPECT_EQ(find(packet, 9, 1, 1), "vb");
  EXPECT_EQ(find(packet, 9, 1, 2), "-");
  EXPECT_EQ(find(packet, 10, 1, 0), "w");
  EXPECT_EQ(find(packet, 0, 3, 0), "-");
  EXPECT_EQ(find(packet, 11, 1, 0), "-");
}

TEST(Radius, SeveralVendorAttributesMayShareOneType26) {
  const radius::Packet packet = packetOf("1a 0f 00 00 00 09 01 04 61 62 02 02 01 03 63  01 03 78");
  EXPECT_EQ(find(packet, 9, 1, 0), "ab");
  EXPECT_EQ(find(packet, 9, 2, 0), "");
  EXPECT_EQ(find(packet, 9, 1, 1), "c");
  EXPECT_EQ(find(packet, 9, 1, 2), "-");
  EXPECT_EQ(find(packet, 0, 1, 0), "x");
}

TEST(Radius, Type26IsNoAttributeOfItsOwn) {
  const radius::Packet packet = packetOf("1a 09 00 00 00 09 01 03 78  1a 09 00 00 00 00 01 03 79");
  EXPECT_EQ(find(packet, 0, 26, 0), "-");
  EXPECT_EQ(find(packet, 0, 1, 0), "-");
}

TEST(Radius, Type26OfAVendorWithoutAttributesHoldsNothing) {
  const radius::Packet packet = packetOf("1a 06 00 00 00 09  01 03 78");
  EXPECT_EQ(find(packet, 9, 1, 0), "-");
  EXPECT_EQ(find(packet, 0, 1, 0), "x");
}

TEST(Radius, NumberIsFourBytesMostSignificantFirst) {
  const radius::Packet packet = packetOf(
      "1b 06 12 34 56 78  1c 05 01 02 03  1d 07 01 02 03 04 05  1e 02"
      " 1a 0c 00 00 00 09 01 06 ff fe fd fc");
  unsigned value = 7;
  EXPECT_TRUE(packet.get(0, 27, &value, 0));
  EXPECT_EQ(value, 0x12345678U);
  EXPECT_TRUE(packet.get(9, 1, &value, 0));
  EXPECT_EQ(value, 0xfffefdfcU);
  value = 7;
  for (const unsigned type : {28U, 29U, 30U, 31U}) {
    EXPECT_FALSE(packet.get(0, type, &value, 0)) << type;
  }
  EXPECT_FALSE(packet.get(0, 27, &value, 1));
  EXPECT_EQ(value, 7U);
  EXPECT_EQ(find(packet, 0, 28, 0), "\x01\x02\x03");
}

// The attributes before the malformed one (user "a", vendor 9's "v") count; "z" behind it never
// does.
TEST(Radius, ReadingStopsAtTheFirstMalformedAttribute) {
  const std::string before = "01 03 61  1a 09 00 00 00 09 01 03 76 ";
  const std::string behind = " 05 03 7a  1a 09 00 00 00 09 05 03 7a";
  struct {
    const char* what;
    const char* hex;
  } const cases[] = {
      {"length 0", "02 00"},
      {"length 1", "02 01"},
      {"value past the end", "02 ff"},
      {"type 26 without a vendor", "1a 02"},
      {"type 26 with half a vendor", "1a 05 00 00 00"},
      {"inside type 26: a type alone", "1a 07 00 00 00 09 01"},
      {"inside type 26: length 0", "1a 08 00 00 00 09 01 00"},
      {"inside type 26: length 1", "1a 08 00 00 00 09 01 01"},
      {"inside type 26: value past its end", "1a 08 00 00 00 09 01 03"},
      {"inside another vendor's type 26", "1a 08 00 00 00 0a 01 00"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const radius::Packet packet = packetOf(before + c.hex + behind);
    EXPECT_EQ(find(packet, 0, 1, 0), "a");
    EXPECT_EQ(find(packet, 9, 1, 0), "v");
    EXPECT_EQ(find(packet, 9, 1, 1), "-");
    EXPECT_EQ(find(packet, 0, 2, 0), "-");
    EXPECT_EQ(find(packet, 0, 5, 0), "-");
    EXPECT_EQ(find(packet, 9, 5, 0), "-");
  }
  EXPECT_EQ(find(packetOf(before + behind), 0, 5, 0), "z");
  EXPECT_EQ(find(packetOf(before + behind), 9, 5, 0), "z");
}

TEST(Radius, AttributesBeforeAMalformedOneInTheSameType26Count) {
  const radius::Packet packet = packetOf("1a 0b 00 00 00 09 01 03 61 02 01");
  EXPECT_EQ(find(packet, 9, 1, 0), "a");
  EXPECT_EQ(find(packet, 9, 2, 0), "-");
}

TEST(Radius, EmptyPacketHoldsNothing) {
  const radius::Packet packet;
  EXPECT_EQ(find(packet, 0, 1, 0), "-");
  unsigned value = 7;
  EXPECT_FALSE(packet.get(0, 1, &value, 0));
  EXPECT_EQ(value, 7U);
}

}  // namespace
