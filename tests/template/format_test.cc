// Numbers, times and byte counts as texts, and texts as numbers, by hand-worked examples.

#include "template/format.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

TEST(Bin2Oct, EveryByteIsABackslashAndThreeDigits) {
  EXPECT_EQ(bin2oct(""), "");
  EXPECT_EQ(bin2oct(std::string("\0A\xff", 3)), "\\000\\101\\377");
  EXPECT_EQ(bin2oct("\n"), "\\012");
  EXPECT_EQ(bin2oct("\x80\x07\x08\x3f\x40\xc0"), "\\200\\007\\010\\077\\100\\300");
  EXPECT_EQ(bin2oct(std::string(16, 'x')).size(), 64u);
}

TEST(Num2Str, PrintsInTheGivenFormat) {
  EXPECT_EQ(num2str(0, "%u"), "0");
  EXPECT_EQ(num2str(4294967295u, "%u"), "4294967295");
  EXPECT_EQ(num2str(255, "unknown<0x%x>"), "unknown<0xff>");
  EXPECT_EQ(num2str(42, "%08u"), "00000042");
  EXPECT_EQ(num2str(48879, "%x"), "beef");
}

TEST(Num2Str, LongerOutputIsCutTo31Characters) {
  EXPECT_EQ(num2str(7, "%031u"), std::string(30, '0') + "7");
  EXPECT_EQ(num2str(7, "%032u"), std::string(31, '0'));
  EXPECT_EQ(num2str(7, "%040u"), std::string(31, '0'));
}

TEST(Ull2Str, PrintsTheWholeRange) {
  EXPECT_EQ(ull2str(0), "0");
  EXPECT_EQ(ull2str(4294967296ull), "4294967296");
  EXPECT_EQ(ull2str(18446744073709551615ull), "18446744073709551615");
}

TEST(TimeStr, UnitsThatAreZeroAreLeftOut) {
  const std::vector<std::pair<unsigned, const char*>> cases = {{0, "0s"},
                                                               {1, "1s"},
                                                               {59, "59s"},
                                                               {60, "1m"},
                                                               {61, "1m1s"},
                                                               {119, "1m59s"},
                                                               {120, "2m"},
                                                               {3599, "59m59s"},
                                                               {3600, "1h"},
                                                               {3601, "1h1s"},
                                                               {3660, "1h1m"},
                                                               {3661, "1h1m1s"},
                                                               {86399, "23h59m59s"},
                                                               {86400, "1d"},
                                                               {86401, "1d1s"},
                                                               {86460, "1d1m"},
                                                               {90000, "1d1h"},
                                                               {90061, "1d1h1m1s"},
                                                               {93784, "1d2h3m4s"},
                                                               {864000, "10d"},
                                                               {2592000, "30d"},
                                                               {31536000, "365d"},
                                                               {4294967295u, "49710d6h28m15s"}};
  for (const auto& [seconds, expected] : cases) EXPECT_EQ(getTimeStr(seconds), expected);
}

TEST(DateTimeStr, IsUtcWithTwoDigitFields) {
  const std::vector<std::pair<unsigned, const char*>> cases = {
      {0, "Jan/01/1970 00:00:00"},           {1704459845u, "Jan/05/2024 13:04:05"},
      {951782400u, "Feb/29/2000 00:00:00"},  {951868799u, "Feb/29/2000 23:59:59"},
      {978307199u, "Dec/31/2000 23:59:59"},  {2147483647u, "Jan/19/2038 03:14:07"},
      {2147483648u, "Jan/19/2038 03:14:08"}, {4294967295u, "Feb/07/2106 06:28:15"}};
  for (const auto& [t, expected] : cases) EXPECT_EQ(getDateTimeStr(t), expected);
}

TEST(DateTimeStr, MonthsHaveTheirEnglishNames) {
  const char* const names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const unsigned days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  unsigned t = 0;
  for (int month = 0; month < 12; ++month) {
    EXPECT_EQ(getDateTimeStr(t), std::string(names[month]) + "/01/1970 00:00:00");
    t += days[month] * 86400;
  }
}

