// The wire form, byte by byte as docs/message-format.md has it.

#include <gtest/gtest.h>

#include <cstring>

#include "host/message.h"
#include "tests/platform/bytes.h"
#include "tests/platform/naive_message.h"

namespace {

bool accepts(const std::string& hex) {
  const std::string bytes = fromHex(hex);
  nv::message msg;
  return msg.decode(bytes.data(), bytes.size());
}

TEST(MessageWire, EmptyMessageIsItsHeader) {
  EXPECT_EQ(toHex(nv::message().encode()), "01 00 00 04");
  EXPECT_TRUE(accepts("01 00 00 04"));
}

TEST(MessageWire, EachTypeHasItsLayout) {
  nv::message flag;
  flag.insert_bool(0x00000406, true);
  EXPECT_EQ(toHex(flag.encode()), "01 00 00 0d 00 00 04 06 00 00 00 01 01");
  flag.insert_bool(0x00000406, false);
  EXPECT_EQ(toHex(flag.encode()), "01 00 00 0d 00 00 04 06 00 00 00 01 00");

  nv::message number;
  number.insert_u32(0x08000003, 0x12345678);
  EXPECT_EQ(toHex(number.encode()), "01 00 00 10 08 00 00 03 00 00 00 04 12 34 56 78");

  nv::message big;
  big.insert_u64(0x10000002, 0x0123456789abcdefULL);
  EXPECT_EQ(toHex(big.encode()), "01 00 00 14 10 00 00 02 00 00 00 08 01 23 45 67 89 ab cd ef");

  nv::message text;
  text.insert_string(0x20000009, "user");
  EXPECT_EQ(toHex(text.encode()), "01 00 00 10 20 00 00 09 00 00 00 04 75 73 65 72");

  nv::message raw;
  raw.insert_raw(0x3000000b, {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e});
  EXPECT_EQ(toHex(raw.encode()), "01 00 00 12 30 00 00 0b 00 00 00 06 00 1a 2b 3c 4d 5e");

  nv::message array;
  array.insert_u32_array(0x88ff0001, {0x57, 0xfffefdfc});
  EXPECT_EQ(toHex(array.encode()), "01 00 00 14 88 ff 00 01 00 00 00 08 00 00 00 57 ff fe fd fc");
}

TEST(MessageWire, FieldsFollowInOrderOfInsertion) {
  nv::message msg;
  msg.insert_string(0x20000009, "u");
  msg.insert_bool(0x00000406, true);
  EXPECT_EQ(toHex(msg.encode()),
            "01 00 00 16 20 00 00 09 00 00 00 01 75 00 00 04 06 00 00 00 01 01");
}

TEST(MessageWire, ExampleOfTheFormatPage) {
  const unsigned char bytes[4] = {10, 5, 50, 2};
  std::uint32_t addr;
  std::memcpy(&addr, bytes, sizeof addr);
  nv::message msg;
  msg.insert_u32(0x08fe000c, 6);
  msg.insert_u32_array(0x88ff0001, {63, 13});
  msg.insert_u32(0x08ff0007, 1);
  msg.insert_be32(0x080003e9, addr);
  EXPECT_EQ(msg.encode(), fromHex("01 00 00 38"
                                  "08 fe 00 0c  00 00 00 04  00 00 00 06"
                                  "88 ff 00 01  00 00 00 08  00 00 00 3f 00 00 00 0d"
                                  "08 ff 00 07  00 00 00 04  00 00 00 01"
                                  "08 00 03 e9  00 00 00 04  0a 05 32 02"));
}

TEST(MessageWire, AddressGoesOutAsItLiesInMemory) {
  const unsigned char bytes[4] = {10, 5, 50, 2};
  std::uint32_t addr;
  std::memcpy(&addr, bytes, sizeof addr);
  nv::message msg;
  msg.insert_be32(0x080003e9, addr);
  EXPECT_EQ(toHex(msg.encode()), "01 00 00 10 08 00 03 e9 00 00 00 04 0a 05 32 02");
}

TEST(MessageWire, LengthsUseAllTheirBytes) {
  nv::message msg;
  msg.insert_string(0x20000009, std::string(0x1234, 'x'));
  EXPECT_EQ(toHex(msg.encode().substr(0, 13)), "01 00 12 40 20 00 00 09 00 00 12 34 78");
  msg.insert_string(0x20000009, std::string(65524, 'x'));
  EXPECT_EQ(toHex(msg.encode().substr(0, 12)), "01 01 00 00 20 00 00 09 00 00 ff f4");
}

TEST(MessageWire, MessageThatIsTooLongToBeSentSaysLengthZero) {
  nv::message msg;
  msg.insert_string(0x20000009, std::string(65525, 'x'));
  EXPECT_EQ(toHex(msg.encode().substr(0, 13)), "01 00 00 00 20 00 00 09 00 00 ff f5 78");
  msg.insert_string(0x20000009, std::string(0x1234567, 'x'));
  EXPECT_EQ(toHex(msg.encode().substr(0, 13)), "01 00 00 00 20 00 00 09 01 23 45 67 78");
  msg.insert_string(0x20000009, "");
  EXPECT_EQ(toHex(msg.encode()), "01 00 00 0c 20 00 00 09 00 00 00 00");
}

TEST(MessageWire, DecodingGivesTheFields) {
  const std::string bytes = fromHex(
      "01 00 00 43  00 00 04 06 00 00 00 01 01  08 00 00 03 00 00 00 04 12 34 56 78"
      " 10 00 00 02 00 00 00 08 01 23 45 67 89 ab cd ef  20 00 00 09 00 00 00 00"
      " 30 00 00 0b 00 00 00 02 ff 00  88 ff 00 01 00 00 00 00");
  nv::message msg;
  ASSERT_TRUE(msg.decode(bytes.data(), bytes.size()));
  EXPECT_TRUE(msg.get_bool(0x00000406, false));
  EXPECT_EQ(msg.get_u32(0x08000003, 0), 0x12345678U);
  EXPECT_EQ(msg.get_u64(0x10000002, 0), 0x0123456789abcdefULL);
  EXPECT_EQ(msg.get_string(0x20000009, "none"), "");
  EXPECT_EQ(msg.get_raw(0x3000000b, {}), (std::vector<unsigned char>{255, 0}));
  EXPECT_EQ(msg.get_u32_array(0x88ff0001, {1}), std::vector<unsigned>{});
  EXPECT_EQ(msg.ids(), (std::vector<std::uint32_t>{0x00000406, 0x08000003, 0x10000002, 0x20000009,
                                                   0x3000000b, 0x88ff0001}));
  EXPECT_EQ(msg.encode(), bytes);
}

TEST(MessageWire, DecodedMessageCanBeChanged) {
  const std::string bytes = fromHex("01 00 00 11 20 00 00 09 00 00 00 05 75 73 65 72 73");
  nv::message msg;
  ASSERT_TRUE(msg.decode(bytes.data(), bytes.size()));
  msg.insert_string(0x20000009, "me");
  msg.insert_u32(0x08000003, 1);
  EXPECT_EQ(toHex(msg.encode()),
            "01 00 00 1a 20 00 00 09 00 00 00 02 6d 65 08 00 00 03 00 00 00 04 00 00 00 01");
}

TEST(MessageWire, DecodingItsOwnBytesChangesNothing) {
  nv::message msg;
  msg.insert_string(0x20000009, std::string(400, 'x'));
  const std::string before = msg.encode();
  EXPECT_TRUE(msg.decode(msg.encode().data(), msg.encode().size()));
  EXPECT_EQ(msg.encode(), before);
}

TEST(MessageWire, RefusesBytesThatAreNoMessage) {
  struct {
    const char* what;
    const char* hex;
  } const cases[] = {
      {"nothing", ""},
      {"header cut short", "01 00 00"},
      {"another version", "02 00 00 04"},
      {"version 0", "00 00 00 04"},
      {"length too great by one", "01 00 00 05"},
      {"length too small", "01 00 00 03"},
      {"length in the other byte order", "01 04 00 00"},
      {"a byte behind the last field", "01 00 00 0d 20 00 00 09 00 00 00 00 00"},
      {"field header cut short", "01 00 00 0b 20 00 00 09 00 00 00"},
      {"value cut short", "01 00 00 0e 20 00 00 09 00 00 00 03 75 73"},
      {"value's length in the other byte order", "01 00 00 0d 20 00 00 09 01 00 00 00 75"},
      {"value's length of 2 bytes", "01 00 00 0b 20 00 00 09 00 01 75"},
      {"value's length that wraps", "01 00 00 0d 20 00 00 09 ff ff ff ff 75"},
      {"bool without a value", "01 00 00 0c 00 00 04 06 00 00 00 00"},
      {"bool of two bytes", "01 00 00 0e 00 00 04 06 00 00 00 02 00 01"},
      {"bool of 2", "01 00 00 0d 00 00 04 06 00 00 00 01 02"},
      {"bool of 255", "01 00 00 0d 00 00 04 06 00 00 00 01 ff"},
      {"u32 of three bytes", "01 00 00 0f 08 00 00 03 00 00 00 03 01 02 03"},
      {"u32 of five bytes", "01 00 00 11 08 00 00 03 00 00 00 05 01 02 03 04 05"},
      {"u32 without a value", "01 00 00 0c 08 00 00 03 00 00 00 00"},
      {"u64 of four bytes", "01 00 00 10 10 00 00 02 00 00 00 04 01 02 03 04"},
      {"u64 of nine bytes", "01 00 00 15 10 00 00 02 00 00 00 09 01 02 03 04 05 06 07 08 09"},
      {"array of three bytes", "01 00 00 0f 88 ff 00 01 00 00 00 03 01 02 03"},
      {"array of six bytes", "01 00 00 12 88 ff 00 01 00 00 00 06 01 02 03 04 05 06"},
      {"unknown type 0x01", "01 00 00 0d 01 00 00 01 00 00 00 01 00"},
      {"unknown type 0x18", "01 00 00 10 18 00 00 01 00 00 00 04 00 00 00 00"},
      {"unknown type 0xa0", "01 00 00 0c a0 00 00 01 00 00 00 00"},
      {"unknown type 0xff", "01 00 00 0c ff 00 00 01 00 00 00 00"},
      {"an id twice", "01 00 00 14 20 00 00 09 00 00 00 00 20 00 00 09 00 00 00 00"},
      {"an id twice, another between",
       "01 00 00 1c 20 00 00 09 00 00 00 00 20 00 00 0a 00 00 00 00 20 00 00 09 00 00 00 00"},
  };
  for (const auto& c : cases) {
    EXPECT_FALSE(accepts(c.hex)) << c.what;
    EXPECT_FALSE(naiveDecode(fromHex(c.hex)).has_value()) << c.what;
  }
}

TEST(MessageWire, RefusedBytesLeaveAnEmptyMessage) {
  nv::message msg;
  msg.insert_u32(0x08000003, 1);
  EXPECT_FALSE(msg.decode("\x01\x00\x00\x05", 4));
  EXPECT_EQ(msg.ids(), std::vector<std::uint32_t>{});
  EXPECT_EQ(msg.encode(), nv::message().encode());
}

TEST(MessageWire, RefusesOneByteMoreThanTheLimit) {
  std::string bytes = naiveEncode({{0x20000001, std::string(65524, 'x')}});
  nv::message msg;
  EXPECT_TRUE(msg.decode(bytes.data(), bytes.size()));
  bytes = naiveEncode({{0x20000001, std::string(65525, 'x')}});
  EXPECT_FALSE(msg.decode(bytes.data(), bytes.size()));
  bytes = naiveEncode({{0x20000001, std::string(65516, 'x')}, {0x20000002, "x"}});
  EXPECT_FALSE(msg.decode(bytes.data(), bytes.size()));
}

}  // namespace
