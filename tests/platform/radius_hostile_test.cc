// RADIUS bytes that were cut, changed or made up, read by the library and by a plain second reader
// that takes them apart into a list.

#include <gtest/gtest.h>

#include "host/radius.h"
#include "tests/platform/bytes.h"

namespace {

struct Attribute {
  unsigned vendor;
  unsigned type;
  std::string value;
};

unsigned byteAt(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes.at(at));
}

// Appends the attributes up to the first malformed one. False when there is one.
bool naiveParse(std::string bytes, unsigned vendor, std::vector<Attribute>* list) {
  while (!bytes.empty()) {
    if (bytes.size() < 2 || byteAt(bytes, 1) < 2 || byteAt(bytes, 1) > bytes.size()) {
      return false;
    }
    const unsigned type = byteAt(bytes, 0);
    const std::string value = bytes.substr(2, byteAt(bytes, 1) - 2);
    bytes.erase(0, byteAt(bytes, 1));
    if (vendor != 0 || type != 26) {
      list->push_back({vendor, type, value});
      continue;
    }
    if (value.size() < 4) {
      return false;
    }
    const unsigned inner =
        byteAt(value, 0) << 24 | byteAt(value, 1) << 16 | byteAt(value, 2) << 8 | byteAt(value, 3);
    // Vendor 0 stands for the standard attributes: what a type 26 holds for it cannot be asked for.
    std::vector<Attribute> held;
    const bool whole = naiveParse(value.substr(4), inner == 0 ? 4294967295U : inner, &held);
    if (inner != 0) {
      list->insert(list->end(), held.begin(), held.end());
    }
    if (!whole) {
      return false;
    }
  }
  return true;
}

void expectSameReading(const std::string& bytes) {
  std::vector<Attribute> expected;
  naiveParse(bytes, 0, &expected);
  const radius::Packet packet{std::vector<unsigned char>(bytes.begin(), bytes.end())};
  for (const unsigned vendor : {0U, 9U, 14122U, 0x09000000U}) {
    for (const unsigned type : {0U, 1U, 2U, 6U, 8U, 26U, 27U}) {
      unsigned count = 0;
      for (const Attribute& attribute : expected) {
        if (attribute.vendor != vendor || attribute.type != type) {
          continue;
        }
        std::string text;
        ASSERT_TRUE(packet.get(vendor, type, &text, count)) << toHex(bytes);
        ASSERT_EQ(text, attribute.value) << toHex(bytes);
        unsigned number = 0;
        ASSERT_EQ(packet.get(vendor, type, &number, count), text.size() == 4) << toHex(bytes);
        ++count;
      }
      std::string text = "untouched";
      ASSERT_FALSE(packet.get(vendor, type, &text, count)) << toHex(bytes);
      ASSERT_EQ(text, "untouched");
    }
  }
}

std::string sample() {
  radius::Packet packet;
  packet.add(0, 1, "user", 4);
  packet.add(9, 1, "vendor", 6);
  packet.add(0, 27, "\x00\x00\x0e\x10", 4);
  packet.add(14122, 8, "\x00\x01\x00\x00", 4);
  packet.add(0, 2, "", 0);
  packet.add(0, 1, "again", 5);
  const std::string shared = fromHex("1a 10 00 00 00 09 01 03 61 02 02 06 05 78 79 7a");
  return std::string(packet.bytes.begin(), packet.bytes.end()) + shared +
         fromHex("06 06 00 00 00 01");
}

TEST(RadiusHostile, EveryTruncationIsReadAlike) {
  const std::string whole = sample();
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    expectSameReading(whole.substr(0, length));
    if (HasFatalFailure()) {
      return;
    }
  }
}

TEST(RadiusHostile, EverySingleByteChangeIsReadAlike) {
  const std::string whole = sample();
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string changed = whole;
    for (int byte = 0; byte < 256; ++byte) {
      changed[at] = static_cast<char>(byte);
      expectSameReading(changed);
      if (HasFatalFailure()) {
        return;
      }
    }
  }
}

// Every string of up to 6 bytes over the few that shape a packet, behind a type 26 that it may cut
// or outlast.
TEST(RadiusHostile, EveryShortPacketIsReadAlike) {
  const char alphabet[] = {0, 1, 2, 3, 26};
  for (int length = 0; length <= 6; ++length) {
    int combinations = 1;
    for (int i = 0; i < length; ++i) {
      combinations *= 5;
    }
    for (int n = 0; n < combinations; ++n) {
      std::string bytes;
      for (int rest = n; static_cast<int>(bytes.size()) < length; rest /= 5) {
        bytes += alphabet[rest % 5];
      }
      expectSameReading(bytes);
      expectSameReading(fromHex("1a 09 00 00 00 09") + bytes);
      if (HasFatalFailure()) {
        return;
      }
    }
  }
}

TEST(RadiusHostile, RandomBytesAreReadAlike) {
  Random random(4);
  for (int round = 0; round < 5000; ++round) {
    std::string bytes;
    for (std::uint32_t count = random.below(6); count > 0; --count) {
      const std::uint32_t length = random.below(12);
      const bool vendor = random.below(2) == 0;
      bytes += static_cast<char>(vendor ? 26 : random.below(30));
      bytes += static_cast<char>(length + (random.below(10) == 0 ? random.below(5) : 2));
      std::string value = random.bytes(length);
      if (vendor && length >= 6) {
        value.replace(0, 6, fromHex("00 00 00 09 01"));
        value.insert(5, 1, static_cast<char>(length - 4));
        value.resize(length);
      }
      bytes += value;
    }
    expectSameReading(bytes);
    if (HasFatalFailure()) {
      return;
    }
  }
}

TEST(RadiusHostile, RandomPacketsGiveTheirAttributesBack) {
  Random random(5);
  for (int round = 0; round < 500; ++round) {
    radius::Packet packet;
    std::vector<Attribute> added;
    for (std::uint32_t count = random.below(20); count > 0; --count) {
      const unsigned vendor = random.below(2) == 0 ? 0 : random.word() | 1;
      const unsigned type = 27 + random.below(229);
      const std::string value = random.bytes(random.below(248));
      packet.add(vendor, type, value.data(), static_cast<unsigned>(value.size()));
      added.push_back({vendor, type, value});
    }
    std::vector<Attribute> found;
    ASSERT_TRUE(naiveParse(std::string(packet.bytes.begin(), packet.bytes.end()), 0, &found));
    ASSERT_EQ(found.size(), added.size());
    for (std::size_t i = 0; i < added.size(); ++i) {
      ASSERT_EQ(found[i].vendor, added[i].vendor);
      ASSERT_EQ(found[i].type, added[i].type);
      ASSERT_EQ(found[i].value, added[i].value);
      unsigned earlier = 0;
      for (std::size_t j = 0; j < i; ++j) {
        earlier += added[j].vendor == added[i].vendor && added[j].type == added[i].type ? 1 : 0;
      }
      std::string value;
      ASSERT_TRUE(packet.get(added[i].vendor, added[i].type, &value, earlier));
      ASSERT_EQ(value, added[i].value);
    }
  }
}

}  // namespace
