#include "webserver/body_stream.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <string>

namespace web {
namespace {

std::string textOf(const BodyStream& stream) {
  return {stream.buffer().data(), stream.buffer().size()};
}

TEST(BodyStream, KeepsEverythingInOrderWhateverTheSizes) {
  BodyStream stream;
  std::string expected;
  for (int i = 0; i < 2000; ++i) {
    const std::string piece(static_cast<std::size_t>(i % 97), static_cast<char>('a' + i % 26));
    stream << piece << i;
    stream.put('\n');
    expected += piece + std::to_string(i) + '\n';
  }
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(textOf(stream), expected);
}

TEST(BodyStream, EveryByteGoesThroughPutAndWrite) {
  BodyStream stream;
  std::string expected;
  for (int round = 0; round < 100; ++round) {
    for (int c = 0; c < 256; ++c) {
      stream.put(static_cast<char>(c));
      expected.push_back(static_cast<char>(c));
    }
  }
  EXPECT_EQ(textOf(stream), expected);
}

TEST(BodyStream, ResetGivesANewStream) {
  BodyStream stream;
  stream << std::hex << std::setfill('0') << std::setw(9) << 255;
  stream.setstate(std::ios_base::badbit);
  stream.reset();
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(stream.buffer().size(), 0u);
  stream << std::setw(5) << 255;
  EXPECT_EQ(textOf(stream), "  255");
}

TEST(BodyStream, IsBadAfterMoreThanMemoryHolds) {
  BodyStream stream;
  stream << "begin";
  stream.write("x", std::streamsize{1} << 40);
  EXPECT_TRUE(stream.bad());
  EXPECT_EQ(textOf(stream), "begin");
  stream.reset();
  stream << "again";
  EXPECT_EQ(textOf(stream), "again");
}

}  // namespace
}  // namespace web
