// The openers of a text, one after the other, against a look at each of its bytes.

#include "template/openers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

const char* plainNext(const char* at, const char* end) {
  while (at < end && *at != '$' && *at != '%') ++at;
  return at;
}

// Goes through a text as an engine does: on from each opener by 1, 2, ... bytes, as `steps` says.
// The text has memory of its own, so that a read outside is one that the sanitizer sees.
void expectAllOf(const std::string& text, const std::vector<std::size_t>& steps) {
  const std::vector<char> alone(text.begin(), text.end());
  const char* const start = alone.data();
  const char* const end = start + alone.size();
  Openers openers(start, end);
  const char* at = start;
  for (std::size_t turn = 0;; ++turn) {
    const char* const expected = plainNext(at, end);
    ASSERT_EQ(openers.next(at) - start, expected - start)
        << "from " << at - start << " of " << text.size();
    if (expected == end) break;
    const std::size_t step = steps[turn % steps.size()];
    if (static_cast<std::size_t>(end - expected) < step) break;
    at = expected + step;
  }
}

const std::vector<std::size_t> kSteps[] = {{1},  {2},     {1, 2, 5}, {63, 1},
                                           {64}, {65, 1}, {1, 4096}, {4097, 1, 1}};

TEST(Openers, FindsEachOneWhereverItStands) {
  for (const char opener : {'$', '%'}) {
    for (std::size_t length = 0; length <= 200; ++length) {
      for (std::size_t at = 0; at < length; ++at) {
        std::string text(length, 'x');
        text[at] = opener;
        expectAllOf(text, {1});
      }
    }
  }
}

TEST(Openers, FindsThoseThatAreFarApart) {
  for (const std::size_t gap :
       {63u, 64u, 65u, 128u, 4095u, 4096u, 4097u, 4160u, 8191u, 8192u, 8193u, 12352u}) {
    const std::string plain(gap, 'x');
    for (const char* const mixed : {"$$", "%%", "$%", "%$"}) {
      std::string text = plain;
      for (int i = 0; i < 6; ++i) text += mixed[i % 2] + plain;
      for (const auto& steps : kSteps) expectAllOf(text, steps);
    }
  }
}

TEST(Openers, FindsThoseOfManyTexts) {
  std::uint32_t seed = 1;
  const auto random = [&seed](std::uint32_t below) {
    seed = seed * 1664525u + 1013904223u;
    return (seed >> 8) % below;
  };
  for (int round = 0; round < 4000; ++round) {
    std::string text;
    const std::uint32_t rarity = 1u << random(10);
    for (std::uint32_t left = random(1u << random(14)); left > 0; --left) {
      text += random(rarity) == 0 ? "$%"[random(2)] : "x$y&"[random(2) * 2];
    }
    expectAllOf(text, kSteps[random(std::size(kSteps))]);
  }
}

TEST(Openers, TextWithoutThemEndsAtTheEnd) {
  for (const std::size_t length : {0u, 1u, 63u, 64u, 4096u, 4097u, 100000u}) {
    expectAllOf(std::string(length, 'x'), {1});
  }
}

}  // namespace
