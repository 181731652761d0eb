// Traffic counters, byte limits, and the CHAP values of the login page.

#include "vars/counter_vars.h"

#include <gtest/gtest.h>

#include "tests/support/messages.h"

namespace {

using Env = std::map<std::string, std::string>;
using fake::Reply;

constexpr std::uint32_t kBytesIn = 0x10000015;
constexpr std::uint32_t kPacketsIn = 0x10000016;
constexpr std::uint32_t kBytesOut = 0x10000017;
constexpr std::uint32_t kPacketsOut = 0x10000018;
constexpr std::uint32_t kLimitIn = 0x1000001f;
constexpr std::uint32_t kLimitOut = 0x10000020;
constexpr std::uint32_t kLimitTotal = 0x10000021;

Env countersOf(const nv::message& reply) {
  Env env;
  setCounterVars(env, reply);
  return env;
}

TEST(CounterVars, WithoutFieldsCountersAreZeroAndLimitsEmpty) {
  const Env expected = {
      {"bytes-in", "0"},         {"bytes-out", "0"},        {"bytes-in-nice", "0 B"},
      {"bytes-out-nice", "0 B"}, {"packets-in", "0"},       {"packets-out", "0"},
      {"limit-bytes-in", ""},    {"remain-bytes-in", ""},   {"limit-bytes-out", ""},
      {"remain-bytes-out", ""},  {"limit-bytes-total", ""}, {"remain-bytes-total", ""}};
  EXPECT_EQ(countersOf(Reply()), expected);
}

TEST(CounterVars, EachCounterHasItsOwnFieldAllSixtyFourBitsWide) {
  Env env = countersOf(Reply()
                           .u64(kBytesIn, 5000000000)
                           .u64(kPacketsIn, 18446744073709551615U)
                           .u64(kBytesOut, 3000)
                           .u64(kPacketsOut, 4294967296));
  EXPECT_EQ(env["bytes-in"], "5000000000");
  EXPECT_EQ(env["bytes-in-nice"], "4.6 GiB");  // 5000000000 / 107374182 is 46
  EXPECT_EQ(env["packets-in"], "18446744073709551615");
  EXPECT_EQ(env["bytes-out"], "3000");
  EXPECT_EQ(env["bytes-out-nice"], "2.9 KiB");
  EXPECT_EQ(env["packets-out"], "4294967296");
}

TEST(CounterVars, RemainderIsTheUnclampedDifference) {
  struct Case {
    std::uint64_t limit;
    std::uint64_t used;
    const char* limitText;
    const char* remainText;
  };
  const Case cases[] = {
      {1000, 400, "1000", "600"},
      {1000, 1000, "1000", "0"},
      {1000, 1001, "1000", "18446744073709551615"},
      {1000, 3000, "1000", "18446744073709549616"},
      {1, 0, "1", "1"},
      {0, 400, "", ""},
      {18446744073709551615U, 0, "18446744073709551615", "18446744073709551615"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.limit << " less " << c.used);
    Env in = countersOf(Reply().u64(kLimitIn, c.limit).u64(kBytesIn, c.used).u64(kBytesOut, 7));
    EXPECT_EQ(in["limit-bytes-in"], c.limitText);
    EXPECT_EQ(in["remain-bytes-in"], c.remainText);
    EXPECT_EQ(in["limit-bytes-out"], "");
    EXPECT_EQ(in["remain-bytes-out"], "");
    EXPECT_EQ(in["limit-bytes-total"], "");
    EXPECT_EQ(in["remain-bytes-total"], "");
    Env out = countersOf(Reply().u64(kLimitOut, c.limit).u64(kBytesOut, c.used).u64(kBytesIn, 7));
    EXPECT_EQ(out["limit-bytes-out"], c.limitText);
    EXPECT_EQ(out["remain-bytes-out"], c.remainText);
    EXPECT_EQ(out["limit-bytes-in"], "");
    EXPECT_EQ(out["remain-bytes-in"], "");
    Env total = countersOf(Reply().u64(kLimitTotal, c.limit).u64(kBytesOut, c.used));
    EXPECT_EQ(total["limit-bytes-total"], c.limitText);
    EXPECT_EQ(total["remain-bytes-total"], c.remainText);
  }
}

TEST(CounterVars, TotalLimitCountsBothDirections) {
  Env env = countersOf(Reply().u64(kLimitTotal, 5000).u64(kBytesIn, 1000).u64(kBytesOut, 1500));
  EXPECT_EQ(env["limit-bytes-total"], "5000");
  EXPECT_EQ(env["remain-bytes-total"], "2500");
  EXPECT_EQ(env["limit-bytes-in"], "");
  EXPECT_EQ(env["remain-bytes-in"], "");
  EXPECT_EQ(env["limit-bytes-out"], "");
  EXPECT_EQ(env["remain-bytes-out"], "");
}

TEST(CounterVars, LimitThatIsGoneEmptiesItsVariables) {
  Env env = countersOf(Reply().u64(kLimitIn, 10).u64(kLimitOut, 10).u64(kLimitTotal, 10));
  setCounterVars(env, Reply());
  for (const char* name : {"limit-bytes-in", "limit-bytes-out", "limit-bytes-total",
                           "remain-bytes-in", "remain-bytes-out", "remain-bytes-total"}) {
    EXPECT_EQ(env.at(name), "") << name;
  }
}

TEST(ChapVars, FirstByteIsTheIdentifierAndTheRestTheChallenge) {
  Env env;
  EXPECT_TRUE(initChap(env, std::string("\x0a\x00\xff", 3)));
  const Env expected = {{"chap-id", "\\012"}, {"chap-challenge", "\\000\\377"}};
  EXPECT_EQ(env, expected);
}

TEST(ChapVars, SeventeenBytesGiveFourAndSixtyFourCharacters) {
  Env env;
  EXPECT_TRUE(initChap(env, std::string(17, 'A')));
  EXPECT_EQ(env["chap-id"], "\\101");
  EXPECT_EQ(env["chap-challenge"].size(), 64U);
}

TEST(ChapVars, ValueWithoutAChallengeEmptiesBoth) {
  for (const std::string& value : {std::string(), std::string("A"), std::string(1, '\0')}) {
    Env env = {{"chap-id", "old"}, {"chap-challenge", "old"}};
    EXPECT_FALSE(initChap(env, value));
    const Env expected = {{"chap-id", ""}, {"chap-challenge", ""}};
    EXPECT_EQ(env, expected);
  }
}

}  // namespace
