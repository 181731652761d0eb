// References to RADIUS attributes against a second, naive reader: every short text behind the
// prefix, and numbers around each power of two.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "template/var_val.h"
#include "tests/support/short_texts.h"
#include "tests/template/naive_format.h"

namespace {

struct Id {
  bool ok = false;
  unsigned vendor = 0, type = 0, index = 0;
  bool numeric = false;

  bool operator==(const Id&) const = default;
};

// A cursor over what is left of the text, which shrinks.
Id readNaively(std::string left, bool mayHaveIndex) {
  Id id;
  const auto number = [&left](unsigned* value) {
    const char* end = nullptr;
    const std::uint32_t read = naive::parseNumber(left.c_str(), &end, 0);
    const std::size_t length = static_cast<std::size_t>(end - left.c_str());
    if (length > 0) *value = read;
    left.erase(0, length);
    return length > 0;
  };
  const auto is = [&left](char c) {
    if (left.empty() || left[0] != c) return false;
    left.erase(0, 1);
    return true;
  };
  if (!number(&id.type)) return id;
  if (is('-') && !number(&id.vendor)) return id;
  id.numeric = is('u');
  if (mayHaveIndex && is('[')) {
    number(&id.index);
    if (!is(']')) return id;
  }
  id.ok = left.empty();
  return id;
}

bool agrees(const std::string& text) {
  for (const bool mayHaveIndex : {true, false}) {
    Id id;
    id.ok = parseRadiusNumbers(text.c_str(), &id.vendor, &id.type, &id.numeric,
                               mayHaveIndex ? &id.index : nullptr);
    EXPECT_EQ(id, readNaively(text, mayHaveIndex)) << text << ", index " << mayHaveIndex;
  }
  return !testing::Test::HasFailure();
}

TEST(RadiusIdComparison, AgreesOnEveryShortText) { forEachText("019x-u[] a", 6, "", agrees); }

TEST(RadiusIdComparison, AgreesAroundPowersOfTwo) {
  for (unsigned bit = 0; bit < 40; ++bit) {
    for (const std::int64_t off : {-1, 0, 1}) {
      const std::string number = std::to_string((std::int64_t{1} << bit) + off);
      if (!agrees(number + "-" + number + "u[" + number + "]")) return;
      if (!agrees("-" + number) || !agrees("1--" + number + "u[-" + number + "]")) return;
    }
  }
}

// Whatever stands behind the prefix, no number can be read at the start of the name.
TEST(RadiusIdComparison, OnlyTheBareNameIsAReference) {
  forEachText("019x-u[]s", 5, "", [](const std::string& text) {
    for (const char* const prefix : {"radius", "radiu", "Radius"}) {
      const std::string name = prefix + text;
      Id id;
      id.ok = parseRadiusId(name, &id.vendor, &id.type, &id.numeric, &id.index);
      Id expected;
      expected.ok = name == "radius";
      EXPECT_EQ(id, expected) << name;
    }
    return !testing::Test::HasFailure();
  });
}

}  // namespace
