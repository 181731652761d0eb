// The formatting functions against second, naive versions: every short text, every boundary, seeded
// random values.

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "template/escape.h"
#include "template/format.h"
#include "tests/support/short_texts.h"
#include "tests/template/naive_format.h"

namespace {

bool sameFixed(const std::string& text) {
  EXPECT_EQ(fixString(text), naive::fixString(text)) << text;
  return !testing::Test::HasFailure();
}

bool sameNumber(const std::string& text) {
  for (const int base : {0, 10}) {
    const char* end = nullptr;
    const char* expectedEnd = nullptr;
    const std::uint32_t expected = naive::parseNumber(text.c_str(), &expectedEnd, base);
    EXPECT_EQ(parseNumber(text.c_str(), &end, base), expected) << text << " base " << base;
    EXPECT_EQ(end - text.c_str(), expectedEnd - text.c_str()) << text << " base " << base;
  }
  return !testing::Test::HasFailure();
}

TEST(FormatComparison, FixStringAgreesOnEveryShortText) {
  const std::string alphabet("%+4fgx- \0\x80", 10);
  forEachText(alphabet, 6, "", sameFixed);
}

TEST(FormatComparison, FixStringAgreesOnEveryPairOfBytes) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const std::string pair{static_cast<char>(first), static_cast<char>(second)};
      if (!sameFixed("%41%" + pair) || !sameFixed("%" + pair + "%42")) return;
    }
  }
}

TEST(FormatComparison, ParseNumberAgreesOnEveryShortText) {
  forEachText("0179-+ xXafg\v", 5, "", sameNumber);
}

TEST(FormatComparison, ParseNumberAgreesAroundPowersOfTwo) {
  for (unsigned bit = 0; bit < 64; ++bit) {
    for (const long long off : {-1, 0, 1}) {
      const unsigned long long n = (1ull << bit) + static_cast<unsigned long long>(off);
      char octal[32];
      char hex[32];
      std::snprintf(octal, sizeof octal, "0%llo", n);
      std::snprintf(hex, sizeof hex, "0x%llX", n);
      for (const std::string& digits : {std::to_string(n), std::string(octal), std::string(hex)}) {
        for (const char* const sign : {"", "-", "+", " -", "- "}) {
          EXPECT_TRUE(sameNumber(sign + digits));
          EXPECT_TRUE(sameNumber(sign + digits + "9"));
        }
      }
    }
  }
}

TEST(FormatComparison, TimeStrAgrees) {
  std::mt19937 random(1);
  for (unsigned n = 0; n < 200000; ++n) ASSERT_EQ(getTimeStr(n), naive::getTimeStr(n));
  // Around the powers of two, and around whole units at both ends.
  for (unsigned bit = 0; bit < 32; ++bit) {
    for (unsigned off = 0; off < 3; ++off) {
      const unsigned n = (1u << bit) - 1 + off;
      ASSERT_EQ(getTimeStr(n), naive::getTimeStr(n)) << n;
    }
  }
  for (const unsigned unit : {60u, 3600u, 86400u}) {
    for (const unsigned count : {1u, 2u, UINT32_MAX / unit}) {
      for (unsigned off = 0; off < 3; ++off) {
        const unsigned n = count * unit - 1 + off;
        ASSERT_EQ(getTimeStr(n), naive::getTimeStr(n)) << n;
      }
    }
  }
  for (int i = 0; i < 200000; ++i) {
    const unsigned n = static_cast<unsigned>(random());
    ASSERT_EQ(getTimeStr(n), naive::getTimeStr(n)) << n;
    const unsigned onTheHour = n - n % 3600;
    ASSERT_EQ(getTimeStr(onTheHour), naive::getTimeStr(onTheHour)) << onTheHour;
  }
}

TEST(FormatComparison, DateTimeStrAgrees) {
  std::mt19937 random(2);
  for (unsigned bit = 0; bit < 32; ++bit) {
    for (unsigned off = 0; off < 3; ++off) {
      const unsigned t = (1u << bit) - 1 + off;
      ASSERT_EQ(getDateTimeStr(t), naive::getDateTimeStr(t)) << t;
    }
  }
  for (int i = 0; i < 50000; ++i) {
    const unsigned t = static_cast<unsigned>(random());
    ASSERT_EQ(getDateTimeStr(t), naive::getDateTimeStr(t)) << t;
    const unsigned midnight = t - t % 86400;
    ASSERT_EQ(getDateTimeStr(midnight - 1), naive::getDateTimeStr(midnight - 1)) << midnight;
  }
}

TEST(FormatComparison, NiceBytesAgrees) {
  std::mt19937_64 random(3);
  for (unsigned long long n = 0; n < 300000; ++n) {
    ASSERT_EQ(getNiceBytes(n), naive::getNiceBytes(n));
  }
  for (unsigned bit = 0; bit < 64; ++bit) {
    for (unsigned long long off = 0; off < 300; ++off) {
      const unsigned long long n = (1ull << bit) + off;
      ASSERT_EQ(getNiceBytes(n), naive::getNiceBytes(n)) << n;
      ASSERT_EQ(getNiceBytes(0 - n), naive::getNiceBytes(0 - n)) << 0 - n;
      ASSERT_EQ(getNiceBytes((1ull << bit) - 1 - off),
                naive::getNiceBytes((1ull << bit) - 1 - off));
    }
  }
  for (int i = 0; i < 200000; ++i) {
    const unsigned long long n = random() >> (random() % 64);
    ASSERT_EQ(getNiceBytes(n), naive::getNiceBytes(n)) << n;
  }
}

}  // namespace