TEST(NiceBytes, UnitsChangeAtTwiceTheUnit) {
  EXPECT_EQ(getNiceBytes(0), "0 B");
  EXPECT_EQ(getNiceBytes(1024), "1024 B");
  EXPECT_EQ(getNiceBytes(2047), "2047 B");
  EXPECT_EQ(getNiceBytes(2048), "2.0 KiB");
  EXPECT_EQ(getNiceBytes(2097151), "2047.0 KiB");
  EXPECT_EQ(getNiceBytes(2097152), "2.0 MiB");
  EXPECT_EQ(getNiceBytes(2147483647), "2047.0 MiB");
  EXPECT_EQ(getNiceBytes(2147483648), "2.0 GiB");
}

TEST(NiceBytes, NothingIsAboveGib) {
  EXPECT_EQ(getNiceBytes(8796093022208ull), "8192.0 GiB");
  EXPECT_EQ(getNiceBytes(1ull << 40), "1024.0 GiB");
}

TEST(NiceBytes, TenthsDriftNearTheTopOfAUnit) {
  EXPECT_EQ(getNiceBytes(3000), "2.9 KiB");
  EXPECT_EQ(getNiceBytes(3071), "2.0 KiB");
  EXPECT_EQ(getNiceBytes(10239), "9.0 KiB");
  EXPECT_EQ(getNiceBytes(1048576), "1024.0 KiB");
}

TEST(NiceBytes, TenthsAreOfTheQuotientsLow32Bits) {
  // The quotients are 9313225780 and 93132257808; their low 32 bits 723291188 and 2937944592.
  EXPECT_EQ(getNiceBytes(1000000000000000000ull), "931322574.8 GiB");
  EXPECT_EQ(getNiceBytes(10000000000000000000ull), "9313225746.2 GiB");
}

struct Number {
  const char* text;
  int base;
  std::uint32_t value;
  int length;  // of what was read
};

void expectNumbers(const std::vector<Number>& numbers) {
  for (const auto& [text, base, value, length] : numbers) {
    const char* end = nullptr;
    EXPECT_EQ(parseNumber(text, &end, base), value) << text;
    EXPECT_EQ(end - text, length) << text;
    EXPECT_EQ(parseNumber(text, nullptr, base), value) << text;
  }
}

TEST(ParseNumber, ReadsLeadingDigits) {
  expectNumbers({{"42", 10, 42, 2},
                 {"42a", 10, 42, 2},
                 {"0", 10, 0, 1},
                 {"007", 10, 7, 3},
                 {"08", 10, 8, 2},
                 {"0x10", 10, 0, 1}});
}

TEST(ParseNumber, NoDigitsReadNothing) {
  expectNumbers({{"", 10, 0, 0},
                 {" ", 10, 0, 0},
                 {"-", 10, 0, 0},
                 {"+-1", 10, 0, 0},
                 {"- 1", 10, 0, 0},
                 {"a", 10, 0, 0},
                 {"x10", 0, 0, 0}});
}

TEST(ParseNumber, WhiteSpaceAndASignAreAccepted) {
  expectNumbers({{" 7", 10, 7, 2},
                 {"\t\n\v\f\r 7 ", 10, 7, 7},
                 {"+7", 10, 7, 2},
                 {" -1", 10, 4294967295u, 3},
                 {"-0", 10, 0, 2},
                 {"-4294967295", 10, 1, 11}});
}

TEST(ParseNumber, IsThirtyTwoBitsWideOnEveryMachine) {
  expectNumbers({{"4294967295", 10, 4294967295u, 10},
                 {"4294967296", 10, 4294967295u, 10},
                 {"4294967297", 10, 4294967295u, 10},
                 {"18446744073709551616", 10, 4294967295u, 20},
                 {"99999999999999999999999999x", 10, 4294967295u, 26},
                 {"-4294967296", 10, 4294967295u, 11},
                 {"-18446744073709551615", 10, 4294967295u, 21}});
}

TEST(ParseNumber, BaseZeroTellsTheBaseByThePrefix) {
  expectNumbers({{"0x1a", 0, 26, 4},
                 {"0X1Ag", 0, 26, 4},
                 {"010", 0, 8, 3},
                 {"08", 0, 0, 1},
                 {"10", 0, 10, 2},
                 {"0", 0, 0, 1},
                 {"0x", 0, 0, 1},
                 {"0xg", 0, 0, 1},
                 {"-0x1", 0, 4294967295u, 4},
                 {"0x100000000", 0, 4294967295u, 11},
                 {"037777777777", 0, 4294967295u, 12},
                 {"040000000000", 0, 4294967295u, 12}});
}

}  // namespace
