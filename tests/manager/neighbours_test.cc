// Hardware addresses of clients, and the text forms of addresses.

#include "manager/neighbours.h"

#include <gtest/gtest.h>

#include "manager/address_text.h"
#include "tests/manager/bench.h"

namespace {

constexpr const char* kTable =
    "IP address       HW type     Flags       HW address            Mask     Device\n"
    "10.5.50.2        0x1         0x2         00:1a:2b:3c:4d:5e     *        eth0\n"
    "10.5.50.3        0x1         0x0         00:00:00:00:00:00     *        eth0\n"
    "10.5.50.4        0x1         0x2         00:00:00:00:00:00     *        eth0\n"
    "10.5.50.5        0x1         0x2         nonsense              *        eth0\n"
    "10.5.50.6\n"
    "10.5.50.7        0x1         0x6         00:1A:2B:3C:4D:5F     *        eth0\n";

TEST(Neighbours, AreReadFromTheKernelsTable) {
  const TemporaryDir dir;
  const FakeClock clock;
  manager::Neighbours neighbours(clock, dir.write("arp", kTable));
  EXPECT_EQ(neighbours.find(0x0a053202, false), "00:1A:2B:3C:4D:5E");
  EXPECT_EQ(neighbours.find(0x0a053207, false), "00:1A:2B:3C:4D:5F") << "a permanent entry";
  for (const std::uint32_t address : {0x0a053203u, 0x0a053204u, 0x0a053205u, 0x0a053206u, 1u}) {
    EXPECT_EQ(neighbours.find(address, false), "") << address;
  }
}

TEST(Neighbours, AreReadAgainWithTheNextSecondOrOnDemand) {
  const TemporaryDir dir;
  FakeClock clock;
  manager::Neighbours neighbours(clock, dir.file("arp"));
  EXPECT_EQ(neighbours.find(0x0a053202, false), "") << "no table at all";
  dir.write("arp", kTable);
  EXPECT_EQ(neighbours.find(0x0a053202, false), "");
  EXPECT_EQ(neighbours.find(0x0a053202, true), "00:1A:2B:3C:4D:5E");
  dir.write("arp", "");
  EXPECT_EQ(neighbours.find(0x0a053202, false), "00:1A:2B:3C:4D:5E");
  clock.pass(1);
  EXPECT_EQ(neighbours.find(0x0a053202, false), "");
}

TEST(Neighbours, AreNoneWhereThereIsNoTable) {
  const FakeClock clock;
  const TemporaryDir dir;
  const std::string file = dir.write("file", "");
  for (const std::string& path : {dir.file("none"), file + "/arp"}) {
    manager::Neighbours neighbours(clock, path);
    EXPECT_EQ(neighbours.find(0x0a053202, true), "") << path;
  }
}

TEST(AddressText, IsDottedDecimal) {
  EXPECT_EQ(manager::addressText(0x0a053202), "10.5.50.2");
  std::uint32_t address = 7;
  EXPECT_TRUE(manager::parseAddress("10.5.50.2", &address));
  EXPECT_EQ(address, 0x0a053202u);
  for (const char* text : {"", "10.5.50", "10.5.50.256", "10.5.50.2 ", "::1", "a.b.c.d"}) {
    EXPECT_FALSE(manager::parseAddress(text, &address)) << text;
  }
  EXPECT_FALSE(manager::parseAddress(std::string("10.5.50.2\0", 10), &address));
  EXPECT_EQ(address, 0x0a053202u);
}

TEST(MacText, HasOneForm) {
  EXPECT_EQ(manager::normalMac("aa:bb:cc:dd:ee:0f"), "AA:BB:CC:DD:EE:0F");
  for (const char* text : {"", "aa:bb:cc:dd:ee", "aa-bb-cc-dd-ee-0f", "aa:bb:cc:dd:ee:0g",
                           "aa:bb:cc:dd:ee:0f ", "00:00:00:00:00:00"}) {
    EXPECT_EQ(manager::normalMac(text), "") << text;
  }
  EXPECT_EQ(manager::macBytes("AA:BB:CC:DD:EE:0F"),
            (std::vector<unsigned char>{0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0x0f}));
}

}  // namespace
