// Text forms of addresses.

#include "host/address.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

std::string text(unsigned char a, unsigned char b, unsigned char c, unsigned char d) {
  const unsigned char bytes[4] = {a, b, c, d};
  IPAddr address;
  std::memcpy(&address.addr, bytes, sizeof bytes);
  return address.str();
}

TEST(IpAddress, IsDottedDecimalInOrderOfTheBytes) {
  EXPECT_EQ(text(10, 5, 50, 1), "10.5.50.1");
  EXPECT_EQ(text(0, 0, 0, 0), "0.0.0.0");
  EXPECT_EQ(text(255, 255, 255, 255), "255.255.255.255");
  EXPECT_EQ(text(1, 22, 203, 4), "1.22.203.4");
  EXPECT_EQ(IPAddr().str(), "0.0.0.0");
}

TEST(MacAddress, IsUpperCasePairsWithColons) {
  const MacAddr address = {{0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e}};
  EXPECT_EQ(address.str(), "00:1A:2B:3C:4D:5E");
  const MacAddr broadcast = {{0xff, 0xff, 0xff, 0xff, 0xff, 0xff}};
  EXPECT_EQ(broadcast.str(), "FF:FF:FF:FF:FF:FF");
  EXPECT_EQ(MacAddr().str(), "00:00:00:00:00:00");
}

}  // namespace
