// The error form of a message.

#include <gtest/gtest.h>

#include "host/message.h"
#include "tests/platform/bytes.h"

namespace {

TEST(MessageError, ErrorReplyHasItsCodeAndText) {
  nv::message msg;
  nv::setError(&msg, 0xfe0002, "hotspot manager did not answer in time");
  unsigned code = 1;
  std::string text = "before";
  EXPECT_TRUE(nv::isError(msg, &code, &text));
  EXPECT_EQ(code, 0xfe0002U);
  EXPECT_EQ(text, "hotspot manager did not answer in time");
  EXPECT_EQ(nv::getError(msg), "hotspot manager did not answer in time");
}

TEST(MessageError, OrdinaryReplyIsNone) {
  nv::message msg;
  msg.insert_u32(0x08000100, 1);
  msg.insert_string(nv::kErrorText, "a text alone is no error");
  unsigned code = 1;
  std::string text = "before";
  EXPECT_FALSE(nv::isError(msg, &code, &text));
  EXPECT_EQ(code, 1U);
  EXPECT_EQ(text, "before");
}

TEST(MessageError, OutputsMayBeLeftOut) {
  nv::message msg;
  EXPECT_FALSE(nv::isError(msg, nullptr, nullptr));
  nv::setError(&msg, 5, "five");
  EXPECT_TRUE(nv::isError(msg, nullptr, nullptr));
  unsigned code = 0;
  EXPECT_TRUE(nv::isError(msg, &code, nullptr));
  EXPECT_EQ(code, 5U);
  std::string text;
  EXPECT_TRUE(nv::isError(msg, nullptr, &text));
  EXPECT_EQ(text, "five");
}

TEST(MessageError, ReplyWithoutATextNamesItsCode) {
  struct {
    unsigned code;
    const char* text;
  } const cases[] = {{0, "error 0x0"},
                     {10, "error 0xa"},
                     {0xfe0001, "error 0xfe0001"},
                     {0xabcdef12, "error 0xabcdef12"},
                     {0xffffffff, "error 0xffffffff"}};
  for (const auto& c : cases) {
    nv::message empty;
    nv::setError(&empty, c.code, "");
    EXPECT_EQ(nv::getError(empty), c.text);
    nv::message absent;
    absent.insert_u32(nv::kErrorCode, c.code);
    EXPECT_EQ(nv::getError(absent), c.text);
    std::string text = "before";
    EXPECT_TRUE(nv::isError(absent, nullptr, &text));
    EXPECT_EQ(text, "");
  }
}

TEST(MessageError, CodeZeroIsAnErrorToo) {
  nv::message msg;
  nv::setError(&msg, 0, "zero");
  unsigned code = 1;
  EXPECT_TRUE(nv::isError(msg, &code, nullptr));
  EXPECT_EQ(code, 0U);
}

TEST(MessageError, FieldsOfTheReplyStay) {
  nv::message msg;
  msg.insert_bool(0x00000406, true);
  nv::setError(&msg, 1, "first");
  nv::setError(&msg, 2, "second");
  EXPECT_TRUE(msg.get_bool(0x00000406, false));
  EXPECT_EQ(nv::getError(msg), "second");
  EXPECT_EQ(msg.ids(), (std::vector<std::uint32_t>{0x00000406, nv::kErrorCode, nv::kErrorText}));
}

TEST(MessageError, WireFormIsTwoReservedFields) {
  nv::message msg;
  nv::setError(&msg, 0xfe0001, "no");
  EXPECT_EQ(toHex(msg.encode()),
            "01 00 00 1a 08 ff 01 00 00 00 00 04 00 fe 00 01 20 ff 01 01 00 00 00 02 6e 6f");
}

}  // namespace
