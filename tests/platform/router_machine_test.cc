// Whether the emulated router is a machine on which the width of the basic types, the byte order
// and the sign of char differ from the usual ones: otherwise the tests that run there would show
// nothing.

#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <ctime>
#include <limits>

namespace {

TEST(RouterMachine, StoresTheHighestByteFirst) { EXPECT_EQ(std::endian::native, std::endian::big); }

TEST(RouterMachine, HasLongSizeAndPointersOf32Bits) {
  EXPECT_EQ(sizeof(long), 4u);
  EXPECT_EQ(sizeof(std::size_t), 4u);
  EXPECT_EQ(sizeof(void*), 4u);
}

TEST(RouterMachine, HasAnUnsignedChar) { EXPECT_EQ(std::numeric_limits<char>::min(), 0); }

// _TIME_BITS=64: the module's times go up to 2106.
TEST(RouterMachine, HasTimesBeyond2038) { EXPECT_EQ(sizeof(std::time_t), 8u); }

}  // namespace
